// Replacement of the library's OS_FileTimeToLocalFileTime for wrapped test programs (see
// WrappedCalls.h).
#include "OSUtils.h"
#include "WrappedCalls.h"

extern "C" int __real_OS_FileTimeToLocalFileTime(const long* ft, long* localFt);

extern "C" int __wrap_OS_FileTimeToLocalFileTime(const long* ft, long* localFt) {
    if (!zvtest::g_localTime.on) {
        return __real_OS_FileTimeToLocalFileTime(ft, localFt);
    }
    if (ft == nullptr || localFt == nullptr) {
        return 0;
    }
    *localFt = *ft + zvtest::g_localTime.offset;
    return 1;
}
