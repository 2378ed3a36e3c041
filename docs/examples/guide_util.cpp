/*
 * guide_util.cpp - the general utilities from a C++ host program: last-error codes and their
 * messages, library string buffers, time values and date-time text, file information, full path
 * names, a memory mapping and a shared data block.
 *
 * Usage: guide_util DIRECTORY   (writes guide-util.txt there)
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "zvsupport.h"

namespace {

int failures = 0;

/* Counts and reports a result that is not the one the guide describes. */
void Expect(bool holds, const char* what) {
    if (!holds) {
        ++failures;
        unsigned int code = TarnGetLastError();
        fprintf(stderr, "not as described: %s (last error %u: %s)\n", what, code,
                TarnGetErrorMsg(code));
    }
}

/* [lasterror] */
void LastError() {
    // Every function reports failure by its result and leaves a code in the calling thread's
    // errno. Read it at once: any later failing system call may overwrite it.
    TarnSetLastError(0);
    void* buffer = TarnAllocateBuffer(0);
    unsigned int code = TarnGetLastError();
    printf("TarnAllocateBuffer(0): %p, code %u \"%s\"\n", buffer, code, TarnGetErrorMsg(code));
    Expect(buffer == NULL && code == TARN_ERR_INVALID_BUFFER_SIZE, "a zero size is refused");
    Expect(strcmp(TarnGetErrorMsg(74), "Unknown error.") == 0, "74 has no message of its own");
}
/* [lasterror] */

/* [strings] */
void Strings() {
    // Library buffers are released with TarnFreeBuffer. A narrow formatted text is cut to 127
    // bytes; copies into a caller's buffer are cut to fit, and failOnTruncate reports that.
    char* text = TarnFormatStringA("unit %d of %s", 7, "press line 3");
    char small[8];
    int copied = TarnCopyStringA(text, small, sizeof small, 0);
    int refused = TarnCopyStringA(text, small, sizeof small, 1);
    printf("\"%s\" into 8 bytes: \"%s\", %d; with failOnTruncate: %d\n", text, small, copied,
           refused);
    Expect(copied == 7 && refused == -1 && strcmp(small, "unit 7 ") == 0, "copies are cut");
    wchar_t* wide = TarnAnsiToWideString(text);
    Expect(wide != NULL && TarnGetStringSizeW(wide, 1) == 4 * (int)(strlen(text) + 1),
           "wide sizes count 4 bytes per character");
    TarnFreeBuffer(wide);
    TarnFreeBuffer(text);
}
/* [strings] */

/* [time] */
void Times() {
    // A time value is seconds since 1970 UTC. Records are read by mktime() in the process's
    // time zone, so a program that converts records runs in UTC, as the device does.
    _SYSTEMTIME st = {2009, 3, 0, 7, 14, 5, 9, 0};
    long value = 0;
    char text[32];
    Expect(TarnGetTime(&st, &value, 1) && value == 1236434709L, "the record converts");
    printf("2009-03-07 14:05:09 is %ld: \"%s\"\n", value,
           TarnGetDateTimeStrA(&value, TARN_DTF_YMDHMSM, text, sizeof text, 1));
    long parsed = 0;
    const char* rest = TarnParseDateTimeStrA("2009/13/40 25:61:61xyz", TARN_DTF_YMDHMS, &parsed, 1);
    printf("\"2009/13/40 25:61:61xyz\" reads as \"%s\", stopping at \"%s\"\n",
           TarnGetDateTimeStrA(&parsed, TARN_DTF_YMDHMS, text, sizeof text, 1), rest);
    Expect(strcmp(text, "2009/12/31 23:59:59") == 0 && strcmp(rest, "xyz") == 0,
           "the reader clamps and stops behind the last field");
    // The local-time conversions do nothing on this platform: the UTC flag 0 fails with 29.
    TarnSetLastError(0);
    Expect(strcmp(TarnGetDateTimeStrA(&value, TARN_DTF_HM, NULL, 0, 0), "---") == 0 &&
               TarnGetLastError() == TARN_ERR_LOCAL_TIME_CONVERSION,
           "local time is not kept");
}
/* [time] */

/* [files] */
void Files(const char* path) {
    FILE* file = fopen(path, "wb");
    Expect(file != NULL && fwrite("\x01\x02\x03", 1, 3, file) == 3 && fclose(file) == 0,
           "the sample file is written");
    // The checksum pauses one second per 200 KiB started, on purpose: do not call it while
    // holding a lock other threads need.
    FILEINFO_tag info;
    Expect(TarnGetFileInfoA(path, &info) != 0, "the file information is read");
    printf("%s: %u bytes, extension \"%s\", checksum 0x%04X\n", path, info.dwSize, info.szExtension,
           info.wCheckSum);
    Expect(info.dwSize == 3 && info.wCheckSum == 0x0202 && strcmp(info.szExtension, ".TXT") == 0,
           "size, checksum and extension");
    char full[1024];
    char* name = NULL;
    unsigned int length = OS_GetFullPathName(path, sizeof full, full, &name);
    Expect(length > 0 && length < sizeof full, "the path resolves");
    printf("full path %s, file part \"%s\"\n", full, name);
}
/* [files] */

/* [mapping] */
void Mappings(const char* path) {
    // Anonymous memory, grown with its contents kept.
    CZVMapFile memory;
    Expect(memory.OpenA(NULL, 16, NULL, 0) != 0, "anonymous memory is mapped");
    memcpy(memory.m_pAddress, "sixteen bytes!!", 16);
    Expect(memory.Resize(4096) != 0 && memcmp(memory.m_pAddress, "sixteen bytes!!", 16) == 0,
           "a grown mapping keeps its bytes");
    memory.Close();

    // A file mapped read-only at its own size (size 0). A writable mapping of another size
    // than the file's is refused (only a request of 2 bytes passes): files are not resized
    // through a mapping.
    CZVMapFile file;
    Expect(file.OpenA(path, 0, NULL, 1) != 0 && file.m_dwLength == 3, "the file is mapped");
    file.Close();

    // A shared data block: open and locked after Open; its data and user area are reachable
    // only while locked.
    CZVSharedData block;
    if (!block.Open("guide block", 16) || !block.SetSize(10000)) {
        Expect(false, "the block opens and grows");
        return;
    }
    memset(block.GetData(), 0x5A, 10000);
    strcpy(static_cast<char*>(block.GetUserData()), "owner");
    block.Lock(0);
    Expect(block.GetData() == NULL, "unlocked, the data is out of reach");
    block.Lock(1);
    printf("block \"%s\": %u bytes, user area \"%s\"\n", block.m_szName, block.GetSize(),
           static_cast<char*>(block.GetUserData()));
    Expect(block.GetSize() == 10000 && static_cast<unsigned char*>(block.GetData())[9999] == 0x5A,
           "the bytes stay");
    block.Close();
}
/* [mapping] */

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: guide_util DIRECTORY\n");
        return 2;
    }
    setenv("TZ", "UTC", 1);
    tzset();
    char path[512];
    snprintf(path, sizeof path, "%s/guide-util.txt", argv[1]);
    LastError();
    Strings();
    Times();
    Files(path);
    Mappings(path);
    printf("%s\n", failures == 0 ? "The utilities behaved as described." : "Some did not.");
    return failures == 0 ? 0 : 1;
}
