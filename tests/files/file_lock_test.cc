// Tests of lock files between threads and processes, and of the lock directory.
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/time.h>

#include <cstring>
#include <memory>

#include "files/temp_tree.h"
#include "files/tempfiles_internal.h"
#include "qorbasic/threads.h"

using namespace files_test;

// One environment for the whole test program: every test that reaches the
// temporary or lock directory finds them inside its own temporary tree.
static testing::Environment* const test_directories =
    testing::AddGlobalTestEnvironment(new TestDirectories);

namespace {

std::string lock_file(const std::string& base) {
    return TestDirectories::lock_dir() + "/" + base;
}

// Blocks until `fd` has a byte to read, or `timeout_ms` passes; the byte.
char wait_for_byte(int fd, int timeout_ms) {
    struct pollfd ready = {fd, POLLIN, 0};
    char byte = 0;
    if (poll(&ready, 1, timeout_ms) == 1 && read(fd, &byte, 1) == 1) return byte;
    return 0;
}

// Whether process `pid` waits for a flock, as the kernel's lock table shows it.
bool waits_for_flock(pid_t pid) {
    std::ifstream table("/proc/locks");
    const std::string mark = "FLOCK  ADVISORY  WRITE " + std::to_string(pid) + " ";
    for (std::string line; std::getline(table, line);)
        if (line.find("->") != std::string::npos && line.find(mark) != std::string::npos)
            return true;
    return false;
}

}  // namespace

TEST(PathTextTest, TrailingDirsepAndJoinFilename) {
    const char* const cases[][2] = {{"", ""}, {"a", "a/"}, {"a/", "a/"}, {"/", "/"}};
    for (const auto& c : cases) {
        std::string path = c[0];
        EXPECT_EQ(&FileUtils::trailing_dirsep(path), &path);
        EXPECT_EQ(path, c[1]) << c[0];
    }
    std::string out = "stale";
    const char* const pairs[][3] = {{"", "", ""}, {"", "/abs", "/abs"}, {"a", "/b", "a//b"}};
    for (const auto& c : pairs) EXPECT_EQ(FileUtils::join_filename(out, c[0], c[1]), c[2]);
    EXPECT_EQ(FileUtils::join_filename(out, "/opt/", "x", "", "y"), "/opt/x/y");
    EXPECT_EQ(FileUtils::join_filename(out, "dir", 5), "dir/5");
}

// The environment is read once per process: a later change goes unseen,
// unless the cache is forgotten. Only the last level of a path is made.
TEST(TempdirPathTest, ComesFromTheEnvironmentOnceWithASlashAndIsMade) {
    std::string out;
    EXPECT_EQ(FileUtils::tempdir_path(out), TestDirectories::tmp_dir() + "/");
    EXPECT_EQ(FileUtils::makeTempFilename(out, "f"), TestDirectories::tmp_dir() + "/f");
    EXPECT_EQ(FileUtils::lockdir_path(out), TestDirectories::lock_dir() + "/");
    EXPECT_EQ(FileUtils::makeLockFilename(out, "a.lock"), TestDirectories::lock_dir() + "/a.lock");
    EXPECT_TRUE(FileUtils::dirExists(TestDirectories::tmp_dir()) &&
                FileUtils::dirExists(TestDirectories::lock_dir()));
    TempTree tree;
    EXPECT_IN_CHILD([&] {
        setenv("QOR_TMP_DIR", tree.path("made").c_str(), 1);
        setenv("QOR_LOCK_DIR", tree.path("no/parent").c_str(), 1);
        CHILD_CHECK(FileUtils::tempdir_path(out) == TestDirectories::tmp_dir() + "/");
        CHILD_CHECK(FileUtils::lockdir_path(out) == TestDirectories::lock_dir() + "/");
        FileUtils::internal::forget_cached_directories();
        CHILD_CHECK(FileUtils::tempdir_path(out) == tree.path("made") + "/");
        CHILD_CHECK(permissions(tree.path("made")) == (0755 & ~umask(0)));
        CHILD_CHECK(FileUtils::lockdir_path(out) == tree.path("no/parent") + "/");
        return !FileUtils::pathExists(tree.path("no"));
    });
}

// Without text in the variables the temporary directory is /tmp and the lock
// directory the canonical form of /var/lock, which exists on the machine:
// nothing is made there. Where /var/lock does not resolve the process ends.
TEST(TempdirPathTest, DefaultsAreSlashTmpAndTheRealPathOfVarLock) {
    char resolved[PATH_MAX];
    const bool resolvable = realpath("/var/lock", resolved) != nullptr;
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(run_in_child([&] {
                      FileUtils::internal::forget_cached_directories();
                      if (value == nullptr) unsetenv("QOR_TMP_DIR");
                      if (value != nullptr) setenv("QOR_TMP_DIR", value, 1);
                      unsetenv("QOR_LOCK_DIR");
                      std::string out;
                      CHILD_CHECK(FileUtils::tempdir_path(out) == "/tmp/");
                      CHILD_CHECK(FileUtils::makeTempFilename(out, "f") == "/tmp/f");
                      CHILD_CHECK(FileUtils::lockdir_path(out) == std::string(resolved) + "/");
                      return true;
                  }),
                  resolvable ? 0 : 101);
    }
    std::string out;
    EXPECT_EXIT(FileUtils::internal::realpath_or_exit(out, "/no/such/lock/dir", "lockdir_path"),
                testing::ExitedWithCode(101),
                "lockdir_path: realpath\\(\\) failed: \\(2\\) No such file or directory");
}

TEST(MakeUniqueFileTest, MakesANewFileWithMode0644OpenForReadingAndWriting) {
    TempTree tree;
    const std::string prefix = tree.path("x");
    EXPECT_IN_CHILD([&] {
        umask(077);
        std::string first, second;
        FILE* a = FileUtils::makeUniqueFile(prefix, first);
        FILE* b = FileUtils::makeUniqueFile(prefix, second);
        CHILD_CHECK(a != nullptr && b != nullptr && first != second);
        char back[16] = {};
        CHILD_CHECK(permissions(first) == 0644 && fputs("written", a) >= 0);
        rewind(a);
        CHILD_CHECK(fgets(back, sizeof back, a) != nullptr && !strcmp(back, "written"));
        // The flat form gives the name in memory from malloc.
        char* name = nullptr;
        FILE* c = fileutils_mkunique(prefix.c_str(), &name);
        CHILD_CHECK(c != nullptr && name != nullptr && permissions(name) == 0644);
        free(name);
        return true;
    });
}

// A missing directory, and a prefix too long for the path buffer.
TEST(MakeUniqueFileTest, FailuresGiveNullAndLeaveTheName) {
    TempTree tree;
    for (const std::string& prefix : {tree.path("missing/x"), std::string(4089, 'p')}) {
        std::string name = "untouched";
        testing::internal::CaptureStderr();  // each try is logged
        EXPECT_TRUE(FileUtils::makeUniqueFile(prefix, name) == nullptr && name == "untouched");
        testing::internal::GetCapturedStderr();
    }
    char marker = 'm', *name = &marker;
    EXPECT_EQ(fileutils_mkunique(tree.path("no/such/x").c_str(), &name), nullptr);
    EXPECT_EQ(name, &marker);
}

TEST(ScopedFileLockTest, LockFileIsNamedAfterTheBaseNameOnly) {
    const char* const cases[][2] = {
        // clang-format off
        {"/etc/conf/a.conf", "a.conf.lock"}, {"a.conf", "a.conf.lock"},
        {"dir/", ".lock"},                   {"c:\\dir/a\\b.conf", "b.conf.lock"},
        // clang-format on
    };
    for (const auto& c : cases) {
        FileUtils::ScopedFileLock lock(c[0]);
        EXPECT_TRUE(lock.is_valid() && exists_no_follow(lock.filename)) << c[0];
        EXPECT_EQ(lock.filename, lock_file(c[1])) << c[0];
    }
}

TEST(ScopedFileLockTest, LockFileExistsWithMode0666OnlyWhileHeld) {
    EXPECT_IN_CHILD([] {
        umask(077);
        std::string name;
        {
            FileUtils::ScopedFileLock lock("/some/dir/held.conf");
            name = lock.filename;
            CHILD_CHECK(lock.is_valid() && permissions(name) == 0666);
            lock.release();
            CHILD_CHECK(!lock.is_valid() && lock.fd == -1);
            CHILD_CHECK(!exists_no_follow(name));
            // Nobody holds it now; a second release must not remove it.
            std::ofstream(name) << "";
            lock.release();
        }
        return exists_no_follow(name) && unlink(name.c_str()) == 0;
    });
}

// A holder in another process, or one that names a file of the same base
// name in another directory, makes a try fail at once and leaves the holder's
// lock file alone.
TEST(ScopedFileLockTest, TryFailsWhileAnotherHolds) {
    FileUtils::ScopedFileLock held("/etc/conf/shared.conf");
    ASSERT_TRUE(held.is_valid());
    EXPECT_EQ(fileutils_acquirelock(lock_file("shared.conf.lock").c_str(), 0), -1);
    EXPECT_IN_CHILD([&] { return fileutils_acquirelock(held.filename.c_str(), 0) == -1; });
    EXPECT_TRUE(exists_no_follow(held.filename));
    held.release();
    EXPECT_FALSE(exists_no_follow(held.filename));
}

TEST(ScopedFileLockTest, MissingOrUnwritableLockDirectoryGivesAnInvalidLock) {
    TempTree tree;
    const std::string closed = tree.dir("closed");
    chmod(closed.c_str(), 0555);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        for (const std::string& dir : {tree.path("no/locks"), closed}) {
            FileUtils::internal::forget_cached_directories();
            setenv("QOR_LOCK_DIR", dir.c_str(), 1);
            FileUtils::ScopedFileLock lock("a.conf");
            CHILD_CHECK(!lock.is_valid() && lock.filename == dir + "/a.conf.lock");
        }
        return true;
    });
}

TEST(ScopedFileLockTest, SignalDuringTheWaitGivesAnInvalidLock) {
    FileUtils::ScopedFileLock held("interrupted.conf");
    ASSERT_TRUE(held.is_valid());
    EXPECT_IN_CHILD([] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};  // no SA_RESTART: flock fails with EINTR
        sigaction(SIGALRM, &action, nullptr);
        struct itimerval timer = {};
        timer.it_value.tv_usec = 50000;
        setitimer(ITIMER_REAL, &timer, nullptr);
        FileUtils::ScopedFileLock lock("interrupted.conf");
        return !lock.is_valid();
    });
    EXPECT_TRUE(exists_no_follow(held.filename));
}

// A process that dies holding the lock blocks nobody.
TEST(AcquireLockTest, LockOfADeadProcessBlocksNobody) {
    const std::string stale = lock_file("stale.lock");
    EXPECT_IN_CHILD([&] { return fileutils_acquirelock(stale.c_str(), 1) >= 0; });
    EXPECT_TRUE(exists_no_follow(stale));
    EXPECT_TRUE(FileUtils::ScopedFileLock("stale").is_valid());
    EXPECT_FALSE(exists_no_follow(stale));
}

TEST(AcquireLockTest, FailuresAndReleaseOfNoLock) {
    TempTree tree;
    for (const std::string& bad : {tree.path("missing/x.lock"), std::string()})
        EXPECT_EQ(fileutils_acquirelock(bad.c_str(), 1), -1) << bad;
    const std::string kept = tree.file("kept.lock");
    fileutils_releaselock(-1, kept.c_str());
    EXPECT_TRUE(exists_no_follow(kept));
    const int fd = fileutils_acquirelock(kept.c_str(), 0);
    ASSERT_GE(fd, 0);
    // The descriptor stays open across exec, as its users expect.
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    fileutils_releaselock(fd, kept.c_str());
    EXPECT_TRUE(!exists_no_follow(kept) && fcntl(fd, F_GETFD) == -1);
}

// One holder releases while a second waits on the old lock file and a third
// arrives: the second and the third must not both hold the lock.
TEST(AcquireLockTest, WaiterOnAReleasedFileDoesNotShareTheLockWithANewcomer) {
    const std::string protected_path = "/any/dir/race.conf";
    auto first = std::make_unique<FileUtils::ScopedFileLock>(protected_path);
    ASSERT_TRUE(first->is_valid());
    int report[2], done[2];
    ASSERT_TRUE(pipe(report) == 0 && pipe(done) == 0);
    fflush(nullptr);
    const pid_t waiter = fork();
    if (waiter == 0) {
        // The inherited descriptor shares the first holder's lock; keeping it
        // open would keep that lock alive after the first holder lets go.
        close(first->fd);
        FileUtils::ScopedFileLock lock(protected_path);
        if (write(report[1], lock.is_valid() ? "h" : "n", 1) != 1) _exit(1);
        wait_for_byte(done[0], 10000);
        _exit(0);
    }
    for (int tries = 0; tries < 1000 && !waits_for_flock(waiter); ++tries) thread_nap(5000);
    ASSERT_TRUE(waits_for_flock(waiter)) << "the waiter never blocked on the lock";

    first->release();
    const int newcomer = fileutils_acquirelock(first->filename.c_str(), 0);
    if (newcomer >= 0) {
        // The newcomer holds the lock: the waiter must still be waiting.
        EXPECT_EQ(wait_for_byte(report[0], 300), 0) << "two holders at once";
        fileutils_releaselock(newcomer, first->filename.c_str());
    }
    EXPECT_EQ(wait_for_byte(report[0], 10000), 'h');
    if (newcomer < 0) {
        // The waiter holds the lock on the file that the path names now.
        EXPECT_EQ(fileutils_acquirelock(first->filename.c_str(), 0), -1);
    }
    ASSERT_EQ(write(done[1], "x", 1), 1);
    int status = 0;
    waitpid(waiter, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int end : {report[0], report[1], done[0], done[1]}) close(end);
}

// Several processes increment one counter file under the lock; any lost
// update shows in the total.
TEST(FileLockStressTest, ProcessesNeverLoseAnIncrement) {
    TempTree tree;
    const std::string counter = tree.file("counter", "0\n");
    constexpr int kProcesses = 6, kIncrements = 300;
    // Exit status 2: no lock or no line, 3: a torn counter, 4: a failed write.
    EXPECT_TRUE(children_succeed(kProcesses, [&](int) {
        for (int i = 0; i < kIncrements; ++i) {
            FileUtils::ScopedFileLock lock(counter);
            std::string text;
            if (!lock.is_valid() || !FileUtils::readOneLine(text, counter).is_success()) return 2;
            char* end = nullptr;
            const long value = strtol(text.c_str(), &end, 10);
            if (text.empty() || *end != '\0') return 3;
            if (!FileUtils::writeFile(counter, std::to_string(value + 1), true).is_success())
                return 4;
        }
        return 0;
    }));
    EXPECT_EQ(read_all(counter), std::to_string(kProcesses * kIncrements) + "\n");
    EXPECT_FALSE(exists_no_follow(lock_file("counter.lock")));
}

// A link planted at the lock path is a failure to lock, and what it names is
// never created.
TEST(AcquireLockTest, LinkAtTheLockPathIsAFailureToLock) {
    TempTree tree;
    const std::string target = tree.path("made_by_lock"), planted = lock_file("planted.conf.lock");
    ASSERT_EQ(symlink(target.c_str(), planted.c_str()), 0);
    EXPECT_FALSE(FileUtils::ScopedFileLock("/etc/planted.conf").is_valid());
    EXPECT_EQ(fileutils_acquirelock(planted.c_str(), 0), -1);
    EXPECT_FALSE(exists_no_follow(target));
    unlink(planted.c_str());
}
