/*
 * ZVFileAccess.cpp - the environment-file (ZVEV) interface: file existence.
 */
#include "ZVFileAccess.h"

#include <sys/stat.h>

#include "OSUtils.h"

namespace {

/* Directory bit of st_mode; block devices and sockets carry it too and so count as absent. */
const unsigned int kDirectoryBit = 0x4000u;

int ExistsAsFile(int statResult, const struct stat& status) {
    if (statResult != 0) {
        return 0;
    }
    return (static_cast<unsigned int>(status.st_mode) & kDirectoryBit) == 0 ? 1 : 0;
}

}  // namespace

int ZVEVIsFileExistA(const char* path) {
    if (path == NULL) {
        return 0;
    }
    struct stat status;
    return ExistsAsFile(stat(path, &status), status);
}

int ZVEVIsFileExistW(const wchar_t* path) {
    if (path == NULL) {
        return 0;
    }
    /* wstat converts at most 256 bytes; a failed or over-long conversion counts as absent. */
    struct stat status;
    return ExistsAsFile(wstat(path, &status), status);
}
