// Tests of the environment-file existence check, ZVEVIsFileExistA/W: 1 for anything stat()
// finds whose mode lacks the directory bit (0x4000), else 0; never a code of its own.
#include <errno.h>
#include <locale.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace {

using zvtest::kSentinelError;
using zvtest::TempDir;
using zvtest::Wide;
using zvtest::WriteFile;

// Keeps null pointers opaque to the compiler.
const char* volatile g_nullText = nullptr;
const wchar_t* volatile g_nullWide = nullptr;

class ZVFileAccessTest : public ::testing::Test {
protected:
    void SetUp() override { setlocale(LC_ALL, "C"); }
    void TearDown() override { setlocale(LC_ALL, "C"); }

    // A path inside the temporary folder exactly length bytes long, or "" when there is no room.
    std::string PathOfLength(size_t length) const {
        size_t prefix = m_dir.Path().size() + 1;
        if (length <= prefix || length - prefix > 255) {
            return std::string();
        }
        return m_dir.File(std::string(length - prefix, 'n'));
    }

    TempDir m_dir;
};

TEST_F(ZVFileAccessTest, RegularFileExists) {
    std::string path = m_dir.File("present.txt");
    WriteFile(path, "x");
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVEVIsFileExistA(path.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVEVIsFileExistW(Wide(path).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVFileAccessTest, EmptyFileExists) {
    std::string path = m_dir.File("empty");
    WriteFile(path, "");
    EXPECT_EQ(1, ZVEVIsFileExistA(path.c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistW(Wide(path).c_str()));
}

TEST_F(ZVFileAccessTest, DirectoryDoesNotCount) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistA(m_dir.Path().c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(m_dir.Path()).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVFileAccessTest, MissingFileDoesNotExist) {
    std::string path = m_dir.File("missing.txt");
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistA(path.c_str()));
    // No code of its own: only what the failed stat() left.
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(path).c_str()));
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
}

TEST_F(ZVFileAccessTest, NullPathIsZeroWithoutCode) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistA(g_nullText));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistW(g_nullWide));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVFileAccessTest, EmptyPathDoesNotExist) {
    EXPECT_EQ(0, ZVEVIsFileExistA(""));
    EXPECT_EQ(0, ZVEVIsFileExistW(L""));
}

TEST_F(ZVFileAccessTest, SymbolicLinksAreFollowed) {
    WriteFile(m_dir.File("target"), "t");
    ASSERT_EQ(0, mkdir(m_dir.File("sub").c_str(), 0755));
    ASSERT_EQ(0, symlink("target", m_dir.File("to-file").c_str()));
    ASSERT_EQ(0, symlink("sub", m_dir.File("to-dir").c_str()));
    ASSERT_EQ(0, symlink("nowhere", m_dir.File("dangling").c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistA(m_dir.File("to-file").c_str()));
    EXPECT_EQ(0, ZVEVIsFileExistA(m_dir.File("to-dir").c_str()));
    EXPECT_EQ(0, ZVEVIsFileExistA(m_dir.File("dangling").c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistW(Wide(m_dir.File("to-file")).c_str()));
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(m_dir.File("to-dir")).c_str()));
}

TEST_F(ZVFileAccessTest, OnlyTheDirectoryBitDecides) {
    // A FIFO (0x1000) and a character device (0x2000) lack the bit and count as files.
    std::string fifo = m_dir.File("pipe");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0644));
    EXPECT_EQ(1, ZVEVIsFileExistA(fifo.c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistW(Wide(fifo).c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistA("/dev/null"));
    EXPECT_EQ(1, ZVEVIsFileExistW(L"/dev/null"));
}

TEST_F(ZVFileAccessTest, SocketCountsAsAbsent) {
    // A socket's mode code (0xC000) carries the directory bit.
    std::string path = m_dir.File("sock");
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        GTEST_SKIP() << "socket path too long: " << path;
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    int bound = bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof(address));
    close(fd);
    if (bound != 0) {
        GTEST_SKIP() << "cannot bind a socket in " << m_dir.Path();
    }
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    ASSERT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(0, ZVEVIsFileExistA(path.c_str()));
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(path).c_str()));
}

TEST_F(ZVFileAccessTest, BlockDeviceCountsAsAbsent) {
    // A block device's mode code (0x6000) carries the directory bit.
    std::string path = m_dir.File("block");
    if (mknod(path.c_str(), S_IFBLK | 0600, makedev(7, 0)) != 0) {
        GTEST_SKIP() << "cannot make a block device node here";
    }
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    ASSERT_TRUE(S_ISBLK(st.st_mode));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistA(path.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(path).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVFileAccessTest, UnreadableFileStillExists) {
    std::string path = m_dir.File("locked");
    WriteFile(path, "secret");
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    zvtest::ChildResult r = zvtest::RunUnprivileged([&path]() {
        TarnSetLastError(kSentinelError);
        return ZVEVIsFileExistA(path.c_str()) + 10 * ZVEVIsFileExistW(Wide(path).c_str());
    });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(11, r.value);
    EXPECT_EQ(kSentinelError, r.lastError);
}

TEST_F(ZVFileAccessTest, WidePathLimit) {
    std::string path255 = PathOfLength(255);
    std::string path256 = PathOfLength(256);
    if (path255.empty() || path256.empty()) {
        GTEST_SKIP() << "temporary folder path too long: " << m_dir.Path();
    }
    WriteFile(path255, "");
    WriteFile(path256, "");
    // The narrow form has no limit of its own.
    EXPECT_EQ(1, ZVEVIsFileExistA(path255.c_str()));
    EXPECT_EQ(1, ZVEVIsFileExistA(path256.c_str()));
    // The wide form converts at most 256 bytes; a conversion that fills them all is refused.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVEVIsFileExistW(Wide(path255).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEVIsFileExistW(Wide(path256).c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVFileAccessTest, UnconvertibleWidePathDoesNotExist) {
    EXPECT_EQ(0, ZVEVIsFileExistW(L"\xe9"));
    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no C.UTF-8 locale";
    }
    std::wstring wide = Wide(m_dir.Path()) + L"/\xe9";
    WriteFile(m_dir.Path() + "/\xc3\xa9", "");
    EXPECT_EQ(1, ZVEVIsFileExistW(wide.c_str()));  // converts in UTF-8
    setlocale(LC_ALL, "C");
    EXPECT_EQ(0, ZVEVIsFileExistW(wide.c_str()));  // does not in "C"
}

}  // namespace
