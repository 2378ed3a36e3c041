/*
 * ZVHandleRegistry.cpp - the live handles, kept sorted in one array under a real mutex (the
 * library's critical sections are empty on this platform, but a handle may be opened in one
 * thread while another one checks its own).
 */
#include "ZVHandleRegistry.h"

#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace zvenv {

namespace {

pthread_mutex_t g_registryMutex = PTHREAD_MUTEX_INITIALIZER;
uintptr_t* g_handles = nullptr;
size_t g_count = 0;
size_t g_capacity = 0;

/* Holds the registry's mutex for the life of the object. */
class RegistryLock {
public:
    RegistryLock() { pthread_mutex_lock(&g_registryMutex); }
    ~RegistryLock() { pthread_mutex_unlock(&g_registryMutex); }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;
};

/* Index of the first entry not below key. */
size_t LowerBound(uintptr_t key) {
    size_t low = 0;
    size_t high = g_count;
    while (low < high) {
        size_t mid = low + (high - low) / 2;
        if (g_handles[mid] < key) {
            low = mid + 1;
        } else {
            high = mid;
        }
    }
    return low;
}

bool Grow() {
    size_t capacity = g_capacity != 0 ? g_capacity * 2 : 16;
    void* grown = realloc(g_handles, capacity * sizeof *g_handles);
    if (grown == nullptr) {
        return false;
    }
    g_handles = static_cast<uintptr_t*>(grown);
    g_capacity = capacity;
    return true;
}

}  // namespace

bool RegisterHandle(const void* handle) {
    uintptr_t key = reinterpret_cast<uintptr_t>(handle);
    RegistryLock lock;
    size_t at = LowerBound(key);
    if (at < g_count && g_handles[at] == key) {
        return true;
    }
    if (g_count == g_capacity && !Grow()) {
        return false;
    }
    memmove(g_handles + at + 1, g_handles + at, (g_count - at) * sizeof *g_handles);
    g_handles[at] = key;
    ++g_count;
    return true;
}

bool UnregisterHandle(const void* handle) {
    uintptr_t key = reinterpret_cast<uintptr_t>(handle);
    RegistryLock lock;
    size_t at = LowerBound(key);
    if (at == g_count || g_handles[at] != key) {
        return false;
    }
    memmove(g_handles + at, g_handles + at + 1, (g_count - at - 1) * sizeof *g_handles);
    --g_count;
    return true;
}

bool IsLiveHandle(const void* handle) {
    if (handle == nullptr) {
        return false;
    }
    uintptr_t key = reinterpret_cast<uintptr_t>(handle);
    RegistryLock lock;
    size_t at = LowerBound(key);
    return at < g_count && g_handles[at] == key;
}

}  // namespace zvenv
