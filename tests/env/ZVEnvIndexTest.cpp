// The store's lookup index gives exactly what walking the children gives. A store of a derived
// class never uses the index (its operations may be replaced), so the same operations on a plain
// store and on a derived one must return the same results and leave the same bytes, step after
// step of long seeded sequences, on well-formed and on malformed buffers.
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "ZVEnvData.h"

namespace {

// Uses the library's operations unchanged; being a derived class is what makes it walk.
class WalkingStore : public CZVEnvData {};

std::string Buffer(const CZVEnvData& store) {
    return std::string(reinterpret_cast<const char*>(store.m_pData), store.m_dwDataSize);
}

// Every directory of a store, found by walking from the root.
void CollectDirs(CZVEnvData& store, unsigned int dir, std::vector<unsigned int>* dirs) {
    dirs->push_back(dir);
    for (unsigned int child = store.GetNextItem(dir, 0); child != 0;
         child = store.GetNextItem(dir, child)) {
        if (store.IsDirNoValidate(child)) {
            CollectDirs(store, child, dirs);
        }
    }
}

// Every item of a directory, walked.
std::vector<unsigned int> Children(CZVEnvData& store, unsigned int dir) {
    std::vector<unsigned int> items;
    for (unsigned int child = store.GetNextItem(dir, 0); child != 0;
         child = store.GetNextItem(dir, child)) {
        items.push_back(child);
    }
    return items;
}

class ZVEnvIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(envtest::OpenEmpty(m_indexed, "IndexedStore"));
        ASSERT_TRUE(envtest::OpenEmpty(m_walking, "WalkingStore"));
    }
    void TearDown() override {
        m_indexed.Lock(0);
        m_indexed.Close();
        m_walking.Lock(0);
        m_walking.Close();
    }

    // A name from a small alphabet, so that names repeat and differ only in case.
    std::string Name() {
        static const char* const kNames[] = {"a",    "A",  "b",  "net", "NET", "port",
                                             "Port", "x1", "_y", "[z]", "k.2", "motor"};
        return kNames[m_random() % (sizeof kNames / sizeof kNames[0])];
    }

    // One random operation on both stores; every result must agree.
    void Step(int step) {
        std::vector<unsigned int> dirs;
        CollectDirs(m_walking, ZVED_ROOT_DIR, &dirs);
        unsigned int dir = dirs[m_random() % dirs.size()];
        std::string name = Name();
        const char* n = name.c_str();
        std::vector<unsigned int> children = Children(m_walking, dir);
        unsigned int child = children.empty() ? dir : children[m_random() % children.size()];
        unsigned int trace1[16], trace2[16];
        int value1 = -1, value2 = -1;
        char *text1 = nullptr, *text2 = nullptr;
        std::string text(m_random() % 40, static_cast<char>('a' + step % 26));
        switch (m_random() % 16) {
            case 0:
                EXPECT_EQ(m_walking.CreateSubDir(dir, n, -1), m_indexed.CreateSubDir(dir, n, -1));
                break;
            case 1: {
                std::string path = name + "/" + Name();
                EXPECT_EQ(m_walking.CreateDir(dir, path.c_str(), -1),
                          m_indexed.CreateDir(dir, path.c_str(), -1));
                break;
            }
            case 2: {
                unsigned char radix = static_cast<unsigned char>(7 + m_random() % 7);
                EXPECT_EQ(m_walking.SetInteger(dir, n, -1, step, radix),
                          m_indexed.SetInteger(dir, n, -1, step, radix));
                break;
            }
            case 3:
                EXPECT_EQ(m_walking.SetString(dir, n, -1, text.c_str(), -1),
                          m_indexed.SetString(dir, n, -1, text.c_str(), -1));
                break;
            case 4: {
                unsigned int size = m_random() % 20;
                EXPECT_EQ(m_walking.SetBinData(dir, n, -1, nullptr, size),
                          m_indexed.SetBinData(dir, n, -1, nullptr, size));
                break;
            }
            case 5:
                EXPECT_EQ(m_walking.SetBoolean(dir, n, -1, step & 1),
                          m_indexed.SetBoolean(dir, n, -1, step & 1));
                break;
            case 6:
                EXPECT_EQ(m_walking.SetDouble(dir, n, -1, step * 0.5),
                          m_indexed.SetDouble(dir, n, -1, step * 0.5));
                break;
            case 7:
                EXPECT_EQ(m_walking.DeleteItem(child), m_indexed.DeleteItem(child));
                break;
            case 8:
                EXPECT_EQ(m_walking.InsertComment(dir, n, -1, step % 2 ? 4 : 14, 5),
                          m_indexed.InsertComment(dir, n, -1, step % 2 ? 4 : 14, 5));
                break;
            case 9:
                EXPECT_EQ(m_walking.GetInteger(dir, n, -1, &value1),
                          m_indexed.GetInteger(dir, n, -1, &value2));
                EXPECT_EQ(value1, value2);
                break;
            case 10:
                EXPECT_EQ(m_walking.GetString(dir, n, -1, &text1),
                          m_indexed.GetString(dir, n, -1, &text2));
                EXPECT_EQ(text1 != nullptr, text2 != nullptr);
                if (text1 != nullptr && text2 != nullptr) {
                    EXPECT_STREQ(text1, text2);
                }
                break;
            case 11:
                EXPECT_EQ(m_walking.FindDir(dir, n, -1), m_indexed.FindDir(dir, n, -1));
                EXPECT_EQ(m_walking.FindKey(dir, n, -1), m_indexed.FindKey(dir, n, -1));
                break;
            case 12: {
                int count = m_walking.GetDirTrace(child, trace1);
                ASSERT_EQ(count, m_indexed.GetDirTrace(child, trace2));
                for (int i = 0; i < count; ++i) {
                    EXPECT_EQ(trace1[i], trace2[i]);
                }
                break;
            }
            case 13: {
                std::string path = name + "/" + Name();
                EXPECT_EQ(m_walking.GetDir(0, path.c_str(), -1),
                          m_indexed.GetDir(0, path.c_str(), -1));
                break;
            }
            case 14:
                EXPECT_EQ(m_walking.LockDir(dir, step & 1), m_indexed.LockDir(dir, step & 1));
                break;
            default:
                // A lock cycle keeps what the index knows.
                ASSERT_EQ(1, m_indexed.Lock(0));
                ASSERT_EQ(1, m_indexed.Lock(1));
                break;
        }
        ASSERT_EQ(Buffer(m_walking), Buffer(m_indexed)) << "after step " << step;
    }

    CZVEnvData m_indexed;
    WalkingStore m_walking;
    std::mt19937 m_random{20261123u};
};

TEST_F(ZVEnvIndexTest, RandomOperationsGiveWhatTheWalkGives) {
    // The two stores stamp their headers at slightly different moments; compare trees only.
    for (int step = 0; step < 3000; ++step) {
        std::memcpy(m_indexed.m_pData, m_walking.m_pData, 38);
        Step(step);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_TRUE(envtest::TreeIsConsistent(m_indexed.m_pData, m_indexed.m_dwDataSize));
}

TEST_F(ZVEnvIndexTest, LookupsAfterAppendsFindTheNewChildren) {
    for (int i = 0; i < 200; ++i) {
        std::string key = "k" + std::to_string(i);
        ASSERT_NE(0u, m_indexed.SetInteger(0, key.c_str(), -1, i, 0));
        int value = -1;
        ASSERT_NE(0u, m_indexed.GetInteger(0, key.c_str(), -1, &value));
        EXPECT_EQ(i, value);
        EXPECT_EQ(0u, m_indexed.FindKey(0, ("m" + std::to_string(i)).c_str(), -1));
    }
}

TEST_F(ZVEnvIndexTest, DeletingTheFirstOfTwoEqualNamesFindsTheSecond) {
    // Two keys of one name can only come from a loaded buffer.
    using namespace envtest;
    Bytes root = Root(Int("a", 1) + Int("A", 2) + Int("b", 3));
    ASSERT_EQ(1, m_indexed.Reset(root.data(), static_cast<unsigned int>(root.size())));
    unsigned int first = m_indexed.FindKey(0, "a", -1);
    ASSERT_NE(0u, first);
    ASSERT_EQ(1, m_indexed.DeleteItem(first));
    int value = 0;
    ASSERT_NE(0u, m_indexed.GetInteger(0, "a", -1, &value));
    EXPECT_EQ(2, value);
}

TEST_F(ZVEnvIndexTest, MalformedChildEndsTheLookupAsItEndsTheWalk) {
    using namespace envtest;
    // A key whose value runs past its directory: the walk sees it and stops there.
    Bytes broken = Head(ZVED_ITEM_BINARY, "bad") + U32(1000);
    Bytes root = Root(Int("a", 1) + broken + Int("c", 3));
    for (CZVEnvData* store :
         {static_cast<CZVEnvData*>(&m_indexed), static_cast<CZVEnvData*>(&m_walking)}) {
        ASSERT_EQ(1, store->Reset(root.data(), static_cast<unsigned int>(root.size())));
    }
    for (const char* name : {"a", "bad", "c", "d"}) {
        EXPECT_EQ(m_walking.FindKey(0, name, -1), m_indexed.FindKey(0, name, -1)) << name;
    }
    EXPECT_NE(0u, m_indexed.FindKey(0, "bad", -1));
    EXPECT_EQ(0u, m_indexed.FindKey(0, "c", -1));
}

TEST_F(ZVEnvIndexTest, SizeWrittenFromOutsideDropsWhatTheIndexKnows) {
    unsigned int dir = m_indexed.CreateDir(0, "net", -1);
    ASSERT_NE(0u, dir);
    ASSERT_NE(0u, m_indexed.SetInteger(dir, "port", -1, 80, 0));
    ASSERT_NE(0u, m_indexed.FindKey(dir, "port", -1));
    // Shrinking the directory to its head hides the key from the walk, and so from the index.
    ASSERT_EQ(1, m_indexed.SetDirSize(dir, 10));
    EXPECT_EQ(0u, m_indexed.FindKey(dir, "port", -1));
}

TEST_F(ZVEnvIndexTest, ADerivedStoreOnlyWalks) {
    // The derived store's own name comparison is honoured: it never answers from an index.
    class CaseSensitiveStore : public CZVEnvData {
    public:
        int IsSameName(const char* a, int la, const char* b, int lb) override {
            return la == lb && std::memcmp(a, b, static_cast<size_t>(la)) == 0 ? 1 : 0;
        }
    } store;
    ASSERT_TRUE(envtest::OpenEmpty(store, "CaseSensitive"));
    ASSERT_NE(0u, store.SetInteger(0, "Port", -1, 1, 0));
    EXPECT_NE(0u, store.FindKey(0, "Port", -1));
    EXPECT_EQ(0u, store.FindKey(0, "port", -1));
    store.Lock(0);
    store.Close();
}

TEST_F(ZVEnvIndexTest, DamagedBuffersGiveWhatTheWalkGives) {
    // A tree built by the store, then a few bytes changed at random before each round: every
    // operation agrees on whatever the damage did.
    for (int i = 0; i < 80; ++i) {
        Step(i);
        ASSERT_FALSE(HasFatalFailure());
    }
    const std::string good = Buffer(m_walking).substr(38);
    for (int round = 0; round < 300; ++round) {
        std::string body = good;
        for (int hits = 1 + m_random() % 3; hits > 0; --hits) {
            body[m_random() % body.size()] =
                static_cast<char>(m_random() % 2 ? m_random() % 16 : m_random() % 256);
        }
        ASSERT_EQ(1, m_walking.Reset(body.data(), static_cast<unsigned int>(body.size())));
        ASSERT_EQ(1, m_indexed.Reset(body.data(), static_cast<unsigned int>(body.size())));
        for (int step = 0; step < 20; ++step) {
            std::memcpy(m_indexed.m_pData, m_walking.m_pData, 38);
            Step(round * 100 + step);
            ASSERT_FALSE(HasFatalFailure()) << "round " << round;
        }
    }
}

}  // namespace
