#include "EnvDataCheck.h"

#include <cstdio>
#include <cstring>

#include "TarnError.h"
#include "TestSupport.h"

namespace envtest {

const char* const kSharedName = "ZVEnvDataTest";
const char* const kOwnerKey = "owner-key";

Bytes U16(uint16_t value) {
    Bytes out(2, '\0');
    out[0] = static_cast<char>(value & 0xFF);
    out[1] = static_cast<char>(value >> 8);
    return out;
}

Bytes U32(uint32_t value) {
    Bytes out(4, '\0');
    for (int i = 0; i < 4; ++i) {
        out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    return out;
}

Bytes F64(double value) {
    uint64_t bits = 0;
    memcpy(&bits, &value, sizeof bits);
    Bytes out(8, '\0');
    for (int i = 0; i < 8; ++i) {
        out[i] = static_cast<char>((bits >> (8 * i)) & 0xFF);
    }
    return out;
}

unsigned char Sum(const std::string& name) {
    unsigned char sum = 0;
    for (char c : name) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (byte >= 'a' && byte <= 'z') {
            byte = static_cast<unsigned char>(byte - 32);
        }
        sum ^= byte;
    }
    return sum;
}

Bytes Head(unsigned char type, const std::string& name) {
    Bytes out;
    out += static_cast<char>(type);
    out += static_cast<char>(Sum(name));
    out += name;
    out += '\0';
    return out;
}

Bytes Dir(const std::string& name, const Bytes& children, unsigned char type) {
    Bytes out;
    out += static_cast<char>(type);
    out += U32(static_cast<uint32_t>(name.size() + 7 + children.size()));
    out += static_cast<char>(Sum(name));
    out += name;
    out += '\0';
    out += children;
    return out;
}

Bytes Root(const Bytes& children) {
    return Dir("", children);
}

Bytes Int(const std::string& name, int32_t value, unsigned char type) {
    return Head(type, name) + U32(static_cast<uint32_t>(value));
}

Bytes Real(const std::string& name, double value) {
    return Head(ZVED_ITEM_REAL, name) + F64(value);
}

Bytes Bool(const std::string& name, bool value) {
    return Head(value ? ZVED_ITEM_TRUE : ZVED_ITEM_FALSE, name);
}

Bytes Str(const std::string& name, const std::string& text) {
    return Head(ZVED_ITEM_STRING, name) + text + Bytes(1, '\0');
}

Bytes Bin(const std::string& name, const Bytes& data) {
    return Head(ZVED_ITEM_BINARY, name) + U32(static_cast<uint32_t>(data.size())) + data;
}

Bytes Comment(const std::string& text, uint16_t value, unsigned char type) {
    return Head(type, text) + U16(value);
}

Bytes Fillers(size_t count) {
    return Bytes(count, static_cast<char>(ZVED_ITEM_FILLER));
}

std::string Hex(const Bytes& bytes) {
    std::string out;
    char digits[4];
    for (size_t i = 0; i < bytes.size(); ++i) {
        snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(bytes[i]));
        if (i != 0) {
            out += ' ';
        }
        out += digits;
    }
    return out;
}

namespace {

uint32_t ReadU32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// Walks the tree from the root and reports the first inconsistency.
class TreeWalker {
public:
    TreeWalker(const unsigned char* data, unsigned int size) : m_data(data), m_size(size) {}

    bool CheckDir(unsigned int dir, int depth) {
        if (depth > kMaxWalkDepth) {
            return Fail(dir, "nested too deep to walk");
        }
        if (dir + 5 > m_size) {
            return Fail(dir, "directory head runs past the data");
        }
        const unsigned int size = ReadU32(m_data + dir + 1);
        if (size > m_size - dir) {
            return Fail(dir, "directory size runs past the data");
        }
        const unsigned int end = dir + size;
        unsigned int nameEnd = 0;
        if (!FindZero(dir + 6, end, &nameEnd)) {
            return Fail(dir, "directory name has no terminator inside the directory");
        }
        const std::string name(reinterpret_cast<const char*>(m_data + dir + 6), nameEnd - dir - 6);
        if (m_data[dir + 5] != Sum(name)) {
            return Fail(dir, "directory sum byte does not match its name");
        }
        unsigned int child = nameEnd + 1;
        while (child < end) {
            const unsigned char type = m_data[child];
            unsigned int childSize = 0;
            if (type == ZVED_ITEM_DIR || type == ZVED_ITEM_LOCKED_DIR) {
                if (!CheckDir(child, depth + 1)) {
                    return false;
                }
                childSize = ReadU32(m_data + child + 1);
            } else if (!CheckItem(child, end, &childSize)) {
                return false;
            }
            child += childSize;
        }
        if (child != end) {
            return Fail(dir, "children do not add up to the directory size");
        }
        return true;
    }

    std::string Message() const { return m_message; }

private:
    // Only a loaded buffer can nest deeper than the store builds; this bounds the recursion.
    static constexpr int kMaxWalkDepth = 1000;

    bool Fail(unsigned int offset, const char* what) {
        m_message = std::string(what) + " at offset " + std::to_string(offset);
        return false;
    }

    bool FindZero(unsigned int from, unsigned int end, unsigned int* at) const {
        for (unsigned int i = from; i < end; ++i) {
            if (m_data[i] == 0) {
                *at = i;
                return true;
            }
        }
        return false;
    }

    bool CheckItem(unsigned int item, unsigned int end, unsigned int* size) {
        const unsigned char type = m_data[item];
        if (type == ZVED_ITEM_FILLER) {
            *size = 1;
            return true;
        }
        unsigned int nameEnd = 0;
        if (type == 0 || type > ZVED_ITEM_TRAILING_COMMENT || !FindZero(item + 2, end, &nameEnd)) {
            return Fail(item, "not a well-formed item");
        }
        const std::string name(reinterpret_cast<const char*>(m_data + item + 2),
                               nameEnd - item - 2);
        if (m_data[item + 1] != Sum(name)) {
            return Fail(item, "sum byte does not match the name");
        }
        unsigned long long value = nameEnd + 1ull;
        switch (type) {
            case ZVED_ITEM_BINARY:
                if (value + 4 > end) {
                    return Fail(item, "binary length runs past its directory");
                }
                value += 4ull + ReadU32(m_data + value);
                break;
            case ZVED_ITEM_FALSE:
            case ZVED_ITEM_TRUE:
                break;
            case ZVED_ITEM_COMMENT:
            case ZVED_ITEM_TRAILING_COMMENT:
                value += 2;
                break;
            case ZVED_ITEM_REAL:
                value += 8;
                break;
            case ZVED_ITEM_STRING: {
                unsigned int textEnd = 0;
                if (!FindZero(static_cast<unsigned int>(value), end, &textEnd)) {
                    return Fail(item, "string has no terminator inside its directory");
                }
                value = textEnd + 1ull;
                break;
            }
            default:
                value += 4;
                break;
        }
        if (value > end) {
            return Fail(item, "item runs past its directory");
        }
        *size = static_cast<unsigned int>(value - item);
        return true;
    }

    const unsigned char* m_data;
    unsigned int m_size;
    std::string m_message;
};

}  // namespace

::testing::AssertionResult TreeIsConsistent(const unsigned char* data, unsigned int size) {
    if (data == nullptr || size < ZVED_ROOT_DIR + 7) {
        return ::testing::AssertionFailure() << "no tree: data size " << size;
    }
    const unsigned char rootType = data[ZVED_ROOT_DIR];
    if (rootType != ZVED_ITEM_DIR && rootType != ZVED_ITEM_LOCKED_DIR) {
        return ::testing::AssertionFailure() << "the root is of type " << int(rootType);
    }
    const uint32_t rootSize = ReadU32(data + ZVED_ROOT_DIR + 1);
    if (rootSize != size - ZVED_ROOT_DIR) {
        return ::testing::AssertionFailure()
               << "root size " << rootSize << " but data size " << size << " - 38";
    }
    TreeWalker walker(data, size);
    if (!walker.CheckDir(ZVED_ROOT_DIR, 1)) {
        return ::testing::AssertionFailure() << walker.Message();
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult OpenEmpty(CZVEnvData& store, const char* name) {
    if (store.Open(name, kOwnerKey) != 1) {
        return ::testing::AssertionFailure() << "Open(" << name << ") failed";
    }
    if (store.Lock(1) != 1 || store.Reset(nullptr, 0) != 1 || store.m_dwDataSize != 45) {
        return ::testing::AssertionFailure() << "no empty tree in " << name;
    }
    return ::testing::AssertionSuccess();
}

void EnvDataTest::SetUp() {
    zvtest::UseUtc();
    ASSERT_TRUE(OpenEmpty(m_store, kSharedName));
    TarnSetLastError(zvtest::kSentinelError);
}

void EnvDataTest::TearDown() {
    EXPECT_EQ(1, m_store.Lock(0));
    EXPECT_EQ(1, m_store.Close());
}

Bytes EnvDataTest::HeaderBytes() const {
    if (m_store.m_pData == nullptr || m_store.m_dwDataSize < ZVED_ROOT_DIR) {
        return Bytes();
    }
    return Bytes(reinterpret_cast<const char*>(m_store.m_pData), ZVED_ROOT_DIR);
}

Bytes EnvDataTest::Body() const {
    if (m_store.m_pData == nullptr || m_store.m_dwDataSize < ZVED_ROOT_DIR) {
        return Bytes();
    }
    return Bytes(reinterpret_cast<const char*>(m_store.m_pData) + ZVED_ROOT_DIR,
                 m_store.m_dwDataSize - ZVED_ROOT_DIR);
}

uint32_t EnvDataTest::U32At(unsigned int offset) const {
    return ReadU32(m_store.m_pData + offset);
}

int32_t EnvDataTest::HeaderTime() const {
    return static_cast<int32_t>(U32At(8));
}

void EnvDataTest::SetHeaderTime(int32_t value) {
    const Bytes bytes = U32(static_cast<uint32_t>(value));
    memcpy(m_store.m_pData + 8, bytes.data(), 4);
}

void EnvDataTest::LoadRoot(const Bytes& root) {
    ASSERT_EQ(1, m_store.Reset(root.data(), static_cast<unsigned int>(root.size())));
    ASSERT_EQ(ZVED_ROOT_DIR + root.size(), m_store.m_dwDataSize);
    ASSERT_EQ(Hex(root), Hex(Body()));
}

void EnvDataTest::PoisonTail(unsigned char byte) {
    const unsigned int capacity = m_store.m_SharedData.m_DataMap.m_dwLength;
    ASSERT_LE(m_store.m_dwDataSize, capacity);
    memset(m_store.m_pData + m_store.m_dwDataSize, byte, capacity - m_store.m_dwDataSize);
}

int32_t EnvDataTest::MarkerTime() {
    return static_cast<int32_t>(zvtest::Utc(2001, 2, 3, 4, 5, 6));
}

void EnvDataTest::ForgetStamp() {
    m_store.m_bAccessTimeStamped = 0;
    SetHeaderTime(MarkerTime());
}

::testing::AssertionResult EnvDataTest::Consistent() const {
    return TreeIsConsistent(m_store.m_pData, m_store.m_dwDataSize);
}

}  // namespace envtest
