/**
 * @file ZVFileAccess.h
 * @brief The environment-file (ZVEV) interface: open a file by path, read and write typed values
 * by key path, manage directories, save, close.
 *
 * Key paths: '/'-separated directory names ending in a key name. A path beginning with '/' is
 * absolute; any other is relative to the directory set with ZVEVAssignDir (the root when none).
 * Runs of slashes are taken as one. Names are letters, '_', '[' and ']', and from the second
 * byte on also digits and '.', compared without regard to ASCII letter case. Directories nest
 * at most 16 levels below the root; keys can be stored in directories down to 15 levels.
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
 * Results are 1/0 unless said otherwise; failures leave a last-error code (TarnError.h). Every
 * function that resolves a path can also report 7 "File not opened." and 26 "Lock data failed.";
 * these do not happen through a live handle in practice, and are left out of the lists below.
 */
#ifndef ZVFILEACCESS_H
#define ZVFILEACCESS_H

#include <wchar.h>

#include "ZVTypes.h"

/**
 * @addtogroup zvev
 * @{
 */

/** An open environment file: the address of its CZVEnvFile object. */
typedef void* ZVEV_HANDLE;

ZV_BEGIN_C

/**
 * Opens an environment file of either form and gives a new handle on it. A missing file gives
 * an empty store (text form), and the file comes into being at the first ZVEVFlush(). Every call
 * makes a new handle with its own copy of the contents, also for a file open already.
 *
 * @param path the file, resolved to a full path; its last component need not exist.
 * @param handle receives the handle; set to null first when the address is given.
 * @return 1, or 0.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null handle address or path;
 *        ::TARN_ERR_CREATE_OBJECT (33) when the object cannot be made;
 *        ::TARN_ERR_INVALID_FILE_PATH (65) when the path does not resolve (empty, or through a
 *        file that is not a directory); ::TARN_ERR_LOAD_FILE (13) when the file does not load
 *        (not an environment file, a version other than 00.xx or 01.00, a malformed body);
 *        ::TARN_ERR_OPEN_WORK_AREA (17), ::TARN_ERR_RESET_FILE (20) and
 *        ::TARN_ERR_MEMORY_OVERFLOW (15) when memory runs out; ::TARN_ERR_UNLOCK_DATA (64).
 * @quirk A directory counts as a missing file: its open succeeds with an empty store, and the
 *        first flush fails with code 8.
 */
ZV_API int ZVEVOpenFile(const char* path, ZVEV_HANDLE* handle);
/**
 * Closes and releases a handle, which is dead afterwards even when closing failed. Changes that
 * were not flushed are lost.
 *
 * @param handle the handle.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_CLOSE_FILE (3) when the store cannot be
 *        closed (the handle is released all the same).
 */
ZV_API int ZVEVClose(ZVEV_HANDLE handle);
/**
 * Saves the whole file in its current format (text unless ZVEVAssignFormat() chose binary): the
 * header line, then the body, then the header line stamped with time, size and checksum.
 *
 * @param handle the handle.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_FLUSH_FILE (8) when the file cannot be
 *        written or stamped (a failed save may leave a partly written file).
 */
ZV_API int ZVEVFlush(ZVEV_HANDLE handle);
/**
 * Saves to another path, as ZVEVFlush() does; the handle stays bound to its own file.
 *
 * @param handle the handle.
 * @param path the file to write, taken as given (not resolved).
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null path;
 *        ::TARN_ERR_FLUSH_FILE (8).
 */
ZV_API int ZVEVSaveAs(ZVEV_HANDLE handle, const char* path);
/**
 * Sets the base of relative paths. The path is stored as given and followed from the root at
 * each use, whether or not it begins with '/'; a setter creates it when it is missing.
 *
 * @param handle the handle.
 * @param path the base directory; null makes the root the base.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_MEMORY_OVERFLOW (15) when the copy cannot
 *        be made.
 */
ZV_API int ZVEVAssignDir(ZVEV_HANDLE handle, const char* path);
/**
 * Copies the base of relative paths ("/" when none is assigned) into a buffer.
 *
 * @param handle the handle.
 * @param buffer receives the text, cut to size - 1 characters (no error for a cut).
 * @param size size of buffer in bytes; 0 only measures (buffer may then be null).
 * @return the whole length of the text (1 for "/", 7 for "cfg/net" also in a 4-byte buffer),
 *         or -1.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null buffer with a
 *        non-zero size.
 */
ZV_API int ZVEVGetAssignedDir(ZVEV_HANDLE handle, char* buffer, unsigned int size);
/**
 * The form the next save writes.
 *
 * @param handle the handle.
 * @return 0 text ("ENVT"), 1 binary ("ENVB"); 0 on failure.
 * @codes ::TARN_ERR_INVALID_HANDLE (1).
 */
ZV_API int ZVEVGetFormat(ZVEV_HANDLE handle);
/**
 * Chooses the form of the next save.
 *
 * @param handle the handle.
 * @param format 0 text, 1 binary.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_UNSUPPORTED_FORMAT (25) for any other
 *        format (2, -1, ...); ::TARN_ERR_ASSIGN_SAVE_FORMAT (2).
 */
ZV_API int ZVEVAssignFormat(ZVEV_HANDLE handle, int format);
/**
 * Tells whether a directory exists.
 *
 * @param handle the handle.
 * @param path the directory; "/" is the root.
 * @return 1 when it exists, else 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_DIRECTORY_NOT_EXIST (5) when it does not.
 * @quirk An empty or null path with no base assigned gives 0 without a code (the root reached
 *        that way counts as not found); with a base assigned it tests the base.
 */
ZV_API int ZVEVCheckDirExist(ZVEV_HANDLE handle, const char* path);
/**
 * Creates every missing directory on the path.
 *
 * @param handle the handle.
 * @param path the directory.
 * @return 1 (also when it exists already), or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_CREATE_DIRECTORY (4) for an invalid name on
 *        the path or a directory more than 16 levels below the root.
 */
ZV_API int ZVEVCreateDir(ZVEV_HANDLE handle, const char* path);
/**
 * Removes a directory with everything in it.
 *
 * @param handle the handle.
 * @param path the directory.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
 *        ::TARN_ERR_REMOVE_DIRECTORY (18) for the root, which cannot be removed.
 */
ZV_API int ZVEVRemoveDir(ZVEV_HANDLE handle, const char* path);
/**
 * Tells whether a key exists (a key of any type; directories and comments are not keys).
 *
 * @param handle the handle.
 * @param key the key path.
 * @return 1 when it exists, else 0 (no code for a missing key in an existing directory).
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null key;
 *        ::TARN_ERR_MISSING_KEY_NAME (28) for a path that is empty or ends in '/';
 *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5) when the key's directory does not exist.
 */
ZV_API int ZVEVCheckKeyExist(ZVEV_HANDLE handle, const char* key);
/**
 * Removes a key, with a comment that trails it on its line.
 *
 * @param handle the handle.
 * @param key the key path.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16);
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
 *        ::TARN_ERR_KEY_NOT_EXIST (12) when the key does not exist; ::TARN_ERR_REMOVE_KEY (19).
 */
ZV_API int ZVEVRemoveKey(ZVEV_HANDLE handle, const char* key);
/**
 * Sets or clears a directory's lock mark.
 *
 * @param handle the handle.
 * @param path the directory.
 * @param lock non-zero sets the mark, zero clears it.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
 *        ::TARN_ERR_LOCK_DIRECTORY (14).
 * @quirk A mark only: nothing refuses changes in a marked directory; programs that honour it
 *        ask ZVEVIsLocked() first. The text form does not keep the mark (the binary form does).
 */
ZV_API int ZVEVLock(ZVEV_HANDLE handle, const char* path, int lock);
/**
 * Tells whether a directory carries the lock mark.
 *
 * @param handle the handle.
 * @param path the directory.
 * @return 1 when marked, else 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_DIRECTORY_NOT_EXIST (5).
 */
ZV_API int ZVEVIsLocked(ZVEV_HANDLE handle, const char* path);

/**
 * Stores an integer, creating missing directories on the key's path and replacing a key of any
 * type. An integer key read from a file in hexadecimal, octal or binary keeps its radix.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param value the value.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null key;
 *        ::TARN_ERR_MISSING_KEY_NAME (28) for a path that is empty or ends in '/';
 *        ::TARN_ERR_CREATE_DIRECTORY (4) when a directory cannot be created;
 *        ::TARN_ERR_SET_INTEGER (22) for an invalid key name, a key in a directory 16
 *        levels below the root, or when memory runs out.
 */
ZV_API int ZVEVSetInteger(ZVEV_HANDLE handle, const char* key, int value);
/**
 * Reads an integer key (of any radix).
 *
 * @param handle the handle.
 * @param key the key path.
 * @param defaultValue returned when there is no such integer.
 * @return the value, or defaultValue.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16);
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_DIRECTORY_NOT_EXIST (5) when the key's
 *        directory does not exist; ::TARN_ERR_KEY_NOT_EXIST (12) when the key is missing or of
 *        another type.
 */
ZV_API int ZVEVGetInteger(ZVEV_HANDLE handle, const char* key, int defaultValue);
/**
 * Stores a real, as ZVEVSetInteger() stores an integer.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param value the value; infinite values are refused, not-a-number values are stored.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16);
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_CREATE_DIRECTORY (4);
 *        ::TARN_ERR_SET_REAL (23) for an infinite value (nothing is created), an invalid key
 *        name, a key in a directory 16 levels below the root, or when memory runs out.
 * @quirk The text form keeps 14 significant digits, and reading it back sums the fraction's
 *        digits one by one, so the last bits may differ (0.75 reads as 0.75000000000000011);
 *        INF and NAN are written but do not load. The binary form keeps the value exactly.
 */
ZV_API int ZVEVSetDouble(ZVEV_HANDLE handle, const char* key, double value);
/**
 * Reads a real key.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param defaultValue returned when the key is missing or of another type.
 * @return the value; defaultValue for a missing key; 0.0 when the key's directory does not
 *         exist.
 * @codes ::TARN_ERR_INVALID_HANDLE (1, with defaultValue); ::TARN_ERR_NULL_POINTER (16, with
 *        defaultValue); ::TARN_ERR_MISSING_KEY_NAME (28, with 0.0);
 *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5, with 0.0); ::TARN_ERR_KEY_NOT_EXIST (12).
 * @quirk A path that cannot be resolved gives 0.0, not the default, unlike the other getters.
 */
ZV_API double ZVEVGetDouble(ZVEV_HANDLE handle, const char* key, double defaultValue);
/**
 * Stores a boolean, as ZVEVSetInteger() stores an integer.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param value non-zero for true.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16);
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_CREATE_DIRECTORY (4);
 *        ::TARN_ERR_SET_REAL (23) for an invalid key name, a key in a directory 16
 *        levels below the root, or when memory runs out.
 * @quirk A refused boolean reports code 23, the real-value code: there is no boolean message.
 */
ZV_API int ZVEVSetBoolean(ZVEV_HANDLE handle, const char* key, int value);
/**
 * Reads a boolean key.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param defaultValue returned when there is no such boolean.
 * @return 1 or 0, or defaultValue. An integer key holding 0 or 1 is not a boolean.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16);
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
 *        ::TARN_ERR_KEY_NOT_EXIST (12).
 */
ZV_API int ZVEVGetBoolean(ZVEV_HANDLE handle, const char* key, int defaultValue);
/**
 * Stores a string, as ZVEVSetInteger() stores an integer.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param text the text, up to its first NUL.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null key or text;
 *        ::TARN_ERR_MISSING_KEY_NAME (28); ::TARN_ERR_CREATE_DIRECTORY (4);
 *        ::TARN_ERR_SET_STRING (24) for an invalid key name, a key in a directory 16
 *        levels below the root, or when memory runs out.
 * @quirk The text form writes a line of at most about 1 KiB: a longer string comes back cut
 *        after a text save and load (the binary form keeps it whole).
 */
ZV_API int ZVEVSetString(ZVEV_HANDLE handle, const char* key, const char* text);
/**
 * Copies a string key, or the default when there is none, into a buffer. The default is copied
 * first, so the buffer holds it whenever the key does not deliver.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param buffer receives the text, cut to size - 1 characters (no error for a cut).
 * @param size size of buffer in bytes; 0 only measures (buffer may then be null). Call with 0
 *        first and allocate the result + 1 bytes to read any string whole.
 * @param defaultValue the text used when there is no such string.
 * @return the whole length of the stored text, or of the default, whatever the buffer could
 *         take ("hello" in a 4-byte buffer: "hel", 5); -1 for bad arguments.
 * @codes ::TARN_ERR_INVALID_HANDLE (1, -1); ::TARN_ERR_NULL_POINTER (16, -1) for a null key or
 *        default, or a null buffer with a non-zero size; ::TARN_ERR_MISSING_KEY_NAME (28),
 *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5) and ::TARN_ERR_KEY_NOT_EXIST (12), each with the
 *        default's length.
 */
ZV_API int ZVEVGetString(ZVEV_HANDLE handle, const char* key, char* buffer, unsigned int size,
                         const char* defaultValue);
/**
 * Stores binary data, as ZVEVSetInteger() stores an integer.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param data the bytes.
 * @param size their count, at least 1.
 * @return 1, or 0.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null key or data;
 *        ::TARN_ERR_INVALID_BINARY_SIZE (10) for size 0; ::TARN_ERR_MISSING_KEY_NAME (28);
 *        ::TARN_ERR_CREATE_DIRECTORY (4); ::TARN_ERR_SET_BINARY (21) for an invalid key name, a key
 *        in a directory 16 levels below the root, or when memory runs out.
 */
ZV_API int ZVEVSetData(ZVEV_HANDLE handle, const char* key, const void* data, unsigned int size);
/**
 * Copies a binary key's bytes into a buffer.
 *
 * @param handle the handle.
 * @param key the key path.
 * @param buffer receives up to size bytes.
 * @param size size of buffer in bytes; 0 only measures (buffer may then be null).
 * @return the whole stored size (10 for a 10-byte value read into 2 bytes), or -1 on failure.
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NULL_POINTER (16) for a null key, or a null
 *        buffer with a non-zero size; ::TARN_ERR_MISSING_KEY_NAME (28);
 *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5); ::TARN_ERR_KEY_NOT_EXIST (12) when the key is
 *        missing or not binary.
 */
ZV_API int ZVEVGetData(ZVEV_HANDLE handle, const char* key, void* buffer, unsigned int size);
/**
 * A snapshot of a directory's names: its direct children, in storage order or sorted.
 *
 * @param handle the handle.
 * @param path the directory; null or "" is the base directory.
 * @param options ZVEV_ENUM_DIRS and ZVEV_ENUM_KEYS choose what is listed, ZVEV_ENUM_SORT sorts
 *        the entries by name ignoring ASCII letter case ("a_b" before "AAB", as strcasecmp()
 *        folds to lower case); a directory and a key of the same name come in no set order.
 * @return the list (count 0 for an empty directory), or null. It stays valid after the handle
 *         is closed; release it with ZVEVFreeSnapList().
 * @codes ::TARN_ERR_INVALID_HANDLE (1); ::TARN_ERR_NO_ENUM_OPTION (71) when neither
 *        ZVEV_ENUM_DIRS nor ZVEV_ENUM_KEYS is set; ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
 *        ::TARN_ERR_MEMORY_OVERFLOW (15).
 * @quirk Integers written in hexadecimal, octal or binary (keys loaded from a text file in those
 *        radixes) and comments are never listed, though ZVEVGetInteger() reads those integers.
 */
ZV_API ZVEV_ENUM_LIST_tag* ZVEVEnumEntries(ZVEV_HANDLE handle, const char* path,
                                           unsigned int options);
/**
 * Releases a snapshot from ZVEVEnumEntries().
 *
 * @param list the snapshot.
 * @return 1, or 0 for a null list.
 * @codes ::TARN_ERR_NULL_POINTER (16) for a null list.
 */
ZV_API int ZVEVFreeSnapList(ZVEV_ENUM_LIST_tag* list);
/**
 * Sets the process-wide flag CZVEnvFile::g_bZVCSaveAbort, kept for host programs that read it.
 *
 * @quirk Nothing in the library reads or clears the flag: a running or later flush is not cut
 *        short.
 */
ZV_API void ZVEVFlushAbort(void);

/**
 * Tells whether a file exists.
 *
 * @param path the path.
 * @return 1 when stat() of path succeeds and the mode's directory bit (0x4000) is clear, else 0
 *         (also for a null path): a directory, a block device and a socket count as absent.
 *         Sets no code.
 */
ZV_API int ZVEVIsFileExistA(const char* path);
/**
 * The wide form of ZVEVIsFileExistA(); the path is converted into at most 256 bytes (a path
 * that does not convert or fills them counts as absent).
 *
 * @param path the path.
 * @return 1 when an entry that is not a directory exists there, else 0. Sets no code.
 */
ZV_API int ZVEVIsFileExistW(const wchar_t* path);

ZV_END_C

/** @} */

#endif /* ZVFILEACCESS_H */
