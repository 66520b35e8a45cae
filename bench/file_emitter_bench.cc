// Lines through a started file emitter into a temporary directory, beside
// spdlog's daily file sink doing the same work.
//
// Our emitter writes each line to its file with one write call before the
// log call returns, so the spdlog logger of "FileLine" flushes on every
// message too; "FileLineBuffered/spdlog" shows the daily sink with its
// default buffering, which writes only when its file buffer fills.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <string>

#include "qorbasic/qorbasic.h"

#ifdef QOR_HAVE_SPDLOG
#include <spdlog/sinks/daily_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

// A fresh directory under /tmp, removed with its files at the end.
class TempDir {
  public:
    TempDir() {
        char name[] = "/tmp/qorbasic-bench-XXXXXX";
        if (mkdtemp(name) != nullptr) path_ = name;
    }
    ~TempDir() { FileUtils::removeRecursively(path_); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

class BenchContext : public qrsvc::ActorContext {
  public:
    const std::string& name() const override { return name_; }
    const std::string& className() const override { return class_; }

  private:
    std::string name_ = "bench", class_ = "file_emitter";
};

void qor_file_line(benchmark::State& state) {
    TempDir dir;
    BenchContext context;
    qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
    actor->configProperty("dir", dir.path().c_str());
    actor->configProperty("prefix", "bench-");
    actor->asyncStartup();
    // The log owns the emitter from here on and deletes it when replaced.
    BasicLog::add_early_emitter(
        dynamic_cast<BasicLog::Emitter*>(actor->findInterface("log_emitter")));
    BasicLog::Source* source = BasicLog::make_logsource_instance("file_emitter_bench.cc");
    for (auto _ : state) {
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_WARN,
                                    "connect failed", __FILE__, __func__)
            .add("errmsg", "No route to host")
            .addInt("errno", 113)
            .add("host", "example.org");
    }
    state.SetItemsProcessed(state.iterations());
    BasicLog::add_early_emitter(new BasicLog::StderrEmitter);
}
BENCHMARK(qor_file_line)->Name("FileLine/qorbasic");

#ifdef QOR_HAVE_SPDLOG

void spdlog_file_lines(benchmark::State& state, bool flush_each_line) {
    TempDir dir;
    auto logger = spdlog::daily_logger_mt(flush_each_line ? "daily-flushed" : "daily-buffered",
                                          dir.path() + "/bench.log");
    // The same line form as ours: level, local time with microseconds, text.
    logger->set_pattern("[%^%l%$ %Y-%m-%d %H:%M:%S.%f] %v");
    if (flush_each_line) logger->flush_on(spdlog::level::trace);
    for (auto _ : state) {
        logger->warn("connect failed: errmsg={} errno={} host={}", "No route to host", 113,
                     "example.org");
    }
    state.SetItemsProcessed(state.iterations());
    spdlog::drop(logger->name());
}

void spdlog_file_line(benchmark::State& state) {
    spdlog_file_lines(state, true);
}
BENCHMARK(spdlog_file_line)->Name("FileLine/spdlog");

void spdlog_file_line_buffered(benchmark::State& state) {
    spdlog_file_lines(state, false);
}
BENCHMARK(spdlog_file_line_buffered)->Name("FileLineBuffered/spdlog");

#endif

}  // namespace
