// Replacement of pthread_mutex_unlock for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <pthread.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_mutexUnlockFault;

extern "C" int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

extern "C" int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    if (zvtest::g_mutexUnlockFault.Hit()) {
        return EPERM;
    }
    return __real_pthread_mutex_unlock(mutex);
}
