// AsyncTask: the start, stop and complete lifecycle of a task.
#include "logging/library_log.h"
#include "qorbasic/tasks.h"

AsyncTask::AsyncTask(QRSTR const& name) : state_(ASYNC_CREATED), name_(name.ptr(), name.length()) {}

AsyncTask::~AsyncTask() = default;

// The log call comes before the mutex, so the log path never runs under a
// task's lock.
bool AsyncTask::asyncStartup() {
    QOR_LOG(QOR_LOGLEVEL_INFO, "AsyncTask starting up").add("task", name_);
    ScopedLock hold(mutex_);
    if (state_ == ASYNC_CREATED && implAsyncStartup(hold)) {
        state_ = ASYNC_RUNNING;
        return true;
    }
    state_ = ASYNC_FAILED;
    return false;
}

void AsyncTask::asyncShutdown() {
    QOR_LOG(QOR_LOGLEVEL_INFO, "AsyncTask beginning shutdown").add("task", name_);
    ScopedLock hold(mutex_);
    if (state_ == ASYNC_CREATED) {
        state_ = ASYNC_COMPLETE;
    } else if (state_ == ASYNC_RUNNING) {
        state_ = ASYNC_STOPPING;
        implAsyncShutdown(hold);
    }
}

bool AsyncTask::asyncIsComplete() {
    ScopedLock hold(mutex_);
    if (state_ == ASYNC_STOPPING) implAsyncCheckComplete(hold);
    return state_ == ASYNC_COMPLETE || state_ == ASYNC_FAILED;
}

void AsyncTask::setAsyncState(STATE state, ScopedLock&) {
    state_ = state;
}

bool AsyncTask::verifyState(STATE state, ScopedLock&) const {
    return state_ == state;
}
