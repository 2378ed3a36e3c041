/**
 * @file ZVCmnFileHdr.h
 * @brief The common file header: one 96-byte text line in front of a data file.
 *
 * The line, shown here in two pieces:
 *
 *     TTTTmmnn,LM:yyyy/mm/dd hh:mm:ss:000,DS:0000000000,CS:00000,
 *     MA:XX-XX-XX-XX-XX-XX,EI:xxxxxxxxxxx\r\n
 *
 * (type, major and minor version, last modified in UTC, data size of the whole file, 16-bit XOR
 * checksum of the body, MAC address, extra text; "*" marks an absent field), its WUID, and the
 * checks and stamps of files that carry it. The A forms convert the path and call the W forms
 * (a path that does not convert, such as "", gives 0 without a code of their own).
 * Codes: 3 close failed, 16 null pointer, 34 bad MAC text, 35 buffer too short, 36 open failed,
 * 38 file not found, 39 size mismatch, 40 checksum mismatch, 66 resize failed, 74 the strict
 * check found a header line that is not 96 bytes.
 */
#ifndef ZVCMNFILEHDR_H
#define ZVCMNFILEHDR_H

#include <wchar.h>

#include "ZVTypes.h"

/**
 * @addtogroup header
 * @{
 */

/** Length of a written header line, CR LF included. */
#define ZVCF_HEADER_LENGTH 96

ZV_BEGIN_C

/**
 * Writes the header line of a record. Each field has its fixed column: type (4 printable
 * characters, others written as '_'; "NONE" when all four are zero), the versions modulo 100
 * ("**" for 0xFFFF, so 123 is "23" and 0xFFFE "34"), ",LM:" and the 23-character date-time text
 * (TARN_DTF_YMDHMSM, UTC), ",DS:" and 10 digits, ",CS:" and the low 16 bits in 5 digits, ",MA:"
 * and the address in upper-case hexadecimal, ",EI:" and 11 characters, then CR LF. An absent
 * field is written as "*" padded with blanks to its width.
 *
 * @param header the record to write.
 * @param buffer receives 96 bytes; no NUL follows them.
 * @param size size of buffer in bytes; 0 is a size query (nothing touched, buffer may be null).
 * @return 96; -1 on failure.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null header, or a null buffer with a non-zero size;
 *        ::TARN_ERR_BUFFER_TOO_SHORT (35) for a size of 1 to 95.
 */
ZV_API int ZVCFCreateCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header, char* buffer,
                                      unsigned int size);

/**
 * Reads the header line at the start of a file image, tolerantly: the keyed fields in any order
 * and letter case ("ma:" is found), blanks after a key skipped, unknown keys passed over. The
 * line ends at the first LF, or at the first CR (with one LF right behind it); without either,
 * the whole of size is the line, so plain text such as "hello world" parses as a header whose
 * type is its first four bytes. A parse that ends early is no error: the fields not reached keep
 * their absent values.
 *
 * @param header receives the record, reset first; must not be null (it is not checked).
 * @param data the first byte of the image.
 * @param size bytes available at data.
 * @return the line's length with its line end (the body starts there; 2 for a file starting
 *         with an empty line); 0 when size is 0; -1 for a malformed MAC address.
 * @codes ::TARN_ERR_INVALID_MAC_FORMAT (34) when MA holds something else than six hexadecimal
 *        pairs joined by '-' (colons included).
 * @quirk DS and CS are read without an overflow check (they wrap in 32 bits), and CS is not cut
 *        to 16 bits.
 */
ZV_API int ZVCFParseCommonFileHeader(ZV_COMMON_FILE_HEADER_tag* header, const char* data,
                                     unsigned int size);

/**
 * Builds the WUID of a header from its time (broken down as UTC) and MAC address; see WUID for
 * the bits. Two headers written in the same second on the same machine give the same WUID.
 *
 * @param header the record.
 * @param wuid receives the three words; zero when the time cannot be broken down.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument; the codes of TarnGetSystemTime() when
 *        the time cannot be broken down.
 */
ZV_API int ZVCFGetWUID(const ZV_COMMON_FILE_HEADER_tag* header, WUID* wuid);

/**
 * Compares two WUIDs byte for byte.
 *
 * @param wuid1 the first.
 * @param wuid2 the second.
 * @return 1 when they are equal, else 0 (also for a null argument).
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument.
 */
ZV_API int ZVCFIsSameWUID(const WUID* wuid1, const WUID* wuid2);

/**
 * The lenient check of a file against its header: the header line may have any length; DS is
 * compared with the file size and CS with the XOR of the body behind the line, each only where
 * the header has it. A file without any header line passes.
 *
 * @param path the file.
 * @return 1 when the file passes, else 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null path; ::TARN_ERR_OPEN_FILE (36) when the file
 *        cannot be mapped (missing, empty, unreadable); ::TARN_ERR_INVALID_MAC_FORMAT (34) from
 *        the reader; ::TARN_ERR_FILE_SIZE_MISMATCH (39); ::TARN_ERR_CHECKSUM_MISMATCH (40);
 *        ::TARN_ERR_CLOSE_FILE (3).
 */
ZV_API int ZVCFIsFileValidA(const char* path);
/**
 * The wide form of ZVCFIsFileValidA().
 *
 * @param path the file.
 * @return 1 when the file passes, else 0.
 * @codes As ZVCFIsFileValidA().
 */
ZV_API int ZVCFIsFileValidW(const wchar_t* path);
/**
 * The strict check: a header line of exactly 96 bytes, with DS and CS both present and right
 * (the checksum over the bytes from offset 96 on). Failures are reported in this order: the
 * reader's, then 74, then 39, then 40.
 *
 * @param path the file.
 * @return 1 when the file passes, else 0.
 * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_OPEN_FILE (36); ::TARN_ERR_INVALID_MAC_FORMAT
 *        (34); ::TARN_ERR_HEADER_NOT_ABSOLUTE (74), whose message is "Unknown error.", when the
 *        line is not 96 bytes; ::TARN_ERR_FILE_SIZE_MISMATCH (39) when DS is absent or wrong;
 *        ::TARN_ERR_CHECKSUM_MISMATCH (40) when CS is absent ("*") or wrong;
 *        ::TARN_ERR_CLOSE_FILE (3).
 */
ZV_API int ZVCFIsFileAbsValidA(const char* path);
/**
 * The wide form of ZVCFIsFileAbsValidA().
 *
 * @param path the file.
 * @return 1 when the file passes, else 0.
 * @codes As ZVCFIsFileAbsValidA().
 */
ZV_API int ZVCFIsFileAbsValidW(const wchar_t* path);
/**
 * Reads a file's header (no size or checksum check).
 *
 * @param path the file.
 * @param header receives the record, reset first.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument; ::TARN_ERR_OPEN_FILE (36);
 *        ::TARN_ERR_INVALID_MAC_FORMAT (34); ::TARN_ERR_CLOSE_FILE (3).
 */
ZV_API int ZVCFGetCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
/**
 * The wide form of ZVCFGetCommonFileHeaderA().
 *
 * @param path the file.
 * @param header receives the record, reset first.
 * @return 1, or 0.
 * @codes As ZVCFGetCommonFileHeaderA().
 */
ZV_API int ZVCFGetCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header);
/**
 * Reads a file's header and builds its WUID.
 *
 * @param path the file.
 * @param wuid receives the WUID, zeroed first.
 * @return 1, or 0.
 * @codes Those of ZVCFGetCommonFileHeaderA() and ZVCFGetWUID().
 */
ZV_API int ZVCFGetWUIDFromFileA(const char* path, WUID* wuid);
/**
 * The wide form of ZVCFGetWUIDFromFileA().
 *
 * @param path the file.
 * @param wuid receives the WUID, zeroed first.
 * @return 1, or 0.
 * @codes As ZVCFGetWUIDFromFileA().
 */
ZV_API int ZVCFGetWUIDFromFileW(const wchar_t* path, WUID* wuid);
/**
 * Replaces the file's first line by a header made of the caller's record (its type, versions and
 * extra text), stamped with the current UTC time, the MAC address, the file size and the body's
 * checksum. The old first line is not parsed. The file is changed in place through a writable
 * mapping.
 *
 * @param path the file, which must exist.
 * @param header the record to write; receives the stamped time, MAC (always "*" here), size and
 *        checksum, also when writing fails later.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null argument; ::TARN_ERR_FILE_NOT_FOUND (38) when
 *        the file is missing or a directory; ::TARN_ERR_OPEN_FILE (36) when it cannot be mapped
 *        (an empty file too: it stays empty); ::TARN_ERR_RESIZE_FILE (66) when the first line is
 *        not 96 bytes long; ::TARN_ERR_CLOSE_FILE (3).
 * @quirk The mapping can change a file's length only to 2 bytes, so stamping works only on a
 *        file whose first line is exactly 96 bytes (a 96-byte file without a line end counts).
 *        A shorter first line fails with 66 and leaves the file unchanged; a longer one fails
 *        with 66 after the body was moved down, leaving the old length with a stale tail.
 */
ZV_API int ZVCFUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
/**
 * The wide form of ZVCFUpdateCommonFileHeaderA().
 *
 * @param path the file, which must exist.
 * @param header the record to write; receives the stamped values.
 * @return 1, or 0.
 * @codes As ZVCFUpdateCommonFileHeaderA().
 */
ZV_API int ZVCFUpdateCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header);
/**
 * Stamps the file's own header: reads it, then writes it back with the current UTC time, the
 * MAC address, the file size and the body's checksum; type, versions and extra text are kept.
 * This is what saving an environment file does after writing it.
 *
 * @param path the file, which must exist.
 * @param header receives the header as written (reset first).
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_FILE_NOT_FOUND (38);
 *        ::TARN_ERR_OPEN_FILE (36); ::TARN_ERR_INVALID_MAC_FORMAT (34) from the reader;
 *        ::TARN_ERR_RESIZE_FILE (66); ::TARN_ERR_CLOSE_FILE (3).
 * @quirk As ZVCFUpdateCommonFileHeaderA(): only a header line of exactly 96 bytes can be
 *        stamped.
 */
ZV_API int ZVCFGetAndUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header);
/**
 * The wide form of ZVCFGetAndUpdateCommonFileHeaderA().
 *
 * @param path the file, which must exist.
 * @param header receives the header as written.
 * @return 1, or 0.
 * @codes As ZVCFGetAndUpdateCommonFileHeaderA().
 */
ZV_API int ZVCFGetAndUpdateCommonFileHeaderW(const wchar_t* path,
                                             ZV_COMMON_FILE_HEADER_tag* header);

ZV_END_C

/** @} */

#endif /* ZVCMNFILEHDR_H */
