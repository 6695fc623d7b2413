#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "app/command_record.h"
#include "app/instance_socket.h"
#include "app/pipe_listener.h"
#include "app/pipe_sender.h"
#include "app_fakes.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Listener = LPipeListenerWithThreads<LMainWindowPipeListenerThread>;

// A running copy inside the test: the election's socket, a listener and the
// records it hands to the (fake) main loop.
struct TestRunningCopy {
    TestRunningCopy() {
        EXPECT_EQ(socket.Elect({"vocarta"}), InstanceRole::RunningCopy);
        listener = std::make_unique<Listener>(
            [this](std::shared_ptr<const std::vector<std::string>> args) {
                loop.Post([this, args] { received.push_back(*args); });
            });
        listener->Adopt(socket.TakeListenDescriptor());
        EXPECT_TRUE(listener->Start());
    }
    ~TestRunningCopy() {
        socket.Remove();
        listener->Shutdown();
    }
    InstanceSocket socket;
    FakeMainLoop loop;
    std::unique_ptr<Listener> listener;
    std::vector<std::vector<std::string>> received;
};

int ConnectRaw(const std::string& path) {
    int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    CopyText(address.sun_path, sizeof address.sun_path, path);
    if (connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(s);
        return -1;
    }
    return s;
}

void SendRaw(const std::string& path, const void* data, std::size_t size) {
    int s = ConnectRaw(path);
    ASSERT_GE(s, 0);
    ASSERT_EQ(send(s, data, size, MSG_NOSIGNAL), ssize_t(size));
    close(s);
}

}  // namespace

TEST(SingleInstance, SecondLaunchForwardsItsCommandLine) {
    TestRunningCopy running;
    InstanceSocket second;
    std::vector<std::string> args = {"vocarta", "-record", "mp3", std::string(300, 'z')};
    EXPECT_EQ(second.Elect(args), InstanceRole::Forwarded);
    ASSERT_EQ(running.loop.RunPosted(1), 1);
    ASSERT_EQ(running.received.size(), 1u);
    args[3].resize(259);
    EXPECT_EQ(running.received[0], args);
    struct stat st {};
    ASSERT_EQ(lstat(InstanceSocketPath(kInstanceName).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0777u);
}

TEST(SingleInstance, RefusesBadRecordsAndKeepsServing) {
    TestRunningCopy running;
    const std::string path = running.socket.Path();
    LogTail errors(ErrorLogPath());
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-stop"}, record);

    SendRaw(path, &record, 1000);  // short
    CommandLineRecord bad = record;
    bad.count = -3;
    SendRaw(path, &bad, sizeof bad);
    bad.count = 1 << 30;
    SendRaw(path, &bad, sizeof bad);
    std::string garbage(sizeof record, '\xff');
    SendRaw(path, garbage.data(), garbage.size());
    ASSERT_TRUE(
        errors.WaitFor("LMainWindowPipeListenerThread::Run: forwarded command line "
                       "refused"));
    // Four refusals, then a good record still gets through.
    SendRaw(path, &record, sizeof record);
    running.loop.RunPosted(1);
    ASSERT_EQ(running.received.size(), 1u);
    EXPECT_EQ(running.received[0], (std::vector<std::string>{"vocarta", "-stop"}));
    int refusals = 0;
    for (const auto& line : errors.Lines())
        if (line.find("refused") != std::string::npos) ++refusals;
    EXPECT_EQ(refusals, 4);
}

// A symbolic link, a stale socket and a planted link are covered end to end
// (tests/app/test_single_instance.py); a plain file is the case left.
TEST(SingleInstance, FileAtTheSocketPathIsReplaced) {
    ASSERT_TRUE(WriteFile(InstanceSocketPath(kInstanceName), "not a socket"));
    TestRunningCopy running;
    InstanceSocket second;
    EXPECT_EQ(second.Elect({"vocarta"}), InstanceRole::Forwarded);
}

TEST(SingleInstance, ConnectionFromAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to connect as another user";
    TestRunningCopy running;
    // The caches folder must be reachable for the other user (the test's own
    // home only: the folders above it are left alone).
    const std::string home = HomeDir();
    for (std::string dir = DirName(running.socket.Path()); dir.rfind(home, 0) == 0;
         dir = DirName(dir))
        chmod(dir.c_str(), 0755);
    LogTail errors(ErrorLogPath());
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-exit"}, record);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    CopyText(address.sun_path, sizeof address.sun_path, running.socket.Path());
    pid_t child = fork();
    if (child == 0) {
        // Only system calls from here: other threads may hold the allocator's lock.
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(2);
        int s = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) _exit(3);
        ssize_t sent = send(s, &record, sizeof record, MSG_NOSIGNAL);
        _exit(sent == ssize_t(sizeof record) ? 0 : 0);  // refusal may cut the send short
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(errors.WaitFor("LPipeListener::Run: connection from user 65534 refused"));
    EXPECT_EQ(running.loop.RunPosted(0, 0), 0);
    EXPECT_TRUE(running.received.empty());
}

TEST(SendBudget, CountsHalfWaitsAndHonoursStop) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair), 0);
    int small = 4096;
    setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    std::vector<char> data(1 << 20, 'd');
    LSignalObject stop;
    int waits = 0;
    // Nobody reads: budget 6 allows two timed-out waits, the third fails.
    EXPECT_EQ(SendWithBudget(pair[0], data.data(), data.size(), 6, stop, &waits),
              SendResult::Failed);
    EXPECT_EQ(waits, 3);
    stop.Set();
    EXPECT_EQ(SendWithBudget(pair[0], data.data(), data.size(), 5000, stop, &waits),
              SendResult::Cancelled);
    stop.Reset();

    // A reader that drains: the whole buffer goes.
    std::thread reader([fd = pair[1], total = data.size()] {
        std::size_t got = 0;
        char buffer[65536];
        while (got < total) {
            ssize_t n = read(fd, buffer, sizeof buffer);
            if (n > 0)
                got += std::size_t(n);
            else
                usleep(1000);
        }
    });
    EXPECT_EQ(SendWithBudget(pair[0], data.data(), data.size(), 5000, stop, &waits),
              SendResult::Sent);
    reader.join();
    close(pair[0]);
    // The peer is gone: failed, not a wait for the budget to run out.
    EXPECT_EQ(SendWithBudget(pair[1], data.data(), 10, 5000, stop, &waits), SendResult::Failed);
    close(pair[1]);
}
