#pragma once
// The single running copy per user: the instance socket ".spipe.<name>" in the
// caches folder, and the election that decides at start-up whether this process
// forwards its command line to a running copy or becomes the running copy.
//
// The election holds an advisory lock on "<socket>.lock" while it checks,
// connects or binds, so two copies started at the same moment end with exactly
// one running copy, and the other's command line delivered to it.
//
// Threading contract: main thread, once at start-up (Elect) and once at the end
// (Remove).

#include <sys/types.h>

#include <string>
#include <vector>

namespace vocarta {

inline constexpr const char* kInstanceName = "Vocarta";
// The address field holds 104 bytes: longer paths are cut to 103 and a NUL.
inline constexpr std::size_t kSocketAddressSize = 104;

// Caches folder (or, for the instance "vocartad", the shared folder) joined with
// ".spipe.<name>", cut to fit the address.
std::string InstanceSocketPath(const std::string& instanceName);

enum class InstanceRole {
    Forwarded,      // a running copy took the command line: end now
    ForwardFailed,  // a running copy exists but did not take it: end now
    RunningCopy     // this process is the running copy
};

enum class ConnectResult { Connected, NoneRunning, Busy };

// lstat first, so a symbolic link, another kind of file or another user's socket
// at the path is never connected to (NoneRunning). A socket nobody listens on
// (a killed copy's) is NoneRunning too. Busy: the copy there keeps refusing for
// 2 s because its queue is full.
ConnectResult ConnectToRunningCopy(const std::string& path, int& fd);

class InstanceSocket {
  public:
    explicit InstanceSocket(std::string instanceName = kInstanceName);
    ~InstanceSocket();
    InstanceSocket(const InstanceSocket&) = delete;
    InstanceSocket& operator=(const InstanceSocket&) = delete;

    // Runs the election; with a running copy there, `args` are sent to it.
    InstanceRole Elect(const std::vector<std::string>& args);

    // RunningCopy: the bound, listening, non-blocking socket, handed over to the
    // listener (-1 when it could not be made: the program then runs on alone).
    int TakeListenDescriptor();
    const std::string& Path() const { return path_; }

    // Removes the socket file if it is still the one this process bound.
    void Remove();

  private:
    bool CreateListening();

    std::string path_;
    int listenFd_ = -1;
    bool bound_ = false;
    dev_t dev_ = 0;
    ino_t ino_ = 0;
};

}  // namespace vocarta
