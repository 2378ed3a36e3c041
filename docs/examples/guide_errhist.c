/*
 * guide_errhist.c - a host program that keeps the faults of a machine in an error history
 * through the ZVEH functions: it prepares the history file at its exact size, adds records past
 * the capacity so that the oldest make room, reads them by id forwards and backwards, clears
 * the history and ends it.
 *
 * Usage: guide_errhist DIRECTORY   (writes guide-errhist.ehst there)
 */
#include <stdio.h>
#include <string.h>

#include "zvsupport.h"

/* Records the history holds; the file has one 128-byte line per record behind its header. */
#define CAPACITY 4

/* Reports a failed step with the last-error code and its message; returns 0. */
static int Failed(const char* step) {
    unsigned int code = TarnGetLastError();
    fprintf(stderr, "%s failed: code %u (%s)\n", step, code, TarnGetErrorMsg(code));
    return 0;
}

/* [prepare] */
/* The library never creates a history file: it must exist at exactly 96 + 128 x capacity bytes.
 * What it holds does not matter, since opening writes an empty ring over it. */
static int PrepareFile(const char* path) {
    static const char zeros[96 + 128 * CAPACITY];
    FILE* file = fopen(path, "wb");
    int ok = file != NULL && fwrite(zeros, 1, sizeof zeros, file) == sizeof zeros;
    if (file != NULL && fclose(file) != 0) {
        ok = 0;
    }
    return ok;
}
/* [prepare] */

/* [add] */
/* Adds one fault. The history stores the record as it is given: the caller fills in the time. */
static int AddFault(unsigned short unit, unsigned short code, const char* text,
                    unsigned short* id) {
    ERRHIST_tag record;
    long now = 0;
    memset(&record, 0, sizeof record);
    record.wNumber1 = unit;
    record.wCode = code;
    strncpy(record.szText, text, sizeof record.szText - 1);
    if (!TarnGetTime(NULL, &now, 1)) {
        return Failed("reading the clock");
    }
    record.lTime = (int32_t)now;
    return ZVEHAddErrorHistory(&record, id) ? 1 : Failed("adding a record");
}
/* [add] */

/* [read] */
/* Prints the records selected by a start id and a count (negative: the ids ending at start). */
static int ShowRecords(unsigned short start, int count) {
    ERRHIST_tag records[CAPACITY];
    unsigned short firstId = 0;
    int read = 0;
    int selected = ZVEHGetErrorHistory(start, count, records, sizeof records, &firstId, &read);
    int i;
    if (selected < 0) {
        return Failed("reading records");
    }
    printf("start %u, count %d: %d selected, from id %u\n", start, count, selected, firstId);
    for (i = 0; i < read; ++i) {
        unsigned short id = 0;
        long time = records[i].lTime;
        char when[32];
        ZVEHShiftErrorID(firstId, i, &id);
        printf("  id %5u  unit %u  code %04X  %s  %.32s\n", id, records[i].wNumber1,
               records[i].wCode, TarnGetDateTimeStrA(&time, TARN_DTF_YMDHMS, when, sizeof when, 1),
               records[i].szText);
    }
    return read;
}
/* [read] */

int main(int argc, char** argv) {
    static const char* const faults[] = {"door open",    "motor overheated", "door open",
                                         "low pressure", "sensor 3 silent",  "belt stopped"};
    char path[512];
    unsigned short id = 0;
    unsigned short first = 0;
    unsigned short last = 0;
    unsigned short next = 0;
    int held;
    int ok = 1;
    size_t i;
    if (argc != 2) {
        fprintf(stderr, "usage: guide_errhist DIRECTORY\n");
        return 2;
    }
    snprintf(path, sizeof path, "%s/guide-errhist.ehst", argv[1]);
    if (!PrepareFile(path)) {
        fprintf(stderr, "cannot write %s\n", path);
        return 1;
    }

    /* [init] */
    /* Opening re-initialises the file: an empty ring, ids from 1. A flush interval of 0 writes
     * the file back at every call. */
    if (!ZVEHInitA(path, CAPACITY, 0)) {
        Failed("opening the history");
        ZVEHExit(); /* a failed open still leaves the history held */
        return 1;
    }
    /* [init] */

    for (i = 0; i < sizeof faults / sizeof faults[0] && ok; ++i) {
        ok = AddFault((unsigned short)(i % 2 + 1), (unsigned short)(0x1A0 + i), faults[i], &id);
    }
    /* [range] */
    /* Six records in four slots: the two oldest made room, ids 3 to 6 are held. */
    held = ZVEHGetRange(&first, &last);
    printf("%d records held, ids %u to %u, the last one added was %u\n", held, first, last, id);
    ok = ok && held == CAPACITY && first == 3 && last == 6 && id == 6;
    /* [range] */

    /* Every record, then the two newest, read backwards from the newest id. */
    ok = ok && ShowRecords(0, 0) == CAPACITY && ShowRecords(last, -2) == 2;

    /* [clear] */
    /* Ids go on after a clear, and wrap from 65535 to 1. */
    ok = ok && ZVEHClearErrorHistory() && ZVEHGetRange(&first, &last) == 0 &&
         AddFault(1, 0x1FF, "restarted", &id) && id == 7;
    ok = ok && ZVEHShiftErrorID(65535, 1, &next) && next == 1;
    printf("after a clear the next record got id %u; 65535 is followed by %u\n", id, next);
    /* [clear] */

    /* [exit] */
    ZVEHExit();
    if (ZVEHGetRange(&first, &last) != -1 || TarnGetLastError() != TARN_ERR_EH_NOT_INITIALIZED) {
        ok = 0;
    }
    /* [exit] */
    printf("%s\n", ok ? "The history behaved as described." : "The history did not behave.");
    return ok ? 0 : 1;
}
