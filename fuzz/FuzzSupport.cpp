// Helpers shared by the fuzz targets (see FuzzSupport.h).
#include "FuzzSupport.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace zvfuzz {

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    remove(path);
    return 0;
}

void RemoveScratch() {
    nftw(ScratchFolder().c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

std::string MakeScratch() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/zvfuzz.XXXXXX";
    Check(mkdtemp(&pattern[0]) != nullptr);
    return pattern;
}

}  // namespace

void Check(bool condition) {
    if (!condition) {
        abort();
    }
}

const std::string& ScratchFolder() {
    static const std::string folder = MakeScratch();
    static const bool registered = atexit(RemoveScratch) == 0;
    (void)registered;
    return folder;
}

std::string ScratchFile(const char* name) {
    return ScratchFolder() + "/" + name;
}

void WriteWholeFile(const std::string& path, const void* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    Check(file != nullptr);
    Check(size == 0 || fwrite(data, 1, size, file) == size);
    Check(fclose(file) == 0);
}

uint8_t InputReader::Byte() {
    return Empty() ? 0 : m_data[m_pos++];
}

uint16_t InputReader::U16() {
    const uint16_t low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
}

uint32_t InputReader::U32() {
    const uint32_t low = U16();
    return low | static_cast<uint32_t>(U16()) << 16;
}

double InputReader::Double() {
    uint64_t bits = U32();
    bits |= static_cast<uint64_t>(U32()) << 32;
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

std::string InputReader::Bytes(size_t count) {
    const size_t left = m_size - (Empty() ? m_size : m_pos);
    const size_t taken = count < left ? count : left;
    std::string bytes(reinterpret_cast<const char*>(m_data) + m_pos, taken);
    m_pos += taken;
    return bytes;
}

size_t InputReader::Length(size_t maxLength) {
    const size_t wanted = maxLength > 0xFF ? U16() : Byte();
    return wanted % (maxLength + 1);
}

std::string InputReader::Text(const char* alphabet, size_t maxLength) {
    const size_t length = Length(maxLength);
    const size_t letters = strlen(alphabet);
    std::string text;
    for (size_t i = 0; i < length && !Empty(); ++i) {
        const uint8_t b = Byte();
        const char c = b >= 0xF0 ? static_cast<char>(Byte()) : alphabet[b % letters];
        if (c != '\0') {
            text += c;
        }
    }
    return text;
}

std::string InputReader::RawText(size_t maxLength) {
    const size_t length = Length(maxLength);
    std::string text;
    for (size_t i = 0; i < length && !Empty(); ++i) {
        const char c = static_cast<char>(Byte());
        if (c != '\0') {
            text += c;
        }
    }
    return text;
}

}  // namespace zvfuzz
