// zvdemo: a small host program that shows what the library offers. It prints the message of
// every last-error code, a time value in every date-time shape, some formatted strings, and, for
// each file named on the command line, its common file header, checks, WUID and file facts.
#include <cstdio>
#include <cstring>

#include "zvsupport.h"

namespace {

void ShowMessages() {
    std::printf("Last-error messages:\n");
    for (unsigned int code = 0; code <= 74; ++code) {
        std::printf("  %3u  %s\n", code, TarnGetErrorMsg(code));
    }
}

void ShowTimes() {
    const long value = 1236434709L;  // 2009-03-07 14:05:09 UTC
    std::printf("\nThe time value %ld in every shape:\n", value);
    for (int format = TARN_DTF_YMDHMSM; format <= TARN_DTF_HM; ++format) {
        char text[32];
        std::printf("  format %d  %s\n", format,
                    TarnGetDateTimeStrA(&value, format, text, sizeof text, 1));
    }
    long parsed = 0;
    TarnParseDateTimeStrA("2010/12/31 23:59:58:000", TARN_DTF_YMDHMSM, &parsed, 1);
    std::printf("  \"2010/12/31 23:59:58:000\" reads as %ld\n", parsed);

    _SYSTEMTIME st;
    std::memset(&st, 0, sizeof st);
    st.wYear = 2009;
    st.wMonth = 2;
    st.wDay = 30;
    st.wMilliseconds = 1000;
    TarnValidateTime(&st);
    std::printf("  2009-02-30 with 1000 ms clamps to %04u-%02u-%02u with %u ms\n", st.wYear,
                st.wMonth, st.wDay, st.wMilliseconds);
}

void ShowStrings() {
    char* text = TarnFormatStringA("%s has %d services", "zvsupport", 4);
    std::printf("\nFormatted: %s\n", text ? text : "(failed)");
    TarnFreeBuffer(text);
    char small[8];
    int copied = TarnCopyStringA("environment", small, sizeof small, 0);
    std::printf("Copied into 8 bytes: \"%s\" (%d characters)\n", small, copied);
}

// "passed", or the last-error code with its message (codes 73 and 74 have no message of their
// own and read "Unknown error.").
void ShowOutcome(int ok, unsigned int code) {
    if (ok) {
        std::printf("passed\n");
    } else {
        std::printf("failed, code %u (%s)\n", code, TarnGetErrorMsg(code));
    }
}

void ShowFile(const char* path) {
    std::printf("\n%s\n", path);
    ZV_COMMON_FILE_HEADER_tag header;
    if (!ZVCFGetCommonFileHeaderA(path, &header)) {
        unsigned int code = TarnGetLastError();
        std::printf("  no header: %u %s\n", code, TarnGetErrorMsg(code));
        return;
    }
    char line[ZVCF_HEADER_LENGTH + 1];
    ZVCFCreateCommonFileHeader(&header, line, sizeof line);
    line[ZVCF_HEADER_LENGTH - 2] = '\0';  // drop CR LF for printing
    std::printf("  header  %s\n", line);
    int valid = ZVCFIsFileValidA(path);
    unsigned int validCode = valid ? 0 : TarnGetLastError();
    int absValid = ZVCFIsFileAbsValidA(path);
    unsigned int absCode = absValid ? 0 : TarnGetLastError();
    std::printf("  lenient check: ");
    ShowOutcome(valid, validCode);
    std::printf("  strict check:  ");
    ShowOutcome(absValid, absCode);
    WUID wuid;
    if (ZVCFGetWUIDFromFileA(path, &wuid)) {
        std::printf("  WUID    %08X %08X %08X\n", wuid.dwWord[0], wuid.dwWord[1], wuid.dwWord[2]);
    }
    FILEINFO_tag info;
    if (TarnGetFileInfoA(path, &info)) {
        std::printf("  %u bytes, extension \"%s\", checksum %04X\n", info.dwSize, info.szExtension,
                    info.wCheckSum);
    }
}

}  // namespace

int main(int argc, char** argv) {
    ShowMessages();
    ShowTimes();
    ShowStrings();
    for (int i = 1; i < argc; ++i) {
        ShowFile(argv[i]);
    }
    return 0;
}
