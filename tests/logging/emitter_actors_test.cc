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

#include "logging/actor_test_support.h"
#include "logging/log_test_support.h"
#include "qorbasic/actors.h"

using qortest::TestContext;

namespace {

BasicLog::Emitter* emitter_of(qrsvc::Actor& actor) {
    return dynamic_cast<BasicLog::Emitter*>(actor.findInterface("log_emitter"));
}

}  // namespace

TEST(EmitterFactoryTest, MakesEveryClassByItsExactNameAndNothingElse) {
    const struct {
        const char* class_name;
        const char* emitter_type;  // null: no actor
    } rows[] = {
        {"null_emitter", "NullEmitter"},
        {"stdout_emitter", "StdoutEmitter"},
        {"stderr_emitter", "StderrEmitter"},
        {"syslog_emitter", "SyslogEmitter"},
        {"file_emitter", "RotatedFileEmitter"},
        {"Null_Emitter", nullptr},
        {"file_emitter ", nullptr},
        {"", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.class_name);
        TestContext context("out", row.class_name);
        qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
        if (row.emitter_type == nullptr) {
            EXPECT_EQ(actor, nullptr);
            continue;
        }
        ASSERT_NE(actor, nullptr);
        BasicLog::Emitter* emitter = emitter_of(*actor);
        ASSERT_NE(emitter, nullptr);
        EXPECT_STREQ(emitter->emitter_type(), row.emitter_type);
        EXPECT_EQ(actor->findInterface("Log_Emitter"), nullptr);
        EXPECT_EQ(actor->configReference("log_emitter", actor), qrsvc::CONFIG_UNKNOWN);
        // The lifecycle of every class: one check completes a stopping actor.
        EXPECT_TRUE(actor->asyncStartup());
        actor->asyncShutdown();
        EXPECT_TRUE(actor->asyncIsComplete());
        // The log owns what it is given: deleting the Emitter frees the actor.
        delete emitter;
    }
    StringVector classes;
    classes.append("a");
    classes.append("b");
    BasicLog::emitter_factory().reportClasses(classes);
    ASSERT_EQ(classes.size(), 7);
    EXPECT_EQ(classes.fetch(2), "null_emitter");
    EXPECT_EQ(classes.fetch(6), "file_emitter");
}

TEST(EmitterActorTest, PropertiesAreKnownByExactNameAndSyslogNeedsBoth) {
    const struct {
        const char* class_name;
        const char* property;
        int code;
    } rows[] = {
        {"null_emitter", "Interval", qrsvc::CONFIG_UNKNOWN},
        {"stdout_emitter", "interval", qrsvc::CONFIG_UNKNOWN},
        {"syslog_emitter", "subsystem", qrsvc::CONFIG_ACCEPTED},
        {"syslog_emitter", "category", qrsvc::CONFIG_ACCEPTED},
        {"syslog_emitter", "Category", qrsvc::CONFIG_UNKNOWN},
        {"file_emitter", "interval", qrsvc::CONFIG_ACCEPTED},
        {"file_emitter", "prefix", qrsvc::CONFIG_ACCEPTED},
        {"file_emitter", "dir", qrsvc::CONFIG_ACCEPTED},
        {"file_emitter", "Dir", qrsvc::CONFIG_UNKNOWN},
    };
    for (const auto& row : rows) {
        TestContext context("x", row.class_name);
        std::unique_ptr<qrsvc::Actor> actor(BasicLog::emitter_factory().makeActor(context));
        EXPECT_EQ(actor->configProperty(row.property, "1 hour"), row.code)
            << row.class_name << " " << row.property;
    }

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
    EXPECT_THAT(lines, testing::ElementsAre(
                           testing::EndsWith("required config field not present: actor=syslog-out "
                                             "field=subsystem"),
                           testing::EndsWith("field=category")));

    const struct {
        const char* interval;
        bool ok;
    } intervals[] = {{nullptr, true}, {"1 ms", true}, {"0 ms", false}, {"10", false}};
    for (const auto& row : intervals) {
        TestContext file_context("f", "file_emitter");
        std::unique_ptr<qrsvc::Actor> file(BasicLog::emitter_factory().makeActor(file_context));
        if (row.interval != nullptr) file->configProperty("interval", row.interval);
        EXPECT_EQ(file->verifyConfig(), row.ok) << row.interval;
        // Started anyway, an actor that can't divide by its interval fails.
        EXPECT_EQ(file->asyncStartup(), row.ok) << row.interval;
    }
}

// actorName asks the context each time; the task keeps its first name.
TEST(EmitterActorTest, ActorNameFollowsTheContext) {
    TestContext context("first", "null_emitter");
    std::unique_ptr<qrsvc::Actor> actor(BasicLog::emitter_factory().makeActor(context));
    context.name_ = "second";
    EXPECT_EQ(actor->actorName(), "second");
    EXPECT_EQ(actor->asyncName(), "first");
}

// The console actors escape the joined line; stdout is left unflushed, so
// the child's exit flushes it.
TEST(EmitterActorTest, ConsoleActorsWriteOneEscapedLine) {
    qortest::ChildResult child = qortest::run_in_child([] {
        dup2(2, 1);
        for (const char* class_name : {"stderr_emitter", "stdout_emitter", "null_emitter"}) {
            TestContext context("c", class_name);
            qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
            emitter_of(*actor)->send_one_line(QOR_LOGLEVEL_INFO, "[H]",
                                              std::string("a\tb\n\xc3\xa9") + class_name);
            delete actor;
        }
        std::exit(0);
    });
    EXPECT_EQ(child.err, "[H] a b ??stderr_emitter\n[H] a b ??stdout_emitter\n");
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
        bool complete = actor->asyncIsComplete();
        delete actor;
        char datagram[512];
        ssize_t n;
        while ((n = recv(sock, datagram, sizeof datagram - 1, 0)) > 0) {
            datagram[n] = '\0';
            std::fprintf(stderr, "%s|\n", datagram);
        }
        std::fprintf(stderr, "complete=%d\n", complete);
    });
    if (child.exited_with(77)) GTEST_SKIP() << "no private mount namespace here";
    ASSERT_TRUE(child.exited_with(0)) << child.err;
    // "<priority>timestamp ident: text", priority = LOG_USER (8) + level.
    EXPECT_THAT(child.err, testing::MatchesRegex("<14>.* <appname unavailable>: flat text\\|\n"
                                                 "<12>.* svc: net work \\[WARNING t\\] x y\\|\n"
                                                 "complete=1\n"));
}
