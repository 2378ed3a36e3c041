// Replacement of gettimeofday for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <sys/time.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_gettimeofdayFault;

extern "C" int __real_gettimeofday(struct timeval* tv, void* tz);

extern "C" int __wrap_gettimeofday(struct timeval* tv, void* tz) {
    if (zvtest::g_gettimeofdayFault.Hit()) {
        errno = EFAULT;
        return -1;
    }
    return __real_gettimeofday(tv, tz);
}
