/*
 * TarnError.cpp - the last-error code and the table of its English messages.
 *
 * The code has no variable of its own: it is the calling thread's errno. That makes it per thread
 * without a lock, and it also means any later failing system call in the thread overwrites it.
 */
#include "TarnError.h"

#include <errno.h>
#include <stdint.h>

namespace {

struct ErrTableRow {
    uint32_t code;
    const char* msg;
};

/* Code of the last row; a lookup that reaches it stops there. */
const uint32_t kSentinelCode = 0xFFFFu;

/*
 * Ordered by code, the sentinel last. The texts are what host programs show and compare, so they
 * are kept word for word, including "formaT." in row 34.
 */
const ErrTableRow g_aErrTable[] = {
    {1, "Invalid handle assigned."},
    {2, "Assign save format failed."},
    {3, "Close file failed."},
    {4, "Create directory failed."},
    {5, "Directory is not exist."},
    {6, "File already opened."},
    {7, "File not opened."},
    {8, "Flush file failed."},
    {9, "Get shared data name failed."},
    {10, "Invalid binary data size."},
    {11, "Invalid buffer size."},
    {12, "Key is not exist."},
    {13, "Load file failed."},
    {14, "Lock directory failed."},
    {15, "Memory overflow."},
    {16, "Null pointer assigned."},
    {17, "Open work area failed."},
    {18, "Remove directory failed."},
    {19, "Remove key failed."},
    {20, "Reset file failed."},
    {21, "Set binary data failed."},
    {22, "Set integer failed."},
    {23, "Set real value failed."},
    {24, "Set string value failed."},
    {25, "Unsupported format."},
    {26, "Lock data failed."},
    {27, "Invalid key assigned."},
    {28, "Missing key name."},
    {29, "Local time conversion failed."},
    {30, "System time conversion failed."},
    {31, "Invalid format assigned."},
    {32, "Invalid time unit assigned."},
    {33, "Create object failed."},
    {34, "Invalid mac address formaT."},
    {35, "Buffer size too short."},
    {36, "Open file failed."},
    {37, "File size too short."},
    {38, "File not found."},
    {39, "Detect file size mismatch."},
    {40, "Detect check sum mismatch."},
    {41, "Error history already initialized."},
    {42, "Error history not initialized."},
    {43, "Invalid error history id."},
    {44, "Delete object failed."},
    {45, "Error history path not assigned."},
    {46, "Create mutex failed."},
    {47, "Lock mutex failed."},
    {48, "Error history file not exist."},
    {49, "Open error history file failed."},
    {50, "Read error history file failed."},
    {51, "Invalid error history file or corrupted."},
    {52, "Create file mapping failed."},
    {53, "Map file mapping failed."},
    {54, "Error history file not opened."},
    {55, "Lock error history file failed."},
    {56, "Flush error history file failed."},
    {57, "Unlock error history file failed."},
    {58, "Error history data corrupted."},
    {59, "Error history file not locked."},
    {60, "Error history header corrupted."},
    {61, "No network adapter."},
    {62, "Get network adapter info failed."},
    {63, "Recognize ip address string failed."},
    {64, "Unlock data failed."},
    {65, "Invalid file path assigned."},
    {66, "Resize file failed."},
    {67, "Invalid string format assigned."},
    {68, "File not exist."},
    {69, "Assigned path is directory."},
    {70, "Get file time failed."},
    {71, "No enum item option assigned."},
    {kSentinelCode, "Unknown error."},
};

static_assert(sizeof(g_aErrTable) / sizeof(g_aErrTable[0]) == 72, "71 messages and the sentinel");

/* The message of code 0 ("no error"). */
const char kNoErrorMsg[] = "";

}  // namespace

ZV_BEGIN_C

void TarnSetLastError(unsigned int code) {
    errno = static_cast<int>(code);
}

unsigned int TarnGetLastError(void) {
    return static_cast<unsigned int>(errno);
}

const char* TarnGetErrorMsg(unsigned int code) {
    if (code == 0) {
        return kNoErrorMsg;
    }
    if (code == g_aErrTable[0].code) {
        return g_aErrTable[0].msg;
    }
    // Linear walk from the second row; the sentinel ends it, so an unknown code (and 0xFFFF
    // itself) gets the sentinel's "Unknown error.".
    const ErrTableRow* row = &g_aErrTable[1];
    while (row->code != code && row->code != kSentinelCode) {
        ++row;
    }
    return row->msg;
}

ZV_END_C
