// EnvStore.h - an environment file opened for zvtool: the library's environment file object
// (CZVEnvFile) with its store, checked for a well-formed item tree when it is opened, and saved
// so that a failed save leaves the file as it was.
#ifndef ZVTOOL_ENVSTORE_H
#define ZVTOOL_ENVSTORE_H

#include <memory>
#include <string>
#include <vector>

#include "EnvValue.h"
#include "ZVEnvFile.h"

namespace zvtool {

// One item of a directory (fillers left out).
struct EnvEntry {
    unsigned int offset = 0;
    unsigned char type = 0;  // the item type of ZVEnvData.h
    std::string name;        // a directory's or key's name, a comment's text

    bool IsDir() const { return type == ZVED_ITEM_DIR || type == ZVED_ITEM_LOCKED_DIR; }
    bool IsComment() const {
        return type == ZVED_ITEM_COMMENT || type == ZVED_ITEM_TRAILING_COMMENT;
    }
    bool IsKey() const { return !IsDir() && !IsComment(); }
    bool IsLocked() const { return type == ZVED_ITEM_LOCKED_DIR; }
};

// What an item tree holds.
struct TreeCounts {
    unsigned int directories = 0;
    unsigned int keys = 0;
    unsigned int comments = 0;
};

// Walks the whole tree of a locked store with the store's own size and name checks. Returns 0
// when every item is well formed, else the offset of the first item that is not: a size that
// leaves its directory, an unknown type, an invalid or empty name, directories nested deeper
// than anything the library builds.
unsigned int FindMalformedItem(CZVEnvData& data, TreeCounts& counts);
// The items of a directory of a locked, well-formed store, in storage order.
std::vector<EnvEntry> ListDirectory(CZVEnvData& data, unsigned int dir);
// The value of a key item of a locked store.
EnvValue ReadValue(CZVEnvData& data, const EnvEntry& key);
// "dir", or the kind of a key ("int", "real", ...), or "comment".
const char* EntryTypeName(const EnvEntry& entry);

class EnvStore {
public:
    // Opens path. A missing path is refused with code 68 unless createMissing, in which case the
    // store starts empty; a directory gives code 69. Load failures keep the library's code (13),
    // and a tree that is not well formed is refused with code 13 as well.
    EnvStore(const std::string& path, bool createMissing);
    ~EnvStore();
    EnvStore(const EnvStore&) = delete;
    EnvStore& operator=(const EnvStore&) = delete;

    const std::string& Path() const { return m_path; }
    CZVEnvFile& File() { return *m_file; }
    CZVEnvData& Data() { return m_file->m_EnvData; }

    // Sets or clears a directory's lock mark. The text form keeps no lock marks, so a store in
    // the text form refuses to set one, with code 25 "Unsupported format.", rather than lose it.
    void SetLockMark(const std::string& dirPath, bool lock);
    // Writes value under the key path, creating missing directories; an integer keeps the radix
    // it carries. Failures keep the library's code (21-24 and those of the key path).
    void SetValue(const std::string& keyPath, const EnvValue& value);
    // Saves in the store's format over its own file, or to target.
    void Save();
    void SaveTo(const std::string& target);

private:
    std::string m_path;
    std::unique_ptr<CZVEnvFile, void (*)(CZVEnvFile*)> m_file;
};

// The store locked on a directory: PrepareDir leaves the store locked, this scope unlocks it.
class DirScope {
public:
    // Code 5 when the directory does not exist.
    DirScope(EnvStore& store, const std::string& path);
    ~DirScope() { m_data.Lock(0); }
    DirScope(const DirScope&) = delete;
    DirScope& operator=(const DirScope&) = delete;

    CZVEnvData& Data() { return m_data; }
    // The directory's offset (the root is 38).
    unsigned int Dir() const { return m_dir; }

private:
    CZVEnvData& m_data;
    unsigned int m_dir = 0;
};

// The store locked on a key: PrepareKey leaves the store locked, this scope unlocks it.
class KeyScope {
public:
    // With create, missing directories on the way are created. Codes of the key path (5, 27,
    // 28); code 12 from Require when the key itself is missing.
    KeyScope(EnvStore& store, const std::string& keyPath, bool create);
    ~KeyScope() { m_data.Lock(0); }
    KeyScope(const KeyScope&) = delete;
    KeyScope& operator=(const KeyScope&) = delete;

    CZVEnvData& Data() { return m_data; }
    unsigned int Dir() const { return m_dir; }
    const char* Name() const { return m_name; }
    int NameLength() const { return m_nameLength; }
    // The key's entry; code 12 "Key is not exist." when there is none.
    EnvEntry Require();

private:
    // A hint for a key named with the type letter of the text form in front of its name.
    std::string TypeLetterHint();

    CZVEnvData& m_data;
    std::string m_path;
    std::string m_file;
    unsigned int m_dir = 0;
    char* m_name = nullptr;
    int m_nameLength = 0;
};

}  // namespace zvtool

#endif  // ZVTOOL_ENVSTORE_H
