/**
 * @file ZVEnvFile.h
 * @brief One environment file on disk bound to one in-memory store.
 *
 * Directories and keys are addressed by '/'-separated paths. A path that begins with '/' is
 * absolute; any other is relative to the assigned directory (the root when none is assigned).
 * For a key the text after the last '/' is the key name. Names compare without regard to ASCII
 * letter case. Opening a file that does not exist gives an empty store; the file comes into
 * being at the first Flush.
 *
 * Results are 1/0 unless said otherwise, and every failure leaves a last-error code (TarnError.h):
 * 2 format not assigned, 3 close failed, 4 directory not created, 5 no such directory, 6 already
 * open, 7 not open, 8 flush failed, 9 no shared name, 10 binary size 0, 12 no such key (or
 * another type), 13 load failed, 14 lock mark not set, 15 no memory, 16 null pointer, 17 work
 * area not opened, 18/19 directory/key not removed, 20 reset failed, 21-24 value not set
 * (binary, integer, real or boolean, string), 25 unsupported format, 26 store not locked,
 * 27 invalid key, 28 key name missing, 64 store not unlocked, 65 invalid file path, 71 no
 * enumeration option.
 *
 * The critical section of each object is empty on this platform: one object gives no exclusion
 * between threads. The store's own lock is the one that excludes.
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them.
 */
#ifndef ZVENVFILE_H
#define ZVENVFILE_H

#ifdef __cplusplus

#include <pthread.h>

#include "ZVEnvData.h"
#include "ZVTypes.h"

/**
 * One environment file bound to one store (CZVEnvData), addressed by key paths. The ZVEV
 * functions make one object per handle; their pages give every code with its cause, and the
 * members here report the same codes (without code 1, which only the handle check gives).
 *
 * Closed after construction; OpenFile() opens it; Close() closes it, and it may be opened again.
 * Flush(), SaveAs(), AssignFormat() and every path operation fail with code 7 while closed;
 * AssignDir(), GetAssignedDir() work in both states. The object is reference-counted: it is
 * created with a count of 0, and the Release() that brings the count from 1 to 0 deletes it.
 * Every operation that touches the store takes the store's lock and releases it when done.
 *
 * Layout: 288 bytes on the device.
 * @ingroup envfile
 */
class ZV_API CZVEnvFile {
public:
    /** A closed object with a reference count of 0 and no assigned directory. */
    CZVEnvFile();
    /** Closes the store and frees the file path and the assigned directory. */
    virtual ~CZVEnvFile();

    /**
     * Adds a reference.
     *
     * @return the new reference count.
     */
    virtual int AddRef();
    /**
     * Drops a reference; the object deletes itself when the count reaches 0.
     *
     * @return the new reference count; 0 when the object was deleted.
     * @quirk A count of 0 stays 0 and nothing is deleted: an object that was never AddRef()ed
     *        is not deleted by Release().
     */
    virtual int Release();
    /**
     * Resolves a path to a full path and opens (or, when missing, starts empty) its store; see
     * ZVEVOpenFile().
     *
     * @param path the file.
     * @return 1, or 0 (the object is then closed and reusable).
     * @codes ::TARN_ERR_FILE_ALREADY_OPENED (6) when open already (the open file stays open);
     *        ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_INVALID_FILE_PATH (65);
     *        ::TARN_ERR_GET_SHARED_DATA_NAME (9); ::TARN_ERR_OPEN_WORK_AREA (17);
     *        ::TARN_ERR_LOCK_DATA (26); ::TARN_ERR_LOAD_FILE (13); ::TARN_ERR_RESET_FILE (20);
     *        ::TARN_ERR_UNLOCK_DATA (64); ::TARN_ERR_MEMORY_OVERFLOW (15).
     */
    virtual int OpenFile(const char* path);
    /**
     * Closes the store; changes not flushed are lost.
     *
     * @return 1 (also when nothing is open, without a code), or 0.
     * @codes ::TARN_ERR_CLOSE_FILE (3) when the store cannot be closed (the object counts as
     *        closed all the same).
     */
    virtual int Close();
    /**
     * Tells whether a file is open.
     *
     * @return 1 while a file path is held, else 0.
     */
    virtual int IsOpened();
    /**
     * Saves the store to its own file; see ZVEVFlush().
     *
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26); ::TARN_ERR_FLUSH_FILE (8).
     */
    virtual int Flush();
    /**
     * Saves the store to another file; the object stays bound to its own file.
     *
     * @param path the file to write, taken as given (not resolved to a full path).
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26); ::TARN_ERR_FLUSH_FILE (8),
     *        also for a null path.
     */
    virtual int SaveAs(const char* path);
    /**
     * Sets the base of relative paths. Taken as given and followed from the root at each use,
     * whether or not it begins with '/'. Works while closed too.
     *
     * @param path the base directory; null makes it the root.
     * @return 1, or 0 when the copy cannot be made (code 15; the root is then the base).
     */
    virtual int AssignDir(const char* path);
    /**
     * Copies the assigned directory ("/" when none) into buffer, cut to size - 1 characters.
     * Works while closed too.
     *
     * @param buffer receives the text; may be null when size is 0.
     * @param size size of buffer in bytes; 0 only measures.
     * @return the whole length of the text, or -1.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null buffer with a non-zero size.
     */
    virtual int GetAssignedDir(char* buffer, unsigned int size);
    /**
     * The form the next save writes. Does not test whether a file is open.
     *
     * @return 0 text ("ENVT"), 1 binary ("ENVB"); 0 on failure.
     * @codes ::TARN_ERR_LOCK_DATA (26) when the store cannot be locked (a closed object).
     */
    virtual int GetFormat();
    /**
     * Chooses the form of the next Flush() or SaveAs().
     *
     * @param format 0 text, 1 binary.
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_UNSUPPORTED_FORMAT (25) for any other
     *        value, negative ones too; ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_ASSIGN_SAVE_FORMAT (2).
     */
    virtual int AssignFormat(int format);
    /**
     * Tells whether a directory exists; see ZVEVCheckDirExist().
     *
     * @param path the directory.
     * @return 1 when it exists, else 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5).
     * @quirk The root reached through an empty or null path with no assigned directory reports
     *        0 without a code; "/" reports 1.
     */
    virtual int CheckDirExist(const char* path);
    /**
     * Creates every missing directory on the path.
     *
     * @param path the directory.
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_CREATE_DIRECTORY (4).
     * @quirk Leaves the store locked on purpose: the lock is not counted, so the next
     *        operation's lock returns at once and its unlock releases it.
     */
    virtual int CreateDir(const char* path);
    /**
     * Removes a directory with everything in it.
     *
     * @param path the directory.
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5); ::TARN_ERR_REMOVE_DIRECTORY (18) for the root.
     */
    virtual int RemoveDir(const char* path);
    /**
     * Tells whether a key of any type exists.
     *
     * @param key the key path.
     * @return 1 when it exists, else 0 (no code for a missing key).
     * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_MISSING_KEY_NAME (28) for a path that is
     *        empty or ends in '/' ("cfg/"); ::TARN_ERR_FILE_NOT_OPENED (7);
     *        ::TARN_ERR_LOCK_DATA (26); ::TARN_ERR_DIRECTORY_NOT_EXIST (5).
     */
    virtual int CheckKeyExist(const char* key);
    /**
     * Removes a key with a comment that trails it.
     *
     * @param key the key path.
     * @return 1, or 0.
     * @codes Those of CheckKeyExist(); ::TARN_ERR_KEY_NOT_EXIST (12) for a missing key;
     *        ::TARN_ERR_REMOVE_KEY (19).
     */
    virtual int RemoveKey(const char* key);
    /**
     * Sets (non-zero) or clears the lock mark of a directory.
     *
     * @param path the directory.
     * @param lock non-zero sets the mark, zero clears it.
     * @return 1, or 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5); ::TARN_ERR_LOCK_DIRECTORY (14).
     * @quirk A mark only: nothing refuses a change in a marked directory.
     */
    virtual int Lock(const char* path, int lock);
    /**
     * Tells whether a directory carries the lock mark.
     *
     * @param path the directory.
     * @return 1 when marked, else 0.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5).
     */
    virtual int IsLocked(const char* path);

    /**
     * Stores an integer; missing directories on the key's path are created, and a key of any
     * type is replaced (an integer key keeps its radix). See ZVEVSetInteger().
     *
     * @param key the key path.
     * @param value the value.
     * @return 1, or 0.
     * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_MISSING_KEY_NAME (28);
     *        ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_CREATE_DIRECTORY (4); ::TARN_ERR_SET_INTEGER (22).
     */
    virtual int SetInteger(const char* key, int value);
    /**
     * Reads an integer key of any radix.
     *
     * @param key the key path.
     * @param defaultValue returned when there is no such integer.
     * @return the value, or defaultValue.
     * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_MISSING_KEY_NAME (28);
     *        ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5); ::TARN_ERR_KEY_NOT_EXIST (12) for a missing key
     *        or one of another type.
     */
    virtual int GetInteger(const char* key, int defaultValue);
    /**
     * Stores a real, as SetInteger() stores an integer.
     *
     * @param key the key path.
     * @param value the value; infinite values are refused (code 23, nothing created),
     *        not-a-number values are stored.
     * @return 1, or 0.
     * @codes As SetInteger(), with ::TARN_ERR_SET_REAL (23) in place of 22.
     */
    virtual int SetDouble(const char* key, double value);
    /**
     * Reads a real key.
     *
     * @param key the key path.
     * @param defaultValue returned for a null key, a missing key or one of another type.
     * @return the value, defaultValue, or 0.0.
     * @codes As GetInteger().
     * @quirk 0.0, not the default, when the key's path cannot be resolved (codes 5, 7, 26, 28).
     */
    virtual double GetDouble(const char* key, double defaultValue);
    /**
     * Stores a boolean, as SetInteger() stores an integer.
     *
     * @param key the key path.
     * @param value non-zero for true.
     * @return 1, or 0.
     * @codes As SetInteger(), with ::TARN_ERR_SET_REAL (23) in place of 22.
     * @quirk A refused boolean reports code 23, the real-value code.
     */
    virtual int SetBoolean(const char* key, int value);
    /**
     * Reads a boolean key.
     *
     * @param key the key path.
     * @param defaultValue returned when there is no such boolean.
     * @return 1 or 0, or defaultValue.
     * @codes As GetInteger().
     */
    virtual int GetBoolean(const char* key, int defaultValue);
    /**
     * Stores a string, as SetInteger() stores an integer.
     *
     * @param key the key path.
     * @param text the text, up to its first NUL.
     * @return 1, or 0.
     * @codes As SetInteger() (16 also for a null text), with ::TARN_ERR_SET_STRING (24) in
     *        place of 22.
     */
    virtual int SetString(const char* key, const char* text);
    /**
     * Copies the text of a string key, or the default, into buffer (the default first, so the
     * buffer holds it whenever the key does not deliver); see ZVEVGetString().
     *
     * @param key the key path.
     * @param buffer receives the text, cut to size - 1 characters.
     * @param size size of buffer in bytes; 0 only measures.
     * @param defaultValue the text used when there is no such string.
     * @return the whole length of the text or of the default; -1 for bad arguments.
     * @codes ::TARN_ERR_NULL_POINTER (16, -1) for a null key or default, or a null buffer with a
     *        non-zero size; the codes of GetInteger(), with the default's length.
     */
    virtual int GetString(const char* key, char* buffer, unsigned int size,
                          const char* defaultValue);
    /**
     * Stores binary data, as SetInteger() stores an integer.
     *
     * @param key the key path.
     * @param data the bytes.
     * @param size their count, at least 1.
     * @return 1, or 0.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null key or data;
     *        ::TARN_ERR_INVALID_BINARY_SIZE (10) for size 0; as SetInteger() otherwise, with
     *        ::TARN_ERR_SET_BINARY (21) in place of 22.
     */
    virtual int SetData(const char* key, const void* data, unsigned int size);
    /**
     * Copies up to size bytes of a binary key into buffer.
     *
     * @param key the key path.
     * @param buffer receives the bytes; may be null when size is 0.
     * @param size size of buffer in bytes; 0 only measures.
     * @return the whole stored size, or -1 on failure.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null key, or a null buffer with a non-zero size;
     *        the codes of GetInteger() (12 also for a key that is not binary).
     */
    virtual int GetData(const char* key, void* buffer, unsigned int size);
    /**
     * A snapshot of a directory's names; see ZVEVEnumEntries().
     *
     * @param path the directory; null or "" is the base directory.
     * @param options ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS, and ZVEV_ENUM_SORT.
     * @return the list, released with FreeSnapList(); null on failure.
     * @codes ::TARN_ERR_NO_ENUM_OPTION (71); ::TARN_ERR_FILE_NOT_OPENED (7);
     *        ::TARN_ERR_LOCK_DATA (26); ::TARN_ERR_DIRECTORY_NOT_EXIST (5);
     *        ::TARN_ERR_MEMORY_OVERFLOW (15).
     * @quirk Integers written in hexadecimal, octal or binary, and comments, are never listed.
     */
    virtual ZVEV_ENUM_LIST_tag* EnumEntries(const char* path, unsigned int options);

    /**
     * Resolves a directory path: an absolute path from the root, any other from the assigned
     * directory (itself followed from the root) or from the root.
     *
     * @param path the directory path; null or an empty one means the base directory.
     * @param length its length in bytes; negative means strlen.
     * @param dir receives the directory's offset in the store; 0 for the root reached through an
     *        absent path with no assigned directory (the store reads 0 as the root).
     * @param create non-zero creates the missing directories (the assigned one included).
     * @return 1 with the store left locked for the caller, who unlocks it; 0 with the store
     *         unlocked.
     * @codes ::TARN_ERR_FILE_NOT_OPENED (7); ::TARN_ERR_LOCK_DATA (26);
     *        ::TARN_ERR_DIRECTORY_NOT_EXIST (5) without create; ::TARN_ERR_CREATE_DIRECTORY (4)
     *        with it.
     */
    virtual int PrepareDir(const char* path, int length, unsigned int* dir, int create);
    /**
     * Resolves a key path into its directory and name: the text up to and including the last
     * '/' is the directory path (resolved by PrepareDir()), the rest is the name.
     *
     * @param key the key path.
     * @param dir receives the directory's offset.
     * @param name receives a pointer to the name inside key (not copied).
     * @param nameLength receives the name's length.
     * @param create non-zero creates the missing directories.
     * @return 1 with the store left locked for the caller; 0 with the store unlocked.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null key; ::TARN_ERR_MISSING_KEY_NAME (28) for
     *        a path that is empty or ends in '/'; the codes of PrepareDir().
     *        ::TARN_ERR_INVALID_KEY (27) is never reported: every path splits.
     */
    virtual int PrepareKey(const char* key, unsigned int* dir, char** name, int* nameLength,
                           int create);
    /**
     * The full path of a path (OS_GetFullPathName(); the last component need not exist).
     *
     * @param path the path.
     * @return a new library string, or null.
     * @codes ::TARN_ERR_INVALID_FILE_PATH (65) when the path does not resolve (also for "");
     *        ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_MEMORY_OVERFLOW (15).
     */
    virtual char* GetFullPath(const char* path);
    /**
     * The validation identifier of a path: a copy with `\` turned into '/' and 'a'-'z'
     * upper-cased. The store uses it to tell the owner of a shared block.
     *
     * @param path the path.
     * @return a new library string, or null.
     * @codes ::TARN_ERR_NULL_POINTER (16); ::TARN_ERR_MEMORY_OVERFLOW (15).
     */
    virtual char* GetValidateID(const char* path);

    /**
     * Releases a snapshot from EnumEntries(): its count and first entry are cleared, then the
     * block is freed.
     *
     * @param list the snapshot.
     * @return 1, or 0 for a null list.
     * @codes ::TARN_ERR_NULL_POINTER (16) for a null list.
     */
    static int FreeSnapList(ZVEV_ENUM_LIST_tag* list);

    /** Set by ZVEVFlushAbort. Kept for host programs that read it: nothing in the library reads
     * or clears it, so a flush is never cut short. */
    static int g_bZVCSaveAbort;

    /** Not copyable. */
    CZVEnvFile(const CZVEnvFile&) = delete;
    /** Not assignable. */
    CZVEnvFile& operator=(const CZVEnvFile&) = delete;

    int m_nRefCount;                   /**< 0 after construction */
    char* m_pszFilePath;               /**< library buffer: the full path while open, else null */
    char* m_pszAssignedDir;            /**< library buffer: base of relative paths, or null */
    CZVEnvData m_EnvData;              /**< the store */
    pthread_mutex_t m_CriticalSection; /**< empty critical section (see above) */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVEnvFile) == 288, "CZVEnvFile is 288 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVENVFILE_H */
