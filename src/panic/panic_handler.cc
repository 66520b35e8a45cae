// The crash handler: on one of eight fatal signals it composes a report of
// the signal, the registers, the stack and the modules in _panic_msg, writes
// it to /tmp/panic-<thread>-<pid>.txt and to standard error, and ends the
// process with a trap. Between the lock of its own mutex and the trap it
// calls only system calls, memset and the library's formatter, except for
// backtrace (warmed up at load) and __cxa_demangle.
#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "panic/panic_internal.h"
#include "qorbasic/panic.h"

char _panic_msg[8192] __attribute__((section("._panic_msg"))) = {};

namespace {

using qor::detail::panic_format;

const int kFatalSignals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV, SIGTRAP, SIGSYS};
constexpr int kMaxFrames = 32;
constexpr unsigned kReportSeconds = 2;

char* report_start = nullptr;
char* report_end = nullptr;
char file_name[256];
void* frames[kMaxFrames];
pthread_mutex_t handler_mutex = PTHREAD_MUTEX_INITIALIZER;
char report_dir[200] = "/tmp";

const char* const kSignalNames[65] = {
    nullptr,   "SIGHUP",  "SIGINT",    "SIGQUIT", "SIGILL",   "SIGTRAP", "SIGABRT", "SIGBUS",
    "SIGFPE",  "SIGKILL", nullptr,     "SIGSEGV", "SIGUSR2",  "SIGPIPE", "SIGALRM", "SIGTERM",
    nullptr,   "SIGCHLD", "SIGCONT",   "SIGSTOP", "SIGTSTP",  "SIGTTIN", "SIGTTOU", "SIGURG",
    "SIGXCPU", "SIGXFSZ", "SIGVTALRM", "SIGPROF", "SIGWINCH", nullptr,   nullptr,   "SIGSYS"};

const char* signal_name(int number) {
    if (number < 0 || number > 64 || kSignalNames[number] == nullptr) return "Unknown";
    return kSignalNames[number];
}

// The cause texts of the five fault signals, indexed by si_code.
const char* const kIllCauses[] = {nullptr,
                                  "\nIllegal Opcode",
                                  "\nIllegal Operand",
                                  "\nIllegal Addressing Mode",
                                  "\nIllegal Trap",
                                  "\nPrivileged Opcode",
                                  "\nPrivileged Register",
                                  "\nCoprocessor Error",
                                  "\nInternal stack Error"};
const char* const kTrapCauses[] = {nullptr, "\nProcess Breakpoint", "\nProcess Trace Trap"};
const char* const kBusCauses[] = {nullptr,
                                  "\nInvalid Address Alignment.",
                                  "\nNonexistent Physical Address.",
                                  "\nObject-Specific Hardware Error.",
                                  "\nObject-Specific Hardware Error.",
                                  "\nHardware Memory Error Detected"};
const char* const kFpeCauses[] = {nullptr,
                                  "\nInteger Divide by Zero",
                                  "\nInteger Overflow",
                                  "\nFloating-point Divide by Zero",
                                  "\nFloating-point Overflow",
                                  "\nFloating-point Underflow",
                                  "\nFloating-point Inexact Result",
                                  "\nFloating-point Invalid Operation",
                                  "\nSubscript Out of Range"};
const char* const kSegvCauses[] = {nullptr, "\nAddress Not Mapped to Object",
                                   "\nInvalid Permissions for Mapped Object"};

void format_cause(const char* const* causes, size_t count, int code) {
    if (code > 0 && static_cast<size_t>(code) < count) panic_format("%s", causes[code]);
}

// Causes that any signal but the five faults can carry: who sent it.
void format_sender(const siginfo_t* info) {
    const int code = info->si_code;
    switch (code) {
        case SI_QUEUE:
            panic_format("\nSignal Queue");
            return;
        case SI_TIMER:
            panic_format("\nPOSIX Timer Expired");
            return;
        case SI_MESGQ:
            panic_format("\nPOSIX Message Queue State Changed");
            return;
        case SI_ASYNCIO:
            panic_format("\nAsync I/O Completed");
            return;
        case SI_SIGIO:
            panic_format("\nQueued SIGIO");
            return;
        case SI_TKILL:
            panic_format("\nSent via tkill");
            return;
        default:
            break;
    }
    switch (code & 0xff) {
        case 0:
            panic_format("\nSent by pid %d uid %d", info->si_pid, static_cast<int>(info->si_uid));
            break;
        case 5:
            panic_format("\nptrace Event %d", code >> 8);
            break;
        case 128:
            panic_format("\nSent by Kernel");
            break;
        default:
            break;
    }
}

void format_signal_section(int number, const siginfo_t* info) {
    panic_format("Process %d, thread %d caught signal %d (%s):", static_cast<int>(getpid()),
                 static_cast<int>(syscall(SYS_gettid)), number, signal_name(number));
    bool fault = true;
    switch (number) {
        case SIGILL:
            format_cause(kIllCauses, std::size(kIllCauses), info->si_code);
            break;
        case SIGTRAP:
            format_cause(kTrapCauses, std::size(kTrapCauses), info->si_code);
            break;
        case SIGBUS:
            format_cause(kBusCauses, std::size(kBusCauses), info->si_code);
            break;
        case SIGFPE:
            format_cause(kFpeCauses, std::size(kFpeCauses), info->si_code);
            break;
        case SIGSEGV:
            format_cause(kSegvCauses, std::size(kSegvCauses), info->si_code);
            break;
        default:
            fault = false;
            format_sender(info);
            break;
    }
    if (fault) panic_format(" @ %p", info->si_addr);
    panic_format("\n");
}

void format_register_section(const void* context) {
#if defined(__x86_64__)
    const greg_t* r = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
    auto reg = [r](int index) { return static_cast<unsigned long long>(r[index]); };
    const unsigned long long segments = reg(REG_CSGSFS);
    panic_format("TSC %016llx ERR %016llx FLAGS %08x OLDMASK %08x\n", __builtin_ia32_rdtsc(),
                 reg(REG_ERR), static_cast<unsigned>(reg(REG_EFL)),
                 static_cast<unsigned>(reg(REG_OLDMASK)));
    panic_format("RIP %016llx RSP %016llx RBP %016llx    TRAP %2d\n", reg(REG_RIP), reg(REG_RSP),
                 reg(REG_RBP), static_cast<int>(reg(REG_TRAPNO)));
    panic_format("RAX %016llx RBX %016llx RCX %016llx\n", reg(REG_RAX), reg(REG_RBX), reg(REG_RCX));
    panic_format("RDX %016llx RSI %016llx RDI %016llx    CS %04x\n", reg(REG_RDX), reg(REG_RSI),
                 reg(REG_RDI), static_cast<unsigned>(segments & 0xffff));
    panic_format("R8  %016llx R9  %016llx R10 %016llx\n", reg(REG_R8), reg(REG_R9), reg(REG_R10));
    panic_format("R11 %016llx R12 %016llx R13 %016llx    FS %04x\n", reg(REG_R11), reg(REG_R12),
                 reg(REG_R13), static_cast<unsigned>((segments >> 32) & 0xffff));
    panic_format("R14 %016llx R15 %016llx CR2 %016llx    8S %04x\n", reg(REG_R14), reg(REG_R15),
                 reg(REG_CR2), static_cast<unsigned>((segments >> 16) & 0xffff));
#else
    (void)context;
    panic_format("registers: not available on this platform\n");
#endif
}

int digit_count(uint64_t value) {
    return value == 0 ? 0 : (68 - __builtin_clzll(value)) / 4;
}

void grow(int& width, uint64_t value) {
    int digits = digit_count(value);
    if (digits > width) width = digits;
}

void format_stack_section() {
    const int count = backtrace(frames, kMaxFrames);
    panic_symbol entries[kMaxFrames];
    int symbol_width = 6;
    int offset_width = 6;
    int address_width = 7;
    for (int i = 0; i < count; ++i) {
        const uintptr_t address = reinterpret_cast<uintptr_t>(frames[i]);
        if (!qor::detail::panic_lookup(entries[i], address))
            entries[i] = {nullptr, 0, "<unknown>", 0};
        const uintptr_t base = entries[i].module != nullptr ? entries[i].module->base : 0;
        grow(symbol_width, entries[i].value);
        grow(offset_width, address - (entries[i].value + base));
        grow(address_width, address);
    }
    panic_format("   Obj:%*s+%*s ->%*s Name\n", symbol_width, "Symbol", offset_width, "Offset",
                 address_width - 2, "Addr");
    const int name_room = 73 - (symbol_width + offset_width + address_width);
    for (int i = 0; i < count; ++i) {
        const panic_symbol& entry = entries[i];
        const char* name = qor::detail::panic_symbol_name(entry);
        // __cxa_demangle gets no buffer of ours: handed one that is too
        // small, it would realloc it. Its own buffer is freed once printed.
        char* demangled = nullptr;
        if (name[0] == '_' && name[1] == 'Z') {
            int status = -1;
            demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
            if (status == 0 && demangled != nullptr &&
                static_cast<int>(strlen(demangled)) < name_room) {
                name = demangled;
            }
        }
        const uintptr_t address = reinterpret_cast<uintptr_t>(frames[i]);
        const uintptr_t base = entry.module != nullptr ? entry.module->base : 0;
        panic_format("%2d:%3d %*lx %*lx %*lx %s\n", i,
                     entry.module != nullptr ? static_cast<int>(entry.module->number) : 0,
                     symbol_width, entry.value, offset_width, address - (entry.value + base),
                     address_width, address, name);
        free(demangled);
        if (entry.module != nullptr) entry.module->used = true;
    }
    panic_format("\nObj %*s Name\n", address_width, "Base");
    for (const panic_module* module = qor::detail::panic_modules(); module != nullptr;
         module = module->next) {
        if (module->used)
            panic_format("%2u: %*lx %s\n", module->number, address_width, module->base,
                         module->name);
    }
}

void write_report(int fd) {
    for (const char* p = report_start; p < report_end;) {
        ssize_t written = write(fd, p, static_cast<size_t>(report_end - p));
        if (written < 1) return;
        p += written;
    }
}

void write_report_file() {
    char thread_name[16];
    memset(thread_name, 0, sizeof thread_name);
    prctl(PR_GET_NAME, thread_name, 0, 0, 0);
    // A '/' in a thread name would lead the path into another directory.
    for (char& c : thread_name) {
        if (c == '/') c = '_';
    }
    qor::detail::panic_format_to(file_name, sizeof file_name);
    panic_format("%s/panic-%s-%d.txt%c", report_dir, thread_name, static_cast<int>(getpid()), '\0');
    // No O_TRUNC: a report of an earlier process of the same name and id is
    // overwritten from its start. /tmp is shared, so the name is never
    // followed through a link, a FIFO planted there can't block the open,
    // and a file that is not this user's own, or has other names, is left
    // alone: the report then goes to standard error only.
    int fd = open(file_name, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600);
    if (fd < 0) return;
    struct stat info;
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_nlink == 1 &&
        info.st_uid == geteuid()) {
        fchmod(fd, 0600);
        write_report(fd);
    }
    close(fd);
}

void trap_on_alarm(int) {
    __builtin_trap();
}

void panic_handler(int number, siginfo_t* info, void* context) {
    pthread_mutex_lock(&handler_mutex);  // never unlocked: a second crash waits here
    for (int fatal : kFatalSignals) signal(fatal, SIG_DFL);
    signal(SIGALRM, trap_on_alarm);
    alarm(kReportSeconds);
    qor::detail::panic_format_to(_panic_msg, sizeof _panic_msg);
    panic_format("%s%s%s\n\n", "._panic_msg", "._panic_msg", "._panic_msg");
    report_start = qor::detail::panic_format_cursor();
    panic_format("\n");
    format_signal_section(number, info);
    panic_format("\n");
    format_register_section(context);
    panic_format("\n");
    format_stack_section();
    report_end = qor::detail::panic_format_cursor();
    write_report_file();
    write_report(2);
    __builtin_trap();
}

}  // namespace

namespace qor {
namespace detail {

void panic_arm_handler() {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = panic_handler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    for (int fatal : kFatalSignals) sigaction(fatal, &action, nullptr);
}

void panic_set_report_dir(const char* directory) {
    const char* dir = directory != nullptr ? directory : "/tmp";
    size_t length = strnlen(dir, sizeof report_dir - 1);
    memcpy(report_dir, dir, length);
    report_dir[length] = '\0';
}

}  // namespace detail
}  // namespace qor
