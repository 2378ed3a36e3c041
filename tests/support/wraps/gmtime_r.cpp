// Replacement of gmtime_r for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <time.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_gmtimeRFault;

extern "C" struct tm* __real_gmtime_r(const time_t* t, struct tm* result);

extern "C" struct tm* __wrap_gmtime_r(const time_t* t, struct tm* result) {
    if (zvtest::g_gmtimeRFault.Hit()) {
        errno = EOVERFLOW;
        return nullptr;
    }
    return __real_gmtime_r(t, result);
}
