/*
 * ZVEnvFileValues.cpp - typed access to one key by path, and snapshots of a directory's names.
 *
 * Each operation resolves its path with PrepareKey or PrepareDir (which leave the store locked),
 * makes one store call and unlocks. Getters never fail loudly: they return the caller's default
 * and set the last-error code. Codes are set after the unlock.
 */
#include "ZVEnvFile.h"

#include <float.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "ZVEnvItem.h"
#include "ZVExactType.h"
#include "ZVKeyResolver.h"

namespace {

int Fail(unsigned int code) {
    TarnSetLastError(code);
    return 0;
}

/* A key path resolved by PrepareKey: the directory, and the name inside the caller's path. */
struct KeyRef {
    unsigned int dir = 0;
    char* name = nullptr;
    int length = 0;
};

/* The entry type of an item, or 0 for items that are not listed (comments, fillers, and
 * integers written in hexadecimal, octal or binary). */
uint16_t EntryType(unsigned int itemType) {
    switch (itemType) {
        case ZVED_ITEM_DIR:
        case ZVED_ITEM_LOCKED_DIR:
            return ZVEV_ENTRY_DIR;
        case ZVED_ITEM_BINARY:
            return ZVEV_ENTRY_BINARY;
        case ZVED_ITEM_FALSE:
        case ZVED_ITEM_TRUE:
            return ZVEV_ENTRY_BOOLEAN;
        case ZVED_ITEM_INTEGER:
            return ZVEV_ENTRY_INTEGER;
        case ZVED_ITEM_REAL:
            return ZVEV_ENTRY_REAL;
        case ZVED_ITEM_STRING:
            return ZVEV_ENTRY_STRING;
        default:
            return 0;
    }
}

/* Whether options ask for an entry of this type. */
bool IsListed(uint16_t entryType, unsigned int options) {
    if (entryType == 0) {
        return false;
    }
    return entryType == ZVEV_ENTRY_DIR ? (options & ZVEV_ENUM_DIRS) != 0
                                       : (options & ZVEV_ENUM_KEYS) != 0;
}

/* The name of a listed child and its length, measured inside the buffer. */
const char* ChildName(CZVEnvData& store, unsigned int child, bool isDir, unsigned int* length) {
    unsigned int end = isDir ? store.SkipDirHead(child) : store.SkipKeyHead(child);
    const char* name = isDir ? store.GetDirName(child) : store.GetKeyName(child);
    if (end == 0 || name == nullptr) {
        return nullptr;
    }
    *length =
        static_cast<unsigned int>(reinterpret_cast<const char*>(store.m_pData) + end - 1 - name);
    return name;
}

/*
 * Walks the direct children of dir (from the end of its head to its end, stepping by each
 * child's size; a child whose size reads 0 ends the walk) and calls visit(child, entryType,
 * name, length) for every listed one.
 */
template <typename Visit>
void ForEachListed(CZVEnvData& store, unsigned int dir, unsigned int options, Visit visit) {
    unsigned int size = store.GetItemSize(dir);
    unsigned int child = store.SkipDirHead(dir);
    if (size == 0 || child == 0) {
        return;
    }
    if (dir < store.GetRootDir()) {
        dir = store.GetRootDir();
    }
    unsigned int end = dir + size;
    while (child < end) {
        unsigned int childSize = store.GetItemSize(child);
        if (childSize == 0) {
            return;
        }
        uint16_t type = EntryType(store.GetAttribute(child));
        unsigned int length = 0;
        const char* name = nullptr;
        if (IsListed(type, options)) {
            name = ChildName(store, child, type == ZVEV_ENTRY_DIR, &length);
        }
        if (name != nullptr) {
            visit(type, name, length);
        }
        child += childSize;
    }
}

char* EntryName(const ZVEV_ENUM_ENTRY_tag* entry) {
    char* name;
    memcpy(&name, &entry->pszName, sizeof name);
    return name;
}

/* qsort comparison of two packed entries: their names, ignoring ASCII letter case. */
int SortEntries(const void* a, const void* b) {
    return strcasecmp(EntryName(static_cast<const ZVEV_ENUM_ENTRY_tag*>(a)),
                      EntryName(static_cast<const ZVEV_ENUM_ENTRY_tag*>(b)));
}

const unsigned int kIntegerTypes = (1u << ZVED_ITEM_INTEGER) | (1u << ZVED_ITEM_HEX) |
                                   (1u << ZVED_ITEM_OCT) | (1u << ZVED_ITEM_BIN);
const unsigned int kBooleanTypes = (1u << ZVED_ITEM_TRUE) | (1u << ZVED_ITEM_FALSE);

/* Whether the getters of file may resolve keys in one pass: only for the class itself. */
bool Quick(const CZVEnvFile* file) {
    return zvenv::IsExactly<CZVEnvFile>(*file);
}

}  // namespace

int CZVEnvFile::SetInteger(const char* key, int value) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 1)) {
        return 0;
    }
    unsigned int set = m_EnvData.SetInteger(k.dir, k.name, k.length, value, 0);
    m_EnvData.Lock(0);
    return set != 0 ? 1 : Fail(TARN_ERR_SET_INTEGER);
}

int CZVEnvFile::GetInteger(const char* key, int defaultValue) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        Fail(TARN_ERR_NULL_POINTER);
        return defaultValue;
    }
    unsigned int item = 0;
    int quick =
        Quick(this) ? zvenv::ResolveKeyQuickly(this, key, &item) : zvenv::kResolveTheLongWay;
    if (quick == 0) {
        return defaultValue;
    }
    if (quick == 1) {
        unsigned int at = zvenv::QuickValue(m_EnvData, item, kIntegerTypes);
        int value = at != 0 ? static_cast<int>(zvenv::ReadU32(m_EnvData.m_pData + at)) : 0;
        zvenv::QuickStoreLock(m_EnvData, 0);
        if (at == 0) {
            Fail(TARN_ERR_KEY_NOT_EXIST);
            return defaultValue;
        }
        return value;
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 0)) {
        return defaultValue;
    }
    int value = 0;
    unsigned int found = m_EnvData.GetInteger(k.dir, k.name, k.length, &value);
    m_EnvData.Lock(0);
    if (found == 0) {
        Fail(TARN_ERR_KEY_NOT_EXIST);
        return defaultValue;
    }
    return value;
}

/* Infinite values are refused before anything is created; not-a-number values pass. */
int CZVEnvFile::SetDouble(const char* key, double value) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    if (value > DBL_MAX || value < -DBL_MAX) {
        return Fail(TARN_ERR_SET_REAL);
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 1)) {
        return 0;
    }
    unsigned int set = m_EnvData.SetDouble(k.dir, k.name, k.length, value);
    m_EnvData.Lock(0);
    return set != 0 ? 1 : Fail(TARN_ERR_SET_REAL);
}

/* Kept as it always was: a path that cannot be resolved gives 0.0, not the default. */
double CZVEnvFile::GetDouble(const char* key, double defaultValue) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        Fail(TARN_ERR_NULL_POINTER);
        return defaultValue;
    }
    unsigned int item = 0;
    int quick =
        Quick(this) ? zvenv::ResolveKeyQuickly(this, key, &item) : zvenv::kResolveTheLongWay;
    if (quick == 0) {
        return 0.0;
    }
    if (quick == 1) {
        unsigned int at = zvenv::QuickValue(m_EnvData, item, 1u << ZVED_ITEM_REAL);
        double value = 0.0;
        if (at != 0) {
            memcpy(&value, m_EnvData.m_pData + at, sizeof value);
        }
        zvenv::QuickStoreLock(m_EnvData, 0);
        if (at == 0) {
            Fail(TARN_ERR_KEY_NOT_EXIST);
            return defaultValue;
        }
        return value;
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 0)) {
        return 0.0;
    }
    double value = 0.0;
    unsigned int found = m_EnvData.GetDouble(k.dir, k.name, k.length, &value);
    m_EnvData.Lock(0);
    if (found == 0) {
        Fail(TARN_ERR_KEY_NOT_EXIST);
        return defaultValue;
    }
    return value;
}

/* There is no boolean message: a refusal reports the real-value code, as it always did. */
int CZVEnvFile::SetBoolean(const char* key, int value) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 1)) {
        return 0;
    }
    unsigned int set = m_EnvData.SetBoolean(k.dir, k.name, k.length, value);
    m_EnvData.Lock(0);
    return set != 0 ? 1 : Fail(TARN_ERR_SET_REAL);
}

int CZVEnvFile::GetBoolean(const char* key, int defaultValue) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr) {
        Fail(TARN_ERR_NULL_POINTER);
        return defaultValue;
    }
    unsigned int item = 0;
    int quick =
        Quick(this) ? zvenv::ResolveKeyQuickly(this, key, &item) : zvenv::kResolveTheLongWay;
    if (quick == 0) {
        return defaultValue;
    }
    if (quick == 1) {
        unsigned int at = zvenv::QuickValue(m_EnvData, item, kBooleanTypes);
        int value = at != 0 && m_EnvData.m_pData[item] == ZVED_ITEM_TRUE ? 1 : 0;
        zvenv::QuickStoreLock(m_EnvData, 0);
        if (at == 0) {
            Fail(TARN_ERR_KEY_NOT_EXIST);
            return defaultValue;
        }
        return value;
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 0)) {
        return defaultValue;
    }
    int value = 0;
    unsigned int found = m_EnvData.GetBoolean(k.dir, k.name, k.length, &value);
    m_EnvData.Lock(0);
    if (found == 0) {
        Fail(TARN_ERR_KEY_NOT_EXIST);
        return defaultValue;
    }
    return value;
}

int CZVEnvFile::SetString(const char* key, const char* text) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr || text == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 1)) {
        return 0;
    }
    unsigned int set = m_EnvData.SetString(k.dir, k.name, k.length, text, -1);
    m_EnvData.Lock(0);
    return set != 0 ? 1 : Fail(TARN_ERR_SET_STRING);
}

/*
 * The default goes into the buffer first, so it is what the caller finds whenever the key does
 * not deliver. The result is the whole length of what was found (or of the default), whatever
 * the buffer could take: call with size 0 first to size a buffer.
 */
int CZVEnvFile::GetString(const char* key, char* buffer, unsigned int size,
                          const char* defaultValue) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr || defaultValue == nullptr || (size != 0 && buffer == nullptr)) {
        Fail(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (size != 0 && TarnCopyStringA(defaultValue, buffer, size, 0) < 0) {
        return -1;
    }
    int defaultLength = static_cast<int>(strlen(defaultValue));
    char* text = nullptr;
    unsigned int item = 0;
    int quick =
        Quick(this) ? zvenv::ResolveKeyQuickly(this, key, &item) : zvenv::kResolveTheLongWay;
    if (quick == 0) {
        return defaultLength;
    }
    if (quick == 1) {
        unsigned int at = zvenv::QuickValue(m_EnvData, item, 1u << ZVED_ITEM_STRING);
        text = at != 0 ? reinterpret_cast<char*>(m_EnvData.m_pData + at) : nullptr;
    } else if (!PrepareKey(key, &k.dir, &k.name, &k.length, 0)) {
        return defaultLength;
    } else if (m_EnvData.GetString(k.dir, k.name, k.length, &text) == 0) {
        text = nullptr;
    }
    if (text == nullptr) {
        m_EnvData.Lock(0);
        Fail(TARN_ERR_KEY_NOT_EXIST);
        return defaultLength;
    }
    int length = static_cast<int>(strlen(text));
    if (size != 0) {
        TarnCopyStringA(text, buffer, size, 0);
    }
    m_EnvData.Lock(0);
    return length;
}

int CZVEnvFile::SetData(const char* key, const void* data, unsigned int size) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr || data == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    if (size == 0) {
        return Fail(TARN_ERR_INVALID_BINARY_SIZE);
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 1)) {
        return 0;
    }
    unsigned int set = m_EnvData.SetBinData(k.dir, k.name, k.length, data, size);
    m_EnvData.Lock(0);
    return set != 0 ? 1 : Fail(TARN_ERR_SET_BINARY);
}

int CZVEnvFile::GetData(const char* key, void* buffer, unsigned int size) {
    CCsLock guard(&m_CriticalSection);
    KeyRef k;
    if (key == nullptr || (size != 0 && buffer == nullptr)) {
        Fail(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (!PrepareKey(key, &k.dir, &k.name, &k.length, 0)) {
        return -1;
    }
    void* bytes = nullptr;
    unsigned int stored = 0;
    if (m_EnvData.GetBinData(k.dir, k.name, k.length, &bytes, &stored) == 0) {
        m_EnvData.Lock(0);
        Fail(TARN_ERR_KEY_NOT_EXIST);
        return -1;
    }
    if (size != 0 && stored != 0) {
        memcpy(buffer, bytes, size < stored ? size : stored);
    }
    m_EnvData.Lock(0);
    return static_cast<int>(stored);
}

/*
 * One block: the count, max(count, 1) packed entries, then the names in storage order. Sorting
 * moves only the entries. Names that compare equal (a directory and a key of one name) come in
 * no defined order.
 */
ZVEV_ENUM_LIST_tag* CZVEnvFile::EnumEntries(const char* path, unsigned int options) {
    CCsLock guard(&m_CriticalSection);
    if ((options & (ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS)) == 0) {
        Fail(TARN_ERR_NO_ENUM_OPTION);
        return nullptr;
    }
    unsigned int dir = 0;
    if (!PrepareDir(path, -1, &dir, 0)) {
        return nullptr;
    }
    unsigned int count = 0;
    unsigned int namesSize = 0;
    ForEachListed(m_EnvData, dir, options, [&](uint16_t, const char*, unsigned int length) {
        ++count;
        namesSize += length + 1;
    });
    const unsigned int entrySize = sizeof(ZVEV_ENUM_ENTRY_tag);
    unsigned int entriesEnd =
        offsetof(ZVEV_ENUM_LIST_tag, Entries) + (count != 0 ? count : 1) * entrySize;
    unsigned char* block = static_cast<unsigned char*>(TarnAllocateBuffer(entriesEnd + namesSize));
    if (block == nullptr) {
        m_EnvData.Lock(0);
        return nullptr;
    }
    ZVEV_ENUM_LIST_tag* list = reinterpret_cast<ZVEV_ENUM_LIST_tag*>(block);
    memset(block, 0, offsetof(ZVEV_ENUM_LIST_tag, Entries) + entrySize);
    unsigned int index = 0;
    char* names = reinterpret_cast<char*>(block + entriesEnd);
    ForEachListed(m_EnvData, dir, options,
                  [&](uint16_t type, const char* name, unsigned int length) {
                      memcpy(names, name, length);
                      names[length] = '\0';
                      ZVEV_ENUM_ENTRY_tag entry;
                      entry.pszName = names;
                      entry.wType = type;
                      memcpy(block + offsetof(ZVEV_ENUM_LIST_tag, Entries) + index * entrySize,
                             &entry, entrySize);
                      names += length + 1;
                      ++index;
                  });
    uint32_t stored = count;
    memcpy(block, &stored, sizeof stored);
    if ((options & ZVEV_ENUM_SORT) != 0 && count >= 2) {
        qsort(block + offsetof(ZVEV_ENUM_LIST_tag, Entries), count, entrySize, SortEntries);
    }
    m_EnvData.Lock(0);
    return list;
}

int CZVEnvFile::FreeSnapList(ZVEV_ENUM_LIST_tag* list) {
    if (list == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    unsigned char* block = reinterpret_cast<unsigned char*>(list);
    memset(block, 0, offsetof(ZVEV_ENUM_LIST_tag, Entries) + sizeof(ZVEV_ENUM_ENTRY_tag));
    return TarnFreeBuffer(list) ? 1 : 0;
}
