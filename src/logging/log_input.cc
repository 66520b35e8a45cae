// The input side: the registry of sources and the taker of every finished
// message, the process-wide holder of both, and the calls that reach it.
#include <memory>
#include <new>

#include "logging/library_log.h"
#include "logging/log_path.h"
#include "logging/messages.h"
#include "qorbasic/log.h"

namespace {

const char* const kSuffixes[] = {".c", ".cc", ".cpp", ".cxx", ".m", ".h", ".hpp", ".hxx"};

// "src/ToolBox.cpp" -> "ToolBox": the base name, with each known suffix cut
// once, in table order, when the name is longer than the suffix.
std::string source_name(const char* name) {
    if (name == nullptr || *name == '\0') return "<anonymous logger>";
    std::string base(name);
    size_t slash = base.rfind('/');
    if (slash != std::string::npos) base.erase(0, slash + 1);
    for (const char* suffix : kSuffixes) {
        size_t n = std::char_traits<char>::length(suffix);
        if (base.size() > n && base.compare(base.size() - n, n, suffix) == 0) {
            base.erase(base.size() - n);
        }
    }
    return base;
}

// The input-side lock: holds the LogInput mutex and marks the thread as on
// the log path for the same time.
class InputLock {
  public:
    explicit InputLock(PortableMutex& mutex) : hold_(mutex) {}
    ScopedLock& proof() { return hold_; }

  private:
    ScopedLock hold_;
    qor::detail::LogPathMark mark_;
};

}  // namespace

LogInput::LogInput(const qor_loglevel_impl* level) : LogInput(nullptr, false, level) {}

LogInput::LogInput(TypedWorkQueue<const BasicLog::LogMessage>& queue, bool use_queue,
                   const qor_loglevel_impl* level)
    : LogInput(&queue, use_queue, level) {}

LogInput::LogInput(TypedWorkQueue<const BasicLog::LogMessage>* queue, bool use_queue,
                   const qor_loglevel_impl* level)
    : queue_(queue),
      use_queue_(use_queue && queue != nullptr),
      default_level_(loglevel_is_valid(level) ? level : QOR_LOGLEVEL_INFO),
      early_emitter_(new BasicLog::StderrEmitter) {
    using namespace BasicLog;
    for (const char* name :
         {LOGGERNAME_DAEMON, LOGGERNAME_VEXCTL, LOGGERNAME_PLUGIN, LOGGERNAME_VEXCORE,
          LOGGERNAME_BASICLIB, LOGGERNAME_LOOM2, LOGGERNAME_KELCOMMON, LOGGERNAME_TABAPP,
          LOGGERNAME_LOOMCLIENT, LOGGERNAME_LOOMSERVER, LOGGERNAME_TEST, LOGGERNAME_OTHER}) {
        make_source(name);
    }
}

// The process-wide input side is never destroyed (see LoggerGlobals), so this
// runs only for inputs that a client made itself. Their sources point back at
// this object and can't outlive it, so they go with it.
LogInput::~LogInput() {
    for (BasicLog::Source* source : sources_) delete source;
    delete early_emitter_;
}

// A message from a thread that is already on the log path (inside an emitter,
// or holding this mutex) is dropped: taking the mutex again would wait for
// the thread itself.
void LogInput::processMessage(BasicLog::LogMessage* message) {
    std::unique_ptr<BasicLog::LogMessage, qor::detail::MessageDisposal> owned(message);
    if (!owned) return;
    qor::detail::LogPathMark mark;
    if (mark.nested()) return;
    ScopedLock hold(mutex_);
    handled_any_ = true;
    if (early_emitter_ != nullptr) {
        try {
            early_emitter_->processMessage(*owned);
        } catch (...) {
            // A lost line is never reported to the code that logs.
        }
    }
    // In queued mode the queue owns the message once it took it; one that
    // it refuses (out of memory) is lost here, silently.
    if (use_queue_ && queue_->insert(owned.get())) {
        static_cast<void>(owned.release());  // the queue owns it now
        if (wake_ != nullptr) wake_->wake();
    }
}

bool LogInput::switch_to_queue(LogOutput* output) {
    InputLock hold(mutex_);
    if (!use_queue_ && (handled_any_ || queue_ == nullptr)) return false;
    use_queue_ = true;
    wake_ = output;
    return true;
}

BasicLog::Source* LogInput::make_source(const char* name) {
    std::string normalised = source_name(name);
    InputLock hold(mutex_);
    int found = find_source(normalised.c_str(), hold.proof());
    if (found >= 0) return sources_[found];
    BasicLog::Source* created = nullptr;
    try {
        created = new BasicLog::Source(*this, normalised.c_str(), default_level_);
        sources_.push_back(created);
    } catch (...) {
        delete created;
        invokeAssertFailure(__FILE__, __LINE__, "failed to create a logger object");
        return nullptr;
    }
    return created;
}

BasicLog::Source* LogInput::find_source(const char* name) {
    InputLock hold(mutex_);
    int found = find_source(name, hold.proof());
    return found >= 0 ? sources_[found] : nullptr;
}

int LogInput::find_source(const char* name, ScopedLock&) {
    for (size_t i = 0; i < sources_.size(); ++i) {
        if (cased_equals(sources_[i]->name(), name)) return static_cast<int>(i);
    }
    return -1;
}

void LogInput::list_sources(StringVector& out) {
    InputLock hold(mutex_);
    for (BasicLog::Source* source : sources_) out.append(source->name());
}

// The emitter already installed is left alone: replacing it by itself would
// delete it. The replaced one is deleted after the lock is released; no
// other thread can still be in it, since emission holds the lock.
void LogInput::add_emitter(BasicLog::Emitter* emitter) {
    if (emitter == nullptr) return;
    BasicLog::Emitter* replaced = nullptr;
    {
        InputLock hold(mutex_);
        if (emitter == early_emitter_) return;
        replaced = early_emitter_;
        early_emitter_ = emitter;
    }
    delete replaced;
}

void LogInput::setLogLevel(const qor_loglevel_impl* level) {
    if (!loglevel_is_valid(level)) level = QOR_LOGLEVEL_INFO;
    InputLock hold(mutex_);
    default_level_ = level;
    for (BasicLog::Source* source : sources_) source->set_default_level(level);
}

const qor_loglevel_impl* LogInput::getLogLevel() const {
    InputLock hold(mutex_);
    return default_level_;
}

LoggerGlobals::LoggerGlobals()
    : use_queue_(false), input_(queue_, false, QOR_LOGLEVEL_INFO), output_(queue_, false) {
    qor::detail::remember_library_source(input_.find_source(BasicLog::LOGGERNAME_BASICLIB));
}

// Built on first use, in static storage, and never destroyed: log calls from
// exit handlers and from destructors of other statics that run after this
// one's would otherwise reach a dead object. The sources and the early
// emitter are never freed either, so nothing is lost by keeping it.
LoggerGlobals& LoggerGlobals::instance() {
    alignas(LoggerGlobals) static unsigned char storage[sizeof(LoggerGlobals)];
    static LoggerGlobals* globals = new (storage) LoggerGlobals();
    return *globals;
}

LogInput* LoggerGlobals::input_side() {
    return &input_;
}

LogOutput* LoggerGlobals::output_side() {
    return &output_;
}

void set_default_loglevel(const qor_loglevel_impl* level) {
    LoggerGlobals::instance().input_side()->setLogLevel(level);
}

const qor_loglevel_impl* get_default_loglevel() {
    return LoggerGlobals::instance().input_side()->getLogLevel();
}

namespace BasicLog {

Source* make_logsource_instance(const char* name) {
    return LoggerGlobals::instance().input_side()->make_source(name);
}

Source* find_logsource(const char* name) {
    return LoggerGlobals::instance().input_side()->find_source(name);
}

void logsource_instance_list(StringVector& out) {
    LoggerGlobals::instance().input_side()->list_sources(out);
}

void add_early_emitter(Emitter* emitter) {
    if (emitter == nullptr) return;
    LoggerGlobals::instance().input_side()->add_emitter(emitter);
}

}  // namespace BasicLog
