// The file emitter: a file per period named on the local clock, retention of
// old files, and real failures of the file system.
#include "logging/rotated_file_emitter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "files/temp_tree.h"
#include "logging/log_test_support.h"
#include "qorbasic/timeutils.h"

using files_test::read_all;
using files_test::TempTree;

namespace {

constexpr long kSecond = 1000000L;
constexpr long kDay = 86400 * kSecond;
// 2018-04-01 13:05:09 on the local clock, which names the files.
constexpr long kT = 1522587909L * kSecond;

// The emitter's clock reads the time that the calling thread set, given
// in local time.
thread_local long t_local = kT;
long thread_clock() {
    return local_to_gmt(t_local);
}

// A started file emitter in a temporary directory, on the test clock.
class FileEmitterTest : public testing::Test {
  protected:
    void SetUp() override {
        qor::detail::set_file_emitter_clock(&thread_clock);
        t_local = kT;
    }
    void TearDown() override { qor::detail::set_file_emitter_clock(nullptr); }

    void start(const char* interval, const char* prefix, std::string dir = "") {
        actor_.reset(new RotatedFileEmitterActor(context_));
        dir_ = dir.empty() ? tree_.root() : dir;
        actor_->configProperty("dir", dir_.c_str());
        actor_->configProperty("prefix", prefix);
        if (interval != nullptr) actor_->configProperty("interval", interval);
        EXPECT_TRUE(actor_->verifyConfig() && actor_->asyncStartup());
    }
    void log(const std::string& text, long at = 0) {
        if (at != 0) t_local = at;
        dynamic_cast<BasicLog::Emitter*>(actor_->findInterface("log_emitter"))
            ->send_one_line(QOR_LOGLEVEL_INFO, "[INFO h]", text);
    }
    std::string current() {
        std::string name;
        dynamic_cast<BasicLog::FileEmitterInterface*>(actor_->findInterface("logfile_emitter"))
            ->getCurrentFilename(name);
        return name;
    }
    std::string file(const std::string& name) { return read_all(dir_ + "/" + name); }
    void age(const std::string& name, long modified) {
        time_t utc = local_to_gmt(modified) / kSecond;
        struct timespec times[2] = {{utc, 0}, {utc, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, tree_.path(name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    }
    // The names among `names` that are in the tree, links not followed.
    std::string present(std::initializer_list<const char*> names) {
        std::string out;
        for (const char* name : names) {
            if (files_test::exists_no_follow(tree_.path(name))) out += std::string(name) + " ";
        }
        return out;
    }

    TempTree tree_;
    std::string dir_;
    qortest::TestContext context_{"logfile", "file_emitter"};
    std::unique_ptr<RotatedFileEmitterActor> actor_;
};

}  // namespace

// Each row logs one line per time and expects it in the file named beside
// it: a name per period, and a switch at the first line of a new period.
TEST_F(FileEmitterTest, LinesGoToTheFileOfTheirPeriod) {
    const long h14 = kT + 3291 * kSecond;  // 14:00:00
    const struct {
        const char* interval;
        std::vector<std::pair<long, const char*>> lines;  // the time and "svc-<name>.log"
    } rows[] = {
        {"1 hour", {{kT, "20180401-13"}, {h14 - kSecond, "20180401-13"}, {h14, "20180401-14"}}},
        {"2 hours", {{kT, "20180401-120000"}, {h14, "20180401-140000"}}},
        {nullptr, {{kT, "20180401"}, {kT + kDay, "20180402"}}},
        {"1 min", {{kT, "20180401-1305"}, {kT + 51 * kSecond, "20180401-1306"}}},
        // Periods below a second share the name of their second: appended to.
        {"500 ms", {{kT, "20180401-130509"}, {kT + 600000, "20180401-130509"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.interval != nullptr ? row.interval : "default");
        start(row.interval, "svc-", tree_.dir(std::to_string(&row - rows)));
        EXPECT_EQ(current(), "");
        std::map<std::string, std::string> expected;
        for (const auto& [at, name] : row.lines) {
            log("at " + std::to_string(at), at);
            EXPECT_EQ(current(), dir_ + "/svc-" + name + ".log");
            expected[name] += "[INFO h] at " + std::to_string(at) + "\n";
        }
        for (const auto& [name, text] : expected) EXPECT_EQ(file("svc-" + name + ".log"), text);
        actor_->asyncShutdown();
        EXPECT_EQ(current(), "");
    }
}

// Old plain files of the emitter go when a file is opened; links,
// directories, other prefixes and newer files stay. Without a prefix only
// the emitter's own dated names are taken.
TEST_F(FileEmitterTest, RetentionRemovesOnlyOldPlainFilesOfTheEmitter) {
    for (std::string name :
         {"svc-old.log", "svc-notes.txt", "other-old.log", "20180101.log", "20180101-10.log",
          "20180101-1000.log", "20180101-100000.log", "notes.txt", "2018010.log",
          "20180101.log.bak", "2018010a.log", "svc-new.log", "svc-link", "svc-dir"}) {
        name == "svc-link"  ? tree_.link(tree_.path("svc-old.log"), name)
        : name == "svc-dir" ? tree_.dir(name)
                            : tree_.file(name, "x");
        age(name, kT - (name == "svc-new.log" ? 29 : 31) * kDay);
    }

    testing::internal::CaptureStderr();
    start(nullptr, "svc-");
    log("first");
    std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(present({"svc-old.log", "svc-notes.txt", "svc-new.log", "svc-link", "svc-dir",
                       "other-old.log"}),
              "svc-new.log svc-link svc-dir other-old.log ");
    EXPECT_THAT(report, testing::ContainsRegex("\\[INFO [0-9-]{10} [0-9:.]{15}\\] removing "
                                               "outdated logfile: filename=" +
                                               tree_.path("svc-notes.txt") + "\n"));

    start(nullptr, "");
    log("second");
    EXPECT_EQ(
        present({"20180101.log", "20180101-10.log", "20180101-1000.log", "20180101-100000.log",
                 "notes.txt", "2018010.log", "20180101.log.bak", "2018010a.log", "other-old.log"}),
        "notes.txt 2018010.log 20180101.log.bak 2018010a.log other-old.log ");
    EXPECT_EQ(file("20180401.log"), "[INFO h] second\n");
}

// Failures are real: the line is lost and the next line opens the file anew.
TEST_F(FileEmitterTest, FailedOpensAndWritesLoseTheLineAndRecover) {
    // makeDir makes one level only.
    start("1 hour", "svc-", tree_.path("a/b"));
    log("lost, no parent");
    EXPECT_EQ(current(), "");
    tree_.dir("a");
    log("kept");
    EXPECT_EQ(read_all(tree_.path("a/b/svc-20180401-13.log")), "[INFO h] kept\n");

    // A directory, a link or a FIFO in place of the file: the line is lost,
    // nothing is written through the link, and the FIFO doesn't block.
    start("1 hour", "svc-");
    const std::string hour_file = tree_.path("svc-20180401-13.log");
    tree_.file("target", "t");
    for (int obstacle = 0; obstacle < 3; ++obstacle) {
        if (obstacle == 0) mkdir(hour_file.c_str(), 0755);
        if (obstacle == 1) tree_.link(tree_.path("target"), "svc-20180401-13.log");
        if (obstacle == 2) mkfifo(hour_file.c_str(), 0644);
        log("lost");
        EXPECT_EQ(current(), "") << obstacle;
        std::remove(hour_file.c_str());
    }
    EXPECT_EQ(file("target"), "t");
    log("back");
    // Removed by another process while open: opened anew within a second.
    unlink(hour_file.c_str());
    log("after removal", kT + kSecond);
    EXPECT_EQ(read_all(hour_file), "[INFO h] after removal\n");

    // A file-size limit cuts a line, which is lost; once there is room
    // again the next line starts on a line of its own.
    EXPECT_EQ(files_test::run_in_child([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  struct rlimit limit, small;
                  getrlimit(RLIMIT_FSIZE, &limit);
                  small = {read_all(hour_file).size() + 30, limit.rlim_max};
                  log("0123456789");  // 20 bytes with headers and line end
                  setrlimit(RLIMIT_FSIZE, &small);
                  log("0123456789");
                  setrlimit(RLIMIT_FSIZE, &limit);
                  log("whole");
                  return true;
              }),
              0);
    EXPECT_EQ(read_all(hour_file),
              "[INFO h] after removal\n[INFO h] 0123456789\n[INFO h] 0\n[INFO h] whole\n");

    // A directory that the process can't write to.
    tree_.open_to_all();
    std::string locked = tree_.dir("locked");
    chmod(locked.c_str(), 0555);
    int status = files_test::run_unprivileged([&] {
        start("1 hour", "svc-", locked);
        log("refused");
        return current().empty();
    });
    if (status == 77) GTEST_SKIP() << "can't drop to an unprivileged user";
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(files_test::exists_no_follow(locked + "/svc-20180401-13.log"));
}

// Threads log through one emitter while their times cross periods: each
// line is found once, whole, in the file of the period of its time.
TEST_F(FileEmitterTest, ManyThreadsRotatingLoseAndSplitNoLine) {
    start("1 min", "mt-");
    constexpr int kThreads = 6, kLines = 400;
    std::atomic<long> ticket(0);
    std::vector<std::thread> threads;
    for (int w = 0; w < kThreads; ++w) {
        threads.emplace_back([&] {
            for (int i = 0; i < kLines; ++i) {
                t_local = kT + ticket++ * 97 * 1000;  // a minute every ~620 lines
                log("t" + std::to_string(t_local));
            }
        });
    }
    for (auto& thread : threads) thread.join();
    actor_->asyncShutdown();

    std::set<std::string> seen;
    FileUtils::DirectoryContents dir(tree_.root());
    for (int f = 0; f < dir.files.size(); ++f) {
        std::istringstream lines(file(dir.files.fetch(f)));
        for (std::string line; std::getline(lines, line);) {
            time_t t = 0;
            ASSERT_EQ(std::sscanf(line.c_str(), "[INFO h] t%ld", &t), 1) << line;
            t /= kSecond;
            char name[64];
            strftime(name, sizeof name, "mt-%Y%m%d-%H%M.log", gmtime(&t));
            EXPECT_EQ(dir.files.fetch(f), name) << line;
            EXPECT_TRUE(seen.insert(line).second) << line;
        }
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
}
