// Saving a store of the library's own class writes its text form in one pass; a store of a
// derived class is written item by item through PrintItem and the line buffer. Both must write
// the same bytes and leave the line buffer at the same capacity, for trees with every kind of
// item, long names and values that the line buffer cuts, comments at any column, and malformed
// items that stop the writing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

class ItemByItem : public CZVEnvData {};

struct Saved {
    int result;
    std::string body;  // everything behind the 96-byte header line
    unsigned int lineCapacity;
};

Saved SaveTo(CZVEnvData& store, const std::string& path) {
    Saved out;
    out.result = store.Save(path.c_str());
    std::string file = zvtest::ReadFile(path);
    out.body = file.size() > 96 ? file.substr(96) : std::string();
    out.lineCapacity = store.m_dwLineBufferSize;
    return out;
}

// A save that fails leaves no file behind; written into a FIFO (in place) its bytes can be read
// as they come. The FIFO is held open for reading and writing so that nothing waits.
Saved SaveThroughFifo(CZVEnvData& store, const std::string& path) {
    Saved out;
    EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
    int fifo = open(path.c_str(), O_RDWR | O_NONBLOCK);
    EXPECT_GE(fifo, 0);
    out.result = store.Save(path.c_str());
    char bytes[65536];
    ssize_t got = read(fifo, bytes, sizeof bytes);
    std::string file = got > 0 ? std::string(bytes, static_cast<size_t>(got)) : std::string();
    close(fifo);
    out.body = file.size() > 96 ? file.substr(96) : std::string();
    out.lineCapacity = store.m_dwLineBufferSize;
    return out;
}

class ZVSavePathsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(envtest::OpenEmpty(m_once, "SaveOnce"));
        ASSERT_TRUE(envtest::OpenEmpty(m_items, "SaveItems"));
    }
    void TearDown() override {
        for (CZVEnvData* s :
             {static_cast<CZVEnvData*>(&m_once), static_cast<CZVEnvData*>(&m_items)}) {
            s->Lock(0);
            s->Close();
        }
    }

    // The same random change on both stores.
    void Change() {
        const std::string name = Name();
        const char* n = name.c_str();
        unsigned int dir1 = Dir(m_once), dir2 = Dir(m_items);
        switch (m_random() % 11) {
            case 0:
                m_once.CreateDir(dir1, n, -1);
                m_items.CreateDir(dir2, n, -1);
                break;
            case 1: {
                int value = static_cast<int>(m_random());
                unsigned char radix = static_cast<unsigned char>(7 + m_random() % 7);
                m_once.SetInteger(dir1, n, -1, value, radix);
                m_items.SetInteger(dir2, n, -1, value, radix);
                break;
            }
            case 2: {
                static const double kReals[] = {0.1, 1e20, -0.0, 3e9, 1.0 / 3, 1e-300, 2.5};
                double value = kReals[m_random() % 7];
                m_once.SetDouble(dir1, n, -1, value);
                m_items.SetDouble(dir2, n, -1, value);
                break;
            }
            case 3: {
                std::string text = Text();
                m_once.SetString(dir1, n, -1, text.c_str(), -1);
                m_items.SetString(dir2, n, -1, text.c_str(), -1);
                break;
            }
            case 4: {
                std::string bytes(m_random() % 40, '\0');
                for (char& b : bytes) {
                    b = static_cast<char>(m_random());
                }
                m_once.SetBinData(dir1, n, -1, bytes.data(),
                                  static_cast<unsigned int>(bytes.size()));
                m_items.SetBinData(dir2, n, -1, bytes.data(),
                                   static_cast<unsigned int>(bytes.size()));
                break;
            }
            case 5: {
                int value = static_cast<int>(m_random() & 1);
                m_once.SetBoolean(dir1, n, -1, value);
                m_items.SetBoolean(dir2, n, -1, value);
                break;
            }
            case 6:
            case 7: {
                unsigned char type = m_random() % 2 ? 4 : 14;
                unsigned short column = static_cast<unsigned short>(
                    m_random() % 4 ? m_random() % 40 : m_random() % 3000);
                std::string text = "note " + std::to_string(m_random() % 100);
                m_once.InsertComment(dir1, text.c_str(), -1, type, column);
                m_items.InsertComment(dir2, text.c_str(), -1, type, column);
                break;
            }
            case 8:
                m_once.LockDir(dir1, 1);
                m_items.LockDir(dir2, 1);
                break;
            default: {
                // A long name: the line buffer cuts the line where its free room ends.
                std::string longName = "k" + std::string(m_random() % 1500, 'n');
                m_once.SetInteger(dir1, longName.c_str(), -1, 7, 0);
                m_items.SetInteger(dir2, longName.c_str(), -1, 7, 0);
                break;
            }
        }
    }

    std::string Name() { return "k" + std::to_string(m_random() % 30); }

    std::string Text() {
        static const char* const kPieces[] = {"plain",    "\"quoted\"", "back\\slash", "\t\n\r",
                                              "\x81\x5C", "\x82\xA0",   "\xA5\xFF",    "'"};
        std::string text;
        for (int i = static_cast<int>(m_random() % 6); i > 0; --i) {
            text += kPieces[m_random() % 8];
        }
        if (m_random() % 10 == 0) {
            text += std::string(500 + m_random() % 2000, 'x');
        }
        return text;
    }

    // A directory of the store, by the same choice in both.
    unsigned int Dir(CZVEnvData& store) {
        unsigned int dir = store.GetRootDir();
        for (int depth = static_cast<int>(m_choice % 3); depth > 0; --depth) {
            unsigned int child = store.GetNextItem(dir, 0);
            while (child != 0 && !store.IsDirNoValidate(child)) {
                child = store.GetNextItem(dir, child);
            }
            if (child == 0) {
                break;
            }
            dir = child;
        }
        return dir;
    }

    void CompareSaves(const std::string& what,
                      Saved (*save)(CZVEnvData&, const std::string&) = SaveTo) {
        Saved a = save(m_once, m_dir.File("once.env"));
        Saved b = save(m_items, m_dir.File("items.env"));
        ASSERT_EQ(b.result, a.result) << what;
        ASSERT_EQ(b.body, a.body) << what;
        ASSERT_EQ(b.lineCapacity, a.lineCapacity) << what;
    }

    CZVEnvData m_once;
    ItemByItem m_items;
    zvtest::TempDir m_dir;
    std::mt19937 m_random{4242u};
    uint32_t m_choice = 0;
};

TEST_F(ZVSavePathsTest, RandomTreesAreWrittenAlikeBothWays) {
    for (int round = 0; round < 100; ++round) {
        m_choice = static_cast<uint32_t>(m_random());
        Change();
        CompareSaves("round " + std::to_string(round));
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ZVSavePathsTest, MalformedItemStopsBothWaysAtTheSamePlace) {
    using namespace envtest;
    Bytes root = Root(envtest::Dir("a", Int("x", 1) + Str("s", "text") +
                                            Head(ZVED_ITEM_BINARY, "bad") + U32(9999)) +
                      Int("after", 2));
    for (CZVEnvData* store :
         {static_cast<CZVEnvData*>(&m_once), static_cast<CZVEnvData*>(&m_items)}) {
        ASSERT_EQ(1, store->Reset(root.data(), static_cast<unsigned int>(root.size())));
    }
    CompareSaves("malformed binary key", SaveThroughFifo);
}

TEST_F(ZVSavePathsTest, LineLeftInTheBufferIsWrittenFirstBothWays) {
    for (CZVEnvData* store :
         {static_cast<CZVEnvData*>(&m_once), static_cast<CZVEnvData*>(&m_items)}) {
        ASSERT_NE(0u, store->SetInteger(0, "x", -1, 1, 0));
        ASSERT_EQ(1, store->SetLineBuffer(3, "%s", "left over"));
    }
    CompareSaves("a line left in the buffer");
}

TEST_F(ZVSavePathsTest, RealsAreWrittenAlikeBothWays) {
    // Fourteen significant digits, the exponent form from 1E+14 and below 1E-04, rounding at
    // the last digit, the extremes, infinities and not-a-numbers of both signs, and random bit
    // patterns.
    std::vector<double> values = {0.0,
                                  -0.0,
                                  1.0,
                                  -1.5,
                                  0.1,
                                  1.0 / 3,
                                  2.0 / 3,
                                  99999999999999.0,
                                  99999999999999.5,
                                  100000000000000.0,
                                  123456789012345.6,
                                  0.0001,
                                  0.00009999999999999995,
                                  0.000099999999999999,
                                  1e-5,
                                  0.5e-14,
                                  1.00000000000005,
                                  1.00000000000015,
                                  1.00000000000025,
                                  DBL_MAX,
                                  -DBL_MAX,
                                  DBL_MIN,
                                  std::numeric_limits<double>::denorm_min(),
                                  4.9406564584124654e-324,
                                  1e308,
                                  1e-308,
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  -std::numeric_limits<double>::quiet_NaN()};
    std::mt19937_64 bits(99u);
    for (int i = 0; i < 3000; ++i) {
        uint64_t pattern = bits();
        double value;
        std::memcpy(&value, &pattern, sizeof value);
        values.push_back(value);
        values.push_back(static_cast<double>(static_cast<int64_t>(pattern >> 20)) /
                         static_cast<double>(1u << (pattern % 30)));
    }
    for (size_t i = 0; i < values.size(); ++i) {
        const std::string name = "r" + std::to_string(i);
        ASSERT_NE(0u, m_once.SetDouble(0, name.c_str(), -1, values[i]));
        ASSERT_NE(0u, m_items.SetDouble(0, name.c_str(), -1, values[i]));
    }
    CompareSaves("reals");
    std::string text = zvtest::ReadFile(m_dir.File("once.env"));
    EXPECT_NE(std::string::npos, text.find("rr1=-0\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr5=0.33333333333333\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr9=1E+14\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr14=1E-05\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr19=1.7976931348623E+308\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr26=INF\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr27=-INF\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr28=NAN\r\n"));
    EXPECT_NE(std::string::npos, text.find("rr29=-NAN\r\n"));
}

TEST_F(ZVSavePathsTest, StringsOfEveryByteAreWrittenAlikeBothWays) {
    // Every byte value alone, Shift-JIS pairs whole and broken, and long runs of plain bytes
    // around the bytes that are escaped.
    for (int c = 1; c < 256; ++c) {
        const std::string name = "b" + std::to_string(c);
        const std::string value = std::string("x") + static_cast<char>(c) + "y";
        ASSERT_NE(0u, m_once.SetString(0, name.c_str(), -1, value.c_str(), -1));
        ASSERT_NE(0u, m_items.SetString(0, name.c_str(), -1, value.c_str(), -1));
    }
    const char* const texts[] = {"\x82\xA0\x82", "\x82",
                                 "ab\x9F"
                                 "@cd",
                                 "\xE0\x7F",
                                 "plain text with 'quotes' and \"double\" and \\ \t\r\n end"};
    int i = 0;
    for (const char* text : texts) {
        std::string value = std::string(300, 'p') + text + std::string(40, 'q') + text;
        const std::string name = "t" + std::to_string(i++);
        ASSERT_NE(0u, m_once.SetString(0, name.c_str(), -1, value.c_str(), -1));
        ASSERT_NE(0u, m_items.SetString(0, name.c_str(), -1, value.c_str(), -1));
    }
    CompareSaves("strings");
    std::string text = zvtest::ReadFile(m_dir.File("once.env"));
    EXPECT_NE(std::string::npos, text.find("sb7=\"x\\ay\"\r\n"));
    EXPECT_NE(std::string::npos, text.find("sb39=\"x\\'y\"\r\n"));
    EXPECT_NE(std::string::npos, text.find("sb127=\"x\\x7Fy\"\r\n"));
    EXPECT_NE(std::string::npos, text.find("sb161=\"x\xA1y\"\r\n"));
}

}  // namespace
