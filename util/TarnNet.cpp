/*
 * TarnNet.cpp - the machine's network (MAC) address.
 */
#include "TarnNet.h"

/*
 * This platform offers no adapter query, so the function is a stub on purpose: it writes nothing
 * into buffer, sets no code and returns 0. Callers clear the six bytes before asking and use
 * them whatever the result, so every header stamped here carries the address 00-00-00-00-00-00.
 */
int TarnGetMacAddress(unsigned char* buffer) {
    (void)buffer;
    return 0;
}
