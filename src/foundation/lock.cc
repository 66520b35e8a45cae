// PortableMutex and ScopedLock.
#include "qorbasic/lock.h"

Lockable::~Lockable() = default;

BasicMutex::BasicMutex() = default;
BasicMutex::~BasicMutex() = default;
void BasicMutex::lock() {
    mutex_.lock();
}
void BasicMutex::unlock() {
    mutex_.unlock();
}

PortableMutex::PortableMutex() : held_(new BasicMutex) {}

PortableMutex::~PortableMutex() {
    delete held_;
    held_ = nullptr;
}

void PortableMutex::lock() {
    held_->lock();
}
void PortableMutex::unlock() {
    held_->unlock();
}

ScopedLock::ScopedLock(Lockable& lockable) : held_(&lockable) {
    held_->lock();
}
ScopedLock::~ScopedLock() {
    held_->unlock();
}
