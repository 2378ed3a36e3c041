// CZVEnvData item tree: reset, validation, item kinds and sizes, names and sums, walking and
// finding, directories and paths, the enclosing-directory trace with its depth limit, and
// insertion, resizing and deletion with the directory sizes they keep.
#include <cstdint>
#include <cstring>
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
using envtest::Fillers;
using envtest::Head;
using envtest::Hex;
using envtest::Int;
using envtest::Real;
using envtest::Root;
using envtest::Str;
using envtest::U32;
using zvtest::kSentinelError;

class ZVEnvDataTreeTest : public envtest::EnvDataTest {};

// Offsets of consecutive children that start at first.
std::vector<unsigned int> Offsets(unsigned int first, const std::vector<Bytes>& items) {
    std::vector<unsigned int> out;
    unsigned int at = first;
    for (const Bytes& item : items) {
        out.push_back(at);
        at += static_cast<unsigned int>(item.size());
    }
    return out;
}

Bytes Join(const std::vector<Bytes>& items) {
    Bytes out;
    for (const Bytes& item : items) {
        out += item;
    }
    return out;
}

// One child of every type, in type order, each with a one-letter name.
std::vector<Bytes> EveryType() {
    return {Bin("a", "xy"),
            Bool("b", false),
            Bool("c", true),
            Comment("d", 1),
            Dir("e", ""),
            Dir("f", "", ZVED_ITEM_LOCKED_DIR),
            Int("g", 1),
            Fillers(1),
            Real("h", 1.0),
            Str("i", "t"),
            Int("j", 1, ZVED_ITEM_HEX),
            Int("k", 1, ZVED_ITEM_OCT),
            Int("l", 1, ZVED_ITEM_BIN),
            Comment("m", 1, ZVED_ITEM_TRAILING_COMMENT)};
}

// ----------------------------------------------------------------------------------------------
// Reset

TEST_F(ZVEnvDataTreeTest, ResetOfNothingWritesTheHeaderAndAnEmptyRoot) {
    CZVEnvData store;
    ASSERT_EQ(1, store.Open("ResetEmpty", "k"));
    ASSERT_EQ(1, store.Lock(1));
    EXPECT_EQ(0u, store.m_dwDataSize);
    TarnSetLastError(kSentinelError);
    const long long before = zvtest::NowSeconds();
    EXPECT_EQ(1, store.Reset(nullptr, 0));
    const long long after = zvtest::NowSeconds();
    ASSERT_EQ(45u, store.m_dwDataSize);
    const Bytes bytes(reinterpret_cast<const char*>(store.m_pData), 45);
    EXPECT_EQ(Hex(Bytes("ENVT\x01\x00\x00\x00", 8)), Hex(bytes.substr(0, 8)));
    int32_t stamped = 0;
    memcpy(&stamped, store.m_pData + 8, 4);
    EXPECT_LE(before, stamped);
    EXPECT_GE(after, stamped);
    EXPECT_EQ(Hex(Bytes(26, '\0')), Hex(bytes.substr(12, 26)));
    EXPECT_EQ(Hex(Bytes("\x05\x07\x00\x00\x00\x00\x00", 7)), Hex(bytes.substr(38)));
    EXPECT_NE(0, store.m_bAccessTimeStamped);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, ResetOfSixBytesOrFewerIgnoresTheDataAndClearsEverything) {
    const Bytes root = Root(Int("a", 1));
    for (unsigned int size : {0u, 1u, 6u}) {
        LoadRoot(Root(Int("x", 2) + Str("y", "z")));
        ZV_COMMON_FILE_HEADER_tag header;
        memset(&header, 0x5A, sizeof header);
        ASSERT_EQ(1, m_store.SetCommonFileHeader(&header));
        EXPECT_EQ(1, m_store.Reset(root.data(), size)) << size;
        EXPECT_BODY(Root(""));
        // The whole buffer is cleared, the time field included: the stamp was already used up
        // by the first change after Open, so the time stays 0.
        EXPECT_EQ(Hex(Bytes("ENVT\x01\x00\x00\x00", 8) + Bytes(30, '\0')), Hex(HeaderBytes()))
            << size;
    }
    // No data with a size: nothing to copy; whatever the result, the tree stays whole.
    const int result = m_store.Reset(nullptr, 100);
    EXPECT_TRUE(result == 0 || result == 1);
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, ResetWithDataCopiesTheRootAndKeepsTheHeaderRecord) {
    ZV_COMMON_FILE_HEADER_tag header;
    memset(&header, 0, sizeof header);
    memcpy(header.szFileType, "ENVB", 4);
    header.wMajorVer = 3;
    header.wMinorVer = 4;
    header.lLastModified = 0x11223344;
    header.dwDataSize = 1234;
    header.lCheckSum = 0x5678;
    memcpy(header.byMacAddr, "\x01\x02\x03\x04\x05\x06", 6);
    memcpy(header.szExtraInfo, "extra text", 11);
    ASSERT_EQ(1, m_store.SetCommonFileHeader(&header));

    const Bytes root = Root(Int("a", 7) + Dir("d", Str("s", "text")));
    EXPECT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    EXPECT_BODY(root);
    // The format becomes text with version 1.0; the rest of the record stays as it was.
    Bytes expected(reinterpret_cast<const char*>(&header), sizeof header);
    expected.replace(0, 8, Bytes("ENVT\x01\x00\x00\x00", 8));
    EXPECT_EQ(Hex(expected), Hex(HeaderBytes()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, ResetWithSevenBytesTakesAnEmptyRoot) {
    const Bytes root("\x05\x07\x00\x00\x00\x00\x00", 7);
    EXPECT_EQ(1, m_store.Reset(root.data(), 7));
    EXPECT_BODY(root);
}

TEST_F(ZVEnvDataTreeTest, ResetWithMoreThanAPageGrowsTheBlock) {
    Bytes data;
    for (int i = 0; i < 10000; ++i) {
        data += static_cast<char>(i * 13 + 7);
    }
    const Bytes root = Root(Bin("big", data) + Int("after", -5));
    EXPECT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    EXPECT_BODY(root);
    void* bytes = nullptr;
    unsigned int size = 0;
    EXPECT_EQ(45u, m_store.GetBinData(0, "big", -1, &bytes, &size));
    EXPECT_EQ(10000u, size);
    int value = 0;
    EXPECT_NE(0u, m_store.GetInteger(0, "after", -1, &value));
    EXPECT_EQ(-5, value);
}

TEST_F(ZVEnvDataTreeTest, ResetRefusesASizeThatWrapsWithTheHeader) {
    LoadRoot(Root(Int("keep", 1)));
    const Bytes before = Body();
    const char small[8] = {5, 7, 0, 0, 0, 0, 0, 0};
    for (unsigned int size : {0xFFFFFFFFu, 0xFFFFFFDAu, 0xFFFFFFDBu, 0xFFFFFFF0u}) {
        EXPECT_EQ(0, m_store.Reset(small, size)) << size;
        EXPECT_EQ(Hex(before), Hex(Body())) << size;
    }
}

TEST_F(ZVEnvDataTreeTest, ResetFromTheStoresOwnSubdirectory) {
    const Bytes inner = Dir("d", Int("a", 1) + Str("s", "value") + Dir("e", Bool("b", true)));
    LoadRoot(Root(Int("first", 3) + inner + Int("z", 9)));
    const unsigned int dir = m_store.FindDir(0, "d", -1);
    ASSERT_EQ(45u + Int("first", 3).size(), dir);
    EXPECT_EQ(1, m_store.Reset(m_store.m_pData + dir, static_cast<unsigned int>(inner.size())));
    EXPECT_BODY(inner);
}

// ----------------------------------------------------------------------------------------------
// Validation

TEST_F(ZVEnvDataTreeTest, ValidateItemRaisesLowOffsetsToTheRoot) {
    for (unsigned int low : {0u, 1u, 37u, 38u}) {
        unsigned int offset = low;
        EXPECT_EQ(1, m_store.ValidateItem(offset)) << low;
        EXPECT_EQ(38u, offset) << low;
    }
    unsigned int last = 44;
    EXPECT_EQ(1, m_store.ValidateItem(last));
    EXPECT_EQ(44u, last);
    for (unsigned int past : {45u, 46u, 0xFFFFFFFFu}) {
        unsigned int offset = past;
        EXPECT_EQ(0, m_store.ValidateItem(offset)) << past;
        EXPECT_EQ(past, offset);
    }
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, ValidateFailsOnALockedStoreWithoutData) {
    CZVEnvData store;
    ASSERT_EQ(1, store.Open("NoData", "k"));
    ASSERT_EQ(1, store.Lock(1));
    ASSERT_EQ(0u, store.m_dwDataSize);
    unsigned int offset = 0;
    EXPECT_EQ(0, store.ValidateItem(offset));
    EXPECT_EQ(0u, offset);
    EXPECT_EQ(0, store.ValidateDir(offset));
    EXPECT_EQ(0u, store.CreateDir(0, "", 0));
    EXPECT_EQ(0u, store.GetDir(0, "/", -1));
    EXPECT_EQ(0u, store.SetInteger(0, "a", -1, 1, 0));
    EXPECT_EQ(0u, store.InsertItem(0, 1));
    EXPECT_EQ(0u, store.GetItemSize(0));
    EXPECT_EQ(0, store.GetFormat());
    EXPECT_EQ(0, store.AssignFormat(0));
    EXPECT_EQ(0u, store.m_dwDataSize);
}

TEST_F(ZVEnvDataTreeTest, ValidateDirNeedsADirectory) {
    LoadRoot(Root(Int("k", 1) + Dir("d", "") + Dir("l", "", ZVED_ITEM_LOCKED_DIR)));
    unsigned int offset = 0;
    EXPECT_EQ(1, m_store.ValidateDir(offset));
    EXPECT_EQ(38u, offset);
    offset = 45;
    EXPECT_EQ(0, m_store.ValidateDir(offset));
    offset = 53;
    EXPECT_EQ(1, m_store.ValidateDir(offset));
    EXPECT_EQ(53u, offset);
    offset = 61;
    EXPECT_EQ(1, m_store.ValidateDir(offset));
    EXPECT_EQ(61u, offset);
    offset = 69;
    EXPECT_EQ(0, m_store.ValidateDir(offset));
}

// ----------------------------------------------------------------------------------------------
// Item kinds

TEST_F(ZVEnvDataTreeTest, KindOfEveryItemType) {
    const std::vector<Bytes> items = EveryType();
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    for (size_t i = 0; i < items.size(); ++i) {
        const unsigned int type = static_cast<unsigned char>(items[i][0]);
        const bool key = type == 1 || type == 2 || type == 3 || type == 7 || type == 9 ||
                         type == 10 || type == 11 || type == 12 || type == 13;
        const bool dir = type == 5 || type == 6;
        EXPECT_EQ(key ? 1 : 0, m_store.IsKey(at[i])) << type;
        EXPECT_EQ(key ? 1 : 0, m_store.IsKeyNoValidate(at[i])) << type;
        EXPECT_EQ(dir ? 1 : 0, m_store.IsDir(at[i])) << type;
        EXPECT_EQ(dir ? 1 : 0, m_store.IsDirNoValidate(at[i])) << type;
        EXPECT_EQ(type, m_store.GetAttribute(at[i]));
    }
    EXPECT_EQ(0, m_store.IsKey(0));
    EXPECT_EQ(1, m_store.IsDir(0));
    EXPECT_EQ(1, m_store.IsDir(37));
    EXPECT_EQ(5u, m_store.GetAttribute(0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, TypesOutsideOneToFourteenAreNotItems) {
    for (unsigned char type : {0, 15, 16, 127, 128, 255}) {
        LoadRoot(Root(Bytes(1, static_cast<char>(type)) + Bytes("\x41"
                                                                "a\0\0\0\0\0\0\0\0",
                                                                10)));
        EXPECT_EQ(0, m_store.IsKey(45)) << int(type);
        EXPECT_EQ(0, m_store.IsKeyNoValidate(45)) << int(type);
        EXPECT_EQ(0, m_store.IsDir(45)) << int(type);
        EXPECT_EQ(0, m_store.IsDirNoValidate(45)) << int(type);
        EXPECT_EQ(type, m_store.GetAttribute(45));
        EXPECT_EQ(0u, m_store.GetItemSize(45)) << int(type);
        EXPECT_EQ(0u, m_store.GetItemSizeNoValidate(45)) << int(type);
        EXPECT_EQ(0u, m_store.GetSum(45)) << int(type);
        EXPECT_EQ(nullptr, m_store.GetKeyName(45)) << int(type);
        EXPECT_EQ(nullptr, m_store.GetDirName(45)) << int(type);
        EXPECT_EQ(0u, m_store.GetNextItem(0, 45)) << int(type);
        EXPECT_EQ(0, m_store.DeleteItem(45)) << int(type);
        EXPECT_EQ(0u, m_store.FindKey(0, "a", -1)) << int(type);
        EXPECT_EQ(Hex(Root(Bytes(1, static_cast<char>(type)) + Bytes("\x41"
                                                                     "a\0\0\0\0\0\0\0\0",
                                                                     10))),
                  Hex(Body()));
    }
}

TEST_F(ZVEnvDataTreeTest, AttributeOfAnOffsetPastTheDataIsAllOnes) {
    EXPECT_EQ(0xFFFFFFFFu, m_store.GetAttribute(45));
    EXPECT_EQ(0xFFFFFFFFu, m_store.GetAttribute(0xFFFFFFFFu));
    EXPECT_EQ(5u, m_store.GetAttribute(0));
    EXPECT_EQ(1, m_store.LockDir(0, 1));
    EXPECT_EQ(6u, m_store.GetAttribute(0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, NoValidateFormsDoNotLookPastTheData) {
    PoisonTail(ZVED_ITEM_INTEGER);
    EXPECT_EQ(0, m_store.IsKeyNoValidate(45));
    EXPECT_EQ(0u, m_store.GetItemSizeNoValidate(45));
    EXPECT_EQ(0u, m_store.GetItemSizeNoValidate(0xFFFFFFF0u));
    PoisonTail(ZVED_ITEM_DIR);
    EXPECT_EQ(0, m_store.IsDirNoValidate(45));
    EXPECT_EQ(0, m_store.IsDirNoValidate(1000));
    PoisonTail(ZVED_ITEM_FILLER);
    EXPECT_EQ(0u, m_store.GetItemSizeNoValidate(45));
}

// ----------------------------------------------------------------------------------------------
// Names and sums

TEST_F(ZVEnvDataTreeTest, DirectoryNamesPointIntoTheBuffer) {
    LoadRoot(Root(Dir("abc", Int("k", 1)) + Int("key", 2)));
    EXPECT_EQ(reinterpret_cast<char*>(m_store.m_pData + 44), m_store.GetDirName(0));
    EXPECT_STREQ("", m_store.GetDirName(0));
    EXPECT_EQ(reinterpret_cast<char*>(m_store.m_pData + 51), m_store.GetDirName(45));
    EXPECT_STREQ("abc", m_store.GetDirName(45));
    EXPECT_EQ(nullptr, m_store.GetDirName(55));  // the key inside abc
    EXPECT_EQ(nullptr, m_store.GetDirName(63));  // the key in the root
    EXPECT_EQ(nullptr, m_store.GetDirName(m_store.m_dwDataSize));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, KeyNamesAndCommentTextsPointIntoTheBuffer) {
    const std::vector<Bytes> items = {Int("key", 1), Comment("a comment", 4),
                                      Comment("trails", 9, ZVED_ITEM_TRAILING_COMMENT), Fillers(1),
                                      Dir("dir", "")};
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    EXPECT_EQ(reinterpret_cast<char*>(m_store.m_pData + at[0] + 2), m_store.GetKeyName(at[0]));
    EXPECT_STREQ("key", m_store.GetKeyName(at[0]));
    EXPECT_STREQ("a comment", m_store.GetKeyName(at[1]));
    EXPECT_STREQ("trails", m_store.GetKeyName(at[2]));
    EXPECT_EQ(nullptr, m_store.GetKeyName(at[3]));
    EXPECT_EQ(nullptr, m_store.GetKeyName(at[4]));
    EXPECT_EQ(nullptr, m_store.GetKeyName(0));
    EXPECT_EQ(nullptr, m_store.GetKeyName(m_store.m_dwDataSize));
}

TEST_F(ZVEnvDataTreeTest, SumByteOfEachKind) {
    const std::vector<Bytes> items = {Dir("ab", ""), Int("abc", 1), Comment("x y", 0), Fillers(1),
                                      Str("\xE9", "")};
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    EXPECT_EQ(3u, m_store.GetSum(at[0]));
    EXPECT_EQ(0x40u, m_store.GetSum(at[1]));
    EXPECT_EQ(static_cast<unsigned int>('X' ^ ' ' ^ 'Y'), m_store.GetSum(at[2]));
    EXPECT_EQ(0u, m_store.GetSum(at[3]));
    EXPECT_EQ(0xE9u, m_store.GetSum(at[4]));
    EXPECT_EQ(0u, m_store.GetSum(0));
    EXPECT_EQ(0u, m_store.GetSum(m_store.m_dwDataSize));
}

TEST_F(ZVEnvDataTreeTest, SumByteBeyondTheDataIsZero) {
    // A key type as the very last byte: its sum byte would lie at the data size.
    LoadRoot(Root(Bytes(1, ZVED_ITEM_INTEGER)));
    PoisonTail(0x55);
    EXPECT_EQ(0u, m_store.GetSum(45));
    // A directory whose sum byte (at +5) would lie at the data size.
    LoadRoot(Root(Bytes("\x05\x09\x00\x00\x00", 5)));
    PoisonTail(0x55);
    EXPECT_EQ(0u, m_store.GetSum(45));
}

TEST_F(ZVEnvDataTreeTest, CalcSumFoldsOnlyLowerCaseAsciiLetters) {
    EXPECT_EQ(3u, m_store.CalcSum("ab", -1));
    EXPECT_EQ(3u, m_store.CalcSum("AB", -1));
    EXPECT_EQ(3u, m_store.CalcSum("aB", 2));
    EXPECT_EQ(0x41u ^ 0x42u, m_store.CalcSum("abc", 2));
    EXPECT_EQ(0u, m_store.CalcSum("", -1));
    EXPECT_EQ(0u, m_store.CalcSum("abc", 0));
    EXPECT_EQ(0x41u, m_store.CalcSum("z{`", 3));  // 'Z' ^ '{' ^ '`'
    EXPECT_EQ(0xE9u, m_store.CalcSum("\xE9", -1));
    EXPECT_EQ(0xE1u, m_store.CalcSum("\xE1", 1));  // not an ASCII letter: not folded
    EXPECT_EQ(0xE9u ^ 0x41u, m_store.CalcSum("\xE9"
                                             "a",
                                             -1));
    EXPECT_EQ(0xFFu, m_store.CalcSum("\xFF", -1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, ValidNames) {
    struct Case {
        const char* name;
        int length;
        int valid;
    };
    const Case cases[] = {
        {"a1.b", -1, 1},  {"", -1, 1},     {"", 0, 1},          {"1a", -1, 0},       {".a", -1, 0},
        {"a-b", -1, 0},   {"a b", -1, 0},  {"a/b", -1, 0},      {"_", -1, 1},        {"[", -1, 1},
        {"]", -1, 1},     {"[a]", -1, 1},  {"a_1[2].x", -1, 1}, {"Z", -1, 1},        {"z9", -1, 1},
        {"9", -1, 0},     {".", -1, 0},    {"a.", -1, 1},       {"@", -1, 0},        {"`", -1, 0},
        {"{", -1, 0},     {"^", -1, 0},    {"\\", -1, 0},       {"a:", -1, 0},       {"a/", -1, 0},
        {"a\x80", -1, 0}, {"\xE9", -1, 0}, {"a\xFF", -1, 0},    {"\xC3\xA9", -1, 0}, {"ab-", 2, 1},
        {"1", 0, 1},      {"a\0b", 3, 0},  {"a\tb", -1, 0},     {"A_Z", -1, 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.valid, m_store.IsValidName(c.name, c.length))
            << Hex(Bytes(c.name)) << " length " << c.length;
    }
    const std::string longName(5000, 'n');
    EXPECT_EQ(1, m_store.IsValidName(longName.c_str(), -1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, SameNames) {
    EXPECT_EQ(1, m_store.IsSameName("abc", 3, "ABC", 3));
    EXPECT_EQ(1, m_store.IsSameName("Abc", -1, "aBC", -1));
    EXPECT_EQ(1, m_store.IsSameName("abc", -1, "abcd", 3));
    EXPECT_EQ(1, m_store.IsSameName("", 0, "", -1));
    EXPECT_EQ(1, m_store.IsSameName("x", 0, "y", 0));
    EXPECT_EQ(0, m_store.IsSameName("abc", 3, "abd", 3));
    EXPECT_EQ(0, m_store.IsSameName("abc", 3, "ab", 2));
    EXPECT_EQ(0, m_store.IsSameName("ab", -1, "abc", -1));
    EXPECT_EQ(0, m_store.IsSameName("", 0, "a", 1));
    // Only 'a'-'z' fold: '@'/'`', '['/'{', '_'/DEL and Latin-1 letters stay apart.
    EXPECT_EQ(0, m_store.IsSameName("@", 1, "`", 1));
    EXPECT_EQ(0, m_store.IsSameName("[", 1, "{", 1));
    EXPECT_EQ(0, m_store.IsSameName("_", 1, "\x7F", 1));
    EXPECT_EQ(0, m_store.IsSameName("\xE9", 1, "\xC9", 1));
    EXPECT_EQ(1, m_store.IsSameName("\xE9", 1, "\xE9", 1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Item sizes and heads

TEST_F(ZVEnvDataTreeTest, SizeOfEveryItemType) {
    const std::vector<Bytes> items = EveryType();
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    for (size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(items[i].size(), m_store.GetItemSize(at[i])) << i;
        EXPECT_EQ(items[i].size(), m_store.GetItemSizeNoValidate(at[i])) << i;
    }
    EXPECT_EQ(m_store.m_dwDataSize - 38, m_store.GetItemSize(0));
    EXPECT_EQ(m_store.m_dwDataSize - 38, m_store.GetItemSize(38));
    EXPECT_EQ(0u, m_store.GetItemSize(m_store.m_dwDataSize));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, SizeOfAMalformedItemIsZero) {
    const Bytes cases[] = {
        Head(ZVED_ITEM_BINARY, "b") + U32(255) + "xy",          // length past the data
        Head(ZVED_ITEM_BINARY, "b") + U32(0xFFFFFFFFu) + "xy",  // length that wraps
        Head(ZVED_ITEM_BINARY, "b") + U32(0xFFFFFFF9u),         // wraps onto the item itself
        Head(ZVED_ITEM_BINARY, "b") + Bytes("\x01\x00", 2),     // length field cut
        Head(ZVED_ITEM_STRING, "s") + "hi",                     // no text terminator
        Head(ZVED_ITEM_STRING, "s"),                            // no text at all
        Bytes("\x07\x40"
              "abc",
              5),                                             // no name terminator
        Head(ZVED_ITEM_INTEGER, "i") + Bytes("\x01\x02", 2),  // value cut
        Head(ZVED_ITEM_HEX, "i") + Bytes("\x01\x02\x03", 3),  // value cut
        Head(ZVED_ITEM_REAL, "r") + Bytes("\x01\x02\x03\x04", 4),
        Head(ZVED_ITEM_COMMENT, "c") + Bytes("\x01", 1),
        Head(ZVED_ITEM_TRAILING_COMMENT, "c"),
        Bytes("\x05\x64\x00\x00\x00\x44"
              "d\0",
              8),  // directory size past the data
        Bytes("\x05\x00\x00\x00\x00\x44"
              "d\0",
              8),                  // directory size 0
        Bytes("\x05\x08\x00", 3),  // directory size field cut
        Bytes(1, ZVED_ITEM_TRUE),  // type byte alone
    };
    for (const Bytes& item : cases) {
        LoadRoot(Root(item));
        PoisonTail();
        EXPECT_EQ(0u, m_store.GetItemSize(45)) << Hex(item);
        EXPECT_EQ(0u, m_store.GetItemSizeNoValidate(45)) << Hex(item);
        EXPECT_EQ(0u, m_store.GetNextItem(0, 45)) << Hex(item);
        EXPECT_EQ(0, m_store.DeleteItem(45)) << Hex(item);
        EXPECT_EQ(Hex(Root(item)), Hex(Body()));
    }
}

TEST_F(ZVEnvDataTreeTest, SkipKeyHeadGivesTheValueOffset) {
    const std::vector<Bytes> items = {Int("abc", 1), Comment("text", 2), Str("s", "v"),
                                      Bool("", true)};
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    EXPECT_EQ(at[0] + 6, m_store.SkipKeyHead(at[0]));
    EXPECT_EQ(at[1] + 7, m_store.SkipKeyHead(at[1]));
    EXPECT_EQ(at[2] + 4, m_store.SkipKeyHead(at[2]));
    EXPECT_EQ(at[3] + 3, m_store.SkipKeyHead(at[3]));
    EXPECT_EQ(0u, m_store.SkipKeyHead(m_store.m_dwDataSize));

    // No terminator before the end of the data.
    LoadRoot(
        Root(Bytes("\x07\x40"
                   "abc",
                   5)));
    PoisonTail();
    EXPECT_EQ(0u, m_store.SkipKeyHead(45));
    // The name would start at the data size.
    LoadRoot(Root(Bytes("\x07\x00", 2)));
    PoisonTail(0);
    EXPECT_EQ(0u, m_store.SkipKeyHead(45));
}

TEST_F(ZVEnvDataTreeTest, SkipDirHeadGivesTheFirstChildOrTheEnd) {
    LoadRoot(Root(Dir("ab", Int("k", 1)) + Dir("", "")));
    EXPECT_EQ(45u, m_store.SkipDirHead(38));
    EXPECT_EQ(54u, m_store.SkipDirHead(45));
    EXPECT_EQ(69u, m_store.SkipDirHead(62));
    EXPECT_EQ(0u, m_store.SkipDirHead(m_store.m_dwDataSize));

    // A name that runs to the directory's end has no terminator, even though a zero byte
    // follows outside the directory.
    const Bytes unterminated = Bytes(
                                   "\x05\x08\x00\x00\x00\x03"
                                   "ab",
                                   8) +
                               Int("z", 0);
    LoadRoot(Root(unterminated));
    EXPECT_EQ(0u, m_store.SkipDirHead(45));
    EXPECT_EQ(0u, m_store.GetNextItem(45, 0));
    EXPECT_EQ(0u, m_store.FindKey(45, "z", -1));
}

// ----------------------------------------------------------------------------------------------
// Walking

TEST_F(ZVEnvDataTreeTest, WalkVisitsEveryChildFillersIncluded) {
    const std::vector<Bytes> inner = {Int("x", 1), Fillers(1), Comment("c", 0)};
    const std::vector<Bytes> items = {Int("a", 1), Fillers(1), Fillers(1), Dir("d", Join(inner)),
                                      Str("s", "t")};
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    unsigned int item = 0;
    for (unsigned int expected : at) {
        item = m_store.GetNextItem(0, item);
        EXPECT_EQ(expected, item);
    }
    EXPECT_EQ(0u, m_store.GetNextItem(0, item));
    EXPECT_EQ(0u, m_store.GetNextItem(37, item));

    const std::vector<unsigned int> innerAt = Offsets(at[3] + 8, inner);
    item = 0;
    for (unsigned int expected : innerAt) {
        item = m_store.GetNextItem(at[3], item);
        EXPECT_EQ(expected, item);
    }
    // The directory's last child has no next item, although the directory has a sibling.
    EXPECT_EQ(0u, m_store.GetNextItem(at[3], item));
    EXPECT_EQ(at[0], m_store.GetNextItem(1, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, WalkEnds) {
    EXPECT_EQ(0u, m_store.GetNextItem(0, 0));  // an empty root
    LoadRoot(Root(Int("a", 1) + Dir("e", "")));
    EXPECT_EQ(0u, m_store.GetNextItem(53, 0));    // an empty directory
    EXPECT_EQ(0u, m_store.GetNextItem(45, 0));    // a key is no directory
    EXPECT_EQ(0u, m_store.GetNextItem(0, 61));    // at the end
    EXPECT_EQ(0u, m_store.GetNextItem(0, 1000));  // past the end
    EXPECT_EQ(0u, m_store.GetNextItem(1000, 0));  // no such directory
}

TEST_F(ZVEnvDataTreeTest, WalkStopsAtAMalformedChild) {
    LoadRoot(Root(Int("a", 1) + Bytes(1, 15) + Int("b", 2)));
    EXPECT_EQ(45u, m_store.GetNextItem(0, 0));
    EXPECT_EQ(53u, m_store.GetNextItem(0, 45));
    EXPECT_EQ(0u, m_store.GetNextItem(0, 53));
    EXPECT_EQ(0u, m_store.FindKey(0, "b", -1));
}

// ----------------------------------------------------------------------------------------------
// Finding

TEST_F(ZVEnvDataTreeTest, FindKeyAndFindDirLookAtDirectChildren) {
    const std::vector<Bytes> items = {Dir("d", Int("inner", 1)), Int("key", 2), Comment("note", 0),
                                      Dir("d2", ""), Str("s", "x")};
    LoadRoot(Root(Join(items)));
    const std::vector<unsigned int> at = Offsets(45, items);
    EXPECT_EQ(at[1], m_store.FindKey(0, "key", -1));
    EXPECT_EQ(at[1], m_store.FindKey(0, "KEY", -1));
    EXPECT_EQ(at[1], m_store.FindKey(0, "keyboard", 3));
    EXPECT_EQ(at[4], m_store.FindKey(0, "S", 1));
    EXPECT_EQ(at[0], m_store.FindDir(0, "d", -1));
    EXPECT_EQ(at[0], m_store.FindDir(38, "D", -1));
    EXPECT_EQ(at[3], m_store.FindDir(0, "d2", -1));
    EXPECT_EQ(0u, m_store.FindKey(0, "inner", -1));  // only direct children
    EXPECT_EQ(at[0] + 8, m_store.FindKey(at[0], "inner", -1));
    EXPECT_EQ(0u, m_store.FindKey(0, "note", -1));  // comments are never found
    EXPECT_EQ(0u, m_store.FindDir(0, "note", -1));
    EXPECT_EQ(0u, m_store.FindKey(0, "d", -1));  // a directory is no key
    EXPECT_EQ(0u, m_store.FindDir(0, "key", -1));
    EXPECT_EQ(0u, m_store.FindKey(0, "ke", -1));
    EXPECT_EQ(0u, m_store.FindKey(at[1], "key", -1));  // a key is no directory
    EXPECT_EQ(0u, m_store.FindKey(m_store.m_dwDataSize, "key", -1));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, FindComparesTheSumByteFirst) {
    Bytes wrongKey = Int("a", 1);
    wrongKey[1] = 0;
    Bytes wrongDir = Dir("d", "");
    wrongDir[5] = 0;
    LoadRoot(Root(wrongKey + wrongDir));
    EXPECT_EQ(0u, m_store.FindKey(0, "a", -1));
    EXPECT_EQ(0u, m_store.FindDir(0, "d", -1));
    LoadRoot(Root(Int("a", 1) + Dir("d", "")));
    EXPECT_EQ(45u, m_store.FindKey(0, "a", -1));
    EXPECT_EQ(53u, m_store.FindDir(0, "d", -1));
}

TEST_F(ZVEnvDataTreeTest, NamesWithTheSameSumStayApart) {
    ASSERT_EQ(m_store.CalcSum("ab", -1), m_store.CalcSum("ba", -1));
    const unsigned int ab = m_store.SetInteger(0, "ab", -1, 1, 0);
    ASSERT_EQ(45u, ab);
    EXPECT_EQ(0u, m_store.FindKey(0, "ba", -1));
    const unsigned int ba = m_store.SetInteger(0, "ba", -1, 2, 0);
    EXPECT_EQ(54u, ba);
    EXPECT_EQ(ab, m_store.FindKey(0, "AB", -1));
    EXPECT_EQ(ba, m_store.FindKey(0, "BA", -1));
    EXPECT_BODY(Root(Int("ab", 1) + Int("ba", 2)));
}

TEST_F(ZVEnvDataTreeTest, FindReturnsTheFirstOfTwoEqualNames) {
    LoadRoot(Root(Int("a", 1) + Int("A", 2) + Dir("d", "") + Dir("D", "")));
    EXPECT_EQ(45u, m_store.FindKey(0, "a", -1));
    EXPECT_EQ(61u, m_store.FindDir(0, "D", -1));
    int value = 0;
    EXPECT_EQ(45u, m_store.GetInteger(0, "A", -1, &value));
    EXPECT_EQ(1, value);
}

TEST_F(ZVEnvDataTreeTest, FindSkipsFillers) {
    LoadRoot(Root(Fillers(3) + Int("a", 1) + Fillers(2) + Dir("d", "")));
    EXPECT_EQ(48u, m_store.FindKey(0, "a", -1));
    EXPECT_EQ(58u, m_store.FindDir(0, "d", -1));
}

// ----------------------------------------------------------------------------------------------
// Directories and paths

TEST_F(ZVEnvDataTreeTest, CreateSubDirAppendsADirectory) {
    EXPECT_EQ(45u, m_store.CreateSubDir(0, "a", -1));
    EXPECT_BODY(Root(Dir("a", "")));
    EXPECT_EQ(Hex(Bytes("\x05\x08\x00\x00\x00\x41"
                        "a\0",
                        8)),
              Hex(Body().substr(7)));
    // An existing directory comes back as it is, whatever the case of the name.
    EXPECT_EQ(45u, m_store.CreateSubDir(0, "a", -1));
    EXPECT_EQ(45u, m_store.CreateSubDir(38, "A", 1));
    EXPECT_EQ(53u, m_store.CreateSubDir(45, "bc", -1));
    EXPECT_EQ(62u, m_store.CreateSubDir(0, "xyz", 2));
    EXPECT_BODY(Root(Dir("a", Dir("bc", "")) + Dir("xy", "")));
    EXPECT_TRUE(Consistent());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, CreateSubDirRefusals) {
    LoadRoot(Root(Int("k", 1)));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "abc", 0));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "1a", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "a-b", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "a/b", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(45, "a", -1));  // a key
    EXPECT_EQ(0u, m_store.CreateSubDir(m_store.m_dwDataSize, "a", -1));
    EXPECT_BODY(Root(Int("k", 1)));
}

TEST_F(ZVEnvDataTreeTest, KeysAndDirectoriesShareNames) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "x", -1, 1, 0));
    EXPECT_EQ(53u, m_store.CreateSubDir(0, "x", -1));
    EXPECT_EQ(53u, m_store.CreateDir(0, "X", -1));
    ASSERT_EQ(61u, m_store.CreateSubDir(0, "y", -1));
    EXPECT_EQ(69u, m_store.SetString(0, "Y", -1, "text", -1));
    EXPECT_BODY(Root(Int("x", 1) + Dir("x", "") + Dir("y", "") + Str("Y", "text")));
    EXPECT_EQ(45u, m_store.FindKey(0, "x", -1));
    EXPECT_EQ(53u, m_store.FindDir(0, "x", -1));
    EXPECT_EQ(53u, m_store.GetDir(0, "x", -1));
    EXPECT_EQ(69u, m_store.FindKey(0, "y", -1));
    EXPECT_EQ(61u, m_store.FindDir(0, "y", -1));
    // Deleting one leaves the other.
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Dir("x", "") + Dir("y", "") + Str("Y", "text")));
    EXPECT_EQ(1, m_store.DeleteItem(m_store.FindDir(0, "y", -1)));
    EXPECT_BODY(Root(Dir("x", "") + Str("Y", "text")));
    char* text = nullptr;
    EXPECT_EQ(53u, m_store.GetString(0, "y", -1, &text));
    EXPECT_STREQ("text", text);
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, CreateDirAddsEveryMissingDirectory) {
    EXPECT_EQ(61u, m_store.CreateDir(0, "a/b/c", -1));
    EXPECT_EQ(7u + 24u, U32At(39));
    EXPECT_BODY(Root(Dir("a", Dir("b", Dir("c", "")))));
    EXPECT_EQ(61u, m_store.CreateDir(0, "a/b/c", -1));
    EXPECT_EQ(61u, m_store.CreateDir(0, "A/B/C", -1));
    EXPECT_EQ(61u, m_store.CreateDir(45, "b/c", -1));
    EXPECT_EQ(69u, m_store.CreateDir(0, "a/b/d", -1));
    EXPECT_BODY(Root(Dir("a", Dir("b", Dir("c", "") + Dir("d", "")))));
    EXPECT_TRUE(Consistent());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, PathsSkipRunsOfSlashes) {
    ASSERT_EQ(61u, m_store.CreateDir(0, "//a///b/c//", -1));
    EXPECT_BODY(Root(Dir("a", Dir("b", Dir("c", "")))));
    EXPECT_EQ(61u, m_store.GetDir(0, "a/b/c", -1));
    EXPECT_EQ(61u, m_store.GetDir(0, "/a//b/c/", -1));
    EXPECT_EQ(61u, m_store.GetDir(0, "A/b/C", -1));
    EXPECT_EQ(61u, m_store.GetDir(45, "b/c", -1));
    EXPECT_EQ(61u, m_store.GetDir(53, "/c", -1));
    EXPECT_EQ(53u, m_store.GetDir(0, "a/b/c", 3));
    EXPECT_EQ(45u, m_store.GetDir(0, "a/b/c", 2));
}

TEST_F(ZVEnvDataTreeTest, GetDirFailures) {
    ASSERT_EQ(53u, m_store.CreateDir(0, "a/b", -1));
    ASSERT_NE(0u, m_store.SetInteger(53, "k", -1, 1, 0));
    const Bytes before = Body();
    EXPECT_EQ(0u, m_store.GetDir(0, "a/x", -1));
    EXPECT_EQ(0u, m_store.GetDir(0, "x", -1));
    EXPECT_EQ(0u, m_store.GetDir(0, "a/b/k", -1));  // a key, not a directory
    EXPECT_EQ(0u, m_store.GetDir(0, "a/1b", -1));
    EXPECT_EQ(0u, m_store.GetDir(0, "a b", -1));
    EXPECT_EQ(0u, m_store.GetDir(0, "b", -1));  // only from the starting directory
    EXPECT_EQ(0u, m_store.GetDir(61, "", -1));  // from a key
    EXPECT_EQ(0u, m_store.GetDir(m_store.m_dwDataSize, "", -1));
    EXPECT_EQ(Hex(before), Hex(Body()));
}

TEST_F(ZVEnvDataTreeTest, CreateDirStopsAtAnInvalidNameKeepingWhatItMade) {
    EXPECT_EQ(0u, m_store.CreateDir(0, "x/1b/c", -1));
    EXPECT_BODY(Root(Dir("x", "")));
    EXPECT_EQ(0u, m_store.CreateDir(0, "x/y-z", -1));
    EXPECT_BODY(Root(Dir("x", "")));
    EXPECT_EQ(0u, m_store.CreateDir(45, "a b", -1));
    EXPECT_BODY(Root(Dir("x", "")));
}

TEST_F(ZVEnvDataTreeTest, CreateDirBesideAKeyOfTheSameName) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 1, 0));
    EXPECT_EQ(61u, m_store.CreateDir(0, "k/sub", -1));
    EXPECT_BODY(Root(Int("k", 1) + Dir("k", Dir("sub", ""))));
}

TEST_F(ZVEnvDataTreeTest, EmptyAndSlashOnlyPathsGiveTheStartingDirectory) {
    ASSERT_EQ(53u, m_store.CreateDir(0, "a/b", -1));
    ASSERT_EQ(61u, m_store.SetInteger(53, "k", -1, 1, 0));
    const Bytes before = Body();
    struct Path {
        const char* text;
        int length;
    };
    const Path paths[] = {{"", -1}, {"", 0}, {"/", -1}, {"///", -1}, {"abc", 0}, {"//x", 2}};
    for (const Path& path : paths) {
        for (unsigned int start : {0u, 1u, 37u, 38u}) {
            EXPECT_EQ(38u, m_store.GetDir(start, path.text, path.length))
                << path.text << " from " << start;
            EXPECT_EQ(38u, m_store.CreateDir(start, path.text, path.length))
                << path.text << " from " << start;
        }
        for (unsigned int start : {45u, 53u}) {
            EXPECT_EQ(start, m_store.GetDir(start, path.text, path.length));
            EXPECT_EQ(start, m_store.CreateDir(start, path.text, path.length));
        }
        for (unsigned int start : {61u, 62u, m_store.m_dwDataSize}) {
            EXPECT_EQ(0u, m_store.GetDir(start, path.text, path.length));
            EXPECT_EQ(0u, m_store.CreateDir(start, path.text, path.length));
        }
    }
    EXPECT_EQ(Hex(before), Hex(Body()));
}

// ----------------------------------------------------------------------------------------------
// Directory lock marks

TEST_F(ZVEnvDataTreeTest, LockDirMarksTheDirectory) {
    ASSERT_EQ(45u, m_store.CreateSubDir(0, "d", -1));
    ASSERT_EQ(53u, m_store.SetInteger(0, "k", -1, 1, 0));
    EXPECT_EQ(0, m_store.IsDirLocked(45));
    EXPECT_EQ(1, m_store.LockDir(45, 1));
    EXPECT_EQ(1, m_store.IsDirLocked(45));
    EXPECT_BODY(Root(Dir("d", "", ZVED_ITEM_LOCKED_DIR) + Int("k", 1)));
    EXPECT_EQ(1, m_store.LockDir(45, 5));  // any non-zero value locks
    EXPECT_EQ(6u, m_store.GetAttribute(45));
    // A locked directory is only marked: it is found and filled as before.
    EXPECT_EQ(45u, m_store.FindDir(0, "d", -1));
    EXPECT_EQ(45u, m_store.GetDir(0, "d", -1));
    EXPECT_EQ(53u, m_store.SetInteger(45, "in", -1, 2, 0));
    EXPECT_EQ(45u, m_store.CreateDir(0, "d", -1));
    EXPECT_BODY(Root(Dir("d", Int("in", 2), ZVED_ITEM_LOCKED_DIR) + Int("k", 1)));
    EXPECT_EQ(1, m_store.LockDir(45, 0));
    EXPECT_EQ(0, m_store.IsDirLocked(45));
    EXPECT_BODY(Root(Dir("d", Int("in", 2)) + Int("k", 1)));
    EXPECT_EQ(1, m_store.LockDir(45, 0));
    EXPECT_EQ(0, m_store.IsDirLocked(45));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, LockDirOnTheRootAndOnOtherItems) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 1, 0));
    EXPECT_EQ(1, m_store.LockDir(0, 1));
    EXPECT_EQ(1, m_store.IsDirLocked(0));
    EXPECT_EQ(1, m_store.IsDirLocked(38));
    EXPECT_EQ(53u, m_store.CreateSubDir(0, "d", -1));
    EXPECT_BODY(Dir("", Int("k", 1) + Dir("d", ""), ZVED_ITEM_LOCKED_DIR));
    EXPECT_EQ(0, m_store.LockDir(45, 1));
    EXPECT_EQ(0, m_store.IsDirLocked(45));
    EXPECT_EQ(0, m_store.LockDir(m_store.m_dwDataSize, 1));
    EXPECT_EQ(0, m_store.IsDirLocked(m_store.m_dwDataSize));
    EXPECT_EQ(1, m_store.LockDir(0, 0));
    EXPECT_BODY(Root(Int("k", 1) + Dir("d", "")));
}

// ----------------------------------------------------------------------------------------------
// Directory sizes

TEST_F(ZVEnvDataTreeTest, SetDirSizeWritesTheSizeField) {
    ASSERT_EQ(45u, m_store.CreateSubDir(0, "d", -1));
    EXPECT_EQ(1, m_store.SetDirSize(45, 0x12345678u));
    EXPECT_EQ(Hex(Bytes("\x05\x78\x56\x34\x12", 5)), Hex(Body().substr(7, 5)));
    EXPECT_EQ(1, m_store.SetDirSize(45, 8));
    EXPECT_EQ(1, m_store.SetDirSize(0, 15));
    EXPECT_BODY(Root(Dir("d", "")));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, SetDirSizeNeedsADirectory) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 1, 0));
    EXPECT_EQ(0, m_store.SetDirSize(45, 3));
    EXPECT_EQ(0, m_store.SetDirSize(m_store.m_dwDataSize, 3));
    EXPECT_BODY(Root(Int("k", 1)));
}

// ----------------------------------------------------------------------------------------------
// Enclosing directories

// A trace array with a guard entry behind its 16 entries, all set to a marker first.
struct Trace {
    Trace() {
        for (unsigned int& entry : entries) {
            entry = kUnset;
        }
    }
    std::vector<unsigned int> First(int count) const {
        return std::vector<unsigned int>(entries, entries + count);
    }
    static constexpr unsigned int kUnset = 0xAAAAAAAAu;
    unsigned int entries[ZVED_MAX_DEPTH + 1];
};

TEST_F(ZVEnvDataTreeTest, TraceOfTheRootIsEmpty) {
    Trace trace;
    EXPECT_EQ(0, m_store.GetDirTrace(0, trace.entries));
    EXPECT_EQ(0, m_store.GetDirTrace(38, trace.entries));
    EXPECT_EQ(0, m_store.GetDirTrace(m_store.m_dwDataSize, trace.entries));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, TraceListsTheEnclosingDirectoriesRootFirst) {
    // a at 45 holds x at 53 and b at 61; b holds y at 69 and a filler at 77; z follows a.
    LoadRoot(Root(Dir("a", Int("x", 1) + Dir("b", Int("y", 2) + Fillers(1))) + Int("z", 3)));
    Trace trace;
    EXPECT_EQ(1, m_store.GetDirTrace(45, trace.entries));  // a directory: its parents only
    EXPECT_EQ(std::vector<unsigned int>({38}), trace.First(1));
    EXPECT_EQ(2, m_store.GetDirTrace(53, trace.entries));  // a directory's first child
    EXPECT_EQ(std::vector<unsigned int>({38, 45}), trace.First(2));
    EXPECT_EQ(2, m_store.GetDirTrace(61, trace.entries));
    EXPECT_EQ(std::vector<unsigned int>({38, 45}), trace.First(2));
    EXPECT_EQ(3, m_store.GetDirTrace(69, trace.entries));
    EXPECT_EQ(std::vector<unsigned int>({38, 45, 61}), trace.First(3));
    EXPECT_EQ(3, m_store.GetDirTrace(77, trace.entries));
    EXPECT_EQ(std::vector<unsigned int>({38, 45, 61}), trace.First(3));
    EXPECT_EQ(1, m_store.GetDirTrace(78, trace.entries));  // z, after a
    EXPECT_EQ(std::vector<unsigned int>({38}), trace.First(1));
    EXPECT_EQ(Trace::kUnset, trace.entries[3]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// Creates d1/d2/.../dN from the root; returns every directory of the chain, the root first.
std::vector<unsigned int> MakeChain(CZVEnvData& store, int depth) {
    std::vector<unsigned int> dirs = {38};
    std::string path;
    for (int i = 1; i <= depth; ++i) {
        path += (i > 1 ? "/d" : "d") + std::to_string(i);
        const unsigned int dir = store.CreateDir(0, path.c_str(), -1);
        EXPECT_NE(0u, dir) << path;
        dirs.push_back(dir);
    }
    // Offsets move while deeper directories are inserted behind them only, so they hold.
    for (int i = 1; i <= depth; ++i) {
        EXPECT_EQ(dirs[i], store.GetDir(dirs[i - 1], ("d" + std::to_string(i)).c_str(), -1));
    }
    return dirs;
}

TEST_F(ZVEnvDataTreeTest, InsertingWorksUnderFifteenEnclosingDirectoriesNotUnderSixteen) {
    const std::vector<unsigned int> dirs = MakeChain(m_store, 15);
    const unsigned int d15 = dirs[15];
    Trace trace;
    EXPECT_EQ(15, m_store.GetDirTrace(d15, trace.entries));
    EXPECT_EQ(std::vector<unsigned int>(dirs.begin(), dirs.begin() + 15), trace.First(15));
    EXPECT_EQ(Trace::kUnset, trace.entries[15]);

    // d15 has 15 enclosing directories: a key and a directory go in.
    const unsigned int key = m_store.SetInteger(d15, "k", -1, 1, 0);
    ASSERT_NE(0u, key);
    EXPECT_EQ(16, m_store.GetDirTrace(key, trace.entries));
    EXPECT_EQ(std::vector<unsigned int>(dirs.begin(), dirs.end()), trace.First(16));
    EXPECT_EQ(Trace::kUnset, trace.entries[16]);
    const unsigned int d16 = m_store.CreateSubDir(d15, "d16", -1);
    ASSERT_NE(0u, d16);
    EXPECT_EQ(16, m_store.GetDirTrace(d16, trace.entries));
    EXPECT_EQ(Trace::kUnset, trace.entries[16]);
    EXPECT_TRUE(Consistent());

    // d16 has 16: nothing goes in, by any way.
    const Bytes before = Body();
    const std::string deepPath = "d1/d2/d3/d4/d5/d6/d7/d8/d9/d10/d11/d12/d13/d14/d15/d16";
    EXPECT_EQ(d16, m_store.GetDir(0, deepPath.c_str(), -1));
    EXPECT_EQ(d16, m_store.CreateDir(0, deepPath.c_str(), -1));
    EXPECT_EQ(0u, m_store.CreateDir(0, (deepPath + "/d17").c_str(), -1));
    EXPECT_EQ(0u, m_store.CreateDir(d16, "d17", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(d16, "d17", -1));
    EXPECT_EQ(0u, m_store.InsertItem(d16, 1));
    EXPECT_EQ(0u, m_store.SetInteger(d16, "k", -1, 1, 0));
    EXPECT_EQ(0u, m_store.SetDouble(d16, "k", -1, 1.0));
    EXPECT_EQ(0u, m_store.SetBoolean(d16, "k", -1, 1));
    EXPECT_EQ(0u, m_store.SetString(d16, "k", -1, "x", -1));
    EXPECT_EQ(0u, m_store.SetBinData(d16, "k", -1, "x", 1));
    EXPECT_EQ(0u, m_store.InsertComment(d16, "c", -1, ZVED_ITEM_COMMENT, 0));
    EXPECT_EQ(Hex(before), Hex(Body()));

    // Both can be deleted again.
    EXPECT_EQ(1, m_store.DeleteItem(d16));
    EXPECT_EQ(1, m_store.DeleteItem(m_store.FindKey(d15, "k", -1)));
    Bytes chain;
    for (int i = 15; i >= 1; --i) {
        chain = Dir("d" + std::to_string(i), chain);
    }
    EXPECT_BODY(Root(chain));
}

// A root holding d1/.../d16 with the given items in d16, which have 17 enclosing directories.
Bytes DeepRoot(const Bytes& items) {
    Bytes content = items;
    for (int i = 16; i >= 1; --i) {
        content = Dir("d" + std::to_string(i), content);
    }
    return Root(content);
}

TEST_F(ZVEnvDataTreeTest, ItemsNeedingASeventeenthTraceEntryCannotMove) {
    LoadRoot(DeepRoot(Int("k", 1) + Comment("c", 0, ZVED_ITEM_TRAILING_COMMENT)));
    const unsigned int d16 =
        m_store.GetDir(0, "d1/d2/d3/d4/d5/d6/d7/d8/d9/d10/d11/d12/d13/d14/d15/d16", -1);
    ASSERT_NE(0u, d16);
    const unsigned int key = m_store.FindKey(d16, "k", -1);
    ASSERT_NE(0u, key);
    Trace trace;
    EXPECT_EQ(0, m_store.GetDirTrace(key, trace.entries));
    EXPECT_EQ(Trace::kUnset, trace.entries[16]);
    EXPECT_EQ(0, m_store.GetDirTrace(key + 8, trace.entries));  // the comment
    EXPECT_EQ(16, m_store.GetDirTrace(d16, trace.entries));

    const Bytes before = Body();
    EXPECT_EQ(0, m_store.DeleteItem(key));
    EXPECT_EQ(0, m_store.ResizeItem(key, 8, 9));
    EXPECT_EQ(0, m_store.ResizeItem(key, 8, 7));
    EXPECT_EQ(0u, m_store.SetString(d16, "k", -1, "x", -1));
    EXPECT_EQ(0u, m_store.SetDouble(d16, "k", -1, 2.0));
    EXPECT_EQ(0u, m_store.SetInteger(d16, "new", -1, 1, 0));
    EXPECT_EQ(Hex(before), Hex(Body()));

    // Rewriting a value in place needs no trace.
    EXPECT_EQ(key, m_store.SetInteger(d16, "k", -1, 5, ZVED_ITEM_HEX));
    EXPECT_EQ(
        Hex(DeepRoot(Int("k", 5, ZVED_ITEM_HEX) + Comment("c", 0, ZVED_ITEM_TRAILING_COMMENT))),
        Hex(Body()));
    int value = 0;
    EXPECT_EQ(key, m_store.GetInteger(d16, "k", -1, &value));
    EXPECT_EQ(5, value);

    // d16 itself has 16 enclosing directories and goes with everything in it.
    EXPECT_EQ(1, m_store.DeleteItem(d16));
    Bytes chain;
    for (int i = 15; i >= 1; --i) {
        chain = Dir("d" + std::to_string(i), chain);
    }
    EXPECT_BODY(Root(chain));
}

// ----------------------------------------------------------------------------------------------
// Inserting

TEST_F(ZVEnvDataTreeTest, InsertItemAppendsFillerBytes) {
    EXPECT_EQ(45u, m_store.InsertItem(0, 5));
    EXPECT_BODY(Root(Fillers(5)));
    EXPECT_EQ(50u, m_store.InsertItem(38, 1));
    EXPECT_BODY(Root(Fillers(6)));
    EXPECT_TRUE(Consistent());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, InsertItemMakesTheNewItemTheLastChild) {
    LoadRoot(Root(Dir("a", Int("x", 1)) + Int("y", 2)));
    EXPECT_EQ(61u, m_store.InsertItem(45, 2));
    EXPECT_BODY(Root(Dir("a", Int("x", 1) + Fillers(2)) + Int("y", 2)));
    EXPECT_EQ(71u, m_store.InsertItem(0, 1));
    EXPECT_BODY(Root(Dir("a", Int("x", 1) + Fillers(2)) + Int("y", 2) + Fillers(1)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, InsertItemGrowsEveryEnclosingDirectory) {
    ASSERT_EQ(61u, m_store.CreateDir(0, "a/b/c", -1));
    ASSERT_EQ(77u, m_store.CreateDir(0, "e", -1) + 8u);
    EXPECT_EQ(69u, m_store.InsertItem(61, 3));
    EXPECT_BODY(Root(Dir("a", Dir("b", Dir("c", Fillers(3)))) + Dir("e", "")));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, InsertItemRefusals) {
    LoadRoot(Root(Int("k", 1)));
    const Bytes before = Body();
    EXPECT_EQ(0u, m_store.InsertItem(45, 1));  // a key
    EXPECT_EQ(0u, m_store.InsertItem(m_store.m_dwDataSize, 1));
    // Sizes that wrap the data size round.
    for (unsigned int size : {0xFFFFFFFFu, 0xFFFFFFFFu - 52u, 0xFFFFFFFFu - 51u, 0xFFFFFFF0u}) {
        EXPECT_EQ(0u, m_store.InsertItem(0, size)) << size;
        EXPECT_EQ(Hex(before), Hex(Body()));
        EXPECT_EQ(53u, m_store.m_dwDataSize);
    }
}

// ----------------------------------------------------------------------------------------------
// Resizing

TEST_F(ZVEnvDataTreeTest, GrowingAKeyLeavesFillersThatOutliveItsRewriteAndDeletion) {
    ASSERT_EQ(45u, m_store.SetInteger(0, "k", -1, 5, 0));
    ASSERT_EQ(53u, m_store.SetInteger(0, "z", -1, 6, 0));
    EXPECT_EQ(1, m_store.ResizeItem(45, 8, 11));
    EXPECT_BODY(Root(Int("k", 5) + Fillers(3) + Int("z", 6)));
    EXPECT_TRUE(Consistent());
    // The fillers are items of their own; the key keeps its size.
    EXPECT_EQ(8u, m_store.GetItemSize(45));
    EXPECT_EQ(53u, m_store.GetNextItem(0, 45));
    EXPECT_EQ(54u, m_store.GetNextItem(0, 53));
    EXPECT_EQ(55u, m_store.GetNextItem(0, 54));
    EXPECT_EQ(56u, m_store.GetNextItem(0, 55));
    EXPECT_EQ(0u, m_store.GetNextItem(0, 56));
    EXPECT_EQ(8u, m_store.GetAttribute(53));
    EXPECT_EQ(56u, m_store.FindKey(0, "z", -1));

    // Rewrites work from the key's own size, so the fillers stay behind it.
    EXPECT_EQ(45u, m_store.SetInteger(0, "k", -1, 9, 0));
    EXPECT_BODY(Root(Int("k", 9) + Fillers(3) + Int("z", 6)));
    EXPECT_EQ(45u, m_store.SetString(0, "k", -1, "abcdef", -1));
    EXPECT_BODY(Root(Str("k", "abcdef") + Fillers(3) + Int("z", 6)));
    EXPECT_EQ(45u, m_store.SetBoolean(0, "k", -1, 1));
    EXPECT_BODY(Root(Bool("k", true) + Fillers(3) + Int("z", 6)));
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Fillers(3) + Int("z", 6)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, ShrinkingMovesTheRestDown) {
    LoadRoot(Root(Str("s", "hello") + Int("z", 1)));
    EXPECT_EQ(1, m_store.ResizeItem(45, 10, 7));
    // The key's first bytes stay for the caller to rewrite.
    EXPECT_BODY(Root(Str("s", "hello").substr(0, 7) + Int("z", 1)));
}

TEST_F(ZVEnvDataTreeTest, ResizingToTheSameSizeChangesNothing) {
    LoadRoot(Root(Int("k", 1)));
    ForgetStamp();
    EXPECT_EQ(1, m_store.ResizeItem(45, 8, 8));
    EXPECT_BODY(Root(Int("k", 1)));
    EXPECT_EQ(MarkerTime(), HeaderTime());
    EXPECT_EQ(0, m_store.m_bAccessTimeStamped);
}

TEST_F(ZVEnvDataTreeTest, ResizingInsideNestedDirectories) {
    LoadRoot(Root(Dir("a", Dir("b", Int("k", 1) + Int("m", 2)) + Int("n", 3)) + Int("o", 4)));
    const unsigned int key = m_store.GetDir(0, "a/b", -1) + 8;
    ASSERT_EQ(key, m_store.FindKey(key - 8, "k", -1));
    EXPECT_EQ(1, m_store.ResizeItem(key, 8, 12));
    EXPECT_BODY(Root(Dir("a", Dir("b", Int("k", 1) + Fillers(4) + Int("m", 2)) + Int("n", 3)) +
                     Int("o", 4)));
    EXPECT_TRUE(Consistent());
    // Deleting the fillers one by one takes the directories back.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(1, m_store.DeleteItem(key + 8));
    }
    EXPECT_BODY(Root(Dir("a", Dir("b", Int("k", 1) + Int("m", 2)) + Int("n", 3)) + Int("o", 4)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, ResizingAComment) {
    LoadRoot(Root(Comment("c", 1) + Int("z", 2)));
    EXPECT_EQ(1, m_store.ResizeItem(45, 6, 8));
    EXPECT_BODY(Root(Comment("c", 1) + Fillers(2) + Int("z", 2)));
}

TEST_F(ZVEnvDataTreeTest, DirectoriesCannotBeResized) {
    LoadRoot(Root(Dir("d", "")));
    EXPECT_EQ(0, m_store.ResizeItem(45, 8, 10));
    EXPECT_EQ(0, m_store.ResizeItem(0, 15, 16));
    EXPECT_EQ(0, m_store.ResizeItem(38, 15, 10));
    EXPECT_BODY(Root(Dir("d", "")));
}

TEST_F(ZVEnvDataTreeTest, ResizingRefusesSizesPastTheData) {
    LoadRoot(Root(Int("k", 1)));
    const Bytes before = Body();
    EXPECT_EQ(0, m_store.ResizeItem(45, 1000, 5));
    EXPECT_EQ(0, m_store.ResizeItem(45, 1000, 2000));
    EXPECT_EQ(0, m_store.ResizeItem(45, 9, 20));  // one byte past the data
    EXPECT_EQ(0, m_store.ResizeItem(45, 0xFFFFFFFFu, 8));
    EXPECT_EQ(0, m_store.ResizeItem(45, 8, 0xFFFFFFFFu));
    EXPECT_EQ(0, m_store.ResizeItem(45, 8, 0xFFFFFFFFu - 44u));
    EXPECT_EQ(0, m_store.ResizeItem(m_store.m_dwDataSize, 1, 2));
    EXPECT_EQ(Hex(before), Hex(Body()));
    EXPECT_EQ(53u, m_store.m_dwDataSize);
}

// ----------------------------------------------------------------------------------------------
// Deleting

TEST_F(ZVEnvDataTreeTest, DeletingAKeyTakesTheTrailingCommentBehindIt) {
    LoadRoot(Root(Int("a", 1) + Comment("c", 3, ZVED_ITEM_TRAILING_COMMENT) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Int("b", 2)));
    EXPECT_TRUE(Consistent());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, DeletingAKeyLeavesACommentLine) {
    LoadRoot(Root(Int("a", 1) + Comment("c", 3) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Comment("c", 3) + Int("b", 2)));
}

TEST_F(ZVEnvDataTreeTest, DeletingAKeyTakesOnlyOneTrailingComment) {
    LoadRoot(Root(Str("a", "v") + Comment("c", 3, ZVED_ITEM_TRAILING_COMMENT) +
                  Comment("d", 4, ZVED_ITEM_TRAILING_COMMENT)));
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Comment("d", 4, ZVED_ITEM_TRAILING_COMMENT)));
}

TEST_F(ZVEnvDataTreeTest, TheLastKeyOfADirectoryLeavesItsParentsNextComment) {
    ASSERT_EQ(45u, m_store.CreateSubDir(0, "d", -1));
    ASSERT_EQ(53u, m_store.SetInteger(45, "k", -1, 1, 0));
    ASSERT_EQ(61u, m_store.InsertComment(0, "c", -1, ZVED_ITEM_TRAILING_COMMENT, 7));
    EXPECT_BODY(Root(Dir("d", Int("k", 1)) + Comment("c", 7, ZVED_ITEM_TRAILING_COMMENT)));
    EXPECT_EQ(1, m_store.DeleteItem(53));
    EXPECT_BODY(Root(Dir("d", "") + Comment("c", 7, ZVED_ITEM_TRAILING_COMMENT)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, TheLastKeyOfADirectoryTakesItsOwnTrailingComment) {
    LoadRoot(Root(Dir("d", Int("k", 1) + Comment("c", 7, ZVED_ITEM_TRAILING_COMMENT)) +
                  Comment("e", 8, ZVED_ITEM_TRAILING_COMMENT)));
    EXPECT_EQ(1, m_store.DeleteItem(53));
    EXPECT_BODY(Root(Dir("d", "") + Comment("e", 8, ZVED_ITEM_TRAILING_COMMENT)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, DeletingADirectoryTakesEverythingInItButNotTheCommentBehind) {
    LoadRoot(Root(Int("a", 1) +
                  Dir("d", Int("x", 1) + Dir("e", Str("s", "t") + Comment("n", 0)) + Fillers(2)) +
                  Comment("c", 3, ZVED_ITEM_TRAILING_COMMENT) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(53));
    EXPECT_BODY(Root(Int("a", 1) + Comment("c", 3, ZVED_ITEM_TRAILING_COMMENT) + Int("b", 2)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, DeletingCommentsAndFillers) {
    LoadRoot(Root(Int("a", 1) + Comment("c", 3, ZVED_ITEM_TRAILING_COMMENT) + Fillers(2) +
                  Comment("d", 4) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(53));
    EXPECT_BODY(Root(Int("a", 1) + Fillers(2) + Comment("d", 4) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(53));
    EXPECT_BODY(Root(Int("a", 1) + Fillers(1) + Comment("d", 4) + Int("b", 2)));
    EXPECT_EQ(1, m_store.DeleteItem(54));
    EXPECT_BODY(Root(Int("a", 1) + Fillers(1) + Int("b", 2)));
    EXPECT_TRUE(Consistent());
}

TEST_F(ZVEnvDataTreeTest, DeletingInsideNestedDirectories) {
    ASSERT_EQ(53u, m_store.CreateDir(0, "a/b", -1));
    ASSERT_EQ(61u, m_store.SetString(53, "k", -1, "value", -1));
    ASSERT_EQ(71u, m_store.SetInteger(45, "m", -1, 2, 0));
    ASSERT_EQ(79u, m_store.SetInteger(0, "n", -1, 3, 0));
    EXPECT_EQ(1, m_store.DeleteItem(61));
    EXPECT_BODY(Root(Dir("a", Dir("b", "") + Int("m", 2)) + Int("n", 3)));
    EXPECT_TRUE(Consistent());
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_BODY(Root(Int("n", 3)));
}

TEST_F(ZVEnvDataTreeTest, DeletingRefusesTheRootAndNonItems) {
    LoadRoot(Root(Int("a", 1)));
    EXPECT_EQ(0, m_store.DeleteItem(0));
    EXPECT_EQ(0, m_store.DeleteItem(37));
    EXPECT_EQ(0, m_store.DeleteItem(38));
    EXPECT_EQ(0, m_store.DeleteItem(m_store.m_dwDataSize));
    EXPECT_EQ(0, m_store.DeleteItem(0xFFFFFFFFu));
    EXPECT_BODY(Root(Int("a", 1)));
}

// ----------------------------------------------------------------------------------------------
// Key paths

TEST_F(ZVEnvDataTreeTest, SplitKeyAtTheLastSlash) {
    struct Case {
        const char* path;
        int length;
        int dirLength;
        int nameOffset;  // -1: not checked (the name is empty)
        int nameLength;
    };
    const Case cases[] = {
        {"a/b/c", -1, 4, 4, 1}, {"c", -1, 0, 0, 1},          {"a/", -1, 2, -1, 0},
        {"", -1, 0, 0, 0},      {"/c", -1, 1, 1, 1},         {"/", -1, 1, -1, 0},
        {"a/b/c", 3, 2, 2, 1},  {"a/b/c", 0, 0, 0, 0},       {"a//b", -1, 3, 3, 1},
        {"a\\b", -1, 0, 0, 3},  {"dir/name/", -1, 9, -1, 0}, {"ab/cd", 4, 3, 3, 1},
    };
    for (const Case& c : cases) {
        char* dir = reinterpret_cast<char*>(1);
        char* name = reinterpret_cast<char*>(1);
        int dirLength = -7;
        int nameLength = -7;
        EXPECT_EQ(1, m_store.SplitKey(c.path, c.length, &dir, &dirLength, &name, &nameLength));
        EXPECT_EQ(c.path, dir) << c.path;
        EXPECT_EQ(c.dirLength, dirLength) << c.path << " " << c.length;
        EXPECT_EQ(c.nameLength, nameLength) << c.path << " " << c.length;
        if (c.nameOffset >= 0) {
            EXPECT_EQ(c.path + c.nameOffset, name) << c.path << " " << c.length;
        }
    }
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVEnvDataTreeTest, ParseDirPathOfAnEmptyPathGivesTheRoot) {
    for (const char* path : {"", "/", "///"}) {
        Trace trace;
        EXPECT_EQ(1, m_store.ParseDirPath(path, trace.entries)) << path;
        EXPECT_EQ(38u, trace.entries[0]);
        EXPECT_EQ(Trace::kUnset, trace.entries[1]);
    }
}

TEST_F(ZVEnvDataTreeTest, ParseDirPathOfAMissingNameFillsTheTraceWithZeros) {
    Trace trace;
    EXPECT_EQ(0, m_store.ParseDirPath("a", trace.entries));
    std::vector<unsigned int> expected(16, 0);
    expected[0] = 38;
    EXPECT_EQ(expected, trace.First(16));
    EXPECT_EQ(Trace::kUnset, trace.entries[16]);
}

TEST_F(ZVEnvDataTreeTest, ParseDirPathLooksTheFirstNameUpAgainAndAgain) {
    // a holds b but no a: the second lookup of a fails, and 0 is never looked up from, so
    // the trace does not go back to the root's a.
    ASSERT_EQ(53u, m_store.CreateDir(0, "a/b", -1));
    const Bytes before = Body();
    for (const char* path : {"a", "A", "//a", "/a/b", "a/b/c"}) {
        Trace trace;
        EXPECT_EQ(0, m_store.ParseDirPath(path, trace.entries)) << path;
        std::vector<unsigned int> expected(16, 0);
        expected[0] = 38;
        expected[1] = 45;
        EXPECT_EQ(expected, trace.First(16)) << path;
        EXPECT_EQ(Trace::kUnset, trace.entries[16]);
    }
    EXPECT_EQ(Hex(before), Hex(Body()));
}

TEST_F(ZVEnvDataTreeTest, ParseDirPathFollowsAChainOfTheSameName) {
    std::string path = "a";
    for (int i = 1; i < 16; ++i) {
        path += "/a";
    }
    ASSERT_NE(0u, m_store.CreateDir(0, path.c_str(), -1));
    std::vector<unsigned int> expected = {38};
    std::string prefix;
    for (int i = 1; i < 16; ++i) {
        prefix += i > 1 ? "/a" : "a";
        expected.push_back(m_store.GetDir(0, prefix.c_str(), -1));
        ASSERT_NE(0u, expected.back());
    }
    Trace trace;
    EXPECT_EQ(0, m_store.ParseDirPath("a/x", trace.entries));
    EXPECT_EQ(expected, trace.First(16));
    EXPECT_EQ(Trace::kUnset, trace.entries[16]);
}

}  // namespace
