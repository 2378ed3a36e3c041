// Output.cpp - failure lines, JSON printing and the text forms of values.
#include "Output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "TarnError.h"
#include "TarnTime.h"

namespace zvtool {

Failure::Failure(std::string subject, std::string detail, unsigned int code)
    : std::runtime_error(detail.empty() ? subject : subject + ": " + detail),
      m_subject(std::move(subject)),
      m_detail(std::move(detail)),
      m_code(code) {}

Failure Failure::FromLastError(std::string subject, std::string detail) {
    unsigned int code = TarnGetLastError();
    return Failure(std::move(subject), std::move(detail), code);
}

std::string Failure::Line() const {
    std::string line = m_subject;
    auto append = [&line](const std::string& part) {
        if (part.empty()) {
            return;
        }
        if (!line.empty()) {
            line += ": ";
        }
        line += part;
    };
    append(m_detail);
    if (m_code != kNoCode) {
        std::string message = TarnGetErrorMsg(m_code);
        append(message.empty() ? std::string("failed") : message);
        line += " (code " + std::to_string(m_code) + ")";
    }
    return line;
}

void PrintError(const std::string& line) {
    std::cout.flush();
    std::cerr << "zvtool: " << line << '\n';
}

void PrintJson(const Json& document) {
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::string HexEncode(const std::string& bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

namespace {

int HexDigit(char c) {
    int digit = DigitValue(c);
    return digit < 16 ? digit : -1;
}

bool IsPairSeparator(char c) {
    return c == ' ' || c == '\t' || c == ':';
}

}  // namespace

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return -1;
}

bool HexDecode(const std::string& text, std::string& bytes) {
    bytes.clear();
    size_t i = 0;
    while (i < text.size()) {
        if (IsPairSeparator(text[i])) {
            ++i;
            continue;
        }
        if (i + 1 >= text.size()) {
            return false;
        }
        int high = HexDigit(text[i]);
        int low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return true;
}

std::string FormatReal(double value) {
    char text[64];
    int precision = 1;
    for (; precision < 17; ++precision) {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value) {
            break;
        }
    }
    // Whole numbers below 1e17 keep all their digits rather than turn into 1.5e+03.
    double magnitude = std::fabs(value);
    if (magnitude >= 1.0 && magnitude < 1e17) {
        int digits = static_cast<int>(std::floor(std::log10(magnitude))) + 1;
        precision = std::max(precision, digits);
    }
    std::snprintf(text, sizeof text, "%.*g", precision, value);
    return text;
}

std::string TimeText(int32_t seconds) {
    long value = seconds;
    char text[32];
    return TarnGetDateTimeStrA(&value, TARN_DTF_YMDHMSM, text, sizeof text, 1);
}

Json TimeJson(int32_t seconds) {
    Json time = Json::object();
    time["time"] = seconds;
    time["text"] = TimeText(seconds);
    return time;
}

bool IsUtf8(const std::string& bytes) {
    size_t i = 0;
    while (i < bytes.size()) {
        unsigned char lead = static_cast<unsigned char>(bytes[i]);
        size_t follow = 0;
        unsigned int code = 0;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            follow = 1;
            code = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            follow = 2;
            code = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            follow = 3;
            code = lead & 0x07;
        } else {
            return false;
        }
        if (i + follow >= bytes.size()) {
            return false;
        }
        for (size_t k = 1; k <= follow; ++k) {
            unsigned char next = static_cast<unsigned char>(bytes[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            code = (code << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and code points beyond U+10FFFF are not UTF-8.
        static const unsigned int kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < kSmallest[follow] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) {
            return false;
        }
        i += follow + 1;
    }
    return true;
}

std::string Printable(const std::string& bytes) {
    std::string text;
    for (unsigned char byte : bytes) {
        if (byte >= 0x20 && byte <= 0x7E && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            text += escaped;
        }
    }
    return text;
}

bool ParseUnsigned(const std::string& text, unsigned long long limit, unsigned long long& value) {
    size_t i = 0;
    unsigned int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        i = 2;
    }
    if (i >= text.size()) {
        return false;
    }
    value = 0;
    for (; i < text.size(); ++i) {
        int digit = HexDigit(text[i]);
        if (digit < 0 || static_cast<unsigned int>(digit) >= base) {
            return false;
        }
        value = value * base + static_cast<unsigned int>(digit);
        if (value > limit) {
            return false;
        }
    }
    return true;
}

}  // namespace zvtool
