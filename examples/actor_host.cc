// A small host of actors: it reads its log outputs from a settings file,
// makes each one by class name, configures and starts it, logs through all
// of them, and stops them again.
//
//   qorbasic_actor_host [settings-file]
#include <qorbasic/qorbasic.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

// What the host tells each actor about itself.
class HostContext : public qrsvc::ActorContext {
  public:
    HostContext(std::string name, std::string class_name)
        : name_(std::move(name)), class_(std::move(class_name)) {}
    const std::string& name() const override { return name_; }
    const std::string& className() const override { return class_; }

  private:
    std::string name_, class_;
};

struct Section {
    std::string name;
    std::string class_name;
    std::vector<std::pair<std::string, std::string>> properties;
};

// "[name]" opens a section; "key = value" lines fill it; "#" starts a comment.
std::vector<Section> read_settings(const char* path) {
    std::vector<Section> sections;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        string_trim(line);
        if (line.empty() || line[0] == '#') continue;
        if (line.front() == '[' && line.back() == ']') {
            sections.push_back({line.substr(1, line.size() - 2), "", {}});
            continue;
        }
        size_t equals = line.find('=');
        if (sections.empty() || equals == std::string::npos) continue;
        std::string key = line.substr(0, equals), value = line.substr(equals + 1);
        string_trim(key);
        string_trim(value);
        if (key == "class") {
            sections.back().class_name = value;
        } else {
            sections.back().properties.emplace_back(key, value);
        }
    }
    return sections;
}

// The log has one emitter in direct mode; this one hands each message to
// every started actor. It doesn't own them: the host does.
class FanOut : public BasicLog::Emitter {
  public:
    explicit FanOut(std::vector<BasicLog::Emitter*> outputs) : outputs_(std::move(outputs)) {}
    void processMessage(const BasicLog::LogMessage& message) override {
        for (BasicLog::Emitter* output : outputs_) output->processMessage(message);
    }
    void send_one_line(const qor_loglevel_impl*, const std::string&, const std::string&) override {}
    const char* emitter_type() const override { return "FanOut"; }

  private:
    std::vector<BasicLog::Emitter*> outputs_;
};

void log_line(const char* text, const char* name, QRSTR const& value) {
    static BasicLog::Source* log = BasicLog::make_logsource_instance(__FILE__);
    if (!log->would_send(QOR_LOGLEVEL_INFO)) return;
    BasicLog::LogMessageBuilder(log->receiver(), log->name().c_str(), QOR_LOGLEVEL_INFO, text,
                                __FILE__, __func__)
        .add(name, value);
}

}  // namespace

int main(int argc, char** argv) {
    const char* settings = argc > 1 ? argv[1] : "actor_host.conf";
    std::vector<std::unique_ptr<HostContext>> contexts;
    std::vector<std::unique_ptr<qrsvc::Actor>> actors;
    std::vector<BasicLog::Emitter*> outputs;
    for (const Section& section : read_settings(settings)) {
        contexts.emplace_back(new HostContext(section.name, section.class_name));
        std::unique_ptr<qrsvc::Actor> actor(
            BasicLog::emitter_factory().makeActor(*contexts.back()));
        if (!actor) {
            log_line("unknown actor class", "class", section.class_name);
            continue;
        }
        for (const auto& [key, value] : section.properties) {
            if (actor->configProperty(key.c_str(), value.c_str()) != qrsvc::CONFIG_ACCEPTED) {
                log_line("unknown property", "property", key);
            }
        }
        if (!actor->verifyConfig() || !actor->asyncStartup()) continue;
        outputs.push_back(dynamic_cast<BasicLog::Emitter*>(actor->findInterface("log_emitter")));
        actors.push_back(std::move(actor));
    }
    BasicLog::add_early_emitter(new FanOut(outputs));

    log_line("host started", "actors", static_cast<int>(actors.size()));
    for (const auto& actor : actors) {
        auto* file =
            dynamic_cast<BasicLog::FileEmitterInterface*>(actor->findInterface("logfile_emitter"));
        if (file == nullptr) continue;
        std::string name;
        file->getCurrentFilename(name);
        log_line("writing history", "file", name);
    }
    log_line("host stopping", "settings", settings);

    // Back to plain standard error before the actors go: the log deletes
    // the fan-out it owns, not the actors behind it.
    BasicLog::add_early_emitter(new BasicLog::StderrEmitter);
    for (const auto& actor : actors) actor->asyncShutdown();
    for (const auto& actor : actors) {
        while (!actor->asyncIsComplete()) thread_nap(10000);
    }
    return 0;
}
