/*
 * ZVSharedDataQuick.h - the block lock of a shared data block taken and released in place, for
 * the library's own hot paths. Internal to the library.
 */
#ifndef ZVSHAREDDATAQUICK_H
#define ZVSHAREDDATAQUICK_H

#include "ZVSharedData.h"

namespace zvmap {

/* What block.CZVSharedData::Lock(lock) does and returns, for a block object of the class
 * CZVSharedData itself (a member of a store, say). */
int LockBlock(CZVSharedData& block, int lock);

}  // namespace zvmap

#endif /* ZVSHAREDDATAQUICK_H */
