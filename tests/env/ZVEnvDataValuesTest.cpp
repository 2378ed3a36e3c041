// CZVEnvData typed values: the bytes each setter writes, the in-place and rewriting paths, type
// changes, getters, comments, values taken from the buffer itself, and the header record: the
// format tag and versions, the access-time stamp and the copied header.
#include <cfloat>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

using envtest::Bin;
using envtest::Bool;
using envtest::Bytes;
using envtest::Comment;
using envtest::Dir;
using envtest::F64;
using envtest::Fillers;
using envtest::Hex;
using envtest::Int;
using envtest::Real;
using envtest::Root;
using envtest::Str;
using envtest::U32;
using zvtest::kSentinelError;
using zvtest::Record;
using zvtest::Utc;

// A header record with every field set, time included.
ZV_COMMON_FILE_HEADER_tag KnownHeader(const char* tag, uint16_t major, uint16_t minor,
                                      int32_t time) {
    ZV_COMMON_FILE_HEADER_tag header;
    memset(&header, 0, sizeof header);
    memcpy(header.szFileType, tag, 4);
    header.wMajorVer = major;
    header.wMinorVer = minor;
    header.lLastModified = time;
    header.dwDataSize = 0x01020304u;
    header.lCheckSum = 0xBEEF;
    memcpy(header.byMacAddr, "\x00\x1A\x2B\x3C\x4D\x5E", 6);
    memcpy(header.szExtraInfo, "hello world", 12);
    return header;
}

Bytes RecordBytes(const ZV_COMMON_FILE_HEADER_tag& header) {
    return Bytes(reinterpret_cast<const char*>(&header), sizeof header);
}

class ZVEnvDataValuesTest : public envtest::EnvDataTest {
protected:
    // Puts a known header record in front of the tree, so that whole buffers can be compared.
    void SetUp() override {
        EnvDataTest::SetUp();
        m_header = KnownHeader("ENVT", 1, 0, static_cast<int32_t>(Utc(2009, 2, 13, 23, 31, 30)));
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&m_header));
    }

    // The whole buffer: the known header record and the root directory.
    void ExpectBuffer(const Bytes& root) {
        EXPECT_EQ(Hex(RecordBytes(m_header)), Hex(HeaderBytes()));
        EXPECT_EQ(Hex(root), Hex(Body()));
        EXPECT_EQ(38u + root.size(), m_store.m_dwDataSize);
        EXPECT_TRUE(Consistent());
    }

    // Loads items so that the buffer ends room bytes before the end of its mapping, which the
    // next insertion of more than room bytes has to replace.
    void LoadNearlyFull(const Bytes& items, unsigned int room) {
        const unsigned int capacity = m_store.m_SharedData.m_DataMap.m_dwLength;
        const size_t used = 38 + 7 + items.size() + Bin("pad", "").size();
        ASSERT_LT(used + room, capacity);
        const Bytes root = Root(items + Bin("pad", Bytes(capacity - room - used, 'p')));
        LoadRoot(root);
        ASSERT_EQ(capacity - room, m_store.m_dwDataSize);
        ASSERT_EQ(capacity, m_store.m_SharedData.m_DataMap.m_dwLength);
    }

    ZV_COMMON_FILE_HEADER_tag m_header;
};

// ----------------------------------------------------------------------------------------------
// Item bytes of each setter

TEST_F(ZVEnvDataValuesTest, SetIntegerWritesADecimalKey) {
    EXPECT_EQ(45u, m_store.SetInteger(0, "ab", -1, 0x12345678, 0));
    ExpectBuffer(
        Root(Bytes("\x07\x03"
                   "ab\0\x78\x56\x34\x12",
                   9)));
    EXPECT_EQ(54u, m_store.SetInteger(0, "n", -1, -2, 0));
    ExpectBuffer(Root(Int("ab", 0x12345678) + Bytes("\x07\x4E"
                                                    "n\0\xFE\xFF\xFF\xFF",
                                                    8)));
    EXPECT_EQ(62u, m_store.SetInteger(0, "m", -1, INT_MIN, 0));
    EXPECT_EQ(70u, m_store.SetInteger(0, "x", -1, INT_MAX, 0));
    ExpectBuffer(
        Root(Int("ab", 0x12345678) + Int("n", -2) + Int("m", INT_MIN) + Int("x", INT_MAX)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, SetIntegerOfANewKeyTakesTheGivenRadixOrDecimal) {
    struct Case {
        unsigned char radix;
        unsigned char type;
    };
    const Case cases[] = {{7, 7}, {11, 11}, {12, 12}, {13, 13}, {0, 7},  {1, 7},
                          {6, 7}, {8, 7},   {9, 7},   {10, 7},  {14, 7}, {255, 7}};
    Bytes items;
    unsigned int at = 45;
    int n = 0;
    for (const Case& c : cases) {
        const std::string name = "k" + std::to_string(n++);
        EXPECT_EQ(at, m_store.SetInteger(0, name.c_str(), -1, 100 + n, c.radix)) << int(c.radix);
        items += Int(name, 100 + n, c.type);
        at += static_cast<unsigned int>(Int(name, 0).size());
    }
    ExpectBuffer(Root(items));
}

TEST_F(ZVEnvDataValuesTest, SetIntegerKeepsOrChangesTheRadixInPlace) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "x", -1, 1, ZVED_ITEM_HEX));
    ASSERT_EQ(53u, m_store.SetInteger(0, "z", -1, 9, 0));
    ExpectBuffer(Root(Int("x", 1, ZVED_ITEM_HEX) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "x", -1, 2, 0));
    ExpectBuffer(Root(Int("x", 2, ZVED_ITEM_HEX) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "X", -1, 3, ZVED_ITEM_INTEGER));
    ExpectBuffer(Root(Int("x", 3) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "x", -1, 4, ZVED_ITEM_OCT));
    ExpectBuffer(Root(Int("x", 4, ZVED_ITEM_OCT) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "x", -1, -5, ZVED_ITEM_BIN));
    ExpectBuffer(Root(Int("x", -5, ZVED_ITEM_BIN) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "x", -1, 6, 9));  // not a radix: kept
    ExpectBuffer(Root(Int("x", 6, ZVED_ITEM_BIN) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetInteger(0, "x", -1, 7, 255));
    ExpectBuffer(Root(Int("x", 7, ZVED_ITEM_BIN) + Int("z", 9)));
}

TEST_F(ZVEnvDataValuesTest, SetDoubleWritesARealKeyAndRewritesItInPlace) {
    EXPECT_EQ(45u, m_store.SetDouble(0, "r", -1, 1.5));
    ExpectBuffer(Root(Bytes("\x09\x52r\0\0\0\0\0\0\0\xF8\x3F", 12)));
    ASSERT_EQ(57u, m_store.SetInteger(0, "z", -1, 9, 0));
    const double values[] = {-0.0, 0.1, 1e308, -DBL_MAX, 4.9406564584124654e-324, 1e20};
    for (double value : values) {
        EXPECT_EQ(45u, m_store.SetDouble(0, "R", -1, value));
        ExpectBuffer(Root(Real("r", value) + Int("z", 9)));
        double read = 7.0;
        EXPECT_EQ(45u, m_store.GetDouble(0, "r", -1, &read));
        EXPECT_EQ(Hex(F64(value)), Hex(F64(read)));
    }
}

TEST_F(ZVEnvDataValuesTest, SetBooleanChangesOnlyTheTypeByte) {
    EXPECT_EQ(45u, m_store.SetBoolean(0, "b", -1, 1));
    ASSERT_EQ(49u, m_store.SetInteger(0, "z", -1, 9, 0));
    ExpectBuffer(Root(Bytes("\x03\x42"
                            "b\0",
                            4) +
                      Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetBoolean(0, "b", -1, 0));
    ExpectBuffer(Root(Bytes("\x02\x42"
                            "b\0",
                            4) +
                      Int("z", 9)));
    for (int value : {2, -1, INT_MIN}) {
        EXPECT_EQ(45u, m_store.SetBoolean(0, "B", -1, value));
        ExpectBuffer(Root(Bool("b", true) + Int("z", 9)));
        int read = 7;
        EXPECT_EQ(45u, m_store.GetBoolean(0, "b", -1, &read));
        EXPECT_EQ(1, read);
        EXPECT_EQ(45u, m_store.SetBoolean(0, "b", -1, 0));
        EXPECT_EQ(45u, m_store.GetBoolean(0, "b", -1, &read));
        EXPECT_EQ(0, read);
    }
}

TEST_F(ZVEnvDataValuesTest, SetStringWritesTheTextAndATerminator) {
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, "hi", -1));
    ASSERT_EQ(52u, m_store.SetInteger(0, "z", -1, 9, 0));
    ExpectBuffer(Root(Bytes("\x0A\x53s\0hi\0", 7) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, "hello world", -1));
    ExpectBuffer(Root(Str("s", "hello world") + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, "hello", 1));
    ExpectBuffer(Root(Str("s", "h") + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, "hello", 0));
    ExpectBuffer(Root(Str("s", "") + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetString(0, "S", -1, "x", -1));
    ExpectBuffer(Root(Str("S", "x") + Int("z", 9)));
    char* text = nullptr;
    EXPECT_EQ(45u, m_store.GetString(0, "s", -1, &text));
    EXPECT_EQ(reinterpret_cast<char*>(m_store.m_pData + 49), text);
    EXPECT_STREQ("x", text);
}

TEST_F(ZVEnvDataValuesTest, SetStringTextEndsAtItsFirstNul) {
    // A text in a block of exactly its own size: nothing may be read behind its terminator.
    std::unique_ptr<char[]> text(new char[3]);
    memcpy(text.get(), "hi", 3);
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, text.get(), 10));
    ExpectBuffer(Root(Str("s", "hi")));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, text.get(), 0x7FFFFFF0));
    ExpectBuffer(Root(Str("s", "hi")));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, text.get(), INT_MAX));
    ExpectBuffer(Root(Str("s", "hi")));
    EXPECT_EQ(45u, m_store.SetString(0, "s", -1, "a\0b", 3));
    ExpectBuffer(Root(Str("s", "a")));
}

TEST_F(ZVEnvDataValuesTest, SetBinDataWritesTheLengthAndTheBytes) {
    EXPECT_EQ(45u, m_store.SetBinData(0, "d", -1, "\x01\x02\x03", 3));
    ASSERT_EQ(56u, m_store.SetInteger(0, "z", -1, 9, 0));
    ExpectBuffer(Root(Bytes("\x01\x44"
                            "d\0\x03\0\0\0\x01\x02\x03",
                            11) +
                      Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetBinData(0, "d", -1, nullptr, 4));
    ExpectBuffer(Root(Bin("d", Bytes(4, '\0')) + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetBinData(0, "d", -1, "abc", 0));
    ExpectBuffer(Root(Bin("d", "") + Int("z", 9)));
    EXPECT_EQ(45u, m_store.SetBinData(0, "d", -1, nullptr, 0));
    ExpectBuffer(Root(Bin("d", "") + Int("z", 9)));
    const Bytes big(300, '\xA5');
    EXPECT_EQ(45u, m_store.SetBinData(0, "D", -1, big.data(), 300));
    ExpectBuffer(Root(Bin("D", big) + Int("z", 9)));
    void* data = nullptr;
    unsigned int size = 0;
    EXPECT_EQ(45u, m_store.GetBinData(0, "d", -1, &data, &size));
    EXPECT_EQ(static_cast<void*>(m_store.m_pData + 53), data);
    EXPECT_EQ(300u, size);
    EXPECT_EQ(0, memcmp(data, big.data(), 300));
}

TEST_F(ZVEnvDataValuesTest, SetBinDataRefusesSizesThatWrap) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "z", -1, 9, 0));
    const char small[4] = {1, 2, 3, 4};
    struct Case {
        const char* name;
        unsigned int size;
    };
    // name + size + 7 wraps; or the item fits in 32 bits but the data size does not.
    const Case cases[] = {{"d", 0xFFFFFFF8u},   {"d", 0xFFFFFFFFu}, {"d", 0xFFFFFFF9u},
                          {"abc", 0xFFFFFFF6u}, {"d", 0xFFFFFFF7u}, {"d", 0xFFFFFFF0u},
                          {"z", 0xFFFFFFF8u},   {"z", 0xFFFFFFF0u}};
    for (const Case& c : cases) {
        EXPECT_EQ(0u, m_store.SetBinData(0, c.name, -1, nullptr, c.size)) << c.name << c.size;
        EXPECT_EQ(0u, m_store.SetBinData(0, c.name, -1, small, c.size)) << c.name << c.size;
        ExpectBuffer(Root(Int("z", 9)));
    }
}

TEST_F(ZVEnvDataValuesTest, SetBinDataRefusesWrappingSizesOfBytesInsideTheBuffer) {
    ASSERT_EQ(45u, m_store.SetBinData(0, "src", -1, "0123456789", 10));
    void* data = nullptr;
    unsigned int size = 0;
    ASSERT_EQ(45u, m_store.GetBinData(0, "src", -1, &data, &size));
    for (unsigned int huge : {0xFFFFFFF8u, 0xFFFFFFFFu, 0xFFFFFFF0u}) {
        EXPECT_EQ(0u, m_store.SetBinData(0, "d", -1, data, huge)) << huge;
        EXPECT_EQ(0u, m_store.SetBinData(0, "src", -1, data, huge)) << huge;
        ExpectBuffer(Root(Bin("src", "0123456789")));
    }
}

TEST_F(ZVEnvDataValuesTest, InsertCommentAppendsTextAndValue) {
    EXPECT_EQ(45u, m_store.InsertComment(0, "hello", -1, ZVED_ITEM_COMMENT, 0x1234));
    const unsigned char sum = 'H' ^ 'E' ^ 'L' ^ 'L' ^ 'O';
    ExpectBuffer(Root(Bytes("\x04") + static_cast<char>(sum) + Bytes("hello\0\x34\x12", 8)));
    EXPECT_EQ(55u, m_store.InsertComment(0, "", -1, ZVED_ITEM_TRAILING_COMMENT, 0xFFFF));
    EXPECT_EQ(60u, m_store.InsertComment(38, "a b-c! \xE9", -1, ZVED_ITEM_COMMENT, 0));
    EXPECT_EQ(73u, m_store.InsertComment(0, "xyz", 2, ZVED_ITEM_COMMENT, 80));
    EXPECT_EQ(80u, m_store.InsertComment(0, "", 0, ZVED_ITEM_COMMENT, 1));
    ExpectBuffer(Root(Comment("hello", 0x1234) + Bytes("\x0E\x00\x00\xFF\xFF", 5) +
                      Comment("a b-c! \xE9", 0) + Comment("xy", 80) + Comment("", 1)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, InsertCommentRefusals) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 1, 0));
    for (int type : {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 255}) {
        EXPECT_EQ(0u, m_store.InsertComment(0, "c", -1, static_cast<unsigned char>(type), 0))
            << type;
    }
    EXPECT_EQ(0u, m_store.InsertComment(45, "c", -1, ZVED_ITEM_COMMENT, 0));
    EXPECT_EQ(0u, m_store.InsertComment(m_store.m_dwDataSize, "c", -1, ZVED_ITEM_COMMENT, 0));
    ExpectBuffer(Root(Int("k", 1)));
}

TEST_F(ZVEnvDataValuesTest, CommentsAreAlwaysAppendedLast) {
    ASSERT_EQ(45u, m_store.CreateSubDir(0, "d", -1));
    ASSERT_EQ(53u, m_store.SetInteger(45, "a", -1, 1, 0));
    ASSERT_EQ(61u, m_store.InsertComment(45, "after a", -1, ZVED_ITEM_TRAILING_COMMENT, 20));
    ASSERT_EQ(73u, m_store.SetInteger(45, "b", -1, 2, 0));
    ASSERT_EQ(81u, m_store.InsertComment(0, "root", -1, ZVED_ITEM_COMMENT, 0));
    ExpectBuffer(Root(
        Dir("d", Int("a", 1) + Comment("after a", 20, ZVED_ITEM_TRAILING_COMMENT) + Int("b", 2)) +
        Comment("root", 0)));
    // A comment is never found as a key, and a setter of the same name makes a key.
    EXPECT_EQ(0u, m_store.FindKey(0, "root", -1));
    EXPECT_EQ(90u, m_store.SetInteger(0, "root", -1, 3, 0));
}

// ----------------------------------------------------------------------------------------------
// Getters

TEST_F(ZVEnvDataValuesTest, GettersReadEveryType) {
    LoadRoot(Root(Int("i", -7) + Int("h", 255, ZVED_ITEM_HEX) + Int("o", 8, ZVED_ITEM_OCT) +
                  Int("b", 5, ZVED_ITEM_BIN) + Real("r", 2.25) + Bool("t", true) +
                  Bool("f", false) + Str("s", "text") + Bin("d", Bytes("\x00\x01", 2)) +
                  Bytes("\x01\x45"
                        "e\0\0\0\0\0",
                        8)));
    int value = 0;
    EXPECT_EQ(45u, m_store.GetInteger(0, "i", -1, &value));
    EXPECT_EQ(-7, value);
    EXPECT_EQ(53u, m_store.GetInteger(0, "H", -1, &value));
    EXPECT_EQ(255, value);
    EXPECT_EQ(61u, m_store.GetInteger(0, "o", -1, &value));
    EXPECT_EQ(8, value);
    EXPECT_EQ(69u, m_store.GetInteger(0, "b", -1, &value));
    EXPECT_EQ(5, value);
    double real = 0;
    EXPECT_EQ(77u, m_store.GetDouble(0, "r", -1, &real));
    EXPECT_EQ(2.25, real);
    EXPECT_EQ(89u, m_store.GetBoolean(0, "t", -1, &value));
    EXPECT_EQ(1, value);
    EXPECT_EQ(93u, m_store.GetBoolean(0, "f", -1, &value));
    EXPECT_EQ(0, value);
    char* text = nullptr;
    EXPECT_EQ(97u, m_store.GetString(0, "s", -1, &text));
    EXPECT_EQ(reinterpret_cast<char*>(m_store.m_pData + 101), text);
    void* data = nullptr;
    unsigned int size = 0;
    EXPECT_EQ(106u, m_store.GetBinData(0, "d", -1, &data, &size));
    EXPECT_EQ(static_cast<void*>(m_store.m_pData + 114), data);
    EXPECT_EQ(2u, size);
    data = nullptr;
    size = 9;
    EXPECT_EQ(106u, m_store.GetBinDataBuf(106, &data, &size));
    EXPECT_EQ(static_cast<void*>(m_store.m_pData + 114), data);
    EXPECT_EQ(2u, size);
    EXPECT_EQ(116u, m_store.GetBinData(0, "e", -1, &data, &size));
    EXPECT_EQ(static_cast<void*>(m_store.m_pData + 124), data);
    EXPECT_EQ(0u, size);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, GettersOfAnotherTypeFailAndStoreNothing) {
    LoadRoot(Root(Int("zero", 0) + Int("one", 1) + Real("r", 1.0) + Bool("t", true) +
                  Str("s", "1") + Bin("d", Bytes("\x01\0\0\0", 4)) + Dir("dir", "") +
                  Comment("c", 0)));
    int value = 77;
    double real = 77.0;
    char* text = reinterpret_cast<char*>(1);
    void* data = reinterpret_cast<void*>(1);
    unsigned int size = 77;
    EXPECT_EQ(0u, m_store.GetBoolean(0, "zero", -1, &value));
    EXPECT_EQ(0u, m_store.GetBoolean(0, "one", -1, &value));
    EXPECT_EQ(0u, m_store.GetDouble(0, "one", -1, &real));
    EXPECT_EQ(0u, m_store.GetString(0, "one", -1, &text));
    EXPECT_EQ(0u, m_store.GetBinData(0, "one", -1, &data, &size));
    EXPECT_EQ(0u, m_store.GetInteger(0, "r", -1, &value));
    EXPECT_EQ(0u, m_store.GetInteger(0, "t", -1, &value));
    EXPECT_EQ(0u, m_store.GetDouble(0, "t", -1, &real));
    EXPECT_EQ(0u, m_store.GetInteger(0, "s", -1, &value));
    EXPECT_EQ(0u, m_store.GetBoolean(0, "s", -1, &value));
    EXPECT_EQ(0u, m_store.GetBinData(0, "s", -1, &data, &size));
    EXPECT_EQ(0u, m_store.GetInteger(0, "d", -1, &value));
    EXPECT_EQ(0u, m_store.GetString(0, "d", -1, &text));
    EXPECT_EQ(0u, m_store.GetInteger(0, "dir", -1, &value));
    EXPECT_EQ(0u, m_store.GetString(0, "c", -1, &text));
    EXPECT_EQ(0u, m_store.GetInteger(0, "missing", -1, &value));
    EXPECT_EQ(0u, m_store.GetBinDataBuf(45, &data, &size));  // an integer key
    EXPECT_EQ(0u, m_store.GetBinDataBuf(0, &data, &size));   // the root
    EXPECT_EQ(0u, m_store.GetBinDataBuf(m_store.m_dwDataSize, &data, &size));
    EXPECT_EQ(77, value);
    EXPECT_EQ(77.0, real);
    EXPECT_EQ(reinterpret_cast<char*>(1), text);
    EXPECT_EQ(reinterpret_cast<void*>(1), data);
    EXPECT_EQ(77u, size);
}

TEST_F(ZVEnvDataValuesTest, EmptyAndInvalidNamesFailEverySetterAndGetter) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "a", -1, 1, 0));
    struct Name {
        const char* text;
        int length;
    };
    const Name names[] = {{"", -1},    {"", 0},    {"a", 0},    {"1a", -1},  {"9", -1},
                          {"a-b", -1}, {".a", -1}, {"a b", -1}, {"a/b", -1}, {"\xE9", -1}};
    for (const Name& n : names) {
        int value = 77;
        double real = 77.0;
        char* text = reinterpret_cast<char*>(1);
        void* data = reinterpret_cast<void*>(1);
        unsigned int size = 77;
        EXPECT_EQ(0u, m_store.SetInteger(0, n.text, n.length, 1, 0)) << n.text;
        EXPECT_EQ(0u, m_store.SetDouble(0, n.text, n.length, 1.0)) << n.text;
        EXPECT_EQ(0u, m_store.SetBoolean(0, n.text, n.length, 1)) << n.text;
        EXPECT_EQ(0u, m_store.SetString(0, n.text, n.length, "x", -1)) << n.text;
        EXPECT_EQ(0u, m_store.SetBinData(0, n.text, n.length, "x", 1)) << n.text;
        EXPECT_EQ(0u, m_store.GetInteger(0, n.text, n.length, &value)) << n.text;
        EXPECT_EQ(0u, m_store.GetDouble(0, n.text, n.length, &real)) << n.text;
        EXPECT_EQ(0u, m_store.GetBoolean(0, n.text, n.length, &value)) << n.text;
        EXPECT_EQ(0u, m_store.GetString(0, n.text, n.length, &text)) << n.text;
        EXPECT_EQ(0u, m_store.GetBinData(0, n.text, n.length, &data, &size)) << n.text;
        EXPECT_EQ(77, value);
        EXPECT_EQ(77.0, real);
        EXPECT_EQ(reinterpret_cast<char*>(1), text);
        EXPECT_EQ(reinterpret_cast<void*>(1), data);
        EXPECT_EQ(77u, size);
    }
    ExpectBuffer(Root(Int("a", 1)));
}

TEST_F(ZVEnvDataValuesTest, SettersAndGettersNeedADirectory) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "a", -1, 1, 0));
    for (unsigned int dir : {45u, 46u, 53u, 0xFFFFFFFFu}) {
        int value = 77;
        char* text = nullptr;
        EXPECT_EQ(0u, m_store.SetInteger(dir, "a", -1, 2, 0)) << dir;
        EXPECT_EQ(0u, m_store.SetDouble(dir, "b", -1, 2.0)) << dir;
        EXPECT_EQ(0u, m_store.SetBoolean(dir, "c", -1, 1)) << dir;
        EXPECT_EQ(0u, m_store.SetString(dir, "d", -1, "x", -1)) << dir;
        EXPECT_EQ(0u, m_store.SetBinData(dir, "e", -1, "x", 1)) << dir;
        EXPECT_EQ(0u, m_store.GetInteger(dir, "a", -1, &value)) << dir;
        EXPECT_EQ(0u, m_store.GetString(dir, "a", -1, &text)) << dir;
        EXPECT_EQ(77, value);
    }
    ExpectBuffer(Root(Int("a", 1)));
}

TEST_F(ZVEnvDataValuesTest, SetStringOnAnIntegerKeyMakesAStringKey) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 5, 0));
    ASSERT_EQ(53u, m_store.SetInteger(0, "z", -1, 6, 0));
    EXPECT_EQ(45u, m_store.SetString(0, "k", -1, "a longer text", -1));
    ExpectBuffer(Root(Str("k", "a longer text") + Int("z", 6)));
    int value = 77;
    EXPECT_EQ(0u, m_store.GetInteger(0, "k", -1, &value));
    EXPECT_EQ(77, value);
    char* text = nullptr;
    EXPECT_EQ(45u, m_store.GetString(0, "k", -1, &text));
    EXPECT_STREQ("a longer text", text);
}

// A source key of every type, and what each setter makes of it.
struct Source {
    Bytes item;
    unsigned char type;
};

std::vector<Source> SourcesOfEveryType() {
    return {{Bin("k", "xyz"), ZVED_ITEM_BINARY},
            {Bool("k", false), ZVED_ITEM_FALSE},
            {Bool("k", true), ZVED_ITEM_TRUE},
            {Int("k", 1), ZVED_ITEM_INTEGER},
            {Real("k", 0.5), ZVED_ITEM_REAL},
            {Str("k", "text"), ZVED_ITEM_STRING},
            {Int("k", 1, ZVED_ITEM_HEX), ZVED_ITEM_HEX},
            {Int("k", 1, ZVED_ITEM_OCT), ZVED_ITEM_OCT},
            {Int("k", 1, ZVED_ITEM_BIN), ZVED_ITEM_BIN}};
}

bool IsIntegerType(unsigned char type) {
    return type == ZVED_ITEM_INTEGER || type == ZVED_ITEM_HEX || type == ZVED_ITEM_OCT ||
           type == ZVED_ITEM_BIN;
}

TEST_F(ZVEnvDataValuesTest, EverySetterTurnsAKeyOfAnyTypeIntoItsOwn) {
    for (const Source& source : SourcesOfEveryType()) {
        SCOPED_TRACE("source type " + std::to_string(source.type));
        const Bytes rest = Int("z", 77) + Dir("k", "");

        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetInteger(0, "k", -1, 42, 0));
        const unsigned char intType = IsIntegerType(source.type)
                                          ? source.type
                                          : static_cast<unsigned char>(ZVED_ITEM_INTEGER);
        EXPECT_EQ(Hex(Root(Int("k", 42, intType) + rest)), Hex(Body()));
        int value = 0;
        EXPECT_EQ(45u, m_store.GetInteger(0, "k", -1, &value));
        EXPECT_EQ(42, value);

        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetDouble(0, "k", -1, 2.5));
        EXPECT_EQ(Hex(Root(Real("k", 2.5) + rest)), Hex(Body()));

        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetBoolean(0, "k", -1, 1));
        EXPECT_EQ(Hex(Root(Bool("k", true) + rest)), Hex(Body()));
        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetBoolean(0, "k", -1, 0));
        EXPECT_EQ(Hex(Root(Bool("k", false) + rest)), Hex(Body()));

        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetString(0, "k", -1, "str", -1));
        EXPECT_EQ(Hex(Root(Str("k", "str") + rest)), Hex(Body()));

        LoadRoot(Root(source.item + rest));
        EXPECT_EQ(45u, m_store.SetBinData(0, "k", -1, "\x01\x02", 2));
        EXPECT_EQ(Hex(Root(Bin("k", "\x01\x02") + rest)), Hex(Body()));
        EXPECT_TRUE(Consistent());

        // The getters of every other kind now fail.
        LoadRoot(Root(source.item + rest));
        ASSERT_EQ(45u, m_store.SetString(0, "k", -1, "str", -1));
        double real = 0;
        EXPECT_EQ(0u, m_store.GetInteger(0, "k", -1, &value));
        EXPECT_EQ(0u, m_store.GetDouble(0, "k", -1, &real));
        EXPECT_EQ(0u, m_store.GetBoolean(0, "k", -1, &value));
    }
}

TEST_F(ZVEnvDataValuesTest, NamesDifferingOnlyInCaseAreOneKey) {
    EXPECT_EQ(45u, m_store.SetInteger(0, "Key", -1, 5, 0));
    EXPECT_EQ(45u, m_store.SetInteger(0, "KEY", -1, 6, 0));
    ExpectBuffer(Root(Int("Key", 6)));  // the in-place path keeps the stored spelling
    int value = 0;
    EXPECT_EQ(45u, m_store.GetInteger(0, "kEy", -1, &value));
    EXPECT_EQ(6, value);
    EXPECT_EQ(45u, m_store.SetString(0, "key", -1, "v", -1));
    ExpectBuffer(Root(Str("key", "v")));  // a full rewrite takes the given spelling
    EXPECT_EQ(45u, m_store.SetBinData(0, "KeY", -1, "b", 1));
    ExpectBuffer(Root(Bin("KeY", "b")));
    EXPECT_EQ(45u, m_store.SetDouble(0, "KEY", -1, 1.0));
    EXPECT_EQ(45u, m_store.SetDouble(0, "key", -1, 2.0));
    ExpectBuffer(Root(Real("KEY", 2.0)));
    EXPECT_EQ(59u, m_store.CreateSubDir(0, "Key", -1));
    EXPECT_EQ(59u, m_store.CreateSubDir(0, "kEY", -1));
    ExpectBuffer(Root(Real("KEY", 2.0) + Dir("Key", "")));
}

// ----------------------------------------------------------------------------------------------
// Values taken from the buffer itself

TEST_F(ZVEnvDataValuesTest, StringFromAnotherKeyWhenTheBufferIsReplaced) {
    const std::string value(100, 'v');
    LoadNearlyFull(Str("src", value), 20);
    char* text = nullptr;
    ASSERT_EQ(45u, m_store.GetString(0, "src", -1, &text));
    const unsigned char* before = m_store.m_pData;
    const unsigned int at = m_store.m_dwDataSize;
    EXPECT_EQ(at, m_store.SetString(0, "dst", -1, text, -1));
    EXPECT_NE(before, m_store.m_pData);  // the insertion replaced the mapping
    char* copied = nullptr;
    EXPECT_EQ(at, m_store.GetString(0, "dst", -1, &copied));
    EXPECT_EQ(value, std::string(copied));
    EXPECT_EQ(Hex(Str("dst", value)), Hex(Body().substr(at - 38)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataValuesTest, StringFromAKeyThatMovesUpDuringTheInsertion) {
    LoadRoot(Root(Dir("d", "") + Str("src", "value")));
    char* text = nullptr;
    ASSERT_EQ(53u, m_store.GetString(0, "src", -1, &text));
    EXPECT_EQ(53u, m_store.SetString(45, "x", -1, text, -1));
    ExpectBuffer(Root(Dir("d", Str("x", "value")) + Str("src", "value")));
}

TEST_F(ZVEnvDataValuesTest, StringFromItsOwnText) {
    LoadRoot(Root(Str("k", "abcdef") + Int("z", 1)));
    char* text = nullptr;
    ASSERT_EQ(45u, m_store.GetString(0, "k", -1, &text));
    EXPECT_EQ(45u, m_store.SetString(0, "k", -1, text, -1));
    ExpectBuffer(Root(Str("k", "abcdef") + Int("z", 1)));
    ASSERT_EQ(45u, m_store.GetString(0, "k", -1, &text));
    EXPECT_EQ(45u, m_store.SetString(0, "k", -1, text + 1, -1));
    ExpectBuffer(Root(Str("k", "bcdef") + Int("z", 1)));
    ASSERT_EQ(45u, m_store.GetString(0, "k", -1, &text));
    EXPECT_EQ(45u, m_store.SetString(0, "k", -1, text + 2, 2));
    ExpectBuffer(Root(Str("k", "de") + Int("z", 1)));
    // The key's own name as its text, while the key changes its type.
    ASSERT_EQ(60u, m_store.SetInteger(0, "name", -1, 3, 0));
    EXPECT_EQ(60u, m_store.SetString(0, "name", -1, m_store.GetKeyName(60), -1));
    ExpectBuffer(Root(Str("k", "de") + Int("z", 1) + Str("name", "name")));
}

TEST_F(ZVEnvDataValuesTest, BinaryFromAnotherKeyWhenTheBufferIsReplaced) {
    Bytes value;
    for (int i = 0; i < 200; ++i) {
        value += static_cast<char>(i);
    }
    LoadNearlyFull(Bin("src", value), 20);
    void* data = nullptr;
    unsigned int size = 0;
    ASSERT_EQ(45u, m_store.GetBinData(0, "src", -1, &data, &size));
    ASSERT_EQ(200u, size);
    const unsigned char* before = m_store.m_pData;
    const unsigned int at = m_store.m_dwDataSize;
    EXPECT_EQ(at, m_store.SetBinData(0, "dst", -1, data, size));
    EXPECT_NE(before, m_store.m_pData);
    EXPECT_EQ(Hex(Bin("dst", value)), Hex(Body().substr(at - 38)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataValuesTest, BinaryFromAKeyThatMovesOrFromItself) {
    LoadRoot(Root(Dir("d", "") + Bin("src", "0123456789")));
    void* data = nullptr;
    unsigned int size = 0;
    ASSERT_EQ(53u, m_store.GetBinData(0, "src", -1, &data, &size));
    EXPECT_EQ(53u, m_store.SetBinData(45, "x", -1, data, size));
    ExpectBuffer(Root(Dir("d", Bin("x", "0123456789")) + Bin("src", "0123456789")));
    ASSERT_EQ(71u, m_store.GetBinData(0, "src", -1, &data, &size));
    EXPECT_EQ(71u, m_store.SetBinData(0, "src", -1, static_cast<char*>(data) + 3, 4));
    ExpectBuffer(Root(Dir("d", Bin("x", "0123456789")) + Bin("src", "3456")));
    ASSERT_EQ(71u, m_store.GetBinData(0, "src", -1, &data, &size));
    EXPECT_EQ(71u, m_store.SetBinData(0, "src", -1, data, size));
    ExpectBuffer(Root(Dir("d", Bin("x", "0123456789")) + Bin("src", "3456")));
}

TEST_F(ZVEnvDataValuesTest, NameFromTheBufferForANewKey) {
    LoadRoot(Root(Dir("d", "") + Int("longkeyname", 5)));
    const char* name = m_store.GetKeyName(53);
    ASSERT_NE(nullptr, name);
    EXPECT_EQ(53u, m_store.SetInteger(45, name, -1, 7, 0));
    ExpectBuffer(Root(Dir("d", Int("longkeyname", 7)) + Int("longkeyname", 5)));
}

TEST_F(ZVEnvDataValuesTest, NamesAndTextsFromTheBufferWhenItIsReplaced) {
    const std::string name(60, 'n');
    const std::string value(80, 'v');
    LoadNearlyFull(Str(name, value), 30);
    unsigned int at = m_store.m_dwDataSize;

    const unsigned char* before = m_store.m_pData;
    char* text = nullptr;
    ASSERT_EQ(45u, m_store.GetString(0, name.c_str(), -1, &text));
    const unsigned int dir = m_store.CreateSubDir(0, m_store.GetKeyName(45), -1);
    EXPECT_EQ(at, dir);
    EXPECT_NE(before, m_store.m_pData);
    EXPECT_EQ(Hex(Dir(name, "")), Hex(Body().substr(at - 38)));

    LoadNearlyFull(Str(name, value), 30);
    at = m_store.m_dwDataSize;
    before = m_store.m_pData;
    ASSERT_EQ(45u, m_store.GetString(0, name.c_str(), -1, &text));
    EXPECT_EQ(at, m_store.InsertComment(0, text, -1, ZVED_ITEM_COMMENT, 3));
    EXPECT_NE(before, m_store.m_pData);
    EXPECT_EQ(Hex(Comment(value, 3)), Hex(Body().substr(at - 38)));

    LoadNearlyFull(Str(name, value), 30);
    at = m_store.m_dwDataSize;
    before = m_store.m_pData;
    ASSERT_EQ(45u, m_store.GetString(0, name.c_str(), -1, &text));
    ASSERT_EQ(at, m_store.CreateSubDir(0, "d", -1));
    // Both the name and the text of the new key lie in the buffer, behind the new key's place.
    EXPECT_EQ(at + 8, m_store.SetString(at, m_store.GetKeyName(45), -1, text, -1));
    EXPECT_NE(before, m_store.m_pData);
    EXPECT_EQ(Hex(Dir("d", Str(name, value))), Hex(Body().substr(at - 38)));
    EXPECT_TRUE(Consistent());
}

// ----------------------------------------------------------------------------------------------
// Format tag and versions

TEST_F(ZVEnvDataValuesTest, AssignFormatWritesTheTagAndVersions) {
    LoadRoot(Root(Int("k", 1)));
    EXPECT_EQ(0, m_store.GetFormat());
    EXPECT_EQ(1, m_store.AssignFormat(1));
    EXPECT_EQ(Hex(Bytes("ENVB\x01\x00\x00\x00", 8)), Hex(HeaderBytes().substr(0, 8)));
    EXPECT_EQ(1, m_store.GetFormat());
    EXPECT_EQ(1, m_store.AssignFormat(0));
    EXPECT_EQ(Hex(Bytes("ENVT\x01\x00\x00\x00", 8)), Hex(HeaderBytes().substr(0, 8)));
    EXPECT_EQ(0, m_store.GetFormat());
    // The rest of the record and the tree stay.
    EXPECT_EQ(Hex(RecordBytes(m_header).substr(8)), Hex(HeaderBytes().substr(8)));
    EXPECT_BODY(Root(Int("k", 1)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, AssignFormatRefusesOtherNumbers) {
    ASSERT_EQ(1, m_store.AssignFormat(1));
    const Bytes before = HeaderBytes();
    for (int format : {2, -1, 3, 100, INT_MIN}) {
        EXPECT_EQ(0, m_store.AssignFormat(format)) << format;
        EXPECT_EQ(Hex(before), Hex(HeaderBytes()));
        EXPECT_EQ(1, m_store.GetFormat());
    }
}

TEST_F(ZVEnvDataValuesTest, AssignFormatRewritesOtherVersions) {
    struct Versions {
        uint16_t major;
        uint16_t minor;
    };
    for (const Versions& v :
         {Versions{2, 5}, Versions{1, 1}, Versions{0, 0}, Versions{0xFFFF, 0}}) {
        m_header = KnownHeader("ENVB", v.major, v.minor, MarkerTime());
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&m_header));
        m_store.m_bAccessTimeStamped = 0;
        const long long before = zvtest::NowSeconds();
        EXPECT_EQ(1, m_store.AssignFormat(1));
        const long long after = zvtest::NowSeconds();
        EXPECT_EQ(Hex(Bytes("ENVB\x01\x00\x00\x00", 8)), Hex(HeaderBytes().substr(0, 8)));
        EXPECT_LE(before, HeaderTime());
        EXPECT_GE(after, HeaderTime());
        EXPECT_NE(0, m_store.m_bAccessTimeStamped);
    }
}

TEST_F(ZVEnvDataValuesTest, GetFormatComparesTheWholeTag) {
    for (const char* tag : {"envb", "ENVb", "ENV\0", "XNVB", "ENVT", "NONE"}) {
        m_header = KnownHeader(tag, 1, 0, 0);
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&m_header));
        EXPECT_EQ(0, m_store.GetFormat()) << tag;
    }
    for (uint16_t major : {0, 1, 2}) {
        m_header = KnownHeader("ENVB", major, 7, 0);
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&m_header));
        EXPECT_EQ(1, m_store.GetFormat());
    }
}

// ----------------------------------------------------------------------------------------------
// The copied header record

TEST_F(ZVEnvDataValuesTest, SetCommonFileHeaderCopiesTheWholeRecord) {
    LoadRoot(Root(Str("s", "x")));
    const ZV_COMMON_FILE_HEADER_tag header = KnownHeader("ENVB", 7, 8, -12345);
    m_store.m_bAccessTimeStamped = 0;
    EXPECT_EQ(1, m_store.SetCommonFileHeader(&header));
    EXPECT_EQ(Hex(RecordBytes(header)), Hex(HeaderBytes()));
    EXPECT_EQ(0, m_store.m_bAccessTimeStamped);  // no stamp
    EXPECT_EQ(1, m_store.GetFormat());
    EXPECT_BODY(Root(Str("s", "x")));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, SetCommonFileHeaderOfNoRecordFails) {
    const Bytes before = HeaderBytes();
    EXPECT_EQ(0, m_store.SetCommonFileHeader(nullptr));
    EXPECT_EQ(Hex(before), Hex(HeaderBytes()));
}

// ----------------------------------------------------------------------------------------------
// Access time

TEST_F(ZVEnvDataValuesTest, TheFirstChangeAfterOpenIsTheResetAndLaterChangesDoNotStamp) {
    CZVEnvData store;
    ASSERT_EQ(1, store.Open("StampOnce", "k"));
    EXPECT_EQ(0, store.m_bAccessTimeStamped);
    ASSERT_EQ(1, store.Lock(1));
    const long long before = zvtest::NowSeconds();
    ASSERT_EQ(1, store.Reset(nullptr, 0));
    const long long after = zvtest::NowSeconds();
    int32_t stamped = 0;
    memcpy(&stamped, store.m_pData + 8, 4);
    EXPECT_LE(before, stamped);
    EXPECT_GE(after, stamped);
    EXPECT_NE(0, store.m_bAccessTimeStamped);

    // A marker time shows that nothing later writes the field again.
    const int32_t marker = MarkerTime();
    memcpy(store.m_pData + 8, &marker, 4);
    EXPECT_EQ(45u, store.SetDouble(0, "r", -1, 1.0));
    EXPECT_EQ(45u, store.SetDouble(0, "r", -1, 2.0));
    EXPECT_EQ(57u, store.SetString(0, "s", -1, "x", -1));
    _SYSTEMTIME st = Record(2020, 1, 2, 3, 4, 5, 0);
    EXPECT_EQ(1, store.SetAccessTime(&st));
    EXPECT_EQ(1, store.SetAccessTime(nullptr));
    int32_t now = 0;
    memcpy(&now, store.m_pData + 8, 4);
    EXPECT_EQ(marker, now);
    EXPECT_NE(0, store.m_bAccessTimeStamped);
}

TEST_F(ZVEnvDataValuesTest, ANewOpenStampsAgain) {
    CZVEnvData store;
    ASSERT_TRUE(envtest::OpenEmpty(store, "StampAgain"));
    ASSERT_NE(0, store.m_bAccessTimeStamped);
    ASSERT_EQ(1, store.Lock(0));
    ASSERT_EQ(1, store.Close());
    EXPECT_NE(0, store.m_bAccessTimeStamped);  // only Open clears the flag

    ASSERT_EQ(1, store.Open("StampAgain", "k"));
    EXPECT_EQ(0, store.m_bAccessTimeStamped);
    ASSERT_EQ(1, store.Lock(1));
    EXPECT_EQ(0u, store.SetDouble(0, "r", -1, 1.0));  // an empty store takes no key
    EXPECT_EQ(0, store.m_bAccessTimeStamped);
    const Bytes root = Root(Int("k", 1));
    const long long before = zvtest::NowSeconds();
    ASSERT_EQ(1, store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    const long long after = zvtest::NowSeconds();
    int32_t stamped = 0;
    memcpy(&stamped, store.m_pData + 8, 4);
    EXPECT_LE(before, stamped);
    EXPECT_GE(after, stamped);
    EXPECT_NE(0, store.m_bAccessTimeStamped);
}

TEST_F(ZVEnvDataValuesTest, AGivenTimeIsStampedOnceAsUtcSeconds) {
    ForgetStamp();
    const _SYSTEMTIME first = Record(2009, 2, 13, 23, 31, 30, 0);
    const _SYSTEMTIME second = Record(2010, 6, 7, 8, 9, 10, 0);
    _SYSTEMTIME given = first;
    EXPECT_EQ(1, m_store.SetAccessTime(&given));
    EXPECT_EQ(Utc(2009, 2, 13, 23, 31, 30), HeaderTime());
    EXPECT_EQ(Hex(U32(static_cast<uint32_t>(Utc(2009, 2, 13, 23, 31, 30)))),
              Hex(HeaderBytes().substr(8, 4)));
    EXPECT_NE(0, m_store.m_bAccessTimeStamped);
    given = second;
    EXPECT_EQ(1, m_store.SetAccessTime(&given));
    EXPECT_EQ(Utc(2009, 2, 13, 23, 31, 30), HeaderTime());
    EXPECT_EQ(45u, m_store.SetDouble(0, "r", -1, 1.0));
    EXPECT_EQ(Utc(2009, 2, 13, 23, 31, 30), HeaderTime());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, AGivenTimeIsClampedAndLosesItsMilliseconds) {
    struct Case {
        _SYSTEMTIME given;
        long expected;
    };
    const Case cases[] = {
        {Record(2010, 14, 5, 6, 7, 8, 999), Utc(2010, 12, 5, 6, 7, 8)},
        {Record(2009, 2, 30, 12, 0, 0, 0), Utc(2009, 2, 28, 12, 0, 0)},
        {Record(2008, 2, 30, 24, 60, 60, 1000), Utc(2008, 2, 29, 23, 59, 59)},
        {Record(2000, 0, 0, 0, 0, 0, 0), Utc(2000, 1, 1, 0, 0, 0)},
        {Record(1970, 1, 1, 0, 0, 0, 0), 0},
    };
    for (const Case& c : cases) {
        ForgetStamp();
        _SYSTEMTIME given = c.given;
        EXPECT_EQ(1, m_store.SetAccessTime(&given));
        EXPECT_EQ(c.expected, HeaderTime());
        EXPECT_EQ(0, memcmp(&given, &c.given, sizeof given));  // the caller's record stays
    }
}

TEST_F(ZVEnvDataValuesTest, NoTimeMeansNow) {
    ForgetStamp();
    const long long before = zvtest::NowSeconds();
    EXPECT_EQ(1, m_store.SetAccessTime(nullptr));
    const long long after = zvtest::NowSeconds();
    EXPECT_LE(before, HeaderTime());
    EXPECT_GE(after, HeaderTime());
    EXPECT_NE(0, m_store.m_bAccessTimeStamped);
    EXPECT_EQ(Hex(RecordBytes(m_header).substr(12)), Hex(HeaderBytes().substr(12)));
}

// A calendar record's bytes, so that whole records compare (and show) as hex.
Bytes RecordBytes(const _SYSTEMTIME& st) {
    return Bytes(reinterpret_cast<const char*>(&st), sizeof st);
}

TEST_F(ZVEnvDataValuesTest, GetAccessTimeBreaksTheHeaderTimeDownAsUtc) {
    _SYSTEMTIME st = zvtest::Pattern();
    EXPECT_EQ(1, m_store.GetAccessTime(&st));
    EXPECT_EQ(Hex(RecordBytes(Record(2009, 2, 13, 23, 31, 30, 0, 5))), Hex(RecordBytes(st)));
    SetHeaderTime(0);
    st = zvtest::Pattern();
    EXPECT_EQ(1, m_store.GetAccessTime(&st));
    EXPECT_EQ(Hex(RecordBytes(Record(1970, 1, 1, 0, 0, 0, 0, 4))), Hex(RecordBytes(st)));
    SetHeaderTime(0x7FFFFFFF);
    st = zvtest::Pattern();
    EXPECT_EQ(1, m_store.GetAccessTime(&st));
    EXPECT_EQ(Hex(RecordBytes(Record(2038, 1, 19, 3, 14, 7, 0, 2))), Hex(RecordBytes(st)));
    SetHeaderTime(static_cast<int32_t>(Utc(2024, 2, 29, 12, 34, 56)));
    EXPECT_EQ(1, m_store.GetAccessTime(&st));
    EXPECT_EQ(Hex(RecordBytes(Record(2024, 2, 29, 12, 34, 56, 0, 4))), Hex(RecordBytes(st)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataValuesTest, GetAccessTimeWithoutARecordFailsWithTheConversionsCode) {
    const Bytes before = HeaderBytes();
    EXPECT_EQ(0, m_store.GetAccessTime(nullptr));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_EQ(Hex(before), Hex(HeaderBytes()));
}

// An operation, and whether it is the kind of change that stamps the access time.
struct StampCase {
    const char* what;
    std::function<bool(CZVEnvData&)> run;  // true when the operation gave its expected result
    bool stamps;
};

std::vector<StampCase> StampCases() {
    return {
        {"InsertItem", [](CZVEnvData& s) { return s.InsertItem(0, 2) != 0; }, true},
        {"ResizeItem growing", [](CZVEnvData& s) { return s.ResizeItem(45, 8, 10) == 1; }, true},
        {"ResizeItem shrinking",
         [](CZVEnvData& s) {
             // The caller rewrites what is left: "abcd" becomes "abc".
             return s.ResizeItem(53, 9, 8) == 1 && (s.m_pData[60] = 0) == 0;
         },
         true},
        {"ResizeItem to the same size", [](CZVEnvData& s) { return s.ResizeItem(45, 8, 8) == 1; },
         false},
        {"DeleteItem", [](CZVEnvData& s) { return s.DeleteItem(45) == 1; }, true},
        {"CreateSubDir new", [](CZVEnvData& s) { return s.CreateSubDir(0, "n", -1) != 0; }, true},
        {"CreateSubDir existing", [](CZVEnvData& s) { return s.CreateSubDir(0, "d", -1) != 0; },
         false},
        {"CreateDir new", [](CZVEnvData& s) { return s.CreateDir(0, "d/n", -1) != 0; }, true},
        {"CreateDir existing", [](CZVEnvData& s) { return s.CreateDir(0, "/d/", -1) != 0; }, false},
        {"LockDir changing", [](CZVEnvData& s) { return s.LockDir(62, 1) == 1; }, true},
        {"LockDir unchanged", [](CZVEnvData& s) { return s.LockDir(62, 0) == 1; }, false},
        {"SetInteger new", [](CZVEnvData& s) { return s.SetInteger(0, "n", -1, 1, 0) != 0; }, true},
        {"SetInteger in place",
         [](CZVEnvData& s) { return s.SetInteger(0, "i", -1, 2, ZVED_ITEM_HEX) == 45; }, false},
        {"SetInteger changing the type",
         [](CZVEnvData& s) { return s.SetInteger(0, "s", -1, 2, 0) == 53; }, true},
        {"SetDouble new", [](CZVEnvData& s) { return s.SetDouble(0, "n", -1, 1.0) != 0; }, true},
        {"SetDouble changing the type",
         [](CZVEnvData& s) { return s.SetDouble(0, "i", -1, 1.0) == 45; }, true},
        {"SetBoolean new", [](CZVEnvData& s) { return s.SetBoolean(0, "n", -1, 1) != 0; }, true},
        {"SetBoolean changing the type",
         [](CZVEnvData& s) { return s.SetBoolean(0, "i", -1, 1) == 45; }, true},
        {"SetString new", [](CZVEnvData& s) { return s.SetString(0, "n", -1, "x", -1) != 0; },
         true},
        {"SetString same text",
         [](CZVEnvData& s) { return s.SetString(0, "s", -1, "abcd", -1) == 53; }, true},
        {"SetBinData new", [](CZVEnvData& s) { return s.SetBinData(0, "n", -1, "x", 1) != 0; },
         true},
        {"InsertComment",
         [](CZVEnvData& s) { return s.InsertComment(0, "c", -1, ZVED_ITEM_COMMENT, 0) != 0; },
         true},
        {"AssignFormat changing", [](CZVEnvData& s) { return s.AssignFormat(1) == 1; }, true},
        {"AssignFormat unchanged", [](CZVEnvData& s) { return s.AssignFormat(0) == 1; }, false},
        {"Reset", [](CZVEnvData& s) { return s.Reset(nullptr, 0) == 1; }, true},
        {"getters and finders",
         [](CZVEnvData& s) {
             int value = 0;
             char* text = nullptr;
             return s.GetInteger(0, "i", -1, &value) == 45 &&
                    s.GetString(0, "s", -1, &text) == 53 && s.FindDir(0, "d", -1) == 62 &&
                    s.GetDir(0, "d", -1) == 62 && s.GetNextItem(0, 0) == 45 &&
                    s.IsDirLocked(62) == 0;
         },
         false},
        {"failing setters",
         [](CZVEnvData& s) {
             return s.SetInteger(0, "1a", -1, 1, 0) == 0 &&
                    s.SetString(45, "a", -1, "x", -1) == 0 &&
                    s.InsertComment(0, "c", -1, 5, 0) == 0 && s.CreateSubDir(0, "", -1) == 0 &&
                    s.DeleteItem(0) == 0 && s.ResizeItem(62, 8, 9) == 0;
         },
         false},
    };
}

TEST_F(ZVEnvDataValuesTest, WhichOperationsStampTheAccessTime) {
    const Bytes root = Root(Int("i", 1) + Str("s", "abcd") + Dir("d", ""));
    for (const StampCase& c : StampCases()) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&m_header));
        LoadRoot(root);
        ForgetStamp();
        const long long before = zvtest::NowSeconds();
        EXPECT_TRUE(c.run(m_store));
        const long long after = zvtest::NowSeconds();
        if (c.stamps) {
            EXPECT_LE(before, HeaderTime());
            EXPECT_GE(after, HeaderTime());
            EXPECT_NE(0, m_store.m_bAccessTimeStamped);
        } else {
            EXPECT_EQ(MarkerTime(), HeaderTime());
            EXPECT_EQ(0, m_store.m_bAccessTimeStamped);
        }
        EXPECT_TRUE(Consistent());
    }
}

TEST_F(ZVEnvDataValuesTest, AStampThatCannotBeWrittenIsNotUsedUp) {
    CZVEnvData store;
    ASSERT_EQ(1, store.Open("StampUnlocked", "k"));
    _SYSTEMTIME given = Record(2009, 2, 13, 23, 31, 30, 0);
    EXPECT_EQ(0, store.SetAccessTime(&given));  // unlocked
    EXPECT_EQ(0, store.SetAccessTime(nullptr));
    EXPECT_EQ(0, store.m_bAccessTimeStamped);
    ASSERT_EQ(1, store.Lock(1));
    EXPECT_EQ(0, store.SetAccessTime(&given));  // locked, but no header yet
    EXPECT_EQ(0, store.m_bAccessTimeStamped);
    EXPECT_EQ(0u, store.m_dwDataSize);
    const long long before = zvtest::NowSeconds();
    ASSERT_EQ(1, store.Reset(nullptr, 0));
    int32_t stamped = 0;
    memcpy(&stamped, store.m_pData + 8, 4);
    EXPECT_LE(before, stamped);
    EXPECT_NE(0, store.m_bAccessTimeStamped);
}

}  // namespace
