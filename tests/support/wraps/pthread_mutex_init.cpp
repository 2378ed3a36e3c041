// Replacement of pthread_mutex_init for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <pthread.h>

#include "WrappedCalls.h"

zvtest::CallFault zvtest::g_mutexInitFault;

extern "C" int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr);

extern "C" int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr) {
    if (zvtest::g_mutexInitFault.Hit()) {
        return EAGAIN;
    }
    return __real_pthread_mutex_init(mutex, attr);
}
