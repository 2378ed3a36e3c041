// Tests of loading environment files: the text grammar item by item, comments and their
// attributes and columns, line joining, the header's type and version checks, the body behind
// the first line feed, nesting limits, and every malformed input failing the load.
#include <locale.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFormatCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"
#include "ZVParseEnvFile.h"

namespace {

using zvtest::ByteString;
using zvtest::Children;
using zvtest::CommentColumn;
using zvtest::CrLf;
using zvtest::HeaderLine;
using zvtest::kSentinelError;
using zvtest::LockedStore;
using zvtest::TempDir;

const unsigned int kRoot = 38;

// A body with items of every kind, a directory and comments, one item per line.
std::string ExampleLines(const char* lineEnd) {
    const char* lines[] = {"nCount = 10",
                           "nMask = 0x1F   # low bits",
                           "rGain = 1.5e-1",
                           "bEnable = True",
                           "sTitle = 'Main unit\\n'",
                           "Motor {",
                           "  nSpeed = 1200",
                           "}",
                           "# a comment line",
                           "cTable = 3 { 1 2",
                           "0xFF }"};
    std::string body;
    for (const char* line : lines) {
        body += std::string(line) + lineEnd;
    }
    return body;
}

// The double read from text, within one unit in the last place of the expected value.
void ExpectReal(double expected, double actual) {
    EXPECT_TRUE(actual == expected || actual == nextafter(expected, 1e308) ||
                actual == nextafter(expected, -1e308))
        << "expected " << expected << ", read " << actual;
}

class ZVParseEnvFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        setlocale(LC_ALL, "C");
        ASSERT_TRUE(m_store.Ready());
        m_path = m_dir.File("env.cfg");
    }

    CZVEnvData& Store() { return m_store.store; }

    // Writes the file and loads it into the store. The last-error code is not looked at: the
    // shared data block clears it whenever the store outgrows its mapping.
    int LoadFile(const std::string& bytes) {
        zvtest::WriteFile(m_path, bytes);
        return Store().Load(m_path.c_str());
    }
    int LoadText(const std::string& body) { return LoadFile(HeaderLine("ENVT0100") + body); }

    int Integer(unsigned int dir, const char* name) {
        int value = 0x5A5A5A5A;
        EXPECT_NE(0u, Store().GetInteger(dir, name, -1, &value)) << name;
        return value;
    }
    double Real(unsigned int dir, const char* name) {
        double value = -12345.0;
        EXPECT_NE(0u, Store().GetDouble(dir, name, -1, &value)) << name;
        return value;
    }
    int Boolean(unsigned int dir, const char* name) {
        int value = 0x5A5A5A5A;
        EXPECT_NE(0u, Store().GetBoolean(dir, name, -1, &value)) << name;
        return value;
    }
    std::string String(unsigned int dir, const char* name) {
        char* text = nullptr;
        EXPECT_NE(0u, Store().GetString(dir, name, -1, &text)) << name;
        return text != nullptr ? std::string(text) : std::string("(none)");
    }
    std::string Binary(unsigned int dir, const char* name) {
        void* data = nullptr;
        unsigned int size = 0;
        EXPECT_NE(0u, Store().GetBinData(dir, name, -1, &data, &size)) << name;
        return data != nullptr ? std::string(static_cast<char*>(data), size) : std::string();
    }
    unsigned int Attribute(unsigned int dir, const char* name) {
        return Store().GetAttribute(Store().FindKey(dir, name, -1));
    }

    TempDir m_dir;
    LockedStore m_store;
    std::string m_path;
};

// The example body

TEST_F(ZVParseEnvFileTest, ExampleBodyLoadsKeyByKey) {
    ASSERT_EQ(1, LoadText(ExampleLines("\r\n")));
    EXPECT_EQ(0, Store().GetFormat());

    EXPECT_EQ(10, Integer(kRoot, "Count"));
    EXPECT_EQ(7u, Attribute(kRoot, "Count"));
    EXPECT_EQ(31, Integer(kRoot, "Mask"));
    EXPECT_EQ(11u, Attribute(kRoot, "Mask"));
    double gain = Real(kRoot, "Gain");
    ExpectReal(0.15, gain);
    EXPECT_EQ(1, Boolean(kRoot, "Enable"));
    EXPECT_EQ(3u, Attribute(kRoot, "Enable"));
    EXPECT_EQ("Main unit\n", String(kRoot, "Title"));
    unsigned int motor = Store().FindDir(kRoot, "Motor", -1);
    ASSERT_NE(0u, motor);
    EXPECT_EQ(5u, Store().GetAttribute(motor));
    EXPECT_EQ(1200, Integer(motor, "Speed"));
    EXPECT_EQ(7u, Attribute(motor, "Speed"));
    EXPECT_EQ(ByteString({1, 2, 255}), Binary(kRoot, "Table"));

    // Nine items at the root in the order of the file, the comments where they stood.
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(9u, items.size());
    const unsigned int types[] = {7, 11, 14, 9, 3, 10, 5, 4, 1};
    for (size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(types[i], Store().GetAttribute(items[i])) << i;
    }
    EXPECT_STREQ(" low bits", Store().GetKeyName(items[2]));
    EXPECT_EQ(15u, CommentColumn(Store(), items[2]));
    EXPECT_STREQ(" a comment line", Store().GetKeyName(items[7]));
    EXPECT_EQ(0u, CommentColumn(Store(), items[7]));

    // The same store built with the setters has the same items, byte for byte.
    LockedStore expected;
    ASSERT_TRUE(expected.Ready());
    CZVEnvData& e = expected.store;
    ASSERT_NE(0u, e.SetInteger(kRoot, "Count", -1, 10, 7));
    ASSERT_NE(0u, e.SetInteger(kRoot, "Mask", -1, 31, 11));
    ASSERT_NE(0u, e.InsertComment(kRoot, " low bits", -1, 14, 15));
    ASSERT_NE(0u, e.SetDouble(kRoot, "Gain", -1, gain));
    ASSERT_NE(0u, e.SetBoolean(kRoot, "Enable", -1, 1));
    ASSERT_NE(0u, e.SetString(kRoot, "Title", -1, "Main unit\n", -1));
    unsigned int dir = e.CreateSubDir(kRoot, "Motor", -1);
    ASSERT_NE(0u, e.SetInteger(dir, "Speed", -1, 1200, 7));
    ASSERT_NE(0u, e.InsertComment(kRoot, " a comment line", -1, 4, 0));
    const unsigned char table[] = {1, 2, 255};
    ASSERT_NE(0u, e.SetBinData(kRoot, "Table", -1, table, 3));
    EXPECT_EQ(expected.Items(), m_store.Items());
}

TEST_F(ZVParseEnvFileTest, ExampleBodyWithLineFeedsAlone) {
    ASSERT_EQ(1, LoadText(ExampleLines("\r\n")));
    std::string withCrLf = m_store.Items();
    ASSERT_EQ(1, LoadText(ExampleLines("\n")));
    EXPECT_EQ(withCrLf, m_store.Items());
}

TEST_F(ZVParseEnvFileTest, HeaderRecordIsTheFilesHeader) {
    ASSERT_EQ(1, LoadText(CrLf({"nx = 1"})));
    ZV_COMMON_FILE_HEADER_tag header;
    ASSERT_EQ(1, ZVCFGetCommonFileHeaderA(m_path.c_str(), &header));
    EXPECT_EQ(0, memcmp(&header, Store().m_pData, sizeof header));
    // The hand-made header line has every keyed field absent.
    EXPECT_EQ(0, header.lLastModified);
    EXPECT_EQ(-1, header.lCheckSum);
}

TEST_F(ZVParseEnvFileTest, LoadReplacesWhatTheStoreHeld) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "Old", -1, 1, 7));
    ASSERT_NE(0u, Store().CreateSubDir(kRoot, "OldDir", -1));
    ASSERT_EQ(1, LoadText(CrLf({"nNew = 2"})));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "Old", -1));
    EXPECT_EQ(0u, Store().FindDir(kRoot, "OldDir", -1));
    EXPECT_EQ(1u, Children(Store(), kRoot).size());
}

TEST_F(ZVParseEnvFileTest, ParserClosesTheFileAndCountsLines) {
    zvtest::WriteFile(m_path, HeaderLine("ENVT0100") + CrLf({"nA = 1", "nB = 2"}));
    CZVParseEnvFile parser;
    EXPECT_EQ(1, parser.Parse(m_path.c_str(), &Store()));
    EXPECT_EQ(&Store(), parser.m_pEnvData);
    EXPECT_EQ(0, parser.m_MapFile.IsOpened(nullptr));
    EXPECT_EQ(3, parser.m_Tokenizer.GetCurLine());
}

// Line joining and comments

TEST_F(ZVParseEnvFileTest, SlashAtTheLineEndJoinsTheNextLine) {
    ASSERT_EQ(1, LoadText(CrLf({"nCount = /", "5"})));
    EXPECT_EQ(5, Integer(kRoot, "Count"));
    ASSERT_EQ(1, LoadText("nCount /\n= /\r\n  7\r\n"));
    EXPECT_EQ(7, Integer(kRoot, "Count"));
}

TEST_F(ZVParseEnvFileTest, SlashBeforeOtherTokensFailsTheValue) {
    EXPECT_EQ(0, LoadText(CrLf({"nCount = / 5"})));
}

TEST_F(ZVParseEnvFileTest, CommentOnAJoinedValueLineTrailsTheKey) {
    ASSERT_EQ(1, LoadText(CrLf({"nA = /", "5 # c"})));
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(14u, Store().GetAttribute(items[1]));
    EXPECT_STREQ(" c", Store().GetKeyName(items[1]));
    EXPECT_EQ(2u, CommentColumn(Store(), items[1]));
}

TEST_F(ZVParseEnvFileTest, CommentAfterALineEndInsideAnItemIsACommentLine) {
    ASSERT_EQ(1, LoadText(CrLf({"nA =", "5 # c"})));
    EXPECT_EQ(5, Integer(kRoot, "A"));
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(4u, Store().GetAttribute(items[1]));
    EXPECT_EQ(2u, CommentColumn(Store(), items[1]));
}

TEST_F(ZVParseEnvFileTest, CommentColumnsCountTabsToMultiplesOfFour) {
    ASSERT_EQ(1, LoadText(CrLf({"\t# a", "   #b", "nx = 1\t# t", "  \t #", "ny = 2 #"})));
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(7u, items.size());
    const unsigned int types[] = {4, 4, 7, 14, 4, 7, 14};
    const unsigned int columns[] = {4, 3, 0, 8, 5, 0, 7};
    const char* texts[] = {" a", "b", nullptr, " t", "", nullptr, ""};
    for (size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(types[i], Store().GetAttribute(items[i])) << i;
        if (texts[i] != nullptr) {
            EXPECT_STREQ(texts[i], Store().GetKeyName(items[i])) << i;
            EXPECT_EQ(columns[i], CommentColumn(Store(), items[i])) << i;
        }
    }
}

TEST_F(ZVParseEnvFileTest, CommentsGoIntoTheDirectoryBeingRead) {
    ASSERT_EQ(1, LoadText(CrLf({"a { # first", "\tnx = 1 # trails", "\t# line", "} # after"})));
    unsigned int a = Store().FindDir(kRoot, "a", -1);
    ASSERT_NE(0u, a);
    std::vector<unsigned int> inside = Children(Store(), a);
    ASSERT_EQ(4u, inside.size());
    EXPECT_EQ(4u, Store().GetAttribute(inside[0]));
    EXPECT_STREQ(" first", Store().GetKeyName(inside[0]));
    EXPECT_EQ(4u, CommentColumn(Store(), inside[0]));
    EXPECT_EQ(7u, Store().GetAttribute(inside[1]));
    EXPECT_EQ(14u, Store().GetAttribute(inside[2]));
    EXPECT_EQ(11u, CommentColumn(Store(), inside[2]));
    EXPECT_EQ(4u, Store().GetAttribute(inside[3]));
    EXPECT_EQ(4u, CommentColumn(Store(), inside[3]));
    // The comment behind the closing brace is read at the root, as a comment line.
    std::vector<unsigned int> root = Children(Store(), kRoot);
    ASSERT_EQ(2u, root.size());
    EXPECT_EQ(4u, Store().GetAttribute(root[1]));
    EXPECT_STREQ(" after", Store().GetKeyName(root[1]));
    EXPECT_EQ(2u, CommentColumn(Store(), root[1]));
}

TEST_F(ZVParseEnvFileTest, CommentAtTheEndOfTheDataWithoutLineEnd) {
    ASSERT_EQ(1, LoadText("nx = 1\r\n# end"));
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(2u, items.size());
    EXPECT_STREQ(" end", Store().GetKeyName(items[1]));
    EXPECT_EQ(4u, Store().GetAttribute(items[1]));
}

// Values

TEST_F(ZVParseEnvFileTest, IntegerKeysTakeEveryNumberKind) {
    ASSERT_EQ(1, LoadText(CrLf({"nA = 1.9",
                                "nB = -1.9",
                                "nC = 4294967295",
                                "nD = 3000000000",
                                "nE = 1E+20",
                                "nF = -4294967297",
                                "nG = 1e3",
                                "nH = 15e0",
                                "nI = 0x10",
                                "nJ = 0o10",
                                "nK = 0b10",
                                "nL = -0x10",
                                "nM = 2147483647",
                                "nN = -2147483648",
                                "nO = 2147483648",
                                "nP = 150e-1",
                                "nQ = 15 e 2",
                                "nR = 0xFFFFFFFF",
                                "nS = +5",
                                "nT = - 5",
                                "nU = .5",
                                "nV = 1.5e10",
                                "nW=7"})));
    struct Expected {
        const char* name;
        int value;
        unsigned int type;
    };
    const Expected expected[] = {{"A", 1, 7},
                                 {"B", -1, 7},
                                 {"C", -1, 7},
                                 {"D", -1294967296, 7},
                                 {"E", 1661992960, 7},
                                 {"F", -1, 7},
                                 {"G", 1000, 7},
                                 {"H", 15, 7},
                                 {"I", 16, 11},
                                 {"J", 8, 12},
                                 {"K", 2, 13},
                                 {"L", -16, 11},
                                 {"M", 2147483647, 7},
                                 {"N", -2147483647 - 1, 7},
                                 {"O", -2147483647 - 1, 7},
                                 {"P", 15, 7},
                                 {"Q", 1500, 7},
                                 {"R", -1, 11},
                                 {"S", 5, 7},
                                 {"T", -5, 7},
                                 {"U", 0, 7},
                                 {"V", 2115098112, 7},
                                 {"W", 7, 7}};
    for (const Expected& e : expected) {
        EXPECT_EQ(e.value, Integer(kRoot, e.name)) << e.name;
        EXPECT_EQ(e.type, Attribute(kRoot, e.name)) << e.name;
    }
}

TEST_F(ZVParseEnvFileTest, RealKeysTakeEveryNumberKind) {
    ASSERT_EQ(1, LoadText(CrLf({"rA = 5", "rB = 0x10", "rC = 0o10", "rD = 0b11", "rE = 4294967296",
                                "rF = 3000000000", "rG = -2147483648", "rH = 1.5e-1", "rI = -0x10",
                                "rJ = 1E+20", "rK = 2.5", "rL = -0", "rM = 0xFFFFFFFF",
                                "rN = 2147483648", "rO = 0.1"})));
    EXPECT_EQ(5.0, Real(kRoot, "A"));
    EXPECT_EQ(16.0, Real(kRoot, "B"));
    EXPECT_EQ(8.0, Real(kRoot, "C"));
    EXPECT_EQ(3.0, Real(kRoot, "D"));
    EXPECT_EQ(4294967296.0, Real(kRoot, "E"));
    EXPECT_EQ(3e9, Real(kRoot, "F"));
    EXPECT_EQ(-2147483648.0, Real(kRoot, "G"));
    ExpectReal(0.15, Real(kRoot, "H"));
    EXPECT_EQ(-16.0, Real(kRoot, "I"));
    EXPECT_EQ(1e20, Real(kRoot, "J"));
    EXPECT_EQ(2.5, Real(kRoot, "K"));
    // "-0" is the decimal integer 0: the sign does not survive.
    double zero = Real(kRoot, "L");
    EXPECT_EQ(0.0, zero);
    EXPECT_FALSE(signbit(zero));
    // A hexadecimal run is a signed 32-bit value.
    EXPECT_EQ(-1.0, Real(kRoot, "M"));
    EXPECT_EQ(2147483648.0, Real(kRoot, "N"));
    EXPECT_EQ(0.1, Real(kRoot, "O"));
    EXPECT_EQ(9u, Attribute(kRoot, "A"));
}

TEST_F(ZVParseEnvFileTest, BooleansAreTrueOrFalseInAnyLetterCase) {
    ASSERT_EQ(1,
              LoadText(CrLf({"bA = True", "bB = False", "bC = true", "bD = FALSE", "bE = tRuE"})));
    const char* names[] = {"A", "B", "C", "D", "E"};
    const int values[] = {1, 0, 1, 0, 1};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(values[i], Boolean(kRoot, names[i])) << names[i];
        EXPECT_EQ(values[i] ? 3u : 2u, Attribute(kRoot, names[i])) << names[i];
    }
}

TEST_F(ZVParseEnvFileTest, StringsFromLiteralsAndBareNames) {
    ASSERT_EQ(1, LoadText(CrLf({"sA = 'abc'", "sB = \"it's\"", "sC = bare_word.2", "sD = ''",
                                "sE = 'unclosed", "sF = '\\a\\x41\\\\'", "sa.b[2] = 'v'"})));
    EXPECT_EQ("abc", String(kRoot, "A"));
    EXPECT_EQ("it's", String(kRoot, "B"));
    EXPECT_EQ("bare_word.2", String(kRoot, "C"));
    EXPECT_EQ("", String(kRoot, "D"));
    EXPECT_EQ("unclosed", String(kRoot, "E"));
    EXPECT_EQ("\aA\\", String(kRoot, "F"));
    EXPECT_EQ("v", String(kRoot, "a.b[2]"));
    EXPECT_EQ(10u, Attribute(kRoot, "A"));
}

TEST_F(ZVParseEnvFileTest, LineEndClosesALiteralEvenBehindABackslash) {
    ASSERT_EQ(1, LoadText("sA = 'abc\\\r\nsB = \"x\\\nnC = 1\r\n"));
    EXPECT_EQ("abc\\", String(kRoot, "A"));
    EXPECT_EQ("x\\", String(kRoot, "B"));
    EXPECT_EQ(1, Integer(kRoot, "C"));
}

TEST_F(ZVParseEnvFileTest, ShiftJisPairWithBackslashTrailInALiteral) {
    std::string pair = ByteString({0x81, 0x5C});
    ASSERT_EQ(1, LoadText("sA = \"" + pair + "\"\r\nsB = '" + pair + "'\r\n"));
    EXPECT_EQ(pair, String(kRoot, "A"));
    EXPECT_EQ(pair, String(kRoot, "B"));
}

TEST_F(ZVParseEnvFileTest, OtherFirstLettersStoreAStringUnderTheWholeName) {
    ASSERT_EQ(1, LoadText(CrLf({"XName = 'v'", "Other = word", "NCount = five"})));
    EXPECT_EQ("v", String(kRoot, "XName"));
    EXPECT_EQ("word", String(kRoot, "Other"));
    EXPECT_EQ("five", String(kRoot, "NCount"));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "Name", -1));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "Count", -1));
}

TEST_F(ZVParseEnvFileTest, NamesFromLiterals) {
    ASSERT_EQ(1, LoadText(CrLf({"'nQuoted' = 5", "\"sLit\" = 'v'", "'Dir' { nx = 1 }"})));
    EXPECT_EQ(5, Integer(kRoot, "Quoted"));
    EXPECT_EQ("v", String(kRoot, "Lit"));
    unsigned int dir = Store().FindDir(kRoot, "Dir", -1);
    ASSERT_NE(0u, dir);
    EXPECT_EQ(1, Integer(dir, "x"));
}

TEST_F(ZVParseEnvFileTest, BlanksAndTabsAreOptional) {
    ASSERT_EQ(1, LoadText("nA=1\r\n\tnB\t=\t2\t\r\n  rC  =  1.5  \r\nd{nE=3}\r\ncF=2{1 2}\r\n"));
    EXPECT_EQ(1, Integer(kRoot, "A"));
    EXPECT_EQ(2, Integer(kRoot, "B"));
    EXPECT_EQ(1.5, Real(kRoot, "C"));
    EXPECT_EQ(3, Integer(Store().FindDir(kRoot, "d", -1), "E"));
    EXPECT_EQ(ByteString({1, 2}), Binary(kRoot, "F"));
}

TEST_F(ZVParseEnvFileTest, LaterValuesReplaceEarlierOnes) {
    ASSERT_EQ(1, LoadText(CrLf({"nx = 1", "nx = 2", "ny = 3", "sy = 'now a string'"})));
    EXPECT_EQ(2, Integer(kRoot, "x"));
    EXPECT_EQ("now a string", String(kRoot, "y"));
    EXPECT_EQ(2u, Children(Store(), kRoot).size());
}

// Directories

TEST_F(ZVParseEnvFileTest, DirectoryNamesKeepTheirFirstLetter) {
    ASSERT_EQ(1, LoadText(CrLf({"nDir {", "}", "Empty {}"})));
    EXPECT_NE(0u, Store().FindDir(kRoot, "nDir", -1));
    EXPECT_EQ(0u, Store().FindDir(kRoot, "Dir", -1));
    EXPECT_NE(0u, Store().FindDir(kRoot, "Empty", -1));
}

TEST_F(ZVParseEnvFileTest, ReopenedDirectoryGathersItsItems) {
    ASSERT_EQ(1, LoadText(CrLf({"a { nx = 1 }", "sa = 'key'", "a { ny = 2 }"})));
    unsigned int a = Store().FindDir(kRoot, "a", -1);
    EXPECT_EQ(1, Integer(a, "x"));
    EXPECT_EQ(2, Integer(a, "y"));
    EXPECT_EQ("key", String(kRoot, "a"));
    EXPECT_EQ(2u, Children(Store(), kRoot).size());
}

// Directories d1 to dN nested in one another, with an optional key in the innermost.
std::string Nested(int depth, bool key) {
    std::string body;
    for (int i = 1; i <= depth; ++i) {
        body += std::string(i - 1, '\t') + "d" + std::to_string(i) + " {\r\n";
    }
    if (key) {
        body += std::string(depth, '\t') + "nx = 1\r\n";
    }
    for (int i = depth; i >= 1; --i) {
        body += std::string(i - 1, '\t') + "}\r\n";
    }
    return body;
}

// The innermost of depth nested directories, 0 when one is missing.
unsigned int Innermost(CZVEnvData& store, int depth) {
    unsigned int dir = kRoot;
    for (int i = 1; i <= depth && dir != 0; ++i) {
        dir = store.FindDir(dir, ("d" + std::to_string(i)).c_str(), -1);
    }
    return dir;
}

TEST_F(ZVParseEnvFileTest, SixteenNestedDirectoriesLoad) {
    ASSERT_EQ(1, LoadText(Nested(16, false)));
    EXPECT_NE(0u, Innermost(Store(), 16));
}

TEST_F(ZVParseEnvFileTest, KeyInTheFifteenthNestedDirectoryLoads) {
    ASSERT_EQ(1, LoadText(Nested(15, true)));
    EXPECT_EQ(1, Integer(Innermost(Store(), 15), "x"));
}

TEST_F(ZVParseEnvFileTest, KeyInTheSixteenthNestedDirectoryFails) {
    EXPECT_EQ(0, LoadText(Nested(16, true)));
}

// depth nested directories with a comment line in the innermost one.
std::string NestedComment(int depth) {
    std::string body = Nested(depth, false);
    const std::string close = std::string(depth - 1, '\t') + "}\r\n";
    return body.insert(body.find(close), std::string(depth, '\t') + "# deep\r\n");
}

// A comment in the sixteenth directory has no room there and is dropped: the file loads; in the
// fifteenth it is kept. So it goes also when a name given twice makes the file be read through
// the store itself.
TEST_F(ZVParseEnvFileTest, CommentInTheSixteenthNestedDirectoryIsDropped) {
    const std::string repeated = "nx = 1\r\nnx = 2\r\n";
    for (const std::string& tail : {std::string(), repeated}) {
        ASSERT_EQ(1, LoadText(NestedComment(15) + tail));
        EXPECT_EQ(1u, Children(Store(), Innermost(Store(), 15)).size());
        ASSERT_EQ(1, LoadText(NestedComment(16) + tail));
        unsigned int sixteenth = Innermost(Store(), 16);
        ASSERT_NE(0u, sixteenth);
        EXPECT_EQ(0u, Children(Store(), sixteenth).size());
    }
    EXPECT_EQ(2, Integer(kRoot, "x"));
}

TEST_F(ZVParseEnvFileTest, SeventeenNestedDirectoriesFailAfterTheSixteenth) {
    EXPECT_EQ(0, LoadText(Nested(17, false)));
    // What was read before the failure stays in the store.
    unsigned int sixteenth = Innermost(Store(), 16);
    ASSERT_NE(0u, sixteenth);
    EXPECT_EQ(0u, Children(Store(), sixteenth).size());
}

// Binary data

TEST_F(ZVParseEnvFileTest, BinaryBytesInEveryNumberKind) {
    ASSERT_EQ(1, LoadText(CrLf({"cA = 0x3 { 0o1 0b10 2.9 }", "cB = 4 { 7 }", "cC = 0 { }",
                                "cD = 0b10 {", " 1", "", "\t255", "}", "cE = 0o2 {0xFF 0}"})));
    EXPECT_EQ(ByteString({1, 2, 2}), Binary(kRoot, "A"));
    EXPECT_EQ(ByteString({7, 0, 0, 0}), Binary(kRoot, "B"));
    EXPECT_EQ("", Binary(kRoot, "C"));
    EXPECT_EQ(ByteString({1, 255}), Binary(kRoot, "D"));
    EXPECT_EQ(ByteString({255, 0}), Binary(kRoot, "E"));
    EXPECT_EQ(1u, Attribute(kRoot, "A"));
}

TEST_F(ZVParseEnvFileTest, CommentsInsideABinaryBlockTrailItAsTheBufferGrows) {
    // Each comment is inserted behind the block and grows the buffer; the bytes after it must
    // still land in the block.
    const int count = 100;
    // The first comment stands on the value's line and trails the block; the others are
    // comment lines.
    std::string body = "cx = 20000 {";
    for (int i = 0; i < count; ++i) {
        body += " " + std::to_string(i) + " #" + std::string(200, static_cast<char>('a' + i % 26)) +
                "\r\n";
    }
    body += "}\r\nny = 1\r\n";
    ASSERT_EQ(1, LoadText(body));
    std::string bytes = Binary(kRoot, "x");
    ASSERT_EQ(20000u, bytes.size());
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(i, static_cast<unsigned char>(bytes[i])) << i;
    }
    EXPECT_EQ(std::string(20000 - count, '\0'), bytes.substr(count));
    std::vector<unsigned int> items = Children(Store(), kRoot);
    ASSERT_EQ(static_cast<size_t>(count + 2), items.size());
    for (int i = 1; i <= count; ++i) {
        EXPECT_EQ(i == 1 ? 14u : 4u, Store().GetAttribute(items[i])) << i;
        EXPECT_EQ(std::string(200, static_cast<char>('a' + (i - 1) % 26)),
                  Store().GetKeyName(items[i]));
    }
    EXPECT_EQ(1, Integer(kRoot, "y"));
}

// The header line and the body behind it

TEST_F(ZVParseEnvFileTest, EmptyBodyLoadsAnEmptyTextStore) {
    ASSERT_NE(0u, Store().SetInteger(kRoot, "x", -1, 1, 7));
    ASSERT_EQ(1, LoadText(""));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
    EXPECT_EQ(0, Store().GetFormat());
    EXPECT_EQ("ENVT", m_store.Bytes().substr(0, 4));
}

TEST_F(ZVParseEnvFileTest, BinaryHeaderAloneLoadsAnEmptyBinaryStore) {
    ASSERT_EQ(1, LoadFile(HeaderLine("ENVB0100")));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
    EXPECT_EQ(1, Store().GetFormat());
}

TEST_F(ZVParseEnvFileTest, BinaryBodyShorterThanARootIsAnEmptyRoot) {
    ASSERT_EQ(1, LoadFile(HeaderLine("ENVB0100") + ByteString({5, 6, 0, 0, 0, 0})));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
}

TEST_F(ZVParseEnvFileTest, BinaryBodyIsTakenAsItIs) {
    LockedStore source;
    ASSERT_TRUE(source.Ready());
    unsigned int dir = source.store.CreateSubDir(kRoot, "Motor", -1);
    ASSERT_NE(0u, source.store.SetInteger(dir, "Speed", -1, 1200, 12));
    ASSERT_EQ(1, source.store.LockDir(dir, 1));
    ASSERT_NE(0u, source.store.InsertItem(kRoot, 3));
    ASSERT_EQ(1, LoadFile(HeaderLine("ENVB0100") + source.Items()));
    EXPECT_EQ(source.Items(), m_store.Items());
    EXPECT_EQ(1, Store().GetFormat());
}

TEST_F(ZVParseEnvFileTest, HeaderWithoutAnyLineFeedLeavesAnEmptyBody) {
    std::string header = HeaderLine("ENVT0100");
    // The header ends in CR alone, and nothing follows.
    ASSERT_EQ(1, LoadFile(header.substr(0, 95)));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
    // No line end at all.
    ASSERT_EQ(1, LoadFile(header.substr(0, 94)));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
    // A CR-ended header line followed by text without a line feed: still no body.
    ASSERT_EQ(1, LoadFile(header.substr(0, 95) + "nx = 5"));
    EXPECT_EQ(ByteString({5, 7, 0, 0, 0, 0, 0}), m_store.Items());
    ASSERT_EQ(1, LoadFile(HeaderLine("ENVB0100").substr(0, 95)));
    EXPECT_EQ(1, Store().GetFormat());
}

TEST_F(ZVParseEnvFileTest, BodyStartsBehindTheFirstLineFeed) {
    // A header line ended by CR alone: the body starts behind the first LF of the file, so the
    // line that follows the header is skipped too.
    std::string header = HeaderLine("ENVT0100").substr(0, 95);
    ASSERT_EQ(1, LoadFile(header + CrLf({"nx = 5", "ny = 6"})));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "x", -1));
    EXPECT_EQ(6, Integer(kRoot, "y"));
}

struct VersionCase {
    const char* typeAndVersion;
    int loads;
};

void PrintTo(const VersionCase& c, std::ostream* os) {
    *os << c.typeAndVersion;
}

class ZVParseEnvFileVersionTest : public ZVParseEnvFileTest,
                                  public ::testing::WithParamInterface<VersionCase> {};

TEST_P(ZVParseEnvFileVersionTest, TypeAndVersionDecide) {
    const VersionCase& c = GetParam();
    bool binary = std::string(c.typeAndVersion).compare(0, 4, "ENVB") == 0;
    std::string body =
        binary ? ByteString({5, 15, 0, 0, 0, 0, 0, 7, 'X', 'x', 0, 7, 0, 0, 0}) : CrLf({"nx = 7"});
    ASSERT_EQ(c.loads, LoadFile(HeaderLine(c.typeAndVersion) + body));
    if (c.loads) {
        EXPECT_EQ(7, Integer(kRoot, "x"));
        EXPECT_EQ(binary ? 1 : 0, Store().GetFormat());
        // The store keeps the file's versions.
        ZV_COMMON_FILE_HEADER_tag header;
        ASSERT_EQ(1, ZVCFGetCommonFileHeaderA(m_path.c_str(), &header));
        EXPECT_EQ(0, memcmp(&header, Store().m_pData, sizeof header));
    }
}

INSTANTIATE_TEST_SUITE_P(Headers, ZVParseEnvFileVersionTest,
                         ::testing::Values(VersionCase{"ENVT0100", 1}, VersionCase{"ENVT0007", 1},
                                           VersionCase{"ENVT0000", 1}, VersionCase{"ENVT0099", 1},
                                           VersionCase{"ENVT00**", 1}, VersionCase{"ENVB0100", 1},
                                           VersionCase{"ENVB0007", 1}, VersionCase{"ENVT0101", 0},
                                           VersionCase{"ENVT0200", 0}, VersionCase{"ENVT9900", 0},
                                           VersionCase{"ENVT****", 0}, VersionCase{"ENVT01**", 0},
                                           VersionCase{"ENVT**00", 0}, VersionCase{"ENVB0101", 0},
                                           VersionCase{"ENVB0200", 0}, VersionCase{"ENVX0100", 0},
                                           VersionCase{"NONE0100", 0}, VersionCase{"EHST0100", 0},
                                           VersionCase{"envt0100", 0}, VersionCase{"ENV 0100", 0}));

TEST_F(ZVParseEnvFileTest, FileWithoutHeaderLineIsRefused) {
    EXPECT_EQ(0, LoadFile(CrLf({"nx = 1"})));
    zvtest::WriteFile(m_path, "");
    EXPECT_EQ(0, Store().Load(m_path.c_str()));
}

TEST_F(ZVParseEnvFileTest, MissingFileIsRefused) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, Store().Load(m_dir.File("missing.cfg").c_str()));
}

TEST_F(ZVParseEnvFileTest, HeaderThatDoesNotParseIsRefused) {
    // A network address written with colons makes the header line unreadable.
    std::string header = HeaderLine("ENVT0100");
    header.replace(62, 17, "00:11:22:33:44:55");
    zvtest::WriteFile(m_path, header + CrLf({"nx = 1"}));
    EXPECT_EQ(0, Store().Load(m_path.c_str()));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "x", -1));
}

// Failures

TEST_F(ZVParseEnvFileTest, FailureKeepsWhatWasReadBeforeIt) {
    zvtest::WriteFile(m_path, HeaderLine("ENVT0100") +
                                  CrLf({"nA = 1", "d {", "\tnB = 2", "\tnC = 0x", "}", "nD = 4"}));
    CZVParseEnvFile parser;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, parser.Parse(m_path.c_str(), &Store()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, parser.m_MapFile.IsOpened(nullptr));
    // The tokenizer stopped on the fourth line of the body.
    EXPECT_EQ(4, parser.m_Tokenizer.GetCurLine());
    EXPECT_EQ(1, Integer(kRoot, "A"));
    unsigned int d = Store().FindDir(kRoot, "d", -1);
    ASSERT_NE(0u, d);
    EXPECT_EQ(2, Integer(d, "B"));
    EXPECT_EQ(0u, Store().FindKey(d, "C", -1));
    EXPECT_EQ(0u, Store().FindKey(kRoot, "D", -1));
}

// A body that fails the load, and a body one mistake away from it that loads.
struct MalformedCase {
    const char* name;
    const char* body;
    const char* twin;
};

class ZVParseEnvFileMalformedTest : public ZVParseEnvFileTest,
                                    public ::testing::WithParamInterface<MalformedCase> {};

void PrintTo(const MalformedCase& c, std::ostream* os) {
    *os << c.name;
}

// Each body is small enough for the store's first mapping, so nothing but the parser could set
// a code: it sets none.
TEST_P(ZVParseEnvFileMalformedTest, FailsTheLoad) {
    ASSERT_EQ(1, LoadText(GetParam().twin));
    zvtest::WriteFile(m_path, HeaderLine("ENVT0100") + GetParam().body);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, Store().Load(m_path.c_str()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

const MalformedCase kMalformed[] = {
    {"UnclosedBrace", "a {\r\n\tnx = 1\r\n", "a {\r\n\tnx = 1\r\n}\r\n"},
    {"UnclosedBraceAtTheEnd", "a {", "a {}"},
    {"UnclosedInnerBrace", "a {\r\nb {\r\n}\r\n", "a {\r\nb {\r\n}\r\n}\r\n"},
    {"BadHexDigit", "nx = 0xZZ\r\n", "nx = 0xFF\r\n"},
    {"HexBeyond32Bits", "nx = 0x123456789\r\n", "nx = 0x12345678\r\n"},
    {"OctalWithoutDigits", "nx = 0o\r\n", "nx = 0o0\r\n"},
    {"BinaryDigitTwo", "nx = 0b2\r\n", "nx = 0b1\r\n"},
    {"LonePoint", "rx = .\r\n", "rx = .5\r\n"},
    {"PointWithoutDigit", "rx = 1.\r\n", "rx = 1.0\r\n"},
    {"HexPrefixAtTheEnd", "nx = 0x", "nx = 0x0"},
    {"OctalPrefixAtTheEnd", "nx = 0o", "nx = 0o7"},
    {"BinaryPrefixAtTheEnd", "nx = 0b", "nx = 0b1"},
    {"ExponentWithoutDigits", "rx = 1e\r\n", "rx = 1e2\r\n"},
    {"ExponentAtTheEnd", "rx = 1e", "rx = 1e2"},
    {"ExponentSignWithoutDigits", "rx = 1E+\r\n", "rx = 1E+2\r\n"},
    {"ExponentFollowedByALetter", "rx = 1ex\r\n", "rx = 1e1\r\n"},
    {"NumberThenWordWithE", "nx = 15 east\r\n", "nx = 15 # east\r\n"},
    {"SlashAsTheLastByte", "nx = 5 /", "nx = 5 /\r\n"},
    {"SlashAsTheLastByteOfAValue", "nx = /", "nx = /\n5"},
    {"CommaBetweenBinaryBytes", "cx = 2 { 1, 2 }\r\n", "cx = 2 { 1 2 }\r\n"},
    {"BinaryByte256", "cx = 1 { 256 }\r\n", "cx = 1 { 255 }\r\n"},
    {"NegativeBinaryByte", "cx = 1 { -1 }\r\n", "cx = 1 { 0 }\r\n"},
    {"MoreBytesThanTheCount", "cx = 1 { 1 2 }\r\n", "cx = 2 { 1 2 }\r\n"},
    {"NegativeCount", "cx = -1 { }\r\n", "cx = 1 { }\r\n"},
    {"RealCount", "cx = 1.5 { 1 }\r\n", "cx = 1 { 1 }\r\n"},
    {"CountBeyond32Bits", "cx = 4294967296 { }\r\n", "cx = 0x10 { }\r\n"},
    {"CountWithTheTopBitSet", "cx = 0x80000000 { }\r\n", "cx = 0x7F { }\r\n"},
    {"StringAsBinaryByte", "cx = 1 { 'a' }\r\n", "cx = 1 { 97 }\r\n"},
    {"NameAsBinaryByte", "cx = 1 { x }\r\n", "cx = 1 { 0x1 }\r\n"},
    {"BinaryWithoutBrace", "cx = 1 1 }\r\n", "cx = 1 { 1 }\r\n"},
    {"BinaryEndsInsideTheBlock", "cx = 1 { 1", "cx = 1 { 1 }"},
    {"InvalidIntegerKeyName", "n1x = 5\r\n", "nx1 = 5\r\n"},
    {"InvalidRealKeyName", "r1x = 1.5\r\n", "rx1 = 1.5\r\n"},
    {"InvalidBooleanKeyName", "b1x = True\r\n", "bx1 = True\r\n"},
    {"InvalidStringKeyName", "s1x = 'v'\r\n", "sx1 = 'v'\r\n"},
    {"InvalidBinaryKeyName", "c1x = 1 { 1 }\r\n", "cx1 = 1 { 1 }\r\n"},
    {"EmptyKeyName", "n = 5\r\n", "nn = 5\r\n"},
    {"EmptyQuotedName", "'' = 5\r\n", "'nx' = 5\r\n"},
    {"EmptyQuotedDirectoryName", "'' { }\r\n", "'d' { }\r\n"},
    {"QuotedNameWithBlank", "'a b' = 5\r\n", "'na_b' = 5\r\n"},
    {"QuotedDirectoryNameWithHyphen", "'a-b' { }\r\n", "'a_b' { }\r\n"},
    {"BooleanYes", "bx = Yes\r\n", "bx = True\r\n"},
    {"BooleanNumber", "bx = 1\r\n", "bx = False\r\n"},
    {"BooleanLiteral", "bx = 'True'\r\n", "bx = True\r\n"},
    {"UpperCaseTypeLetterWithNumber", "NCount = 5\r\n", "nCount = 5\r\n"},
    {"OtherLetterWithNumber", "xName = 5\r\n", "xName = five\r\n"},
    {"StringFromNumber", "sx = 5\r\n", "sx = '5'\r\n"},
    {"IntegerFromLiteral", "nx = 'five'\r\n", "nx = 5\r\n"},
    {"IntegerFromName", "nx = abc\r\n", "nx = 0xabc\r\n"},
    {"RealFromBoolean", "rx = True\r\n", "rx = 1\r\n"},
    {"NoEqualsSign", "nx 5\r\n", "nx = 5\r\n"},
    {"NoValue", "nx = ", "nx = 0"},
    {"NoName", "= 5\r\n", "nx = 5\r\n"},
    {"NumberAsName", "5 = 3\r\n", "nA5 = 3\r\n"},
    {"EqualsAsValue", "nx = = 5\r\n", "nx = 5\r\n"},
    {"BraceAsValue", "nx = {\r\n", "nx {}\r\n"},
    {"ClosingBraceAtTheRoot", "}\r\n", "a {\r\n}\r\n"},
    {"CarriageReturnAloneEndsNoLine", "nx = 1\rny = 2\r\n", "nx = 1\r\nny = 2\r\n"},
    {"InfinityAsValue", "rx = INF\r\n", "rx = 1E+308\r\n"},
    {"NanAsValue", "rx = NAN\r\n", "rx = 0\r\n"},
    {"NegativeInfinityAsValue", "rx = -INF\r\n", "rx = -1E+308\r\n"},
};

INSTANTIATE_TEST_SUITE_P(Bodies, ZVParseEnvFileMalformedTest, ::testing::ValuesIn(kMalformed),
                         [](const ::testing::TestParamInfo<MalformedCase>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
