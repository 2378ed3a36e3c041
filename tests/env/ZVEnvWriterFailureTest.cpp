// The text writer when a line cannot be written or made: a store class whose line flush or line
// reservation fails at the n-th call saves nothing for every n up to the last call and leaves the
// target as it was; the line buffer's own limits (sizes that wrap, a formatter that refuses the
// text, a file that takes no bytes); items the printer cannot print; saves refused at once.
#include <dirent.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

using envtest::Bytes;

// A store whose line operations fail on request; every other operation is the library's.
class FailingLines : public CZVEnvData {
public:
    int FlushLineBuffer(FILE* file) override {
        if (++flushes == flushFailAt) {
            return 0;
        }
        return CZVEnvData::FlushLineBuffer(file);
    }
    int ReserveLineBuffer(unsigned int extra) override {
        if (++reserves == reserveFailAt) {
            return 0;
        }
        return CZVEnvData::ReserveLineBuffer(extra);
    }
    char* GetDirName(unsigned int dir) override {
        return nullDirName ? nullptr : CZVEnvData::GetDirName(dir);
    }
    // Types that are no item get a size here, so that the printer sees them.
    unsigned int GetItemSizeNoValidate(unsigned int item) override {
        if (sizeUnknownTypes &&
            (m_pData[item] == 0 || m_pData[item] > ZVED_ITEM_TRAILING_COMMENT)) {
            return 1;
        }
        return CZVEnvData::GetItemSizeNoValidate(item);
    }

    void Count(int flushAt, int reserveAt) {
        flushes = 0;
        reserves = 0;
        flushFailAt = flushAt;
        reserveFailAt = reserveAt;
    }

    int flushes = 0;
    int reserves = 0;
    int flushFailAt = 0;
    int reserveFailAt = 0;
    bool nullDirName = false;
    bool sizeUnknownTypes = false;
};

// One item of every kind the writer prints, with a filler byte among them.
Bytes EveryKind() {
    Bytes bin;
    for (int i = 0; i < 17; ++i) {
        bin += static_cast<char>(i);
    }
    Bytes children = envtest::Int("x", 5) + envtest::Int("h", -1, ZVED_ITEM_HEX) +
                     envtest::Int("o", 8, ZVED_ITEM_OCT) + envtest::Int("b", 5, ZVED_ITEM_BIN) +
                     envtest::Fillers(1) + envtest::Real("r", 0.5) + envtest::Bool("t", true) +
                     envtest::Bool("f", false) + envtest::Str("s", "a\tb") +
                     envtest::Comment("tc", 20, ZVED_ITEM_TRAILING_COMMENT) +
                     envtest::Bin("c", bin) + envtest::Comment("note", 4);
    return envtest::Root(envtest::Dir("d", children));
}

const char kEveryKindText[] =
    "d {\r\n"
    "\tnx=5\r\n"
    "\tnh=0xffffffff\r\n"
    "\tno=0o10\r\n"
    "\tnb=0b0101\r\n"
    "\trr=0.5\r\n"
    "\tbt=True\r\n"
    "\tbf=False\r\n"
    "\tss=\"a\\tb\"\t\t#tc\r\n"
    "\tcc=17 {\r\n"
    "\t\t0x00 0x01 0x02 0x03 0x04 0x05 0x06 0x07 0x08 0x09 0x0A 0x0B 0x0C 0x0D 0x0E 0x0F\r\n"
    "\t\t0x10\r\n"
    "\t}\r\n"
    "\t#note\r\n"
    "}\r\n";

std::vector<std::string> Entries(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = opendir(folder.c_str());
    EXPECT_NE(nullptr, dir);
    if (dir == nullptr) {
        return names;
    }
    while (struct dirent64* entry = readdir64(dir)) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
            names.push_back(entry->d_name);
        }
    }
    closedir(dir);
    return names;
}

class ZVEnvWriterFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(envtest::OpenEmpty(m_store, "WriterFailure"));
        Bytes root = EveryKind();
        ASSERT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
        m_target = m_dir.File("env.txt");
    }
    void TearDown() override {
        m_store.Lock(0);
        m_store.Close();
    }

    // Saves over a target holding "old"; a failed save must leave it alone and nothing beside it.
    void ExpectFailedSave(const char* what, int n) {
        zvtest::WriteFile(m_target, "old");
        EXPECT_EQ(0, m_store.Save(m_target.c_str())) << what << " " << n;
        EXPECT_EQ("old", zvtest::ReadFile(m_target)) << what << " " << n;
        EXPECT_EQ(std::vector<std::string>{"env.txt"}, Entries(m_dir.Path())) << what << " " << n;
    }

    zvtest::TempDir m_dir;
    std::string m_target;
    FailingLines m_store;
};

TEST_F(ZVEnvWriterFailureTest, EveryKindIsPrintedItemByItem) {
    m_store.Count(0, 0);
    ASSERT_EQ(1, m_store.Save(m_target.c_str()));
    EXPECT_EQ(kEveryKindText, zvtest::ReadFile(m_target).substr(96));
    EXPECT_EQ(16, m_store.flushes);
}

TEST_F(ZVEnvWriterFailureTest, FailingFlushAtEveryCallFailsTheSave) {
    m_store.Count(0, 0);
    ASSERT_EQ(1, m_store.Save(m_target.c_str()));
    const int calls = m_store.flushes;
    for (int n = 1; n <= calls; ++n) {
        m_store.Count(n, 0);
        ExpectFailedSave("flush", n);
        m_store.m_dwLineLength = 0;
    }
    m_store.Count(calls + 1, 0);
    ASSERT_EQ(1, m_store.Save(m_target.c_str()));
    EXPECT_EQ(kEveryKindText, zvtest::ReadFile(m_target).substr(96));
}

TEST_F(ZVEnvWriterFailureTest, FailingReserveAtEveryCallFailsTheSave) {
    m_store.Count(0, 0);
    ASSERT_EQ(1, m_store.Save(m_target.c_str()));
    const int calls = m_store.reserves;
    ASSERT_GT(calls, 30);
    for (int n = 1; n <= calls; ++n) {
        m_store.Count(0, n);
        ExpectFailedSave("reserve", n);
        m_store.m_dwLineLength = 0;
    }
    m_store.Count(0, calls + 1);
    ASSERT_EQ(1, m_store.Save(m_target.c_str()));
    EXPECT_EQ(kEveryKindText, zvtest::ReadFile(m_target).substr(96));
}

TEST_F(ZVEnvWriterFailureTest, DirectoryWithoutNameIsNotPrinted) {
    m_store.nullDirName = true;
    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0, m_store.PrintItem(ZVED_ROOT_DIR + 7, file));
    EXPECT_EQ(0L, ftell(file));
    fclose(file);
    ExpectFailedSave("no name", 0);
}

TEST_F(ZVEnvWriterFailureTest, DirectoryWhoseNameRunsToItsEndIsNotPrinted) {
    // A directory of 7 bytes whose name has no terminator inside it.
    Bytes cut = Bytes(1, static_cast<char>(ZVED_ITEM_DIR)) + envtest::U32(7) + "\x01" + "A";
    Bytes root = envtest::Root(cut);
    ASSERT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0, m_store.PrintItem(ZVED_ROOT_DIR + 7, file));
    EXPECT_EQ(0L, ftell(file));
    EXPECT_EQ(0u, m_store.m_dwLineLength);
    fclose(file);
    ExpectFailedSave("cut name", 0);
}

TEST_F(ZVEnvWriterFailureTest, ItemOfNoKnownTypeIsNotPrinted) {
    Bytes root = envtest::Root(Bytes(1, '\0') + Bytes(1, static_cast<char>(15)));
    ASSERT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    m_store.sizeUnknownTypes = true;
    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0, m_store.PrintItem(ZVED_ROOT_DIR + 7, file));
    EXPECT_EQ(0, m_store.PrintItem(ZVED_ROOT_DIR + 8, file));
    EXPECT_EQ(0L, ftell(file));
    fclose(file);
    ExpectFailedSave("type 0", 0);
}

TEST_F(ZVEnvWriterFailureTest, FillerPrintsNothing) {
    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    // The filler stands behind the four integer keys of directory d.
    const unsigned int filler = ZVED_ROOT_DIR + 7 + 8 + 4 * 8;
    ASSERT_EQ(ZVED_ITEM_FILLER, m_store.m_pData[filler]);
    EXPECT_EQ(1, m_store.PrintItem(filler, file));
    EXPECT_EQ(0L, ftell(file));
    EXPECT_EQ(0, m_store.PrintItem(ZVED_ROOT_DIR, nullptr));
    fclose(file);
}

TEST_F(ZVEnvWriterFailureTest, SaveIsRefusedWithoutPathOrData) {
    EXPECT_EQ(0, m_store.Save(nullptr));
    const unsigned int size = m_store.m_dwDataSize;
    m_store.m_dwDataSize = ZVED_ROOT_DIR;
    EXPECT_EQ(0, m_store.Save(m_target.c_str()));
    m_store.m_dwDataSize = size;
    ASSERT_EQ(1, m_store.Lock(0));
    EXPECT_EQ(0, m_store.Save(m_target.c_str()));
    ASSERT_EQ(1, m_store.Lock(1));
    EXPECT_EQ(-1LL, zvtest::FileSize(m_target));
}

TEST_F(ZVEnvWriterFailureTest, ReserveRefusesSizesThatWrap) {
    ASSERT_EQ(1, m_store.SetLineBuffer(0, "abc"));
    ASSERT_EQ(3u, m_store.m_dwLineLength);
    const unsigned int capacity = m_store.m_dwLineBufferSize;
    EXPECT_EQ(0, m_store.ReserveLineBuffer(0xFFFFFFFEu));  // length + extra wraps
    EXPECT_EQ(0, m_store.ReserveLineBuffer(0xFFFFFF00u));  // rounding up to 1024 wraps
    EXPECT_EQ(capacity, m_store.m_dwLineBufferSize);
    EXPECT_EQ(3u, m_store.m_dwLineLength);
    EXPECT_STREQ("abc", m_store.m_pszLineBuffer);
}

TEST_F(ZVEnvWriterFailureTest, TextTheFormatterRefusesLeavesTheLine) {
    ASSERT_EQ(1, m_store.SetLineBuffer(0, "abc"));
    // A wide character the "C" locale cannot write: the formatter answers -1 at every try.
    EXPECT_EQ(0, m_store.SetLineBuffer(-1, "%ls", L"\x100"));
    EXPECT_EQ(3u, m_store.m_dwLineLength);
    EXPECT_STREQ("abc", m_store.m_pszLineBuffer);
    EXPECT_EQ(0, m_store.SetLineBuffer(8, "%ls", L"\x100"));
    EXPECT_EQ(3u, m_store.m_dwLineLength);
    EXPECT_STREQ("abc", m_store.m_pszLineBuffer);
}

TEST_F(ZVEnvWriterFailureTest, ReserveFailingBeforeAnyBufferLeavesNoLine) {
    m_store.Count(0, 1);
    EXPECT_EQ(0, m_store.SetLineBuffer(-1, "abc"));
    EXPECT_EQ(0u, m_store.m_dwLineLength);
    EXPECT_EQ(nullptr, m_store.m_pszLineBuffer);
}

TEST_F(ZVEnvWriterFailureTest, LineTheFileDoesNotTakeIsKept) {
    const std::string path = m_dir.File("read-only");
    zvtest::WriteFile(path, "");
    FILE* file = fopen(path.c_str(), "rb");
    ASSERT_NE(nullptr, file);
    setvbuf(file, nullptr, _IONBF, 0);
    ASSERT_EQ(1, m_store.SetLineBuffer(0, "abc"));
    EXPECT_EQ(0, m_store.FlushLineBuffer(file));
    EXPECT_EQ(3u, m_store.m_dwLineLength);
    EXPECT_STREQ("abc", m_store.m_pszLineBuffer);
    fclose(file);
    EXPECT_EQ("", zvtest::ReadFile(path));
}

}  // namespace
