// Helpers shared by the environment-file tests (see EnvFileTestSupport.h).
#include "EnvFileTestSupport.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace zvenvtest {

EnumEntry EntryAt(const ZVEV_ENUM_LIST_tag* list, unsigned int i) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(list);
    const size_t offset = 4 + static_cast<size_t>(i) * sizeof(ZVEV_ENUM_ENTRY_tag);
    EnumEntry entry;
    uint16_t type = 0;
    std::memcpy(&entry.pointer, bytes + offset, sizeof(char*));
    std::memcpy(&type, bytes + offset + sizeof(char*), sizeof type);
    entry.type = type;
    entry.name = entry.pointer != nullptr ? entry.pointer : "";
    return entry;
}

std::vector<EnumEntry> Entries(const ZVEV_ENUM_LIST_tag* list) {
    uint32_t count = 0;
    std::memcpy(&count, list, sizeof count);
    std::vector<EnumEntry> entries;
    for (uint32_t i = 0; i < count; ++i) {
        entries.push_back(EntryAt(list, i));
    }
    return entries;
}

std::string Listing(const ZVEV_ENUM_LIST_tag* list) {
    std::string text;
    for (const EnumEntry& entry : Entries(list)) {
        if (!text.empty()) {
            text += ' ';
        }
        text += entry.name + ':' + std::to_string(entry.type);
    }
    return text;
}

size_t NamesOffset(const ZVEV_ENUM_LIST_tag* list) {
    uint32_t count = 0;
    std::memcpy(&count, list, sizeof count);
    return 4 + (count > 0 ? count : 1) * sizeof(ZVEV_ENUM_ENTRY_tag);
}

std::string ShortHeader(const char* typeAndVersion) {
    return std::string(typeAndVersion) + "\r\n";
}

std::string TextFile(const std::string& body) {
    return ShortHeader("ENVT0100") + body;
}

std::string BinaryFile(const std::string& items) {
    return ShortHeader("ENVB0100") + items;
}

std::string BodyOf(const std::string& path) {
    std::string all = zvtest::ReadFile(path);
    return all.size() >= 96 ? all.substr(96) : std::string();
}

unsigned int BodyCheckSum(const std::string& body) {
    unsigned int sum = 0;
    size_t i = 0;
    for (; i + 1 < body.size(); i += 2) {
        sum ^= static_cast<unsigned char>(body[i]) |
               (static_cast<unsigned int>(static_cast<unsigned char>(body[i + 1])) << 8);
    }
    if (i < body.size()) {
        sum ^= static_cast<unsigned char>(body[i]);
    }
    return sum & 0xFFFFu;
}

void ExpectWrittenHeader(const std::string& path, const char* tag) {
    std::string all = zvtest::ReadFile(path);
    ASSERT_GE(all.size(), 96u) << path;
    char size[16];
    char sum[16];
    std::snprintf(size, sizeof size, "%010u", static_cast<unsigned int>(all.size()));
    std::snprintf(sum, sizeof sum, "%05u", BodyCheckSum(all.substr(96)));
    EXPECT_EQ(std::string(tag) + "0100,LM:", all.substr(0, 12));
    EXPECT_EQ(std::string(",DS:") + size + ",CS:" + sum + ",MA:", all.substr(35, 27));
    EXPECT_EQ(",EI:", all.substr(79, 4));
    EXPECT_EQ("\r\n", all.substr(94, 2));
}

std::string ValidationIdOf(const std::string& path) {
    std::string id = path;
    for (char& c : id) {
        if (c == '\\') {
            c = '/';
        } else if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return id;
}

std::string Canonical(const std::string& folder) {
    char resolved[PATH_MAX];
    return realpath(folder.c_str(), resolved) != nullptr ? std::string(resolved) : std::string();
}

WorkingDirectory::WorkingDirectory(const std::string& folder) : m_ok(false) {
    char current[PATH_MAX];
    if (getcwd(current, sizeof current) != nullptr) {
        m_previous = current;
        m_ok = chdir(folder.c_str()) == 0;
    }
}

WorkingDirectory::~WorkingDirectory() {
    if (m_ok && chdir(m_previous.c_str()) != 0) {
        ADD_FAILURE() << "cannot go back to " << m_previous;
    }
}

}  // namespace zvenvtest
