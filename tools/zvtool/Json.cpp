// Json.cpp - environment values and trees to and from JSON.
#include "Json.h"

#include <cctype>
#include <cmath>
#include <set>

#include "Output.h"

namespace zvtool {

namespace {

// The member of a directory object that carries the lock mark; '@' cannot begin a name.
const char kLockedMember[] = "@locked";

std::string UpperAscii(std::string name) {
    for (char& c : name) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return name;
}

Json RealToJson(double real) {
    if (std::isnan(real)) {
        return "nan";
    }
    if (std::isinf(real)) {
        return real > 0 ? "inf" : "-inf";
    }
    return real;
}

// Reads the members of a key object that ValueFromJson checked for shape.
class KeyReader {
public:
    KeyReader(const Json& object, const std::string& subject, const std::string& where)
        : m_object(object), m_subject(subject), m_where(where) {}

    [[noreturn]] void Fail(const std::string& what) const {
        throw Failure(m_subject, m_where + ": " + what, kNoCode);
    }

    // Refuses members other than "type", "value" and the one extra member a kind may have.
    void AllowOnly(const char* extra) const {
        for (const auto& member : m_object.items()) {
            const std::string& name = member.key();
            if (name != "type" && name != "value" && (extra == nullptr || name != extra)) {
                Fail("unexpected member \"" + name + "\"");
            }
        }
        if (!m_object.contains("value")) {
            Fail("\"value\" is missing");
        }
    }

    const Json& Value() const { return m_object["value"]; }

    std::string OptionalString(const char* name, const char* fallback) const {
        if (!m_object.contains(name)) {
            return fallback;
        }
        if (!m_object[name].is_string()) {
            Fail(std::string("\"") + name + "\" must be a string");
        }
        return m_object[name].get<std::string>();
    }

    std::string HexBytes(const std::string& text) const {
        std::string bytes;
        if (!HexDecode(text, bytes)) {
            Fail("\"value\" must be hexadecimal text, two digits a byte");
        }
        return bytes;
    }

private:
    const Json& m_object;
    const std::string& m_subject;
    const std::string& m_where;
};

void ReadInteger(const KeyReader& reader, EnvValue& value) {
    reader.AllowOnly("radix");
    if (!RadixFromName(reader.OptionalString("radix", "dec"), value.radix)) {
        reader.Fail("\"radix\" must be \"dec\", \"hex\", \"oct\" or \"bin\"");
    }
    const Json& number = reader.Value();
    long long wide = 0;
    if (number.is_number_unsigned()) {
        unsigned long long magnitude = number.get<unsigned long long>();
        wide = magnitude > 0xFFFFFFFFull ? 0x100000000ll : static_cast<long long>(magnitude);
    } else if (number.is_number_integer()) {
        wide = number.get<long long>();
    } else {
        reader.Fail("\"value\" must be an integer");
    }
    if (wide < -0x80000000ll || wide > 0xFFFFFFFFll) {
        reader.Fail("\"value\" does not fit in 32 bits");
    }
    value.integer = static_cast<int32_t>(static_cast<uint32_t>(wide));
}

void ReadReal(const KeyReader& reader, EnvValue& value) {
    reader.AllowOnly(nullptr);
    const Json& number = reader.Value();
    if (number.is_number()) {
        value.real = number.get<double>();
        return;
    }
    static const struct {
        const char* text;
        double value;
    } kSpecial[] = {{"nan", NAN}, {"inf", INFINITY}, {"-inf", -INFINITY}};
    if (number.is_string()) {
        for (const auto& special : kSpecial) {
            if (number.get<std::string>() == special.text) {
                value.real = special.value;
                return;
            }
        }
    }
    reader.Fail("\"value\" must be a number (or \"nan\", \"inf\", \"-inf\")");
}

void ReadText(const KeyReader& reader, EnvValue& value) {
    reader.AllowOnly("encoding");
    std::string encoding = reader.OptionalString("encoding", "utf-8");
    if (!reader.Value().is_string()) {
        reader.Fail("\"value\" must be a string");
    }
    if (encoding == "hex") {
        value.bytes = reader.HexBytes(reader.Value().get<std::string>());
    } else if (encoding == "utf-8") {
        value.bytes = reader.Value().get<std::string>();
    } else {
        reader.Fail("\"encoding\" must be \"hex\" or \"utf-8\"");
    }
    if (value.bytes.find('\0') != std::string::npos) {
        reader.Fail("a string cannot hold a NUL byte");
    }
}

}  // namespace

Json ValueToJson(const EnvValue& value) {
    Json object = Json::object();
    object["type"] = KindName(value.kind);
    switch (value.kind) {
        case ValueKind::Int:
            object["radix"] = RadixName(value.radix);
            // A hexadecimal, octal or binary integer is its 32 bits, as the text form writes it
            // (0xffffff00, not -256); a decimal one is signed.
            if (value.radix == ZVED_ITEM_INTEGER) {
                object["value"] = value.integer;
            } else {
                object["value"] = static_cast<uint32_t>(value.integer);
            }
            break;
        case ValueKind::Real:
            object["value"] = RealToJson(value.real);
            break;
        case ValueKind::Bool:
            object["value"] = value.boolean;
            break;
        case ValueKind::String:
            if (IsUtf8(value.bytes)) {
                object["value"] = value.bytes;
            } else {
                object["encoding"] = "hex";
                object["value"] = HexEncode(value.bytes);
            }
            break;
        case ValueKind::Data:
            object["value"] = HexEncode(value.bytes);
            break;
    }
    return object;
}

EnvValue ValueFromJson(const Json& object, const std::string& subject, const std::string& where) {
    KeyReader reader(object, subject, where);
    if (!object.is_object() || !object.contains("type") || !object["type"].is_string()) {
        reader.Fail("a key must be an object with a \"type\"");
    }
    EnvValue value;
    if (!KindFromName(object["type"].get<std::string>(), value.kind)) {
        reader.Fail("unknown type \"" + object["type"].get<std::string>() +
                    "\" (int, real, bool, string or data)");
    }
    switch (value.kind) {
        case ValueKind::Int:
            ReadInteger(reader, value);
            break;
        case ValueKind::Real:
            ReadReal(reader, value);
            break;
        case ValueKind::Bool:
            reader.AllowOnly(nullptr);
            if (!reader.Value().is_boolean()) {
                reader.Fail("\"value\" must be true or false");
            }
            value.boolean = reader.Value().get<bool>();
            break;
        case ValueKind::String:
            ReadText(reader, value);
            break;
        case ValueKind::Data:
            reader.AllowOnly(nullptr);
            if (!reader.Value().is_string()) {
                reader.Fail("\"value\" must be hexadecimal text");
            }
            value.bytes = reader.HexBytes(reader.Value().get<std::string>());
            break;
    }
    return value;
}

Json TreeToJson(CZVEnvData& data, unsigned int dir) {
    Json object = Json::object();
    if (data.GetAttribute(dir) == ZVED_ITEM_LOCKED_DIR) {
        object[kLockedMember] = true;
    }
    std::vector<EnvEntry> entries = ListDirectory(data, dir);
    std::set<std::string> keyNames;
    for (const EnvEntry& entry : entries) {
        if (entry.IsKey()) {
            keyNames.insert(UpperAscii(entry.name));
        }
    }
    for (const EnvEntry& entry : entries) {
        if (entry.IsDir()) {
            bool shared = keyNames.count(UpperAscii(entry.name)) != 0;
            object[entry.name + (shared ? "/" : "")] = TreeToJson(data, entry.offset);
        } else if (entry.IsKey()) {
            object[entry.name] = ValueToJson(ReadValue(data, entry));
        }
    }
    return object;
}

void ImportTree(EnvStore& store, const Json& document, const std::string& dir,
                const std::string& subject) {
    auto fail = [&subject](const std::string& where, const std::string& what) {
        throw Failure(subject, where + ": " + what, kNoCode);
    };
    if (!document.is_object()) {
        fail(dir, "a directory must be an object");
    }
    for (const auto& member : document.items()) {
        std::string name = member.key();
        const Json& item = member.value();
        if (name == kLockedMember) {
            if (!item.is_boolean()) {
                fail(dir, std::string("\"") + kLockedMember + "\" must be true or false");
            }
            store.SetLockMark(dir, item.get<bool>());
            continue;
        }
        bool isDir = !name.empty() && name.back() == '/';
        if (isDir) {
            name.pop_back();
        }
        std::string path = dir + name;
        if (name.empty() || name.find('/') != std::string::npos) {
            fail(dir + member.key(), "not a valid name");
        }
        if (!item.is_object()) {
            fail(path, "must be an object (a directory or a key)");
        }
        if (!isDir && item.contains("type") && item["type"].is_string()) {
            store.SetValue(path, ValueFromJson(item, subject, path));
            continue;
        }
        if (!store.File().CreateDir(path.c_str())) {
            throw Failure::FromLastError(store.Path(), path);
        }
        ImportTree(store, item, path + "/", subject);
    }
}

}  // namespace zvtool
