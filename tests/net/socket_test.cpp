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
using Clock = std::chrono::steady_clock;

// A refused connection must fail at once, not after the time-out, and say so.
TEST(SecureSocketTest, ConnectToAClosedPortFailsAtOnce) {
    SocketAddress address;
    {
        LoopbackListener gone;
        address = gone.Address();
    }
    SecureSocket socket;
    const auto start = Clock::now();
    LStatus connected = socket.Connect(address, 60000);
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
    ASSERT_TRUE(deaf.IsValid());
    deaf.FillQueue();

    SecureSocket socket;
    auto start = Clock::now();
    LStatus connected = socket.Connect(deaf.Address(), 1000);
    ASSERT_FALSE(connected);
    EXPECT_EQ(connected.Error().Code(), LErrorCode::kTimedOut) << connected.Error().Message();
    EXPECT_GE(ElapsedMs(start), 750);
    EXPECT_LT(ElapsedMs(start), 1500);

    start = Clock::now();
    connected = socket.Connect(deaf.Address(), 150);
    ASSERT_FALSE(connected);
    EXPECT_EQ(connected.Error().Code(), LErrorCode::kTimedOut);
    EXPECT_GE(ElapsedMs(start), 190);  // one slice, not none
    EXPECT_LT(ElapsedMs(start), 390);  // and not a second one

    std::atomic<bool> stop{false};
    SecureSocket stoppable(StopFlag::FromFlag(stop));
    Clock::time_point stopAt;
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stopAt = Clock::now();
        stop = true;
    });
    connected = stoppable.Connect(deaf.Address(), 60000);
    stopper.join();
    ASSERT_FALSE(connected);
    EXPECT_TRUE(connected.Error().IsCancelled());
    EXPECT_LE(ElapsedMs(stopAt), 260);
}

// Every blocking read ends on a stop request: at once through a signal (its
// descriptor is polled beside the socket), within a slice through a question.
TEST(SecureSocketTest, StopEndsABlockedReceive) {
    LoopbackListener silent;
    LSignalObject signal;
    SecureSocket socket(StopFlag::FromSignal(signal));
    ASSERT_TRUE(socket.Connect(silent.Address(), 5000));
    const int peer = silent.Accept();
    ASSERT_GE(peer, 0);

    Clock::time_point stopAt;
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stopAt = Clock::now();
        signal.Set();
    });
    char buffer[64];
    auto got = socket.Receive(buffer, sizeof buffer, 60000);
    stopper.join();
    ASSERT_FALSE(got);
    EXPECT_TRUE(got.Error().IsCancelled());
    EXPECT_LE(ElapsedMs(stopAt), 60);

    std::atomic<bool> asked{false};
    socket.SetStopFlag(StopFlag::FromFunction([&] { return asked.load(); }));
    std::thread asker([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stopAt = Clock::now();
        asked = true;
    });
    got = socket.ReceiveUntil(buffer, sizeof buffer, "\n", kNoTimeLimit);
    asker.join();
    ASSERT_FALSE(got);
    EXPECT_TRUE(got.Error().IsCancelled());
    EXPECT_LE(ElapsedMs(stopAt), 260);

    socket.SetStopFlag({});
    auto start = Clock::now();
    got = socket.Receive(buffer, sizeof buffer, 300);
    ASSERT_FALSE(got);
    EXPECT_EQ(got.Error().Code(), LErrorCode::kTimedOut);
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
    ASSERT_TRUE(test::WriteAll(peer, "250-first\r\n250 second\r\n"));

    char buffer[256];
    auto got = socket.ReceiveUntil(buffer, sizeof buffer, "\n", 5000);
    ASSERT_TRUE(got) << got.Error().Message();
    EXPECT_EQ(std::string(buffer, got.Value()), "250-first\r\n");
    got = socket.Receive(buffer, sizeof buffer, 5000);
    ASSERT_TRUE(got);
    EXPECT_EQ(std::string(buffer, got.Value()), "250 second\r\n");

    // Without a delimiter, what is there; a delimiter set takes the first of any.
    ASSERT_TRUE(test::WriteAll(peer, "abc"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    got = socket.ReceiveUntil(buffer, sizeof buffer, "\n", 5000);
    ASSERT_TRUE(got);
    EXPECT_EQ(std::string(buffer, got.Value()), "abc");
    ASSERT_TRUE(test::WriteAll(peer, "x;y\nz\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    got = socket.ReceiveUntil(buffer, 2, ";\n", 5000);
    ASSERT_TRUE(got);
    EXPECT_EQ(std::string(buffer, got.Value()), "x;");

    auto line = socket.ReceiveLine(100, 5000);
    ASSERT_TRUE(line);
    EXPECT_EQ(line.Value(), "y");
    ASSERT_TRUE(test::WriteAll(peer, "z" + std::string(3000, 'L') + "\r\nnext\r\n"));
    line = socket.ReceiveLine(258, 5000, true);
    ASSERT_TRUE(line) << line.Error().Message();
    EXPECT_EQ(line.Value(), "z");  // left from the write before
    line = socket.ReceiveLine(258, 5000, true);
    ASSERT_TRUE(line);
    EXPECT_EQ(line.Value(), "z" + std::string(257, 'L'));
    line = socket.ReceiveLine(258, 5000, true);
    ASSERT_TRUE(line);
    EXPECT_EQ(line.Value(), "next");

    ASSERT_TRUE(test::WriteAll(peer, std::string(600, 'M') + "\r\n"));
    line = socket.ReceiveLine(258, 5000);
    ASSERT_FALSE(line);
    EXPECT_EQ(line.Error().Code(), LErrorCode::kProtocol);

    SecureSocket second;
    ASSERT_TRUE(second.Connect(server.Address(), 5000));
    const int peer2 = server.Accept();
    ASSERT_TRUE(test::WriteAll(peer2, "220 cut sho"));
    close(peer2);
    line = second.ReceiveLine(258, 5000);
    ASSERT_FALSE(line);
    EXPECT_EQ(line.Error().Code(), LErrorCode::kProtocol);
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
    auto got = socket.Receive(buffer, sizeof buffer, 5000);
    ASSERT_FALSE(got);
    EXPECT_TRUE(socket.AtEnd());
    const std::string block(1 << 20, 'x');
    LStatus sent;
    for (int i = 0; i < 20 && sent; ++i) sent = socket.Send(block, 5000);
    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.Error().Code(), LErrorCode::kNetwork);
    EXPECT_NE(test::ErrorLogText().find("ProcessSend(LIPSocketTCP) send FAILED: "),
              std::string::npos);
}

// Names resolve to every address, IPv4 and IPv6; the addresses are tried in
// turn and the first that answers wins.
TEST(SecureSocketTest, ConnectAnyTriesEachAddressOverIPv4AndIPv6) {
    LoopbackListener v6("::1");
    ASSERT_TRUE(v6.IsValid()) << "no IPv6 loopback";
    SocketAddress closed;
    {
        LoopbackListener gone;
        closed = gone.Address();
    }
    SecureSocket socket;
    ASSERT_TRUE(socket.ConnectAny("localhost", {closed, v6.Address()}, 5000));
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
                              {"2001:db8::5", "2001:db8::5 587"}};
    for (const auto& [text, expected] : names) {
        auto name = ParseServerName(text, 587);
        ASSERT_TRUE(name) << text;
        EXPECT_EQ(name.Value().host + " " + std::to_string(name.Value().port), expected);
    }
    for (const char* text :
         {"host:0", "host:65536", "host:2x", "host:", "[::1", "[::1]x", ":25", ""})
        EXPECT_FALSE(ParseServerName(text, 587)) << text;
}

}  // namespace
}  // namespace vocarta
