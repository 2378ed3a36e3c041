// Replacement of the library's OS_LocalFileTimeToFileTime for wrapped test programs (see
// WrappedCalls.h).
#include "OSUtils.h"
#include "WrappedCalls.h"

extern "C" int __real_OS_LocalFileTimeToFileTime(const long* localFt, long* ft);

extern "C" int __wrap_OS_LocalFileTimeToFileTime(const long* localFt, long* ft) {
    if (!zvtest::g_localTime.on) {
        return __real_OS_LocalFileTimeToFileTime(localFt, ft);
    }
    if (localFt == nullptr || ft == nullptr) {
        return 0;
    }
    *ft = *localFt - zvtest::g_localTime.offset;
    return 1;
}
