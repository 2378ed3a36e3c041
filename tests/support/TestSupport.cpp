#include "TestSupport.h"

#include <sys/time.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include <ftw.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TarnError.h"

#if defined(ZV_TEST_COVERAGE)
// The coverage runtime's own calls: a forked child starts its counts afresh and writes them out
// before _exit, which skips the exit handlers that would otherwise write them.
extern "C" void __gcov_reset(void);
extern "C" void __gcov_dump(void);
#endif

namespace zvtest {

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

// Makes the process user and group 65534, so that file permissions apply to it.
bool DropToNobody() {
#if defined(ZV_TEST_COVERAGE)
    // The saved user stays root, only so that the counts can be written before the child exits.
    return setgid(65534) == 0 && setresuid(65534, 65534, 0) == 0;
#else
    return setgid(65534) == 0 && setuid(65534) == 0;
#endif
}

}  // namespace

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/zvtest.XXXXXX";
    char* made = mkdtemp(&pattern[0]);
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp failed for " << pattern;
    }
    m_path = pattern;
    // Open to every user, so that checks run unprivileged (RunUnprivileged) can reach the files.
    chmod(m_path.c_str(), 0755);
}

TempDir::~TempDir() {
    if (!m_path.empty()) {
        // Make everything writable again first: permission tests leave read-only entries.
        chmod(m_path.c_str(), 0700);
        nftw(m_path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    ASSERT_TRUE(out.good()) << "cannot create " << path;
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << "cannot write " << path;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in.good()) {
        ADD_FAILURE() << "cannot read " << path;
        return std::string();
    }
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

long long FileSize(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        return -1;
    }
    return static_cast<long long>(st.st_size);
}

void UseZone(const char* tz) {
    setenv("TZ", tz, 1);
    tzset();
}

LocaleGuard::LocaleGuard(const char* name) : m_ok(setlocale(LC_ALL, name) != nullptr) {}

LocaleGuard::~LocaleGuard() {
    setlocale(LC_ALL, "C");
}

ChildResult RunUnprivileged(const std::function<int()>& check) {
    ChildResult result;
    int fds[2];
    if (pipe(fds) != 0) {
        result.reason = "pipe failed";
        return result;
    }
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        result.reason = "fork failed";
        return result;
    }
    if (pid == 0) {
#if defined(ZV_TEST_COVERAGE)
        __gcov_reset();
#endif
        close(fds[0]);
        int report[3] = {0, 0, 0};  // ran, value, last error
        bool dropped = geteuid() != 0 || DropToNobody();
        if (dropped) {
            report[0] = 1;
            report[1] = check();
            report[2] = static_cast<int>(TarnGetLastError());
        }
        ssize_t written = write(fds[1], report, sizeof report);
#if defined(ZV_TEST_COVERAGE)
        // The count files belong to root.
        if (seteuid(0) == 0 || geteuid() != 0) {
            __gcov_dump();
        }
#endif
        _exit(written == static_cast<ssize_t>(sizeof report) ? 0 : 1);
    }
    close(fds[1]);
    int report[3] = {0, 0, 0};
    ssize_t got = read(fds[0], report, sizeof report);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (got != static_cast<ssize_t>(sizeof report)) {
        result.reason = "the child reported nothing";
    } else if (report[0] == 0) {
        result.reason = "cannot drop privileges to uid 65534";
    } else {
        result.ran = true;
        result.value = report[1];
        result.lastError = static_cast<unsigned int>(report[2]);
    }
    return result;
}

std::wstring Wide(const std::string& ascii) {
    std::wstring out;
    for (char c : ascii) {
        out.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    }
    return out;
}

long long NowSeconds() {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return static_cast<long long>(tv.tv_sec);
}

long Utc(int year, int month, int day, int hour, int minute, int second) {
    struct tm t;
    memset(&t, 0, sizeof(t));
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return static_cast<long>(timegm(&t));
}

_SYSTEMTIME Record(int year, int month, int day, int hour, int minute, int second, int ms,
                   int dayOfWeek) {
    _SYSTEMTIME st;
    st.wYear = static_cast<uint16_t>(year);
    st.wMonth = static_cast<uint16_t>(month);
    st.wDayOfWeek = static_cast<uint16_t>(dayOfWeek);
    st.wDay = static_cast<uint16_t>(day);
    st.wHour = static_cast<uint16_t>(hour);
    st.wMinute = static_cast<uint16_t>(minute);
    st.wSecond = static_cast<uint16_t>(second);
    st.wMilliseconds = static_cast<uint16_t>(ms);
    return st;
}

_SYSTEMTIME Pattern() {
    _SYSTEMTIME st;
    memset(&st, 0xAB, sizeof(st));
    return st;
}

bool IsPattern(const _SYSTEMTIME& st) {
    _SYSTEMTIME pattern = Pattern();
    return memcmp(&st, &pattern, sizeof(st)) == 0;
}

}  // namespace zvtest
