#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "net/secure_socket.h"
#include "net_test_util.h"
#include "toolkit/lsignal_object.h"

namespace vocarta {
namespace {

using test::ElapsedMs;
using test::LoopbackListener;
using test::StopLater;
using Clock = std::chrono::steady_clock;

SocketAddress ClosedAddress() {
    LoopbackListener gone;
    return gone.Address();
}

// The received text, or "ERROR <code name>".
std::string Text(const LResult<std::string>& line) {
    return line ? line.Value() : "ERROR " + std::string(ErrorCodeName(line.Error().Code()));
}

// A refused connection must fail at once, not after the time-out, and say so.
TEST(SecureSocketTest, ConnectToAClosedPortFailsAtOnce) {
    SecureSocket socket;
    const auto start = Clock::now();
    LStatus connected = socket.Connect(ClosedAddress(), 60000);
    ASSERT_FALSE(connected);
    EXPECT_LT(ElapsedMs(start), 1000);
    EXPECT_EQ(connected.Error().Code(), LErrorCode::kNetwork);
    EXPECT_NE(connected.Error().Message().find("Connection refused"), std::string::npos);
    EXPECT_FALSE(socket.IsOpen());
    EXPECT_NE(test::ErrorLogText().find("SecureSocket::Connect connect FAILED: Connection refused"),
              std::string::npos);
}

// A listener that never completes the connection: the time-out is counted in
// 200 ms slices, at least one, ending once no full slice is left; a stop
// request ends the wait within a slice.
TEST(SecureSocketTest, ConnectTimesOutInSlicesAndHonoursStop) {
    LoopbackListener deaf("127.0.0.1", 0);
    deaf.FillQueue();
    SecureSocket socket;
    const std::tuple<int, int, int> limits[] = {{1000, 750, 1500}, {150, 190, 390}};
    for (const auto& [limit, atLeast, below] : limits) {
        const auto start = Clock::now();
        LStatus connected = socket.Connect(deaf.Address(), limit);
        ASSERT_FALSE(connected);
        EXPECT_EQ(connected.Error().Code(), LErrorCode::kTimedOut) << connected.Error().Message();
        EXPECT_GE(ElapsedMs(start), atLeast) << limit;  // 150: one slice, not none
        EXPECT_LT(ElapsedMs(start), below) << limit;    // and not a second one
    }
    std::atomic<bool> stop{false};
    SecureSocket stoppable(StopFlag::FromFlag(stop));
    StopLater stopper(300, [&] { stop = true; });
    LStatus connected = stoppable.Connect(deaf.Address(), 60000);
    EXPECT_TRUE(!connected && connected.Error().IsCancelled());
    EXPECT_LE(stopper.MsSinceStop(), 260);
}

// Every blocking read ends on a stop request: at once through a signal (its
// descriptor is polled beside the socket), within a slice through a question.
TEST(SecureSocketTest, StopEndsABlockedReceive) {
    LoopbackListener silent;
    LSignalObject signal;
    SecureSocket socket(StopFlag::FromSignal(signal));
    ASSERT_TRUE(socket.Connect(silent.Address(), 5000));
    const int peer = silent.Accept();
    char buffer[64];
    {
        StopLater stopper(300, [&] { signal.Set(); });
        auto got = socket.Receive(buffer, sizeof buffer, 60000);
        EXPECT_TRUE(!got && got.Error().IsCancelled());
        EXPECT_LE(stopper.MsSinceStop(), 60);
    }
    std::atomic<bool> asked{false};
    socket.SetStopFlag(StopFlag::FromFunction([&] { return asked.load(); }));
    {
        StopLater stopper(300, [&] { asked = true; });
        auto got = socket.ReceiveUntil(buffer, sizeof buffer, "\n", kNoTimeLimit);
        EXPECT_TRUE(!got && got.Error().IsCancelled());
        EXPECT_LE(stopper.MsSinceStop(), 260);
    }
    socket.SetStopFlag({});
    auto start = Clock::now();
    auto got = socket.Receive(buffer, sizeof buffer, 300);
    EXPECT_TRUE(!got && got.Error().Code() == LErrorCode::kTimedOut);
    EXPECT_GE(ElapsedMs(start), 290);
    close(peer);
}

// Line protocols read one reply line at a time: what follows the delimiter
// must stay in the socket for the next read, and lines are bounded.
TEST(SecureSocketTest, ReceiveUntilTakesOneLineAndLeavesTheRest) {
    LoopbackListener server;
    SecureSocket socket;
    ASSERT_TRUE(socket.Connect(server.Address(), 5000));
    const int peer = server.Accept();
    char buffer[256];
    auto until = [&](std::size_t size, const char* delimiters) {
        auto got = socket.ReceiveUntil(buffer, size, delimiters, 5000);
        return got ? std::string(buffer, got.Value()) : "ERROR";
    };
    ASSERT_TRUE(test::WriteAll(peer, "250-first\r\n250 second\r\n"));
    EXPECT_EQ(until(sizeof buffer, "\n"), "250-first\r\n");
    auto got = socket.Receive(buffer, sizeof buffer, 5000);
    EXPECT_EQ(std::string(buffer, got ? got.Value() : 0), "250 second\r\n");
    // Without a delimiter, what is there; a delimiter set takes the first of any.
    ASSERT_TRUE(test::WriteAll(peer, "abc"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(until(sizeof buffer, "\n"), "abc");
    ASSERT_TRUE(test::WriteAll(peer, "x;y\nz\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(until(2, ";\n"), "x;");
    EXPECT_EQ(Text(socket.ReceiveLine(100, 5000)), "y");
    // Cut to the limit when asked, the rest of the long line dropped; else refused.
    ASSERT_TRUE(test::WriteAll(peer, "z" + std::string(3000, 'L') + "\r\nnext\r\n"));
    EXPECT_EQ(Text(socket.ReceiveLine(258, 5000, true)), "z");  // left from the write before
    EXPECT_EQ(Text(socket.ReceiveLine(258, 5000, true)), "z" + std::string(257, 'L'));
    EXPECT_EQ(Text(socket.ReceiveLine(258, 5000, true)), "next");
    ASSERT_TRUE(test::WriteAll(peer, std::string(600, 'M') + "\r\n"));
    EXPECT_EQ(Text(socket.ReceiveLine(258, 5000)), "ERROR protocol error");

    SecureSocket second;
    ASSERT_TRUE(second.Connect(server.Address(), 5000));
    const int peer2 = server.Accept();
    ASSERT_TRUE(test::WriteAll(peer2, "220 cut sho"));
    close(peer2);
    EXPECT_EQ(Text(second.ReceiveLine(258, 5000)), "ERROR protocol error");
    EXPECT_TRUE(second.AtEnd());
    close(peer);
}

// A peer that went away: sending fails with an error (no SIGPIPE ends the
// program), receiving reports the end.
TEST(SecureSocketTest, APeerThatLeftGivesErrorsNotSignals) {
    LoopbackListener server;
    SecureSocket socket;
    ASSERT_TRUE(socket.Connect(server.Address(), 5000));
    close(server.Accept());
    char buffer[16];
    EXPECT_FALSE(socket.Receive(buffer, sizeof buffer, 5000));
    EXPECT_TRUE(socket.AtEnd());
    const std::string block(1 << 20, 'x');
    LStatus sent;
    for (int i = 0; i < 20 && sent; ++i) sent = socket.Send(block, 5000);
    EXPECT_TRUE(!sent && sent.Error().Code() == LErrorCode::kNetwork);
    EXPECT_NE(test::ErrorLogText().find("ProcessSend(LIPSocketTCP) send FAILED: "),
              std::string::npos);
}

// Names resolve to every address, IPv4 and IPv6; the addresses are tried in
// turn and the first that answers wins.
TEST(SecureSocketTest, ConnectAnyTriesEachAddressOverIPv4AndIPv6) {
    LoopbackListener v6("::1");
    ASSERT_TRUE(v6.IsValid()) << "no IPv6 loopback";
    SecureSocket socket;
    ASSERT_TRUE(socket.ConnectAny("localhost", {ClosedAddress(), v6.Address()}, 5000));
    EXPECT_EQ(socket.PeerAddress().ToString(), "[::1]:" + std::to_string(v6.Port()));
    EXPECT_EQ(socket.PeerHostName(), "localhost");
    ASSERT_TRUE(socket.ConnectTo("[::1]:" + std::to_string(v6.Port()), 21, 5000));
    EXPECT_EQ(socket.PeerHostName(), "::1");
    auto local = ResolveHost("localhost", 25, 5000);
    ASSERT_TRUE(local) << local.Error().Message();
    bool hasV4 = false;
    for (const auto& a : local.Value()) hasV4 |= a.ToString() == "127.0.0.1:25";
    EXPECT_TRUE(hasV4);

    // Server names as they read with the default port 587, and names refused.
    const char* names[][2] = {{"mail.example.com", "mail.example.com 587"},
                              {" smtp.example.com:2525 ", "smtp.example.com 2525"},
                              {"[::1]:21", "::1 21"},
                              {"[fe80::1]", "fe80::1 587"},
                              {"2001:db8::5", "2001:db8::5 587"},
                              {"host:0", ""},
                              {"host:65536", ""},
                              {"host:2x", ""},
                              {"host:", ""},
                              {"[::1", ""},
                              {"[::1]x", ""},
                              {":25", ""},
                              {"", ""}};
    for (const auto& [text, expected] : names) {
        auto name = ParseServerName(text, 587);
        EXPECT_EQ(name ? name.Value().host + " " + std::to_string(name.Value().port) : "", expected)
            << text;
    }
}

}  // namespace
}  // namespace vocarta
