// Replacement of the library's OS_GetFullPathName for wrapped test programs (see WrappedCalls.h).
#include "OSUtils.h"
#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_getFullPathNameFault;

extern "C" unsigned int __real_OS_GetFullPathName(const char* path, unsigned int bufferLength,
                                                  char* buffer, char** filePart);

extern "C" unsigned int __wrap_OS_GetFullPathName(const char* path, unsigned int bufferLength,
                                                  char* buffer, char** filePart) {
    if (zvtest::g_getFullPathNameFault.Hit()) {
        return 0;
    }
    return __real_OS_GetFullPathName(path, bufferLength, buffer, filePart);
}
