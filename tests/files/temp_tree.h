// Helpers of the file tests: a temporary directory that is removed with
// everything in it, small file makers, and child processes for tests that
// change process-wide state (working directory, umask, user, caches).
#ifndef QORBASIC_TESTS_FILES_TEMP_TREE_H
#define QORBASIC_TESTS_FILES_TEMP_TREE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "qorbasic/files.h"
#include "qorbasic/fileutils_flat.h"

namespace files_test {

using Lines = std::vector<std::string>;

inline void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline bool exists_no_follow(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

inline mode_t permissions(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

// A fresh directory from mkdtemp under $TMPDIR or /tmp; the destructor
// removes it and all below it without following links.
class TempTree {
  public:
    TempTree() {
        const char* base = getenv("TMPDIR");
        root_ =
            std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/qorfiles.XXXXXX";
        if (mkdtemp(&root_[0]) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    }
    ~TempTree() {
        std::error_code ignored;
        // Directories left without permissions by a test must still go.
        for (auto it = std::filesystem::recursive_directory_iterator(root_, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
            if (it->is_directory(ignored) && !it->is_symlink(ignored))
                chmod(it->path().c_str(), 0700);
        }
        std::filesystem::remove_all(root_, ignored);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::string& root() const { return root_; }
    // Lets a child that left root (see run_unprivileged) into the tree.
    void open_to_all() const { chmod(root_.c_str(), 0777); }
    std::string path(const std::string& name) const { return root_ + "/" + name; }
    // Each maker returns the path of what it made below the root.
    std::string file(const std::string& name, const std::string& content = "") const {
        write_text(path(name), content);
        return path(name);
    }
    std::string dir(const std::string& name) const {
        mkdir(path(name).c_str(), 0755);
        return path(name);
    }
    // A symbolic link `name` whose text is `target`, unchanged.
    std::string link(const std::string& target, const std::string& name) const {
        EXPECT_EQ(symlink(target.c_str(), path(name).c_str()), 0) << name;
        return path(name);
    }

  private:
    std::string root_;
};

// A forked child that exits with what `body` returns.
inline pid_t fork_child(const std::function<int()>& body) {
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

// The exit status of child `pid`, 128 + the signal that killed it, or -1.
inline int exit_status(pid_t pid) {
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs `body` in a forked child and returns its exit status: 0 when body
// returned true. Failures of gtest assertions in the child do not reach the
// parent, so the body reports through its result.
inline int run_in_child(const std::function<bool()>& body) {
    return exit_status(fork_child([&] { return body() ? 0 : 1; }));
}

// Runs body(i) in `count` children at once; true when every child exited
// with status 0, so each child reports its own failure through its status.
inline bool children_succeed(int count, const std::function<int(int)>& body) {
    std::vector<pid_t> pids;
    for (int i = 0; i < count; ++i) pids.push_back(fork_child([&] { return body(i); }));
    bool all = true;
    for (pid_t pid : pids) all = exit_status(pid) == 0 && all;
    return all;
}

// Permission checks do not fail for root, so a root test process drops to
// the user "nobody" in a child; exit status 77 where that fails.
inline int run_unprivileged(const std::function<bool()>& body) {
    return run_in_child([&] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(77);
        return body();
    });
}

// The temporary and lock directories of the whole test program (registered
// once, in file_lock_test.cc). The library reads QOR_TMP_DIR and QOR_LOCK_DIR
// once per process, so they are set before the first test runs.
class TestDirectories : public testing::Environment {
  public:
    void SetUp() override {
        tree_ = new TempTree;
        setenv("QOR_TMP_DIR", tmp_dir().c_str(), 1);
        setenv("QOR_LOCK_DIR", lock_dir().c_str(), 1);
        // First use fills the caches and makes both directories, before any
        // test forks or reaches a lock file without going through them.
        std::string ignored;
        FileUtils::tempdir_path(ignored);
        FileUtils::lockdir_path(ignored);
    }
    void TearDown() override { delete tree_; }
    // Both are made by the library at first use; neither ends in "/".
    static std::string tmp_dir() { return tree_->path("tmp"); }
    static std::string lock_dir() { return tree_->path("locks"); }

  private:
    static inline TempTree* tree_ = nullptr;
};

}  // namespace files_test

// A check inside a child body: prints what failed and gives up.
#define CHILD_CHECK(cond)                                                            \
    do {                                                                             \
        if (!(cond)) {                                                               \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            return false;                                                            \
        }                                                                            \
    } while (0)

// Runs a child body and expects it to return true.
#define EXPECT_IN_CHILD(...) EXPECT_EQ(::files_test::run_in_child(__VA_ARGS__), 0)

// Runs a child body unprivileged; skips the test where the child could not
// leave root.
#define EXPECT_UNPRIVILEGED(body)                                                               \
    do {                                                                                        \
        const int unprivileged_status = ::files_test::run_unprivileged(body);                   \
        if (unprivileged_status == 77) GTEST_SKIP() << "cannot drop root to check permissions"; \
        EXPECT_EQ(unprivileged_status, 0);                                                      \
    } while (0)

#endif  // QORBASIC_TESTS_FILES_TEMP_TREE_H
