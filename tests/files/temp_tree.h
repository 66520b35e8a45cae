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
#include <sstream>
#include <string>

namespace files_test {

// A fresh directory from mkdtemp under $TMPDIR or /tmp; the destructor
// removes it and all below it without following links.
class TempTree {
  public:
    TempTree() {
        const char* base = getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/qorfiles.XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        root_ = pattern;
    }
    ~TempTree() {
        std::error_code ignored;
        // Directories left without permissions by a test must still go.
        for (auto it = std::filesystem::recursive_directory_iterator(root_, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
            if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
                chmod(it->path().c_str(), 0700);
            }
        }
        std::filesystem::remove_all(root_, ignored);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::string& root() const { return root_; }
    // Lets a child that left root (see run_unprivileged) into the tree.
    void open_to_all() const { chmod(root_.c_str(), 0777); }
    std::string path(const std::string& name) const { return root_ + "/" + name; }

    // Writes `content` to the file `name` and returns its path.
    std::string file(const std::string& name, const std::string& content = "") const {
        const std::string where = path(name);
        std::ofstream(where, std::ios::binary) << content;
        return where;
    }
    std::string dir(const std::string& name) const {
        const std::string where = path(name);
        mkdir(where.c_str(), 0755);
        return where;
    }
    // A symbolic link `name` whose text is `target`, unchanged.
    std::string link(const std::string& target, const std::string& name) const {
        const std::string where = path(name);
        EXPECT_EQ(symlink(target.c_str(), where.c_str()), 0) << where;
        return where;
    }

  private:
    std::string root_;
};

inline std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

inline bool exists_no_follow(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

inline mode_t permissions(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

// Runs `body` in a forked child and returns its exit status: 0 when body
// returned true. Failures of gtest assertions in the child do not reach the
// parent, so the body reports through its result.
inline int run_in_child(const std::function<bool()>& body) {
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) _exit(body() ? 0 : 1);
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Permission checks do not fail for root, so a root test process drops to
// the user "nobody" in a child; an ordinary user runs the body as it is.
// Returns false (after a skip message) where neither works.
inline int run_unprivileged(const std::function<bool()>& body) {
    return run_in_child([&] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(77);
        return body();
    });
}

// The temporary and lock directories of the test process. They are read
// from QOR_TMP_DIR and QOR_LOCK_DIR once per process, so the environment set
// in set_up_test_directories() must be in place before the first use.
class TestDirectories : public testing::Environment {
  public:
    void SetUp() override {
        tree_ = new TempTree;
        setenv("QOR_TMP_DIR", tmp_dir().c_str(), 1);
        setenv("QOR_LOCK_DIR", lock_dir().c_str(), 1);
    }
    void TearDown() override {
        delete tree_;
        tree_ = nullptr;
    }
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

// Skips a test whose body needs permission checks when the child could not
// leave root.
#define EXPECT_UNPRIVILEGED(body)                                                               \
    do {                                                                                        \
        const int unprivileged_status = ::files_test::run_unprivileged(body);                   \
        if (unprivileged_status == 77) GTEST_SKIP() << "cannot drop root to check permissions"; \
        EXPECT_EQ(unprivileged_status, 0);                                                      \
    } while (0)

#endif  // QORBASIC_TESTS_FILES_TEMP_TREE_H
