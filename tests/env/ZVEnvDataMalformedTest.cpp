// CZVEnvData on item buffers that were not built by the store: sizes that run past the buffer or
// their directory, missing terminators, types that are no items. Every walk, lookup, getter,
// setter and deletion either fails or succeeds without reading or writing outside the buffer.
// The mapping behind the data is filled with non-zero bytes first, so that a scan that overruns
// the data finds no terminator where it stops by accident.
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

using envtest::Bin;
using envtest::Bytes;
using envtest::Dir;
using envtest::Head;
using envtest::Hex;
using envtest::Int;
using envtest::Root;
using envtest::Str;
using envtest::U32;

class ZVEnvDataMalformedTest : public envtest::EnvDataTest {
protected:
    // Loads the bytes as they are (the root's size field included) and poisons the tail.
    void LoadRaw(const Bytes& root) {
        ASSERT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
        ASSERT_EQ(38u + root.size(), m_store.m_dwDataSize);
        PoisonTail();
    }

    // Every offset the walk reaches from the root, directories descended into, at most limit.
    std::vector<unsigned int> Walk(unsigned int limit = 200) {
        std::vector<unsigned int> items;
        std::vector<unsigned int> dirs = {ZVED_ROOT_DIR};
        while (!dirs.empty() && items.size() < limit) {
            const unsigned int dir = dirs.back();
            dirs.pop_back();
            for (unsigned int item = m_store.GetNextItem(dir, 0); item != 0 && items.size() < limit;
                 item = m_store.GetNextItem(dir, item)) {
                EXPECT_LT(item, m_store.m_dwDataSize);
                items.push_back(item);
                if (m_store.IsDir(item) && dirs.size() < 20) {
                    dirs.push_back(item);
                }
            }
        }
        EXPECT_LT(items.size(), limit) << "the walk does not end";
        return items;
    }

    // Reads everything that can be read: per item, and per name from every directory found.
    void ReadEverything() {
        const std::vector<unsigned int> items = Walk();
        unsigned int trace[ZVED_MAX_DEPTH];
        for (unsigned int item : items) {
            m_store.GetAttribute(item);
            m_store.IsKey(item);
            m_store.GetSum(item);
            const unsigned int size = m_store.GetItemSize(item);
            EXPECT_LE(size, m_store.m_dwDataSize - item);
            const unsigned int value = m_store.SkipKeyHead(item);
            EXPECT_LE(value, m_store.m_dwDataSize);
            const unsigned int child = m_store.SkipDirHead(item);
            EXPECT_LE(child, m_store.m_dwDataSize);
            const int count = m_store.GetDirTrace(item, trace);
            EXPECT_LE(count, ZVED_MAX_DEPTH);
            void* data = nullptr;
            unsigned int length = 0;
            if (m_store.GetBinDataBuf(item, &data, &length) != 0) {
                ExpectInside(data, length);
            }
        }
        std::vector<unsigned int> dirs = {0};
        for (unsigned int item : items) {
            if (m_store.IsDir(item)) {
                dirs.push_back(item);
            }
        }
        for (unsigned int dir : dirs) {
            for (const char* name : kNames) {
                int value = 0;
                double real = 0;
                char* text = nullptr;
                void* data = nullptr;
                unsigned int length = 0;
                m_store.FindKey(dir, name, -1);
                m_store.FindDir(dir, name, -1);
                m_store.GetDir(dir, name, -1);
                m_store.GetInteger(dir, name, -1, &value);
                m_store.GetDouble(dir, name, -1, &real);
                m_store.GetBoolean(dir, name, -1, &value);
                if (m_store.GetString(dir, name, -1, &text) != 0) {
                    ExpectInside(text, static_cast<unsigned int>(strlen(text)) + 1);
                }
                if (m_store.GetBinData(dir, name, -1, &data, &length) != 0) {
                    ExpectInside(data, length);
                }
            }
        }
    }

    void ExpectInside(const void* p, unsigned int length) {
        const unsigned char* start = static_cast<const unsigned char*>(p);
        EXPECT_GE(start, m_store.m_pData);
        EXPECT_LE(start + length, m_store.m_pData + m_store.m_dwDataSize);
    }

    // Loads the root, then for every kind of change: reload, read everything, change, check
    // that the buffer is still readable, and read everything again.
    void ExerciseEverything(const Bytes& root) {
        const std::vector<std::function<void(CZVEnvData&, unsigned int)>> changes = {
            [](CZVEnvData& s, unsigned int dir) { s.SetInteger(dir, "i", -1, 5, 0); },
            [](CZVEnvData& s, unsigned int dir) { s.SetInteger(dir, "x", -1, 5, 0); },
            [](CZVEnvData& s, unsigned int dir) { s.SetDouble(dir, "i", -1, 5.0); },
            [](CZVEnvData& s, unsigned int dir) { s.SetBoolean(dir, "b", -1, 1); },
            [](CZVEnvData& s, unsigned int dir) { s.SetString(dir, "s", -1, "text", -1); },
            [](CZVEnvData& s, unsigned int dir) { s.SetBinData(dir, "d", -1, "xyz", 3); },
            [](CZVEnvData& s, unsigned int dir) { s.CreateSubDir(dir, "d", -1); },
            [](CZVEnvData& s, unsigned int dir) { s.CreateDir(dir, "n/m", -1); },
            [](CZVEnvData& s, unsigned int dir) { s.InsertComment(dir, "c", -1, 4, 0); },
            [](CZVEnvData& s, unsigned int dir) { s.InsertItem(dir, 3); },
            [](CZVEnvData& s, unsigned int dir) { s.LockDir(dir, 1); },
        };
        std::vector<unsigned int> dirs;
        LoadRaw(root);
        dirs.push_back(0);
        for (unsigned int item : Walk()) {
            if (m_store.IsDir(item) && dirs.size() < 5) {
                dirs.push_back(item);
            }
        }
        for (size_t c = 0; c < changes.size(); ++c) {
            for (unsigned int dir : dirs) {
                SCOPED_TRACE("change " + std::to_string(c) + " in " + std::to_string(dir));
                LoadRaw(root);
                ReadEverything();
                changes[c](m_store, dir);
                ASSERT_GE(m_store.m_dwDataSize, 38u);
                PoisonTail();
                ReadEverything();
            }
        }
        // Deleting and resizing each item the walk finds.
        LoadRaw(root);
        const std::vector<unsigned int> items = Walk();
        for (unsigned int item : items) {
            SCOPED_TRACE("item " + std::to_string(item));
            LoadRaw(root);
            m_store.DeleteItem(item);
            PoisonTail();
            ReadEverything();
            LoadRaw(root);
            const unsigned int size = m_store.GetItemSize(item);
            if (size != 0 && !m_store.IsDir(item)) {
                m_store.ResizeItem(item, size, size + 2);
                PoisonTail();
                ReadEverything();
            }
        }
    }

    static constexpr const char* kNames[] = {"a", "b", "d", "e", "i", "r", "s", "x", "k"};
};

// The bytes with the u32 at offset replaced.
Bytes Patch(Bytes bytes, size_t offset, uint32_t value) {
    bytes.replace(offset, 4, U32(value));
    return bytes;
}

TEST_F(ZVEnvDataMalformedTest, RootRunningPastTheBuffer) {
    const Bytes root = Patch(Root(Int("a", 1) + Dir("d", "")), 1, 15 + 8 + 10);
    LoadRaw(root);
    EXPECT_EQ(0u, m_store.GetItemSize(0));
    EXPECT_EQ(0u, m_store.GetNextItem(0, 0));
    EXPECT_EQ(0u, m_store.FindKey(0, "a", -1));
    EXPECT_EQ(0u, m_store.FindDir(0, "d", -1));
    EXPECT_EQ(ZVED_ROOT_DIR, m_store.GetDir(0, "", -1));
    EXPECT_EQ(0u, m_store.SetInteger(0, "b", -1, 1, 0));
    EXPECT_EQ(0u, m_store.SetString(0, "b", -1, "x", -1));
    EXPECT_EQ(0u, m_store.CreateSubDir(0, "e", -1));
    EXPECT_EQ(0u, m_store.InsertComment(0, "c", -1, ZVED_ITEM_COMMENT, 0));
    EXPECT_EQ(0u, m_store.InsertItem(0, 1));
    unsigned int trace[ZVED_MAX_DEPTH];
    EXPECT_EQ(0, m_store.GetDirTrace(45, trace));
    EXPECT_EQ(0, m_store.DeleteItem(45));
    EXPECT_EQ(0, m_store.ResizeItem(45, 8, 9));
    EXPECT_EQ(Hex(root), Hex(Body()));
    ExerciseEverything(root);
}

TEST_F(ZVEnvDataMalformedTest, RootShorterThanItsContents) {
    ExerciseEverything(Patch(Root(Int("a", 1) + Str("s", "text")), 1, 12));
}

TEST_F(ZVEnvDataMalformedTest, RootOfSizeZeroOrOfNoDirectoryType) {
    for (const Bytes& root : {Patch(Root(Int("a", 1)), 1, 0), Patch(Root(Int("a", 1)), 1, 3),
                              Patch(Root(Int("a", 1)), 1, 0xFFFFFFFFu)}) {
        LoadRaw(root);
        EXPECT_EQ(0u, m_store.GetNextItem(0, 0));
        EXPECT_EQ(0u, m_store.SetInteger(0, "b", -1, 1, 0));
        EXPECT_EQ(0u, m_store.CreateSubDir(0, "e", -1));
        EXPECT_EQ(Hex(root), Hex(Body()));
        ExerciseEverything(root);
    }
    for (unsigned char type : {0, 7, 8, 15, 255}) {
        Bytes root = Root(Int("a", 1));
        root[0] = static_cast<char>(type);
        LoadRaw(root);
        EXPECT_EQ(0u, m_store.GetDir(0, "", -1));
        EXPECT_EQ(0u, m_store.CreateDir(0, "", -1));
        EXPECT_EQ(0u, m_store.SetInteger(0, "b", -1, 1, 0));
        EXPECT_EQ(0u, m_store.FindKey(0, "a", -1));
        EXPECT_EQ(0u, m_store.GetNextItem(0, 0));
        EXPECT_EQ(Hex(root), Hex(Body()));
        ExerciseEverything(root);
    }
}

TEST_F(ZVEnvDataMalformedTest, KeyWithoutANameTerminator) {
    const Bytes root = Root(Int("a", 1) + Bytes("\x07\x40"
                                                "abc",
                                                5));
    LoadRaw(root);
    EXPECT_EQ(0u, m_store.GetItemSize(53));
    EXPECT_EQ(0u, m_store.SkipKeyHead(53));
    int value = 77;
    EXPECT_EQ(0u, m_store.GetInteger(0, "abc", -1, &value));
    EXPECT_EQ(77, value);
    EXPECT_EQ(0, m_store.DeleteItem(53));
    EXPECT_EQ(45u, m_store.GetInteger(0, "a", -1, &value));
    EXPECT_EQ(1, value);
    EXPECT_EQ(Hex(root), Hex(Body()));
    ExerciseEverything(root);
}

TEST_F(ZVEnvDataMalformedTest, ItemsOfNoKnownType) {
    for (unsigned char type : {0, 15, 255}) {
        const Bytes root = Root(Int("a", 1) + Bytes(1, static_cast<char>(type)) +
                                Bytes("\x41"
                                      "a\0\0\0\0\0",
                                      7) +
                                Int("k", 2));
        LoadRaw(root);
        EXPECT_EQ(type, m_store.GetAttribute(53));
        EXPECT_EQ(0u, m_store.GetItemSize(53));
        EXPECT_EQ(0u, m_store.GetNextItem(0, 53));
        EXPECT_EQ(0u, m_store.FindKey(0, "k", -1));  // behind the item: out of reach
        EXPECT_EQ(45u, m_store.FindKey(0, "a", -1));
        EXPECT_EQ(0, m_store.DeleteItem(53));
        EXPECT_EQ(Hex(root), Hex(Body()));
        ExerciseEverything(root);
    }
}

TEST_F(ZVEnvDataMalformedTest, BinaryLengthRunningPastTheBuffer) {
    for (uint32_t length : {5u, 255u, 0x10000u, 0x7FFFFFFFu, 0xFFFFFFF9u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(length);
        const Bytes root = Root(Int("a", 1) + Head(ZVED_ITEM_BINARY, "b") + U32(length) + "xy");
        LoadRaw(root);
        EXPECT_EQ(0u, m_store.GetItemSize(53));
        void* data = reinterpret_cast<void*>(1);
        unsigned int size = 77;
        EXPECT_EQ(0u, m_store.GetBinData(0, "b", -1, &data, &size));
        EXPECT_EQ(0u, m_store.GetBinDataBuf(53, &data, &size));
        EXPECT_EQ(reinterpret_cast<void*>(1), data);
        EXPECT_EQ(77u, size);
        EXPECT_EQ(0u, m_store.SetBinData(0, "b", -1, "z", 1));  // its old size is unknown
        EXPECT_EQ(0u, m_store.SetInteger(0, "b", -1, 1, 0));
        EXPECT_EQ(0, m_store.DeleteItem(53));
        EXPECT_EQ(Hex(root), Hex(Body()));
        ExerciseEverything(root);
    }
}

TEST_F(ZVEnvDataMalformedTest, BinaryLengthFieldCut) {
    const Bytes root = Root(Int("a", 1) + Head(ZVED_ITEM_BINARY, "b") + Bytes("\x01\x00", 2));
    LoadRaw(root);
    void* data = nullptr;
    unsigned int size = 0;
    EXPECT_EQ(0u, m_store.GetBinData(0, "b", -1, &data, &size));
    EXPECT_EQ(0u, m_store.GetItemSize(53));
    ExerciseEverything(root);
}

TEST_F(ZVEnvDataMalformedTest, StringWithoutATerminator) {
    const Bytes root = Root(Int("a", 1) + Head(ZVED_ITEM_STRING, "s") + "hi");
    LoadRaw(root);
    EXPECT_EQ(0u, m_store.GetItemSize(53));
    char* text = reinterpret_cast<char*>(1);
    EXPECT_EQ(0u, m_store.GetString(0, "s", -1, &text));
    EXPECT_EQ(reinterpret_cast<char*>(1), text);
    EXPECT_EQ(0u, m_store.SetString(0, "s", -1, "x", -1));
    EXPECT_EQ(0, m_store.DeleteItem(53));
    EXPECT_EQ(Hex(root), Hex(Body()));
    ExerciseEverything(root);
}

TEST_F(ZVEnvDataMalformedTest, ValuesCutAtTheEndOfTheBuffer) {
    struct Case {
        Bytes item;
        const char* name;
    };
    const Case cases[] = {
        {Head(ZVED_ITEM_INTEGER, "i") + Bytes("\x01\x02", 2), "i"},
        {Head(ZVED_ITEM_HEX, "i") + Bytes("\x01\x02\x03", 3), "i"},
        {Head(ZVED_ITEM_REAL, "r") + Bytes("\x01\x02\x03\x04", 4), "r"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Hex(c.item));
        const Bytes root = Root(Int("a", 1) + c.item);
        LoadRaw(root);
        EXPECT_EQ(0u, m_store.GetItemSize(53));
        int value = 77;
        double real = 77.0;
        EXPECT_EQ(0u, m_store.GetInteger(0, c.name, -1, &value));
        EXPECT_EQ(0u, m_store.GetDouble(0, c.name, -1, &real));
        EXPECT_EQ(77, value);
        EXPECT_EQ(77.0, real);
        // Writing a value in place would write past the buffer.
        EXPECT_EQ(0u, m_store.SetInteger(0, c.name, -1, 5, 0));
        EXPECT_EQ(0u, m_store.SetDouble(0, c.name, -1, 5.0));
        EXPECT_EQ(Hex(root), Hex(Body()));
        ExerciseEverything(root);
    }
}

TEST_F(ZVEnvDataMalformedTest, CommentValueCutAtTheEndOfTheBuffer) {
    const Bytes root = Root(Int("a", 1) + Head(ZVED_ITEM_COMMENT, "c") + Bytes("\x01", 1));
    LoadRaw(root);
    EXPECT_EQ(0u, m_store.GetItemSize(53));
    EXPECT_EQ(0, m_store.DeleteItem(53));
    EXPECT_EQ(Hex(root), Hex(Body()));
    ExerciseEverything(root);
    // The same cut comment trailing the key.
    ExerciseEverything(Root(Int("a", 1) + Head(ZVED_ITEM_TRAILING_COMMENT, "c") + Bytes(1, 1)));
}

TEST_F(ZVEnvDataMalformedTest, DirectoryRunningPastTheBuffer) {
    const Bytes root = Root(Int("a", 1) + Patch(Dir("d", Int("x", 3)), 1, 100));
    LoadRaw(root);
    EXPECT_EQ(0u, m_store.GetItemSize(53));
    EXPECT_EQ(0u, m_store.GetNextItem(53, 0));
    EXPECT_EQ(0u, m_store.FindKey(53, "x", -1));
    EXPECT_EQ(0u, m_store.SetInteger(53, "y", -1, 1, 0));
    EXPECT_EQ(0u, m_store.CreateSubDir(53, "e", -1));
    EXPECT_EQ(0u, m_store.InsertItem(53, 1));
    EXPECT_EQ(0, m_store.DeleteItem(53));
    unsigned int trace[ZVED_MAX_DEPTH];
    EXPECT_EQ(0, m_store.GetDirTrace(61, trace));
    EXPECT_EQ(0, m_store.DeleteItem(61));
    EXPECT_EQ(Hex(root), Hex(Body()));
    ExerciseEverything(root);
}

TEST_F(ZVEnvDataMalformedTest, DirectoriesOfImpossibleSizes) {
    const Bytes cases[] = {
        Patch(Dir("d", ""), 1, 0),  // no size at all
        Patch(Dir("d", ""), 1, 3),  // shorter than its head
        Patch(Dir("d", ""), 1, 7),  // name terminator outside
        Bytes("\x05\x08\x00\x00\x00\x44"
              "dd",
              8),                                          // name without a terminator
        Patch(Dir("d", Int("x", 1)), 1, 8 + 8 + 8),        // covers the sibling behind it
        Patch(Dir("d", Int("x", 1)) + Int("y", 2), 1, 12)  // ends inside its child
    };
    for (const Bytes& dir : cases) {
        SCOPED_TRACE(Hex(dir));
        const Bytes root = Root(Int("a", 1) + dir + Int("z", 9));
        ExerciseEverything(root);
    }
}

TEST_F(ZVEnvDataMalformedTest, NestingDeeperThanTheStoreBuilds) {
    Bytes content = Int("k", 1) + Str("s", "v");
    for (int i = 0; i < 40; ++i) {
        content = Dir("a", content);
    }
    const Bytes root = Root(content);
    LoadRaw(root);
    std::string path = "a";
    for (int i = 1; i < 40; ++i) {
        path += "/a";
    }
    const unsigned int deepest = m_store.GetDir(0, path.c_str(), -1);
    ASSERT_NE(0u, deepest);
    int value = 0;
    const unsigned int key = m_store.GetInteger(deepest, "k", -1, &value);
    EXPECT_NE(0u, key);
    EXPECT_EQ(1, value);
    unsigned int trace[ZVED_MAX_DEPTH + 1];
    trace[ZVED_MAX_DEPTH] = 0xAAAAAAAAu;
    EXPECT_EQ(0, m_store.GetDirTrace(key, trace));
    EXPECT_EQ(0xAAAAAAAAu, trace[ZVED_MAX_DEPTH]);
    EXPECT_EQ(0, m_store.DeleteItem(key));
    EXPECT_EQ(0u, m_store.SetString(deepest, "k", -1, "x", -1));
    EXPECT_EQ(key, m_store.SetInteger(deepest, "k", -1, 2, 0));
    // The outermost directories can still be deleted, with everything in them.
    EXPECT_EQ(1, m_store.DeleteItem(45));
    EXPECT_EQ(Hex(Root("")), Hex(Body()));
    ExerciseEverything(root);
}

}  // namespace
