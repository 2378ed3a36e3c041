// CZVTokenProvider: the tokens of the text environment form, each matcher on its own through the
// virtual slots, the number limits, the pushback stack, line and column counting, and the
// escaping and unescaping of string literals.
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVTokenProvider.h"

namespace {

using zvtest::kSentinelError;

typedef int (CZVTokenProvider::*Matcher)(const char*, int, ZV_TOKEN_tag*);

// Keeps null pointers opaque to the compiler.
const char* volatile g_nullText = nullptr;
ZV_TOKEN_tag* volatile g_nullToken = nullptr;

// A token whose every byte is 0xA5, to see which fields a call writes.
ZV_TOKEN_tag Pattern() {
    ZV_TOKEN_tag token;
    memset(&token, 0xA5, sizeof token);
    return token;
}

bool IsPattern(const ZV_TOKEN_tag& token) {
    ZV_TOKEN_tag pattern = Pattern();
    return memcmp(&pattern, &token, sizeof token) == 0;
}

// The bytes of a name, comment or string token.
std::string TextOf(const ZV_TOKEN_tag& token) {
    return std::string(token.pszText, token.dwLength);
}

// A NUL-terminated library string as bytes.
std::string Str(const char* text) {
    return text == nullptr ? std::string("(null)") : std::string(text);
}

// The "%.14G" text of a real, the precision a written real carries.
std::string G14(double value) {
    char text[64];
    snprintf(text, sizeof text, "%.14G", value);
    return text;
}

// Text of exactly its bytes on the heap, so a read behind the end shows under the sanitizer.
class Bytes {
public:
    explicit Bytes(const std::string& text) : m_size(text.size()), m_bytes(new char[text.size()]) {
        if (!text.empty()) {
            memcpy(m_bytes.get(), text.data(), text.size());
        }
    }
    char* Data() { return m_bytes.get(); }
    int Size() const { return static_cast<int>(m_size); }

private:
    size_t m_size;
    std::unique_ptr<char[]> m_bytes;
};

class ZVTokenProviderTest : public ::testing::Test {
protected:
    void SetUp() override { TarnSetLastError(kSentinelError); }
    // The provider reports by result only: no test leaves a code behind.
    void TearDown() override { EXPECT_EQ(kSentinelError, TarnGetLastError()); }

    // Gives the provider a heap copy of exactly the bytes of text.
    void Load(const std::string& text) {
        m_data.reset(new Bytes(text));
        ASSERT_EQ(1, m_provider.SetData(m_data->Data(), static_cast<unsigned int>(text.size())));
    }

    // The next token; a failure to get one fails the test.
    ZV_TOKEN_tag Next() {
        ZV_TOKEN_tag token = Pattern();
        EXPECT_EQ(1, m_provider.GetToken(&token)) << "at position " << m_provider.GetCurPos();
        return token;
    }

    // Runs a matcher through its slot on exactly the bytes of text, once with a token and once
    // without, checks that both take the same bytes, and returns the count. The bytes stay until
    // the next call, so a token may point into them.
    int Match(Matcher matcher, const std::string& text, ZV_TOKEN_tag* token) {
        CZVTokenProvider& base = m_provider;
        m_matched.reset(new Bytes(text));
        ZV_TOKEN_tag* none = g_nullToken;
        int lengthOnly = (base.*matcher)(m_matched->Data(), m_matched->Size(), none);
        int count = (base.*matcher)(m_matched->Data(), m_matched->Size(), token);
        EXPECT_EQ(count, lengthOnly) << "null out argument on \"" << text << "\"";
        return count;
    }

    // MatchRiteral on text: the bytes taken and the decoded text; the token is deleted again.
    std::pair<int, std::string> Literal(const std::string& text) {
        ZV_TOKEN_tag token = Pattern();
        int count = Match(&CZVTokenProvider::MatchRiteral, text, &token);
        std::string decoded;
        if (count > 0) {
            EXPECT_EQ(ZV_TOKEN_STRING, token.nKind) << text;
            decoded = TextOf(token);
            EXPECT_EQ(1, m_provider.DeleteToken(&token));
        }
        return std::make_pair(count, decoded);
    }

    // The kind and bytes of every token of text up to the end; a malformed token ends the list
    // with the kind -1.
    std::vector<std::pair<int, std::string>> Kinds(const std::string& text) {
        Load(text);
        std::vector<std::pair<int, std::string>> kinds;
        while (!m_provider.IsEndOfData()) {
            ZV_TOKEN_tag token = Pattern();
            if (m_provider.GetToken(&token) != 1) {
                kinds.push_back(std::make_pair(-1, std::string()));
                break;
            }
            kinds.push_back(std::make_pair(
                token.nKind, text.substr(static_cast<size_t>(token.nStart),
                                         static_cast<size_t>(token.nEnd - token.nStart))));
            m_provider.DeleteToken(&token);
        }
        return kinds;
    }

    CZVTokenProvider m_provider;
    std::unique_ptr<Bytes> m_data;
    std::unique_ptr<Bytes> m_matched;
};

typedef std::vector<std::pair<int, std::string>> KindList;

std::pair<int, std::string> Taken(int count, const std::string& decoded) {
    return std::make_pair(count, decoded);
}

// ----------------------------------------------------------------------------------------------
// Construction, data and reset

TEST_F(ZVTokenProviderTest, ConstructedOnTheSharedEmptyStringOfLengthOne) {
    EXPECT_EQ(0, m_provider.m_nPushbackCount);
    ASSERT_NE(nullptr, m_provider.m_pData);
    EXPECT_EQ('\0', m_provider.m_pData[0]);
    EXPECT_EQ(1u, m_provider.m_dwDataLength);
    EXPECT_EQ(1, m_provider.m_nCurLine);
    EXPECT_EQ(0, m_provider.m_nLineStart);
    EXPECT_EQ(0, m_provider.m_nCurPos);
    EXPECT_EQ(1, m_provider.GetCurLine());
    EXPECT_EQ(0, m_provider.GetCurPos());
    // The same object an empty decode returns.
    char* empty = CZVTokenProvider::ParseString("", 0);
    EXPECT_EQ(empty, m_provider.m_pData);
}

TEST_F(ZVTokenProviderTest, FreshProviderReadsItsOneNulByte) {
    EXPECT_EQ(0, m_provider.IsEndOfData());
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_CHAR, token.nKind);
    EXPECT_EQ(0, token.nValue);
    EXPECT_EQ(0, token.nStart);
    EXPECT_EQ(1, token.nEnd);
    EXPECT_EQ(1, m_provider.IsEndOfData());
    token = Pattern();
    EXPECT_EQ(0, m_provider.GetToken(&token));
    EXPECT_EQ(ZV_TOKEN_NONE, token.nKind);
}

TEST_F(ZVTokenProviderTest, SetDataStoresTheBufferAndResets) {
    char text[] = "a\nb";
    ASSERT_EQ(1, m_provider.SetData(text, 3));
    EXPECT_EQ(text, m_provider.m_pData);
    EXPECT_EQ(3u, m_provider.m_dwDataLength);
    Next();
    Next();
    EXPECT_EQ(2, m_provider.GetCurLine());
    EXPECT_EQ(2, m_provider.GetCurPos());
    char other[] = "xyz";
    EXPECT_EQ(1, m_provider.SetData(other, 2));
    EXPECT_EQ(other, m_provider.m_pData);
    EXPECT_EQ(2u, m_provider.m_dwDataLength);
    EXPECT_EQ(1, m_provider.GetCurLine());
    EXPECT_EQ(0, m_provider.GetCurPos());
    EXPECT_EQ(0, m_provider.m_nLineStart);
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, token.nKind);
    EXPECT_EQ("xy", TextOf(token));  // only the given length is read
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, SetDataOfNullIsRefusedAndChangesNothing) {
    Load("a\nb");
    Next();
    Next();
    char* data = m_provider.m_pData;
    EXPECT_EQ(0, m_provider.SetData(nullptr, 5));
    EXPECT_EQ(0, m_provider.SetData(nullptr, 0));
    EXPECT_EQ(data, m_provider.m_pData);
    EXPECT_EQ(3u, m_provider.m_dwDataLength);
    EXPECT_EQ(2, m_provider.GetCurPos());
    EXPECT_EQ(2, m_provider.GetCurLine());
}

TEST_F(ZVTokenProviderTest, EmptyDataIsAtItsEndAtOnce) {
    Load("");
    EXPECT_EQ(1, m_provider.IsEndOfData());
    ZV_TOKEN_tag token = Pattern();
    EXPECT_EQ(0, m_provider.GetToken(&token));
    EXPECT_EQ(ZV_TOKEN_NONE, token.nKind);
    EXPECT_EQ(0, m_provider.GetCurPos());
}

TEST_F(ZVTokenProviderTest, ResetGoesBackToTheFirstByteAndLine) {
    Load("x\r\ny\n");
    Next();
    Next();
    Next();
    EXPECT_EQ(2, m_provider.GetCurLine());
    EXPECT_EQ(1, m_provider.Reset());
    EXPECT_EQ(1, m_provider.GetCurLine());
    EXPECT_EQ(0, m_provider.GetCurPos());
    EXPECT_EQ(0, m_provider.m_nLineStart);
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, token.nKind);
    EXPECT_EQ("x", TextOf(token));
}

TEST_F(ZVTokenProviderTest, GetTokenWithoutATokenFails) {
    Load("x");
    EXPECT_EQ(0, m_provider.GetToken(g_nullToken));
    EXPECT_EQ(0, m_provider.GetCurPos());
    EXPECT_EQ(0, m_provider.IsEndOfData());
}

// ----------------------------------------------------------------------------------------------
// The reader's edge cases

TEST_F(ZVTokenProviderTest, NameWithDotsAndBracketsIsOneToken) {
    EXPECT_EQ(KindList({{ZV_TOKEN_NAME, "a.b[2]"}}), Kinds("a.b[2]"));
}

TEST_F(ZVTokenProviderTest, MinusBeforeANameIsACharacter) {
    Load("-x");
    ZV_TOKEN_tag minus = Next();
    EXPECT_EQ(ZV_TOKEN_CHAR, minus.nKind);
    EXPECT_EQ('-', minus.nValue);
    EXPECT_EQ('-', minus.cChar);
    ZV_TOKEN_tag name = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, name.nKind);
    EXPECT_EQ("x", TextOf(name));
    EXPECT_EQ(1, name.nStart);
    EXPECT_EQ(2, name.nEnd);
}

TEST_F(ZVTokenProviderTest, HexLargestSignedValueIsAccepted) {
    Load("0x7FFFFFFF");
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_HEX, token.nKind);
    EXPECT_EQ(0x7FFFFFFF, token.nValue);
    EXPECT_EQ(10, token.nEnd);
}

TEST_F(ZVTokenProviderTest, HexOfMoreThan32BitsFailsWithoutMoving) {
    Load("ab 0x123456789");
    Next();
    Next();
    ZV_TOKEN_tag token = Pattern();
    EXPECT_EQ(0, m_provider.GetToken(&token));
    EXPECT_EQ(ZV_TOKEN_NONE, token.nKind);
    EXPECT_EQ(3, m_provider.GetCurPos());
    EXPECT_EQ(0, m_provider.IsEndOfData());
    // It fails again: the position does not move on past a malformed token.
    EXPECT_EQ(0, m_provider.GetToken(&token));
    EXPECT_EQ(3, m_provider.GetCurPos());
}

TEST_F(ZVTokenProviderTest, NegativeHex) {
    Load("-0x10");
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_HEX, token.nKind);
    EXPECT_EQ(-16, token.nValue);
    EXPECT_EQ(5, token.nEnd);
}

TEST_F(ZVTokenProviderTest, DecimalBeyond32BitsIsBig) {
    Load("4294967296");
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_BIG, token.nKind);
    EXPECT_EQ(4294967296.0, token.dValue);
    Load("42");
    token = Next();
    EXPECT_EQ(ZV_TOKEN_DECIMAL, token.nKind);
    EXPECT_EQ(42, token.nValue);
}

TEST_F(ZVTokenProviderTest, RealWithExponent) {
    Load("1.5e3");
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_REAL, token.nKind);
    EXPECT_EQ(1500.0, token.dValue);
    EXPECT_EQ(5, token.nEnd);
}

TEST_F(ZVTokenProviderTest, ExponentWithBlanksAroundTheEIsOneIntegerToken) {
    Load("15 e 2");
    ZV_TOKEN_tag token = Next();
    EXPECT_EQ(ZV_TOKEN_DECIMAL, token.nKind);
    EXPECT_EQ(1500, token.nValue);
    EXPECT_EQ(0, token.nStart);
    EXPECT_EQ(6, token.nEnd);
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, BlanksBehindANumberBelongToIt) {
    EXPECT_EQ(KindList({{ZV_TOKEN_DECIMAL, "15 \t "}, {ZV_TOKEN_CHAR, ","}}), Kinds("15 \t ,"));
    EXPECT_EQ(KindList({{ZV_TOKEN_REAL, "1.5  "}, {ZV_TOKEN_COMMENT, "#c"}}), Kinds("1.5  #c"));
    EXPECT_EQ(KindList({{ZV_TOKEN_DECIMAL, "7 "}, {ZV_TOKEN_LINE_END, "\n"}}), Kinds("7 \n"));
}

TEST_F(ZVTokenProviderTest, NumberFollowedByAWordStartingWithEIsMalformed) {
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15 east"));
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15 East"));
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15e"));
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15e "));
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15e-"));
    EXPECT_EQ(KindList({{-1, ""}}), Kinds("15e."));
    // Another word is not an exponent.
    EXPECT_EQ(KindList({{ZV_TOKEN_DECIMAL, "15 "}, {ZV_TOKEN_NAME, "west"}}), Kinds("15 west"));
}

TEST_F(ZVTokenProviderTest, TabAtTheLineStartPutsTheNextTokenAtColumn4) {
    Load("\tx");
    ZV_TOKEN_tag blanks = Next();
    EXPECT_EQ(ZV_TOKEN_BLANKS, blanks.nKind);
    EXPECT_EQ(0, blanks.nColumn);
    ZV_TOKEN_tag name = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, name.nKind);
    EXPECT_EQ(4, name.nColumn);
    EXPECT_EQ(1, name.nStart);
}

TEST_F(ZVTokenProviderTest, TabAfterThreeBytesAlsoPutsTheNextTokenAtColumn4) {
    Load("abc\tx");
    EXPECT_EQ(0, Next().nColumn);
    EXPECT_EQ(3, Next().nColumn);
    ZV_TOKEN_tag name = Next();
    EXPECT_EQ(4, name.nColumn);
    EXPECT_EQ(4, name.nStart);
}

TEST_F(ZVTokenProviderTest, TabAfterFourBytesGoesOnToColumn8) {
    Load("abcd\tx");
    Next();
    Next();
    EXPECT_EQ(8, Next().nColumn);
}

TEST_F(ZVTokenProviderTest, LiteralWithoutClosingQuoteAtTheLineEndIsAccepted) {
    Load("'abc\r\nx");
    ZV_TOKEN_tag literal = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, literal.nKind);
    EXPECT_STREQ("abc", literal.pszText);
    EXPECT_EQ(3u, literal.dwLength);
    EXPECT_EQ(4, literal.nEnd);
    EXPECT_EQ(1, m_provider.DeleteToken(&literal));
    EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
    EXPECT_EQ(ZV_TOKEN_NAME, Next().nKind);
}

TEST_F(ZVTokenProviderTest, LiteralWithoutClosingQuoteAtTheDataEndIsAccepted) {
    Load("\"abc");
    ZV_TOKEN_tag literal = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, literal.nKind);
    EXPECT_STREQ("abc", literal.pszText);
    EXPECT_EQ(4, literal.nEnd);
    m_provider.DeleteToken(&literal);
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

// After the first digit of an octal escape only 1 to 7 continue it, and only below 256.
TEST_F(ZVTokenProviderTest, OctalEscapesStopAtAZeroOrAtTheByteLimit) {
    struct Case {
        const char* body;
        std::string decoded;
    };
    const Case cases[] = {
        {"\\101", std::string("\x01"
                              "01")},
        {"\\100", std::string("\x01"
                              "00")},
        {"\\141", "a"},
        {"\\123", "S"},
        {"\\377", "\xFF"},
        {"\\477", std::string("\x27"
                              "7")},
        {"\\0", std::string(1, '\0')},
        {"\\08", std::string("\0"
                             "8",
                             2)},
        {"\\18", std::string("\x01"
                             "8")},
        {"\\19", std::string("\x01"
                             "9")},
        {"\\7777", "?77"},
        {"\\400", std::string("\x04"
                              "00")},
        {"\\477x", std::string("\x27"
                               "7x")},
        {"\\1234", std::string("\x53"
                               "4")},
    };
    for (const Case& c : cases) {
        char* decoded = CZVTokenProvider::ParseString(c.body, -1);
        ASSERT_NE(nullptr, decoded) << c.body;
        EXPECT_EQ(c.decoded, std::string(decoded, c.decoded.size())) << c.body;
        EXPECT_EQ('\0', decoded[c.decoded.size()]) << c.body;
        CZVTokenProvider::DeleteString(decoded);
    }
}

TEST_F(ZVTokenProviderTest, OctalEscapeInALiteralToken) {
    Load("'\\101'");
    ZV_TOKEN_tag literal = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, literal.nKind);
    EXPECT_EQ(std::string("\x01"
                          "01"),
              TextOf(literal));
    EXPECT_EQ(3u, literal.dwLength);
    m_provider.DeleteToken(&literal);
}

// ----------------------------------------------------------------------------------------------
// Every kind

TEST_F(ZVTokenProviderTest, EveryKindWithItsValue) {
    Load("n_1 = 12, 'it''s' # note\r\n\t0x1F 0o17 0b101 1.25 5000000000 { } / ;\n");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, t.nKind);
    EXPECT_EQ("n_1", TextOf(t));
    EXPECT_EQ(m_data->Data(), t.pszText);  // a name points into the data
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
    EXPECT_EQ('=', t.nValue);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(12, t.nValue);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
    EXPECT_EQ(',', t.nValue);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("it", t.pszText);
    m_provider.DeleteToken(&t);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("s", t.pszText);
    m_provider.DeleteToken(&t);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_COMMENT, t.nKind);
    EXPECT_EQ(" note", TextOf(t));
    EXPECT_EQ(m_data->Data() + 19, t.pszText);  // the byte after '#'
    t = Next();
    EXPECT_EQ(ZV_TOKEN_LINE_END, t.nKind);
    EXPECT_EQ(2, t.nEnd - t.nStart);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_HEX, t.nKind);
    EXPECT_EQ(31, t.nValue);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_OCT, t.nKind);
    EXPECT_EQ(15, t.nValue);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_BIN, t.nKind);
    EXPECT_EQ(5, t.nValue);
    EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(1.25, t.dValue);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_BIG, t.nKind);
    EXPECT_EQ(5000000000.0, t.dValue);
    const char splitters[] = {'{', '}', '/'};
    for (char splitter : splitters) {
        t = Next();
        EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
        EXPECT_EQ(splitter, t.nValue);
        EXPECT_EQ(ZV_TOKEN_BLANKS, Next().nKind);
    }
    t = Next();
    EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);  // a byte no rule takes
    EXPECT_EQ(';', t.nValue);
    EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
    EXPECT_EQ(1, m_provider.IsEndOfData());
    t = Pattern();
    EXPECT_EQ(0, m_provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_NONE, t.nKind);
}

TEST_F(ZVTokenProviderTest, KindNumbersAreFixed) {
    EXPECT_EQ(0, ZV_TOKEN_NONE);
    EXPECT_EQ(1, ZV_TOKEN_DECIMAL);
    EXPECT_EQ(2, ZV_TOKEN_REAL);
    EXPECT_EQ(3, ZV_TOKEN_STRING);
    EXPECT_EQ(4, ZV_TOKEN_NAME);
    EXPECT_EQ(5, ZV_TOKEN_CHAR);
    EXPECT_EQ(6, ZV_TOKEN_COMMENT);
    EXPECT_EQ(7, ZV_TOKEN_LINE_END);
    EXPECT_EQ(8, ZV_TOKEN_BLANKS);
    EXPECT_EQ(9, ZV_TOKEN_HEX);
    EXPECT_EQ(10, ZV_TOKEN_OCT);
    EXPECT_EQ(11, ZV_TOKEN_BIN);
    EXPECT_EQ(12, ZV_TOKEN_BIG);
    EXPECT_EQ(64, ZV_TOKEN_PUSHBACK_DEPTH);
}

TEST_F(ZVTokenProviderTest, BytesNoRuleTakesAreSingleCharacters) {
    Load(std::string("\x01\xFF\0@\r", 5));
    const int expected[] = {0x01, 0xFF, 0x00, '@', '\r'};
    for (int value : expected) {
        ZV_TOKEN_tag t = Next();
        EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
        EXPECT_EQ(value, t.nValue);
        EXPECT_EQ(1, t.nEnd - t.nStart);
    }
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, TokensWithoutValueCarryNoStaleValue) {
    Load(" \n");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    EXPECT_EQ(0, t.nValue);
    EXPECT_EQ(0u, t.dwLength);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_LINE_END, t.nKind);
    EXPECT_EQ(0, t.nValue);
    EXPECT_EQ(0u, t.dwLength);
}

// ----------------------------------------------------------------------------------------------
// Lines and columns

TEST_F(ZVTokenProviderTest, LinesCountCrLfAndLfButNotALoneCr) {
    Load("a\r\nb\nc\rd\n\ne");
    struct Expected {
        int kind;
        int line;
        int column;
        int curLineAfter;
    };
    const Expected expected[] = {
        {ZV_TOKEN_NAME, 0, 0, 1},     {ZV_TOKEN_LINE_END, 0, 1, 2}, {ZV_TOKEN_NAME, 1, 0, 2},
        {ZV_TOKEN_LINE_END, 1, 1, 3}, {ZV_TOKEN_NAME, 2, 0, 3},     {ZV_TOKEN_CHAR, 2, 1, 3},
        {ZV_TOKEN_NAME, 2, 2, 3},     {ZV_TOKEN_LINE_END, 2, 3, 4}, {ZV_TOKEN_LINE_END, 3, 0, 5},
        {ZV_TOKEN_NAME, 4, 0, 5},
    };
    for (const Expected& e : expected) {
        ZV_TOKEN_tag t = Next();
        EXPECT_EQ(e.kind, t.nKind) << "at " << t.nStart;
        EXPECT_EQ(e.line, t.nLine) << "at " << t.nStart;
        EXPECT_EQ(e.column, t.nColumn) << "at " << t.nStart;
        EXPECT_EQ(e.curLineAfter, m_provider.GetCurLine()) << "at " << t.nStart;
    }
    EXPECT_EQ(1, m_provider.IsEndOfData());
    EXPECT_EQ(10, m_provider.m_nLineStart);
}

TEST_F(ZVTokenProviderTest, ColumnsCountFromTheLineStartWithTabsExpanded) {
    Load("ab\n \t\tx y");
    Next();
    Next();
    EXPECT_EQ(0, Next().nColumn);  // " \t\t"
    ZV_TOKEN_tag x = Next();
    EXPECT_EQ(8, x.nColumn);
    EXPECT_EQ(1, x.nLine);
    Next();
    EXPECT_EQ(10, Next().nColumn);
}

TEST_F(ZVTokenProviderTest, CalcColumn) {
    EXPECT_EQ(0, CZVTokenProvider::CalcColumn("", 0));
    EXPECT_EQ(0, CZVTokenProvider::CalcColumn("abc", 0));
    EXPECT_EQ(3, CZVTokenProvider::CalcColumn("abc", 3));
    EXPECT_EQ(2, CZVTokenProvider::CalcColumn("abc", 2));
    EXPECT_EQ(4, CZVTokenProvider::CalcColumn("\t", 1));
    EXPECT_EQ(4, CZVTokenProvider::CalcColumn("a\t", 2));
    EXPECT_EQ(4, CZVTokenProvider::CalcColumn("abc\t", 4));
    EXPECT_EQ(8, CZVTokenProvider::CalcColumn("abcd\t", 5));
    EXPECT_EQ(8, CZVTokenProvider::CalcColumn("\t\t", 2));
    EXPECT_EQ(9, CZVTokenProvider::CalcColumn("\t\tx", 3));
    EXPECT_EQ(12, CZVTokenProvider::CalcColumn("\t\t\t", 3));
    EXPECT_EQ(5, CZVTokenProvider::CalcColumn("ab\t \t", 4));
    EXPECT_EQ(8, CZVTokenProvider::CalcColumn("ab\t \t", 5));
    // Every byte other than a tab counts one column, line ends and NULs included.
    EXPECT_EQ(3, CZVTokenProvider::CalcColumn(std::string("\r\n\0", 3).data(), 3));
    // A negative count measures up to the NUL.
    EXPECT_EQ(9, CZVTokenProvider::CalcColumn("\t\tx", -1));
    EXPECT_EQ(0, CZVTokenProvider::CalcColumn("", -1));
    EXPECT_EQ(0, CZVTokenProvider::CalcColumn(g_nullText, 5));
    EXPECT_EQ(0, CZVTokenProvider::CalcColumn(g_nullText, -1));
}

// ----------------------------------------------------------------------------------------------
// The matchers, each through its slot

TEST_F(ZVTokenProviderTest, MatchSpace) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchSpace, " \t \tx ", &t));
    EXPECT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchSpace, "\t", &t));
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSpace, "x ", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSpace, "\n", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSpace, "\v", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSpace, "", &t));
    EXPECT_TRUE(IsPattern(t));
    EXPECT_EQ(0, m_provider.MatchSpace(g_nullText, 3, &t));
    EXPECT_EQ(0, m_provider.MatchSpace("   ", 0, &t));
    EXPECT_EQ(0, m_provider.MatchSpace("   ", -1, &t));
    EXPECT_EQ(2, m_provider.MatchSpace("   ", 2, &t));  // stops at the count
}

TEST_F(ZVTokenProviderTest, MatchSign) {
    CZVTokenProvider& base = m_provider;
    int negative = 7;
    EXPECT_EQ(1, base.MatchSign("-5", 2, &negative));
    EXPECT_EQ(1, negative);
    EXPECT_EQ(1, base.MatchSign("+5", 2, &negative));
    EXPECT_EQ(0, negative);
    negative = 1;
    EXPECT_EQ(1, base.MatchSign("+", 1, &negative));
    EXPECT_EQ(0, negative);
    negative = 7;
    EXPECT_EQ(0, base.MatchSign("5", 1, &negative));
    EXPECT_EQ(0, base.MatchSign(" -", 2, &negative));
    EXPECT_EQ(0, base.MatchSign("-", 0, &negative));
    EXPECT_EQ(0, base.MatchSign(g_nullText, 1, &negative));
    EXPECT_EQ(7, negative);  // untouched without a sign
    EXPECT_EQ(1, base.MatchSign("-", 1, nullptr));
    EXPECT_EQ(1, base.MatchSign("+", 1, nullptr));
}

TEST_F(ZVTokenProviderTest, MatchLineEnd) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchLineEnd, "\r\nx", &t));
    EXPECT_EQ(ZV_TOKEN_LINE_END, t.nKind);
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchLineEnd, "\n\n", &t));
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchLineEnd, "\n\r", &t));
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchLineEnd, "\r", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchLineEnd, "\rx", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchLineEnd, "\r\r\n", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchLineEnd, " \n", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchLineEnd, "", &t));
    EXPECT_EQ(0, m_provider.MatchLineEnd("\r\n", 1, &t));  // CR at the end of the count
    EXPECT_EQ(0, m_provider.MatchLineEnd(g_nullText, 2, &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchComment) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchComment, "# a b\r\nx", &t));
    EXPECT_EQ(ZV_TOKEN_COMMENT, t.nKind);
    EXPECT_EQ(" a b", TextOf(t));
    EXPECT_EQ(3, Match(&CZVTokenProvider::MatchComment, "#ab\ncd", &t));
    EXPECT_EQ("ab", TextOf(t));
    // A lone CR is no line end: it stays in the comment.
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchComment, "#a\rb\r", &t));
    EXPECT_EQ("a\rb\r", TextOf(t));
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchComment, "#", &t));
    EXPECT_EQ(0u, t.dwLength);
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchComment, "#\n", &t));
    EXPECT_EQ(0u, t.dwLength);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchComment, "##'\"", &t));
    EXPECT_EQ("#'\"", TextOf(t));
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchComment, " #", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchComment, "", &t));
    EXPECT_EQ(0, m_provider.MatchComment(g_nullText, 3, &t));
    EXPECT_TRUE(IsPattern(t));
    const char text[] = "#abc";
    EXPECT_EQ(3, m_provider.MatchComment(text, 3, &t));  // stops at the count
    EXPECT_EQ(text + 1, t.pszText);
    EXPECT_EQ(2u, t.dwLength);
}

TEST_F(ZVTokenProviderTest, MatchVariable) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchVariable, "a.b[2] = 1", &t));
    EXPECT_EQ(ZV_TOKEN_NAME, t.nKind);
    EXPECT_EQ("a.b[2]", TextOf(t));
    EXPECT_EQ(8, Match(&CZVTokenProvider::MatchVariable, "_x9.Z_[]", &t));
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchVariable, "[]", &t));
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchVariable, "]-", &t));
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchVariable, "Z{", &t));
    EXPECT_EQ(3, Match(&CZVTokenProvider::MatchVariable, "abc\xE0", &t));
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchVariable, "1a", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchVariable, ".a", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchVariable, "-a", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchVariable, "\xC1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchVariable, "", &t));
    EXPECT_EQ(0, m_provider.MatchVariable(g_nullText, 3, &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchRiteralClosedAndOpen) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchRiteral, "'abc'def", &t));
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("abc", t.pszText);
    EXPECT_EQ(3u, t.dwLength);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));
    // The other quote does not close it, nor does an escaped quote.
    EXPECT_EQ(Taken(7, "a'b'c"), Literal("\"a'b'c\""));
    EXPECT_EQ(Taken(7, "a\"b\"c"), Literal("'a\"b\"c'"));
    EXPECT_EQ(Taken(6, "a'b"), Literal("'a\\'b'"));
    // Open at a line end (LF, CR LF, or a lone CR) and at the end of the data.
    EXPECT_EQ(Taken(3, "ab"), Literal("'ab\nc'"));
    EXPECT_EQ(Taken(3, "ab"), Literal("'ab\r\nc'"));
    EXPECT_EQ(Taken(3, "ab"), Literal("'ab\rc'"));
    EXPECT_EQ(Taken(4, "ab\\"), Literal("\"ab\\"));
    EXPECT_EQ(Taken(1, ""), Literal("'"));
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchRiteral, "abc'", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchRiteral, "`a`", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchRiteral, "", &t));
    EXPECT_EQ(0, m_provider.MatchRiteral(g_nullText, 3, &t));
    EXPECT_TRUE(IsPattern(t));
}

// A line end ends a literal even right behind a backslash; the backslash is the last byte.
TEST_F(ZVTokenProviderTest, LineEndEndsALiteralEvenBehindABackslash) {
    Load("'ab\\\nx'\r\n\"cd\\\r\n");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("ab\\", t.pszText);
    EXPECT_EQ(4, t.nEnd);
    m_provider.DeleteToken(&t);
    EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
    EXPECT_EQ(2, m_provider.GetCurLine());
    EXPECT_EQ(ZV_TOKEN_NAME, Next().nKind);
    t = Next();  // the quote behind x opens a literal that the CR LF ends
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("", t.pszText);
    m_provider.DeleteToken(&t);
    EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_STREQ("cd\\", t.pszText);
    m_provider.DeleteToken(&t);
    t = Next();
    EXPECT_EQ(ZV_TOKEN_LINE_END, t.nKind);
    EXPECT_EQ(2, t.nEnd - t.nStart);
    EXPECT_EQ(4, m_provider.GetCurLine());
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, MatchRiteralKeepsShiftJisPairsWhole) {
    // A trail byte that is a backslash does not escape the closing quote.
    EXPECT_EQ(Taken(4, "\x81\\"), Literal("'\x81\\'x'"));
    EXPECT_EQ(Taken(6, "\xE0\\\xFC\\"), Literal("\"\xE0\\\xFC\\\""));
    // A quote is no trail byte: it closes the literal behind a lead byte. Nor is a line end.
    EXPECT_EQ(Taken(3, "\x81"), Literal("'\x81''"));
    EXPECT_EQ(Taken(3, "\x9F"), Literal("\"\x9F\""));
    EXPECT_EQ(Taken(2, "\x81"), Literal("'\x81\n'"));
    // 0x80, 0xA0 and 0xFD are no lead bytes: the backslash behind them escapes the quote.
    EXPECT_EQ(Taken(5, "\x80'"), Literal("'\x80\\''"));
    EXPECT_EQ(Taken(5, "\xA0'"), Literal("'\xA0\\''"));
    EXPECT_EQ(Taken(5, "\xFD'"), Literal("'\xFD\\''"));
    // A trail byte of 0xFD or more is not taken with the lead.
    EXPECT_EQ(Taken(4, "\x81\xFD"), Literal("'\x81\xFD'"));
}

TEST_F(ZVTokenProviderTest, MatchRiteralEmptyAndNulBodies) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchRiteral, "''", &t));
    EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_EQ(m_provider.m_pData, t.pszText);  // the shared empty string
    EXPECT_EQ(0u, t.dwLength);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchRiteral, "'\\x00'", &t));
    EXPECT_EQ(1u, t.dwLength);
    EXPECT_EQ('\0', t.pszText[0]);
    EXPECT_NE(m_provider.m_pData, t.pszText);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));  // freed: the sanitizer flavour reports a leak
    EXPECT_EQ(8, Match(&CZVTokenProvider::MatchRiteral, "'a\\0b\\0'", &t));
    EXPECT_EQ(std::string("a\0b\0", 4), TextOf(t));
    m_provider.DeleteToken(&t);
}

TEST_F(ZVTokenProviderTest, MatchSplitter) {
    const char splitters[] = "=/{},";
    for (const char* p = splitters; *p != '\0'; ++p) {
        ZV_TOKEN_tag t = Pattern();
        EXPECT_EQ(1, Match(&CZVTokenProvider::MatchSplitter, std::string(1, *p) + "x", &t));
        EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
        EXPECT_EQ(*p, t.nValue);
    }
    ZV_TOKEN_tag t = Pattern();
    const char* others[] = {"x", ";", "(", "[", "-", "#", " "};
    for (const char* other : others) {
        EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSplitter, other, &t)) << other;
    }
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSplitter, std::string(1, '\0'), &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchSplitter, "", &t));
    EXPECT_EQ(0, m_provider.MatchSplitter(g_nullText, 1, &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchHex) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchHex, "0x1f g", &t));
    EXPECT_EQ(ZV_TOKEN_HEX, t.nKind);
    EXPECT_EQ(31, t.nValue);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchHex, "0XaBg", &t));
    EXPECT_EQ(0xAB, t.nValue);
    EXPECT_EQ(10, Match(&CZVTokenProvider::MatchHex, "0xFFFFFFFF", &t));
    EXPECT_EQ(-1, t.nValue);
    EXPECT_EQ(14, Match(&CZVTokenProvider::MatchHex, "0x000000000001", &t));
    EXPECT_EQ(1, t.nValue);
    EXPECT_EQ(11, Match(&CZVTokenProvider::MatchHex, "-0x80000000", &t));
    EXPECT_EQ(INT32_MIN, t.nValue);
    EXPECT_EQ(11, Match(&CZVTokenProvider::MatchHex, "-0xFFFFFFFF", &t));
    EXPECT_EQ(1, t.nValue);
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchHex, "+0x10", &t));
    EXPECT_EQ(16, t.nValue);
    // Blanks and tabs between the sign and the digits.
    EXPECT_EQ(7, Match(&CZVTokenProvider::MatchHex, "- \t0x10", &t));
    EXPECT_EQ(-16, t.nValue);
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchHex, " 0x10", &t));
    EXPECT_EQ(16, t.nValue);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "0", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "00x1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "1x1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "0o1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "x1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "-", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchHex, "", &t));
    EXPECT_EQ(0, m_provider.MatchHex(g_nullText, 4, &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "0x", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "0xg", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "- 0x ", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "0x100000000", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "0x123456789", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchHex, "0xFFFFFFFF0", &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchOct) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchOct, "0o178", &t));
    EXPECT_EQ(ZV_TOKEN_OCT, t.nKind);
    EXPECT_EQ(15, t.nValue);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchOct, "0O77", &t));
    EXPECT_EQ(63, t.nValue);
    EXPECT_EQ(13, Match(&CZVTokenProvider::MatchOct, "0o37777777777", &t));
    EXPECT_EQ(-1, t.nValue);
    EXPECT_EQ(13, Match(&CZVTokenProvider::MatchOct, "0o17777777777", &t));
    EXPECT_EQ(INT32_MAX, t.nValue);
    EXPECT_EQ(15, Match(&CZVTokenProvider::MatchOct, "0o0037777777777", &t));
    EXPECT_EQ(-1, t.nValue);
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchOct, "-\t0o10", &t));
    EXPECT_EQ(-8, t.nValue);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchOct, "0", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchOct, "0x1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchOct, "7", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchOct, "0o", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchOct, "0o8", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchOct, "0o40000000000", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchOct, "0o377777777770", &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchBin) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchBin, "0b1012", &t));
    EXPECT_EQ(ZV_TOKEN_BIN, t.nKind);
    EXPECT_EQ(5, t.nValue);
    EXPECT_EQ(3, Match(&CZVTokenProvider::MatchBin, "0B1", &t));
    EXPECT_EQ(1, t.nValue);
    const std::string top = "1" + std::string(31, '0');
    EXPECT_EQ(34, Match(&CZVTokenProvider::MatchBin, "0b" + top, &t));
    EXPECT_EQ(INT32_MIN, t.nValue);
    EXPECT_EQ(34, Match(&CZVTokenProvider::MatchBin, "0b" + std::string(32, '1'), &t));
    EXPECT_EQ(-1, t.nValue);
    // 33 digits fit when the first is a 0.
    EXPECT_EQ(35, Match(&CZVTokenProvider::MatchBin, "0b0" + std::string(32, '1'), &t));
    EXPECT_EQ(-1, t.nValue);
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchBin, "- 0b11", &t));
    EXPECT_EQ(-3, t.nValue);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchBin, "0", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchBin, "0c1", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchBin, "0b", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchBin, "0b2", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchBin, "0b1" + std::string(32, '0'), &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchBin, "0b" + std::string(33, '1'), &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, MatchUDec) {
    CZVTokenProvider& base = m_provider;
    unsigned int value = 99;
    double big = 99.0;
    EXPECT_EQ(3, base.MatchUDec("123x", 4, &value, &big));
    EXPECT_EQ(123u, value);
    EXPECT_EQ(0.0, big);
    EXPECT_EQ(10, base.MatchUDec("4294967295", 10, &value, &big));
    EXPECT_EQ(4294967295u, value);
    EXPECT_EQ(0.0, big);
    big = 99.0;
    EXPECT_EQ(10, base.MatchUDec("4294967296", 10, &value, &big));
    EXPECT_EQ(4294967296.0, big);
    EXPECT_EQ(11, base.MatchUDec("42949672950", 11, &value, &big));
    EXPECT_EQ(42949672950.0, big);
    EXPECT_EQ(20, base.MatchUDec("18446744073709551616", 20, &value, &big));
    EXPECT_DOUBLE_EQ(18446744073709551616.0, big);
    EXPECT_EQ(12, base.MatchUDec("000000000042", 12, &value, &big));
    EXPECT_EQ(42u, value);
    EXPECT_EQ(0.0, big);
    // The count limits the digits.
    EXPECT_EQ(2, base.MatchUDec("1234", 2, &value, &big));
    EXPECT_EQ(12u, value);
    // No digits: 0, with big cleared first.
    big = 99.0;
    value = 99;
    EXPECT_EQ(0, base.MatchUDec("x1", 2, &value, &big));
    EXPECT_EQ(0.0, big);
    EXPECT_EQ(0u, value);
    big = 99.0;
    EXPECT_EQ(0, base.MatchUDec("", 0, &value, &big));
    EXPECT_EQ(0.0, big);
    big = 99.0;
    EXPECT_EQ(0, base.MatchUDec(g_nullText, 3, &value, &big));
    EXPECT_EQ(0.0, big);
    EXPECT_EQ(0, base.MatchUDec("-1", 2, &value, &big));
    EXPECT_EQ(0, base.MatchUDec(" 1", 2, &value, &big));
    EXPECT_EQ(4, base.MatchUDec("1234", 4, nullptr, nullptr));
    EXPECT_EQ(25, base.MatchUDec("1234567890123456789012345", 25, nullptr, nullptr));
}

TEST_F(ZVTokenProviderTest, MatchFrac) {
    CZVTokenProvider& base = m_provider;
    double fraction = 99.0;
    EXPECT_EQ(2, base.MatchFrac(".5x", 3, &fraction));
    EXPECT_EQ(0.5, fraction);
    EXPECT_EQ(3, base.MatchFrac(".25", 3, &fraction));
    EXPECT_EQ(0.25, fraction);
    EXPECT_EQ(4, base.MatchFrac(".125", 4, &fraction));
    EXPECT_DOUBLE_EQ(0.125, fraction);
    EXPECT_EQ(3, base.MatchFrac(".15", 3, &fraction));
    EXPECT_DOUBLE_EQ(0.15, fraction);
    EXPECT_EQ(4, base.MatchFrac(".000", 4, &fraction));
    EXPECT_EQ(0.0, fraction);
    EXPECT_EQ(2, base.MatchFrac(".25", 2, &fraction));  // the count limits the digits
    EXPECT_EQ(0.2, fraction);
    // 0 without a point, -1 for a point without a digit.
    fraction = 99.0;
    EXPECT_EQ(0, base.MatchFrac("5", 1, &fraction));
    EXPECT_EQ(0.0, fraction);
    EXPECT_EQ(0, base.MatchFrac("", 0, &fraction));
    EXPECT_EQ(0, base.MatchFrac(g_nullText, 2, &fraction));
    EXPECT_EQ(-1, base.MatchFrac(".", 1, &fraction));
    EXPECT_EQ(-1, base.MatchFrac(".x", 2, &fraction));
    EXPECT_EQ(-1, base.MatchFrac(". 5", 3, &fraction));
    EXPECT_EQ(-1, base.MatchFrac(".5", 1, &fraction));
    EXPECT_EQ(3, base.MatchFrac(".55", 3, nullptr));
    EXPECT_EQ(-1, base.MatchFrac(".", 1, nullptr));
}

TEST_F(ZVTokenProviderTest, MatchFloat) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchFloat, "42 ", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(42, t.nValue);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchFloat, "-1.5e", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(-1.5, t.dValue);
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchFloat, ".5", &t));
    EXPECT_EQ(0.5, t.dValue);
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchFloat, "- \t.5", &t));
    EXPECT_EQ(-0.5, t.dValue);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchFloat, "+ 12", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(12, t.nValue);
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchFloat, "-0", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(0, t.nValue);
    EXPECT_EQ(12, Match(&CZVTokenProvider::MatchFloat, "4294967296.5", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(4294967296.5, t.dValue);
    EXPECT_EQ(13, Match(&CZVTokenProvider::MatchFloat, "-4294967295.5", &t));
    EXPECT_EQ(-4294967295.5, t.dValue);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchFloat, "x", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchFloat, "-x", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchFloat, "- ", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchFloat, "+", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchFloat, "", &t));
    EXPECT_EQ(0, m_provider.MatchFloat(g_nullText, 2, &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchFloat, ".", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchFloat, "1.", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchFloat, "-.", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchFloat, "1.e5", &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, DecimalLimitsOfTheSigned32BitKind) {
    struct Case {
        const char* text;
        int kind;
        int32_t value;
        double big;
    };
    const Case cases[] = {
        {"2147483647", ZV_TOKEN_DECIMAL, INT32_MAX, 0.0},
        {"2147483648", ZV_TOKEN_BIG, 0, 2147483648.0},
        {"-2147483647", ZV_TOKEN_DECIMAL, -INT32_MAX, 0.0},
        {"-2147483648", ZV_TOKEN_DECIMAL, INT32_MIN, 0.0},
        {"-2147483649", ZV_TOKEN_BIG, 0, -2147483649.0},
        {"3000000000", ZV_TOKEN_BIG, 0, 3000000000.0},
        {"4294967295", ZV_TOKEN_BIG, 0, 4294967295.0},
        {"-4294967295", ZV_TOKEN_BIG, 0, -4294967295.0},
        {"4294967296", ZV_TOKEN_BIG, 0, 4294967296.0},
        {"-4294967296", ZV_TOKEN_BIG, 0, -4294967296.0},
        {"99999999999", ZV_TOKEN_BIG, 0, 99999999999.0},
    };
    for (const Case& c : cases) {
        ZV_TOKEN_tag t = Pattern();
        EXPECT_EQ(static_cast<int>(strlen(c.text)),
                  Match(&CZVTokenProvider::MatchFloat, c.text, &t))
            << c.text;
        EXPECT_EQ(c.kind, t.nKind) << c.text;
        if (c.kind == ZV_TOKEN_DECIMAL) {
            EXPECT_EQ(c.value, t.nValue) << c.text;
        } else {
            EXPECT_EQ(c.big, t.dValue) << c.text;
        }
        // The whole reader gives the same token.
        Load(c.text);
        ZV_TOKEN_tag read = Next();
        EXPECT_EQ(c.kind, read.nKind) << c.text;
        if (c.kind == ZV_TOKEN_DECIMAL) {
            EXPECT_EQ(c.value, read.nValue) << c.text;
        } else {
            EXPECT_EQ(c.big, read.dValue) << c.text;
        }
    }
}

TEST_F(ZVTokenProviderTest, MatchExpFrac) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchExpFrac, "1.5e3", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(1500.0, t.dValue);
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchExpFrac, "15 e 2 x", &t));  // not the last blank
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(1500, t.nValue);
    EXPECT_EQ(7, Match(&CZVTokenProvider::MatchExpFrac, "15\tE\t+2\t", &t));
    EXPECT_EQ(1500, t.nValue);
    EXPECT_EQ(6, Match(&CZVTokenProvider::MatchExpFrac, "-15e-1", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(-1.5, t.dValue);
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchExpFrac, "42 \t x", &t));  // blanks belong to it
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(42, t.nValue);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchExpFrac, "0.5 ", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(0.5, t.dValue);
    EXPECT_EQ(11, Match(&CZVTokenProvider::MatchExpFrac, "5000000000 ", &t));
    EXPECT_EQ(ZV_TOKEN_BIG, t.nKind);
    EXPECT_EQ(5000000000.0, t.dValue);
    // A real or big exponent.
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchExpFrac, "4e0.5x", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_DOUBLE_EQ(4.0 * sqrt(10.0), t.dValue);
    EXPECT_EQ(13, Match(&CZVTokenProvider::MatchExpFrac, "1e-5000000000", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(0.0, t.dValue);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchExpFrac, "e5", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchExpFrac, "-e5", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchExpFrac, "", &t));
    EXPECT_EQ(0, m_provider.MatchExpFrac(g_nullText, 3, &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, ".", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1e", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1 e ", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1ex", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1e+", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1e.", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchExpFrac, "1e5.", &t));
    EXPECT_TRUE(IsPattern(t));
}

// Two integer parts stay an integer only when the integer scaling is exact, non-zero and within
// 32 signed bits; an exponent of 0 always gives a real.
TEST_F(ZVTokenProviderTest, ExponentOfTwoIntegers) {
    struct Case {
        const char* text;
        int kind;
        int32_t value;
        const char* real;  // "%.14G" of the real
    };
    const Case cases[] = {
        {"15 e 2", ZV_TOKEN_DECIMAL, 1500, nullptr},
        {"150e-1", ZV_TOKEN_DECIMAL, 15, nullptr},
        {"-150e-1", ZV_TOKEN_DECIMAL, -15, nullptr},
        {"1500e-2", ZV_TOKEN_DECIMAL, 15, nullptr},
        {"-15e2", ZV_TOKEN_DECIMAL, -1500, nullptr},
        {"1e9", ZV_TOKEN_DECIMAL, 1000000000, nullptr},
        {"214748364e1", ZV_TOKEN_DECIMAL, 2147483640, nullptr},
        {"-214748364e1", ZV_TOKEN_DECIMAL, -2147483640, nullptr},
        {"2147483647e-0", ZV_TOKEN_REAL, 0, "2147483647"},
        {"15e-1", ZV_TOKEN_REAL, 0, "1.5"},
        {"5e-1", ZV_TOKEN_REAL, 0, "0.5"},
        {"15e0", ZV_TOKEN_REAL, 0, "15"},
        {"0e5", ZV_TOKEN_REAL, 0, "0"},
        {"0e0", ZV_TOKEN_REAL, 0, "0"},
        {"1E+20", ZV_TOKEN_REAL, 0, "1E+20"},
        {"3e9", ZV_TOKEN_REAL, 0, "3000000000"},
        {"-3e9", ZV_TOKEN_REAL, 0, "-3000000000"},
        {"1e10", ZV_TOKEN_REAL, 0, "10000000000"},
        {"1e-1", ZV_TOKEN_REAL, 0, "0.1"},
        {"151e-1", ZV_TOKEN_REAL, 0, "15.1"},
        {"1e2147483647", ZV_TOKEN_REAL, 0, "INF"},
        {"1e-2147483648", ZV_TOKEN_REAL, 0, "0"},
        {"5000000000e-1", ZV_TOKEN_REAL, 0, "500000000"},
        {"1.0e2", ZV_TOKEN_REAL, 0, "100"},
        {"1.5e-1", ZV_TOKEN_REAL, 0, "0.15"},
    };
    for (const Case& c : cases) {
        ZV_TOKEN_tag t = Pattern();
        EXPECT_EQ(static_cast<int>(strlen(c.text)),
                  Match(&CZVTokenProvider::MatchExpFrac, c.text, &t))
            << c.text;
        EXPECT_EQ(c.kind, t.nKind) << c.text;
        if (c.kind == ZV_TOKEN_DECIMAL) {
            EXPECT_EQ(c.value, t.nValue) << c.text;
        } else {
            EXPECT_EQ(c.real, G14(t.dValue)) << c.text;
        }
    }
}

TEST_F(ZVTokenProviderTest, ExponentRealsAreTheMantissaTimesAPowerOfTen) {
    ZV_TOKEN_tag t = Pattern();
    Match(&CZVTokenProvider::MatchExpFrac, "15e-1", &t);
    EXPECT_DOUBLE_EQ(1.5, t.dValue);
    Match(&CZVTokenProvider::MatchExpFrac, "1.5e-1", &t);
    EXPECT_DOUBLE_EQ(0.15, t.dValue);
    Match(&CZVTokenProvider::MatchExpFrac, "1E+20", &t);
    EXPECT_EQ(1e20, t.dValue);
    Match(&CZVTokenProvider::MatchExpFrac, "15e0", &t);
    EXPECT_EQ(15.0, t.dValue);
}

TEST_F(ZVTokenProviderTest, MatchNumber) {
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchNumber, "0x1F", &t));
    EXPECT_EQ(ZV_TOKEN_HEX, t.nKind);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchNumber, "0o17", &t));
    EXPECT_EQ(ZV_TOKEN_OCT, t.nKind);
    EXPECT_EQ(4, Match(&CZVTokenProvider::MatchNumber, "0b11", &t));
    EXPECT_EQ(ZV_TOKEN_BIN, t.nKind);
    EXPECT_EQ(3, t.nValue);
    EXPECT_EQ(3, Match(&CZVTokenProvider::MatchNumber, "+15", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(15, t.nValue);
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchNumber, ".5", &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(5, Match(&CZVTokenProvider::MatchNumber, "- 0x1", &t));
    EXPECT_EQ(-1, t.nValue);
    // A lone 0 at the end of the data is the decimal 0.
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchNumber, "0", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(0, t.nValue);
    EXPECT_EQ(2, Match(&CZVTokenProvider::MatchNumber, "0 ", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(1, Match(&CZVTokenProvider::MatchNumber, "0y", &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    t = Pattern();
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, " 5", &t));  // blanks first are not a number
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, "e5", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, "x1", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, "-", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, "+x", &t));
    EXPECT_EQ(0, Match(&CZVTokenProvider::MatchNumber, "", &t));
    EXPECT_EQ(0, m_provider.MatchNumber(g_nullText, 3, &t));
    // A data end right after a prefix is malformed.
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "0x", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "0o", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "0b", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "-0x", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, ".", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "1.x", &t));
    EXPECT_EQ(-1, Match(&CZVTokenProvider::MatchNumber, "0x100000000", &t));
    EXPECT_TRUE(IsPattern(t));
}

TEST_F(ZVTokenProviderTest, EachMalformedNumberFailsTheReader) {
    const std::string malformed[] = {".",
                                     ". 5",
                                     "1.",
                                     "-.",
                                     "0x",
                                     "0o",
                                     "0b",
                                     "0xg",
                                     "0o9",
                                     "0b2",
                                     "0x100000000",
                                     "0o40000000000",
                                     "0b1" + std::string(32, '0'),
                                     "1e",
                                     "15 east",
                                     "1e+",
                                     "- 0x"};
    for (const std::string& text : malformed) {
        Load(std::string("a ") + text);
        Next();
        Next();
        ZV_TOKEN_tag t = Pattern();
        EXPECT_EQ(0, m_provider.GetToken(&t)) << text;
        EXPECT_EQ(ZV_TOKEN_NONE, t.nKind) << text;
        EXPECT_EQ(2, m_provider.GetCurPos()) << text;
        EXPECT_EQ(0, m_provider.IsEndOfData()) << text;
    }
}

TEST_F(ZVTokenProviderTest, LoneZeroAtTheDataEndIsDecimalZero) {
    Load("0");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(0, t.nValue);
    EXPECT_EQ(1, t.nEnd);
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, TheReaderTriesTheRulesInOrder) {
    // Blanks before anything else, a comment before a literal, a literal before a name, a
    // number before a name, a splitter last.
    EXPECT_EQ(KindList({{ZV_TOKEN_BLANKS, " "}, {ZV_TOKEN_COMMENT, "#'x'"}}), Kinds(" #'x'"));
    EXPECT_EQ(KindList({{ZV_TOKEN_STRING, "'#'"}, {ZV_TOKEN_NAME, "x"}}), Kinds("'#'x"));
    EXPECT_EQ(KindList({{ZV_TOKEN_DECIMAL, "1"}, {ZV_TOKEN_NAME, "x"}}), Kinds("1x"));
    EXPECT_EQ(KindList({{ZV_TOKEN_HEX, "0x1"}, {ZV_TOKEN_NAME, "g"}}), Kinds("0x1g"));
    EXPECT_EQ(KindList({{ZV_TOKEN_NAME, "x1.5"}}), Kinds("x1.5"));
    EXPECT_EQ(KindList({{ZV_TOKEN_CHAR, "/"}, {ZV_TOKEN_CHAR, "/"}}), Kinds("//"));
    EXPECT_EQ(KindList({{ZV_TOKEN_CHAR, "+"}, {ZV_TOKEN_NAME, "e"}}), Kinds("+e"));
    EXPECT_EQ(KindList({{ZV_TOKEN_NAME, "nX"},
                        {ZV_TOKEN_CHAR, "="},
                        {ZV_TOKEN_DECIMAL, "-5 "},
                        {ZV_TOKEN_COMMENT, "# c"},
                        {ZV_TOKEN_LINE_END, "\r\n"}}),
              Kinds("nX=-5 # c\r\n"));
}

// ----------------------------------------------------------------------------------------------
// Matchers reach each other through the virtual slots

// Records each matcher call, and reads '~' as a minus sign, '`' as a blank and '|' as a line end.
class RecordingProvider : public CZVTokenProvider {
public:
    std::vector<std::string> calls;

    int MatchSpace(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Space");
        int i = 0;
        while (i < n && (text[i] == '`' || text[i] == ' ')) {
            ++i;
        }
        if (i > 0 && token != nullptr) {
            token->nKind = ZV_TOKEN_BLANKS;
        }
        return i;
    }
    int MatchSign(const char* text, int n, int* negative) override {
        calls.push_back("Sign");
        if (n > 0 && text[0] == '~') {
            *negative = 1;
            return 1;
        }
        return CZVTokenProvider::MatchSign(text, n, negative);
    }
    int MatchLineEnd(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("LineEnd");
        if (n > 0 && text[0] == '|') {
            if (token != nullptr) {
                token->nKind = ZV_TOKEN_LINE_END;
            }
            return 1;
        }
        return CZVTokenProvider::MatchLineEnd(text, n, token);
    }
    int MatchComment(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Comment");
        return CZVTokenProvider::MatchComment(text, n, token);
    }
    int MatchVariable(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Variable");
        return CZVTokenProvider::MatchVariable(text, n, token);
    }
    int MatchRiteral(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Riteral");
        return CZVTokenProvider::MatchRiteral(text, n, token);
    }
    int MatchHex(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Hex");
        return CZVTokenProvider::MatchHex(text, n, token);
    }
    int MatchOct(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Oct");
        return CZVTokenProvider::MatchOct(text, n, token);
    }
    int MatchBin(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Bin");
        return CZVTokenProvider::MatchBin(text, n, token);
    }
    int MatchUDec(const char* text, int n, unsigned int* value, double* big) override {
        calls.push_back("UDec");
        return CZVTokenProvider::MatchUDec(text, n, value, big);
    }
    int MatchFrac(const char* text, int n, double* fraction) override {
        calls.push_back("Frac");
        return CZVTokenProvider::MatchFrac(text, n, fraction);
    }
    int MatchFloat(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Float");
        return CZVTokenProvider::MatchFloat(text, n, token);
    }
    int MatchExpFrac(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("ExpFrac");
        return CZVTokenProvider::MatchExpFrac(text, n, token);
    }
    int MatchNumber(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Number");
        return CZVTokenProvider::MatchNumber(text, n, token);
    }
    int MatchSplitter(const char* text, int n, ZV_TOKEN_tag* token) override {
        calls.push_back("Splitter");
        return CZVTokenProvider::MatchSplitter(text, n, token);
    }
    int DeleteToken(ZV_TOKEN_tag* token) override {
        calls.push_back("DeleteToken");
        return CZVTokenProvider::DeleteToken(token);
    }
    int Reset() override {
        calls.push_back("Reset");
        return CZVTokenProvider::Reset();
    }
};

typedef std::vector<std::string> Calls;

TEST_F(ZVTokenProviderTest, GetTokenCallsEveryMatcherThroughItsSlot) {
    RecordingProvider provider;
    char text[] = "15";
    ASSERT_EQ(1, provider.SetData(text, 2));
    EXPECT_EQ(Calls({"Reset"}), provider.calls);
    provider.calls.clear();
    ZV_TOKEN_tag t = Pattern();
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(Calls({"Space",   "LineEnd", "Comment", "Riteral", "Number", "Hex",  "Sign",
                     "Space",   "Oct",     "Sign",    "Space",   "Bin",    "Sign", "Space",
                     "ExpFrac", "Float",   "Sign",    "Space",   "UDec",   "Frac", "Space"}),
              provider.calls);
}

TEST_F(ZVTokenProviderTest, ALineEndSlotEndsCommentsAndCountsLines) {
    RecordingProvider provider;
    char text[] = "#ab|x";
    ASSERT_EQ(1, provider.SetData(text, 5));
    provider.calls.clear();
    ZV_TOKEN_tag t = Pattern();
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_COMMENT, t.nKind);
    EXPECT_EQ("ab", TextOf(t));
    EXPECT_EQ(Calls({"Space", "LineEnd", "Comment", "LineEnd", "LineEnd", "LineEnd"}),
              provider.calls);
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_LINE_END, t.nKind);
    EXPECT_EQ(2, provider.GetCurLine());
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(1, t.nLine);
    EXPECT_EQ(0, t.nColumn);
}

TEST_F(ZVTokenProviderTest, NumbersUseTheSignAndBlankSlots) {
    RecordingProvider provider;
    CZVTokenProvider& base = provider;
    ZV_TOKEN_tag t = Pattern();
    EXPECT_EQ(6, base.MatchHex("~`0x10", 6, &t));
    EXPECT_EQ(ZV_TOKEN_HEX, t.nKind);
    EXPECT_EQ(-16, t.nValue);
    EXPECT_EQ(6, base.MatchOct("~`0o10", 6, &t));
    EXPECT_EQ(-8, t.nValue);
    EXPECT_EQ(6, base.MatchBin("~`0b10", 6, &t));
    EXPECT_EQ(-2, t.nValue);
    EXPECT_EQ(4, base.MatchFloat("~`12", 4, &t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(-12, t.nValue);
    EXPECT_EQ(5, base.MatchExpFrac("~`1.5", 5, &t));
    EXPECT_EQ(ZV_TOKEN_REAL, t.nKind);
    EXPECT_EQ(-1.5, t.dValue);
    // The reader: the exponent's blanks come from the slot too.
    char text[] = "1``e``2 ~";
    ASSERT_EQ(1, provider.SetData(text, sizeof text - 1));
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, t.nKind);
    EXPECT_EQ(100, t.nValue);
    EXPECT_EQ(7, t.nEnd);
    ASSERT_EQ(1, provider.GetToken(&t));
    EXPECT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    ASSERT_EQ(1, provider.GetToken(&t));  // a number starts with '-', '+', '.' or a digit only
    EXPECT_EQ(ZV_TOKEN_CHAR, t.nKind);
    EXPECT_EQ('~', t.nValue);
}

TEST_F(ZVTokenProviderTest, ResetDeletesPushedTokensThroughTheSlot) {
    RecordingProvider provider;
    char text[] = "'a' b";
    ASSERT_EQ(1, provider.SetData(text, 5));
    ZV_TOKEN_tag literal = Pattern();
    ZV_TOKEN_tag blanks = Pattern();
    ASSERT_EQ(1, provider.GetToken(&literal));
    ASSERT_EQ(1, provider.GetToken(&blanks));
    ASSERT_EQ(1, provider.PushbackToken(&blanks));
    ASSERT_EQ(1, provider.PushbackToken(&literal));
    provider.calls.clear();
    EXPECT_EQ(1, provider.Reset());
    EXPECT_EQ(Calls({"Reset", "DeleteToken", "DeleteToken"}), provider.calls);
    EXPECT_EQ(0, provider.m_nPushbackCount);
}

// ----------------------------------------------------------------------------------------------
// Pushback

TEST_F(ZVTokenProviderTest, PushedTokensComeBackLastInFirstOut) {
    Load("a b c");
    ZV_TOKEN_tag a = Next();
    ZV_TOKEN_tag blank = Next();
    ZV_TOKEN_tag b = Next();
    ZV_TOKEN_tag keptA = a;
    ZV_TOKEN_tag keptB = b;
    EXPECT_EQ(1, m_provider.PushbackToken(&a));
    EXPECT_EQ(ZV_TOKEN_NONE, a.nKind);
    EXPECT_EQ(1, m_provider.PushbackToken(&b));
    EXPECT_EQ(ZV_TOKEN_NONE, b.nKind);
    EXPECT_EQ(2, m_provider.m_nPushbackCount);
    EXPECT_EQ(2, m_provider.GetCurPos());  // the start of b, the top
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(0, memcmp(&keptB, &t, sizeof t));
    EXPECT_EQ(0, m_provider.GetCurPos());  // the start of a
    t = Next();
    EXPECT_EQ(0, memcmp(&keptA, &t, sizeof t));
    EXPECT_EQ(3, m_provider.GetCurPos());
    t = Next();
    EXPECT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    EXPECT_EQ(3, t.nStart);
    (void)blank;
}

TEST_F(ZVTokenProviderTest, SixtyFourTokensFitTheSixtyFifthFails) {
    Load("x");
    ZV_TOKEN_tag t = Next();
    for (int i = 0; i < 64; ++i) {
        ZV_TOKEN_tag copy = t;
        copy.nStart = i;
        copy.nValue = i;
        copy.nKind = ZV_TOKEN_DECIMAL;
        ASSERT_EQ(1, m_provider.PushbackToken(&copy)) << i;
        EXPECT_EQ(ZV_TOKEN_NONE, copy.nKind);
    }
    EXPECT_EQ(64, m_provider.m_nPushbackCount);
    ZV_TOKEN_tag extra = t;
    extra.nKind = ZV_TOKEN_DECIMAL;
    extra.nValue = 64;
    EXPECT_EQ(0, m_provider.PushbackToken(&extra));
    EXPECT_EQ(ZV_TOKEN_DECIMAL, extra.nKind);  // the caller keeps it
    EXPECT_EQ(64, m_provider.m_nPushbackCount);
    EXPECT_EQ(63, m_provider.GetCurPos());
    for (int i = 63; i >= 0; --i) {
        ZV_TOKEN_tag back = Next();
        EXPECT_EQ(ZV_TOKEN_DECIMAL, back.nKind);
        EXPECT_EQ(i, back.nValue);
    }
    EXPECT_EQ(1, m_provider.IsEndOfData());
}

TEST_F(ZVTokenProviderTest, PushbackOfNullFails) {
    EXPECT_EQ(0, m_provider.PushbackToken(g_nullToken));
    EXPECT_EQ(0, m_provider.m_nPushbackCount);
}

TEST_F(ZVTokenProviderTest, PushedTokensComeBackAfterTheDataEnd) {
    Load("x");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(1, m_provider.IsEndOfData());
    EXPECT_EQ(1, m_provider.GetCurPos());
    ASSERT_EQ(1, m_provider.PushbackToken(&t));
    EXPECT_EQ(0, m_provider.IsEndOfData());
    EXPECT_EQ(0, m_provider.GetCurPos());
    t = Next();
    EXPECT_EQ(ZV_TOKEN_NAME, t.nKind);
    EXPECT_EQ(1, m_provider.IsEndOfData());
    EXPECT_EQ(1, m_provider.GetCurPos());
    t = Pattern();
    EXPECT_EQ(0, m_provider.GetToken(&t));
}

TEST_F(ZVTokenProviderTest, PushingBackALineEndDoesNotCountTheLineAgain) {
    Load("\nx");
    ZV_TOKEN_tag t = Next();
    EXPECT_EQ(2, m_provider.GetCurLine());
    ASSERT_EQ(1, m_provider.PushbackToken(&t));
    EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
    EXPECT_EQ(2, m_provider.GetCurLine());
    EXPECT_EQ(1, Next().nLine);
}

TEST_F(ZVTokenProviderTest, ResetAndTheDestructorDeletePushedStrings) {
    Load("'one' \"two\" '' '\\x00'");
    ZV_TOKEN_tag tokens[7];
    for (ZV_TOKEN_tag& t : tokens) {
        t = Next();
    }
    for (ZV_TOKEN_tag& t : tokens) {
        if (t.nKind == ZV_TOKEN_STRING) {
            ASSERT_EQ(1, m_provider.PushbackToken(&t));
        }
    }
    EXPECT_EQ(4, m_provider.m_nPushbackCount);
    EXPECT_EQ(1, m_provider.Reset());  // the sanitizer flavour reports any string left behind
    EXPECT_EQ(0, m_provider.m_nPushbackCount);
    EXPECT_EQ(0, m_provider.GetCurPos());
    EXPECT_EQ(0, m_provider.IsEndOfData());

    std::unique_ptr<CZVTokenProvider> owner(new CZVTokenProvider);
    char text[] = "'three' 'four'";
    ASSERT_EQ(1, owner->SetData(text, sizeof text - 1));
    ZV_TOKEN_tag t = Pattern();
    ASSERT_EQ(1, owner->GetToken(&t));
    ASSERT_EQ(1, owner->PushbackToken(&t));
    owner.reset();  // deletes "three" with the provider
}

TEST_F(ZVTokenProviderTest, SetDataDeletesPushedStrings) {
    Load("'one'");
    ZV_TOKEN_tag t = Next();
    ASSERT_EQ(1, m_provider.PushbackToken(&t));
    char other[] = "x";
    EXPECT_EQ(1, m_provider.SetData(other, 1));
    EXPECT_EQ(0, m_provider.m_nPushbackCount);
}

// ----------------------------------------------------------------------------------------------
// Deleting tokens and strings

TEST_F(ZVTokenProviderTest, DeleteTokenFreesStringsOnly) {
    Load("'ab' cd");
    ZV_TOKEN_tag t = Next();
    ASSERT_EQ(ZV_TOKEN_STRING, t.nKind);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));
    EXPECT_EQ(ZV_TOKEN_NONE, t.nKind);
    EXPECT_EQ(nullptr, t.pszText);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));  // a deleted token again: nothing to do
    t = Next();
    ASSERT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));
    EXPECT_EQ(ZV_TOKEN_BLANKS, t.nKind);
    t = Next();
    ASSERT_EQ(ZV_TOKEN_NAME, t.nKind);
    ZV_TOKEN_tag kept = t;
    EXPECT_EQ(1, m_provider.DeleteToken(&t));  // a name points into the data: left alone
    EXPECT_EQ(0, memcmp(&kept, &t, sizeof t));
    EXPECT_EQ(0, m_provider.DeleteToken(g_nullToken));
}

TEST_F(ZVTokenProviderTest, DeleteTokenLeavesTheSharedEmptyStringAlone) {
    Load("''");
    ZV_TOKEN_tag t = Next();
    ASSERT_EQ(ZV_TOKEN_STRING, t.nKind);
    char* shared = t.pszText;
    EXPECT_EQ(CZVTokenProvider::ParseString("", -1), shared);
    EXPECT_EQ(1, m_provider.DeleteToken(&t));
    EXPECT_EQ(ZV_TOKEN_NONE, t.nKind);
    // Still in place and still empty: it was not freed (freeing a static object aborts).
    EXPECT_EQ('\0', shared[0]);
    EXPECT_EQ(shared, CZVTokenProvider::EspaceString("", 0));
}

TEST_F(ZVTokenProviderTest, DeleteStringOfTheSharedEmptyStringAndOfANulBuffer) {
    char* shared = CZVTokenProvider::ParseString("", 0);
    ASSERT_NE(nullptr, shared);
    CZVTokenProvider::DeleteString(shared);
    CZVTokenProvider::DeleteString(shared);
    EXPECT_EQ('\0', shared[0]);
    EXPECT_EQ(shared, CZVTokenProvider::ParseString("", 0));
    // A buffer whose first byte is NUL is a buffer of its own and is freed.
    char* nul = CZVTokenProvider::ParseString("\\x00", -1);
    ASSERT_NE(nullptr, nul);
    EXPECT_NE(shared, nul);
    EXPECT_EQ('\0', nul[0]);
    CZVTokenProvider::DeleteString(nul);  // the sanitizer flavour reports it if it stays
    char* emptied = CZVTokenProvider::EspaceString("x", 1);
    ASSERT_NE(nullptr, emptied);
    emptied[0] = '\0';
    CZVTokenProvider::DeleteString(emptied);
    CZVTokenProvider::DeleteString(nullptr);
}

// ----------------------------------------------------------------------------------------------
// ParseString and EspaceString

struct EscapePair {
    std::string raw;
    std::string escaped;
};

// Each byte with a form of its own, both ways.
const EscapePair kEscapes[] = {
    {"\x07", "\\a"},
    {"\x08", "\\b"},
    {"\x0C", "\\f"},
    {"\x0A", "\\n"},
    {"\x0D", "\\r"},
    {"\x09", "\\t"},
    {"\x0B", "\\v"},
    {"'", "\\'"},
    {"\"", "\\\""},
    {"\\", "\\\\"},
    {"a Z~", "a Z~"},
    {"\x7F", "\\x7F"},
    {"\x01", "\\x01"},
    {"\x1F", "\\x1F"},
    {"\xA1\xDF", "\xA1\xDF"},
    {"\x80", "\\x80"},
    {"\xA0", "\\xA0"},
    {"\xE0", "\\xE0"},
    {"\xFD", "\\xFD"},
    {"\xFF", "\\xFF"},
    {"\x81", "\\x81"},
    {"\x9F", "\\x9F"},
    {"\xFC", "\\xFC"},
    // Shift-JIS pairs pass whole, a backslash or 0x7F as trail byte included.
    {"\x81\\", "\x81\\"},
    {"\x95\\x", "\x95\\x"},
    {"\xE0\x40", "\xE0\x40"},
    {"\xFC\xFC", "\xFC\xFC"},
    {"\x81\x7F", "\x81\x7F"},
    {"\x9F\x81\\", "\x9F\x81\\\\"},
    // A quote or a control byte is no trail byte: the lead byte stands alone.
    {"\x81'", "\\x81\\'"},
    {"\x81\"", "\\x81\\\""},
    {"\x81\n", "\\x81\\n"},
    {"\x81\x3F", "\\x81?"},
    {"\xE0\xFD", "\\xE0\\xFD"},
    {"\x81", "\\x81"},
    {"x\x81", "x\\x81"},
};

TEST_F(ZVTokenProviderTest, EspaceStringOfEveryEscape) {
    for (const EscapePair& pair : kEscapes) {
        char* escaped =
            CZVTokenProvider::EspaceString(pair.raw.data(), static_cast<int>(pair.raw.size()));
        EXPECT_EQ(pair.escaped, Str(escaped)) << pair.escaped;
        CZVTokenProvider::DeleteString(escaped);
    }
}

TEST_F(ZVTokenProviderTest, ParseStringOfEveryEscape) {
    for (const EscapePair& pair : kEscapes) {
        char* raw = CZVTokenProvider::ParseString(pair.escaped.data(),
                                                  static_cast<int>(pair.escaped.size()));
        EXPECT_EQ(pair.raw, Str(raw)) << pair.escaped;
        CZVTokenProvider::DeleteString(raw);
    }
}

TEST_F(ZVTokenProviderTest, EspaceStringOfEveryByteAlone) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        char* escaped = CZVTokenProvider::EspaceString(&c, 1);
        ASSERT_NE(nullptr, escaped);
        std::string expected;
        const char* letters = strchr("\a\b\f\n\r\t\v", byte);
        if (letters != nullptr) {
            expected = std::string("\\") + "abfnrtv"[letters - "\a\b\f\n\r\t\v"];
        } else if (byte == '\'' || byte == '"' || byte == '\\') {
            expected = std::string("\\") + c;
        } else if ((byte >= 0x20 && byte <= 0x7E) || (byte >= 0xA1 && byte <= 0xDF)) {
            expected = std::string(1, c);
        } else {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02X", byte);
            expected = hex;
        }
        EXPECT_EQ(expected, Str(escaped)) << byte;
        char* back = CZVTokenProvider::ParseString(escaped, -1);
        EXPECT_EQ(std::string(1, c), Str(back)) << byte;
        CZVTokenProvider::DeleteString(back);
        CZVTokenProvider::DeleteString(escaped);
    }
    // A NUL inside the given count is escaped too.
    char* nul = CZVTokenProvider::EspaceString("a\0b", 3);
    EXPECT_EQ("a\\x00b", Str(nul));
    CZVTokenProvider::DeleteString(nul);
}

TEST_F(ZVTokenProviderTest, EveryBytePairRoundTrips) {
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const char raw[2] = {static_cast<char>(first), static_cast<char>(second)};
            char* escaped = CZVTokenProvider::EspaceString(raw, 2);
            ASSERT_NE(nullptr, escaped);
            char* back = CZVTokenProvider::ParseString(escaped, -1);
            ASSERT_NE(nullptr, back);
            EXPECT_EQ(std::string(raw, 2), std::string(back)) << first << " " << second;
            CZVTokenProvider::DeleteString(back);
            CZVTokenProvider::DeleteString(escaped);
        }
    }
}

TEST_F(ZVTokenProviderTest, ParseStringRules) {
    struct Case {
        const char* body;
        std::string decoded;
    };
    const Case cases[] = {
        {"\\x41", "A"},
        {"\\x4a\\x4A", "JJ"},
        {"\\xff", "\xFF"},
        {"\\x4", "x4"},
        {"\\x", "x"},
        {"\\xg1", "xg1"},
        {"\\x4g", "x4g"},
        {"\\x414", "A4"},
        {"\\q\\z\\ \\8\\9", "qz 89"},
        {"\\", "\\"},
        {"ab\\", "ab\\"},
        {"\\\\", "\\"},
        {"\\\\\\", "\\\\"},
        {"\\a\\b\\f\\n\\r\\t\\v", "\a\b\f\n\r\t\v"},
        {"\\A\\N", "AN"},
        {"\\\x81\\n", "\x81\n"},  // an escaped lead byte stands alone
        {"plain text", "plain text"},
        {"\x81\\n", "\x81\\n"},
        {"\r\n\t", "\r\n\t"},
    };
    for (const Case& c : cases) {
        char* decoded = CZVTokenProvider::ParseString(c.body, -1);
        EXPECT_EQ(c.decoded, Str(decoded)) << c.body;
        CZVTokenProvider::DeleteString(decoded);
    }
}

TEST_F(ZVTokenProviderTest, ParseStringReadsOnlyTheGivenCount) {
    Bytes body("\\x41\\101");
    char* decoded = CZVTokenProvider::ParseString(body.Data(), 3);  // "\x4": no two digits
    EXPECT_EQ("x4", Str(decoded));
    CZVTokenProvider::DeleteString(decoded);
    decoded = CZVTokenProvider::ParseString(body.Data(), 1);
    EXPECT_EQ("\\", Str(decoded));
    CZVTokenProvider::DeleteString(decoded);
    decoded = CZVTokenProvider::ParseString(body.Data() + 4, 2);
    EXPECT_EQ("\x01", Str(decoded));
    CZVTokenProvider::DeleteString(decoded);
    Bytes pair("\x81\\");
    decoded = CZVTokenProvider::ParseString(pair.Data(), 1);  // a lead byte at the end
    EXPECT_EQ("\x81", Str(decoded));
    CZVTokenProvider::DeleteString(decoded);
    Bytes nul(std::string("a\0b", 3));
    decoded = CZVTokenProvider::ParseString(nul.Data(), 3);
    EXPECT_EQ(std::string("a\0b", 3), std::string(decoded, 3));
    CZVTokenProvider::DeleteString(decoded);
}

TEST_F(ZVTokenProviderTest, EmptyAndNullTexts) {
    char* shared = CZVTokenProvider::ParseString("", 0);
    ASSERT_NE(nullptr, shared);
    EXPECT_EQ(m_provider.m_pData, shared);
    EXPECT_EQ(shared, CZVTokenProvider::ParseString("", -1));
    EXPECT_EQ(shared, CZVTokenProvider::ParseString("abc", 0));
    EXPECT_EQ(shared, CZVTokenProvider::EspaceString("", -1));
    EXPECT_EQ(shared, CZVTokenProvider::EspaceString("abc", 0));
    EXPECT_EQ(nullptr, CZVTokenProvider::ParseString(g_nullText, 3));
    EXPECT_EQ(nullptr, CZVTokenProvider::ParseString(g_nullText, -1));
    EXPECT_EQ(nullptr, CZVTokenProvider::EspaceString(g_nullText, 3));
    EXPECT_EQ(nullptr, CZVTokenProvider::EspaceString(g_nullText, -1));
}

TEST_F(ZVTokenProviderTest, NegativeCountsMeasureUpToTheNul) {
    char* escaped = CZVTokenProvider::EspaceString("a\tb\0c", -1);
    EXPECT_EQ("a\\tb", Str(escaped));
    CZVTokenProvider::DeleteString(escaped);
    char* decoded = CZVTokenProvider::ParseString("a\\tb\0c", -5);
    EXPECT_EQ("a\tb", Str(decoded));
    CZVTokenProvider::DeleteString(decoded);
}

TEST_F(ZVTokenProviderTest, LongTextsRoundTrip) {
    std::string raw;
    for (int i = 0; i < 5000; ++i) {
        raw += static_cast<char>(1 + i % 255);
    }
    char* escaped = CZVTokenProvider::EspaceString(raw.data(), static_cast<int>(raw.size()));
    ASSERT_NE(nullptr, escaped);
    char* back = CZVTokenProvider::ParseString(escaped, -1);
    ASSERT_NE(nullptr, back);
    EXPECT_EQ(raw, std::string(back));
    CZVTokenProvider::DeleteString(back);
    CZVTokenProvider::DeleteString(escaped);
}

// What the writer emits reads back through the literal rule of the reader.
TEST_F(ZVTokenProviderTest, EscapedTextReadsBackAsALiteral) {
    const std::string raws[] = {
        "Main unit\n",          "it's \"quoted\" \\ here",      "\x81\\\x81'\x95\\",
        "\r\n\x7F\x80\xFF\x01", std::string("\xE0\\\xE0\"", 4),
    };
    for (const std::string& raw : raws) {
        char* escaped = CZVTokenProvider::EspaceString(raw.data(), static_cast<int>(raw.size()));
        ASSERT_NE(nullptr, escaped);
        for (const char* quote : {"'", "\""}) {
            const std::string line = std::string(quote) + escaped + quote + "\r\n";
            Load(line);
            ZV_TOKEN_tag t = Next();
            EXPECT_EQ(ZV_TOKEN_STRING, t.nKind);
            EXPECT_EQ(raw, TextOf(t)) << line;
            EXPECT_EQ(static_cast<int>(line.size()) - 2, t.nEnd) << line;
            m_provider.DeleteToken(&t);
            EXPECT_EQ(ZV_TOKEN_LINE_END, Next().nKind);
        }
        CZVTokenProvider::DeleteString(escaped);
    }
}

// Every token's column is the column of its first byte counted from its line's start, also when
// tokens are pushed back and taken again, and after the data is set again.
TEST(ZVTokenProviderColumns, EveryTokenStandsAtTheColumnCountedFromItsLineStart) {
    std::string text;
    uint32_t seed = 12345u;
    static const char* const kPieces[] = {"\t",   " ",  "name", "=", "12",    "0x1F", "'str'", "#c",
                                          "\r\n", "\n", "{",    "}", "1.5e3", "\t\t", "/"};
    for (int i = 0; i < 2000; ++i) {
        seed = seed * 1103515245u + 12345u;
        text += kPieces[(seed >> 16) % (sizeof kPieces / sizeof kPieces[0])];
    }
    std::vector<char> data(text.begin(), text.end());
    CZVTokenProvider tokens;
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(1, tokens.SetData(data.data(), static_cast<unsigned int>(data.size())));
        int lineStart = 0;
        int taken = 0;
        ZV_TOKEN_tag token;
        while (tokens.GetToken(&token)) {
            ASSERT_EQ(
                CZVTokenProvider::CalcColumn(data.data() + lineStart, token.nStart - lineStart),
                token.nColumn)
                << "token at " << token.nStart;
            if (++taken % 5 == 0) {
                ASSERT_EQ(1, tokens.PushbackToken(&token));
                ASSERT_EQ(1, tokens.GetToken(&token));
            }
            if (token.nKind == 7) {
                lineStart = token.nEnd;
            }
            tokens.DeleteToken(&token);
        }
        ASSERT_EQ(static_cast<int>(data.size()), tokens.GetCurPos());
    }
}

}  // namespace
