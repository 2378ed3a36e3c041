// EnvValue.cpp - names, command-line text and printed text of environment values.
#include "EnvValue.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <strings.h>

#include "Output.h"
#include "ZVEnvData.h"

namespace zvtool {

namespace {

struct KindRow {
    ValueKind kind;
    const char* name;
};

const KindRow kKinds[] = {{ValueKind::Int, "int"},
                          {ValueKind::Real, "real"},
                          {ValueKind::Bool, "bool"},
                          {ValueKind::String, "string"},
                          {ValueKind::Data, "data"}};

struct RadixRow {
    unsigned char radix;
    const char* name;
    const char* prefix;
    unsigned int base;
};

const RadixRow kRadixes[] = {{ZVED_ITEM_INTEGER, "dec", "", 10},
                             {ZVED_ITEM_HEX, "hex", "0x", 16},
                             {ZVED_ITEM_OCT, "oct", "0o", 8},
                             {ZVED_ITEM_BIN, "bin", "0b", 2}};

EnvValue ParseInteger(const std::string& text) {
    EnvValue value;
    value.kind = ValueKind::Int;
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        negative = text[i] == '-';
        ++i;
    }
    const RadixRow* row = &kRadixes[0];
    if (text.size() > i + 1 && text[i] == '0') {
        char letter = static_cast<char>(text[i + 1] | 0x20);
        for (const RadixRow& candidate : kRadixes) {
            if (candidate.prefix[0] != '\0' && candidate.prefix[1] == letter) {
                row = &candidate;
                i += 2;
            }
        }
    }
    // Decimal numbers are signed 32-bit; the other radixes give the 32 bits, as the text form's
    // reader does.
    unsigned long long limit =
        row->base == 10 ? (negative ? 0x80000000ull : 0x7FFFFFFFull) : 0xFFFFFFFFull;
    if (i >= text.size()) {
        throw UsageError("'" + text + "' is not an integer");
    }
    unsigned long long magnitude = 0;
    for (; i < text.size(); ++i) {
        int digit = DigitValue(text[i]);
        if (digit < 0 || digit >= static_cast<int>(row->base)) {
            throw UsageError("'" + text + "' is not an integer (decimal, 0x, 0o or 0b digits)");
        }
        magnitude = magnitude * row->base + static_cast<unsigned int>(digit);
        if (magnitude > limit) {
            throw UsageError("'" + text + "' does not fit in 32 bits");
        }
    }
    uint32_t bits = static_cast<uint32_t>(magnitude);
    value.integer = static_cast<int32_t>(negative ? 0u - bits : bits);
    value.radix = row->radix;
    return value;
}

EnvValue ParseReal(const std::string& text) {
    EnvValue value;
    value.kind = ValueKind::Real;
    char* end = nullptr;
    value.real = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value.real)) {
        throw UsageError("'" + text + "' is not a finite real number");
    }
    return value;
}

EnvValue ParseBoolean(const std::string& text) {
    static const char* const kTrue[] = {"true", "yes", "on", "1"};
    static const char* const kFalse[] = {"false", "no", "off", "0"};
    EnvValue value;
    value.kind = ValueKind::Bool;
    for (int i = 0; i < 4; ++i) {
        if (strcasecmp(text.c_str(), kTrue[i]) == 0) {
            value.boolean = true;
            return value;
        }
        if (strcasecmp(text.c_str(), kFalse[i]) == 0) {
            value.boolean = false;
            return value;
        }
    }
    throw UsageError("'" + text + "' is not a boolean (true or false)");
}

std::string BinaryDigits(uint32_t bits) {
    // As the text form writes them: all 32 digits, less every leading group of four zeros.
    std::string digits;
    for (int bit = 31; bit >= 0; --bit) {
        digits += (bits >> bit) & 1u ? '1' : '0';
    }
    while (digits.compare(0, 4, "0000") == 0) {
        digits.erase(0, 4);
    }
    return digits.empty() ? "0" : digits;
}

}  // namespace

const char* KindName(ValueKind kind) {
    for (const KindRow& row : kKinds) {
        if (row.kind == kind) {
            return row.name;
        }
    }
    return "?";
}

bool KindFromName(const std::string& name, ValueKind& kind) {
    for (const KindRow& row : kKinds) {
        if (name == row.name) {
            kind = row.kind;
            return true;
        }
    }
    return false;
}

const char* RadixName(unsigned char radix) {
    for (const RadixRow& row : kRadixes) {
        if (row.radix == radix) {
            return row.name;
        }
    }
    return "dec";
}

bool RadixFromName(const std::string& name, unsigned char& radix) {
    for (const RadixRow& row : kRadixes) {
        if (name == row.name) {
            radix = row.radix;
            return true;
        }
    }
    return false;
}

EnvValue ParseValueText(ValueKind kind, const std::string& text) {
    switch (kind) {
        case ValueKind::Int:
            return ParseInteger(text);
        case ValueKind::Real:
            return ParseReal(text);
        case ValueKind::Bool:
            return ParseBoolean(text);
        case ValueKind::Data: {
            EnvValue value;
            value.kind = ValueKind::Data;
            if (!HexDecode(text, value.bytes)) {
                throw UsageError("'" + text + "' is not hexadecimal data (two digits a byte)");
            }
            return value;
        }
        case ValueKind::String:
            break;
    }
    EnvValue value;
    value.kind = ValueKind::String;
    value.bytes = text;
    return value;
}

std::string FormatInteger(int32_t value, unsigned char radix) {
    uint32_t bits = static_cast<uint32_t>(value);
    char text[48];
    switch (radix) {
        case ZVED_ITEM_HEX:
            std::snprintf(text, sizeof text, "0x%x", bits);
            return text;
        case ZVED_ITEM_OCT:
            std::snprintf(text, sizeof text, "0o%o", bits);
            return text;
        case ZVED_ITEM_BIN:
            return "0b" + BinaryDigits(bits);
        default:
            return std::to_string(value);
    }
}

std::string FormatValueText(const EnvValue& value) {
    switch (value.kind) {
        case ValueKind::Int:
            return FormatInteger(value.integer, value.radix);
        case ValueKind::Real:
            return FormatReal(value.real);
        case ValueKind::Bool:
            return value.boolean ? "true" : "false";
        case ValueKind::Data:
            return HexEncode(value.bytes);
        case ValueKind::String:
            break;
    }
    return value.bytes;
}

}  // namespace zvtool
