// ZVCmnFileHdr.cpp - the common file header line: writing it from a record, reading it back
// tolerantly, and the WUID built from a record's time and MAC address.

#include "ZVCmnFileHdr.h"

#include <stdio.h>
#include <string.h>

#include "TarnError.h"
#include "TarnTime.h"
#include "ZVCmnFileLine.h"

namespace {

const unsigned int kLineLength = ZVCF_HEADER_LENGTH;
const uint16_t kVersionAbsent = 0xFFFF;
// The date-time reader gets at most this many bytes of the LM field.
const unsigned int kMaxTimeText = 63;
const unsigned int kMacTextLength = 17;  // "XX-XX-XX-XX-XX-XX"
const unsigned int kMaxExtraInfo = 11;

bool IsPrintable(unsigned char c) {
    return c >= 0x20 && c <= 0x7E;
}

bool IsBlankOrControl(unsigned char c) {
    return c == ' ' || c < 0x20 || c == 0x7F;
}

bool IsLetter(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

char ToUpper(unsigned char c) {
    return static_cast<char>((c >= 'a' && c <= 'z') ? c - 'a' + 'A' : c);
}

// Value of a hexadecimal digit, -1 for any other character.
int HexValue(unsigned char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

bool MacIsZero(const uint8_t* mac) {
    for (int i = 0; i < 6; ++i) {
        if (mac[i] != 0) {
            return false;
        }
    }
    return true;
}

// ---- writing ----

void FormatFileType(const ZV_COMMON_FILE_HEADER_tag* header, char* out) {
    static const char kZero[4] = {0, 0, 0, 0};
    if (memcmp(header->szFileType, kZero, 4) == 0) {
        memcpy(out, "NONE", 4);
        return;
    }
    for (int i = 0; i < 4; ++i) {
        unsigned char c = static_cast<unsigned char>(header->szFileType[i]);
        out[i] = IsPrintable(c) ? static_cast<char>(c) : '_';
    }
}

// Two characters: the version modulo 100, or "**" when absent.
void FormatVersion(uint16_t version, char* out, size_t size) {
    if (version == kVersionAbsent) {
        snprintf(out, size, "**");
    } else {
        snprintf(out, size, "%02u", static_cast<unsigned int>(version % 100u));
    }
}

void FormatLastModified(const ZV_COMMON_FILE_HEADER_tag* header, char* out, size_t size) {
    if (header->lLastModified == 0) {
        snprintf(out, size, "%-23s", "*");
        return;
    }
    // The record's field is 32 bits wide; the date-time writer takes a long.
    long value = header->lLastModified;
    // The writer's result is used as it comes: a failed conversion leaves "" or "---" here.
    const char* text =
        TarnGetDateTimeStrA(&value, TARN_DTF_YMDHMSM, out, static_cast<unsigned int>(size), 1);
    if (text != out) {
        snprintf(out, size, "%s", text);
    }
}

void FormatDataSize(uint32_t dataSize, char* out, size_t size) {
    if (dataSize == 0) {
        snprintf(out, size, "%-10s", "*");
    } else {
        snprintf(out, size, "%010u", static_cast<unsigned int>(dataSize));
    }
}

void FormatCheckSum(int32_t checkSum, char* out, size_t size) {
    if (checkSum < 0) {
        snprintf(out, size, "%-5s", "*");
    } else {
        snprintf(out, size, "%05u", static_cast<unsigned int>(checkSum) & 0xFFFFu);
    }
}

void FormatMac(const uint8_t* mac, char* out, size_t size) {
    if (MacIsZero(mac)) {
        snprintf(out, size, "%-17s", "*");
    } else {
        snprintf(out, size, "%02X-%02X-%02X-%02X-%02X-%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
                 mac[5]);
    }
}

// At most 11 characters of the extra text, each non-printable one written as a blank.
void FormatExtraInfo(const ZV_COMMON_FILE_HEADER_tag* header, char* out) {
    unsigned int n = 0;
    while (n < kMaxExtraInfo && header->szExtraInfo[n] != '\0') {
        unsigned char c = static_cast<unsigned char>(header->szExtraInfo[n]);
        out[n] = IsPrintable(c) ? static_cast<char>(c) : ' ';
        ++n;
    }
    out[n] = '\0';
}

// ---- reading ----

// Two decimal digits, or the absent version.
uint16_t ReadVersion(const char* text) {
    unsigned char hi = static_cast<unsigned char>(text[0]);
    unsigned char lo = static_cast<unsigned char>(text[1]);
    if (!IsDigit(hi) || !IsDigit(lo)) {
        return kVersionAbsent;
    }
    return static_cast<uint16_t>((hi - '0') * 10 + (lo - '0'));
}

// The state of one parse: the content of the line (line end stripped) and a cursor into it.
struct Cursor {
    const char* data;
    unsigned int end;
    unsigned int pos;
};

unsigned char At(const Cursor& cur) {
    return static_cast<unsigned char>(cur.data[cur.pos]);
}

void SkipBlanks(Cursor* cur) {
    while (cur->pos < cur->end && IsBlankOrControl(At(*cur))) {
        ++cur->pos;
    }
}

bool AtStar(const Cursor& cur) {
    return cur.pos < cur.end && cur.data[cur.pos] == '*';
}

// Decimal digits at the cursor, accumulated in 32 bits that wrap without a check.
uint32_t ReadNumber(Cursor* cur) {
    uint32_t value = 0;
    while (cur->pos < cur->end && IsDigit(At(*cur))) {
        value = value * 10u + static_cast<uint32_t>(At(*cur) - '0');
        ++cur->pos;
    }
    return value;
}

// 1 when the time was read, 0 when the date-time reader failed.
int ReadLastModified(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    SkipBlanks(cur);
    if (AtStar(*cur)) {
        return 1;
    }
    char text[kMaxTimeText + 1];
    unsigned int n = cur->end - cur->pos;
    if (n > kMaxTimeText) {
        n = kMaxTimeText;
    }
    memcpy(text, cur->data + cur->pos, n);
    text[n] = '\0';
    // The record's field is 32 bits wide; the date-time reader takes a long.
    long value = header->lLastModified;
    const char* stop = TarnParseDateTimeStrA(text, TARN_DTF_YMDHMSM, &value, 1);
    // GCOVR_EXCL_START the reader returns null only for a null text or value, both local here
    if (stop == NULL) {
        return 0;
    }
    // GCOVR_EXCL_STOP
    header->lLastModified = static_cast<int32_t>(value);
    cur->pos += static_cast<unsigned int>(stop - text);
    return 1;
}

void ReadDataSize(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    SkipBlanks(cur);
    if (AtStar(*cur)) {
        return;
    }
    header->dwDataSize = ReadNumber(cur);
}

void ReadCheckSum(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    SkipBlanks(cur);
    if (AtStar(*cur)) {
        return;
    }
    // Not limited to 16 bits here; the wrapped 32-bit value is stored as it is.
    header->lCheckSum = static_cast<int32_t>(ReadNumber(cur));
}

// 1 when read or left absent, 0 for malformed text (code 34).
int ReadMac(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    SkipBlanks(cur);
    if (cur->end - cur->pos < kMacTextLength || AtStar(*cur)) {
        return 1;
    }
    const unsigned char* text = reinterpret_cast<const unsigned char*>(cur->data + cur->pos);
    uint8_t mac[6];
    for (unsigned int i = 0; i < 6; ++i) {
        const unsigned char* pair = text + i * 3;
        int hi = IsPrintable(pair[0]) ? HexValue(pair[0]) : -1;
        int lo = IsPrintable(pair[1]) ? HexValue(pair[1]) : -1;
        bool separatorOk = (i == 5) || pair[2] == '-';
        if (hi < 0 || lo < 0 || !separatorOk) {
            TarnSetLastError(TARN_ERR_INVALID_MAC_FORMAT);
            return 0;
        }
        mac[i] = static_cast<uint8_t>(hi * 16 + lo);
    }
    memcpy(header->byMacAddr, mac, 6);
    cur->pos += kMacTextLength;
    return 1;
}

void ReadExtraInfo(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    // Leading blanks belong to the text.
    unsigned int n = 0;
    while (n < kMaxExtraInfo && cur->pos + n < cur->end && cur->data[cur->pos + n] != ',') {
        ++n;
    }
    while (n > 0 && IsBlankOrControl(static_cast<unsigned char>(cur->data[cur->pos + n - 1]))) {
        --n;
    }
    for (unsigned int i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(cur->data[cur->pos + i]);
        header->szExtraInfo[i] = IsPrintable(c) ? static_cast<char>(c) : ' ';
    }
    header->szExtraInfo[n] = '\0';
}

bool KeyIs(const Cursor& cur, const char* key) {
    for (int i = 0; i < 3; ++i) {
        if (ToUpper(static_cast<unsigned char>(cur.data[cur.pos + i])) != key[i]) {
            return false;
        }
    }
    return true;
}

// Reads the keyed field at the cursor (the cursor is on its key). 0 on a malformed field.
int ReadField(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    if (KeyIs(*cur, "LM:")) {
        cur->pos += 3;
        return ReadLastModified(header, cur);
    }
    if (KeyIs(*cur, "DS:")) {
        cur->pos += 3;
        ReadDataSize(header, cur);
    } else if (KeyIs(*cur, "CS:")) {
        cur->pos += 3;
        ReadCheckSum(header, cur);
    } else if (KeyIs(*cur, "MA:")) {
        cur->pos += 3;
        return ReadMac(header, cur);
    } else if (KeyIs(*cur, "EI:")) {
        cur->pos += 3;
        ReadExtraInfo(header, cur);
    }
    // Any other key is passed over.
    return 1;
}

// The keyed fields from offset 8 on. 0 on a malformed field.
int ReadKeyedFields(ZV_COMMON_FILE_HEADER_tag* header, Cursor* cur) {
    for (;;) {
        while (cur->pos < cur->end && !IsLetter(At(*cur))) {
            ++cur->pos;
        }
        if (cur->pos >= cur->end || cur->end - cur->pos < 4) {
            return 1;
        }
        if (!ReadField(header, cur)) {
            return 0;
        }
        const void* comma = memchr(cur->data + cur->pos, ',', cur->end - cur->pos);
        if (comma == NULL) {
            return 1;
        }
        cur->pos = static_cast<unsigned int>(static_cast<const char*>(comma) - cur->data) + 1;
    }
}

}  // namespace

namespace zvcf {

void ResetHeader(ZV_COMMON_FILE_HEADER_tag* header) {
    memset(header, 0, sizeof(ZV_COMMON_FILE_HEADER_tag));
    memcpy(header->szFileType, "NONE", 4);
    header->wMajorVer = kVersionAbsent;
    header->wMinorVer = kVersionAbsent;
    header->lCheckSum = -1;
}

unsigned int FindLineEnd(const char* data, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i) {
        if (data[i] == '\r') {
            return (i + 1 < size && data[i + 1] == '\n') ? i + 2 : i + 1;
        }
        if (data[i] == '\n') {
            return i + 1;
        }
    }
    return size;
}

}  // namespace zvcf

using zvcf::FindLineEnd;
using zvcf::ResetHeader;

ZV_BEGIN_C

ZV_API int ZVCFCreateCommonFileHeader(const ZV_COMMON_FILE_HEADER_tag* header, char* buffer,
                                      unsigned int size) {
    if (header == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (size == 0) {
        return static_cast<int>(kLineLength);  // a size query
    }
    if (buffer == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return -1;
    }
    if (size < kLineLength) {
        TarnSetLastError(TARN_ERR_BUFFER_TOO_SHORT);
        return -1;
    }
    // Each field sized to its width in the line, so the whole line is 95 characters at most.
    char type[4];
    char major[3], minor[3], lastModified[24], dataSize[11], checkSum[6], mac[18];
    char extra[kMaxExtraInfo + 1];
    FormatFileType(header, type);
    FormatVersion(header->wMajorVer, major, sizeof(major));
    FormatVersion(header->wMinorVer, minor, sizeof(minor));
    FormatLastModified(header, lastModified, sizeof(lastModified));
    FormatDataSize(header->dwDataSize, dataSize, sizeof(dataSize));
    FormatCheckSum(header->lCheckSum, checkSum, sizeof(checkSum));
    FormatMac(header->byMacAddr, mac, sizeof(mac));
    FormatExtraInfo(header, extra);

    // One formatting call into the blank-filled line; its NUL lands on offset 95 and is replaced
    // by the line feed, so the line ends in CR LF with no NUL after it. Nothing is written past
    // the 96 bytes.
    memset(buffer, ' ', kLineLength);
    snprintf(buffer, kLineLength, "%c%c%c%c%s%s,LM:%s,DS:%s,CS:%s,MA:%s,EI:%-11s\r", type[0],
             type[1], type[2], type[3], major, minor, lastModified, dataSize, checkSum, mac, extra);
    buffer[kLineLength - 1] = '\n';
    return static_cast<int>(kLineLength);
}

ZV_API int ZVCFParseCommonFileHeader(ZV_COMMON_FILE_HEADER_tag* header, const char* data,
                                     unsigned int size) {
    ResetHeader(header);
    if (size == 0) {
        return 0;
    }
    unsigned int length = FindLineEnd(data, size);
    unsigned int content = length;
    while (content > 0 && (data[content - 1] == '\r' || data[content - 1] == '\n')) {
        --content;
    }
    // A parse that ends early is no error: the fields not reached stay absent.
    if (content < 4) {
        return static_cast<int>(length);
    }
    memcpy(header->szFileType, data, 4);
    if (content < 6) {
        return static_cast<int>(length);
    }
    header->wMajorVer = ReadVersion(data + 4);
    if (content < 8) {
        return static_cast<int>(length);
    }
    header->wMinorVer = ReadVersion(data + 6);
    if (content == 8) {
        return static_cast<int>(length);
    }
    Cursor cur = {data, content, 8};
    if (!ReadKeyedFields(header, &cur)) {
        return -1;
    }
    return static_cast<int>(length);
}

ZV_API int ZVCFGetWUID(const ZV_COMMON_FILE_HEADER_tag* header, WUID* wuid) {
    if (header == NULL || wuid == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    memset(wuid, 0, sizeof(WUID));
    long value = header->lLastModified;
    _SYSTEMTIME st;
    if (!TarnGetSystemTime(&value, &st, 1)) {
        return 0;
    }
    const uint8_t* mac = header->byMacAddr;
    uint32_t flags = (value != 0 ? 2u : 0u) + (MacIsZero(mac) ? 0u : 1u);
    // Plain shift-and-add with no masking: a year before 2000 borrows through the flag bits.
    uint32_t w0 = flags;
    w0 = (w0 << 10) + (static_cast<uint32_t>(st.wYear) - 2000u);
    w0 = (w0 << 4) + st.wMonth;
    w0 = (w0 << 5) + st.wDay;
    w0 = (w0 << 5) + st.wHour;
    w0 = (w0 << 6) + st.wMinute;
    uint32_t w1 = st.wSecond;
    w1 = (w1 << 10) + st.wMilliseconds;
    w1 = (w1 << 8) + mac[0];
    w1 = (w1 << 8) + mac[1];
    uint32_t w2 = (static_cast<uint32_t>(mac[2]) << 24) + (static_cast<uint32_t>(mac[3]) << 16) +
                  (static_cast<uint32_t>(mac[4]) << 8) + mac[5];
    wuid->dwWord[0] = w0;
    wuid->dwWord[1] = w1;
    wuid->dwWord[2] = w2;
    return 1;
}

ZV_API int ZVCFIsSameWUID(const WUID* wuid1, const WUID* wuid2) {
    if (wuid1 == NULL || wuid2 == NULL) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    return memcmp(wuid1, wuid2, sizeof(WUID)) == 0 ? 1 : 0;
}

ZV_END_C
