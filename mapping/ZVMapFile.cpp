/*
 * ZVMapFile.cpp - a memory mapping of an existing file, or of anonymous memory, with a mutex.
 *
 * Operations report by their result only (1 success, 0 failure) and never set the last-error
 * code; the system calls they make may still change errno, which is the last-error code.
 * Calls between the operations are plain unqualified calls, so they go through the virtual
 * slots and a host program's subclass sees them.
 */
#include "ZVMapFile.h"

#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnFile.h"
#include "TarnString.h"

namespace {

/* When the last-error code holds this value at the end of an open, the open is not "first". */
const unsigned int kNotFirstError = 11u;

/* Frees a library buffer held in *slot, if any, and clears the slot. */
void FreeCopy(char** slot) {
    if (*slot != NULL) {
        TarnFreeBuffer(*slot);
        *slot = NULL;
    }
}

/* Duplicates a narrow text; a null text stays null. False when the copy could not be made. */
bool CopyOptional(const char* src, char** copy) {
    *copy = NULL;
    if (src == NULL) {
        return true;
    }
    *copy = TarnDupStringA(src);
    return *copy != NULL;
}

/* Converts a wide text to narrow; a null text stays null. False when the conversion failed. */
bool CopyOptional(const wchar_t* src, char** copy) {
    *copy = NULL;
    if (src == NULL) {
        return true;
    }
    *copy = TarnWideToAnsiString(src);
    return *copy != NULL;
}

/* Frees a copy made by CopyOptional. */
void FreeOptional(char* copy) {
    if (copy != NULL) {
        TarnFreeBuffer(copy);
    }
}

/*
 * OpenA and OpenW: copy (or convert) the path and the mutex name, open through the OpenT slot,
 * free the copies, and fold the result to 0/1. A text that cannot be copied fails before anything
 * is opened.
 */
template <typename Ch>
int OpenFromCopies(CZVMapFile* map, const Ch* path, unsigned int size, const Ch* mutexName,
                   int readOnly) {
    char* pathCopy = NULL;
    char* nameCopy = NULL;
    if (!CopyOptional(path, &pathCopy)) {
        return 0;
    }
    if (!CopyOptional(mutexName, &nameCopy)) {
        FreeOptional(pathCopy);
        return 0;
    }
    int result = map->OpenT(pathCopy, size, nameCopy, readOnly);
    FreeOptional(pathCopy);
    FreeOptional(nameCopy);
    return result != 0 ? 1 : 0;
}

/*
 * The work of CreateMutexT, shared by the A and W forms, which run it directly rather than
 * through the CreateMutexT slot.
 */
int InitMutex(CZVMapFile* map) {
    if (map->m_bMutexCreated) {
        return 0;
    }
    if (pthread_mutex_init(&map->m_Mutex, NULL) != 0) {
        return 0;
    }
    map->m_bLocked = 0;
    map->m_bMutexCreated = 1;
    return 1;
}

/*
 * Brings a writable file to the requested size by writing one zero byte at size - 1. The seek
 * result is compared with 1, not with size - 1, on purpose: host programs rely on a writable
 * open of any other size than the file's own failing, so only a request of 2 bytes gets through.
 */
bool WriteLastByte(int fd, unsigned int size) {
    off_t target = static_cast<off_t>(size - 1u); /* size is never 0 here */
    if (lseek(fd, target, SEEK_SET) != 1) {
        return false;
    }
    const char zero = 0;
    return write(fd, &zero, 1) == 1;
}

/*
 * Opens the file for the mapping and settles the size to map (0 when nothing can be mapped).
 * Returns the descriptor, or -1 when the file cannot be opened or brought to the size.
 */
int OpenForMapping(const char* path, int readOnly, unsigned int* size) {
    int fd = open(path, readOnly ? O_RDONLY : O_RDWR);
    if (fd == -1) {
        return -1;
    }
    unsigned int fileSize = GetFileSize(path);
    if (*size == 0) {
        *size = fileSize;
    } else if (*size == fileSize) {
        /* mapped as it is */
    } else if (readOnly) {
        if (*size > fileSize) {
            *size = fileSize; /* a read-only mapping never reaches past the end */
        }
    } else if (!WriteLastByte(fd, *size)) {
        close(fd);
        return -1;
    }
    return fd;
}

/* Unmaps (after a synchronous flush of a writable mapping) and closes the descriptor. */
void ReleaseMapping(CZVMapFile* map) {
    if (map->m_pAddress != NULL) {
        if (!map->m_bReadOnly) {
            msync(map->m_pAddress, map->m_dwLength, MS_SYNC);
        }
        munmap(map->m_pAddress, map->m_dwLength);
        map->m_pAddress = NULL;
    }
    if (map->m_hFile != -1) {
        close(map->m_hFile);
        map->m_hFile = -1;
    }
    map->m_bFileBacked = 0;
    map->m_bReadOnly = 0;
}

}  // namespace

CZVMapFile::CZVMapFile()
    : m_bFileBacked(0),
      m_hFile(-1),
      m_bReadOnly(0),
      m_bMutexCreated(0),
      m_bLocked(0),
      m_bFirst(0),
      m_pszPath(NULL),
      m_pszMutexName(NULL),
      m_dwLength(0),
      m_pAddress(NULL) {
    memset(&m_Mutex, 0, sizeof m_Mutex);
}

CZVMapFile::~CZVMapFile() {
    ReleaseMapping(this);
    if (m_bLocked && pthread_mutex_unlock(&m_Mutex) == 0) {
        m_bLocked = 0;
    }
    if (m_bMutexCreated) {
        bool unlocked = true;
        if (IsLocked()) {
            unlocked = Lock(0) != 0;
        }
        if (unlocked) {
            pthread_mutex_destroy(&m_Mutex);
        }
    }
    FreeCopy(&m_pszPath);
    FreeCopy(&m_pszMutexName);
}

int CZVMapFile::CopyAndPerge(CZVMapFile* source) {
    if (source == NULL) {
        return 0;
    }
    if (IsOpened(NULL) && !Close()) {
        return 0;
    }
    if (IsLocked() && !Lock(0)) {
        return 0;
    }
    if (!CloseMutex()) {
        return 0;
    }
    FreeCopy(&m_pszPath);
    FreeCopy(&m_pszMutexName);

    m_bFileBacked = source->m_bFileBacked;
    source->m_bFileBacked = 0;
    m_hFile = source->m_hFile;
    source->m_hFile = -1;
    /* The source keeps its own bytes of the mutex and its mutex-created flag. */
    memcpy(&m_Mutex, &source->m_Mutex, sizeof m_Mutex);
    m_dwLength = source->m_dwLength;
    source->m_dwLength = 0;
    m_pAddress = source->m_pAddress;
    source->m_pAddress = NULL;
    m_bReadOnly = source->m_bReadOnly;
    m_bLocked = source->m_bLocked;
    m_bFirst = source->m_bFirst;
    m_pszPath = source->m_pszPath;
    source->m_pszPath = NULL;
    m_pszMutexName = source->m_pszMutexName;
    source->m_pszMutexName = NULL;
    return 1;
}

int CZVMapFile::OpenA(const char* path, unsigned int size, const char* mutexName, int readOnly) {
    return OpenFromCopies(this, path, size, mutexName, readOnly);
}

int CZVMapFile::OpenW(const wchar_t* path, unsigned int size, const wchar_t* mutexName,
                      int readOnly) {
    return OpenFromCopies(this, path, size, mutexName, readOnly);
}

int CZVMapFile::OpenT(const char* path, unsigned int size, const char* mutexName, int readOnly) {
    if (IsOpened(NULL)) {
        return 0;
    }
    if (path != NULL && TarnIsFileCorruptedA(path)) {
        return 0;
    }
    FreeCopy(&m_pszPath);
    FreeCopy(&m_pszMutexName);
    if (!CopyOptional(path, &m_pszPath)) {
        return 0;
    }
    if (!CopyOptional(mutexName, &m_pszMutexName)) {
        return 0;
    }
    m_bFirst = 0;
    if (size == 0 && (path == NULL || !FileExists(path))) {
        return 0;
    }

    int fd = -1;
    if (path == NULL) {
        readOnly = 0; /* anonymous memory is always writable */
    } else {
        fd = OpenForMapping(path, readOnly, &size);
        if (fd == -1) {
            return 0;
        }
    }
    if (size == 0) {
        if (fd != -1) {
            close(fd); /* an empty file cannot be mapped */
        }
        return 0;
    }

    int prot = readOnly ? PROT_READ : PROT_WRITE;
    int flags = path != NULL ? MAP_SHARED : (MAP_SHARED | MAP_ANONYMOUS);
    void* address = mmap(NULL, size, prot, flags, fd, 0);
    if (address == MAP_FAILED) {
        if (fd != -1) {
            close(fd);
        }
        return 0;
    }

    /* The caller's last-error code at this moment decides: 11 means the mapping was not new. */
    m_bFirst = TarnGetLastError() == kNotFirstError ? 0 : 1;
    m_hFile = fd;
    m_dwLength = size;
    m_bFileBacked = path != NULL ? 1 : 0;
    m_bReadOnly = readOnly ? 1 : 0;
    m_pAddress = address;
    return 1;
}

int CZVMapFile::Close() {
    ReleaseMapping(this);
    return 1;
}

int CZVMapFile::Resize(unsigned int newSize) {
    if (!IsOpened(NULL) || m_bReadOnly || newSize == 0) {
        return 0;
    }
    if (m_dwLength == newSize) {
        return 1;
    }
    CZVMapFile scratch;
    if (!scratch.OpenT(NULL, newSize, NULL, 0)) {
        return 0;
    }
    unsigned int keep = m_dwLength < newSize ? m_dwLength : newSize;
    memcpy(scratch.m_pAddress, m_pAddress, keep);
    if (!Close()) {
        return 0;
    }
    /* OpenT frees the stored copies before it duplicates its arguments: pass copies of them. */
    char* pathCopy = NULL;
    char* nameCopy = NULL;
    if (!CopyOptional(m_pszPath, &pathCopy)) {
        return 0;
    }
    if (!CopyOptional(m_pszMutexName, &nameCopy)) {
        FreeOptional(pathCopy);
        return 0;
    }
    int reopened = OpenT(pathCopy, newSize, nameCopy, 0);
    FreeOptional(pathCopy);
    FreeOptional(nameCopy);
    if (!reopened) {
        return 0;
    }
    memcpy(m_pAddress, scratch.m_pAddress, keep);
    scratch.Close();
    return 1;
}

int CZVMapFile::IsOpened(int* readOnly) {
    if (readOnly != NULL) {
        *readOnly = m_bReadOnly;
    }
    return m_pAddress != NULL ? 1 : 0;
}

int CZVMapFile::GetFileTime(long* created, long* accessed, long* written) {
    if (!m_bFileBacked) {
        return 0;
    }
    struct stat status;
    if (m_pszPath == NULL || stat(m_pszPath, &status) != 0) {
        return 0;
    }
    /* A null destination is skipped: the caller did not ask for that time. */
    if (created != NULL) {
        *created = static_cast<long>(status.st_ctime);
    }
    if (accessed != NULL) {
        *accessed = static_cast<long>(status.st_atime);
    }
    if (written != NULL) {
        *written = static_cast<long>(status.st_mtime);
    }
    return 1;
}

int CZVMapFile::IsFirst() {
    return m_bFirst;
}

int CZVMapFile::Flush() {
    if (m_bReadOnly || m_hFile == -1) {
        return 1; /* nothing to write back: anonymous memory is never flushed */
    }
    return msync(m_pAddress, m_dwLength, MS_ASYNC) != -1 ? 1 : 0;
}

int CZVMapFile::CreateMutexA(const char* name) {
    char* copy = NULL;
    if (!CopyOptional(name, &copy)) {
        return 0;
    }
    /* The name identifies nothing: the mutex lives in this object only. */
    int result = InitMutex(this);
    FreeOptional(copy);
    return result;
}

int CZVMapFile::CreateMutexW(const wchar_t* name) {
    char* copy = NULL;
    if (!CopyOptional(name, &copy)) {
        return 0;
    }
    int result = InitMutex(this);
    FreeOptional(copy);
    return result;
}

int CZVMapFile::CreateMutexT(const char* /*name*/) {
    return InitMutex(this);
}

int CZVMapFile::CloseMutex() {
    if (!m_bMutexCreated) {
        return 1;
    }
    if (IsLocked() && !Lock(0)) {
        return 0;
    }
    pthread_mutex_destroy(&m_Mutex);
    m_bMutexCreated = 0;
    return 1;
}

int CZVMapFile::Lock(int lock) {
    if (lock) {
        if (m_bLocked) {
            return 1; /* this object holds the mutex already and does not lock it twice */
        }
        if (pthread_mutex_lock(&m_Mutex) != 0) {
            return 0;
        }
        m_bLocked = 1;
        return 1;
    }
    if (!m_bLocked) {
        return 1;
    }
    if (pthread_mutex_unlock(&m_Mutex) != 0) {
        return 0;
    }
    m_bLocked = 0;
    return 1;
}

int CZVMapFile::IsLocked() {
    return m_bLocked ? 1 : 0;
}
