/*
 * ZVEnvData.h - an environment held as one item buffer in a shared data block.
 *
 * The item buffer starts with the 38-byte common file header record (its first four bytes are
 * the format tag "ENVT" or "ENVB", then the major and minor version and the last-modified time),
 * followed at offset 38 by the root directory, whose size runs to the end of the buffer. Every
 * item starts with a one-byte type:
 *
 *   1  binary data    type, sum, name, 0, length (u32), bytes
 *   2  boolean false  type, sum, name, 0
 *   3  boolean true   type, sum, name, 0
 *   4  comment line   type, sum, text, 0, column (u16)
 *   5  directory      type, size (u32, the whole directory), sum, name, 0, children
 *   6  locked dir.    as 5
 *   7  integer        type, sum, name, 0, value (i32), written in decimal
 *   8  filler         the type byte alone
 *   9  real           type, sum, name, 0, value (IEEE 754 double)
 *   10 string         type, sum, name, 0, text, 0
 *   11 integer        as 7, written in hexadecimal
 *   12 integer        as 7, written in octal
 *   13 integer        as 7, written in binary
 *   14 comment        as 4, trailing the key before it
 *
 * Numbers are little-endian and unaligned. The sum byte is the XOR of the name's bytes with
 * 'a'-'z' folded to upper case. Items are addressed by their byte offset in the buffer, never by
 * pointer, because the buffer moves when it grows; offset 0 means none or failure, and a
 * directory offset below 38 stands for the root.
 *
 * The buffer can be read and changed only while the store is locked (Lock(1)); every item
 * operation fails on an unlocked store. Pointers returned into the buffer (names, string and
 * binary values) stay valid only while the store stays locked and unchanged. No operation sets
 * the last-error code: results say what happened (0, null or 0xFFFFFFFF for failure).
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them. Operations call each other through the virtual slots.
 */
#ifndef ZVENVDATA_H
#define ZVENVDATA_H

#ifdef __cplusplus

#include <stdio.h>

#include "ZVSharedData.h"
#include "ZVTypes.h"

/* Item types of the buffer. */
enum {
    ZVED_ITEM_BINARY = 1,
    ZVED_ITEM_FALSE = 2,
    ZVED_ITEM_TRUE = 3,
    ZVED_ITEM_COMMENT = 4,
    ZVED_ITEM_DIR = 5,
    ZVED_ITEM_LOCKED_DIR = 6,
    ZVED_ITEM_INTEGER = 7,
    ZVED_ITEM_FILLER = 8,
    ZVED_ITEM_REAL = 9,
    ZVED_ITEM_STRING = 10,
    ZVED_ITEM_HEX = 11,
    ZVED_ITEM_OCT = 12,
    ZVED_ITEM_BIN = 13,
    ZVED_ITEM_TRAILING_COMMENT = 14
};

/* Offset of the root directory; the header record fills the bytes before it. */
#define ZVED_ROOT_DIR 38u
/* Most directories that may enclose an item (the root included). */
#define ZVED_MAX_DEPTH 16

class ZV_API CZVEnvData {
public:
    CZVEnvData();
    virtual ~CZVEnvData();

    /* Non-zero locks the block and loads the data pointer and size; 0 unlocks and clears them.
     * 0 when the block's lock fails. */
    virtual int Lock(int lock);
    /* Binds the store to the block "<sharedName> NN" (slots 00-99) owned by ownerKey, or to the
     * first free slot. The store is left unlocked. 1/0. */
    virtual int Open(const char* sharedName, const char* ownerKey);
    /* Clears the data pointer and size and closes the block. */
    virtual int Close();
    /* Replaces the tree: size > 6 copies data (a complete root directory item) to offset 38;
     * otherwise an empty root. Then the text format and the access time. */
    virtual int Reset(const void* data, unsigned int size);
    /* 1 for "ENVB", 0 for "ENVT", anything else or an unlocked store. */
    virtual int GetFormat();
    /* 0 chooses "ENVT", 1 "ENVB" (versions 1.0); anything else 0. */
    virtual int AssignFormat(int format);
    /* Fills the store from a file in either format. The caller holds the lock. */
    virtual int Load(const char* path);
    /* Writes the header line and the text or binary body, then stamps the file's header. */
    virtual int Save(const char* path);

    /* Letters, '_', '[' and ']'; from the second byte also digits and '.'. "" is valid. */
    virtual int IsValidName(const char* name, int length);
    /* Equal lengths and equal bytes with 'a'-'z' folded to upper case. */
    virtual int IsSameName(const char* name1, int length1, const char* name2, int length2);
    /* The name inside the buffer, or null. */
    virtual char* GetDirName(unsigned int dir);
    /* The name (or comment text) inside the buffer, or null. */
    virtual char* GetKeyName(unsigned int item);
    virtual int IsKey(unsigned int item);
    virtual int IsKeyNoValidate(unsigned int item);
    virtual int IsDir(unsigned int item);
    virtual int IsDirNoValidate(unsigned int item);
    /* The type byte, or 0xFFFFFFFF for an invalid offset. */
    virtual unsigned int GetAttribute(unsigned int item);
    virtual unsigned char GetSum(unsigned int item);
    /* A direct child directory / key of that name, or 0. Comments are never found. */
    virtual unsigned int FindDir(unsigned int dir, const char* name, int length);
    virtual unsigned int FindKey(unsigned int dir, const char* name, int length);
    /* Removes a directory with its contents, or a key with the trailing comment behind it. */
    virtual int DeleteItem(unsigned int item);
    /* Follows a '/'-separated path from dir, creating missing directories. */
    virtual unsigned int CreateDir(unsigned int dir, const char* path, int length);
    virtual unsigned int CreateSubDir(unsigned int dir, const char* name, int length);
    /* Follows a '/'-separated path of existing directories from dir. */
    virtual unsigned int GetDir(unsigned int dir, const char* path, int length);
    /* Marks a directory locked (type 6) or unlocked (type 5). A mark only. */
    virtual int LockDir(unsigned int dir, int lock);
    virtual int IsDirLocked(unsigned int dir);
    /* 38. */
    virtual unsigned int GetRootDir();

    /* radix 7, 11, 12 or 13 chooses how the integer is written; anything else keeps the key's
     * radix (decimal for a new key). Setters return the key's offset, getters the key's offset
     * after storing the value; 0 on failure. */
    virtual unsigned int SetInteger(unsigned int dir, const char* name, int length, int value,
                                    unsigned char radix);
    virtual unsigned int GetInteger(unsigned int dir, const char* name, int length, int* value);
    virtual unsigned int SetDouble(unsigned int dir, const char* name, int length, double value);
    virtual unsigned int GetDouble(unsigned int dir, const char* name, int length, double* value);
    virtual unsigned int SetBoolean(unsigned int dir, const char* name, int length, int value);
    virtual unsigned int GetBoolean(unsigned int dir, const char* name, int length, int* value);
    /* textLength < 0 means strlen; the text ends at its first NUL. */
    virtual unsigned int SetString(unsigned int dir, const char* name, int length, const char* text,
                                   int textLength);
    virtual unsigned int GetString(unsigned int dir, const char* name, int length, char** text);
    /* A null data pointer stores size zero bytes. */
    virtual unsigned int SetBinData(unsigned int dir, const char* name, int length,
                                    const void* data, unsigned int size);
    virtual unsigned int GetBinData(unsigned int dir, const char* name, int length, void** data,
                                    unsigned int* size);
    virtual unsigned int GetBinDataBuf(unsigned int item, void** data, unsigned int* size);
    /* Appends a comment (type 4 or 14) carrying value as the last item of dir. */
    virtual unsigned int InsertComment(unsigned int dir, const char* text, int length,
                                       unsigned char type, unsigned short value);
    /* Stamps the header's last-modified time (null: now) once per Open. */
    virtual int SetAccessTime(_SYSTEMTIME* time);
    virtual int GetAccessTime(_SYSTEMTIME* time);
    /* Copies the 38-byte record over the buffer's header, format tag included. */
    virtual int SetCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header);

    /* Total size of an item in bytes, 0 when it is malformed. */
    virtual unsigned int GetItemSize(unsigned int item);
    virtual unsigned int GetItemSizeNoValidate(unsigned int item);
    /* Offset behind a directory's / key's name terminator, 0 on failure. */
    virtual unsigned int SkipDirHead(unsigned int dir);
    virtual unsigned int SkipKeyHead(unsigned int item);

    /* Writes indent-depth tabs straight to the file. Always 1. */
    virtual int PrintIndent(FILE* file);
    /* Prints one item (a directory with everything in it) in the text format. */
    virtual int PrintItem(unsigned int item, FILE* file);

    /* The name checksum, 0-255. */
    virtual unsigned char CalcSum(const char* name, int length);
    /* Kept as it always was: fails for every path with a name in it (see the source). */
    virtual int ParseDirPath(const char* path, unsigned int* trace);
    /* Makes room for size bytes as the last child of dir; returns the new item's offset. */
    virtual unsigned int InsertItem(unsigned int dir, unsigned int size);
    /* Grows or shrinks a key or comment in place (new bytes are fillers). */
    virtual int ResizeItem(unsigned int item, unsigned int oldSize, unsigned int newSize);
    /* Fills trace (16 entries) with the directories enclosing item, root first; the count. */
    virtual int GetDirTrace(unsigned int item, unsigned int* trace);
    virtual int SetDirSize(unsigned int dir, unsigned int size);
    /* With item 0 the first child of dir, else the child after item; 0 at the end. */
    virtual unsigned int GetNextItem(unsigned int dir, unsigned int item);
    /* Raises an offset below 38 to 38; 1 when it then lies inside the buffer. */
    virtual int ValidateItem(unsigned int& offset);
    virtual int ValidateDir(unsigned int& offset);

    /* The text writer's line buffer. */
    virtual int FlushLineBuffer(FILE* file);
    virtual int ReserveLineBuffer(unsigned int extra);
    virtual int SetLineBuffer(int column, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /* Writes the block name derived from path (2 * min(16, (outSize - 1) / 2) hex digits). */
    int GetSharedName(const char* path, char* out, unsigned int outSize);
    /* Splits a key path at its last '/': the directory part keeps the slash. Always 1. */
    int SplitKey(const char* path, int length, char** dirOut, int* dirLengthOut, char** nameOut,
                 int* nameLengthOut);

    CZVEnvData(const CZVEnvData&) = delete;
    CZVEnvData& operator=(const CZVEnvData&) = delete;

    CZVSharedData m_SharedData;      /* owns the item buffer */
    unsigned char* m_pData;          /* start of the item buffer while locked, else null */
    unsigned int m_dwDataSize;       /* bytes in the item buffer while locked, else 0 */
    int m_nIndent;                   /* open directory or binary blocks while printing */
    unsigned int m_dwLineBufferSize; /* capacity of the line buffer */
    unsigned int m_dwLineLength;     /* bytes in the line buffer, no terminator */
    char* m_pszLineBuffer;           /* library buffer, null until first used */
    int m_bAccessTimeStamped;        /* set by the first change after Open */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVEnvData) == 248, "CZVEnvData is 248 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVENVDATA_H */
