/**
 * @file ZVEnvData.h
 * @brief An environment held as one item buffer in a shared data block.
 *
 * The item buffer starts with the 38-byte common file header record (its first four bytes are
 * the format tag "ENVT" or "ENVB", then the major and minor version and the last-modified time),
 * followed at offset 38 by the root directory, whose size runs to the end of the buffer. Every
 * item starts with a one-byte type:
 *
 *     1  binary data    type, sum, name, 0, length (u32), bytes
 *     2  boolean false  type, sum, name, 0
 *     3  boolean true   type, sum, name, 0
 *     4  comment line   type, sum, text, 0, column (u16)
 *     5  directory      type, size (u32, the whole directory), sum, name, 0, children
 *     6  locked dir.    as 5
 *     7  integer        type, sum, name, 0, value (i32), written in decimal
 *     8  filler         the type byte alone
 *     9  real           type, sum, name, 0, value (IEEE 754 double)
 *     10 string         type, sum, name, 0, text, 0
 *     11 integer        as 7, written in hexadecimal
 *     12 integer        as 7, written in octal
 *     13 integer        as 7, written in binary
 *     14 comment        as 4, trailing the key before it
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

/**
 * @addtogroup envdata
 * @{
 */

/** Item types of the buffer: the first byte of every item. */
enum {
    ZVED_ITEM_BINARY = 1,           /**< binary data: length (u32) and bytes behind the name */
    ZVED_ITEM_FALSE = 2,            /**< boolean key holding false (the type is the value) */
    ZVED_ITEM_TRUE = 3,             /**< boolean key holding true */
    ZVED_ITEM_COMMENT = 4,          /**< comment line: text and the column of its '#' (u16) */
    ZVED_ITEM_DIR = 5,              /**< directory: size (u32), sum, name, children */
    ZVED_ITEM_LOCKED_DIR = 6,       /**< directory carrying the lock mark */
    ZVED_ITEM_INTEGER = 7,          /**< integer (i32), written in decimal */
    ZVED_ITEM_FILLER = 8,           /**< one filler byte, left by growing; skipped when printed */
    ZVED_ITEM_REAL = 9,             /**< real (IEEE 754 double) */
    ZVED_ITEM_STRING = 10,          /**< string: the text and its NUL */
    ZVED_ITEM_HEX = 11,             /**< integer, written in hexadecimal */
    ZVED_ITEM_OCT = 12,             /**< integer, written in octal */
    ZVED_ITEM_BIN = 13,             /**< integer, written in binary */
    ZVED_ITEM_TRAILING_COMMENT = 14 /**< comment behind the key before it, on the key's line */
};

/** Offset of the root directory; the header record fills the bytes before it. */
#define ZVED_ROOT_DIR 38u
/** Most directories that may enclose an item (the root included). */
#define ZVED_MAX_DEPTH 16

/**
 * An environment: a tree of directories, typed keys and comments kept as one item buffer in a
 * CZVSharedData block. CZVEnvFile holds one store per file and resolves key paths into the
 * directory offsets and names these operations take.
 *
 * Constructed (no block) -> Open() (bound, unlocked) -> Lock(1) (the buffer can be read and
 * changed) <-> Lock(0) -> Close() -> destroyed. Load(), Save(), Reset() and every item operation
 * happen between Lock(1) and Lock(0).
 *
 * Name arguments are a pointer and a signed length; a negative length means strlen. Valid names
 * are letters, '_', '[' and ']', and from the second byte on also digits and '.'.
 *
 * Layout: 248 bytes on the device.
 */
class ZV_API CZVEnvData {
public:
    /** A store without a block: data pointer, size, line buffer and flags all zero. */
    CZVEnvData();
    /** Frees the line buffer and destroys the block (closing it if open). */
    virtual ~CZVEnvData();

    /**
     * Takes or releases the block lock, loading the data pointer and size or clearing them.
     *
     * @param lock non-zero locks, zero unlocks.
     * @return 1; 0 when the block's lock fails (a store that was never opened).
     */
    virtual int Lock(int lock);
    /**
     * Binds the store to the block "<sharedName> NN" (slots 00-99) owned by ownerKey, or to the
     * first free slot, and clears the access-time stamp flag. The store is left unlocked, and
     * empty (size 0) until Reset() or Load().
     *
     * @param sharedName the block name, from GetSharedName().
     * @param ownerKey the owner recorded in the block's user area (CZVEnvFile gives the
     *        validation identifier of the file).
     * @return 1, or 0 (a null argument, or no block could be made).
     * @quirk Blocks are anonymous mappings that always start fresh, so every store takes slot 00
     *        with a buffer of its own: two stores on one name do not see each other's changes.
     */
    virtual int Open(const char* sharedName, const char* ownerKey);
    /**
     * Clears the data pointer and size and closes the block.
     *
     * @return 1, or 0 when the block cannot be closed.
     */
    virtual int Close();
    /**
     * Replaces the tree: more than 6 bytes of data are copied to offset 38 as a complete root
     * directory item (not checked; this is how a binary body is loaded); otherwise the buffer is
     * cleared to an empty root (45 bytes in all). Then the text format is chosen and the access
     * time stamped.
     *
     * @param data the root directory item; may be null for a size up to 6.
     * @param size its size in bytes.
     * @return 1, or 0 when the block cannot be sized (or data is null with a size above 6).
     */
    virtual int Reset(const void* data, unsigned int size);
    /**
     * The format tag.
     *
     * @return 1 for "ENVB"; 0 for "ENVT", any other tag, or an unlocked store.
     */
    virtual int GetFormat();
    /**
     * Writes the format tag and the versions 1.0, and stamps the access time, unless they are
     * already so.
     *
     * @param format 0 for "ENVT", 1 for "ENVB".
     * @return 1; 0 for any other format or an unlocked store.
     */
    virtual int AssignFormat(int format);
    /**
     * Fills the store from a file in either form with a CZVParseEnvFile. The caller holds the
     * lock.
     *
     * @param path the file.
     * @return 1 when the whole file was read; 0 otherwise (the store keeps what was read).
     */
    virtual int Load(const char* path);
    /**
     * Writes the store to a file: the header line (versions set to 1.0), then the text or the
     * binary body by the format tag, then stamps the file's header
     * (ZVCFGetAndUpdateCommonFileHeaderA()) and copies the stamped record into the buffer. The
     * caller holds the lock.
     *
     * Text: each child of the root printed as PrintItem() prints it, lines ended by CR LF.
     * Binary: the buffer from offset 38 to its end, byte for byte.
     *
     * @param path the file, created or truncated.
     * @return 1, or 0 (unlocked or empty store, the file cannot be written or stamped, or a tag
     *         that is neither). A failed save may leave a partly written file.
     */
    virtual int Save(const char* path);

    /**
     * Tells whether a name may be used: letters, '_', '[' and ']'; from the second byte also
     * digits and '.'. "" is valid; "a1.b" is; "1a", ".a", "a-b" and any byte above 127 are not.
     *
     * @param name the name.
     * @param length its length; negative means strlen.
     * @return 1, or 0 (also for a null name).
     */
    virtual int IsValidName(const char* name, int length);
    /**
     * Compares two names: equal lengths and equal bytes with 'a'-'z' folded to upper case.
     *
     * @param name1 the first name.
     * @param length1 its length; negative means strlen.
     * @param name2 the second name.
     * @param length2 its length; negative means strlen.
     * @return 1 when the same (two empty names are), else 0.
     */
    virtual int IsSameName(const char* name1, int length1, const char* name2, int length2);
    /**
     * The name of a directory.
     *
     * @param dir the directory's offset.
     * @return the name inside the buffer, or null when dir is no directory.
     */
    virtual char* GetDirName(unsigned int dir);
    /**
     * The name of a key, or the text of a comment.
     *
     * @param item the item's offset.
     * @return the name inside the buffer, or null for other items.
     */
    virtual char* GetKeyName(unsigned int item);
    /**
     * Tells whether an item is a key (types 1, 2, 3, 7, 9, 10-13; comments are not keys), after
     * ValidateItem().
     *
     * @param item the item's offset.
     * @return 1 or 0.
     */
    virtual int IsKey(unsigned int item);
    /**
     * IsKey() without ValidateItem(): an offset below 38 is not raised.
     *
     * @param item the item's offset.
     * @return 1 or 0 (0 past the end of the buffer).
     */
    virtual int IsKeyNoValidate(unsigned int item);
    /**
     * Tells whether an item is a directory (type 5 or 6), after ValidateItem().
     *
     * @param item the item's offset; below 38 is the root.
     * @return 1 or 0.
     */
    virtual int IsDir(unsigned int item);
    /**
     * IsDir() without ValidateItem().
     *
     * @param item the item's offset.
     * @return 1 or 0 (0 past the end of the buffer).
     */
    virtual int IsDirNoValidate(unsigned int item);
    /**
     * The type byte of an item.
     *
     * @param item the item's offset; below 38 is the root.
     * @return a ZVED_ITEM_ type, or 0xFFFFFFFF for an offset past the buffer.
     */
    virtual unsigned int GetAttribute(unsigned int item);
    /**
     * The sum byte of a directory, key or comment.
     *
     * @param item the item's offset.
     * @return the sum; 0 for other items and invalid offsets.
     */
    virtual unsigned char GetSum(unsigned int item);
    /**
     * A direct child directory of a name, found by a walk that compares sums first.
     *
     * @param dir the directory's offset; below 38 is the root.
     * @param name the name, compared without regard to ASCII letter case.
     * @param length its length; negative means strlen.
     * @return the child's offset, or 0.
     */
    virtual unsigned int FindDir(unsigned int dir, const char* name, int length);
    /**
     * A direct child key of a name. Comments are never found.
     *
     * @param dir the directory's offset; below 38 is the root.
     * @param name the name, compared without regard to ASCII letter case.
     * @param length its length; negative means strlen.
     * @return the key's offset, or 0.
     */
    virtual unsigned int FindKey(unsigned int dir, const char* name, int length);
    /**
     * Removes a directory with everything in it, or a key together with a trailing comment
     * (type 14) right behind it inside the same directory. The sizes of the enclosing
     * directories shrink with it.
     *
     * @param item the item's offset.
     * @return 1, or 0 (the root, an invalid or malformed item).
     */
    virtual int DeleteItem(unsigned int item);
    /**
     * Follows a '/'-separated path from dir, creating the missing directories. Runs of slashes
     * are skipped; every segment must be a valid name.
     *
     * @param dir the starting directory; below 38 is the root.
     * @param path the path; empty (or only slashes) gives the starting directory.
     * @param length its length; negative means strlen.
     * @return the last directory's offset, or 0.
     */
    virtual unsigned int CreateDir(unsigned int dir, const char* path, int length);
    /**
     * The child directory of a name, created (as the last child) when missing. A key of the same
     * name does not prevent it.
     *
     * @param dir the parent directory.
     * @param name the name; must be valid and not empty.
     * @param length its length; negative means strlen.
     * @return the directory's offset, or 0.
     */
    virtual unsigned int CreateSubDir(unsigned int dir, const char* name, int length);
    /**
     * Follows a '/'-separated path of existing directories from dir.
     *
     * @param dir the starting directory; below 38 is the root.
     * @param path the path; empty (or only slashes) gives the starting directory.
     * @param length its length; negative means strlen.
     * @return the last directory's offset, or 0.
     */
    virtual unsigned int GetDir(unsigned int dir, const char* path, int length);
    /**
     * Marks a directory locked (type 6) or unlocked (type 5). A mark only: nothing in the
     * library refuses a change in a locked directory.
     *
     * @param dir the directory.
     * @param lock non-zero marks, zero unmarks.
     * @return 1, or 0 when dir is no directory.
     */
    virtual int LockDir(unsigned int dir, int lock);
    /**
     * Tells whether a directory carries the lock mark.
     *
     * @param dir the directory.
     * @return 1 for type 6, else 0.
     */
    virtual int IsDirLocked(unsigned int dir);
    /**
     * The root directory.
     *
     * @return 38.
     */
    virtual unsigned int GetRootDir();

    /**
     * Stores an integer key: an integer key of that name is rewritten in place; a key of any
     * other type is resized and rewritten; a missing key is appended to dir.
     *
     * @param dir the directory; below 38 is the root.
     * @param name the key name (valid, not empty).
     * @param length its length; negative means strlen.
     * @param value the value.
     * @param radix 7, 11, 12 or 13 chooses how the integer is written (decimal, hexadecimal,
     *        octal, binary); anything else keeps the key's radix (decimal for a new key).
     * @return the key's offset, or 0.
     */
    virtual unsigned int SetInteger(unsigned int dir, const char* name, int length, int value,
                                    unsigned char radix);
    /**
     * Reads an integer key of any radix.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param value receives the value when non-null.
     * @return the key's offset, or 0 (missing, or of another type).
     */
    virtual unsigned int GetInteger(unsigned int dir, const char* name, int length, int* value);
    /**
     * Stores a real key, as SetInteger() does.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param value the value, stored as it is (infinities and NaN too).
     * @return the key's offset, or 0.
     */
    virtual unsigned int SetDouble(unsigned int dir, const char* name, int length, double value);
    /**
     * Reads a real key.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param value receives the value when non-null.
     * @return the key's offset, or 0.
     */
    virtual unsigned int GetDouble(unsigned int dir, const char* name, int length, double* value);
    /**
     * Stores a boolean key, as SetInteger() does; a boolean key only changes its type byte.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param value non-zero for true (type 3), zero for false (type 2).
     * @return the key's offset, or 0.
     */
    virtual unsigned int SetBoolean(unsigned int dir, const char* name, int length, int value);
    /**
     * Reads a boolean key (an integer holding 0 or 1 is not one).
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param value receives 1 or 0 when non-null.
     * @return the key's offset, or 0.
     */
    virtual unsigned int GetBoolean(unsigned int dir, const char* name, int length, int* value);
    /**
     * Stores a string key; an existing key of any type is resized and rewritten.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param text the text; it ends at its first NUL.
     * @param textLength its length; negative means strlen.
     * @return the key's offset, or 0 (also for a null text, or a size beyond 32 bits).
     */
    virtual unsigned int SetString(unsigned int dir, const char* name, int length, const char* text,
                                   int textLength);
    /**
     * Reads a string key.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param text receives a pointer to the text inside the buffer when non-null.
     * @return the key's offset, or 0.
     */
    virtual unsigned int GetString(unsigned int dir, const char* name, int length, char** text);
    /**
     * Stores a binary key; an existing key of any type is resized and rewritten.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param data the bytes; null stores size zero bytes.
     * @param size their count (0 is allowed here).
     * @return the key's offset, or 0.
     */
    virtual unsigned int SetBinData(unsigned int dir, const char* name, int length,
                                    const void* data, unsigned int size);
    /**
     * Reads a binary key.
     *
     * @param dir the directory.
     * @param name the key name.
     * @param length its length; negative means strlen.
     * @param data receives a pointer to the bytes inside the buffer when non-null.
     * @param size receives their count when non-null.
     * @return the key's offset, or 0.
     */
    virtual unsigned int GetBinData(unsigned int dir, const char* name, int length, void** data,
                                    unsigned int* size);
    /**
     * The bytes of a binary key given by offset.
     *
     * @param item the key's offset.
     * @param data receives a pointer to the bytes inside the buffer when non-null.
     * @param size receives their count when non-null.
     * @return item, or 0 when it is not a well-formed binary key.
     */
    virtual unsigned int GetBinDataBuf(unsigned int item, void** data, unsigned int* size);
    /**
     * Appends a comment as the last item of dir; a type-14 comment trails a key only when it is
     * inserted right behind that key.
     *
     * @param dir the directory.
     * @param text the text (not a name: it may be empty and is not checked).
     * @param length its length; negative means strlen.
     * @param type ZVED_ITEM_COMMENT (4) or ZVED_ITEM_TRAILING_COMMENT (14).
     * @param value the column at which the writer puts the '#'.
     * @return the comment's offset, or 0 (also for another type).
     */
    virtual unsigned int InsertComment(unsigned int dir, const char* text, int length,
                                       unsigned char type, unsigned short value);
    /**
     * Stamps the header's last-modified time, once per Open().
     *
     * @param time the time (as UTC); null means now.
     * @return 1, or 0 when the store is unlocked or the time does not convert.
     * @quirk Only the first change after Open() stamps the time; later calls, also with an
     *        explicit time, change nothing until the store is opened again. The header records
     *        when the store first changed after it was opened.
     */
    virtual int SetAccessTime(_SYSTEMTIME* time);
    /**
     * Breaks the header's last-modified time down as UTC.
     *
     * @param time receives the record.
     * @return 1, or 0 (an unlocked store; a null time, with code 16 from TarnGetSystemTime()).
     */
    virtual int GetAccessTime(_SYSTEMTIME* time);
    /**
     * Copies the 38-byte record over the buffer's header, format tag included. Does not stamp
     * the access time.
     *
     * @param header the record.
     * @return 1, or 0 (null header, unlocked store).
     */
    virtual int SetCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header);

    /**
     * The total size of an item, after ValidateItem().
     *
     * @param item the item's offset; below 38 is the root.
     * @return the size in bytes, 0 when it is malformed.
     */
    virtual unsigned int GetItemSize(unsigned int item);
    /**
     * The total size of an item: 1 for a filler, a directory's size field, or the head and value
     * of a key or comment; every byte is checked to lie inside the buffer.
     *
     * @param item the item's offset.
     * @return the size in bytes, 0 when it is malformed or of an unknown type.
     */
    virtual unsigned int GetItemSizeNoValidate(unsigned int item);
    /**
     * The offset behind a directory's name terminator: its first child, or its end.
     *
     * @param dir the directory.
     * @return the offset, or 0 on failure.
     */
    virtual unsigned int SkipDirHead(unsigned int dir);
    /**
     * The offset behind a key's (or comment's) name terminator: its value.
     *
     * @param item the key.
     * @return the offset, or 0 on failure.
     */
    virtual unsigned int SkipKeyHead(unsigned int item);

    /**
     * Writes m_nIndent tabs straight to the file (item printing indents through the line buffer
     * instead).
     *
     * @param file the file.
     * @return 1.
     */
    virtual int PrintIndent(FILE* file);
    /**
     * Prints one item in the text form through the line buffer: a directory "name {", its
     * children one tab deeper and "}"; "nName=5" (or 0x.., 0o.., 0b.. by radix), "rName=%.14G",
     * "bName=True", `sName="escaped text"`, "cName=3 {" with rows of up to sixteen "0xFF"
     * bytes and "}", and comments as "#text" at their column (a trailing comment on the line of
     * its key). Fillers print nothing.
     *
     * @param item the item.
     * @param file the file.
     * @return 1, or 0 (a directory stops at the first child that fails, its "}" still written).
     */
    virtual int PrintItem(unsigned int item, FILE* file);

    /**
     * The name checksum: XOR of the bytes with 'a'-'z' folded to upper case ("ab" and "AB" give
     * 3).
     *
     * @param name the name.
     * @param length its length; negative means strlen.
     * @return 0-255; 0 for an empty name.
     */
    virtual unsigned char CalcSum(const char* name, int length);
    /**
     * Kept as it always was: fails for every path with a name in it. The first segment is
     * looked up again and again until the trace is full. Nothing in the library calls it.
     *
     * @param path the path.
     * @param trace receives the root in trace[0] and the repeated lookups (16 entries).
     * @return 1 for an empty path or one of slashes only; 0 otherwise.
     */
    virtual int ParseDirPath(const char* path, unsigned int* trace);
    /**
     * Makes room for size bytes as the last child of dir (filled with filler bytes), growing the
     * enclosing directories' sizes and stamping the access time. The buffer may move.
     *
     * @param dir the directory; it may have at most 15 enclosing directories.
     * @param size bytes of the new item.
     * @return the new item's offset, or 0.
     */
    virtual unsigned int InsertItem(unsigned int dir, unsigned int size);
    /**
     * Grows or shrinks a key or comment in place (new bytes are fillers at its end) and keeps
     * the enclosing directories' sizes right. The caller rewrites the item.
     *
     * @param item the item; directories cannot be resized.
     * @param oldSize its current size.
     * @param newSize its new size.
     * @return 1, or 0.
     */
    virtual int ResizeItem(unsigned int item, unsigned int oldSize, unsigned int newSize);
    /**
     * The directories enclosing an item, root first.
     *
     * @param item the item.
     * @param trace receives the directories (room for 16 entries).
     * @return their count; 0 for the root, and 0 (failure) for any other item that would need a
     *         17th entry.
     */
    virtual int GetDirTrace(unsigned int item, unsigned int* trace);
    /**
     * Writes a directory's size field as given.
     *
     * @param dir the directory.
     * @param size the new size.
     * @return 1, or 0 when dir is no directory.
     */
    virtual int SetDirSize(unsigned int dir, unsigned int size);
    /**
     * Walks a directory's children. Fillers come out as items of size 1.
     *
     * @param dir the directory; below 38 is the root.
     * @param item 0 for the first child, else the child before the one wanted.
     * @return the child's offset; 0 at the end or on a malformed item.
     */
    virtual unsigned int GetNextItem(unsigned int dir, unsigned int item);
    /**
     * Raises an offset below 38 to 38 and checks that it lies inside the buffer.
     *
     * @param offset the offset; receives the raised value on success.
     * @return 1, or 0 (offset untouched) when it is not below the data size.
     */
    virtual int ValidateItem(unsigned int& offset);
    /**
     * ValidateItem(), then the item must be a directory.
     *
     * @param offset the offset; receives the raised value on success.
     * @return 1, or 0.
     */
    virtual int ValidateDir(unsigned int& offset);

    /**
     * Writes the line buffer and CR LF to the file and empties the buffer. An empty line writes
     * nothing, so the writer never emits blank lines.
     *
     * @param file the file.
     * @return 1, or 0 when the line cannot be written.
     */
    virtual int FlushLineBuffer(FILE* file);
    /**
     * Makes room for extra bytes behind the line: a new capacity of the line's length + extra,
     * rounded up to a multiple of 1024. The buffer only grows.
     *
     * @param extra the bytes wanted.
     * @return 1, or 0 when the allocation fails (the old buffer is kept).
     */
    virtual int ReserveLineBuffer(unsigned int extra);
    /**
     * Moves the line to a column, then appends printf-formatted text.
     *
     * A tab counts to the next multiple of 4. A column behind the line's end gets one tab; one
     * ahead gets tabs up to the last tab stop before it, then blanks.
     *
     * @param column the visual column; negative appends without positioning.
     * @param format the printf format.
     * @param ... its arguments.
     * @return 1, or 0 (the line is then as it was).
     * @quirk Text longer than the buffer's free room (128 bytes or more, up to the capacity) is
     *        cut, not grown into: on a fresh store a line holds 1023 bytes.
     */
    virtual int SetLineBuffer(int column, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /**
     * The block name of a file: its path folded (`\` to '/', 'a'-'z' to upper case) and XORed
     * byte by byte into n = min(16, (outSize - 1) / 2) bytes, written as 2n upper-case
     * hexadecimal digits. Paths that differ only in case or in `\` and '/' share a name.
     *
     * @param path the path.
     * @param out receives the name: 32 digits with outSize 64, 2 with 3 or 4, "" with 1 or 2.
     * @param outSize size of out in bytes; 0 wraps and writes 33 bytes.
     * @return 1.
     */
    int GetSharedName(const char* path, char* out, unsigned int outSize);
    /**
     * Splits a key path at its last '/': the directory part keeps the slash. "a/b/c" gives
     * "a/b/" (4) and "c"; "c" gives "" and "c"; "a/" gives "a/" and "".
     *
     * @param path the key path.
     * @param length its length; negative means strlen.
     * @param dirOut receives the start of the directory part (path itself).
     * @param dirLengthOut receives its length.
     * @param nameOut receives the start of the name, inside path.
     * @param nameLengthOut receives its length.
     * @return 1.
     */
    int SplitKey(const char* path, int length, char** dirOut, int* dirLengthOut, char** nameOut,
                 int* nameLengthOut);

    /** Not copyable. */
    CZVEnvData(const CZVEnvData&) = delete;
    /** Not assignable. */
    CZVEnvData& operator=(const CZVEnvData&) = delete;

    CZVSharedData m_SharedData;      /**< owns the item buffer */
    unsigned char* m_pData;          /**< start of the item buffer while locked, else null */
    unsigned int m_dwDataSize;       /**< bytes in the item buffer while locked, else 0 */
    int m_nIndent;                   /**< open directory or binary blocks while printing */
    unsigned int m_dwLineBufferSize; /**< capacity of the line buffer */
    unsigned int m_dwLineLength;     /**< bytes in the line buffer, no terminator */
    char* m_pszLineBuffer;           /**< library buffer, null until first used */
    int m_bAccessTimeStamped;        /**< set by the first change after Open */
};

/** @} */

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVEnvData) == 248, "CZVEnvData is 248 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVENVDATA_H */
