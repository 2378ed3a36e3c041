/**
 * @file ZVMapFile.h
 * @brief A memory mapping of an existing file, or of anonymous memory, with a mutex.
 *
 * A file-backed mapping is MAP_SHARED on the file. A mapping without a path is
 * MAP_SHARED | MAP_ANONYMOUS: private to the process and the children it forks later; names
 * look nothing up. The mutex is a plain pthread mutex inside the object (default attributes);
 * its name is discarded. Operations return 1 for success and 0 for failure and never set the
 * last-error code (the system calls they make may still leave errno set).
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

/**
 * A memory mapping of an existing file or of anonymous memory, with a mutex beside it.
 *
 * The object is closed after construction; Open* maps, Close() unmaps (keeping the path and name
 * copies and the mutex); CreateMutex* and CloseMutex() bracket the mutex on their own. The
 * operations call each other through the virtual slots, so a subclass sees every internal call.
 * The mutex orders the threads of one process that share one object; it gives no exclusion
 * between processes, nor between two objects that map the same file.
 *
 * Layout: 68 bytes on the device.
 * @ingroup mapping
 */
class ZV_API CZVMapFile {
public:
    /** A closed object: descriptor -1, every other field 0 or null. */
    CZVMapFile();
    /**
     * Unmaps (after a synchronous flush of a writable mapping), closes the descriptor, unlocks and
     * destroys the mutex if this object created it, and frees the path and name copies.
     */
    virtual ~CZVMapFile();

    /**
     * Moves the open mapping of source into this object. This object is closed, unlocked and its
     * mutex closed first; then it takes over the source's descriptor, mapping, flags, copies and
     * the bytes of its mutex (this object's m_bMutexCreated stays 0).
     *
     * @param source the object to take the mapping from; it is left closed, so destroying it
     *        neither unmaps nor closes what was moved (it may still destroy its own mutex).
     * @return 1; 0 for a null source or when this object cannot be closed, unlocked or its mutex
     *         closed.
     */
    virtual int CopyAndPerge(CZVMapFile* source);
    /**
     * Copies the strings into library buffers, then OpenT().
     *
     * @param path the file, or null for anonymous memory.
     * @param size bytes to map; 0 means the file's own size.
     * @param mutexName stored and otherwise unused; may be null.
     * @param readOnly non-zero to map read-only.
     * @return 1, or 0 (also when a copy cannot be made).
     */
    virtual int OpenA(const char* path, unsigned int size, const char* mutexName, int readOnly);
    /**
     * Converts the strings to the narrow encoding of the current locale, then OpenT().
     *
     * @param path the file, or null for anonymous memory.
     * @param size bytes to map; 0 means the file's own size.
     * @param mutexName stored and otherwise unused; may be null.
     * @param readOnly non-zero to map read-only.
     * @return 1, or 0 (also when a conversion fails).
     */
    virtual int OpenW(const wchar_t* path, unsigned int size, const wchar_t* mutexName,
                      int readOnly);
    /**
     * Maps a file, which must exist (nothing is created), or anonymous memory.
     *
     * Read-only, a size above the file's maps the whole file and a smaller one its first size
     * bytes (a 100-byte file at 0, 50 and 200 maps 100, 50 and 100 bytes). Anonymous memory is
     * always writable: readOnly is ignored for it. A file that the read probe calls corrupted
     * (TarnIsFileCorruptedA()) and an empty file are refused.
     *
     * @param path the file, or null for anonymous memory (then size must be non-zero).
     * @param size bytes to map; 0 means the file's own size.
     * @param mutexName stored in m_pszMutexName and otherwise unused; may be null.
     * @param readOnly non-zero to map read-only (PROT_READ); writable mappings are PROT_WRITE.
     * @return 1, or 0 (already open, missing or empty file, failed open or mmap()).
     * @quirk A writable open of a size other than the file's writes a zero byte at size - 1 and
     *        requires the seek there to return 1: only a request of 2 bytes gets through (a
     *        1-byte file becomes 2 bytes; a 10-byte file gets a zero in byte 1 and keeps its
     *        length). Every other writable open of another size fails and closes the file.
     * @quirk The new mapping counts as first (IsFirst()) unless the calling thread's last-error
     *        code reads 11 at the end of the open.
     */
    virtual int OpenT(const char* path, unsigned int size, const char* mutexName, int readOnly);
    /**
     * Flushes (msync(MS_SYNC), unless read-only), unmaps and closes the descriptor. Keeps the
     * path and name copies, the length and the mutex.
     *
     * @return 1, also when nothing was open.
     */
    virtual int Close();
    /**
     * Gives the mapping a new length, keeping min(old, new) bytes (a grown anonymous mapping is
     * zero-filled behind them). The bytes are saved in a scratch mapping, the object is closed and
     * reopened through OpenT() at the new size, and the bytes are copied back.
     *
     * @param newSize the new length in bytes.
     * @return 1 (also when the length is already newSize); 0 when the object is closed,
     *         read-only, newSize is 0 (the mapping untouched in these cases) or the reopen fails.
     * @quirk Once the old mapping is closed, a failed reopen leaves the object closed (an
     *        anonymous mapping's bytes are then lost). A file-backed mapping reopens under
     *        OpenT()'s size rule, so it resizes only to 2 bytes or to the file's size on disk.
     */
    virtual int Resize(unsigned int newSize);
    /**
     * Tells whether the object is mapped.
     *
     * @param readOnly receives the read-only flag when non-null.
     * @return 1 when mapped, else 0.
     */
    virtual int IsOpened(int* readOnly);
    /**
     * The three times of a file-backed mapping's file (stat() of the stored path).
     *
     * @param created receives st_ctime when non-null.
     * @param accessed receives st_atime when non-null.
     * @param written receives st_mtime when non-null.
     * @return 1; 0 for an anonymous or never opened mapping, or when stat() fails.
     */
    virtual int GetFileTime(long* created, long* accessed, long* written);
    /**
     * Tells whether the last open made a new mapping (see OpenT()).
     *
     * @return m_bFirst.
     */
    virtual int IsFirst();
    /**
     * Starts writing a writable file-backed mapping back (msync(MS_ASYNC)).
     *
     * @return 1 (at once for a read-only or anonymous mapping), 0 when msync() fails.
     */
    virtual int Flush();
    /**
     * Copies the name (and discards it), then initialises the mutex as CreateMutexT() does.
     *
     * @param name any label; identifies nothing. May be null.
     * @return 1, or 0 when the mutex exists already, the copy fails or pthread_mutex_init()
     *         fails.
     */
    virtual int CreateMutexA(const char* name);
    /**
     * Converts the name (and discards it), then initialises the mutex as CreateMutexT() does.
     *
     * @param name any label; identifies nothing. May be null.
     * @return 1, or 0 when the mutex exists already, the conversion fails or
     *         pthread_mutex_init() fails.
     */
    virtual int CreateMutexW(const wchar_t* name);
    /**
     * Initialises the object's mutex with default attributes (not recursive, not shared between
     * processes). Two objects that name the same mutex get two independent mutexes.
     *
     * @param name ignored.
     * @return 1, or 0 when the mutex exists already (a second call fails) or
     *         pthread_mutex_init() fails.
     */
    virtual int CreateMutexT(const char* name);
    /**
     * Unlocks the mutex if this object holds it, then destroys it.
     *
     * @return 1 (at once when no mutex was created), 0 when the unlock fails.
     */
    virtual int CloseMutex();
    /**
     * Locks or unlocks the mutex. A lock held already returns 1 at once (the object never locks
     * twice), and so does an unlock of an unlocked object. The mutex-created flag is not checked.
     *
     * @param lock non-zero to lock, zero to unlock.
     * @return 1, or 0 when pthread_mutex_lock() or pthread_mutex_unlock() fails.
     * @quirk The locked flag is a plain field of the object: a second thread calling Lock(1) on an
     *        object that the first thread has locked returns 1 at once without blocking.
     */
    virtual int Lock(int lock);
    /**
     * Tells whether this object holds its mutex.
     *
     * @return 1 when locked, else 0.
     */
    virtual int IsLocked();

    /** Not copyable. */
    CZVMapFile(const CZVMapFile&) = delete;
    /** Not assignable. */
    CZVMapFile& operator=(const CZVMapFile&) = delete;

    int m_bFileBacked;       /**< 1 when opened with a path */
    int m_hFile;             /**< descriptor, -1 when anonymous or closed */
    int m_bReadOnly;         /**< 1 when mapped read-only */
    pthread_mutex_t m_Mutex; /**< the mapping's lock */
    int m_bMutexCreated;     /**< 1 between CreateMutex and CloseMutex */
    int m_bLocked;           /**< 1 while this object holds m_Mutex */
    int m_bFirst;            /**< what IsFirst() returns */
    char* m_pszPath;         /**< library buffer: the path given to Open */
    char* m_pszMutexName;    /**< library buffer: the mutex name given to Open */
    unsigned int m_dwLength; /**< mapped bytes */
    void* m_pAddress;        /**< start of the mapping, null when not open */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVMapFile) == 68, "CZVMapFile is 68 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVMAPFILE_H */
