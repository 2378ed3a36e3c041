// Helpers shared by the environment data store tests: item encoders written independently of the
// store (so expected buffers are built byte by byte here), an independent walker that checks every
// directory's size, and a fixture holding an opened, locked and reset store.
#ifndef ZV_TESTS_ENVDATACHECK_H
#define ZV_TESTS_ENVDATACHECK_H

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "ZVEnvData.h"

namespace envtest {

// Item bytes as a string (embedded zero bytes allowed).
using Bytes = std::string;

// Little-endian encodings.
Bytes U16(uint16_t value);
Bytes U32(uint32_t value);
Bytes F64(double value);

// The name checksum: XOR of the bytes, 'a'-'z' folded to upper case.
unsigned char Sum(const std::string& name);

// Type, sum, name and its terminator: the head of a key or comment.
Bytes Head(unsigned char type, const std::string& name);
// One item of each kind, laid out as the buffer holds it.
Bytes Dir(const std::string& name, const Bytes& children, unsigned char type = ZVED_ITEM_DIR);
Bytes Root(const Bytes& children);
Bytes Int(const std::string& name, int32_t value, unsigned char type = ZVED_ITEM_INTEGER);
Bytes Real(const std::string& name, double value);
Bytes Bool(const std::string& name, bool value);
Bytes Str(const std::string& name, const std::string& text);
Bytes Bin(const std::string& name, const Bytes& data);
Bytes Comment(const std::string& text, uint16_t value, unsigned char type = ZVED_ITEM_COMMENT);
Bytes Fillers(size_t count);

// The bytes as space-separated hex, for readable failure messages.
std::string Hex(const Bytes& bytes);

// Checks the tree of an item buffer without using the store: the root sits at 38 and runs to the
// end, every directory's size is its head plus its children, every item is well formed and every
// sum byte matches its name.
::testing::AssertionResult TreeIsConsistent(const unsigned char* data, unsigned int size);

// Opens store on name (owner key kOwnerKey), locks it and resets it to an empty tree.
::testing::AssertionResult OpenEmpty(CZVEnvData& store, const char* name);

class EnvDataTest : public ::testing::Test {
protected:
    // Opens a store on a shared name, locks it and resets it to an empty tree, then stores the
    // sentinel last error.
    void SetUp() override;
    void TearDown() override;

    // Bytes of the buffer: the header record, and the root directory with everything in it.
    Bytes HeaderBytes() const;
    Bytes Body() const;
    uint32_t U32At(unsigned int offset) const;
    int32_t HeaderTime() const;
    void SetHeaderTime(int32_t value);

    // Replaces the tree with the given root directory item.
    void LoadRoot(const Bytes& root);
    // Fills the mapping behind the data with non-zero bytes, so that a scan that runs past the
    // data size finds no terminator and reads types that would change the results.
    void PoisonTail(unsigned char byte = 'A');
    // Clears the access-time-stamped flag as Open does, and puts a marker time into the header.
    void ForgetStamp();
    static int32_t MarkerTime();

    ::testing::AssertionResult Consistent() const;

    CZVEnvData m_store;
};

// Name of the shared block the fixture opens, and its owner key.
extern const char* const kSharedName;
extern const char* const kOwnerKey;

}  // namespace envtest

// The body of the buffer equals the expected root, shown as hex on failure.
#define EXPECT_BODY(expected)                                                  \
    do {                                                                       \
        const ::envtest::Bytes expectedBody_ = (expected);                     \
        const ::envtest::Bytes actualBody_ = Body();                           \
        EXPECT_EQ(::envtest::Hex(expectedBody_), ::envtest::Hex(actualBody_)); \
        EXPECT_EQ(38u + expectedBody_.size(), m_store.m_dwDataSize);           \
    } while (0)

#endif  // ZV_TESTS_ENVDATACHECK_H
