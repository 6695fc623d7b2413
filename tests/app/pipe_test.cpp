// The single running copy: the forwarded record, the socket and its listener, the
// send budget.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <random>

#include "app/instance/command_record.h"
#include "app/instance/instance_socket.h"
#include "app/instance/pipe_listener.h"
#include "app/instance/pipe_sender.h"
#include "app_fakes.h"
#include "toolkit/paths.h"

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
        address.sun_family = AF_UNIX;
        CopyText(address.sun_path, sizeof address.sun_path, socket.Path());
    }
    ~TestRunningCopy() {
        socket.Remove();
        listener->Shutdown();
    }
    // Only system calls: also used in a forked child.
    bool SendRaw(const void* data, std::size_t size) const {
        const int s = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool sent =
            connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            send(s, data, size, MSG_NOSIGNAL) == ssize_t(size);
        close(s);
        return sent;
    }
    InstanceSocket socket;
    FakeMainLoop loop;
    std::unique_ptr<Listener> listener;
    std::vector<std::vector<std::string>> received;
    sockaddr_un address{};
};

}  // namespace

TEST(CommandRecord, PackCapsCountAndCutsArguments) {
    std::vector<std::string> args;
    for (int i = 0; i < 200; ++i) args.push_back("arg" + std::to_string(i));
    args[5] = std::string(300, 'x');
    CommandLineRecord record;
    std::memset(static_cast<void*>(&record), 0x5a, sizeof record);  // leftovers must not survive
    PackCommandLine(args, record);
    EXPECT_EQ(record.count, 128);

    std::vector<std::string> out;
    std::string why;
    ASSERT_TRUE(UnpackCommandLine(&record, sizeof record, out, why)) << why;
    ASSERT_EQ(out.size(), 128u);
    EXPECT_TRUE(out[127] == "arg127" && out[5] == std::string(259, 'x'));

    PackCommandLine({"vocarta", "-stop"}, record);
    static CommandLineRecord expected;  // all zero
    expected.count = 2;
    std::memcpy(expected.args[0], "vocarta", 7);
    std::memcpy(expected.args[1], "-stop", 5);
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0) << "unused bytes must be zero";
}

TEST(CommandRecord, RefusesBadRecords) {
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-record"}, record);
    std::vector<std::string> out;
    std::string why;

    for (int32_t count : {-1, 0, 129, 0x7fffffff, int32_t(0x80000000)}) {
        CommandLineRecord bad = record;
        bad.count = count;
        EXPECT_TRUE(!UnpackCommandLine(&bad, sizeof bad, out, why) && out.empty()) << count;
    }
    // Short and over-long records.
    EXPECT_FALSE(UnpackCommandLine(&record, sizeof record - 1, out, why));
    EXPECT_FALSE(UnpackCommandLine(&record, 4, out, why));
    std::vector<char> longer(sizeof record + 1, 0);
    std::memcpy(longer.data(), &record, sizeof record);
    EXPECT_FALSE(UnpackCommandLine(longer.data(), longer.size(), out, why));

    // A used slot with no terminator anywhere in its 260 bytes.
    CommandLineRecord open = record;
    std::memset(open.args[1], 'A', kForwardedArgSize);
    EXPECT_FALSE(UnpackCommandLine(&open, sizeof open, out, why));
    EXPECT_NE(why.find("argument 1"), std::string::npos);

    // Random bytes, many times over.
    std::mt19937 random(7);
    std::vector<unsigned char> garbage(sizeof record);
    for (int round = 0; round < 200; ++round) {
        for (auto& b : garbage) b = static_cast<unsigned char>(random());
        EXPECT_FALSE(UnpackCommandLine(garbage.data(), garbage.size(), out, why)) << round;
    }
}

TEST(SingleInstance, SecondLaunchForwardsItsCommandLine) {
    TestRunningCopy running;
    InstanceSocket second;
    std::vector<std::string> args = {"vocarta", "-record", "mp3", std::string(300, 'z')};
    EXPECT_EQ(second.Elect(args), InstanceRole::Forwarded);
    ASSERT_EQ(running.loop.RunPosted(1), 1);
    args[3].resize(259);
    EXPECT_EQ(running.received, std::vector<std::vector<std::string>>{args});
    // Open to all: the listener checks each peer's user itself.
    struct stat st {};
    lstat(InstanceSocketPath(kInstanceName).c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0777u);
}

TEST(SingleInstance, RefusesBadRecordsAndKeepsServing) {
    TestRunningCopy running;
    LogTail errors(ErrorLogPath());
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-stop"}, record);
    CommandLineRecord bad = record;
    bad.count = -3;
    const std::string garbage(sizeof record, '\xff');
    running.SendRaw(&record, 1000);  // short
    running.SendRaw(&bad, sizeof bad);
    running.SendRaw(garbage.data(), garbage.size());
    ASSERT_TRUE(
        errors.WaitFor("LMainWindowPipeListenerThread::Run: forwarded command line refused"));
    running.SendRaw(&record, sizeof record);
    running.loop.RunPosted(1);
    EXPECT_EQ(running.received, (std::vector<std::vector<std::string>>{{"vocarta", "-stop"}}));
    int refusals = 0;
    for (const auto& line : errors.Lines()) refusals += line.find("refused") != std::string::npos;
    EXPECT_EQ(refusals, 3);
}

// A stale socket and a planted link are covered end to end (test_single_instance.py).
TEST(SingleInstance, FileAtTheSocketPathIsReplaced) {
    ASSERT_TRUE(WriteFile(InstanceSocketPath(kInstanceName), "not a socket"));
    TestRunningCopy running;
    InstanceSocket second;
    EXPECT_EQ(second.Elect({"vocarta"}), InstanceRole::Forwarded);
}

TEST(SingleInstance, ConnectionFromAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to connect as another user";
    TestRunningCopy running;
    // The folders up to the socket are opened for the other user (inside the
    // test's own home only).
    for (std::string dir = DirName(running.socket.Path()); dir.rfind(HomeDir(), 0) == 0;
         dir = DirName(dir))
        chmod(dir.c_str(), 0755);
    LogTail errors(ErrorLogPath());
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-exit"}, record);
    const pid_t child = fork();
    if (child == 0) {
        // The refusal may cut the send short: only the connection counts.
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(2);
        running.SendRaw(&record, sizeof record);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(errors.WaitFor("LPipeListener::Run: connection from user 65534 refused"));
    EXPECT_TRUE(running.loop.RunPosted(0, 0) == 0 && running.received.empty());
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
    EXPECT_EQ(SendWithBudget(pair[0], data.data(), data.size(), 5000, stop), SendResult::Cancelled);
    stop.Reset();
    // A reader that drains (what the calls above left in the socket, too).
    std::thread reader([fd = pair[1], total = data.size()] {
        char buffer[65536];
        for (std::size_t got = 0; got < total;) {
            const ssize_t n = read(fd, buffer, sizeof buffer);
            if (n > 0)
                got += std::size_t(n);
            else
                usleep(1000);
        }
    });
    EXPECT_EQ(SendWithBudget(pair[0], data.data(), data.size(), 5000, stop), SendResult::Sent);
    reader.join();
    close(pair[0]);
    // The peer is gone: failed, not a wait for the budget to run out.
    EXPECT_EQ(SendWithBudget(pair[1], data.data(), 10, 5000, stop), SendResult::Failed);
    close(pair[1]);
}
