// What the log benchmarks share: the call site they measure and an emitter
// that makes the line in memory.
#ifndef QORBASIC_BENCH_LOG_BENCH_SUPPORT_H
#define QORBASIC_BENCH_LOG_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <atomic>
#include <string>

#include "qorbasic/log.h"

namespace qorbench {

// The call site our log benchmarks measure, as library users write it.
inline void log_connect_failed(BasicLog::Source* source, const qor_loglevel_impl* level) {
    if (source->would_send(level)) {
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), level,
                                    "connect failed", __FILE__, __func__)
            .add("errmsg", "No route to host")
            .addInt("errno", 113)
            .add("host", "example.org");
    }
}

// Keeps the last line, as a memory sink of spdlog does, and counts the lines
// in `written` if given.
class MemoryEmitter : public BasicLog::Emitter {
  public:
    explicit MemoryEmitter(std::atomic<long>* written = nullptr) : written_(written) {}
    void send_one_line(const qor_loglevel_impl*, const std::string& headers,
                       const std::string& content) override {
        line_.assign(headers);
        line_ += ' ';
        line_ += content;
        line_ += '\n';
        benchmark::DoNotOptimize(line_.data());
        if (written_ != nullptr) written_->fetch_add(1, std::memory_order_release);
    }
    const char* emitter_type() const override { return "MemoryEmitter"; }

  private:
    std::atomic<long>* written_;
    std::string line_;
};

}  // namespace qorbench

#endif  // QORBASIC_BENCH_LOG_BENCH_SUPPORT_H
