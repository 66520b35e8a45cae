// The output side of queued mode: on queues of the tests' own, and through
// the process-wide calls in child processes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"
#include "qorbasic/threads.h"

namespace {

using qortest::CapturingEmitter;
using qortest::content_of;
using qortest::run_in_child;

void log_line(BasicLog::Source* source, const std::string& text) {
    BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_WARN,
                                text.c_str(), __FILE__, __func__);
}

// Both sides of queued mode on a queue of their own, with a quiet early
// emitter and a source of the input.
struct QueuedSides {
    QueuedSides() {
        input.add_emitter(new CapturingEmitter);
        input.switch_to_queue(&output);
        source = input.make_source("queued_test.cc");
    }
    TypedWorkQueue<const BasicLog::LogMessage> queue;
    LogInput input{queue, true, QOR_LOGLEVEL_INFO};
    LogOutput output{queue, true};
    BasicLog::Source* source;
};

}  // namespace

// 45 messages leave in batches of 20, 20 and 5, each one to every emitter in
// list order before the next message; a null emitter is skipped.
TEST(LogOutputTest, BatchesOfTwentyInOrderToEveryEmitter) {
    QueuedSides sides;
    std::vector<std::string> lines;
    CapturingEmitter a(&lines), b(&lines);
    for (CapturingEmitter* e : {&a, static_cast<CapturingEmitter*>(nullptr), &b})
        sides.output.add_emitter(e);
    for (int i = 0; i < 45; ++i) log_line(sides.source, std::to_string(i));
    std::vector<int> batches;
    for (int n; (n = sides.output.write_messages()) > 0;) batches.push_back(n);
    EXPECT_EQ(batches, (std::vector<int>{20, 20, 5}));
    ASSERT_EQ(lines.size(), 90u);
    for (int i = 0; i < 90; ++i) EXPECT_EQ(content_of(lines[i]), std::to_string(i / 2));
}

// The thread is woken by an insert and by a stop request, long before its
// one-second idle wait ends; a second start fails while it runs. After the
// stop, messages stay queued until a dump writes them.
TEST(LogOutputTest, ThreadWakesOnInsertAndStopAndLeavesTheRestQueued) {
    QueuedSides sides;
    LogOutput& output = sides.output;
    std::vector<std::string> lines;
    CapturingEmitter emitter(&lines);
    output.add_emitter(&emitter);
    ASSERT_TRUE(output.startup());
    EXPECT_FALSE(output.startup());
    EXPECT_TRUE(output.is_running());
    for (size_t round = 1; round <= 3; ++round) {
        thread_nap(50000);  // the thread is idle and waits
        log_line(sides.source, "woken");
        for (int i = 0; i < 70 && emitter.count() < round; ++i) thread_nap(10000);
        EXPECT_EQ(emitter.count(), round);
    }
    thread_nap(50000);
    output.begin_shutdown();
    EXPECT_FALSE(output.is_running());
    EXPECT_TRUE(output.wait_until_stopped(700000));
    for (int i = 0; i < 2; ++i) log_line(sides.source, "left");
    EXPECT_EQ(output.write_messages(), 2);
    EXPECT_EQ(emitter.count(), 5u);
    ASSERT_TRUE(output.startup());  // stopped, it starts again
    output.begin_shutdown();
    EXPECT_TRUE(output.complete_shutdown());
}

// An emitter on the output side may log: its line goes through the input
// side into the queue like any other. An emergency emitter then replaces the
// whole list, and a null one drops what is queued.
TEST(LogOutputTest, EmitterMayLogAndEmergencyEmitterReplacesTheList) {
    QueuedSides sides;
    std::vector<std::string> first_lines, last_lines;
    CapturingEmitter last(&last_lines), first(&first_lines, nullptr, [&](const std::string&text) {
        if (text == "outer") log_line(sides.source, "inner");
    });
    sides.output.add_emitter(&first);
    log_line(sides.source, "outer");
    EXPECT_EQ(sides.output.write_messages(), 1);
    sides.output.emergency_emitter(&last);
    EXPECT_EQ(sides.output.write_messages(), 1);
    ASSERT_EQ(first_lines.size() + last_lines.size(), 2u);
    EXPECT_EQ(content_of(first_lines.at(0)) + "," + content_of(last_lines.at(0)), "outer,inner");
    sides.output.emergency_emitter(nullptr);
    log_line(sides.source, "dropped");
    EXPECT_EQ(sides.output.write_messages(), 1);
}

// Direct mode, the default: the calls succeed and do nothing, and each
// add_queued_emitter replaces the early emitter, deleting the one before but
// never itself; null changes nothing.
TEST(ProcessLogQueue, DirectModeHasNoThreadAndAddReplacesTheEarlyEmitter) {
    qortest::ChildResult child = run_in_child([] {
        static int destroyed = 0;
        static std::vector<std::string> lines_a, lines_b;
        bool ok = BasicLog::logging_startup() && BasicLog::logging_complete() &&
                  BasicLog::logging_shutdown();
        BasicLog::add_queued_emitter(new CapturingEmitter(&lines_a, &destroyed));
        CapturingEmitter* b = new CapturingEmitter(&lines_b, &destroyed);
        for (CapturingEmitter* e : {b, b, static_cast<CapturingEmitter*>(nullptr)}) {
            BasicLog::add_queued_emitter(e);
        }
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
        BasicLog::add_early_emitter(new CapturingEmitter);
        static std::vector<long> next(kProducers, 0);
        static long wrong = 0, total = 0;
        // Runs on the output side only, one message at a time.
        static CapturingEmitter counter(nullptr, nullptr, [](const std::string& text) {
            long producer = 0, seq = 0;
            if (std::sscanf(text.c_str(), "m: producer=%ld seq=%ld", &producer, &seq) != 2 ||
                next.at(producer)++ != seq) {
                ++wrong;
            }
            ++total;
        });
        BasicLog::add_queued_emitter(&counter);
        if (!BasicLog::logging_startup()) _exit(3);
        BasicLog::Source* source = BasicLog::make_logsource_instance("producer.cc");
        std::vector<std::thread> producers;
        for (long p = 0; p < kProducers; ++p) {
            producers.emplace_back([=] {
                for (long i = 0; i < kMessages; ++i) {
                    BasicLog::LogMessageBuilder(source->receiver(), "producer", QOR_LOGLEVEL_WARN,
                                                "m", __FILE__, __func__)
                        .addInt("producer", p)
                        .addInt("seq", i);
                }
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
    for (bool crash : {false, true}) {
        qortest::ChildResult child = run_in_child([&] {
            dup2(2, 1);  // the emergency emitter writes to standard output
            BasicLog::use_queued_logging();
            BasicLog::add_early_emitter(new CapturingEmitter);
            // Queued emitters must outlive the exit handlers: one on the heap.
            BasicLog::add_queued_emitter(new CapturingEmitter(nullptr, nullptr, [](auto& text) {
                std::fprintf(stderr, "queued:%s ", text.c_str());
            }));
            BasicLog::Source* source = BasicLog::make_logsource_instance("exit.cc");
            for (const char* text : {"one", "two"}) log_line(source, text);
            if (!crash) std::exit(0);
            BasicLog::dump_log();
            std::abort();
        });
        // The emergency lines carry the standard headers in front.
        std::string err = child.err;
        for (size_t at; (at = err.find('[')) != std::string::npos;) {
            err.erase(at, err.find("] ", at) + 2 - at);
        }
        for (char& ch : err) ch = ch == '\n' ? ' ' : ch;
        EXPECT_EQ(err, crash ? R"({"msg":"one"} {"msg":"two"} )" : "queued:one queued:two ");
        EXPECT_TRUE(crash ? child.killed_by(SIGABRT) : child.exited_with(0)) << crash;
    }
}
