/*
 * ZVEnvDataTree.cpp - the item tree of a store: validating, measuring and walking items, names
 * and their sums, finding and creating directories, and inserting, resizing and deleting items
 * with the sizes of every enclosing directory kept right.
 *
 * Every read of the buffer is checked against the data size first, so a malformed buffer (a
 * binary file loaded as it is) gives failures, never reads outside it.
 */
#include "ZVEnvData.h"

#include <string.h>

#include "ZVEnvIndex.h"
#include "ZVEnvItem.h"
#include "ZVNameTable.h"

using namespace zvenv;

namespace {

/* Valid name bytes: letters, '_', '[' and ']' anywhere; digits and '.' after the first byte. */

/* The next '/'-separated segment of path[*pos, end): its start and length; false at the end. */
bool NextSegment(const char* path, unsigned int end, unsigned int* pos, unsigned int* start,
                 unsigned int* length) {
    unsigned int p = *pos;
    while (p < end && path[p] == '/') {
        ++p;
    }
    if (p == end) {
        *pos = p;
        return false;
    }
    *start = p;
    while (p < end && path[p] != '/') {
        ++p;
    }
    *length = p - *start;
    *pos = p;
    return true;
}

/* The directories whose size fields an insertion, resize or deletion changes, with their sizes
 * as they were before. */
struct DirList {
    unsigned int dir[ZVED_MAX_DEPTH + 1];
    unsigned int size[ZVED_MAX_DEPTH + 1];
    int count;
};

/* Lists the directories enclosing item, root first. The count; 0 for the root or on failure. */
int ListEnclosing(CZVEnvData* store, unsigned int item, DirList* list) {
    list->count = store->GetDirTrace(item, list->dir);
    for (int i = 0; i < list->count; ++i) {
        list->size[i] = store->GetItemSizeNoValidate(list->dir[i]);
    }
    return list->count;
}

/* Reports a change at item to the store's index, if it has one. */
void NoteStoreChange(CZVEnvData* store, unsigned int item, const DirList& list) {
    StoreIndex* index = ExistingIndexOf(store);
    if (index != nullptr) {
        NoteChange(index, item, list.dir, list.count);
    }
}

/* Adds delta (two's complement for a decrease) to the size of every listed directory, deepest
 * first. */
void AdjustSizes(CZVEnvData* store, const DirList& list, unsigned int delta) {
    StoreIndex* index = ExistingIndexOf(store);
    if (index != nullptr) {
        BeginChange(index);
    }
    for (int i = list.count - 1; i >= 0; --i) {
        store->SetDirSize(list.dir[i], list.size[i] + delta);
    }
    if (index != nullptr) {
        EndChange(index, store->m_dwDataSize);
    }
}

/*
 * FindDir and FindKey: walk the direct children, compare the sum byte first (a cheap reject),
 * then the name. The stored name's length comes from its terminator, found by the head skip.
 */
unsigned int FindChild(CZVEnvData* store, unsigned int dir, const char* name, int length,
                       bool wantDir) {
    if (!store->ValidateDir(dir)) {
        return 0;
    }
    unsigned int n = NameLength(name, length);
    StoreIndex* index = IndexOf(store);
    if (index != nullptr) {
        unsigned int found = IndexedFind(index, store, dir, name, n, wantDir);
        if (found != kIndexCannotAnswer) {
            return found;
        }
    }
    unsigned char sum = store->CalcSum(name, static_cast<int>(n));
    unsigned int nameOffset = wantDir ? kDirNameOffset : kKeyNameOffset;
    for (unsigned int child = store->GetNextItem(dir, 0); child != 0;
         child = store->GetNextItem(dir, child)) {
        int kind = wantDir ? store->IsDirNoValidate(child) : store->IsKeyNoValidate(child);
        if (!kind || store->GetSum(child) != sum) {
            continue;
        }
        unsigned int nameEnd = wantDir ? store->SkipDirHead(child) : store->SkipKeyHead(child);
        if (nameEnd == 0) {
            continue;
        }
        const char* stored = reinterpret_cast<const char*>(store->m_pData + child + nameOffset);
        int storedLength = static_cast<int>(nameEnd - 1 - (child + nameOffset));
        if (store->IsSameName(stored, storedLength, name, static_cast<int>(n))) {
            return child;
        }
    }
    return 0;
}

/* GetDir and CreateDir: runs of slashes are skipped; each segment must be a valid name. An empty
 * path gives the (validated) starting directory. */
unsigned int FollowPath(CZVEnvData* store, unsigned int dir, const char* path, int length,
                        bool create) {
    if (!store->ValidateDir(dir)) {
        return 0;
    }
    unsigned int end = NameLength(path, length);
    unsigned int pos = 0, start = 0, n = 0;
    while (NextSegment(path, end, &pos, &start, &n)) {
        const char* segment = path + start;
        if (!store->IsValidName(segment, static_cast<int>(n))) {
            return 0;
        }
        dir = create ? store->CreateSubDir(dir, segment, static_cast<int>(n))
                     : store->FindDir(dir, segment, static_cast<int>(n));
        if (dir == 0) {
            return 0;
        }
    }
    return dir;
}

}  // namespace

/*
 * Sets the block's used size and reloads the data pointer and size. A block that must grow is
 * first grown to twice its capacity (or to the size, when that is more), so that a buffer that
 * grows item by item is not copied into a new mapping at every page.
 */
bool zvenv::SetBlockSize(CZVEnvData* store, unsigned int size) {
    CZVSharedData& block = store->m_SharedData;
    if (block.m_pHeader != nullptr && size > block.m_pHeader->dwCapacity) {
        unsigned int capacity = block.m_pHeader->dwCapacity;
        unsigned int ahead = capacity <= 0x7FFFFFFFu ? capacity * 2 : 0;
        if (ahead > size) {
            block.SetSize(
                ahead); /* when there is no room for the reserve, the size alone is tried */
        }
    }
    if (!block.SetSize(size)) {
        return false;
    }
    store->m_pData = static_cast<unsigned char*>(block.GetData());
    store->m_dwDataSize = block.GetSize();
    return true;
}

unsigned int CZVEnvData::GetRootDir() {
    return ZVED_ROOT_DIR;
}

int CZVEnvData::ValidateItem(unsigned int& offset) {
    unsigned int adjusted = offset < ZVED_ROOT_DIR ? ZVED_ROOT_DIR : offset;
    if (adjusted >= m_dwDataSize) {
        return 0;
    }
    offset = adjusted;
    return 1;
}

int CZVEnvData::ValidateDir(unsigned int& offset) {
    unsigned int adjusted = offset;
    if (!ValidateItem(adjusted) || !IsDirNoValidate(adjusted)) {
        return 0;
    }
    offset = adjusted;
    return 1;
}

int CZVEnvData::IsKeyNoValidate(unsigned int item) {
    if (item >= m_dwDataSize) {
        return 0;
    }
    switch (m_pData[item]) {
        case ZVED_ITEM_BINARY:
        case ZVED_ITEM_FALSE:
        case ZVED_ITEM_TRUE:
        case ZVED_ITEM_INTEGER:
        case ZVED_ITEM_REAL:
        case ZVED_ITEM_STRING:
        case ZVED_ITEM_HEX:
        case ZVED_ITEM_OCT:
        case ZVED_ITEM_BIN:
            return 1;
        default:
            return 0;
    }
}

int CZVEnvData::IsDirNoValidate(unsigned int item) {
    if (item >= m_dwDataSize) {
        return 0;
    }
    unsigned char type = m_pData[item];
    return (type == ZVED_ITEM_DIR || type == ZVED_ITEM_LOCKED_DIR) ? 1 : 0;
}

int CZVEnvData::IsKey(unsigned int item) {
    return ValidateItem(item) ? IsKeyNoValidate(item) : 0;
}

int CZVEnvData::IsDir(unsigned int item) {
    return ValidateItem(item) ? IsDirNoValidate(item) : 0;
}

unsigned int CZVEnvData::GetAttribute(unsigned int item) {
    if (!ValidateItem(item)) {
        return 0xFFFFFFFFu;
    }
    return m_pData[item];
}

char* CZVEnvData::GetDirName(unsigned int dir) {
    if (!ValidateDir(dir) || m_dwDataSize - dir <= kDirNameOffset) {
        return nullptr;
    }
    return reinterpret_cast<char*>(m_pData + dir + kDirNameOffset);
}

/* Comments have a key's head, so their text comes back here too. */
char* CZVEnvData::GetKeyName(unsigned int item) {
    if (!ValidateItem(item)) {
        return nullptr;
    }
    unsigned char type = m_pData[item];
    bool comment = type == ZVED_ITEM_COMMENT || type == ZVED_ITEM_TRAILING_COMMENT;
    if ((!comment && !IsKeyNoValidate(item)) || m_dwDataSize - item <= kKeyNameOffset) {
        return nullptr;
    }
    return reinterpret_cast<char*>(m_pData + item + kKeyNameOffset);
}

unsigned char CZVEnvData::GetSum(unsigned int item) {
    if (!ValidateItem(item)) {
        return 0;
    }
    unsigned char type = m_pData[item];
    unsigned int at;
    if (IsDirNoValidate(item)) {
        at = item + 5;
    } else if (IsKeyNoValidate(item) || type == ZVED_ITEM_COMMENT ||
               type == ZVED_ITEM_TRAILING_COMMENT) {
        at = item + 1;
    } else {
        return 0;
    }
    return at < m_dwDataSize ? m_pData[at] : 0;
}

unsigned int CZVEnvData::GetItemSize(unsigned int item) {
    return ValidateItem(item) ? GetItemSizeNoValidate(item) : 0;
}

unsigned int CZVEnvData::GetItemSizeNoValidate(unsigned int item) {
    if (item >= m_dwDataSize) {
        return 0;
    }
    unsigned char type = m_pData[item];
    if (type == ZVED_ITEM_FILLER) {
        return 1;
    }
    if (type == ZVED_ITEM_DIR || type == ZVED_ITEM_LOCKED_DIR) {
        if (m_dwDataSize - item < 5) {
            return 0;
        }
        unsigned int size = ReadU32(m_pData + item + 1);
        return size <= m_dwDataSize - item ? size : 0;
    }
    unsigned int end = SkipKeyHead(item);
    if (end == 0 || type > ZVED_ITEM_TRAILING_COMMENT) {
        return 0;
    }
    unsigned int value;
    switch (type) {
        case ZVED_ITEM_BINARY:
            if (m_dwDataSize - end < 4) {
                return 0;
            }
            value = ReadU32(m_pData + end);
            if (!AddSize(4, value, &value)) {
                return 0;
            }
            break;
        case ZVED_ITEM_FALSE:
        case ZVED_ITEM_TRUE:
            value = 0;
            break;
        case ZVED_ITEM_COMMENT:
        case ZVED_ITEM_TRAILING_COMMENT:
            value = 2;
            break;
        case ZVED_ITEM_INTEGER:
        case ZVED_ITEM_HEX:
        case ZVED_ITEM_OCT:
        case ZVED_ITEM_BIN:
            value = 4;
            break;
        case ZVED_ITEM_REAL:
            value = 8;
            break;
        case ZVED_ITEM_STRING: {
            const void* nul = memchr(m_pData + end, 0, m_dwDataSize - end);
            if (nul == nullptr) {
                return 0;
            }
            value = static_cast<unsigned int>(static_cast<const unsigned char*>(nul) -
                                              (m_pData + end)) +
                    1;
            break;
        }
        default:
            return 0;
    }
    if (value > m_dwDataSize - end) {
        return 0;
    }
    return end + value - item;
}

unsigned int CZVEnvData::SkipKeyHead(unsigned int item) {
    if (item >= m_dwDataSize || m_dwDataSize - item <= kKeyNameOffset) {
        return 0;
    }
    unsigned int from = item + kKeyNameOffset;
    const void* nul = memchr(m_pData + from, 0, m_dwDataSize - from);
    if (nul == nullptr) {
        return 0;
    }
    return static_cast<unsigned int>(static_cast<const unsigned char*>(nul) - m_pData) + 1;
}

unsigned int CZVEnvData::SkipDirHead(unsigned int dir) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    unsigned int size = GetItemSizeNoValidate(dir);
    if (size <= kDirNameOffset) {
        return 0;
    }
    unsigned int from = dir + kDirNameOffset;
    const void* nul = memchr(m_pData + from, 0, size - kDirNameOffset);
    if (nul == nullptr) {
        return 0;
    }
    return static_cast<unsigned int>(static_cast<const unsigned char*>(nul) - m_pData) + 1;
}

unsigned int CZVEnvData::GetNextItem(unsigned int dir, unsigned int item) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    unsigned int size = GetItemSizeNoValidate(dir);
    if (size == 0) {
        return 0;
    }
    unsigned int end = dir + size;
    if (item == 0) {
        unsigned int first = SkipDirHead(dir);
        return (first != 0 && first < end) ? first : 0;
    }
    if (item >= end) {
        return 0;
    }
    unsigned int itemSize = GetItemSizeNoValidate(item);
    if (itemSize == 0 || itemSize >= end - item) {
        return 0;
    }
    return item + itemSize;
}

unsigned char CZVEnvData::CalcSum(const char* name, int length) {
    return NameSum(name, NameLength(name, length));
}

int CZVEnvData::IsValidName(const char* name, int length) {
    if (name == nullptr) {
        return 0;
    }
    return ValidName(name, NameLength(name, length)) ? 1 : 0;
}

int CZVEnvData::IsSameName(const char* name1, int length1, const char* name2, int length2) {
    unsigned int n1 = NameLength(name1, length1);
    unsigned int n2 = NameLength(name2, length2);
    if (n1 != n2) {
        return 0;
    }
    for (unsigned int i = 0; i < n1; ++i) {
        if (FoldCase(static_cast<unsigned char>(name1[i])) !=
            FoldCase(static_cast<unsigned char>(name2[i]))) {
            return 0;
        }
    }
    return 1;
}

unsigned int CZVEnvData::FindDir(unsigned int dir, const char* name, int length) {
    return FindChild(this, dir, name, length, true);
}

unsigned int CZVEnvData::FindKey(unsigned int dir, const char* name, int length) {
    return FindChild(this, dir, name, length, false);
}

unsigned int CZVEnvData::GetDir(unsigned int dir, const char* path, int length) {
    return FollowPath(this, dir, path, length, false);
}

unsigned int CZVEnvData::CreateDir(unsigned int dir, const char* path, int length) {
    return FollowPath(this, dir, path, length, true);
}

unsigned int CZVEnvData::CreateSubDir(unsigned int dir, const char* name, int length) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    unsigned int n = NameLength(name, length);
    if (n == 0 || !IsValidName(name, static_cast<int>(n))) {
        return 0;
    }
    unsigned int found = FindDir(dir, name, static_cast<int>(n));
    if (found != 0) {
        return found;
    }
    unsigned int size;
    if (!AddSize(n, kDirHeadExtra, &size)) {
        return 0;
    }
    SafeBytes safeName(name, n, m_pData, m_dwDataSize);
    if (!safeName.Ok()) {
        return 0;
    }
    name = safeName.Text();
    unsigned char sum = CalcSum(name, static_cast<int>(n));
    unsigned int item = InsertItem(dir, size);
    if (item == 0) {
        return 0;
    }
    unsigned char* p = m_pData + item;
    p[0] = ZVED_ITEM_DIR;
    WriteU32(p + 1, size);
    p[5] = sum;
    memcpy(p + kDirNameOffset, name, n);
    p[kDirNameOffset + n] = 0;
    StoreIndex* index = ExistingIndexOf(this);
    if (index != nullptr) {
        NoteNewDirectory(index, dir, item);
    }
    SetAccessTime(nullptr);
    return item;
}

int CZVEnvData::LockDir(unsigned int dir, int lock) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    unsigned char wanted = lock ? ZVED_ITEM_LOCKED_DIR : ZVED_ITEM_DIR;
    if (m_pData[dir] == wanted) {
        return 1;
    }
    m_pData[dir] = wanted;
    SetAccessTime(nullptr);
    return 1;
}

int CZVEnvData::IsDirLocked(unsigned int dir) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    return m_pData[dir] == ZVED_ITEM_LOCKED_DIR ? 1 : 0;
}

/* A size written from outside the store's own insertions, resizes and deletions may change what
 * any directory holds, so the lookup index is dropped then. */
int CZVEnvData::SetDirSize(unsigned int dir, unsigned int size) {
    if (!ValidateDir(dir) || m_dwDataSize - dir < 5) {
        return 0;
    }
    WriteU32(m_pData + dir + 1, size);
    StoreIndex* index = ExistingIndexOf(this);
    if (index != nullptr && !InChange(index)) {
        DropIndex(this);
    }
    return 1;
}

/*
 * The directories that enclose item, found by descending from the root: at each level the child
 * that is item ends the descent, a child whose end lies beyond item encloses it. The root alone
 * has no enclosing directory (0); for any other item 0 means failure, also when a 17th entry
 * would be needed.
 */
int CZVEnvData::GetDirTrace(unsigned int item, unsigned int* trace) {
    if (trace == nullptr || !ValidateItem(item) || item == ZVED_ROOT_DIR) {
        return 0;
    }
    StoreIndex* index = IndexOf(this);
    if (index != nullptr) {
        int known = IndexedTrace(index, this, item, trace);
        if (known >= 0) {
            return known;
        }
    }
    int count = 0;
    unsigned int parent = ZVED_ROOT_DIR;
    unsigned int child = GetNextItem(parent, 0);
    while (child != 0 && child <= item) {
        if (child == item) {
            if (count == ZVED_MAX_DEPTH) {
                return 0;
            }
            trace[count++] = parent;
            return count;
        }
        unsigned int size = GetItemSizeNoValidate(child);
        if (size != 0 && size > item - child) {
            if (count == ZVED_MAX_DEPTH) {
                return 0;
            }
            trace[count++] = parent;
            parent = child;
            child = GetNextItem(parent, 0);
        } else {
            child = GetNextItem(parent, child);
        }
    }
    return count;
}

/*
 * Kept as it always was: after the root, the first segment is looked up again and again from the
 * last entry until the trace is full, so every path with a name in it fails with 0. An entry of 0
 * (a failed lookup) is appended as 0 without a lookup, since 0 would read as the root. Nothing in
 * the library calls it.
 */
int CZVEnvData::ParseDirPath(const char* path, unsigned int* trace) {
    if (trace == nullptr) {
        return 0;
    }
    trace[0] = ZVED_ROOT_DIR;
    unsigned int end = NameLength(path, -1);
    unsigned int pos = 0, start = 0, n = 0;
    if (!NextSegment(path, end, &pos, &start, &n)) {
        return 1;
    }
    for (int count = 1; count < ZVED_MAX_DEPTH; ++count) {
        unsigned int last = trace[count - 1];
        trace[count] = last != 0 ? FindDir(last, path + start, static_cast<int>(n)) : 0;
    }
    return 0;
}

unsigned int CZVEnvData::InsertItem(unsigned int dir, unsigned int size) {
    if (!ValidateDir(dir)) {
        return 0;
    }
    DirList list;
    if (ListEnclosing(this, dir, &list) == 0 && dir != ZVED_ROOT_DIR) {
        return 0;
    }
    if (list.count >= ZVED_MAX_DEPTH) {
        return 0;
    }
    /* The new item goes behind the directory's last byte, which must lie past its head: a
     * loaded directory whose size is shorter than its head would get it inside the head. */
    unsigned int dirSize = GetItemSizeNoValidate(dir);
    if (dirSize == 0 || SkipDirHead(dir) == 0) {
        return 0;
    }
    list.dir[list.count] = dir;
    list.size[list.count] = dirSize;
    ++list.count;

    unsigned int point = dir + dirSize;
    unsigned int oldSize = m_dwDataSize;
    unsigned int newSize;
    if (!AddSize(oldSize, size, &newSize) || !SetBlockSize(this, newSize)) {
        return 0;
    }
    memmove(m_pData + point + size, m_pData + point, oldSize - point);
    memset(m_pData + point, ZVED_ITEM_FILLER, size);
    NoteStoreChange(this, point, list);
    AdjustSizes(this, list, size);
    SetAccessTime(nullptr);
    return point;
}

int CZVEnvData::ResizeItem(unsigned int item, unsigned int oldSize, unsigned int newSize) {
    if (!ValidateItem(item)) {
        return 0;
    }
    if (oldSize == newSize) {
        return 1;
    }
    if (IsDirNoValidate(item) || oldSize > m_dwDataSize - item) {
        return 0;
    }
    DirList list;
    if (ListEnclosing(this, item, &list) == 0) {
        return 0;
    }
    unsigned int tail = item + oldSize;
    unsigned int oldData = m_dwDataSize;
    if (newSize < oldSize) {
        unsigned int shrink = oldSize - newSize;
        memmove(m_pData + item + newSize, m_pData + tail, oldData - tail);
        NoteStoreChange(this, item, list);
        if (!SetBlockSize(this, oldData - shrink)) {
            return 0;
        }
        AdjustSizes(this, list, 0u - shrink);
    } else {
        unsigned int grow = newSize - oldSize;
        unsigned int grown;
        if (!AddSize(oldData, grow, &grown) || !SetBlockSize(this, grown)) {
            return 0;
        }
        memmove(m_pData + item + newSize, m_pData + tail, oldData - tail);
        memset(m_pData + tail, ZVED_ITEM_FILLER, grow);
        NoteStoreChange(this, item, list);
        AdjustSizes(this, list, grow);
    }
    SetAccessTime(nullptr);
    return 1;
}

/*
 * A key takes the trailing comment right behind it along, but only when that comment still lies
 * inside the key's own directory: a key that is its directory's last child leaves alone whatever
 * follows the directory.
 */
int CZVEnvData::DeleteItem(unsigned int item) {
    if (!ValidateItem(item) || item == ZVED_ROOT_DIR) {
        return 0;
    }
    unsigned int size = GetItemSizeNoValidate(item);
    if (size == 0) {
        return 0;
    }
    DirList list;
    if (ListEnclosing(this, item, &list) == 0) {
        return 0;
    }
    if (IsKeyNoValidate(item)) {
        unsigned int parent = list.dir[list.count - 1];
        unsigned int after = item + size;
        if (after < parent + list.size[list.count - 1] &&
            m_pData[after] == ZVED_ITEM_TRAILING_COMMENT) {
            if (!DeleteItem(after)) {
                return 0;
            }
            ListEnclosing(this, item, &list);
        }
    }
    unsigned int oldData = m_dwDataSize;
    memmove(m_pData + item, m_pData + item + size, oldData - item - size);
    NoteStoreChange(this, item, list);
    if (!SetBlockSize(this, oldData - size)) {
        return 0;
    }
    AdjustSizes(this, list, 0u - size);
    SetAccessTime(nullptr);
    return 1;
}
