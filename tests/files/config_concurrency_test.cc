// Several processes rewrite one configuration file while others read it.
// writeConfig truncates the file in place, so only the lock keeps a reader
// from seeing a file cut short or half rewritten.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "files/config_test_support.h"
#include "qorbasic/config.h"
#include "qorbasic/files.h"

namespace {

using ConfigUtils::ConfigMap;

constexpr int kWriters = 3;
constexpr int kReaders = 3;
constexpr int kWritesPerWriter = 150;
constexpr int kReadsPerReader = 300;

// Each writer alternates between two states of its own, so that every write
// changes the file. The states differ in every value and in their number of
// keys, so a torn file matches none of them.
ConfigMap make_state(int writer, int variant) {
    ConfigMap state;
    const int keys = 150 + 40 * writer + 20 * variant;
    for (int k = 0; k < keys; ++k) {
        state["key" + std::to_string(k)] = "writer" + std::to_string(writer) + "-variant" +
                                           std::to_string(variant) + "-" +
                                           std::string(20 + k % 7, 'x');
    }
    return state;
}

TEST(ConfigConcurrency, ReadersUnderTheLockSeeOnlyCompleteStates) {
    config_test::use_test_lock_dir();
    // Fix the lock directory before forking, so that all processes share it.
    std::string lock_dir;
    FileUtils::lockdir_path(lock_dir);

    files_test::TempTree dir;
    ASSERT_FALSE(dir.root().empty());
    const std::string path = dir.path("shared.conf");

    std::vector<ConfigMap> states;
    for (int w = 0; w < kWriters; ++w) {
        states.push_back(make_state(w, 0));
        states.push_back(make_state(w, 1));
    }
    ASSERT_TRUE(ConfigUtils::writeConfig(path, states[0], '='));

    std::vector<pid_t> children;
    for (int w = 0; w < kWriters; ++w) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int failures = 0;
            for (int i = 0; i < kWritesPerWriter; ++i) {
                if (!ConfigUtils::writeConfig(path, states[2 * w + (i + 1) % 2], '=')) {
                    ++failures;
                }
            }
            _exit(failures == 0 ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (int r = 0; r < kReaders; ++r) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int torn = 0;
            for (int i = 0; i < kReadsPerReader; ++i) {
                ConfigMap seen;
                if (!ConfigUtils::getConfig(path, seen, '=')) {
                    _exit(3);
                }
                bool complete = false;
                for (const ConfigMap& state : states) {
                    complete = complete || seen == state;
                }
                torn += complete ? 0 : 1;
            }
            _exit(torn == 0 ? 0 : 2);
        }
        children.push_back(pid);
    }

    for (std::size_t i = 0; i < children.size(); ++i) {
        int status = 0;
        ASSERT_EQ(children[i], waitpid(children[i], &status, 0));
        ASSERT_TRUE(WIFEXITED(status));
        const bool writer = i < static_cast<std::size_t>(kWriters);
        EXPECT_EQ(0, WEXITSTATUS(status))
            << (writer                     ? "a writer failed to write"
                : WEXITSTATUS(status) == 2 ? "a reader saw a torn file"
                                           : "a reader failed to read");
    }

    ConfigMap last;
    ASSERT_TRUE(ConfigUtils::getConfig(path, last, '='));
    bool complete = false;
    for (const ConfigMap& state : states) {
        complete = complete || last == state;
    }
    EXPECT_TRUE(complete);
}

}  // namespace
