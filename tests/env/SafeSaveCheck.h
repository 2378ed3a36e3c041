// Helpers shared by the tests of saving that replaces a file as a whole: the entries of a folder,
// the status of a file, two versions of a large settings tree, and the verdict on what a file
// holds after a save was interrupted (the old version, the new one, or what is wrong with it).
#ifndef ZV_TESTS_SAFESAVECHECK_H
#define ZV_TESTS_SAFESAVECHECK_H

#include <sys/stat.h>

#include <string>
#include <vector>

#include "ZVEnvData.h"

namespace safesave {

// The names in a folder, "." and ".." left out, sorted.
std::vector<std::string> FolderEntries(const std::string& folder);
// The names in a folder that a save's temporary file for the file name would take:
// ".name." followed by six letters or digits.
std::vector<std::string> Temporaries(const std::string& folder, const std::string& name);
// lstat of path; st_ino 0 when there is nothing there.
struct stat Status(const std::string& path);

// Fills an empty store with version `version` of a settings tree of `keys` keys: directories of
// 40 keys each, integers, strings and binary values that all depend on the version, and the key
// "/marker" holding the version. format 0 text, 1 binary.
bool FillVersion(CZVEnvData& store, int version, int keys, int format);

// One complete version of a file as a save writes it: its body (everything behind the 96-byte
// header line) and the version its "/marker" key holds.
struct Version {
    std::string body;
    int marker;
};

// What the bytes of a file are, written to scratch to look at: "absent" (present false), "v<N>"
// when it is a complete file of one of the versions (a strict header check passes, the body is
// exactly that version's, and it loads with its marker), otherwise a description of what is
// wrong.
std::string Verdict(bool present, const std::string& bytes, const std::vector<Version>& versions,
                    const std::string& scratch);

}  // namespace safesave

#endif  // ZV_TESTS_SAFESAVECHECK_H
