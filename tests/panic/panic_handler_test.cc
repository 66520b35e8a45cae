// Tests of the crash report, each crash in a forked child.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "files/temp_tree.h"
#include "logging/log_test_support.h"
#include "panic/panic_internal.h"
#include "qorbasic/panic.h"

namespace {

using files_test::read_all;

// What a crash in a child left: status, standard error, and the files of
// the report directory (content, "-> target" for a link, "(special)").
struct Crash : qortest::ChildResult {
    pid_t pid = 0;
    std::map<std::string, std::string> files;
    std::map<std::string, mode_t> modes;
};

// The report file of a crash on the main thread, whose name is the
// program's cut to 15 characters.
std::string report_name(pid_t pid) {
    return "panic-" + std::string(program_invocation_short_name).substr(0, 15) + "-" +
           std::to_string(pid) + ".txt";
}

// Runs `body` in a child whose report file goes to a fresh directory, which
// `prepare` gets first; the directory is gone when this returns. The child
// leaves its pid in ".pid", which is not listed among the files.
Crash crash_in_child(const std::function<void()>& body,
                     const std::function<void(const std::string&)>& prepare = nullptr) {
    std::string dir = std::filesystem::temp_directory_path().string() + "/qorpanic.XXXXXX";
    if (mkdtemp(&dir[0]) == nullptr) std::abort();
    Crash crash;
    static_cast<qortest::ChildResult&>(crash) = qortest::run_in_child([&] {
        std::ofstream(dir + "/.pid") << getpid();
        qor::detail::panic_set_report_dir(dir.c_str());
        if (prepare) prepare(dir);
        body();
    });
    crash.pid = std::atoi(read_all(dir + "/.pid").c_str());
    std::filesystem::remove(dir + "/.pid");
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        struct stat info;
        if (lstat(entry.path().c_str(), &info) == 0) crash.modes[name] = info.st_mode & 07777;
        crash.files[name] = entry.is_symlink()
                                ? "-> " + std::filesystem::read_symlink(entry).string()
                            : entry.is_regular_file() ? read_all(entry.path())
                                                      : "(special)";
    }
    std::filesystem::remove_all(dir);
    return crash;
}

// Checks what follows the signal section: a blank line, seven register
// lines, a blank line, the frames, and a table of exactly the modules that
// frames resolved to, the main program among them. Returns the frame count.
int expect_whole_report(const std::string& report) {
    EXPECT_EQ(report.rfind("\nProcess ", 0), 0u) << report;
    EXPECT_EQ(report.find("._panic_msg"), std::string::npos);
    size_t registers = report.find("\n\nTSC ");
    EXPECT_NE(registers, std::string::npos) << "no register section:\n" << report;
    if (registers == std::string::npos) return 0;
    std::istringstream in(report.substr(registers + 2));
    std::string line;
    for (const char* prefix :
         {"TSC ", "RIP ", "RAX ", "RDX ", "R8  ", "R11 ", "R14 ", "", "   Obj:"}) {
        std::getline(in, line);
        EXPECT_EQ(line.rfind(prefix, 0), 0u) << prefix << "\n" << report;
    }
    std::set<int> frame_modules, listed_modules;
    int frames = 0;
    for (; std::getline(in, line) && !line.empty(); ++frames)
        frame_modules.insert(std::stoi(line.substr(3, 3)));
    std::getline(in, line);
    EXPECT_EQ(line.rfind("Obj ", 0), 0u);
    bool main_program = false;
    while (std::getline(in, line)) {
        listed_modules.insert(std::stoi(line));
        main_program |=
            line.find(std::string(" ") + program_invocation_short_name) != std::string::npos;
    }
    EXPECT_EQ(listed_modules, frame_modules) << report;
    EXPECT_TRUE(main_program) << report;
    return frames;
}

// Real faults, which the undefined-behaviour sanitizer would stop first.
__attribute__((no_sanitize("undefined"))) void write_null() {
    *static_cast<volatile int*>(nullptr) = 1;
}
__attribute__((no_sanitize("undefined"))) int divide(volatile int divisor) {
    return 7 / divisor;
}

int recurse(int depth) {
    volatile char frame[256];
    frame[0] = static_cast<char>(depth);
    if (depth == 0) write_null();
    return depth == 0 ? 0 : recurse(depth - 1) + frame[0];
}

std::atomic<bool> go{true};
void* crash_thread(void*) {
    while (!go.load()) {
    }
    write_null();
    return nullptr;
}

pthread_t start_thread(void* (*body)(void*), size_t stack_size = 0) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stack_size != 0) pthread_attr_setstacksize(&attributes, stack_size);
    pthread_t thread;
    pthread_create(&thread, &attributes, body, nullptr);
    pthread_attr_destroy(&attributes);
    return thread;
}

TEST(PanicReport, EveryFatalSignalRaisedOrFromAFaultIsReportedThenEndsBySigill) {
    // A raised SIGSEGV stands for the other signals that carry an address.
    const struct {
        int signal;
        std::function<void()> cause;
        std::string text;  // what follows "caught signal N (NAME):"
    } cases[] = {
        {SIGSEGV, write_null, "\nAddress Not Mapped to Object @ 0000000000000000\n\nTSC "},
        {SIGSEGV, [] { raise(SIGSEGV); }, " @ "},
        {SIGFPE, [] { divide(0); }, "\nInteger Divide by Zero @ "},
        {SIGABRT, [] { abort(); }, "\nSent via tkill\n"},
        {SIGILL, [] { __builtin_trap(); }, "\nIllegal Operand @ "},  // ud2
        {SIGTRAP, [] { asm volatile("int3"); }, " @ "},
        {SIGBUS, [] { raise(SIGBUS); }, " @ "},
        {SIGQUIT, [] { raise(SIGQUIT); }, "\nSent via tkill\n"},
        {SIGSYS, [] { raise(SIGSYS); }, "\nSent via tkill\n"},
    };
    for (const auto& c : cases) {
        Crash crash = crash_in_child(c.cause);
        const std::string id = std::to_string(crash.pid);
        const std::string header = "\nProcess " + id + ", thread " + id + " caught signal " +
                                   std::to_string(c.signal) + " (SIG" + sigabbrev_np(c.signal) +
                                   "):" + c.text;
        SCOPED_TRACE(header);
        EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
        EXPECT_EQ(crash.err.rfind(header, 0), 0u) << crash.err;
        expect_whole_report(crash.err);
        EXPECT_EQ(crash.files.size(), 1u);
        EXPECT_EQ(crash.files[report_name(crash.pid)], crash.err);
        EXPECT_EQ(crash.modes[report_name(crash.pid)], 0600u);
    }
    for (int sig : {SIGTERM, SIGINT}) {
        Crash crash = crash_in_child([sig] { raise(sig); });
        EXPECT_TRUE(crash.killed_by(sig) && crash.err.empty() && crash.files.empty()) << sig;
    }
}

// The second thread waits on the handler's mutex, and the first one's
// report comes out whole; or it faults after the handler reset the signals
// and ends the process at once, cutting the report short. Never two.
TEST(PanicReport, TwoThreadsCrashingAtOnceGiveOneReport) {
    Crash crash = crash_in_child([] {
        go.store(false);
        pthread_t first = start_thread(crash_thread);
        start_thread(crash_thread);
        go.store(true);
        pthread_join(first, nullptr);
    });
    EXPECT_TRUE(crash.killed_by(SIGILL) || crash.killed_by(SIGSEGV)) << crash.status;
    const size_t first = crash.err.find("caught signal");
    if (first != std::string::npos) {
        EXPECT_EQ(crash.err.find("caught signal", first + 1), std::string::npos) << crash.err;
    }
    if (crash.killed_by(SIGILL)) expect_whole_report(crash.err);
}

// Maps the stack pages that the crash and the handler will use later.
__attribute__((noinline)) void touch_stack() {
    volatile char pages[256 * 1024];
    memset(const_cast<char*>(pages), 1, sizeof pages);
}

// RLIMIT_AS at what is mapped now, then every block malloc can still hand
// out; the crash comes 40 calls deep, of which the report shows 32.
// The handler runs on the faulting thread's stack; with none left the
// kernel ends the process by the fault's own signal, and nothing hangs.
TEST(PanicReport, ExhaustedThreadStackEndsTheProcess) {
    Crash crash = crash_in_child([] {
        pthread_join(
            start_thread([](void*) { return reinterpret_cast<void*>(recurse(-1)); }, 64 * 1024),
            nullptr);
    });
    EXPECT_TRUE(crash.killed_by(SIGSEGV)) << crash.status;
}

TEST(PanicReport, WholeReportWhenNoAllocationCanSucceed) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator ends the process when malloc fails";
#endif
    Crash crash = crash_in_child([] {
        touch_stack();
        unsigned long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        struct rlimit limit = {pages * sysconf(_SC_PAGESIZE), RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &limit);
        for (size_t size = 1 << 20; size >= sizeof(void*); size /= 2) {
            while (malloc(size) != nullptr) {
            }
        }
        recurse(40);
    });
    EXPECT_TRUE(crash.killed_by(SIGILL)) << crash.status;
    EXPECT_EQ(expect_whole_report(crash.err), 32);
    EXPECT_EQ(crash.files[report_name(crash.pid)], crash.err);
}

// The file bears the crashing thread's name, up to 15 characters, with '/'
// made harmless; an older file of the same name is overwritten from its start.
TEST(PanicReportFile, NamedAfterTheThreadAndOverwrittenFromTheStart) {
    const std::string tail(9000, 't');
    for (const char* thread : {"fifteen_chars_x", "../up", "again"}) {
        const bool older_file = std::string(thread) == "again";
        Crash crash = crash_in_child(write_null, [&](const std::string& dir) {
            prctl(PR_SET_NAME, thread, 0, 0, 0);
            if (older_file)
                std::ofstream(dir + "/panic-again-" + std::to_string(getpid()) + ".txt") << tail;
        });
        std::string name =
            "panic-" + std::string(thread) + "-" + std::to_string(crash.pid) + ".txt";
        std::replace(name.begin() + 6, name.end(), '/', '_');
        EXPECT_EQ(crash.files.size(), 1u) << thread;
        EXPECT_EQ(crash.files[name], crash.err + (older_file ? tail.substr(crash.err.size()) : ""))
            << thread;
        EXPECT_EQ(crash.modes[name], 0600u) << thread;
    }
}

// Whatever stands at the predicted name, a link to another file, a second
// name of it, or a FIFO, is neither written through nor waited on; the
// report still reaches standard error.
TEST(PanicReportFile, PlantedNamesAreNeverWrittenThrough) {
    enum Plant { kSymlink, kHardLink, kFifo };
    const char* const left_as[] = {"-> ", "keep me", "(special)"};
    for (Plant plant : {kSymlink, kHardLink, kFifo}) {
        Crash crash = crash_in_child(write_null, [plant](const std::string& dir) {
            const std::string target = dir + "/target";
            const std::string name = dir + "/" + report_name(getpid());
            std::ofstream(target) << "keep me";
            if (plant == kSymlink) symlink(target.c_str(), name.c_str());
            if (plant == kHardLink) link(target.c_str(), name.c_str());
            if (plant == kFifo) mkfifo(name.c_str(), 0600);
        });
        EXPECT_TRUE(crash.killed_by(SIGILL)) << plant;
        expect_whole_report(crash.err);
        EXPECT_EQ(crash.files["target"], "keep me") << plant;
        EXPECT_EQ(crash.files[report_name(crash.pid)].rfind(left_as[plant], 0), 0u) << plant;
    }
}

}  // namespace
