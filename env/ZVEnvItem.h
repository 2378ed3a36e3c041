/*
 * ZVEnvItem.h - byte-level helpers of the item buffer, shared by the store's sources.
 *
 * Fields are little-endian and lie at any offset, so they are read and written with memcpy. The
 * device and the 64-bit build are both little-endian x86; the assertion keeps it that way.
 */
#ifndef ZVENVITEM_H
#define ZVENVITEM_H

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the item buffer is little-endian");

namespace zvenv {

/* Offsets inside the 38-byte header record at the start of the buffer. */
const unsigned int kTagOffset = 0;
const unsigned int kMajorOffset = 4;
const unsigned int kMinorOffset = 6;
const unsigned int kTimeOffset = 8;
const unsigned int kHeaderSize = 38;

/* Bytes of a directory's head besides its name: type, size, sum and the name terminator. */
const unsigned int kDirHeadExtra = 7;
/* Offset of a directory's name; of a key's (or comment's) name. */
const unsigned int kDirNameOffset = 6;
const unsigned int kKeyNameOffset = 2;
/* Bytes besides the name of each key kind: type, sum and terminator, then the value. */
const unsigned int kIntegerExtra = 7;
const unsigned int kRealExtra = 11;
const unsigned int kBooleanExtra = 3;
const unsigned int kStringExtra = 4;
const unsigned int kBinaryExtra = 7;
const unsigned int kCommentExtra = 5;

inline uint32_t ReadU32(const unsigned char* p) {
    uint32_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

inline void WriteU32(unsigned char* p, uint32_t v) {
    memcpy(p, &v, sizeof v);
}

inline uint16_t ReadU16(const unsigned char* p) {
    uint16_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

inline void WriteU16(unsigned char* p, uint16_t v) {
    memcpy(p, &v, sizeof v);
}

/* 'a'-'z' folded to upper case; every other byte as it is. */
inline unsigned char FoldCase(unsigned char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 32) : c;
}

/* A name argument's length: strlen when negative, 0 for a null name. */
inline unsigned int NameLength(const char* name, int length) {
    if (name == nullptr) {
        return 0;
    }
    return length < 0 ? static_cast<unsigned int>(strlen(name)) : static_cast<unsigned int>(length);
}

/* a + b, or false when the sum does not fit 32 bits. */
inline bool AddSize(unsigned int a, unsigned int b, unsigned int* sum) {
    *sum = a + b;
    return *sum >= a;
}

/*
 * Bytes a caller passed in that may lie inside the item buffer itself (a name or value read from
 * the store and written back under another key). Growing the buffer moves it, so such bytes are
 * copied aside first; bytes from anywhere else are used where they are. Bytes that overlap the
 * buffer without lying wholly inside it are refused (Ok() is false): they cannot be a value of
 * the store, and copying them would read past the data (a wrapping binary size, for one).
 */
class SafeBytes {
public:
    SafeBytes(const void* bytes, unsigned int length, const unsigned char* buffer,
              unsigned int bufferSize)
        : m_bytes(static_cast<const unsigned char*>(bytes)), m_copy(nullptr), m_ok(true) {
        const unsigned char* p = m_bytes;
        if (p == nullptr || buffer == nullptr || p >= buffer + bufferSize || p + length <= buffer) {
            return;
        }
        if (p < buffer || length > static_cast<size_t>(buffer + bufferSize - p)) {
            m_ok = false;
            m_bytes = nullptr;
            return;
        }
        m_copy = static_cast<unsigned char*>(malloc(length != 0 ? length : 1));
        if (m_copy != nullptr) {
            memcpy(m_copy, p, length);
        } else {
            m_ok = false;
        }
        m_bytes = m_copy;
    }
    ~SafeBytes() { free(m_copy); }
    SafeBytes(const SafeBytes&) = delete;
    SafeBytes& operator=(const SafeBytes&) = delete;

    /* False when the bytes had to be copied and no memory was left. */
    bool Ok() const { return m_ok; }
    const char* Text() const { return reinterpret_cast<const char*>(m_bytes); }
    const void* Bytes() const { return m_bytes; }

private:
    const unsigned char* m_bytes;
    unsigned char* m_copy;
    bool m_ok;
};

}  // namespace zvenv

class CZVEnvData;

namespace zvenv {

/* Sets the used size of the store's block (growing its capacity ahead) and reloads the store's
 * data pointer and size. False when the block cannot be resized. */
bool SetBlockSize(CZVEnvData* store, unsigned int size);

}  // namespace zvenv

#endif /* ZVENVITEM_H */
