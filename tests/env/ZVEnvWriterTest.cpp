// Tests of the text writer and Save: every item type written byte for byte behind the header line
// (CR LF line ends, tabs to the indent and comment columns), the line buffer's limits, the
// header line's fields, and the binary form.
#include <fcntl.h>
#include <limits.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "EnvFormatCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"

namespace {

using zvtest::ByteString;
using zvtest::CrLf;
using zvtest::kSentinelError;
using zvtest::LockedStore;
using zvtest::ReadFile;
using zvtest::TempDir;

const unsigned int kRoot = 38;

class ZVEnvWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        setlocale(LC_ALL, "C");
        ASSERT_TRUE(m_store.Ready());
        m_path = m_dir.File("env.cfg");
    }
    void TearDown() override { setlocale(LC_ALL, "C"); }

    CZVEnvData& Store() { return m_store.store; }

    // Saves the store (1, no last-error code) and returns the file behind its header line.
    std::string SaveBody() {
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(1, Store().Save(m_path.c_str()));
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        std::string file = ReadFile(m_path);
        EXPECT_GE(file.size(), 96u);
        return file.size() >= 96 ? file.substr(96) : std::string();
    }

    // Every key of the list as a decimal, hexadecimal, octal or binary integer at the root.
    void SetIntegers(unsigned char radix, std::initializer_list<int> values) {
        char name[2] = {'a', 0};
        for (int value : values) {
            ASSERT_NE(0u, Store().SetInteger(kRoot, name, -1, value, radix));
            ++name[0];
        }
    }

    TempDir m_dir;
    LockedStore m_store;
    std::string m_path;
};

// Header line and file size

TEST_F(ZVEnvWriterTest, EmptyStoreWritesTheHeaderLineOnly) {
    EXPECT_EQ("", SaveBody());
    EXPECT_EQ(96, zvtest::FileSize(m_path));
}

TEST_F(ZVEnvWriterTest, HeaderLineCarriesTypeVersionSizeAndChecksum) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "Count", -1, 10, 7));
    ASSERT_NE(0u, Store().SetString(kRoot, "Title", -1, "Main unit", -1));
    long long before = zvtest::NowSeconds();
    std::string body = SaveBody();
    long long after = zvtest::NowSeconds();
    std::string file = ReadFile(m_path);
    ASSERT_EQ(96 + body.size(), file.size());

    EXPECT_EQ("ENVT0100,LM:", file.substr(0, 12));
    char field[64];
    snprintf(field, sizeof field, ",DS:%010u", static_cast<unsigned int>(file.size()));
    EXPECT_EQ(field, file.substr(35, 14));
    snprintf(field, sizeof field, ",CS:%05u", zvtest::BodyChecksum(body));
    EXPECT_EQ(field, file.substr(49, 9));
    EXPECT_EQ(",MA:", file.substr(58, 4));
    EXPECT_EQ(",EI:" + std::string(11, ' ') + "\r\n", file.substr(79, 17));

    // The store's header record is the file's header after the save.
    ZV_COMMON_FILE_HEADER_tag header;
    ASSERT_EQ(1, ZVCFGetCommonFileHeaderA(m_path.c_str(), &header));
    EXPECT_EQ(0, memcmp(&header, Store().m_pData, sizeof header));
    EXPECT_EQ(file.size(), header.dwDataSize);
    EXPECT_EQ(static_cast<int32_t>(zvtest::BodyChecksum(body)), header.lCheckSum);
    EXPECT_GE(header.lLastModified, before);
    EXPECT_LE(header.lLastModified, after);

    // The time field is the record's time as year/month/day hour:minute:second:000 in UTC.
    time_t seconds = header.lLastModified;
    struct tm utc;
    ASSERT_NE(nullptr, gmtime_r(&seconds, &utc));
    snprintf(field, sizeof field, "%04d/%02d/%02d %02d:%02d:%02d:000", utc.tm_year + 1900,
             utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    EXPECT_EQ(field, file.substr(12, 23));

    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(m_path.c_str()));
}

TEST_F(ZVEnvWriterTest, SaveWritesVersionOneZeroWhateverTheRecordHeld) {
    ASSERT_NE(0u, Store().SetBoolean(kRoot, "On", -1, 1));
    const uint16_t old[2] = {0, 7};
    memcpy(Store().m_pData + 4, old, sizeof old);
    SaveBody();
    EXPECT_EQ("ENVT0100", ReadFile(m_path).substr(0, 8));
    uint16_t versions[2];
    memcpy(versions, Store().m_pData + 4, sizeof versions);
    EXPECT_EQ(1, versions[0]);
    EXPECT_EQ(0, versions[1]);
}

TEST_F(ZVEnvWriterTest, EmptyStoreHeaderHasSizeNinetySixAndChecksumZero) {
    SaveBody();
    std::string file = ReadFile(m_path);
    EXPECT_EQ(",DS:0000000096,CS:00000", file.substr(35, 23));
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(m_path.c_str()));
}

TEST_F(ZVEnvWriterTest, SaveReplacesAnExistingLongerFile) {
    zvtest::WriteFile(m_path, std::string(5000, 'x'));
    ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, 5, 7));
    EXPECT_EQ(CrLf({"nx=5"}), SaveBody());
    EXPECT_EQ(96 + 6, zvtest::FileSize(m_path));
}

TEST_F(ZVEnvWriterTest, SaveToAPathThatCannotBeCreatedFails) {
    std::string path = m_dir.File("missing/env.cfg");
    EXPECT_EQ(0, Store().Save(path.c_str()));
    EXPECT_EQ(-1, zvtest::FileSize(path));
}

TEST_F(ZVEnvWriterTest, UnknownTagFailsAfterTheHeaderLine) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, 5, 7));
    memcpy(Store().m_pData, "ENVX", 4);
    EXPECT_EQ(0, Store().Save(m_path.c_str()));
    // A failed save makes no file.
    EXPECT_EQ(-1, zvtest::FileSize(m_path));
    // Written in place (into a FIFO, held open so that nothing waits), the header line is seen
    // to be written before the tag is looked at; nothing else is.
    const std::string fifo = m_dir.File("fifo");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    int held = open(fifo.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(held, 0);
    EXPECT_EQ(0, Store().Save(fifo.c_str()));
    char file[256];
    ssize_t got = read(held, file, sizeof file);
    close(held);
    ASSERT_EQ(96, got);
    EXPECT_EQ("ENVX0100", std::string(file, 8));
}

// Formats

TEST_F(ZVEnvWriterTest, AssignFormatTwoReturnsZeroAndChangesNothing) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, 5, 7));
    std::string before = m_store.Bytes();
    EXPECT_EQ(0, Store().AssignFormat(2));
    EXPECT_EQ(0, Store().AssignFormat(-1));
    EXPECT_EQ(before, m_store.Bytes());
    EXPECT_EQ(0, Store().GetFormat());
}

TEST_F(ZVEnvWriterTest, AssignFormatWritesTagAndVersions) {
    EXPECT_EQ(1, Store().AssignFormat(1));
    EXPECT_EQ("ENVB", m_store.Bytes().substr(0, 4));
    EXPECT_EQ(1, Store().GetFormat());
    const uint16_t old[2] = {3, 4};
    memcpy(Store().m_pData + 4, old, sizeof old);
    EXPECT_EQ(1, Store().AssignFormat(0));
    EXPECT_EQ("ENVT", m_store.Bytes().substr(0, 4));
    EXPECT_EQ(ByteString({1, 0, 0, 0}), m_store.Bytes().substr(4, 4));
    EXPECT_EQ(0, Store().GetFormat());
    // The same tag with other versions: the versions are put right.
    memcpy(Store().m_pData + 4, old, sizeof old);
    EXPECT_EQ(1, Store().AssignFormat(0));
    EXPECT_EQ(ByteString({'E', 'N', 'V', 'T', 1, 0, 0, 0}), m_store.Bytes().substr(0, 8));
}

// Directories and integers

TEST_F(ZVEnvWriterTest, DirectoryWithDecimalKey) {
    unsigned int a = Store().CreateSubDir(kRoot, "a", -1);
    ASSERT_NE(0u, a);
    ASSERT_NE(0u, Store().SetInteger(a, "x", -1, 5, 7));
    EXPECT_EQ("a {\r\n\tnx=5\r\n}\r\n", SaveBody());
}

TEST_F(ZVEnvWriterTest, EmptyDirectory) {
    ASSERT_NE(0u, Store().CreateSubDir(kRoot, "Empty", -1));
    EXPECT_EQ(CrLf({"Empty {", "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, NestedDirectoriesIndentByOneTabEach) {
    unsigned int c = Store().CreateDir(kRoot, "a/b/c", -1);
    ASSERT_NE(0u, c);
    ASSERT_NE(0u, Store().SetInteger(c, "x", -1, 1, 7));
    unsigned int b = Store().GetDir(kRoot, "a/b", -1);
    ASSERT_NE(0u, Store().SetInteger(b, "y", -1, 2, 7));
    ASSERT_NE(0u, Store().SetInteger(kRoot, "z", -1, 3, 7));
    EXPECT_EQ(
        CrLf({"a {", "\tb {", "\t\tc {", "\t\t\tnx=1", "\t\t}", "\t\tny=2", "\t}", "}", "nz=3"}),
        SaveBody());
}

TEST_F(ZVEnvWriterTest, LockedDirectoryIsWrittenAsAPlainOne) {
    unsigned int a = Store().CreateSubDir(kRoot, "Locked", -1);
    ASSERT_NE(0u, Store().SetInteger(a, "x", -1, 1, 7));
    ASSERT_EQ(1, Store().LockDir(a, 1));
    ASSERT_EQ(6u, Store().GetAttribute(a));
    EXPECT_EQ(CrLf({"Locked {", "\tnx=1", "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, DecimalIntegers) {
    SetIntegers(7, {0, 5, -1, INT_MAX, INT_MIN});
    EXPECT_EQ(CrLf({"na=0", "nb=5", "nc=-1", "nd=2147483647", "ne=-2147483648"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, HexadecimalIntegersInLowerCase) {
    SetIntegers(11, {-1, 0, 0x1F, INT_MAX, INT_MIN, 0xABCDEF});
    EXPECT_EQ(CrLf({"na=0xffffffff", "nb=0x0", "nc=0x1f", "nd=0x7fffffff", "ne=0x80000000",
                    "nf=0xabcdef"}),
              SaveBody());
}

TEST_F(ZVEnvWriterTest, OctalIntegers) {
    SetIntegers(12, {0, 8, 511, -1, INT_MIN});
    EXPECT_EQ(CrLf({"na=0o0", "nb=0o10", "nc=0o777", "nd=0o37777777777", "ne=0o20000000000"}),
              SaveBody());
}

TEST_F(ZVEnvWriterTest, BinaryDigitsDropLeadingZerosFourAtATime) {
    SetIntegers(13, {0, 5, 16, 1, 15, INT_MIN, -1, 0x10000000, 0x01000000});
    EXPECT_EQ(CrLf({"na=0b0", "nb=0b0101", "nc=0b00010000", "nd=0b0001", "ne=0b1111",
                    "nf=0b1" + std::string(31, '0'), "ng=0b" + std::string(32, '1'),
                    "nh=0b0001" + std::string(28, '0'), "ni=0b0001" + std::string(24, '0')}),
              SaveBody());
}

// Reals, booleans

TEST_F(ZVEnvWriterTest, RealsWithFourteenSignificantDigits) {
    const double values[] = {
        0.1, 1e20, 3e9, -0.0, 1e-300, 2.0 / 3, 1e14, 1e14 - 1, 0.00001, 0.0001, 123456789.123456789,
        1.5, 100,  -2.5};
    char name[2] = {'a', 0};
    for (double value : values) {
        ASSERT_NE(0u, Store().SetDouble(kRoot, name, -1, value));
        ++name[0];
    }
    EXPECT_EQ(CrLf({"ra=0.1", "rb=1E+20", "rc=3000000000", "rd=-0", "re=1E-300",
                    "rf=0.66666666666667", "rg=1E+14", "rh=99999999999999", "ri=1E-05", "rj=0.0001",
                    "rk=123456789.12346", "rl=1.5", "rm=100", "rn=-2.5"}),
              SaveBody());
}

TEST_F(ZVEnvWriterTest, InfinitiesAndNanAreWritten) {
    ASSERT_NE(0u, Store().SetDouble(kRoot, "a", -1, std::numeric_limits<double>::infinity()));
    ASSERT_NE(0u, Store().SetDouble(kRoot, "b", -1, -std::numeric_limits<double>::infinity()));
    ASSERT_NE(0u, Store().SetDouble(kRoot, "c", -1, std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(CrLf({"ra=INF", "rb=-INF", "rc=NAN"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, RealsUseAPointInADecimalCommaLocale) {
    std::string body;
    {
        zvtest::CommaLocale comma(m_dir.Path());
        if (!comma.Ok()) {
            GTEST_SKIP() << "no locale with a decimal comma is installed and localedef could not "
                            "make one";
        }
        char probe[16];
        snprintf(probe, sizeof probe, "%.1f", 1.5);
        EXPECT_STREQ("1,5", probe);
        ASSERT_NE(0u, Store().SetDouble(kRoot, "Gain", -1, 0.15));
        ASSERT_NE(0u, Store().SetDouble(kRoot, "Big", -1, 1e20));
        ASSERT_NE(0u, Store().SetDouble(kRoot, "Neg", -1, -1234.5));
        body = SaveBody();
    }
    EXPECT_EQ(CrLf({"rGain=0.15", "rBig=1E+20", "rNeg=-1234.5"}), body);
}

TEST_F(ZVEnvWriterTest, Booleans) {
    ASSERT_NE(0u, Store().SetBoolean(kRoot, "On", -1, 1));
    ASSERT_NE(0u, Store().SetBoolean(kRoot, "Off", -1, 0));
    ASSERT_NE(0u, Store().SetBoolean(kRoot, "Many", -1, 42));
    EXPECT_EQ(CrLf({"bOn=True", "bOff=False", "bMany=True"}), SaveBody());
}

// Strings

TEST_F(ZVEnvWriterTest, StringWithEveryEscape) {
    ASSERT_NE(0u, Store().SetString(kRoot, "x", -1, "\a\b\f\n\r\t\v'\"\\", -1));
    ASSERT_NE(0u, Store().SetString(kRoot, "Empty", -1, "", -1));
    ASSERT_NE(0u, Store().SetString(kRoot, "Plain", -1, "Main unit ~!@#$%^&*()", -1));
    EXPECT_EQ(CrLf({"sx=\"\\a\\b\\f\\n\\r\\t\\v\\'\\\"\\\\\"", "sEmpty=\"\"",
                    "sPlain=\"Main unit ~!@#$%^&*()\""}),
              SaveBody());
}

TEST_F(ZVEnvWriterTest, StringControlAndHighBytes) {
    // Bytes outside 0x20-0x7E and 0xA1-0xDF (that are no double-byte pair) become \xHH.
    std::string text =
        ByteString({'A', 0x01, 0x1F, 0x7F, 0x80, 0xA0, 0xA1, 0xDF, 0xFD, 0xFE, 0xFF, 'z'});
    ASSERT_NE(0u, Store().SetString(kRoot, "x", -1, text.c_str(), -1));
    EXPECT_EQ(
        CrLf({"sx=\"A\\x01\\x1F\\x7F\\x80\\xA0" + ByteString({0xA1, 0xDF}) + "\\xFD\\xFE\\xFFz\""}),
        SaveBody());
}

TEST_F(ZVEnvWriterTest, StringShiftJisPairsStayWhole) {
    // Pairs whose trail byte is a backslash, 0x7F, the lowest and the highest trail byte, and a
    // lead byte as a trail byte: all written as they are.
    std::string pairs =
        ByteString({0x81, 0x5C, 0x83, 0x40, 0x9F, 0xFC, 0xE0, 0x7F, 0xFC, 0xFC, 0x81, 0x81, 0x5C});
    ASSERT_NE(0u, Store().SetString(kRoot, "a", -1, pairs.c_str(), -1));
    // A quote, a byte below 0x40 or 0xFD cannot follow a lead byte: the lead byte is escaped
    // alone, the next byte as usual; so is a lead byte at the end.
    std::string lone = ByteString({0x81, '"', 0x81, '\'', 0x81, '?', 0x81, 0xFD, 0x81});
    ASSERT_NE(0u, Store().SetString(kRoot, "b", -1, lone.c_str(), -1));
    EXPECT_EQ(CrLf({"sa=\"" +
                        ByteString({0x81, 0x5C, 0x83, 0x40, 0x9F, 0xFC, 0xE0, 0x7F, 0xFC, 0xFC,
                                    0x81, 0x81}) +
                        "\\\\\"",
                    "sb=\"\\x81\\\"\\x81\\'\\x81?\\x81\\xFD\\x81\""}),
              SaveBody());
}

// Binary data

TEST_F(ZVEnvWriterTest, BinaryOfNoBytes) {
    ASSERT_NE(0u, Store().SetBinData(kRoot, "x", -1, nullptr, 0));
    EXPECT_EQ(CrLf({"cx=0 {", "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, BinaryOfOneByte) {
    const unsigned char byte = 0xAB;
    ASSERT_NE(0u, Store().SetBinData(kRoot, "x", -1, &byte, 1));
    EXPECT_EQ(CrLf({"cx=1 {", "\t0xAB", "}"}), SaveBody());
}

// Rows of 16 bytes 0x00, 0x01, ... each at the indent of the block's contents.
std::string ByteRows(unsigned int count, const std::string& indent) {
    std::string out;
    for (unsigned int i = 0; i < count; ++i) {
        char hex[16];
        snprintf(hex, sizeof hex, "0x%02X", i);
        out += (i % 16 == 0 ? indent : std::string(" ")) + hex;
        if (i % 16 == 15 || i + 1 == count) {
            out += "\r\n";
        }
    }
    return out;
}

TEST_F(ZVEnvWriterTest, BinaryRowsOfSixteen) {
    unsigned char bytes[33];
    for (unsigned int i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    ASSERT_NE(0u, Store().SetBinData(kRoot, "a", -1, bytes, 16));
    ASSERT_NE(0u, Store().SetBinData(kRoot, "b", -1, bytes, 17));
    ASSERT_NE(0u, Store().SetBinData(kRoot, "c", -1, bytes, 33));
    EXPECT_EQ("ca=16 {\r\n" + ByteRows(16, "\t") + "}\r\ncb=17 {\r\n" + ByteRows(17, "\t") +
                  "}\r\ncc=33 {\r\n" + ByteRows(33, "\t") + "}\r\n",
              SaveBody());
    // The 17-byte block: its opening line, a row of 16, a row of 1, the closing brace.
    EXPECT_EQ(
        "\t0x00 0x01 0x02 0x03 0x04 0x05 0x06 0x07 0x08 0x09 0x0A 0x0B 0x0C 0x0D 0x0E 0x0F\r\n"
        "\t0x10\r\n",
        ByteRows(17, "\t"));
}

TEST_F(ZVEnvWriterTest, BinaryInsideADirectoryIndentsItsRowsOnceMore) {
    unsigned int dir = Store().CreateSubDir(kRoot, "d", -1);
    const unsigned char bytes[] = {0xFF, 0x00, 0x80};
    ASSERT_NE(0u, Store().SetBinData(dir, "x", -1, bytes, 3));
    EXPECT_EQ(CrLf({"d {", "\tcx=3 {", "\t\t0xFF 0x00 0x80", "\t}", "}"}), SaveBody());
}

// Comments

TEST_F(ZVEnvWriterTest, CommentLinesAtTheirColumns) {
    const unsigned short columns[] = {0, 3, 4, 5, 17, 200};
    for (unsigned short column : columns) {
        ASSERT_NE(0u, Store().InsertComment(kRoot, "c", -1, 4, column));
    }
    ASSERT_NE(0u, Store().InsertComment(kRoot, "", 0, 4, 1));
    EXPECT_EQ(
        CrLf({"#c", "   #c", "\t#c", "\t #c", "\t\t\t\t #c", std::string(50, '\t') + "#c", " #"}),
        SaveBody());
}

TEST_F(ZVEnvWriterTest, CommentLineInsideADirectoryKeepsItsOwnColumn) {
    unsigned int dir = Store().CreateSubDir(kRoot, "d", -1);
    ASSERT_NE(0u, Store().InsertComment(dir, " at zero", -1, 4, 0));
    ASSERT_NE(0u, Store().InsertComment(dir, " at six", -1, 4, 6));
    EXPECT_EQ(CrLf({"d {", "# at zero", "\t  # at six", "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, CommentAtTheHighestColumn) {
    ASSERT_NE(0u, Store().InsertComment(kRoot, "far", -1, 4, 65535));
    EXPECT_EQ(std::string(16383, '\t') + "   #far\r\n", SaveBody());
}

TEST_F(ZVEnvWriterTest, TrailingCommentsBehindAndBeforeTheLineEnd) {
    // Each key's line "nX=5" ends at column 4.
    const unsigned short columns[] = {15, 4, 5, 8, 2, 0};
    char name[2] = {'a', 0};
    for (unsigned short column : columns) {
        ASSERT_NE(0u, Store().SetInteger(kRoot, name, -1, 5, 7));
        ASSERT_NE(0u, Store().InsertComment(kRoot, " c", -1, 14, column));
        ++name[0];
    }
    EXPECT_EQ(
        CrLf({"na=5\t\t   # c", "nb=5# c", "nc=5 # c", "nd=5\t# c", "ne=5\t# c", "nf=5\t# c"}),
        SaveBody());
}

TEST_F(ZVEnvWriterTest, TrailingCommentInsideADirectory) {
    unsigned int dir = Store().CreateSubDir(kRoot, "d", -1);
    ASSERT_NE(0u, Store().SetString(dir, "x", -1, "v", -1));
    ASSERT_NE(0u, Store().InsertComment(dir, "t", -1, 14, 3));
    ASSERT_NE(0u, Store().SetString(dir, "y", -1, "v", -1));
    ASSERT_NE(0u, Store().InsertComment(dir, "u", -1, 14, 20));
    EXPECT_EQ(CrLf({"d {", "\tsx=\"v\"\t#t", "\tsy=\"v\"\t\t\t#u", "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, TrailingCommentsAfterDirectoryBinaryAndAsFirstChild) {
    zvtest::AddCommentsWithoutKey(Store(), 14);
    EXPECT_EQ(CrLf({"\t #first in the file", "a {\t\t  #first child", "\tnx=1",
                    "}\t\t  #after the directory", "cb=1 {", "\t0x01", "}\t\t\t#after the block"}),
              SaveBody());
}

TEST_F(ZVEnvWriterTest, TrailingCommentBeforeTheClosingBraceColumnTakesOneTab) {
    ASSERT_NE(0u, Store().CreateSubDir(kRoot, "a", -1));
    ASSERT_NE(0u, Store().InsertComment(kRoot, "c", -1, 14, 0));
    EXPECT_EQ(CrLf({"a {", "}\t#c"}), SaveBody());
}

// Fillers

TEST_F(ZVEnvWriterTest, FillerBytesAreNotWritten) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, 1, 7));
    unsigned int gap = Store().InsertItem(kRoot, 3);
    ASSERT_NE(0u, gap);
    ASSERT_EQ(8u, Store().GetAttribute(gap));
    ASSERT_NE(0u, Store().SetInteger(kRoot, "y", -1, 2, 7));
    EXPECT_EQ(CrLf({"nx=1", "ny=2"}), SaveBody());
}

// The line buffer

TEST_F(ZVEnvWriterTest, StringLongerThanTheFreeRoomIsCut) {
    std::string text(2000, 'a');
    ASSERT_NE(0u, Store().SetString(kRoot, "x", -1, text.c_str(), -1));
    std::string body = SaveBody();
    ASSERT_EQ(1025u, body.size());
    EXPECT_EQ("sx=\"" + std::string(1019, 'a') + "\r\n", body);
}

TEST_F(ZVEnvWriterTest, StringThatFillsTheFreeRoomExactlyKeepsItsQuote) {
    std::string fits(1018, 'a');
    ASSERT_NE(0u, Store().SetString(kRoot, "x", -1, fits.c_str(), -1));
    std::string over(1019, 'b');
    ASSERT_NE(0u, Store().SetString(kRoot, "y", -1, over.c_str(), -1));
    EXPECT_EQ(CrLf({"sx=\"" + fits + "\"", "sy=\"" + over}), SaveBody());
}

TEST_F(ZVEnvWriterTest, IndentCountsAgainstTheFreeRoom) {
    unsigned int dir = Store().CreateSubDir(kRoot, "d", -1);
    std::string text(2000, 'a');
    ASSERT_NE(0u, Store().SetString(dir, "x", -1, text.c_str(), -1));
    EXPECT_EQ(CrLf({"d {", "\tsx=\"" + std::string(1018, 'a'), "}"}), SaveBody());
}

TEST_F(ZVEnvWriterTest, BufferGrownByAFarCommentHoldsTheWholeString) {
    // 1000 tabs and the reserve of 128 grow the buffer to 2048 bytes, which it keeps.
    ASSERT_NE(0u, Store().InsertComment(kRoot, "c", -1, 4, 4000));
    std::string text(2000, 'a');
    ASSERT_NE(0u, Store().SetString(kRoot, "x", -1, text.c_str(), -1));
    EXPECT_EQ(CrLf({std::string(1000, '\t') + "#c", "sx=\"" + text + "\""}), SaveBody());
    EXPECT_EQ(2048u, Store().m_dwLineBufferSize);
}

TEST_F(ZVEnvWriterTest, SetLineBufferPositionsWithTabsThenBlanks) {
    EXPECT_EQ(1, Store().SetLineBuffer(-1, "%s", "abc"));
    EXPECT_EQ(1, Store().SetLineBuffer(2, "x"));       // behind the column: one tab
    EXPECT_EQ(1, Store().SetLineBuffer(5, "y"));       // at the column: nothing
    EXPECT_EQ(1, Store().SetLineBuffer(14, "%d", 7));  // two tabs to 12, two blanks
    EXPECT_EQ(1, Store().SetLineBuffer(-1, "%s", ""));
    EXPECT_EQ("abc\txy\t\t  7", std::string(Store().m_pszLineBuffer, Store().m_dwLineLength));
    EXPECT_EQ(1024u, Store().m_dwLineBufferSize);
}

TEST_F(ZVEnvWriterTest, SetLineBufferWithoutFormatFailsAndKeepsTheLine) {
    ASSERT_EQ(1, Store().SetLineBuffer(-1, "ab"));
    const char* volatile noFormat = nullptr;
    const char* format = noFormat;
    EXPECT_EQ(0, Store().SetLineBuffer(8, format));
    EXPECT_EQ(2u, Store().m_dwLineLength);
}

TEST_F(ZVEnvWriterTest, ReserveRoundsTheCapacityUpToWholeKilobytes) {
    EXPECT_EQ(1, Store().ReserveLineBuffer(1));
    EXPECT_EQ(1024u, Store().m_dwLineBufferSize);
    ASSERT_EQ(1, Store().SetLineBuffer(-1, "abc"));
    EXPECT_EQ(1, Store().ReserveLineBuffer(1500));
    EXPECT_EQ(2048u, Store().m_dwLineBufferSize);
    EXPECT_EQ("abc", std::string(Store().m_pszLineBuffer, Store().m_dwLineLength));
    EXPECT_EQ(1, Store().ReserveLineBuffer(100));
    EXPECT_EQ(2048u, Store().m_dwLineBufferSize);
}

TEST_F(ZVEnvWriterTest, FlushWritesTheLineAndCrLfButNeverAnEmptyLine) {
    FILE* file = fopen(m_path.c_str(), "w+b");
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(1, Store().FlushLineBuffer(file));
    ASSERT_EQ(1, Store().SetLineBuffer(0, "one"));
    EXPECT_EQ(1, Store().FlushLineBuffer(file));
    EXPECT_EQ(0u, Store().m_dwLineLength);
    EXPECT_EQ(1, Store().FlushLineBuffer(file));
    fclose(file);
    EXPECT_EQ("one\r\n", ReadFile(m_path));
}

TEST_F(ZVEnvWriterTest, PrintIndentWritesTheDepthInTabs) {
    const int depths[] = {0, 1, 15, 16, 40};
    for (int depth : depths) {
        FILE* file = fopen(m_path.c_str(), "w+b");
        ASSERT_NE(nullptr, file);
        Store().m_nIndent = depth;
        EXPECT_EQ(1, Store().PrintIndent(file));
        fclose(file);
        EXPECT_EQ(std::string(depth, '\t'), ReadFile(m_path)) << depth;
    }
    Store().m_nIndent = 0;
}

// The binary form

TEST_F(ZVEnvWriterTest, BinaryFormWritesTheItemBufferFromTheRootOn) {
    unsigned int dir = Store().CreateSubDir(kRoot, "Motor", -1);
    ASSERT_NE(0u, Store().SetInteger(dir, "Speed", -1, 1200, 11));
    ASSERT_NE(0u, Store().SetDouble(kRoot, "Gain", -1, 0.15));
    ASSERT_NE(0u, Store().InsertComment(kRoot, "note", -1, 14, 9));
    ASSERT_EQ(1, Store().LockDir(dir, 1));
    ASSERT_NE(0u, Store().InsertItem(kRoot, 2));
    ASSERT_EQ(1, Store().AssignFormat(1));
    std::string body = SaveBody();
    EXPECT_EQ(m_store.Items(), body);

    std::string file = ReadFile(m_path);
    EXPECT_EQ("ENVB0100,LM:", file.substr(0, 12));
    char field[64];
    snprintf(field, sizeof field, ",DS:%010u,CS:%05u", static_cast<unsigned int>(file.size()),
             zvtest::BodyChecksum(body));
    EXPECT_EQ(field, file.substr(35, 23));
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(m_path.c_str()));
    ZV_COMMON_FILE_HEADER_tag header;
    ASSERT_EQ(1, ZVCFGetCommonFileHeaderA(m_path.c_str(), &header));
    EXPECT_EQ(0, memcmp(&header, Store().m_pData, sizeof header));
    EXPECT_EQ(1, Store().GetFormat());
}

TEST_F(ZVEnvWriterTest, EmptyStoreInBinaryFormIsTheEmptyRoot) {
    ASSERT_EQ(1, Store().AssignFormat(1));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), SaveBody());
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(m_path.c_str()));
}

}  // namespace
