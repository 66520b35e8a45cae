// The direct log path on a LogInput of the test's own, so that no test sees
// another's sources, levels or emitter.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using Builder = BasicLog::LogMessageBuilder;
using qortest::CapturingEmitter;
using qortest::content_of;

class LogInputTest : public ::testing::Test {
  protected:
    LogInputTest() : input_(QOR_LOGLEVEL_INFO) {
        input_.add_emitter(new CapturingEmitter(&lines_));
    }

    void log(BasicLog::Source* source, const qor_loglevel_impl* level, const std::string& text,
             const std::function<void(Builder&)>& fill = nullptr) {
        if (!source->would_send(level)) return;
        Builder builder(source->receiver(), source->name().c_str(), level, text.c_str(), __FILE__,
                        __func__);
        if (fill) fill(builder);
    }

    LogInput input_;
    std::vector<std::string> lines_;
};

TEST_F(LogInputTest, OneSourcePerBaseNameWithoutOneOfEachSuffixListedAfterTheNamedOnes) {
    const std::pair<const char*, const char*> cases[] = {
        {"src/Box.cpp", "Box"}, {"a/b/Foo.cpp", "Foo"}, {"a.h.c", "a"},         {"a.c.h", "a.c"},
        {".c", ".c"},           {"x.hxx", "x"},         {"Main.CC", "Main.CC"}, {"dir/", ""},
    };
    for (const auto& [given, name] : cases) EXPECT_EQ(input_.make_source(given)->name(), name);
    EXPECT_EQ(input_.make_source(nullptr)->name(), "<anonymous logger>");
    EXPECT_EQ(input_.make_source(""), input_.make_source(nullptr));
    // One source per normalised name; find takes the exact name.
    EXPECT_EQ(input_.find_source("Foo"), input_.make_source("a/b/Foo.cpp"));
    EXPECT_EQ(input_.find_source("a/b/Foo.cpp"), nullptr);

    // The twelve named sources come first; the list is appended to.
    StringVector names;
    names.append("kept");
    input_.list_sources(names);
    std::string joined;
    for (int i = 0; i < names.size(); ++i) joined += names.fetch(i) + ",";
    EXPECT_EQ(joined,
              "kept,daemon,vexctl,plugin,vexcore,basiclib,loom2,kelcommon,tabapp,loomclient,"
              "loomserver,test,other,Box,Foo,a,a.c,.c,x,Main.CC,,<anonymous logger>,");
}

// The input's level reaches old and new sources, a bad one means INFO, and a
// source's own level wins until it is set back to DEFAULT. DEFAULT as a
// message level is sent at INFO only.
TEST_F(LogInputTest, SetLogLevelReachesEverySourceWithoutAnOwnLevel) {
    BasicLog::Source* before = input_.make_source("before");
    input_.setLogLevel(QOR_LOGLEVEL_ERROR);
    BasicLog::Source* after = input_.make_source("after");
    EXPECT_EQ(before->effective_log_level(), QOR_LOGLEVEL_ERROR);
    EXPECT_EQ(after->effective_log_level(), QOR_LOGLEVEL_ERROR);
    const qor_loglevel_impl stranger = *QOR_LOGLEVEL_FATAL;
    for (const qor_loglevel_impl* bad : {QOR_LOGLEVEL_DEFAULT, &stranger}) {
        input_.setLogLevel(QOR_LOGLEVEL_ERROR);
        input_.setLogLevel(bad);
        EXPECT_EQ(input_.getLogLevel(), QOR_LOGLEVEL_INFO);
        EXPECT_EQ(before->effective_log_level(), QOR_LOGLEVEL_INFO);
    }
    EXPECT_TRUE(before->would_send(QOR_LOGLEVEL_DEFAULT));

    input_.setLogLevel(QOR_LOGLEVEL_WARN);
    const qor_loglevel_impl* levels[] = {
        QOR_LOGLEVEL_DEFAULT, QOR_LOGLEVEL_TRACE, QOR_LOGLEVEL_INFO, QOR_LOGLEVEL_NOTICE,
        QOR_LOGLEVEL_WARN,    QOR_LOGLEVEL_ERROR, QOR_LOGLEVEL_FATAL};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(after->would_send(levels[i]), i >= 4) << i;
    after->set_own_level(QOR_LOGLEVEL_DEBUG);
    EXPECT_TRUE(after->would_send(QOR_LOGLEVEL_DEBUG));
    after->set_own_level(QOR_LOGLEVEL_DEFAULT);
    EXPECT_EQ(after->effective_log_level(), QOR_LOGLEVEL_WARN);
}

// The edges of each kind of parameter; formats_test has one of every kind
// in one message.
TEST_F(LogInputTest, ParametersRenderInTheStandardContentForm) {
    BasicLog::Source* source = input_.make_source("content");
    // The content behind "m: ", or "" for none.
    const std::pair<std::function<void(Builder&)>, std::string> cases[] = {
        {[](Builder& b) { b.add("k", "1").add("k", "a b=c"); }, "k=1 k=a b=c"},
        {[](Builder& b) { b.addInt("n", -9223372036854775807L - 1); }, "n=-9223372036854775808"},
        {[](Builder& b) { b.addHost("peer", "", -1); }, "peer=:-1"},
        {[](Builder& b) { b.addWide("w", L"").addWide("w", nullptr); }, ""},
        {[](Builder& b) { b.addProcessStatus(0).addProcessStatus(3 << 8); }, "status=0 status=3"},
        {[](Builder& b) { b.addProcessStatus(0x80 | 11).addProcessStatus(0x137f); }, "signal=11"},
        // addErrno reads errno before anything it does itself can change it.
        {[](Builder& b) { errno = 113, b.add("x", "y").addErrno(); },
         "x=y errmsg=No route to host errno=113"},
    };
    for (const auto& [fill, content] : cases) {
        lines_.clear();
        log(source, QOR_LOGLEVEL_WARN, "m", fill);
        ASSERT_EQ(lines_.size(), 1u) << content;
        EXPECT_EQ(content_of(lines_[0]), content.empty() ? "m" : "m: " + content);
    }
}

// An emitter that logs through the same input: its thread holds the input's
// mutex, so the inner call must be dropped, not wait for itself.
TEST_F(LogInputTest, LogCallFromInsideAnEmitterIsDropped) {
    qortest::ChildResult child = qortest::run_in_child([this] {
        BasicLog::Source* source = input_.make_source("reenter");
        input_.add_emitter(new CapturingEmitter(&lines_, nullptr, [this, source](auto&) {
            log(source, QOR_LOGLEVEL_ERROR, "from inside");
        }));
        log(source, QOR_LOGLEVEL_ERROR, "outer");
        _exit(lines_.size() == 1 && content_of(lines_[0]) == "outer" ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
}

}  // namespace

// The macros test the level before anything else is evaluated, and stay one
// statement under an if without braces.
TEST_F(LogInputTest, LogMacrosEvaluateNothingWhenTheLevelIsFilteredOut) {
    BasicLog::Source* source = input_.make_source("macros");
    int evaluated = 0;
    auto counted = [&evaluated](auto value) {
        ++evaluated;
        return value;
    };
    QOR_LOG_DEBUG(source, counted("text")).add("k", counted("v"));
    QOR_LOG_TRACE(source, "t").addInt("n", evaluated++);
    EXPECT_EQ(evaluated, 0);  // and, as the count of lines below shows, nothing logged

    bool branch = false;
    if (branch)
        QOR_LOG_ERROR(counted(source), "not taken");
    else
        QOR_LOG_WARN(counted(source), "warned").add("k", counted("v"));
    QOR_LOG_AT_SITE(source, QOR_LOGLEVEL_NOTICE, "site", "f.cc", "fn").addInt("n", 1);
    EXPECT_EQ(evaluated, 2);  // the source once, the value once
    ASSERT_EQ(lines_.size(), 2u);
    EXPECT_EQ(content_of(lines_[0]), "warned: k=v");
    EXPECT_EQ(content_of(lines_[1]), "site: n=1");
    EXPECT_EQ(lines_[0].rfind("[WARNING] ", 0), 0u);
}
