// Replacement of pthread_mutex_lock for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <pthread.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_mutexLockFault;

extern "C" int __real_pthread_mutex_lock(pthread_mutex_t* mutex);

extern "C" int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (zvtest::g_mutexLockFault.Hit()) {
        return EDEADLK;
    }
    return __real_pthread_mutex_lock(mutex);
}
