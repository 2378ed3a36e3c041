/**
 * @file OSUtils.h
 * @brief Win32-style calls over POSIX: critical sections, _SYSTEMTIME and file times, full path
 * names and a few string and file helpers.
 *
 * None of these functions sets the library's last error; they report by their results only (the
 * system calls they make may still leave errno set). The critical-section calls are empty on this
 * platform: they mark where exclusion is meant and give none. The local-time calls do nothing and
 * report failure.
 */
#ifndef OSUTILS_H
#define OSUTILS_H

#include <pthread.h>
#include <sys/stat.h>
#include <wchar.h>

#include "ZVTypes.h"

ZV_BEGIN_C

/**
 * @addtogroup osshims
 * @{
 */

/**
 * Empty on this platform: returns at once and never touches the mutex.
 *
 * @param cs the critical section; may be null.
 */
ZV_API void OS_InitializeCriticalSection(pthread_mutex_t* cs);
/**
 * Empty on this platform: gives no exclusion.
 *
 * @param cs the critical section; may be null.
 */
ZV_API void OS_EnterCriticalSection(pthread_mutex_t* cs);
/**
 * Empty on this platform.
 *
 * @param cs the critical section; may be null.
 */
ZV_API void OS_LeaveCriticalSection(pthread_mutex_t* cs);
/**
 * Empty on this platform.
 *
 * @param cs the critical section; may be null.
 */
ZV_API void OS_DeleteCriticalSection(pthread_mutex_t* cs);

/**
 * The current UTC time with milliseconds (gettimeofday(), gmtime_r()).
 *
 * @param st receives year, month, day, hour, minute, second and milliseconds; wDayOfWeek is
 *        left as it was. Untouched when the clock cannot be read; null is ignored.
 */
ZV_API void OS_GetSystemTime(_SYSTEMTIME* st);
/**
 * Empty on this platform: writes nothing.
 *
 * @param st left as it was.
 */
ZV_API void OS_GetLocalTime(_SYSTEMTIME* st);
/**
 * Sets the clock through the device's configuration command: runs
 * "qnsetconfig 4 MMDDhhmmYYYY.ss" with system() (2009-03-07 14:05:09 gives
 * "qnsetconfig 4 030714052009.09"). Day of week and milliseconds are not used.
 *
 * @param st the new time.
 * @return 1 when the command exits 0; 0 when it fails, cannot run (no qnsetconfig on the search
 *         path) or st is null.
 */
ZV_API int OS_SetSystemTime(const _SYSTEMTIME* st);
/**
 * Does nothing: local time is not kept on this platform.
 *
 * @param st ignored.
 * @return 0.
 */
ZV_API int OS_SetLocalTime(const _SYSTEMTIME* st);
/**
 * Turns a record into a time value with mktime(), reading it as local time (is-DST 0);
 * milliseconds are dropped.
 *
 * @param st the record.
 * @param ft receives the value; -1 when mktime() fails or the date lies outside the signed
 *        32-bit range.
 * @return 1 (0 only for a null argument).
 * @quirk The two directions differ on purpose: this one reads local time, while
 *        OS_FileTimeToSystemTime() writes UTC. The round trip is exact where the process runs
 *        in UTC.
 */
ZV_API int OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft);
/**
 * Breaks a time value down as UTC with gmtime() (the system library's shared static result, so
 * not safe against concurrent use).
 *
 * @param ft the value (its low 32 bits, as a signed count).
 * @param st receives every field, day of week included; milliseconds 0.
 * @return 1 (0 only for a null argument or a failed breakdown).
 */
ZV_API int OS_FileTimeToSystemTime(const long* ft, _SYSTEMTIME* st);
/**
 * Does nothing: there is no separate local file time on this platform.
 *
 * @param ft ignored.
 * @param localFt not written.
 * @return 0.
 */
ZV_API int OS_FileTimeToLocalFileTime(const long* ft, long* localFt);
/**
 * Does nothing: there is no separate local file time on this platform.
 *
 * @param localFt ignored.
 * @param ft not written.
 * @return 0.
 */
ZV_API int OS_LocalFileTimeToFileTime(const long* localFt, long* ft);
/**
 * The modification time of a file as UTC (gmtime(), not safe against concurrent use).
 *
 * @param path the file.
 * @param st receives the fields and the day of week; milliseconds are left as they were.
 * @return 0, or -1 when stat() fails (the record is then untouched) or an argument is null.
 */
ZV_API int OS_GetFileTime(const char* path, _SYSTEMTIME* st);

/**
 * The decimal value of a wide string: leading blanks, a sign, digits (strtol() of its narrow
 * form, converted into at most 256 bytes; a prefix converted before an unconvertible character
 * is still read).
 *
 * @param str the text.
 * @return the value, saturated to the int range on every build (L" -42x" gives -42); 0 for null
 *         or L"".
 */
ZV_API int _wtoi(const wchar_t* str);
/**
 * stat() of a wide path, converted into at most 256 bytes.
 *
 * @param path the path.
 * @param st receives the status.
 * @return what stat() returns; -1 for a null argument, or a path that does not convert or fills
 *         all 256 bytes.
 */
ZV_API int wstat(const wchar_t* path, struct stat* st);
/**
 * The size of a file.
 *
 * @param path the file.
 * @return st_size; 0 when stat() fails, path is null, or the mode carries the directory bit
 *         0x4000 (directories, and also block devices and sockets).
 */
ZV_API unsigned int GetFileSize(const char* path);
/**
 * Tells whether a file exists.
 *
 * @param path the path.
 * @return 1 when stat() succeeds and the mode's directory bit (0x4000) is clear, else 0: a
 *         directory, a block device and a socket count as absent, and so does a null path.
 */
ZV_API int FileExists(const char* path);
/**
 * Upper-cases a string in place, byte by byte with toupper().
 *
 * @param str the string; null is ignored.
 */
ZV_API void strupr(char* str);

/**
 * Resolves a path to its full path (realpath()), as the Windows call of this name does.
 *
 * A path whose last component does not exist is accepted (realpath()'s ENOENT); a path through a
 * non-directory is not.
 *
 * @param path the path.
 * @param bufferLength size of buffer in bytes; 0 copies nothing and only measures.
 * @param buffer receives the resolved path, copied with strncpy(): a buffer one byte shorter
 *        than the path gets a cut, unterminated copy, and one exactly as long as the path gets
 *        no terminator either. May be null when bufferLength is 0.
 * @param filePart receives a pointer just behind the last '/' of the input path (not of the
 *        resolved path), or the input itself when it has none; may be null.
 * @return the resolved length; the length + 1 (the size needed) when bufferLength is smaller
 *         than the length; 0 on failure (nothing written). An empty path resolves to "" and
 *         gives 0 too.
 */
ZV_API unsigned int OS_GetFullPathName(const char* path, unsigned int bufferLength, char* buffer,
                                       char** filePart);

/** @} */

ZV_END_C

#ifdef __cplusplus
/**
 * Holds a critical section for the life of the object: entered on construction, left on
 * destruction. On this platform the critical-section calls are empty, so the guard marks where
 * exclusion is meant and gives none; it never reads or writes the mutex.
 *
 * Layout: 8 bytes on the device (the virtual table pointer, then m_pCs).
 * @ingroup osshims
 */
class ZV_API CCsLock {
public:
    /**
     * Enters the critical section (OS_EnterCriticalSection(), empty here).
     *
     * @param cs the critical section to hold; may be null.
     */
    explicit CCsLock(pthread_mutex_t* cs);
    /** Leaves the critical section (OS_LeaveCriticalSection(), empty here). */
    virtual ~CCsLock();

    /** Not copyable. */
    CCsLock(const CCsLock&) = delete;
    /** Not assignable. */
    CCsLock& operator=(const CCsLock&) = delete;

    pthread_mutex_t* m_pCs; /**< the critical section held */
};
#endif

#endif /* OSUTILS_H */
