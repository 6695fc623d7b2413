#include "app/qt_main_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <csignal>

#include "toolkit/log.h"

namespace vocarta {

namespace {
// Written by the signal handler, read on the main thread. One process-wide pair:
// signal dispositions are process-wide too.
int g_signalPipe[2] = {-1, -1};

void OnTerminationSignal(int signal) {
    int saved = errno;
    unsigned char number = static_cast<unsigned char>(signal);
    ssize_t ignored = write(g_signalPipe[1], &number, 1);
    (void)ignored;
    errno = saved;
}
}  // namespace

QtMainLoop::QtMainLoop() : context_(std::make_unique<QObject>()) {}

QtMainLoop::~QtMainLoop() {
    signalNotifier_.reset();
    for (auto& [id, timer] : timers_) timer->stop();
    timers_.clear();
    for (auto& [id, notifier] : watches_) notifier->setEnabled(false);
    watches_.clear();
}

void QtMainLoop::SetTimerHandler(TimerHandler handler) {
    handler_ = std::move(handler);
}

void QtMainLoop::StartTimer(int id, int periodMs) {
    QTimer*& timer = timers_[id];
    if (!timer) {
        timer = new QTimer(context_.get());
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer, &QTimer::timeout, context_.get(), [this, id] {
            if (handler_) handler_(id);
        });
    }
    timer->start(periodMs < 0 ? 0 : periodMs);
}

void QtMainLoop::KillTimer(int id) {
    auto it = timers_.find(id);
    if (it != timers_.end()) it->second->stop();
}

bool QtMainLoop::IsTimerRunning(int id) const {
    auto it = timers_.find(id);
    return it != timers_.end() && it->second->isActive();
}

void QtMainLoop::WatchReadable(int id, int fd) {
    UnwatchReadable(id);
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, context_.get());
    QObject::connect(notifier, &QSocketNotifier::activated, context_.get(), [this, id] {
        if (handler_) handler_(id);
    });
    watches_[id] = notifier;
}

void QtMainLoop::UnwatchReadable(int id) {
    auto it = watches_.find(id);
    if (it == watches_.end()) return;
    // The handler of this very notifier may be running: delete it once it is done.
    it->second->setEnabled(false);
    it->second->deleteLater();
    watches_.erase(it);
}

void QtMainLoop::Post(std::function<void()> call) {
    QMetaObject::invokeMethod(context_.get(), std::move(call), Qt::QueuedConnection);
}

void QtMainLoop::Quit(int status) {
    QCoreApplication::exit(status);
}

int QtMainLoop::Exec() {
    return QCoreApplication::exec();
}

bool QtMainLoop::WatchTerminationSignals(std::function<void(int)> onSignal) {
    onSignal_ = std::move(onSignal);
    if (g_signalPipe[0] < 0 && pipe2(g_signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        LogSystemFailure("QtMainLoop::WatchTerminationSignals", "pipe2");
        return false;
    }
    signalNotifier_ = std::make_unique<QSocketNotifier>(g_signalPipe[0], QSocketNotifier::Read);
    QObject::connect(signalNotifier_.get(), &QSocketNotifier::activated, context_.get(), [this] {
        unsigned char number = 0;
        while (read(g_signalPipe[0], &number, 1) == 1) {
            if (onSignal_) onSignal_(number);
        }
    });
    struct sigaction action {};
    action.sa_handler = &OnTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    // A closed terminal (SIGHUP) ends a headless recording like any other request
    // to stop: the file is finished first, never left with provisional sizes.
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigaction(signal, &action, nullptr) != 0) {
            LogSystemFailure("QtMainLoop::WatchTerminationSignals", "sigaction");
            return false;
        }
    }
    return true;
}

}  // namespace vocarta
