/*
 * guide_env.c - a host program that keeps a machine's settings in an environment file through
 * the ZVEV functions: it opens a file that does not exist yet, stores values of every type by
 * absolute and relative key paths, flushes, opens the file again, reads the values back (with
 * defaults for the missing ones), lists a directory sorted by name, and saves a binary copy.
 *
 * Usage: guide_env DIRECTORY   (writes guide-env.cfg and guide-env.bin there)
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zvsupport.h"

/* Reports a failed step with the last-error code and its message; returns 0. */
static int Failed(const char* step) {
    unsigned int code = TarnGetLastError();
    fprintf(stderr, "%s failed: code %u (%s)\n", step, code, TarnGetErrorMsg(code));
    return 0;
}

/* [store] */
/* Stores one value of every type. Setters create the directories on a key's path. */
static int StoreSettings(ZVEV_HANDLE settings) {
    static const unsigned char table[4] = {0x10, 0x20, 0x7F, 0xFF};
    if (!ZVEVSetString(settings, "/unit/name", "Press 7") ||
        !ZVEVSetInteger(settings, "/unit/serial", 40117)) {
        return Failed("storing the unit");
    }
    /* Relative key paths start at the assigned directory. */
    if (!ZVEVAssignDir(settings, "/motor") || !ZVEVSetInteger(settings, "speed", 1200) ||
        !ZVEVSetDouble(settings, "gain", 0.75) || !ZVEVSetBoolean(settings, "enabled", 1) ||
        !ZVEVSetData(settings, "table", table, sizeof table)) {
        return Failed("storing the motor");
    }
    return ZVEVAssignDir(settings, NULL) ? 1 : Failed("assigning the root");
}
/* [store] */

/* [string] */
/* Reads a string of any length: the size first, then a buffer that holds it whole. The result
 * is the caller's to free. */
static char* ReadString(ZVEV_HANDLE settings, const char* key, const char* fallback) {
    int length = ZVEVGetString(settings, key, NULL, 0, fallback);
    char* text = length >= 0 ? malloc((size_t)length + 1) : NULL;
    if (text != NULL) {
        ZVEVGetString(settings, key, text, (unsigned int)length + 1, fallback);
    }
    return text;
}
/* [string] */

/* [read] */
/* Reads the settings back; a missing key gives the default and leaves code 12. */
static int CheckSettings(ZVEV_HANDLE settings) {
    char* name = ReadString(settings, "/unit/name", "");
    int speed = ZVEVGetInteger(settings, "/motor/speed", 0);
    double gain = ZVEVGetDouble(settings, "/motor/gain", 0.0);
    int enabled = ZVEVGetBoolean(settings, "/motor/enabled", 0);
    unsigned char table[8];
    int tableSize = ZVEVGetData(settings, "/motor/table", table, sizeof table);
    int limit;
    unsigned int code;
    int ok;

    TarnSetLastError(0);
    limit = ZVEVGetInteger(settings, "/motor/limit", 3000);
    code = TarnGetLastError();
    printf("name %s, speed %d, gain %g, enabled %d, table of %d bytes, limit %d (code %u: %s)\n",
           name != NULL ? name : "?", speed, gain, enabled, tableSize, limit, code,
           TarnGetErrorMsg(code));
    /* The text form keeps 14 significant digits, and reading it back may change the last bits
     * (0.75 reads as 0.75000000000000011): reals are compared with a margin. */
    ok = name != NULL && strcmp(name, "Press 7") == 0 && speed == 1200 && gain > 0.7499999999 &&
         gain < 0.7500000001 && enabled == 1 && tableSize == 4 && table[3] == 0xFF &&
         limit == 3000 && code == TARN_ERR_KEY_NOT_EXIST;
    free(name);
    return ok;
}
/* [read] */

/* [list] */
/* Lists a directory's direct children sorted by name. The entries are packed, so each one is
 * copied out before its fields are read. */
static int ListDirectory(ZVEV_HANDLE settings, const char* path) {
    ZVEV_ENUM_LIST_tag* list =
        ZVEVEnumEntries(settings, path, ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT);
    unsigned int i;
    if (list == NULL) {
        return Failed("listing");
    }
    printf("%s holds %u entries:", path, (unsigned int)list->dwCount);
    for (i = 0; i < list->dwCount; ++i) {
        ZVEV_ENUM_ENTRY_tag entry;
        memcpy(&entry, (const char*)list + 4 + i * sizeof entry, sizeof entry);
        printf(" %s%s", entry.pszName, entry.wType == ZVEV_ENTRY_DIR ? "/" : "");
    }
    printf("\n");
    return ZVEVFreeSnapList(list);
}
/* [list] */

int main(int argc, char** argv) {
    char path[512];
    char binaryPath[512];
    ZVEV_HANDLE settings = NULL;
    int ok;
    if (argc != 2) {
        fprintf(stderr, "usage: guide_env DIRECTORY\n");
        return 2;
    }
    snprintf(path, sizeof path, "%s/guide-env.cfg", argv[1]);
    snprintf(binaryPath, sizeof binaryPath, "%s/guide-env.bin", argv[1]);
    remove(path);
    remove(binaryPath);

    /* [open] */
    /* A file that does not exist gives empty settings; the first flush writes it. */
    if (!ZVEVOpenFile(path, &settings)) {
        Failed("opening");
        return 1;
    }
    ok = StoreSettings(settings);
    if (ok && !ZVEVFlush(settings)) {
        ok = Failed("flushing");
    }
    if (!ZVEVClose(settings)) {
        ok = Failed("closing");
    }
    /* [open] */
    if (!ok) {
        return 1;
    }
    printf("Settings stored in %s\n", path);

    if (!ZVEVOpenFile(path, &settings)) {
        Failed("opening again");
        return 1;
    }
    ok = CheckSettings(settings) && ListDirectory(settings, "/motor");
    /* [binary] */
    /* The binary form keeps everything exactly; SaveAs writes a copy and leaves the handle on
     * its own file. */
    if (ok && (!ZVEVAssignFormat(settings, 1) || !ZVEVSaveAs(settings, binaryPath))) {
        ok = Failed("saving the binary copy");
    }
    /* [binary] */
    ZVEVClose(settings);
    if (!ok) {
        return 1;
    }

    if (!ZVEVOpenFile(binaryPath, &settings)) {
        Failed("opening the binary copy");
        return 1;
    }
    ok = ZVEVGetFormat(settings) == 1 && CheckSettings(settings);
    ZVEVClose(settings);
    printf("%s\n", ok ? "The binary copy reads the same." : "The binary copy differs.");
    return ok ? 0 : 1;
}
