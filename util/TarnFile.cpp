/*
 * TarnFile.cpp - the read probe and file information.
 *
 * The probe opens a file and reads its first byte back; the file information fills one record
 * with the file's stat() record, size, times, upper-cased extension and a 16-bit XOR checksum of
 * its contents, read through a read-only mapping.
 */
#include "TarnFile.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "ZVMapFile.h"

namespace {

/* Directory bit of st_mode; block devices and sockets carry it too and count as directories. */
const unsigned int kDirectoryBit = 0x4000u;

/* A wide path is converted into at most this many bytes; the buffer has one more, zeroed. */
const size_t kNarrowPathLimit = 256;

/* The probe reads the first byte at most this many times. */
const off_t kMaxProbes = 3;

/* Bytes of the extension field: a dot, at most four more characters and the terminator. */
const unsigned int kExtensionFieldSize = sizeof(FILEINFO_tag::szExtension);

/* The checksum pauses one second each time this many 16-bit words are still to come. */
const uint32_t kWordsPerPause = 102400u;

/*
 * Narrow form of a wide path in a zeroed buffer of kNarrowPathLimit + 1 bytes. A conversion that
 * fails, or that fills all kNarrowPathLimit bytes (and so may have been cut), is refused, and the
 * caller treats it as a path that stat() could not find.
 */
bool NarrowPath(const wchar_t* path, char* narrow) {
    memset(narrow, 0, kNarrowPathLimit + 1);
    size_t written = wcstombs(narrow, path, kNarrowPathLimit);
    return written != static_cast<size_t>(-1) && written < kNarrowPathLimit;
}

bool IsDirectoryMode(const struct stat& status) {
    return (static_cast<unsigned int>(status.st_mode) & kDirectoryBit) != 0;
}

/*
 * Opens the file in text mode and reads its first byte up to three times (once per byte of a
 * file shorter than three bytes), rewinding before each read. Every probe reads the same first
 * byte: that is how the probe has always worked, and callers are tuned to its cost, so it stays.
 * Returns 1 when a read does not deliver its byte (code 73), else 0 (code 36 when the file
 * cannot be opened).
 */
int ProbeFirstByte(const char* narrowPath, off_t size) {
    FILE* file = fopen(narrowPath, "r");
    if (file == NULL) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    off_t probes = size < kMaxProbes ? size : kMaxProbes;
    for (off_t i = 0; i < probes; ++i) {
        rewind(file);
        unsigned char byte = 0;
        if (fread(&byte, 1, 1, file) != 1) {
            TarnSetLastError(TARN_ERR_FILE_CORRUPTED);
            fclose(file);
            return 1;
        }
    }
    fclose(file);
    return 0;
}

/* The record's time fields are `long` seconds; the status holds time_t values. */
long TimeValue(time_t t) {
    return static_cast<long>(t);
}

/*
 * Start of the extension (its dot) in a wide path, or null when the name has none. A path that
 * is empty or ends in a separator has none; one ending in '.' has "."; otherwise the last dot
 * after the last separator starts it.
 */
const wchar_t* FindExtension(const wchar_t* path) {
    size_t length = wcslen(path);
    // GCOVR_EXCL_START the callers stat the path first, and an empty path is never found
    if (length == 0) {
        return NULL;
    }
    // GCOVR_EXCL_STOP
    wchar_t last = path[length - 1];
    if (last == L'/' || last == L'\\') {
        return NULL;
    }
    if (last == L'.') {
        return path + length - 1;
    }
    for (size_t i = length - 1; i > 0; --i) {
        wchar_t c = path[i - 1];
        if (c == L'/' || c == L'\\') {
            return NULL;
        }
        if (c == L'.') {
            return path + i - 1;
        }
    }
    return NULL;
}

/* Copies the path's extension, cut to five characters, upper-cased. 0 when the copy fails. */
int FillExtension(const wchar_t* path, char* field) {
    const wchar_t* extension = FindExtension(path);
    if (extension == NULL) {
        return 1;
    }
    if (TarnCopyWideToAnsiString(extension, field, kExtensionFieldSize, 0) < 0) {
        return 0;
    }
    strupr(field);
    return 1;
}

/* The status's size and times, copied into the record's own fields. */
void FillSizeAndTimes(FILEINFO_tag* info) {
    info->dwSize = static_cast<uint32_t>(info->status.st_size);
    time_t created = info->status.st_ctime;
    time_t accessed = info->status.st_atime;
    time_t written = info->status.st_mtime;
    info->tmCreation = TimeValue(created);
    info->tmLastAccess = TimeValue(accessed);
    info->tmLastWrite = TimeValue(written);
}

/*
 * XOR of the bytes' 16-bit little-endian words, first to last; an odd last byte goes into the
 * low byte. Before each word, when the number of words still to come after it is a multiple of
 * 102400 (0 included), the checksum sleeps one second. The pauses are deliberate and must stay:
 * they keep a long checksum from monopolising the controller's processor.
 */
uint16_t XorChecksum(const unsigned char* bytes, uint32_t length) {
    uint16_t checksum = 0;
    uint32_t words = length / 2;
    for (uint32_t i = 0; i < words; ++i) {
        uint32_t remaining = words - 1 - i;
        if (remaining % kWordsPerPause == 0) {
            sleep(1);
        }
        uint16_t word = static_cast<uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        checksum = static_cast<uint16_t>(checksum ^ word);
    }
    if (length % 2 != 0) {
        checksum = static_cast<uint16_t>(checksum ^ bytes[length - 1]);
    }
    return checksum;
}

/* Maps the whole file read-only and stores its checksum: 1, or 0 with code 36 or 3. */
int FillChecksum(const wchar_t* path, FILEINFO_tag* info) {
    CZVMapFile mapping;
    if (!mapping.OpenW(path, 0, NULL, 1)) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    info->wCheckSum =
        XorChecksum(static_cast<const unsigned char*>(mapping.m_pAddress), mapping.m_dwLength);
    // GCOVR_EXCL_START Close of a mapping always returns 1
    if (!mapping.Close()) {
        TarnSetLastError(TARN_ERR_CLOSE_FILE);
        return 0;
    }
    // GCOVR_EXCL_STOP
    return 1;
}

}  // namespace

int TarnIsFileCorruptedW(const wchar_t* path) {
    if (path == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    char narrow[kNarrowPathLimit + 1];
    struct stat status;
    /* A path that cannot be converted, a missing file and a directory are not corrupted. */
    if (!NarrowPath(path, narrow) || stat(narrow, &status) != 0 || IsDirectoryMode(status)) {
        return 0;
    }
    return ProbeFirstByte(narrow, status.st_size);
}

int TarnIsFileCorruptedA(const char* path) {
    if (path == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = TarnIsFileCorruptedW(wide);
    TarnFreeBuffer(wide);
    return result;
}

int TarnGetFileInfoW(const wchar_t* path, FILEINFO_tag* info) {
    if (path == NULL || info == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (TarnIsFileCorruptedW(path) != 0) {
        return 0;
    }
    memset(info, 0, sizeof(*info));
    char narrow[kNarrowPathLimit + 1];
    if (!NarrowPath(path, narrow) || stat(narrow, &info->status) != 0) {
        TarnSetLastError(TARN_ERR_FILE_NOT_EXIST);
        return 0;
    }
    if (IsDirectoryMode(info->status)) {
        TarnSetLastError(TARN_ERR_PATH_IS_DIRECTORY);
        return 0;
    }
    if (!FillExtension(path, info->szExtension)) {
        return 0;
    }
    FillSizeAndTimes(info);
    if (info->status.st_size == 0) {
        return 1;
    }
    return FillChecksum(path, info);
}

int TarnGetFileInfoA(const char* path, FILEINFO_tag* info) {
    if (path == NULL || info == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    memset(info, 0, sizeof(*info));
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = TarnGetFileInfoW(wide, info);
    TarnFreeBuffer(wide);
    return result != 0 ? 1 : 0;
}
