/*
 * guide_header.c - a host program that writes a data file behind a common file header, stamps
 * the header with the file's time, size and checksum, checks the file against it, reads the
 * header and its WUID back, and sees a changed byte caught by the checks.
 *
 * Usage: guide_header DIRECTORY   (writes guide-header.dat there)
 */
#include <stdio.h>
#include <string.h>

#include "zvsupport.h"

/* Reports a failed step with the last-error code and its message; returns 0. */
static int Failed(const char* step) {
    unsigned int code = TarnGetLastError();
    fprintf(stderr, "%s failed: code %u (%s)\n", step, code, TarnGetErrorMsg(code));
    return 0;
}

/* [write] */
/* Writes the header line of a calibration table (type "CALB", version 01.02, the extra text
 * "line 3"; time, size and checksum left absent) and the table behind it. */
static int WriteDataFile(const char* path) {
    static const unsigned char body[] = "speed 1200\r\ngain 0.75\r\n";
    ZV_COMMON_FILE_HEADER_tag header;
    char line[ZVCF_HEADER_LENGTH];
    FILE* file;
    int ok;
    memset(&header, 0, sizeof header);
    memcpy(header.szFileType, "CALB", 4);
    header.wMajorVer = 1;
    header.wMinorVer = 2;
    header.lCheckSum = -1; /* absent until stamped */
    strcpy(header.szExtraInfo, "line 3");
    if (ZVCFCreateCommonFileHeader(&header, line, sizeof line) != ZVCF_HEADER_LENGTH) {
        return Failed("writing the header line");
    }
    file = fopen(path, "wb");
    ok = file != NULL && fwrite(line, 1, sizeof line, file) == sizeof line &&
         fwrite(body, 1, sizeof body - 1, file) == sizeof body - 1;
    if (file != NULL && fclose(file) != 0) {
        ok = 0;
    }
    return ok;
}
/* [write] */

/* Prints the file's first line without its CR LF. */
static void ShowHeaderLine(const char* path) {
    char line[ZVCF_HEADER_LENGTH + 1];
    FILE* file = fopen(path, "rb");
    size_t n = file != NULL ? fread(line, 1, ZVCF_HEADER_LENGTH, file) : 0;
    if (file != NULL) {
        fclose(file);
    }
    while (n > 0 && (line[n - 1] == '\r' || line[n - 1] == '\n')) {
        --n;
    }
    line[n] = '\0';
    printf("%s\n", line);
}

/* Changes the body byte at offset (behind the header) by XORing mask into it. */
static int ChangeBodyByte(const char* path, long offset, int mask) {
    FILE* file = fopen(path, "r+b");
    int c;
    int ok = file != NULL && fseek(file, ZVCF_HEADER_LENGTH + offset, SEEK_SET) == 0 &&
             (c = fgetc(file)) != EOF && fseek(file, ZVCF_HEADER_LENGTH + offset, SEEK_SET) == 0 &&
             fputc(c ^ mask, file) != EOF;
    if (file != NULL && fclose(file) != 0) {
        ok = 0;
    }
    return ok;
}

int main(int argc, char** argv) {
    char path[512];
    ZV_COMMON_FILE_HEADER_tag stamped;
    ZV_COMMON_FILE_HEADER_tag read;
    WUID fromRecord;
    WUID fromFile;
    char when[32];
    long time;
    int ok;
    if (argc != 2) {
        fprintf(stderr, "usage: guide_header DIRECTORY\n");
        return 2;
    }
    snprintf(path, sizeof path, "%s/guide-header.dat", argv[1]);
    if (!WriteDataFile(path)) {
        fprintf(stderr, "cannot write %s\n", path);
        return 1;
    }

    /* [stamp] */
    /* Stamping keeps type, versions and extra text and sets time, size and checksum (and the
     * MAC address, which this platform does not know: it stays "*"). */
    if (!ZVCFGetAndUpdateCommonFileHeaderA(path, &stamped)) {
        Failed("stamping");
        return 1;
    }
    ShowHeaderLine(path);
    /* [stamp] */

    /* [check] */
    /* The strict check wants a 96-byte line with size and checksum present and right. */
    ok = ZVCFIsFileValidA(path) && ZVCFIsFileAbsValidA(path);
    printf("lenient and strict checks: %s\n", ok ? "passed" : "failed");
    /* [check] */

    /* [read] */
    ok = ok && ZVCFGetCommonFileHeaderA(path, &read) && ZVCFGetWUID(&read, &fromRecord) &&
         ZVCFGetWUIDFromFileA(path, &fromFile) && ZVCFIsSameWUID(&fromRecord, &fromFile);
    time = read.lLastModified;
    printf(
        "type %.4s, version %02u.%02u, %u bytes, checksum %05d, written %s, WUID %08X %08X "
        "%08X\n",
        read.szFileType, (unsigned int)read.wMajorVer, (unsigned int)read.wMinorVer,
        (unsigned int)read.dwDataSize, (int)read.lCheckSum,
        TarnGetDateTimeStrA(&time, TARN_DTF_YMDHMS, when, sizeof when, 1),
        (unsigned int)fromFile.dwWord[0], (unsigned int)fromFile.dwWord[1],
        (unsigned int)fromFile.dwWord[2]);
    ok = ok && memcmp(&read, &stamped, sizeof read) == 0;
    /* [read] */

    /* [change] */
    /* One changed byte of the body fails both checks with code 40. Stamping again accepts the
     * change. */
    ok = ok && ChangeBodyByte(path, 6, 0x01);
    TarnSetLastError(0);
    if (ok && (ZVCFIsFileValidA(path) || TarnGetLastError() != TARN_ERR_CHECKSUM_MISMATCH)) {
        ok = 0;
    }
    printf("after a change: code %u (%s)\n", TarnGetLastError(),
           TarnGetErrorMsg(TarnGetLastError()));
    ok = ok && ZVCFGetAndUpdateCommonFileHeaderA(path, &stamped) && ZVCFIsFileAbsValidA(path);
    /* [change] */

    printf("%s\n", ok ? "The header behaved as described." : "The header did not behave.");
    return ok ? 0 : 1;
}
