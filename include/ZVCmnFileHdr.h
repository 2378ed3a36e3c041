/*
 * ZVCmnFileHdr.h - the common file header: one 96-byte text line in front of a data file,
 *
 *   TTTTmmnn,LM:yyyy/mm/dd
 * hh:mm:ss:000,DS:0000000000,CS:00000,MA:XX-XX-XX-XX-XX-XX,EI:xxxxxxxxxxx\r\n
 *
 * (type, major and minor version, last modified in UTC, data size of the whole file, 16-bit XOR
 * checksum of the body, MAC address, extra text; "*" marks an absent field), its WUID, and the
 * checks and stamps of files that carry it. The A forms convert the path and call the W forms.
 * Codes: 3 close failed, 16 null pointer, 34 bad MAC text, 35 buffer too short, 36 open failed,
 * 38 file not found, 39 size mismatch, 40 checksum mismatch, 66 resize failed, 74 the strict
 * check found a header line that is not 96 bytes.
 */
#ifndef ZVCMNFILEHDR_H
#define ZVCMNFILEHDR_H

#include <wchar.h>

#include "ZVTypes.h"

/* Length of a written header line, CR LF included. */
#define ZVCF_HEADER_LENGTH 96

ZV_BEGIN_C

/*
 * Writes the 96-byte line for header into buffer (no NUL follows) and returns 96. Size 0 is a
 * size query: 96, nothing touched. Null header or buffer: code 16, -1; size 1-95: code 35, -1.
 */
ZV_API int ZVCFCreateCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header, char* buffer,
                                      unsigned int size);

/*
 * Reads the header line at the start of data (size bytes) into header, fields in any order and
 * letter case. Returns the line's length with its line end, 0 when size is 0, or -1 for a bad
 * MAC text (code 34).
 */
ZV_API int ZVCFParseCommonFileHeader(ZV_COMMON_FILE_HEADER_tag* header, const char* data,
                                     unsigned int size);

/* Builds the WUID of a header: 1, or 0 (code 16 for a null argument). */
ZV_API int ZVCFGetWUID(const ZV_COMMON_FILE_HEADER_tag* header, WUID* wuid);
/* 1 when the two WUIDs are equal byte for byte, else 0; null: code 16, 0. */
ZV_API int ZVCFIsSameWUID(const WUID* wuid1, const WUID* wuid2);

/* Lenient check: size and checksum compared only where the header has them. */
ZV_API int ZVCFIsFileValidA(const char* path);
ZV_API int ZVCFIsFileValidW(const wchar_t* path);
/* Strict check: a 96-byte header line with size and checksum both present and right. */
ZV_API int ZVCFIsFileAbsValidA(const char* path);
ZV_API int ZVCFIsFileAbsValidW(const wchar_t* path);
/* Reads a file's header. */
ZV_API int ZVCFGetCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
ZV_API int ZVCFGetCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header);
/* Reads a file's header and builds its WUID. */
ZV_API int ZVCFGetWUIDFromFileA(const char* path, WUID* wuid);
ZV_API int ZVCFGetWUIDFromFileW(const wchar_t* path, WUID* wuid);
/* Replaces the file's first line by header, stamped with time, MAC, size and checksum; header
 * receives the stamped values. */
ZV_API int ZVCFUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
ZV_API int ZVCFUpdateCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header);
/* Stamps the file's own header (type, versions and extra text kept); header receives it. */
ZV_API int ZVCFGetAndUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
ZV_API int ZVCFGetAndUpdateCommonFileHeaderW(const wchar_t* path,
                                             ZV_COMMON_FILE_HEADER_tag* header);

ZV_END_C

#endif /* ZVCMNFILEHDR_H */
