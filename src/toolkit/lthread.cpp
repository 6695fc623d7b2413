#include "toolkit/lthread.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>

#include "toolkit/log.h"

namespace vocarta {

LThread::LThread(std::string name) : name_(std::move(name)) {}

LThread::~LThread() {
    // A derived destructor should already have stopped the thread; joining here
    // keeps a forgotten Stop() from leaving a thread on freed memory for long.
    if (started_) Stop();
}

bool LThread::Start() {
    if (started_) {
        if (running_.load()) return false;
        Wait();
    }
    stopRequest_.Reset();
    finished_.Reset();
    running_.store(true);
    int err = pthread_create(&handle_, nullptr, &LThread::ThreadMain, this);
    if (err != 0) {
        running_.store(false);
        LogError("LThread::Start: pthread_create failed: %s", std::strerror(err));
        return false;
    }
    started_ = true;
    return true;
}

void* LThread::ThreadMain(void* arg) {
    auto* self = static_cast<LThread*>(arg);
    // Linux limits thread names to 15 characters.
    std::string shortName = self->name_.substr(0, 15);
    pthread_setname_np(pthread_self(), shortName.c_str());
    self->tid_.store(int(gettid()));
    self->Run();
    self->running_.store(false);
    self->finished_.Set();
    return nullptr;
}

void LThread::RequestStop() {
    stopRequest_.Set();
}

bool LThread::Wait(int timeoutMs) {
    if (!started_) return true;
    if (!finished_.Wait(timeoutMs)) return false;
    int err = pthread_join(handle_, nullptr);
    if (err != 0) LogError("LThread::Wait: pthread_join failed: %s", std::strerror(err));
    started_ = false;
    return true;
}

bool LThread::Stop(int timeoutMs) {
    RequestStop();
    return Wait(timeoutMs);
}

bool LThread::SetPriority(Priority priority) {
    if (!started_) return false;
    if (priority == Priority::TimeCritical) {
        sched_param param{};
        param.sched_priority = sched_get_priority_min(SCHED_FIFO);
        if (pthread_setschedparam(handle_, SCHED_FIFO, &param) == 0) return true;
        priority = Priority::High;  // not permitted for ordinary users
    }
    sched_param param{};
    int err = pthread_setschedparam(handle_, SCHED_OTHER, &param);
    if (err != 0) {
        LogError("LThread::SetPriority: pthread_setschedparam failed: %s", std::strerror(err));
        return false;
    }
    // Under SCHED_OTHER the nice value of the thread is what sets its share.
    int nice = priority == Priority::Low ? 10 : priority == Priority::High ? -5 : 0;
    int tid = tid_.load();
    if (tid == 0) return false;  // not yet running
    if (setpriority(PRIO_PROCESS, id_t(tid), nice) != 0) {
        if (priority != Priority::High) LogSystemFailure("LThread::SetPriority", "setpriority");
        return priority == Priority::High;  // raising needs privileges; not an error
    }
    return true;
}

}  // namespace vocarta
