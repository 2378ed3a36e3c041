/*
 * A host program as the device's applications are written: it includes none of the library's
 * headers and declares what it calls itself, with the plain C types of the interface, then
 * checks the documented results. Prints one line per check and "N passed, N failed".
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <wchar.h>

typedef struct {
    unsigned short wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} HostSystemTime;

extern void TarnSetLastError(unsigned int code);
extern unsigned int TarnGetLastError(void);
extern const char* TarnGetErrorMsg(unsigned int code);
extern unsigned int TarnGetStringBufferSizeW(unsigned int count);
extern int TarnGetStringSizeW(const wchar_t* str, int withTerminator);
extern char* TarnDupStringA(const char* src);
extern int TarnFreeBuffer(void* ptr);
extern int TarnCopyStringA(const char* src, char* dst, unsigned int size, int failOnTruncate);
extern char* TarnFormatStringA(const char* format, ...);
extern wchar_t* TarnAnsiToWideString(const char* src);
extern int TarnIsLeapYear(unsigned short year);
extern int TarnValidateTime(HostSystemTime* st);
extern int TarnGetTime(const HostSystemTime* st, long* value, int utc);
extern int TarnGetSystemTime(const long* value, HostSystemTime* st, int utc);
extern int TarnDiffTime(const long* earlier, const long* later, int unit);
extern int _wtoi(const wchar_t* str);
extern int FileExists(const char* path);
extern unsigned int GetFileSize(const char* path);
extern unsigned int OS_GetFullPathName(const char* path, unsigned int length, char* buffer,
                                       char** filePart);
extern const char* TarnGetDateTimeStrA(const long* value, int format, char* buffer,
                                       unsigned int size, int utc);
extern const char* TarnParseDateTimeStrA(const char* text, int format, long* value, int utc);
extern int TarnIsFileCorruptedA(const char* path);
extern int ZVEVIsFileExistA(const char* path);

typedef void* HostEnvHandle;
extern int ZVEVOpenFile(const char* path, HostEnvHandle* handle);
extern int ZVEVSetInteger(HostEnvHandle handle, const char* key, int value);
extern int ZVEVGetInteger(HostEnvHandle handle, const char* key, int defaultValue);
extern int ZVEVFlush(HostEnvHandle handle);
extern int ZVEVClose(HostEnvHandle handle);

#pragma pack(push, 1)
typedef struct {
    char type[4];
    unsigned short major, minor;
    int lastModified;
    unsigned int dataSize;
    int checkSum;
    unsigned char mac[6];
    char extra[12];
} HostFileHeader;
#pragma pack(pop)

typedef struct {
    unsigned int word[3];
} HostWuid;

extern int ZVCFCreateCommonFileHeader(const HostFileHeader* header, char* buffer,
                                      unsigned int size);
extern int ZVCFParseCommonFileHeader(HostFileHeader* header, const char* data, unsigned int size);
extern int ZVCFGetWUID(const HostFileHeader* header, HostWuid* wuid);
extern int ZVCFIsFileValidA(const char* path);
extern int ZVCFIsFileAbsValidA(const char* path);

#pragma pack(push, 1)
typedef struct {
    unsigned short number1;
    char text[33];
    unsigned short number2;
    unsigned short code;
    int time;
    unsigned char number3;
    unsigned short number4;
    unsigned int value1, value2, value3;
} HostErrorRecord;
#pragma pack(pop)

extern int ZVEHInitA(const char* path, unsigned short capacity, unsigned int flushInterval);
extern int ZVEHExit(void);
extern int ZVEHGetRange(unsigned short* firstId, unsigned short* lastId);
extern int ZVEHGetErrorHistory(unsigned short startId, int count, HostErrorRecord* records,
                               unsigned int bufferBytes, unsigned short* firstId, int* readCount);
extern int ZVEHClearErrorHistory(void);
extern int ZVEHAddErrorHistory(HostErrorRecord* record, unsigned short* id);
extern int ZVEHShiftErrorID(unsigned short id, int delta, unsigned short* result);

static int passed;
static int failed;

static void check(int ok, const char* what) {
    printf("%s: %s\n", ok ? "ok" : "FAIL", what);
    if (ok) {
        ++passed;
    } else {
        ++failed;
    }
}

static void errors(void) {
    TarnSetLastError(16);
    check(TarnGetLastError() == 16, "last error reads back");
    check(strcmp(TarnGetErrorMsg(16), "Null pointer assigned.") == 0, "message of 16");
    check(strcmp(TarnGetErrorMsg(34), "Invalid mac address formaT.") == 0, "message of 34");
    check(strcmp(TarnGetErrorMsg(0), "") == 0, "message of 0");
    check(strcmp(TarnGetErrorMsg(74), "Unknown error.") == 0, "message of 74");
}

static void strings(void) {
    char small[3];
    char* dup = TarnDupStringA("abc");
    check(dup != NULL && strcmp(dup, "abc") == 0, "duplicate");
    check(TarnFreeBuffer(dup) == 1, "free");
    TarnSetLastError(0);
    check(TarnFreeBuffer(NULL) == 0 && TarnGetLastError() == 16, "free of null: 0, code 16");
    check(TarnCopyStringA("abc", small, 3, 1) == -1 && strcmp(small, "ab") == 0,
          "cut copy reports -1");
    check(TarnCopyStringA("abc", small, 3, 0) == 2, "cut copy counts 2");
    check(TarnGetStringSizeW(L"ab", 1) == 12, "wide size with terminator");
    check(TarnGetStringBufferSizeW(3) == 12, "wide buffer size");
    char* text = TarnFormatStringA("%s-%d", "n", 42);
    check(text != NULL && strcmp(text, "n-42") == 0, "format");
    TarnFreeBuffer(text);
    wchar_t* wide = TarnAnsiToWideString("xy");
    check(wide != NULL && wcscmp(wide, L"xy") == 0, "narrow to wide");
    TarnFreeBuffer(wide);
}

static void times(void) {
    HostSystemTime st = {2009, 3, 0, 7, 14, 5, 9, 0};
    HostSystemTime back;
    HostSystemTime feb = {2008, 2, 0, 30, 24, 0, 0, 1000};
    long value = 0;
    check(TarnIsLeapYear(2000) == 1 && TarnIsLeapYear(1900) == 0, "leap years");
    check(TarnGetTime(&st, &value, 1) == 1 && value == 1236434709L, "record to time value");
    memset(&back, 0, sizeof back);
    check(TarnGetSystemTime(&value, &back, 1) == 1 && back.wYear == 2009 && back.wMonth == 3 &&
              back.wDay == 7 && back.wDayOfWeek == 6 && back.wSecond == 9,
          "time value to record");
    TarnSetLastError(0);
    check(TarnGetTime(&st, &value, 0) == 0 && TarnGetLastError() == 29, "local time: code 29");
    check(
        TarnValidateTime(&feb) == 1 && feb.wDay == 29 && feb.wHour == 23 && feb.wMilliseconds == 59,
        "clamping");
    check(TarnDiffTime(NULL, NULL, 0) == 0, "time difference stub");
}

static void shims(void) {
    char buffer[4096];
    char* part = NULL;
    unsigned int n = OS_GetFullPathName("/tmp/zv-no-such-file", sizeof buffer, buffer, &part);
    check(n > 0 && n < sizeof buffer && strcmp(part, "zv-no-such-file") == 0, "full path name");
    check(_wtoi(L" -42x") == -42, "wide decimal");
    check(FileExists("/") == 0 && GetFileSize("/") == 0, "a directory is no file");
}

static void dateTimeText(void) {
    long value = 1236434709L;
    char text[32];
    const char* written = TarnGetDateTimeStrA(&value, 0, text, sizeof text, 1);
    check(written == text && strcmp(text, "2009/03/07 14:05:09:000") == 0, "date-time text");
    value = 0;
    check(TarnParseDateTimeStrA("2010/12/31 23:59:58:000", 0, &value, 1) != NULL &&
              value == 1293839998L,
          "date-time reading");
}

static void files(void) {
    check(ZVEVIsFileExistA("/") == 0 && ZVEVIsFileExistA(NULL) == 0, "a directory does not exist");
    check(TarnIsFileCorruptedA("/zv-no-such-file") == 0, "a missing file is not corrupted");
}

static void environmentFile(void) {
    const char* tmp = getenv("TMPDIR");
    char folder[256];
    char path[300];
    HostEnvHandle handle = &handle;
    snprintf(folder, sizeof folder, "%s/zvhostXXXXXX", tmp != NULL && *tmp != '\0' ? tmp : "/tmp");
    if (mkdtemp(folder) == NULL) {
        check(0, "temporary folder for the environment file");
        return;
    }
    snprintf(path, sizeof path, "%s/host.env", folder);
    check(ZVEVOpenFile(path, &handle) == 1 && handle != NULL, "open a missing environment file");
    check(ZVEVSetInteger(handle, "/net/port", 8080) == 1, "set an integer");
    check(ZVEVGetInteger(handle, "/net/port", 0) == 8080, "read it back");
    TarnSetLastError(0);
    check(ZVEVGetInteger(handle, "/net/mtu", 1500) == 1500 && TarnGetLastError() == 12,
          "missing key: the default, code 12");
    check(ZVEVFlush(handle) == 1 && GetFileSize(path) == 96 + 23, "flush: header and 23 bytes");
    check(ZVEVClose(handle) == 1, "close");
    TarnSetLastError(0);
    check(ZVEVGetInteger(handle, "/net/port", 7) == 7 && TarnGetLastError() == 1,
          "closed handle: the default, code 1");
    handle = NULL;
    check(ZVEVOpenFile(path, &handle) == 1 && ZVEVGetInteger(handle, "/net/port", 0) == 8080 &&
              ZVEVClose(handle) == 1,
          "reopen and read");
    remove(path);
    rmdir(folder);
}

static void fileHeader(void) {
    static const char expected[] =
        "ENVT0102,LM:2009/03/07 14:05:09:000,DS:0000000010,CS:00513,MA:00-1A-2B-3C-4D-5E,"
        "EI:host       \r\n";
    HostFileHeader header;
    HostFileHeader parsed;
    HostWuid wuid;
    char line[96];
    check(sizeof(HostFileHeader) == 38, "header record is 38 bytes");
    memset(&header, 0, sizeof header);
    memcpy(header.type, "ENVT", 4);
    header.major = 1;
    header.minor = 2;
    header.lastModified = 1236434709;
    header.dataSize = 10;
    header.checkSum = 513;
    memcpy(header.mac, "\x00\x1A\x2B\x3C\x4D\x5E", 6);
    memcpy(header.extra, "host", 5);
    check(ZVCFCreateCommonFileHeader(&header, line, sizeof line) == 96 &&
              memcmp(line, expected, 96) == 0,
          "header line");
    check(ZVCFParseCommonFileHeader(&parsed, line, sizeof line) == 96 &&
              memcmp(&parsed, &header, sizeof header) == 0,
          "header line reads back");
    check(ZVCFGetWUID(&header, &wuid) == 1 && wuid.word[2] == 0x2B3C4D5Eu, "WUID");
}

static void errorHistory(void) {
    char path[] = "/tmp/zv-history-XXXXXX";
    static const char header[] =
        "EHST0100,LM:1970/01/01 00:00:00:000,FD:00003,LD:00005,RC:00003,MC:00003,TO:00002,";
    char bytes[96 + 128 * 3];
    HostErrorRecord record;
    HostErrorRecord read[2];
    unsigned short id = 0;
    unsigned short first = 0;
    unsigned short last = 0;
    int count = 0;
    int i;
    int fd = mkstemp(path);
    FILE* file = fd == -1 ? NULL : fdopen(fd, "r+b");
    check(sizeof(HostErrorRecord) == 58, "error record is 58 bytes");
    check(ZVEHGetRange(&first, &last) == -1 && TarnGetLastError() == 42, "range before init");
    check(ZVEHShiftErrorID(65535, 1, &id) == 1 && id == 1, "id after 65535");
    if (file == NULL) {
        check(0, "history file prepared");
        return;
    }
    /* The file is prepared at 96 + 128 x capacity bytes; opening initialises it. */
    memset(bytes, '#', sizeof bytes);
    fwrite(bytes, 1, sizeof bytes, file);
    fflush(file);
    check(ZVEHInitA(path, 3, 0x80000000u) == 1, "init");
    for (i = 1; i <= 5; ++i) {
        memset(&record, 0, sizeof record);
        record.number1 = (unsigned short)i;
        strcpy(record.text, "overload");
        record.code = 0xBEEF;
        record.time = 1236434709;
        ZVEHAddErrorHistory(&record, &id);
    }
    check(id == 5, "five records added");
    check(ZVEHGetRange(&first, &last) == 3 && first == 3 && last == 5, "range 3 .. 5");
    check(ZVEHGetErrorHistory(5, -2, read, sizeof read, &first, &count) == 2 && first == 4 &&
              count == 2 && read[0].number1 == 4 && read[1].number1 == 5 &&
              read[1].code == 0xBEEF && read[1].time == 1236434709,
          "records 4 and 5 read backwards");
    rewind(file);
    check(fread(bytes, 1, sizeof bytes, file) == sizeof bytes &&
              memcmp(bytes, header, sizeof header - 1) == 0 &&
              memcmp(bytes + 96 + 128 * 2, "00003,00003,overload ", 21) == 0,
          "history file lines");
    check(ZVEHClearErrorHistory() == 1 && ZVEHGetRange(&first, &last) == 0, "clear");
    check(ZVEHExit() == 1, "exit");
    fclose(file);
    remove(path);
}

int main(void) {
    errors();
    strings();
    times();
    shims();
    dateTimeText();
    files();
    environmentFile();
    fileHeader();
    errorHistory();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
