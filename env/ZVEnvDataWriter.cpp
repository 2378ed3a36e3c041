/*
 * ZVEnvDataWriter.cpp - saving a store: the common file header line, then the text form (one
 * line per item, each ended by CR LF) or the binary form (the item buffer from the root on),
 * then the file's header stamped with its size and checksum.
 *
 * Text lines are built in a growable line buffer and positioned by visual column (a tab
 * advances to the next multiple of 4). A piece of text that does not fit the buffer's free room
 * (at least 128 bytes, up to the capacity) is cut, not grown into: kept as it always was.
 */
#include "ZVEnvData.h"

#include <inttypes.h>
#include <locale.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "TarnString.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvItem.h"
#include "ZVExactType.h"
#include "ZVFileReplace.h"
#include "ZVTextFormat.h"
#include "ZVTextWriter.h"
#include "ZVTokenProvider.h"

using namespace zvenv;

namespace {

/* Room the line buffer keeps for the next piece of text, and its growth step. */
const unsigned int kLineReserve = 128;
const unsigned int kLineGranule = 1024;
/* The formatter is retried with a larger reserve this many times when it reports -1. */
const int kFormatRetries = 8;
/* Bytes of a binary value printed on one row. */
const unsigned int kBytesPerRow = 16;
/* Tabs written by one piece of PrintIndent. */
const unsigned int kIndentPiece = 15;
const unsigned int kTabWidth = 4;

/* Visual column behind the first n bytes of text. */
unsigned int VisualColumn(const char* text, unsigned int n) {
    unsigned int column = 0;
    for (unsigned int i = 0; i < n; ++i) {
        column = text[i] == '\t' ? (column / kTabWidth + 1) * kTabWidth : column + 1;
    }
    return column;
}

}  // namespace

int CZVEnvData::ReserveLineBuffer(unsigned int extra) {
    unsigned int needed;
    if (!AddSize(m_dwLineLength, extra, &needed)) {
        return 0;
    }
    if (needed <= m_dwLineBufferSize) {
        return 1;
    }
    unsigned int capacity;
    if (!AddSize(needed, kLineGranule - 1, &capacity)) {
        return 0;
    }
    capacity -= capacity % kLineGranule;
    char* grown = TarnAllocateStringBufferA(capacity);
    if (grown == nullptr) {
        return 0;
    }
    if (m_pszLineBuffer != nullptr) {
        memcpy(grown, m_pszLineBuffer, m_dwLineBufferSize);
        TarnFreeBuffer(m_pszLineBuffer);
    }
    m_pszLineBuffer = grown;
    m_dwLineBufferSize = capacity;
    return 1;
}

/*
 * Positions the line at column (when it is 0 or more) and appends the formatted text. Behind the
 * column one tab is written; before it, tabs up to the last tab stop that does not pass it and
 * blanks for the rest.
 */
int CZVEnvData::SetLineBuffer(int column, const char* format, ...) {
    if (format == nullptr) {
        return 0;
    }
    unsigned int before = m_dwLineLength;
    if (column >= 0) {
        unsigned int target = static_cast<unsigned int>(column);
        unsigned int current =
            m_pszLineBuffer != nullptr ? VisualColumn(m_pszLineBuffer, m_dwLineLength) : 0;
        unsigned int tabs = 0, blanks = 0;
        if (target < current) {
            tabs = 1;
        } else if (target > current) {
            unsigned int at = current;
            while ((at / kTabWidth + 1) * kTabWidth <= target) {
                at = (at / kTabWidth + 1) * kTabWidth;
                ++tabs;
            }
            blanks = target - at;
        }
        if (!ReserveLineBuffer(tabs + blanks + kLineReserve)) {
            return 0;
        }
        memset(m_pszLineBuffer + m_dwLineLength, '\t', tabs);
        memset(m_pszLineBuffer + m_dwLineLength + tabs, ' ', blanks);
        m_dwLineLength += tabs + blanks;
        m_pszLineBuffer[m_dwLineLength] = '\0';
    }
    unsigned int reserve = kLineReserve;
    for (int attempt = 0; attempt <= kFormatRetries; ++attempt, reserve += kLineReserve) {
        if (!ReserveLineBuffer(reserve)) {
            break;
        }
        va_list args;
        va_start(args, format);
        int written = vsnprintf(m_pszLineBuffer + m_dwLineLength,
                                m_dwLineBufferSize - m_dwLineLength, format, args);
        va_end(args);
        if (written < -1) {
            break;
        }
        if (written == -1) {
            continue;
        }
        m_dwLineLength = static_cast<unsigned int>(strlen(m_pszLineBuffer));
        return 1;
    }
    m_dwLineLength = before;
    if (m_pszLineBuffer != nullptr) {
        m_pszLineBuffer[before] = '\0';
    }
    return 0;
}

/* An empty line writes nothing: the writer never emits blank lines. */
int CZVEnvData::FlushLineBuffer(FILE* file) {
    if (m_dwLineLength == 0) {
        return 1;
    }
    if (fwrite(m_pszLineBuffer, 1, m_dwLineLength, file) != m_dwLineLength) {
        return 0;
    }
    fwrite("\r\n", 1, 2, file);
    m_dwLineLength = 0;
    m_pszLineBuffer[0] = '\0';
    return 1;
}

int CZVEnvData::PrintIndent(FILE* file) {
    static const char kTabs[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    unsigned int left = m_nIndent > 0 ? static_cast<unsigned int>(m_nIndent) : 0;
    while (left != 0) {
        unsigned int piece = left < kIndentPiece ? left : kIndentPiece;
        fwrite(kTabs, 1, piece, file);
        left -= piece;
    }
    return 1;
}

namespace {

/* The writer of one item; PrintItem dispatches on the type. */
class ItemPrinter {
public:
    ItemPrinter(CZVEnvData* store, FILE* file) : m_store(store), m_file(file) {}

    int Directory(unsigned int dir) {
        const char* name = m_store->GetDirName(dir);
        if (name == nullptr || m_store->SkipDirHead(dir) == 0) {
            return 0;
        }
        if (!Flush() || !m_store->SetLineBuffer(Indent(), "%s {", name)) {
            return 0;
        }
        ++m_store->m_nIndent;
        int all = 1;
        for (unsigned int child = m_store->GetNextItem(dir, 0); child != 0;
             child = m_store->GetNextItem(dir, child)) {
            if (!m_store->PrintItem(child, m_file)) {
                all = 0;
                break;
            }
        }
        --m_store->m_nIndent;
        if (!Flush() || !m_store->SetLineBuffer(Indent(), "}")) {
            return 0;
        }
        return all;
    }

    int Integer(unsigned int item, unsigned char type) {
        const char* name = m_store->GetKeyName(item);
        uint32_t value = ReadU32(Value(item));
        if (!Flush()) {
            return 0;
        }
        switch (type) {
            case ZVED_ITEM_HEX:
                return m_store->SetLineBuffer(Indent(), "n%s=0x%" PRIx32, name, value);
            case ZVED_ITEM_OCT:
                return m_store->SetLineBuffer(Indent(), "n%s=0o%" PRIo32, name, value);
            case ZVED_ITEM_BIN: {
                char digits[33];
                BinaryDigits(value, digits);
                return m_store->SetLineBuffer(Indent(), "n%s=0b%s", name, digits);
            }
            default:
                return m_store->SetLineBuffer(Indent(), "n%s=%" PRId32, name,
                                              static_cast<int32_t>(value));
        }
    }

    /* Reals are written with 14 significant digits in the "C" locale. */
    int Real(unsigned int item) {
        double value;
        memcpy(&value, Value(item), sizeof value);
        if (!Flush()) {
            return 0;
        }
        CLocaleScope c;
        return m_store->SetLineBuffer(Indent(), "r%s=%-.14G", m_store->GetKeyName(item), value);
    }

    int Boolean(unsigned int item, unsigned char type) {
        if (!Flush()) {
            return 0;
        }
        return m_store->SetLineBuffer(Indent(), type == ZVED_ITEM_TRUE ? "b%s=True" : "b%s=False",
                                      m_store->GetKeyName(item));
    }

    int String(unsigned int item) {
        if (!Flush()) {
            return 0;
        }
        char* escaped =
            CZVTokenProvider::EspaceString(reinterpret_cast<const char*>(Value(item)), -1);
        if (escaped == nullptr) {
            return 0;
        }
        int result =
            m_store->SetLineBuffer(Indent(), "s%s=\"%s\"", m_store->GetKeyName(item), escaped);
        CZVTokenProvider::DeleteString(escaped);
        return result;
    }

    int Binary(unsigned int item) {
        const unsigned char* at = Value(item);
        uint32_t count = ReadU32(at);
        const unsigned char* bytes = at + 4;
        if (!Flush() || !m_store->SetLineBuffer(Indent(), "c%s=%" PRIu32 " {",
                                                m_store->GetKeyName(item), count)) {
            return 0;
        }
        ++m_store->m_nIndent;
        int ok = 1;
        for (uint32_t i = 0; i < count && ok; ++i) {
            if (i % kBytesPerRow == 0) {
                ok = Flush() && m_store->SetLineBuffer(Indent(), "%s", "") &&
                     m_store->SetLineBuffer(-1, "%s0x%02X", "", bytes[i]);
            } else {
                ok = m_store->SetLineBuffer(-1, "%s0x%02X", " ", bytes[i]);
            }
        }
        --m_store->m_nIndent;
        if (!ok) {
            return 0;
        }
        return Flush() && m_store->SetLineBuffer(Indent(), "}") ? 1 : 0;
    }

    /* A comment line starts its own line; a trailing comment goes on the line of the key before
     * it. Either way its '#' stands at the column the comment carries. */
    int Comment(unsigned int item, unsigned char type) {
        const char* text = m_store->GetKeyName(item);
        unsigned int end = m_store->SkipKeyHead(item);
        int column = ReadU16(m_store->m_pData + end);
        if (type == ZVED_ITEM_COMMENT && !Flush()) {
            return 0;
        }
        return m_store->SetLineBuffer(column, "#%s", text);
    }

private:
    int Flush() { return m_store->FlushLineBuffer(m_file); }
    int Indent() const { return m_store->m_nIndent * static_cast<int>(kTabWidth); }
    /* The value of a well-formed key: the byte behind its name's terminator. */
    const unsigned char* Value(unsigned int item) const {
        return m_store->m_pData + m_store->SkipKeyHead(item);
    }

    CZVEnvData* m_store;
    FILE* m_file;
};

}  // namespace

namespace {

/*
 * The text body of a store of the library's own class, written as its PrintItem would write it
 * but in one pass into memory and one write: 1, 0 when an item could not be written (what came
 * before it is written), -1 when there was no memory for it (nothing was written or changed:
 * the item-by-item writer takes over).
 */
int WriteTextAtOnce(CZVEnvData* store, FILE* file) {
    std::string body;
    int all;
    try {
        all = WriteTextBody(store, &body);
    } catch (...) {
        return -1;
    }
    if (fwrite(body.data(), 1, body.size(), file) != body.size()) {
        return 0;
    }
    return all;
}

}  // namespace

int CZVEnvData::PrintItem(unsigned int item, FILE* file) {
    if (file == nullptr || !ValidateItem(item) || GetItemSizeNoValidate(item) == 0) {
        return 0;
    }
    ItemPrinter printer(this, file);
    unsigned char type = m_pData[item];
    switch (type) {
        case ZVED_ITEM_FILLER:
            return 1;
        case ZVED_ITEM_DIR:
        case ZVED_ITEM_LOCKED_DIR:
            return printer.Directory(item);
        case ZVED_ITEM_INTEGER:
        case ZVED_ITEM_HEX:
        case ZVED_ITEM_OCT:
        case ZVED_ITEM_BIN:
            return printer.Integer(item, type);
        case ZVED_ITEM_REAL:
            return printer.Real(item);
        case ZVED_ITEM_TRUE:
        case ZVED_ITEM_FALSE:
            return printer.Boolean(item, type);
        case ZVED_ITEM_STRING:
            return printer.String(item);
        case ZVED_ITEM_BINARY:
            return printer.Binary(item);
        case ZVED_ITEM_COMMENT:
        case ZVED_ITEM_TRAILING_COMMENT:
            return printer.Comment(item, type);
        default:
            return 0;
    }
}

/*
 * Writes the header line, the body in the store's format, and then has the file's header line
 * brought up to date (size, checksum, time, address), which also refreshes the store's header
 * record. The store must be locked. The file is written beside the target and replaces it only
 * when complete and stamped, so a failed or interrupted save leaves the target as it was; where
 * that cannot be done it is written in place (FileReplace), and a failed save may then leave a
 * partly written file.
 */
int CZVEnvData::Save(const char* path) {
    if (path == nullptr || m_pData == nullptr || m_dwDataSize <= ZVED_ROOT_DIR) {
        return 0;
    }
    WriteU16(m_pData + kMajorOffset, 1);
    WriteU16(m_pData + kMinorOffset, 0);
    ZV_COMMON_FILE_HEADER_tag header;
    memcpy(&header, m_pData, sizeof header);
    char line[ZVCF_HEADER_LENGTH];
    int lineLength = ZVCFCreateCommonFileHeader(&header, line, sizeof line);
    // GCOVR_EXCL_START the header line is refused only for a null record or a short buffer
    if (lineLength < 0) {
        return 0;
    }
    // GCOVR_EXCL_STOP
    FileReplace replace;
    FILE* file = replace.Begin(path);
    if (file == nullptr) {
        return 0;
    }
    if (fwrite(line, 1, static_cast<size_t>(lineLength), file) != static_cast<size_t>(lineLength)) {
        fclose(file);
        return 0;
    }
    if (memcmp(m_pData + kTagOffset, "ENVT", 4) == 0) {
        m_nIndent = 0;
        int written = zvenv::IsExactly<CZVEnvData>(*this) ? WriteTextAtOnce(this, file) : -1;
        if (written == 0) {
            fclose(file);
            return 0;
        }
        if (written < 0) {
            for (unsigned int child = GetNextItem(ZVED_ROOT_DIR, 0); child != 0;
                 child = GetNextItem(ZVED_ROOT_DIR, child)) {
                if (!PrintItem(child, file)) {
                    FlushLineBuffer(file);
                    fclose(file);
                    return 0;
                }
            }
            if (!FlushLineBuffer(file)) {
                /* Kept as it always was: this failure returns without closing the file (a
                 * temporary file is removed all the same). */
                return 0;
            }
        }
    } else if (memcmp(m_pData + kTagOffset, "ENVB", 4) == 0) {
        size_t body = m_dwDataSize - ZVED_ROOT_DIR;
        if (fwrite(m_pData + ZVED_ROOT_DIR, 1, body, file) != body) {
            fclose(file);
            return 0;
        }
    } else {
        fclose(file);
        return 0;
    }
    replace.Close(file);
    /* Only a stamped header goes into the store: a stamp that failed leaves the record reset
     * (type "NONE", no version), and a store tagged so could never be saved again. The
     * temporary file of a failed stamp is removed with the replace, the target untouched. */
    if (!ZVCFGetAndUpdateCommonFileHeaderA(replace.WrittenPath(), &header)) {
        return 0;
    }
    memcpy(m_pData, &header, sizeof header);
    return replace.Commit() ? 1 : 0;
}
