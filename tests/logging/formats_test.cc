// The text forms of a message, the line composer and the two escapes.
#include "logging/formats.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "logging/log_test_support.h"
#include "qorbasic/json.h"
#include "qorbasic/log.h"
#include "qorbasic/timeutils.h"

namespace {

// Keeps the one message handed to it.
class KeepingProcessor : public BasicLog::LogMessageProcessor {
  public:
    void processMessage(BasicLog::LogMessage* message) override { kept.reset(message); }
    std::unique_ptr<BasicLog::LogMessage> kept;
};

using FormatHeaders = void (*)(std::string&, const BasicLog::MessageHeaders&);
using FormatContent = void (*)(std::string&, const BasicLog::MessageContent&);

template <typename Half, typename Format>
std::string form(Format format, const Half& half) {
    std::string out = "old text";
    format(out, half);
    return out;
}

// One message with a parameter of every kind, in every form. The headers are
// compared with what a JsonHash of the same three entries writes, in a zone
// east of Greenwich so that local ticks differ from UTC.
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
    EXPECT_EQ(form(BasicLog::null_format_content, message.body()), "");

    long local = gmt_to_local(message.headers().timestamp());
    EXPECT_EQ(local, message.headers().timestamp() + 5 * 3600 * 1000000L);
    std::string stamp;
    standard_timestamp(stamp, local, true, ' ');
    JsonHash hash;
    hash.add("level", new JsonString("WARNING"));
    hash.add("ticks", new JsonNum(local));
    hash.add("time", new JsonString(stamp));
    EXPECT_EQ(form(BasicLog::json_format_headers, message.headers()), hash.toString());
    EXPECT_EQ(form(BasicLog::standard_format_headers, message.headers()),
              "[WARNING " + stamp + "]");
    EXPECT_EQ(form(BasicLog::levelonly_format_headers, message.headers()), "[WARNING]");
    EXPECT_EQ(form(BasicLog::null_format_headers, message.headers()), "");
    setenv("TZ", "UTC0", 1);

    // Without parameters there is no "params" key; the longest text is kept.
    BasicLog::LogMessageBuilder(keep, "test", QOR_LOGLEVEL_DEFAULT, "started", "f.cc", "fn");
    EXPECT_EQ(form(BasicLog::json_format_content, keep.kept->body()), R"({"msg":"started"})");
    EXPECT_EQ(form(BasicLog::levelonly_format_headers, keep.kept->headers()), "[<log level>]");
    std::string longest(599, 'x');
    BasicLog::LogMessageBuilder(keep, "test", QOR_LOGLEVEL_INFO, (longest + "cut").c_str(), "f.cc",
                                "fn");
    EXPECT_EQ(form(BasicLog::json_format_content, keep.kept->body()),
              "{\"msg\":\"" + longest + "\"}");
}

// Byte by byte: logging_escape keeps the length and makes every byte
// printable; the JSON escape writes \b \t \n \f \r, quote and backslash with a
// backslash, NUL as \u0000, and every other byte as it is.
TEST(Formats, EscapeTableOfEveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        std::string text = {'a', static_cast<char>(byte), 'z'};
        char printable = byte < 32 ? ' ' : byte > 126 ? '?' : static_cast<char>(byte);
        EXPECT_EQ(BasicLog::logging_escape(text), std::string({'a', printable, 'z'})) << byte;

        std::string json;
        char raw = static_cast<char>(byte);
        qor::detail::append_json_string(json, &raw, 1);
        std::string expected = std::string(1, raw);
        const std::pair<int, const char*> escapes[] = {{0, "\\u0000"}, {'\b', "\\b"}, {'\t', "\\t"},
                                                       {'\n', "\\n"},  {'\f', "\\f"}, {'\r', "\\r"},
                                                       {'"', "\\\""},  {'\\', "\\\\"}};
        for (const auto& [escaped, as] : escapes) {
            if (byte == escaped) expected = as;
        }
        EXPECT_EQ(json, "\"" + expected + "\"") << byte;
    }
    const std::pair<std::string, std::string> texts[] = {
        {"", ""},
        {"wholly printable ~", "wholly printable ~"},
        {"a\tb", "a b"},
        {"\xC3\xA9", "??"},
        {"ends in a line feed\n", "ends in a line feed "},
        {std::string("nul\0inside", 10), "nul inside"},
    };
    for (const auto& [text, escaped] : texts) {
        std::string copy = text;
        EXPECT_EQ(BasicLog::logging_escape(copy), escaped);
    }
    std::string json = "kept";
    qor::detail::append_json_string(json, "a\0b\0", 4);
    EXPECT_EQ(json, "kept\"a\\u0000b\\u0000\"");
}

TEST(Formats, ComposeLineJoinsCutsOrEscapesAndEndsTheLine) {
    using namespace qor::detail;
    const std::string headers("[INFO t]\0x", 10);
    const std::string content("a\tb\0c", 5);
    const struct {
        unsigned flags;
        std::string line;
    } cases[] = {
        {kLinePlain, "[INFO t] a\tb"},
        {kLineNewline, "[INFO t] a\tb\n"},
        {kLineEscaped, "[INFO t] x a b c"},
        {kLineEscaped | kLineNewline, "[INFO t] x a b c\n"},
    };
    for (const auto& c : cases) {
        std::string out = "old";
        compose_line(out, headers, content, c.flags);
        EXPECT_EQ(out, c.line) << c.flags;
    }
}

TEST(Formats, StdoutWriterFlushesEachLineAndNullWriterWritesNothing) {
    qortest::ChildResult child = qortest::run_in_child([] {
        dup2(2, 1);
        BasicLog::stdout_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "out");
        BasicLog::null_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "none");
        BasicLog::stderr_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "err");
    });
    EXPECT_EQ(child.err, "[INFO t] out\n[INFO t] err\n");
}

}  // namespace
