// ConfigUtils: reading and rewriting key/value configuration files.
#include "qorbasic/config.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <istream>
#include <set>
#include <sstream>
#include <vector>

#include "files/file_handles.h"
#include "files/line_reader.h"
#include "qorbasic/files.h"
#include "qorbasic/status.h"
#include "qorbasic/strings.h"

namespace ConfigUtils {

namespace {

// Strips one pair of matching outer quotes; nothing inside is unescaped.
void strip_outer_quotes(std::string& value) {
    if (value.size() < 2) {
        return;
    }
    char first = value.front();
    if ((first == '"' || first == '\'') && value.back() == first) {
        value = value.substr(1, value.size() - 2);
    }
}

// A setting in its normal form: key, separator, value, comment, line end.
void append_setting(std::string& text, const std::string& key, char separator,
                    const std::string& value, const std::string& comment) {
    text.append(key);
    text.push_back(separator);
    text.append(value);
    text.append(comment);
    text.push_back('\n');
}

// What the caller may write as a key or value. A line end would start a line
// of its own, a setting the next reader takes as real; in a key, the
// separator, '=' or '#' would move where the reader splits the line. A NUL
// ends a line for the line reader.
bool is_safe_value(const std::string& value) {
    return value.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}

bool is_safe_key(const std::string& key, char separator) {
    return is_safe_value(key) && key.find_first_of("=#") == std::string::npos &&
           key.find(separator) == std::string::npos;
}

// The whole file. It is opened through open_file, so a FIFO or device at the
// path is refused instead of waited on with the lock held; a directory fails
// at its first read, whatever size it reports.
bool read_whole(const std::string& path, std::string& text) {
    FileUtils::internal::UniqueFd fd(
        FileUtils::internal::open_file(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid()) {
        return false;
    }
    char block[4096];
    for (;;) {
        const ssize_t count = FileUtils::internal::read_retrying(fd.get(), block, sizeof block);
        if (count <= 0) {
            return count == 0;
        }
        text.append(block, static_cast<std::size_t>(count));
    }
}

}  // namespace

bool parseConfigKeyValue(std::string& line, std::string& key, std::string& value,
                         std::string& comment, char separator) {
    string_ltrim(line);
    if (line.empty()) {
        return false;
    }
    const std::string::size_type sep = line.find(separator);
    const std::string::size_type hash = line.find('#');
    if (sep == std::string::npos || (hash != std::string::npos && hash < sep)) {
        return false;
    }

    key = line.substr(0, sep);
    string_trim(key);

    // A '#' right behind the separator starts the value, not a comment, so
    // that values such as colour codes ("#ff0000") need no quotes.
    const bool has_comment = hash != std::string::npos && hash > sep + 1;
    if (has_comment) {
        comment = " " + line.substr(hash);
        value = line.substr(sep + 1, hash - sep - 1);
    } else {
        comment.clear();
        value = line.substr(sep + 1);
    }
    string_trim(value);
    strip_outer_quotes(value);
    return true;
}

std::string& renderConfigLine(std::string& out, const QRSTR& key, const QRSTR& value,
                              char separator) {
    return join_string(out, key, separator, value);
}

bool getConfig(std::istream& in, ConfigMap& config, char separator) {
    if (!in.good()) {
        return false;
    }
    std::string line, key, value, comment;
    while (std::getline(in, line)) {
        if (parseConfigKeyValue(line, key, value, comment, separator)) {
            config[key] = value;
        }
    }
    // getline stops on a read error as well as at the end. A stream that
    // fails before its end (a directory opened as a file) must not pass for
    // a complete, perhaps empty, file: callers would then rewrite it from a
    // map that lacks its settings.
    return in.eof() && !in.bad();
}

bool getConfig(const std::string& path, ConfigMap& config, char separator) {
    FileUtils::ScopedFileLock lock(path);
    if (!lock.is_valid()) {
        return false;
    }
    std::string text;
    if (!read_whole(path, text)) {
        return false;
    }
    std::istringstream in(text);
    return getConfig(in, config, separator);
}

// Whether the line reader gives every byte of the file. It cannot carry a
// NUL byte (the rest of its chunk is lost, and a NUL at the start of a chunk
// reads as the end of the file) nor a line beyond its limit (reading stops
// there). A rewrite built from such a reading would silently drop the rest of
// the file, so writeConfig refuses it and leaves the file as it is.
static bool line_reader_saw_everything(const std::string& path) {
    std::vector<char> bytes;
    if (is_error(FileUtils::readBinaryFile(bytes, path).status)) {
        return !FileUtils::pathExists(path);
    }
    std::size_t line_length = 0;
    for (char byte : bytes) {
        if (byte == '\0') {
            return false;
        }
        line_length = byte == '\n' ? 0 : line_length + 1;
        if (line_length + 500 > FileUtils::internal::kLongestLine) {
            return false;
        }
    }
    return true;
}

bool writeConfig(const std::string& path, const ConfigMap& config, char separator) {
    // A line end or NUL as separator would end the very line it splits: the
    // line reader of the rewrite and the reader of getConfig would then see
    // different settings, so such a rewrite could drop or double a setting.
    if (separator == '\r' || separator == '\n' || separator == '\0') return false;
    FileUtils::ScopedFileLock lock(path);
    if (!lock.is_valid()) {
        return false;
    }
    std::vector<std::string> lines;
    if (is_error(FileUtils::readTextFile(lines, path).status) && FileUtils::fileExists(path)) {
        return false;
    }

    std::string text;
    std::set<std::string> seen;
    bool changed = false;
    std::string key, value, comment;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string line = lines[i];
        if (parseConfigKeyValue(line, key, value, comment, separator)) {
            const auto wanted = config.find(key);
            if (wanted == config.end()) {
                changed = true;
                continue;
            }
            seen.insert(key);
            if (value != wanted->second) {
                if (!is_safe_value(wanted->second)) {
                    return false;
                }
                changed = true;
            }
            append_setting(text, key, separator, wanted->second, comment);
        } else if (!(line.empty() && i + 1 == lines.size())) {
            text.append(line);
            text.push_back('\n');
        }
    }
    for (const auto& entry : config) {
        if (seen.count(entry.first) == 0) {
            if (!is_safe_key(entry.first, separator) || !is_safe_value(entry.second)) {
                return false;
            }
            append_setting(text, entry.first, separator, entry.second, std::string());
            changed = true;
        }
    }

    // Leaving an unchanged file alone keeps its bytes and its modification
    // time, which watchers of the file take as "nothing happened".
    if (!changed) {
        return true;
    }
    if (!line_reader_saw_everything(path)) {
        return false;
    }
    return FileUtils::writeBinaryFile(path, text.data(), static_cast<unsigned>(text.size()))
        .is_success();
}

bool setConfigValue(const std::string& path, const std::string& key, const std::string& value) {
    if (!is_safe_key(key, '=') || !is_safe_value(value)) {
        return false;
    }
    ConfigMap config;
    if (!getConfig(path, config, '=') && FileUtils::fileExists(path)) {
        return false;
    }
    std::string& entry = config[key];
    if (entry == value) {
        return true;
    }
    entry = value;
    return writeConfig(path, config, '=');
}

bool removeConfigValue(const std::string& path, const std::string& key, char separator) {
    ConfigMap config;
    if (!getConfig(path, config, separator)) {
        return false;
    }
    config.erase(key);
    return writeConfig(path, config, separator);
}

std::string getConfigValue(const std::string& path, const std::string& key) {
    ConfigMap config;
    getConfig(path, config, '=');
    const auto found = config.find(key);
    return found == config.end() ? std::string() : found->second;
}

int getConfigValue(const std::string& path, const std::string& key, int default_value) {
    const std::string text = getConfigValue(path, key);
    if (text.empty()) {
        return default_value;
    }
    errno = 0;
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE || number < INT_MIN || number > INT_MAX) {
        return default_value;
    }
    return static_cast<int>(number);
}

}  // namespace ConfigUtils
