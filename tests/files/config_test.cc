#include "qorbasic/config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <fstream>
#include <sstream>

#include "files/config_test_support.h"

namespace {

using config_test::read_all;
using config_test::write_text;
using ConfigUtils::ConfigMap;

// ---------------------------------------------------------------------------
// One line at a time.

struct ParseCase {
    const char* line;
    char separator;
    bool setting;
    const char* key;
    const char* value;
    const char* comment;
};

// Names the parameter by its line, with control characters spelled out.
void PrintTo(const ParseCase& c, std::ostream* os) {
    *os << "sep " << (c.separator == '\t' ? std::string("TAB") : std::string(1, c.separator))
        << " line ";
    for (const char* p = c.line; *p != '\0'; ++p) {
        if (*p == '\t') {
            *os << "\\t";
        } else if (*p == '\r') {
            *os << "\\r";
        } else {
            *os << *p;
        }
    }
}

class ParseConfigLine : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseConfigLine, SplitsKeyValueAndComment) {
    const ParseCase& c = GetParam();
    std::string line = c.line;
    std::string key = "old key", value = "old value", comment = "old comment";
    ASSERT_EQ(c.setting, ConfigUtils::parseConfigKeyValue(line, key, value, comment, c.separator));
    if (c.setting) {
        EXPECT_EQ(c.key, key);
        EXPECT_EQ(c.value, value);
        EXPECT_EQ(c.comment, comment);
    } else {
        // A line that is no setting leaves the outputs as they were.
        EXPECT_EQ("old key", key);
        EXPECT_EQ("old value", value);
        EXPECT_EQ("old comment", comment);
    }
}

INSTANTIATE_TEST_SUITE_P(
    LineKinds, ParseConfigLine,
    ::testing::Values(
        // Settings: key and value trimmed, comment from the '#' to the end.
        ParseCase{"a = 1", '=', true, "a", "1", ""},
        ParseCase{"a=1   # one", '=', true, "a", "1", " # one"},
        ParseCase{"  key\t=  spaced value \t#  c  ", '=', true, "key", "spaced value", " #  c  "},
        ParseCase{"a=1 #", '=', true, "a", "1", " #"}, ParseCase{"a=1\r", '=', true, "a", "1", ""},
        ParseCase{"=v", '=', true, "", "v", ""}, ParseCase{"a=", '=', true, "a", "", ""},
        ParseCase{"a=b=c", '=', true, "a", "b=c", ""},
        // A '#' right behind the separator belongs to the value.
        ParseCase{"a=#x", '=', true, "a", "#x", ""},
        ParseCase{"a=#x # note", '=', true, "a", "#x # note", ""},
        ParseCase{"a= #x", '=', true, "a", "", " #x"},
        // Quotes: one matching outer pair goes, nothing else.
        ParseCase{"a=\"\"", '=', true, "a", "", ""}, ParseCase{"a=\"", '=', true, "a", "\"", ""},
        ParseCase{"a='x\"", '=', true, "a", "'x\"", ""},
        ParseCase{"a=''x''", '=', true, "a", "'x'", ""},
        ParseCase{"a = \" x y \" # c", '=', true, "a", " x y ", " # c"},
        ParseCase{"a=\"x#y\"", '=', true, "a", "\"x", " #y\""},
        // The separator argument.
        ParseCase{"url: http://host:80/", ':', true, "url", "http://host:80/", ""},
        ParseCase{"a=b:c", ':', true, "a=b", "c", ""}, ParseCase{"a\tb", '\t', true, "a", "b", ""},
        // Comments, other text and blank lines are no settings.
        ParseCase{"x # a=1", '=', false, "", "", ""}, ParseCase{"# a=1", '=', false, "", "", ""},
        ParseCase{"no separator here", '=', false, "", "", ""},
        ParseCase{"a=1", ':', false, "", "", ""}, ParseCase{"", '=', false, "", "", ""},
        ParseCase{" \t \r", '=', false, "", "", ""}));

TEST(ParseConfigLineInPlace, CutsLeftWhitespaceOfTheLineWhateverTheResult) {
    std::string key, value, comment;
    std::string setting = "  \ta = 1  ";
    ASSERT_TRUE(ConfigUtils::parseConfigKeyValue(setting, key, value, comment, '='));
    EXPECT_EQ("a = 1  ", setting);

    std::string text = "   # note";
    ASSERT_FALSE(ConfigUtils::parseConfigKeyValue(text, key, value, comment, '='));
    EXPECT_EQ("# note", text);

    std::string blank = " \t  ";
    ASSERT_FALSE(ConfigUtils::parseConfigKeyValue(blank, key, value, comment, '='));
    EXPECT_EQ("", blank);
}

TEST(RenderConfigLine, JoinsKeySeparatorAndValueAsTheyAre) {
    std::string out = "old";
    EXPECT_EQ("k=v", ConfigUtils::renderConfigLine(out, "k", "v", '='));
    EXPECT_EQ(" k :\"v\"", ConfigUtils::renderConfigLine(out, " k ", "\"v\"", ':'));
    EXPECT_EQ("k=", ConfigUtils::renderConfigLine(out, "k", "", '='));
}

// ---------------------------------------------------------------------------
// Reading.

TEST(GetConfigStream, LaterLineOfAKeyWinsAndLastLineNeedsNoLineFeed) {
    std::istringstream in("a=1\n# a=comment\nb = 2\na=3\nc=tail");
    ConfigMap config;
    ASSERT_TRUE(ConfigUtils::getConfig(in, config, '='));
    EXPECT_EQ((ConfigMap{{"a", "3"}, {"b", "2"}, {"c", "tail"}}), config);
}

TEST(GetConfigStream, AddsToTheMapWithoutClearingIt) {
    std::istringstream in("a=1\n");
    ConfigMap config{{"a", "0"}, {"kept", "yes"}};
    ASSERT_TRUE(ConfigUtils::getConfig(in, config, '='));
    EXPECT_EQ((ConfigMap{{"a", "1"}, {"kept", "yes"}}), config);
}

TEST(GetConfigStream, EmptyStreamIsAnEmptyConfiguration) {
    std::istringstream in("");
    ConfigMap config;
    EXPECT_TRUE(ConfigUtils::getConfig(in, config, '='));
    EXPECT_TRUE(config.empty());
}

TEST(GetConfigStream, StreamThatIsNotGoodIsAFailure) {
    std::istringstream in("a=1\n");
    in.setstate(std::ios::failbit);
    ConfigMap config;
    EXPECT_FALSE(ConfigUtils::getConfig(in, config, '='));
    EXPECT_TRUE(config.empty());
}

class ConfigFile : public ::testing::Test {
  protected:
    void SetUp() override {
        config_test::use_test_lock_dir();
        ASSERT_FALSE(dir_.root().empty());
        path_ = dir_.path("test.conf");
    }

    void copy_fixture(const std::string& name) {
        write_text(path_, read_all(config_test::fixture_path(name)));
        ASSERT_FALSE(read_all(path_).empty());
    }

    ConfigMap read_config(char separator = '=') {
        ConfigMap config;
        EXPECT_TRUE(ConfigUtils::getConfig(path_, config, separator));
        return config;
    }

    // Puts the modification time an hour back, so that a rewrite shows.
    void age_file() {
        struct stat st;
        ASSERT_EQ(0, stat(path_.c_str(), &st));
        struct utimbuf times;
        times.actime = st.st_atime - 3600;
        times.modtime = st.st_mtime - 3600;
        ASSERT_EQ(0, utime(path_.c_str(), &times));
    }

    time_t mtime() {
        struct stat st;
        return stat(path_.c_str(), &st) == 0 ? st.st_mtime : 0;
    }

    files_test::TempTree dir_;
    std::string path_;
};

TEST_F(ConfigFile, ReadsEveryLineKindOfAMixedFile) {
    copy_fixture("mixed.conf");
    EXPECT_EQ((ConfigMap{{"name", "two words"},
                         {"port", "8080"},
                         {"flag", "#red"},
                         {"empty", ""},
                         {"dup", "second"}}),
              read_config());
}

TEST_F(ConfigFile, CrLfFileReadsWithoutCarriageReturns) {
    copy_fixture("crlf.conf");
    EXPECT_EQ((ConfigMap{{"host", "example.org"}, {"port", "80"}}), read_config());
}

TEST_F(ConfigFile, MissingFileIsAFailureAndLeavesTheMapAlone) {
    ConfigMap config{{"kept", "1"}};
    EXPECT_FALSE(ConfigUtils::getConfig(dir_.path("missing.conf"), config, '='));
    EXPECT_EQ((ConfigMap{{"kept", "1"}}), config);
}

// A directory opens as a stream but fails on the first read, before its end:
// that must not pass for an empty file.
TEST_F(ConfigFile, PathNamingADirectoryIsAFailure) {
    ConfigMap config;
    EXPECT_FALSE(ConfigUtils::getConfig(dir_.root(), config, '='));
    EXPECT_TRUE(config.empty());

    std::ifstream in(dir_.root());
    ASSERT_TRUE(in.good());
    EXPECT_FALSE(ConfigUtils::getConfig(in, config, '='));
    EXPECT_TRUE(config.empty());
}

// ---------------------------------------------------------------------------
// Rewriting.

TEST_F(ConfigFile, ChangedSettingRewritesEverySettingInNormalForm) {
    copy_fixture("mixed.conf");
    ConfigMap config = read_config();
    config["port"] = "9090";
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, '='));
    // Comments lose their indent, blank lines stay except the last one,
    // settings lose blanks around the separator and outer quotes, and both
    // lines of the duplicate key take the value of the map.
    EXPECT_EQ(
        "# Settings of the test daemon\n"
        "# indented comment\n"
        "\n"
        "name=two words # who we are\n"
        "port=9090\n"
        "timeout : 5\n"
        "flag=#red\n"
        "empty=\n"
        "dup=second\n"
        "dup=second\n",
        read_all(path_));
}

TEST_F(ConfigFile, UnchangedSettingsLeaveBytesAndModificationTime) {
    write_text(path_,
               "# head\n   # indented\n\nname = \"two words\"   # who\n  other : x\n"
               "empty=\ndup = 1\ndup=1\n\n");
    const std::string before = read_all(path_);
    age_file();
    const time_t aged = mtime();
    // Equal settings, although several lines are not in normal form.
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, read_config(), '='));
    EXPECT_EQ(before, read_all(path_));
    EXPECT_EQ(aged, mtime());
}

// Two lines of one key that disagree differ from any map, so the file is
// rewritten even for the very map that getConfig read from it.
TEST_F(ConfigFile, DuplicateKeyWithDisagreeingLinesIsAlwaysRewritten) {
    write_text(path_, "dup = first\ndup=second\n");
    ConfigMap config = read_config();
    EXPECT_EQ((ConfigMap{{"dup", "second"}}), config);
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, '='));
    EXPECT_EQ("dup=second\ndup=second\n", read_all(path_));
}

TEST_F(ConfigFile, CrLfFileIsRewrittenWithLineFeeds) {
    copy_fixture("crlf.conf");
    ConfigMap config = read_config();
    config["port"] = "8080";
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, '='));
    EXPECT_EQ("host=example.org\n# comment\nport=8080\n", read_all(path_));
}

TEST_F(ConfigFile, KeyMissingFromTheMapLosesAllItsLinesWithTheirComments) {
    write_text(path_, "# head\ndup=1 # first\nkeep=x\ndup=2 # second\n");
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, ConfigMap{{"keep", "x"}}, '='));
    EXPECT_EQ("# head\nkeep=x\n", read_all(path_));
}

TEST_F(ConfigFile, EmptyMapRemovesEverySettingAndKeepsComments) {
    write_text(path_, "# one\na=1\n\n# two\nb=2\n");
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, ConfigMap(), '='));
    EXPECT_EQ("# one\n\n# two\n", read_all(path_));
}

TEST_F(ConfigFile, EmptyMapOnMissingFileCreatesNothing) {
    EXPECT_TRUE(ConfigUtils::writeConfig(path_, ConfigMap(), '='));
    EXPECT_NE(0, access(path_.c_str(), F_OK));
}

TEST_F(ConfigFile, NewKeysGoToTheEndSortedAndUnquoted) {
    write_text(path_, "m=1\n# last comment\n");
    ConfigMap config{{"m", "1"}, {"z", "x y"}, {"a", "\"q\""}, {"B", "upper"}};
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, '='));
    EXPECT_EQ("m=1\n# last comment\nB=upper\na=\"q\"\nz=x y\n", read_all(path_));
}

// The format has no escapes: values with outer blanks, a '#' or outer quotes
// are written as they are and read back otherwise.
TEST_F(ConfigFile, ValuesTheFormatCannotCarryReadBackChanged) {
    ConfigMap config{{"lead", "  x"}, {"hash", "a # b"}, {"quoted", "'q'"}};
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, '='));
    EXPECT_EQ("hash=a # b\nlead=  x\nquoted='q'\n", read_all(path_));
    EXPECT_EQ((ConfigMap{{"lead", "x"}, {"hash", "a"}, {"quoted", "q"}}), read_config());
}

TEST_F(ConfigFile, OtherSeparatorIsUsedForReadingAndWriting) {
    write_text(path_, "host: example.org\nurl : http://h:80/\nother=1\n");
    ConfigMap config = read_config(':');
    EXPECT_EQ((ConfigMap{{"host", "example.org"}, {"url", "http://h:80/"}}), config);
    config["host"] = "example.net";
    ASSERT_TRUE(ConfigUtils::writeConfig(path_, config, ':'));
    EXPECT_EQ("host:example.net\nurl:http://h:80/\nother=1\n", read_all(path_));
}

TEST_F(ConfigFile, WriteIntoMissingDirectoryFails) {
    EXPECT_FALSE(ConfigUtils::writeConfig(dir_.path("no/such.conf"), ConfigMap{{"a", "1"}}, '='));
}

// ---------------------------------------------------------------------------
// Single keys.

TEST_F(ConfigFile, SetValueOnMissingFileCreatesOneLine) {
    EXPECT_TRUE(ConfigUtils::setConfigValue(path_, "key", "value"));
    EXPECT_EQ("key=value\n", read_all(path_));
}

TEST_F(ConfigFile, SetEmptyValueOnAbsentKeyWritesNothing) {
    EXPECT_TRUE(ConfigUtils::setConfigValue(path_, "key", ""));
    EXPECT_NE(0, access(path_.c_str(), F_OK));
}

TEST_F(ConfigFile, SetSameValueLeavesTheFileAlone) {
    write_text(path_, "key = \"value\"   # note\n");
    age_file();
    const time_t aged = mtime();
    EXPECT_TRUE(ConfigUtils::setConfigValue(path_, "key", "value"));
    EXPECT_EQ("key = \"value\"   # note\n", read_all(path_));
    EXPECT_EQ(aged, mtime());
}

TEST_F(ConfigFile, SetValueChangesItsLineInPlace) {
    write_text(path_, "# c\nkey = old # note\nother=1\n");
    EXPECT_TRUE(ConfigUtils::setConfigValue(path_, "key", "new"));
    EXPECT_EQ("# c\nkey=new # note\nother=1\n", read_all(path_));
}

TEST_F(ConfigFile, SetValueInMissingDirectoryFails) {
    EXPECT_FALSE(ConfigUtils::setConfigValue(dir_.path("no/such.conf"), "key", "value"));
}

TEST_F(ConfigFile, RemoveValueOfMissingFileFails) {
    EXPECT_FALSE(ConfigUtils::removeConfigValue(path_, "key", '='));
}

TEST_F(ConfigFile, RemoveAbsentKeyLeavesTheFileAlone) {
    write_text(path_, "a = 1\n");
    age_file();
    const time_t aged = mtime();
    EXPECT_TRUE(ConfigUtils::removeConfigValue(path_, "key", '='));
    EXPECT_EQ("a = 1\n", read_all(path_));
    EXPECT_EQ(aged, mtime());
}

TEST_F(ConfigFile, RemoveValueDropsEveryLineOfTheKey) {
    write_text(path_, "key: 1 # a\nother: 2\nkey: 3\n");
    EXPECT_TRUE(ConfigUtils::removeConfigValue(path_, "key", ':'));
    EXPECT_EQ("other:2\n", read_all(path_));
}

TEST_F(ConfigFile, GetValueGivesTextOrEmpty) {
    write_text(path_, "a = \"x y\"\n");
    EXPECT_EQ("x y", ConfigUtils::getConfigValue(path_, "a"));
    EXPECT_EQ("", ConfigUtils::getConfigValue(path_, "b"));
    EXPECT_EQ("", ConfigUtils::getConfigValue(dir_.path("missing.conf"), "a"));
}

TEST_F(ConfigFile, GetIntValueFallsBackToTheDefault) {
    write_text(path_,
               "empty=\nletters=abc\nmixed=12abc\nsigned= -3\nhuge=99999999999\n"
               "low=-2147483648\n");
    const struct {
        const char* key;
        int expected;
    } cases[] = {{"missing", 7}, {"empty", 7}, {"letters", 7},          {"mixed", 12},
                 {"signed", -3}, {"huge", 7},  {"low", -2147483647 - 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.expected, ConfigUtils::getConfigValue(path_, c.key, 7)) << c.key;
    }
    EXPECT_EQ(7, ConfigUtils::getConfigValue(dir_.path("missing.conf"), "mixed", 7));
}

}  // namespace

// The line reader cannot carry a NUL byte: a rewrite built from its reading
// would drop the rest of the file, so the file is refused and left whole.
TEST_F(ConfigFile, RewriteRefusesAFileWithANulByteAndKeepsItWhole) {
    const std::string text("a=1\n\0binary\nb=2\n", 16);
    write_text(path_, text);
    EXPECT_FALSE(ConfigUtils::writeConfig(path_, ConfigMap{{"a", "5"}}, '='));
    EXPECT_EQ(text, read_all(path_));
}
