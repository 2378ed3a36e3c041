// Saving replaces the file as a whole: the new contents are written to a temporary file beside
// the target and renamed over it, with the same bytes, results and last-error codes as writing
// in place. The target keeps its permission bits, owner and group; a symbolic link stays and the
// file it leads to is replaced; a target that cannot be opened for writing is refused as before;
// where no temporary file can be made the file is written in place; and a failed save leaves the
// target as it was and no temporary file behind.
//
// Last-error codes that come from the system are errno values, the same on the device and the
// host: 2 no such file, 13 permission denied, 20 not a folder, 21 a folder, 40 too many links.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "EnvFormatCheck.h"
#include "SafeSaveCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"
#include "ZVEnvFile.h"

namespace {

using safesave::FolderEntries;
using safesave::Status;
using safesave::Temporaries;
using zvtest::kSentinelError;
using zvtest::ReadFile;

const unsigned int kRoot = 38;
const uid_t kOtherUser = 65534;  // the user zvtest::RunUnprivileged runs as
const std::string kNewBody = "nx=5\r\n";
const std::string kOldBody = "nx=1\r\n";

// Sets the process's umask for the life of the object.
class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : m_previous(umask(mask)) {}
    ~UmaskScope() { umask(m_previous); }

private:
    mode_t m_previous;
};

std::string BodyOf(const std::string& bytes) {
    return bytes.size() >= 96 ? bytes.substr(96) : std::string();
}

// The file without the time field of its header line, which differs from save to save.
std::string WithoutTime(const std::string& bytes) {
    return bytes.size() >= 35 ? bytes.substr(0, 12) + bytes.substr(35) : bytes;
}

mode_t Mode(const std::string& path) {
    return Status(path).st_mode & 07777;
}

class ZVSafeSaveTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        ASSERT_TRUE(m_own.Ready());
        m_path = m_dir.File("settings.env");
        SetX(5);
    }

    CZVEnvData& Store() { return m_own.store; }
    void SetX(int value) { ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, value, 7)); }

    // Saves with the sentinel last error stored first.
    int Save(const std::string& path) {
        TarnSetLastError(kSentinelError);
        return Store().Save(path.c_str());
    }

    // Writes the store with x = 1 to path as the file a save is to replace; the store then holds
    // x = 5 again.
    void MakeOld(const std::string& path) {
        SetX(1);
        ASSERT_EQ(1, Save(path));
        ASSERT_EQ(kOldBody, BodyOf(ReadFile(path)));
        SetX(5);
    }

    // A folder inside the test folder with the given mode (mkdir's mode is cut by the umask).
    std::string Folder(const std::string& name, mode_t mode) {
        std::string path = m_dir.File(name);
        EXPECT_EQ(0, mkdir(path.c_str(), 0700));
        EXPECT_EQ(0, chmod(path.c_str(), mode));
        return path;
    }

    // The old file "settings.env" in a new folder of the given mode, with the given owner,
    // group and mode; its path.
    std::string OldFileIn(const std::string& folder, mode_t folderMode, uid_t owner, gid_t group,
                          mode_t mode) {
        const std::string path = Folder(folder, folderMode) + "/settings.env";
        MakeOld(path);
        EXPECT_EQ(0, chown(path.c_str(), owner, group));
        EXPECT_EQ(0, chmod(path.c_str(), mode));
        return path;
    }

    // Runs check as the unprivileged user and expects its result and last-error code.
    static void ExpectAsOtherUser(const std::function<int()>& check, int result,
                                  unsigned int code) {
        zvtest::ChildResult r = zvtest::RunUnprivileged(check);
        ASSERT_TRUE(r.ran) << r.reason;
        EXPECT_EQ(result, r.value);
        EXPECT_EQ(code, r.lastError);
    }

    // Saves as the unprivileged user, expecting the result and last-error code.
    void ExpectSaveAsOtherUser(const std::string& path, int result, unsigned int code) {
        CZVEnvData* store = &Store();
        ExpectAsOtherUser(
            [store, path]() {
                TarnSetLastError(kSentinelError);
                return store->Save(path.c_str());
            },
            result, code);
    }

    zvtest::LockedStore m_own;
    zvtest::TempDir m_dir;
    std::string m_path;
};

// ----------------------------------------------------------------------------------------------
// The bytes written

TEST_F(ZVSafeSaveTest, NewFileHoldsTheStampedHeaderLineAndTheBody) {
    long long before = zvtest::NowSeconds();
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    long long after = zvtest::NowSeconds();
    const std::string file = ReadFile(m_path);
    ASSERT_EQ(96u + kNewBody.size(), file.size());
    ZV_COMMON_FILE_HEADER_tag header;
    ASSERT_EQ(96, ZVCFParseCommonFileHeader(&header, file.data(), file.size()));
    EXPECT_EQ(0, memcmp("ENVT", header.szFileType, 4));
    EXPECT_EQ(102u, header.dwDataSize);
    // "nx=5\r\n" as little-endian words: 0x786E ^ 0x353D ^ 0x0A0D.
    EXPECT_EQ(0x786E ^ 0x353D ^ 0x0A0D, header.lCheckSum);
    EXPECT_GE(header.lLastModified, before);
    EXPECT_LE(header.lLastModified, after);
    char line[96];
    ASSERT_EQ(96, ZVCFCreateCommonFileHeader(&header, line, sizeof line));
    EXPECT_EQ(std::string(line, 96) + kNewBody, file);
    // The store's header record is the one the file carries.
    EXPECT_EQ(0, memcmp(&header, Store().m_pData, sizeof header));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, ReplacedFileIsANewFileWithTheSameBytesAsAFreshSave) {
    MakeOld(m_path);
    const ino_t old = Status(m_path).st_ino;
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_NE(old, Status(m_path).st_ino);
    const std::string fresh = m_dir.File("fresh.env");
    ASSERT_EQ(1, Save(fresh));
    EXPECT_EQ(WithoutTime(ReadFile(fresh)), WithoutTime(ReadFile(m_path)));
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_path)));
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(m_path.c_str()));
    EXPECT_EQ((std::vector<std::string>{"fresh.env", "settings.env"}), FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, WritingInPlaceAndReplacingWriteTheSameBytesInBothForms) {
    // The unprivileged user cannot make a file in a folder of root's: it writes in place.
    const std::string folder = Folder("shut", 0755);
    const std::string inPlace = folder + "/settings.env";
    for (int format = 0; format < 2; ++format) {
        zvtest::LockedStore big;
        ASSERT_TRUE(big.Ready());
        ASSERT_TRUE(safesave::FillVersion(big.store, 3, 300, format));
        zvtest::WriteFile(inPlace, "old");
        ASSERT_EQ(0, chmod(inPlace.c_str(), 0666));
        const ino_t old = Status(inPlace).st_ino;
        CZVEnvData* store = &big.store;
        ExpectAsOtherUser(
            [store, inPlace]() {
                TarnSetLastError(kSentinelError);
                return store->Save(inPlace.c_str());
            },
            1, kSentinelError);
        EXPECT_EQ(old, Status(inPlace).st_ino);
        const std::string replaced = m_dir.File("replaced.env");
        zvtest::WriteFile(replaced, "old");
        ASSERT_EQ(1, big.store.Save(replaced.c_str()));
        EXPECT_GT(ReadFile(replaced).size(), 5000u);
        EXPECT_EQ(WithoutTime(ReadFile(inPlace)), WithoutTime(ReadFile(replaced))) << format;
    }
}

TEST_F(ZVSafeSaveTest, FlushAndSaveAsReplaceTheirFiles) {
    MakeOld(m_path);
    const ino_t old = Status(m_path).st_ino;
    CZVEnvFile env;
    ASSERT_EQ(1, env.OpenFile(m_path.c_str()));
    ASSERT_EQ(1, env.SetInteger("/y", 7));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_NE(old, Status(m_path).st_ino);
    EXPECT_EQ("nx=1\r\nny=7\r\n", BodyOf(ReadFile(m_path)));
    const std::string copy = m_dir.File("copy.env");
    zvtest::WriteFile(copy, "old");
    const ino_t oldCopy = Status(copy).st_ino;
    EXPECT_EQ(1, env.SaveAs(copy.c_str()));
    EXPECT_NE(oldCopy, Status(copy).st_ino);
    EXPECT_EQ("nx=1\r\nny=7\r\n", BodyOf(ReadFile(copy)));
    EXPECT_EQ(1, env.Close());
    EXPECT_EQ((std::vector<std::string>{"copy.env", "settings.env"}), FolderEntries(m_dir.Path()));
}

// ----------------------------------------------------------------------------------------------
// Permissions and owners

TEST_F(ZVSafeSaveTest, PermissionBitsOfTheTargetAreKept) {
    UmaskScope mask(022);
    for (mode_t mode : {0600, 0640, 0604, 0660, 0666, 0700, 0755, 0400, 0444}) {
        MakeOld(m_path);
        ASSERT_EQ(0, chmod(m_path.c_str(), mode));
        const ino_t old = Status(m_path).st_ino;
        EXPECT_EQ(1, Save(m_path)) << std::oct << mode;
        EXPECT_NE(old, Status(m_path).st_ino) << std::oct << mode;
        EXPECT_EQ(mode, Mode(m_path)) << std::oct << mode;
        EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_path))) << std::oct << mode;
        ASSERT_EQ(0, chmod(m_path.c_str(), 0600));
    }
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, SetIdBitsAreNotCarried) {
    MakeOld(m_path);
    ASSERT_EQ(0, chmod(m_path.c_str(), 06750));
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(0750u, Mode(m_path));
}

TEST_F(ZVSafeSaveTest, NewFileGetsWhatCreatingItGives) {
    for (mode_t mask : {0000, 0022, 0027, 0077}) {
        UmaskScope scope(mask);
        const std::string path = m_dir.File("new" + std::to_string(mask) + ".env");
        EXPECT_EQ(1, Save(path));
        EXPECT_EQ(0666u & ~mask, Mode(path)) << std::oct << mask;
        EXPECT_EQ(0u, Status(path).st_uid);
    }
}

TEST_F(ZVSafeSaveTest, ReadOnlyTargetIsReplacedByRootAndRefusedToOthers) {
    // In a folder everybody may write to: a rename there would replace the file, so only the
    // check before writing keeps the save from succeeding.
    const std::string path = OldFileIn("open", 0777, 0, 0, 0444);
    const std::string before = ReadFile(path);
    ExpectSaveAsOtherUser(path, 0, 13);
    EXPECT_EQ(before, ReadFile(path));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.File("open")));

    EXPECT_EQ(1, Save(path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(path)));
    EXPECT_EQ(0444u, Mode(path));
}

TEST_F(ZVSafeSaveTest, FlushOfAReadOnlyTargetByAnotherUserIsCode8) {
    const std::string path = OldFileIn("open", 0777, 0, 0, 0444);
    const std::string before = ReadFile(path);
    auto flush = [path]() {
        CZVEnvFile env;
        if (env.OpenFile(path.c_str()) != 1 || env.SetInteger("/x", 9) != 1) {
            return -1;
        }
        TarnSetLastError(kSentinelError);
        int flushed = env.Flush();
        unsigned int code = TarnGetLastError();
        env.Close();
        TarnSetLastError(code);
        return flushed;
    };
    ExpectAsOtherUser(flush, 0, 8);
    EXPECT_EQ(before, ReadFile(path));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.File("open")));
}

TEST_F(ZVSafeSaveTest, WriteOnlyTargetIsRefusedAsBefore) {
    // Saving opens for reading and writing: a file its owner may only write is refused.
    const std::string path = OldFileIn("open", 0777, kOtherUser, kOtherUser, 0200);
    const std::string before = ReadFile(path);
    ExpectSaveAsOtherUser(path, 0, 13);
    EXPECT_EQ(before, ReadFile(path));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.File("open")));
}

TEST_F(ZVSafeSaveTest, NewFileItsOwnerMayNotWriteFailsAtTheStampAndIsNotMade) {
    // A umask that takes the owner's write permission: the file cannot be opened again for its
    // header stamp (code 36), so it is not made.
    const std::string folder = Folder("open", 0777);
    const std::string path = folder + "/settings.env";
    CZVEnvData* store = &Store();
    ExpectAsOtherUser(
        [store, path]() {
            umask(0277);
            TarnSetLastError(kSentinelError);
            return store->Save(path.c_str());
        },
        0, 36);
    EXPECT_TRUE(FolderEntries(folder).empty());
}

TEST_F(ZVSafeSaveTest, OwnerAndGroupAreKeptByRoot) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to give files away";
    }
    MakeOld(m_path);
    ASSERT_EQ(0, chown(m_path.c_str(), 1234, 4321));
    ASSERT_EQ(0, chmod(m_path.c_str(), 0640));
    const ino_t old = Status(m_path).st_ino;
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    struct stat now = Status(m_path);
    EXPECT_NE(old, now.st_ino);
    EXPECT_EQ(1234u, now.st_uid);
    EXPECT_EQ(4321u, now.st_gid);
    EXPECT_EQ(0640u, now.st_mode & 07777);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_path)));
}

TEST_F(ZVSafeSaveTest, FileOfAnotherOwnerIsWrittenInPlaceSoThatItKeepsItsOwner) {
    const std::string path = OldFileIn("open", 0777, 0, kOtherUser, 0664);
    const ino_t old = Status(path).st_ino;
    ExpectSaveAsOtherUser(path, 1, kSentinelError);
    struct stat now = Status(path);
    EXPECT_EQ(old, now.st_ino);
    EXPECT_EQ(0u, now.st_uid);
    EXPECT_EQ(kOtherUser, now.st_gid);
    EXPECT_EQ(0664u, now.st_mode & 07777);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(path)));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.File("open")));
}

TEST_F(ZVSafeSaveTest, OwnFileIsReplacedByItsUnprivilegedOwner) {
    const std::string path = OldFileIn("open", 0777, kOtherUser, kOtherUser, 0640);
    const ino_t old = Status(path).st_ino;
    ExpectSaveAsOtherUser(path, 1, kSentinelError);
    struct stat now = Status(path);
    EXPECT_NE(old, now.st_ino);
    EXPECT_EQ(kOtherUser, now.st_uid);
    EXPECT_EQ(kOtherUser, now.st_gid);
    EXPECT_EQ(0640u, now.st_mode & 07777);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(path)));
}

// ----------------------------------------------------------------------------------------------
// Links

TEST_F(ZVSafeSaveTest, SymbolicLinkStaysAndTheFileItLeadsToIsReplaced) {
    const std::string real = m_dir.File("real.env");
    MakeOld(real);
    ASSERT_EQ(0, chmod(real.c_str(), 0640));
    const ino_t old = Status(real).st_ino;
    ASSERT_EQ(0, symlink("real.env", m_path.c_str()));
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_TRUE(S_ISLNK(Status(m_path).st_mode));
    char text[64] = {0};
    ASSERT_EQ(8, readlink(m_path.c_str(), text, sizeof text - 1));
    EXPECT_STREQ("real.env", text);
    EXPECT_NE(old, Status(real).st_ino);
    EXPECT_EQ(0640u, Mode(real));
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(real)));
    EXPECT_EQ((std::vector<std::string>{"real.env", "settings.env"}), FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, ChainOfLinksAcrossFoldersIsFollowedToTheEnd) {
    const std::string sub = Folder("sub", 0755);
    const std::string real = sub + "/real.env";
    MakeOld(real);
    // settings.env -> sub/hop -> (absolute) .../sub/middle -> real.env
    ASSERT_EQ(0, symlink("real.env", (sub + "/middle").c_str()));
    ASSERT_EQ(0, symlink((sub + "/middle").c_str(), (sub + "/hop").c_str()));
    ASSERT_EQ(0, symlink("sub/hop", m_path.c_str()));
    const ino_t old = Status(real).st_ino;
    EXPECT_EQ(1, Save(m_path));
    EXPECT_NE(old, Status(real).st_ino);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(real)));
    for (const std::string& link : {m_path, sub + "/hop", sub + "/middle"}) {
        EXPECT_TRUE(S_ISLNK(Status(link).st_mode)) << link;
    }
    EXPECT_EQ((std::vector<std::string>{"settings.env", "sub"}), FolderEntries(m_dir.Path()));
    EXPECT_EQ((std::vector<std::string>{"hop", "middle", "real.env"}), FolderEntries(sub));
}

TEST_F(ZVSafeSaveTest, LinkToAMissingFileMakesThatFile) {
    ASSERT_EQ(0, symlink("made.env", m_path.c_str()));
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_TRUE(S_ISLNK(Status(m_path).st_mode));
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_dir.File("made.env"))));
    EXPECT_EQ((std::vector<std::string>{"made.env", "settings.env"}), FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, LinkLoopFailsAsBefore) {
    ASSERT_EQ(0, symlink("b.env", m_dir.File("a.env").c_str()));
    ASSERT_EQ(0, symlink("a.env", m_dir.File("b.env").c_str()));
    EXPECT_EQ(0, Save(m_dir.File("a.env")));
    EXPECT_EQ(40u, TarnGetLastError());
    EXPECT_EQ((std::vector<std::string>{"a.env", "b.env"}), FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, ChainOfForty) {
    // Forty links are followed, as the system follows them; the forty-first is refused by both.
    std::string last = "real.env";
    MakeOld(m_dir.File(last));
    for (int i = 1; i <= 41; ++i) {
        std::string link = "link" + std::to_string(i);
        ASSERT_EQ(0, symlink(last.c_str(), m_dir.File(link).c_str()));
        last = link;
    }
    EXPECT_EQ(1, Save(m_dir.File("link40")));
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_dir.File("real.env"))));
    EXPECT_EQ(0, Save(m_dir.File("link41")));
    EXPECT_EQ(40u, TarnGetLastError());
    EXPECT_EQ(42u, FolderEntries(m_dir.Path()).size());
}

TEST_F(ZVSafeSaveTest, HardLinksToTheFileKeepTheOldContents) {
    MakeOld(m_path);
    const std::string other = m_dir.File("other.env");
    ASSERT_EQ(0, link(m_path.c_str(), other.c_str()));
    EXPECT_EQ(1, Save(m_path));
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_path)));
    EXPECT_EQ(kOldBody, BodyOf(ReadFile(other)));
    EXPECT_EQ(1u, Status(other).st_nlink);
}

// ----------------------------------------------------------------------------------------------
// Where no temporary file can be made: written in place

TEST_F(ZVSafeSaveTest, WritableFileInAFolderThatIsNotIsWrittenInPlace) {
    const std::string path = OldFileIn("shut", 0755, 0, 0, 0666);
    const ino_t old = Status(path).st_ino;
    ExpectSaveAsOtherUser(path, 1, kSentinelError);
    EXPECT_EQ(old, Status(path).st_ino);
    EXPECT_EQ(0u, Status(path).st_uid);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(path)));
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(path.c_str()));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.File("shut")));
}

TEST_F(ZVSafeSaveTest, NewFileInAFolderThatIsNotWritableFailsAsBefore) {
    const std::string folder = Folder("shut", 0755);
    ExpectSaveAsOtherUser(folder + "/settings.env", 0, 13);
    EXPECT_TRUE(FolderEntries(folder).empty());
}

TEST_F(ZVSafeSaveTest, NullDeviceIsWrittenButCannotBeStamped) {
    // As before: the body goes to the device, whose header cannot be mapped (code 36).
    EXPECT_EQ(0, Save("/dev/null"));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_TRUE(S_ISCHR(Status("/dev/null").st_mode));
    EXPECT_TRUE(Temporaries("/dev", "null").empty());
}

TEST_F(ZVSafeSaveTest, FifoIsWrittenInPlaceAndCannotBeStamped) {
    // The header stamp looks at the file through a read-only open first, which waits for a
    // writer on a FIFO: the test keeps one open, so that the save runs to its end.
    const std::string fifo = m_dir.File("pipe");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0666));
    int held = open(fifo.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(held, 0);
    EXPECT_EQ(0, Save(fifo));
    EXPECT_EQ(36u, TarnGetLastError());
    // The body went through the FIFO.
    char bytes[256];
    EXPECT_EQ(static_cast<ssize_t>(96 + kNewBody.size()), read(held, bytes, sizeof bytes));
    EXPECT_EQ(kNewBody, std::string(bytes + 96, kNewBody.size()));
    close(held);
    EXPECT_TRUE(S_ISFIFO(Status(fifo).st_mode));
    EXPECT_EQ(std::vector<std::string>{"pipe"}, FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, FolderAsTargetFailsWithCode21AndFlushWithCode8) {
    EXPECT_EQ(0, Save(m_dir.Path()));
    EXPECT_EQ(21u, TarnGetLastError());
    CZVEnvFile env;
    ASSERT_EQ(1, env.OpenFile(m_path.c_str()));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, env.SaveAs(m_dir.Path().c_str()));
    EXPECT_EQ(8u, TarnGetLastError());
    EXPECT_EQ(1, env.Close());
    EXPECT_TRUE(FolderEntries(m_dir.Path()).empty());
}

TEST_F(ZVSafeSaveTest, MissingFolderFailsWithCode2) {
    EXPECT_EQ(0, Save(m_dir.File("missing/settings.env")));
    EXPECT_EQ(2u, TarnGetLastError());
    EXPECT_TRUE(FolderEntries(m_dir.Path()).empty());
}

TEST_F(ZVSafeSaveTest, PathsEndingInASlashFailAsBefore) {
    MakeOld(m_path);
    // Creating through a trailing slash is refused as a folder, whatever stands there.
    EXPECT_EQ(0, Save(m_path + "/"));
    EXPECT_EQ(21u, TarnGetLastError());
    EXPECT_EQ(kOldBody, BodyOf(ReadFile(m_path)));
    EXPECT_EQ(0, Save(m_dir.File("new.env/")));
    EXPECT_EQ(21u, TarnGetLastError());
    EXPECT_EQ(0, Save(""));
    EXPECT_EQ(2u, TarnGetLastError());
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

TEST_F(ZVSafeSaveTest, PathTooLongForATemporaryNameIsWrittenInPlace) {
    // The header stamp reaches paths of up to 255 bytes. The temporary file's path is eight
    // bytes longer than the target's: up to a 247-byte target it can be stamped, beyond that the
    // file is written in place; from 256 bytes on the stamp fails as it always did (code 38).
    const std::string folder = m_dir.Path() + "/";
    for (size_t length : {200u, 247u, 248u, 255u}) {
        const std::string path = folder + std::string(length - folder.size() - 4, 'n') + ".env";
        ASSERT_EQ(length, path.size());
        MakeOld(path);
        const ino_t old = Status(path).st_ino;
        EXPECT_EQ(1, Save(path)) << length;
        EXPECT_EQ(kSentinelError, TarnGetLastError()) << length;
        EXPECT_EQ(length <= 247, old != Status(path).st_ino) << length;
        EXPECT_EQ(kNewBody, BodyOf(ReadFile(path))) << length;
        EXPECT_EQ(1u, FolderEntries(m_dir.Path()).size()) << length;
        ASSERT_EQ(0, unlink(path.c_str()));
    }
    const std::string path = folder + std::string(256 - folder.size() - 4, 'n') + ".env";
    EXPECT_EQ(0, Save(path));
    EXPECT_EQ(38u, TarnGetLastError());
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(path)));
}

TEST_F(ZVSafeSaveTest, RelativePathInTheCurrentFolder) {
    MakeOld(m_path);
    char previous[4096];
    ASSERT_NE(nullptr, getcwd(previous, sizeof previous));
    ASSERT_EQ(0, chdir(m_dir.Path().c_str()));
    const ino_t old = Status("settings.env").st_ino;
    int saved = Save("settings.env");
    ino_t now = Status("settings.env").st_ino;
    ASSERT_EQ(0, chdir(previous));
    EXPECT_EQ(1, saved);
    EXPECT_NE(old, now);
    EXPECT_EQ(kNewBody, BodyOf(ReadFile(m_path)));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

// ----------------------------------------------------------------------------------------------
// Failed saves leave the target as it was

TEST_F(ZVSafeSaveTest, UnknownTagLeavesTheTargetAsItWas) {
    MakeOld(m_path);
    const std::string before = ReadFile(m_path);
    const ino_t old = Status(m_path).st_ino;
    memcpy(Store().m_pData, "ENVX", 4);
    EXPECT_EQ(0, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(before, ReadFile(m_path));
    EXPECT_EQ(old, Status(m_path).st_ino);
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
    // A new file is not made.
    EXPECT_EQ(0, Save(m_dir.File("new.env")));
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

class ItemByItem : public CZVEnvData {};

TEST_F(ZVSafeSaveTest, MalformedItemLeavesTheTargetAsItWasBothWays) {
    using namespace envtest;
    const Bytes root = Root(Int("x", 1) + Head(ZVED_ITEM_BINARY, "bad") + U32(9999));
    MakeOld(m_path);
    const std::string before = ReadFile(m_path);
    ASSERT_EQ(1, Store().Reset(root.data(), static_cast<unsigned int>(root.size())));
    EXPECT_EQ(0, Save(m_path));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(before, ReadFile(m_path));

    ItemByItem derived;
    ASSERT_TRUE(OpenEmpty(derived, "SafeSaveDerived"));
    ASSERT_EQ(1, derived.Reset(root.data(), static_cast<unsigned int>(root.size())));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, derived.Save(m_path.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(before, ReadFile(m_path));
    derived.Lock(0);
    derived.Close();
    EXPECT_EQ(std::vector<std::string>{"settings.env"}, FolderEntries(m_dir.Path()));
}

// ----------------------------------------------------------------------------------------------
// Several writers

TEST_F(ZVSafeSaveTest, TwoThreadsSavingOneFileLeaveOneWholeVersion) {
    zvtest::LockedStore first, second;
    ASSERT_TRUE(first.Ready());
    ASSERT_TRUE(second.Ready());
    ASSERT_TRUE(safesave::FillVersion(first.store, 1, 200, 0));
    ASSERT_TRUE(safesave::FillVersion(second.store, 2, 200, 1));
    std::vector<safesave::Version> versions;
    for (CZVEnvData* store : {&first.store, &second.store}) {
        const std::string path = m_dir.File("v" + std::to_string(versions.size() + 1));
        ASSERT_EQ(1, store->Save(path.c_str()));
        versions.push_back({BodyOf(ReadFile(path)), static_cast<int>(versions.size()) + 1});
        ASSERT_EQ(0, unlink(path.c_str()));
    }
    int results[2] = {0, 0};
    auto writer = [this, &results](CZVEnvData* store, int slot) {
        for (int i = 0; i < 30; ++i) {
            results[slot] += store->Save(m_path.c_str());
        }
    };
    std::thread a(writer, &first.store, 0);
    std::thread b(writer, &second.store, 1);
    a.join();
    b.join();
    EXPECT_EQ(30, results[0]);
    EXPECT_EQ(30, results[1]);
    std::string verdict =
        safesave::Verdict(true, ReadFile(m_path), versions, m_dir.File("scratch.env"));
    EXPECT_TRUE(verdict == "v1" || verdict == "v2") << verdict;
    EXPECT_EQ((std::vector<std::string>{"scratch.env", "settings.env"}),
              FolderEntries(m_dir.Path()));
}

}  // namespace
