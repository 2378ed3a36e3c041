// The scoped critical-section guard: what it holds, that it never touches the mutex, deletion
// through its virtual destructor and its layout.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <pthread.h>
#include <string.h>

#include <type_traits>

#include "OSUtils.h"
#include "TarnError.h"
#include "TestSupport.h"

namespace {

using zvtest::kSentinelError;

TEST(CCsLockTest, HoldsThePointerItWasGiven) {
    pthread_mutex_t cs;
    memset(&cs, 0, sizeof(cs));
    CCsLock lock(&cs);
    EXPECT_EQ(&cs, lock.m_pCs);
}

TEST(CCsLockTest, NeverTouchesTheMutexBytes) {
    pthread_mutex_t cs;
    memset(&cs, 0xA5, sizeof(cs));
    pthread_mutex_t before;
    memcpy(&before, &cs, sizeof(cs));
    TarnSetLastError(kSentinelError);
    {
        CCsLock lock(&cs);
        EXPECT_EQ(0, memcmp(&before, &cs, sizeof(cs)));
    }
    EXPECT_EQ(0, memcmp(&before, &cs, sizeof(cs)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST(CCsLockTest, GivesNoExclusion) {
    pthread_mutex_t cs;
    ASSERT_EQ(0, pthread_mutex_init(&cs, nullptr));
    {
        CCsLock lock(&cs);
        // The critical-section calls are empty: the mutex is still free inside the guard.
        EXPECT_EQ(0, pthread_mutex_trylock(&cs));
        EXPECT_EQ(0, pthread_mutex_unlock(&cs));
        // Nesting on the same (non-recursive) mutex does not deadlock either.
        CCsLock inner(&cs);
        EXPECT_EQ(&cs, inner.m_pCs);
    }
    EXPECT_EQ(0, pthread_mutex_trylock(&cs));
    EXPECT_EQ(0, pthread_mutex_unlock(&cs));
    EXPECT_EQ(0, pthread_mutex_destroy(&cs));
}

TEST(CCsLockTest, AcceptsNull) {
    CCsLock lock(nullptr);
    EXPECT_EQ(nullptr, lock.m_pCs);
}

TEST(CCsLockTest, DeletesThroughItsVirtualDestructor) {
    static_assert(std::has_virtual_destructor<CCsLock>::value, "the destructor is virtual");
    pthread_mutex_t cs;
    memset(&cs, 0x3C, sizeof(cs));
    pthread_mutex_t before;
    memcpy(&before, &cs, sizeof(cs));
    CCsLock* lock = new CCsLock(&cs);
    EXPECT_EQ(&cs, lock->m_pCs);
    delete lock;  // the deleting destructor slot
    EXPECT_EQ(0, memcmp(&before, &cs, sizeof(cs)));
}

int g_derivedDestroyed = 0;

class CountingLock : public CCsLock {
public:
    explicit CountingLock(pthread_mutex_t* cs) : CCsLock(cs) {}
    ~CountingLock() override { ++g_derivedDestroyed; }
    int m_extra[4] = {1, 2, 3, 4};
};

TEST(CCsLockTest, DeletingThroughTheBaseRunsTheDerivedDestructor) {
    pthread_mutex_t cs;
    memset(&cs, 0, sizeof(cs));
    g_derivedDestroyed = 0;
    CCsLock* lock = new CountingLock(&cs);
    EXPECT_EQ(&cs, lock->m_pCs);
    delete lock;
    EXPECT_EQ(1, g_derivedDestroyed);
}

TEST(CCsLockTest, LayoutIsTheTablePointerThenTheMutexPointer) {
    EXPECT_EQ(2 * sizeof(void*), sizeof(CCsLock));
    CCsLock lock(nullptr);
    const char* base = reinterpret_cast<const char*>(&lock);
    const char* field = reinterpret_cast<const char*>(&lock.m_pCs);
    EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(void*)), field - base);
#if defined(__i386__)
    EXPECT_EQ(8u, sizeof(CCsLock));
    EXPECT_EQ(4, field - base);
#endif
}

TEST(CCsLockTest, ConstructorsDestructorsAndTableAreExported) {
    const char* names[] = {"_ZN7CCsLockC1EP15pthread_mutex_t",
                           "_ZN7CCsLockC2EP15pthread_mutex_t",
                           "_ZN7CCsLockD0Ev",
                           "_ZN7CCsLockD1Ev",
                           "_ZN7CCsLockD2Ev",
                           "_ZTV7CCsLock"};
    for (const char* name : names) {
        EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, name)) << name;
    }
}

TEST(CCsLockTest, TableHoldsTheTwoDestructorSlotsInOrder) {
    // Itanium layout: offset-to-top, type info, then the slots: complete, deleting.
    void* const* table = static_cast<void* const*>(dlsym(RTLD_DEFAULT, "_ZTV7CCsLock"));
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN7CCsLockD1Ev"), table[2]);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN7CCsLockD0Ev"), table[3]);
    CCsLock lock(nullptr);
    void* const* vptr;
    memcpy(&vptr, &lock, sizeof(vptr));
    EXPECT_EQ(table + 2, vptr);
}

}  // namespace
