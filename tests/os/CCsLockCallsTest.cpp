// The scoped critical-section guard enters on construction and leaves on destruction. The
// critical-section calls are empty in the library, so this program supplies its own
// OS_EnterCriticalSection and OS_LeaveCriticalSection, which the dynamic linker binds in place of
// the library's, and records every call the guard makes.
#include <gtest/gtest.h>

#include <pthread.h>
#include <string.h>

#include "OSUtils.h"

namespace {

struct Call {
    char kind;  // 'E' enter, 'L' leave
    pthread_mutex_t* cs;
};

Call g_calls[16];
int g_count = 0;

void Record(char kind, pthread_mutex_t* cs) {
    if (g_count < 16) {
        g_calls[g_count].kind = kind;
        g_calls[g_count].cs = cs;
    }
    ++g_count;
}

}  // namespace

extern "C" void OS_EnterCriticalSection(pthread_mutex_t* cs) {
    Record('E', cs);
}

extern "C" void OS_LeaveCriticalSection(pthread_mutex_t* cs) {
    Record('L', cs);
}

namespace {

TEST(CCsLockCallsTest, ConstructorEntersAndDestructorLeaves) {
    pthread_mutex_t cs;
    memset(&cs, 0, sizeof(cs));
    g_count = 0;
    {
        CCsLock lock(&cs);
        ASSERT_EQ(1, g_count);
        EXPECT_EQ('E', g_calls[0].kind);
        EXPECT_EQ(&cs, g_calls[0].cs);
    }
    ASSERT_EQ(2, g_count);
    EXPECT_EQ('L', g_calls[1].kind);
    EXPECT_EQ(&cs, g_calls[1].cs);
}

TEST(CCsLockCallsTest, NestedGuardsLeaveInReverseOrder) {
    pthread_mutex_t outer;
    pthread_mutex_t inner;
    memset(&outer, 0, sizeof(outer));
    memset(&inner, 0, sizeof(inner));
    g_count = 0;
    {
        CCsLock a(&outer);
        CCsLock b(&inner);
    }
    ASSERT_EQ(4, g_count);
    EXPECT_EQ('E', g_calls[0].kind);
    EXPECT_EQ(&outer, g_calls[0].cs);
    EXPECT_EQ('E', g_calls[1].kind);
    EXPECT_EQ(&inner, g_calls[1].cs);
    EXPECT_EQ('L', g_calls[2].kind);
    EXPECT_EQ(&inner, g_calls[2].cs);
    EXPECT_EQ('L', g_calls[3].kind);
    EXPECT_EQ(&outer, g_calls[3].cs);
}

TEST(CCsLockCallsTest, DeletingThroughThePointerLeavesOnce) {
    pthread_mutex_t cs;
    memset(&cs, 0, sizeof(cs));
    g_count = 0;
    CCsLock* lock = new CCsLock(&cs);
    ASSERT_EQ(1, g_count);
    delete lock;  // the deleting destructor slot
    ASSERT_EQ(2, g_count);
    EXPECT_EQ('L', g_calls[1].kind);
    EXPECT_EQ(&cs, g_calls[1].cs);
}

TEST(CCsLockCallsTest, NullIsPassedOnAsGiven) {
    g_count = 0;
    { CCsLock lock(nullptr); }
    ASSERT_EQ(2, g_count);
    EXPECT_EQ(nullptr, g_calls[0].cs);
    EXPECT_EQ(nullptr, g_calls[1].cs);
}

}  // namespace
