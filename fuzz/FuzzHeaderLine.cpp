// Fuzz target: the common file header on arbitrary bytes. The tolerant line reader runs on the
// bytes, the writer and the WUID on whatever record it produced. Then the bytes are written as a
// file, and the file functions run on it: reading its header and WUID, which must give what the
// reader gave; the lenient and the strict check, whose results and codes must be those that the
// header's size and checksum call for (computed here apart from the library); and both stamps,
// on copies of the file, after which the file must pass the strict check and keep its body.
// A data file's first line is outside the library's control, so no input may crash it.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "FuzzSupport.h"
#include "TarnError.h"
#include "ZVCmnFileHdr.h"

using zvfuzz::Check;

namespace {

const unsigned int kSentinel = 0x5A5Au;
const unsigned int kLine = ZVCF_HEADER_LENGTH;

struct Parsed {
    int length;  // the reader's result
    ZV_COMMON_FILE_HEADER_tag header;
};

Parsed ParseCopy(const uint8_t* data, size_t size) {
    // A copy of exactly size bytes, so a read past the end shows under the address sanitizer.
    char* bytes = static_cast<char*>(malloc(size == 0 ? 1 : size));
    if (size > 0) {
        memcpy(bytes, data, size);
    }
    Parsed parsed;
    TarnSetLastError(kSentinel);
    parsed.length =
        ZVCFParseCommonFileHeader(&parsed.header, bytes, static_cast<unsigned int>(size));
    free(bytes);
    if (parsed.length == -1) {
        Check(TarnGetLastError() != kSentinel);
    } else {
        Check(parsed.length >= 0 && static_cast<size_t>(parsed.length) <= size);
    }
    return parsed;
}

// Every record the reader yields writes back as one 96-byte line that reads back whole.
void CheckWriter(const ZV_COMMON_FILE_HEADER_tag& header) {
    char line[kLine];
    Check(ZVCFCreateCommonFileHeader(&header, line, sizeof line) == static_cast<int>(kLine));
    Check(line[kLine - 2] == '\r' && line[kLine - 1] == '\n');
    ZV_COMMON_FILE_HEADER_tag again;
    Check(ZVCFParseCommonFileHeader(&again, line, sizeof line) == static_cast<int>(kLine));
    WUID wuid;
    Check(ZVCFGetWUID(&header, &wuid) <= 1);
}

// The 16-bit XOR of the bytes behind offset as little-endian words, an odd last byte in the low
// eight bits.
uint32_t BodyXor(const uint8_t* data, size_t size, size_t offset) {
    uint32_t sum = 0;
    size_t i = offset;
    for (; i + 1 < size; i += 2) {
        sum ^= static_cast<uint32_t>(data[i]) | static_cast<uint32_t>(data[i + 1]) << 8;
    }
    if (i < size) {
        sum ^= data[i];
    }
    return sum;
}

// The code a check must leave: 0 when the file passes.
unsigned int ExpectedCheck(const uint8_t* data, size_t size, const Parsed& p, bool strict) {
    const ZV_COMMON_FILE_HEADER_tag& h = p.header;
    if (strict && p.length != static_cast<int>(kLine)) {
        return TARN_ERR_HEADER_NOT_ABSOLUTE;
    }
    if ((strict || h.dwDataSize != 0) && h.dwDataSize != size) {
        return TARN_ERR_FILE_SIZE_MISMATCH;
    }
    if (h.lCheckSum < 0) {
        return strict ? TARN_ERR_CHECKSUM_MISMATCH : 0;
    }
    const uint32_t sum = static_cast<uint32_t>(h.lCheckSum) ^ BodyXor(data, size, p.length);
    return (sum & 0xFFFFu) == 0 ? 0 : TARN_ERR_CHECKSUM_MISMATCH;
}

void CheckOneCheck(int (*check)(const char*), const char* path, const uint8_t* data, size_t size,
                   const Parsed& p, bool strict) {
    TarnSetLastError(kSentinel);
    const int result = check(path);
    if (size == 0) {
        // An empty file cannot be mapped.
        Check(result == 0 && TarnGetLastError() == TARN_ERR_OPEN_FILE);
    } else if (p.length == -1) {
        Check(result == 0 && TarnGetLastError() != kSentinel);
    } else {
        // A pass sets no code of its own, but the last error is the thread's errno, and the
        // date-time reader's conversion may leave one there (mktime out of range).
        const unsigned int expected = ExpectedCheck(data, size, p, strict);
        Check(result == (expected == 0 ? 1 : 0));
        Check(expected == 0 || TarnGetLastError() == expected);
    }
}

// Reading the file's header and WUID gives what the reader gave on the same bytes.
void CheckReaders(const char* path, size_t size, const Parsed& p) {
    ZV_COMMON_FILE_HEADER_tag header;
    const int read = ZVCFGetCommonFileHeaderA(path, &header);
    WUID fromFile;
    const int wuidRead = ZVCFGetWUIDFromFileA(path, &fromFile);
    if (size == 0 || p.length == -1) {
        Check(read == 0 && wuidRead == 0);
        return;
    }
    Check(read == 1 && memcmp(&header, &p.header, sizeof header) == 0);
    WUID fromRecord;
    const int built = ZVCFGetWUID(&p.header, &fromRecord);
    Check(wuidRead == built);
    Check(built == 0 || ZVCFIsSameWUID(&fromFile, &fromRecord) == 1);
}

// The length of the first line by the line-end rule: up to the first LF, or the first CR and one
// LF right behind it; the whole data when there is neither.
size_t FirstLine(const uint8_t* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            return i + 1;
        }
        if (data[i] == '\r') {
            return i + 1 < size && data[i + 1] == '\n' ? i + 2 : i + 1;
        }
    }
    return size;
}

// What a stamped file must be: one that passes the strict check, the body behind its 96-byte
// line the body the old first line stood in front of.
void CheckStamped(int stamped, const std::string& path, const uint8_t* data, size_t size,
                  size_t oldLine) {
    if (stamped == 0) {
        Check(TarnGetLastError() != kSentinel);
        return;
    }
    Check(stamped == 1);
    Check(ZVCFIsFileAbsValidA(path.c_str()) == 1);
    FILE* file = fopen(path.c_str(), "rb");
    Check(file != nullptr);
    std::string written;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, file)) > 0) {
        written.append(chunk, n);
    }
    fclose(file);
    const std::string body(reinterpret_cast<const char*>(data) + oldLine, size - oldLine);
    Check(written.size() == kLine + body.size() && written.compare(kLine, body.size(), body) == 0);
}

void CheckFiles(const uint8_t* data, size_t size, const Parsed& p) {
    static const std::string path = zvfuzz::ScratchFile("header.dat");
    static const std::string copy = zvfuzz::ScratchFile("stamped.dat");
    zvfuzz::WriteWholeFile(path, data, size);
    CheckOneCheck(ZVCFIsFileValidA, path.c_str(), data, size, p, false);
    CheckOneCheck(ZVCFIsFileAbsValidA, path.c_str(), data, size, p, true);
    CheckReaders(path.c_str(), size, p);
    if (size == 0) {
        return;
    }

    zvfuzz::WriteWholeFile(copy, data, size);
    ZV_COMMON_FILE_HEADER_tag header;
    TarnSetLastError(kSentinel);
    const int restamped = ZVCFGetAndUpdateCommonFileHeaderA(copy.c_str(), &header);
    if (p.length == -1) {
        Check(restamped == 0);
    } else {
        CheckStamped(restamped, copy, data, size, static_cast<size_t>(p.length));
    }

    zvfuzz::WriteWholeFile(copy, data, size);
    header = p.header;
    TarnSetLastError(kSentinel);
    CheckStamped(ZVCFUpdateCommonFileHeaderA(copy.c_str(), &header), copy, data, size,
                 FirstLine(data, size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4096) {
        return 0;
    }
    const Parsed parsed = ParseCopy(data, size);
    CheckWriter(parsed.header);
    CheckFiles(data, size, parsed);
    return 0;
}
