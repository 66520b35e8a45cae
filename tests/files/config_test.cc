// Tests of config files: parsing, in-place rewrites, locking and refused settings.
#include "qorbasic/config.h"

#include <utime.h>

#include <algorithm>

#include "files/temp_tree.h"

using namespace files_test;
using ConfigUtils::ConfigMap;

namespace {

std::string fixture(const std::string& name) {
    return read_all(std::string(QOR_SOURCE_DIR) + "/tests/files/fixtures/" + name);
}

time_t mtime(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mtime : 0;
}

}  // namespace

TEST(ParseConfigLineTest, SplitsKeyValueAndCommentOrLeavesTheOutputsAlone) {
    const struct {
        const char* line;
        char separator;
        bool setting;
        const char *key, *value, *comment;
    } cases[] = {
        // clang-format off
        // Settings: key and value trimmed, comment from the '#' to the end.
        {"  key\t=  spaced value \t#  c  ", '=', true, "key", "spaced value", " #  c  "},
        {"a=1\r",  '=', true, "a", "1", ""},   {"=v",    '=', true, "", "v", ""},
        {"a=",     '=', true, "a", "", ""},    {"a=b=c", '=', true, "a", "b=c", ""},
        // A '#' right behind the separator belongs to the value.
        {"a=#x # note", '=', true, "a", "#x # note", ""}, {"a= #x", '=', true, "a", "", " #x"},
        // Quotes: one matching outer pair goes, nothing else.
        {"a=\"\"", '=', true, "a", "", ""},  {"a=\"", '=', true, "a", "\"", ""},
        {"a=''x''", '=', true, "a", "'x'", ""}, {"a=\"x#y\"", '=', true, "a", "\"x", " #y\""},
        // The separator argument.
        {"url: http://host:80/", ':', true, "url", "http://host:80/", ""},
        {"a=b:c", ':', true, "a=b", "c", ""},
        // Comments, other text and blank lines are no settings.
        {"x # a=1", '=', false, "", "", ""},   {"no separator here", '=', false, "", "", ""},
        {"a=1",     ':', false, "", "", ""},   {" \t \r", '=', false, "", "", ""},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::string(c.line)));
        std::string line = c.line, key = "old", value = "old", comment = "old";
        EXPECT_EQ(c.setting,
                  ConfigUtils::parseConfigKeyValue(line, key, value, comment, c.separator));
        // Whatever the result, the line loses its left blanks in place.
        const std::size_t text = std::string(c.line).find_first_not_of(" \t\r");
        EXPECT_EQ(text == std::string::npos ? "" : std::string(c.line + text), line);
        const std::string parts = std::string(c.key) + "|" + c.value + "|" + c.comment;
        EXPECT_EQ(c.setting ? parts : "old|old|old", key + "|" + value + "|" + comment);
    }
}

TEST(GetConfigTest, AddsToTheMapAndTheLaterLineOfAKeyWins) {
    TempTree dir;
    const struct {
        std::string text;
        ConfigMap expected;
    } cases[] = {
        {"a=1\n# a=comment\nb = 2\na=3\nc=tail", {{"a", "3"}, {"b", "2"}, {"c", "tail"}}},
        {"", {}},
        // clang-format off
        {fixture("mixed.conf"),
         {{"name", "two words"}, {"port", "8080"}, {"flag", "#red"}, {"empty", ""},
          {"dup", "second"}}},
        // clang-format on
        {fixture("crlf.conf"), {{"host", "example.org"}, {"port", "80"}}},
    };
    for (const auto& c : cases) {
        ConfigMap expected = c.expected, from_stream{{"kept", "yes"}}, from_file = from_stream;
        expected["kept"] = "yes";
        std::istringstream in(c.text);
        EXPECT_TRUE(ConfigUtils::getConfig(in, from_stream, '=')) << c.text;
        EXPECT_EQ(expected, from_stream) << c.text;
        EXPECT_TRUE(ConfigUtils::getConfig(dir.file("test.conf", c.text), from_file, '='))
            << c.text;
        EXPECT_EQ(expected, from_file) << c.text;
    }
}

// A directory opens as a stream but fails on the first read, before its end:
// that must not pass for an empty file. The line reader cannot carry a NUL
// byte: a rewrite built from its reading would drop the rest of the file, so
// such a file is refused and left whole.
TEST(ConfigFailureTest, EveryFailureGivesFalseAndChangesNothing) {
    TempTree dir;
    ConfigMap config{{"kept", "yes"}};
    std::ifstream directory(dir.root());
    ASSERT_TRUE(directory.good());
    EXPECT_FALSE(ConfigUtils::getConfig(directory, config, '=') ||
                 ConfigUtils::getConfig(dir.root(), config, '=') ||
                 ConfigUtils::getConfig(dir.path("missing.conf"), config, '='));
    EXPECT_EQ((ConfigMap{{"kept", "yes"}}), config);
    const std::string nowhere = dir.path("no/such.conf");
    EXPECT_FALSE(ConfigUtils::writeConfig(nowhere, ConfigMap{{"a", "1"}}, '=') ||
                 ConfigUtils::setConfigValue(nowhere, "key", "value") ||
                 ConfigUtils::removeConfigValue(dir.path("missing.conf"), "key", '='));
    const std::string text("a=1\n\0binary\nb=2\n", 16);
    const std::string path = dir.file("test.conf", text);
    EXPECT_FALSE(ConfigUtils::writeConfig(path, ConfigMap{{"a", "5"}}, '='));
    EXPECT_EQ(text, read_all(path));
}

// A FIFO at a config path would hold its opener in open() for ever, and
// the lock of that name with it. Every reader and writer refuses it at once;
// the child lets a blocked open fail the test instead of hanging it.
TEST(ConfigFailureTest, FifoAtTheConfigPathIsRefusedWithoutBlocking) {
    TempTree dir;
    const std::string fifo = dir.path("pipe.conf"), file = dir.file("plain", "a=1\n");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_IN_CHILD([&] {
        alarm(30);
        ConfigMap config;
        std::vector<std::string> lines;
        std::vector<char> bytes;
        std::string line;
        CHILD_CHECK(!ConfigUtils::getConfig(fifo, config, '='));
        CHILD_CHECK(!ConfigUtils::setConfigValue(fifo, "a", "1"));
        CHILD_CHECK(!ConfigUtils::writeConfig(fifo, ConfigMap{{"a", "1"}}, '='));
        CHILD_CHECK(FileUtils::readTextFile(lines, fifo).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(FileUtils::readOneLine(line, fifo).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(FileUtils::readBinaryFile(bytes, fifo).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(FileUtils::writeFile(fifo, "x", true).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(FileUtils::copyFile(fifo, file, true).status == STATUS_OPEN_FAILED);
        return FileUtils::copyFile(file, fifo, true).status == STATUS_OPEN_FAILED;
    });
}

// A line end in a value, or a separator, '#' or line end in a key, would
// plant another setting for the next reader. Every writer refuses them and
// leaves the file as it was.
TEST(ConfigFailureTest, KeysAndValuesThatWouldInjectASettingAreRefused) {
    TempTree dir;
    const std::string text = "role=user\n", path = dir.file("inject.conf", text);
    const std::pair<std::string, std::string> cases[] = {
        {"name", "x\nrole=admin"}, {"name", "x\rrole=admin"}, {"role=admin\nname", "x"},
        {"role\r", "admin"},       {"role=admin", ""},        {"#role", "admin"},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(ConfigUtils::setConfigValue(path, c.first, c.second) ||
                     ConfigUtils::writeConfig(path, ConfigMap{{"role", "user"}, c}, '='))
            << c.first;
        EXPECT_EQ(0, configutils_writeconfig(path.c_str(), c.first.c_str(), c.second.c_str()));
    }
    EXPECT_FALSE(ConfigUtils::writeConfig(path, ConfigMap{{"role", "user"}, {"a:b", "c"}}, ':'));
    for (char line_end : {'\r', '\n', '\0'})
        EXPECT_FALSE(ConfigUtils::writeConfig(path, ConfigMap{{"role", "admin"}}, line_end));
    EXPECT_EQ(text, read_all(path));
}

// Each case: a file (null: none), one change, the file after it.
TEST(WriteConfigTest, RewritesChangedFilesInNormalForm) {
    TempTree dir;
    using Op = std::function<bool(const std::string&)>;
    auto write = [](ConfigMap m, char sep = '=') -> Op {
        return [=](const std::string& p) { return ConfigUtils::writeConfig(p, m, sep); };
    };
    auto set = [](const char* key, const char* value) -> Op {
        return [=](const std::string& p) { return ConfigUtils::setConfigValue(p, key, value); };
    };
    const struct {
        const char* name;
        std::string before;  // empty: no file
        Op op;
        const char* after;  // null: no file
    } cases[] = {
        // Comments lose their indent, blank lines stay but the last, settings
        // lose blanks around the separator and outer quotes, and both lines of
        // the duplicate key take the value of the map.
        // clang-format off
        {"normal form", fixture("mixed.conf"),
         write({{"name", "two words"}, {"port", "9090"}, {"flag", "#red"}, {"empty", ""},
                {"dup", "second"}}),
         // clang-format on
         "# Settings of the test daemon\n# indented comment\n\nname=two words # who we are\n"
         "port=9090\ntimeout : 5\nflag=#red\nempty=\ndup=second\ndup=second\n"},
        {"CR LF", fixture("crlf.conf"), write({{"host", "example.org"}, {"port", "8080"}}),
         "host=example.org\n# comment\nport=8080\n"},
        {"empty map", "# one\na=1\n\n# two\nb=2\n", write({}), "# one\n\n# two\n"},
        {"empty map, no file", "", write({}), nullptr},
        {"new keys sorted at the end", "m=1\n# last comment\n",
         write({{"m", "1"}, {"z", "x y"}, {"a", "\"q\""}, {"B", "upper"}}),
         "m=1\n# last comment\nB=upper\na=\"q\"\nz=x y\n"},
        {"set empty on no file", "", set("key", ""), nullptr},
        {"set changes its line", "# c\nkey = old # note\nother=1\n", set("key", "new"),
         "# c\nkey=new # note\nother=1\n"},
        {"remove every line of a key", "key: 1 # a\nother: 2\nkey: 3\n",
         [](const std::string& p) { return ConfigUtils::removeConfigValue(p, "key", ':'); },
         "other:2\n"},
    };
    for (const auto& c : cases) {
        const std::string path = dir.path("test.conf");
        unlink(path.c_str());
        if (!c.before.empty()) write_text(path, c.before);
        EXPECT_TRUE(c.op(path)) << c.name;
        EXPECT_EQ(c.after == nullptr ? "(none)" : c.after,
                  exists_no_follow(path) ? read_all(path) : "(none)")
            << c.name;
    }
}

// When nothing changes the file keeps its bytes and its modification time,
// although its lines are not in normal form.
TEST(WriteConfigTest, UnchangedSettingsLeaveBytesAndModificationTime) {
    TempTree dir;
    const std::string path = dir.path("test.conf");
    const std::string text =
        "# head\n   # indented\n\nname = \"two words\"   # who\n  other : x\nempty=\n"
        "dup = 1\ndup=1\nkey = \"value\"   # note\n\n";
    const std::function<bool()> ops[] = {
        [&] {
            ConfigMap read;
            return ConfigUtils::getConfig(path, read, '=') &&
                   ConfigUtils::writeConfig(path, read, '=');
        },
        [&] { return ConfigUtils::setConfigValue(path, "key", "value"); },
        [&] { return ConfigUtils::removeConfigValue(path, "absent", '='); },
    };
    for (const auto& op : ops) {
        write_text(path, text);
        const struct utimbuf aged = {mtime(path) - 3600, mtime(path) - 3600};
        ASSERT_EQ(0, utime(path.c_str(), &aged));
        EXPECT_TRUE(op());
        EXPECT_EQ(text, read_all(path));
        EXPECT_EQ(aged.modtime, mtime(path));
    }
}

TEST(GetConfigValueTest, GivesTextOrTheIntegerOrTheDefault) {
    TempTree dir;
    const std::string path = dir.file("test.conf",
                                      "a = \"x y\"\nempty=\nletters=abc\n"
                                      "mixed=12abc\nsigned= -3\nhuge=99999999999\n"
                                      "low=-2147483648\n");
    EXPECT_EQ("x y", ConfigUtils::getConfigValue(path, "a"));
    EXPECT_EQ("", ConfigUtils::getConfigValue(path, "b") +
                      ConfigUtils::getConfigValue(dir.path("missing.conf"), "a"));
    const std::pair<const char*, int> cases[] = {
        {"missing", 7}, {"empty", 7}, {"letters", 7},          {"mixed", 12},
        {"signed", -3}, {"huge", 7},  {"low", -2147483647 - 1}};
    for (const auto& c : cases)
        EXPECT_EQ(c.second, ConfigUtils::getConfigValue(path, c.first, 7)) << c.first;
    EXPECT_EQ(7, ConfigUtils::getConfigValue(dir.path("missing.conf"), "mixed", 7));
}

// Writers rewrite one file (truncating it in place) while readers read it:
// only the lock keeps a reader from a file cut short or half rewritten. Each
// writer alternates between two states of its own that differ in every value
// and in their number of keys, so a torn file matches none of them.
TEST(ConfigConcurrencyTest, ReadersUnderTheLockSeeOnlyCompleteStates) {
    constexpr int kWriters = 3, kReaders = 3, kWrites = 150, kReads = 300;
    TempTree dir;
    const std::string path = dir.path("shared.conf");
    std::vector<ConfigMap> states;
    for (int s = 0; s < 2 * kWriters; ++s) {
        ConfigMap& state = states.emplace_back();
        for (int k = 0; k < 150 + 20 * s; ++k) {
            state["key" + std::to_string(k)] =
                "state" + std::to_string(s) + "-" + std::string(20 + k % 7, 'x');
        }
    }
    auto complete = [&](const ConfigMap& seen) {
        return std::find(states.begin(), states.end(), seen) != states.end();
    };
    ASSERT_TRUE(ConfigUtils::writeConfig(path, states[0], '='));
    // Exit status 1: a writer failed, 2: a reader saw a torn file, 3: a reader failed.
    EXPECT_TRUE(children_succeed(kWriters + kReaders, [&](int p) {
        for (int i = 0; p < kWriters && i < kWrites; ++i) {
            if (!ConfigUtils::writeConfig(path, states[2 * p + (i + 1) % 2], '=')) return 1;
        }
        for (int i = 0; p >= kWriters && i < kReads; ++i) {
            ConfigMap seen;
            if (!ConfigUtils::getConfig(path, seen, '=')) return 3;
            if (!complete(seen)) return 2;
        }
        return 0;
    }));
    ConfigMap last;
    ASSERT_TRUE(ConfigUtils::getConfig(path, last, '='));
    EXPECT_TRUE(complete(last));
}
