// CZVEnvData under a long pseudo-random sequence of inserts, sets, resizes and deletes (fixed
// seed): after every step the root's size is the data size minus 38, every directory's size is
// its head plus its children, and every key holds what a model of the tree says it holds.
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvDataCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

using envtest::Bytes;
using envtest::Hex;

// What one key holds: its type byte and the value of that type.
struct ModelKey {
    unsigned char type;
    int32_t integer;
    double real;
    Bytes bytes;  // text of a string key, bytes of a binary key
};

// A directory: keys and subdirectories by their upper-case names.
struct ModelDir {
    std::map<std::string, ModelKey> keys;
    std::map<std::string, ModelDir> dirs;
};

std::string Upper(const std::string& name) {
    std::string out = name;
    for (char& c : out) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 32);
        }
    }
    return out;
}

bool IsInteger(unsigned char type) {
    return type == ZVED_ITEM_INTEGER || type == ZVED_ITEM_HEX || type == ZVED_ITEM_OCT ||
           type == ZVED_ITEM_BIN;
}

// xorshift32: the same numbers on every build.
class Random {
public:
    explicit Random(uint32_t seed) : m_state(seed) {}
    uint32_t Next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    uint32_t Below(uint32_t n) { return Next() % n; }

private:
    uint32_t m_state;
};

class ZVEnvDataSequenceTest : public envtest::EnvDataTest {
protected:
    static constexpr size_t kMaxDepth = 4;

    // A random spelling of a name from a small pool, so that names meet again in other cases.
    std::string RandomName() {
        static const char* const pool[] = {"a", "b", "c1", "dd", "e_e", "f.g", "H", "k[1]"};
        std::string name = pool[m_random.Below(8)];
        for (char& c : name) {
            if (((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) && m_random.Below(2) == 0) {
                c = static_cast<char>(c ^ 0x20);
            }
        }
        return name;
    }

    Bytes RandomBytes(uint32_t maxLength, bool text) {
        Bytes out;
        const uint32_t length = m_random.Below(maxLength + 1);
        for (uint32_t i = 0; i < length; ++i) {
            out += text ? static_cast<char>(' ' + m_random.Below(95))
                        : static_cast<char>(m_random.Below(256));
        }
        return out;
    }

    // Every directory of the model with its path, the root first.
    void CollectDirs(ModelDir& dir, const std::string& path, size_t depth) {
        m_dirs.push_back({path, &dir, depth});
        for (auto& entry : dir.dirs) {
            CollectDirs(entry.second, path + "/" + entry.first, depth + 1);
        }
    }

    struct DirRef {
        std::string path;
        ModelDir* model;
        size_t depth;
    };

    unsigned int OffsetOf(const DirRef& dir) {
        const unsigned int offset = m_store.GetDir(0, dir.path.c_str(), -1);
        EXPECT_NE(0u, offset) << dir.path;
        return offset;
    }

    // One random step on a random directory.
    void Step() {
        m_dirs.clear();
        CollectDirs(m_model, "", 0);
        const DirRef dir = m_dirs[m_random.Below(static_cast<uint32_t>(m_dirs.size()))];
        const unsigned int at = OffsetOf(dir);
        const std::string name = RandomName();
        const std::string key = Upper(name);
        auto existing = dir.model->keys.find(key);
        const bool exists = existing != dir.model->keys.end();
        uint32_t op = m_random.Below(100);
        if (m_store.m_dwDataSize > 24000) {
            op = 90 + m_random.Below(10);  // keep the tree from growing without end
        }

        if (op < 20) {
            static const unsigned char radixes[] = {0, 7, 11, 12, 13, 9};
            const unsigned char radix = radixes[m_random.Below(6)];
            const int32_t value = static_cast<int32_t>(m_random.Next());
            ASSERT_NE(0u, m_store.SetInteger(at, name.c_str(), -1, value, radix));
            const bool given = radix == 7 || radix == 11 || radix == 12 || radix == 13;
            unsigned char type = ZVED_ITEM_INTEGER;
            if (given) {
                type = radix;
            } else if (exists && IsInteger(existing->second.type)) {
                type = existing->second.type;
            }
            dir.model->keys[key] = {type, value, 0, Bytes()};
        } else if (op < 30) {
            const double value = static_cast<int32_t>(m_random.Next()) / 1024.0;
            ASSERT_NE(0u, m_store.SetDouble(at, name.c_str(), -1, value));
            dir.model->keys[key] = {ZVED_ITEM_REAL, 0, value, Bytes()};
        } else if (op < 40) {
            const int value = static_cast<int>(m_random.Below(3));
            ASSERT_NE(0u, m_store.SetBoolean(at, name.c_str(), -1, value));
            dir.model->keys[key] = {
                static_cast<unsigned char>(value ? ZVED_ITEM_TRUE : ZVED_ITEM_FALSE), 0, 0,
                Bytes()};
        } else if (op < 55) {
            const Bytes text = RandomBytes(40, true);
            ASSERT_NE(0u, m_store.SetString(at, name.c_str(), -1, text.c_str(), -1));
            dir.model->keys[key] = {ZVED_ITEM_STRING, 0, 0, text};
        } else if (op < 65) {
            Bytes data = RandomBytes(60, false);
            const bool zeros = m_random.Below(4) == 0;
            ASSERT_NE(0u, m_store.SetBinData(at, name.c_str(), -1, zeros ? nullptr : data.data(),
                                             static_cast<unsigned int>(data.size())));
            if (zeros) {
                data.assign(data.size(), '\0');
            }
            dir.model->keys[key] = {ZVED_ITEM_BINARY, 0, 0, data};
        } else if (op < 73) {
            if (dir.depth < kMaxDepth) {
                ASSERT_NE(0u, m_store.CreateSubDir(at, name.c_str(), -1));
                dir.model->dirs[key];
            }
        } else if (op < 81) {
            const Bytes text = RandomBytes(30, true);
            const unsigned char type =
                m_random.Below(2) ? ZVED_ITEM_COMMENT : ZVED_ITEM_TRAILING_COMMENT;
            ASSERT_NE(0u, m_store.InsertComment(at, text.c_str(), -1, type,
                                                static_cast<unsigned short>(m_random.Next())));
        } else if (op < 86) {
            if (exists) {
                const unsigned int item = m_store.FindKey(at, name.c_str(), -1);
                const unsigned int size = m_store.GetItemSize(item);
                ASSERT_NE(0u, size);
                ASSERT_EQ(1, m_store.ResizeItem(item, size, size + 1 + m_random.Below(5)));
            }
        } else if (op < 90) {
            // Shrink a key and turn what is left of it into filler bytes, as a caller would.
            if (exists) {
                const unsigned int item = m_store.FindKey(at, name.c_str(), -1);
                const unsigned int size = m_store.GetItemSize(item);
                ASSERT_NE(0u, size);
                const unsigned int left = 1 + m_random.Below(size - 1);
                ASSERT_EQ(1, m_store.ResizeItem(item, size, left));
                memset(m_store.m_pData + item, ZVED_ITEM_FILLER, left);
                dir.model->keys.erase(existing);
            }
        } else if (op < 97) {
            if (exists) {
                ASSERT_EQ(1, m_store.DeleteItem(m_store.FindKey(at, name.c_str(), -1)));
                dir.model->keys.erase(existing);
            }
        } else if (op < 99) {
            if (dir.depth > 0) {
                ASSERT_EQ(1, m_store.DeleteItem(at));
                const size_t slash = dir.path.rfind('/');
                const DirRef* parent = nullptr;
                for (const DirRef& d : m_dirs) {
                    if (d.path == dir.path.substr(0, slash)) {
                        parent = &d;
                    }
                }
                ASSERT_NE(nullptr, parent);
                parent->model->dirs.erase(dir.path.substr(slash + 1));
            }
        } else {
            ASSERT_EQ(1, m_store.LockDir(at, m_random.Below(2)));
        }
    }

    // Every directory and key of the model is in the store with its value, and nothing more.
    void ExpectModel(const ModelDir& model, const std::string& path) {
        const unsigned int dir = m_store.GetDir(0, path.c_str(), -1);
        ASSERT_NE(0u, dir) << path;
        size_t keys = 0;
        size_t dirs = 0;
        for (unsigned int item = m_store.GetNextItem(dir, 0); item != 0;
             item = m_store.GetNextItem(dir, item)) {
            keys += m_store.IsKey(item);
            dirs += m_store.IsDir(item);
        }
        EXPECT_EQ(model.keys.size(), keys) << path;
        EXPECT_EQ(model.dirs.size(), dirs) << path;
        for (const auto& entry : model.keys) {
            const char* name = entry.first.c_str();
            const ModelKey& expected = entry.second;
            const unsigned int item = m_store.FindKey(dir, name, -1);
            ASSERT_NE(0u, item) << path << "/" << name;
            EXPECT_EQ(expected.type, m_store.GetAttribute(item)) << path << "/" << name;
            int value = 0;
            double real = 0;
            char* text = nullptr;
            void* data = nullptr;
            unsigned int size = 0;
            if (IsInteger(expected.type)) {
                EXPECT_EQ(item, m_store.GetInteger(dir, name, -1, &value));
                EXPECT_EQ(expected.integer, value) << path << "/" << name;
            } else if (expected.type == ZVED_ITEM_REAL) {
                EXPECT_EQ(item, m_store.GetDouble(dir, name, -1, &real));
                EXPECT_EQ(expected.real, real) << path << "/" << name;
            } else if (expected.type == ZVED_ITEM_STRING) {
                EXPECT_EQ(item, m_store.GetString(dir, name, -1, &text));
                EXPECT_EQ(expected.bytes, std::string(text)) << path << "/" << name;
            } else if (expected.type == ZVED_ITEM_BINARY) {
                EXPECT_EQ(item, m_store.GetBinData(dir, name, -1, &data, &size));
                EXPECT_EQ(Hex(expected.bytes), Hex(Bytes(static_cast<char*>(data), size)))
                    << path << "/" << name;
            } else {
                EXPECT_EQ(item, m_store.GetBoolean(dir, name, -1, &value));
                EXPECT_EQ(expected.type == ZVED_ITEM_TRUE ? 1 : 0, value) << path << "/" << name;
            }
        }
        for (const auto& entry : model.dirs) {
            ExpectModel(entry.second, path + "/" + entry.first);
        }
    }

    Random m_random{0x2545F491u};
    ModelDir m_model;
    std::vector<DirRef> m_dirs;
};

TEST_F(ZVEnvDataSequenceTest, EveryDirectorySizeStaysRightThroughARandomSequence) {
    const int steps = 4000;
    for (int step = 0; step < steps; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        ASSERT_NO_FATAL_FAILURE(Step());
        ASSERT_TRUE(Consistent());
        ASSERT_NO_FATAL_FAILURE(ExpectModel(m_model, ""));
        if (HasFailure()) {
            break;
        }
    }
    // The sequence did reach a tree of some size and depth.
    size_t dirs = 0;
    m_dirs.clear();
    CollectDirs(m_model, "", 0);
    for (const DirRef& dir : m_dirs) {
        dirs += dir.depth == kMaxDepth ? 1 : 0;
    }
    EXPECT_GT(m_store.m_dwDataSize, 2000u);
    EXPECT_GT(dirs, 0u);
}

}  // namespace
