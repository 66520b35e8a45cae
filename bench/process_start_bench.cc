// Process start: a trivial client started and ended 1,000 times in each of
// four builds, taken in turn so that a change of the machine's load falls on
// all of them alike: linked against the library ("qorbasic"), against the
// library built without the crash handler ("unarmed"), against the library
// without the crash handler linked with the toolchain's default flags
// ("default_link"), and against the C++ runtime only ("cxx_runtime").
// A start is timed by the CPU time the child used (user and system, from
// wait4), which a busy machine disturbs far less than the wall clock; the
// counters give the median start of each in milliseconds, and:
//   library_ms  qorbasic - cxx_runtime: what the library costs every start
//   arming_ms   qorbasic - unarmed: what arming the crash handler costs
//   linking_ms  default_link - unarmed: what the version script and
//               -Bsymbolic-functions save
//   ratio       qorbasic / cxx_runtime
//   wall_library_ms  library_ms by the wall clock
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Client {
    const char* name;
    const char* path;
    std::vector<double> cpu_ms;
    std::vector<double> wall_ms;
};

double now_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

// One start and end of the client; false if it did not run to exit 0.
bool start_once(Client& client) {
    char* const argv[] = {const_cast<char*>(client.path), nullptr};
    const double begin = now_us();
    pid_t pid;
    if (posix_spawn(&pid, client.path, nullptr, nullptr, argv, environ) != 0) return false;
    int status = 0;
    struct rusage usage;
    wait4(pid, &status, 0, &usage);
    client.wall_ms.push_back((now_us() - begin) / 1e3);
    client.cpu_ms.push_back((usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
                            (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void process_start(benchmark::State& state) {
    Client clients[] = {{"qorbasic", QOR_START_CLIENT_QORBASIC, {}},
                        {"unarmed", QOR_START_CLIENT_UNARMED, {}},
                        {"default_link", QOR_START_CLIENT_DEFAULT_LINK, {}},
                        {"cxx_runtime", QOR_START_CLIENT_CXX, {}}};
    for (auto _ : state) {
        for (Client& client : clients) {
            if (!start_once(client)) {
                state.SkipWithError((std::string(client.name) + " did not run").c_str());
                return;
            }
        }
    }
    double medians[4];
    for (int i = 0; i < 4; ++i) {
        medians[i] = median(clients[i].cpu_ms);
        state.counters[std::string(clients[i].name) + "_ms"] = medians[i];
    }
    state.counters["library_ms"] = medians[0] - medians[3];
    state.counters["arming_ms"] = medians[0] - medians[1];
    state.counters["linking_ms"] = medians[2] - medians[1];
    state.counters["ratio"] = medians[0] / medians[3];
    state.counters["wall_library_ms"] = median(clients[0].wall_ms) - median(clients[3].wall_ms);
}

}  // namespace

BENCHMARK(process_start)
    ->Name("ProcessStart")
    ->Iterations(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
