// Output.h - how zvtool reports: failures (exit status 1), usage errors (exit status 2), JSON
// documents and the text forms of values shared by several commands.
#ifndef ZVTOOL_OUTPUT_H
#define ZVTOOL_OUTPUT_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace zvtool {

// Every JSON document keeps its members in the order they were added.
using Json = nlohmann::ordered_json;

// Marks a failure that has no last-error code of the library behind it.
constexpr unsigned int kNoCode = 0xFFFFFFFFu;

// Exit statuses.
enum ExitStatus { kExitOk = 0, kExitFailed = 1, kExitUsage = 2 };

// An operation that failed: reported as one line "subject: detail: message (code N)" on stderr,
// where message is the library's text for the code.
class Failure : public std::runtime_error {
public:
    Failure(std::string subject, std::string detail, unsigned int code);
    // Takes the calling thread's last-error code at once, before anything can overwrite it.
    static Failure FromLastError(std::string subject, std::string detail = std::string());

    const std::string& Subject() const { return m_subject; }
    const std::string& Detail() const { return m_detail; }
    unsigned int Code() const { return m_code; }
    // The line without the program name.
    std::string Line() const;

private:
    std::string m_subject;
    std::string m_detail;
    unsigned int m_code;
};

// Arguments that do not make sense for the command (a value that cannot be read, ...).
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Prints "zvtool: <line>" on stderr.
void PrintError(const std::string& line);
// Prints a JSON document on stdout, indented by two blanks, with a final line end. Bytes that
// are not UTF-8 are replaced rather than refused.
void PrintJson(const Json& document);

// Lower-case hexadecimal digits of the bytes, two per byte, nothing between them.
std::string HexEncode(const std::string& bytes);
// Reads pairs of hexadecimal digits (either case); blanks, tabs and ':' between pairs are
// skipped. False for any other character or an odd number of digits.
bool HexDecode(const std::string& text, std::string& bytes);
// The shortest decimal text that reads back as the same double.
std::string FormatReal(double value);
// The date-time text of a time value (seconds since 1970, UTC): "yyyy/mm/dd hh:mm:ss:000".
std::string TimeText(int32_t seconds);
// A time value as JSON: {"time": seconds, "text": date-time text}.
Json TimeJson(int32_t seconds);
// True when the bytes are well-formed UTF-8 (ASCII included).
bool IsUtf8(const std::string& bytes);
// Bytes outside printable ASCII as \xHH, for showing a text that may hold anything.
std::string Printable(const std::string& bytes);
// The value of a digit in any base up to 36 ('0'-'9', then 'a'-'z' or 'A'-'Z'), or -1.
int DigitValue(char c);
// Reads a whole unsigned number: decimal, or hexadecimal after 0x. False when it is not one.
bool ParseUnsigned(const std::string& text, unsigned long long limit, unsigned long long& value);

}  // namespace zvtool

#endif  // ZVTOOL_OUTPUT_H
