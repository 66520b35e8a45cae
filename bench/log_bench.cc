// Log calls: one filtered out by the level, and one standard line with three
// parameters written to /dev/null, beside the same work done with spdlog.
// "LogLineToMemory" is the same line made by each library into a memory
// sink that keeps the last line: the line's own work without the system call.
//
// Our log call returns only after its line is written (the stderr emitter
// flushes each line), so the spdlog logger of the line case flushes on every
// message too; "LogLine3ParamsBuffered/spdlog" shows spdlog with its default
// buffering, which writes a line only when its file buffer fills.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>

#include "log_bench_support.h"
#include "qorbasic/log.h"

#ifdef QOR_HAVE_SPDLOG
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

// Points standard error at /dev/null while a benchmark runs.
class StderrToDevNull {
  public:
    StderrToDevNull() {
        std::fflush(stderr);
        saved_ = dup(2);
        int null_fd = open("/dev/null", O_WRONLY);
        dup2(null_fd, 2);
        close(null_fd);
    }
    ~StderrToDevNull() {
        std::fflush(stderr);
        dup2(saved_, 2);
        close(saved_);
    }

  private:
    int saved_;
};

BasicLog::Source* bench_source() {
    static BasicLog::Source* source = BasicLog::make_logsource_instance("log_bench.cc");
    return source;
}

using qorbench::log_connect_failed;
using qorbench::MemoryEmitter;

void qor_filtered(benchmark::State& state) {
    BasicLog::Source* source = bench_source();
    for (auto _ : state) {
        log_connect_failed(source, QOR_LOGLEVEL_DEBUG);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(qor_filtered)->Name("LogFiltered/qorbasic");

void qor_line(benchmark::State& state) {
    StderrToDevNull quiet;
    BasicLog::Source* source = bench_source();
    for (auto _ : state) {
        log_connect_failed(source, QOR_LOGLEVEL_WARN);
    }
}
BENCHMARK(qor_line)->Name("LogLine3Params/qorbasic");

void qor_line_to_memory(benchmark::State& state) {
    static LogInput* input = [] {
        LogInput* memory = new LogInput(QOR_LOGLEVEL_INFO);
        memory->add_emitter(new MemoryEmitter);
        return memory;
    }();
    BasicLog::Source* source = input->make_source("log_bench.cc");
    for (auto _ : state) {
        log_connect_failed(source, QOR_LOGLEVEL_WARN);
    }
}
BENCHMARK(qor_line_to_memory)->Name("LogLineToMemory/qorbasic");

#ifdef QOR_HAVE_SPDLOG

std::shared_ptr<spdlog::logger> spdlog_logger(const char* name, bool flush_each_line) {
    auto logger = spdlog::get(name);
    if (!logger) {
        logger = spdlog::basic_logger_mt(name, "/dev/null");
        // The same line form as ours: level, local time with microseconds, text.
        logger->set_pattern("[%^%l%$ %Y-%m-%d %H:%M:%S.%f] %v");
        logger->set_level(spdlog::level::info);
        if (flush_each_line) logger->flush_on(spdlog::level::trace);
    }
    return logger;
}

void spdlog_filtered(benchmark::State& state) {
    auto logger = spdlog_logger("filtered", true);
    for (auto _ : state) {
        logger->debug("connect failed: errmsg={} errno={} host={}", "No route to host", 113,
                      "example.org");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(spdlog_filtered)->Name("LogFiltered/spdlog");

void spdlog_lines(benchmark::State& state, const std::shared_ptr<spdlog::logger>& logger) {
    for (auto _ : state) {
        logger->warn("connect failed: errmsg={} errno={} host={}", "No route to host", 113,
                     "example.org");
    }
}

void spdlog_line(benchmark::State& state) {
    spdlog_lines(state, spdlog_logger("flushed", true));
}
BENCHMARK(spdlog_line)->Name("LogLine3Params/spdlog");

void spdlog_line_buffered(benchmark::State& state) {
    spdlog_lines(state, spdlog_logger("buffered", false));
}
BENCHMARK(spdlog_line_buffered)->Name("LogLine3ParamsBuffered/spdlog");

class MemorySink : public spdlog::sinks::base_sink<std::mutex> {
  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        line_.assign(formatted.data(), formatted.size());
        benchmark::DoNotOptimize(line_.data());
    }
    void flush_() override {}

  private:
    std::string line_;
};

void spdlog_line_to_memory(benchmark::State& state) {
    auto logger = std::make_shared<spdlog::logger>("memory", std::make_shared<MemorySink>());
    logger->set_pattern("[%^%l%$ %Y-%m-%d %H:%M:%S.%f] %v");
    logger->set_level(spdlog::level::info);
    spdlog_lines(state, logger);
}
BENCHMARK(spdlog_line_to_memory)->Name("LogLineToMemory/spdlog");

#endif

}  // namespace
