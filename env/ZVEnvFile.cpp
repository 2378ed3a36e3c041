/*
 * ZVEnvFile.cpp - an environment file object: opening a file by path into its store, closing,
 * flushing, the assigned directory, the format, and the directory and key operations by path.
 *
 * Locking protocol: every operation that touches items takes the store's lock and releases it
 * when done. PrepareDir and PrepareKey take it themselves and return with it still held when
 * they succeed; their caller performs its item operation and then releases it. Failure codes
 * are set after any clean-up, so that nothing a clean-up does can overwrite them.
 */
#include "ZVEnvFile.h"

#include <string.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "ZVFileAccess.h"
#include "ZVLookupCode.h"

int CZVEnvFile::g_bZVCSaveAbort = 0;

namespace {

/* Bytes of the shared-name buffer: 32 hexadecimal digits and the terminator. */
const unsigned int kSharedNameSize = 64;

/* Frees a library string if there is one (freeing null would set a last-error code). */
void FreeString(char** text) {
    if (*text != nullptr) {
        TarnFreeBuffer(*text);
        *text = nullptr;
    }
}

int Fail(unsigned int code) {
    TarnSetLastError(code);
    return 0;
}

/* Follows (or, with create, makes) a directory path from dir in the store. */
unsigned int FollowDirPath(CZVEnvData& store, unsigned int dir, const char* path, int length,
                           int create) {
    return create ? store.CreateDir(dir, path, length) : store.GetDir(dir, path, length);
}

/* Flush and SaveAs: saves the locked store to path. */
int SaveTo(CZVEnvFile* file, const char* path) {
    if (!file->IsOpened()) {
        return Fail(TARN_ERR_FILE_NOT_OPENED);
    }
    if (!file->m_EnvData.Lock(1)) {
        return Fail(TARN_ERR_LOCK_DATA);
    }
    int saved = file->m_EnvData.Save(path);
    file->m_EnvData.Lock(0);
    return saved ? 1 : Fail(TARN_ERR_FLUSH_FILE);
}

}  // namespace

CZVEnvFile::CZVEnvFile() : m_nRefCount(0), m_pszFilePath(nullptr), m_pszAssignedDir(nullptr) {
    memset(&m_CriticalSection, 0, sizeof m_CriticalSection);
    OS_InitializeCriticalSection(&m_CriticalSection);
}

CZVEnvFile::~CZVEnvFile() {
    OS_EnterCriticalSection(&m_CriticalSection);
    m_EnvData.Close();
    FreeString(&m_pszFilePath);
    FreeString(&m_pszAssignedDir);
    OS_LeaveCriticalSection(&m_CriticalSection);
    OS_DeleteCriticalSection(&m_CriticalSection);
}

int CZVEnvFile::AddRef() {
    CCsLock guard(&m_CriticalSection);
    return ++m_nRefCount;
}

/* The critical section is left before the object deletes itself, so no guard object outlives
 * the object it guards. */
int CZVEnvFile::Release() {
    OS_EnterCriticalSection(&m_CriticalSection);
    if (m_nRefCount == 0) {
        OS_LeaveCriticalSection(&m_CriticalSection);
        return 0;
    }
    int count = --m_nRefCount;
    OS_LeaveCriticalSection(&m_CriticalSection);
    if (count == 0) {
        try {
            delete this;
        } catch (...) {
            /* nothing escapes the library */
        }
    }
    return count;
}

char* CZVEnvFile::GetFullPath(const char* path) {
    char* copy = TarnDupStringA(path);
    if (copy == nullptr) {
        return nullptr;
    }
    char* filePart = nullptr;
    unsigned int needed = OS_GetFullPathName(copy, 0, nullptr, &filePart);
    if (needed == 0) {
        FreeString(&copy);
        Fail(TARN_ERR_INVALID_FILE_PATH);
        return nullptr;
    }
    char* buffer = TarnAllocateStringBufferA(needed + 4);
    if (buffer == nullptr) {
        FreeString(&copy);
        return nullptr;
    }
    unsigned int written = OS_GetFullPathName(copy, needed, buffer, &filePart);
    FreeString(&copy);
    if (written == 0 || needed < written + 1) {
        FreeString(&buffer);
        Fail(TARN_ERR_INVALID_FILE_PATH);
        return nullptr;
    }
    char* full = TarnDupStringA(buffer);
    FreeString(&buffer);
    return full;
}

char* CZVEnvFile::GetValidateID(const char* path) {
    char* id = TarnDupStringA(path);
    if (id == nullptr) {
        return nullptr;
    }
    for (char* p = id; *p != '\0'; ++p) {
        if (*p == '\\') {
            *p = '/';
        } else if (*p >= 'a' && *p <= 'z') {
            *p = static_cast<char>(*p - 32);
        }
    }
    return id;
}

int CZVEnvFile::OpenFile(const char* path) {
    CCsLock guard(&m_CriticalSection);
    if (IsOpened()) {
        return Fail(TARN_ERR_FILE_ALREADY_OPENED);
    }
    if (path == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    char* full = GetFullPath(path);
    if (full == nullptr) {
        return 0;
    }
    char* id = GetValidateID(full);
    if (id == nullptr) {
        FreeString(&full);
        return 0;
    }
    char name[kSharedNameSize];
    // GCOVR_EXCL_START GetSharedName always returns 1
    if (!m_EnvData.GetSharedName(full, name, sizeof name)) {
        FreeString(&id);
        FreeString(&full);
        return Fail(TARN_ERR_GET_SHARED_DATA_NAME);
    }
    // GCOVR_EXCL_STOP
    int opened = m_EnvData.Open(name, id);
    FreeString(&id);
    if (!opened) {
        FreeString(&full);
        return Fail(TARN_ERR_OPEN_WORK_AREA);
    }
    if (!m_EnvData.Lock(1)) {
        m_EnvData.Close();
        FreeString(&full);
        return Fail(TARN_ERR_LOCK_DATA);
    }
    /* A missing file is not an error: the store starts empty and the first flush writes it. */
    unsigned int failure = 0;
    if (ZVEVIsFileExistA(full)) {
        failure = m_EnvData.Load(full) ? 0 : TARN_ERR_LOAD_FILE;
    } else {
        failure = m_EnvData.Reset(nullptr, 0) ? 0 : TARN_ERR_RESET_FILE;
    }
    if (failure == 0 && !m_EnvData.Lock(0)) {
        failure = TARN_ERR_UNLOCK_DATA;
    }
    if (failure != 0) {
        m_EnvData.Lock(0);
        m_EnvData.Close();
        FreeString(&full);
        return Fail(failure);
    }
    m_pszFilePath = full;
    return 1;
}

/* The path goes first, so a failed store close still leaves the object closed. */
int CZVEnvFile::Close() {
    CCsLock guard(&m_CriticalSection);
    if (!IsOpened()) {
        return 1;
    }
    FreeString(&m_pszFilePath);
    return m_EnvData.Close() ? 1 : Fail(TARN_ERR_CLOSE_FILE);
}

int CZVEnvFile::IsOpened() {
    CCsLock guard(&m_CriticalSection);
    return m_pszFilePath != nullptr ? 1 : 0;
}

int CZVEnvFile::Flush() {
    CCsLock guard(&m_CriticalSection);
    return SaveTo(this, m_pszFilePath);
}

/*
 * Saves to path as given, not resolved to a full path. The abort flag is not looked at: a flush
 * always runs to its end.
 */
int CZVEnvFile::SaveAs(const char* path) {
    CCsLock guard(&m_CriticalSection);
    return SaveTo(this, path);
}

/* The new directory is copied before the old one is let go: a copy that cannot be made (code
 * 15) leaves the assigned directory as it was. */
int CZVEnvFile::AssignDir(const char* path) {
    CCsLock guard(&m_CriticalSection);
    char* copy = nullptr;
    if (path != nullptr) {
        copy = TarnDupStringA(path);
        if (copy == nullptr) {
            return 0;
        }
    }
    FreeString(&m_pszAssignedDir);
    m_pszAssignedDir = copy;
    return 1;
}

int CZVEnvFile::GetAssignedDir(char* buffer, unsigned int size) {
    CCsLock guard(&m_CriticalSection);
    if (size != 0 && buffer == nullptr) {
        Fail(TARN_ERR_NULL_POINTER);
        return -1;
    }
    const char* text = m_pszAssignedDir != nullptr ? m_pszAssignedDir : "/";
    int length = static_cast<int>(strlen(text));
    // GCOVR_EXCL_START a cutting copy into a non-null buffer of a non-zero size cannot fail
    if (size != 0 && TarnCopyStringA(text, buffer, size, 0) < 0) {
        return -1;
    }
    // GCOVR_EXCL_STOP
    return length;
}

/* Works whether or not a file is open: a closed object cannot lock its store (code 26). */
int CZVEnvFile::GetFormat() {
    CCsLock guard(&m_CriticalSection);
    if (!m_EnvData.Lock(1)) {
        return Fail(TARN_ERR_LOCK_DATA);
    }
    int format = m_EnvData.GetFormat() != 0 ? 1 : 0;
    m_EnvData.Lock(0);
    return format;
}

int CZVEnvFile::AssignFormat(int format) {
    CCsLock guard(&m_CriticalSection);
    if (!IsOpened()) {
        return Fail(TARN_ERR_FILE_NOT_OPENED);
    }
    if (static_cast<unsigned int>(format) >= 2) {
        return Fail(TARN_ERR_UNSUPPORTED_FORMAT);
    }
    if (!m_EnvData.Lock(1)) {
        return Fail(TARN_ERR_LOCK_DATA);
    }
    int assigned = m_EnvData.AssignFormat(format == 1 ? 1 : 0);
    m_EnvData.Lock(0);
    return assigned ? 1 : Fail(TARN_ERR_ASSIGN_SAVE_FORMAT);
}

/*
 * An absolute path is followed from the root; any other from the assigned directory (itself
 * followed from the root, whether or not it begins with '/'), or from the root when none is
 * assigned. An absent path (null or empty) gives the base itself; with no assigned directory
 * that is reported as directory 0, which the store reads as the root.
 */
int CZVEnvFile::PrepareDir(const char* path, int length, unsigned int* dir, int create) {
    if (dir != nullptr) {
        *dir = 0;
    }
    if (path != nullptr && length < 0) {
        length = static_cast<int>(strlen(path));
    }
    bool present = path != nullptr && length >= 1;
    if (!IsOpened()) {
        return Fail(TARN_ERR_FILE_NOT_OPENED);
    }
    if (!m_EnvData.Lock(1)) {
        return Fail(TARN_ERR_LOCK_DATA);
    }
    unsigned int found = 0;
    if (present && path[0] == '/') {
        found = FollowDirPath(m_EnvData, m_EnvData.GetRootDir(), path, length, create);
    } else if (m_pszAssignedDir != nullptr) {
        found = FollowDirPath(m_EnvData, m_EnvData.GetRootDir(), m_pszAssignedDir, -1, create);
        if (found != 0 && present) {
            found = FollowDirPath(m_EnvData, found, path, length, create);
        }
    } else if (present) {
        found = FollowDirPath(m_EnvData, 0, path, length, create);
    } else {
        return 1; /* the root, reported as 0 */
    }
    if (found == 0) {
        m_EnvData.Lock(0);
        return Fail(create ? TARN_ERR_CREATE_DIRECTORY : TARN_ERR_DIRECTORY_NOT_EXIST);
    }
    if (dir != nullptr) {
        *dir = found;
    }
    return 1;
}

int CZVEnvFile::PrepareKey(const char* key, unsigned int* dir, char** name, int* nameLength,
                           int create) {
    if (dir != nullptr) {
        *dir = 0;
    }
    if (key == nullptr) {
        return Fail(TARN_ERR_NULL_POINTER);
    }
    char* dirPart = nullptr;
    char* namePart = nullptr;
    int dirLength = 0;
    int namePartLength = 0;
    // GCOVR_EXCL_START SplitKey always returns 1
    if (!m_EnvData.SplitKey(key, -1, &dirPart, &dirLength, &namePart, &namePartLength)) {
        return Fail(TARN_ERR_INVALID_KEY);
    }
    // GCOVR_EXCL_STOP
    if (namePartLength == 0) {
        return Fail(TARN_ERR_MISSING_KEY_NAME);
    }
    unsigned int found = 0;
    if (!PrepareDir(dirPart, dirLength, &found, create)) {
        return 0;
    }
    if (dir != nullptr) {
        *dir = found;
    }
    if (name != nullptr) {
        *name = namePart;
    }
    if (nameLength != nullptr) {
        *nameLength = namePartLength;
    }
    return 1;
}

/* The root reached through an empty path with no assigned directory reports 0 here. */
int CZVEnvFile::CheckDirExist(const char* path) {
    CCsLock guard(&m_CriticalSection);
    const zvenv::LookupCode code;
    unsigned int dir = 0;
    if (!PrepareDir(path, -1, &dir, 0)) {
        return 0;
    }
    m_EnvData.Lock(0);
    return code.Found(dir != 0 ? 1 : 0);
}

/* Leaves the store locked on purpose (see the header). */
int CZVEnvFile::CreateDir(const char* path) {
    CCsLock guard(&m_CriticalSection);
    unsigned int dir = 0;
    return PrepareDir(path, -1, &dir, 1) ? 1 : 0;
}

/* The root cannot be removed. */
int CZVEnvFile::RemoveDir(const char* path) {
    CCsLock guard(&m_CriticalSection);
    unsigned int dir = 0;
    if (!PrepareDir(path, -1, &dir, 0)) {
        return 0;
    }
    int removed = m_EnvData.DeleteItem(dir);
    m_EnvData.Lock(0);
    return removed ? 1 : Fail(TARN_ERR_REMOVE_DIRECTORY);
}

int CZVEnvFile::CheckKeyExist(const char* key) {
    CCsLock guard(&m_CriticalSection);
    const zvenv::LookupCode code;
    unsigned int dir = 0;
    char* name = nullptr;
    int length = 0;
    if (!PrepareKey(key, &dir, &name, &length, 0)) {
        return 0;
    }
    unsigned int found = m_EnvData.FindKey(dir, name, length);
    m_EnvData.Lock(0);
    return code.Found(found != 0 ? 1 : 0);
}

int CZVEnvFile::RemoveKey(const char* key) {
    CCsLock guard(&m_CriticalSection);
    unsigned int dir = 0;
    char* name = nullptr;
    int length = 0;
    if (!PrepareKey(key, &dir, &name, &length, 0)) {
        return 0;
    }
    unsigned int found = m_EnvData.FindKey(dir, name, length);
    if (found == 0) {
        m_EnvData.Lock(0);
        return Fail(TARN_ERR_KEY_NOT_EXIST);
    }
    int removed = m_EnvData.DeleteItem(found);
    m_EnvData.Lock(0);
    return removed ? 1 : Fail(TARN_ERR_REMOVE_KEY);
}

int CZVEnvFile::Lock(const char* path, int lock) {
    CCsLock guard(&m_CriticalSection);
    unsigned int dir = 0;
    if (!PrepareDir(path, -1, &dir, 0)) {
        return 0;
    }
    int marked = m_EnvData.LockDir(dir, lock);
    m_EnvData.Lock(0);
    return marked ? 1 : Fail(TARN_ERR_LOCK_DIRECTORY);
}

int CZVEnvFile::IsLocked(const char* path) {
    CCsLock guard(&m_CriticalSection);
    const zvenv::LookupCode code;
    unsigned int dir = 0;
    if (!PrepareDir(path, -1, &dir, 0)) {
        return 0;
    }
    int locked = m_EnvData.IsDirLocked(dir);
    m_EnvData.Lock(0);
    return code.Found(locked);
}
