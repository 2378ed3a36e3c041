// Replacement of mmap for wrapped test programs (see WrappedCalls.h).
#include <errno.h>
#include <sys/mman.h>
#include <sys/types.h>

#include "WrappedCalls.h"

zvtest::MmapControl zvtest::g_mmap;

extern "C" void* __real_mmap(void* address, size_t length, int prot, int flags, int fd,
                             off_t offset);

extern "C" void* __wrap_mmap(void* address, size_t length, int prot, int flags, int fd,
                             off_t offset) {
    if (zvtest::g_mmap.fail.Hit()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    void* mapped = __real_mmap(address, length, prot, flags, fd, offset);
    if (mapped == MAP_FAILED) {
        return mapped;
    }
    void (*onMapped)(void*, size_t) = zvtest::g_mmap.onMapped.load();
    if (onMapped != nullptr) {
        onMapped(mapped, length);
    }
    if (zvtest::g_mmap.notFirst.Hit()) {
        errno = EAGAIN;
    }
    return mapped;
}
