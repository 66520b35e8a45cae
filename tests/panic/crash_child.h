// Runs code that crashes in a forked child whose report file goes to a
// temporary directory of its own, and collects what the crash left: exit
// status, standard error and the files of that directory.
#ifndef QORBASIC_TESTS_PANIC_CRASH_CHILD_H
#define QORBASIC_TESTS_PANIC_CRASH_CHILD_H

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "panic/panic_internal.h"

namespace panic_test {

inline std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

class TempDir {
  public:
    TempDir() {
        const char* base = getenv("TMPDIR");
        path_ = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/qorpanic.XXXXXX";
        if (mkdtemp(&path_[0]) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

struct Crash {
    pid_t pid = 0;
    int status = 0;
    std::string err;
    std::map<std::string, std::string> files;  // name -> content, links not followed
    std::map<std::string, mode_t> modes;
    // The file of a crash on the child's main thread, which bears the
    // program's name cut to 15 characters.
    std::string report_name() const {
        return "panic-" + std::string(program_invocation_short_name).substr(0, 15) + "-" +
               std::to_string(pid) + ".txt";
    }
    bool killed_by(int sig) const { return WIFSIGNALED(status) && WTERMSIG(status) == sig; }
};

// `prepare` runs in the child before `body` and gets the report directory.
inline Crash crash_in_child(const std::function<void()>& body,
                            const std::function<void(const std::string&)>& prepare = nullptr) {
    TempDir dir;
    Crash crash;
    int fds[2];
    if (pipe(fds) != 0) std::abort();
    fflush(nullptr);
    crash.pid = fork();
    if (crash.pid == 0) {
        close(fds[0]);
        dup2(fds[1], 2);
        close(fds[1]);
        qor::detail::panic_set_report_dir(dir.path().c_str());
        if (prepare) prepare(dir.path());
        alarm(20);
        body();
        _exit(0);
    }
    close(fds[1]);
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof buffer)) > 0) crash.err.append(buffer, n);
    close(fds[0]);
    waitpid(crash.pid, &crash.status, 0);
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        const std::string name = entry.path().filename().string();
        struct stat info;
        if (lstat(entry.path().c_str(), &info) == 0) crash.modes[name] = info.st_mode & 07777;
        if (entry.is_symlink()) {
            crash.files[name] = "-> " + std::filesystem::read_symlink(entry.path()).string();
        } else {
            crash.files[name] = entry.is_regular_file() ? read_all(entry.path().string()) : "(special)";
        }
    }
    return crash;
}

}  // namespace panic_test

#endif  // QORBASIC_TESTS_PANIC_CRASH_CHILD_H
