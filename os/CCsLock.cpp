/*
 * CCsLock.cpp - scoped guard that holds a critical section for the life of the object.
 *
 * The critical-section calls are empty on this platform, so the guard marks where exclusion is
 * meant and gives none; it never reads or writes the mutex itself.
 */
#include "OSUtils.h"

CCsLock::CCsLock(pthread_mutex_t* cs) : m_pCs(cs) {
    OS_EnterCriticalSection(m_pCs);
}

CCsLock::~CCsLock() {
    OS_LeaveCriticalSection(m_pCs);
}
