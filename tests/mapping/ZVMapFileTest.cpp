// CZVMapFile: file-backed and anonymous mappings, the size rules of an open, Close, Resize,
// CopyAndPerge, the in-object mutex, file times, and calls that go through the virtual slots.
//
// The program replaces fread with a thin wrapper around the system library's own (found with
// dlsym(RTLD_NEXT)) that can be told to deliver nothing, so that the read probe an open runs
// first finds a file corrupted. The library's calls reach the wrapper because the program's
// definition comes first in symbol lookup.
#include <dlfcn.h>
#include <stdio.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVMapFile.h"

namespace {

// While set, fread delivers nothing and counts the calls.
bool g_failReads = false;
int g_failedReads = 0;

using FreadFn = size_t (*)(void*, size_t, size_t, FILE*);

}  // namespace

extern "C" __attribute__((visibility("default"))) size_t fread(void* ptr, size_t size, size_t n,
                                                               FILE* stream) {
    static FreadFn real = reinterpret_cast<FreadFn>(dlsym(RTLD_NEXT, "fread"));
    if (g_failReads) {
        ++g_failedReads;
        return 0;
    }
    return real(ptr, size, n, stream);
}

namespace {

// n bytes of a pattern that has no zero byte and differs between neighbours.
std::string Pattern(size_t n) {
    std::string out(n, '\0');
    for (size_t i = 0; i < n; ++i) {
        out[i] = static_cast<char>('A' + (i * 7) % 26);
    }
    return out;
}

// The bytes a mapping shows.
std::string Mapped(const CZVMapFile& map) {
    return std::string(static_cast<const char*>(map.m_pAddress), map.m_dwLength);
}

// The descriptor the next open() would get: the lowest free one. A call that leaks a descriptor
// changes it.
int NextFreeDescriptor() {
    int fd = open("/dev/null", O_RDONLY);
    if (fd >= 0) {
        close(fd);
    }
    return fd;
}

bool AllZero(const void* p, size_t n) {
    const unsigned char* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i) {
        if (b[i] != 0) {
            return false;
        }
    }
    return true;
}

// How often each overridable operation was reached through its slot.
struct Calls {
    int openT = 0;
    int close = 0;
    int isOpened = 0;
    int isLocked = 0;
    int lock = 0;
    int lockZero = 0;
    int createMutexT = 0;
    int closeMutex = 0;
    std::string openTPath;
    std::string openTName;
    const char* openTPathPointer = nullptr;
    unsigned int openTSize = 0;
    int openTReadOnly = -1;
};

// Counts the calls and forwards them, unless told to answer with a fixed result instead.
class CountingMap : public CZVMapFile {
public:
    explicit CountingMap(Calls* calls) : m_calls(calls) {}

    int OpenT(const char* path, unsigned int size, const char* mutexName, int readOnly) override {
        ++m_calls->openT;
        m_calls->openTPath = path ? path : "(null)";
        m_calls->openTName = mutexName ? mutexName : "(null)";
        m_calls->openTPathPointer = path;
        m_calls->openTSize = size;
        m_calls->openTReadOnly = readOnly;
        if (m_openTResult >= 0) {
            return m_openTResult;
        }
        return CZVMapFile::OpenT(path, size, mutexName, readOnly);
    }
    int Close() override {
        ++m_calls->close;
        if (m_closeResult >= 0) {
            return m_closeResult;
        }
        return CZVMapFile::Close();
    }
    int IsOpened(int* readOnly) override {
        ++m_calls->isOpened;
        return CZVMapFile::IsOpened(readOnly);
    }
    int IsLocked() override {
        ++m_calls->isLocked;
        return CZVMapFile::IsLocked();
    }
    int Lock(int lock) override {
        ++m_calls->lock;
        if (!lock) {
            ++m_calls->lockZero;
            if (m_unlockResult >= 0) {
                return m_unlockResult;
            }
        }
        return CZVMapFile::Lock(lock);
    }
    int CreateMutexT(const char* name) override {
        ++m_calls->createMutexT;
        return CZVMapFile::CreateMutexT(name);
    }
    int CloseMutex() override {
        ++m_calls->closeMutex;
        return CZVMapFile::CloseMutex();
    }

    int m_openTResult = -1;   // -1: forward
    int m_closeResult = -1;   // -1: forward
    int m_unlockResult = -1;  // -1: forward

private:
    Calls* m_calls;
};

class ZVMapFileTest : public ::testing::Test {
protected:
    void SetUp() override { TarnSetLastError(zvtest::kSentinelError); }

    // A file of n pattern bytes in the temporary folder.
    std::string MakeFile(const std::string& name, size_t n) {
        std::string path = m_dir.File(name);
        zvtest::WriteFile(path, Pattern(n));
        return path;
    }

    zvtest::TempDir m_dir;
};

// ---------------------------------------------------------------------------------------------
// Construction and layout

TEST_F(ZVMapFileTest, ConstructedClosed) {
    CZVMapFile map;
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bReadOnly);
    EXPECT_TRUE(AllZero(&map.m_Mutex, sizeof map.m_Mutex));
    EXPECT_EQ(0, map.m_bMutexCreated);
    EXPECT_EQ(0, map.m_bLocked);
    EXPECT_EQ(0, map.m_bFirst);
    EXPECT_EQ(nullptr, map.m_pszPath);
    EXPECT_EQ(nullptr, map.m_pszMutexName);
    EXPECT_EQ(0u, map.m_dwLength);
    EXPECT_EQ(nullptr, map.m_pAddress);
    int readOnly = 7;
    EXPECT_EQ(0, map.IsOpened(&readOnly));
    EXPECT_EQ(0, readOnly);
    EXPECT_EQ(0, map.IsFirst());
    EXPECT_EQ(0, map.IsLocked());
    long times[3] = {5, 6, 7};
    EXPECT_EQ(0, map.GetFileTime(&times[0], &times[1], &times[2]));
    EXPECT_EQ(5, times[0]);
    EXPECT_EQ(6, times[1]);
    EXPECT_EQ(7, times[2]);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVMapFileTest, FieldsInDeclaredOrder) {
    CZVMapFile map;
    const char* base = reinterpret_cast<const char*>(&map);
    auto at = [base](const void* field) {
        return static_cast<size_t>(static_cast<const char*>(field) - base);
    };
#if defined(__i386__)
    EXPECT_EQ(68u, sizeof(CZVMapFile));
    EXPECT_EQ(4u, at(&map.m_bFileBacked));
    EXPECT_EQ(8u, at(&map.m_hFile));
    EXPECT_EQ(12u, at(&map.m_bReadOnly));
    EXPECT_EQ(16u, at(&map.m_Mutex));
    EXPECT_EQ(40u, at(&map.m_bMutexCreated));
    EXPECT_EQ(44u, at(&map.m_bLocked));
    EXPECT_EQ(48u, at(&map.m_bFirst));
    EXPECT_EQ(52u, at(&map.m_pszPath));
    EXPECT_EQ(56u, at(&map.m_pszMutexName));
    EXPECT_EQ(60u, at(&map.m_dwLength));
    EXPECT_EQ(64u, at(&map.m_pAddress));
#else
    EXPECT_EQ(sizeof(void*), at(&map.m_bFileBacked));
    EXPECT_LT(at(&map.m_bFileBacked), at(&map.m_hFile));
    EXPECT_LT(at(&map.m_hFile), at(&map.m_bReadOnly));
    EXPECT_LT(at(&map.m_bReadOnly), at(&map.m_Mutex));
    EXPECT_LT(at(&map.m_Mutex), at(&map.m_bMutexCreated));
    EXPECT_LT(at(&map.m_bMutexCreated), at(&map.m_bLocked));
    EXPECT_LT(at(&map.m_bLocked), at(&map.m_bFirst));
    EXPECT_LT(at(&map.m_bFirst), at(&map.m_pszPath));
    EXPECT_LT(at(&map.m_pszPath), at(&map.m_pszMutexName));
    EXPECT_LT(at(&map.m_pszMutexName), at(&map.m_dwLength));
    EXPECT_LT(at(&map.m_dwLength), at(&map.m_pAddress));
#endif
}

// ---------------------------------------------------------------------------------------------
// Opening files read-only

TEST_F(ZVMapFileTest, MissingFileFailsAndIsNotCreated) {
    std::string path = m_dir.File("missing.bin");
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 10, nullptr, 1));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 10, nullptr, 0));
    EXPECT_EQ(0, map.OpenW(zvtest::Wide(path).c_str(), 10, nullptr, 0));
    EXPECT_EQ(0, map.OpenT(path.c_str(), 10, nullptr, 0));
    EXPECT_EQ(-1, zvtest::FileSize(path));
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.IsFirst());
    // A missing file is not corrupted: the copy of the path is stored before the open fails.
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
}

TEST_F(ZVMapFileTest, ReadOnlySizeZeroMapsWholeFile) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(100u, map.m_dwLength);
    EXPECT_EQ(Pattern(100), Mapped(map));
    int readOnly = 0;
    EXPECT_EQ(1, map.IsOpened(&readOnly));
    EXPECT_EQ(1, readOnly);
    EXPECT_EQ(1, map.m_bReadOnly);
    EXPECT_EQ(1, map.m_bFileBacked);
    EXPECT_GE(map.m_hFile, 0);
    ASSERT_NE(nullptr, map.m_pszPath);
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
    EXPECT_EQ(nullptr, map.m_pszMutexName);
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(Pattern(100), zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, ReadOnlySmallerSizeMapsFirstBytes) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 50, nullptr, 1));
    EXPECT_EQ(50u, map.m_dwLength);
    EXPECT_EQ(Pattern(100).substr(0, 50), Mapped(map));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(100, zvtest::FileSize(path));
}

TEST_F(ZVMapFileTest, ReadOnlyLargerSizeIsCutToFileSize) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 200, nullptr, 1));
    EXPECT_EQ(100u, map.m_dwLength);
    EXPECT_EQ(Pattern(100), Mapped(map));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(Pattern(100), zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, ReadOnlyExactSizeAndOneByteEitherSide) {
    std::string path = MakeFile("f100", 100);
    const unsigned int sizes[] = {99, 100, 101};
    const unsigned int expected[] = {99, 100, 100};
    for (int i = 0; i < 3; ++i) {
        CZVMapFile map;
        ASSERT_EQ(1, map.OpenA(path.c_str(), sizes[i], nullptr, 1)) << sizes[i];
        EXPECT_EQ(expected[i], map.m_dwLength) << sizes[i];
    }
}

TEST_F(ZVMapFileTest, EmptyFileWithSizeZeroFails) {
    std::string path = MakeFile("empty", 0);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 0, nullptr, 0));
    // Read-only, a requested size is cut to the empty file's 0 bytes: nothing to map.
    EXPECT_EQ(0, map.OpenA(path.c_str(), 10, nullptr, 1));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(0, zvtest::FileSize(path));
}

TEST_F(ZVMapFileTest, DirectoryFails) {
    std::string dir = m_dir.File("sub");
    ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
    int before = NextFreeDescriptor();
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(dir.c_str(), 0, nullptr, 1));   // does not exist as a file
    EXPECT_EQ(0, map.OpenA(dir.c_str(), 10, nullptr, 1));  // opens, but has 0 bytes to map
    EXPECT_EQ(0, map.OpenA(dir.c_str(), 10, nullptr, 0));  // cannot be opened for writing
    EXPECT_EQ(0, map.OpenW(zvtest::Wide(dir).c_str(), 10, nullptr, 1));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(0, map.IsOpened(nullptr));
}

TEST_F(ZVMapFileTest, UnreadableFileFails) {
    std::string path = MakeFile("secret", 10);
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    zvtest::ChildResult child = zvtest::RunUnprivileged([&path]() {
        CZVMapFile map;
        return map.OpenA(path.c_str(), 0, nullptr, 1) + 10 * map.IsOpened(nullptr);
    });
    ASSERT_TRUE(child.ran) << child.reason;
    EXPECT_EQ(0, child.value);
}

TEST_F(ZVMapFileTest, EmptyPathFails) {
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA("", 0, nullptr, 1));
    EXPECT_EQ(0, map.OpenA("", 16, nullptr, 0));
    // The empty wide path does not convert.
    EXPECT_EQ(0, map.OpenW(L"", 16, nullptr, 0));
    EXPECT_EQ(0, map.IsOpened(nullptr));
}

TEST_F(ZVMapFileTest, OpenWMapsTheFile) {
    std::string path = MakeFile("wide", 30);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenW(zvtest::Wide(path).c_str(), 0, L"MUTEX", 1));
    EXPECT_EQ(30u, map.m_dwLength);
    EXPECT_EQ(Pattern(30), Mapped(map));
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
    EXPECT_STREQ("MUTEX", map.m_pszMutexName);
    EXPECT_EQ(0, map.m_bMutexCreated);  // the name alone creates no mutex
}

TEST_F(ZVMapFileTest, OpenWWithUnconvertibleNameFails) {
    std::string path = MakeFile("wide", 30);
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenW(zvtest::Wide(path).c_str(), 0, L"", 1));
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(nullptr, map.m_pszPath);  // OpenT was never reached
}

TEST_F(ZVMapFileTest, MutexNameIsCopiedAndNullNameAllowed) {
    std::string path = MakeFile("f", 10);
    char name[] = "LOCKNAME";
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, name, 1));
    ASSERT_NE(nullptr, map.m_pszMutexName);
    EXPECT_NE(name, map.m_pszMutexName);
    name[0] = 'X';
    EXPECT_STREQ("LOCKNAME", map.m_pszMutexName);
    EXPECT_EQ(0, map.m_bMutexCreated);
    EXPECT_EQ(1, map.Close());
    EXPECT_STREQ("LOCKNAME", map.m_pszMutexName);  // Close keeps the copies
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(nullptr, map.m_pszMutexName);  // a new open replaces them
}

TEST_F(ZVMapFileTest, SecondOpenWhileOpenFailsAndChangesNothing) {
    std::string path = MakeFile("f", 40);
    std::string other = MakeFile("g", 20);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, "ONE", 1));
    void* address = map.m_pAddress;
    int fd = map.m_hFile;
    EXPECT_EQ(0, map.OpenA(other.c_str(), 0, "TWO", 0));
    EXPECT_EQ(0, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(address, map.m_pAddress);
    EXPECT_EQ(fd, map.m_hFile);
    EXPECT_EQ(40u, map.m_dwLength);
    EXPECT_EQ(1, map.m_bReadOnly);
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
    EXPECT_STREQ("ONE", map.m_pszMutexName);
}

TEST_F(ZVMapFileTest, CorruptedFileIsRefusedBeforeAnythingChanges) {
    std::string good = MakeFile("good", 20);
    std::string bad = MakeFile("bad", 20);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    TarnSetLastError(0);
    ASSERT_EQ(1, map.OpenA(good.c_str(), 0, "OLD", 1));
    ASSERT_EQ(1, map.Close());
    ASSERT_EQ(1, map.IsFirst());

    g_failedReads = 0;
    g_failReads = true;
    TarnSetLastError(zvtest::kSentinelError);
    int narrow = map.OpenA(bad.c_str(), 0, "NEW", 1);
    int direct = map.OpenT(bad.c_str(), 20, nullptr, 0);
    int wide = map.OpenW(zvtest::Wide(bad).c_str(), 0, L"NEW", 1);
    g_failReads = false;
    EXPECT_EQ(0, narrow);
    EXPECT_EQ(0, direct);
    EXPECT_EQ(0, wide);
    EXPECT_EQ(3, g_failedReads);  // the first failed probe read ends each open
    // The probe's code is left behind; the mapping sets none of its own.
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_FILE_CORRUPTED), TarnGetLastError());
    // Refused before the stored copies were replaced and before the first flag was cleared.
    EXPECT_STREQ(good.c_str(), map.m_pszPath);
    EXPECT_STREQ("OLD", map.m_pszMutexName);
    EXPECT_EQ(1, map.IsFirst());
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(Pattern(20), zvtest::ReadFile(bad));
}

TEST_F(ZVMapFileTest, AnonymousOpenRunsNoProbe) {
    CZVMapFile map;
    g_failedReads = 0;
    g_failReads = true;
    int result = map.OpenA(nullptr, 16, "NAME", 0);
    g_failReads = false;
    EXPECT_EQ(1, result);
    EXPECT_EQ(0, g_failedReads);
}

TEST_F(ZVMapFileTest, MapFailureClosesDescriptorAndKeepsCopies) {
    // A sysfs text attribute can be opened and read but not mapped (ENODEV).
    const char* path = "/sys/devices/system/cpu/online";
    int fd = open(path, O_RDONLY);
    if (fd < 0) {
        GTEST_SKIP() << "no " << path;
    }
    struct stat st;
    ASSERT_EQ(0, fstat(fd, &st));
    void* probe = st.st_size > 0
                      ? mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_SHARED, fd, 0)
                      : MAP_FAILED;
    close(fd);
    if (st.st_size == 0 || probe != MAP_FAILED) {
        if (probe != MAP_FAILED) {
            munmap(probe, static_cast<size_t>(st.st_size));
        }
        GTEST_SKIP() << path << " is empty or can be mapped here";
    }

    int before = NextFreeDescriptor();
    CZVMapFile map;
    TarnSetLastError(0);
    EXPECT_EQ(0, map.OpenA(path, 0, "NAME", 1));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(nullptr, map.m_pAddress);
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0u, map.m_dwLength);
    EXPECT_EQ(0, map.m_bReadOnly);
    EXPECT_EQ(0, map.IsFirst());
    EXPECT_STREQ(path, map.m_pszPath);
    EXPECT_STREQ("NAME", map.m_pszMutexName);
    // The file-backed flag is stored only by a successful open: no times, though the stored path
    // can be stat'ed.
    EXPECT_EQ(0, map.m_bFileBacked);
    long t[3] = {1, 2, 3};
    EXPECT_EQ(0, map.GetFileTime(&t[0], &t[1], &t[2]));
    EXPECT_EQ(1, t[0]);
    EXPECT_EQ(2, t[1]);
    EXPECT_EQ(3, t[2]);
}

// ---------------------------------------------------------------------------------------------
// Opening files writable

TEST_F(ZVMapFileTest, WritableOpenOfReadOnlyFileFails) {
    std::string path = MakeFile("ro", 10);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    zvtest::ChildResult child = zvtest::RunUnprivileged([&path]() {
        int before = NextFreeDescriptor();
        CZVMapFile map;
        int writable = map.OpenA(path.c_str(), 0, nullptr, 0);
        int leaked = NextFreeDescriptor() != before ? 1 : 0;
        int readOnly = map.OpenA(path.c_str(), 0, nullptr, 1);
        return writable + 10 * leaked + 100 * readOnly;
    });
    ASSERT_TRUE(child.ran) << child.reason;
    EXPECT_EQ(100, child.value);  // only the read-only open succeeds
}

TEST_F(ZVMapFileTest, WritableSameSizeSucceedsAndWritesThrough) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 100, nullptr, 0));
    EXPECT_EQ(100u, map.m_dwLength);
    int readOnly = 7;
    EXPECT_EQ(1, map.IsOpened(&readOnly));
    EXPECT_EQ(0, readOnly);
    EXPECT_EQ(Pattern(100), Mapped(map));
    memcpy(map.m_pAddress, "written", 7);
    EXPECT_EQ(1, map.Close());
    std::string expected = Pattern(100);
    expected.replace(0, 7, "written");
    EXPECT_EQ(expected, zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, WritableSizeZeroMapsWholeFile) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    EXPECT_EQ(100u, map.m_dwLength);
    EXPECT_EQ(0, map.m_bReadOnly);
}

TEST_F(ZVMapFileTest, WritableLargerSizeFailsAndClosesDescriptor) {
    std::string path = MakeFile("f100", 100);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(path.c_str(), 200, nullptr, 0));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(0u, map.m_dwLength);
    EXPECT_EQ(Pattern(100), zvtest::ReadFile(path));
    // The copy of the path is made before the size test and stays.
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
    // A failed open is not file-backed: there are no file times to report.
    long t[3] = {1, 2, 3};
    EXPECT_EQ(0, map.GetFileTime(&t[0], &t[1], &t[2]));
    EXPECT_EQ(1, t[0]);
}

TEST_F(ZVMapFileTest, WritableSmallerSizeFails) {
    std::string path = MakeFile("f100", 100);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(path.c_str(), 50, nullptr, 0));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 99, nullptr, 0));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 101, nullptr, 0));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(Pattern(100), zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, WritableSizeTwoExtendsOneByteFile) {
    std::string path = MakeFile("one", 1);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 2, nullptr, 0));
    EXPECT_EQ(2u, map.m_dwLength);
    EXPECT_EQ(2, zvtest::FileSize(path));
    EXPECT_EQ(std::string("A\0", 2), Mapped(map));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(std::string("A\0", 2), zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, WritableSizeTwoOfLongerFileZeroesSecondByte) {
    std::string path = MakeFile("ten", 10);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 2, nullptr, 0));
    EXPECT_EQ(2u, map.m_dwLength);
    EXPECT_EQ(std::string("A\0", 2), Mapped(map));
    EXPECT_EQ(1, map.Close());
    std::string expected = Pattern(10);
    expected[1] = '\0';
    EXPECT_EQ(expected, zvtest::ReadFile(path));
    EXPECT_EQ(10, zvtest::FileSize(path));
}

TEST_F(ZVMapFileTest, WritableSizeTwoOfEmptyFile) {
    std::string path = MakeFile("empty", 0);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 2, nullptr, 0));
    EXPECT_EQ(2u, map.m_dwLength);
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(std::string(2, '\0'), zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, WritableSizesOneAndThreeOfLongerFileFail) {
    std::string path = MakeFile("ten", 10);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(path.c_str(), 1, nullptr, 0));
    EXPECT_EQ(0, map.OpenA(path.c_str(), 3, nullptr, 0));
    EXPECT_EQ(before, NextFreeDescriptor());
    EXPECT_EQ(Pattern(10), zvtest::ReadFile(path));
}

// ---------------------------------------------------------------------------------------------
// Anonymous mappings

TEST_F(ZVMapFileTest, AnonymousMappingStartsZeroed) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(16u, map.m_dwLength);
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(nullptr, map.m_pszPath);
    EXPECT_TRUE(AllZero(map.m_pAddress, 16));
    memset(map.m_pAddress, 0x5A, 16);
    EXPECT_EQ(1, map.Close());
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_TRUE(AllZero(map.m_pAddress, 16));  // never a lookup of earlier memory
}

TEST_F(ZVMapFileTest, AnonymousReadOnlyRequestIsWritable) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 1));
    int readOnly = 7;
    EXPECT_EQ(1, map.IsOpened(&readOnly));
    EXPECT_EQ(0, readOnly);
    EXPECT_EQ(0, map.m_bReadOnly);
    static_cast<char*>(map.m_pAddress)[15] = 'z';  // would fault on a read-only mapping
    EXPECT_EQ('z', static_cast<char*>(map.m_pAddress)[15]);
}

TEST_F(ZVMapFileTest, AnonymousSizeZeroFails) {
    CZVMapFile map;
    EXPECT_EQ(0, map.OpenA(nullptr, 0, nullptr, 0));
    EXPECT_EQ(0, map.OpenW(nullptr, 0, nullptr, 0));
    EXPECT_EQ(0, map.OpenT(nullptr, 0, nullptr, 1));
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVMapFileTest, AnonymousThroughEveryForm) {
    CZVMapFile a;
    CZVMapFile w;
    CZVMapFile t;
    ASSERT_EQ(1, a.OpenA(nullptr, 8, "NAME", 0));
    ASSERT_EQ(1, w.OpenW(nullptr, 8, L"NAME", 0));
    ASSERT_EQ(1, t.OpenT(nullptr, 8, "NAME", 0));
    EXPECT_STREQ("NAME", a.m_pszMutexName);
    EXPECT_STREQ("NAME", w.m_pszMutexName);
    EXPECT_STREQ("NAME", t.m_pszMutexName);
    // Same name, separate memory.
    static_cast<char*>(a.m_pAddress)[0] = 1;
    EXPECT_EQ(0, static_cast<char*>(w.m_pAddress)[0]);
    EXPECT_EQ(0, static_cast<char*>(t.m_pAddress)[0]);
}

TEST_F(ZVMapFileTest, AnonymousMappingIsSharedWithForkedChild) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        static_cast<char*>(map.m_pAddress)[3] = 'c';
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_EQ('c', static_cast<char*>(map.m_pAddress)[3]);
}

TEST_F(ZVMapFileTest, IsFirstFollowsLastErrorEleven) {
    CZVMapFile map;
    TarnSetLastError(11);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(0, map.IsFirst());
    EXPECT_EQ(1, map.Close());

    TarnSetLastError(0);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(1, map.IsFirst());
    EXPECT_EQ(1, map.Close());

    TarnSetLastError(12);
    ASSERT_EQ(1, map.OpenT(nullptr, 16, nullptr, 0));
    EXPECT_EQ(1, map.IsFirst());
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(1, map.IsFirst());  // Close leaves the flag

    TarnSetLastError(11);
    ASSERT_EQ(1, map.OpenW(nullptr, 16, nullptr, 0));
    EXPECT_EQ(0, map.IsFirst());
}

TEST_F(ZVMapFileTest, IsFirstOfFileMappingFollowsLastError) {
    // The probe and the open succeed without touching the last error, so the caller's code
    // decides here too.
    std::string path = MakeFile("f", 12);
    CZVMapFile map;
    TarnSetLastError(11);
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(0, map.IsFirst());
    EXPECT_EQ(1, map.Close());
    TarnSetLastError(10);
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    EXPECT_EQ(1, map.IsFirst());
}

TEST_F(ZVMapFileTest, FailedOpenClearsFirstFlag) {
    CZVMapFile map;
    TarnSetLastError(0);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    ASSERT_EQ(1, map.IsFirst());
    // Already open: refused before anything changes.
    EXPECT_EQ(0, map.OpenA(nullptr, 0, nullptr, 0));
    EXPECT_EQ(1, map.IsFirst());
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(0, map.OpenA(nullptr, 0, nullptr, 0));
    EXPECT_EQ(0, map.IsFirst());
}

// ---------------------------------------------------------------------------------------------
// Close and Flush

TEST_F(ZVMapFileTest, CloseTwiceKeepsCopiesAndLength) {
    std::string path = MakeFile("f", 24);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, "NAME", 1));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(nullptr, map.m_pAddress);
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(0, map.m_bReadOnly);
    EXPECT_EQ(24u, map.m_dwLength);
    EXPECT_STREQ(path.c_str(), map.m_pszPath);
    EXPECT_STREQ("NAME", map.m_pszMutexName);
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(24u, map.m_dwLength);
    CZVMapFile never;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, never.Close());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVMapFileTest, CloseReleasesDescriptor) {
    std::string path = MakeFile("f", 24);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    EXPECT_EQ(before, map.m_hFile);
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(before, NextFreeDescriptor());
}

TEST_F(ZVMapFileTest, CloseKeepsMutexAndLock) {
    CZVMapFile map;
    ASSERT_EQ(1, map.CreateMutexA("M"));
    ASSERT_EQ(1, map.OpenA(nullptr, 8, nullptr, 0));
    ASSERT_EQ(1, map.Lock(1));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(1, map.m_bMutexCreated);
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(1, map.Lock(0));
}

TEST_F(ZVMapFileTest, FlushOfEachKind) {
    std::string path = MakeFile("f", 64);
    CZVMapFile readOnly;
    ASSERT_EQ(1, readOnly.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(1, readOnly.Flush());

    CZVMapFile anonymous;
    ASSERT_EQ(1, anonymous.OpenA(nullptr, 64, nullptr, 0));
    EXPECT_EQ(1, anonymous.Flush());
    EXPECT_EQ(-1, anonymous.m_hFile);

    CZVMapFile writable;
    ASSERT_EQ(1, writable.OpenA(path.c_str(), 0, nullptr, 0));
    memcpy(writable.m_pAddress, "flushed", 7);
    EXPECT_EQ(1, writable.Flush());
    std::string expected = Pattern(64);
    expected.replace(0, 7, "flushed");
    EXPECT_EQ(expected, zvtest::ReadFile(path));
    // The read-only mapping of the same file sees the same bytes.
    EXPECT_EQ(expected, Mapped(readOnly));

    CZVMapFile closed;
    EXPECT_EQ(1, closed.Flush());
}

TEST_F(ZVMapFileTest, FlushReportsSyncFailure) {
    std::string path = MakeFile("f", 64);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    void* address = map.m_pAddress;
    // msync refuses an address that is not on a page boundary.
    map.m_pAddress = static_cast<char*>(address) + 1;
    EXPECT_EQ(0, map.Flush());
    map.m_pAddress = address;
    EXPECT_EQ(1, map.Flush());
}

// ---------------------------------------------------------------------------------------------
// Resize

TEST_F(ZVMapFileTest, ResizeAnonymousUpKeepsBytesAndZeroFills) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    memcpy(map.m_pAddress, Pattern(16).data(), 16);
    ASSERT_EQ(1, map.Resize(32));
    EXPECT_EQ(32u, map.m_dwLength);
    EXPECT_EQ(Pattern(16) + std::string(16, '\0'), Mapped(map));
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bFileBacked);
}

TEST_F(ZVMapFileTest, ResizeAnonymousDownKeepsFirstBytes) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    memcpy(map.m_pAddress, Pattern(16).data(), 16);
    ASSERT_EQ(1, map.Resize(8));
    EXPECT_EQ(8u, map.m_dwLength);
    EXPECT_EQ(Pattern(8), Mapped(map));
    ASSERT_EQ(1, map.Resize(16));
    EXPECT_EQ(Pattern(8) + std::string(8, '\0'), Mapped(map));
}

TEST_F(ZVMapFileTest, ResizeLargeAnonymousAcrossPages) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(nullptr, 5000, nullptr, 0));
    memcpy(map.m_pAddress, Pattern(5000).data(), 5000);
    ASSERT_EQ(1, map.Resize(20000));
    EXPECT_EQ(Pattern(5000), Mapped(map).substr(0, 5000));
    EXPECT_TRUE(AllZero(static_cast<char*>(map.m_pAddress) + 5000, 15000));
}

TEST_F(ZVMapFileTest, ResizeKeepsNameMutexAndLock) {
    CZVMapFile map;
    ASSERT_EQ(1, map.CreateMutexA("M"));
    ASSERT_EQ(1, map.OpenA(nullptr, 16, "BLOCK", 0));
    ASSERT_EQ(1, map.Lock(1));
    ASSERT_EQ(1, map.Resize(64));
    EXPECT_STREQ("BLOCK", map.m_pszMutexName);
    EXPECT_EQ(nullptr, map.m_pszPath);
    EXPECT_EQ(1, map.m_bMutexCreated);
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(1, map.Lock(0));
}

TEST_F(ZVMapFileTest, ResizeRefusals) {
    CZVMapFile closed;
    EXPECT_EQ(0, closed.Resize(16));

    std::string path = MakeFile("f", 32);
    CZVMapFile readOnly;
    ASSERT_EQ(1, readOnly.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(0, readOnly.Resize(64));
    EXPECT_EQ(1, readOnly.IsOpened(nullptr));  // refused before anything changed
    EXPECT_EQ(32u, readOnly.m_dwLength);

    CZVMapFile anonymous;
    ASSERT_EQ(1, anonymous.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(0, anonymous.Resize(0));
    EXPECT_EQ(1, anonymous.IsOpened(nullptr));
    EXPECT_EQ(16u, anonymous.m_dwLength);
}

TEST_F(ZVMapFileTest, ResizeToSameLengthDoesNothing) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    void* address = map.m_pAddress;
    calls = Calls();
    EXPECT_EQ(1, map.Resize(16));
    EXPECT_EQ(address, map.m_pAddress);
    EXPECT_EQ(0, calls.openT);
    EXPECT_EQ(0, calls.close);
}

TEST_F(ZVMapFileTest, ResizeFileBackedToOtherSizeFailsAndLeavesClosed) {
    std::string path = MakeFile("f100", 100);
    int before = NextFreeDescriptor();
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    memcpy(map.m_pAddress, "changed", 7);
    EXPECT_EQ(0, map.Resize(200));
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(-1, map.m_hFile);
    EXPECT_EQ(0, map.m_bFileBacked);
    EXPECT_EQ(before, NextFreeDescriptor());
    // What the closing flush wrote is on disk; the file keeps its length.
    std::string expected = Pattern(100);
    expected.replace(0, 7, "changed");
    EXPECT_EQ(expected, zvtest::ReadFile(path));

    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    EXPECT_EQ(0, map.Resize(50));
    EXPECT_EQ(0, map.IsOpened(nullptr));
    EXPECT_EQ(expected, zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, ResizeFileBackedToTwoBytes) {
    std::string path = MakeFile("f100", 100);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 0));
    memcpy(map.m_pAddress, "xy", 2);
    ASSERT_EQ(1, map.Resize(2));
    EXPECT_EQ(2u, map.m_dwLength);
    EXPECT_EQ(1, map.m_bFileBacked);
    EXPECT_GE(map.m_hFile, 0);
    // The reopen writes a zero into byte 1; the kept bytes are then copied back over it.
    EXPECT_EQ("xy", Mapped(map));
    EXPECT_EQ(1, map.Close());
    std::string expected = Pattern(100);
    expected.replace(0, 2, "xy");
    EXPECT_EQ(expected, zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, ResizeFileBackedBackToFileSize) {
    std::string path = MakeFile("ten", 10);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 2, nullptr, 0));
    memcpy(map.m_pAddress, "pq", 2);
    ASSERT_EQ(1, map.Resize(10));
    EXPECT_EQ(10u, map.m_dwLength);
    std::string expected = Pattern(10);
    expected.replace(0, 2, "pq");
    EXPECT_EQ(expected, Mapped(map));  // beyond the kept two bytes the file's own bytes show
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(expected, zvtest::ReadFile(path));
}

// ---------------------------------------------------------------------------------------------
// CopyAndPerge

TEST_F(ZVMapFileTest, CopyAndPergeNullSource) {
    CZVMapFile map;
    EXPECT_EQ(0, map.CopyAndPerge(nullptr));
}

TEST_F(ZVMapFileTest, CopyAndPergeMovesAnonymousMapping) {
    CZVMapFile source;
    TarnSetLastError(0);
    ASSERT_EQ(1, source.OpenA(nullptr, 32, "NAME", 0));
    memcpy(source.m_pAddress, Pattern(32).data(), 32);
    void* address = source.m_pAddress;
    char* nameCopy = source.m_pszMutexName;
    CZVMapFile target;
    ASSERT_EQ(1, target.CopyAndPerge(&source));

    EXPECT_EQ(address, target.m_pAddress);
    EXPECT_EQ(32u, target.m_dwLength);
    EXPECT_EQ(Pattern(32), Mapped(target));
    EXPECT_EQ(-1, target.m_hFile);
    EXPECT_EQ(0, target.m_bFileBacked);
    EXPECT_EQ(1, target.IsFirst());
    EXPECT_EQ(nameCopy, target.m_pszMutexName);
    EXPECT_EQ(0, target.m_bMutexCreated);

    EXPECT_EQ(0, source.IsOpened(nullptr));
    EXPECT_EQ(nullptr, source.m_pAddress);
    EXPECT_EQ(0u, source.m_dwLength);
    EXPECT_EQ(-1, source.m_hFile);
    EXPECT_EQ(nullptr, source.m_pszMutexName);
    EXPECT_EQ(nullptr, source.m_pszPath);
    EXPECT_EQ(1, source.IsFirst());  // the source keeps its first flag
}

TEST_F(ZVMapFileTest, CopyAndPergeMovesFileMapping) {
    std::string path = MakeFile("f", 48);
    int before = NextFreeDescriptor();
    CZVMapFile target;
    {
        CZVMapFile source;
        ASSERT_EQ(1, source.OpenA(path.c_str(), 0, nullptr, 1));
        int fd = source.m_hFile;
        ASSERT_EQ(1, target.CopyAndPerge(&source));
        EXPECT_EQ(fd, target.m_hFile);
        EXPECT_EQ(1, target.m_bFileBacked);
        EXPECT_EQ(1, target.m_bReadOnly);
        EXPECT_STREQ(path.c_str(), target.m_pszPath);
        EXPECT_EQ(0, source.m_bFileBacked);
        EXPECT_EQ(1, source.m_bReadOnly);  // left as it was
        long t[3];
        EXPECT_EQ(0, source.GetFileTime(&t[0], &t[1], &t[2]));
        EXPECT_EQ(1, target.GetFileTime(&t[0], &t[1], &t[2]));
    }
    // Destroying the source neither unmapped nor closed the moved mapping.
    EXPECT_EQ(Pattern(48), Mapped(target));
    int readOnly = 0;
    EXPECT_EQ(1, target.IsOpened(&readOnly));
    EXPECT_EQ(1, readOnly);
    EXPECT_NE(before, NextFreeDescriptor());
    EXPECT_EQ(1, target.Close());
    EXPECT_EQ(before, NextFreeDescriptor());
}

TEST_F(ZVMapFileTest, CopyAndPergeClosesTargetFirst) {
    Calls calls;
    CountingMap target(&calls);
    ASSERT_EQ(1, target.OpenA(nullptr, 16, "OLD", 0));
    ASSERT_EQ(1, target.CreateMutexA("M"));
    ASSERT_EQ(1, target.Lock(1));
    CZVMapFile source;
    ASSERT_EQ(1, source.OpenA(nullptr, 64, nullptr, 0));
    calls = Calls();
    ASSERT_EQ(1, target.CopyAndPerge(&source));
    EXPECT_EQ(1, calls.close);
    EXPECT_EQ(1, calls.closeMutex);
    EXPECT_GE(calls.isOpened, 1);
    EXPECT_GE(calls.isLocked, 1);
    EXPECT_EQ(1, calls.lockZero);  // unlocked once, before CloseMutex ran
    EXPECT_EQ(0, target.m_bMutexCreated);
    EXPECT_EQ(0, target.m_bLocked);
    EXPECT_EQ(64u, target.m_dwLength);
    EXPECT_EQ(nullptr, target.m_pszMutexName);
}

TEST_F(ZVMapFileTest, CopyAndPergeTakesLockedFlagAndMutexBytes) {
    CZVMapFile source;
    ASSERT_EQ(1, source.CreateMutexA("M"));
    ASSERT_EQ(1, source.OpenA(nullptr, 16, nullptr, 0));
    ASSERT_EQ(1, source.Lock(1));
    CZVMapFile target;
    ASSERT_EQ(1, target.CopyAndPerge(&source));
    EXPECT_EQ(0, memcmp(&source.m_Mutex, &target.m_Mutex, sizeof target.m_Mutex));
    EXPECT_EQ(1, target.IsLocked());
    EXPECT_EQ(0, target.m_bMutexCreated);
    EXPECT_EQ(1, source.IsLocked());  // the source keeps its flags for its own mutex
    EXPECT_EQ(1, source.m_bMutexCreated);
    EXPECT_EQ(1, target.Lock(0));
    EXPECT_EQ(1, source.Lock(0));
}

TEST_F(ZVMapFileTest, CopyAndPergeStopsWhenCloseFails) {
    Calls calls;
    CountingMap target(&calls);
    ASSERT_EQ(1, target.OpenA(nullptr, 16, nullptr, 0));
    CZVMapFile source;
    ASSERT_EQ(1, source.OpenA(nullptr, 32, nullptr, 0));
    target.m_closeResult = 0;
    EXPECT_EQ(0, target.CopyAndPerge(&source));
    EXPECT_EQ(1, source.IsOpened(nullptr));
    EXPECT_EQ(32u, source.m_dwLength);
    EXPECT_EQ(0, calls.closeMutex);
    target.m_closeResult = -1;
}

TEST_F(ZVMapFileTest, CopyAndPergeStopsWhenUnlockFails) {
    Calls calls;
    CountingMap target(&calls);
    ASSERT_EQ(1, target.Lock(1));
    CZVMapFile source;
    ASSERT_EQ(1, source.OpenA(nullptr, 32, nullptr, 0));
    target.m_unlockResult = 0;
    EXPECT_EQ(0, target.CopyAndPerge(&source));
    EXPECT_EQ(0, calls.closeMutex);
    EXPECT_EQ(1, source.IsOpened(nullptr));
    target.m_unlockResult = -1;
    EXPECT_EQ(1, target.Lock(0));
}

// ---------------------------------------------------------------------------------------------
// The mutex

TEST_F(ZVMapFileTest, CreateMutexTwiceFailsTheSecondTime) {
    CZVMapFile map;
    EXPECT_EQ(1, map.CreateMutexA("NAME"));
    EXPECT_EQ(1, map.m_bMutexCreated);
    EXPECT_EQ(0, map.m_bLocked);
    EXPECT_EQ(0, map.CreateMutexA("NAME"));
    EXPECT_EQ(0, map.CreateMutexW(L"NAME"));
    EXPECT_EQ(0, map.CreateMutexT("NAME"));
    EXPECT_EQ(1, map.m_bMutexCreated);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVMapFileTest, CreateMutexFormsAndNames) {
    CZVMapFile a;
    EXPECT_EQ(1, a.CreateMutexA(nullptr));
    CZVMapFile w;
    EXPECT_EQ(1, w.CreateMutexW(L"WIDE"));
    CZVMapFile wn;
    EXPECT_EQ(1, wn.CreateMutexW(nullptr));
    CZVMapFile t;
    EXPECT_EQ(1, t.CreateMutexT(nullptr));
    // The empty wide name does not convert: nothing is created.
    CZVMapFile empty;
    EXPECT_EQ(0, empty.CreateMutexW(L""));
    EXPECT_EQ(0, empty.m_bMutexCreated);
    EXPECT_EQ(1, empty.CreateMutexA(""));
}

TEST_F(ZVMapFileTest, CreateMutexAAndWDoNotUseTheTSlot) {
    Calls calls;
    CountingMap a(&calls);
    EXPECT_EQ(1, a.CreateMutexA("N"));
    CountingMap w(&calls);
    EXPECT_EQ(1, w.CreateMutexW(L"N"));
    EXPECT_EQ(0, calls.createMutexT);
}

TEST_F(ZVMapFileTest, SameNameGivesIndependentMutexes) {
    CZVMapFile a;
    CZVMapFile b;
    ASSERT_EQ(1, a.CreateMutexA("SAME"));
    ASSERT_EQ(1, b.CreateMutexA("SAME"));
    ASSERT_EQ(1, a.Lock(1));
    EXPECT_EQ(0, pthread_mutex_trylock(&b.m_Mutex));
    EXPECT_EQ(0, pthread_mutex_unlock(&b.m_Mutex));
    EXPECT_EQ(1, a.Lock(0));
}

TEST_F(ZVMapFileTest, LockTwiceLocksOnce) {
    CZVMapFile map;
    ASSERT_EQ(1, map.CreateMutexA("M"));
    EXPECT_EQ(1, map.Lock(1));
    EXPECT_EQ(1, map.Lock(1));
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&map.m_Mutex));
    EXPECT_EQ(1, map.Lock(0));
    EXPECT_EQ(0, map.IsLocked());
    // One unlock released it: the mutex is free again.
    EXPECT_EQ(0, pthread_mutex_trylock(&map.m_Mutex));
    EXPECT_EQ(0, pthread_mutex_unlock(&map.m_Mutex));
    EXPECT_EQ(1, map.Lock(0));  // not locked: 1 at once
    EXPECT_EQ(0, map.IsLocked());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVMapFileTest, UnlockWhenNeverLocked) {
    CZVMapFile map;
    EXPECT_EQ(1, map.Lock(0));
    ASSERT_EQ(1, map.CreateMutexA("M"));
    EXPECT_EQ(1, map.Lock(0));
    EXPECT_EQ(0, map.IsLocked());
}

TEST_F(ZVMapFileTest, LockWithoutCreateMutexUsesZeroedMutex) {
    CZVMapFile map;
    // The zero bytes of a fresh object are an unlocked default mutex; Lock does not check the
    // mutex-created flag.
    EXPECT_EQ(1, map.Lock(1));
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&map.m_Mutex));
    EXPECT_EQ(0, map.m_bMutexCreated);
    // Without a created mutex CloseMutex has nothing to do and leaves the lock alone.
    EXPECT_EQ(1, map.CloseMutex());
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(1, map.Lock(0));
    EXPECT_EQ(0, map.IsLocked());
}

TEST_F(ZVMapFileTest, LockAndCloseMutexReportMutexFailures) {
    CZVMapFile map;
    ASSERT_EQ(1, map.CreateMutexA("M"));
    // An error-checking mutex in place of the default one makes lock and unlock fail on demand.
    ASSERT_EQ(0, pthread_mutex_destroy(&map.m_Mutex));
    pthread_mutexattr_t attr;
    ASSERT_EQ(0, pthread_mutexattr_init(&attr));
    ASSERT_EQ(0, pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK));
    ASSERT_EQ(0, pthread_mutex_init(&map.m_Mutex, &attr));
    pthread_mutexattr_destroy(&attr);

    // Unlocking a mutex this thread does not hold fails: 0, and the flag stays set.
    map.m_bLocked = 1;
    EXPECT_EQ(0, map.Lock(0));
    EXPECT_EQ(1, map.IsLocked());
    // CloseMutex stops at the failed unlock and keeps the mutex.
    EXPECT_EQ(0, map.CloseMutex());
    EXPECT_EQ(1, map.m_bMutexCreated);
    map.m_bLocked = 0;

    // Locking a mutex this thread already holds fails: 0, and the flag stays clear.
    ASSERT_EQ(0, pthread_mutex_lock(&map.m_Mutex));
    EXPECT_EQ(0, map.Lock(1));
    EXPECT_EQ(0, map.IsLocked());
    ASSERT_EQ(0, pthread_mutex_unlock(&map.m_Mutex));

    EXPECT_EQ(1, map.Lock(1));
    EXPECT_EQ(1, map.IsLocked());
    EXPECT_EQ(1, map.CloseMutex());
    EXPECT_EQ(0, map.IsLocked());
    EXPECT_EQ(0, map.m_bMutexCreated);
}

TEST_F(ZVMapFileTest, CreateMutexClearsLockedFlag) {
    CZVMapFile map;
    ASSERT_EQ(1, map.Lock(1));
    ASSERT_EQ(1, map.CreateMutexA("M"));
    EXPECT_EQ(0, map.IsLocked());
    EXPECT_EQ(0, pthread_mutex_trylock(&map.m_Mutex));  // a freshly initialised mutex
    EXPECT_EQ(0, pthread_mutex_unlock(&map.m_Mutex));
}

TEST_F(ZVMapFileTest, CloseMutexWhileLockedUnlocksFirst) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.CreateMutexA("M"));
    ASSERT_EQ(1, map.Lock(1));
    calls = Calls();
    EXPECT_EQ(1, map.CloseMutex());
    EXPECT_EQ(1, calls.isLocked);
    EXPECT_EQ(1, calls.lockZero);
    EXPECT_EQ(0, map.IsLocked());
    EXPECT_EQ(0, map.m_bMutexCreated);
    EXPECT_EQ(1, map.CloseMutex());  // nothing left to close
    EXPECT_EQ(1, map.CreateMutexA("M"));
    EXPECT_EQ(1, map.CloseMutex());
}

TEST_F(ZVMapFileTest, CloseMutexFailsWhenUnlockFails) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.CreateMutexA("M"));
    ASSERT_EQ(1, map.Lock(1));
    map.m_unlockResult = 0;
    EXPECT_EQ(0, map.CloseMutex());
    EXPECT_EQ(1, map.m_bMutexCreated);
    EXPECT_EQ(1, map.IsLocked());
    map.m_unlockResult = -1;
    EXPECT_EQ(1, map.CloseMutex());
    EXPECT_EQ(0, map.m_bMutexCreated);
}

TEST_F(ZVMapFileTest, LockFromSecondThreadReturnsAtOnce) {
    CZVMapFile map;
    ASSERT_EQ(1, map.CreateMutexA("M"));
    ASSERT_EQ(1, map.Lock(1));
    int result = -1;
    std::thread other([&map, &result]() { result = map.Lock(1); });
    other.join();
    EXPECT_EQ(1, result);
    EXPECT_EQ(1, map.Lock(0));
}

// ---------------------------------------------------------------------------------------------
// File times

TEST_F(ZVMapFileTest, GetFileTimeMatchesStat) {
    std::string path = MakeFile("times", 20);
    struct timespec set[2];
    set[0].tv_sec = 1000000000;  // access
    set[0].tv_nsec = 0;
    set[1].tv_sec = 1200000000;  // modification
    set[1].tv_nsec = 0;
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), set, 0));

    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    // Opening reads the file, which may move its access time: compare with stat() afterwards.
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    long created = 0;
    long accessed = 0;
    long written = 0;
    EXPECT_EQ(1, map.GetFileTime(&created, &accessed, &written));
    EXPECT_EQ(static_cast<long>(st.st_ctime), created);
    EXPECT_EQ(static_cast<long>(st.st_atime), accessed);
    EXPECT_EQ(1200000000L, written);
    EXPECT_EQ(static_cast<long>(st.st_mtime), written);
}

TEST_F(ZVMapFileTest, GetFileTimeWithNullArguments) {
    std::string path = MakeFile("times", 20);
    struct timespec set[2] = {{1100000000, 0}, {1300000000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), set, 0));
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_EQ(1, map.GetFileTime(nullptr, nullptr, nullptr));
    long written = 0;
    EXPECT_EQ(1, map.GetFileTime(nullptr, nullptr, &written));
    EXPECT_EQ(1300000000L, written);
    long accessed = 0;
    EXPECT_EQ(1, map.GetFileTime(nullptr, &accessed, nullptr));
    EXPECT_EQ(static_cast<long>(st.st_atime), accessed);
    long created = 0;
    EXPECT_EQ(1, map.GetFileTime(&created, nullptr, nullptr));
    EXPECT_EQ(static_cast<long>(st.st_ctime), created);
}

TEST_F(ZVMapFileTest, GetFileTimeNeedsFileBackedMapping) {
    CZVMapFile anonymous;
    ASSERT_EQ(1, anonymous.OpenA(nullptr, 16, nullptr, 0));
    long t[3] = {4, 5, 6};
    EXPECT_EQ(0, anonymous.GetFileTime(&t[0], &t[1], &t[2]));
    EXPECT_EQ(4, t[0]);

    std::string path = MakeFile("f", 16);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    EXPECT_EQ(1, map.GetFileTime(&t[0], &t[1], &t[2]));
    EXPECT_EQ(1, map.Close());
    EXPECT_EQ(0, map.GetFileTime(&t[0], &t[1], &t[2]));
}

TEST_F(ZVMapFileTest, GetFileTimeOfRemovedFileFails) {
    std::string path = MakeFile("gone", 16);
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, nullptr, 1));
    ASSERT_EQ(0, unlink(path.c_str()));
    long t[3] = {4, 5, 6};
    EXPECT_EQ(0, map.GetFileTime(&t[0], &t[1], &t[2]));
    EXPECT_EQ(4, t[0]);
    EXPECT_EQ(5, t[1]);
    EXPECT_EQ(6, t[2]);
    EXPECT_EQ(Pattern(16), Mapped(map));  // the mapping itself still works
}

// ---------------------------------------------------------------------------------------------
// Destruction

TEST_F(ZVMapFileTest, DestructorReleasesEverything) {
    std::string path = MakeFile("f", 40);
    int before = NextFreeDescriptor();
    CZVMapFile* map = new CZVMapFile;
    ASSERT_EQ(1, map->OpenA(path.c_str(), 0, "NAME", 0));
    ASSERT_EQ(1, map->CreateMutexA("NAME"));
    ASSERT_EQ(1, map->Lock(1));
    memcpy(map->m_pAddress, "destroyed", 9);
    delete map;
    EXPECT_EQ(before, NextFreeDescriptor());
    std::string expected = Pattern(40);
    expected.replace(0, 9, "destroyed");
    EXPECT_EQ(expected, zvtest::ReadFile(path));
}

TEST_F(ZVMapFileTest, DestructorOfAnonymousAndClosedObjects) {
    CZVMapFile* anonymous = new CZVMapFile;
    ASSERT_EQ(1, anonymous->OpenA(nullptr, 4096, "NAME", 1));
    delete anonymous;
    CZVMapFile* closed = new CZVMapFile;
    ASSERT_EQ(1, closed->OpenA(nullptr, 16, "NAME", 0));
    ASSERT_EQ(1, closed->Close());
    delete closed;
    CZVMapFile* lockedOnly = new CZVMapFile;
    ASSERT_EQ(1, lockedOnly->Lock(1));
    delete lockedOnly;
}

TEST_F(ZVMapFileTest, DestructorClosesWithoutTheCloseSlot) {
    std::string path = MakeFile("f", 40);
    int before = NextFreeDescriptor();
    Calls calls;
    CountingMap* map = new CountingMap(&calls);
    ASSERT_EQ(1, map->OpenA(path.c_str(), 0, nullptr, 0));
    calls = Calls();
    delete map;
    EXPECT_EQ(0, calls.close);
    EXPECT_EQ(before, NextFreeDescriptor());
}

// ---------------------------------------------------------------------------------------------
// Calls through the virtual slots

TEST_F(ZVMapFileTest, OpenAAndOpenWCallOpenTWithCopies) {
    std::string path = MakeFile("f", 12);
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.OpenA(path.c_str(), 0, "NAME", 1));
    EXPECT_EQ(1, calls.openT);
    EXPECT_EQ(path, calls.openTPath);
    EXPECT_NE(path.c_str(), calls.openTPathPointer);
    EXPECT_EQ("NAME", calls.openTName);
    EXPECT_EQ(0u, calls.openTSize);
    EXPECT_EQ(1, calls.openTReadOnly);
    EXPECT_GE(calls.isOpened, 1);  // OpenT asks IsOpened first
    ASSERT_EQ(1, map.Close());

    calls = Calls();
    ASSERT_EQ(1, map.OpenW(zvtest::Wide(path).c_str(), 5, L"WNAME", 1));
    EXPECT_EQ(1, calls.openT);
    EXPECT_EQ(path, calls.openTPath);
    EXPECT_EQ("WNAME", calls.openTName);
    EXPECT_EQ(5u, calls.openTSize);

    calls = Calls();
    EXPECT_EQ(0, map.OpenA(nullptr, 16, nullptr, 0));  // still open: refused by OpenT
    EXPECT_EQ(1, calls.openT);
    EXPECT_EQ("(null)", calls.openTPath);
    EXPECT_EQ("(null)", calls.openTName);
}

TEST_F(ZVMapFileTest, OpenResultIsNormalised) {
    Calls calls;
    CountingMap map(&calls);
    map.m_openTResult = 5;
    EXPECT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    EXPECT_EQ(1, map.OpenW(nullptr, 16, nullptr, 0));
    map.m_openTResult = 0;
    EXPECT_EQ(0, map.OpenA("/", 16, "N", 0));
    EXPECT_EQ(3, calls.openT);
}

TEST_F(ZVMapFileTest, ResizeClosesAndReopensThroughSlots) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, "BLOCK", 0));
    calls = Calls();
    ASSERT_EQ(1, map.Resize(48));
    EXPECT_EQ(1, calls.close);
    EXPECT_EQ(1, calls.openT);  // the reopen; the scratch mapping is a plain object
    EXPECT_EQ("(null)", calls.openTPath);
    EXPECT_EQ("BLOCK", calls.openTName);
    EXPECT_EQ(48u, calls.openTSize);
    EXPECT_EQ(0, calls.openTReadOnly);
    EXPECT_GE(calls.isOpened, 1);
}

TEST_F(ZVMapFileTest, ResizeFailsWhenReopenFails) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    map.m_openTResult = 0;
    EXPECT_EQ(0, map.Resize(32));
    EXPECT_EQ(0, map.IsOpened(nullptr));  // closed; the old contents are gone
    EXPECT_EQ(1, calls.close);
}

TEST_F(ZVMapFileTest, ResizeFailsWhenCloseFails) {
    Calls calls;
    CountingMap map(&calls);
    ASSERT_EQ(1, map.OpenA(nullptr, 16, nullptr, 0));
    map.m_closeResult = 0;
    calls = Calls();
    EXPECT_EQ(0, map.Resize(32));
    EXPECT_EQ(1, calls.close);
    EXPECT_EQ(0, calls.openT);
    map.m_closeResult = -1;
    EXPECT_EQ(1, map.IsOpened(nullptr));
    EXPECT_EQ(16u, map.m_dwLength);
}

}  // namespace
