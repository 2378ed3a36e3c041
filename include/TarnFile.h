/*
 * TarnFile.h - the read probe and file information.
 *
 * Codes: 3 mapping not closed, 16 null pointer, 36 open failed, 68 no such file, 69 directory,
 * 73 the probe could not read the file.
 */
#ifndef TARNFILE_H
#define TARNFILE_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/*
 * 1 when the file exists but its first byte cannot be read back (code 73), else 0. A missing
 * file or a directory is not corrupted (0, no code); an unopenable file gives 0 with code 36;
 * a null path gives 0 with code 16.
 */
ZV_API int TarnIsFileCorruptedW(const wchar_t* path);
ZV_API int TarnIsFileCorruptedA(const char* path);

/*
 * Fills info with the file's stat() record, size, times, upper-cased extension and 16-bit XOR
 * checksum: 1, or 0 with a code. Checksumming sleeps one second per 200 KiB started, on purpose:
 * it keeps the controller's processor free for others.
 */
ZV_API int TarnGetFileInfoW(const wchar_t* path, FILEINFO_tag* info);
ZV_API int TarnGetFileInfoA(const char* path, FILEINFO_tag* info);

ZV_END_C

#endif /* TARNFILE_H */
