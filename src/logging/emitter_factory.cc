// EmitterFactory: the emitter actors made by class name.
#include "logging/emitter_actors.h"
#include "logging/rotated_file_emitter.h"

namespace {

template <typename T>
qrsvc::Actor* make(qrsvc::ActorContext& context) {
    return new T(context);
}

const struct {
    const char* class_name;
    qrsvc::Actor* (*make)(qrsvc::ActorContext&);
} kClasses[] = {
    {"null_emitter", &make<NullEmitterActor>},        {"stdout_emitter", &make<StdoutEmitterActor>},
    {"stderr_emitter", &make<StderrEmitterActor>},    {"syslog_emitter", &make<SyslogEmitterActor>},
    {"file_emitter", &make<RotatedFileEmitterActor>},
};

class EmitterFactory : public qrsvc::ActorFactory {
  public:
    qrsvc::Actor* makeActor(qrsvc::ActorContext& context) override {
        for (const auto& entry : kClasses) {
            if (cased_equals(context.className(), entry.class_name)) return entry.make(context);
        }
        return nullptr;
    }
    void reportClasses(StringVector& out) override {
        for (const auto& entry : kClasses) out.append(entry.class_name);
    }
};

}  // namespace

namespace BasicLog {

qrsvc::ActorFactory& emitter_factory() {
    static EmitterFactory factory;
    return factory;
}

}  // namespace BasicLog
