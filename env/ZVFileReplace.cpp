/*
 * ZVFileReplace.cpp - replacing a file as a whole through a temporary file beside it, renamed
 * over it once it is complete and on disk; writing in place where that cannot be done.
 */
#include "ZVFileReplace.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "TarnString.h"
#include "ZVFileAccess.h"

namespace {

/* Symbolic links followed before giving up, the kernel's own limit: fopen then reports the
 * loop itself. */
const int kMaxLinks = 40;
/* Names tried for the temporary file while others of that name exist. */
const int kNameAttempts = 100;
/* Random characters at the end of the temporary file's name. */
const size_t kRandomLength = 6;
/* The longest link text read. */
const size_t kMaxLinkText = 1u << 20;
/* Permission bits carried from the target to the new file. The set-user-ID and set-group-ID
 * bits are not: writing the file in place drops them too. */
const mode_t kPermissionBits = 0777;

/* A new string of the first aLength bytes of a followed by the first bLength bytes of b; null
 * when there is no memory. */
char* Join(const char* a, size_t aLength, const char* b, size_t bLength) {
    char* joined = static_cast<char*>(malloc(aLength + bLength + 1));
    if (joined != nullptr) {
        memcpy(joined, a, aLength);
        memcpy(joined + aLength, b, bLength);
        joined[aLength + bLength] = '\0';
    }
    return joined;
}

/* Length of the folder part of path with its last '/' (0 when path names no folder). */
size_t FolderLength(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash != nullptr ? static_cast<size_t>(slash - path) + 1 : 0;
}

/* A path that names no file of its own: empty, or ending in '/'. */
bool NamesNoFile(const char* path) {
    size_t length = strlen(path);
    return length == 0 || path[length - 1] == '/';
}

/* The text of the symbolic link at path (size: its length as lstat gives it), or null. */
char* ReadLinkText(const char* path, off_t size) {
    size_t capacity = size > 0 ? static_cast<size_t>(size) + 1 : 256;
    while (capacity <= kMaxLinkText) {
        char* text = static_cast<char*>(malloc(capacity));
        if (text == nullptr) {
            return nullptr;
        }
        ssize_t length = readlink(path, text, capacity);
        if (length >= 0 && static_cast<size_t>(length) < capacity) {
            text[length] = '\0';
            return text;
        }
        free(text);
        if (length < 0) {
            return nullptr;
        }
        capacity *= 2; /* the link was changed in between: read it again */
    }
    return nullptr;
}

/*
 * The file path leads to, with its symbolic links followed one by one (a relative link text is
 * taken from the folder that holds the link); *target receives its status and *exists whether
 * it exists. Null when that cannot be told (a path that names no file, a loop, a folder that
 * cannot be searched, no memory): the save then writes in place and fopen gives its own answer.
 */
char* FollowLinks(const char* path, struct stat* target, bool* exists) {
    if (NamesNoFile(path)) {
        return nullptr;
    }
    char* current = Join(path, strlen(path), "", 0);
    for (int links = 0; current != nullptr && !NamesNoFile(current); ++links) {
        if (lstat(current, target) != 0) {
            if (errno == ENOENT) {
                *exists = false;
                return current;
            }
            break;
        }
        if (!S_ISLNK(target->st_mode)) {
            *exists = true;
            return current;
        }
        char* text = links < kMaxLinks ? ReadLinkText(current, target->st_size) : nullptr;
        if (text == nullptr) {
            break;
        }
        size_t keep = text[0] == '/' ? 0 : FolderLength(current);
        char* next = Join(current, keep, text, strlen(text));
        free(text);
        free(current);
        current = next;
    }
    free(current);
    return nullptr;
}

/* A seed for the temporary file's name: the clock, the process and an address of the call. */
uint64_t NameSeed(const void* where) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_nsec) ^ (static_cast<uint64_t>(now.tv_sec) << 30) ^
           (static_cast<uint64_t>(getpid()) << 12) ^ reinterpret_cast<uintptr_t>(where);
}

/* Writes kRandomLength letters and digits to out and moves the state on. */
void FillRandomName(char* out, uint64_t* state) {
    static const char kChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    *state += 0x9E3779B97F4A7C15ull;
    uint64_t x = *state;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    for (size_t i = 0; i < kRandomLength; ++i) {
        out[i] = kChars[x % (sizeof kChars - 1)];
        x /= sizeof kChars - 1;
    }
}

/*
 * Whether the header stamp finds the file at path: it takes the path through its wide form and
 * the existence check, which reach only paths of less than 256 bytes. The temporary name is
 * longer than the target's, so a target the stamp reaches may have a temporary file it does not.
 */
bool ReachableByStamp(const char* path) {
    wchar_t* wide = TarnAnsiToWideString(path);
    if (wide == nullptr) {
        return false;
    }
    int found = ZVEVIsFileExistW(wide);
    TarnFreeBuffer(wide);
    return found != 0;
}

}  // namespace

namespace zvenv {

FileReplace::FileReplace()
    : m_path(nullptr),
      m_target(nullptr),
      m_temporary(nullptr),
      m_fd(-1),
      m_closeError(0),
      m_existed(false),
      m_mode(0) {}

FileReplace::~FileReplace() {
    Abandon();
    free(m_target);
}

/*
 * A target that exists is first opened for writing, without truncating it, by the caller's
 * path: that gives exactly the answer fopen(path, "w+b") gives (read and write, links followed),
 * so that a save that failed before the file was replaced through a temporary one still fails
 * with the same code.
 */
FILE* FileReplace::Begin(const char* path) {
    int saved = errno;
    m_path = path;
    struct stat target;
    m_target = FollowLinks(path, &target, &m_existed);
    if (m_target != nullptr && m_existed && S_ISREG(target.st_mode)) {
        int fd = open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) {
            return nullptr;
        }
        close(fd);
        m_mode = target.st_mode & kPermissionBits;
    }
    if (m_target == nullptr || (m_existed && !S_ISREG(target.st_mode)) || !MakeTemporary(&target)) {
        errno = saved;
        return WriteInPlace();
    }
    int streamFd = dup(m_fd);
    FILE* stream = streamFd >= 0 ? fdopen(streamFd, "w+b") : nullptr;
    if (stream == nullptr) {
        /* The temporary file is there but no stream could be made for it (no memory, no
         * descriptor left): the save fails with that code rather than give up the replace. */
        int error = errno;
        if (streamFd >= 0) {
            close(streamFd);
        }
        Abandon();
        errno = error;
        return nullptr;
    }
    errno = saved;
    return stream;
}

const char* FileReplace::WrittenPath() const {
    return m_temporary != nullptr ? m_temporary : m_path;
}

/* Writing in place, the close's result is not looked at, as it never was: what reached the file
 * is stamped as it is. */
void FileReplace::Close(FILE* file) {
    if (fclose(file) != 0 && m_temporary != nullptr) {
        m_closeError = errno != 0 ? errno : EIO;
    }
}

/*
 * The new file is on disk before it is renamed, so that the target's name never leads to a file
 * whose contents were not written yet. The folder is synced afterwards so that the rename itself
 * survives a power cut; when that sync fails the target is replaced all the same, and the save
 * has succeeded.
 */
int FileReplace::Commit() {
    if (m_temporary == nullptr) {
        return 1;
    }
    int saved = errno;
    if (m_closeError != 0) {
        errno = m_closeError;
        Abandon();
        return 0;
    }
    if ((m_existed && fchmod(m_fd, m_mode) != 0) || fsync(m_fd) != 0) {
        Abandon();
        return 0;
    }
    int fd = m_fd;
    m_fd = -1;
    if (close(fd) != 0 || rename(m_temporary, m_target) != 0) {
        Abandon();
        return 0;
    }
    free(m_temporary);
    m_temporary = nullptr;
    SyncFolder();
    errno = saved;
    return 1;
}

void FileReplace::Abandon() {
    int saved = errno;
    if (m_fd >= 0) {
        close(m_fd);
        m_fd = -1;
    }
    if (m_temporary != nullptr) {
        unlink(m_temporary);
        free(m_temporary);
        m_temporary = nullptr;
    }
    errno = saved;
}

FILE* FileReplace::WriteInPlace() {
    free(m_target);
    m_target = nullptr;
    m_existed = false;
    return fopen(m_path, "w+b");
}

/*
 * Makes ".NAME.XXXXXX" in the target's folder, a name no user's file takes by accident, created
 * exclusively. A new target gets the permissions that creating it would give (0666 less the
 * umask, or the folder's default); an existing one's owner and group are given to the new file
 * here and its permission bits at the commit (the header stamp must still open it for writing).
 */
bool FileReplace::MakeTemporary(const struct stat* target) {
    size_t folder = FolderLength(m_target);
    size_t length = strlen(m_target);
    char* name = static_cast<char*>(malloc(length + 2 + kRandomLength + 1));
    if (name == nullptr) {
        return false;
    }
    memcpy(name, m_target, folder);
    name[folder] = '.';
    memcpy(name + folder + 1, m_target + folder, length - folder);
    name[length + 1] = '.';
    char* random = name + length + 2;
    random[kRandomLength] = '\0';
    uint64_t state = NameSeed(name);
    int fd = -1;
    for (int attempt = 0; attempt < kNameAttempts && fd < 0; ++attempt) {
        FillRandomName(random, &state);
        fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, m_existed ? 0600 : 0666);
        if (fd < 0 && errno != EEXIST) {
            break;
        }
    }
    if (fd < 0) {
        free(name);
        return false;
    }
    m_temporary = name;
    m_fd = fd;
    if (!ReachableByStamp(name) || (m_existed && !TakeOwner(fd, target))) {
        Abandon();
        return false;
    }
    return true;
}

/* Gives the new file the target's owner and group. Where that is not allowed (the target
 * belongs to another user, or to a group the caller is not in), the file is written in place
 * instead, so that it keeps its owner. */
bool FileReplace::TakeOwner(int fd, const struct stat* target) {
    struct stat made;
    if (fstat(fd, &made) != 0) {
        return false;
    }
    if (made.st_uid == target->st_uid && made.st_gid == target->st_gid) {
        return true;
    }
    return fchown(fd, target->st_uid, target->st_gid) == 0;
}

void FileReplace::SyncFolder() const {
    size_t folder = FolderLength(m_target);
    char* path = folder != 0 ? Join(m_target, folder, "", 0) : Join(".", 1, "", 0);
    if (path == nullptr) {
        return;
    }
    int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    free(path);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

}  // namespace zvenv
