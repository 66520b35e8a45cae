// The actor base classes: Actor, ActorContext, ActorFactory.
#include "qorbasic/actors.h"

namespace {

// The liveness tag: readable in a core dump, it tells a live actor from
// one whose destructor has run.
constexpr std::uint32_t kAlive = 0x24689753;
constexpr std::uint32_t kDead = 0xBADBAD;

}  // namespace

namespace qrsvc {

ActorContext::~ActorContext() = default;

ActorFactory::~ActorFactory() = default;

Actor::Actor(ActorContext& context)
    : AsyncTask(context.name()), liveness_(kAlive), context_(&context) {}

// Written through a volatile lvalue, so the store to a dying object is not
// optimised away.
Actor::~Actor() {
    *static_cast<volatile std::uint32_t*>(&liveness_) = kDead;
}

const std::string& Actor::actorName() const {
    return context_->name();
}

void Actor::implAsyncShutdown(ScopedLock&) {}

void Actor::implAsyncCheckComplete(ScopedLock& lock) {
    if (verifyState(ASYNC_STOPPING, lock)) setAsyncState(ASYNC_COMPLETE, lock);
}

}  // namespace qrsvc

namespace BasicLog {

FileEmitterInterface::~FileEmitterInterface() = default;

}  // namespace BasicLog
