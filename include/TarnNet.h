/**
 * @file TarnNet.h
 * @brief The machine's network (MAC) address.
 */
#ifndef TARNNET_H
#define TARNNET_H

#include "ZVTypes.h"

ZV_BEGIN_C

/**
 * @addtogroup fileinfo
 * @{
 */

/**
 * Would copy the six bytes of the first adapter's address into buffer and return non-zero.
 *
 * @param buffer six bytes; left untouched.
 * @return 0: this platform has no such query.
 * @quirk It writes nothing and sets no code. Callers clear the six bytes before they ask, so
 *        every header stamped on this platform carries the address "*" (all zero). The codes 61,
 *        62 and 63 belong to this query and are never reported.
 */
ZV_API int TarnGetMacAddress(unsigned char* buffer);

/** @} */

ZV_END_C

#endif /* TARNNET_H */
