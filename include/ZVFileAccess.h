/*
 * ZVFileAccess.h - the environment-file (ZVEV) interface: open a file by path, read and write
 * typed values by key path, manage directories, save, close.
 *
 * Key paths: '/'-separated directory names ending in a key name. A path beginning with '/' is
 * absolute; any other is relative to the directory set with ZVEVAssignDir (the root when none).
 * Names are letters, digits (not first), '_', '.', '[' and ']', compared without regard to ASCII
 * letter case.
 *
 * Handles: ZVEVOpenFile gives a handle that stays valid until ZVEVClose. A null handle, and any
 * value that is not a live handle (one already closed, or never returned by ZVEVOpenFile), gets
 * code 1 "Invalid handle assigned." and the result listed for it below. Two handles on one file
 * each work on their own copy of its contents: a change made through one is seen through the
 * other only after it was flushed and the other handle reopened.
 *
 * Threads: the library gives no exclusion between threads that use one handle at the same time;
 * a host program that shares a handle between threads serialises its calls itself.
 *
 * Results are 1/0 unless said otherwise; failures leave a last-error code (TarnError.h; the codes
 * of each operation are listed in ZVEnvFile.h).
 */
#ifndef ZVFILEACCESS_H
#define ZVFILEACCESS_H

#include <wchar.h>

#include "ZVTypes.h"

/* An open environment file. */
typedef void* ZVEV_HANDLE;

ZV_BEGIN_C

/*
 * Opens path (a missing file gives an empty store, written at the first flush) and stores a new
 * handle in *handle. Null handle address or path: code 16, 0 (*handle is set to null first when
 * the address is given). No memory for the object: code 33. Other failures keep the code the
 * open set (65 bad path, 13 load failed, ...).
 */
ZV_API int ZVEVOpenFile(const char* path, ZVEV_HANDLE* handle);
/* Closes and releases the handle, which is dead afterwards even when closing failed (0). */
ZV_API int ZVEVClose(ZVEV_HANDLE handle);
/* Saves the file in its current format (text unless ZVEVAssignFormat chose binary). */
ZV_API int ZVEVFlush(ZVEV_HANDLE handle);
/* Saves to path, taken as given; the handle stays bound to its own file. Null path: code 16. */
ZV_API int ZVEVSaveAs(ZVEV_HANDLE handle, const char* path);
/* Sets the base of relative paths (null: the root). Works on a closed handle too. */
ZV_API int ZVEVAssignDir(ZVEV_HANDLE handle, const char* path);
/* Copies the base ("/" when none) into buffer, cut to size - 1 characters; returns its whole
 * length (size 0 only measures), -1 on failure. */
ZV_API int ZVEVGetAssignedDir(ZVEV_HANDLE handle, char* buffer, unsigned int size);
/* 0 text ("ENVT"), 1 binary ("ENVB"). */
ZV_API int ZVEVGetFormat(ZVEV_HANDLE handle);
/* 0 text, 1 binary, from the next flush on; anything else: code 25. */
ZV_API int ZVEVAssignFormat(ZVEV_HANDLE handle, int format);
/* 1 when the directory exists. An empty path with no base assigned gives 0 without a code. */
ZV_API int ZVEVCheckDirExist(ZVEV_HANDLE handle, const char* path);
/* Creates every missing directory on the path. */
ZV_API int ZVEVCreateDir(ZVEV_HANDLE handle, const char* path);
/* Removes a directory with everything in it; the root cannot be removed (code 18). */
ZV_API int ZVEVRemoveDir(ZVEV_HANDLE handle, const char* path);
/* 1 when the key exists (a key of any type; directories are not keys). */
ZV_API int ZVEVCheckKeyExist(ZVEV_HANDLE handle, const char* key);
/* Removes a key (code 12 when it does not exist). */
ZV_API int ZVEVRemoveKey(ZVEV_HANDLE handle, const char* key);
/* Sets (non-zero) or clears a directory's lock mark. A mark only: nothing refuses changes in a
 * marked directory; programs that honour it ask ZVEVIsLocked first. */
ZV_API int ZVEVLock(ZVEV_HANDLE handle, const char* path, int lock);
ZV_API int ZVEVIsLocked(ZVEV_HANDLE handle, const char* path);

/* Setters create missing directories on the key's path and replace a key of any type. Getters
 * return defaultValue when the key is missing or of another type (code 12). */
ZV_API int ZVEVSetInteger(ZVEV_HANDLE handle, const char* key, int value);
ZV_API int ZVEVGetInteger(ZVEV_HANDLE handle, const char* key, int defaultValue);
/* Infinite values are refused (code 23); not-a-number values are stored. */
ZV_API int ZVEVSetDouble(ZVEV_HANDLE handle, const char* key, double value);
/* 0.0, not the default, when the key's directory does not exist or the file is not open. */
ZV_API double ZVEVGetDouble(ZVEV_HANDLE handle, const char* key, double defaultValue);
/* A refused boolean reports code 23 (the real-value code). */
ZV_API int ZVEVSetBoolean(ZVEV_HANDLE handle, const char* key, int value);
ZV_API int ZVEVGetBoolean(ZVEV_HANDLE handle, const char* key, int defaultValue);
ZV_API int ZVEVSetString(ZVEV_HANDLE handle, const char* key, const char* text);
/* Copies the text, or defaultValue when there is none, into buffer (cut to size - 1 characters)
 * and returns its whole length; size 0 only measures. -1 for a null key, default or buffer. */
ZV_API int ZVEVGetString(ZVEV_HANDLE handle, const char* key, char* buffer, unsigned int size,
                         const char* defaultValue);
/* size 0: code 10. */
ZV_API int ZVEVSetData(ZVEV_HANDLE handle, const char* key, const void* data, unsigned int size);
/* Copies up to size bytes and returns the whole stored size; -1 on failure. */
ZV_API int ZVEVGetData(ZVEV_HANDLE handle, const char* key, void* buffer, unsigned int size);
/*
 * A snapshot of a directory's names (null path: the base directory): options ZVEV_ENUM_DIRS and
 * ZVEV_ENUM_KEYS choose what is listed (neither: code 71), ZVEV_ENUM_SORT sorts by name. Integers
 * written in hexadecimal, octal or binary and comments are never listed. The caller releases it
 * with ZVEVFreeSnapList; it stays valid after the handle is closed.
 */
ZV_API ZVEV_ENUM_LIST_tag* ZVEVEnumEntries(ZVEV_HANDLE handle, const char* path,
                                           unsigned int options);
/* Null: code 16, 0. */
ZV_API int ZVEVFreeSnapList(ZVEV_ENUM_LIST_tag* list);
/* Sets a process-wide flag kept for host programs that read it; no flush looks at it. */
ZV_API void ZVEVFlushAbort(void);

/*
 * 1 when stat() of path succeeds and the mode's directory bit (0x4000) is clear, else 0 (also
 * for a null path). Sets no code. The wide path is converted with a 256-byte limit.
 */
ZV_API int ZVEVIsFileExistA(const char* path);
ZV_API int ZVEVIsFileExistW(const wchar_t* path);

ZV_END_C

#endif /* ZVFILEACCESS_H */
