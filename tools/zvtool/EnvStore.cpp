// EnvStore.cpp - opening, walking, reading, writing and saving an environment file.
#include "EnvStore.h"

#include <cstring>

#include "Files.h"
#include "Output.h"
#include "TarnError.h"

namespace zvtool {

namespace {

// Deeper than the library ever nests (it stops at 16 enclosing directories); a deeper tree can
// only come from a damaged binary file, and walking it must not exhaust the stack.
constexpr int kMaxDepth = 64;

void CloseEnvFile(CZVEnvFile* file) {
    if (file != nullptr) {
        file->Close();
        file->Release();
    }
}

bool HasValidName(CZVEnvData& data, const char* name) {
    return name != nullptr && name[0] != '\0' && data.IsValidName(name, -1);
}

unsigned int FindMalformedIn(CZVEnvData& data, unsigned int dir, int depth, TreeCounts& counts) {
    unsigned int size = data.GetItemSize(dir);
    unsigned int pos = data.SkipDirHead(dir);
    if (size == 0 || pos == 0 || depth > kMaxDepth) {
        return dir;
    }
    unsigned int end = dir + size;
    while (pos < end) {
        unsigned int itemSize = data.GetItemSize(pos);
        if (itemSize == 0 || itemSize > end - pos) {
            return pos;
        }
        EnvEntry entry;
        entry.type = static_cast<unsigned char>(data.GetAttribute(pos));
        if (entry.IsDir()) {
            if (!HasValidName(data, data.GetDirName(pos))) {
                return pos;
            }
            ++counts.directories;
            unsigned int bad = FindMalformedIn(data, pos, depth + 1, counts);
            if (bad != 0) {
                return bad;
            }
        } else if (entry.IsComment()) {
            ++counts.comments;
        } else if (entry.type != ZVED_ITEM_FILLER) {
            if (!data.IsKey(pos) || !HasValidName(data, data.GetKeyName(pos))) {
                return pos;
            }
            ++counts.keys;
        }
        pos += itemSize;
    }
    return 0;
}

}  // namespace

unsigned int FindMalformedItem(CZVEnvData& data, TreeCounts& counts) {
    counts = TreeCounts();
    unsigned int root = data.GetRootDir();
    if (!data.IsDir(root) || data.GetItemSize(root) != data.m_dwDataSize - root) {
        return root;
    }
    return FindMalformedIn(data, root, 0, counts);
}

std::vector<EnvEntry> ListDirectory(CZVEnvData& data, unsigned int dir) {
    std::vector<EnvEntry> entries;
    for (unsigned int item = data.GetNextItem(dir, 0); item != 0;
         item = data.GetNextItem(dir, item)) {
        EnvEntry entry;
        entry.offset = item;
        entry.type = static_cast<unsigned char>(data.GetAttribute(item));
        if (entry.type == ZVED_ITEM_FILLER) {
            continue;
        }
        const char* name = entry.IsDir() ? data.GetDirName(item) : data.GetKeyName(item);
        entry.name = name != nullptr ? name : "";
        entries.push_back(entry);
    }
    return entries;
}

EnvValue ReadValue(CZVEnvData& data, const EnvEntry& key) {
    // The value follows the key's name; numbers are little-endian and unaligned, as on the
    // device.
    const unsigned char* at = data.m_pData + data.SkipKeyHead(key.offset);
    EnvValue value;
    switch (key.type) {
        case ZVED_ITEM_INTEGER:
        case ZVED_ITEM_HEX:
        case ZVED_ITEM_OCT:
        case ZVED_ITEM_BIN:
            value.kind = ValueKind::Int;
            value.radix = key.type;
            std::memcpy(&value.integer, at, sizeof value.integer);
            break;
        case ZVED_ITEM_REAL:
            value.kind = ValueKind::Real;
            std::memcpy(&value.real, at, sizeof value.real);
            break;
        case ZVED_ITEM_TRUE:
        case ZVED_ITEM_FALSE:
            value.kind = ValueKind::Bool;
            value.boolean = key.type == ZVED_ITEM_TRUE;
            break;
        case ZVED_ITEM_BINARY: {
            value.kind = ValueKind::Data;
            void* bytes = nullptr;
            unsigned int size = 0;
            if (data.GetBinDataBuf(key.offset, &bytes, &size) && size != 0) {
                value.bytes.assign(static_cast<const char*>(bytes), size);
            }
            break;
        }
        default:
            value.kind = ValueKind::String;
            value.bytes = reinterpret_cast<const char*>(at);
            break;
    }
    return value;
}

const char* EntryTypeName(const EnvEntry& entry) {
    if (entry.IsDir()) {
        return "dir";
    }
    if (entry.IsComment()) {
        return "comment";
    }
    switch (entry.type) {
        case ZVED_ITEM_INTEGER:
        case ZVED_ITEM_HEX:
        case ZVED_ITEM_OCT:
        case ZVED_ITEM_BIN:
            return KindName(ValueKind::Int);
        case ZVED_ITEM_REAL:
            return KindName(ValueKind::Real);
        case ZVED_ITEM_TRUE:
        case ZVED_ITEM_FALSE:
            return KindName(ValueKind::Bool);
        case ZVED_ITEM_BINARY:
            return KindName(ValueKind::Data);
        default:
            return KindName(ValueKind::String);
    }
}

EnvStore::EnvStore(const std::string& path, bool createMissing)
    : m_path(path), m_file(nullptr, CloseEnvFile) {
    if (!createMissing || !IsMissing(path)) {
        RequireRegularFile(path);
    }
    m_file.reset(new CZVEnvFile);
    m_file->AddRef();
    if (!m_file->OpenFile(path.c_str())) {
        throw Failure::FromLastError(path);
    }
    if (!Data().Lock(1)) {
        throw Failure(path, "", TARN_ERR_LOCK_DATA);
    }
    TreeCounts counts;
    unsigned int bad = FindMalformedItem(Data(), counts);
    Data().Lock(0);
    if (bad != 0) {
        throw Failure(
            path, "malformed item at byte " + std::to_string(bad - ZVED_ROOT_DIR) + " of the body",
            TARN_ERR_LOAD_FILE);
    }
}

EnvStore::~EnvStore() = default;

void EnvStore::SetValue(const std::string& keyPath, const EnvValue& value) {
    const char* key = keyPath.c_str();
    int ok = 0;
    switch (value.kind) {
        case ValueKind::Int: {
            // The file object's setter keeps a key's radix; the store's setter takes the one the
            // value was written in.
            KeyScope scope(*this, keyPath, true);
            ok = scope.Data().SetInteger(scope.Dir(), scope.Name(), scope.NameLength(),
                                         value.integer, value.radix) != 0;
            if (!ok) {
                TarnSetLastError(TARN_ERR_SET_INTEGER);
            }
            break;
        }
        case ValueKind::Real:
            ok = m_file->SetDouble(key, value.real);
            break;
        case ValueKind::Bool:
            ok = m_file->SetBoolean(key, value.boolean ? 1 : 0);
            break;
        case ValueKind::String:
            ok = m_file->SetString(key, value.bytes.c_str());
            break;
        case ValueKind::Data:
            ok = m_file->SetData(key, value.bytes.data(),
                                 static_cast<unsigned int>(value.bytes.size()));
            break;
    }
    if (!ok) {
        throw Failure::FromLastError(m_path, keyPath);
    }
}

void EnvStore::SetLockMark(const std::string& dirPath, bool lock) {
    if (lock && m_file->GetFormat() == 0) {
        throw Failure(m_path, "the text form keeps no lock marks (convert the file to binary)",
                      TARN_ERR_UNSUPPORTED_FORMAT);
    }
    if (!m_file->Lock(dirPath.c_str(), lock ? 1 : 0)) {
        throw Failure::FromLastError(m_path, dirPath);
    }
}

void EnvStore::Save() {
    SaveTo(m_path);
}

void EnvStore::SaveTo(const std::string& target) {
    Replacement replacement(target);
    if (!m_file->SaveAs(replacement.Path().c_str())) {
        throw Failure::FromLastError(target);
    }
    replacement.Commit();
}

std::string KeyScope::TypeLetterHint() {
    // The text form writes a key Port as nPort: the first letter gives the type and is not part
    // of the name. A path that names the key with its letter gets told so.
    static const struct {
        char letter;
        const char* kind;
    } kLetters[] = {{'n', "int"}, {'r', "real"}, {'b', "bool"}, {'s', "string"}, {'c', "data"}};
    if (m_nameLength < 2) {
        return "";
    }
    unsigned int key = m_data.FindKey(m_dir, m_name + 1, m_nameLength - 1);
    if (key == 0) {
        return "";
    }
    EnvEntry entry;
    entry.type = static_cast<unsigned char>(m_data.GetAttribute(key));
    std::string name(m_name + 1, static_cast<size_t>(m_nameLength - 1));
    for (const auto& row : kLetters) {
        if (row.letter == m_name[0] && std::string(row.kind) == EntryTypeName(entry)) {
            return " (the key is " + name + "; the text form writes its type letter " + row.letter +
                   " in front of it)";
        }
    }
    return "";
}

DirScope::DirScope(EnvStore& store, const std::string& path) : m_data(store.Data()) {
    if (!store.File().PrepareDir(path.c_str(), -1, &m_dir, 0)) {
        throw Failure::FromLastError(store.Path(), path);
    }
    if (m_dir < ZVED_ROOT_DIR) {
        m_dir = ZVED_ROOT_DIR;
    }
}

KeyScope::KeyScope(EnvStore& store, const std::string& keyPath, bool create)
    : m_data(store.Data()), m_path(keyPath), m_file(store.Path()) {
    if (!store.File().PrepareKey(m_path.c_str(), &m_dir, &m_name, &m_nameLength, create ? 1 : 0)) {
        throw Failure::FromLastError(m_file, m_path);
    }
}

EnvEntry KeyScope::Require() {
    EnvEntry entry;
    entry.offset = m_data.FindKey(m_dir, m_name, m_nameLength);
    if (entry.offset == 0) {
        throw Failure(m_file, m_path + TypeLetterHint(), TARN_ERR_KEY_NOT_EXIST);
    }
    entry.type = static_cast<unsigned char>(m_data.GetAttribute(entry.offset));
    entry.name.assign(m_name, static_cast<size_t>(m_nameLength));
    return entry;
}

}  // namespace zvtool
