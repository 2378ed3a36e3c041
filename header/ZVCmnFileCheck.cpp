// ZVCmnFileCheck.cpp - the common file header applied to files on disk: the lenient and strict
// checks of size and checksum, reading a file's header or WUID, and stamping a file with a fresh
// header. Each function maps the whole file with a mapping of its own and closes it before it
// returns. The W forms do the work; the A forms convert the path and call them.

#include "ZVCmnFileHdr.h"

#include <string.h>

#include "TarnError.h"
#include "TarnNet.h"
#include "TarnString.h"
#include "TarnTime.h"
#include "ZVFileAccess.h"
#include "ZVMapFile.h"
#include "ZVCmnFileLine.h"

namespace {

using zvcf::FindLineEnd;
using zvcf::ResetHeader;

const unsigned int kLineLength = ZVCF_HEADER_LENGTH;

// XOR of the bytes as 16-bit little-endian words; an odd last byte goes into the low 8 bits.
uint32_t BodyXor(const unsigned char* data, unsigned int size) {
    uint32_t sum = 0;
    unsigned int i = 0;
    for (; i + 1 < size; i += 2) {
        sum ^= static_cast<uint32_t>(data[i]) | (static_cast<uint32_t>(data[i + 1]) << 8);
    }
    if (i < size) {
        sum ^= data[i];
    }
    return sum;
}

const unsigned char* Bytes(const CZVMapFile& map) {
    return static_cast<const unsigned char*>(map.m_pAddress);
}

// The body behind a header line of the given length passes when CS XOR all its words has zero
// low 16 bits.
bool CheckSumMatches(const CZVMapFile& map, unsigned int headerLength, int32_t checkSum) {
    uint32_t sum = static_cast<uint32_t>(checkSum) ^
                   BodyXor(Bytes(map) + headerLength, map.m_dwLength - headerLength);
    return (sum & 0xFFFFu) == 0;
}

// Closes the mapping, then sets code (the close may touch errno); 0 for the caller to return.
int CloseWithError(CZVMapFile* map, unsigned int code) {
    map->Close();
    TarnSetLastError(code);
    return 0;
}

// The final close of every function: 1, or 0 with code 3.
int CloseFinally(CZVMapFile* map) {
    // GCOVR_EXCL_START Close of a mapping always returns 1
    if (!map->Close()) {
        TarnSetLastError(TARN_ERR_CLOSE_FILE);
        return 0;
    }
    // GCOVR_EXCL_STOP
    return 1;
}

// Both checks; strict selects the 96-byte header with size and checksum both required.
int CheckFile(const wchar_t* path, bool strict) {
    if (path == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    CZVMapFile map;
    if (!map.OpenW(path, 0, NULL, 1)) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    ZV_COMMON_FILE_HEADER_tag header;
    int length = ZVCFParseCommonFileHeader(&header, static_cast<const char*>(map.m_pAddress),
                                           map.m_dwLength);
    if (length < 0) {
        map.Close();  // the parser's code stands
        return 0;
    }
    unsigned int headerLength = static_cast<unsigned int>(length);
    if (strict && headerLength != kLineLength) {
        return CloseWithError(&map, TARN_ERR_HEADER_NOT_ABSOLUTE);
    }
    // The lenient check compares a size only where the header has one; the strict one requires
    // it (an absent size never equals a mappable file's size).
    bool sizeChecked = strict || header.dwDataSize != 0;
    if (sizeChecked && header.dwDataSize != map.m_dwLength) {
        return CloseWithError(&map, TARN_ERR_FILE_SIZE_MISMATCH);
    }
    if (header.lCheckSum < 0) {
        // An absent checksum is not checked leniently; the strict check requires one.
        if (strict) {
            return CloseWithError(&map, TARN_ERR_CHECKSUM_MISMATCH);
        }
    } else if (!CheckSumMatches(map, headerLength, header.lCheckSum)) {
        return CloseWithError(&map, TARN_ERR_CHECKSUM_MISMATCH);
    }
    return CloseFinally(&map);
}

// Maps path read-only and parses its header into header (already reset). 1, or 0 with a code.
int ReadHeader(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header) {
    CZVMapFile map;
    if (!map.OpenW(path, 0, NULL, 1)) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    if (ZVCFParseCommonFileHeader(header, static_cast<const char*>(map.m_pAddress),
                                  map.m_dwLength) < 0) {
        map.Close();  // the parser's code stands
        return 0;
    }
    return CloseFinally(&map);
}

// Puts the MAC address and the current UTC time into header. 0 when the time cannot be read.
int StampTimeAndMac(ZV_COMMON_FILE_HEADER_tag* header) {
    // The address query may write nothing (it writes nothing on this platform), so the record's
    // bytes are cleared first and kept whatever it returns: a stamped header never carries an
    // old or caller-supplied address. The byte array has no alignment to lose in the packed
    // record, so it is handed over directly.
    memset(header->byMacAddr, 0, sizeof(header->byMacAddr));
    TarnGetMacAddress(header->byMacAddr);
    // The record's field is 32 bits wide; the clock is read into a long.
    long now = 0;
    if (!TarnGetTime(NULL, &now, 1)) {
        return 0;
    }
    header->lLastModified = static_cast<int32_t>(now);
    return 1;
}

// Gives the first line (oldLength bytes) exactly 96 bytes, keeping the body behind it. Growing
// resizes first and then moves the body up; shrinking moves the body down first and then
// resizes, so a failed shrink leaves the moved body and a stale tail. 0 with code 66 when the
// resize fails (the mapping is then closed).
int MakeRoomForHeader(CZVMapFile* map, unsigned int oldLength) {
    unsigned int body = map->m_dwLength - oldLength;
    if (oldLength < kLineLength) {
        if (!map->Resize(kLineLength + body)) {
            return CloseWithError(map, TARN_ERR_RESIZE_FILE);
        }
        // GCOVR_EXCL_START the reopen takes only the file's size or 2 bytes; 96 + body is more
        unsigned char* bytes = static_cast<unsigned char*>(map->m_pAddress);
        memmove(bytes + kLineLength, bytes + oldLength, body);
        // GCOVR_EXCL_STOP
    } else if (oldLength > kLineLength) {
        unsigned char* bytes = static_cast<unsigned char*>(map->m_pAddress);
        memmove(bytes + kLineLength, bytes + oldLength, body);
        if (!map->Resize(kLineLength + body)) {
            return CloseWithError(map, TARN_ERR_RESIZE_FILE);
        }
    }
    return 1;
}

// Sets size and checksum of the mapped file into header and writes the header line at offset 0.
int WriteHeader(CZVMapFile* map, ZV_COMMON_FILE_HEADER_tag* header) {
    header->dwDataSize = map->m_dwLength;
    // The checksum is the 16-bit XOR of the body; it always fits the signed field.
    header->lCheckSum =
        static_cast<int32_t>(BodyXor(Bytes(*map) + kLineLength, map->m_dwLength - kLineLength));
    return ZVCFCreateCommonFileHeader(header, static_cast<char*>(map->m_pAddress), kLineLength) ==
           static_cast<int>(kLineLength);
}

// Releases the converted path of an A form without disturbing the W form's last error, and
// normalises the W result to 0/1. A path that does not convert (empty, or not valid in the
// current locale) makes the A form return 0 at once: the W form is not called, so the caller's
// record is not touched and the code is whatever the conversion left.
int FinishNarrow(wchar_t* wide, int result) {
    unsigned int code = TarnGetLastError();
    TarnFreeBuffer(wide);
    TarnSetLastError(code);
    return result != 0 ? 1 : 0;
}

}  // namespace

ZV_BEGIN_C

ZV_API int ZVCFIsFileValidW(const wchar_t* path) {
    return CheckFile(path, false);
}

ZV_API int ZVCFIsFileAbsValidW(const wchar_t* path) {
    return CheckFile(path, true);
}

ZV_API int ZVCFGetCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header) {
    if (path == NULL || header == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    ResetHeader(header);
    return ReadHeader(path, header);
}

ZV_API int ZVCFGetWUIDFromFileW(const wchar_t* path, WUID* wuid) {
    if (path == NULL || wuid == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    memset(wuid, 0, sizeof(WUID));
    ZV_COMMON_FILE_HEADER_tag header;
    ResetHeader(&header);
    if (!ReadHeader(path, &header)) {
        return 0;
    }
    return ZVCFGetWUID(&header, wuid) ? 1 : 0;
}

ZV_API int ZVCFUpdateCommonFileHeaderW(const wchar_t* path, ZV_COMMON_FILE_HEADER_tag* header) {
    if (path == NULL || header == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    if (!ZVEVIsFileExistW(path)) {
        TarnSetLastError(TARN_ERR_FILE_NOT_FOUND);
        return 0;
    }
    if (!StampTimeAndMac(header)) {
        return 0;
    }
    CZVMapFile map;
    if (!map.OpenW(path, 0, NULL, 0)) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    // The old first line is replaced whatever it holds; it is not parsed.
    unsigned int oldLength = FindLineEnd(static_cast<const char*>(map.m_pAddress), map.m_dwLength);
    if (!MakeRoomForHeader(&map, oldLength)) {
        return 0;
    }
    // GCOVR_EXCL_START the writer fails for null or short buffers only; this one holds 96 bytes
    if (!WriteHeader(&map, header)) {
        map.Close();
        return 0;
    }
    // GCOVR_EXCL_STOP
    return CloseFinally(&map);
}

ZV_API int ZVCFGetAndUpdateCommonFileHeaderW(const wchar_t* path,
                                             ZV_COMMON_FILE_HEADER_tag* header) {
    if (path == NULL || header == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    ResetHeader(header);
    if (!ZVEVIsFileExistW(path)) {
        TarnSetLastError(TARN_ERR_FILE_NOT_FOUND);
        return 0;
    }
    CZVMapFile map;
    if (!map.OpenW(path, 0, NULL, 0)) {
        TarnSetLastError(TARN_ERR_OPEN_FILE);
        return 0;
    }
    int oldLength =
        ZVCFParseCommonFileHeader(header, static_cast<const char*>(map.m_pAddress), map.m_dwLength);
    if (oldLength < 0) {
        map.Close();  // the parser's code stands
        return 0;
    }
    if (!MakeRoomForHeader(&map, static_cast<unsigned int>(oldLength))) {
        return 0;
    }
    if (!StampTimeAndMac(header)) {
        map.Close();
        return 0;
    }
    // GCOVR_EXCL_START the writer fails for null or short buffers only; this one holds 96 bytes
    if (!WriteHeader(&map, header)) {
        map.Close();
        return 0;
    }
    // GCOVR_EXCL_STOP
    return CloseFinally(&map);
}

ZV_API int ZVCFIsFileValidA(const char* path) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFIsFileValidW(wide);
    return FinishNarrow(wide, result);
}

ZV_API int ZVCFIsFileAbsValidA(const char* path) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFIsFileAbsValidW(wide);
    return FinishNarrow(wide, result);
}

ZV_API int ZVCFGetCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFGetCommonFileHeaderW(wide, header);
    return FinishNarrow(wide, result);
}

ZV_API int ZVCFGetWUIDFromFileA(const char* path, WUID* wuid) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFGetWUIDFromFileW(wide, wuid);
    return FinishNarrow(wide, result);
}

ZV_API int ZVCFUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFUpdateCommonFileHeaderW(wide, header);
    return FinishNarrow(wide, result);
}

ZV_API int ZVCFGetAndUpdateCommonFileHeaderA(const char* path, ZV_COMMON_FILE_HEADER_tag* header) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == NULL) {
        return 0;
    }
    int result = ZVCFGetAndUpdateCommonFileHeaderW(wide, header);
    return FinishNarrow(wide, result);
}

ZV_END_C
