/*
 * TarnString.cpp - library string buffers: sizing, allocation, copying, duplication, narrow/wide
 * conversion in the current locale, and printf-style formatting into growing scratch buffers.
 *
 * Every buffer handed out is a plain malloc block; TarnFreeBuffer is free. Sizes of wide blocks
 * are computed in unsigned 32-bit arithmetic on every build, so the 64-bit host behaves like the
 * 32-bit device (a count of 0x40000000 characters wraps to 0 bytes and is refused).
 */
#include "TarnString.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <wchar.h>

#include "TarnError.h"

namespace {

/* Bytes per wide character on this platform. */
const uint32_t kWideCharBytes = 4;
static_assert(sizeof(wchar_t) == kWideCharBytes, "wide characters are 32 bits");

/* Margin added to a measured conversion length before the converted copy is allocated. */
const uint32_t kConversionMargin = 5;

/* Writes the whole text or, when it does not fit, its cut front: the tail of TarnCopyStringA/W. */
template <typename Ch>
int CopyChars(const Ch* src, size_t len, Ch* dst, size_t capacity, int failOnTruncate) {
    if (len < capacity) {
        memcpy(dst, src, (len + 1) * sizeof(Ch));
        return static_cast<int>(static_cast<unsigned int>(len));
    }
    // The cut text stays in dst either way; failOnTruncate only changes the result, and no code
    // is set.
    size_t kept = capacity - 1;
    memcpy(dst, src, kept * sizeof(Ch));
    dst[kept] = Ch(0);
    if (failOnTruncate != 0) {
        return -1;
    }
    return static_cast<int>(static_cast<unsigned int>(kept));
}

/*
 * Measures src in the narrow encoding and converts it into a new buffer. Null, with no code, when
 * a character cannot be converted or the source is empty (the conversion then writes nothing).
 */
char* ConvertWideToAnsi(const wchar_t* src) {
    if (src == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    size_t measured = wcstombs(NULL, src, 0);
    if (static_cast<ssize_t>(measured) < 0) {
        return NULL;  // unconvertible character: the system library already said so in errno
    }
    // 32-bit arithmetic on purpose, as on the device; a wrap to 0 is refused.
    uint32_t n = static_cast<uint32_t>(measured) + kConversionMargin;
    // GCOVR_EXCL_START only a text of 4 GiB wraps the count
    if (n == 0) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return NULL;
    }
    // GCOVR_EXCL_STOP
    char* buf = TarnAllocateStringBufferA(n);
    if (buf == NULL) {
        return NULL;
    }
    size_t converted = wcstombs(buf, src, n);
    // Compared as a signed value: both an error (-1) and an empty source (0) give null.
    if (static_cast<ssize_t>(converted) < 1) {
        TarnFreeBuffer(buf);
        return NULL;
    }
    return buf;
}

/* The wide counterpart of ConvertWideToAnsi: the block holds n characters of four bytes. */
wchar_t* ConvertAnsiToWide(const char* src) {
    if (src == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    size_t measured = mbstowcs(NULL, src, 0);
    if (static_cast<ssize_t>(measured) < 0) {
        return NULL;  // invalid multibyte sequence
    }
    uint32_t n = static_cast<uint32_t>(measured) + kConversionMargin;
    // A count whose byte size wraps would give a block smaller than the conversion limit; it is
    // refused like the zero size (only a source of about a billion characters gets here).
    // GCOVR_EXCL_START only a text of a billion characters gets here
    if (n == 0 || n > UINT32_MAX / kWideCharBytes) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return NULL;
    }
    // GCOVR_EXCL_STOP
    wchar_t* buf = TarnAllocateStringBufferW(n);
    if (buf == NULL) {
        return NULL;
    }
    size_t converted = mbstowcs(buf, src, n);
    if (static_cast<ssize_t>(converted) < 1) {
        TarnFreeBuffer(buf);
        return NULL;
    }
    return buf;
}

/*
 * The narrow formatter: a scratch buffer of 128 bytes that doubles each time the formatter
 * reports -1, up to 25 tries. The system's vsnprintf reports a cut by returning the full length,
 * which is taken as success: narrow results are therefore cut to 127 bytes. Host programs rely on
 * that limit, so it is kept.
 */
struct NarrowFormatter {
    typedef char Char;
    static const uint32_t kStart = 128;
    static const int kTries = 25;
    static Char* Allocate(uint32_t count) { return TarnAllocateStringBufferA(count); }
    static int Format(Char* dst, uint32_t count, const Char* format, va_list args) {
        return vsnprintf(dst, count, format, args);
    }
};

/*
 * The wide formatter: 128 characters, doubling on -1 up to 23 tries. vswprintf reports a cut with
 * -1, so wide results grow as far as needed.
 */
struct WideFormatter {
    typedef wchar_t Char;
    static const uint32_t kStart = 128;
    static const int kTries = 23;
    static Char* Allocate(uint32_t count) { return TarnAllocateStringBufferW(count); }
    static int Format(Char* dst, uint32_t count, const Char* format, va_list args) {
        return vswprintf(dst, count, format, args);
    }
};

/*
 * Formats into a growing scratch buffer as the formatter describes. Every try formats from a
 * fresh copy of the argument list. A result below -1 is code 67; running out of tries is code 11.
 */
template <typename Formatter>
typename Formatter::Char* FormatScratch(const typename Formatter::Char* format, va_list args) {
    uint32_t count = Formatter::kStart;
    for (int attempt = 0; attempt < Formatter::kTries; ++attempt) {
        typename Formatter::Char* scratch = Formatter::Allocate(count);
        if (scratch == NULL) {
            return NULL;
        }
        va_list attemptArgs;
        va_copy(attemptArgs, args);
        int written = Formatter::Format(scratch, count, format, attemptArgs);
        va_end(attemptArgs);
        if (written < -1) {
            TarnFreeBuffer(scratch);
            TarnSetLastError(TARN_ERR_INVALID_STRING_FORMAT);
            return NULL;
        }
        if (written >= 0) {
            return scratch;
        }
        TarnFreeBuffer(scratch);
        count *= 2;
    }
    TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
    return NULL;
}

}  // namespace

ZV_BEGIN_C

unsigned int TarnGetStringBufferSizeA(unsigned int count) {
    return count;
}

unsigned int TarnGetStringBufferSizeW(unsigned int count) {
    return count * kWideCharBytes;
}

int TarnGetStringSizeA(const char* str, int withTerminator) {
    if (str == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    uint32_t size = static_cast<uint32_t>(strlen(str));
    if (withTerminator != 0) {
        ++size;
    }
    return static_cast<int>(size);
}

int TarnGetStringSizeW(const wchar_t* str, int withTerminator) {
    if (str == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    uint32_t chars = static_cast<uint32_t>(wcslen(str));
    if (withTerminator != 0) {
        ++chars;
    }
    return static_cast<int>(chars * kWideCharBytes);
}

void* TarnAllocateBuffer(unsigned int size) {
    if (size == 0) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return NULL;
    }
    void* block = malloc(size);
    if (block == NULL) {
        TarnSetLastError(TARN_ERR_MEMORY_OVERFLOW);
        return NULL;
    }
    return block;
}

char* TarnAllocateStringBufferA(unsigned int size) {
    char* buf = static_cast<char*>(TarnAllocateBuffer(size));
    if (buf != NULL) {
        buf[0] = '\0';
    }
    return buf;
}

wchar_t* TarnAllocateStringBufferW(unsigned int count) {
    // The product wraps in 32 bits on every build; a wrap to 0 is refused as a zero size.
    wchar_t* buf = static_cast<wchar_t*>(TarnAllocateBuffer(count * kWideCharBytes));
    if (buf != NULL) {
        buf[0] = L'\0';
    }
    return buf;
}

int TarnFreeBuffer(void* ptr) {
    if (ptr == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    free(ptr);
    return 1;
}

int TarnCopyStringA(const char* src, char* dst, unsigned int dstSize, int failOnTruncate) {
    // The size is checked before the pointers.
    if (dstSize == 0) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return -1;
    }
    if (src == NULL || dst == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    return CopyChars(src, strlen(src), dst, dstSize, failOnTruncate);
}

int TarnCopyStringW(const wchar_t* src, wchar_t* dst, unsigned int dstSize, int failOnTruncate) {
    // dstSize is in bytes; less than one character is refused before the pointers are checked.
    if (dstSize < kWideCharBytes) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return -1;
    }
    if (src == NULL || dst == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    return CopyChars(src, wcslen(src), dst, dstSize / kWideCharBytes, failOnTruncate);
}

char* TarnDupStringA(const char* src) {
    if (src == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    size_t size = strlen(src) + 1;
    char* copy = static_cast<char*>(malloc(size));
    if (copy == NULL) {
        TarnSetLastError(TARN_ERR_MEMORY_OVERFLOW);
        return NULL;
    }
    memcpy(copy, src, size);
    return copy;
}

wchar_t* TarnDupStringW(const wchar_t* src) {
    if (src == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    size_t size = (wcslen(src) + 1) * sizeof(wchar_t);
    wchar_t* copy = static_cast<wchar_t*>(malloc(size));
    if (copy == NULL) {
        TarnSetLastError(TARN_ERR_MEMORY_OVERFLOW);
        return NULL;
    }
    memcpy(copy, src, size);
    return copy;
}

char* TarnWideToAnsiString(const wchar_t* src) {
    return ConvertWideToAnsi(src);
}

wchar_t* TarnAnsiToWideString(const char* src) {
    return ConvertAnsiToWide(src);
}

int TarnCopyWideToAnsiString(const wchar_t* src, char* dst, unsigned int dstSize,
                             int failOnTruncate) {
    // The source is converted before dst and dstSize are looked at: an empty or unconvertible
    // source gives -1 with no code even when dst is null or dstSize is 0.
    char* converted = ConvertWideToAnsi(src);
    if (converted == NULL) {
        return -1;
    }
    int result = TarnCopyStringA(converted, dst, dstSize, failOnTruncate);
    TarnFreeBuffer(converted);
    return result < 0 ? -1 : result;
}

int TarnCopyAnsiToWideString(const char* src, wchar_t* dst, unsigned int dstSize,
                             int failOnTruncate) {
    // Converted first, as in TarnCopyWideToAnsiString.
    wchar_t* converted = ConvertAnsiToWide(src);
    if (converted == NULL) {
        return -1;
    }
    int result = TarnCopyStringW(converted, dst, dstSize, failOnTruncate);
    TarnFreeBuffer(converted);
    return result < 0 ? -1 : result;
}

char* TarnFormatStringA(const char* format, ...) {
    if (format == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    va_list args;
    va_start(args, format);
    char* scratch = FormatScratch<NarrowFormatter>(format, args);
    va_end(args);
    if (scratch == NULL) {
        return NULL;
    }
    char* result = TarnDupStringA(scratch);
    TarnFreeBuffer(scratch);
    return result;
}

wchar_t* TarnFormatStringW(const wchar_t* format, ...) {
    if (format == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return NULL;
    }
    va_list args;
    va_start(args, format);
    wchar_t* scratch = FormatScratch<WideFormatter>(format, args);
    va_end(args);
    if (scratch == NULL) {
        return NULL;
    }
    wchar_t* result = TarnDupStringW(scratch);
    TarnFreeBuffer(scratch);
    return result;
}

int TarnFormatStringBufferA(char* dst, unsigned int dstSize, int failOnTruncate, const char* format,
                            ...) {
    // Unlike TarnCopyStringA, the pointers are checked before the size.
    if (dst == NULL || format == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (dstSize == 0) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return -1;
    }
    va_list args;
    va_start(args, format);
    char* scratch = FormatScratch<NarrowFormatter>(format, args);
    va_end(args);
    if (scratch == NULL) {
        return -1;
    }
    // The scratch text is already cut to 127 bytes, so a longer text fits a large dst and counts
    // as not truncated even with failOnTruncate.
    int result = TarnCopyStringA(scratch, dst, dstSize, failOnTruncate);
    TarnFreeBuffer(scratch);
    return result;
}

int TarnFormatStringBufferW(wchar_t* dst, unsigned int dstSize, int failOnTruncate,
                            const wchar_t* format, ...) {
    // Pointers first, then the size, as in TarnFormatStringBufferA.
    if (dst == NULL || format == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (dstSize < kWideCharBytes) {
        TarnSetLastError(TARN_ERR_INVALID_BUFFER_SIZE);
        return -1;
    }
    va_list args;
    va_start(args, format);
    wchar_t* scratch = FormatScratch<WideFormatter>(format, args);
    va_end(args);
    if (scratch == NULL) {
        return -1;
    }
    int result = TarnCopyStringW(scratch, dst, dstSize, failOnTruncate);
    TarnFreeBuffer(scratch);
    return result;
}

ZV_END_C
