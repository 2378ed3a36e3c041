// Tests of the read probe (TarnIsFileCorruptedA/W) and the file information
// (TarnGetFileInfoA/W): results, last-error codes and the bytes of the record.
//
// The program replaces fread and sleep with thin wrappers around the system library's own (found
// with dlsym(RTLD_NEXT)): while a watch is active they count calls, record what the probe read,
// can make reads deliver nothing (a file whose first byte cannot be read back) and can skip the
// one-second checksum pauses after counting them. The library's calls reach these wrappers
// because the program's definitions come first in symbol lookup.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>
#include <wchar.h>

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TarnFile.h"
#include "TestSupport.h"

namespace {

// What the wrappers do and saw while active.
struct Watch {
    bool active = false;
    bool failReads = false;   // fread delivers nothing
    int failFromCall = 0;     // when above 0, fread delivers nothing from this call on
    bool skipSleeps = false;  // sleep is counted but does not wait
    int freadCalls = 0;
    std::string bytesRead;
    int sleepCalls = 0;
    unsigned int sleptSeconds = 0;
};

Watch g_watch;

using FreadFn = size_t (*)(void*, size_t, size_t, FILE*);
using SleepFn = unsigned int (*)(unsigned int);

}  // namespace

extern "C" __attribute__((visibility("default"))) size_t fread(void* ptr, size_t size, size_t n,
                                                               FILE* stream) {
    static FreadFn real = reinterpret_cast<FreadFn>(dlsym(RTLD_NEXT, "fread"));
    if (g_watch.active) {
        ++g_watch.freadCalls;
        if (g_watch.failReads ||
            (g_watch.failFromCall > 0 && g_watch.freadCalls >= g_watch.failFromCall)) {
            return 0;
        }
    }
    size_t got = real(ptr, size, n, stream);
    if (g_watch.active && got > 0) {
        g_watch.bytesRead.append(static_cast<const char*>(ptr), got * size);
    }
    return got;
}

extern "C" __attribute__((visibility("default"))) unsigned int sleep(unsigned int seconds) {
    static SleepFn real = reinterpret_cast<SleepFn>(dlsym(RTLD_NEXT, "sleep"));
    if (g_watch.active) {
        ++g_watch.sleepCalls;
        g_watch.sleptSeconds += seconds;
        if (g_watch.skipSleeps) {
            return 0;
        }
    }
    return real(seconds);
}

namespace {

using zvtest::kSentinelError;
using zvtest::TempDir;
using zvtest::Wide;
using zvtest::WriteFile;

const unsigned int kCloseFailed = TARN_ERR_CLOSE_FILE;         // 3
const unsigned int kNullPtr = TARN_ERR_NULL_POINTER;           // 16
const unsigned int kOpenFailed = TARN_ERR_OPEN_FILE;           // 36
const unsigned int kNoFile = TARN_ERR_FILE_NOT_EXIST;          // 68
const unsigned int kIsDirectory = TARN_ERR_PATH_IS_DIRECTORY;  // 69
const unsigned int kCorrupted = TARN_ERR_FILE_CORRUPTED;       // 73

// The descriptor the next open() would get: the lowest free one. A call that leaves a file open
// changes it.
int NextFreeDescriptor() {
    int fd = open("/dev/null", O_RDONLY);
    if (fd >= 0) {
        close(fd);
    }
    return fd;
}

// Keeps null pointers opaque to the compiler's non-null checks.
const char* volatile g_nullText = nullptr;
const wchar_t* volatile g_nullWide = nullptr;
FILEINFO_tag* volatile g_nullInfo = nullptr;

class TarnFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        setlocale(LC_ALL, "C");
        g_watch = Watch();
    }
    void TearDown() override {
        g_watch = Watch();
        setlocale(LC_ALL, "C");
    }

    // Starts watching fread and sleep; checksum pauses are skipped unless realSleeps.
    static void StartWatch(bool failReads = false, bool realSleeps = false) {
        g_watch = Watch();
        g_watch.failReads = failReads;
        g_watch.skipSleeps = !realSleeps;
        g_watch.active = true;
    }
    static void StopWatch() { g_watch.active = false; }

    // A record filled with 0xAB, to see what a call writes.
    static FILEINFO_tag Filled() {
        FILEINFO_tag info;
        memset(&info, 0xAB, sizeof(info));
        return info;
    }
    static bool IsAllZero(const FILEINFO_tag& info) {
        FILEINFO_tag zero;
        memset(&zero, 0, sizeof(zero));
        return memcmp(&info, &zero, sizeof(info)) == 0;
    }
    static bool IsUntouched(const FILEINFO_tag& info) {
        FILEINFO_tag filled = Filled();
        return memcmp(&info, &filled, sizeof(info)) == 0;
    }
    static std::string Extension(const FILEINFO_tag& info) {
        return std::string(info.szExtension, sizeof(info.szExtension));
    }
    // The six bytes the extension field must hold for text (zero-padded).
    static std::string Field(const std::string& text) {
        std::string field(text);
        field.resize(sizeof(FILEINFO_tag::szExtension), '\0');
        return field;
    }

    // The file info of an empty file created at name inside the temporary folder.
    FILEINFO_tag InfoOfEmptyFile(const std::string& name, int* result) {
        std::string path = m_dir.File(name);
        WriteFile(path, "");
        FILEINFO_tag info = Filled();
        TarnSetLastError(kSentinelError);
        *result = TarnGetFileInfoA(path.c_str(), &info);
        return info;
    }

    // A path inside the temporary folder exactly length bytes long, or "" when the folder's own
    // path leaves no room for a name of 1 to 255 bytes.
    std::string PathOfLength(size_t length) const {
        size_t prefix = m_dir.Path().size() + 1;
        if (length <= prefix || length - prefix > 255) {
            return std::string();
        }
        return m_dir.File(std::string(length - prefix, 'n'));
    }

    TempDir m_dir;
};

// The checksum as the library defines it: XOR of 16-bit little-endian words, an odd last byte
// XOR'ed into the low byte.
uint16_t ExpectedChecksum(const std::string& bytes) {
    uint16_t sum = 0;
    size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        uint16_t lo = static_cast<unsigned char>(bytes[i]);
        uint16_t hi = static_cast<unsigned char>(bytes[i + 1]);
        sum = static_cast<uint16_t>(sum ^ (lo | (hi << 8)));
    }
    if (i < bytes.size()) {
        sum = static_cast<uint16_t>(sum ^ static_cast<unsigned char>(bytes[i]));
    }
    return sum;
}

// Seconds of checksum pause for a file of size bytes: one per 102400 words started.
int ExpectedPauses(size_t size) {
    size_t words = size / 2;
    return words == 0 ? 0 : static_cast<int>((words - 1) / 102400 + 1);
}

// ---------------------------------------------------------------------------------------------
// TarnIsFileCorruptedA / W

TEST_F(TarnFileTest, ProbeNullPathA) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(g_nullText));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnFileTest, ProbeNullPathW) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(g_nullWide));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnFileTest, ProbeMissingFileIsNotCorrupted) {
    std::string path = m_dir.File("missing.txt");
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(path.c_str()));
    // No code of the library's own: only what the failed stat() left.
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());

    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(Wide(path).c_str()));
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
}

TEST_F(TarnFileTest, ProbeDirectoryIsNotCorrupted) {
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(m_dir.Path().c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(Wide(m_dir.Path()).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    StopWatch();
    EXPECT_EQ(0, g_watch.freadCalls);
}

TEST_F(TarnFileTest, ProbeEmptyReadableFileReadsNothing) {
    std::string path = m_dir.File("empty.dat");
    WriteFile(path, "");
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(path.c_str()));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, g_watch.freadCalls);
}

TEST_F(TarnFileTest, ProbeReadsTheFirstByteOncePerByteUpToThreeTimes) {
    const struct {
        const char* content;
        int probes;
    } cases[] = {{"A", 1}, {"AB", 2}, {"ABC", 3}, {"ABCD", 3}, {"ABCDE", 3}};
    int before = NextFreeDescriptor();
    for (const auto& c : cases) {
        std::string path = m_dir.File("probe.dat");
        WriteFile(path, c.content);
        StartWatch();
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, TarnIsFileCorruptedA(path.c_str())) << c.content;
        StopWatch();
        EXPECT_EQ(kSentinelError, TarnGetLastError()) << c.content;
        EXPECT_EQ(c.probes, g_watch.freadCalls) << c.content;
        // Every probe rewinds and reads the same first byte.
        EXPECT_EQ(std::string(c.probes, 'A'), g_watch.bytesRead) << c.content;
        EXPECT_EQ(before, NextFreeDescriptor()) << c.content;
    }
}

TEST_F(TarnFileTest, ProbeWideFormReadsLikeTheNarrowForm) {
    std::string path = m_dir.File("wide.dat");
    WriteFile(path, "xyzw");
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(Wide(path).c_str()));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(3, g_watch.freadCalls);
    EXPECT_EQ("xxx", g_watch.bytesRead);
}

TEST_F(TarnFileTest, ProbeUnreadableByteReportsCorruption) {
    std::string path = m_dir.File("bad.dat");
    WriteFile(path, "payload");
    int before = NextFreeDescriptor();
    StartWatch(/*failReads=*/true);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnIsFileCorruptedA(path.c_str()));
    EXPECT_EQ(kCorrupted, TarnGetLastError());
    EXPECT_EQ(1, g_watch.freadCalls);         // the first failed probe ends it
    EXPECT_EQ(before, NextFreeDescriptor());  // and the file is closed

    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnIsFileCorruptedW(Wide(path).c_str()));
    EXPECT_EQ(kCorrupted, TarnGetLastError());
    StopWatch();
    // Code 73 has no message of its own.
    EXPECT_STREQ("Unknown error.", TarnGetErrorMsg(kCorrupted));
}

TEST_F(TarnFileTest, ProbeOfEmptyFileNeverFailsItsReads) {
    std::string path = m_dir.File("empty.dat");
    WriteFile(path, "");
    StartWatch(/*failReads=*/true);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(path.c_str()));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, g_watch.freadCalls);
}

TEST_F(TarnFileTest, ProbeUnreadableFileGivesOpenFailed) {
    const char* contents[] = {"secret", ""};
    for (const char* content : contents) {
        std::string path = m_dir.File("locked.dat");
        WriteFile(path, content);
        ASSERT_EQ(0, chmod(path.c_str(), 0));
        zvtest::ChildResult r = zvtest::RunUnprivileged([&path]() {
            TarnSetLastError(kSentinelError);
            return TarnIsFileCorruptedA(path.c_str());
        });
        ASSERT_TRUE(r.ran) << r.reason;
        EXPECT_EQ(0, r.value) << "content size " << strlen(content);
        EXPECT_EQ(kOpenFailed, r.lastError) << "content size " << strlen(content);

        r = zvtest::RunUnprivileged([&path]() {
            TarnSetLastError(kSentinelError);
            return TarnIsFileCorruptedW(Wide(path).c_str());
        });
        ASSERT_TRUE(r.ran) << r.reason;
        EXPECT_EQ(0, r.value);
        EXPECT_EQ(kOpenFailed, r.lastError);
        ASSERT_EQ(0, chmod(path.c_str(), 0644));
        ASSERT_EQ(0, unlink(path.c_str()));
    }
}

TEST_F(TarnFileTest, ProbeEmptyNarrowPathIsNotConverted) {
    // The narrow form's conversion of "" yields nothing, so the probe is not run at all.
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(""));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, g_watch.freadCalls);
}

TEST_F(TarnFileTest, ProbeEmptyWidePathIsMissing) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(L""));
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
}

TEST_F(TarnFileTest, ProbeWidePathLimit) {
    std::string path255 = PathOfLength(255);
    std::string path256 = PathOfLength(256);
    if (path255.empty() || path256.empty()) {
        GTEST_SKIP() << "temporary folder path too long: " << m_dir.Path();
    }
    WriteFile(path255, "data");
    WriteFile(path256, "data");
    StartWatch(/*failReads=*/true);
    // 255 bytes convert: the file is probed, and the failing read is reported.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnIsFileCorruptedW(Wide(path255).c_str()));
    EXPECT_EQ(kCorrupted, TarnGetLastError());
    EXPECT_EQ(1, g_watch.freadCalls);
    // 256 bytes fill the whole conversion buffer: treated as a path stat() cannot find.
    g_watch.freadCalls = 0;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedW(Wide(path256).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, g_watch.freadCalls);
    // The narrow form goes through the same conversion.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(path256.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, TarnIsFileCorruptedA(path255.c_str()));
    StopWatch();
}

TEST_F(TarnFileTest, ProbeUnconvertibleWidePathIsNotProbed) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no C.UTF-8 locale";
    }
    std::wstring wide = Wide(m_dir.Path()) + L"/\xe9.dat";
    std::string narrow = m_dir.Path() + "/\xc3\xa9.dat";
    WriteFile(narrow, "data");
    StartWatch(/*failReads=*/true);
    EXPECT_EQ(1, TarnIsFileCorruptedW(wide.c_str()));  // converts in UTF-8
    setlocale(LC_ALL, "C");
    g_watch.freadCalls = 0;
    EXPECT_EQ(0, TarnIsFileCorruptedW(wide.c_str()));  // does not in "C"
    StopWatch();
    EXPECT_EQ(0, g_watch.freadCalls);
}

// ---------------------------------------------------------------------------------------------
// TarnGetFileInfoA / W: arguments and status

TEST_F(TarnFileTest, InfoNullArgumentsA) {
    std::string path = m_dir.File("a.txt");
    WriteFile(path, "");
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(g_nullText, &info));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_TRUE(IsUntouched(info));

    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), g_nullInfo));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnFileTest, InfoNullArgumentsW) {
    std::wstring path = Wide(m_dir.File("a.txt"));
    WriteFile(m_dir.File("a.txt"), "");
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(g_nullWide, &info));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
    EXPECT_TRUE(IsUntouched(info));

    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(path.c_str(), g_nullInfo));
    EXPECT_EQ(kNullPtr, TarnGetLastError());
}

TEST_F(TarnFileTest, InfoMissingFileGivesFileNotExist) {
    std::string path = m_dir.File("missing.txt");
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));

    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(Wide(path).c_str(), &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));
}

TEST_F(TarnFileTest, InfoDirectoryGivesPathIsDirectory) {
    std::string path = m_dir.File("folder.d");
    ASSERT_EQ(0, mkdir(path.c_str(), 0755));
    struct stat expected;
    ASSERT_EQ(0, stat(path.c_str(), &expected));
    const int forms[] = {0, 1};
    for (int wide : forms) {
        FILEINFO_tag info = Filled();
        TarnSetLastError(kSentinelError);
        int result = wide ? TarnGetFileInfoW(Wide(path).c_str(), &info)
                          : TarnGetFileInfoA(path.c_str(), &info);
        EXPECT_EQ(0, result);
        EXPECT_EQ(kIsDirectory, TarnGetLastError());
        // Only the status was written before the directory bit stopped it.
        EXPECT_EQ(expected.st_ino, info.status.st_ino);
        EXPECT_EQ(expected.st_mode, info.status.st_mode);
        EXPECT_EQ(0u, info.dwSize);
        EXPECT_EQ(0u, info.wCheckSum);
        EXPECT_EQ(Field(""), Extension(info));
        EXPECT_EQ(0L, info.tmCreation);
        EXPECT_EQ(0L, info.tmLastAccess);
        EXPECT_EQ(0L, info.tmLastWrite);
    }
}

TEST_F(TarnFileTest, BlockDeviceCountsAsDirectory) {
    // A block device's mode code (0x6000) carries the directory bit: never probed, code 69.
    std::string path = m_dir.File("block");
    if (mknod(path.c_str(), S_IFBLK | 0600, makedev(7, 0)) != 0) {
        GTEST_SKIP() << "cannot make a block device node here";
    }
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnIsFileCorruptedA(path.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), &info));
    EXPECT_EQ(kIsDirectory, TarnGetLastError());
    StopWatch();
    EXPECT_EQ(0, g_watch.freadCalls);
    EXPECT_TRUE(S_ISBLK(info.status.st_mode));
    EXPECT_EQ(Field(""), Extension(info));
}

TEST_F(TarnFileTest, InfoEmptyFileIsNotMappedNorPaused) {
    std::string path = m_dir.File("empty.log");
    WriteFile(path, "");
    struct stat expected;
    memset(&expected, 0, sizeof(expected));  // the record's status starts zeroed too
    ASSERT_EQ(0, stat(path.c_str(), &expected));
    FILEINFO_tag info = Filled();
    StartWatch(false, /*realSleeps=*/true);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, g_watch.sleepCalls);
    EXPECT_EQ(0, g_watch.freadCalls);
    EXPECT_EQ(0, memcmp(&expected, &info.status, sizeof(expected)));
    EXPECT_EQ(0u, info.dwSize);
    EXPECT_EQ(0u, info.wCheckSum);
    EXPECT_EQ(Field(".LOG"), Extension(info));
    EXPECT_EQ(static_cast<long>(expected.st_ctime), info.tmCreation);
    EXPECT_EQ(static_cast<long>(expected.st_atime), info.tmLastAccess);
    EXPECT_EQ(static_cast<long>(expected.st_mtime), info.tmLastWrite);
}

TEST_F(TarnFileTest, InfoFieldsMatchStat) {
    std::string path = m_dir.File("fields.bin");
    std::string bytes("\x10\x20\x30\x40\x50\x60\x70\x80\x90\xa0", 10);
    WriteFile(path, bytes);
    // A fixed modification time and an access time ahead of the clock, so that the reads made by
    // the call do not move the access time (relatime).
    const time_t written = 1000000000;
    const time_t accessed = time(nullptr) + 86400;
    struct timespec times[2] = {{accessed, 0}, {written, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));

    FILEINFO_tag info = Filled();
    int before = NextFreeDescriptor();
    StartWatch();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(before, NextFreeDescriptor());  // neither the probe's file nor the mapping stays open
    // Three probe reads of the first byte by the call itself and three more by the mapping it
    // opens; the checksum reads the mapping, not the stream.
    EXPECT_EQ(6, g_watch.freadCalls);
    EXPECT_EQ(std::string(6, '\x10'), g_watch.bytesRead);
    EXPECT_EQ(1, g_watch.sleepCalls);

    struct stat expected;
    memset(&expected, 0, sizeof(expected));  // the record's status starts zeroed too
    ASSERT_EQ(0, stat(path.c_str(), &expected));
    EXPECT_EQ(0, memcmp(&expected, &info.status, sizeof(expected)));
    EXPECT_EQ(expected.st_dev, info.status.st_dev);
    EXPECT_EQ(expected.st_ino, info.status.st_ino);
    EXPECT_EQ(expected.st_mode, info.status.st_mode);
    EXPECT_EQ(10, static_cast<int>(info.status.st_size));
    EXPECT_EQ(10u, info.dwSize);
    EXPECT_EQ(ExpectedChecksum(bytes), info.wCheckSum);
    EXPECT_EQ(Field(".BIN"), Extension(info));
    EXPECT_EQ(static_cast<long>(expected.st_ctime), info.tmCreation);
    EXPECT_EQ(static_cast<long>(accessed), info.tmLastAccess);
    EXPECT_EQ(1000000000L, info.tmLastWrite);
}

TEST_F(TarnFileTest, InfoTimeBefore1970StaysNegative) {
    std::string path = m_dir.File("old.txt");
    WriteFile(path, "");
    struct timespec times[2] = {{-86400, 0}, {-3600, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    struct stat check;
    ASSERT_EQ(0, stat(path.c_str(), &check));
    if (check.st_mtime != -3600) {
        GTEST_SKIP() << "the file system does not keep times before 1970";
    }
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnGetFileInfoW(Wide(path).c_str(), &info));
    EXPECT_EQ(-86400L, info.tmLastAccess);
    EXPECT_EQ(-3600L, info.tmLastWrite);
}

TEST_F(TarnFileTest, InfoWideFormFillsTheSameRecord) {
    std::string path = m_dir.File("same.Dat");
    WriteFile(path, "");
    FILEINFO_tag narrow = Filled();
    FILEINFO_tag wide = Filled();
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &narrow));
    EXPECT_EQ(1, TarnGetFileInfoW(Wide(path).c_str(), &wide));
    EXPECT_EQ(0, memcmp(&narrow, &wide, sizeof(narrow)));
    EXPECT_EQ(Field(".DAT"), Extension(wide));
}

TEST_F(TarnFileTest, InfoEmptyPath) {
    // The narrow "" does not convert: 0, the record cleared.
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA("", &info));
    EXPECT_EQ(kSentinelError, TarnGetLastError());  // the failed conversion sets no code
    EXPECT_TRUE(IsAllZero(info));
    // The wide "" converts to "", which stat() cannot find.
    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(L"", &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));
}

TEST_F(TarnFileTest, InfoWidePathLimit) {
    std::string path255 = PathOfLength(255);
    std::string path256 = PathOfLength(256);
    if (path255.empty() || path256.empty()) {
        GTEST_SKIP() << "temporary folder path too long: " << m_dir.Path();
    }
    WriteFile(path255, "");
    WriteFile(path256, "");
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnGetFileInfoW(Wide(path255).c_str(), &info));
    EXPECT_EQ(kSentinelError, TarnGetLastError());

    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(Wide(path256).c_str(), &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));

    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path256.c_str(), &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));
    EXPECT_EQ(1, TarnGetFileInfoA(path255.c_str(), &info));
}

TEST_F(TarnFileTest, InfoUnconvertibleWidePathGivesFileNotExist) {
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(L"\xe9", &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));

    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no C.UTF-8 locale";
    }
    std::wstring wide = Wide(m_dir.Path()) + L"/\xe9.txt";
    WriteFile(m_dir.Path() + "/\xc3\xa9.txt", "");
    info = Filled();
    EXPECT_EQ(1, TarnGetFileInfoW(wide.c_str(), &info));  // converts in UTF-8
    EXPECT_EQ(Field(".TXT"), Extension(info));
    setlocale(LC_ALL, "C");
    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(wide.c_str(), &info));  // does not in "C"
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));
}

TEST_F(TarnFileTest, InfoCorruptedFileA) {
    std::string path = m_dir.File("bad.txt");
    WriteFile(path, "abc");
    FILEINFO_tag info = Filled();
    StartWatch(/*failReads=*/true);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(kCorrupted, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));  // the narrow form clears the record first
    EXPECT_EQ(0, g_watch.sleepCalls);
}

TEST_F(TarnFileTest, InfoCorruptedFileW) {
    std::string path = m_dir.File("bad.txt");
    WriteFile(path, "abc");
    FILEINFO_tag info = Filled();
    StartWatch(/*failReads=*/true);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoW(Wide(path).c_str(), &info));
    StopWatch();
    EXPECT_EQ(kCorrupted, TarnGetLastError());
    EXPECT_TRUE(IsUntouched(info));  // the probe stops it before the record is cleared
}

TEST_F(TarnFileTest, InfoMappingRefusedGivesOpenFailed) {
    // The call's own probe reads the first byte three times; the mapping probes again, and its
    // first read fails: the mapping refuses the file and code 36 replaces the probe's 73.
    std::string path = m_dir.File("late.txt");
    WriteFile(path, "abcd");
    FILEINFO_tag info = Filled();
    int before = NextFreeDescriptor();
    StartWatch();
    g_watch.failFromCall = 4;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(kOpenFailed, TarnGetLastError());
    EXPECT_EQ(4, g_watch.freadCalls);
    EXPECT_EQ(0, g_watch.sleepCalls);
    EXPECT_EQ(before, NextFreeDescriptor());
    // The fields written before the mapping was refused stay; the checksum is still 0.
    EXPECT_EQ(4u, info.dwSize);
    EXPECT_EQ(0u, info.wCheckSum);
    EXPECT_EQ(Field(".TXT"), Extension(info));
    EXPECT_EQ(4, static_cast<int>(info.status.st_size));
}

TEST_F(TarnFileTest, InfoUnreadableNonEmptyFileGivesOpenFailed) {
    std::string path = m_dir.File("locked.txt");
    WriteFile(path, "abc");
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    zvtest::ChildResult r = zvtest::RunUnprivileged([&path]() {
        FILEINFO_tag info;
        memset(&info, 0xAB, sizeof(info));
        TarnSetLastError(kSentinelError);
        int result = TarnGetFileInfoA(path.c_str(), &info);
        // Reports the fields written before the mapping failed: size 3, ".TXT", no checksum.
        bool fields =
            info.dwSize == 3 && info.wCheckSum == 0 && memcmp(info.szExtension, ".TXT\0\0", 6) == 0;
        return result + (fields ? 10 : 0);
    });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(10, r.value);
    EXPECT_EQ(kOpenFailed, r.lastError);
}

TEST_F(TarnFileTest, InfoUnreadableEmptyFileSucceeds) {
    std::string path = m_dir.File("locked.txt");
    WriteFile(path, "");
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    zvtest::ChildResult r = zvtest::RunUnprivileged([&path]() {
        FILEINFO_tag info;
        memset(&info, 0xAB, sizeof(info));
        TarnSetLastError(kSentinelError);
        int result = TarnGetFileInfoW(Wide(path).c_str(), &info);
        bool fields =
            info.dwSize == 0 && info.wCheckSum == 0 && memcmp(info.szExtension, ".TXT\0\0", 6) == 0;
        return result + (fields ? 10 : 0);
    });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(11, r.value);
    // The probe's open failure is left behind; the empty file needs no mapping.
    EXPECT_EQ(kOpenFailed, r.lastError);
}

// ---------------------------------------------------------------------------------------------
// Checksum and its pauses

TEST_F(TarnFileTest, ChecksumOfThreeBytesPausesOneSecond) {
    std::string path = m_dir.File("three.bin");
    WriteFile(path, std::string("\x01\x02\x03", 3));
    FILEINFO_tag info = Filled();
    StartWatch(false, /*realSleeps=*/true);
    auto start = std::chrono::steady_clock::now();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info));
    auto elapsed = std::chrono::steady_clock::now() - start;
    StopWatch();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0x0202u, info.wCheckSum);  // 0x0201 ^ 0x0003
    EXPECT_EQ(3u, info.dwSize);
    EXPECT_EQ(Field(".BIN"), Extension(info));
    EXPECT_EQ(1, g_watch.sleepCalls);
    EXPECT_EQ(1u, g_watch.sleptSeconds);
    EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 990);
}

TEST_F(TarnFileTest, ChecksumOfOddSizedFile) {
    std::string path = m_dir.File("odd.dat");
    std::string bytes("\xff\x80\x7f\x01\xa5\x5a\x00\x10\xee", 9);
    WriteFile(path, bytes);
    // Explicit words, little-endian: 0x80FF ^ 0x017F ^ 0x5AA5 ^ 0x1000, then the last byte 0xEE.
    const uint16_t expected = static_cast<uint16_t>(0x80FF ^ 0x017F ^ 0x5AA5 ^ 0x1000 ^ 0x00EE);
    ASSERT_EQ(expected, ExpectedChecksum(bytes));
    FILEINFO_tag info = Filled();
    StartWatch();
    EXPECT_EQ(1, TarnGetFileInfoW(Wide(path).c_str(), &info));
    StopWatch();
    EXPECT_EQ(expected, info.wCheckSum);
    EXPECT_EQ(9u, info.dwSize);
    EXPECT_EQ(1, g_watch.sleepCalls);
}

TEST_F(TarnFileTest, ChecksumOfOneByteDoesNotPause) {
    std::string path = m_dir.File("one.dat");
    WriteFile(path, "\xc3");
    FILEINFO_tag info = Filled();
    StartWatch();
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(0x00C3u, info.wCheckSum);
    EXPECT_EQ(0, g_watch.sleepCalls);
}

TEST_F(TarnFileTest, ChecksumOfTwoBytesPausesOnce) {
    std::string path = m_dir.File("two.dat");
    WriteFile(path, "\x34\x12");
    FILEINFO_tag info = Filled();
    StartWatch();
    EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info));
    StopWatch();
    EXPECT_EQ(0x1234u, info.wCheckSum);
    EXPECT_EQ(1, g_watch.sleepCalls);
}

TEST_F(TarnFileTest, ChecksumPausesOncePer102400WordsStarted) {
    // 102400 words: one pause; one word more: two; 204801 words: three.
    const size_t sizes[] = {204800, 204801, 204802, 204803, 409602};
    const int pauses[] = {1, 1, 2, 2, 3};
    for (size_t i = 0; i < sizeof(sizes) / sizeof(sizes[0]); ++i) {
        std::string bytes(sizes[i], '\0');
        for (size_t k = 0; k < bytes.size(); ++k) {
            bytes[k] = static_cast<char>((k * 7 + k / 256) & 0xFF);
        }
        std::string path = m_dir.File("big.dat");
        WriteFile(path, bytes);
        FILEINFO_tag info = Filled();
        StartWatch();
        EXPECT_EQ(1, TarnGetFileInfoA(path.c_str(), &info)) << sizes[i];
        StopWatch();
        ASSERT_EQ(pauses[i], ExpectedPauses(sizes[i]));
        EXPECT_EQ(pauses[i], g_watch.sleepCalls) << sizes[i];
        EXPECT_EQ(static_cast<unsigned int>(pauses[i]), g_watch.sleptSeconds) << sizes[i];
        EXPECT_EQ(ExpectedChecksum(bytes), info.wCheckSum) << sizes[i];
        EXPECT_EQ(static_cast<uint32_t>(sizes[i]), info.dwSize);
    }
}

// ---------------------------------------------------------------------------------------------
// Extension

TEST_F(TarnFileTest, ExtensionExamples) {
    ASSERT_EQ(0, mkdir(m_dir.File("data").c_str(), 0755));
    ASSERT_EQ(0, mkdir(m_dir.File("dir.d").c_str(), 0755));
    const struct {
        const char* name;
        const char* extension;
    } cases[] = {
        {"data/log.txt", ".TXT"},
        {"archive.tar.gz", ".GZ"},
        {"name.", "."},
        {"dir.d/file", ""},
        {"a.config", ".CONF"},  // cut to five characters
        {"noext", ""},
        {"x.abcd", ".ABCD"},   // exactly five characters
        {"y.abcde", ".ABCD"},  // one more: cut
        {"z.a", ".A"},
        {"mixed.TxT", ".TXT"},
        {"num.7z", ".7Z"},
        {"dots..", "."},
        {"under_score.a-b", ".A-B"},
        {".hidden", ".HIDD"},
        {"back\\slash", ""},  // a backslash ends the scan like a slash
        {"b.ack\\slash", ""},
        {"ends.in\\", ""},  // a name ending in a backslash has none
    };
    for (const auto& c : cases) {
        int result = 0;
        FILEINFO_tag info = InfoOfEmptyFile(c.name, &result);
        EXPECT_EQ(1, result) << c.name;
        EXPECT_EQ(kSentinelError, TarnGetLastError()) << c.name;
        EXPECT_EQ(Field(c.extension), Extension(info)) << c.name;
    }
}

TEST_F(TarnFileTest, ExtensionOfRelativePaths) {
    char saved[4096];
    ASSERT_NE(nullptr, getcwd(saved, sizeof(saved)));
    ASSERT_EQ(0, chdir(m_dir.Path().c_str()));
    WriteFile("ab", "");
    WriteFile(".ab", "");
    WriteFile("q.c", "");
    const struct {
        const char* path;
        const char* extension;
    } cases[] = {
        {"ab", ""},      // the scan passes the first character: none
        {".ab", ".AB"},  // a dot as the very first character counts
        {"q.c", ".C"},
        {"./ab", ""},
    };
    for (const auto& c : cases) {
        FILEINFO_tag info = Filled();
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(1, TarnGetFileInfoW(Wide(c.path).c_str(), &info)) << c.path;
        EXPECT_EQ(Field(c.extension), Extension(info)) << c.path;
    }
    ASSERT_EQ(0, chdir(saved));
}

TEST_F(TarnFileTest, ExtensionComesFromTheGivenPathNotTheTarget) {
    WriteFile(m_dir.File("target.bin"), "");
    ASSERT_EQ(0, symlink("target.bin", m_dir.File("link.txt").c_str()));
    ASSERT_EQ(0, symlink("target.bin", m_dir.File("plainlink").c_str()));
    FILEINFO_tag info = Filled();
    EXPECT_EQ(1, TarnGetFileInfoA(m_dir.File("link.txt").c_str(), &info));
    EXPECT_EQ(Field(".TXT"), Extension(info));
    EXPECT_TRUE(S_ISREG(info.status.st_mode));  // stat() follows the link
    info = Filled();
    EXPECT_EQ(1, TarnGetFileInfoA(m_dir.File("plainlink").c_str(), &info));
    EXPECT_EQ(Field(""), Extension(info));
}

TEST_F(TarnFileTest, TrailingSlashOnAFileIsNotFound) {
    // A path ending in '/' has no extension, and stat() refuses a file named with one.
    WriteFile(m_dir.File("f.txt"), "");
    std::string path = m_dir.File("f.txt/");
    FILEINFO_tag info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA(path.c_str(), &info));
    EXPECT_EQ(kNoFile, TarnGetLastError());
    EXPECT_TRUE(IsAllZero(info));
    // On a directory it is the directory code.
    info = Filled();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetFileInfoA((m_dir.Path() + "/").c_str(), &info));
    EXPECT_EQ(kIsDirectory, TarnGetLastError());
}

// The close failure code of the mapping has a message of its own; the mapping's Close never
// fails on this platform, so the code is not reached by any file here.
TEST_F(TarnFileTest, CodesUsedHaveTheirMessages) {
    EXPECT_STREQ("Close file failed.", TarnGetErrorMsg(kCloseFailed));
    EXPECT_STREQ("Null pointer assigned.", TarnGetErrorMsg(kNullPtr));
    EXPECT_STREQ("Open file failed.", TarnGetErrorMsg(kOpenFailed));
    EXPECT_STREQ("File not exist.", TarnGetErrorMsg(kNoFile));
    EXPECT_STREQ("Assigned path is directory.", TarnGetErrorMsg(kIsDirectory));
}

}  // namespace
