/*
 * OSUtils.h - Win32-style calls over POSIX: critical sections, _SYSTEMTIME and file times, full
 * path names and a few string and file helpers.
 *
 * None of these functions sets the library's last error; they report by their results only.
 * The critical-section calls are empty on this platform: they mark where exclusion is meant and
 * give none. The local-time calls do nothing and report failure.
 */
#ifndef OSUTILS_H
#define OSUTILS_H

#include <pthread.h>
#include <sys/stat.h>
#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/* Empty on this platform: they return at once and never touch the mutex. */
ZV_API void OS_InitializeCriticalSection(pthread_mutex_t* cs);
ZV_API void OS_EnterCriticalSection(pthread_mutex_t* cs);
ZV_API void OS_LeaveCriticalSection(pthread_mutex_t* cs);
ZV_API void OS_DeleteCriticalSection(pthread_mutex_t* cs);

/* Current UTC time with milliseconds; wDayOfWeek is left as it was. */
ZV_API void OS_GetSystemTime(_SYSTEMTIME* st);
/* Empty on this platform: writes nothing. */
ZV_API void OS_GetLocalTime(_SYSTEMTIME* st);
/* Sets the clock through "qnsetconfig 4 MMDDhhmmYYYY.ss": 1 when the command exits 0. */
ZV_API int OS_SetSystemTime(const _SYSTEMTIME* st);
/* Does nothing; returns 0. */
ZV_API int OS_SetLocalTime(const _SYSTEMTIME* st);
/* mktime() of the record read as local time into *ft (-1 passes through); always 1. */
ZV_API int OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft);
/* gmtime() of *ft into the record, milliseconds 0; always 1. */
ZV_API int OS_FileTimeToSystemTime(const long* ft, _SYSTEMTIME* st);
/* Do nothing and return 0. */
ZV_API int OS_FileTimeToLocalFileTime(const long* ft, long* localFt);
ZV_API int OS_LocalFileTimeToFileTime(const long* localFt, long* ft);
/* Modification time of path as UTC (milliseconds untouched): 0, or -1 when stat() fails. */
ZV_API int OS_GetFileTime(const char* path, _SYSTEMTIME* st);

/* Decimal value of a wide string (leading blanks, sign, digits); 0 for null or "". */
ZV_API int _wtoi(const wchar_t* str);
/* stat() of a wide path (at most 256 converted bytes). */
ZV_API int wstat(const wchar_t* path, struct stat* st);
/* Size of a file; 0 when stat() fails or path is a directory. */
ZV_API unsigned int GetFileSize(const char* path);
/* 1 when stat() succeeds and the mode's directory bit (0x4000) is clear, else 0. */
ZV_API int FileExists(const char* path);
/* Upper-cases a string in place; null is ignored. */
ZV_API void strupr(char* str);

/*
 * Resolves path into buffer (bufferLength bytes, copied with strncpy) and points *filePart at
 * the last component of the input path. Returns the resolved length, the length + 1 when the
 * buffer is too short, or 0 on failure (nothing written). A missing last component is accepted.
 */
ZV_API unsigned int OS_GetFullPathName(const char* path, unsigned int bufferLength, char* buffer,
                                       char** filePart);

ZV_END_C

#ifdef __cplusplus
/* Holds a critical section for the life of the object: entered on construction, left on
 * destruction. */
class ZV_API CCsLock {
public:
    explicit CCsLock(pthread_mutex_t* cs);
    virtual ~CCsLock();

    CCsLock(const CCsLock&) = delete;
    CCsLock& operator=(const CCsLock&) = delete;

    pthread_mutex_t* m_pCs; /* the critical section held */
};
#endif

#endif /* OSUTILS_H */
