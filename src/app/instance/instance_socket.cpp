#include "app/instance/instance_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "app/instance/pipe_listener.h"
#include "app/instance/pipe_sender.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int kListenBacklog = 5;
constexpr int kElectionLockLimitMs = 10000;
constexpr int kBusyRetryLimitMs = 2000;
constexpr auto kRetrySleep = std::chrono::milliseconds(2);

// The advisory lock beside the socket, held for the check-connect-or-bind step.
class ElectionLock {
  public:
    explicit ElectionLock(const std::string& path) {
        fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd_ < 0) {
            LogSystemFailure("InstanceSocket::Elect", "open");
            return;
        }
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(kElectionLockLimitMs);
        while (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            if ((errno != EWOULDBLOCK && errno != EINTR) ||
                std::chrono::steady_clock::now() >= deadline) {
                LogSystemFailure("InstanceSocket::Elect", "flock");
                return;
            }
            std::this_thread::sleep_for(kRetrySleep);
        }
        held_ = true;
    }
    ~ElectionLock() { Release(); }
    void Release() {
        if (fd_ < 0) return;
        if (held_) flock(fd_, LOCK_UN);
        close(fd_);
        fd_ = -1;
        held_ = false;
    }
    bool Held() const { return held_; }

  private:
    int fd_ = -1;
    bool held_ = false;
};

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    CopyText(address.sun_path, kSocketAddressSize, path);
    return address;
}
}  // namespace

std::string InstanceSocketPath(const std::string& instanceName) {
    // Only this exact name (case-sensitive) lives in the machine's shared folder.
    const std::string folder = instanceName == "vocartad" ? SharedDir() : CacheHome();
    std::string path = JoinPath(folder, ".spipe." + instanceName);
    if (path.size() >= kSocketAddressSize) {
        LogError("InstanceSocketPath: %s is longer than a socket address; cut to %zu bytes",
                 path.c_str(), kSocketAddressSize - 1);
        path = CutText(path, kSocketAddressSize - 1);
    }
    return path;
}

ConnectResult ConnectToRunningCopy(const std::string& path, int& fd) {
    fd = -1;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (errno != ENOENT) LogSystemFailure("InstanceSocket::Connect", "lstat");
        return ConnectResult::NoneRunning;
    }
    if (!S_ISSOCK(st.st_mode) || st.st_uid != geteuid()) {
        LogError("InstanceSocket::Connect: %s is not this user's socket; it is not used",
                 path.c_str());
        return ConnectResult::NoneRunning;
    }
    int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s < 0) {
        LogSystemFailure("InstanceSocket::Connect", "socket");
        return ConnectResult::NoneRunning;
    }
    const sockaddr_un address = AddressOf(path);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyRetryLimitMs);
    while (connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        // A full queue says "try again"; anything else means nobody listens.
        if (errno == EAGAIN && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(kRetrySleep);
            continue;
        }
        const bool busy = errno == EAGAIN;
        if (!busy && errno != ECONNREFUSED && errno != ENOENT)
            LogSystemFailure("InstanceSocket::Connect", "connect");
        close(s);
        return busy ? ConnectResult::Busy : ConnectResult::NoneRunning;
    }
    unsigned uid = 0;
    if (!PeerIsSameUser(s, &uid)) {
        LogError("InstanceSocket::Connect: %s is served by user %u; not used", path.c_str(), uid);
        close(s);
        return ConnectResult::NoneRunning;
    }
    fd = s;
    return ConnectResult::Connected;
}

InstanceSocket::InstanceSocket(std::string instanceName)
    : path_(InstanceSocketPath(instanceName)) {}

InstanceSocket::~InstanceSocket() {
    if (listenFd_ >= 0) close(listenFd_);
}

InstanceRole InstanceSocket::Elect(const std::vector<std::string>& args) {
    if (!MakeDirs(DirName(path_))) LogSystemFailure("InstanceSocket::Elect", "mkdir");
    ElectionLock lock(path_ + ".lock");
    int fd = -1;
    switch (ConnectToRunningCopy(path_, fd)) {
        case ConnectResult::Connected:
            lock.Release();
            return SendCommandLineToRunningInstance(fd, args) ? InstanceRole::Forwarded
                                                              : InstanceRole::ForwardFailed;
        case ConnectResult::Busy:
            LogError("InstanceSocket::Elect: the running copy does not accept connections");
            return InstanceRole::ForwardFailed;
        case ConnectResult::NoneRunning:
            break;
    }
    CreateListening();
    return InstanceRole::RunningCopy;
}

// Called with the election lock held: whatever is at the path now is stale or
// not ours, and this process is the one becoming the running copy.
bool InstanceSocket::CreateListening() {
    if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
        LogSystemFailure("LPipeListener::Create", "unlink");
        return false;
    }
    int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s < 0) {
        LogSystemFailure("LPipeListener::Create", "socket");
        return false;
    }
    const sockaddr_un address = AddressOf(path_);
    struct stat st {};
    const char* failed = nullptr;
    if (bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        failed = "bind";
    else if (chmod(path_.c_str(), 0777) != 0)
        failed = "chmod";
    else if (listen(s, kListenBacklog) != 0)
        failed = "listen";
    else if (lstat(path_.c_str(), &st) != 0)
        failed = "lstat";
    if (failed) {
        LogSystemFailure("LPipeListener::Create", failed);
        close(s);
        return false;
    }
    listenFd_ = s;
    bound_ = true;
    dev_ = st.st_dev;
    ino_ = st.st_ino;
    return true;
}

int InstanceSocket::TakeListenDescriptor() {
    int fd = listenFd_;
    listenFd_ = -1;
    return fd;
}

void InstanceSocket::Remove() {
    if (!bound_) return;
    bound_ = false;
    // Under the lock, so a copy starting now sees either our socket or none.
    ElectionLock lock(path_ + ".lock");
    struct stat st {};
    if (lstat(path_.c_str(), &st) == 0 && st.st_dev == dev_ && st.st_ino == ino_ &&
        unlink(path_.c_str()) != 0)
        LogSystemFailure("InstanceSocket::Remove", "unlink");
}

}  // namespace vocarta
