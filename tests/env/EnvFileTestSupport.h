// Helpers shared by the environment-file tests: the last-error pattern, reading enumeration
// snapshots entry by entry, the files the tests write by hand and the ones the library writes.
#ifndef ZV_ENV_FILE_TEST_SUPPORT_H
#define ZV_ENV_FILE_TEST_SUPPORT_H

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVTypes.h"

// Stores the sentinel last error before the call under test.
inline void Arm() {
    TarnSetLastError(zvtest::kSentinelError);
}

// The call under test left exactly this last-error code.
#define EXPECT_CODE(code) EXPECT_EQ(static_cast<unsigned int>(code), TarnGetLastError())
// The call under test left the sentinel alone.
#define EXPECT_NO_CODE() EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError())
// The code of a call that sets none: the sentinel stays.
constexpr unsigned int kNoCode = zvtest::kSentinelError;
// Stores the sentinel, makes the call, and checks its exact result and the code it left.
#define EXPECT_RESULT_CODE(result, call, code) \
    do {                                       \
        Arm();                                 \
        EXPECT_EQ(result, call);               \
        EXPECT_CODE(code);                     \
    } while (0)

namespace zvenvtest {

// One entry of an enumeration snapshot as a host program reads it: copied out of the packed
// array at offset 4 + i * sizeof(ZVEV_ENUM_ENTRY_tag).
struct EnumEntry {
    const char* pointer;  // the name pointer as stored
    unsigned int type;    // the entry type
    std::string name;     // the text it points at ("" for a null pointer)
};

// Entry i of a snapshot, read through memcpy (the entries are not aligned).
EnumEntry EntryAt(const ZVEV_ENUM_LIST_tag* list, unsigned int i);
// Every counted entry, in array order.
std::vector<EnumEntry> Entries(const ZVEV_ENUM_LIST_tag* list);
// The entries as "name:type" words separated by blanks, in array order ("" for none).
std::string Listing(const ZVEV_ENUM_LIST_tag* list);
// Offset of the names area: behind the count and max(count, 1) entries.
size_t NamesOffset(const ZVEV_ENUM_LIST_tag* list);

// The shortest header line the loader accepts: type and version, then CR LF ("ENVT0100\r\n").
std::string ShortHeader(const char* typeAndVersion);
// A text environment file: the short "ENVT0100" header and the given body.
std::string TextFile(const std::string& body);
// A binary environment file: the short "ENVB0100" header and the given item bytes.
std::string BinaryFile(const std::string& items);

// What a written environment file holds behind its 96-byte header line.
std::string BodyOf(const std::string& path);
// The 16-bit XOR of the body as little-endian words, an odd last byte in the low 8 bits.
unsigned int BodyCheckSum(const std::string& body);
// Checks the header line of a file the library wrote: 96 bytes, type and version "tag0100",
// DS the file's size and CS the body's checksum, CR LF at the end.
void ExpectWrittenHeader(const std::string& path, const char* tag);

// The identifier a store is claimed with: '\' turned into '/' and 'a'-'z' upper-cased.
std::string ValidationIdOf(const std::string& path);
// The canonical path of an existing folder (realpath), "" when it cannot be resolved.
std::string Canonical(const std::string& folder);

// Makes a folder the current directory for the life of the object and goes back afterwards.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& folder);
    ~WorkingDirectory();
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    bool Ok() const { return m_ok; }

private:
    std::string m_previous;
    bool m_ok;
};

}  // namespace zvenvtest

#endif  // ZV_ENV_FILE_TEST_SUPPORT_H
