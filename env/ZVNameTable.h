/*
 * ZVNameTable.h - a hash table of item names that holds no copies of the names: each entry is
 * an item's offset with the hash and length of its name, and names are compared where they lie
 * in the buffer. Names compare as the store compares them ('a'-'z' folded to upper case). Used
 * by the lookup index and by the loader. Internal to the library.
 */
#ifndef ZVNAMETABLE_H
#define ZVNAMETABLE_H

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "ZVEnvItem.h"

namespace zvenv {

/* FNV-1a over the name with 'a'-'z' folded, as names compare. */
inline uint32_t HashName(const char* name, unsigned int length) {
    uint32_t h = 2166136261u;
    for (unsigned int i = 0; i < length; ++i) {
        h = (h ^ FoldCase(static_cast<unsigned char>(name[i]))) * 16777619u;
    }
    return h;
}

/* What each byte may be in a name: 1 anywhere (letters, '_', '[' and ']'), 2 from the second
 * byte on (digits and '.'), 0 nowhere. */
struct NameBytes {
    unsigned char kind[256];
    constexpr NameBytes() : kind() {
        for (int c = 'A'; c <= 'Z'; ++c) {
            kind[c] = 1;
            kind[c + 32] = 1;
        }
        kind[static_cast<unsigned char>('_')] = 1;
        kind[static_cast<unsigned char>('[')] = 1;
        kind[static_cast<unsigned char>(']')] = 1;
        for (int c = '0'; c <= '9'; ++c) {
            kind[c] = 2;
        }
        kind[static_cast<unsigned char>('.')] = 2;
    }
};

inline constexpr NameBytes kNameBytes;

/* The name checksum (CZVEnvData::CalcSum): the XOR of the bytes, 'a'-'z' folded to upper case. */
inline unsigned char NameSum(const char* name, unsigned int n) {
    unsigned char sum = 0;
    for (unsigned int i = 0; i < n; ++i) {
        sum = static_cast<unsigned char>(sum ^ FoldCase(static_cast<unsigned char>(name[i])));
    }
    return sum;
}

/* Whether the n bytes at name may be a name: empty, or a letter, '_', '[' or ']' and then any
 * of those, digits and '.'. */
inline bool ValidName(const char* name, unsigned int n) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(name);
    if (n == 0) {
        return true;
    }
    if (kNameBytes.kind[bytes[0]] != 1) {
        return false;
    }
    for (unsigned int i = 1; i < n; ++i) {
        if (kNameBytes.kind[bytes[i]] == 0) {
            return false;
        }
    }
    return true;
}

/* Whether the n bytes at name form a valid name of at least one byte, with the name's hash
 * (HashName) in *hash. */
inline bool ScanName(const char* name, unsigned int n, uint32_t* hash) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(name);
    if (n == 0 || kNameBytes.kind[bytes[0]] != 1) {
        return false;
    }
    uint32_t h = 2166136261u;
    for (unsigned int i = 0; i < n; ++i) {
        unsigned char c = bytes[i];
        if (kNameBytes.kind[c] == 0) {
            return false;
        }
        h = (h ^ FoldCase(c)) * 16777619u;
    }
    *hash = h;
    return true;
}

inline bool SameName(const char* a, const char* b, unsigned int length) {
    if (memcmp(a, b, length) == 0) {
        return true; /* the usual case: written alike */
    }
    for (unsigned int i = 0; i < length; ++i) {
        if (FoldCase(static_cast<unsigned char>(a[i])) !=
            FoldCase(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

/* One item in a name table; offset 0 marks a free entry (no item lies at 0). */
struct NameEntry {
    uint32_t offset;
    uint32_t hash;
    uint32_t length;
};

/* Open addressing with linear probing; the capacity is a power of two, at most half full. */
class NameTable {
public:
    NameTable() : m_entries(nullptr), m_capacity(0), m_count(0) {}
    ~NameTable() { free(m_entries); }
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    /* The offset of the entry named name (nameOffset: where names start inside an item), or 0. */
    uint32_t Find(const unsigned char* data, uint32_t nameOffset, uint32_t hash, const char* name,
                  uint32_t length) const {
        if (m_count == 0) {
            return 0;
        }
        for (uint32_t i = hash & (m_capacity - 1);; i = (i + 1) & (m_capacity - 1)) {
            const NameEntry& e = m_entries[i];
            if (e.offset == 0) {
                return 0;
            }
            if (e.hash == hash && e.length == length &&
                SameName(reinterpret_cast<const char*>(data + e.offset + nameOffset), name,
                         length)) {
                return e.offset;
            }
        }
    }

    /* Adds a child unless a child of that name is there already (the first one stays). */
    bool Add(const unsigned char* data, uint32_t nameOffset, uint32_t offset, uint32_t hash,
             uint32_t length) {
        if (Find(data, nameOffset, hash, reinterpret_cast<const char*>(data + offset + nameOffset),
                 length) != 0) {
            return true;
        }
        if ((m_count + 1) * 2 > m_capacity && !Grow()) {
            return false;
        }
        Place(NameEntry{offset, hash, length});
        ++m_count;
        return true;
    }

    /* Forgets the children at from and behind it (inclusive) or behind it only. */
    void EraseFrom(uint32_t from, bool inclusive) {
        if (m_count == 0) {
            return;
        }
        NameEntry* old = m_entries;
        uint32_t capacity = m_capacity;
        m_entries = static_cast<NameEntry*>(calloc(capacity, sizeof(NameEntry)));
        if (m_entries == nullptr) {
            m_entries = old;
            Clear();
            return;
        }
        m_count = 0;
        for (uint32_t i = 0; i < capacity; ++i) {
            const NameEntry& e = old[i];
            if (e.offset != 0 && (inclusive ? e.offset < from : e.offset <= from)) {
                Place(e);
                ++m_count;
            }
        }
        free(old);
    }

    void Clear() {
        if (m_entries != nullptr) {
            memset(m_entries, 0, m_capacity * sizeof(NameEntry));
        }
        m_count = 0;
    }

private:
    void Place(const NameEntry& entry) {
        uint32_t i = entry.hash & (m_capacity - 1);
        while (m_entries[i].offset != 0) {
            i = (i + 1) & (m_capacity - 1);
        }
        m_entries[i] = entry;
    }

    bool Grow() {
        uint32_t capacity = m_capacity != 0 ? m_capacity * 2 : 16;
        NameEntry* grown = static_cast<NameEntry*>(calloc(capacity, sizeof(NameEntry)));
        if (grown == nullptr) {
            return false;
        }
        NameEntry* old = m_entries;
        uint32_t oldCapacity = m_capacity;
        m_entries = grown;
        m_capacity = capacity;
        for (uint32_t i = 0; i < oldCapacity; ++i) {
            if (old[i].offset != 0) {
                Place(old[i]);
            }
        }
        free(old);
        return true;
    }

    NameEntry* m_entries;
    uint32_t m_capacity;
    uint32_t m_count;
};

/*
 * Hashes of the names of one directory being laid out, as a set: open addressing with linear
 * probing over a power-of-two capacity, at most three quarters full, 0 marking a free slot (a
 * hash of 0 is kept as 1). Four bytes a name keep a directory of ten thousand keys in 64 KiB.
 * A hash that is there already only says the name may be: the directory's items tell.
 */
class NameHashes {
public:
    NameHashes() : m_slots(nullptr), m_capacity(0), m_count(0) {}
    ~NameHashes() { free(m_slots); }
    NameHashes(const NameHashes&) = delete;
    NameHashes& operator=(const NameHashes&) = delete;

    /* 1 when hash was added, 0 when it was there already, -1 when memory ran out. */
    int Add(uint32_t hash) {
        if ((m_count + 1) * 4 > m_capacity * 3 && !Grow()) {
            return -1;
        }
        hash = hash != 0 ? hash : 1;
        for (uint32_t i = hash & (m_capacity - 1);; i = (i + 1) & (m_capacity - 1)) {
            if (m_slots[i] == hash) {
                return 0;
            }
            if (m_slots[i] == 0) {
                m_slots[i] = hash;
                ++m_count;
                return 1;
            }
        }
    }

    void Clear() {
        if (m_count != 0) {
            memset(m_slots, 0, m_capacity * sizeof *m_slots);
            m_count = 0;
        }
    }

private:
    bool Grow() {
        uint32_t capacity = m_capacity != 0 ? m_capacity * 2 : 64;
        uint32_t* grown = static_cast<uint32_t*>(calloc(capacity, sizeof *grown));
        if (grown == nullptr) {
            return false;
        }
        for (uint32_t i = 0; i < m_capacity; ++i) {
            uint32_t hash = m_slots[i];
            if (hash != 0) {
                uint32_t j = hash & (capacity - 1);
                while (grown[j] != 0) {
                    j = (j + 1) & (capacity - 1);
                }
                grown[j] = hash;
            }
        }
        free(m_slots);
        m_slots = grown;
        m_capacity = capacity;
        return true;
    }

    uint32_t* m_slots;
    uint32_t m_capacity;
    uint32_t m_count;
};

}  // namespace zvenv

#endif /* ZVNAMETABLE_H */
