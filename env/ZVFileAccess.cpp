/*
 * ZVFileAccess.cpp - the environment-file (ZVEV) interface: each function checks its handle,
 * forwards to one operation of the file object and, for most, folds the result to 1 or 0.
 */
#include "ZVFileAccess.h"

#include <new>

#include <sys/stat.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "ZVEnvFile.h"
#include "ZVHandleRegistry.h"

namespace {

/* Directory bit of st_mode; block devices and sockets carry it too and so count as absent. */
const unsigned int kDirectoryBit = 0x4000u;

int ExistsAsFile(int statResult, const struct stat& status) {
    if (statResult != 0) {
        return 0;
    }
    return (static_cast<unsigned int>(status.st_mode) & kDirectoryBit) == 0 ? 1 : 0;
}

/* The object behind a live handle; null with code 1 for null, closed or foreign handles. */
CZVEnvFile* Live(ZVEV_HANDLE handle) {
    if (!zvenv::IsLiveHandle(handle)) {
        TarnSetLastError(TARN_ERR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<CZVEnvFile*>(handle);
}

int Fold(int result) {
    return result != 0 ? 1 : 0;
}

/* Creates a file object; null when it cannot be made (nothing escapes the library). */
CZVEnvFile* CreateFileObject() {
    try {
        return new (std::nothrow) CZVEnvFile();
        // GCOVR_EXCL_START nothrow new and the file object's constructor throw nothing
    } catch (...) {
        return nullptr;
    }
    // GCOVR_EXCL_STOP
}

/* Releases a file object, keeping the last-error code its last operation left. */
void DropFileObject(CZVEnvFile* file) {
    unsigned int code = TarnGetLastError();
    file->Release();
    TarnSetLastError(code);
}

}  // namespace

int ZVEVOpenFile(const char* path, ZVEV_HANDLE* handle) {
    if (handle == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    *handle = nullptr;
    if (path == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    CZVEnvFile* file = CreateFileObject();
    if (file == nullptr) {
        TarnSetLastError(TARN_ERR_CREATE_OBJECT);
        return 0;
    }
    file->AddRef();
    if (!file->OpenFile(path)) {
        DropFileObject(file);
        return 0;
    }
    if (!zvenv::RegisterHandle(file)) {
        file->Close();
        file->Release();
        TarnSetLastError(TARN_ERR_MEMORY_OVERFLOW);
        return 0;
    }
    *handle = file;
    return 1;
}

/* The handle is released whatever Close returns. */
int ZVEVClose(ZVEV_HANDLE handle) {
    CZVEnvFile* file = Live(handle);
    if (file == nullptr) {
        return 0;
    }
    // Only the caller that takes the handle out of the table closes it: of two threads closing
    // one handle at once, the later finds it gone and is told the handle is not live, instead
    // of closing and freeing the object a second time.
    if (!zvenv::UnregisterHandle(handle)) {
        TarnSetLastError(TARN_ERR_INVALID_HANDLE);
        return 0;
    }
    int closed = file->Close();
    DropFileObject(file);
    return Fold(closed);
}

int ZVEVFlush(ZVEV_HANDLE handle) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->Flush()) : 0;
}

int ZVEVSaveAs(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    if (file == nullptr) {
        return 0;
    }
    if (path == nullptr) {
        TarnSetLastError(TARN_ERR_NULL_POINTER);
        return 0;
    }
    return Fold(file->SaveAs(path));
}

int ZVEVAssignDir(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->AssignDir(path)) : 0;
}

int ZVEVGetAssignedDir(ZVEV_HANDLE handle, char* buffer, unsigned int size) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetAssignedDir(buffer, size) : -1;
}

int ZVEVGetFormat(ZVEV_HANDLE handle) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetFormat() : 0;
}

int ZVEVAssignFormat(ZVEV_HANDLE handle, int format) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->AssignFormat(format)) : 0;
}

int ZVEVCheckDirExist(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->CheckDirExist(path) : 0;
}

int ZVEVCreateDir(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->CreateDir(path)) : 0;
}

int ZVEVRemoveDir(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->RemoveDir(path)) : 0;
}

int ZVEVCheckKeyExist(ZVEV_HANDLE handle, const char* key) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->CheckKeyExist(key) : 0;
}

int ZVEVRemoveKey(ZVEV_HANDLE handle, const char* key) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->RemoveKey(key)) : 0;
}

int ZVEVLock(ZVEV_HANDLE handle, const char* path, int lock) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->Lock(path, lock)) : 0;
}

int ZVEVIsLocked(ZVEV_HANDLE handle, const char* path) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->IsLocked(path) : 0;
}

int ZVEVSetInteger(ZVEV_HANDLE handle, const char* key, int value) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->SetInteger(key, value)) : 0;
}

int ZVEVGetInteger(ZVEV_HANDLE handle, const char* key, int defaultValue) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetInteger(key, defaultValue) : defaultValue;
}

int ZVEVSetDouble(ZVEV_HANDLE handle, const char* key, double value) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->SetDouble(key, value)) : 0;
}

double ZVEVGetDouble(ZVEV_HANDLE handle, const char* key, double defaultValue) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetDouble(key, defaultValue) : defaultValue;
}

int ZVEVSetBoolean(ZVEV_HANDLE handle, const char* key, int value) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->SetBoolean(key, value)) : 0;
}

int ZVEVGetBoolean(ZVEV_HANDLE handle, const char* key, int defaultValue) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetBoolean(key, defaultValue) : defaultValue;
}

int ZVEVSetString(ZVEV_HANDLE handle, const char* key, const char* text) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->SetString(key, text)) : 0;
}

int ZVEVGetString(ZVEV_HANDLE handle, const char* key, char* buffer, unsigned int size,
                  const char* defaultValue) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetString(key, buffer, size, defaultValue) : -1;
}

int ZVEVSetData(ZVEV_HANDLE handle, const char* key, const void* data, unsigned int size) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? Fold(file->SetData(key, data, size)) : 0;
}

int ZVEVGetData(ZVEV_HANDLE handle, const char* key, void* buffer, unsigned int size) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->GetData(key, buffer, size) : -1;
}

ZVEV_ENUM_LIST_tag* ZVEVEnumEntries(ZVEV_HANDLE handle, const char* path, unsigned int options) {
    CZVEnvFile* file = Live(handle);
    return file != nullptr ? file->EnumEntries(path, options) : nullptr;
}

int ZVEVFreeSnapList(ZVEV_ENUM_LIST_tag* list) {
    return CZVEnvFile::FreeSnapList(list);
}

void ZVEVFlushAbort(void) {
    CZVEnvFile::g_bZVCSaveAbort = 1;
}

int ZVEVIsFileExistA(const char* path) {
    if (path == NULL) {
        return 0;
    }
    struct stat status;
    return ExistsAsFile(stat(path, &status), status);
}

int ZVEVIsFileExistW(const wchar_t* path) {
    if (path == NULL) {
        return 0;
    }
    /* wstat converts at most 256 bytes; a failed or over-long conversion counts as absent. */
    struct stat status;
    return ExistsAsFile(wstat(path, &status), status);
}
