// Reads a file's settings, writes back those the format can carry over the
// same file, and reads again: the second reading must equal the map written.
#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "qorbasic/config.h"

namespace {

// A directory of our own for the file and its lock, removed at exit.
struct Workspace {
    Workspace() {
        char pattern[] = "/tmp/qorconfigfuzz.XXXXXX";
        dir = mkdtemp(pattern);
        file = dir + "/fuzz.conf";
        setenv("QOR_LOCK_DIR", dir.c_str(), 1);
    }
    ~Workspace() {
        unlink(file.c_str());
        rmdir(dir.c_str());
    }
    std::string dir, file;
};

// Outer blanks are trimmed, '#' may open a comment and outer quotes are
// removed on reading, and nothing escapes them on writing; writeConfig
// refuses a carriage return, which could end a line, in keys and values.
bool carriable(const std::string& key, const std::string& value) {
    if (key.find('\r') != std::string::npos || value.find('\r') != std::string::npos) {
        return false;
    }
    if (value.empty()) {
        return true;
    }
    const bool quoted = value.size() >= 2 && value.front() == value.back() &&
                        (value.front() == '"' || value.front() == '\'');
    const bool blank_ends = isspace(static_cast<unsigned char>(value.front())) != 0 ||
                            isspace(static_cast<unsigned char>(value.back())) != 0;
    return value.find('#') == std::string::npos && !quoted && !blank_ends;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Workspace work;
    if (size == 0) {
        return 0;
    }
    const char separator = static_cast<char>(data[0]);
    // writeConfig refuses a separator that would end its own line.
    if (separator == '\r' || separator == '\n' || separator == '\0') {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    // A text file holds no NUL: the rewrite reads lines with fgets, for which
    // a line that starts with NUL ends the file.
    if (text.find('\0') != std::string::npos) {
        return 0;
    }

    std::istringstream in(text);
    ConfigUtils::ConfigMap first, written, second;
    ConfigUtils::getConfig(in, first, separator);
    for (const auto& entry : first) {
        if (carriable(entry.first, entry.second)) {
            written.insert(entry);
        }
    }
    std::ofstream(work.file, std::ios::binary | std::ios::trunc) << text;
    if (!ConfigUtils::writeConfig(work.file, written, separator) ||
        !ConfigUtils::getConfig(work.file, second, separator) || second != written) {
        abort();
    }
    return 0;
}
