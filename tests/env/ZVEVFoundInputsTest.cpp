// Inputs the fuzz targets found that once misbehaved: each test replays what the input did
// through the ZVEV functions and pins the documented result and last-error code. The inputs
// themselves lie in fuzz/corpus/ and are replayed by every build too.
#include <string>

#include <gtest/gtest.h>

#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace {

class ZVEVFoundInputsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(1, ZVEVOpenFile(m_dir.File("found.env").c_str(), &m_h)); }
    void TearDown() override { EXPECT_EQ(1, ZVEVClose(m_h)); }

    zvtest::TempDir m_dir;
    ZVEV_HANDLE m_h = nullptr;
};

// fuzz/corpus/FuzzEnvOps/empty-assigned-dir: an empty assigned directory is the root, looked up
// again and again through the index's memory of paths without copying or comparing any text.
TEST_F(ZVEVFoundInputsTest, EmptyAssignedDirectoryIsTheRoot) {
    EXPECT_RESULT_CODE(1, ZVEVAssignDir(m_h, ""), kNoCode);
    EXPECT_RESULT_CODE(0, ZVEVGetAssignedDir(m_h, nullptr, 0), kNoCode);
    EXPECT_RESULT_CODE(1, ZVEVSetDouble(m_h, "[b", 0.25), kNoCode);
    EXPECT_RESULT_CODE(0.25, ZVEVGetDouble(m_h, "[b", 2.5), kNoCode);
    EXPECT_RESULT_CODE(0.25, ZVEVGetDouble(m_h, "[B", 2.5), kNoCode);
    EXPECT_RESULT_CODE(0.25, ZVEVGetDouble(m_h, "/[b", 2.5), kNoCode);
    EXPECT_RESULT_CODE(2.5, ZVEVGetDouble(m_h, "missing", 2.5), TARN_ERR_KEY_NOT_EXIST);
    EXPECT_RESULT_CODE(7, ZVEVGetInteger(m_h, "[b", 7), TARN_ERR_KEY_NOT_EXIST);
    EXPECT_RESULT_CODE(1, ZVEVSetInteger(m_h, "n", 5), kNoCode);
    EXPECT_RESULT_CODE(5, ZVEVGetInteger(m_h, "/n", 7), kNoCode);
    EXPECT_RESULT_CODE(5, ZVEVGetInteger(m_h, "n", 7), kNoCode);
}

}  // namespace
