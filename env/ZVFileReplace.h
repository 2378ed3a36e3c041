/*
 * ZVFileReplace.h - replacing a file as a whole: a save writes a new temporary file beside its
 * target and, once that file is complete and on disk, renames it over the target, so that the
 * target holds either its old or its new contents at every moment, even across a killed process
 * or a power cut.
 *
 * Begin resolves the target (a symbolic link, or a chain of them, is followed: the file it leads
 * to is replaced, the link stays), refuses a target that cannot be opened for writing exactly as
 * fopen(path, "w+b") would, and makes the temporary file ".NAME.XXXXXX" in the target's folder
 * with the target's owner and group. Where no temporary file can be made (a folder that is not
 * writable, a target that is not a regular file, an owner that cannot be given to it), the file
 * is written in place as fopen(path, "w+b") gives it, which is not atomic.
 *
 * Commit gives the temporary file the target's permission bits, has it written to disk, renames
 * it over the target and has the folder written to disk. A replace that is not committed (a
 * failed write, a failed stamp, an early return) removes its temporary file when it ends, and
 * the target is untouched. Every step keeps the caller's last-error code when it succeeds and
 * leaves the failing call's code when it fails. Internal to the library.
 */
#ifndef ZVFILEREPLACE_H
#define ZVFILEREPLACE_H

#include <stdio.h>
#include <sys/stat.h>

namespace zvenv {

class FileReplace {
public:
    FileReplace();
    ~FileReplace();
    FileReplace(const FileReplace&) = delete;
    FileReplace& operator=(const FileReplace&) = delete;

    /* The stream a save writes to ("w+b"): a new temporary file beside the target, or the
     * target itself, truncated. Null when the target cannot be written, with the last-error
     * code that fopen(path, "w+b") leaves. The caller closes the stream (Close, or fclose on a
     * failure). path is not copied: it must outlive the replace. */
    FILE* Begin(const char* path);
    /* The path of the file being written: the temporary file, or the target in place. */
    const char* WrittenPath() const;
    /* Closes the stream after the last write. A temporary file whose buffered bytes did not all
     * reach it is never committed. */
    void Close(FILE* file);
    /* Puts the written file in the target's place: 1, or 0 with the failing call's code, the
     * temporary file removed and the target untouched. Writing in place there is nothing left
     * to do: 1. */
    int Commit();
    /* Removes the temporary file, if there is one; the last-error code is kept. */
    void Abandon();

private:
    FILE* WriteInPlace();
    bool MakeTemporary(const struct stat* target);
    bool TakeOwner(int fd, const struct stat* target);
    void SyncFolder() const;

    const char* m_path; /* the caller's path */
    char* m_target;     /* the file that is replaced: m_path with its links followed */
    char* m_temporary;  /* the temporary file's path; null when writing in place */
    int m_fd;           /* a descriptor of the temporary file of its own, for the last sync */
    int m_closeError;   /* the code of a failed close of the stream; 0 when none */
    bool m_existed;     /* the target existed: its permission bits are given to the new file */
    mode_t m_mode;
};

}  // namespace zvenv

#endif  // ZVFILEREPLACE_H
