// Power cuts and failing calls during a save, in a test build whose calls that change files are
// replaced (zv_add_wrapped_test): every such call of the save is counted, and
//
// - a power cut before the N-th call, for every N until the save completes, is modelled from
//   what had been synced by then: a file keeps only what an fsync of it saw (a file never synced
//   is empty), and the folder's entries are those its last fsync saw or, as the disk may have
//   written them already, those it holds now; each file's contents may likewise be the synced
//   ones or the current ones. Whichever of these the disk holds, the file loads and holds the
//   old or the new version, never a mix; once the save has returned, the synced state alone
//   holds the new version.
// - the N-th call failing, for every N: the save either succeeds with the new version or fails
//   with the target untouched, and no temporary file is left.
//
// The model itself is checked on writers that are not safe: writing in place, and renaming a
// file that was never synced, each give a torn file at some cut.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFormatCheck.h"
#include "SafeSaveCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

// One thing the disk may hold for the target after a cut.
struct Outcome {
    std::string how;
    bool present;
    std::string bytes;
};

std::string ReadAll(int fd, off_t size) {
    std::string bytes(static_cast<size_t>(size), '\0');
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t got = pread(fd, &bytes[done], bytes.size() - done, static_cast<off_t>(done));
        if (got <= 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    bytes.resize(done);
    return bytes;
}

// What a disk holds of one folder: its entries as last synced and each file's contents as last
// synced, beside what the folder and the files hold now.
class PowerModel {
public:
    // keep: a descriptor of the target as it was at the start (-1 when there was none), so that
    // its contents can still be read after it was replaced.
    PowerModel(const std::string& folder, const std::string& name, int keep)
        : m_folder(folder), m_name(name), m_keep(keep) {
        struct stat st;
        m_folderIno = stat(folder.c_str(), &st) == 0 ? st.st_ino : 0;
        m_keptIno = keep >= 0 && fstat(keep, &st) == 0 ? st.st_ino : 0;
        // What is there at the start is on disk.
        m_syncedEntries = Entries();
        for (const auto& entry : m_syncedEntries) {
            m_syncedData[entry.second] = zvtest::ReadFile(m_folder + "/" + entry.first);
        }
    }

    // An fsync of fd has succeeded.
    void Synced(int fd) {
        struct stat st;
        if (fstat(fd, &st) != 0) {
            return;
        }
        if (S_ISDIR(st.st_mode)) {
            if (st.st_ino == m_folderIno) {
                m_syncedEntries = Entries();
            }
        } else if (S_ISREG(st.st_mode)) {
            std::string bytes;
            if (!Current(st.st_ino, Entries(), &bytes)) {
                bytes = ReadAll(fd, st.st_size);  // not in the folder: read through fd
            }
            m_syncedData[st.st_ino] = bytes;
        }
    }

    // Everything the disk may hold for the target after a cut now.
    std::vector<Outcome> Cut() const {
        std::vector<Outcome> outcomes;
        const std::map<std::string, ino_t> current = Entries();
        for (int now = 0; now < 2; ++now) {
            const std::map<std::string, ino_t>& entries = now ? current : m_syncedEntries;
            const std::string folder = now ? "folder as it is" : "folder as synced";
            auto entry = entries.find(m_name);
            if (entry == entries.end()) {
                outcomes.push_back({folder + ", no file", false, std::string()});
                continue;
            }
            auto synced = m_syncedData.find(entry->second);
            outcomes.push_back({folder + ", file as synced", true,
                                synced != m_syncedData.end() ? synced->second : std::string()});
            std::string bytes;
            if (Current(entry->second, current, &bytes)) {
                outcomes.push_back({folder + ", file as it is", true, bytes});
            }
        }
        return outcomes;
    }

    // What the disk holds when only what was synced survives.
    Outcome SyncedOnly() const {
        auto entry = m_syncedEntries.find(m_name);
        if (entry == m_syncedEntries.end()) {
            return {"synced", false, std::string()};
        }
        auto synced = m_syncedData.find(entry->second);
        return {"synced", true, synced != m_syncedData.end() ? synced->second : std::string()};
    }

private:
    std::map<std::string, ino_t> Entries() const {
        std::map<std::string, ino_t> entries;
        for (const std::string& name : safesave::FolderEntries(m_folder)) {
            struct stat st = safesave::Status(m_folder + "/" + name);
            if (st.st_ino != 0) {
                entries[name] = st.st_ino;
            }
        }
        return entries;
    }

    bool Current(ino_t ino, const std::map<std::string, ino_t>& entries, std::string* bytes) const {
        for (const auto& entry : entries) {
            if (entry.second == ino) {
                *bytes = zvtest::ReadFile(m_folder + "/" + entry.first);
                return true;
            }
        }
        struct stat st;
        if (ino == m_keptIno && fstat(m_keep, &st) == 0) {
            *bytes = ReadAll(m_keep, st.st_size);
            return true;
        }
        return false;
    }

    std::string m_folder;
    std::string m_name;
    int m_keep;
    ino_t m_folderIno = 0;
    ino_t m_keptIno = 0;
    std::map<std::string, ino_t> m_syncedEntries;
    std::map<ino_t, std::string> m_syncedData;
};

// Shared with the wraps. Atomic, so that the compiler keeps their reads and writes where they
// stand around the calls it knows.
std::atomic<bool> g_tracking{false};
std::atomic<int> g_calls{0};
std::atomic<int> g_cutAt{0};
std::atomic<int> g_failAt{0};
std::atomic<bool> g_cut{false};
PowerModel* g_model = nullptr;
std::vector<Outcome> g_outcomes;
std::vector<std::string> g_trace;  // the names of the calls counted, in order

// Called first by every wrap: counts the call while tracking, cuts the power before the chosen
// one, and tells whether this call is to fail.
bool Intercept(const char* what) {
    if (!g_tracking.load()) {
        return false;
    }
    g_trace.push_back(what);
    int call = ++g_calls;
    if (call == g_cutAt.load()) {
        g_tracking = false;
        g_cut = true;
        g_outcomes = g_model->Cut();
        return false;
    }
    return call == g_failAt.load();
}

// Counts and follows the calls from now on, cutting the power before call cutAt or failing call
// failAt (0: none).
void Track(PowerModel* model, int cutAt, int failAt) {
    g_model = model;
    g_calls = 0;
    g_trace.clear();
    g_cut = false;
    g_cutAt = cutAt;
    g_failAt = failAt;
    g_tracking = true;
}

void StopTracking() {
    g_tracking = false;
    g_model = nullptr;
}

// The calls counted, for messages.
std::string Trace() {
    std::string all;
    for (const std::string& call : g_trace) {
        all += (all.empty() ? "" : " ") + call;
    }
    return all;
}

template <typename T>
T Failed(T result) {
    errno = EIO;
    return result;
}

}  // namespace

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
int __real_dup(int fd);
FILE* __real_fopen(const char* path, const char* mode);
FILE* __real_fdopen(int fd, const char* mode);
size_t __real_fwrite(const void* data, size_t size, size_t count, FILE* file);
int __real_fclose(FILE* file);
ssize_t __real_write(int fd, const void* data, size_t size);
int __real_fsync(int fd);
int __real_rename(const char* from, const char* to);
int __real_unlink(const char* path);
int __real_msync(void* address, size_t length, int flags);
int __real_munmap(void* address, size_t length);
int __real_fchmod(int fd, mode_t mode);
int __real_fchown(int fd, uid_t owner, gid_t group);
int __real_ftruncate(int fd, off_t length);

int __wrap_open(const char* path, int flags, ...) {
    int mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, int);
        va_end(args);
    }
    return Intercept("open") ? Failed(-1) : __real_open(path, flags, mode);
}

// A failing close, fclose or munmap has still released what it was given, as the system's do.
int __wrap_close(int fd) {
    bool fail = Intercept("close");
    int result = __real_close(fd);
    return fail ? Failed(-1) : result;
}

int __wrap_dup(int fd) {
    return Intercept("dup") ? Failed(-1) : __real_dup(fd);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    return Intercept("fopen") ? Failed<FILE*>(nullptr) : __real_fopen(path, mode);
}

FILE* __wrap_fdopen(int fd, const char* mode) {
    return Intercept("fdopen") ? Failed<FILE*>(nullptr) : __real_fdopen(fd, mode);
}

size_t __wrap_fwrite(const void* data, size_t size, size_t count, FILE* file) {
    return Intercept("fwrite") ? Failed<size_t>(0) : __real_fwrite(data, size, count, file);
}

int __wrap_fclose(FILE* file) {
    bool fail = Intercept("fclose");
    int result = __real_fclose(file);
    return fail ? Failed(EOF) : result;
}

ssize_t __wrap_write(int fd, const void* data, size_t size) {
    return Intercept("write") ? Failed<ssize_t>(-1) : __real_write(fd, data, size);
}

int __wrap_fsync(int fd) {
    if (Intercept("fsync")) {
        return Failed(-1);
    }
    int result = __real_fsync(fd);
    if (result == 0 && g_tracking.load()) {
        g_tracking = false;
        g_model->Synced(fd);
        g_tracking = true;
    }
    return result;
}

int __wrap_rename(const char* from, const char* to) {
    return Intercept("rename") ? Failed(-1) : __real_rename(from, to);
}

int __wrap_unlink(const char* path) {
    return Intercept("unlink") ? Failed(-1) : __real_unlink(path);
}

int __wrap_msync(void* address, size_t length, int flags) {
    return Intercept("msync") ? Failed(-1) : __real_msync(address, length, flags);
}

int __wrap_munmap(void* address, size_t length) {
    bool fail = Intercept("munmap");
    int result = __real_munmap(address, length);
    return fail ? Failed(-1) : result;
}

int __wrap_fchmod(int fd, mode_t mode) {
    return Intercept("fchmod") ? Failed(-1) : __real_fchmod(fd, mode);
}

int __wrap_fchown(int fd, uid_t owner, gid_t group) {
    return Intercept("fchown") ? Failed(-1) : __real_fchown(fd, owner, group);
}

int __wrap_ftruncate(int fd, off_t length) {
    return Intercept("ftruncate") ? Failed(-1) : __real_ftruncate(fd, length);
}

}  // extern "C"

namespace {

const int kKeys = 120;
const char kName[] = "settings.env";

// What cutting the power at every call of one save gave.
struct CutReport {
    int cuts = 0;                      // cut points before the save completed
    int result = -1;                   // the completed save's result
    std::string finalVerdict;          // the file after the completed save
    std::string syncedVerdict;         // what only the synced state holds after it
    std::string calls;                 // the calls of the completed save
    std::vector<std::string> entries;  // the folder's entries after it
    std::vector<std::string> bad;
};

class ZVSafeSavePowerCutTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        for (int v = 0; v < 2; ++v) {
            ASSERT_TRUE(m_stores[v].Ready());
            ASSERT_TRUE(safesave::FillVersion(m_stores[v].store, v + 1, kKeys, 0));
        }
    }

    // The two versions' bodies in the given form, and the whole new file.
    void UseFormat(int format) {
        m_versions.clear();
        for (int v = 0; v < 2; ++v) {
            ASSERT_EQ(1, m_stores[v].store.AssignFormat(format));
            const std::string path = m_scratch.File("version.env");
            ASSERT_EQ(1, m_stores[v].store.Save(path.c_str()));
            m_newFile = zvtest::ReadFile(path);
            m_versions.push_back({m_newFile.substr(96), v + 1});
        }
    }

    // Makes the folder for one run: the old version in kName (unless oldExists is false), synced.
    // Returns a descriptor of the old file (-1 when there is none).
    int Prepare(const std::string& folder, bool oldExists) {
        if (!oldExists) {
            return -1;
        }
        const std::string path = folder + "/" + kName;
        EXPECT_EQ(1, m_stores[0].store.Save(path.c_str()));
        int fd = open(path.c_str(), O_RDONLY);
        EXPECT_GE(fd, 0);
        return fd;
    }

    std::string VerdictOf(const Outcome& outcome) {
        return safesave::Verdict(outcome.present, outcome.bytes, m_versions,
                                 m_scratch.File("outcome.env"));
    }

    // Runs save once for every cut point until it completes without one.
    CutReport CutEverywhere(const std::function<int(const std::string&)>& save, bool oldExists) {
        CutReport report;
        const std::set<std::string> allowed = {oldExists ? "v1" : "absent", "v2"};
        for (int cut = 1; cut < 100000; ++cut) {
            zvtest::TempDir dir;
            const std::string path = dir.File(kName);
            int keep = Prepare(dir.Path(), oldExists);
            PowerModel model(dir.Path(), kName, keep);
            Track(&model, cut, 0);
            int result = save(path);
            StopTracking();
            if (!g_cut.load()) {
                report.calls = Trace();
                report.result = result;
                report.finalVerdict = VerdictOf({"final", true, zvtest::ReadFile(path)});
                report.syncedVerdict = VerdictOf(model.SyncedOnly());
                report.entries = safesave::FolderEntries(dir.Path());
            } else {
                ++report.cuts;
                for (const Outcome& outcome : g_outcomes) {
                    std::string verdict = VerdictOf(outcome);
                    if (allowed.count(verdict) == 0) {
                        report.bad.push_back("cut before call " + std::to_string(cut) + ", " +
                                             outcome.how + ": " + verdict);
                    }
                }
            }
            if (keep >= 0) {
                close(keep);
            }
            if (!g_cut.load()) {
                break;
            }
        }
        return report;
    }

    int LibrarySave(const std::string& path) { return m_stores[1].store.Save(path.c_str()); }

    // Writes the new file's bytes in place, in two pieces.
    int WriteInPlace(const std::string& path) {
        FILE* file = fopen(path.c_str(), "wb");
        if (file == nullptr) {
            return 0;
        }
        size_t half = m_newFile.size() / 2;
        fwrite(m_newFile.data(), 1, half, file);
        fwrite(m_newFile.data() + half, 1, m_newFile.size() - half, file);
        return fclose(file) == 0 ? 1 : 0;
    }

    // Writes the new file beside the target and renames it over it, with or without syncing it
    // first; the folder is synced afterwards.
    int WriteAndRename(const std::string& path, bool syncFirst) {
        const std::string temporary = path + ".new";
        int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0) {
            return 0;
        }
        bool ok =
            write(fd, m_newFile.data(), m_newFile.size()) == static_cast<ssize_t>(m_newFile.size());
        ok = (!syncFirst || fsync(fd) == 0) && ok;
        close(fd);
        if (!ok || rename(temporary.c_str(), path.c_str()) != 0) {
            return 0;
        }
        std::string folder = path.substr(0, path.rfind('/'));
        int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
        if (dir >= 0) {
            fsync(dir);
            close(dir);
        }
        return 1;
    }

    zvtest::LockedStore m_stores[2];
    std::vector<safesave::Version> m_versions;
    std::string m_newFile;
    zvtest::TempDir m_scratch;
};

std::string Join(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) {
        all += line + "\n";
    }
    return all;
}

TEST_F(ZVSafeSavePowerCutTest, CutAtEveryCallOfASaveLeavesTheOldOrTheNewVersion) {
    for (int format = 0; format < 2; ++format) {
        for (bool oldExists : {true, false}) {
            UseFormat(format);
            CutReport report = CutEverywhere(
                [this](const std::string& path) { return LibrarySave(path); }, oldExists);
            SCOPED_TRACE("format " + std::to_string(format) +
                         (oldExists ? ", replacing a file" : ", a new file"));
            EXPECT_EQ("", Join(report.bad)) << report.calls;
            std::cout << "format " << format << (oldExists ? ", replacing" : ", new") << ": "
                      << report.cuts << " cut points: " << report.calls << "\n";
            // Making the file, writing it, its stamp, the sync, the rename, the folder's sync.
            EXPECT_GE(report.cuts, 8);
            EXPECT_EQ(1, report.result);
            EXPECT_EQ("v2", report.finalVerdict);
            EXPECT_EQ("v2", report.syncedVerdict);
            EXPECT_EQ(std::vector<std::string>{kName}, report.entries);
        }
    }
}

TEST_F(ZVSafeSavePowerCutTest, ModelFindsTheTornFilesOfWritingInPlace) {
    UseFormat(0);
    CutReport report =
        CutEverywhere([this](const std::string& path) { return WriteInPlace(path); }, true);
    EXPECT_EQ(1, report.result);
    EXPECT_EQ("v2", report.finalVerdict);
    EXPECT_NE("", Join(report.bad));
}

TEST_F(ZVSafeSavePowerCutTest, ModelFindsTheEmptyFileOfARenameBeforeItsDataWasSynced) {
    UseFormat(0);
    CutReport report = CutEverywhere(
        [this](const std::string& path) { return WriteAndRename(path, false); }, true);
    EXPECT_EQ(1, report.result);
    EXPECT_EQ("v2", report.finalVerdict);
    EXPECT_NE(std::string::npos, Join(report.bad).find("torn: 0 bytes")) << Join(report.bad);
}

TEST_F(ZVSafeSavePowerCutTest, ModelAcceptsARenameOfASyncedFile) {
    UseFormat(0);
    CutReport report =
        CutEverywhere([this](const std::string& path) { return WriteAndRename(path, true); }, true);
    EXPECT_EQ("", Join(report.bad));
    EXPECT_EQ("v2", report.syncedVerdict);
}

TEST_F(ZVSafeSavePowerCutTest, AnyFailingCallLeavesTheTargetUntouchedOrTheSaveComplete) {
    for (int format = 0; format < 2; ++format) {
        UseFormat(format);
        int failures = 0;
        std::string outcomes;  // each failing call with the save's result and code
        for (int fail = 1; fail < 100000; ++fail) {
            zvtest::TempDir dir;
            const std::string path = dir.File(kName);
            int keep = Prepare(dir.Path(), true);
            const std::string before = zvtest::ReadFile(path);
            PowerModel model(dir.Path(), kName, keep);
            // A failed header stamp leaves the store's header record reset, format tag included,
            // as it always has: the tag is given back before each save.
            ASSERT_EQ(1, m_stores[1].store.AssignFormat(format));
            Track(&model, 0, fail);
            TarnSetLastError(zvtest::kSentinelError);
            int result = LibrarySave(path);
            unsigned int code = TarnGetLastError();
            StopTracking();
            close(keep);
            SCOPED_TRACE("format " + std::to_string(format) + ", call " + std::to_string(fail) +
                         " failing: " + Trace());
            EXPECT_EQ(std::vector<std::string>{kName}, safesave::FolderEntries(dir.Path()));
            if (g_calls.load() < fail) {
                EXPECT_EQ(1, result);
                break;
            }
            outcomes += g_trace[static_cast<size_t>(fail) - 1] + ":" + std::to_string(result) +
                        (result == 1 ? "" : "/" + std::to_string(code)) + " ";
            if (result == 1) {
                EXPECT_EQ("v2", VerdictOf({"saved", true, zvtest::ReadFile(path)}));
            } else {
                ++failures;
                EXPECT_EQ(0, result);
                EXPECT_EQ(before, zvtest::ReadFile(path));
                // The failing call's own code, or the header stamp's when it was the stamp's call
                // that failed (36 the file could not be mapped).
                EXPECT_TRUE(code == static_cast<unsigned int>(EIO) || code == 36u) << code;
            }
        }
        EXPECT_GE(failures, 5);
        std::cout << "format " << format << ", each call failing in turn: " << outcomes << "\n";
    }
}

}  // namespace
