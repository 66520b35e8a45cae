// qorbasic: the library's configuration, profile, JSON and address operations
// for shell scripts and operators.
//
// Built on the installed interface only. Exit status: 0 success, 1 a check
// that failed (or an operation on a file that failed), 2 bad use; every error
// is one line on standard error.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "qorbasic/cidr.h"
#include "qorbasic/config.h"
#include "qorbasic/ipaddress.h"
#include "qorbasic/json.h"
#include "qorbasic/json_validator.h"
#include "qorbasic/profiles.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailed = 1;
constexpr int kBadUse = 2;

using Args = std::vector<std::string>;

struct Command {
    const char* name;
    const char* help;
    int (*run)(const Args& args);
};

// The one-line error of every failure, prefixed with the command's name.
int fail(int status, const std::string& command, const std::string& message) {
    std::fprintf(stderr, "qorbasic%s%s: %s\n", command.empty() ? "" : " ", command.c_str(),
                 message.c_str());
    return status;
}

int bad_use(const std::string& command, const std::string& message) {
    const std::string help =
        command.empty() ? "qorbasic --help" : "qorbasic " + command + " --help";
    return fail(kBadUse, command, message + " (see " + help + ")");
}

bool has_control_byte(const std::string& text) {
    for (unsigned char c : text) {
        if (c < 0x20 || c == 0x7f) {
            return true;
        }
    }
    return false;
}

// Reads a whole regular file. The open does not block on a FIFO or a device,
// and the type is checked on the descriptor that is then read, so a path
// swapped after a check cannot slip a special file in.
bool read_regular_file(const std::string& path, std::string& out, std::string& error) {
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    struct stat info;
    bool ok = fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    if (!ok) {
        error = path + ": not a regular file";
    }
    char buffer[65536];
    while (ok) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            error = path + ": " + std::strerror(errno);
            ok = false;
        } else if (n == 0) {
            break;
        } else {
            out.append(buffer, static_cast<size_t>(n));
        }
    }
    close(fd);
    return ok;
}

// ---- config

// A key or value that would not read back as written, or would smuggle a
// second setting or a comment into the file, is refused before any write.
std::string config_text_problem(const std::string& text, bool is_key) {
    if (has_control_byte(text)) {
        return "holds a control character or line end";
    }
    if (is_key && text.empty()) {
        return "is empty";
    }
    if (!text.empty() && (text.front() == ' ' || text.back() == ' ' || text.front() == '\t')) {
        return "has outer blanks";
    }
    if (text.find('#') != std::string::npos) {
        return "holds '#', which starts a comment";
    }
    if (is_key && text.find('=') != std::string::npos) {
        return "holds '=', the separator";
    }
    if (!is_key && text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
        text.back() == text.front()) {
        return "has outer quotes, which are removed on reading";
    }
    return "";
}

int run_config(const Args& args) {
    const std::string me = "config";
    if (args.empty()) {
        return bad_use(me, "expected get, set or list");
    }
    const std::string& action = args[0];
    const size_t want = action == "get" ? 3 : action == "set" ? 4 : action == "list" ? 2 : 0;
    if (want == 0) {
        return bad_use(me, "unknown action '" + action + "'");
    }
    if (args.size() != want) {
        return bad_use(me, action + " takes " + std::to_string(want - 1) + " arguments");
    }
    const std::string& path = args[1];
    if (action == "set") {
        for (int i = 2; i <= 3; ++i) {
            std::string problem = config_text_problem(args[i], i == 2);
            if (!problem.empty()) {
                return bad_use(me, (i == 2 ? "the key " : "the value ") + problem);
            }
        }
        if (!ConfigUtils::setConfigValue(path, args[2], args[3])) {
            return fail(kFailed, me, path + ": cannot be written");
        }
        return kSuccess;
    }
    ConfigUtils::ConfigMap settings;
    if (!ConfigUtils::getConfig(path, settings, '=')) {
        return fail(kFailed, me, path + ": cannot be read");
    }
    if (action == "list") {
        for (const auto& entry : settings) {
            std::printf("%s=%s\n", entry.first.c_str(), entry.second.c_str());
        }
        return kSuccess;
    }
    auto found = settings.find(args[2]);
    if (found == settings.end()) {
        return fail(kFailed, me, path + ": no key '" + args[2] + "'");
    }
    std::printf("%s\n", found->second.c_str());
    return kSuccess;
}

// ---- profile

int run_profile(const Args& args) {
    const std::string me = "profile";
    if (args.size() != 1 || (args[0] != "list" && args[0] != "current")) {
        return bad_use(me, "expected list or current");
    }
    if (args[0] == "list") {
        std::vector<ProfileInfo*> profiles;
        bool listed = ProfileInfo::load_profiles(profiles);
        for (ProfileInfo* profile : profiles) {
            std::printf("%s\t%s\n", profile->dir_title().c_str(), profile->caption().c_str());
            delete profile;
        }
        return listed ? kSuccess
                      : fail(kFailed, me, "cannot list " + ProfileInfo::PROFILES_ROOTDIR);
    }
    ProfileUtils::DotCurrentProfile current;
    if (!current.is_valid()) {
        return fail(kFailed, me, current.dotcurrent_path() + ": cannot be read");
    }
    if (current.dotcurrent_value().empty()) {
        return fail(kFailed, me, "no current profile");
    }
    std::printf("%s\t%s\n", current.dotcurrent_value().c_str(), current.caption().c_str());
    return kSuccess;
}

// ---- json

std::unique_ptr<JsonNode> load_json(const std::string& path, std::string& error) {
    std::string text;
    if (!read_regular_file(path, text, error)) {
        return nullptr;
    }
    std::unique_ptr<JsonNode> doc(JsonUtil::parse(text));
    if (!doc) {
        error = path + ": not valid JSON";
    }
    return doc;
}

// One line per message, "key: message"; the messages of array elements sit
// one level deeper, under the element's index, and print as "key[i]: message".
void print_messages(const std::string& where, const JsonNode* node) {
    if (const JsonArray* list = node->asArray()) {
        for (const JsonNode* message : *list) {
            std::printf("%s: %s\n", where.c_str(), message->getValue().c_str());
        }
    } else if (const JsonHash* hash = node->asObject()) {
        for (const auto& entry : *hash) {
            print_messages(where.empty() ? entry.first : where + "[" + entry.first + "]",
                           entry.second);
        }
    }
}

int run_json(const Args& args) {
    const std::string me = "json";
    if (args.empty() || (args[0] != "check" && args[0] != "get")) {
        return bad_use(me, "expected check or get");
    }
    const bool check = args[0] == "check";
    if (check ? (args.size() < 2 || args.size() > 3) : args.size() != 3) {
        return bad_use(me, check ? "check takes FILE [SCHEMA]" : "get takes FILE PATH");
    }
    std::string error;
    std::unique_ptr<JsonNode> doc = load_json(args[1], error);
    if (!doc) {
        return fail(kFailed, me, error);
    }
    if (!check) {
        const JsonNode* found = doc->dig(args[2]);
        if (!found) {
            return fail(kFailed, me, args[1] + ": nothing at " + args[2]);
        }
        const bool container = found->asObject() || found->asArray();
        std::printf("%s\n", (container ? found->toString() : found->getValue()).c_str());
        return kSuccess;
    }
    if (args.size() == 2) {
        return kSuccess;
    }
    std::unique_ptr<JsonNode> schema = load_json(args[2], error);
    if (!schema) {
        return fail(kFailed, me, error);
    }
    if (!schema->asArray()) {
        return fail(kFailed, me, args[2] + ": a schema is an array of rules");
    }
    if (!doc->asObject()) {
        return fail(kFailed, me, args[1] + ": not a JSON object");
    }
    JsonHash messages;
    if (!JsonValidator::validate(doc->asObject(), schema->asArray(), &messages)) {
        print_messages("", &messages);
        return kFailed;
    }
    return kSuccess;
}

// ---- cidr

int run_cidr(const Args& args) {
    const std::string me = "cidr";
    if (args.size() != 3 || args[0] != "contains") {
        return bad_use(me, "expected contains CIDR ADDRESS");
    }
    IPCidr cidr;
    try {
        cidr = IPCidr(args[1]);
    } catch (const std::exception&) {
        // The prefix length is read with std::stol, which raises on junk.
    }
    if (!cidr.isValid() || args[1].find('/') == std::string::npos) {
        return bad_use(me, "'" + args[1] + "' is not a CIDR prefix");
    }
    IPAddress address(args[2]);
    if (!address.isValid()) {
        return bad_use(me, "'" + args[2] + "' is not an IP address");
    }
    return cidr.includes(address) ? kSuccess : kFailed;
}

const Command kCommands[] = {
    {"config",
     "usage: qorbasic config get FILE KEY | set FILE KEY VALUE | list FILE\n"
     "  get   print the value of KEY; exit 1 when the file or the key is missing\n"
     "  set   set KEY to VALUE in place, under the file's lock, keeping comments;\n"
     "        a key or value that would not read back as written is refused\n"
     "  list  print every setting as key=value, sorted by key\n",
     run_config},
    {"profile",
     "usage: qorbasic profile list | current\n"
     "  list     print title<TAB>caption of every profile, sorted by caption\n"
     "           (duplicate and missing captions are made unique on disk first)\n"
     "  current  print title<TAB>caption of the current profile; exit 1 if none\n",
     run_profile},
    {"json",
     "usage: qorbasic json check FILE [SCHEMA] | get FILE PATH\n"
     "  check  parse FILE and, with SCHEMA, validate it; print one line per\n"
     "         message as key: message and exit 1 when any is found\n"
     "  get    print what PATH (e.g. /list[id=2]/v) finds first: a scalar as\n"
     "         text, an object or array as compact JSON; exit 1 if nothing\n",
     run_json},
    {"cidr",
     "usage: qorbasic cidr contains CIDR ADDRESS\n"
     "  exit 0 when ADDRESS lies in the prefix CIDR, 1 when it does not, 2 when\n"
     "  either text is not valid\n",
     run_cidr},
};

int usage(FILE* out) {
    std::fprintf(out,
                 "usage: qorbasic COMMAND ARGS...   (qorbasic COMMAND --help for more)\n"
                 "commands:");
    for (const Command& command : kCommands) {
        std::fprintf(out, " %s", command.name);
    }
    std::fprintf(out, "\nexit status: 0 success, 1 failed check, 2 bad use\n");
    return kSuccess;
}

}  // namespace

int main(int argc, char** argv) {
    Args args(argv + 1, argv + argc);
    if (args.empty()) {
        return bad_use("", "expected a command");
    }
    if (args[0] == "--help" || args[0] == "-h") {
        return usage(stdout);
    }
    for (const Command& command : kCommands) {
        if (args[0] != command.name) {
            continue;
        }
        args.erase(args.begin());
        for (const std::string& arg : args) {
            if (arg == "--help" || arg == "-h") {
                std::fputs(command.help, stdout);
                return kSuccess;
            }
        }
        return command.run(args);
    }
    return bad_use("", "unknown command '" + args[0] + "'");
}
