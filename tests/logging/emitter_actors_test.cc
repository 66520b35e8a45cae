// The emitter actors that a host makes by class name: console, system log
// and file emitters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/actors.h"

using qortest::TestContext;

namespace {

BasicLog::Emitter* emitter_of(qrsvc::Actor& actor) {
    return dynamic_cast<BasicLog::Emitter*>(actor.findInterface("log_emitter"));
}

}  // namespace

// Each reported class is made by its exact name, with its own properties,
// the interface "log_emitter" and the lifecycle of an actor that stops at
// once. The log owns what it is given: deleting the Emitter frees the actor.
TEST(EmitterFactoryTest, MakesEveryReportedClassWithItsPropertiesAndNothingElse) {
    const struct {
        const char *class_name, *emitter_type;
        std::vector<const char*> properties;
    } rows[] = {
        // clang-format off
        {"null_emitter", "NullEmitter", {}}, {"stdout_emitter", "StdoutEmitter", {}},
        {"stderr_emitter", "StderrEmitter", {}},
        {"syslog_emitter", "SyslogEmitter", {"subsystem", "category"}},
        {"file_emitter", "RotatedFileEmitter", {"interval", "prefix", "dir"}},
        // clang-format on
    };
    StringVector classes;
    classes.append("kept");
    BasicLog::emitter_factory().reportClasses(classes);
    ASSERT_EQ(classes.size(), 6);
    for (int i = 0; i < 5; ++i) {
        const auto& row = rows[i];
        EXPECT_EQ(classes.fetch(i + 1), row.class_name);
        TestContext context("first", row.class_name);
        qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
        ASSERT_TRUE(actor != nullptr && emitter_of(*actor) != nullptr) << row.class_name;
        EXPECT_STREQ(emitter_of(*actor)->emitter_type(), row.emitter_type);
        for (const char* name : row.properties) {
            EXPECT_EQ(actor->configProperty(name, "1 hour"), qrsvc::CONFIG_ACCEPTED) << name;
        }
        for (const char* name : {"Interval", "Subsystem", "Dir", "x"}) {
            EXPECT_EQ(actor->configProperty(name, "1"), qrsvc::CONFIG_UNKNOWN) << name;
        }
        EXPECT_TRUE(actor->asyncStartup());
        actor->asyncShutdown();
        EXPECT_TRUE(actor->asyncIsComplete());
        delete emitter_of(*actor);
    }
    TestContext unknown("x", "Null_Emitter");
    EXPECT_EQ(BasicLog::emitter_factory().makeActor(unknown), nullptr);
}

// The system log actor names the first missing field; the file emitter
// wants an interval of at least 1 ms, and won't start without one.
TEST(EmitterActorTest, VerifyConfigNamesWhatIsMissingOrOutOfRange) {
    std::vector<std::string> lines;
    BasicLog::add_early_emitter(new qortest::CapturingEmitter(&lines));
    TestContext context("syslog-out", "syslog_emitter");
    std::unique_ptr<qrsvc::Actor> actor(BasicLog::emitter_factory().makeActor(context));
    EXPECT_FALSE(actor->verifyConfig());
    actor->configProperty("subsystem", "s");
    EXPECT_FALSE(actor->verifyConfig());
    actor->configProperty("category", "c");
    EXPECT_TRUE(actor->verifyConfig());
    BasicLog::add_early_emitter(new BasicLog::StderrEmitter);
    EXPECT_THAT(lines, testing::ElementsAre(testing::EndsWith("required config field not present: "
                                                              "actor=syslog-out field=subsystem"),
                                            testing::EndsWith("field=category")));

    TestContext file_context("f", "file_emitter");
    std::unique_ptr<qrsvc::Actor> file(BasicLog::emitter_factory().makeActor(file_context));
    file->configProperty("interval", "0 ms");
    EXPECT_FALSE(file->verifyConfig() || file->asyncStartup());
}

// The line writers flush each line (an unflushed one would come out last, at
// exit); the console actors escape the joined line and leave stdout
// unflushed.
TEST(EmitterActorTest, ConsoleWritersAndActorsWriteOneLineEach) {
    qortest::ChildResult child = qortest::run_in_child([] {
        dup2(2, 1);
        BasicLog::stdout_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "out");
        BasicLog::null_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "none");
        BasicLog::stderr_emitter(QOR_LOGLEVEL_INFO, "[INFO t]", "err");
        for (const char* class_name : {"stderr_emitter", "stdout_emitter", "null_emitter"}) {
            TestContext context("c", class_name);
            qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
            emitter_of(*actor)->send_one_line(QOR_LOGLEVEL_INFO, "[H]",
                                              std::string("a\tb\n\xc3\xa9") + class_name);
            delete actor;
        }
        std::exit(0);
    });
    EXPECT_EQ(child.err,
              "[INFO t] out\n[INFO t] err\n[H] a b ??stderr_emitter\n[H] a b ??stdout_emitter\n");
}

// The system log is a datagram socket at /dev/log; the child puts its own
// there, in a private mount namespace over a fresh /dev.
TEST(SyslogTest, ActorAndFlatFunctionsReachTheSystemLog) {
    qortest::ChildResult child = qortest::run_in_child([] {
        set_default_loglevel(QOR_LOGLEVEL_WARN);
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", "/dev", "tmpfs", 0, "size=64k") != 0) {
            _exit(77);
        }
        int sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        if (bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(78);

        qor_syslog_impl* flat = qor_syslog_open(nullptr);
        qor_syslog_send(flat, QOR_LOGLEVEL_DEFAULT, "flat text");
        qor_syslog_send(flat, QOR_LOGLEVEL_ERROR, "");
        qor_syslog_send(nullptr, QOR_LOGLEVEL_ERROR, "lost");
        qor_syslog_close(flat);
        qor_syslog_close(nullptr);

        TestContext context("sys", "syslog_emitter");
        qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
        actor->configProperty("subsystem", "svc");
        actor->configProperty("category", "net\nwork");
        actor->asyncStartup();
        emitter_of(*actor)->send_one_line(QOR_LOGLEVEL_WARN, "[WARNING t]", "x\ty");
        actor->asyncShutdown();
        std::fprintf(stderr, "complete=%d\n", actor->asyncIsComplete());
        delete actor;
        char datagram[512];
        for (ssize_t n; (n = recv(sock, datagram, sizeof datagram - 1, 0)) > 0;) {
            std::fprintf(stderr, "%.*s|\n", static_cast<int>(n), datagram);
        }
    });
    if (child.exited_with(77)) GTEST_SKIP() << "no private mount namespace here";
    ASSERT_TRUE(child.exited_with(0)) << child.err;
    // "<priority>timestamp ident: text", priority = LOG_USER (8) + level.
    EXPECT_THAT(child.err, testing::MatchesRegex("complete=1\n"
                                                 "<14>.* <appname unavailable>: flat text\\|\n"
                                                 "<12>.* svc: net work \\[WARNING t\\] x y\\|\n"));
}
