#include "SafeSaveCheck.h"

#include <dirent.h>
#include <errno.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "ZVCmnFileHdr.h"
#include "ZVFileAccess.h"

namespace safesave {

namespace {

const unsigned int kKeysPerFolder = 40;

bool IsTemporaryOf(const std::string& entry, const std::string& name) {
    const std::string prefix = "." + name + ".";
    if (entry.size() != prefix.size() + 6 || entry.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    return std::all_of(entry.begin() + static_cast<long>(prefix.size()), entry.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
}

}  // namespace

// readdir64 on purpose: the i386 build's readdir() stops with EOVERFLOW where the file system
// hands out 64-bit directory offsets (as it does to i386 programs run under an emulator), and
// the folder would look empty. This file cannot be built with 64-bit file offsets as a whole:
// Status() hands out the header's struct stat.
std::vector<std::string> FolderEntries(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) {
        ADD_FAILURE() << "cannot list " << folder;
        return names;
    }
    errno = 0;
    while (struct dirent64* entry = readdir64(dir)) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
            names.push_back(entry->d_name);
        }
    }
    EXPECT_EQ(0, errno) << "listing " << folder << " stopped early";
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Temporaries(const std::string& folder, const std::string& name) {
    std::vector<std::string> found;
    for (const std::string& entry : FolderEntries(folder)) {
        if (IsTemporaryOf(entry, name)) {
            found.push_back(entry);
        }
    }
    return found;
}

struct stat Status(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
        memset(&st, 0, sizeof st);
    }
    return st;
}

bool FillVersion(CZVEnvData& store, int version, int keys, int format) {
    const unsigned int root = store.GetRootDir();
    if (store.AssignFormat(format) != 1 || store.SetInteger(root, "marker", -1, version, 7) == 0) {
        return false;
    }
    unsigned int dir = root;
    for (int i = 0; i < keys; ++i) {
        if (i % kKeysPerFolder == 0) {
            std::string folder = "folder" + std::to_string(i / kKeysPerFolder);
            dir = store.CreateDir(root, folder.c_str(), -1);
            if (dir == 0) {
                return false;
            }
        }
        std::string name = "key" + std::to_string(i);
        unsigned int made = 0;
        switch (i % 3) {
            case 0:
                made = store.SetInteger(dir, name.c_str(), -1, version * 100000 + i, 7);
                break;
            case 1: {
                std::string text = "version " + std::to_string(version) + " of key " +
                                   std::to_string(i) + std::string(i % 17, 'x');
                made = store.SetString(dir, name.c_str(), -1, text.c_str(), -1);
                break;
            }
            default: {
                std::string bytes(static_cast<size_t>(8 + i % 9), static_cast<char>(version + i));
                made = store.SetBinData(dir, name.c_str(), -1, bytes.data(),
                                        static_cast<unsigned int>(bytes.size()));
                break;
            }
        }
        if (made == 0) {
            return false;
        }
    }
    return true;
}

std::string Verdict(bool present, const std::string& bytes, const std::vector<Version>& versions,
                    const std::string& scratch) {
    if (!present) {
        return "absent";
    }
    if (bytes.size() < 96) {
        return "torn: " + std::to_string(bytes.size()) + " bytes";
    }
    const std::string body = bytes.substr(96);
    const Version* match = nullptr;
    for (const Version& v : versions) {
        if (v.body == body) {
            match = &v;
        }
    }
    if (match == nullptr) {
        return "torn: a body of " + std::to_string(body.size()) + " bytes that no version has";
    }
    zvtest::WriteFile(scratch, bytes);
    if (ZVCFIsFileAbsValidA(scratch.c_str()) != 1) {
        return "torn: the header line does not fit the body";
    }
    ZVEV_HANDLE handle = nullptr;
    if (ZVEVOpenFile(scratch.c_str(), &handle) != 1) {
        return "does not load";
    }
    int marker = ZVEVGetInteger(handle, "/marker", -1);
    ZVEVClose(handle);
    if (marker != match->marker) {
        return "loads with marker " + std::to_string(marker);
    }
    return "v" + std::to_string(match->marker);
}

}  // namespace safesave
