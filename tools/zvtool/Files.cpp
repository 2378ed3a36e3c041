// Files.cpp - path checks, whole-file reads and writes, and replacing a file by renaming.
#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "Output.h"
#include "TarnError.h"

namespace zvtool {

namespace {

std::string SystemReason() {
    return std::strerror(errno);
}

// Writes what the system holds of path to the disk (a file's bytes, a folder's entries), so
// that a power cut after the rename finds the new file whole. Returns false with errno.
bool SyncPath(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    bool synced = fsync(fd) == 0;
    int saved = errno;
    close(fd);
    errno = saved;
    return synced;
}

}  // namespace

void RequireRegularFile(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        throw Failure(path, "", TARN_ERR_FILE_NOT_EXIST);
    }
    if (S_ISDIR(status.st_mode)) {
        throw Failure(path, "", TARN_ERR_PATH_IS_DIRECTORY);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(path, "not a regular file", TARN_ERR_INVALID_FILE_PATH);
    }
}

bool IsMissing(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Failure(path, SystemReason(), TARN_ERR_OPEN_FILE);
    }
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) {
        throw Failure(path, SystemReason(), TARN_ERR_OPEN_FILE);
    }
    return bytes;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        throw Failure(path, SystemReason(), TARN_ERR_OPEN_FILE);
    }
}

Replacement::Replacement(const std::string& target) : m_name(target), m_target(target) {
    // A symbolic link stays a link: the file it leads to is the one replaced.
    char* real = realpath(target.c_str(), nullptr);
    if (real != nullptr) {
        m_target = real;
        std::free(real);
    }
    size_t slash = m_target.find_last_of('/');
    std::string dir = slash == std::string::npos ? std::string() : m_target.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? m_target : m_target.substr(slash + 1);
    std::string pattern = dir + "." + base + ".zvtool-XXXXXX";
    std::string buffer = pattern;
    int fd = mkstemp(&buffer[0]);
    if (fd < 0) {
        throw Failure(m_name, "cannot write next to it: " + SystemReason(), TARN_ERR_OPEN_FILE);
    }
    close(fd);
    m_path = buffer;
}

Replacement::~Replacement() {
    if (!m_committed) {
        int saved = errno;
        unlink(m_path.c_str());
        errno = saved;
    }
}

void Replacement::Commit() {
    struct stat status;
    mode_t mode;
    if (stat(m_target.c_str(), &status) == 0) {
        mode = status.st_mode & 07777;
        // Keep the owner where allowed (a privileged user editing another's file); where not,
        // the file is the caller's, as any file the caller writes anew.
        if (chown(m_path.c_str(), status.st_uid, status.st_gid) != 0) {
            errno = 0;
        }
    } else {
        mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    // Synced while it still has the temporary file's own permissions, which let its owner read.
    if (!SyncPath(m_path) || chmod(m_path.c_str(), mode) != 0 ||
        rename(m_path.c_str(), m_target.c_str()) != 0) {
        throw Failure(m_name, SystemReason(), TARN_ERR_FLUSH_FILE);
    }
    m_committed = true;
    // The file is in place once renamed; a folder that cannot be synced does not undo that.
    size_t slash = m_target.find_last_of('/');
    SyncPath(slash == std::string::npos ? "." : m_target.substr(0, slash + 1));
}

}  // namespace zvtool
