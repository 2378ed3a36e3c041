/*
 * ZVEnvDataValues.cpp - typed keys of a store: integers with their radix, reals, booleans,
 * strings, binary data, comments, the access-time stamp and the header record.
 *
 * Integers, reals and booleans are rewritten in place when the key already holds that kind of
 * value (without stamping the access time); any other setter resizes an existing key of that
 * name, whatever its type, or appends a new key, rewrites it in full and stamps the time. So a
 * setter changes a key's type freely.
 */
#include "ZVEnvData.h"

#include <string.h>

#include "TarnTime.h"
#include "ZVEnvItem.h"

using namespace zvenv;

namespace {

bool IsIntegerType(unsigned char type) {
    return type == ZVED_ITEM_INTEGER || type == ZVED_ITEM_HEX || type == ZVED_ITEM_OCT ||
           type == ZVED_ITEM_BIN;
}

bool IsBooleanType(unsigned char type) {
    return type == ZVED_ITEM_FALSE || type == ZVED_ITEM_TRUE;
}

bool IsCommentType(unsigned char type) {
    return type == ZVED_ITEM_COMMENT || type == ZVED_ITEM_TRAILING_COMMENT;
}

/* A text argument's length: strlen when negative, and never past its first NUL, so the stored
 * text and its item size always agree. */
unsigned int TextLength(const char* text, int length) {
    if (text == nullptr) {
        return 0;
    }
    if (length < 0) {
        return static_cast<unsigned int>(strlen(text));
    }
    const void* nul = memchr(text, 0, static_cast<unsigned int>(length));
    return nul != nullptr ? static_cast<unsigned int>(static_cast<const char*>(nul) - text)
                          : static_cast<unsigned int>(length);
}

/* A key looked up by directory and name: the validated directory, the name's length, the key
 * (0 when missing) and the offset of its value (0 unless the key is of an accepted kind). */
struct KeyLookup {
    unsigned int dir;
    unsigned int n;
    unsigned int key;
    unsigned int at;
};

/*
 * The checks every setter and getter starts with (a valid directory, a valid non-empty name),
 * then the lookup. False when a check fails.
 */
bool Lookup(CZVEnvData* store, unsigned int dir, const char* name, int length,
            bool (*accepts)(unsigned char), KeyLookup* k) {
    if (!store->ValidateDir(dir)) {
        return false;
    }
    k->dir = dir;
    k->n = NameLength(name, length);
    if (k->n < 1 || !store->IsValidName(name, static_cast<int>(k->n))) {
        return false;
    }
    k->key = store->FindKey(dir, name, static_cast<int>(k->n));
    k->at = 0;
    if (k->key != 0 && accepts(store->m_pData[k->key]) &&
        store->GetItemSizeNoValidate(k->key) != 0) {
        k->at = store->SkipKeyHead(k->key);
    }
    return true;
}

/*
 * Makes room for a key of extra + name (+ more) bytes: the existing key (any type) resized, or a
 * new last child of the directory. Writes the type, the sum, the name and its terminator, and
 * stores the offset of the value in k->at. Returns the key's offset, 0 on failure.
 */
unsigned int PlaceKey(CZVEnvData* store, KeyLookup* k, const char* name, unsigned int extra,
                      unsigned int more, unsigned char type) {
    unsigned int size;
    if (!AddSize(k->n, extra, &size) || !AddSize(size, more, &size)) {
        return 0;
    }
    SafeBytes safeName(name, k->n, store->m_pData, store->m_dwDataSize);
    if (!safeName.Ok()) {
        return 0;
    }
    name = safeName.Text();
    unsigned char sum = store->CalcSum(name, static_cast<int>(k->n));
    if (k->key != 0) {
        unsigned int oldSize = store->GetItemSize(k->key);
        if (oldSize == 0 || !store->ResizeItem(k->key, oldSize, size)) {
            return 0;
        }
    } else {
        k->key = store->InsertItem(k->dir, size);
        if (k->key == 0) {
            return 0;
        }
    }
    unsigned char* p = store->m_pData + k->key;
    p[0] = type;
    p[1] = sum;
    memcpy(p + kKeyNameOffset, name, k->n);
    p[kKeyNameOffset + k->n] = 0;
    k->at = k->key + kKeyNameOffset + k->n + 1;
    return k->key;
}

bool IsRealType(unsigned char type) {
    return type == ZVED_ITEM_REAL;
}

bool IsStringType(unsigned char type) {
    return type == ZVED_ITEM_STRING;
}

bool IsBinaryType(unsigned char type) {
    return type == ZVED_ITEM_BINARY;
}

}  // namespace

unsigned int CZVEnvData::SetInteger(unsigned int dir, const char* name, int length, int value,
                                    unsigned char radix) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsIntegerType, &k)) {
        return 0;
    }
    bool radixGiven = IsIntegerType(radix);
    if (k.at != 0) {
        if (radixGiven) {
            m_pData[k.key] = radix;
        }
    } else {
        unsigned char type = radixGiven ? radix : static_cast<unsigned char>(ZVED_ITEM_INTEGER);
        if (PlaceKey(this, &k, name, kIntegerExtra, 0, type) == 0) {
            return 0;
        }
        SetAccessTime(nullptr);
    }
    WriteU32(m_pData + k.at, static_cast<uint32_t>(value));
    return k.key;
}

unsigned int CZVEnvData::GetInteger(unsigned int dir, const char* name, int length, int* value) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsIntegerType, &k) || k.at == 0) {
        return 0;
    }
    if (value != nullptr) {
        *value = static_cast<int>(ReadU32(m_pData + k.at));
    }
    return k.key;
}

unsigned int CZVEnvData::SetDouble(unsigned int dir, const char* name, int length, double value) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsRealType, &k)) {
        return 0;
    }
    if (k.at == 0) {
        if (PlaceKey(this, &k, name, kRealExtra, 0, ZVED_ITEM_REAL) == 0) {
            return 0;
        }
        SetAccessTime(nullptr);
    }
    memcpy(m_pData + k.at, &value, sizeof value);
    return k.key;
}

unsigned int CZVEnvData::GetDouble(unsigned int dir, const char* name, int length, double* value) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsRealType, &k) || k.at == 0) {
        return 0;
    }
    if (value != nullptr) {
        memcpy(value, m_pData + k.at, sizeof *value);
    }
    return k.key;
}

/* A boolean's value is its type: 3 true, 2 false. */
unsigned int CZVEnvData::SetBoolean(unsigned int dir, const char* name, int length, int value) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsBooleanType, &k)) {
        return 0;
    }
    unsigned char type = value != 0 ? ZVED_ITEM_TRUE : ZVED_ITEM_FALSE;
    if (k.at != 0) {
        m_pData[k.key] = type;
        return k.key;
    }
    if (PlaceKey(this, &k, name, kBooleanExtra, 0, type) == 0) {
        return 0;
    }
    SetAccessTime(nullptr);
    return k.key;
}

unsigned int CZVEnvData::GetBoolean(unsigned int dir, const char* name, int length, int* value) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsBooleanType, &k) || k.at == 0) {
        return 0;
    }
    if (value != nullptr) {
        *value = m_pData[k.key] == ZVED_ITEM_TRUE ? 1 : 0;
    }
    return k.key;
}

unsigned int CZVEnvData::SetString(unsigned int dir, const char* name, int length, const char* text,
                                   int textLength) {
    KeyLookup k;
    if (text == nullptr || !Lookup(this, dir, name, length, IsStringType, &k)) {
        return 0;
    }
    unsigned int t = TextLength(text, textLength);
    SafeBytes safeText(text, t, m_pData, m_dwDataSize);
    if (!safeText.Ok() || PlaceKey(this, &k, name, kStringExtra, t, ZVED_ITEM_STRING) == 0) {
        return 0;
    }
    memcpy(m_pData + k.at, safeText.Text(), t);
    m_pData[k.at + t] = 0;
    SetAccessTime(nullptr);
    return k.key;
}

unsigned int CZVEnvData::GetString(unsigned int dir, const char* name, int length, char** text) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsStringType, &k) || k.at == 0) {
        return 0;
    }
    if (text != nullptr) {
        *text = reinterpret_cast<char*>(m_pData + k.at);
    }
    return k.key;
}

unsigned int CZVEnvData::SetBinData(unsigned int dir, const char* name, int length,
                                    const void* data, unsigned int size) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsBinaryType, &k)) {
        return 0;
    }
    unsigned int more;
    SafeBytes safeData(data, size, m_pData, m_dwDataSize);
    if (!AddSize(size, 4, &more) || !safeData.Ok() ||
        PlaceKey(this, &k, name, kBinaryExtra - 4, more, ZVED_ITEM_BINARY) == 0) {
        return 0;
    }
    WriteU32(m_pData + k.at, size);
    if (safeData.Bytes() != nullptr) {
        memcpy(m_pData + k.at + 4, safeData.Bytes(), size);
    } else {
        memset(m_pData + k.at + 4, 0, size);
    }
    SetAccessTime(nullptr);
    return k.key;
}

unsigned int CZVEnvData::GetBinData(unsigned int dir, const char* name, int length, void** data,
                                    unsigned int* size) {
    KeyLookup k;
    if (!Lookup(this, dir, name, length, IsBinaryType, &k) || k.key == 0) {
        return 0;
    }
    return GetBinDataBuf(k.key, data, size);
}

unsigned int CZVEnvData::GetBinDataBuf(unsigned int item, void** data, unsigned int* size) {
    if (!ValidateItem(item) || m_pData[item] != ZVED_ITEM_BINARY ||
        GetItemSizeNoValidate(item) == 0) {
        return 0;
    }
    unsigned int at = SkipKeyHead(item);
    if (data != nullptr) {
        *data = m_pData + at + 4;
    }
    if (size != nullptr) {
        *size = ReadU32(m_pData + at);
    }
    return item;
}

/* The text is not a name: it may be empty and is not checked. */
unsigned int CZVEnvData::InsertComment(unsigned int dir, const char* text, int length,
                                       unsigned char type, unsigned short value) {
    if (!ValidateDir(dir) || !IsCommentType(type)) {
        return 0;
    }
    unsigned int t = TextLength(text, length);
    unsigned int size;
    if (!AddSize(t, kCommentExtra, &size)) {
        return 0;
    }
    SafeBytes safeText(text, t, m_pData, m_dwDataSize);
    if (!safeText.Ok()) {
        return 0;
    }
    text = safeText.Text();
    unsigned char sum = CalcSum(text, static_cast<int>(t));
    unsigned int item = InsertItem(dir, size);
    if (item == 0) {
        return 0;
    }
    unsigned char* p = m_pData + item;
    p[0] = type;
    p[1] = sum;
    if (t != 0) {
        memcpy(p + kKeyNameOffset, text, t);
    }
    p[kKeyNameOffset + t] = 0;
    WriteU16(p + kKeyNameOffset + t + 1, value);
    SetAccessTime(nullptr);
    return item;
}

/*
 * Only the first change after Open stamps the header: the flag then stays set, and later calls,
 * also with an explicit time, change nothing until the store is opened again. Kept as it always
 * was: the header records when the store first changed after it was opened.
 */
int CZVEnvData::SetAccessTime(_SYSTEMTIME* time) {
    if (m_bAccessTimeStamped) {
        return 1;
    }
    if (m_pData == nullptr || m_dwDataSize < kHeaderSize) {
        return 0;
    }
    m_bAccessTimeStamped = 1;
    long seconds = 0;
    if (!TarnGetTime(time, &seconds, 1)) {
        return 0;
    }
    WriteU32(m_pData + kTimeOffset, static_cast<uint32_t>(seconds));
    return 1;
}

int CZVEnvData::GetAccessTime(_SYSTEMTIME* time) {
    if (m_pData == nullptr || m_dwDataSize < kHeaderSize) {
        return 0;
    }
    long seconds = static_cast<int32_t>(ReadU32(m_pData + kTimeOffset));
    return TarnGetSystemTime(&seconds, time, 1) ? 1 : 0;
}

int CZVEnvData::SetCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header) {
    if (header == nullptr || m_pData == nullptr || m_dwDataSize < kHeaderSize) {
        return 0;
    }
    memcpy(m_pData, header, kHeaderSize);
    return 1;
}
