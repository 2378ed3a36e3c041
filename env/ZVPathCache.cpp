/*
 * ZVPathCache.cpp - key-path directories by text (see the header): open addressing over entries
 * that point into one growing block of path text. A cache that would hold more than a few
 * thousand paths starts again empty.
 */
#include "ZVPathCache.h"

#include <stdlib.h>
#include <string.h>

namespace zvenv {

namespace {

const uint32_t kMostPaths = 4096;

}  // namespace

PathCache::PathCache()
    : m_entries(nullptr),
      m_capacity(0),
      m_count(0),
      m_text(nullptr),
      m_textSize(0),
      m_textCapacity(0) {}

PathCache::~PathCache() {
    free(m_entries);
    free(m_text);
}

unsigned int PathCache::Find(unsigned int start, const char* path, size_t length,
                             uint32_t hash) const {
    if (m_count == 0) {
        return 0;
    }
    for (uint32_t i = hash & (m_capacity - 1);; i = (i + 1) & (m_capacity - 1)) {
        const Entry& e = m_entries[i];
        if (e.dir == 0) {
            return 0;
        }
        if (e.hash == hash && e.start == start && e.length == length && SameText(e, path)) {
            return e.dir;
        }
    }
}

void PathCache::Add(unsigned int start, const char* path, size_t length, uint32_t hash,
                    unsigned int dir) {
    if (dir == 0 || length > 0xFFFFFFFFu) {
        return;
    }
    if (m_count >= kMostPaths) {
        Clear();
    }
    if ((m_count + 1) * 2 > m_capacity && !Grow()) {
        return;
    }
    if (m_textSize + length > m_textCapacity) {
        size_t capacity = m_textCapacity != 0 ? m_textCapacity : 4096;
        while (capacity < m_textSize + length) {
            capacity *= 2;
        }
        void* grown = realloc(m_text, capacity);
        if (grown == nullptr) {
            return;
        }
        m_text = static_cast<char*>(grown);
        m_textCapacity = capacity;
    }
    /* An empty path (an empty assigned directory) has no text, and before the first text
     * there is no block to copy into. */
    if (length != 0) {
        memcpy(m_text + m_textSize, path, length);
    }
    uint32_t i = hash & (m_capacity - 1);
    while (m_entries[i].dir != 0) {
        i = (i + 1) & (m_capacity - 1);
    }
    m_entries[i] = Entry{hash, start, dir, static_cast<uint32_t>(length), m_textSize};
    m_textSize += length;
    ++m_count;
}

bool PathCache::SameText(const Entry& e, const char* path) const {
    return e.length == 0 || memcmp(m_text + e.text, path, e.length) == 0;
}

void PathCache::Clear() {
    if (m_count != 0) {
        memset(m_entries, 0, m_capacity * sizeof(Entry));
        m_count = 0;
    }
    m_textSize = 0;
}

bool PathCache::Grow() {
    uint32_t capacity = m_capacity != 0 ? m_capacity * 2 : 64;
    Entry* grown = static_cast<Entry*>(calloc(capacity, sizeof(Entry)));
    if (grown == nullptr) {
        return false;
    }
    for (uint32_t i = 0; i < m_capacity; ++i) {
        const Entry& e = m_entries[i];
        if (e.dir == 0) {
            continue;
        }
        uint32_t j = e.hash & (capacity - 1);
        while (grown[j].dir != 0) {
            j = (j + 1) & (capacity - 1);
        }
        grown[j] = e;
    }
    free(m_entries);
    m_entries = grown;
    m_capacity = capacity;
    return true;
}

}  // namespace zvenv
