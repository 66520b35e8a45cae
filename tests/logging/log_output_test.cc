// The output side of queued mode: on queues of the tests' own, and through
// the process-wide calls in child processes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"
#include "qorbasic/threads.h"

namespace {

using MessageQueue = TypedWorkQueue<const BasicLog::LogMessage>;
using qortest::run_in_child;

// Keeps "<tag>:<text>" for each message, without formatting a line, and runs
// `on_message` inside the call.
class RecordingEmitter : public BasicLog::Emitter {
  public:
    explicit RecordingEmitter(std::string tag) : tag_(std::move(tag)) {}
    void processMessage(const BasicLog::LogMessage& message) override {
        if (on_message) on_message(message);
        std::lock_guard<std::mutex> hold(mutex_);
        seen_.push_back(tag_ + ":" + message.body().text());
    }
    void send_one_line(const qor_loglevel_impl*, const std::string&, const std::string&) override {}
    const char* emitter_type() const override { return "RecordingEmitter"; }
    std::vector<std::string> seen() {
        std::lock_guard<std::mutex> hold(mutex_);
        return seen_;
    }
    std::function<void(const BasicLog::LogMessage&)> on_message;

  private:
    std::string tag_;
    std::mutex mutex_;
    std::vector<std::string> seen_;
};

BasicLog::LogMessage* message(const std::string& text) {
    return new BasicLog::LogMessage(text.c_str(), QOR_LOGLEVEL_INFO, "f.cc", "fn", "test");
}

void fill(MessageQueue& queue, int from, int count) {
    for (int i = from; i < from + count; ++i) ASSERT_TRUE(queue.insert(message(std::to_string(i))));
}

struct Seen : Predicate0 {
    Seen(RecordingEmitter& emitter, size_t count) : emitter(emitter), count(count) {}
    bool predicate0() const override { return emitter.seen().size() >= count; }
    RecordingEmitter& emitter;
    size_t count;
};

// Both sides of queued mode on a queue of their own, with a quiet early
// emitter and a source of the input.
struct QueuedSides {
    QueuedSides() {
        input.add_emitter(new qortest::CapturingEmitter(nullptr));
        input.switch_to_queue(&output);
        source = input.make_source("queued_test.cc");
    }
    MessageQueue queue;
    LogInput input{queue, true, QOR_LOGLEVEL_INFO};
    LogOutput output{queue, true};
    BasicLog::Source* source;
};

void log_line(BasicLog::Source* source, const char* text, long producer = 0, long seq = 0) {
    BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_WARN,
                                text, __FILE__, __func__)
        .addInt("producer", producer)
        .addInt("seq", seq);
}

}  // namespace

// 45 messages leave in batches of 20, 20 and 5, each one to every emitter in
// list order before the next message, and are freed after.
TEST(LogOutputTest, BatchesOfTwentyInOrderToEveryEmitter) {
    MessageQueue queue;
    LogOutput output(queue, true);
    RecordingEmitter a("a"), b("b");
    output.add_emitter(&a);
    output.add_emitter(nullptr);
    output.add_emitter(&b);
    fill(queue, 0, 45);
    std::vector<int> batches;
    for (int n; (n = output.write_messages()) > 0;) batches.push_back(n);
    EXPECT_EQ(batches, (std::vector<int>{20, 20, 5}));
    std::vector<std::string> seen = a.seen();
    ASSERT_EQ(seen.size(), 45u);
    for (int i = 0; i < 45; ++i) EXPECT_EQ(seen[i], "a:" + std::to_string(i));
    EXPECT_EQ(b.seen().size(), 45u);
}

// The thread is woken by an insert and by a stop request, long before its
// one-second idle wait ends; a second start fails while it runs. After the
// stop, messages stay queued until a dump writes them.
TEST(LogOutputTest, ThreadWakesOnInsertAndStopAndLeavesTheRestQueued) {
    QueuedSides sides;
    LogOutput& output = sides.output;
    BasicLog::Source* source = sides.source;
    RecordingEmitter emitter("e");
    output.add_emitter(&emitter);
    ASSERT_TRUE(output.startup());
    EXPECT_FALSE(output.startup());
    EXPECT_TRUE(output.is_running());
    for (int round = 0; round < 3; ++round) {
        thread_nap(50000);  // the thread is idle and waits
        log_line(source, "woken");
        EXPECT_TRUE(waitUntil(Seen(emitter, round + 1), 700000)) << round;
    }
    thread_nap(50000);
    output.begin_shutdown();
    EXPECT_FALSE(output.is_running());
    EXPECT_TRUE(output.wait_until_stopped(700000));
    log_line(source, "left");
    log_line(source, "left");
    thread_nap(20000);
    EXPECT_EQ(emitter.seen().size(), 3u);
    EXPECT_EQ(output.write_messages(), 2);
    EXPECT_EQ(emitter.seen().size(), 5u);
    // Stopped, it starts again.
    ASSERT_TRUE(output.startup());
    output.begin_shutdown();
    EXPECT_TRUE(output.complete_shutdown());
}

// An emitter on the output side may log: its line goes through the input
// side into the queue like any other. An emergency emitter then replaces the
// whole list.
TEST(LogOutputTest, EmitterMayLogAndEmergencyEmitterReplacesTheList) {
    QueuedSides sides;
    LogOutput& output = sides.output;
    BasicLog::Source* source = sides.source;
    RecordingEmitter first("first"), last("last");
    first.on_message = [&](const BasicLog::LogMessage& m) {
        if (std::string(m.body().text()) == "outer") log_line(source, "inner");
    };
    output.add_emitter(&first);
    log_line(source, "outer");
    EXPECT_EQ(output.write_messages(), 1);
    output.emergency_emitter(&last);
    EXPECT_EQ(output.write_messages(), 1);
    EXPECT_EQ(first.seen(), (std::vector<std::string>{"first:outer"}));
    EXPECT_EQ(last.seen(), (std::vector<std::string>{"last:inner"}));
    output.emergency_emitter(nullptr);
    log_line(source, "dropped");
    EXPECT_EQ(output.write_messages(), 1);
}

// Direct mode, the default: the calls succeed and do nothing, and each
// add_queued_emitter replaces the early emitter, deleting the one before.
TEST(ProcessLogQueue, DirectModeHasNoThreadAndAddReplacesTheEarlyEmitter) {
    qortest::ChildResult child = run_in_child([] {
        static int destroyed = 0;
        static std::vector<std::string> lines_a, lines_b;
        bool ok = BasicLog::logging_startup() && BasicLog::logging_complete() &&
                  BasicLog::logging_shutdown();
        BasicLog::dump_log();
        BasicLog::logger_dump();
        BasicLog::add_queued_emitter(nullptr);
        BasicLog::add_queued_emitter(new qortest::CapturingEmitter(&lines_a, &destroyed));
        BasicLog::add_queued_emitter(new qortest::CapturingEmitter(&lines_b, &destroyed));
        log_line(BasicLog::make_logsource_instance("c.cc"), "to b");
        ok = ok && destroyed == 1 && lines_a.empty() && lines_b.size() == 1;
        // Too late for queued mode now.
        ok = ok && !BasicLog::use_queued_logging() && BasicLog::logging_startup();
        std::fputs(ok ? "ok" : "failed", stderr);
    });
    EXPECT_TRUE(child.exited_with(0));
    EXPECT_EQ(child.err, "ok");
}

// Queued mode with 8 producer threads: each message reaches the queued
// emitter exactly once, in each producer's order.
TEST(ProcessLogQueue, ManyProducersDeliverEveryMessageOnceInOrder) {
    qortest::ChildResult child = run_in_child([] {
        constexpr int kProducers = 8, kMessages = 10000;
        if (!BasicLog::use_queued_logging() || !BasicLog::use_queued_logging()) _exit(2);
        BasicLog::add_early_emitter(new qortest::CapturingEmitter(nullptr));
        static std::vector<long> next(kProducers, 0);
        static long wrong = 0, total = 0;
        static RecordingEmitter counter("c");
        // Runs on the output side only, one message at a time.
        counter.on_message = [](const BasicLog::LogMessage& m) {
            long producer = std::stol(m.body().paramValue(0));
            long seq = std::stol(m.body().paramValue(1));
            if (next[producer]++ != seq) ++wrong;
            ++total;
        };
        BasicLog::add_queued_emitter(&counter);
        if (!BasicLog::logging_startup()) _exit(3);
        BasicLog::Source* source = BasicLog::make_logsource_instance("producer.cc");
        std::vector<std::thread> producers;
        for (long p = 0; p < kProducers; ++p) {
            producers.emplace_back([=] {
                for (long i = 0; i < kMessages; ++i) log_line(source, "m", p, i);
            });
        }
        for (std::thread& t : producers) t.join();
        if (!BasicLog::logging_shutdown()) _exit(4);
        BasicLog::logger_dump();
        bool ok = wrong == 0 && total == kProducers * kMessages;
        for (long n : next) ok = ok && n == kMessages;
        std::fprintf(stderr, "%s wrong=%ld total=%ld", ok ? "ok" : "failed", wrong, total);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_EQ(child.err.substr(0, 2), "ok") << child.err;
}

// Lines still queued at a normal exit are written by the exit handler; those
// queued before a crash reach the emergency emitter through dump_log. Both
// without the thread ever running.
TEST(ProcessLogQueue, ExitHandlerAndDumpLogWriteWhatIsQueued) {
    struct Case {
        const char* name;
        bool crash;
        const char* expected;
    } cases[] = {
        {"normal exit", false, "queued:one queued:two "},
        {"dump then crash", true, "{\"msg\":\"one\"} {\"msg\":\"two\"} "},
    };
    for (const Case& c : cases) {
        qortest::ChildResult child = run_in_child([&] {
            dup2(2, 1);  // the emergency emitter writes to standard output
            BasicLog::use_queued_logging();
            BasicLog::add_early_emitter(new qortest::CapturingEmitter(nullptr));
            // Queued emitters must outlive the exit handlers: one on the heap.
            RecordingEmitter* queued = new RecordingEmitter("queued");
            queued->on_message = [](const BasicLog::LogMessage& m) {
                std::fprintf(stderr, "queued:%s ", m.body().text());
            };
            BasicLog::add_queued_emitter(queued);
            BasicLog::Source* source = BasicLog::make_logsource_instance("exit.cc");
            BasicLog::LogMessageBuilder(source->receiver(), "exit", QOR_LOGLEVEL_WARN, "one", "",
                                        "");
            BasicLog::LogMessageBuilder(source->receiver(), "exit", QOR_LOGLEVEL_WARN, "two", "",
                                        "");
            if (!c.crash) std::exit(0);
            BasicLog::dump_log();
            std::abort();
        });
        // The emergency lines carry the standard headers in front.
        std::string err = child.err;
        for (size_t at; (at = err.find('[')) != std::string::npos;) {
            err.erase(at, err.find("] ", at) + 2 - at);
        }
        for (char& ch : err) ch = ch == '\n' ? ' ' : ch;
        EXPECT_EQ(err, c.expected) << c.name;
        EXPECT_TRUE(c.crash ? child.killed_by(SIGABRT) : child.exited_with(0)) << c.name;
    }
}
