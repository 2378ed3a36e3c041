/*
 * ZVTextWriter.cpp - the text form written in one pass (see the header). The line being built
 * follows the store's line buffer rule by rule: positioning reserves room for its tabs and blanks
 * and 128 bytes more, each piece of text reserves 128 bytes and is cut to the free room less
 * one, the capacity grows to the next multiple of 1024 and never shrinks.
 */
#include "ZVTextWriter.h"

#include <inttypes.h>
#include <charconv>
#include <string.h>

#include "ZVEnvItem.h"
#include "ZVEscape.h"
#include "ZVTextFormat.h"

namespace zvenv {

namespace {

const unsigned int kReserve = 128;
const unsigned int kGranule = 1024;
const unsigned int kTabWidth = 4;
const unsigned int kBytesPerRow = 16;

/* Decimal digits of a value, most significant first, into out (at least 10 bytes). */
size_t Decimal(uint32_t value, char* out) {
    char digits[10];
    size_t n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    for (size_t i = 0; i < n; ++i) {
        out[i] = digits[n - 1 - i];
    }
    return n;
}

/* Digits of a value in base 8 or 16 (lower case), most significant first. */
size_t InBase(uint32_t value, unsigned int shift, char* out) {
    static const char kDigits[] = "0123456789abcdef";
    const uint32_t mask = (1u << shift) - 1u;
    char digits[32];
    size_t n = 0;
    do {
        digits[n++] = kDigits[value & mask];
        value >>= shift;
    } while (value != 0);
    for (size_t i = 0; i < n; ++i) {
        out[i] = digits[n - 1 - i];
    }
    return n;
}

/*
 * The lines, built straight into the output: the line being built is the output's tail from
 * m_lineStart on. The output string is grown ahead and written through a pointer; its bytes
 * behind m_end are not part of the text until Finish cuts them off. The capacity is the store's
 * line buffer's, as the store would grow it.
 */
class Lines {
public:
    Lines(CZVEnvData* store, std::string* out)
        : m_store(store),
          m_out(out),
          m_end(out->size()),
          m_lineStart(m_end),
          m_capacity(store->m_dwLineBufferSize) {
        if (store->m_pszLineBuffer != nullptr && store->m_dwLineLength != 0) {
            Put(store->m_pszLineBuffer, store->m_dwLineLength);
        }
    }

    /* The output cut to the text; the store's line buffer as the writer leaves it: empty, at
     * the capacity it grew to. */
    void Finish() {
        m_out->resize(m_end);
        if (m_capacity > m_store->m_dwLineBufferSize) {
            m_store->m_dwLineLength = 0;
            m_store->CZVEnvData::ReserveLineBuffer(m_capacity);
        }
        m_store->m_dwLineLength = 0;
        if (m_store->m_pszLineBuffer != nullptr) {
            m_store->m_pszLineBuffer[0] = '\0';
        }
    }

    /* Ends the line with CR LF, unless it is empty. */
    void Flush() {
        if (m_end != m_lineStart) {
            Put("\r\n", 2);
            m_lineStart = m_end;
        }
    }

    /* Positions (column >= 0) and then appends the pieces, as one formatted text cut to the
     * free room less one byte. */
    void Text(int column, const char* a, size_t la, const char* b = "", size_t lb = 0,
              const char* c = "", size_t lc = 0, const char* d = "", size_t ld = 0) {
        size_t room = Start(column);
        PutCut(a, la, &room);
        PutCut(b, lb, &room);
        PutCut(c, lc, &room);
        PutCut(d, ld, &room);
    }

    /* Text with a last piece: the n bytes at text escaped, then a closing double quote. */
    void TextEscaped(int column, const char* a, size_t la, const char* b, size_t lb, const char* c,
                     size_t lc, const char* text, size_t n) {
        size_t room = Start(column);
        PutCut(a, la, &room);
        PutCut(b, lb, &room);
        PutCut(c, lc, &room);
        if (room != 0) {
            char* at = Room(4 * n + 1); /* an escaped byte takes at most four */
            size_t escaped = EscapedLength(text, n);
            EscapeTo(text, n, at);
            at[escaped] = '"';
            m_end += escaped + 1 < room ? escaped + 1 : room;
        }
    }

private:
    size_t LineLength() const { return m_end - m_lineStart; }

    /* Room for n more bytes at m_end. */
    char* Room(size_t n) {
        if (m_out->size() - m_end < n) {
            size_t grown = m_out->size() * 2;
            grown = grown > m_end + n + kGranule ? grown : m_end + n + kGranule;
            m_out->resize(grown > m_out->capacity() ? grown : m_out->capacity());
        }
        return &(*m_out)[0] + m_end;
    }

    void Put(const char* bytes, size_t n) {
        memcpy(Room(n), bytes, n);
        m_end += n;
    }

    void PutCut(const char* bytes, size_t n, size_t* room) {
        n = n < *room ? n : *room;
        Put(bytes, n);
        *room -= n;
    }

    /* Positions the line and reserves room for a piece of text; gives the bytes it may take. */
    size_t Start(int column) {
        if (column >= 0) {
            Position(static_cast<unsigned int>(column));
        }
        Reserve(kReserve);
        return m_capacity - LineLength() - 1;
    }

    /* The visual column behind the line: a tab goes to the next multiple of 4. */
    unsigned int Visual() const {
        const char* line = m_out->data() + m_lineStart;
        unsigned int visual = 0;
        for (size_t i = 0; i < LineLength(); ++i) {
            visual = line[i] == '\t' ? (visual + kTabWidth) & ~(kTabWidth - 1u) : visual + 1;
        }
        return visual;
    }

    /* One tab when the line is past column, else tabs and blanks up to it. */
    void Position(unsigned int column) {
        const unsigned int visual = Visual();
        unsigned int tabs = 0, blanks = 0;
        if (column < visual) {
            tabs = 1;
        } else if (column > visual) {
            unsigned int at = visual;
            while ((at / kTabWidth + 1) * kTabWidth <= column) {
                at = (at / kTabWidth + 1) * kTabWidth;
                ++tabs;
            }
            blanks = column - at;
        }
        Reserve(tabs + blanks + kReserve);
        char* p = Room(tabs + blanks);
        memset(p, '\t', tabs);
        memset(p + tabs, ' ', blanks);
        m_end += tabs + blanks;
    }

    void Reserve(unsigned int extra) {
        uint64_t needed = static_cast<uint64_t>(LineLength()) + extra;
        if (needed > m_capacity) {
            m_capacity = static_cast<unsigned int>((needed + kGranule - 1) / kGranule * kGranule);
        }
    }

    CZVEnvData* m_store;
    std::string* m_out;
    size_t m_end;
    size_t m_lineStart;
    unsigned int m_capacity;
};

/* Writes one item; the store's PrintItem, line for line. */
class Printer {
public:
    Printer(CZVEnvData* store, Lines* lines) : m_store(store), m_lines(lines), m_depth(0) {}

    int Item(unsigned int item) {
        if (!m_store->CZVEnvData::ValidateItem(item) ||
            m_store->CZVEnvData::GetItemSizeNoValidate(item) == 0) {
            return 0;
        }
        unsigned char type = m_store->m_pData[item];
        switch (type) {
            case ZVED_ITEM_FILLER:
                return 1;
            case ZVED_ITEM_DIR:
            case ZVED_ITEM_LOCKED_DIR:
                return Directory(item);
            case ZVED_ITEM_INTEGER:
            case ZVED_ITEM_HEX:
            case ZVED_ITEM_OCT:
            case ZVED_ITEM_BIN:
                return Integer(item, type);
            case ZVED_ITEM_REAL:
                return Real(item);
            case ZVED_ITEM_TRUE:
            case ZVED_ITEM_FALSE:
                m_lines->Flush();
                Key("b", item, type == ZVED_ITEM_TRUE ? "=True" : "=False",
                    type == ZVED_ITEM_TRUE ? 5 : 6);
                return 1;
            case ZVED_ITEM_STRING:
                return String(item);
            case ZVED_ITEM_BINARY:
                return Binary(item);
            case ZVED_ITEM_COMMENT:
            case ZVED_ITEM_TRAILING_COMMENT:
                return Comment(item, type);
            default:
                return 0;
        }
    }

private:
    int Indent() const { return m_depth * static_cast<int>(kTabWidth); }

    const char* Name(unsigned int item) const {
        return reinterpret_cast<const char*>(m_store->m_pData + item + kKeyNameOffset);
    }

    const unsigned char* Value(unsigned int item) const {
        return m_store->m_pData + m_store->CZVEnvData::SkipKeyHead(item);
    }

    /* letter, the key's name, then rest, at the indent column. */
    void Key(const char* letter, unsigned int item, const char* rest, size_t restLength) {
        const char* name = Name(item);
        m_lines->Text(Indent(), letter, 1, name, strlen(name), rest, restLength);
    }

    int Directory(unsigned int dir) {
        const char* name = m_store->CZVEnvData::GetDirName(dir);
        if (name == nullptr || m_store->CZVEnvData::SkipDirHead(dir) == 0) {
            return 0;
        }
        m_lines->Flush();
        m_lines->Text(Indent(), name, strlen(name), " {", 2);
        ++m_depth;
        int all = 1;
        for (unsigned int child = m_store->CZVEnvData::GetNextItem(dir, 0); child != 0;
             child = m_store->CZVEnvData::GetNextItem(dir, child)) {
            if (!Item(child)) {
                all = 0;
                break;
            }
        }
        --m_depth;
        m_lines->Flush();
        m_lines->Text(Indent(), "}", 1);
        return all;
    }

    int Integer(unsigned int item, unsigned char type) {
        uint32_t value = ReadU32(Value(item));
        m_lines->Flush();
        char text[48];
        size_t n = 0;
        switch (type) {
            case ZVED_ITEM_HEX:
                memcpy(text, "=0x", 3);
                n = 3 + InBase(value, 4, text + 3);
                break;
            case ZVED_ITEM_OCT:
                memcpy(text, "=0o", 3);
                n = 3 + InBase(value, 3, text + 3);
                break;
            case ZVED_ITEM_BIN: {
                char digits[33];
                BinaryDigits(value, digits);
                memcpy(text, "=0b", 3);
                n = 3 + strlen(digits);
                memcpy(text + 3, digits, n - 3);
                break;
            }
            default:
                text[0] = '=';
                n = 1;
                if (static_cast<int32_t>(value) < 0) {
                    text[n++] = '-';
                    value = 0u - value;
                }
                n += Decimal(value, text + n);
                break;
        }
        Key("n", item, text, n);
        return 1;
    }

    /*
     * "%-.14G" as printf writes it in the "C" locale: to_chars in the general format with 14
     * digits gives printf's "%.14g" exactly, and the letters (exponent, INF, NAN) go upper case.
     */
    int Real(unsigned int item) {
        double value;
        memcpy(&value, Value(item), sizeof value);
        m_lines->Flush();
        char text[64];
        text[0] = '=';
        std::to_chars_result r =
            std::to_chars(text + 1, text + sizeof text, value, std::chars_format::general, 14);
        if (r.ec != std::errc()) {
            return 0;
        }
        for (char* p = text + 1; p != r.ptr; ++p) {
            if (*p >= 'a' && *p <= 'z') {
                *p = static_cast<char>(*p - 'a' + 'A');
            }
        }
        Key("r", item, text, static_cast<size_t>(r.ptr - text));
        return 1;
    }

    int String(unsigned int item) {
        m_lines->Flush();
        const char* text = reinterpret_cast<const char*>(Value(item));
        const char* name = Name(item);
        m_lines->TextEscaped(Indent(), "s", 1, name, strlen(name), "=\"", 2, text, strlen(text));
        return 1;
    }

    int Binary(unsigned int item) {
        const unsigned char* at = Value(item);
        uint32_t count = ReadU32(at);
        const unsigned char* bytes = at + 4;
        m_lines->Flush();
        char text[16];
        text[0] = '=';
        size_t n = 1 + Decimal(count, text + 1);
        memcpy(text + n, " {", 2);
        Key("c", item, text, n + 2);
        ++m_depth;
        static const char kHex[] = "0123456789ABCDEF";
        char piece[5] = {' ', '0', 'x', '0', '0'};
        for (uint32_t i = 0; i < count; ++i) {
            piece[3] = kHex[bytes[i] >> 4];
            piece[4] = kHex[bytes[i] & 0x0F];
            if (i % kBytesPerRow == 0) {
                m_lines->Flush();
                m_lines->Text(Indent(), "", 0);
                m_lines->Text(-1, piece + 1, 4);
            } else {
                m_lines->Text(-1, piece, 5);
            }
        }
        --m_depth;
        m_lines->Flush();
        m_lines->Text(Indent(), "}", 1);
        return 1;
    }

    int Comment(unsigned int item, unsigned char type) {
        const char* text = Name(item);
        unsigned int end = m_store->CZVEnvData::SkipKeyHead(item);
        int column = ReadU16(m_store->m_pData + end);
        if (type == ZVED_ITEM_COMMENT) {
            m_lines->Flush();
        }
        m_lines->Text(column, "#", 1, text, strlen(text));
        return 1;
    }

    CZVEnvData* m_store;
    Lines* m_lines;
    int m_depth;
};

}  // namespace

int WriteTextBody(CZVEnvData* store, std::string* out) {
    /* The text is about as long as the buffer's items and at most a few times longer. */
    out->reserve(out->size() + store->m_dwDataSize * 2);
    Lines lines(store, out);
    Printer printer(store, &lines);
    int all = 1;
    for (unsigned int child = store->CZVEnvData::GetNextItem(ZVED_ROOT_DIR, 0); child != 0;
         child = store->CZVEnvData::GetNextItem(ZVED_ROOT_DIR, child)) {
        if (!printer.Item(child)) {
            all = 0;
            break;
        }
    }
    lines.Flush();
    lines.Finish();
    return all;
}

}  // namespace zvenv
