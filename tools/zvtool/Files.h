// Files.h - the checks zvtool makes on the files it is given, and how it replaces a file so that
// a failed command leaves it as it was.
#ifndef ZVTOOL_FILES_H
#define ZVTOOL_FILES_H

#include <string>

namespace zvtool {

// Refuses a missing path (code 68 "File not exist."), a directory (code 69 "Assigned path is
// directory.") and anything else that is not a regular file (code 65 "Invalid file path
// assigned.").
void RequireRegularFile(const std::string& path);
// True when path names nothing at all (so a command may create it).
bool IsMissing(const std::string& path);
// The whole file. A file that cannot be read gives code 36 "Open file failed.".
std::string ReadFile(const std::string& path);
// Writes bytes to path (created or truncated); code 36 when it cannot be written.
void WriteFile(const std::string& path, const std::string& bytes);

// A new file next to target that takes target's place on Commit (when target is a symbolic link,
// the file it leads to is replaced and the link kept). Until then target is left alone, and a
// Replacement that is not committed removes its file.
class Replacement {
public:
    explicit Replacement(const std::string& target);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    // Where to write the new contents.
    const std::string& Path() const { return m_path; }
    // Gives the new file target's permissions and, where allowed, its owner (or the usual
    // permissions for a new target), syncs it, renames it over target and syncs the folder. Code 8
    // "Flush file failed." when that fails.
    void Commit();

private:
    std::string m_name;    // as given, for messages
    std::string m_target;  // the file replaced (a link's target)
    std::string m_path;
    bool m_committed = false;
};

}  // namespace zvtool

#endif  // ZVTOOL_FILES_H
