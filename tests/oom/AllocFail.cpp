// The counting and failing allocation functions (see the header). The state is kept in atomics:
// the compiler knows what malloc and free do and may move plain stores around their calls.
#include "AllocFail.h"

#include <errno.h>
#include <stddef.h>
#include <stdio.h>

#include <atomic>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);
char* __real_strdup(const char* text);
char* __real_strndup(const char* text, size_t size);
FILE* __real_fopen(const char* path, const char* mode);
FILE* __real_fdopen(int fd, const char* mode);
int __real_fclose(FILE* file);
}

namespace {

std::atomic<long> g_live(0);
std::atomic<bool> g_armed(false);
std::atomic<bool> g_persist(false);
std::atomic<long> g_failAt(0);
std::atomic<long> g_seen(0);
std::atomic<bool> g_met(false);

// Whether the allocation being attempted is to fail; counts it while armed.
bool Refuse() {
    if (!g_armed.load()) {
        return false;
    }
    const long attempt = g_seen.fetch_add(1) + 1;
    const long failAt = g_failAt.load();
    if (failAt != 0 && (attempt == failAt || (g_persist.load() && attempt > failAt))) {
        g_met.store(true);
        errno = ENOMEM;
        return true;
    }
    return false;
}

// Counts a block that an allocation handed out (a null result is no block).
template <typename T>
T* Counted(T* block) {
    if (block != nullptr) {
        g_live.fetch_add(1);
    }
    return block;
}

void Release(void* block) {
    if (block != nullptr) {
        g_live.fetch_sub(1);
    }
    __real_free(block);
}

void* Allocate(size_t size) {
    return Refuse() ? nullptr : Counted(__real_malloc(size != 0 ? size : 1));
}

void* AllocateOrThrow(size_t size) {
    void* block = Allocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

extern "C" {

void* __wrap_malloc(size_t size) {
    return Refuse() ? nullptr : Counted(__real_malloc(size));
}

void* __wrap_calloc(size_t count, size_t size) {
    return Refuse() ? nullptr : Counted(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, size_t size) {
    if (Refuse()) {
        return nullptr;
    }
    void* moved = __real_realloc(block, size);
    if (block == nullptr && moved != nullptr) {
        g_live.fetch_add(1);  // a new block
    } else if (block != nullptr && size == 0 && moved == nullptr) {
        g_live.fetch_sub(1);  // the block was freed
    }
    return moved;
}

void __wrap_free(void* block) {
    Release(block);
}

char* __wrap_strdup(const char* text) {
    return Refuse() ? nullptr : Counted(__real_strdup(text));
}

char* __wrap_strndup(const char* text, size_t size) {
    return Refuse() ? nullptr : Counted(__real_strndup(text, size));
}

// A stream is an allocation of its own (the system library allocates it inside fopen and
// fdopen).
FILE* __wrap_fopen(const char* path, const char* mode) {
    return Refuse() ? nullptr : Counted(__real_fopen(path, mode));
}

FILE* __wrap_fdopen(int fd, const char* mode) {
    return Refuse() ? nullptr : Counted(__real_fdopen(fd, mode));
}

int __wrap_fclose(FILE* file) {
    if (file != nullptr) {
        g_live.fetch_sub(1);
    }
    return __real_fclose(file);
}

}  // extern "C"

void* operator new(size_t size) {
    return AllocateOrThrow(size);
}

void* operator new[](size_t size) {
    return AllocateOrThrow(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}

void operator delete(void* block) noexcept {
    Release(block);
}

void operator delete[](void* block) noexcept {
    Release(block);
}

void operator delete(void* block, size_t) noexcept {
    Release(block);
}

void operator delete[](void* block, size_t) noexcept {
    Release(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept {
    Release(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
    Release(block);
}

namespace zvoom {

long LiveAllocations() {
    return g_live.load();
}

void Arm(long failAt, bool persist) {
    g_seen.store(0);
    g_met.store(false);
    g_failAt.store(failAt);
    g_persist.store(persist);
    g_armed.store(true);
}

long Disarm() {
    g_armed.store(false);
    g_failAt.store(0);
    return g_seen.load();
}

bool FailureMet() {
    return g_met.load();
}

int LeakCheck() {
#if defined(__SANITIZE_ADDRESS__)
    return __lsan_do_recoverable_leak_check();
#else
    return 0;
#endif
}

}  // namespace zvoom
