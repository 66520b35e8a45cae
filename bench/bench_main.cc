// Shared main of the benchmark programs. Benchmarks are named
// "<Case>/<implementation>", with "qorbasic" as our own implementation and
// the peer library's name for the others (e.g. "ParseTwitter/qorbasic",
// "ParseTwitter/nlohmann"). After the usual table, a summary prints, for each
// case, our time, each peer's time and the ratio, and the throughput where a
// benchmark sets bytes processed. With --benchmark_repetitions, the summary
// keeps each benchmark's fastest repetition, the one least disturbed by the
// rest of the machine; --benchmark_enable_random_interleaving=true spreads
// the repetitions of ours and the peers' over the same stretch of time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Figure {
    double ns_per_iteration = 0;
    double bytes_per_second = 0;
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
            std::string name = run.benchmark_name();
            size_t slash = name.find('/');
            if (slash == std::string::npos) continue;
            std::string test_case = name.substr(0, slash);
            // The implementation's name ends at the next slash, where the
            // library adds arguments and options ("/1000/real_time").
            std::string impl = name.substr(slash + 1, name.find('/', slash + 1) - slash - 1);
            Figure figure;
            figure.ns_per_iteration = run.GetAdjustedRealTime();  // in the run's time unit
            if (run.time_unit == benchmark::kMicrosecond) figure.ns_per_iteration *= 1e3;
            if (run.time_unit == benchmark::kMillisecond) figure.ns_per_iteration *= 1e6;
            auto bytes = run.counters.find("bytes_per_second");
            if (bytes != run.counters.end()) figure.bytes_per_second = bytes->second;
            if (figures_.find(test_case) == figures_.end()) order_.push_back(test_case);
            auto known = figures_[test_case].find(impl);
            if (known == figures_[test_case].end() ||
                figure.ns_per_iteration < known->second.ns_per_iteration)
                figures_[test_case][impl] = figure;
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-28s %-12s %14s %12s %10s\n", "case", "impl", "ns/op", "MB/s", "peer/ours");
        for (const std::string& test_case : order_) {
            const auto& impls = figures_[test_case];
            auto ours = impls.find("qorbasic");
            for (const auto& entry : impls) {
                const Figure& f = entry.second;
                char ratio[32] = "";
                if (ours != impls.end() && entry.first != "qorbasic" &&
                    ours->second.ns_per_iteration > 0) {
                    snprintf(ratio, sizeof ratio, "%.2f",
                             f.ns_per_iteration / ours->second.ns_per_iteration);
                }
                char rate[32] = "";
                if (f.bytes_per_second > 0)
                    snprintf(rate, sizeof rate, "%.1f", f.bytes_per_second / 1e6);
                std::printf("%-28s %-12s %14.1f %12s %10s\n", test_case.c_str(),
                            entry.first.c_str(), f.ns_per_iteration, rate, ratio);
            }
        }
        std::fflush(stdout);
    }

  private:
    std::vector<std::string> order_;
    std::map<std::string, std::map<std::string, Figure>> figures_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
