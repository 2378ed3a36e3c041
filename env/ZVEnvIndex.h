/*
 * ZVEnvIndex.h - a store's lookup index: per directory, the names of the children seen so far,
 * so that finding a key or a directory does not walk every child each time.
 *
 * The index is a cache of what the walk over a directory's children would find: for each
 * directory it remembers the first child of each name among the children before a scan mark,
 * and scans on (and records) only when a name is not among them, so children appended behind the
 * mark are found whoever wrote them. It gives exactly the child that the walk gives.
 *
 * Every insertion, resize and deletion reports the place of its change: the records of
 * directories behind that place are dropped, and the directories around it forget the children
 * from that place on (they are found again by scanning). A store whose buffer is replaced
 * (Reset, Open, Close, its destruction) drops its index. The index knows nothing of bytes
 * written into the buffer by other means than the store's operations.
 *
 * It is used only by stores whose dynamic type is CZVEnvData itself: a host program's subclass
 * may change the operations the walk calls, so it always walks. Internal to the library.
 */
#ifndef ZVENVINDEX_H
#define ZVENVINDEX_H

#include <stddef.h>
#include <stdint.h>

class CZVEnvData;

namespace zvenv {

class StoreIndex;

/* The index of store when it may use one (creating it on first use); null when it may not, or
 * when no memory is left (the caller then walks). */
StoreIndex* IndexOf(const CZVEnvData* store);
/* The index of store if one exists, else null; never creates one. */
StoreIndex* ExistingIndexOf(const CZVEnvData* store);
/* Forgets everything the store's index holds (when it has one). */
void DropIndex(const CZVEnvData* store);
/* Frees the store's index (its destructor). */
void ReleaseIndex(const CZVEnvData* store);

/* What IndexedFind returns when the index cannot answer (no memory): the caller walks. */
const unsigned int kIndexCannotAnswer = 0xFFFFFFFFu;

/* FindDir / FindKey through the index: the child, 0 when there is none, or kIndexCannotAnswer.
 * dir is already validated. */
unsigned int IndexedFind(StoreIndex* index, CZVEnvData* store, unsigned int dir, const char* name,
                         unsigned int length, bool wantDir);
/* The same with the name's hash (HashName) already known. */
unsigned int IndexedFindHashed(StoreIndex* index, CZVEnvData* store, unsigned int dir,
                               const char* name, unsigned int length, uint32_t hash, bool wantDir);
/* Records that child, just created as the last child of dir, is a directory inside it: only
 * when every child before it was seen well formed, so that the walk would reach it too. */
void NoteNewDirectory(StoreIndex* index, unsigned int dir, unsigned int child);
/* The enclosing directories of item, root first, when the index knows them all; -1 when it
 * does not (the caller walks). At most 16 entries; needing a 17th gives 0. */
int IndexedTrace(StoreIndex* index, CZVEnvData* store, unsigned int item, unsigned int* trace);

/*
 * Reports a change: item (a child of trace[count - 1], or the new item's place for an
 * insertion into trace[count - 1]) and everything behind it move or change. The enclosing
 * directories are those in trace (root first).
 */
void NoteChange(StoreIndex* index, unsigned int item, const unsigned int* trace, int count);

/* The directory a key path's directory part (the text path) led to from start, when the index
 * remembers it; 0 otherwise. Any change forgets every path. */
unsigned int CachedPath(StoreIndex* index, unsigned int start, const char* path, size_t length,
                        uint32_t hash);
void RememberPath(StoreIndex* index, unsigned int start, const char* path, size_t length,
                  uint32_t hash, unsigned int dir);

/* Marks the span of a structural change, so that size writes inside it do not drop the index. */
void BeginChange(StoreIndex* index);
void EndChange(StoreIndex* index, unsigned int dataSize);
/* Whether a structural change is under way. */
bool InChange(const StoreIndex* index);
/* Drops everything when the buffer's size is not the one the index last saw (changed by other
 * means). */
void CheckSize(StoreIndex* index, unsigned int dataSize);

}  // namespace zvenv

#endif /* ZVENVINDEX_H */
