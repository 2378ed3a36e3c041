/**
 * @file TarnString.h
 * @brief Library string buffers: sizing, allocation, copying, duplication, narrow/wide
 * conversion (current locale) and printf-style formatting.
 *
 * Every buffer these functions return is a plain malloc block released with TarnFreeBuffer().
 * Sizes of caller buffers are in bytes for both forms (4 bytes per wide character). Copy results
 * count characters without the terminator; -1 reports a failure, or a cut text when
 * failOnTruncate is non-zero (the cut text is still written and terminated, and no code is set).
 * Narrow text is bytes in the calling thread's locale; wide text is 32-bit wchar_t.
 * Codes: 11 bad or exhausted size, 15 allocation failed, 16 null pointer, 67 bad format.
 */
#ifndef TARNSTRING_H
#define TARNSTRING_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/**
 * @addtogroup strings
 * @{
 */

/**
 * Bytes needed for count narrow characters. Never fails.
 *
 * @param count characters, terminator included if the caller wants one.
 * @return count.
 */
ZV_API unsigned int TarnGetStringBufferSizeA(unsigned int count);

/**
 * Bytes needed for count wide characters. Never fails.
 *
 * @param count characters, terminator included if the caller wants one.
 * @return count * 4, computed in unsigned 32-bit arithmetic on every build: 0x40000000 gives 0.
 */
ZV_API unsigned int TarnGetStringBufferSizeW(unsigned int count);

/**
 * Size of a narrow string in bytes.
 *
 * @param str the string.
 * @param withTerminator non-zero to count the terminating NUL.
 * @return strlen(str), plus 1 when withTerminator is non-zero; -1 for a null str.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null str.
 */
ZV_API int TarnGetStringSizeA(const char* str, int withTerminator);

/**
 * Size of a wide string in bytes.
 *
 * @param str the string.
 * @param withTerminator non-zero to count the terminating NUL.
 * @return (wcslen(str), plus 1 when withTerminator is non-zero) * 4: 12 for L"ab" with the
 *         terminator. -1 for a null str.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null str.
 */
ZV_API int TarnGetStringSizeW(const wchar_t* str, int withTerminator);

/**
 * A new library buffer of size bytes, not cleared. Release it with TarnFreeBuffer().
 *
 * @param size bytes, at least 1.
 * @return the buffer, or null.
 * @codes ::TARN_ERR_INVALID_BUFFER_SIZE (11) for size 0; ::TARN_ERR_MEMORY_OVERFLOW (15) when
 *        the allocation fails.
 */
ZV_API void* TarnAllocateBuffer(unsigned int size);

/**
 * A new library buffer of size bytes holding the empty string (only its first byte is set).
 *
 * @param size bytes, at least 1.
 * @return the buffer, or null.
 * @codes ::TARN_ERR_INVALID_BUFFER_SIZE (11) for size 0; ::TARN_ERR_MEMORY_OVERFLOW (15) when
 *        the allocation fails.
 */
ZV_API char* TarnAllocateStringBufferA(unsigned int size);

/**
 * A new library buffer of count wide characters holding L"" (only the first character is set).
 *
 * @param count characters; the block has count * 4 bytes, computed in unsigned 32-bit arithmetic.
 * @return the buffer, or null.
 * @codes ::TARN_ERR_INVALID_BUFFER_SIZE (11) when the product is 0 (count 0, and 0x40000000 on
 *        every build); ::TARN_ERR_MEMORY_OVERFLOW (15) when the allocation fails.
 */
ZV_API wchar_t* TarnAllocateStringBufferW(unsigned int count);

/**
 * Releases a library buffer (it is free(), so any malloc block may be given).
 *
 * @param ptr the buffer.
 * @return 1; 0 for a null ptr.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null ptr.
 */
ZV_API int TarnFreeBuffer(void* ptr);

/**
 * Copies a narrow string into a caller's buffer, cutting it to fit.
 *
 * A text that does not fit is cut to dstSize - 1 characters and terminated; the result is then
 * that count, or -1 when failOnTruncate is non-zero (no code is set for a cut). With dstSize 1
 * only the terminator is written. So "abc" into 4 bytes gives 3; into 3 bytes "ab" and 2, or -1
 * with failOnTruncate.
 *
 * @param src the text.
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes.
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes ::TARN_ERR_INVALID_BUFFER_SIZE (11) for dstSize 0, tested before the pointers;
 *        ::TARN_ERR_NULL_POINTER (16) for a null src or dst.
 */
ZV_API int TarnCopyStringA(const char* src, char* dst, unsigned int dstSize, int failOnTruncate);

/**
 * Copies a wide string into a caller's buffer, cutting it to fit, as TarnCopyStringA() does in
 * characters: dst holds dstSize / 4 characters.
 *
 * @param src the text.
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes (4 per character).
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes ::TARN_ERR_INVALID_BUFFER_SIZE (11) for dstSize below 4, tested before the pointers
 *        (so also for a null src); ::TARN_ERR_NULL_POINTER (16) for a null src or dst.
 */
ZV_API int TarnCopyStringW(const wchar_t* src, wchar_t* dst, unsigned int dstSize,
                           int failOnTruncate);

/**
 * A new library buffer holding a copy of a narrow string.
 *
 * @param src the text.
 * @return the copy, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null src; ::TARN_ERR_MEMORY_OVERFLOW (15) when the
 *        allocation fails.
 */
ZV_API char* TarnDupStringA(const char* src);

/**
 * A new library buffer holding a copy of a wide string.
 *
 * @param src the text.
 * @return the copy, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null src; ::TARN_ERR_MEMORY_OVERFLOW (15) when the
 *        allocation fails.
 */
ZV_API wchar_t* TarnDupStringW(const wchar_t* src);

/**
 * A new library buffer holding a wide string converted to the narrow encoding of the current
 * locale (wcstombs).
 *
 * @param src the text.
 * @return the converted copy, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null src; ::TARN_ERR_INVALID_BUFFER_SIZE (11) when
 *        the measured length wraps; ::TARN_ERR_MEMORY_OVERFLOW (15) when the allocation fails.
 * @quirk An empty source, or one with a character the locale cannot convert (an accented
 *        letter in the C locale), gives null without a code of the library's own: L"" is
 *        null, not "".
 */
ZV_API char* TarnWideToAnsiString(const wchar_t* src);

/**
 * A new library buffer holding a narrow string converted to wide characters in the current
 * locale (mbstowcs).
 *
 * @param src the text.
 * @return the converted copy, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null src; ::TARN_ERR_INVALID_BUFFER_SIZE (11) when
 *        the measured length wraps; ::TARN_ERR_MEMORY_OVERFLOW (15) when the allocation fails.
 * @quirk An empty source, or an invalid multibyte sequence, gives null without a code of the
 *        library's own: "" is null, not L"".
 */
ZV_API wchar_t* TarnAnsiToWideString(const char* src);

/**
 * Converts a wide string as TarnWideToAnsiString() does and copies it into a caller's buffer as
 * TarnCopyStringA() does.
 *
 * @param src the text.
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes.
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes Those of TarnWideToAnsiString(), then those of TarnCopyStringA().
 * @quirk The source is converted before dst and dstSize are looked at: an empty or unconvertible
 *        source gives -1 with no code even for a null dst or a dstSize of 0.
 */
ZV_API int TarnCopyWideToAnsiString(const wchar_t* src, char* dst, unsigned int dstSize,
                                    int failOnTruncate);

/**
 * Converts a narrow string as TarnAnsiToWideString() does and copies it into a caller's buffer as
 * TarnCopyStringW() does.
 *
 * @param src the text.
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes (4 per character).
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes Those of TarnAnsiToWideString(), then those of TarnCopyStringW().
 * @quirk The source is converted first, as in TarnCopyWideToAnsiString().
 */
ZV_API int TarnCopyAnsiToWideString(const char* src, wchar_t* dst, unsigned int dstSize,
                                    int failOnTruncate);

/**
 * A new library buffer holding printf-style formatted narrow text.
 *
 * The text is formatted into a scratch buffer of 128 bytes that doubles each time the formatter
 * reports -1, up to 25 tries.
 *
 * @param format the printf format.
 * @param ... its arguments.
 * @return the text, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null format; ::TARN_ERR_INVALID_STRING_FORMAT (67)
 *        when the formatter fails below -1; ::TARN_ERR_INVALID_BUFFER_SIZE (11) when the tries
 *        run out; ::TARN_ERR_MEMORY_OVERFLOW (15) when an allocation fails.
 * @quirk The system formatter reports a cut by returning the full length, which is taken as
 *        success: the text is cut to 127 bytes. Host programs rely on this limit.
 */
ZV_API char* TarnFormatStringA(const char* format, ...) __attribute__((format(printf, 1, 2)));

/**
 * A new library buffer holding printf-style formatted wide text.
 *
 * The scratch buffer starts at 128 characters and doubles each time vswprintf reports a cut, up
 * to 23 tries, so wide results are not cut (200 characters come back whole).
 *
 * @param format the wprintf format.
 * @param ... its arguments.
 * @return the text, or null.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null format; ::TARN_ERR_INVALID_STRING_FORMAT (67)
 *        when the formatter fails below -1; ::TARN_ERR_INVALID_BUFFER_SIZE (11) when the tries
 *        run out (also for a format the formatter always refuses); ::TARN_ERR_MEMORY_OVERFLOW
 *        (15) when an allocation fails.
 */
ZV_API wchar_t* TarnFormatStringW(const wchar_t* format, ...);

/**
 * Formats narrow text as TarnFormatStringA() does, then copies it into a caller's buffer as
 * TarnCopyStringA() does.
 *
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes.
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @param format the printf format.
 * @param ... its arguments.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null dst or format, tested before the size;
 *        ::TARN_ERR_INVALID_BUFFER_SIZE (11) for dstSize 0; then those of TarnFormatStringA().
 * @quirk The formatted text is already cut to 127 bytes, so a longer text copied into a large
 *        buffer counts as not cut: 127, not -1, even with failOnTruncate.
 */
ZV_API int TarnFormatStringBufferA(char* dst, unsigned int dstSize, int failOnTruncate,
                                   const char* format, ...) __attribute__((format(printf, 4, 5)));

/**
 * Formats wide text as TarnFormatStringW() does, then copies it into a caller's buffer as
 * TarnCopyStringW() does.
 *
 * @param dst the caller's buffer.
 * @param dstSize size of dst in bytes (4 per character).
 * @param failOnTruncate non-zero to report a cut text as -1.
 * @param format the wprintf format.
 * @param ... its arguments.
 * @return the characters written, without the terminator; -1 on failure or a reported cut.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null dst or format, tested before the size;
 *        ::TARN_ERR_INVALID_BUFFER_SIZE (11) for dstSize below 4; then those of
 *        TarnFormatStringW().
 */
ZV_API int TarnFormatStringBufferW(wchar_t* dst, unsigned int dstSize, int failOnTruncate,
                                   const wchar_t* format, ...);

/** @} */

ZV_END_C

#endif /* TARNSTRING_H */
