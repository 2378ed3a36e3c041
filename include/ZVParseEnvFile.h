/*
 * ZVParseEnvFile.h - loads an environment file, in either form, into a store.
 *
 * The file starts with the common file header line; its type says what follows: "ENVT", the
 * text form, parsed here, or "ENVB", the item buffer, handed to the store as it is. Versions
 * 00.xx and 01.00 are read. The text form, one item per line (a '/' at the end of a line joins
 * the next line to it):
 *
 *   name { items }         a directory
 *   nName = 10             an integer (also 0x1F, 0o17, 0b101; a real is truncated)
 *   rName = 1.5e-1         a real
 *   bName = True           a boolean (True or False, any letter case)
 *   sName = 'text'         a string (or "text", or a bare name)
 *   cName = 3 { 1 2 0xFF } binary data: the byte count, then at most that many bytes
 *   # text                 a comment line; behind a value it trails the key
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

class ZV_API CZVParseEnvFile {
public:
    CZVParseEnvFile();
    virtual ~CZVParseEnvFile();

    /* Empties store and fills it from the file at path: 1 when the whole file was read. The
     * caller holds the store's lock. */
    virtual int Parse(const char* path, CZVEnvData* store);
    /* The next significant token (kind 0 at the end of the data): blanks and line ends are
     * dropped, comments go into dir, a '/' before a line end joins the lines. 1/0. */
    virtual int SkipSpace(unsigned int dir, ZV_TOKEN_tag* token);
    /* Reads one item into dir (0 is the root). 1/0. */
    virtual int ParseItem(unsigned int dir);

    CZVParseEnvFile(const CZVParseEnvFile&) = delete;
    CZVParseEnvFile& operator=(const CZVParseEnvFile&) = delete;

    CZVEnvData* m_pEnvData;       /* the store being filled, not owned */
    CZVMapFile m_MapFile;         /* the file, mapped read-only while parsing */
    CZVTokenProvider m_Tokenizer; /* the text form's tokens */
    int m_bTrailingComment;       /* set behind '=': a comment there trails the key */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVParseEnvFile) == 1900, "CZVParseEnvFile is 1900 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVPARSEENVFILE_H */
