// Replacement of gmtime for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <time.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_gmtimeFault;

extern "C" struct tm* __real_gmtime(const time_t* t);

extern "C" struct tm* __wrap_gmtime(const time_t* t) {
    if (zvtest::g_gmtimeFault.Hit()) {
        errno = EOVERFLOW;
        return nullptr;
    }
    return __real_gmtime(t);
}
