/*
 * ZVItemBuilder.h - lays out an item buffer directly, as a store's setters would leave it after
 * a text file was read into an empty store, for the loader's quick path.
 *
 * The loader reads a text file from its first item to its last and only ever appends: each
 * directory, key and comment becomes the last child of the directory being read. So the bytes
 * can be laid down one item after another, with no insertion, lookup or size fix-up per item,
 * and handed to the store in one piece. The builder takes the same arguments as the store's
 * operations and refuses what the store refuses (with the same name rules and checksum).
 * What it cannot lay out exactly as the store would (a name given twice in one directory, which
 * the store merges or rewrites in place) and running out of memory make it give up: the loader
 * then reads the file again through the store. Internal to the library.
 */
#ifndef ZVITEMBUILDER_H
#define ZVITEMBUILDER_H

#include <stdint.h>

#include "ZVEnvData.h"
#include "ZVNameTable.h"

namespace zvenv {

class ItemBuilder {
public:
    ItemBuilder();
    ~ItemBuilder();
    ItemBuilder(const ItemBuilder&) = delete;
    ItemBuilder& operator=(const ItemBuilder&) = delete;

    /* False once the builder gave up: the items must be read through the store. */
    bool Ok() const { return m_ok; }

    /* The store's operations of the same names, on directories being built (0 is the root).
     * Results are offsets as the store would give them, 0 when refused. */
    unsigned int CreateSubDir(unsigned int dir, const char* name, int length);
    unsigned int SetInteger(unsigned int dir, const char* name, int length, int value,
                            unsigned char radix);
    unsigned int SetDouble(unsigned int dir, const char* name, int length, double value);
    unsigned int SetBoolean(unsigned int dir, const char* name, int length, int value);
    unsigned int SetString(unsigned int dir, const char* name, int length, const char* text,
                           int textLength);
    unsigned int SetBinData(unsigned int dir, const char* name, int length, const void* data,
                            unsigned int size);
    unsigned int GetBinDataBuf(unsigned int item, void** data, unsigned int* size);
    unsigned int InsertComment(unsigned int dir, const char* text, int length, unsigned char type,
                               unsigned short value);

    /* Closes every directory and gives the root directory item; null when the builder gave up. */
    const unsigned char* Finish(unsigned int* size);

private:
    struct OpenDir {
        uint32_t at;      /* offset of the directory item */
        NameHashes names; /* its keys' and subdirectories' names, hashed */
    };

    bool Enter(unsigned int dir);
    void CloseTo(int level);
    unsigned char* Append(uint32_t size, uint32_t* at);
    unsigned int AddKey(unsigned int dir, const char* name, int length, unsigned char type,
                        uint32_t valueSize, unsigned char** value);
    unsigned int GiveUp();
    bool IsNew(bool dir, const char* name, uint32_t length, uint32_t hash);
    bool HasChild(const OpenDir& open, bool dir, const char* name, uint32_t length) const;

    unsigned char* m_bytes; /* the buffer from offset 38 on */
    uint32_t m_size;
    uint32_t m_capacity;
    OpenDir m_open[ZVED_MAX_DEPTH + 1];
    int m_level; /* index of the directory being read in m_open */
    bool m_ok;
};

}  // namespace zvenv

#endif /* ZVITEMBUILDER_H */
