// Tests of saving and loading back: every item type through the text form and the binary form,
// and each thing the text form cannot carry, pinned to exactly what comes back.
#include <limits.h>
#include <locale.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFormatCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

using zvtest::ByteString;
using zvtest::Children;
using zvtest::CommentColumn;
using zvtest::CrLf;
using zvtest::LockedStore;
using zvtest::ReadFile;
using zvtest::TempDir;

const unsigned int kRoot = 38;

// Bytes 0, 1, ... count - 1 scaled over 0x00-0xFF.
std::string Ramp(unsigned int count) {
    std::string bytes;
    for (unsigned int i = 0; i < count; ++i) {
        bytes += static_cast<char>(count > 1 ? i * 255 / (count - 1) : 0xA5);
    }
    return bytes;
}

// Fills a store with every item type in values the text form carries whole.
void FillWithEveryType(CZVEnvData& s) {
    const int decimals[] = {0, 5, -1, INT_MAX, INT_MIN};
    const unsigned char radixes[] = {7, 11, 12, 13};
    for (unsigned char radix : radixes) {
        int index = 0;
        for (int value : decimals) {
            std::string name = "Radix" + std::to_string(radix) + "_" + std::to_string(index++);
            ASSERT_NE(0u, s.SetInteger(kRoot, name.c_str(), -1, value, radix)) << name;
        }
    }
    ASSERT_NE(0u, s.SetInteger(kRoot, "Bin16", -1, 16, 13));
    ASSERT_NE(0u, s.InsertComment(kRoot, " radixes above", -1, 4, 0));

    // Reals whose text reads back to the same double.
    const double reals[] = {0.0, 0.5, 1.5, -2.5, 1500, 3e9, 1e20, 0.1, 4294967296.0, 100, -7};
    int index = 0;
    for (double value : reals) {
        std::string name = "Real" + std::to_string(index++);
        ASSERT_NE(0u, s.SetDouble(kRoot, name.c_str(), -1, value)) << name;
    }
    ASSERT_NE(0u, s.SetBoolean(kRoot, "On", -1, 1));
    ASSERT_NE(0u, s.SetBoolean(kRoot, "Off", -1, 0));
    ASSERT_NE(0u, s.InsertComment(kRoot, " trails Off", -1, 14, 20));

    unsigned int strings = s.CreateSubDir(kRoot, "Strings", -1);
    ASSERT_NE(0u, strings);
    ASSERT_NE(0u, s.SetString(strings, "Escapes", -1, "\a\b\f\n\r\t\v'\"\\", -1));
    ASSERT_NE(0u, s.SetString(strings, "Empty", -1, "", -1));
    ASSERT_NE(0u, s.SetString(strings, "Title", -1, "Main unit\n", -1));
    std::string high;
    for (int b = 1; b < 256; ++b) {
        high += static_cast<char>(b);
    }
    ASSERT_NE(0u, s.SetString(strings, "EveryByte", -1, high.c_str(), -1));
    std::string pairs = ByteString({0x81, 0x5C, 0x83, 0x40, 0x9F, 0xFC, 0xE0, 0x7F, 0xFC, 0xFC,
                                    0x81, 0x81, 0x5C, 0x81, '"', 0x81, '\'', 0x81});
    ASSERT_NE(0u, s.SetString(strings, "ShiftJis", -1, pairs.c_str(), -1));
    ASSERT_NE(0u, s.InsertComment(strings, " inside, at six", -1, 4, 6));
    ASSERT_NE(0u, s.SetString(strings, "Last", -1, "x", -1));
    ASSERT_NE(0u, s.InsertComment(strings, "#", -1, 14, 200));

    unsigned int blocks = s.CreateDir(kRoot, "Deep/Blocks", -1);
    ASSERT_NE(0u, blocks);
    const unsigned int counts[] = {0, 1, 16, 17, 33, 256};
    for (unsigned int count : counts) {
        std::string name = "Bytes" + std::to_string(count);
        std::string bytes = Ramp(count);
        ASSERT_NE(0u, s.SetBinData(blocks, name.c_str(), -1, bytes.data(), count)) << name;
    }
    ASSERT_NE(0u, s.CreateDir(kRoot, "Deep/Empty", -1));
    const unsigned short columns[] = {0, 3, 4, 5, 17, 200};
    for (unsigned short column : columns) {
        ASSERT_NE(0u, s.InsertComment(kRoot, "column", -1, 4, column));
    }
}

class ZVEnvRoundTripTest : public ::testing::Test {
protected:
    void SetUp() override {
        setlocale(LC_ALL, "C");
        ASSERT_TRUE(m_source.Ready());
        ASSERT_TRUE(m_loaded.Ready());
        m_text = m_dir.File("env.txt");
        m_binary = m_dir.File("env.bin");
    }

    CZVEnvData& Source() { return m_source.store; }
    CZVEnvData& Loaded() { return m_loaded.store; }

    // Saves the source in the text form and loads the file into the second store.
    int TextTrip() {
        EXPECT_EQ(1, Source().AssignFormat(0));
        EXPECT_EQ(1, Source().Save(m_text.c_str()));
        return Loaded().Load(m_text.c_str());
    }
    int BinaryTrip() {
        EXPECT_EQ(1, Source().AssignFormat(1));
        EXPECT_EQ(1, Source().Save(m_binary.c_str()));
        return Loaded().Load(m_binary.c_str());
    }
    std::string TextBody() { return ReadFile(m_text).substr(96); }

    double LoadedReal(const char* name) {
        double value = -12345.0;
        EXPECT_NE(0u, Loaded().GetDouble(kRoot, name, -1, &value)) << name;
        return value;
    }

    TempDir m_dir;
    LockedStore m_source;
    LockedStore m_loaded;
    std::string m_text;
    std::string m_binary;
};

TEST_F(ZVEnvRoundTripTest, EveryItemTypeComesBackFromTextByteForByte) {
    FillWithEveryType(Source());
    ASSERT_EQ(1, TextTrip());
    // The header record too: both stores hold the header of the saved file.
    EXPECT_EQ(m_source.Bytes(), m_loaded.Bytes());
    // Saved again, the loaded store writes the same text.
    std::string first = TextBody();
    std::string again = m_dir.File("again.txt");
    ASSERT_EQ(1, Loaded().Save(again.c_str()));
    EXPECT_EQ(first, ReadFile(again).substr(96));
}

TEST_F(ZVEnvRoundTripTest, EveryItemTypeComesBackFromBinaryByteForByte) {
    FillWithEveryType(Source());
    // And everything the text form cannot carry.
    unsigned int locked = Source().CreateSubDir(kRoot, "Locked", -1);
    ASSERT_NE(0u, Source().SetInteger(locked, "x", -1, 1, 7));
    ASSERT_EQ(1, Source().LockDir(locked, 1));
    ASSERT_NE(0u, Source().InsertComment(kRoot, "after a directory", -1, 14, 3));
    ASSERT_NE(0u, Source().InsertItem(kRoot, 3));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Nan", -1, std::numeric_limits<double>::quiet_NaN()));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Inf", -1, std::numeric_limits<double>::infinity()));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "NegZero", -1, -0.0));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Third", -1, 1.0 / 3));
    std::string longText(5000, 'q');
    ASSERT_NE(0u, Source().SetString(kRoot, "Long", -1, longText.c_str(), -1));
    ASSERT_EQ(1, BinaryTrip());
    EXPECT_EQ(m_source.Bytes(), m_loaded.Bytes());
    EXPECT_EQ(1, Loaded().GetFormat());
    EXPECT_EQ(6u, Loaded().GetAttribute(Loaded().FindDir(kRoot, "Locked", -1)));
}

TEST_F(ZVEnvRoundTripTest, RealsInACommaLocaleComeBackWhole) {
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Half", -1, 0.5));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Neg", -1, -1234.5));
    zvtest::CommaLocale comma(m_dir.Path());
    if (!comma.Ok()) {
        GTEST_SKIP() << "no locale with a decimal comma is installed and localedef could not "
                        "make one";
    }
    ASSERT_EQ(1, TextTrip());
    EXPECT_EQ(0.5, LoadedReal("Half"));
    EXPECT_EQ(-1234.5, LoadedReal("Neg"));
}

// What the text form cannot carry

TEST_F(ZVEnvRoundTripTest, RealsKeepFourteenSignificantDigits) {
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Third", -1, 1.0 / 3));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Big", -1, 123456789012345678.0));
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Pi", -1, 3.14159265358979));
    ASSERT_EQ(1, TextTrip());
    EXPECT_EQ(CrLf({"rThird=0.33333333333333", "rBig=1.2345678901235E+17", "rPi=3.1415926535898"}),
              TextBody());
    const char* names[] = {"Third", "Big", "Pi"};
    const char* texts[] = {"0.33333333333333", "1.2345678901235E+17", "3.1415926535898"};
    const double originals[] = {1.0 / 3, 123456789012345678.0, 3.14159265358979};
    for (int i = 0; i < 3; ++i) {
        double value = LoadedReal(names[i]);
        char printed[32];
        snprintf(printed, sizeof printed, "%.14G", value);
        EXPECT_STREQ(texts[i], printed) << names[i];
        EXPECT_NE(originals[i], value) << names[i];
    }
}

TEST_F(ZVEnvRoundTripTest, NegativeZeroComesBackAsZero) {
    ASSERT_NE(0u, Source().SetDouble(kRoot, "Zero", -1, -0.0));
    ASSERT_EQ(1, TextTrip());
    EXPECT_EQ(CrLf({"rZero=-0"}), TextBody());
    double value = LoadedReal("Zero");
    EXPECT_EQ(0.0, value);
    EXPECT_FALSE(signbit(value));
}

TEST_F(ZVEnvRoundTripTest, InfinitiesAndNanAreWrittenButDoNotLoad) {
    const double values[] = {std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
    const char* texts[] = {"INF", "-INF", "NAN"};
    for (int i = 0; i < 3; ++i) {
        LockedStore source;
        ASSERT_TRUE(source.Ready());
        ASSERT_NE(0u, source.store.SetInteger(kRoot, "Before", -1, 1, 7));
        ASSERT_NE(0u, source.store.SetDouble(kRoot, "x", -1, values[i]));
        ASSERT_EQ(1, source.store.Save(m_text.c_str()));
        EXPECT_EQ(CrLf({"nBefore=1", std::string("rx=") + texts[i]}), TextBody());
        EXPECT_EQ(0, Loaded().Load(m_text.c_str())) << texts[i];
        // What stood before the value was read.
        int before = 0;
        EXPECT_NE(0u, Loaded().GetInteger(kRoot, "Before", -1, &before));
        EXPECT_EQ(1, before);
        EXPECT_EQ(0u, Loaded().FindKey(kRoot, "x", -1));
    }
}

TEST_F(ZVEnvRoundTripTest, LockedDirectoryComesBackPlainFromTextLockedFromBinary) {
    unsigned int dir = Source().CreateSubDir(kRoot, "Locked", -1);
    ASSERT_NE(0u, Source().SetInteger(dir, "x", -1, 1, 7));
    ASSERT_EQ(1, Source().LockDir(dir, 1));
    ASSERT_EQ(1, TextTrip());
    unsigned int loaded = Loaded().FindDir(kRoot, "Locked", -1);
    EXPECT_EQ(5u, Loaded().GetAttribute(loaded));
    EXPECT_EQ(0, Loaded().IsDirLocked(loaded));
    // Apart from the mark, the items are the same.
    ASSERT_EQ(1, Source().LockDir(dir, 0));
    EXPECT_EQ(m_source.Items(), m_loaded.Items());

    ASSERT_EQ(1, Source().LockDir(dir, 1));
    ASSERT_EQ(1, BinaryTrip());
    EXPECT_EQ(1, Loaded().IsDirLocked(Loaded().FindDir(kRoot, "Locked", -1)));
}

TEST_F(ZVEnvRoundTripTest, TrailingCommentsWithoutAKeyComeBackAsCommentLines) {
    zvtest::AddCommentsWithoutKey(Source(), 14);
    ASSERT_EQ(1, TextTrip());
    LockedStore expected;
    ASSERT_TRUE(expected.Ready());
    zvtest::AddCommentsWithoutKey(expected.store, 4);
    EXPECT_EQ(expected.Items(), m_loaded.Items());
}

TEST_F(ZVEnvRoundTripTest, TrailingCommentBeforeTheLineEndComesBackAtItsPlace) {
    // "nx=1" ends at column 4: a comment meant for column 2 stands behind one tab, at 8.
    ASSERT_NE(0u, Source().SetInteger(kRoot, "x", -1, 1, 7));
    ASSERT_NE(0u, Source().InsertComment(kRoot, "c", -1, 14, 2));
    ASSERT_EQ(1, TextTrip());
    std::vector<unsigned int> items = Children(Loaded(), kRoot);
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(14u, Loaded().GetAttribute(items[1]));
    EXPECT_EQ(8u, CommentColumn(Loaded(), items[1]));
}

TEST_F(ZVEnvRoundTripTest, FillersAreNotCarriedByText) {
    ASSERT_NE(0u, Source().SetInteger(kRoot, "x", -1, 1, 7));
    ASSERT_NE(0u, Source().InsertItem(kRoot, 4));
    ASSERT_NE(0u, Source().SetInteger(kRoot, "y", -1, 2, 7));
    ASSERT_EQ(1, TextTrip());
    LockedStore expected;
    ASSERT_TRUE(expected.Ready());
    ASSERT_NE(0u, expected.store.SetInteger(kRoot, "x", -1, 1, 7));
    ASSERT_NE(0u, expected.store.SetInteger(kRoot, "y", -1, 2, 7));
    EXPECT_EQ(expected.Items(), m_loaded.Items());
    EXPECT_EQ(m_source.Items().size() - 4, m_loaded.Items().size());
}

TEST_F(ZVEnvRoundTripTest, LongStringIsCutAtTheFreeRoom) {
    std::string text(2000, 'a');
    ASSERT_NE(0u, Source().SetString(kRoot, "x", -1, text.c_str(), -1));
    ASSERT_EQ(1, TextTrip());
    char* loaded = nullptr;
    ASSERT_NE(0u, Loaded().GetString(kRoot, "x", -1, &loaded));
    EXPECT_EQ(std::string(1019, 'a'), loaded);
}

TEST_F(ZVEnvRoundTripTest, LongStringBehindAFarCommentComesBackWhole) {
    // The comment at column 4000 grew the line buffer beyond the string's line.
    ASSERT_NE(0u, Source().InsertComment(kRoot, "c", -1, 4, 4000));
    std::string text(2000, 'a');
    ASSERT_NE(0u, Source().SetString(kRoot, "x", -1, text.c_str(), -1));
    ASSERT_EQ(1, TextTrip());
    EXPECT_EQ(m_source.Items(), m_loaded.Items());
}

}  // namespace
