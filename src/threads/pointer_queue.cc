// SimplePointerQueue: a first-in-first-out queue of pointers in fixed pages.
#include <new>

#include "qorbasic/log.h"
#include "qorbasic/queues.h"

using PQPAGE = SimplePointerQueue::PQPAGE;

PQPAGE::PQPAGE() : first(0), count(0), next(nullptr) {}

PQPAGE::~PQPAGE() {
    first = 0;
    count = 0;
    next = nullptr;
}

bool PQPAGE::insert(void* item) {
    if (item == nullptr) return false;
    if (count == 0) {
        first = 0;
        slots[0] = item;
        count = 1;
        return true;
    }
    // Entries never wrap around: a page whose last slot is used is full.
    if (first + count >= SLOTS) return false;
    slots[first + count] = item;
    ++count;
    return true;
}

SimplePointerQueue::SimplePointerQueue() : head_(nullptr), tail_(nullptr), spare_(nullptr) {}

SimplePointerQueue::~SimplePointerQueue() {
    // The entries belong to the callers; only the pages are ours.
    while (head_ != nullptr) {
        PQPAGE* page = head_;
        head_ = page->next;
        delete page;
    }
    delete spare_;
}

void SimplePointerQueue::lock() {
    mutex_.lock();
}

void SimplePointerQueue::unlock() {
    mutex_.unlock();
}

bool SimplePointerQueue::insert(void* item, ScopedLock&) {
    if (item == nullptr) return false;
    if (tail_ != nullptr && tail_->insert(item)) return true;
    if (tail_ == nullptr && head_ != nullptr) {
        invokeAssertFailure(__FILE__, __LINE__, "internal linked-list error");
        // A handler that returns lets the insert go on: the new page starts
        // a fresh list, and the broken one is left alone, as walking it to
        // free it may be what crashes.
    }
    if (spare_ == nullptr) {
        spare_ = new (std::nothrow) PQPAGE;
        if (spare_ == nullptr) return false;
    }
    if (tail_ != nullptr) {
        tail_->next = spare_;
    } else {
        head_ = spare_;
    }
    tail_ = spare_;
    spare_ = nullptr;
    return tail_->insert(item);
}

void* SimplePointerQueue::extract(ScopedLock&) {
    while (head_ != nullptr) {
        if (head_->count > 0) {
            --head_->count;
            return head_->slots[head_->first++];
        }
        // The head page is used up; it leaves the list only now, so that an
        // insert right after the last extract can reuse it in place.
        PQPAGE* used = head_;
        head_ = used->next;
        used->next = nullptr;
        if (spare_ == nullptr) {
            spare_ = used;
        } else {
            delete used;
        }
        if (head_ == nullptr) tail_ = nullptr;
    }
    return nullptr;
}

bool SimplePointerQueue::has_data(ScopedLock&) const {
    for (const PQPAGE* page = head_; page != nullptr; page = page->next) {
        if (page->count > 0) return true;
    }
    return false;
}

int SimplePointerQueue::bulk_insert(void** items, int n, ScopedLock& held) {
    for (int i = 0; i < n; ++i) {
        if (items[i] == nullptr) continue;
        if (!insert(items[i], held)) return i;
        items[i] = nullptr;
    }
    return n;
}

int SimplePointerQueue::bulk_extract(void** out, int n, ScopedLock& held) {
    for (int i = 0; i < n; ++i) out[i] = extract(held);
    return n;
}
