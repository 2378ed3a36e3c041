/*
 * ZVKeyResolver.h - a key path resolved in one pass, for the typed getters of an environment
 * file object of the library's own class.
 *
 * It does what PrepareKey (without creating) and the store's getter lookup do, step for step
 * and with the same codes, but reads the path once and goes to the store's lookup index
 * directly, without the virtual operations in between that a derived class could replace.
 * Internal to the library.
 */
#ifndef ZVKEYRESOLVER_H
#define ZVKEYRESOLVER_H

#include "ZVEnvFile.h"

namespace zvenv {

/* What ResolveKeyQuickly returns when it cannot be used: the caller takes the general way. */
const int kResolveTheLongWay = -1;

/*
 * For file (of the class CZVEnvFile itself): resolves key as PrepareKey(key, ..., 0) would, and
 * looks the name up in the directory as the store's getters do (a valid name, a key of any type).
 * Returns 1 with the store locked and *item the key (0 when there is none); 0 with the code
 * PrepareKey would have set (the store unlocked); or kResolveTheLongWay with nothing changed.
 */
int ResolveKeyQuickly(CZVEnvFile* file, const char* key, unsigned int* item);

/* What store.CZVEnvData::Lock(lock) does and returns, for the store of a file object (whose
 * block is its own member), with the block lock taken in place. */
int QuickStoreLock(CZVEnvData& store, int lock);

/* The offset of the value of item when it is a well-formed key whose type is one of those in
 * types (a bit mask of 1 << type), as the store's getters accept it; 0 otherwise. */
unsigned int QuickValue(CZVEnvData& store, unsigned int item, unsigned int types);

}  // namespace zvenv

#endif /* ZVKEYRESOLVER_H */
