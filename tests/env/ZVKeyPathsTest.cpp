// The typed getters of an environment file object of the library's own class resolve a key path
// in one pass; a derived class resolves it through PrepareKey and the store's getters. Both must
// return the same value and leave the same last-error code for every key path: absolute and
// relative ones, with and without an assigned directory, runs of slashes, names in any case,
// invalid names, missing directories and keys of every type.
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvFile.h"

namespace {

class LongWay : public CZVEnvFile {};

class ZVKeyPathsTest : public ::testing::Test {
protected:
    void SetUp() override {
        CZVEnvFile writer;
        m_path = m_dir.File("paths.env");
        ASSERT_EQ(1, writer.OpenFile(m_path.c_str()));
        ASSERT_EQ(1, writer.SetInteger("/net/port", 80));
        ASSERT_EQ(1, writer.SetDouble("/net/gain", 1.5));
        ASSERT_EQ(1, writer.SetBoolean("/net/on", 1));
        ASSERT_EQ(1, writer.SetString("/net/name", "eth0"));
        const unsigned char bytes[3] = {1, 2, 3};
        ASSERT_EQ(1, writer.SetData("/net/mac", bytes, 3));
        ASSERT_EQ(1, writer.SetInteger("/net/eth0/mtu", 1500));
        ASSERT_EQ(1, writer.SetInteger("/top", 7));
        ASSERT_EQ(1, writer.SetString("/motor/axis1/unit", "mm"));
        ASSERT_EQ(1, writer.Flush());
        ASSERT_EQ(1, writer.Close());
        ASSERT_EQ(1, m_quick.OpenFile(m_path.c_str()));
        ASSERT_EQ(1, m_long.OpenFile(m_path.c_str()));
    }

    std::string Segment() {
        static const char* const kSegments[] = {"net", "NET",  "eth0", "motor", "axis1",
                                                "x",   "1bad", "a-b",  "",      "Net"};
        return kSegments[m_random() % 10];
    }

    std::string Key() {
        static const char* const kKeys[] = {"port", "PORT", "gain", "on",   "name", "mac",
                                            "mtu",  "top",  "unit", "nope", "",     "9x"};
        return kKeys[m_random() % 12];
    }

    std::string Path() {
        std::string path = m_random() % 2 ? "/" : "";
        for (int n = static_cast<int>(m_random() % 3); n > 0; --n) {
            path += Segment();
            path += m_random() % 4 == 0 ? "//" : "/";
        }
        return path + Key();
    }

    template <typename Call>
    void Compare(const std::string& key, Call call) {
        TarnSetLastError(zvtest::kSentinelError);
        auto a = call(m_quick);
        unsigned int codeA = TarnGetLastError();
        TarnSetLastError(zvtest::kSentinelError);
        auto b = call(m_long);
        unsigned int codeB = TarnGetLastError();
        ASSERT_EQ(b, a) << key;
        ASSERT_EQ(codeB, codeA) << key;
    }

    void CompareAll(const std::string& key) {
        const char* k = key.c_str();
        Compare(key, [k](CZVEnvFile& f) { return f.GetInteger(k, -9); });
        Compare(key, [k](CZVEnvFile& f) { return f.GetDouble(k, -9.5); });
        Compare(key, [k](CZVEnvFile& f) { return f.GetBoolean(k, -9); });
        Compare(key, [k](CZVEnvFile& f) {
            char buffer[8];
            int n = f.GetString(k, buffer, sizeof buffer, "dflt");
            return std::to_string(n) + ":" + buffer;
        });
        Compare(key, [k](CZVEnvFile& f) {
            unsigned char buffer[4] = {0, 0, 0, 0};
            int n = f.GetData(k, buffer, sizeof buffer);
            return std::to_string(n) + ":" + std::to_string(buffer[0]) + std::to_string(buffer[2]);
        });
    }

    zvtest::TempDir m_dir;
    std::string m_path;
    CZVEnvFile m_quick;
    LongWay m_long;
    std::mt19937 m_random{99u};
};

TEST_F(ZVKeyPathsTest, GettersGiveTheSameValuesAndCodesBothWays) {
    for (int round = 0; round < 1500; ++round) {
        switch (round % 300) {
            case 0:
                ASSERT_EQ(1, m_quick.AssignDir(nullptr));
                ASSERT_EQ(1, m_long.AssignDir(nullptr));
                break;
            case 100:
                ASSERT_EQ(1, m_quick.AssignDir("net"));
                ASSERT_EQ(1, m_long.AssignDir("net"));
                break;
            case 200: {
                const char* assigned = round % 600 == 200 ? "/motor//axis1/" : "nowhere";
                ASSERT_EQ(1, m_quick.AssignDir(assigned));
                ASSERT_EQ(1, m_long.AssignDir(assigned));
                break;
            }
            default:
                break;
        }
        CompareAll(Path());
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ZVKeyPathsTest, ClosedObjectsGiveTheSameCodesBothWays) {
    ASSERT_EQ(1, m_quick.Close());
    ASSERT_EQ(1, m_long.Close());
    CompareAll("/net/port");
    CompareAll("net/");
    CompareAll("");
}

}  // namespace
