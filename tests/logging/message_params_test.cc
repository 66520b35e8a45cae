#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using Builder = BasicLog::LogMessageBuilder;

TEST(ParseLoglevel, ReadsNamesShortFormsAndTheLevelFieldOfALine) {
    struct Case {
        const char* text;
        const qor_loglevel_impl* level;
    } cases[] = {
        {nullptr, QOR_LOGLEVEL_INFO},
        {"", QOR_LOGLEVEL_INFO},
        {"   ", QOR_LOGLEVEL_INFO},
        {"verbose", QOR_LOGLEVEL_INFO},
        {"WARNINGS", QOR_LOGLEVEL_INFO},
        {"trace", QOR_LOGLEVEL_TRACE},
        {"Debug", QOR_LOGLEVEL_DEBUG},
        {"NOTICE", QOR_LOGLEVEL_NOTICE},
        {" warn ", QOR_LOGLEVEL_WARN},
        {"warning", QOR_LOGLEVEL_WARN},
        {"w~anything", QOR_LOGLEVEL_WARN},
        {"e~", QOR_LOGLEVEL_ERROR},
        {"T~", QOR_LOGLEVEL_TRACE},
        {"W", QOR_LOGLEVEL_INFO},
        {"err", QOR_LOGLEVEL_ERROR},
        {"ERROR]", QOR_LOGLEVEL_ERROR},
        {"[WARNING 2017-01-02 10:00:00.000000] text", QOR_LOGLEVEL_WARN},
        {"[[WARN]", QOR_LOGLEVEL_INFO},
        {"alert", QOR_LOGLEVEL_FATAL},
        {"[EMERG]", QOR_LOGLEVEL_FATAL},
        {"emergency", QOR_LOGLEVEL_FATAL},
        {"critical", QOR_LOGLEVEL_FATAL},
        {"panic", QOR_LOGLEVEL_FATAL},
        {"fatal", QOR_LOGLEVEL_FATAL},
        {"ERR\tx", QOR_LOGLEVEL_INFO},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parse_loglevel(c.text), c.level) << (c.text ? c.text : "(null)");
    }
}

class MessageParamsTest : public ::testing::Test {
  protected:
    MessageParamsTest() : input_(QOR_LOGLEVEL_INFO) {
        input_.add_emitter(new qortest::CapturingEmitter(&lines_));
    }

    // The content of the one line that `fill` produces.
    std::string content(const std::function<void(Builder&)>& fill) {
        lines_.clear();
        {
            Builder builder(input_, "params", QOR_LOGLEVEL_INFO, "m", __FILE__, __func__);
            fill(builder);
        }
        return lines_.size() == 1 ? qortest::content_of(lines_[0]) : "<no single line>";
    }

    LogInput input_;
    std::vector<std::string> lines_;
};

TEST_F(MessageParamsTest, TypedParametersRenderAsText) {
    struct Case {
        std::function<void(Builder&)> fill;
        std::string content;
    } cases[] = {
        {[](Builder& b) { b.addInt("n", -9223372036854775807L - 1); }, "m: n=-9223372036854775808"},
        {[](Builder& b) { b.addInt("n", 0).addInt("m", 42); }, "m: n=0 m=42"},
        {[](Builder& b) { b.addHex("h", 255); }, "m: h=000000ff"},
        {[](Builder& b) { b.addHex("h", 0xDEADBEEF); }, "m: h=deadbeef"},
        {[](Builder& b) { b.addBool("t", true).addBool("f", false); }, "m: t=true f=false"},
        {[](Builder& b) { b.addHost("peer", "example.org", 443); }, "m: peer=example.org:443"},
        {[](Builder& b) { b.addHost("peer", "", -1); }, "m: peer=:-1"},
        {[](Builder& b) { b.addPtr("p", nullptr); }, "m: p=0000000000000000"},
        {[](Builder& b) { b.addPtr("p", reinterpret_cast<const void*>(0xABCDEF)); },
         "m: p=0000000000abcdef"},
        {[](Builder& b) { b.addTimestamp("at", 1491053109000123L); }, "m: at=2017-04-01T13:25:09"},
        {[](Builder& b) { b.addWide("w", L"wide"); }, "m: w=wide"},
        {[](Builder& b) { b.addWide("w", L"").addWide("w", nullptr); }, "m"},
        {[](Builder& b) { b.addProcessStatus(0); }, "m: status=0"},
        {[](Builder& b) { b.addProcessStatus(3 << 8); }, "m: status=3"},
        {[](Builder& b) { b.addProcessStatus(9); }, "m: signal=9"},
        {[](Builder& b) { b.addProcessStatus(0x80 | 11); }, "m: signal=11"},
        {[](Builder& b) { b.addProcessStatus((19 << 8) | 0x7f); }, "m"},
        {[](Builder& b) { b.add("a", "1").addInt("b", 2).add("c", "3"); }, "m: a=1 b=2 c=3"},
    };
    for (const Case& c : cases) EXPECT_EQ(content(c.fill), c.content);
}

TEST_F(MessageParamsTest, AddErrnoReadsErrnoBeforeAnythingElse) {
    errno = ENOENT;
    EXPECT_EQ(content([](Builder& b) { b.addErrno(); }),
              "m: errmsg=No such file or directory errno=2");
    errno = 113;
    EXPECT_EQ(content([](Builder& b) { b.add("x", "y").addErrno(); }),
              "m: x=y errmsg=No route to host errno=113");
}

}  // namespace
