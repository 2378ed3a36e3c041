// A tree of an environment file as the ZVEV functions show it (see FuzzEnvTree.h).
#include "FuzzEnvTree.h"

#include <math.h>
#include <string.h>

#include "FuzzSupport.h"

namespace zvfuzz {

namespace {

const int kMostLevels = 64;

// A directory is walked into only where its name makes a path of its own: an empty name, or one
// holding a path separator, leads back to a directory already on the way ("/" + "" + "/" is the
// root again), and a damaged file with two such names would double the walk at every level.
bool LeadsSomewhereNew(const char* name) {
    return name[0] != '\0' && strchr(name, '/') == nullptr && strchr(name, '\\') == nullptr;
}

// What the integer, boolean, string and binary getters give for a key path.
std::string ReadEveryWay(ZVEV_HANDLE h, const char* path) {
    std::string value = "i" + std::to_string(ZVEVGetInteger(h, path, 0x7FFF0001));
    value += " b" + std::to_string(ZVEVGetBoolean(h, path, 7));
    const int length = ZVEVGetString(h, path, nullptr, 0, "");
    Check(length >= 0);
    std::vector<char> text(static_cast<size_t>(length) + 1u);
    Check(ZVEVGetString(h, path, text.data(), static_cast<unsigned int>(text.size()), "") ==
          length);
    Check(text[static_cast<size_t>(length)] == '\0');
    value += " s" + std::string(text.data(), static_cast<size_t>(length));
    const int size = ZVEVGetData(h, path, nullptr, 0);
    value += " d" + std::to_string(size);
    if (size > 0) {
        std::string bytes(static_cast<size_t>(size), '\0');
        Check(ZVEVGetData(h, path, &bytes[0], static_cast<unsigned int>(size)) == size);
        value += bytes;
    }
    return value;
}

// Listings a walk makes at the most: directories of one name given twice lead to the same
// directory twice, so a damaged file can make the number of paths grow with every level.
const int kMostListings = 4096;

void Describe(ZVEV_HANDLE h, const std::string& dir, int level, int& listings,
              std::vector<Entry>& out) {
    if (++listings > kMostListings) {
        return;
    }
    ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(h, dir.c_str(), ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS);
    if (list == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < list->dwCount; ++i) {
        Entry e;
        e.path = dir + list->Entries[i].pszName;
        e.type = list->Entries[i].wType;
        const char* path = e.path.c_str();
        if (e.type == ZVEV_ENTRY_DIR) {
            e.locked = ZVEVIsLocked(h, path);
            e.value = std::to_string(ZVEVCheckDirExist(h, path));
            out.push_back(e);
            if (level < kMostLevels && LeadsSomewhereNew(list->Entries[i].pszName)) {
                Describe(h, e.path + "/", level + 1, listings, out);
            }
            continue;
        }
        Check(e.type >= ZVEV_ENTRY_BINARY && e.type <= ZVEV_ENTRY_STRING);
        e.value = std::to_string(ZVEVCheckKeyExist(h, path)) + ReadEveryWay(h, path);
        e.real = ZVEVGetDouble(h, path, 0.5);
        out.push_back(e);
    }
    Check(ZVEVFreeSnapList(list) == 1);
}

bool SameBits(double a, double b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

bool SameTextReal(double a, double b) {
    if (fabs(a) < 1e-290) {
        return fabs(b) < 1e-280;
    }
    return fabs(a - b) <= 1e-12 * fabs(a);
}

}  // namespace

std::vector<Entry> Tree(ZVEV_HANDLE h) {
    std::vector<Entry> entries;
    int listings = 0;
    Describe(h, "/", 0, listings, entries);
    return entries;
}

bool SameTree(const std::vector<Entry>& a, const std::vector<Entry>& b, bool binary) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        const Entry& x = a[i];
        const Entry& y = b[i];
        if (x.path != y.path || x.type != y.type || x.value != y.value) {
            return false;
        }
        if (binary ? !SameBits(x.real, y.real) || x.locked != y.locked
                   : !SameTextReal(x.real, y.real)) {
            return false;
        }
    }
    return true;
}

bool HoldsNotANumber(const std::vector<Entry>& entries) {
    for (const Entry& e : entries) {
        if (e.type == ZVEV_ENTRY_REAL && isnan(e.real)) {
            return true;
        }
    }
    return false;
}

}  // namespace zvfuzz
