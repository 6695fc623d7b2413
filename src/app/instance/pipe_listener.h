#pragma once
// The listening side of the single running copy. LPipeListener (thread
// "LPipeListener") accepts connections on the instance socket; each connection
// gets its own thread, which reads one command-line record and hands a copy to
// the main thread. Nothing here touches the main window.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "toolkit/llock_object.h"
#include "toolkit/log.h"
#include "toolkit/lthread.h"

namespace vocarta {

// True when the peer of a connected Unix socket runs as this process's user.
bool PeerIsSameUser(int fd, unsigned* peerUid = nullptr);

class LPipeListener : public LThread {
  public:
    LPipeListener();
    ~LPipeListener() override;

    // Takes over a bound, listening, non-blocking socket (closed by the listener).
    // Owner's thread, before Start().
    void Adopt(int listenFd);
    int ListenDescriptor() const { return listenFd_; }

  protected:
    // Polls the socket and the stop request; accepts until asked to stop.
    void Run() override;
    // Listener thread: a new connection from this user, non-blocking and
    // close-on-exec. The callee owns `fd`.
    virtual void OnConnection(int fd) = 0;

  private:
    bool AcceptOne();
    int listenFd_ = -1;
};

// The per-connection thread of the running copy's main window.
class LMainWindowPipeListenerThread final : public LThread {
  public:
    // Called on the connection thread with the arguments of an accepted record;
    // it must hand them to the main thread (LMainLoop::Post).
    using Context = std::function<void(std::shared_ptr<const std::vector<std::string>>)>;

    // Owns `fd`.
    LMainWindowPipeListenerThread(int fd, const Context& deliver);
    ~LMainWindowPipeListenerThread() override;

  protected:
    void Run() override;

  private:
    int fd_;
    Context deliver_;
};

// How long a connection may take to deliver its record.
inline constexpr int kRecordReadLimitMs = 10000;
// Connections served at once; more are refused until some have finished.
inline constexpr std::size_t kMaxConnectionThreads = 32;

// Reads exactly `size` bytes from a non-blocking socket within `limitMs`;
// returns the count read (less on end of file, time-out, stop or error).
std::size_t ReadRecordBytes(int fd, void* buffer, std::size_t size, int limitMs,
                            const LSignalObject& stop);

// The listener with one ConnectionThread per accepted connection. A
// ConnectionThread is constructed as ConnectionThread(fd, context).
template <class ConnectionThread>
class LPipeListenerWithThreads final : public LPipeListener {
  public:
    using Context = typename ConnectionThread::Context;

    explicit LPipeListenerWithThreads(Context context) : context_(std::move(context)) {}
    ~LPipeListenerWithThreads() override { Shutdown(); }

    // Owner's thread: stops accepting, then stops and collects every connection.
    void Shutdown() {
        Stop();
        LAutoLock lock(lock_);
        threads_.clear();  // each destructor stops its thread
    }

  protected:
    void OnConnection(int fd) override {
        LAutoLock lock(lock_);
        std::erase_if(threads_, [](const auto& t) { return !t->IsRunning(); });
        auto thread = std::make_unique<ConnectionThread>(fd, context_);
        if (threads_.size() >= kMaxConnectionThreads) {
            LogError("LPipeListener::Run: %zu connections already open; one refused",
                     threads_.size());
            return;  // the thread object closes the connection
        }
        if (thread->Start()) threads_.push_back(std::move(thread));
    }

  private:
    const Context context_;
    LLockObject lock_;
    std::vector<std::unique_ptr<ConnectionThread>> threads_;  // guarded by lock_
};

}  // namespace vocarta
