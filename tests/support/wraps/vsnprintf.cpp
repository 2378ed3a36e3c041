// Replacement of vsnprintf for wrapped test programs (see WrappedCalls.h).
#include <stdarg.h>
#include <stddef.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_vsnprintfFault;

extern "C" int __real_vsnprintf(char* dst, size_t count, const char* format, va_list args);

extern "C" int __wrap_vsnprintf(char* dst, size_t count, const char* format, va_list args) {
    if (zvtest::g_vsnprintfFault.Hit()) {
        return -2;
    }
    return __real_vsnprintf(dst, count, format, args);
}
