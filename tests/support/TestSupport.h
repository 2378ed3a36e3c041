// Helpers shared by the test programs: temporary folders, whole-file reads and writes, time zone
// and locale switches, and running a check as an unprivileged user in a child process.
#ifndef ZV_TEST_SUPPORT_H
#define ZV_TEST_SUPPORT_H

#include <functional>
#include <string>

#include "ZVTypes.h"

namespace zvtest {

// A last-error value that no library call sets; tests store it before a call to see whether the
// call changed the code.
constexpr unsigned int kSentinelError = 0x5A5Au;

// A fresh folder under $TMPDIR (or /tmp), removed with everything in it on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Path of an entry inside the folder.
    std::string File(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Creates or truncates a file and writes the bytes; fails the test on error.
void WriteFile(const std::string& path, const std::string& bytes);
// The whole content of a file; fails the test (and returns "") when it cannot be read.
std::string ReadFile(const std::string& path);
// Size of a file in bytes, -1 when it cannot be stat'ed.
long long FileSize(const std::string& path);

// Sets TZ and calls tzset(); "UTC" is what nearly every test wants.
void UseZone(const char* tz);
inline void UseUtc() {
    UseZone("UTC");
}

// Switches LC_ALL for the life of the object and back to "C" afterwards.
class LocaleGuard {
public:
    explicit LocaleGuard(const char* name);
    ~LocaleGuard();
    bool Ok() const { return m_ok; }

private:
    bool m_ok;
};

// What a check run in a child process reported.
struct ChildResult {
    bool ran = false;        // false: the child could not be set up; see reason
    std::string reason;      // why it did not run
    int value = 0;           // what the check returned
    unsigned int lastError;  // TarnGetLastError() right after the check
};

// Runs check in a forked child that first drops to uid and gid 65534 when the tests run as root
// (so that file permissions apply), and reports its result and last error through a pipe.
ChildResult RunUnprivileged(const std::function<int()>& check);

// The wide form of an ASCII text.
std::wstring Wide(const std::string& ascii);

// The wall clock in whole seconds as gettimeofday() gives it, the clock the library reads.
// time() may lag it by a tick (it reads a coarser clock), so bounds around a library call that
// reads the time come from here.
long long NowSeconds();

// Seconds since 1970 of a UTC calendar time as the library's time value type, computed with
// timegm(), independently of the library.
long Utc(int year, int month, int day, int hour, int minute, int second);

// A calendar record with the given fields, in the record's own field order.
_SYSTEMTIME Record(int year, int month, int day, int hour, int minute, int second, int ms,
                   int dayOfWeek = 0);

// A record with every byte 0xAB, to see which fields a call writes.
_SYSTEMTIME Pattern();
// True while every byte of the record is still Pattern()'s.
bool IsPattern(const _SYSTEMTIME& st);

}  // namespace zvtest

#endif  // ZV_TEST_SUPPORT_H
