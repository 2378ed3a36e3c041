// The allocation functions of the allocation-failure test program: every allocation made in the
// program (the library's and the test's alike) passes through them and is counted, and the one
// that an armed test names fails as a system without memory fails it (a null result and ENOMEM,
// or std::bad_alloc from the plain operator new).
//
// The C functions (malloc, calloc, realloc, free, strdup, strndup, fopen, fclose) are wrapped by
// the linker; operator new and delete are replaced, so that the allocations libstdc++ makes
// inside itself for the library's strings are counted and can fail too.
#ifndef ZV_ALLOC_FAIL_H
#define ZV_ALLOC_FAIL_H

namespace zvoom {

// Blocks (and open streams) allocated and not yet released, counted over the whole program.
long LiveAllocations();

// From now on counts allocation attempts, and makes attempt number failAt (1 = the next) fail;
// with persist, every attempt after it fails as well. failAt 0 fails none.
void Arm(long failAt, bool persist);
// Stops counting and failing; returns the attempts counted since Arm.
long Disarm();
// Whether an attempt failed since the last Arm.
bool FailureMet();

// Looks for blocks that nothing points to any more: 0 when none were found (always 0 in a build
// without LeakSanitizer). Found blocks are reported on standard error.
int LeakCheck();

}  // namespace zvoom

#endif  // ZV_ALLOC_FAIL_H
