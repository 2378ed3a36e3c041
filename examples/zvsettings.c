/*
 * zvsettings: a host program that keeps a device's settings in an environment file through the
 * ZVEV functions. It opens the file named on the command line (a file that does not exist gives
 * empty settings), stores a value of every type by absolute and by relative key paths, flushes,
 * opens the file again through a new handle, reads every setting back (with defaults for the
 * ones that are not there), lists the settings sorted by name, and closes.
 *
 * Usage: zvsettings FILE
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zvsupport.h"

/* Reports the failed step with the last-error code and its message; returns 0. */
static int Failed(const char* step) {
    unsigned int code = TarnGetLastError();
    printf("%s failed: code %u (%s)\n", step, code, TarnGetErrorMsg(code));
    return 0;
}

static int StoreSettings(const char* path) {
    static const unsigned char calibration[4] = {0x10, 0x20, 0x7F, 0xFF};
    ZVEV_HANDLE settings = NULL;
    int ok;
    if (!ZVEVOpenFile(path, &settings)) {
        return Failed("opening the settings");
    }
    ok = ZVEVSetString(settings, "/device/name", "Press 7") &&
         ZVEVSetInteger(settings, "/device/serial", 40117) && ZVEVCreateDir(settings, "/network") &&
         ZVEVSetString(settings, "/network/address", "192.168.1.20") &&
         /* Relative key paths start at the assigned directory, created by the first setter. */
         ZVEVAssignDir(settings, "motor") && ZVEVSetInteger(settings, "speed", 1200) &&
         ZVEVSetDouble(settings, "gain", 0.75) && ZVEVSetBoolean(settings, "enabled", 1) &&
         ZVEVSetData(settings, "calibration", calibration, sizeof calibration);
    if (!ok) {
        Failed("storing a setting");
    } else if (!ZVEVFlush(settings)) {
        ok = Failed("flushing the settings");
    }
    ZVEVClose(settings);
    return ok;
}

/* Prints the file behind its header line (which carries the writing time and machine). */
static void ShowFile(const char* path) {
    FILE* file = fopen(path, "rb");
    int c;
    if (file == NULL || fseek(file, 96, SEEK_SET) != 0) {
        printf("cannot read %s\n", path);
    } else {
        printf("The file, behind its header line:\n");
        while ((c = fgetc(file)) != EOF) {
            if (c != '\r') {
                putchar(c);
            }
        }
    }
    if (file != NULL) {
        fclose(file);
    }
}

/* A string setting: its length first, then a buffer of that size. */
static void ShowString(ZVEV_HANDLE settings, const char* key, const char* fallback) {
    int length = ZVEVGetString(settings, key, NULL, 0, fallback);
    char* text = length >= 0 ? malloc((size_t)length + 1) : NULL;
    if (text != NULL) {
        ZVEVGetString(settings, key, text, (unsigned int)length + 1, fallback);
        printf("  %-20s \"%s\"\n", key, text);
        free(text);
    }
}

static void ShowValues(ZVEV_HANDLE settings) {
    unsigned char bytes[8];
    unsigned int code;
    int count;
    int value;
    int i;
    printf("Read back through a new handle:\n");
    ShowString(settings, "/device/name", "");
    printf("  %-20s %d\n", "/device/serial", ZVEVGetInteger(settings, "/device/serial", 0));
    ShowString(settings, "/network/address", "");
    ZVEVAssignDir(settings, "/motor");
    printf("  %-20s %d\n", "speed", ZVEVGetInteger(settings, "speed", 0));
    printf("  %-20s %g\n", "gain", ZVEVGetDouble(settings, "gain", 0.0));
    printf("  %-20s %s\n", "enabled", ZVEVGetBoolean(settings, "enabled", 0) ? "yes" : "no");
    count = ZVEVGetData(settings, "calibration", bytes, sizeof bytes);
    printf("  %-20s %d bytes:", "calibration", count);
    for (i = 0; i < count && i < (int)sizeof bytes; ++i) {
        printf(" %02X", bytes[i]);
    }
    printf("\n");
    value = ZVEVGetInteger(settings, "acceleration", 500);
    code = TarnGetLastError();
    printf("  %-20s %d (the default; code %u: %s)\n", "acceleration", value, code,
           TarnGetErrorMsg(code));
    ZVEVAssignDir(settings, NULL);
    ShowString(settings, "/network/gateway", "none");
}

static const char* EntryKind(unsigned int type) {
    switch (type) {
        case ZVEV_ENTRY_DIR:
            return "directory";
        case ZVEV_ENTRY_BINARY:
            return "binary";
        case ZVEV_ENTRY_BOOLEAN:
            return "boolean";
        case ZVEV_ENTRY_INTEGER:
            return "integer";
        case ZVEV_ENTRY_REAL:
            return "real";
        case ZVEV_ENTRY_STRING:
            return "string";
        default:
            return "?";
    }
}

/* Lists a directory sorted by name, and every directory in it. The entries are packed, so
 * each one is copied out before its fields are read. */
static void ListSorted(ZVEV_HANDLE settings, const char* path, int depth) {
    ZVEV_ENUM_LIST_tag* list =
        ZVEVEnumEntries(settings, path, ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT);
    unsigned int i;
    if (list == NULL) {
        Failed("listing");
        return;
    }
    for (i = 0; i < list->dwCount; ++i) {
        ZVEV_ENUM_ENTRY_tag entry;
        memcpy(&entry, (const char*)list + 4 + i * sizeof entry, sizeof entry);
        printf("  %*s%-*s %s\n", 2 * depth, "", 20 - 2 * depth, entry.pszName,
               EntryKind(entry.wType));
        if (entry.wType == ZVEV_ENTRY_DIR) {
            char inner[256];
            int length = snprintf(inner, sizeof inner, "%s/%s", path, entry.pszName);
            if (length > 0 && (size_t)length < sizeof inner) {
                ListSorted(settings, inner, depth + 1);
            }
        }
    }
    ZVEVFreeSnapList(list);
}

static int ShowSettings(const char* path) {
    ZVEV_HANDLE settings = NULL;
    if (!ZVEVOpenFile(path, &settings)) {
        return Failed("opening the settings again");
    }
    ShowValues(settings);
    printf("All settings, sorted by name:\n");
    ListSorted(settings, "", 0);
    return ZVEVClose(settings) ? 1 : Failed("closing");
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: zvsettings FILE\n");
        return 2;
    }
    printf("Settings kept in an environment file\n");
    if (!StoreSettings(argv[1])) {
        return 1;
    }
    ShowFile(argv[1]);
    return ShowSettings(argv[1]) ? 0 : 1;
}
