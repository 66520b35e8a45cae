// The direct log path on a LogInput of the test's own, so that no test sees
// another's sources, levels or emitter.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"
#include "qorbasic/timeutils.h"

namespace {

using qortest::CapturingEmitter;
using qortest::content_of;

class LogInputTest : public ::testing::Test {
  protected:
    LogInputTest() : input_(QOR_LOGLEVEL_INFO) {
        input_.add_emitter(new CapturingEmitter(&lines_, &destroyed_));
    }

    void log(BasicLog::Source* source, const qor_loglevel_impl* level, const char* text,
             const std::vector<std::pair<const char*, const char*>>& params = {}) {
        if (!source->would_send(level)) return;
        BasicLog::LogMessageBuilder builder(source->receiver(), source->name().c_str(), level, text,
                                            __FILE__, __func__);
        for (const auto& param : params) builder.add(param.first, param.second);
    }

    LogInput input_;
    std::vector<std::string> lines_;
    int destroyed_ = 0;
};

TEST_F(LogInputTest, SourceNamesAreBaseNamesWithoutOneOfEachSuffix) {
    struct Case {
        const char* given;
        const char* name;
    } cases[] = {
        {"src/ToolBox.cpp", "ToolBox"},
        {"a/b/Foo.cpp", "Foo"},
        {"a.h.c", "a"},
        {"a.c.h", "a.c"},
        {".c", ".c"},
        {"x.hxx", "x"},
        {"Main.CC", "Main.CC"},
        {"", "<anonymous logger>"},
        {nullptr, "<anonymous logger>"},
        {"dir/", ""},
    };
    for (const Case& c : cases) {
        BasicLog::Source* source = input_.make_source(c.given);
        ASSERT_NE(source, nullptr);
        EXPECT_EQ(source->name(), c.name) << (c.given ? c.given : "(null)");
    }
}

TEST_F(LogInputTest, OneSourcePerNormalisedNameAndFindTakesTheExactName) {
    BasicLog::Source* from_path = input_.make_source("a/b/Foo.cpp");
    EXPECT_EQ(input_.make_source("Foo"), from_path);
    EXPECT_EQ(input_.find_source("Foo"), from_path);
    EXPECT_EQ(input_.find_source("a/b/Foo.cpp"), nullptr);
    EXPECT_EQ(input_.find_source("foo"), nullptr);
    EXPECT_EQ(input_.make_source(""), input_.make_source(nullptr));
}

TEST_F(LogInputTest, ListsTheTwelveNamedSourcesFirstAndAppendsToTheList) {
    input_.make_source("extra.cc");
    StringVector names;
    names.append("kept");
    input_.list_sources(names);
    const char* expected[] = {"kept",       "daemon", "vexctl",    "plugin", "vexcore",
                              "basiclib",   "loom2",  "kelcommon", "tabapp", "loomclient",
                              "loomserver", "test",   "other",     "extra"};
    ASSERT_EQ(names.size(), 14);
    for (int i = 0; i < 14; ++i) EXPECT_EQ(names.fetch(i), expected[i]);
}

TEST_F(LogInputTest, SetLogLevelReachesOldAndNewSourcesAndBadLevelsMeanInfo) {
    BasicLog::Source* before = input_.make_source("before");
    input_.setLogLevel(QOR_LOGLEVEL_ERROR);
    BasicLog::Source* after = input_.make_source("after");
    EXPECT_EQ(input_.getLogLevel(), QOR_LOGLEVEL_ERROR);
    EXPECT_EQ(before->effective_log_level(), QOR_LOGLEVEL_ERROR);
    EXPECT_EQ(after->effective_log_level(), QOR_LOGLEVEL_ERROR);

    const qor_loglevel_impl stranger = *QOR_LOGLEVEL_FATAL;
    for (const qor_loglevel_impl* bad : {QOR_LOGLEVEL_DEFAULT, &stranger}) {
        input_.setLogLevel(QOR_LOGLEVEL_ERROR);
        input_.setLogLevel(bad);
        EXPECT_EQ(input_.getLogLevel(), QOR_LOGLEVEL_INFO);
        EXPECT_EQ(before->effective_log_level(), QOR_LOGLEVEL_INFO);
    }
}

TEST_F(LogInputTest, WouldSendComparesWithTheEffectiveLevel) {
    BasicLog::Source* source = input_.make_source("filter");
    input_.setLogLevel(QOR_LOGLEVEL_WARN);
    struct Case {
        const qor_loglevel_impl* level;
        bool sent;
    } at_warn[] = {
        {QOR_LOGLEVEL_DEFAULT, false}, {QOR_LOGLEVEL_TRACE, false}, {QOR_LOGLEVEL_INFO, false},
        {QOR_LOGLEVEL_NOTICE, false},  {QOR_LOGLEVEL_WARN, true},   {QOR_LOGLEVEL_ERROR, true},
        {QOR_LOGLEVEL_FATAL, true},
    };
    for (const Case& c : at_warn) {
        EXPECT_EQ(source->would_send(c.level), c.sent)
            << (c.level ? c.level->full_name : "DEFAULT");
    }
    input_.setLogLevel(QOR_LOGLEVEL_INFO);
    EXPECT_TRUE(source->would_send(QOR_LOGLEVEL_DEFAULT));
}

TEST_F(LogInputTest, OwnLevelTakesPrecedenceUntilSetBackToDefault) {
    BasicLog::Source* source = input_.make_source("own");
    source->set_own_level(QOR_LOGLEVEL_DEBUG);
    input_.setLogLevel(QOR_LOGLEVEL_ERROR);
    EXPECT_EQ(source->effective_log_level(), QOR_LOGLEVEL_DEBUG);
    EXPECT_TRUE(source->would_send(QOR_LOGLEVEL_DEBUG));

    source->set_own_level(QOR_LOGLEVEL_DEFAULT);
    EXPECT_EQ(source->effective_log_level(), QOR_LOGLEVEL_ERROR);
    EXPECT_FALSE(source->would_send(QOR_LOGLEVEL_DEBUG));
}

TEST_F(LogInputTest, StandardContentForm) {
    BasicLog::Source* source = input_.make_source("content");
    std::string long_text(700, 'x');
    struct Case {
        std::string text;
        std::vector<std::pair<const char*, const char*>> params;
        std::string content;
    } cases[] = {
        {"started", {}, "started"},
        {"connect failed",
         {{"errmsg", "No route to host"}, {"errno", "113"}},
         "connect failed: errmsg=No route to host errno=113"},
        {"ends in a line feed\n", {}, "ends in a line feed\n"},
        {"empty value", {{"name", ""}}, "empty value: name="},
        {"twice", {{"k", "1"}, {"k", "2"}}, "twice: k=1 k=2"},
        {"spaces stay", {{"v", "a b=c"}}, "spaces stay: v=a b=c"},
        {long_text, {}, std::string(599, 'x')},
    };
    for (const Case& c : cases) {
        lines_.clear();
        log(source, QOR_LOGLEVEL_WARN, c.text.c_str(), c.params);
        ASSERT_EQ(lines_.size(), 1u);
        EXPECT_EQ(content_of(lines_[0]), c.content);
    }
}

TEST_F(LogInputTest, StandardHeadersCarryTheFullLevelName) {
    BasicLog::Source* source = input_.make_source("headers");
    source->set_own_level(QOR_LOGLEVEL_TRACE);
    for (const qor_loglevel_impl* level :
         {QOR_LOGLEVEL_TRACE, QOR_LOGLEVEL_NOTICE, QOR_LOGLEVEL_WARN, QOR_LOGLEVEL_FATAL}) {
        lines_.clear();
        log(source, level, "x");
        ASSERT_EQ(lines_.size(), 1u);
        std::string expected = std::string("[") + level->full_name + " ";
        EXPECT_EQ(lines_[0].compare(0, expected.size(), expected), 0) << lines_[0];
    }
}

TEST_F(LogInputTest, FilteredCallsEmitNothing) {
    BasicLog::Source* source = input_.make_source("quiet");
    log(source, QOR_LOGLEVEL_DEBUG, "hidden");
    EXPECT_TRUE(lines_.empty());
    input_.setLogLevel(QOR_LOGLEVEL_DEBUG);
    log(source, QOR_LOGLEVEL_DEBUG, "shown");
    EXPECT_EQ(lines_.size(), 1u);
}

TEST_F(LogInputTest, AddEmitterReplacesAndDeletesTheOldOneButNeverItself) {
    std::vector<std::string> other_lines;
    int other_destroyed = 0;
    input_.add_emitter(nullptr);
    EXPECT_EQ(destroyed_, 0);

    BasicLog::Emitter* other = new CapturingEmitter(&other_lines, &other_destroyed);
    input_.add_emitter(other);
    EXPECT_EQ(destroyed_, 1);
    input_.add_emitter(other);
    EXPECT_EQ(other_destroyed, 0);

    log(input_.make_source("after"), QOR_LOGLEVEL_ERROR, "to the new one");
    EXPECT_TRUE(lines_.empty());
    EXPECT_EQ(other_lines.size(), 1u);
}

// An emitter that logs through the same input: its thread holds the input's
// mutex, so the inner call must be dropped, not wait for itself.
class ReenteringEmitter : public CapturingEmitter {
  public:
    ReenteringEmitter(std::vector<std::string>* lines, BasicLog::Source* source)
        : CapturingEmitter(lines), source_(source) {}
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override {
        BasicLog::LogMessageBuilder(source_->receiver(), source_->name().c_str(),
                                    QOR_LOGLEVEL_ERROR, "from inside", __FILE__, __func__);
        CapturingEmitter::send_one_line(level, headers, content);
    }

  private:
    BasicLog::Source* source_;
};

TEST_F(LogInputTest, LogCallFromInsideAnEmitterIsDropped) {
    qortest::ChildResult child = qortest::run_in_child([this] {
        BasicLog::Source* source = input_.make_source("reenter");
        input_.add_emitter(new ReenteringEmitter(&lines_, source));
        log(source, QOR_LOGLEVEL_ERROR, "outer");
        _exit(lines_.size() == 1 && content_of(lines_[0]) == "outer" ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
}

TEST_F(LogInputTest, LinesFromManyThreadsComeOutWholeAndAllOfThem) {
    BasicLog::Source* source = input_.make_source("threads");
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, source, t] {
            std::string id = std::to_string(t);
            for (int i = 0; i < kLines; ++i) {
                log(source, QOR_LOGLEVEL_INFO, "line", {{"thread", id.c_str()}, {"k", "v"}});
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(lines_.size(), static_cast<size_t>(kThreads * kLines));
    for (const std::string& line : lines_) {
        std::string content = content_of(line);
        EXPECT_EQ(content.compare(0, 13, "line: thread="), 0) << content;
        EXPECT_EQ(content.substr(content.size() - 4), " k=v") << content;
    }
}

TEST(LogMessage, HeadersKeepThePointersAndTheTimeOfConstruction) {
    const char* file = "file.cc";
    long before = current_time_usec1970();
    BasicLog::LogMessage message("text", QOR_LOGLEVEL_NOTICE, file, "fn", "logger");
    long after = current_time_usec1970();
    const BasicLog::MessageHeaders& headers = message.headers();
    EXPECT_EQ(headers.loglevel(), QOR_LOGLEVEL_NOTICE);
    EXPECT_EQ(headers.sourceFile(), file);
    EXPECT_STREQ(headers.function(), "fn");
    EXPECT_STREQ(headers.loggerName(), "logger");
    EXPECT_GE(headers.timestamp(), before);
    EXPECT_LE(headers.timestamp(), after);
    EXPECT_STREQ(message.body().text(), "text");
    EXPECT_EQ(message.body().paramCount(), 0);
    EXPECT_EQ(message.body().paramName(0), "");
}

}  // namespace
