// The calls that tests/support/wraps/ can replace in a wrapped test program, and the switches
// that make each one fail. A program asks for a replacement by naming the call in the WRAP list of
// zv_add_wrapped_test; only the replacements it names are linked in, so a program uses only the
// switches of the calls it wraps. Every switch is off between tests (use FaultScope).
#ifndef ZV_TEST_WRAPPED_CALLS_H
#define ZV_TEST_WRAPPED_CALLS_H

#include <atomic>
#include <cstddef>

#include "CallFault.h"

namespace zvtest {

// gmtime, gmtime_r: a failing call returns null with EOVERFLOW.
extern CallFault g_gmtimeFault;
extern CallFault g_gmtimeRFault;
// gettimeofday: a failing call returns -1 with EFAULT and writes nothing.
extern CallFault g_gettimeofdayFault;
// vsnprintf: a failing call returns -2, an output error other than the -1 some formatters use
// for a cut text, and writes nothing.
extern CallFault g_vsnprintfFault;
// pthread_mutex_init, pthread_mutex_lock, pthread_mutex_unlock: a failing call returns EAGAIN,
// EDEADLK or EPERM and leaves the mutex as it was.
extern CallFault g_mutexInitFault;
extern CallFault g_mutexLockFault;
extern CallFault g_mutexUnlockFault;

// mmap: a failing call returns MAP_FAILED with ENOMEM. A call hit by notFirst maps as usual and
// then leaves errno at EAGAIN (11), as if another holder had made the mapping already. After every
// successful call, onMapped (when set) sees the new mapping, before the caller does.
struct MmapControl {
    CallFault fail;
    CallFault notFirst;
    std::atomic<void (*)(void* address, size_t length)> onMapped{nullptr};
};
extern MmapControl g_mmap;

// OS_SystemTimeToFileTime: a failing call returns 0 and writes nothing.
extern CallFault g_systemTimeToFileTimeFault;

// OS_GetFullPathName: a failing call returns 0 and writes nothing.
extern CallFault g_getFullPathNameFault;

// OS_FileTimeToLocalFileTime and OS_LocalFileTimeToFileTime: while on, they answer as a platform
// that keeps local time offset seconds east of UTC (local = UTC + offset) and return 1, instead
// of the library's refusal.
struct LocalTimeAnswer {
    std::atomic<bool> on{false};
    std::atomic<long> offset{0};
};
extern LocalTimeAnswer g_localTime;

}  // namespace zvtest

#endif  // ZV_TEST_WRAPPED_CALLS_H
