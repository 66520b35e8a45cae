// Small helpers for the tests of config files, profiles and the flat
// functions: a temporary directory that cleans up after itself, whole-file
// text helpers, and a lock directory of the tests' own.
#ifndef QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H
#define QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace qortest {

// A directory made by mkdtemp under $TMPDIR or /tmp, removed with all its
// content when the object goes.
class TempDir {
  public:
    TempDir() {
        const char* base = getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/qorconfig.XXXXXX";
        if (mkdtemp(&pattern[0]) != nullptr) {
            path_ = pattern;
        }
    }
    ~TempDir() {
        if (path_.empty()) {
            return;
        }
        std::error_code ignored;
        // Tests take permissions away; give them back so that all can go.
        for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
            if (!it->is_symlink(ignored)) {
                chmod(it->path().c_str(), 0700);
            }
        }
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline void write_text(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

inline std::string fixture_path(const std::string& name) {
    return std::string(QOR_SOURCE_DIR) + "/tests/files/fixtures/" + name;
}

// Points QOR_LOCK_DIR at a directory of the tests' own before the library
// reads it (once per process), so that no lock file lands in /var/lock.
// Where an earlier test of the same process made the library read it
// already, the locks go to that directory, which works all the same.
inline void use_test_lock_dir() {
    static TempDir lock_dir;
    static bool set = setenv("QOR_LOCK_DIR", lock_dir.path().c_str(), 0) == 0;
    (void)set;
}

// Runs `body` in a forked child and gives its exit status, or -1. The child
// ends with _exit, so it runs no test teardown of the parent.
template <typename Body>
int run_in_child(Body body) {
    pid_t pid = fork();
    if (pid < 0) {
        return -1;
    }
    if (pid == 0) {
        _exit(body());
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

}  // namespace qortest

#endif  // QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H
