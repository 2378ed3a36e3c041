/*
 * OSUtils.cpp - Win32-style calls over POSIX: critical sections, _SYSTEMTIME and file times, full
 * path names and a few string and file helpers.
 *
 * Nothing here sets the library's last error: every function reports through its result only.
 * The system calls made on the way may still change errno, which is left as they leave it.
 */
#include "OSUtils.h"

#include <ctype.h>
#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>

namespace {

/* The directory bit of st_mode as the device's callers test it (block devices and sockets carry
 * it too, so they count as absent for FileExists and as size 0 for GetFileSize). */
const unsigned int kDirectoryBit = 0x4000u;

/* Scratch size for realpath(). */
const size_t kFullPathScratch = 4096;

/* Narrow path conversions write at most this many bytes; the buffer has one more, zeroed, so the
 * converted text is always terminated. */
const size_t kNarrowPathLimit = 256;

/* A time value is a signed 32-bit count of seconds on every build: on 64-bit builds only the low
 * 32 bits of a long are used, so both builds break the same value down the same way. */
time_t TimeFromValue(long value) {
    uint32_t low = static_cast<uint32_t>(static_cast<unsigned long>(value));
    int32_t seconds;
    memcpy(&seconds, &low, sizeof(seconds));
    return static_cast<time_t>(seconds);
}

/* The reverse direction: a count outside the signed 32-bit range becomes -1 with EOVERFLOW in
 * errno, which is what the 32-bit system library's mktime() reports for such dates itself; the
 * last error then reads the same on every build. */
long ValueFromTime(time_t t) {
    int64_t wide = static_cast<int64_t>(t);
    if (wide < INT32_MIN || wide > INT32_MAX) {
        errno = EOVERFLOW;
        return -1L;
    }
    return static_cast<long>(wide);
}

/* Stores the calendar fields of a broken-down time; day of week and milliseconds are left to the
 * caller, since each function treats them differently. */
void StoreDateAndClock(const struct tm* tm, _SYSTEMTIME* st) {
    st->wYear = static_cast<uint16_t>(tm->tm_year + 1900);
    st->wMonth = static_cast<uint16_t>(tm->tm_mon + 1);
    st->wDay = static_cast<uint16_t>(tm->tm_mday);
    st->wHour = static_cast<uint16_t>(tm->tm_hour);
    st->wMinute = static_cast<uint16_t>(tm->tm_min);
    st->wSecond = static_cast<uint16_t>(tm->tm_sec);
}

/* gmtime() of a time value into the record (day of week included); false when gmtime fails. */
bool StoreUtcBreakdown(time_t t, _SYSTEMTIME* st) {
    /* gmtime's shared static result is used on purpose: these conversions are documented as not
     * safe against concurrent use. */
    const struct tm* tm = gmtime(&t);
    if (tm == nullptr) {
        return false;
    }
    StoreDateAndClock(tm, st);
    st->wDayOfWeek = static_cast<uint16_t>(tm->tm_wday);
    return true;
}

/* The pointer just behind the last '/' of path, or path itself when it has none. */
char* FilePartOf(const char* path) {
    const char* slash = strrchr(path, '/');
    return const_cast<char*>(slash != nullptr ? slash + 1 : path);
}

/* Narrow form of a wide path in a zeroed buffer of kNarrowPathLimit + 1 bytes. A conversion that
 * fails, or that fills all kNarrowPathLimit bytes (and so may have been cut), is refused. */
bool NarrowPath(const wchar_t* path, char* narrow) {
    memset(narrow, 0, kNarrowPathLimit + 1);
    size_t written = wcstombs(narrow, path, kNarrowPathLimit);
    return written != static_cast<size_t>(-1) && written < kNarrowPathLimit;
}

/* strtol's value kept inside the 32-bit int range with ERANGE in errno, as the 32-bit build's
 * strtol already does. */
int SaturateToInt32(long value) {
    if (value > static_cast<long>(INT32_MAX)) {
        errno = ERANGE;
        return INT32_MAX;
    }
    if (value < static_cast<long>(INT32_MIN)) {
        errno = ERANGE;
        return INT32_MIN;
    }
    return static_cast<int>(value);
}

}  // namespace

/* ---- Critical sections: empty on this platform; the calls mark where exclusion is meant. ---- */

void OS_InitializeCriticalSection(pthread_mutex_t* /*cs*/) {}

void OS_EnterCriticalSection(pthread_mutex_t* /*cs*/) {}

void OS_LeaveCriticalSection(pthread_mutex_t* /*cs*/) {}

void OS_DeleteCriticalSection(pthread_mutex_t* /*cs*/) {}

/* ---- Clock ---- */

void OS_GetSystemTime(_SYSTEMTIME* st) {
    if (st == nullptr) {
        return;
    }
    struct timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        return;
    }
    time_t seconds = now.tv_sec;
    struct tm tm;
    if (gmtime_r(&seconds, &tm) == nullptr) {
        return;
    }
    /* wDayOfWeek is not written: callers keep whatever they had there. */
    StoreDateAndClock(&tm, st);
    st->wMilliseconds = static_cast<uint16_t>(now.tv_usec / 1000);
}

/* Local time is not kept on this platform: nothing is written. */
void OS_GetLocalTime(_SYSTEMTIME* /*st*/) {}

int OS_SetSystemTime(const _SYSTEMTIME* st) {
    if (st == nullptr) {
        return 0;
    }
    /* The device sets its clock through its configuration command: setting 4 takes the date and
     * time as MMDDhhmmYYYY.ss. Day of week and milliseconds are not part of it. */
    char command[1024];
    snprintf(command, sizeof(command), "qnsetconfig 4 %02d%02d%02d%02d%d.%02d",
             static_cast<int>(st->wMonth), static_cast<int>(st->wDay), static_cast<int>(st->wHour),
             static_cast<int>(st->wMinute), static_cast<int>(st->wYear),
             static_cast<int>(st->wSecond));
    return system(command) == 0 ? 1 : 0;
}

/* Local time is not kept on this platform: the clock is not changed and failure is reported. */
int OS_SetLocalTime(const _SYSTEMTIME* /*st*/) {
    return 0;
}

/* ---- Record and time value conversions ---- */

int OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft) {
    if (st == nullptr || ft == nullptr) {
        return 0;
    }
    /* Zeroed first, so is-DST is 0. The record is read as local time (mktime) while the opposite
     * direction produces UTC (gmtime): the asymmetry is kept, the round trip is exact in UTC. */
    struct tm tm;
    memset(&tm, 0, sizeof(tm));
    tm.tm_year = static_cast<int>(st->wYear) - 1900;
    tm.tm_mon = static_cast<int>(st->wMonth) - 1;
    tm.tm_mday = static_cast<int>(st->wDay);
    tm.tm_wday = static_cast<int>(st->wDayOfWeek);
    tm.tm_hour = static_cast<int>(st->wHour);
    tm.tm_min = static_cast<int>(st->wMinute);
    tm.tm_sec = static_cast<int>(st->wSecond);
    /* mktime's -1 passes through unchecked: callers see it as the value. */
    *ft = ValueFromTime(mktime(&tm));
    return 1;
}

int OS_FileTimeToSystemTime(const long* ft, _SYSTEMTIME* st) {
    if (ft == nullptr || st == nullptr) {
        return 0;
    }
    if (!StoreUtcBreakdown(TimeFromValue(*ft), st)) {
        return 0;
    }
    st->wMilliseconds = 0;
    return 1;
}

/* There is no separate local file time on this platform: both directions report failure and
 * write nothing, and callers turn that into their "local time conversion failed" code. */
int OS_FileTimeToLocalFileTime(const long* /*ft*/, long* /*localFt*/) {
    return 0;
}

int OS_LocalFileTimeToFileTime(const long* /*localFt*/, long* /*ft*/) {
    return 0;
}

int OS_GetFileTime(const char* path, _SYSTEMTIME* st) {
    if (path == nullptr || st == nullptr) {
        return -1;
    }
    struct stat info;
    if (stat(path, &info) != 0) {
        return -1;
    }
    /* Milliseconds are not written: the record keeps what the caller had there. */
    if (!StoreUtcBreakdown(TimeFromValue(static_cast<long>(info.st_mtime)), st)) {
        return -1;
    }
    return 0;
}

/* ---- String and file helpers ---- */

int _wtoi(const wchar_t* str) {
    if (str == nullptr || str[0] == L'\0') {
        return 0;
    }
    /* Zeroed, one byte longer than the conversion limit: whatever prefix wcstombs wrote before
     * an unconvertible character is still a terminated text, and that prefix is parsed. The
     * scratch lives on the stack: one that could not be allocated would read every number as 0,
     * and the wide date-time reader would store a wrong time without any code. */
    char narrow[kNarrowPathLimit + 1];
    memset(narrow, 0, sizeof narrow);
    (void)wcstombs(narrow, str, kNarrowPathLimit);
    long value = strtol(narrow, nullptr, 10);
    return SaturateToInt32(value);
}

int wstat(const wchar_t* path, struct stat* st) {
    if (path == nullptr || st == nullptr) {
        return -1;
    }
    char narrow[kNarrowPathLimit + 1];
    if (!NarrowPath(path, narrow)) {
        return -1;
    }
    return stat(narrow, st);
}

unsigned int GetFileSize(const char* path) {
    if (path == nullptr) {
        return 0;
    }
    struct stat info;
    if (stat(path, &info) != 0 || (static_cast<unsigned int>(info.st_mode) & kDirectoryBit) != 0) {
        return 0;
    }
    return static_cast<unsigned int>(info.st_size);
}

int FileExists(const char* path) {
    if (path == nullptr) {
        return 0;
    }
    struct stat info;
    if (stat(path, &info) != 0) {
        return 0;
    }
    return (static_cast<unsigned int>(info.st_mode) & kDirectoryBit) == 0 ? 1 : 0;
}

void strupr(char* str) {
    if (str == nullptr) {
        return;
    }
    for (char* p = str; *p != '\0'; ++p) {
        /* Each byte goes to toupper sign-extended, as a plain char is on this platform; the C
         * library's tables answer for -128..-1 as well, so bytes above 0x7F are handled as the
         * device's callers expect. */
        *p = static_cast<char>(toupper(static_cast<int>(static_cast<signed char>(*p))));
    }
}

unsigned int OS_GetFullPathName(const char* path, unsigned int bufferLength, char* buffer,
                                char** filePart) {
    if (path == nullptr) {
        return 0;
    }
    /* Zeroed, so that an empty path (which realpath refuses with ENOENT) resolves to "". */
    char scratch[kFullPathScratch];
    memset(scratch, 0, sizeof(scratch));
    errno = 0;
    const char* resolved = realpath(path, scratch);
    /* A resolved path is success whatever errno says (realpath may leave it set); a refusal is
     * accepted only for a missing component (ENOENT), keeping what realpath left in scratch. */
    if (resolved == nullptr && errno != ENOENT) {
        return 0;
    }
    scratch[kFullPathScratch - 1] = '\0';
    size_t length = strlen(scratch);
    /* Like the Windows call: the size needed, terminator included, when the buffer is too short;
     * otherwise the length without the terminator. */
    unsigned int result = static_cast<unsigned int>(bufferLength < length ? length + 1 : length);
    /* strncpy in every case: a short buffer gets a cut, unterminated copy, and a buffer exactly
     * as long as the path gets no terminator either. */
    if (bufferLength > 0 && buffer != nullptr) {
        strncpy(buffer, scratch, bufferLength);
    }
    /* The file part points into the caller's input, not into the resolved path. */
    if (filePart != nullptr) {
        *filePart = FilePartOf(path);
    }
    return result;
}
