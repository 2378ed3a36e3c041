// Helpers shared by the fuzz targets: a check that stops the run, a scratch folder for the files
// a target writes, whole-file writes, and a reader that turns input bytes into the arguments of
// library calls. Built into every fuzzer and every replay program; never into the library.
#ifndef ZV_FUZZ_SUPPORT_H
#define ZV_FUZZ_SUPPORT_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace zvfuzz {

// Stops the run with abort() (which libFuzzer reports together with the input) when condition
// is false.
void Check(bool condition);

// A folder of the process's own under $TMPDIR (or /tmp), made on first use and removed with
// everything in it when the process exits.
const std::string& ScratchFolder();
// The path of an entry of the scratch folder.
std::string ScratchFile(const char* name);

// Creates or truncates path and writes size bytes; stops the run when that fails.
void WriteWholeFile(const std::string& path, const void* data, size_t size);

// Reads the input front to back. Past the end every number reads as 0 and every text as empty,
// so a decoder never has to check what is left before it reads.
class InputReader {
public:
    InputReader(const uint8_t* data, size_t size) : m_data(data), m_size(size), m_pos(0) {}

    bool Empty() const { return m_pos >= m_size; }
    uint8_t Byte();
    uint16_t U16();
    uint32_t U32();
    // Eight raw bytes, so every double (infinities and not-a-number included) can occur.
    double Double();
    // Up to count raw bytes (fewer at the end of the input).
    std::string Bytes(size_t count);
    // A text of 0 to maxLength bytes, its length read first. Most bytes are taken from alphabet,
    // so that names repeat and paths have slashes; a byte of 0xF0 or more takes the next input
    // byte as it is instead. Never holds a NUL.
    std::string Text(const char* alphabet, size_t maxLength);
    // A text of 0 to maxLength raw bytes, its length read first, with NUL bytes left out.
    std::string RawText(size_t maxLength);

private:
    // A length of 0 to maxLength: one input byte, two when maxLength needs them.
    size_t Length(size_t maxLength);

    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos;
};

}  // namespace zvfuzz

#endif  // ZV_FUZZ_SUPPORT_H
