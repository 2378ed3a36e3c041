/*
 * TarnNet.h - the machine's network (MAC) address.
 */
#ifndef TARNNET_H
#define TARNNET_H

#include "ZVTypes.h"

ZV_BEGIN_C

/*
 * Would copy the six bytes of the first adapter's address into buffer and return non-zero.
 * This platform has no such query: it writes nothing, sets no code and returns 0, and callers
 * clear the six bytes before they ask.
 */
ZV_API int TarnGetMacAddress(unsigned char* buffer);

ZV_END_C

#endif /* TARNNET_H */
