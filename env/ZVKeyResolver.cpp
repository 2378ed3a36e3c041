/*
 * ZVKeyResolver.cpp - a key path resolved in one pass (see the header).
 */
#include "ZVKeyResolver.h"

#include <string.h>

#include "TarnError.h"
#include "ZVEnvIndex.h"
#include "ZVNameTable.h"
#include "ZVPathCache.h"
#include "../mapping/ZVSharedDataQuick.h"

namespace zvenv {

namespace {

/* The directory a path of existing directories leads to from dir, as the store's GetDir
 * follows it: runs of slashes skipped, every segment a valid name; 0 when it leads nowhere. */
unsigned int Walk(CZVEnvData& store, StoreIndex* index, unsigned int dir, const char* path,
                  size_t length) {
    if (!store.CZVEnvData::ValidateDir(dir)) {
        return 0;
    }
    size_t pos = 0;
    for (;;) {
        while (pos < length && path[pos] == '/') {
            ++pos;
        }
        if (pos == length) {
            return dir;
        }
        size_t start = pos;
        while (pos < length && path[pos] != '/') {
            ++pos;
        }
        const char* segment = path + start;
        unsigned int n = static_cast<unsigned int>(pos - start);
        uint32_t hash;
        if (!ScanName(segment, n, &hash)) {
            return 0;
        }
        unsigned int found = IndexedFindHashed(index, &store, dir, segment, n, hash, true);
        if (found == kIndexCannotAnswer) {
            found = store.FindDir(dir, segment, static_cast<int>(n));
        }
        if (found == 0) {
            return 0;
        }
        dir = found;
    }
}

/* Walk, through the index's memory of paths already followed (hash: HashPath of the path). */
unsigned int Follow(CZVEnvData& store, StoreIndex* index, unsigned int dir, const char* path,
                    size_t length, uint32_t hash) {
    unsigned int known = CachedPath(index, dir, path, length, hash);
    if (known != 0) {
        return known;
    }
    unsigned int found = Walk(store, index, dir, path, length);
    RememberPath(index, dir, path, length, hash, found);
    return found;
}

int Fail(unsigned int code) {
    TarnSetLastError(code);
    return 0;
}

}  // namespace

int QuickStoreLock(CZVEnvData& store, int lock) {
    CZVSharedData& block = store.m_SharedData;
    if (!zvmap::LockBlock(block, lock)) {
        return 0;
    }
    if (lock) {
        store.m_pData = static_cast<unsigned char*>(block.m_DataMap.m_pAddress);
        store.m_dwDataSize = block.m_pHeader != nullptr ? block.m_pHeader->dwUsedSize : 0;
    } else {
        store.m_pData = nullptr;
        store.m_dwDataSize = 0;
    }
    return 1;
}

int ResolveKeyQuickly(CZVEnvFile* file, const char* key, unsigned int* item) {
    size_t length = strlen(key);
    const void* slash = memrchr(key, '/', length);
    size_t dirLength = slash != nullptr ? static_cast<const char*>(slash) - key + 1 : 0;
    uint32_t dirHash = HashPath(key, dirLength);
    const char* name = key + dirLength;
    unsigned int nameLength = static_cast<unsigned int>(length - dirLength);
    if (nameLength == 0) {
        return Fail(TARN_ERR_MISSING_KEY_NAME);
    }
    if (file->m_pszFilePath == nullptr) {
        return Fail(TARN_ERR_FILE_NOT_OPENED);
    }
    CZVEnvData& store = file->m_EnvData;
    if (!QuickStoreLock(store, 1)) {
        return Fail(TARN_ERR_LOCK_DATA);
    }
    StoreIndex* index = IndexOf(&store);
    if (index == nullptr) {
        QuickStoreLock(store, 0);
        return kResolveTheLongWay;
    }
    const unsigned int root = ZVED_ROOT_DIR;
    unsigned int dir;
    if (dirLength != 0 && key[0] == '/') {
        dir = Follow(store, index, root, key, dirLength, dirHash);
    } else if (file->m_pszAssignedDir != nullptr) {
        const char* assigned = file->m_pszAssignedDir;
        size_t assignedLength = strlen(assigned);
        dir = Follow(store, index, root, assigned, assignedLength,
                     HashPath(assigned, assignedLength));
        if (dir != 0 && dirLength != 0) {
            dir = Follow(store, index, dir, key, dirLength, dirHash);
        }
    } else {
        dir = dirLength != 0 ? Follow(store, index, root, key, dirLength, dirHash) : root;
    }
    if (dir == 0) {
        QuickStoreLock(store, 0);
        return Fail(TARN_ERR_DIRECTORY_NOT_EXIST);
    }
    uint32_t nameHash;
    *item = 0;
    if (ScanName(name, nameLength, &nameHash)) {
        unsigned int found =
            IndexedFindHashed(index, &store, dir, name, nameLength, nameHash, false);
        *item = found != kIndexCannotAnswer
                    ? found
                    : store.FindKey(dir, name, static_cast<int>(nameLength));
    }
    return 1;
}

unsigned int QuickValue(CZVEnvData& store, unsigned int item, unsigned int types) {
    if (item == 0 || (types & (1u << store.m_pData[item])) == 0 ||
        store.CZVEnvData::GetItemSizeNoValidate(item) == 0) {
        return 0;
    }
    return store.CZVEnvData::SkipKeyHead(item);
}

}  // namespace zvenv
