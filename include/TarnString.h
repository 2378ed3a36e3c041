/*
 * TarnString.h - library string buffers: sizing, allocation, copying, duplication, narrow/wide
 * conversion (current locale) and printf-style formatting.
 *
 * Every buffer these functions return is a plain malloc block released with TarnFreeBuffer.
 * Sizes of caller buffers are in bytes for both forms (4 bytes per wide character). Copy results
 * count characters without the terminator; -1 reports a failure, or a cut text when
 * failOnTruncate is non-zero (the cut text is still written and terminated, and no code is set).
 * Codes: 11 bad or exhausted size, 15 allocation failed, 16 null pointer, 67 bad format.
 */
#ifndef TARNSTRING_H
#define TARNSTRING_H

#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/* Bytes needed for count narrow characters: count. */
ZV_API unsigned int TarnGetStringBufferSizeA(unsigned int count);
/* Bytes needed for count wide characters: count * 4 in 32-bit arithmetic. */
ZV_API unsigned int TarnGetStringBufferSizeW(unsigned int count);

/* strlen(str), plus 1 when withTerminator is non-zero. Null: code 16, -1. */
ZV_API int TarnGetStringSizeA(const char* str, int withTerminator);
/* (wcslen(str), plus 1 when withTerminator) * 4 bytes. Null: code 16, -1. */
ZV_API int TarnGetStringSizeW(const wchar_t* str, int withTerminator);

/* size bytes, not cleared. 0: code 11, null; no memory: code 15, null. */
ZV_API void* TarnAllocateBuffer(unsigned int size);
/* size bytes holding "". 0: code 11, null; no memory: code 15, null. */
ZV_API char* TarnAllocateStringBufferA(unsigned int size);
/* count wide characters holding L"" (count * 4 bytes; a zero product: code 11). */
ZV_API wchar_t* TarnAllocateStringBufferW(unsigned int count);
/* Frees a library buffer: 1. Null: code 16, 0. */
ZV_API int TarnFreeBuffer(void* ptr);

/*
 * Copies src into dst of dstSize bytes. dstSize 0 (W: below 4): code 11, -1, tested before the
 * null test. Null src or dst: code 16, -1. Returns the characters written.
 */
ZV_API int TarnCopyStringA(const char* src, char* dst, unsigned int dstSize, int failOnTruncate);
ZV_API int TarnCopyStringW(const wchar_t* src, wchar_t* dst, unsigned int dstSize,
                           int failOnTruncate);

/* A new copy of src. Null: code 16, null; no memory: code 15, null. */
ZV_API char* TarnDupStringA(const char* src);
ZV_API wchar_t* TarnDupStringW(const wchar_t* src);

/*
 * A new converted copy of src. Null: code 16, null. An empty source or an unconvertible
 * character gives null with no code set.
 */
ZV_API char* TarnWideToAnsiString(const wchar_t* src);
ZV_API wchar_t* TarnAnsiToWideString(const char* src);

/* Converts src and copies it into dst as TarnCopyStringA/W do; a failed conversion gives -1. */
ZV_API int TarnCopyWideToAnsiString(const wchar_t* src, char* dst, unsigned int dstSize,
                                    int failOnTruncate);
ZV_API int TarnCopyAnsiToWideString(const char* src, wchar_t* dst, unsigned int dstSize,
                                    int failOnTruncate);

/*
 * A new buffer holding the formatted text. Null format: code 16, null. The narrow text is cut to
 * 127 bytes (the formatter's cut is taken as success).
 */
ZV_API char* TarnFormatStringA(const char* format, ...) __attribute__((format(printf, 1, 2)));
ZV_API wchar_t* TarnFormatStringW(const wchar_t* format, ...);

/* Formats, then copies into dst (dstSize bytes) as TarnCopyStringA/W do. */
ZV_API int TarnFormatStringBufferA(char* dst, unsigned int dstSize, int failOnTruncate,
                                   const char* format, ...) __attribute__((format(printf, 4, 5)));
ZV_API int TarnFormatStringBufferW(wchar_t* dst, unsigned int dstSize, int failOnTruncate,
                                   const wchar_t* format, ...);

ZV_END_C

#endif /* TARNSTRING_H */
