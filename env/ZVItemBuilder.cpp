/*
 * ZVItemBuilder.cpp - the item buffer laid out one appended item after another (see the
 * header). Directories are open from the root down to the one being read; an item for a
 * directory further up closes the ones below it, whose sizes are then written.
 */
#include "ZVItemBuilder.h"

#include <stdlib.h>
#include <string.h>

#include "ZVEnvItem.h"

namespace zvenv {

namespace {

/* Bytes of the item buffer in front of the root directory. */
const uint32_t kRootAt = ZVED_ROOT_DIR;
/* The builder keeps to buffers well inside what the block and the offsets can hold. */
const uint32_t kMostBytes = 0x7FFFFFFFu;

/* A text argument's length: strlen when negative, and never past its first NUL (as the store
 * measures it). */
uint32_t TextLength(const char* text, int length) {
    if (text == nullptr) {
        return 0;
    }
    if (length < 0) {
        return static_cast<uint32_t>(strlen(text));
    }
    const void* nul = memchr(text, 0, static_cast<size_t>(length));
    return nul != nullptr ? static_cast<uint32_t>(static_cast<const char*>(nul) - text)
                          : static_cast<uint32_t>(length);
}

bool IsIntegerType(unsigned char type) {
    return type == ZVED_ITEM_INTEGER || type == ZVED_ITEM_HEX || type == ZVED_ITEM_OCT ||
           type == ZVED_ITEM_BIN;
}

}  // namespace

ItemBuilder::ItemBuilder() : m_bytes(nullptr), m_size(0), m_capacity(0), m_level(0), m_ok(true) {
    uint32_t at;
    unsigned char* root = Append(kDirHeadExtra, &at);
    if (root != nullptr) {
        memset(root, 0, kDirHeadExtra);
        root[0] = ZVED_ITEM_DIR;
        m_open[0].at = at;
    }
}

ItemBuilder::~ItemBuilder() {
    free(m_bytes);
}

unsigned int ItemBuilder::GiveUp() {
    m_ok = false;
    return 0;
}

/* Room for size more bytes at the end; their offset (as the store counts) goes to *at. */
unsigned char* ItemBuilder::Append(uint32_t size, uint32_t* at) {
    if (!m_ok || size > kMostBytes - m_size) {
        m_ok = false;
        return nullptr;
    }
    if (m_size + size > m_capacity) {
        uint32_t capacity = m_capacity != 0 ? m_capacity : 4096;
        while (capacity < m_size + size) {
            capacity = capacity <= kMostBytes / 2 ? capacity * 2 : m_size + size;
        }
        void* grown = realloc(m_bytes, capacity);
        if (grown == nullptr) {
            m_ok = false;
            return nullptr;
        }
        m_bytes = static_cast<unsigned char*>(grown);
        m_capacity = capacity;
    }
    *at = kRootAt + m_size;
    m_size += size;
    return m_bytes + (*at - kRootAt);
}

/* Closes the directories below level, writing their sizes. */
void ItemBuilder::CloseTo(int level) {
    while (m_level > level) {
        OpenDir& open = m_open[m_level];
        WriteU32(m_bytes + (open.at - kRootAt) + 1, kRootAt + m_size - open.at);
        open.names.Clear();
        --m_level;
    }
}

/*
 * Makes dir (0: the root) the directory being read. It must be one of the open ones: items only
 * ever go into the directory being read or, once that is done, one further up. An item for any
 * other directory cannot be laid out here.
 */
bool ItemBuilder::Enter(unsigned int dir) {
    if (dir < kRootAt) {
        dir = kRootAt;
    }
    for (int level = m_level; level >= 0; --level) {
        if (m_open[level].at == dir) {
            CloseTo(level);
            return true;
        }
    }
    GiveUp();
    return false;
}

/*
 * Whether the directory being read has no key (or, for dir, no subdirectory) of that name yet;
 * the name's hash is remembered either way. Keys and subdirectories are named apart, so their
 * hashes are kept apart too. False also when memory ran out.
 */
bool ItemBuilder::IsNew(bool dir, const char* name, uint32_t length, uint32_t hash) {
    const OpenDir& open = m_open[m_level];
    int added = m_open[m_level].names.Add(dir ? hash ^ 0x9E3779B9u : hash);
    return added > 0 || (added == 0 && !HasChild(open, dir, name, length));
}

/*
 * Walks the children of the directory being read (all of them complete: the directories among
 * them are closed) for a key or subdirectory of that name. Only taken when two names hash
 * alike, which is rare.
 */
bool ItemBuilder::HasChild(const OpenDir& open, bool dir, const char* name, uint32_t length) const {
    const unsigned char* head = m_bytes + (open.at - kRootAt);
    uint32_t at =
        open.at - kRootAt + kDirHeadExtra +
        static_cast<uint32_t>(strlen(reinterpret_cast<const char*>(head) + kDirNameOffset));
    while (at < m_size) {
        const unsigned char* p = m_bytes + at;
        unsigned char type = p[0];
        const char* own = reinterpret_cast<const char*>(
            p + (type == ZVED_ITEM_DIR ? kDirNameOffset : kKeyNameOffset));
        uint32_t ownLength = static_cast<uint32_t>(strlen(own));
        bool comment = type == ZVED_ITEM_COMMENT || type == ZVED_ITEM_TRAILING_COMMENT;
        if (!comment && (type == ZVED_ITEM_DIR) == dir && ownLength == length &&
            SameName(own, name, length)) {
            return true;
        }
        if (type == ZVED_ITEM_DIR) {
            at += ReadU32(p + 1);
            continue;
        }
        at += kKeyNameOffset + ownLength + 1;
        if (comment) {
            at += 2;
        } else if (IsIntegerType(type)) {
            at += 4;
        } else if (type == ZVED_ITEM_REAL) {
            at += 8;
        } else if (type == ZVED_ITEM_STRING) {
            at += static_cast<uint32_t>(strlen(reinterpret_cast<const char*>(m_bytes + at))) + 1;
        } else if (type == ZVED_ITEM_BINARY) {
            at += 4 + ReadU32(m_bytes + at);
        }
    }
    return false;
}

/*
 * A new key (or comment) of the given type in dir: its head (type, sum, name, terminator) and
 * valueSize bytes for the value, at *value. Refuses what the store's setters refuse; gives up on
 * a name the directory holds already.
 */
unsigned int ItemBuilder::AddKey(unsigned int dir, const char* name, int length, unsigned char type,
                                 uint32_t valueSize, unsigned char** value) {
    if (!m_ok || !Enter(dir)) {
        return 0;
    }
    uint32_t n = NameLength(name, length);
    uint32_t hash;
    if (!ScanName(name, n, &hash)) {
        return 0; /* empty or not a valid name */
    }
    /* The store inserts only into a directory with fewer than 16 around it. */
    if (m_level >= ZVED_MAX_DEPTH) {
        return 0;
    }
    if (!IsNew(false, name, n, hash)) {
        return GiveUp();
    }
    uint32_t at;
    uint32_t size;
    if (!AddSize(n, 3, &size) || !AddSize(size, valueSize, &size)) {
        return 0;
    }
    unsigned char* p = Append(size, &at);
    if (p == nullptr) {
        return 0;
    }
    p[0] = type;
    p[1] = NameSum(name, n);
    memcpy(p + kKeyNameOffset, name, n);
    p[kKeyNameOffset + n] = 0;
    *value = p + kKeyNameOffset + n + 1;
    return at;
}

unsigned int ItemBuilder::CreateSubDir(unsigned int dir, const char* name, int length) {
    if (!m_ok || !Enter(dir)) {
        return 0;
    }
    uint32_t n = NameLength(name, length);
    uint32_t hash;
    if (!ScanName(name, n, &hash)) {
        return 0;
    }
    if (!IsNew(true, name, n, hash)) {
        return GiveUp(); /* the store goes on in the directory it has */
    }
    if (m_level >= ZVED_MAX_DEPTH) {
        return 0;
    }
    uint32_t at;
    uint32_t size;
    if (!AddSize(n, kDirHeadExtra, &size)) {
        return 0;
    }
    unsigned char* p = Append(size, &at);
    if (p == nullptr) {
        return 0;
    }
    p[0] = ZVED_ITEM_DIR;
    WriteU32(p + 1, size);
    p[5] = NameSum(name, n);
    memcpy(p + kDirNameOffset, name, n);
    p[kDirNameOffset + n] = 0;
    ++m_level;
    m_open[m_level].at = at;
    return at;
}

unsigned int ItemBuilder::SetInteger(unsigned int dir, const char* name, int length, int value,
                                     unsigned char radix) {
    unsigned char* v;
    unsigned char type =
        IsIntegerType(radix) ? radix : static_cast<unsigned char>(ZVED_ITEM_INTEGER);
    unsigned int at = AddKey(dir, name, length, type, 4, &v);
    if (at != 0) {
        WriteU32(v, static_cast<uint32_t>(value));
    }
    return at;
}

unsigned int ItemBuilder::SetDouble(unsigned int dir, const char* name, int length, double value) {
    unsigned char* v;
    unsigned int at = AddKey(dir, name, length, ZVED_ITEM_REAL, sizeof value, &v);
    if (at != 0) {
        memcpy(v, &value, sizeof value);
    }
    return at;
}

unsigned int ItemBuilder::SetBoolean(unsigned int dir, const char* name, int length, int value) {
    unsigned char* v;
    return AddKey(dir, name, length, value != 0 ? ZVED_ITEM_TRUE : ZVED_ITEM_FALSE, 0, &v);
}

unsigned int ItemBuilder::SetString(unsigned int dir, const char* name, int length,
                                    const char* text, int textLength) {
    if (text == nullptr) {
        return 0;
    }
    uint32_t t = TextLength(text, textLength);
    if (t >= kMostBytes) {
        return GiveUp();
    }
    unsigned char* v;
    unsigned int at = AddKey(dir, name, length, ZVED_ITEM_STRING, t + 1, &v);
    if (at != 0) {
        memcpy(v, text, t);
        v[t] = 0;
    }
    return at;
}

unsigned int ItemBuilder::SetBinData(unsigned int dir, const char* name, int length,
                                     const void* data, unsigned int size) {
    if (size >= kMostBytes) {
        return GiveUp();
    }
    unsigned char* v;
    unsigned int at = AddKey(dir, name, length, ZVED_ITEM_BINARY, size + 4, &v);
    if (at != 0) {
        WriteU32(v, size);
        if (data != nullptr) {
            memcpy(v + 4, data, size);
        } else {
            memset(v + 4, 0, size);
        }
    }
    return at;
}

unsigned int ItemBuilder::GetBinDataBuf(unsigned int item, void** data, unsigned int* size) {
    if (!m_ok || item < kRootAt || item - kRootAt >= m_size) {
        return 0;
    }
    unsigned char* p = m_bytes + (item - kRootAt);
    if (p[0] != ZVED_ITEM_BINARY) {
        return 0;
    }
    unsigned char* value = p + kKeyNameOffset + strlen(reinterpret_cast<char*>(p + 2)) + 1;
    if (data != nullptr) {
        *data = value + 4;
    }
    if (size != nullptr) {
        *size = ReadU32(value);
    }
    return item;
}

unsigned int ItemBuilder::InsertComment(unsigned int dir, const char* text, int length,
                                        unsigned char type, unsigned short value) {
    if (!m_ok || !Enter(dir) || (type != ZVED_ITEM_COMMENT && type != ZVED_ITEM_TRAILING_COMMENT)) {
        return 0;
    }
    if (m_level >= ZVED_MAX_DEPTH) {
        return 0;
    }
    uint32_t t = TextLength(text, length);
    uint32_t at;
    unsigned char* p = t < kMostBytes ? Append(t + kCommentExtra, &at) : nullptr;
    if (p == nullptr) {
        return GiveUp();
    }
    p[0] = type;
    p[1] = NameSum(text, t);
    if (t != 0) {
        memcpy(p + kKeyNameOffset, text, t);
    }
    p[kKeyNameOffset + t] = 0;
    WriteU16(p + kKeyNameOffset + t + 1, value);
    return at;
}

const unsigned char* ItemBuilder::Finish(unsigned int* size) {
    if (!m_ok) {
        return nullptr;
    }
    CloseTo(0);
    WriteU32(m_bytes + 1, m_size);
    *size = m_size;
    return m_bytes;
}

}  // namespace zvenv
