// The cases every way into an environment file must pass, written once against an access type
// with the operations' own names (Open, Close, Flush, SetInteger, ...) and instantiated for
// CZVEnvFile itself (ZVEnvFileTest) and for the ZVEV handle functions (ZVEVTest). Include this
// header from exactly one source file of a test program.
#ifndef ZV_ENV_FILE_CASES_H
#define ZV_ENV_FILE_CASES_H

#include <sys/stat.h>
#include <unistd.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvFile.h"
#include "ZVFileAccess.h"
#include "ZVTypes.h"

namespace zvenvtest {

constexpr unsigned int kDirsAndKeys = ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS;
constexpr unsigned int kSorted = ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT;

// The listing of one directory ("" for a null snapshot); the snapshot is released.
template <typename Access>
std::string ListingOf(Access& env, const char* path, unsigned int options) {
    ZVEV_ENUM_LIST_tag* list = env.EnumEntries(path, options);
    if (list == nullptr) {
        return "(null)";
    }
    std::string text = Listing(list);
    EXPECT_EQ(1, env.FreeSnapList(list));
    return text;
}

// Every operation on a key whose path cannot be resolved: the getters give their defaults
// (GetDouble 0.0), the lengths those of the default or -1, and each leaves the code.
template <typename Access>
void ExpectKeyReadsFail(Access& env, const char* key, unsigned int code) {
    SCOPED_TRACE(key);
    char text[8];
    unsigned char bytes[4] = {1, 2, 3, 4};
    EXPECT_RESULT_CODE(0, env.CheckKeyExist(key), code);
    EXPECT_RESULT_CODE(0, env.RemoveKey(key), code);
    EXPECT_RESULT_CODE(80, env.GetInteger(key, 80), code);
    EXPECT_RESULT_CODE(0.0, env.GetDouble(key, 2.5), code);
    EXPECT_RESULT_CODE(5, env.GetBoolean(key, 5), code);
    EXPECT_RESULT_CODE(4, env.GetString(key, text, sizeof text, "dflt"), code);
    EXPECT_STREQ("dflt", text);
    EXPECT_RESULT_CODE(-1, env.GetData(key, bytes, sizeof bytes), code);
    EXPECT_EQ(1, bytes[0]);
}

// Every setter on a key whose path cannot be resolved fails with the code.
template <typename Access>
void ExpectKeyWritesFail(Access& env, const char* key, unsigned int code) {
    SCOPED_TRACE(key);
    EXPECT_RESULT_CODE(0, env.SetInteger(key, 1), code);
    EXPECT_RESULT_CODE(0, env.SetDouble(key, 1.0), code);
    EXPECT_RESULT_CODE(0, env.SetBoolean(key, 1), code);
    EXPECT_RESULT_CODE(0, env.SetString(key, "v"), code);
    EXPECT_RESULT_CODE(0, env.SetData(key, "ab", 2), code);
}

// Every directory operation on a path that cannot be resolved fails with the code.
template <typename Access>
void ExpectDirectoryOperationsFail(Access& env, const char* path, unsigned int code) {
    SCOPED_TRACE(path);
    EXPECT_RESULT_CODE(0, env.CheckDirExist(path), code);
    EXPECT_RESULT_CODE(0, env.RemoveDir(path), code);
    EXPECT_RESULT_CODE(0, env.Lock(path, 1), code);
    EXPECT_RESULT_CODE(0, env.IsLocked(path), code);
    EXPECT_RESULT_CODE(nullptr, env.EnumEntries(path, kDirsAndKeys), code);
}

template <typename Access>
class EnvFileCases : public ::testing::Test {
protected:
    void SetUp() override { Arm(); }

    std::string PathOf(const std::string& name) const { return m_dir.File(name); }
    std::string Settings() const { return m_dir.File("settings.env"); }

    // Opens settings.env, which does not exist yet, and stores the sentinel again.
    void OpenEmpty() {
        ASSERT_EQ(1, m_env.Open(Settings().c_str()));
        Arm();
    }
    // Closes and opens settings.env again, so that the store holds what the file holds.
    void Reopen() {
        m_env.Close();
        ASSERT_EQ(1, m_env.Open(Settings().c_str()));
        Arm();
    }
    // Opens path, a file that must not load, on a fresh access: 0 and the code.
    void ExpectOpenFails(const std::string& path, unsigned int code) {
        Access other;
        Arm();
        EXPECT_EQ(0, other.Open(path.c_str())) << path;
        EXPECT_CODE(code);
    }
    // Opens a binary file holding the given items.
    void OpenBinary(const std::string& items) {
        zvtest::WriteFile(Settings(), BinaryFile(items));
        ASSERT_EQ(1, m_env.Open(Settings().c_str()));
        Arm();
    }

    zvtest::TempDir m_dir;
    Access m_env;
};

TYPED_TEST_SUITE_P(EnvFileCases);

// ----------------------------------------------------------------------------------------------
// Opening files

TYPED_TEST_P(EnvFileCases, MissingFileOpensEmptyAndIsWrittenAtTheFirstFlush) {
    auto& env = this->m_env;
    const std::string path = this->Settings();
    ASSERT_EQ(1, env.Open(path.c_str()));
    EXPECT_EQ(-1, zvtest::FileSize(path));
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("/port"), kNoCode);
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("port"), kNoCode);
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("/net/port"), 5);
    EXPECT_EQ("", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_RESULT_CODE(0, env.GetFormat(), kNoCode);
    EXPECT_EQ(1, env.Flush());
    // An empty store is written as the header line alone.
    EXPECT_EQ(96, zvtest::FileSize(path));
    ExpectWrittenHeader(path, "ENVT");
}

TYPED_TEST_P(EnvFileCases, ExistingTextFileIsLoaded) {
    auto& env = this->m_env;
    zvtest::WriteFile(this->Settings(), TextFile("nCount = 10\r\n"
                                                 "nMask = 0x1F   # low bits\r\n"
                                                 "rGain = 0.5\r\n"
                                                 "bEnable = True\r\n"
                                                 "sTitle = 'Main unit'\r\n"
                                                 "Motor {\r\n"
                                                 "  nSpeed = 1200\r\n"
                                                 "}\r\n"
                                                 "# a comment line\r\n"
                                                 "cTable = 3 { 1 2\r\n"
                                                 "0xFF }\r\n"));
    ASSERT_EQ(1, env.Open(this->Settings().c_str()));
    EXPECT_EQ(0, env.GetFormat());
    EXPECT_EQ(10, env.GetInteger("/Count", 0));
    EXPECT_EQ(31, env.GetInteger("/MASK", 0));
    EXPECT_EQ(0.5, env.GetDouble("/Gain", 0.0));
    EXPECT_EQ(1, env.GetBoolean("/Enable", 0));
    char text[16];
    EXPECT_EQ(9, env.GetString("/Title", text, sizeof text, ""));
    EXPECT_STREQ("Main unit", text);
    EXPECT_EQ(1200, env.GetInteger("/Motor/Speed", 0));
    unsigned char bytes[4] = {0, 0, 0, 0};
    EXPECT_EQ(3, env.GetData("/Table", bytes, sizeof bytes));
    EXPECT_EQ(0, std::memcmp(bytes, "\x01\x02\xFF\x00", 4));
}

TYPED_TEST_P(EnvFileCases, FileThatDoesNotLoadIsCode13) {
    const std::string contents[] = {
        "hello world\n",                             // no environment header
        "",                                          // nothing to map
        ShortHeader("ENVT0200") + "nX = 1\r\n",      // a later major version
        ShortHeader("ENVT0101") + "nX = 1\r\n",      // 01.01
        ShortHeader("ENVX0100") + "nX = 1\r\n",      // another file type
        TextFile("nCount = ,\r\n"),                  // no value
        TextFile("cTable = 2 { 1, 2 }\r\n"),         // a comma between bytes
        TextFile("Motor {\r\n  nSpeed = 1200\r\n"),  // no closing brace
        TextFile("bad-name = 1\r\n"),                // an invalid name
    };
    int index = 0;
    for (const std::string& content : contents) {
        const std::string path = this->PathOf("bad" + std::to_string(index++) + ".env");
        zvtest::WriteFile(path, content);
        this->ExpectOpenFails(path, 13);
        EXPECT_EQ(content, zvtest::ReadFile(path)) << "a failed load leaves the file alone";
    }
}

TYPED_TEST_P(EnvFileCases, FolderNamedLikeTheFileOpensEmptyButDoesNotFlush) {
    auto& env = this->m_env;
    const std::string path = this->Settings();
    ASSERT_EQ(0, mkdir(path.c_str(), 0755));
    ASSERT_EQ(1, env.Open(path.c_str()));
    EXPECT_EQ(1, env.SetInteger("/x", 1));
    EXPECT_RESULT_CODE(0, env.Flush(), 8);
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_TRUE(S_ISDIR(st.st_mode));
}

TYPED_TEST_P(EnvFileCases, PathsThatDoNotResolveAreCode65) {
    zvtest::WriteFile(this->PathOf("plain"), "x");
    ASSERT_EQ(0, symlink("loop", this->PathOf("loop").c_str()));
    this->ExpectOpenFails(this->PathOf("plain/settings.env"), 65);  // through a file
    this->ExpectOpenFails(this->PathOf("loop"), 65);                // a symbolic link loop
    this->ExpectOpenFails(this->PathOf("loop/settings.env"), 65);
    this->ExpectOpenFails("", 65);
    this->ExpectOpenFails(this->PathOf(std::string(5000, 'n')), 65);  // longer than a path
}

TYPED_TEST_P(EnvFileCases, NullPathIsCode16) {
    TypeParam other;
    EXPECT_RESULT_CODE(0, other.Open(nullptr), 16);
}

TYPED_TEST_P(EnvFileCases, BackslashNameInTheCurrentDirectoryIsOneFile) {
    auto& env = this->m_env;
    WorkingDirectory here(this->m_dir.Path());
    ASSERT_TRUE(here.Ok());
    ASSERT_EQ(1, env.Open("a\\b.env"));  // a backslash is no separator in file names either
    EXPECT_EQ(1, env.SetInteger("/x", 1));
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ("nx=1\r\n", BodyOf(this->PathOf("a\\b.env")));
    EXPECT_EQ(-1, zvtest::FileSize(this->PathOf("a")));
    EXPECT_EQ(1, env.Close());
    ASSERT_EQ(1, env.Open("a\\b.env"));
    EXPECT_EQ(1, env.GetInteger("/x", 0));
}

TYPED_TEST_P(EnvFileCases, MissingFolderBindsToItsFirstMissingComponent) {
    // The full path keeps what the resolution reached when a component was missing: the missing
    // folder itself. The file is opened empty under that name, and a flush writes it there.
    auto& env = this->m_env;
    ASSERT_EQ(1, env.Open(this->PathOf("nodir/settings.env").c_str()));
    EXPECT_EQ(1, env.SetInteger("/x", 1));
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ(1, ZVEVIsFileExistA(this->PathOf("nodir").c_str()));
    EXPECT_EQ("nx=1\r\n", BodyOf(this->PathOf("nodir")));
    // Now a file is in the way: the same path no longer resolves.
    this->ExpectOpenFails(this->PathOf("nodir/settings.env"), 65);
}

TYPED_TEST_P(EnvFileCases, UnreadableFileIsCode13) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/x", 1));
    ASSERT_EQ(1, env.Flush());
    env.Close();
    const std::string path = this->Settings();
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    zvtest::ChildResult r = zvtest::RunUnprivileged([&path]() {
        TypeParam other;
        Arm();
        return other.Open(path.c_str());
    });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(0, r.value);
    EXPECT_EQ(13u, r.lastError);
}

// Opens path as another user, sets a key and flushes: the flush's result; its code is left.
template <typename Access>
int FlushAsOtherUser(const std::string& path) {
    Access other;
    if (other.Open(path.c_str()) != 1 || other.SetInteger("/x", 2) != 1) {
        return -1;
    }
    Arm();
    int flushed = other.Flush();
    unsigned int code = TarnGetLastError();
    other.Close();
    TarnSetLastError(code);
    return flushed;
}

TYPED_TEST_P(EnvFileCases, FlushIntoReadOnlyFileIsCode8) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/x", 1));
    ASSERT_EQ(1, env.Flush());
    env.Close();
    const std::string path = this->Settings();
    const std::string before = zvtest::ReadFile(path);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    zvtest::ChildResult r =
        zvtest::RunUnprivileged([&path]() { return FlushAsOtherUser<TypeParam>(path); });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(0, r.value);
    EXPECT_EQ(8u, r.lastError);
    EXPECT_EQ(before, zvtest::ReadFile(path));
}

TYPED_TEST_P(EnvFileCases, FlushIntoReadOnlyFolderIsCode8) {
    const std::string folder = this->PathOf("readonly");
    ASSERT_EQ(0, mkdir(folder.c_str(), 0555));
    const std::string path = folder + "/settings.env";
    zvtest::ChildResult r =
        zvtest::RunUnprivileged([&path]() { return FlushAsOtherUser<TypeParam>(path); });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(0, r.value);
    EXPECT_EQ(8u, r.lastError);
    EXPECT_EQ(-1, zvtest::FileSize(path));
}

// ----------------------------------------------------------------------------------------------
// Binary files whose item buffer is malformed: they load as they are, and every operation stays
// within the buffer.

TYPED_TEST_P(EnvFileCases, BinaryBodyOfSixBytesOrLessIsAnEmptyStore) {
    auto& env = this->m_env;
    this->OpenBinary("abcdef");
    EXPECT_EQ(1, env.GetFormat());
    EXPECT_EQ("", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ(1, env.SetInteger("/x", 1));
    EXPECT_EQ(1, env.Flush());
    ExpectWrittenHeader(this->Settings(), "ENVB");
    EXPECT_EQ(std::string("\x05\x0F\x00\x00\x00\x00\x00"
                          "\x07\x58x\x00\x01\x00\x00\x00",
                          15),
              BodyOf(this->Settings()));
}

TYPED_TEST_P(EnvFileCases, BinaryBodyWhoseRootIsNoDirectory) {
    auto& env = this->m_env;
    this->OpenBinary(std::string("\x07\x07\x00\x00\x00\x00\x00", 7));
    EXPECT_EQ(1, env.GetFormat());
    ExpectDirectoryOperationsFail(env, "/", 5);
    ExpectKeyWritesFail(env, "/x", 4);
    // An empty path with nothing assigned reaches the store as directory 0, the root itself.
    EXPECT_RESULT_CODE(0, env.Lock("", 1), 14);
    EXPECT_RESULT_CODE(0, env.RemoveDir(""), 18);
}

TYPED_TEST_P(EnvFileCases, BinaryBodyWhoseRootRunsPastTheEnd) {
    auto& env = this->m_env;
    this->OpenBinary(std::string("\x05\xE8\x03\x00\x00\x00\x00", 7));
    EXPECT_RESULT_CODE(1, env.CheckDirExist("/"), kNoCode);
    EXPECT_EQ("", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_RESULT_CODE(0, env.CheckDirExist("/a"), 5);
    EXPECT_RESULT_CODE(0, env.SetInteger("/x", 1), 22);
}

TYPED_TEST_P(EnvFileCases, UnreadableChildEndsTheWalk) {
    auto& env = this->m_env;
    // The root holds the integer k = 1 and then a string key n whose text has no terminator.
    this->OpenBinary(
        std::string("\x05\x14\x00\x00\x00\x00\x00"
                    "\x07\x4Bk\x00\x01\x00\x00\x00"
                    "\x0A\x4En\x00\x41",
                    20));
    EXPECT_EQ("k:4", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ("k:4", ListingOf(env, nullptr, kSorted));
    EXPECT_EQ(1, env.GetInteger("/k", 0));
}

// ----------------------------------------------------------------------------------------------
// Two opens of one file, flushing

TYPED_TEST_P(EnvFileCases, TwoOpensOfOneFileWorkOnTheirOwnCopies) {
    auto& first = this->m_env;
    TypeParam second;
    const std::string path = this->Settings();
    ASSERT_EQ(1, first.Open(path.c_str()));
    ASSERT_EQ(1, second.Open(path.c_str()));
    EXPECT_EQ(1, first.SetInteger("/x", 1));
    EXPECT_RESULT_CODE(7, second.GetInteger("/x", 7), 12);
    EXPECT_EQ(1, first.Flush());
    EXPECT_EQ(7, second.GetInteger("/x", 7)) << "a flush does not reach the other copy";
    EXPECT_EQ(1, second.SetString("/s", "two"));
    EXPECT_EQ(1, second.Flush());  // the last flush writes the whole file
    EXPECT_EQ("ss=\"two\"\r\n", BodyOf(path));
    EXPECT_EQ(1, second.Close());
    ASSERT_EQ(1, second.Open(path.c_str()));
    EXPECT_EQ(7, second.GetInteger("/x", 7));
    EXPECT_EQ(1, first.Flush());
    EXPECT_EQ(1, second.Close());
    ASSERT_EQ(1, second.Open(path.c_str()));
    EXPECT_EQ(1, second.GetInteger("/x", 7)) << "seen after the flush and a reopen";
    EXPECT_EQ(0, second.CheckKeyExist("/s"));
}

TYPED_TEST_P(EnvFileCases, FlushAbortDoesNotStopAFlush) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("/x", 1));
    CZVEnvFile::g_bZVCSaveAbort = 0;
    ZVEVFlushAbort();
    EXPECT_EQ(1, CZVEnvFile::g_bZVCSaveAbort);
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ("nx=1\r\n", BodyOf(this->Settings()));
    EXPECT_EQ(1, env.SaveAs(this->PathOf("copy.env").c_str()));
    EXPECT_EQ("nx=1\r\n", BodyOf(this->PathOf("copy.env")));
    EXPECT_EQ(1, CZVEnvFile::g_bZVCSaveAbort) << "nothing clears the flag";
    CZVEnvFile::g_bZVCSaveAbort = 0;
}

// ----------------------------------------------------------------------------------------------
// The assigned directory

TYPED_TEST_P(EnvFileCases, AssignedDirectoryReadsBack) {
    auto& env = this->m_env;
    this->OpenEmpty();
    char buffer[8];
    EXPECT_RESULT_CODE(1, env.GetAssignedDir(nullptr, 0), kNoCode);
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(1, env.GetAssignedDir(buffer, sizeof buffer));
    EXPECT_STREQ("/", buffer);
    EXPECT_EQ(1, env.AssignDir("cfg/net"));
    EXPECT_EQ(7, env.GetAssignedDir(nullptr, 0));
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(7, env.GetAssignedDir(buffer, 4));
    EXPECT_EQ(0, std::memcmp(buffer, "cfg\0####", 8));
    EXPECT_EQ(7, env.GetAssignedDir(buffer, 8));
    EXPECT_STREQ("cfg/net", buffer);
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(7, env.GetAssignedDir(buffer, 1));
    EXPECT_EQ(0, std::memcmp(buffer, "\0#", 2));
    EXPECT_RESULT_CODE(-1, env.GetAssignedDir(nullptr, 4), 16);
    EXPECT_EQ(1, env.AssignDir(""));
    EXPECT_EQ(0, env.GetAssignedDir(buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(1, env.AssignDir(nullptr));
    EXPECT_EQ(1, env.GetAssignedDir(buffer, sizeof buffer));
    EXPECT_STREQ("/", buffer);
}

TYPED_TEST_P(EnvFileCases, RelativePathsStartAtTheAssignedDirectory) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.AssignDir("cfg"));
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("ip"), 5);  // looks in /cfg, which does not exist
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("/ip"), kNoCode);  // looks in the root
    EXPECT_EQ(1, env.SetInteger("/ip", 1));
    EXPECT_EQ(1, env.CheckKeyExist("/ip"));
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("ip"), 5);
    EXPECT_EQ(1, env.SetInteger("ip", 2));  // creates /cfg on the way
    EXPECT_EQ(1, env.CheckKeyExist("ip"));
    EXPECT_EQ(1, env.GetInteger("/ip", 0));
    EXPECT_EQ(2, env.GetInteger("/cfg/ip", 0));
    EXPECT_EQ(1, env.SetInteger("net/port", 80));
    EXPECT_EQ(80, env.GetInteger("/cfg/net/port", 0));
    EXPECT_EQ("ip:4 net:1", ListingOf(env, nullptr, kDirsAndKeys));
    EXPECT_EQ("port:4", ListingOf(env, "net", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, AssignedDirectoryIsFollowedFromTheRootAtEachUse) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/cfg/port", 1));
    for (const char* assigned : {"cfg", "/cfg", "//cfg//", "CFG/"}) {
        EXPECT_EQ(1, env.AssignDir(assigned));
        EXPECT_EQ(1, env.GetInteger("port", 0)) << assigned;
    }
    // Taken as given: a name that can never exist is refused only where it is used.
    EXPECT_EQ(1, env.AssignDir("bad name"));
    ExpectKeyWritesFail(env, "k", 4);
    ExpectKeyReadsFail(env, "k", 5);
    EXPECT_RESULT_CODE(0, env.CheckDirExist(""), 5);
    EXPECT_RESULT_CODE(0, env.CreateDir(""), 4);
    // Absolute paths do not look at it.
    EXPECT_EQ(1, env.GetInteger("/cfg/port", 0));
}

// ----------------------------------------------------------------------------------------------
// Formats, flushing and saving

TYPED_TEST_P(EnvFileCases, AssignFormatRefusesOtherFormats) {
    auto& env = this->m_env;
    this->OpenEmpty();
    for (int format : {2, -1, 3, INT_MIN}) {
        Arm();
        EXPECT_EQ(0, env.AssignFormat(format)) << format;
        EXPECT_CODE(25);
    }
    EXPECT_EQ(0, env.GetFormat());
}

TYPED_TEST_P(EnvFileCases, TextFlushWritesOneLinePerItem) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("/a/x", 5));
    EXPECT_EQ(1, env.Flush());
    ExpectWrittenHeader(this->Settings(), "ENVT");
    EXPECT_EQ("a {\r\n\tnx=5\r\n}\r\n", BodyOf(this->Settings()));
}

TYPED_TEST_P(EnvFileCases, BinaryFormatTakesEffectAtTheNextFlush) {
    auto& env = this->m_env;
    const std::string path = this->Settings();
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("/n", 5));
    EXPECT_RESULT_CODE(1, env.AssignFormat(1), kNoCode);
    EXPECT_EQ(1, env.GetFormat());
    EXPECT_EQ(-1, zvtest::FileSize(path));
    EXPECT_EQ(1, env.Flush());
    ExpectWrittenHeader(path, "ENVB");
    EXPECT_EQ(std::string("\x05\x0F\x00\x00\x00\x00\x00"
                          "\x07\x4En\x00\x05\x00\x00\x00",
                          15),
              BodyOf(path));
    this->Reopen();
    EXPECT_EQ(1, env.GetFormat());
    EXPECT_EQ(5, env.GetInteger("/n", 0));
    EXPECT_EQ(1, env.AssignFormat(0));
    EXPECT_EQ(0, env.GetFormat());
    EXPECT_EQ(1, env.Flush());
    ExpectWrittenHeader(path, "ENVT");
    EXPECT_EQ("nn=5\r\n", BodyOf(path));
}

TYPED_TEST_P(EnvFileCases, LockMarkSurvivesOnlyTheBinaryForm) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/cfg/x", 1));
    ASSERT_EQ(1, env.Lock("/cfg", 1));
    ASSERT_EQ(1, env.AssignFormat(1));
    ASSERT_EQ(1, env.Flush());
    this->Reopen();
    EXPECT_EQ(1, env.IsLocked("/cfg"));
    ASSERT_EQ(1, env.AssignFormat(0));
    ASSERT_EQ(1, env.Flush());
    this->Reopen();
    EXPECT_EQ(0, env.IsLocked("/cfg"));
    EXPECT_EQ(1, env.GetInteger("/cfg/x", 0));
}

TYPED_TEST_P(EnvFileCases, SaveAsWritesThePathAsGivenAndStaysBound) {
    auto& env = this->m_env;
    this->OpenEmpty();
    const std::string copy = this->PathOf("copy.env");
    EXPECT_EQ(1, env.SetInteger("/a/x", 5));
    EXPECT_EQ(1, env.SaveAs(copy.c_str()));
    ExpectWrittenHeader(copy, "ENVT");
    EXPECT_EQ("a {\r\n\tnx=5\r\n}\r\n", BodyOf(copy));
    EXPECT_EQ(-1, zvtest::FileSize(this->Settings()));
    EXPECT_EQ(1, env.SetInteger("/a/y", 6));
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ("a {\r\n\tnx=5\r\n\tny=6\r\n}\r\n", BodyOf(this->Settings()));
    EXPECT_EQ("a {\r\n\tnx=5\r\n}\r\n", BodyOf(copy));
    {
        WorkingDirectory here(this->m_dir.Path());
        ASSERT_TRUE(here.Ok());
        EXPECT_EQ(1, env.SaveAs("relative.env"));
    }
    EXPECT_EQ("a {\r\n\tnx=5\r\n\tny=6\r\n}\r\n", BodyOf(this->PathOf("relative.env")));
    // Not resolved: a missing folder is not cut away as at opening.
    EXPECT_RESULT_CODE(0, env.SaveAs(this->PathOf("nodir/copy.env").c_str()), 8);
    EXPECT_EQ(-1, zvtest::FileSize(this->PathOf("nodir")));
    EXPECT_RESULT_CODE(0, env.SaveAs(this->m_dir.Path().c_str()), 8);
}

// ----------------------------------------------------------------------------------------------
// Key paths

TYPED_TEST_P(EnvFileCases, KeyPathsAreAbsoluteOrRelativeToTheRoot) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("k", 1));
    EXPECT_EQ(1, env.GetInteger("/k", 0));
    EXPECT_EQ(1, env.SetInteger("a/b/c", 5));
    EXPECT_EQ(1, env.CheckDirExist("/a"));
    EXPECT_EQ(1, env.CheckDirExist("/a/b"));
    EXPECT_EQ(5, env.GetInteger("/a/b/c", 0));
    EXPECT_EQ("k:4 a:1", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ("b:1", ListingOf(env, "/a", kDirsAndKeys));
    EXPECT_EQ("c:4", ListingOf(env, "a/b", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, RunsOfSlashesAndTrailingSlashesInDirectories) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("//a///b//k", 1));
    EXPECT_EQ(1, env.GetInteger("/a/b/k", 0));
    EXPECT_EQ(1, env.GetInteger("a//b/k", 0));
    EXPECT_EQ(1, env.CheckDirExist("/a/b/"));
    EXPECT_EQ(1, env.CheckDirExist("a//b//"));
    EXPECT_EQ(1, env.CreateDir("x//y/"));
    EXPECT_EQ(1, env.CheckDirExist("/x/y"));
    EXPECT_EQ("a:1 x:1", ListingOf(env, "//", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, KeyPathWithoutKeyNameIsCode28) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.CreateDir("/cfg"));
    for (const char* key : {"cfg/", "/cfg/", "/", ""}) {
        ExpectKeyReadsFail(env, key, 28);
        ExpectKeyWritesFail(env, key, 28);
    }
    EXPECT_EQ("cfg:1", ListingOf(env, "/", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, NamesCompareWithoutLetterCase) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.SetInteger("/Net/Port", 1));
    EXPECT_EQ(1, env.GetInteger("/NET/port", 0));
    EXPECT_EQ(1, env.SetInteger("/net/PORT", 2));
    EXPECT_EQ(2, env.GetInteger("/Net/Port", 0));
    EXPECT_EQ(1, env.CheckDirExist("/nEt"));
    EXPECT_EQ("Port:4", ListingOf(env, "/NET", kDirsAndKeys)) << "one key, first spelling kept";
    EXPECT_EQ(1, env.RemoveKey("/NET/PORT"));
    EXPECT_EQ("", ListingOf(env, "/net", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, InvalidNamesAreRefused) {
    auto& env = this->m_env;
    this->OpenEmpty();
    for (const char* key : {"/bad name/k", "/a-b/k", "/1a/k", "/\xE9/k", "a\\b/k"}) {
        ExpectKeyWritesFail(env, key, 4);
        ExpectKeyReadsFail(env, key, 5);
    }
    // A key name that cannot be stored: the directory on the way is made, then the store
    // refuses; each setter reports its own code and the getters find nothing.
    const char* key = "/a/1k";
    EXPECT_RESULT_CODE(0, env.SetInteger(key, 1), 22);
    EXPECT_RESULT_CODE(0, env.SetDouble(key, 1.0), 23);
    EXPECT_RESULT_CODE(0, env.SetBoolean(key, 1), 23);
    EXPECT_RESULT_CODE(0, env.SetString(key, "v"), 24);
    EXPECT_RESULT_CODE(0, env.SetData(key, "ab", 2), 21);
    EXPECT_RESULT_CODE(9, env.GetInteger(key, 9), 12);
    EXPECT_RESULT_CODE(2.5, env.GetDouble(key, 2.5), 12);
    EXPECT_RESULT_CODE(0, env.CheckKeyExist(key), kNoCode);
    EXPECT_EQ(1, env.CheckDirExist("/a"));
    // The backslash is part of the name, not a separator.
    EXPECT_RESULT_CODE(0, env.SetInteger("a\\b", 1), 22);
    EXPECT_RESULT_CODE(0, env.CreateDir("a\\b"), 4);
    // Letters, '_', '[' and ']' anywhere; digits and '.' after the first byte.
    EXPECT_EQ(1, env.SetInteger("/[x]/y.z_1", 3));
    EXPECT_EQ(3, env.GetInteger("/[X]/Y.Z_1", 0));
    EXPECT_EQ("[x]:1 a:1", ListingOf(env, "/", kSorted));
}

// A key path of levels directories named d1, d2, ... and the key k.
inline std::string NestedKey(int levels) {
    std::string key;
    for (int i = 1; i <= levels; ++i) {
        key += "/d" + std::to_string(i);
    }
    return key + "/k";
}

TYPED_TEST_P(EnvFileCases, NestingStopsAtSixteenLevels) {
    auto& env = this->m_env;
    this->OpenEmpty();
    // An item can be added to a directory that lies inside at most 15 others.
    EXPECT_EQ(1, env.SetInteger(NestedKey(15).c_str(), 15));
    EXPECT_EQ(15, env.GetInteger(NestedKey(15).c_str(), 0));
    EXPECT_RESULT_CODE(0, env.SetInteger(NestedKey(16).c_str(), 16), 22);
    EXPECT_EQ(1, env.CheckDirExist(NestedKey(16).substr(0, NestedKey(16).size() - 2).c_str()));
    const std::string seventeen = NestedKey(17);
    EXPECT_RESULT_CODE(0, env.CreateDir(seventeen.substr(0, seventeen.size() - 2).c_str()), 4);
    EXPECT_RESULT_CODE(0, env.SetString(seventeen.c_str(), "v"), 4);
}

// ----------------------------------------------------------------------------------------------
// Directories

TYPED_TEST_P(EnvFileCases, CheckDirExistOfTheRootAndOfEmptyPaths) {
    auto& env = this->m_env;
    this->OpenEmpty();
    for (const char* root : {"/", "//", "///"}) {
        Arm();
        EXPECT_EQ(1, env.CheckDirExist(root)) << root;
        EXPECT_NO_CODE();
    }
    // With nothing assigned an empty path reports the root as directory 0: no directory found,
    // and no code of its own.
    EXPECT_RESULT_CODE(0, env.CheckDirExist(""), kNoCode);
    EXPECT_RESULT_CODE(0, env.CheckDirExist(nullptr), kNoCode);
    EXPECT_EQ(1, env.AssignDir(""));
    EXPECT_RESULT_CODE(1, env.CheckDirExist(""), kNoCode);
    EXPECT_EQ(1, env.CheckDirExist(nullptr));
    EXPECT_EQ(1, env.AssignDir(nullptr));
    EXPECT_EQ(0, env.CheckDirExist(""));
    ASSERT_EQ(1, env.CreateDir("/cfg"));
    EXPECT_EQ(1, env.AssignDir("cfg"));
    EXPECT_EQ(1, env.CheckDirExist(""));
    EXPECT_EQ(1, env.CheckDirExist(nullptr));
}

TYPED_TEST_P(EnvFileCases, CreateDirLeavesTheStoreLockedForTheNextOperation) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_EQ(1, env.CreateDir("/a"));
    EXPECT_EQ(1, env.CheckDirExist("/a"));
    EXPECT_EQ(1, env.CreateDir("/b"));
    EXPECT_EQ(1, env.CreateDir("/b/c"));  // its lock returns at once
    EXPECT_EQ(1, env.Flush());
    EXPECT_EQ(1, env.Close());
    EXPECT_EQ("a {\r\n}\r\nb {\r\n\tc {\r\n\t}\r\n}\r\n", BodyOf(this->Settings()));
    ASSERT_EQ(1, env.Open(this->Settings().c_str()));
    EXPECT_EQ(1, env.CreateDir("/d"));
    EXPECT_EQ(1, env.Close());  // closing a store left locked
}

TYPED_TEST_P(EnvFileCases, CreateDirMakesEveryMissingLevel) {
    auto& env = this->m_env;
    this->OpenEmpty();
    Arm();
    EXPECT_EQ(1, env.CreateDir("/a/b/c"));
    EXPECT_EQ(1, env.CheckDirExist("/a/b/c"));
    EXPECT_EQ(1, env.CreateDir("/A/B"));  // already there
    EXPECT_EQ("b:1", ListingOf(env, "/a", kDirsAndKeys));
    for (const char* path : {"/bad name", "/a/-", "/a/b/c/1x"}) {
        Arm();
        EXPECT_EQ(0, env.CreateDir(path)) << path;
        EXPECT_CODE(4);
    }
    // An empty or null path is the base itself; an assigned base is made when missing.
    EXPECT_EQ(1, env.CreateDir(""));
    EXPECT_EQ(1, env.CreateDir(nullptr));
    EXPECT_EQ(1, env.AssignDir("cfg/net"));
    EXPECT_EQ(1, env.CreateDir(nullptr));
    EXPECT_EQ(1, env.CheckDirExist("/cfg/net"));
    EXPECT_EQ(1, env.CreateDir("eth0"));
    EXPECT_EQ(1, env.CheckDirExist("/cfg/net/eth0"));
    // A key of the same name does not stand in the way.
    EXPECT_EQ(1, env.SetInteger("/k", 1));
    EXPECT_EQ(1, env.CreateDir("/k"));
    EXPECT_EQ("a:1 cfg:1 k:4 k:1", ListingOf(env, "/", kDirsAndKeys));
}

TYPED_TEST_P(EnvFileCases, RemoveDirTakesEverythingInside) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/a/b/k", 1));
    ASSERT_EQ(1, env.SetInteger("/z", 2));
    ASSERT_EQ(1, env.Lock("/a", 1));
    EXPECT_EQ(1, env.RemoveDir("/a"));  // the lock is a mark only
    EXPECT_RESULT_CODE(0, env.CheckDirExist("/a"), 5);
    EXPECT_RESULT_CODE(0, env.RemoveDir("/a"), 5);
    EXPECT_EQ("z:4", ListingOf(env, "/", kDirsAndKeys));
    for (const char* root : {"/", "", "//"}) {
        Arm();
        EXPECT_EQ(0, env.RemoveDir(root)) << root;
        EXPECT_CODE(18);
    }
    ASSERT_EQ(1, env.SetInteger("/cfg/net/x", 1));
    EXPECT_EQ(1, env.AssignDir("cfg"));
    EXPECT_EQ(1, env.RemoveDir("net"));
    EXPECT_EQ("", ListingOf(env, nullptr, kDirsAndKeys));
    EXPECT_EQ(2, env.GetInteger("/z", 0));
}

TYPED_TEST_P(EnvFileCases, KeyExistenceAndRemoval) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetString("/cfg/name", "unit"));
    EXPECT_RESULT_CODE(1, env.CheckKeyExist("/cfg/name"), kNoCode);
    EXPECT_RESULT_CODE(0, env.CheckKeyExist("/cfg"), kNoCode);  // a directory is not a key
    EXPECT_RESULT_CODE(0, env.RemoveKey("/cfg"), 12);
    EXPECT_RESULT_CODE(0, env.RemoveKey("/cfg/missing"), 12);
    EXPECT_RESULT_CODE(0, env.RemoveKey("/nodir/name"), 5);
    for (auto check : {&TypeParam::CheckKeyExist, &TypeParam::RemoveKey}) {
        EXPECT_RESULT_CODE(0, (env.*check)(nullptr), 16);
    }
    Arm();
    EXPECT_EQ(1, env.RemoveKey("/CFG/NAME"));
    EXPECT_EQ(0, env.CheckKeyExist("/cfg/name"));
    EXPECT_EQ(1, env.CheckDirExist("/cfg"));
}

TYPED_TEST_P(EnvFileCases, LockIsAMarkThatProtectsNothing) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_RESULT_CODE(0, env.Lock("/cfg", 1), 5);  // needs the directory
    EXPECT_RESULT_CODE(0, env.IsLocked("/cfg"), 5);
    ASSERT_EQ(1, env.CreateDir("/cfg"));
    EXPECT_RESULT_CODE(1, env.Lock("/cfg", 1), kNoCode);
    EXPECT_EQ(1, env.IsLocked("/cfg"));
    EXPECT_EQ(1, env.SetInteger("/cfg/x", 1));
    EXPECT_EQ(1, env.GetInteger("/cfg/x", 0));
    EXPECT_EQ(1, env.IsLocked("/CFG"));
    EXPECT_EQ("cfg:1", ListingOf(env, "/", kDirsAndKeys)) << "a locked directory is listed";
    EXPECT_EQ(1, env.Lock("/cfg", 1));  // already marked
    EXPECT_EQ(1, env.Lock("/cfg", 0));
    EXPECT_EQ(0, env.IsLocked("/cfg"));
    EXPECT_EQ(1, env.Lock("/cfg", 0));
    EXPECT_EQ(1, env.Lock("/cfg", 7));
    EXPECT_EQ(1, env.IsLocked("/cfg"));
    EXPECT_EQ(0, env.IsLocked("/"));
    EXPECT_EQ(1, env.Lock("", 1));  // the root, reached as directory 0
    EXPECT_EQ(1, env.IsLocked("/"));
    EXPECT_EQ(1, env.IsLocked(nullptr));
}

// ----------------------------------------------------------------------------------------------
// Typed values

TYPED_TEST_P(EnvFileCases, GetIntegerGivesTheDefaultWithACode) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_RESULT_CODE(80, env.GetInteger("/net/port", 80), 5);  // no /net
    ASSERT_EQ(1, env.CreateDir("/net"));
    EXPECT_RESULT_CODE(80, env.GetInteger("/net/port", 80), 12);  // /net without port
    EXPECT_RESULT_CODE(80, env.GetInteger(nullptr, 80), 16);
    ASSERT_EQ(1, env.SetString("/net/name", "eth0"));
    EXPECT_RESULT_CODE(80, env.GetInteger("/net/name", 80), 12);  // another type
    for (int value : {0, -1, INT_MIN, INT_MAX}) {
        Arm();
        EXPECT_EQ(1, env.SetInteger("/net/port", value));
        EXPECT_EQ(value, env.GetInteger("/net/port", 80));
        EXPECT_NO_CODE();
    }
    EXPECT_RESULT_CODE(0, env.SetInteger(nullptr, 1), 16);
}

TYPED_TEST_P(EnvFileCases, GetDoubleGivesZeroWhenThePathFails) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_RESULT_CODE(2.5, env.GetDouble("/x", 2.5), 12);
    EXPECT_RESULT_CODE(0.0, env.GetDouble("/nodir/x", 2.5), 5);
    EXPECT_RESULT_CODE(0.0, env.GetDouble("x/", 2.5), 28);
    EXPECT_RESULT_CODE(2.5, env.GetDouble(nullptr, 2.5), 16);
    ASSERT_EQ(1, env.SetInteger("/i", 3));
    EXPECT_RESULT_CODE(2.5, env.GetDouble("/i", 2.5), 12);
    EXPECT_EQ(1, env.SetDouble("/x", -0.1));
    EXPECT_RESULT_CODE(-0.1, env.GetDouble("/x", 2.5), kNoCode);
}

TYPED_TEST_P(EnvFileCases, SetDoubleRefusesInfiniteValues) {
    auto& env = this->m_env;
    this->OpenEmpty();
    const double inf = std::numeric_limits<double>::infinity();
    for (double value : {inf, -inf}) {
        EXPECT_RESULT_CODE(0, env.SetDouble("/new/x", value), 23);
    }
    EXPECT_EQ("", ListingOf(env, "/", kDirsAndKeys)) << "nothing created";
    for (double value : {DBL_MAX, -DBL_MAX, DBL_MIN, 4.9e-324, 0.1, 1e20}) {
        EXPECT_EQ(1, env.SetDouble("/x", value));
        EXPECT_EQ(value, env.GetDouble("/x", 0.0));
    }
    EXPECT_EQ(1, env.SetDouble("/nan", std::numeric_limits<double>::quiet_NaN()));
    EXPECT_TRUE(std::isnan(env.GetDouble("/nan", 0.0)));
    EXPECT_RESULT_CODE(0, env.SetDouble(nullptr, 1.0), 16);
}

TYPED_TEST_P(EnvFileCases, BooleansAndTheRealValueCode) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_RESULT_CODE(0, env.SetBoolean("/1b", 1), 23);
    EXPECT_RESULT_CODE(0, env.SetBoolean(nullptr, 1), 16);
    EXPECT_EQ(1, env.SetBoolean("/b", 7));
    EXPECT_EQ(1, env.GetBoolean("/b", 5));
    EXPECT_EQ(1, env.SetBoolean("/b", 0));
    EXPECT_EQ(0, env.GetBoolean("/b", 5));
    EXPECT_RESULT_CODE(5, env.GetBoolean("/missing", 5), 12);
    EXPECT_RESULT_CODE(-3, env.GetBoolean("/nodir/b", -3), 5);
    EXPECT_RESULT_CODE(5, env.GetBoolean(nullptr, 5), 16);
    ASSERT_EQ(1, env.SetInteger("/i", 1));
    EXPECT_RESULT_CODE(5, env.GetBoolean("/i", 5), 12);  // an integer 1 is no boolean
}

TYPED_TEST_P(EnvFileCases, SettersReplaceKeysOfAnyType) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/k", 1));
    EXPECT_EQ(1, env.SetString("/k", "text"));
    EXPECT_RESULT_CODE(9, env.GetInteger("/k", 9), 12);
    EXPECT_EQ(1, env.SetData("/k", "\x01\x02", 2));
    EXPECT_EQ(1, env.SetDouble("/k", 1.5));
    EXPECT_EQ(1, env.SetBoolean("/k", 1));
    EXPECT_EQ(1, env.SetInteger("/k", 4));
    EXPECT_EQ(4, env.GetInteger("/k", 0));
    EXPECT_EQ("k:4", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_RESULT_CODE(0, env.SetString(nullptr, "v"), 16);
    EXPECT_RESULT_CODE(0, env.SetString("/k", nullptr), 16);
    EXPECT_EQ(4, env.GetInteger("/k", 0));
}

TYPED_TEST_P(EnvFileCases, GetStringGivesTheWholeLengthAndCutsTheCopy) {
    auto& env = this->m_env;
    this->OpenEmpty();
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_RESULT_CODE(4, env.GetString("/key", buffer, 4, "dflt"), 12);
    EXPECT_EQ(0, std::memcmp(buffer, "dfl\0####", 8));
    ASSERT_EQ(1, env.SetString("/key", "hello"));
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_RESULT_CODE(5, env.GetString("/key", buffer, 4, "dflt"), kNoCode);
    EXPECT_EQ(0, std::memcmp(buffer, "hel\0####", 8));
    EXPECT_EQ(5, env.GetString("/key", nullptr, 0, ""));
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(5, env.GetString("/key", buffer, 0, "dflt"));  // only measures
    EXPECT_EQ('#', buffer[0]);
    EXPECT_EQ(5, env.GetString("/key", buffer, 6, ""));
    EXPECT_STREQ("hello", buffer);
    ASSERT_EQ(1, env.SetString("/empty", ""));
    EXPECT_EQ(0, env.GetString("/empty", buffer, sizeof buffer, "dflt"));
    EXPECT_STREQ("", buffer);
    ASSERT_EQ(1, env.SetInteger("/number", 1));
    EXPECT_RESULT_CODE(4, env.GetString("/number", buffer, sizeof buffer, "dflt"), 12);
    EXPECT_STREQ("dflt", buffer);
    EXPECT_RESULT_CODE(4, env.GetString("/nodir/key", buffer, 2, "dflt"), 5);
    EXPECT_STREQ("d", buffer);
    EXPECT_RESULT_CODE(-1, env.GetString(nullptr, buffer, sizeof buffer, "dflt"), 16);
    EXPECT_RESULT_CODE(-1, env.GetString("/key", buffer, sizeof buffer, nullptr), 16);
    EXPECT_RESULT_CODE(-1, env.GetString("/key", nullptr, 4, "dflt"), 16);
}

TYPED_TEST_P(EnvFileCases, GetDataGivesTheStoredSizeAndCutsTheCopy) {
    auto& env = this->m_env;
    this->OpenEmpty();
    const unsigned char ten[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF};
    ASSERT_EQ(1, env.SetData("/blob", ten, sizeof ten));
    unsigned char buffer[12];
    EXPECT_RESULT_CODE(10, env.GetData("/blob", nullptr, 0), kNoCode);
    std::memset(buffer, 0xEE, sizeof buffer);
    EXPECT_EQ(10, env.GetData("/blob", buffer, 2));
    EXPECT_EQ(0, std::memcmp(buffer, "\x00\x01\xEE", 3));
    std::memset(buffer, 0xEE, sizeof buffer);
    EXPECT_EQ(10, env.GetData("/blob", buffer, sizeof buffer));
    EXPECT_EQ(0, std::memcmp(buffer, ten, sizeof ten));
    EXPECT_EQ(0xEE, buffer[10]);
    ASSERT_EQ(1, env.SetString("/text", "hello"));
    EXPECT_RESULT_CODE(-1, env.GetData("/text", buffer, sizeof buffer), 12);
    EXPECT_RESULT_CODE(-1, env.GetData("/missing", buffer, sizeof buffer), 12);
    EXPECT_RESULT_CODE(-1, env.GetData("/nodir/blob", nullptr, 0), 5);
    EXPECT_RESULT_CODE(-1, env.GetData(nullptr, buffer, sizeof buffer), 16);
    EXPECT_RESULT_CODE(-1, env.GetData("/blob", nullptr, 1), 16);
}

TYPED_TEST_P(EnvFileCases, SetDataNeedsBytes) {
    auto& env = this->m_env;
    this->OpenEmpty();
    EXPECT_RESULT_CODE(0, env.SetData("/blob", "x", 0), 10);
    EXPECT_RESULT_CODE(0, env.SetData("/blob", nullptr, 4), 16);
    EXPECT_RESULT_CODE(0, env.SetData(nullptr, "x", 1), 16);
    EXPECT_EQ("", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ(1, env.SetData("/blob", "x", 1));
    EXPECT_EQ(1, env.GetData("/blob", nullptr, 0));
}

TYPED_TEST_P(EnvFileCases, EmptyBinaryValueCopiesNothing) {
    auto& env = this->m_env;
    zvtest::WriteFile(this->Settings(), TextFile("cEmpty = 0 {\r\n}\r\n"));
    ASSERT_EQ(1, env.Open(this->Settings().c_str()));
    unsigned char buffer[2] = {0xEE, 0xEE};
    EXPECT_RESULT_CODE(0, env.GetData("/Empty", buffer, sizeof buffer), kNoCode);
    EXPECT_EQ(0xEE, buffer[0]);
    EXPECT_EQ("Empty:2", ListingOf(env, "/", kDirsAndKeys));
}

// ----------------------------------------------------------------------------------------------
// Enumeration

TYPED_TEST_P(EnvFileCases, EnumerationNeedsDirectoriesOrKeys) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/d/k", 1));
    for (unsigned int options : {0u, 4u, 8u, 12u, 0xFFFFFFF8u}) {
        Arm();
        EXPECT_EQ(nullptr, env.EnumEntries("/", options)) << options;
        EXPECT_CODE(71);
    }
    EXPECT_EQ("d:1", ListingOf(env, "/", ZVEV_ENUM_DIRS | 8u));
    EXPECT_EQ("", ListingOf(env, "/", ZVEV_ENUM_KEYS));
    EXPECT_EQ("k:4", ListingOf(env, "/d", ZVEV_ENUM_KEYS | 0x100u));
    EXPECT_EQ("", ListingOf(env, "/d", ZVEV_ENUM_DIRS));
}

TYPED_TEST_P(EnvFileCases, EnumerationSortsWithoutLetterCaseOnRequest) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/b", 1));
    ASSERT_EQ(1, env.SetString("/A", "x"));
    ASSERT_EQ(1, env.CreateDir("/c"));
    EXPECT_EQ("A:6 b:4 c:1", ListingOf(env, "/", kSorted));
    EXPECT_EQ("b:4 A:6 c:1", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ("A:6 b:4", ListingOf(env, "/", ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT));
    EXPECT_EQ("c:1", ListingOf(env, "/", ZVEV_ENUM_DIRS | ZVEV_ENUM_SORT));
}

TYPED_TEST_P(EnvFileCases, EnumerationListsSixEntryTypes) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.CreateDir("/dir"));
    ASSERT_EQ(1, env.CreateDir("/locked"));
    ASSERT_EQ(1, env.Lock("/locked", 1));
    ASSERT_EQ(1, env.SetData("/data", "\x01", 1));
    ASSERT_EQ(1, env.SetBoolean("/yes", 1));
    ASSERT_EQ(1, env.SetBoolean("/no", 0));
    ASSERT_EQ(1, env.SetInteger("/int", -5));
    ASSERT_EQ(1, env.SetDouble("/real", 0.5));
    ASSERT_EQ(1, env.SetString("/text", "t"));
    ASSERT_EQ(1, env.SetInteger("/dir/inner", 1));  // not a child of the root
    EXPECT_EQ("dir:1 locked:1 data:2 yes:3 no:3 int:4 real:5 text:6",
              ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ("dir:1 locked:1", ListingOf(env, "/", ZVEV_ENUM_DIRS));
    EXPECT_EQ("data:2 yes:3 no:3 int:4 real:5 text:6", ListingOf(env, "/", ZVEV_ENUM_KEYS));
    EXPECT_EQ("data:2 dir:1 int:4 locked:1 no:3 real:5 text:6 yes:3", ListingOf(env, "/", kSorted));
    EXPECT_EQ(ZVEV_ENTRY_DIR, 1);
    EXPECT_EQ(ZVEV_ENTRY_BINARY, 2);
    EXPECT_EQ(ZVEV_ENTRY_BOOLEAN, 3);
    EXPECT_EQ(ZVEV_ENTRY_INTEGER, 4);
    EXPECT_EQ(ZVEV_ENTRY_REAL, 5);
    EXPECT_EQ(ZVEV_ENTRY_STRING, 6);
}

TYPED_TEST_P(EnvFileCases, EnumerationLeavesOutOtherRadixesAndComments) {
    auto& env = this->m_env;
    zvtest::WriteFile(this->Settings(), TextFile("# settings\r\n"
                                                 "nDec = 3   # decimal\r\n"
                                                 "nHex = 0x1F\r\n"
                                                 "nOct = 0o17\r\n"
                                                 "nBin = 0b101\r\n"
                                                 "Sub {\r\n"
                                                 "  # inside\r\n"
                                                 "  nHex = 0x2\r\n"
                                                 "}\r\n"));
    ASSERT_EQ(1, env.Open(this->Settings().c_str()));
    EXPECT_EQ("Dec:4 Sub:1", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ("Dec:4", ListingOf(env, "/", ZVEV_ENUM_KEYS));
    EXPECT_EQ("", ListingOf(env, "/Sub", kDirsAndKeys));
    EXPECT_EQ(31, env.GetInteger("/Hex", 0));
    EXPECT_EQ(15, env.GetInteger("/Oct", 0));
    EXPECT_EQ(5, env.GetInteger("/Bin", 0));
    EXPECT_EQ(1, env.CheckKeyExist("/Sub/Hex"));
    // Setting a new value keeps the key's radix, so it stays unlisted.
    EXPECT_EQ(1, env.SetInteger("/Hex", 1));
    EXPECT_EQ("Dec:4", ListingOf(env, "/", ZVEV_ENUM_KEYS));
}

TYPED_TEST_P(EnvFileCases, SortFoldsToLowerCaseAndLeavesTheNamesInPlace) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/AAB", 1));
    ASSERT_EQ(1, env.SetInteger("/a_b", 2));
    ZVEV_ENUM_LIST_tag* list = env.EnumEntries("/", kSorted);
    ASSERT_NE(nullptr, list);
    // '_' lies between the upper-case and the lower-case letters: folded to lower case it
    // sorts first.
    EXPECT_EQ("a_b:4 AAB:4", Listing(list));
    // Only the entries move: the names area keeps the storage order.
    const char* names = reinterpret_cast<const char*>(list) + NamesOffset(list);
    EXPECT_EQ(0, std::memcmp(names, "AAB\0a_b\0", 8));
    EXPECT_EQ(names + 4, EntryAt(list, 0).pointer);
    EXPECT_EQ(names, EntryAt(list, 1).pointer);
    EXPECT_EQ(1, env.FreeSnapList(list));
}

TYPED_TEST_P(EnvFileCases, SnapshotIsOnePackedBlock) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/first", 1));
    ASSERT_EQ(1, env.CreateDir("/second"));
    ASSERT_EQ(1, env.SetString("/x", "v"));
    ZVEV_ENUM_LIST_tag* list = env.EnumEntries("/", kDirsAndKeys);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(sizeof(char*) + 2, sizeof(ZVEV_ENUM_ENTRY_tag));
    uint32_t count = 0;
    std::memcpy(&count, list, sizeof count);
    EXPECT_EQ(3u, count);
    const char* names = reinterpret_cast<const char*>(list) + 4 + 3 * sizeof(ZVEV_ENUM_ENTRY_tag);
    EXPECT_EQ(names, EntryAt(list, 0).pointer);
    EXPECT_EQ(names + 6, EntryAt(list, 1).pointer);
    EXPECT_EQ(names + 13, EntryAt(list, 2).pointer);
    EXPECT_EQ(0, std::memcmp(names, "first\0second\0x\0", 15));
    EXPECT_EQ(4u, EntryAt(list, 0).type);
    EXPECT_EQ(1u, EntryAt(list, 1).type);
    EXPECT_EQ(6u, EntryAt(list, 2).type);
    Arm();
    EXPECT_EQ(1, env.FreeSnapList(list));
    EXPECT_RESULT_CODE(0, env.FreeSnapList(nullptr), 16);
}

TYPED_TEST_P(EnvFileCases, EmptyDirectoryGivesCountZero) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.CreateDir("/empty"));
    ASSERT_EQ(1, env.SetInteger("/keys/k", 1));
    const struct {
        const char* path;
        unsigned int options;
    } empties[] = {{"/empty", kSorted}, {"/keys", ZVEV_ENUM_DIRS}};
    for (const auto& empty : empties) {
        ZVEV_ENUM_LIST_tag* list = env.EnumEntries(empty.path, empty.options);
        ASSERT_NE(nullptr, list) << empty.path;
        EXPECT_EQ(0u, list->dwCount);
        EnumEntry first = EntryAt(list, 0);  // room for one entry, cleared
        EXPECT_EQ(nullptr, first.pointer);
        EXPECT_EQ(0u, first.type);
        EXPECT_RESULT_CODE(1, env.FreeSnapList(list), kNoCode);
    }
}

TYPED_TEST_P(EnvFileCases, EnumerationOfTheBaseDirectory) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/k", 1));
    ASSERT_EQ(1, env.SetInteger("/cfg/net/port", 1));
    ASSERT_EQ(1, env.SetInteger("/cfg/ip", 1));
    EXPECT_EQ("k:4 cfg:1", ListingOf(env, nullptr, kDirsAndKeys));
    EXPECT_EQ("k:4 cfg:1", ListingOf(env, "", kDirsAndKeys));
    EXPECT_EQ("k:4 cfg:1", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_EQ(1, env.AssignDir("cfg"));
    EXPECT_EQ("net:1 ip:4", ListingOf(env, nullptr, kDirsAndKeys));
    EXPECT_EQ("port:4", ListingOf(env, "net", kDirsAndKeys));
    EXPECT_EQ("k:4 cfg:1", ListingOf(env, "/", kDirsAndKeys));
    EXPECT_RESULT_CODE(nullptr, env.EnumEntries("missing", kDirsAndKeys), 5);
}

TYPED_TEST_P(EnvFileCases, SnapshotOutlivesChangesAndTheFile) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.SetInteger("/one", 1));
    ASSERT_EQ(1, env.SetInteger("/two", 2));
    ZVEV_ENUM_LIST_tag* list = env.EnumEntries("/", kSorted);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(1, env.RemoveKey("/one"));
    EXPECT_EQ(1, env.SetString("/two", "a much longer value than before"));
    EXPECT_EQ(1, env.Close());
    EXPECT_EQ("one:4 two:4", Listing(list));
    EXPECT_EQ(1, env.FreeSnapList(list));
}

TYPED_TEST_P(EnvFileCases, SameNameForADirectoryAndAKey) {
    auto& env = this->m_env;
    this->OpenEmpty();
    ASSERT_EQ(1, env.CreateDir("/x"));
    ASSERT_EQ(1, env.SetInteger("/x", 1));
    EXPECT_EQ("x:1 x:4", ListingOf(env, "/", kDirsAndKeys));
    std::string sorted = ListingOf(env, "/", kSorted);
    EXPECT_TRUE(sorted == "x:1 x:4" || sorted == "x:4 x:1") << sorted;
    EXPECT_EQ(1, env.RemoveKey("/x"));
    EXPECT_EQ("x:1", ListingOf(env, "/", kDirsAndKeys));
}

REGISTER_TYPED_TEST_SUITE_P(
    EnvFileCases, MissingFileOpensEmptyAndIsWrittenAtTheFirstFlush, ExistingTextFileIsLoaded,
    FileThatDoesNotLoadIsCode13, FolderNamedLikeTheFileOpensEmptyButDoesNotFlush,
    PathsThatDoNotResolveAreCode65, NullPathIsCode16, BackslashNameInTheCurrentDirectoryIsOneFile,
    MissingFolderBindsToItsFirstMissingComponent, UnreadableFileIsCode13,
    FlushIntoReadOnlyFileIsCode8, FlushIntoReadOnlyFolderIsCode8,
    BinaryBodyOfSixBytesOrLessIsAnEmptyStore, BinaryBodyWhoseRootIsNoDirectory,
    BinaryBodyWhoseRootRunsPastTheEnd, UnreadableChildEndsTheWalk,
    TwoOpensOfOneFileWorkOnTheirOwnCopies, FlushAbortDoesNotStopAFlush, AssignedDirectoryReadsBack,
    RelativePathsStartAtTheAssignedDirectory, AssignedDirectoryIsFollowedFromTheRootAtEachUse,
    AssignFormatRefusesOtherFormats, TextFlushWritesOneLinePerItem,
    BinaryFormatTakesEffectAtTheNextFlush, LockMarkSurvivesOnlyTheBinaryForm,
    SaveAsWritesThePathAsGivenAndStaysBound, KeyPathsAreAbsoluteOrRelativeToTheRoot,
    RunsOfSlashesAndTrailingSlashesInDirectories, KeyPathWithoutKeyNameIsCode28,
    NamesCompareWithoutLetterCase, InvalidNamesAreRefused, NestingStopsAtSixteenLevels,
    CheckDirExistOfTheRootAndOfEmptyPaths, CreateDirLeavesTheStoreLockedForTheNextOperation,
    CreateDirMakesEveryMissingLevel, RemoveDirTakesEverythingInside, KeyExistenceAndRemoval,
    LockIsAMarkThatProtectsNothing, GetIntegerGivesTheDefaultWithACode,
    GetDoubleGivesZeroWhenThePathFails, SetDoubleRefusesInfiniteValues, BooleansAndTheRealValueCode,
    SettersReplaceKeysOfAnyType, GetStringGivesTheWholeLengthAndCutsTheCopy,
    GetDataGivesTheStoredSizeAndCutsTheCopy, SetDataNeedsBytes, EmptyBinaryValueCopiesNothing,
    EnumerationNeedsDirectoriesOrKeys, EnumerationSortsWithoutLetterCaseOnRequest,
    EnumerationListsSixEntryTypes, EnumerationLeavesOutOtherRadixesAndComments,
    SortFoldsToLowerCaseAndLeavesTheNamesInPlace, SnapshotIsOnePackedBlock,
    EmptyDirectoryGivesCountZero, EnumerationOfTheBaseDirectory, SnapshotOutlivesChangesAndTheFile,
    SameNameForADirectoryAndAKey);

}  // namespace zvenvtest

#endif  // ZV_ENV_FILE_CASES_H
