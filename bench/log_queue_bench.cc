// Queued logging: the cost of one log call on the calling thread, and lines
// per second from the call to the emitter on the output thread, beside
// spdlog's asynchronous logger doing the same work in the same run.
//
// Both write the standard line into memory on their output thread and count
// it. Our calling thread has a quiet early emitter, so the line is formatted
// on the output side only, as with spdlog. spdlog's queue is bounded (8192
// lines) and blocks a caller when full; ours has no bound, so the call case
// runs a fixed number of calls.
#include <benchmark/benchmark.h>

#include <atomic>
#include <string>

#include "log_bench_support.h"
#include "qorbasic/log.h"
#include "qorbasic/threads.h"

#ifdef QOR_HAVE_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <mutex>
#endif

namespace {

constexpr int kLinesPerPass = 10000;
constexpr int kCallIterations = 200000;

std::atomic<long> g_written{0};

void wait_for(long written) {
    while (g_written.load(std::memory_order_acquire) < written) thread_nap(100);
}

class QuietEmitter : public BasicLog::Emitter {
  public:
    void processMessage(const BasicLog::LogMessage&) override {}
    void send_one_line(const qor_loglevel_impl*, const std::string&, const std::string&) override {}
    const char* emitter_type() const override { return "QuietEmitter"; }
};

// Both sides of queued mode on a queue of the benchmark's own, started once.
struct QueuedLog {
    QueuedLog() {
        input.add_emitter(new QuietEmitter);
        input.switch_to_queue(&output);
        output.add_emitter(&emitter);
        output.startup();
        source = input.make_source("log_queue_bench.cc");
    }
    TypedWorkQueue<const BasicLog::LogMessage> queue;
    LogInput input{queue, true, QOR_LOGLEVEL_INFO};
    LogOutput output{queue, true};
    qorbench::MemoryEmitter emitter{&g_written};
    BasicLog::Source* source;
};

QueuedLog& queued_log() {
    static QueuedLog* log = new QueuedLog;
    return *log;
}

inline void qor_log(BasicLog::Source* source) {
    qorbench::log_connect_failed(source, QOR_LOGLEVEL_WARN);
}

void qor_call(benchmark::State& state) {
    BasicLog::Source* source = queued_log().source;
    long before = g_written.load();
    for (auto _ : state) qor_log(source);
    // Not timed: the loop is over. The next case starts on an empty queue.
    wait_for(before + state.iterations());
}
BENCHMARK(qor_call)->Name("QueuedCall/qorbasic")->Iterations(kCallIterations);

void qor_end_to_end(benchmark::State& state) {
    BasicLog::Source* source = queued_log().source;
    for (auto _ : state) {
        long target = g_written.load() + kLinesPerPass;
        for (int i = 0; i < kLinesPerPass; ++i) qor_log(source);
        wait_for(target);
    }
    state.SetItemsProcessed(state.iterations() * kLinesPerPass);
}
BENCHMARK(qor_end_to_end)->Name("QueuedLines10k/qorbasic")->UseRealTime();

#ifdef QOR_HAVE_SPDLOG

class CountingSink : public spdlog::sinks::base_sink<std::mutex> {
  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        line_.clear();
        formatter_->format(msg, line_);
        benchmark::DoNotOptimize(line_.data());
        g_written.fetch_add(1, std::memory_order_release);
    }
    void flush_() override {}

  private:
    spdlog::memory_buf_t line_;
};

std::shared_ptr<spdlog::logger> async_logger() {
    static std::shared_ptr<spdlog::logger> logger = [] {
        spdlog::init_thread_pool(8192, 1);
        auto made = std::make_shared<spdlog::async_logger>(
            "queued", std::make_shared<CountingSink>(), spdlog::thread_pool(),
            spdlog::async_overflow_policy::block);
        made->set_pattern("[%^%l%$ %Y-%m-%d %H:%M:%S.%f] %v");
        return made;
    }();
    return logger;
}

inline void spdlog_log(spdlog::logger& logger) {
    logger.warn("connect failed: errmsg={} errno={} host={}", "No route to host", 113,
                "example.org");
}

void spdlog_call(benchmark::State& state) {
    auto logger = async_logger();
    long before = g_written.load();
    for (auto _ : state) spdlog_log(*logger);
    // Not timed: the loop is over. The next case starts on an empty queue.
    wait_for(before + state.iterations());
}
BENCHMARK(spdlog_call)->Name("QueuedCall/spdlog")->Iterations(kCallIterations);

void spdlog_end_to_end(benchmark::State& state) {
    auto logger = async_logger();
    for (auto _ : state) {
        long target = g_written.load() + kLinesPerPass;
        for (int i = 0; i < kLinesPerPass; ++i) spdlog_log(*logger);
        wait_for(target);
    }
    state.SetItemsProcessed(state.iterations() * kLinesPerPass);
}
BENCHMARK(spdlog_end_to_end)->Name("QueuedLines10k/spdlog")->UseRealTime();

#endif  // QOR_HAVE_SPDLOG

}  // namespace
