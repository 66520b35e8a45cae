#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "panic/crash_child.h"
#include "qorbasic/panic.h"

namespace {

using panic_test::Crash;
using panic_test::crash_in_child;

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Checks the sections after the signal section: a blank line, seven
// register lines, a blank line, the frame table and the table of exactly the
// modules that frames resolved to. Returns the number of frame lines.
int expect_whole_report(const std::string& report) {
    EXPECT_EQ(report.rfind("\nProcess ", 0), 0u) << report;
    EXPECT_EQ(report.find("._panic_msg"), std::string::npos);
    std::vector<std::string> lines = lines_of(report);
    size_t at = 0;
    while (at < lines.size() && lines[at].rfind("TSC ", 0) != 0) ++at;
    if (at + 9 >= lines.size()) {
        ADD_FAILURE() << "no register section:\n" << report;
        return 0;
    }
    EXPECT_EQ(lines[at - 1], "");
    const char* registers[] = {"TSC ", "RIP ", "RAX ", "RDX ", "R8  ", "R11 ", "R14 "};
    for (const char* prefix : registers) EXPECT_EQ(lines[at++].rfind(prefix, 0), 0u) << prefix;
    EXPECT_EQ(lines[at++], "");
    EXPECT_EQ(lines[at++].rfind("   Obj:", 0), 0u);
    std::set<int> frame_modules;
    int frames = 0;
    for (; at < lines.size() && !lines[at].empty(); ++at, ++frames) {
        frame_modules.insert(std::stoi(lines[at].substr(3, 3)));
    }
    EXPECT_EQ(lines.at(++at).rfind("Obj ", 0), 0u);
    std::set<int> listed_modules;
    bool main_program_listed = false;
    for (++at; at < lines.size(); ++at) {
        listed_modules.insert(std::stoi(lines[at]));
        main_program_listed |= lines[at].find(" " + std::string(program_invocation_short_name)) !=
                               std::string::npos;
    }
    EXPECT_EQ(listed_modules, frame_modules) << report;
    EXPECT_TRUE(main_program_listed) << report;
    return frames;
}

void write_null() { *static_cast<volatile int*>(nullptr) = 1; }

TEST(PanicReport, NullWriteReportsInFileAndOnStandardErrorThenEndsBySigill) {
    Crash crash = crash_in_child(write_null);
    EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
    const std::string id = std::to_string(crash.pid);
    EXPECT_EQ(crash.err.rfind("\nProcess " + id + ", thread " + id +
                                  " caught signal 11 (SIGSEGV):\nAddress Not Mapped to Object @ "
                                  "0000000000000000\n\nTSC ",
                              0),
              0u)
        << crash.err;
    expect_whole_report(crash.err);
    ASSERT_EQ(crash.files.size(), 1u);
    EXPECT_EQ(crash.files[crash.report_name()], crash.err);
    EXPECT_EQ(crash.modes[crash.report_name()], 0600u);
}

// The handler is held up writing to a standard error that nobody reads,
// after the file is written; meanwhile another thread reads the buffer.
TEST(PanicReport, MarkerStandsInTheBufferButNotInTheReport) {
    static std::string dir;
    Crash crash = crash_in_child(
        [] {
            int fds[2];
            if (pipe(fds) != 0) _exit(2);
            fcntl(fds[1], F_SETFL, O_NONBLOCK);
            const std::string fill(4096, 'f');
            while (write(fds[1], fill.data(), fill.size()) > 0) {
            }
            fcntl(fds[1], F_SETFL, 0);
            dup2(fds[1], 2);
            pthread_t thread;
            pthread_create(&thread, nullptr, [](void*) -> void* { write_null(); return nullptr; }, nullptr);
            const std::string marker = "._panic_msg._panic_msg._panic_msg\n\n";
            for (int wait = 0; wait < 1500; ++wait) {
                usleep(1000);
                for (const auto& entry : std::filesystem::directory_iterator(dir)) {
                    const std::string report = panic_test::read_all(entry.path().string());
                    if (report.empty() || report != std::string(_panic_msg + marker.size())) continue;
                    _exit(std::string(_panic_msg, marker.size()) == marker ? 42 : 1);
                }
            }
            _exit(3);
        },
        [](const std::string& report_dir) { dir = report_dir; });
    EXPECT_TRUE(WIFEXITED(crash.status) && WEXITSTATUS(crash.status) == 42) << crash.status;
}

int divide(volatile int divisor) { return 7 / divisor; }

TEST(PanicReport, EveryFatalSignalRaisedOrFromAFaultGivesItsCause) {
    struct Case {
        int signal;
        std::function<void()> cause;
        std::string text;  // what follows "caught signal N (NAME):"
    } cases[] = {
        {SIGABRT, [] { raise(SIGABRT); }, "\nSent via tkill\n"},
        {SIGABRT, [] { abort(); }, "\nSent via tkill\n"},
        {SIGBUS, [] { raise(SIGBUS); }, " @ "},
        {SIGFPE, [] { raise(SIGFPE); }, " @ "},
        {SIGFPE, [] { divide(0); }, "\nInteger Divide by Zero @ "},
        {SIGILL, [] { raise(SIGILL); }, " @ "},
        {SIGILL, [] { __builtin_trap(); }, "\nIllegal Operand @ "},  // ud2
        {SIGQUIT, [] { raise(SIGQUIT); }, "\nSent via tkill\n"},
        {SIGSEGV, [] { raise(SIGSEGV); }, " @ "},
        {SIGSEGV, [] { kill(getpid(), SIGSEGV); }, " @ "},  // sent by kill: no cause
        {SIGTRAP, [] { raise(SIGTRAP); }, " @ "},
        {SIGTRAP, [] { asm volatile("int3"); }, " @ "},
        {SIGSYS, [] { raise(SIGSYS); }, "\nSent via tkill\n"},
    };
    for (const Case& c : cases) {
        Crash crash = crash_in_child(c.cause);
        const std::string header = "caught signal " + std::to_string(c.signal) + " (SIG" + sigabbrev_np(c.signal) + "):";
        SCOPED_TRACE(header + c.text);
        EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
        size_t at = crash.err.find(" caught signal ");
        ASSERT_NE(at, std::string::npos) << crash.err;
        EXPECT_EQ(crash.err.compare(at + 1, header.size() + c.text.size(), header + c.text), 0) << crash.err;
        expect_whole_report(crash.err);
        EXPECT_EQ(crash.files[crash.report_name()], crash.err);
    }
}

TEST(PanicReport, TerminationSignalsAreNotCaught) {
    for (int sig : {SIGTERM, SIGINT}) {
        Crash crash = crash_in_child([sig] { raise(sig); });
        EXPECT_TRUE(crash.killed_by(sig)) << crash.status;
        EXPECT_EQ(crash.err, "");
        EXPECT_TRUE(crash.files.empty());
    }
}

void* crash_thread(void* start) {
    while (!static_cast<std::atomic<bool>*>(start)->load()) {
    }
    write_null();
    return nullptr;
}

// The second thread waits on the handler's mutex, or, when it faults after
// the handler reset the signals, ends the process at once; never a second
// report.
TEST(PanicReport, TwoThreadsCrashingAtOnceGiveOneReport) {
    Crash crash = crash_in_child([] {
        std::atomic<bool> start{false};
        pthread_t threads[2];
        for (pthread_t& thread : threads) pthread_create(&thread, nullptr, crash_thread, &start);
        start.store(true);
        pthread_join(threads[0], nullptr);
    });
    EXPECT_TRUE(crash.killed_by(SIGILL) || crash.killed_by(SIGSEGV)) << crash.status;
    size_t first = crash.err.find("caught signal 11");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(crash.err.find("caught signal", first + 1), std::string::npos) << crash.err;
    if (crash.killed_by(SIGILL)) expect_whole_report(crash.err);
}

int recurse_forever(int depth) {
    volatile char frame[256];
    frame[0] = static_cast<char>(depth);
    if (depth < 0) return 0;
    return recurse_forever(depth + 1) + frame[0];
}

void* overflow_stack(void*) { return reinterpret_cast<void*>(static_cast<intptr_t>(recurse_forever(0))); }

// The handler runs on the faulting thread's stack; with none left the
// kernel ends the process by the fault's own signal, and nothing hangs.
TEST(PanicReport, ExhaustedThreadStackEndsTheProcess) {
    Crash crash = crash_in_child([] {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, 64 * 1024);
        pthread_t thread;
        pthread_create(&thread, &attributes, overflow_stack, nullptr);
        pthread_join(thread, nullptr);
    });
    EXPECT_TRUE(crash.killed_by(SIGSEGV)) << crash.status;
}

int recurse_then_crash(int depth) {
    if (depth == 0) {
        write_null();
        return 0;
    }
    return recurse_then_crash(depth - 1) + 1;
}

TEST(PanicReport, DeepStackListsThirtyTwoFrames) {
    Crash crash = crash_in_child([] { recurse_then_crash(40); });
    EXPECT_EQ(expect_whole_report(crash.err), 32);
}

// Takes the address space away: RLIMIT_AS at what is mapped now, then
// every block that malloc can still hand out.
void exhaust_memory() {
    volatile char stack_reserve[256 * 1024];  // the handler's stack pages exist beforehand
    memset(const_cast<char*>(stack_reserve), 1, sizeof stack_reserve);
    std::ifstream statm("/proc/self/statm");
    unsigned long pages = 0;
    statm >> pages;
    statm.close();
    struct rlimit limit = {pages * sysconf(_SC_PAGESIZE), RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    for (size_t size = 1 << 20; size >= sizeof(void*); size /= 2) {
        while (void* block = malloc(size)) *static_cast<void**>(block) = nullptr;
    }
}

TEST(PanicReport, WholeReportWhenNoAllocationCanSucceed) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator ends the process when malloc fails";
#endif
    Crash crash = crash_in_child([] {
        exhaust_memory();
        if (malloc(16) != nullptr) _exit(3);
        write_null();
    });
    EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
    EXPECT_GT(expect_whole_report(crash.err), 2);
    EXPECT_EQ(crash.files[crash.report_name()], crash.err);
}

// The name: the crashing thread's, up to 15 characters, with '/' made
// harmless. An older file of the same name is overwritten from its start.
TEST(PanicReportFile, NamedAfterTheThreadAndOverwrittenFromTheStart) {
    struct Case {
        const char* thread;
        const char* file;
        bool older_file;
    } cases[] = {
        {"fifteen_chars_x", "panic-fifteen_chars_x-", false},
        {"../up", "panic-.._up-", false},
        {"again", "panic-again-", true},
    };
    const std::string tail(9000, 't');
    for (const Case& c : cases) {
        SCOPED_TRACE(c.thread);
        Crash crash = crash_in_child(write_null, [&](const std::string& dir) {
            prctl(PR_SET_NAME, c.thread, 0, 0, 0);
            if (c.older_file) {
                std::ofstream(dir + "/" + c.file + std::to_string(getpid()) + ".txt") << tail;
            }
        });
        const std::string name = c.file + std::to_string(crash.pid) + ".txt";
        ASSERT_EQ(crash.files.count(name), 1u);
        EXPECT_EQ(crash.files.size(), 1u);
        std::string expected = crash.err + (c.older_file ? tail.substr(crash.err.size()) : "");
        EXPECT_EQ(crash.files[name], expected);
        EXPECT_EQ(crash.modes[name], 0600u);
    }
}

// Whatever stands at the predicted name in the shared directory, a link to
// another file, a second name of it, or a FIFO, is neither written through
// nor waited on; the report still reaches standard error.
TEST(PanicReportFile, PlantedNamesAreNeverWrittenThrough) {
    enum Plant { kSymlink, kHardLink, kFifo };
    for (Plant plant : {kSymlink, kHardLink, kFifo}) {
        SCOPED_TRACE(plant);
        Crash crash = crash_in_child(write_null, [plant](const std::string& dir) {
            const std::string target = dir + "/target";
            const std::string name = dir + "/panic-" + std::string(program_invocation_short_name).substr(0, 15) +
                                     "-" + std::to_string(getpid()) + ".txt";
            std::ofstream(target) << "keep me";
            if (plant == kSymlink) symlink(target.c_str(), name.c_str());
            if (plant == kHardLink) link(target.c_str(), name.c_str());
            if (plant == kFifo) mkfifo(name.c_str(), 0600);
        });
        EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
        expect_whole_report(crash.err);
        EXPECT_EQ(crash.files["target"], "keep me");
        const std::string planted[] = {"-> ", "keep me", "(special)"};
        EXPECT_EQ(crash.files[crash.report_name()].rfind(planted[plant], 0), 0u);
    }
}

}  // namespace
