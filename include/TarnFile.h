/**
 * @file TarnFile.h
 * @brief The read probe and file information.
 *
 * Wide paths are converted to the narrow encoding of the current locale into at most 256 bytes;
 * a path that does not convert, or fills all 256 bytes, counts as a path stat() cannot find.
 * Codes: 3 mapping not closed, 16 null pointer, 36 open failed, 68 no such file, 69 directory,
 * 73 the probe could not read the file.
 */
#ifndef TARNFILE_H
#define TARNFILE_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/**
 * @addtogroup fileinfo
 * @{
 */

/**
 * Tells whether an existing file cannot be read: opens it in text mode and reads its first byte
 * back (once per byte of a file shorter than three bytes, else three times, rewinding each time).
 *
 * @param path the file.
 * @return 1 when the file exists but a probe did not deliver its byte (code 73), else 0. A
 *         missing file, a directory (or anything whose mode carries the directory bit 0x4000)
 *         and an empty readable file are not corrupted: 0 with no code.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null path; ::TARN_ERR_OPEN_FILE (36) when the file
 *        exists but cannot be opened (the result is then 0); ::TARN_ERR_FILE_CORRUPTED (73),
 *        whose message is "Unknown error.", with the result 1.
 * @quirk Every probe reads the same first byte: the probe's cost is what callers are tuned to.
 */
ZV_API int TarnIsFileCorruptedW(const wchar_t* path);

/**
 * The narrow form of TarnIsFileCorruptedW(): converts path to wide characters and calls it.
 *
 * @param path the file.
 * @return as TarnIsFileCorruptedW(); 0 when the path cannot be converted (an empty path too).
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null path, then those of TarnIsFileCorruptedW().
 */
ZV_API int TarnIsFileCorruptedA(const char* path);

/**
 * Fills info with a file's stat() record, size, times, extension and 16-bit XOR checksum.
 *
 * The extension is taken from the path as given: everything from the last '.' of the last
 * component, cut to 5 characters and upper-cased ("/data/log.txt" gives ".TXT", "archive.tar.gz"
 * ".GZ", "a.config" ".CONF", "name." "."); empty when the last component has no dot ("dir.d/file")
 * or the path ends in '/' or `\`. The checksum XORs the file's 16-bit little-endian words, an odd
 * last byte into the low byte (the bytes 01 02 03 give 0x0202); it is read through a read-only
 * mapping.
 *
 * @param path the file.
 * @param info receives the record, cleared first (after the probe); on a failure it holds zeros
 *        or the fields written so far.
 * @return 1, or 0. An empty file gives 1 with size and checksum 0, without a mapping or a pause.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument; ::TARN_ERR_FILE_CORRUPTED (73) from
 *        the probe; ::TARN_ERR_FILE_NOT_EXIST (68) when stat() fails;
 *        ::TARN_ERR_PATH_IS_DIRECTORY (69) for a directory; ::TARN_ERR_OPEN_FILE (36) when the
 *        file cannot be mapped; ::TARN_ERR_CLOSE_FILE (3) when the mapping cannot be closed.
 * @quirk Checksumming sleeps one second per 200 KiB started (one second for any file of two
 *        bytes or more), on purpose: it keeps the controller's processor free for others. Do
 *        not call it while holding a lock other threads need.
 */
ZV_API int TarnGetFileInfoW(const wchar_t* path, FILEINFO_tag* info);

/**
 * The narrow form of TarnGetFileInfoW(): clears info, converts path and calls it.
 *
 * @param path the file.
 * @param info receives the record.
 * @return 1, or 0 (also when the path cannot be converted).
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument, then those of TarnGetFileInfoW().
 */
ZV_API int TarnGetFileInfoA(const char* path, FILEINFO_tag* info);

/** @} */

ZV_END_C

#endif /* TARNFILE_H */
