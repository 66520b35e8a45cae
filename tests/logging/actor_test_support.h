// A host's context for the actor tests: a name and a class name.
#ifndef QORBASIC_TESTS_LOGGING_ACTOR_TEST_SUPPORT_H
#define QORBASIC_TESTS_LOGGING_ACTOR_TEST_SUPPORT_H

#include <string>

#include "qorbasic/actors.h"

namespace qortest {

class TestContext : public qrsvc::ActorContext {
  public:
    TestContext(const char* name, const char* class_name) : name_(name), class_(class_name) {}
    const std::string& name() const override { return name_; }
    const std::string& className() const override { return class_; }
    std::string name_, class_;
};

}  // namespace qortest

#endif  // QORBASIC_TESTS_LOGGING_ACTOR_TEST_SUPPORT_H
