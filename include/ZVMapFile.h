/*
 * ZVMapFile.h - a memory mapping of an existing file, or of anonymous memory, with a mutex.
 *
 * A file-backed mapping is MAP_SHARED on the file. A mapping without a path is
 * MAP_SHARED | MAP_ANONYMOUS: private to the process and the children it forks later; names
 * look nothing up. The mutex is a plain pthread mutex inside the object (default attributes);
 * its name is discarded. Operations return 1 for success and 0 for failure and never set the
 * last-error code.
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them. The fields are public so that the library's own users of
 * a mapping (shared data blocks, header checks) reach the address and length directly.
 */
#ifndef ZVMAPFILE_H
#define ZVMAPFILE_H

#ifdef __cplusplus

#include <pthread.h>
#include <wchar.h>

#include "ZVTypes.h"

class ZV_API CZVMapFile {
public:
    CZVMapFile();
    virtual ~CZVMapFile();

    /* Moves the open mapping of source into this object; source is left closed. */
    virtual int CopyAndPerge(CZVMapFile* source);
    /* Copy the strings, then OpenT. size 0 means the file's own size. */
    virtual int OpenA(const char* path, unsigned int size, const char* mutexName, int readOnly);
    virtual int OpenW(const wchar_t* path, unsigned int size, const wchar_t* mutexName,
                      int readOnly);
    /* Maps path (null: anonymous memory) at size bytes. */
    virtual int OpenT(const char* path, unsigned int size, const char* mutexName, int readOnly);
    /* Flushes (unless read-only), unmaps and closes the descriptor. Always 1. */
    virtual int Close();
    /* New length, keeping min(old, new) bytes. A closed, read-only or zero-size request is
     * refused with the mapping untouched; once the old mapping is closed, a failed reopen leaves
     * the object closed (an anonymous mapping's bytes are then lost). */
    virtual int Resize(unsigned int newSize);
    /* 1 when mapped; stores the read-only flag when readOnly is non-null. */
    virtual int IsOpened(int* readOnly);
    /* st_ctime, st_atime and st_mtime of a file-backed mapping's file. */
    virtual int GetFileTime(long* created, long* accessed, long* written);
    /* 1 when the last open made a new mapping. */
    virtual int IsFirst();
    /* msync(MS_ASYNC) of a writable file-backed mapping; 1 for the others. */
    virtual int Flush();
    virtual int CreateMutexA(const char* name);
    virtual int CreateMutexW(const wchar_t* name);
    virtual int CreateMutexT(const char* name);
    virtual int CloseMutex();
    /* Non-zero locks the mutex (once), zero unlocks it. */
    virtual int Lock(int lock);
    virtual int IsLocked();

    CZVMapFile(const CZVMapFile&) = delete;
    CZVMapFile& operator=(const CZVMapFile&) = delete;

    int m_bFileBacked;       /* 1 when opened with a path */
    int m_hFile;             /* descriptor, -1 when anonymous or closed */
    int m_bReadOnly;         /* 1 when mapped read-only */
    pthread_mutex_t m_Mutex; /* the mapping's lock */
    int m_bMutexCreated;     /* 1 between CreateMutex and CloseMutex */
    int m_bLocked;           /* 1 while this object holds m_Mutex */
    int m_bFirst;            /* what IsFirst() returns */
    char* m_pszPath;         /* library buffer: the path given to Open */
    char* m_pszMutexName;    /* library buffer: the mutex name given to Open */
    unsigned int m_dwLength; /* mapped bytes */
    void* m_pAddress;        /* start of the mapping, null when not open */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVMapFile) == 68, "CZVMapFile is 68 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVMAPFILE_H */
