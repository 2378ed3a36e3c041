// EnvValue.h - one typed value of an environment file as zvtool reads, prints and writes it.
#ifndef ZVTOOL_ENVVALUE_H
#define ZVTOOL_ENVVALUE_H

#include <cstdint>
#include <string>

namespace zvtool {

enum class ValueKind { Int, Real, Bool, String, Data };

struct EnvValue {
    ValueKind kind = ValueKind::String;
    unsigned char radix = 7;  // an integer's item type: 7 dec, 11 hex, 12 oct, 13 bin
    int32_t integer = 0;
    double real = 0.0;
    bool boolean = false;
    std::string bytes;  // a string's text or the data bytes
};

// "int", "real", "bool", "string", "data".
const char* KindName(ValueKind kind);
bool KindFromName(const std::string& name, ValueKind& kind);
// "dec", "hex", "oct", "bin" for the item types 7, 11, 12, 13.
const char* RadixName(unsigned char radix);
bool RadixFromName(const std::string& name, unsigned char& radix);

// Reads a value as given on the command line (see FormatValueText); UsageError when the text
// is not a value of that kind. An integer keeps the radix it is written in: decimal, or 0x, 0o,
// 0b digits, each with an optional sign; a real must be finite; a boolean is true/false, yes/no,
// on/off or 1/0 in any letter case; data is hexadecimal text.
EnvValue ParseValueText(ValueKind kind, const std::string& text);
// The text form zvtool prints: integers in their radix with the prefix the text form of the file
// uses (0x1f, 0o17, 0b0101), reals as the shortest text that reads back exactly, true/false,
// strings as they are, data as lower-case hexadecimal. ParseValueText reads it back.
std::string FormatValueText(const EnvValue& value);
// An integer in a radix, as the environment text form writes it.
std::string FormatInteger(int32_t value, unsigned char radix);

}  // namespace zvtool

#endif  // ZVTOOL_ENVVALUE_H
