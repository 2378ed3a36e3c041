// CZVEnvFile used directly: the shared environment-file cases, and what only the class shows:
// construction, reference counting, the closed state, the full path, the validation identifier
// and shared name its store is claimed with, and the resolving operations that leave the store
// locked for their caller.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "EnvFileCases.h"
#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TarnString.h"
#include "TestSupport.h"
#include "ZVEnvFile.h"
#include "ZVFileAccess.h"

namespace zvenvtest {

// CZVEnvFile under the operation names the shared cases use.
class ObjectAccess {
public:
    int Open(const char* path) { return m_file.OpenFile(path); }
    int Close() { return m_file.Close(); }
    int Flush() { return m_file.Flush(); }
    int SaveAs(const char* path) { return m_file.SaveAs(path); }
    int AssignDir(const char* path) { return m_file.AssignDir(path); }
    int GetAssignedDir(char* buffer, unsigned int size) {
        return m_file.GetAssignedDir(buffer, size);
    }
    int GetFormat() { return m_file.GetFormat(); }
    int AssignFormat(int format) { return m_file.AssignFormat(format); }
    int CheckDirExist(const char* path) { return m_file.CheckDirExist(path); }
    int CreateDir(const char* path) { return m_file.CreateDir(path); }
    int RemoveDir(const char* path) { return m_file.RemoveDir(path); }
    int CheckKeyExist(const char* key) { return m_file.CheckKeyExist(key); }
    int RemoveKey(const char* key) { return m_file.RemoveKey(key); }
    int Lock(const char* path, int lock) { return m_file.Lock(path, lock); }
    int IsLocked(const char* path) { return m_file.IsLocked(path); }
    int SetInteger(const char* key, int value) { return m_file.SetInteger(key, value); }
    int GetInteger(const char* key, int value) { return m_file.GetInteger(key, value); }
    int SetDouble(const char* key, double value) { return m_file.SetDouble(key, value); }
    double GetDouble(const char* key, double value) { return m_file.GetDouble(key, value); }
    int SetBoolean(const char* key, int value) { return m_file.SetBoolean(key, value); }
    int GetBoolean(const char* key, int value) { return m_file.GetBoolean(key, value); }
    int SetString(const char* key, const char* text) { return m_file.SetString(key, text); }
    int GetString(const char* key, char* buffer, unsigned int size, const char* value) {
        return m_file.GetString(key, buffer, size, value);
    }
    int SetData(const char* key, const void* data, unsigned int size) {
        return m_file.SetData(key, data, size);
    }
    int GetData(const char* key, void* buffer, unsigned int size) {
        return m_file.GetData(key, buffer, size);
    }
    ZVEV_ENUM_LIST_tag* EnumEntries(const char* path, unsigned int options) {
        return m_file.EnumEntries(path, options);
    }
    static int FreeSnapList(ZVEV_ENUM_LIST_tag* list) { return CZVEnvFile::FreeSnapList(list); }

    CZVEnvFile m_file;
};

INSTANTIATE_TYPED_TEST_SUITE_P(ZVEnvFileCases, EnvFileCases, ObjectAccess);

}  // namespace zvenvtest

namespace {

using zvenvtest::Canonical;
using zvenvtest::ObjectAccess;
using zvenvtest::ValidationIdOf;
using zvenvtest::WorkingDirectory;
using zvtest::TempDir;

// Counts its destructions, to see when Release deletes the object.
class CountedEnvFile : public CZVEnvFile {
public:
    explicit CountedEnvFile(int* destroyed) : m_destroyed(destroyed) {}
    ~CountedEnvFile() override { ++*m_destroyed; }

private:
    int* m_destroyed;
};

// The shared name of a full path, computed here: the path's bytes ('\' read as '/', letters
// upper-cased) folded by XOR into 16 bytes, written as 32 upper-case hex digits.
std::string SharedNameOf(const std::string& path) {
    unsigned char folded[16] = {0};
    for (size_t i = 0; i < path.size(); ++i) {
        char c = ValidationIdOf(path.substr(i, 1))[0];
        folded[i % 16] = static_cast<unsigned char>(folded[i % 16] ^ static_cast<unsigned char>(c));
    }
    std::string name;
    for (unsigned char byte : folded) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        name += digits;
    }
    return name;
}

// A library string as a std::string ("(null)" for null), released.
std::string Take(char* text) {
    std::string copy = text != nullptr ? text : "(null)";
    if (text != nullptr) {
        TarnFreeBuffer(text);
    }
    return copy;
}

class ZVEnvFileTest : public ::testing::Test {
protected:
    void SetUp() override { Arm(); }

    std::string Settings() const { return m_dir.File("settings.env"); }
    void Open() {
        ASSERT_EQ(1, m_env.OpenFile(Settings().c_str()));
        Arm();
    }
    // Whether the store holds its lock: its data pointer is set only while it does.
    bool StoreLocked() const { return m_env.m_EnvData.m_pData != nullptr; }
    // Releases the lock a successful PrepareDir or PrepareKey left held.
    void Unlock() { EXPECT_EQ(1, m_env.m_EnvData.Lock(0)); }

    TempDir m_dir;
    CZVEnvFile m_env;
};

// ----------------------------------------------------------------------------------------------
// Construction and reference counting

TEST_F(ZVEnvFileTest, ConstructedClosedWithNothingAssigned) {
    CZVEnvFile env;
    EXPECT_EQ(0, env.m_nRefCount);
    EXPECT_EQ(nullptr, env.m_pszFilePath);
    EXPECT_EQ(nullptr, env.m_pszAssignedDir);
    EXPECT_EQ(nullptr, env.m_EnvData.m_pData);
    EXPECT_RESULT_CODE(0, env.IsOpened(), kNoCode);
}

TEST_F(ZVEnvFileTest, SaveAbortFlagStartsClear) {
    EXPECT_EQ(0, CZVEnvFile::g_bZVCSaveAbort);
}

TEST_F(ZVEnvFileTest, ReleaseDeletesTheObjectAtZero) {
    int destroyed = 0;
    CountedEnvFile* env = new CountedEnvFile(&destroyed);
    Arm();
    EXPECT_EQ(1, env->AddRef());
    EXPECT_EQ(2, env->AddRef());
    EXPECT_EQ(3, env->AddRef());
    EXPECT_EQ(3, env->m_nRefCount);
    EXPECT_EQ(2, env->Release());
    EXPECT_EQ(1, env->Release());
    EXPECT_EQ(0, destroyed);
    ASSERT_EQ(1, env->OpenFile(Settings().c_str()));
    ASSERT_EQ(1, env->SetInteger("/x", 1));
    EXPECT_EQ(0, env->Release());  // deletes it, open store and all
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(-1, zvtest::FileSize(Settings())) << "deleting does not flush";
}

TEST_F(ZVEnvFileTest, ReleaseAtZeroDeletesNothing) {
    int destroyed = 0;
    {
        CountedEnvFile env(&destroyed);
        Arm();
        EXPECT_EQ(0, env.Release());
        EXPECT_EQ(0, env.Release());
        EXPECT_NO_CODE();
        EXPECT_EQ(0, env.m_nRefCount);
        EXPECT_EQ(0, destroyed);
        ASSERT_EQ(1, env.OpenFile(Settings().c_str()));  // still usable
    }
    EXPECT_EQ(1, destroyed);
}

// ----------------------------------------------------------------------------------------------
// Opening and closing

TEST_F(ZVEnvFileTest, OpenFileTwiceKeepsTheFirstFile) {
    Open();
    const std::string first = m_env.m_pszFilePath;
    ASSERT_EQ(1, m_env.SetInteger("/x", 1));
    const std::string other = m_dir.File("other.env");
    EXPECT_RESULT_CODE(0, m_env.OpenFile(other.c_str()), 6);
    EXPECT_RESULT_CODE(0, m_env.OpenFile(nullptr), 6);  // being open is checked first
    EXPECT_EQ(first, m_env.m_pszFilePath);
    EXPECT_EQ(1, m_env.GetInteger("/x", 0));
    EXPECT_EQ(1, m_env.Flush());
    EXPECT_EQ("nx=1\r\n", zvenvtest::BodyOf(Settings()));
    EXPECT_EQ(-1, zvtest::FileSize(other));
}

TEST_F(ZVEnvFileTest, FailedOpenLeavesTheObjectClosedAndReusable) {
    zvtest::WriteFile(m_dir.File("plain"), "x");
    zvtest::WriteFile(m_dir.File("garbage.env"), "hello world\n");
    const struct {
        std::string path;
        unsigned int code;
    } failures[] = {{m_dir.File("plain/settings.env"), 65}, {m_dir.File("garbage.env"), 13}};
    for (const auto& failure : failures) {
        EXPECT_RESULT_CODE(0, m_env.OpenFile(failure.path.c_str()), failure.code);
        EXPECT_EQ(0, m_env.IsOpened());
        EXPECT_EQ(nullptr, m_env.m_pszFilePath);
        EXPECT_FALSE(StoreLocked());
    }
    EXPECT_RESULT_CODE(0, m_env.OpenFile(nullptr), 16);
    Open();
    EXPECT_EQ(1, m_env.IsOpened());
    EXPECT_EQ(1, m_env.SetInteger("/x", 1));
}

TEST_F(ZVEnvFileTest, CloseTwiceSucceedsWithoutACode) {
    Open();
    EXPECT_EQ(1, m_env.Close());
    EXPECT_EQ(nullptr, m_env.m_pszFilePath);
    EXPECT_EQ(0, m_env.IsOpened());
    EXPECT_RESULT_CODE(1, m_env.Close(), kNoCode);
    EXPECT_RESULT_CODE(1, CZVEnvFile().Close(), kNoCode);  // never opened
}

TEST_F(ZVEnvFileTest, ReopenAfterCloseReadsWhatWasFlushed) {
    Open();
    ASSERT_EQ(1, m_env.SetInteger("/kept", 1));
    ASSERT_EQ(1, m_env.Flush());
    ASSERT_EQ(1, m_env.SetInteger("/lost", 2));
    ASSERT_EQ(1, m_env.Close());
    Open();
    EXPECT_EQ(1, m_env.GetInteger("/kept", 0));
    EXPECT_EQ(0, m_env.CheckKeyExist("/lost"));
}

TEST_F(ZVEnvFileTest, AssignedDirectoryOutlivesCloseAndReopen) {
    EXPECT_EQ(1, m_env.AssignDir("cfg"));  // allowed while closed
    char buffer[8];
    EXPECT_EQ(3, m_env.GetAssignedDir(buffer, sizeof buffer));
    EXPECT_STREQ("cfg", buffer);
    Open();
    EXPECT_EQ(1, m_env.SetInteger("port", 1));
    EXPECT_EQ(1, m_env.GetInteger("/cfg/port", 0));
    EXPECT_EQ(1, m_env.Close());
    EXPECT_EQ(3, m_env.GetAssignedDir(buffer, sizeof buffer));
    EXPECT_STREQ("cfg", m_env.m_pszAssignedDir);
}

// Every operation of a closed object: 7 for all that need the file; GetFormat, which does not
// ask, finds no store to lock (26); the assigned directory works.
void ExpectClosedObject(ObjectAccess& env) {
    zvenvtest::ExpectKeyReadsFail(env, "/k", 7);
    zvenvtest::ExpectKeyWritesFail(env, "/k", 7);
    zvenvtest::ExpectDirectoryOperationsFail(env, "/cfg", 7);
    zvenvtest::ExpectDirectoryOperationsFail(env, "", 7);
    EXPECT_RESULT_CODE(0, env.CreateDir("/cfg"), 7);
    EXPECT_RESULT_CODE(0, env.Flush(), 7);
    EXPECT_RESULT_CODE(0, env.SaveAs("copy.env"), 7);
    for (int format : {0, 1, 2}) {
        EXPECT_RESULT_CODE(0, env.AssignFormat(format), 7);
    }
    EXPECT_RESULT_CODE(0, env.GetFormat(), 26);
    EXPECT_RESULT_CODE(nullptr, env.EnumEntries("/", 0), 71);  // the options are checked first
    EXPECT_EQ(1, env.AssignDir("cfg"));
    EXPECT_EQ(3, env.GetAssignedDir(nullptr, 0));
    EXPECT_EQ(1, env.AssignDir(nullptr));
}

TEST_F(ZVEnvFileTest, NeverOpenedObjectReportsCode7) {
    ObjectAccess env;
    ExpectClosedObject(env);
}

TEST_F(ZVEnvFileTest, ClosedObjectReportsCode7) {
    ObjectAccess env;
    ASSERT_EQ(1, env.Open(Settings().c_str()));
    ASSERT_EQ(1, env.SetInteger("/k", 1));
    ASSERT_EQ(1, env.Close());
    ExpectClosedObject(env);
    EXPECT_EQ(-1, zvtest::FileSize(Settings()));
}

TEST_F(ZVEnvFileTest, StoreThatCannotBeLockedReportsCode26) {
    ObjectAccess env;
    ASSERT_EQ(1, env.Open(Settings().c_str()));
    ASSERT_EQ(1, env.m_file.m_EnvData.Close());  // the object still holds its path
    zvenvtest::ExpectKeyReadsFail(env, "/k", 26);
    zvenvtest::ExpectKeyWritesFail(env, "/k", 26);
    zvenvtest::ExpectDirectoryOperationsFail(env, "/", 26);
    EXPECT_RESULT_CODE(0, env.CreateDir("/cfg"), 26);
    EXPECT_RESULT_CODE(0, env.Flush(), 26);
    EXPECT_RESULT_CODE(0, env.SaveAs(m_dir.File("copy.env").c_str()), 26);
    EXPECT_RESULT_CODE(0, env.AssignFormat(1), 26);
    EXPECT_RESULT_CODE(0, env.GetFormat(), 26);
    EXPECT_RESULT_CODE(1, env.Close(), kNoCode);
    EXPECT_EQ(-1, zvtest::FileSize(Settings()));
    EXPECT_EQ(-1, zvtest::FileSize(m_dir.File("copy.env")));
}

// ----------------------------------------------------------------------------------------------
// Full path, validation identifier and shared name

TEST_F(ZVEnvFileTest, BackslashNameInTheCurrentDirectory) {
    WorkingDirectory here(m_dir.Path());
    ASSERT_TRUE(here.Ok());
    ASSERT_EQ(1, m_env.OpenFile("a\\b.env"));
    const std::string full = Canonical(m_dir.Path()) + "/a\\b.env";
    ASSERT_NE(nullptr, m_env.m_pszFilePath);
    EXPECT_EQ(full, m_env.m_pszFilePath);
    const std::string id = ValidationIdOf(full);
    EXPECT_EQ(std::string::npos, id.find('\\'));
    EXPECT_EQ(id.size() - 8, id.rfind("/A/B.ENV"));
    EXPECT_EQ(id, Take(m_env.GetValidateID(m_env.m_pszFilePath)));
    // The store's block is claimed with that identifier, under the path's shared name.
    ASSERT_EQ(1, m_env.m_EnvData.Lock(1));
    const char* owner = static_cast<const char*>(m_env.m_EnvData.m_SharedData.GetUserData());
    ASSERT_NE(nullptr, owner);
    EXPECT_EQ(id, owner);
    EXPECT_EQ(SharedNameOf(full) + " 00", m_env.m_EnvData.m_SharedData.m_szName);
    Unlock();
    // One file whose name holds the backslash.
    EXPECT_EQ(1, m_env.SetInteger("/x", 1));
    EXPECT_EQ(1, m_env.Flush());
    EXPECT_EQ("nx=1\r\n", zvenvtest::BodyOf(full));
    EXPECT_EQ(-1, zvtest::FileSize(m_dir.File("a")));
}

TEST_F(ZVEnvFileTest, TwoObjectsOnOneFileClaimTheSameNameEachOnItsOwnBlock) {
    Open();
    CZVEnvFile second;
    ASSERT_EQ(1, second.OpenFile(Settings().c_str()));
    ASSERT_EQ(1, m_env.m_EnvData.Lock(1));
    ASSERT_EQ(1, second.m_EnvData.Lock(1));
    EXPECT_STREQ(m_env.m_EnvData.m_SharedData.m_szName, second.m_EnvData.m_SharedData.m_szName);
    EXPECT_STREQ(static_cast<const char*>(m_env.m_EnvData.m_SharedData.GetUserData()),
                 static_cast<const char*>(second.m_EnvData.m_SharedData.GetUserData()));
    EXPECT_NE(m_env.m_EnvData.m_pData, second.m_EnvData.m_pData);
    EXPECT_EQ(1, second.m_EnvData.Lock(0));
    Unlock();
}

TEST_F(ZVEnvFileTest, GetFullPathResolvesAgainstTheCurrentDirectory) {
    ASSERT_EQ(0, mkdir(m_dir.File("sub").c_str(), 0755));
    ASSERT_EQ(0, symlink("sub", m_dir.File("link").c_str()));
    zvtest::WriteFile(m_dir.File("plain"), "x");
    const std::string base = Canonical(m_dir.Path());
    WorkingDirectory here(m_dir.Path());
    ASSERT_TRUE(here.Ok());
    EXPECT_EQ(base + "/rel.env", Take(m_env.GetFullPath("rel.env")));
    EXPECT_EQ(base + "/x.env", Take(m_env.GetFullPath("sub/../x.env")));
    EXPECT_EQ(base + "/sub/y.env", Take(m_env.GetFullPath("link/y.env")));
    EXPECT_EQ(base + "/sub", Take(m_env.GetFullPath("./sub/")));
    EXPECT_EQ(base + "/a\\b", Take(m_env.GetFullPath("a\\b")));
    EXPECT_RESULT_CODE("(null)", Take(m_env.GetFullPath("plain/x.env")), 65);
    EXPECT_RESULT_CODE("(null)", Take(m_env.GetFullPath("")), 65);
}

TEST_F(ZVEnvFileTest, GetValidateIDChangesOnlyBackslashesAndSmallLetters) {
    EXPECT_EQ("A/B/C.ENV-1_Z\xE9~[]", Take(m_env.GetValidateID("a\\b/c.Env-1_z\xE9~[]")));
    EXPECT_EQ("", Take(m_env.GetValidateID("")));
    EXPECT_EQ("(null)", Take(m_env.GetValidateID(nullptr)));
}

// ----------------------------------------------------------------------------------------------
// Resolving paths for the caller, and who unlocks

TEST_F(ZVEnvFileTest, PrepareDirLeavesTheStoreLockedOnSuccess) {
    Open();
    // The empty root ends at 45; /a (8 bytes) holds /a/b (8 bytes).
    ASSERT_EQ(1, m_env.CreateDir("/a/b"));
    Unlock();
    const struct {
        const char* path;
        int length;
        unsigned int dir;
    } found[] = {{"/", -1, 38},  {"//", -1, 38},  {nullptr, -1, 0}, {"", -1, 0},
                 {"/a", -1, 45}, {"a", -1, 45},   {"/a/b", -1, 53}, {"/a/b", 2, 45},
                 {"/a/b", 0, 0}, {"a/b/", -1, 53}};
    for (const auto& item : found) {
        unsigned int dir = 99;
        Arm();
        EXPECT_EQ(1, m_env.PrepareDir(item.path, item.length, &dir, 0))
            << (item.path ? item.path : "(null)") << " " << item.length;
        EXPECT_NO_CODE();
        EXPECT_EQ(item.dir, dir);
        EXPECT_TRUE(StoreLocked());
        Unlock();
    }
    unsigned int dir = 99;
    EXPECT_RESULT_CODE(0, m_env.PrepareDir("/zz", -1, &dir, 0), 5);
    EXPECT_EQ(0u, dir);
    EXPECT_FALSE(StoreLocked());
    dir = 99;
    EXPECT_RESULT_CODE(0, m_env.PrepareDir("/bad name", -1, &dir, 1), 4);
    EXPECT_EQ(0u, dir);
    EXPECT_FALSE(StoreLocked());
    EXPECT_EQ(1, m_env.PrepareDir("/new", -1, &dir, 1));
    EXPECT_EQ(61u, dir);
    Unlock();
    EXPECT_EQ(1, m_env.AssignDir("a"));
    EXPECT_EQ(1, m_env.PrepareDir(nullptr, -1, &dir, 0));
    EXPECT_EQ(45u, dir);
    Unlock();
    EXPECT_EQ(1, m_env.PrepareDir("b", -1, &dir, 0));
    EXPECT_EQ(53u, dir);
    Unlock();
    EXPECT_EQ(1, m_env.Close());
    dir = 99;
    EXPECT_RESULT_CODE(0, m_env.PrepareDir("/", -1, &dir, 0), 7);
    EXPECT_EQ(0u, dir);
}

TEST_F(ZVEnvFileTest, PrepareKeyPointsIntoTheKeyPath) {
    Open();
    ASSERT_EQ(1, m_env.CreateDir("/a/b"));
    Unlock();
    const char* keys[] = {"/a/b/c", "k", "a/b/long.name", "//a//b/c"};
    const unsigned int dirs[] = {53, 0, 53, 53};
    const int names[] = {5, 0, 4, 7};
    const int lengths[] = {1, 1, 9, 1};
    for (int i = 0; i < 4; ++i) {
        unsigned int dir = 99;
        char* name = nullptr;
        int length = -5;
        Arm();
        EXPECT_EQ(1, m_env.PrepareKey(keys[i], &dir, &name, &length, 0)) << keys[i];
        EXPECT_NO_CODE();
        EXPECT_EQ(dirs[i], dir);
        EXPECT_EQ(keys[i] + names[i], name);
        EXPECT_EQ(lengths[i], length);
        EXPECT_TRUE(StoreLocked());
        Unlock();
    }
    for (const char* key : {"a/", ""}) {
        unsigned int dir = 99;
        char* name = nullptr;
        int length = -5;
        Arm();
        EXPECT_EQ(0, m_env.PrepareKey(key, &dir, &name, &length, 1)) << key;
        EXPECT_CODE(28);
        EXPECT_EQ(0u, dir);
        EXPECT_FALSE(StoreLocked());
    }
    unsigned int dir = 99;
    char* name = nullptr;
    int length = 0;
    EXPECT_RESULT_CODE(0, m_env.PrepareKey("/zz/k", &dir, &name, &length, 0), 5);
    EXPECT_FALSE(StoreLocked());
    EXPECT_EQ(1, m_env.PrepareKey("/x/k", &dir, &name, &length, 1));
    EXPECT_EQ(61u, dir);
    Unlock();
    EXPECT_EQ(1, m_env.CheckDirExist("/x"));
}

TEST_F(ZVEnvFileTest, CreateDirKeepsTheStoreLockedUntilTheNextOperation) {
    Open();
    EXPECT_FALSE(StoreLocked());
    EXPECT_EQ(1, m_env.CreateDir("/a"));
    EXPECT_TRUE(StoreLocked());
    EXPECT_EQ(1, m_env.CheckDirExist("/a"));
    EXPECT_FALSE(StoreLocked()) << "one unlock releases it: the lock is not counted";
    EXPECT_EQ(1, m_env.CreateDir("/b"));
    EXPECT_EQ(80, m_env.GetInteger("/b/missing", 80));  // a failing operation unlocks too
    EXPECT_FALSE(StoreLocked());
    EXPECT_EQ(1, m_env.CreateDir("/c"));
    EXPECT_EQ(1, m_env.Flush());
    EXPECT_FALSE(StoreLocked());
    EXPECT_EQ(1, m_env.Close());
}

TEST_F(ZVEnvFileTest, EveryOtherOperationUnlocksTheStore) {
    Open();
    auto unlocked = [this](double result, double expected, const char* what) {
        EXPECT_EQ(expected, result) << what;
        EXPECT_FALSE(StoreLocked()) << what;
    };
    char text[4];
    unsigned char bytes[4];
    unlocked(m_env.SetInteger("/d/i", 1), 1, "SetInteger");
    unlocked(m_env.SetDouble("/d/r", 1.0), 1, "SetDouble");
    unlocked(m_env.SetBoolean("/d/b", 1), 1, "SetBoolean");
    unlocked(m_env.SetString("/d/s", "s"), 1, "SetString");
    unlocked(m_env.SetData("/d/c", "c", 1), 1, "SetData");
    unlocked(m_env.GetInteger("/d/i", 0), 1, "GetInteger");
    unlocked(m_env.GetDouble("/d/r", 0.0), 1.0, "GetDouble");
    unlocked(m_env.GetBoolean("/d/b", 0), 1, "GetBoolean");
    unlocked(m_env.GetString("/d/s", text, sizeof text, ""), 1, "GetString");
    unlocked(m_env.GetData("/d/c", bytes, sizeof bytes), 1, "GetData");
    unlocked(m_env.GetData("/d/s", bytes, sizeof bytes), -1, "GetData of a string");
    unlocked(m_env.CheckKeyExist("/d/i"), 1, "CheckKeyExist");
    unlocked(m_env.CheckDirExist("/d"), 1, "CheckDirExist");
    unlocked(m_env.Lock("/d", 1), 1, "Lock");
    unlocked(m_env.IsLocked("/d"), 1, "IsLocked");
    unlocked(m_env.AssignFormat(1), 1, "AssignFormat");
    unlocked(m_env.GetFormat(), 1, "GetFormat");
    ZVEV_ENUM_LIST_tag* list = m_env.EnumEntries("/d", zvenvtest::kSorted);
    ASSERT_NE(nullptr, list);
    unlocked(1, 1, "EnumEntries");
    EXPECT_EQ("b:3 c:2 i:4 r:5 s:6", zvenvtest::Listing(list));
    EXPECT_EQ(1, CZVEnvFile::FreeSnapList(list));
    unlocked(m_env.RemoveKey("/d/i"), 1, "RemoveKey");
    unlocked(m_env.RemoveKey("/d/i"), 0, "RemoveKey of a missing key");
    unlocked(m_env.RemoveDir("/d"), 1, "RemoveDir");
    unlocked(m_env.RemoveDir("/"), 0, "RemoveDir of the root");
    unlocked(m_env.Flush(), 1, "Flush");
    unlocked(m_env.SaveAs(m_dir.File("copy.env").c_str()), 1, "SaveAs");
}

}  // namespace
