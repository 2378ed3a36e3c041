// Replacement of the library's OS_SystemTimeToFileTime for wrapped test programs (see
// WrappedCalls.h).
#include "OSUtils.h"
#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_systemTimeToFileTimeFault;

extern "C" int __real_OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft);

extern "C" int __wrap_OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft) {
    if (zvtest::g_systemTimeToFileTimeFault.Hit()) {
        return 0;
    }
    return __real_OS_SystemTimeToFileTime(st, ft);
}
