/**
 * @file ZVParseEnvFile.h
 * @brief Loads an environment file, in either form, into a store.
 *
 * The file starts with the common file header line; its type says what follows: "ENVT", the
 * text form, parsed here, or "ENVB", the item buffer, handed to the store as it is. Versions
 * 00.xx and 01.00 are read. The text form, one item per line (a '/' at the end of a line joins
 * the next line to it):
 *
 *     name { items }         a directory
 *     nName = 10             an integer (also 0x1F, 0o17, 0b101; a real is truncated)
 *     rName = 1.5e-1         a real
 *     bName = True           a boolean (True or False, any letter case)
 *     sName = 'text'         a string (or "text", or a bare name)
 *     cName = 3 { 1 2 0xFF } binary data: the byte count, then at most that many bytes
 *     # text                 a comment line; behind a value it trails the key
 *
 * The letter in front of a key's name gives its type and is not part of the name; a name with
 * any other first letter is a string key under the whole name. Parse reports by its result only
 * (no position: read the tokenizer's GetCurLine after a failure). A failure leaves in the store
 * what was read up to it.
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them.
 */
#ifndef ZVPARSEENVFILE_H
#define ZVPARSEENVFILE_H

#ifdef __cplusplus

#include "ZVEnvData.h"
#include "ZVMapFile.h"
#include "ZVTokenProvider.h"
#include "ZVTypes.h"

/**
 * Loads an environment file of either form into a store (CZVEnvData::Load() runs one).
 *
 * Grammar of the text form, beyond the table of the file's description: an item name is a name
 * or a quoted literal (not empty, and valid as a store name); the type letter is matched in lower
 * case only ("NCount = 5" is a string key named NCount, whose number value then fails the item);
 * an "n" key takes a decimal, hexadecimal, octal or binary integer, or a real or a larger number
 * truncated toward zero and reduced modulo 2^32 ("nX = 4294967295" stores -1); an "r" key takes
 * any number; the bytes of a "c" block are numbers 0 to 255 separated by blanks or line ends
 * only (a comma fails the file), at most the count of them (the rest stays zero).
 *
 * Layout: 1900 bytes on the device.
 * @ingroup envreader
 */
class ZV_API CZVParseEnvFile {
public:
    /** A parser with no store, its map file closed. */
    CZVParseEnvFile();
    /** Destroys the tokenizer and the map file (unmapping the file if still open). */
    virtual ~CZVParseEnvFile();

    /**
     * Empties the store (CZVEnvData::Reset()) and fills it from a file: reads its header (type
     * "ENVT" or "ENVB", version 00.xx or 01.00; an absent version "**" is refused), maps it
     * read-only, and takes the body behind its first line feed (none: an empty body). A text body
     * is read item by item into the root; a binary body is handed to the store's Reset() as it
     * is. Then the format is assigned and the file's header record copied into the store. The
     * caller holds the store's lock.
     *
     * @param path the file.
     * @param store the store to fill.
     * @return 1 when the whole file was read; 0 otherwise (the store keeps what was read up to
     *         the failure; there is no rollback).
     */
    virtual int Parse(const char* path, CZVEnvData* store);
    /**
     * The next significant token: blanks and line ends are dropped, comments are inserted into
     * dir (type 14 when they stand behind a value on its line, else 4, with their column), and a
     * '/' before a line end joins the lines.
     *
     * @param dir the directory that receives the comments.
     * @param token receives the token; kind 0 at the end of the data.
     * @return 1, or 0 on a malformed token (or a '/' as the last byte of the data).
     */
    virtual int SkipSpace(unsigned int dir, ZV_TOKEN_tag* token);
    /**
     * Reads one item (a directory with everything in it, a key, or nothing at the end of the
     * data) into dir.
     *
     * @param dir the directory; 0 is the root.
     * @return 1, or 0 on a syntax error, an invalid name, a missing closing brace, a value the
     *         key's type does not take, or a store call that is refused.
     */
    virtual int ParseItem(unsigned int dir);

    /** Not copyable. */
    CZVParseEnvFile(const CZVParseEnvFile&) = delete;
    /** Not assignable. */
    CZVParseEnvFile& operator=(const CZVParseEnvFile&) = delete;

    CZVEnvData* m_pEnvData;       /**< the store being filled, not owned */
    CZVMapFile m_MapFile;         /**< the file, mapped read-only while parsing */
    CZVTokenProvider m_Tokenizer; /**< the text form's tokens */
    int m_bTrailingComment;       /**< set behind '=': a comment there trails the key */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVParseEnvFile) == 1900, "CZVParseEnvFile is 1900 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVPARSEENVFILE_H */
