/*
 * ZVEnvFile.h - one environment file on disk bound to one in-memory store.
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

class ZV_API CZVEnvFile {
public:
    CZVEnvFile();
    virtual ~CZVEnvFile();

    /* The new reference count. */
    virtual int AddRef();
    /* The new reference count; the object deletes itself when it reaches 0. A count of 0 stays
     * 0 and nothing is deleted. */
    virtual int Release();
    /* Resolves path to a full path and opens (or, when missing, starts empty) its store. */
    virtual int OpenFile(const char* path);
    /* 1 also when nothing is open. */
    virtual int Close();
    virtual int IsOpened();
    /* Saves the store to its own file. */
    virtual int Flush();
    /* Saves the store to path, taken as given; the object stays bound to its own file. */
    virtual int SaveAs(const char* path);
    /* The base of relative paths; null makes it the root. Taken as given, used at each call. */
    virtual int AssignDir(const char* path);
    /* Copies the assigned directory ("/" when none) into buffer (cut to size - 1 characters)
     * and returns its whole length; size 0 only measures. -1 on failure. */
    virtual int GetAssignedDir(char* buffer, unsigned int size);
    /* 0 text ("ENVT"), 1 binary ("ENVB"). */
    virtual int GetFormat();
    /* Takes effect at the next Flush or SaveAs. */
    virtual int AssignFormat(int format);
    virtual int CheckDirExist(const char* path);
    /* Creates every missing directory on the path. Leaves the store locked on purpose: the next
     * operation's lock returns at once and its unlock releases it. */
    virtual int CreateDir(const char* path);
    virtual int RemoveDir(const char* path);
    virtual int CheckKeyExist(const char* key);
    virtual int RemoveKey(const char* key);
    /* Sets (non-zero) or clears the lock mark of a directory. A mark only: nothing refuses a
     * change in a marked directory. */
    virtual int Lock(const char* path, int lock);
    virtual int IsLocked(const char* path);

    /* Setters create missing directories on the key's path. Getters return the caller's default
     * when the key is missing or of another type (code 12). */
    virtual int SetInteger(const char* key, int value);
    virtual int GetInteger(const char* key, int defaultValue);
    /* Infinite values are refused (code 23); not-a-number values are stored. */
    virtual int SetDouble(const char* key, double value);
    /* 0.0, not the default, when the key's path cannot be resolved. */
    virtual double GetDouble(const char* key, double defaultValue);
    /* A refused boolean reports code 23, the real-value code. */
    virtual int SetBoolean(const char* key, int value);
    virtual int GetBoolean(const char* key, int defaultValue);
    virtual int SetString(const char* key, const char* text);
    /* Copies the text (or the default) into buffer, cut to size - 1 characters, and returns the
     * whole length; size 0 only measures. -1 for bad arguments. */
    virtual int GetString(const char* key, char* buffer, unsigned int size,
                          const char* defaultValue);
    virtual int SetData(const char* key, const void* data, unsigned int size);
    /* Copies up to size bytes and returns the whole stored size; -1 on failure. */
    virtual int GetData(const char* key, void* buffer, unsigned int size);
    /* A snapshot of a directory's names (options: ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS, and
     * ZVEV_ENUM_SORT), or null. Released with FreeSnapList. */
    virtual ZVEV_ENUM_LIST_tag* EnumEntries(const char* path, unsigned int options);

    /* Resolves a directory path; on 1 the store is left locked for the caller. */
    virtual int PrepareDir(const char* path, int length, unsigned int* dir, int create);
    /* Resolves a key path into its directory and name (pointing into key); on 1 the store is
     * left locked for the caller. */
    virtual int PrepareKey(const char* key, unsigned int* dir, char** name, int* nameLength,
                           int create);
    /* A new library string: the full path of path, or null (code 65). */
    virtual char* GetFullPath(const char* path);
    /* A new library string: path with '\' turned into '/' and 'a'-'z' upper-cased. */
    virtual char* GetValidateID(const char* path);

    /* Releases a snapshot from EnumEntries. */
    static int FreeSnapList(ZVEV_ENUM_LIST_tag* list);

    /* Set by ZVEVFlushAbort. Kept for host programs that read it: nothing in the library reads
     * or clears it, so a flush is never cut short. */
    static int g_bZVCSaveAbort;

    CZVEnvFile(const CZVEnvFile&) = delete;
    CZVEnvFile& operator=(const CZVEnvFile&) = delete;

    int m_nRefCount;                   /* 0 after construction */
    char* m_pszFilePath;               /* library buffer: the full path while open, else null */
    char* m_pszAssignedDir;            /* library buffer: base of relative paths, or null */
    CZVEnvData m_EnvData;              /* the store */
    pthread_mutex_t m_CriticalSection; /* empty critical section (see above) */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVEnvFile) == 288, "CZVEnvFile is 288 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVENVFILE_H */
