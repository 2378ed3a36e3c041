/*
 * ZVEnvIndex.cpp - the lookup index of stores, and the process-wide table that finds a store's
 * index by the store's address.
 *
 * Per directory (keyed by its offset) a record holds two hash tables of the children seen so far,
 * keys and directories, each name with the offset of its first child of that name, and the scan
 * mark: the offset of the first child not yet seen. Names are not copied: an entry holds the
 * child's offset, the hash and length of its name, and the name is compared in the buffer.
 * Tables allocate with malloc; when memory runs out the index forgets what it holds and the
 * store walks, so results never depend on it.
 */
#include "ZVEnvIndex.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <new>

#include "ZVEnvData.h"
#include "ZVEnvItem.h"
#include "ZVExactType.h"
#include "ZVNameTable.h"
#include "ZVPathCache.h"

namespace zvenv {

namespace {

const uint32_t kNoParent = 0xFFFFFFFFu; /* parent not known */
const uint32_t kRootParent = 0;         /* the root has none */

/* A growable list of offsets, ascending. */
class OffsetList {
public:
    OffsetList() : m_items(nullptr), m_count(0), m_capacity(0) {}
    ~OffsetList() { free(m_items); }
    OffsetList(const OffsetList&) = delete;
    OffsetList& operator=(const OffsetList&) = delete;

    bool Append(uint32_t offset) {
        if (m_count == m_capacity) {
            uint32_t capacity = m_capacity != 0 ? m_capacity * 2 : 16;
            void* grown = realloc(m_items, capacity * sizeof(uint32_t));
            if (grown == nullptr) {
                return false;
            }
            m_items = static_cast<uint32_t*>(grown);
            m_capacity = capacity;
        }
        m_items[m_count++] = offset;
        return true;
    }

    /* The last offset not above at, or 0 when every offset lies above it. */
    uint32_t Floor(uint32_t at) const {
        uint32_t low = 0, high = m_count;
        while (low < high) {
            uint32_t mid = low + (high - low) / 2;
            if (m_items[mid] <= at) {
                low = mid + 1;
            } else {
                high = mid;
            }
        }
        return low == 0 ? 0 : m_items[low - 1];
    }

    /* Drops the offsets at from and above. */
    void CutFrom(uint32_t from) {
        while (m_count != 0 && m_items[m_count - 1] >= from) {
            --m_count;
        }
    }

    void Clear() { m_count = 0; }

private:
    uint32_t* m_items;
    uint32_t m_count;
    uint32_t m_capacity;
};

/*
 * What the index knows of one directory. Only directories reached from the root through the
 * index have a record, so a record's directory lies on the trace of every change inside it.
 */
struct DirRecord {
    uint32_t dir = 0;
    uint32_t parent = kNoParent;
    uint32_t scanned = 0; /* first child not yet seen; 0 before the first scan */
    bool stopped = false; /* the child at scanned was seen and is malformed: the walk ends there */
    OffsetList children;  /* every child seen, in order */
    NameTable keys;
    NameTable dirs;

    /* Forgets the children from the one that holds at (or from at) on: they are seen again. */
    void Forget(uint32_t at) {
        if (scanned == 0) {
            return;
        }
        uint32_t from;
        if (at < scanned) {
            from = children.Floor(at);
            if (from == 0) {
                Reset();
                return;
            }
        } else if (stopped) {
            from = scanned;
        } else {
            return;
        }
        keys.EraseFrom(from, true);
        dirs.EraseFrom(from, true);
        children.CutFrom(from);
        scanned = from;
        stopped = false;
    }

    void Reset() {
        keys.Clear();
        dirs.Clear();
        children.Clear();
        scanned = 0;
        stopped = false;
    }
};

}  // namespace

/* The records of one store, by directory offset (open addressing, linear probing). */
class StoreIndex {
public:
    StoreIndex() : m_records(nullptr), m_capacity(0), m_count(0), m_maxDir(0) {}
    ~StoreIndex() {
        Clear();
        free(m_records);
    }
    StoreIndex(const StoreIndex&) = delete;
    StoreIndex& operator=(const StoreIndex&) = delete;

    DirRecord* Find(uint32_t dir) const {
        if (m_count == 0) {
            return nullptr;
        }
        for (uint32_t i = Slot(dir);; i = (i + 1) & (m_capacity - 1)) {
            DirRecord* r = m_records[i];
            if (r == nullptr) {
                return nullptr;
            }
            if (r->dir == dir) {
                return r;
            }
        }
    }

    /* The record of dir, made when missing; null without memory. */
    DirRecord* Get(uint32_t dir) {
        DirRecord* found = Find(dir);
        if (found != nullptr) {
            return found;
        }
        if ((m_count + 1) * 2 > m_capacity && !Grow()) {
            return nullptr;
        }
        DirRecord* r = new (std::nothrow) DirRecord;
        if (r == nullptr) {
            return nullptr;
        }
        r->dir = dir;
        if (dir == ZVED_ROOT_DIR) {
            r->parent = kRootParent;
        }
        Place(r);
        ++m_count;
        if (dir > m_maxDir) {
            m_maxDir = dir;
        }
        return r;
    }

    /* Drops the records of the directories at from and behind it. */
    void DropFrom(uint32_t from) {
        if (m_count == 0 || from > m_maxDir) {
            return;
        }
        DirRecord** old = m_records;
        uint32_t capacity = m_capacity;
        m_records = static_cast<DirRecord**>(calloc(capacity, sizeof(DirRecord*)));
        if (m_records == nullptr) {
            m_records = old;
            Clear();
            return;
        }
        m_count = 0;
        m_maxDir = 0;
        for (uint32_t i = 0; i < capacity; ++i) {
            DirRecord* r = old[i];
            if (r == nullptr) {
                continue;
            }
            if (r->dir >= from) {
                delete r;
            } else {
                Place(r);
                ++m_count;
                if (r->dir > m_maxDir) {
                    m_maxDir = r->dir;
                }
            }
        }
        free(old);
    }

    void Clear() {
        for (uint32_t i = 0; i < m_capacity; ++i) {
            delete m_records[i];
            m_records[i] = nullptr;
        }
        m_count = 0;
        m_maxDir = 0;
        hintKey = 0;
        hintDir = 0;
        suspect = false;
        paths.Clear();
    }

    PathCache paths;       /* directories of key paths, forgotten at every change */
    bool suspect = false;  /* a scan met a malformed child: any change forgets everything */
    uint32_t dataSize = 0; /* the buffer's size when the index last saw it */
    int changeDepth = 0;   /* structural changes under way */
    uint32_t hintKey = 0;  /* the key last found, and its directory */
    uint32_t hintDir = 0;

private:
    uint32_t Slot(uint32_t dir) const { return (dir * 2654435761u) & (m_capacity - 1); }

    void Place(DirRecord* r) {
        uint32_t i = Slot(r->dir);
        while (m_records[i] != nullptr) {
            i = (i + 1) & (m_capacity - 1);
        }
        m_records[i] = r;
    }

    bool Grow() {
        uint32_t capacity = m_capacity != 0 ? m_capacity * 2 : 16;
        DirRecord** grown = static_cast<DirRecord**>(calloc(capacity, sizeof(DirRecord*)));
        if (grown == nullptr) {
            return false;
        }
        DirRecord** old = m_records;
        uint32_t oldCapacity = m_capacity;
        m_records = grown;
        m_capacity = capacity;
        for (uint32_t i = 0; i < oldCapacity; ++i) {
            if (old[i] != nullptr) {
                Place(old[i]);
            }
        }
        free(old);
        return true;
    }

    DirRecord** m_records;
    uint32_t m_capacity;
    uint32_t m_count;
    uint32_t m_maxDir;
};

// ---------------------------------------------------------------------------------------------
// The process-wide table of indexes, by store address.

namespace {

struct IndexSlot {
    const CZVEnvData* store;
    StoreIndex* index;
};

pthread_mutex_t g_tableMutex = PTHREAD_MUTEX_INITIALIZER;
IndexSlot* g_slots = nullptr;
size_t g_slotCount = 0;
size_t g_slotCapacity = 0;
/* Bumped whenever an index is freed, so that the per-thread memo below never returns one. */
std::atomic<unsigned long> g_generation(0);

/* The last store this thread asked for, and its index. */
/* The memo is read on every lookup: initial-exec keeps it one instruction away. */
struct IndexMemo {
    const CZVEnvData* store;
    StoreIndex* index;
    unsigned long generation;
};

thread_local IndexMemo t_memo __attribute__((tls_model("initial-exec"))) = {nullptr, nullptr, ~0ul};

class TableLock {
public:
    TableLock() { pthread_mutex_lock(&g_tableMutex); }
    ~TableLock() { pthread_mutex_unlock(&g_tableMutex); }
    TableLock(const TableLock&) = delete;
    TableLock& operator=(const TableLock&) = delete;
};

StoreIndex* FindSlot(const CZVEnvData* store) {
    for (size_t i = 0; i < g_slotCount; ++i) {
        if (g_slots[i].store == store) {
            return g_slots[i].index;
        }
    }
    return nullptr;
}

StoreIndex* AddSlot(const CZVEnvData* store) {
    if (g_slotCount == g_slotCapacity) {
        size_t capacity = g_slotCapacity != 0 ? g_slotCapacity * 2 : 8;
        void* grown = realloc(g_slots, capacity * sizeof(IndexSlot));
        if (grown == nullptr) {
            return nullptr;
        }
        g_slots = static_cast<IndexSlot*>(grown);
        g_slotCapacity = capacity;
    }
    StoreIndex* index = new (std::nothrow) StoreIndex;
    if (index == nullptr) {
        return nullptr;
    }
    g_slots[g_slotCount].store = store;
    g_slots[g_slotCount].index = index;
    ++g_slotCount;
    return index;
}

void Remember(const CZVEnvData* store, StoreIndex* index) {
    t_memo.store = store;
    t_memo.index = index;
    t_memo.generation = g_generation.load(std::memory_order_acquire);
}

StoreIndex* Lookup(const CZVEnvData* store, bool create) {
    const IndexMemo& memo = t_memo;
    if (memo.store == store && memo.index != nullptr &&
        memo.generation == g_generation.load(std::memory_order_acquire)) {
        return memo.index;
    }
    TableLock lock;
    StoreIndex* index = FindSlot(store);
    if (index == nullptr && create) {
        index = AddSlot(store);
    }
    if (index != nullptr) {
        Remember(store, index);
    }
    return index;
}

/* Whether the store may use an index: only a CZVEnvData itself (see the header). */
bool MayIndex(const CZVEnvData* store) {
    return zvenv::IsExactly<CZVEnvData>(*store);
}

}  // namespace

StoreIndex* IndexOf(const CZVEnvData* store) {
    if (!MayIndex(store)) {
        return nullptr;
    }
    StoreIndex* index = Lookup(store, true);
    if (index != nullptr && index->dataSize != store->m_dwDataSize && index->changeDepth == 0) {
        index->Clear();
        index->dataSize = store->m_dwDataSize;
    }
    return index;
}

StoreIndex* ExistingIndexOf(const CZVEnvData* store) {
    return Lookup(store, false);
}

void DropIndex(const CZVEnvData* store) {
    StoreIndex* index = ExistingIndexOf(store);
    if (index != nullptr) {
        index->Clear();
        index->dataSize = store->m_dwDataSize;
    }
}

void ReleaseIndex(const CZVEnvData* store) {
    StoreIndex* index = nullptr;
    {
        TableLock lock;
        for (size_t i = 0; i < g_slotCount; ++i) {
            if (g_slots[i].store == store) {
                index = g_slots[i].index;
                g_slots[i] = g_slots[g_slotCount - 1];
                --g_slotCount;
                g_generation.fetch_add(1, std::memory_order_acq_rel);
                break;
            }
        }
    }
    if (t_memo.store == store) {
        t_memo.store = nullptr;
        t_memo.index = nullptr;
    }
    delete index;
}

// ---------------------------------------------------------------------------------------------
// Lookups

namespace {

/* Where the name of a child lies and how long it is; false when the walk would skip it (no name
 * terminator, or a sum byte that no name of that kind can match). */
bool ChildName(CZVEnvData* store, uint32_t child, bool isDir, uint32_t* nameOffset,
               uint32_t* length) {
    uint32_t nameEnd =
        isDir ? store->CZVEnvData::SkipDirHead(child) : store->CZVEnvData::SkipKeyHead(child);
    if (nameEnd == 0) {
        return false;
    }
    *nameOffset = isDir ? kDirNameOffset : kKeyNameOffset;
    *length = nameEnd - 1 - (child + *nameOffset);
    const char* name = reinterpret_cast<const char*>(store->m_pData + child + *nameOffset);
    return store->CZVEnvData::GetSum(child) ==
           store->CZVEnvData::CalcSum(name, static_cast<int>(*length));
}

/* Sees one child: records it in the table of its kind. Returns false when no memory is left. */
bool See(CZVEnvData* store, DirRecord* r, uint32_t child) {
    bool isDir = store->CZVEnvData::IsDirNoValidate(child) != 0;
    if (!isDir && !store->CZVEnvData::IsKeyNoValidate(child)) {
        return true; /* comments and fillers are never found */
    }
    uint32_t nameOffset, length;
    if (!ChildName(store, child, isDir, &nameOffset, &length)) {
        return true;
    }
    const char* name = reinterpret_cast<const char*>(store->m_pData + child + nameOffset);
    NameTable& table = isDir ? r->dirs : r->keys;
    return table.Add(store->m_pData, nameOffset, child, HashName(name, length), length);
}

/* Remembers where a found child lies: a directory's parent, or the key as the hint for the trace
 * of the resize or deletion that usually follows. Every child before it was seen well formed. */
uint32_t Found(StoreIndex* index, uint32_t dir, uint32_t child, bool isDir) {
    if (isDir) {
        DirRecord* r = index->Get(child);
        if (r != nullptr) {
            r->parent = dir;
        }
    } else {
        index->hintKey = child;
        index->hintDir = dir;
    }
    return child;
}

}  // namespace

/*
 * The children from the scan mark on are seen in order (as the walk sees them) until the name
 * is found or the directory ends; a malformed child is seen and then ends the scan, as it ends
 * the walk. Only the root and directories reached through the index are answered here.
 */
unsigned int IndexedFind(StoreIndex* index, CZVEnvData* store, unsigned int dir, const char* name,
                         unsigned int length, bool wantDir) {
    return IndexedFindHashed(index, store, dir, name, length, HashName(name, length), wantDir);
}

unsigned int IndexedFindHashed(StoreIndex* index, CZVEnvData* store, unsigned int dir,
                               const char* name, unsigned int length, uint32_t hash, bool wantDir) {
    DirRecord* r = dir == ZVED_ROOT_DIR ? index->Get(dir) : index->Find(dir);
    if (r == nullptr) {
        return kIndexCannotAnswer;
    }
    uint32_t nameOffset = wantDir ? kDirNameOffset : kKeyNameOffset;
    NameTable& table = wantDir ? r->dirs : r->keys;
    uint32_t found = table.Find(store->m_pData, nameOffset, hash, name, length);
    if (found != 0) {
        return Found(index, dir, found, wantDir);
    }
    uint32_t dirSize = store->CZVEnvData::GetItemSizeNoValidate(dir);
    if (dirSize == 0) {
        return 0;
    }
    uint32_t end = dir + dirSize;
    if (r->scanned == 0) {
        uint32_t first = store->CZVEnvData::SkipDirHead(dir);
        if (first == 0) {
            return 0;
        }
        r->scanned = first;
    }
    while (!r->stopped && r->scanned < end) {
        uint32_t child = r->scanned;
        if (!r->children.Append(child) || !See(store, r, child)) {
            index->Clear();
            return kIndexCannotAnswer;
        }
        uint32_t size = store->CZVEnvData::GetItemSizeNoValidate(child);
        if (size == 0 || size > end - child) {
            index->suspect = true; /* malformed, or running past its directory */
        }
        if (size == 0) {
            r->stopped = true;
        } else {
            r->scanned = child + size;
        }
        found = table.Find(store->m_pData, nameOffset, hash, name, length);
        if (found != 0) {
            return Found(index, dir, found, wantDir);
        }
    }
    return 0;
}

void NoteNewDirectory(StoreIndex* index, unsigned int dir, unsigned int child) {
    DirRecord* parent = index->Find(dir);
    if (parent == nullptr || parent->stopped || parent->scanned != child) {
        return;
    }
    DirRecord* r = index->Get(child);
    if (r != nullptr) {
        r->parent = dir;
    }
}

/*
 * The chain of parents, checked against the sizes as they are now: each link must lie inside
 * the directory above it, as the walk's descent requires.
 */
int IndexedTrace(StoreIndex* index, CZVEnvData* store, unsigned int item, unsigned int* trace) {
    uint32_t dir;
    int count = 0;
    uint32_t chain[ZVED_MAX_DEPTH + 1];
    if (index->hintKey != 0 && item == index->hintKey) {
        dir = index->hintDir;
        chain[count++] = dir;
    } else {
        DirRecord* self = index->Find(item);
        if (self == nullptr || self->parent == kNoParent) {
            return -1;
        }
        dir = self->parent;
        if (dir == kRootParent) {
            return 0;
        }
        chain[count++] = dir;
    }
    uint32_t inner = item;
    for (;;) {
        uint32_t size = store->CZVEnvData::GetItemSizeNoValidate(dir);
        if (size == 0 || inner <= dir || inner - dir >= size) {
            return -1;
        }
        if (dir == ZVED_ROOT_DIR) {
            break;
        }
        DirRecord* r = index->Find(dir);
        if (r == nullptr || r->parent == kNoParent) {
            return -1;
        }
        inner = dir;
        dir = r->parent;
        if (count == ZVED_MAX_DEPTH) {
            return 0; /* a 17th enclosing directory */
        }
        chain[count++] = dir;
    }
    for (int i = 0; i < count; ++i) {
        trace[i] = chain[count - 1 - i];
    }
    return count;
}

/*
 * In a tree seen well formed, the directories around the change are exactly those of the trace:
 * each forgets its children from the one on the way to item on; the directories behind item
 * move and are dropped. A tree seen malformed forgets everything.
 */
void NoteChange(StoreIndex* index, unsigned int item, const unsigned int* trace, int count) {
    if (index->suspect) {
        index->Clear();
        return;
    }
    index->hintKey = 0;
    index->hintDir = 0;
    index->paths.Clear();
    index->DropFrom(item);
    for (int i = 0; i < count; ++i) {
        DirRecord* r = index->Find(trace[i]);
        if (r != nullptr) {
            r->Forget(i == count - 1 ? item : trace[i + 1]);
        }
    }
}

void BeginChange(StoreIndex* index) {
    ++index->changeDepth;
}

void EndChange(StoreIndex* index, unsigned int dataSize) {
    --index->changeDepth;
    index->dataSize = dataSize;
}

bool InChange(const StoreIndex* index) {
    return index->changeDepth != 0;
}

void CheckSize(StoreIndex* index, unsigned int dataSize) {
    if (index->changeDepth == 0 && index->dataSize != dataSize) {
        index->Clear();
        index->dataSize = dataSize;
    }
}

unsigned int CachedPath(StoreIndex* index, unsigned int start, const char* path, size_t length,
                        uint32_t hash) {
    return index->paths.Find(start, path, length, hash);
}

void RememberPath(StoreIndex* index, unsigned int start, const char* path, size_t length,
                  uint32_t hash, unsigned int dir) {
    index->paths.Add(start, path, length, hash, dir);
}

}  // namespace zvenv
