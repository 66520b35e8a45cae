// The text forms of a message.
#include "logging/formats.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "qorbasic/log.h"
#include "qorbasic/timeutils.h"

namespace {

// Keeps the one message handed to it.
class KeepingProcessor : public BasicLog::LogMessageProcessor {
  public:
    void processMessage(BasicLog::LogMessage* message) override { kept.reset(message); }
    std::unique_ptr<BasicLog::LogMessage> kept;
};

template <typename Half, typename Format>
std::string form(Format format, const Half& half) {
    std::string out = "old text";
    format(out, half);
    return out;
}

// One message with a parameter of every kind, in every form, in a zone east
// of Greenwich so that local ticks differ from UTC.
TEST(Formats, EveryFormOfOneMessageWithEveryParameterKind) {
    setenv("TZ", "<+05>-5", 1);
    KeepingProcessor keep;
    errno = 113;
    BasicLog::LogMessageBuilder(keep, "test", QOR_LOGLEVEL_WARN, "connect \"failed\"\t", "f.cc",
                                "fn")
        .addErrno()
        .add("path", "C:\\dir\n")
        .addInt("n", -42)
        .addHex("h", 255)
        .addBool("b", true)
        .addHost("peer", "example.org", 443)
        .addPtr("p", nullptr)
        .addTimestamp("at", 1491053109000123L)
        .addWide("w", L"wide")
        .addProcessStatus(9)
        .add("n", "");
    const BasicLog::LogMessage& message = *keep.kept;

    EXPECT_EQ(form(BasicLog::standard_format_content, message.body()),
              "connect \"failed\"\t: errmsg=No route to host errno=113 path=C:\\dir\n n=-42 "
              "h=000000ff b=true peer=example.org:443 p=0000000000000000 "
              "at=2017-04-01T13:25:09 w=wide signal=9 n=");
    EXPECT_EQ(form(BasicLog::json_format_content, message.body()),
              R"({"msg":"connect \"failed\"\t","params":[{"errmsg":"No route to host"},)"
              R"({"errno":"113"},{"path":"C:\\dir\n"},{"n":"-42"},{"h":"000000ff"},)"
              R"({"b":"true"},{"peer":"example.org:443"},{"p":"0000000000000000"},)"
              R"({"at":"2017-04-01T13:25:09"},{"w":"wide"},{"signal":"9"},{"n":""}]})");

    long local = gmt_to_local(message.headers().timestamp());
    std::string stamp;
    standard_timestamp(stamp, local, true, ' ');
    EXPECT_EQ(
        form(BasicLog::json_format_headers, message.headers()),
        R"({"level":"WARNING","ticks":)" + std::to_string(local) + R"(,"time":")" + stamp + "\"}");
    EXPECT_EQ(form(BasicLog::standard_format_headers, message.headers()),
              "[WARNING " + stamp + "]");
    EXPECT_EQ(form(BasicLog::levelonly_format_headers, message.headers()), "[WARNING]");
    setenv("TZ", "UTC0", 1);

    // Without parameters there is no "params" key; the longest text is kept.
    BasicLog::LogMessageBuilder(keep, "test", QOR_LOGLEVEL_DEFAULT, "started", "f.cc", "fn");
    EXPECT_EQ(form(BasicLog::json_format_content, keep.kept->body()), R"({"msg":"started"})");
    std::string longest(599, 'x');
    BasicLog::LogMessageBuilder(keep, "test", QOR_LOGLEVEL_INFO, (longest + "cut").c_str(), "f.cc",
                                "fn");
    EXPECT_EQ(form(BasicLog::json_format_content, keep.kept->body()),
              "{\"msg\":\"" + longest + "\"}");
}

}  // namespace
