// Tests of the library string buffers: sizing, allocation, copying, duplication, narrow/wide
// conversion and formatting, with their results and last-error codes.
#include <errno.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wchar.h>

#include <cstdio>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TarnString.h"
#include "TestSupport.h"

// Under AddressSanitizer a failed huge allocation must come back as null, as it does with the
// plain allocator, instead of stopping the test program.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using zvtest::kSentinelError;

const unsigned int kBadSize = TARN_ERR_INVALID_BUFFER_SIZE;  // 11
const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;     // 15
const unsigned int kNullPtr = TARN_ERR_NULL_POINTER;         // 16

// Keeps null pointers and texts opaque to the compiler, so that its format and non-null checks
// do not object to the invalid arguments under test.
const char* volatile g_nullText = nullptr;
const wchar_t* volatile g_nullWide = nullptr;
char* volatile g_nullDst = nullptr;
wchar_t* volatile g_nullWideDst = nullptr;

class TarnStringTest : public ::testing::Test {
protected:
    void SetUp() override { setlocale(LC_ALL, "C"); }
    void TearDown() override { setlocale(LC_ALL, "C"); }
};

// Exit status of a limited child whose address-space limit turned out not to be in force (qemu-user
// does not pass RLIMIT_AS on to its guest).
const int kLimitNotInForce = 77;

// Uses up the address space of a 32-bit process with inaccessible reservations, all but headroom
// bytes in one piece and holes below 1 MiB, so that a larger block cannot be allocated.
void ReserveAddressSpaceBut(size_t headroom) {
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    void* keep = mmap(nullptr, headroom, PROT_NONE, flags, -1, 0);
    for (size_t size = static_cast<size_t>(1) << 30; size >= (static_cast<size_t>(1) << 20);
         size /= 2) {
        while (mmap(nullptr, size, PROT_NONE, flags, -1, 0) != MAP_FAILED) {
        }
    }
    if (keep != MAP_FAILED) {
        munmap(keep, headroom);
    }
}

// Runs check in a forked child whose address space is limited to what it already maps plus
// headroom bytes, and reports the check's value (0-255) or -1. With probeBytes non-zero the child
// first makes sure that a block of that size is refused; where the limit is ignored (qemu-user) a
// 32-bit child uses up its address space instead, and otherwise reports kLimitNotInForce.
int RunWithLimitedMemory(const std::function<int()>& check, rlim_t headroom, size_t probeBytes) {
    fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
        return -1;
    }
    if (pid == 0) {
        long pages = 0;
        FILE* statm = fopen("/proc/self/statm", "r");
        if (statm != nullptr) {
            if (fscanf(statm, "%ld", &pages) != 1) {
                pages = 0;
            }
            fclose(statm);
        }
        rlim_t current = static_cast<rlim_t>(pages) * static_cast<rlim_t>(getpagesize());
        struct rlimit limit;
        if (getrlimit(RLIMIT_AS, &limit) != 0) {
            _exit(250);
        }
        limit.rlim_cur = current + headroom;
        if (setrlimit(RLIMIT_AS, &limit) != 0) {
            _exit(251);
        }
        if (probeBytes != 0) {
            void* probe = malloc(probeBytes);
            if (probe != nullptr && sizeof(void*) == 4) {
                free(probe);
                ReserveAddressSpaceBut(static_cast<size_t>(headroom));
                probe = malloc(probeBytes);
            }
            if (probe != nullptr) {
                _exit(kLimitNotInForce);
            }
        }
        _exit(check() & 0xFF);
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

// 512 MiB of headroom: far below the 4 GiB blocks asked for.
int RunWithLimitedMemory(const std::function<int()>& check) {
    return RunWithLimitedMemory(check, static_cast<rlim_t>(512) << 20, 0);
}

// Sizes for the tight child: the headroom, and the smallest block under test. The blocks are above
// the largest mmap threshold of the system allocator (32 MiB on 64-bit builds, 512 KiB on 32-bit
// ones), so they always need new address space and never come from free heap left by earlier
// tests. The 32-bit sizes are smaller to keep the emulated device run short.
const bool k32Bit = sizeof(void*) == 4;
const rlim_t kTightHeadroom = static_cast<rlim_t>(k32Bit ? 4 : 16) << 20;
const size_t kTightBlock = static_cast<size_t>(k32Bit ? 16 : 48) << 20;
// A wide text of this many characters makes the wide formatter ask for a scratch block of at
// least 2 x 4 x this many bytes (8 MiB on 32-bit, 32 MiB on 64-bit builds): beyond the headroom.
const size_t kTightFormatChars = static_cast<size_t>(k32Bit ? 1 : 6) << 20;

// Runs check in the tight child; see RunWithLimitedMemory.
int RunInTightMemory(const std::function<int()>& check) {
    return RunWithLimitedMemory(check, kTightHeadroom, kTightBlock);
}

// A check for the tight child: 0 when failed is true and the last error is code, else 1 or 2.
int FailedWithCode(bool failed, unsigned int code) {
    if (!failed) {
        return 1;
    }
    return TarnGetLastError() == code ? 0 : 2;
}

// Expects the tight child to report 0, or skips where the memory limit cannot be set.
#define EXPECT_FAILS_IN_TIGHT_MEMORY(check)                                 \
    do {                                                                    \
        int tightResult = RunInTightMemory(check);                          \
        if (tightResult == kLimitNotInForce) {                              \
            GTEST_SKIP() << "the address-space limit is not in force here"; \
        }                                                                   \
        EXPECT_EQ(0, tightResult);                                          \
    } while (0)

std::string Repeat(char ch, size_t count) {
    return std::string(count, ch);
}

std::wstring RepeatW(wchar_t ch, size_t count) {
    return std::wstring(count, ch);
}

// ---------------------------------------------------------------------------------------------
// Sizing

TEST_F(TarnStringTest, BufferSizeAIsTheCount) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0u, TarnGetStringBufferSizeA(0));
    EXPECT_EQ(5u, TarnGetStringBufferSizeA(5));
    EXPECT_EQ(0xFFFFFFFFu, TarnGetStringBufferSizeA(0xFFFFFFFFu));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, BufferSizeWIsFourTimesTheCountIn32Bits) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0u, TarnGetStringBufferSizeW(0));
    EXPECT_EQ(4u, TarnGetStringBufferSizeW(1));
    EXPECT_EQ(12u, TarnGetStringBufferSizeW(3));
    EXPECT_EQ(0xFFFFFFFCu, TarnGetStringBufferSizeW(0x3FFFFFFFu));
    EXPECT_EQ(0u, TarnGetStringBufferSizeW(0x40000000u));
    EXPECT_EQ(4u, TarnGetStringBufferSizeW(0x40000001u));
    EXPECT_EQ(0xFFFFFFFCu, TarnGetStringBufferSizeW(0xFFFFFFFFu));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, StringSizeA) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(2, TarnGetStringSizeA("ab", 0));
    EXPECT_EQ(3, TarnGetStringSizeA("ab", 1));
    EXPECT_EQ(3, TarnGetStringSizeA("ab", 7));  // any non-zero flag counts the terminator
    EXPECT_EQ(0, TarnGetStringSizeA("", 0));
    EXPECT_EQ(1, TarnGetStringSizeA("", 1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, StringSizeANull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnGetStringSizeA(g_nullText, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnGetStringSizeA(g_nullText, 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, StringSizeWInBytes) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(12, TarnGetStringSizeW(L"ab", 1));
    EXPECT_EQ(8, TarnGetStringSizeW(L"ab", 0));
    EXPECT_EQ(12, TarnGetStringSizeW(L"ab", -1));
    EXPECT_EQ(0, TarnGetStringSizeW(L"", 0));
    EXPECT_EQ(4, TarnGetStringSizeW(L"", 1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, StringSizeWNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnGetStringSizeW(g_nullWide, 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnGetStringSizeW(g_nullWide, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

// ---------------------------------------------------------------------------------------------
// Allocation and release

TEST_F(TarnStringTest, AllocateBufferZeroIsRefused) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateBuffer(0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
}

TEST_F(TarnStringTest, AllocateBufferGivesAWritableBlock) {
    TarnSetLastError(kSentinelError);
    unsigned char* block = static_cast<unsigned char*>(TarnAllocateBuffer(1));
    ASSERT_NE(nullptr, block);
    block[0] = 0xA5;
    EXPECT_EQ(1, TarnFreeBuffer(block));
    block = static_cast<unsigned char*>(TarnAllocateBuffer(100));
    ASSERT_NE(nullptr, block);
    memset(block, 0x5A, 100);
    EXPECT_EQ(1, TarnFreeBuffer(block));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, AllocateStringBufferA) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateStringBufferA(0));
    EXPECT_EQ(kBadSize, TarnGetLastError());

    TarnSetLastError(kSentinelError);
    char* one = TarnAllocateStringBufferA(1);
    ASSERT_NE(nullptr, one);
    EXPECT_EQ('\0', one[0]);
    char* many = TarnAllocateStringBufferA(64);
    ASSERT_NE(nullptr, many);
    EXPECT_STREQ("", many);
    memset(many, 'x', 64);  // the whole block is usable
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(one));
    EXPECT_EQ(1, TarnFreeBuffer(many));
}

TEST_F(TarnStringTest, AllocateStringBufferW) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateStringBufferW(0));
    EXPECT_EQ(kBadSize, TarnGetLastError());

    TarnSetLastError(kSentinelError);
    wchar_t* one = TarnAllocateStringBufferW(1);
    ASSERT_NE(nullptr, one);
    EXPECT_EQ(L'\0', one[0]);
    wchar_t* many = TarnAllocateStringBufferW(16);
    ASSERT_NE(nullptr, many);
    EXPECT_STREQ(L"", many);
    for (int i = 0; i < 16; ++i) {
        many[i] = L'x';  // 16 characters of four bytes
    }
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(one));
    EXPECT_EQ(1, TarnFreeBuffer(many));
}

TEST_F(TarnStringTest, AllocateStringBufferWCountWrappingToZeroIsRefused) {
    // 0x40000000 characters are 0 bytes in 32-bit arithmetic, on every build.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateStringBufferW(0x40000000u));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateStringBufferW(0x80000000u));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAllocateStringBufferW(0xC0000000u));
    EXPECT_EQ(kBadSize, TarnGetLastError());
}

TEST_F(TarnStringTest, AllocateStringBufferWCountWrappingToSmallBlock) {
    // 0x40000001 characters wrap to 4 bytes: one character, holding L"".
    TarnSetLastError(kSentinelError);
    wchar_t* block = TarnAllocateStringBufferW(0x40000001u);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(L'\0', block[0]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(block));
}

TEST_F(TarnStringTest, HugeAllocationsFailWithMemoryOverflow) {
    // Each check exits with 0 on the expected null result and code 15.
    auto fails15 = [](void* block) -> int {
        if (block != nullptr) {
            return 1;
        }
        return TarnGetLastError() == kNoMemory ? 0 : 2;
    };
    EXPECT_EQ(0, RunWithLimitedMemory([&] {
                  TarnSetLastError(kSentinelError);
                  return fails15(TarnAllocateBuffer(0xFFFFFFFFu));
              }));
    EXPECT_EQ(0, RunWithLimitedMemory([&] {
                  TarnSetLastError(kSentinelError);
                  return fails15(TarnAllocateStringBufferA(0xFFFFFFFFu));
              }));
    EXPECT_EQ(0, RunWithLimitedMemory([&] {
                  TarnSetLastError(kSentinelError);
                  // 0x3FFFFFFF characters: 0xFFFFFFFC bytes.
                  return fails15(TarnAllocateStringBufferW(0x3FFFFFFFu));
              }));
    EXPECT_EQ(0, RunWithLimitedMemory([&] {
                  TarnSetLastError(kSentinelError);
                  // 0xFFFFFFFF characters wrap to 0xFFFFFFFC bytes, not to 0.
                  return fails15(TarnAllocateStringBufferW(0xFFFFFFFFu));
              }));
}

TEST_F(TarnStringTest, FreeBufferNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnFreeBuffer(nullptr));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, LibraryBuffersArePlainMallocBlocks) {
    // A block from malloc may be released by the library, and a library buffer by free.
    void* fromMalloc = malloc(10);
    ASSERT_NE(nullptr, fromMalloc);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnFreeBuffer(fromMalloc));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    char* dup = TarnDupStringA("abc");
    ASSERT_NE(nullptr, dup);
    free(dup);
}

// ---------------------------------------------------------------------------------------------
// TarnCopyStringA

// A destination of 8 bytes pre-filled with 'X', so that bytes written past the copy show.
struct DstA {
    char bytes[8];
    DstA() { memset(bytes, 'X', sizeof(bytes)); }
    std::string All() const { return std::string(bytes, sizeof(bytes)); }
};

TEST_F(TarnStringTest, CopyAFits) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyStringA("abc", dst.bytes, 4, 1));
    EXPECT_EQ(std::string("abc\0XXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAWithRoomToSpare) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyStringA("abc", dst.bytes, 8, 1));
    EXPECT_EQ(std::string("abc\0XXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyATruncatedFailOnTruncate) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA("abc", dst.bytes, 3, 1));
    EXPECT_EQ(std::string("ab\0XXXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());  // a cut sets no code
    // Any non-zero flag reports the cut.
    DstA other;
    EXPECT_EQ(-1, TarnCopyStringA("abc", other.bytes, 3, -7));
    EXPECT_EQ(std::string("ab\0XXXXX", 8), other.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyATruncatedWithoutFail) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(2, TarnCopyStringA("abc", dst.bytes, 3, 0));
    EXPECT_EQ(std::string("ab\0XXXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyASizeOneWritesOnlyTheTerminator) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnCopyStringA("abc", dst.bytes, 1, 0));
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst.All());
    DstA dst2;
    EXPECT_EQ(-1, TarnCopyStringA("abc", dst2.bytes, 1, 1));
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst2.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAEmptySource) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnCopyStringA("", dst.bytes, 1, 1));  // fits exactly: not a cut
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyALimitLenAndLenPlusOne) {
    const std::string text = "abcdef";  // len 6
    for (int fail = 0; fail <= 1; ++fail) {
        DstA atLen;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(fail ? -1 : 5, TarnCopyStringA(text.c_str(), atLen.bytes, 6, fail));
        EXPECT_EQ(std::string("abcde\0XX", 8), atLen.All());
        DstA atLenPlusOne;
        EXPECT_EQ(6, TarnCopyStringA(text.c_str(), atLenPlusOne.bytes, 7, fail));
        EXPECT_EQ(std::string("abcdef\0X", 8), atLenPlusOne.All());
        EXPECT_EQ(kSentinelError, TarnGetLastError());
    }
}

TEST_F(TarnStringTest, CopyAHugeDeclaredSizeCopiesOnlyTheText) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyStringA("abc", dst.bytes, 0xFFFFFFFFu, 1));
    EXPECT_EQ(std::string("abc\0XXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyASizeZero) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA("abc", dst.bytes, 0, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
}

TEST_F(TarnStringTest, CopyASizeTestComesBeforeNullTest) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA(g_nullText, g_nullDst, 0, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA(g_nullText, dst.bytes, 0, 1));
    EXPECT_EQ(kBadSize, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyANulls) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA(g_nullText, dst.bytes, 8, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA("abc", g_nullDst, 8, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringA(g_nullText, g_nullDst, 8, 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

// ---------------------------------------------------------------------------------------------
// TarnCopyStringW (dstSize in bytes)

struct DstW {
    wchar_t chars[6];
    DstW() {
        for (wchar_t& ch : chars) {
            ch = L'X';
        }
    }
    std::wstring All() const { return std::wstring(chars, 6); }
};

std::wstring W6(const wchar_t* text, size_t len) {
    std::wstring all(text, len);
    all.resize(6, L'X');
    return all;
}

TEST_F(TarnStringTest, CopyWSizesBelowOneCharacter) {
    for (unsigned int size = 0; size < 4; ++size) {
        DstW dst;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(-1, TarnCopyStringW(L"abc", dst.chars, size, 0)) << size;
        EXPECT_EQ(kBadSize, TarnGetLastError()) << size;
        EXPECT_EQ(W6(L"", 0), dst.All());
    }
}

TEST_F(TarnStringTest, CopyWSizeTestComesBeforeNullTest) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringW(g_nullWide, g_nullWideDst, 3, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringW(g_nullWide, dst.chars, 3, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWOneCharacterHoldsOnlyTheTerminator) {
    // 4 to 7 bytes are one character.
    for (unsigned int size = 4; size < 8; ++size) {
        DstW dst;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, TarnCopyStringW(L"abc", dst.chars, size, 0)) << size;
        EXPECT_EQ(W6(L"\0", 1), dst.All());
        DstW dst2;
        EXPECT_EQ(-1, TarnCopyStringW(L"abc", dst2.chars, size, 1)) << size;
        EXPECT_EQ(W6(L"\0", 1), dst2.All());
        EXPECT_EQ(kSentinelError, TarnGetLastError());
    }
}

TEST_F(TarnStringTest, CopyWTwoCharacters) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnCopyStringW(L"abc", dst.chars, 8, 0));
    EXPECT_EQ(W6(L"a\0", 2), dst.All());
    DstW dst2;
    EXPECT_EQ(-1, TarnCopyStringW(L"abc", dst2.chars, 11, 1));
    EXPECT_EQ(W6(L"a\0", 2), dst2.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWLimitLenAndLenPlusOne) {
    // L"abc": 12 bytes hold only "ab"; 16 bytes hold the text and its terminator.
    for (int fail = 0; fail <= 1; ++fail) {
        DstW cut;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(fail ? -1 : 2, TarnCopyStringW(L"abc", cut.chars, 12, fail));
        EXPECT_EQ(W6(L"ab\0", 3), cut.All());
        DstW cut15;
        EXPECT_EQ(fail ? -1 : 2, TarnCopyStringW(L"abc", cut15.chars, 15, fail));
        EXPECT_EQ(W6(L"ab\0", 3), cut15.All());
        DstW fits;
        EXPECT_EQ(3, TarnCopyStringW(L"abc", fits.chars, 16, fail));
        EXPECT_EQ(W6(L"abc\0", 4), fits.All());
        DstW roomy;
        EXPECT_EQ(3, TarnCopyStringW(L"abc", roomy.chars, 24, fail));
        EXPECT_EQ(W6(L"abc\0", 4), roomy.All());
        EXPECT_EQ(kSentinelError, TarnGetLastError());
    }
}

TEST_F(TarnStringTest, CopyWEmptySource) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnCopyStringW(L"", dst.chars, 4, 1));
    EXPECT_EQ(W6(L"\0", 1), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWHugeDeclaredSize) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyStringW(L"abc", dst.chars, 0xFFFFFFFFu, 1));
    EXPECT_EQ(W6(L"abc\0", 4), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWNulls) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringW(g_nullWide, dst.chars, 24, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_EQ(W6(L"", 0), dst.All());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringW(L"abc", g_nullWideDst, 24, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyStringW(g_nullWide, g_nullWideDst, 4, 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

// ---------------------------------------------------------------------------------------------
// Duplication

TEST_F(TarnStringTest, DupA) {
    const char text[] = "hello";
    TarnSetLastError(kSentinelError);
    char* copy = TarnDupStringA(text);
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(text, copy);
    EXPECT_STREQ("hello", copy);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(copy));
}

TEST_F(TarnStringTest, DupAEmpty) {
    TarnSetLastError(kSentinelError);
    char* copy = TarnDupStringA("");
    ASSERT_NE(nullptr, copy);
    EXPECT_STREQ("", copy);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(copy));
}

TEST_F(TarnStringTest, DupANull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnDupStringA(g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, DupW) {
    const wchar_t text[] = L"hello";
    TarnSetLastError(kSentinelError);
    wchar_t* copy = TarnDupStringW(text);
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(text, copy);
    EXPECT_STREQ(L"hello", copy);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(copy));
    copy = TarnDupStringW(L"");
    ASSERT_NE(nullptr, copy);
    EXPECT_STREQ(L"", copy);
    EXPECT_EQ(1, TarnFreeBuffer(copy));
}

TEST_F(TarnStringTest, DupWNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnDupStringW(g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, DupAOutOfMemory) {
    const std::string big(kTightBlock, 'd');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnDupStringA(big.c_str()) == nullptr, kNoMemory);
    });
}

TEST_F(TarnStringTest, DupWOutOfMemory) {
    const std::wstring big(kTightBlock / sizeof(wchar_t), L'd');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnDupStringW(big.c_str()) == nullptr, kNoMemory);
    });
}

// ---------------------------------------------------------------------------------------------
// Conversion to a new buffer

TEST_F(TarnStringTest, WideToAnsiAscii) {
    TarnSetLastError(kSentinelError);
    char* text = TarnWideToAnsiString(L"abc");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("abc", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, WideToAnsiEmptyIsNullWithoutCode) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnWideToAnsiString(L""));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, WideToAnsiNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnWideToAnsiString(g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, WideToAnsiUnconvertibleInCLocale) {
    // The measurement fails (the system library reports -1): null, and the library sets no code of
    // its own, so the last error is the system library's EILSEQ. A conversion limited by a
    // wrapped size would have returned "abcd" instead.
    ASSERT_NE(nullptr, setlocale(LC_ALL, "C"));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnWideToAnsiString(L"abcd\u00e9"));
    EXPECT_EQ(static_cast<unsigned int>(EILSEQ), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnWideToAnsiString(L"\u00e9"));
    EXPECT_EQ(static_cast<unsigned int>(EILSEQ), TarnGetLastError());
}

TEST_F(TarnStringTest, WideToAnsiUtf8) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    TarnSetLastError(kSentinelError);
    char* text = TarnWideToAnsiString(L"abcd\u00e9\u20ac");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("abcd\xC3\xA9\xE2\x82\xAC", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, WideToAnsiLongText) {
    const std::wstring wide = RepeatW(L'q', 1000);
    char* text = TarnWideToAnsiString(wide.c_str());
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(Repeat('q', 1000), text);
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, AnsiToWideAscii) {
    TarnSetLastError(kSentinelError);
    wchar_t* text = TarnAnsiToWideString("abc");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ(L"abc", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, AnsiToWideEmptyIsNullWithoutCode) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAnsiToWideString(""));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, AnsiToWideNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAnsiToWideString(g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, AnsiToWideUnconvertibleInCLocale) {
    ASSERT_NE(nullptr, setlocale(LC_ALL, "C"));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnAnsiToWideString("abcd\xE9"));
    EXPECT_EQ(static_cast<unsigned int>(EILSEQ), TarnGetLastError());
}

TEST_F(TarnStringTest, AnsiToWideUtf8) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    TarnSetLastError(kSentinelError);
    wchar_t* text = TarnAnsiToWideString("abcd\xC3\xA9\xE2\x82\xAC");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ(L"abcd\u00e9\u20ac", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
    // An invalid sequence stays unconvertible in UTF-8 too.
    EXPECT_EQ(nullptr, TarnAnsiToWideString("ab\xFF"));
}

// A wide text whose UTF-8 form (four bytes per character) needs a block of kTightBlock bytes.
std::wstring FourByteCharacters() {
    return std::wstring(kTightBlock / 4, L'\U0001F600');
}

TEST_F(TarnStringTest, WideToAnsiOutOfMemory) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    const std::wstring big = FourByteCharacters();
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnWideToAnsiString(big.c_str()) == nullptr, kNoMemory);
    });
}

TEST_F(TarnStringTest, AnsiToWideOutOfMemory) {
    // A quarter of the block in narrow characters needs the whole block in wide ones.
    const std::string big(kTightBlock / 4, 'n');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnAnsiToWideString(big.c_str()) == nullptr, kNoMemory);
    });
}

// ---------------------------------------------------------------------------------------------
// Conversion into a caller's buffer

TEST_F(TarnStringTest, CopyWideToAnsiOutOfMemory) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    const std::wstring big = FourByteCharacters();
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        char dst[8];
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnCopyWideToAnsiString(big.c_str(), dst, 8, 0) == -1, kNoMemory);
    });
}

TEST_F(TarnStringTest, CopyAnsiToWideOutOfMemory) {
    const std::string big(kTightBlock / 4, 'n');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        wchar_t dst[8];
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnCopyAnsiToWideString(big.c_str(), dst, sizeof(dst), 0) == -1,
                              kNoMemory);
    });
}

TEST_F(TarnStringTest, CopyWideToAnsiFits) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyWideToAnsiString(L"abc", dst.bytes, 4, 1));
    EXPECT_EQ(std::string("abc\0XXXX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWideToAnsiTruncated) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"abc", dst.bytes, 3, 1));
    EXPECT_EQ(std::string("ab\0XXXXX", 8), dst.All());
    DstA dst2;
    EXPECT_EQ(2, TarnCopyWideToAnsiString(L"abc", dst2.bytes, 3, 0));
    EXPECT_EQ(std::string("ab\0XXXXX", 8), dst2.All());
    DstA dst3;
    EXPECT_EQ(0, TarnCopyWideToAnsiString(L"abc", dst3.bytes, 1, 0));
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst3.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWideToAnsiSizeZero) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"abc", dst.bytes, 0, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
}

TEST_F(TarnStringTest, CopyWideToAnsiNulls) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(g_nullWide, dst.bytes, 8, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"abc", g_nullDst, 8, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    // The source is converted before the size is looked at.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(g_nullWide, dst.bytes, 0, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWideToAnsiEmptySourceFailsWithoutCode) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"", dst.bytes, 8, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
    // The failed conversion comes before the size and destination checks.
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"", g_nullDst, 0, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyWideToAnsiUnconvertibleInCLocale) {
    ASSERT_NE(nullptr, setlocale(LC_ALL, "C"));
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"abcd\u00e9", dst.bytes, 8, 0));
    EXPECT_EQ(std::string(8, 'X'), dst.All());
    EXPECT_EQ(static_cast<unsigned int>(EILSEQ), TarnGetLastError());
    // A buffer too small for the text changes nothing: the conversion fails first.
    DstA small;
    EXPECT_EQ(-1, TarnCopyWideToAnsiString(L"abcd\u00e9", small.bytes, 3, 1));
    EXPECT_EQ(std::string(8, 'X'), small.All());
}

TEST_F(TarnStringTest, CopyWideToAnsiUtf8CutsBytes) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(2, TarnCopyWideToAnsiString(L"\u00e9", dst.bytes, 3, 1));
    EXPECT_EQ(std::string("\xC3\xA9\0XXXXX", 8), dst.All());
    // The copy counts bytes: two bytes do not hold the two-byte character and its terminator.
    DstA cut;
    EXPECT_EQ(1, TarnCopyWideToAnsiString(L"\u00e9", cut.bytes, 2, 0));
    EXPECT_EQ(std::string("\xC3\0XXXXXX", 8), cut.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideFits) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(3, TarnCopyAnsiToWideString("abc", dst.chars, 16, 1));
    EXPECT_EQ(W6(L"abc\0", 4), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideTruncated) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("abc", dst.chars, 12, 1));
    EXPECT_EQ(W6(L"ab\0", 3), dst.All());
    DstW dst2;
    EXPECT_EQ(2, TarnCopyAnsiToWideString("abc", dst2.chars, 15, 0));
    EXPECT_EQ(W6(L"ab\0", 3), dst2.All());
    DstW dst3;
    EXPECT_EQ(0, TarnCopyAnsiToWideString("abc", dst3.chars, 4, 0));
    EXPECT_EQ(W6(L"\0", 1), dst3.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideSizeTooSmall) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("abc", dst.chars, 3, 0));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    EXPECT_EQ(W6(L"", 0), dst.All());
}

TEST_F(TarnStringTest, CopyAnsiToWideNulls) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString(g_nullText, dst.chars, 16, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("abc", g_nullWideDst, 16, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString(g_nullText, dst.chars, 0, 0));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideEmptySourceFailsWithoutCode) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("", dst.chars, 16, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(W6(L"", 0), dst.All());
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("", g_nullWideDst, 3, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideUnconvertibleInCLocale) {
    ASSERT_NE(nullptr, setlocale(LC_ALL, "C"));
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnCopyAnsiToWideString("abc\xE9", dst.chars, 24, 0));
    EXPECT_EQ(W6(L"", 0), dst.All());
    EXPECT_EQ(static_cast<unsigned int>(EILSEQ), TarnGetLastError());
}

TEST_F(TarnStringTest, CopyAnsiToWideUtf8) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    ASSERT_TRUE(utf8.Ok());
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(2, TarnCopyAnsiToWideString("\xC3\xA9\xE2\x82\xAC", dst.chars, 12, 1));
    EXPECT_EQ(W6(L"\u00e9\u20ac\0", 3), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// ---------------------------------------------------------------------------------------------
// TarnFormatStringA

TEST_F(TarnStringTest, FormatA) {
    TarnSetLastError(kSentinelError);
    char* text = TarnFormatStringA("%d-%s-%05.1f-%c", 42, "x", 2.25, 'z');
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("42-x-002.2-z", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, FormatAEmptyResultIsAnEmptyBuffer) {
    TarnSetLastError(kSentinelError);
    char* text = TarnFormatStringA("%s", "");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, FormatANull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnFormatStringA(g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatACutsTo127Bytes) {
    for (size_t len : {126u, 127u, 128u, 129u, 300u, 5000u}) {
        SCOPED_TRACE(len);
        const std::string full = Repeat('a', len - 1) + "Z";
        TarnSetLastError(kSentinelError);
        char* text = TarnFormatStringA("%s", full.c_str());
        ASSERT_NE(nullptr, text);
        EXPECT_EQ(full.substr(0, 127), text);
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        EXPECT_EQ(1, TarnFreeBuffer(text));
    }
}

TEST_F(TarnStringTest, FormatACutAppliesToTheWholeText) {
    char* text = TarnFormatStringA("%s|%d|%s", Repeat('b', 120).c_str(), 123456, "tail");
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(Repeat('b', 120) + "|123456", text);  // 127 bytes
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

// A formatting error makes vsnprintf return -1 on every try: the scratch buffer doubles 25 times.
// On the 32-bit device the last, 2 GiB, block cannot be allocated (code 15); on a 64-bit build
// every block is granted and the tries run out (code 11).
TEST_F(TarnStringTest, FormatAGrowthOnFormatterError) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnFormatStringA("%ls", L"\u00e9"));
#if defined(__i386__)
    EXPECT_EQ(kNoMemory, TarnGetLastError());
#else
    EXPECT_EQ(kBadSize, TarnGetLastError());
#endif
}

// Code 67 (a formatter result below -1) cannot be produced here: glibc's vsnprintf and vswprintf
// return either a count or exactly -1.

// ---------------------------------------------------------------------------------------------
// TarnFormatStringW

TEST_F(TarnStringTest, FormatW) {
    TarnSetLastError(kSentinelError);
    wchar_t* text = TarnFormatStringW(L"%d-%ls-%c", 42, L"x", 'z');
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ(L"42-x-z", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, FormatWEmptyResultIsAnEmptyBuffer) {
    TarnSetLastError(kSentinelError);
    wchar_t* text = TarnFormatStringW(L"%ls", L"");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ(L"", text);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

TEST_F(TarnStringTest, FormatWNull) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnFormatStringW(g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatWGrowsAsNeeded) {
    for (size_t len : {127u, 128u, 200u, 255u, 256u, 5000u}) {
        SCOPED_TRACE(len);
        const std::wstring full = RepeatW(L'w', len);
        TarnSetLastError(kSentinelError);
        wchar_t* text = TarnFormatStringW(L"%ls", full.c_str());
        ASSERT_NE(nullptr, text);
        EXPECT_EQ(full, text);
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        EXPECT_EQ(1, TarnFreeBuffer(text));
    }
}

TEST_F(TarnStringTest, FormatWRetriesWithTheSameArguments) {
    // The first two tries are cut; every retry must format the same arguments again.
    const std::wstring head = RepeatW(L'h', 200);
    const std::wstring tail = RepeatW(L't', 100);
    wchar_t* text = TarnFormatStringW(L"%ls|%d|%ls|%d", head.c_str(), 7, tail.c_str(), -3);
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(head + L"|7|" + tail + L"|-3", text);
    EXPECT_EQ(1, TarnFreeBuffer(text));
}

// The scratch buffer grows beyond the headroom: the growth stops with 15.
TEST_F(TarnStringTest, FormatWOutOfMemory) {
    const std::wstring big(kTightFormatChars, L'f');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        TarnSetLastError(kSentinelError);
        return FailedWithCode(TarnFormatStringW(L"%ls", big.c_str()) == nullptr, kNoMemory);
    });
}

TEST_F(TarnStringTest, FormatWGrowthOnFormatterError) {
    // An unconvertible narrow argument makes vswprintf fail on every try; see the narrow case.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(nullptr, TarnFormatStringW(L"%s", "\xE9"));
#if defined(__i386__)
    EXPECT_EQ(kNoMemory, TarnGetLastError());
#else
    EXPECT_EQ(kBadSize, TarnGetLastError());
#endif
}

// ---------------------------------------------------------------------------------------------
// TarnFormatStringBufferA

TEST_F(TarnStringTest, FormatBufferAFits) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(5, TarnFormatStringBufferA(dst.bytes, 6, 1, "%d-%s", 42, "xy"));
    EXPECT_EQ(std::string("42-xy\0XX", 8), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferATruncated) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst.bytes, 5, 1, "%d-%s", 42, "xy"));
    EXPECT_EQ(std::string("42-x\0XXX", 8), dst.All());
    DstA dst2;
    EXPECT_EQ(4, TarnFormatStringBufferA(dst2.bytes, 5, 0, "%d-%s", 42, "xy"));
    EXPECT_EQ(std::string("42-x\0XXX", 8), dst2.All());
    DstA dst3;
    EXPECT_EQ(0, TarnFormatStringBufferA(dst3.bytes, 1, 0, "%d", 42));
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst3.All());
    DstA dst4;
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst4.bytes, 1, 1, "%d", 42));
    EXPECT_EQ(std::string("\0XXXXXXX", 8), dst4.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferALongTextIsCutTo127AndNotATruncation) {
    // The growth loop has already cut the text to 127 bytes, which then fits a large buffer.
    const std::string full = Repeat('c', 300);
    char dst[1000];
    memset(dst, 'X', sizeof(dst));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(127, TarnFormatStringBufferA(dst, sizeof(dst), 1, "%s", full.c_str()));
    EXPECT_EQ(Repeat('c', 127), std::string(dst));
    EXPECT_EQ('X', dst[128]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferASizeZero) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst.bytes, 0, 0, "%d", 1));
    EXPECT_EQ(kBadSize, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
}

TEST_F(TarnStringTest, FormatBufferANullsComeFirst) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(g_nullDst, 8, 0, "%d", 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst.bytes, 8, 0, g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(g_nullDst, 0, 0, "%d", 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst.bytes, 0, 0, g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_EQ(std::string(8, 'X'), dst.All());
}

TEST_F(TarnStringTest, FormatBufferAGrowthOnFormatterError) {
    DstA dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst.bytes, 8, 0, "%ls", L"\u00e9"));
#if defined(__i386__)
    EXPECT_EQ(kNoMemory, TarnGetLastError());
#else
    EXPECT_EQ(kBadSize, TarnGetLastError());
#endif
    EXPECT_EQ(std::string(8, 'X'), dst.All());
}

// ---------------------------------------------------------------------------------------------
// TarnFormatStringBufferW (dstSize in bytes)

TEST_F(TarnStringTest, FormatBufferWFits) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(4, TarnFormatStringBufferW(dst.chars, 20, 1, L"%d-%ls", 42, L"x"));
    EXPECT_EQ(W6(L"42-x\0", 5), dst.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferWTruncated) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(dst.chars, 19, 1, L"%d-%ls", 42, L"x"));
    EXPECT_EQ(W6(L"42-\0", 4), dst.All());
    DstW dst2;
    EXPECT_EQ(3, TarnFormatStringBufferW(dst2.chars, 16, 0, L"%d-%ls", 42, L"x"));
    EXPECT_EQ(W6(L"42-\0", 4), dst2.All());
    DstW dst3;
    EXPECT_EQ(0, TarnFormatStringBufferW(dst3.chars, 4, 0, L"%d", 42));
    EXPECT_EQ(W6(L"\0", 1), dst3.All());
    DstW dst4;
    EXPECT_EQ(-1, TarnFormatStringBufferW(dst4.chars, 7, 1, L"%d", 42));
    EXPECT_EQ(W6(L"\0", 1), dst4.All());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferWLongTextIsNotCut) {
    const std::wstring full = RepeatW(L'c', 300);
    wchar_t dst[400];
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(300, TarnFormatStringBufferW(dst, sizeof(dst), 1, L"%ls", full.c_str()));
    EXPECT_EQ(full, std::wstring(dst));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(TarnStringTest, FormatBufferWSizeBelowOneCharacter) {
    for (unsigned int size = 0; size < 4; ++size) {
        DstW dst;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(-1, TarnFormatStringBufferW(dst.chars, size, 0, L"%d", 1)) << size;
        EXPECT_EQ(kBadSize, TarnGetLastError()) << size;
        EXPECT_EQ(W6(L"", 0), dst.All());
    }
}

TEST_F(TarnStringTest, FormatBufferWNullsComeFirst) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(g_nullWideDst, 16, 0, L"%d", 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(dst.chars, 16, 0, g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    // Null checks come before the size check.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(g_nullWideDst, 3, 0, L"%d", 1));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(dst.chars, 0, 0, g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_EQ(W6(L"", 0), dst.All());
}

TEST_F(TarnStringTest, FormatBufferWOutOfMemory) {
    const std::wstring big(kTightFormatChars, L'f');
    EXPECT_FAILS_IN_TIGHT_MEMORY([&] {
        wchar_t dst[8];
        TarnSetLastError(kSentinelError);
        return FailedWithCode(
            TarnFormatStringBufferW(dst, sizeof(dst), 0, L"%ls", big.c_str()) == -1, kNoMemory);
    });
}

TEST_F(TarnStringTest, FormatBufferWGrowthOnFormatterError) {
    DstW dst;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, TarnFormatStringBufferW(dst.chars, 24, 0, L"%s", "\xE9"));
#if defined(__i386__)
    EXPECT_EQ(kNoMemory, TarnGetLastError());
#else
    EXPECT_EQ(kBadSize, TarnGetLastError());
#endif
    EXPECT_EQ(W6(L"", 0), dst.All());
}

}  // namespace
