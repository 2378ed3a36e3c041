/*
 * ZVPathCache.h - the directories that key paths led to, by the path's text: part of a store's
 * lookup index. A path is remembered with the directory it started from and leads to the same
 * directory for as long as no directory is inserted, resized or removed, so the index forgets
 * them all at every such change. Internal to the library.
 */
#ifndef ZVPATHCACHE_H
#define ZVPATHCACHE_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace zvenv {

/* A hash of the path's bytes as they are (the cache tells paths apart byte for byte), eight
 * bytes at a time. */
inline uint32_t HashPath(const char* path, size_t length) {
    uint64_t h = 0x9E3779B97F4A7C15ull ^ length;
    size_t i = 0;
    for (; i + 8 <= length; i += 8) {
        uint64_t word;
        memcpy(&word, path + i, 8);
        h = (h ^ word) * 0xFF51AFD7ED558CCDull;
        h ^= h >> 29;
    }
    uint64_t tail = 0;
    memcpy(&tail, path + i, length - i);
    h = (h ^ tail) * 0xC4CEB9FE1A85EC53ull;
    return static_cast<uint32_t>(h ^ (h >> 32));
}

class PathCache {
public:
    PathCache();
    ~PathCache();
    PathCache(const PathCache&) = delete;
    PathCache& operator=(const PathCache&) = delete;

    /* The directory the path led to from start, or 0 when it is not remembered. */
    unsigned int Find(unsigned int start, const char* path, size_t length, uint32_t hash) const;
    /* Remembers where the path leads from start (nothing when there is no memory for it). */
    void Add(unsigned int start, const char* path, size_t length, uint32_t hash, unsigned int dir);
    void Clear();

private:
    struct Entry {
        uint32_t hash;
        uint32_t start;
        uint32_t dir; /* 0: a free entry */
        uint32_t length;
        size_t text; /* offset of the path's bytes in m_text */
    };

    bool Grow();
    /* Whether the entry's text is the path's (whose length equals the entry's). */
    bool SameText(const Entry& e, const char* path) const;

    Entry* m_entries;
    uint32_t m_capacity; /* a power of two, at most half full */
    uint32_t m_count;
    char* m_text;
    size_t m_textSize;
    size_t m_textCapacity;
};

}  // namespace zvenv

#endif /* ZVPATHCACHE_H */
