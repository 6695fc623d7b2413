#include <gtest/gtest.h>

#include "net/http_client.h"
#include "net/secure_socket.h"
#include "net_test_util.h"
#include "support/net_servers.h"

namespace vocarta {
namespace {

using test::ServerProcess;
using Clock = std::chrono::steady_clock;

class TlsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_FALSE(test::TestCertFolder(&error).empty()) << error;
    }

    // `openssl s_server` with the named certificate, answering GETs (-www).
    void StartOpenSsl(ServerProcess& server, const std::string& cert,
                      const std::string& host = "127.0.0.1", std::vector<std::string> extra = {}) {
        std::vector<std::string> argv = {
            "openssl", "s_server",          "-accept", host + ":0", "-cert", test::TestCert(cert),
            "-key",    test::TestKey(cert), "-www"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        std::string error;
        ASSERT_TRUE(server.Start(argv, &error)) << error;
    }
};

// No bad certificate gets through, and each refusal says why, to the caller
// and in the log; the connection stays open without TLS for the caller to end.
TEST_F(TlsTest, EveryBadCertificateIsRefusedWithItsReason) {
    const struct {
        const char* cert;
        const char* reason;
    } cases[] = {
        {"expired", "certificate has expired"},
        {"notyet", "certificate is not yet valid"},
        {"selfsigned", "self-signed certificate"},
        {"wronghost", "hostname mismatch"},
        {"weakkey", "EE certificate key too weak"},
        {"sha1", "CA signature digest algorithm too weak"},
        {"untrusted", "unable to get local issuer certificate"},
        {"clientonly", "unsuitable certificate purpose"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.cert);
        ServerProcess server;
        // The server side must be willing to use what the client refuses.
        StartOpenSsl(server, c.cert, "127.0.0.1", {"-cipher", "DEFAULT@SECLEVEL=0"});
        SecureSocket socket;
        ASSERT_TRUE(socket.ConnectTo("localhost:" + std::to_string(server.Port()), 443, 5000));
        LStatus tls = socket.StartTls(5000);
        ASSERT_FALSE(tls);
        EXPECT_EQ(tls.Error().Code(), LErrorCode::kTls);
        EXPECT_EQ(tls.Error().Message(),
                  std::string("TLS handshake with localhost failed: ") + c.reason);
        EXPECT_FALSE(socket.IsTls());
        EXPECT_TRUE(socket.IsOpen());
        EXPECT_NE(test::ErrorLogText().find(std::string("SSL_connect FAILED: ") + c.reason +
                                            " (localhost"),
                  std::string::npos);
    }
}

// The good certificate, by name and by address, over IPv4 and IPv6, through
// the HTTP client to a real TLS server.
TEST_F(TlsTest, AGoodCertificatePassesOverIPv4AndIPv6) {
    ServerProcess v4, v6;
    StartOpenSsl(v4, "good");
    StartOpenSsl(v6, "good", "[::1]");
    const std::string urls[] = {"https://localhost:" + std::to_string(v4.Port()) + "/",
                                "https://127.0.0.1:" + std::to_string(v4.Port()) + "/",
                                "https://[::1]:" + std::to_string(v6.Port()) + "/"};
    for (const auto& url : urls) {
        auto reply = HttpGet(url);
        EXPECT_TRUE(reply && reply.Value().body.find("s_server") != std::string::npos)
            << url << ": " << (reply ? "" : reply.Error().Message());
    }
    SecureSocket socket;
    ASSERT_TRUE(socket.ConnectTo("[::1]:" + std::to_string(v6.Port()), 443, 5000));
    ASSERT_TRUE(socket.StartTls(5000));
    EXPECT_EQ(socket.TlsDescription().rfind("TLSv1.3 ", 0), 0u) << socket.TlsDescription();
}

// STARTTLS over a connected line protocol, byte-wise line reads on TLS, and a
// second connection that resumes the first one's session, as FTP data
// connections must for servers that insist on it.
TEST_F(TlsTest, StartTlsOnAConnectedSocketAndSessionReuse) {
    ServerProcess server, implicit;
    std::string error;
    ASSERT_TRUE(server.StartScript(
        {"lines", "--tls", test::TestCert("good"), test::TestKey("good")}, &error))
        << error;
    const std::string address = "localhost:" + std::to_string(server.Port());
    auto line = [](SecureSocket& s) {
        auto got = s.ReceiveLine(512, 5000);
        return got ? got.Value() : "ERROR " + got.Error().Message();
    };
    auto startTls = [&](SecureSocket& s, SecureSocket* reuse) {
        EXPECT_TRUE(s.ConnectTo(address, 21, 5000));
        EXPECT_EQ(line(s), "220 ready");
        EXPECT_TRUE(s.Send("STARTTLS\r\n", 5000));
        EXPECT_EQ(line(s), "220 go ahead");
        LStatus tls = reuse ? s.StartTls(kDataTlsTimeoutMs, reuse) : s.StartTls(kNoTimeLimit);
        EXPECT_TRUE(tls) << tls.Error().Message();
    };
    SecureSocket control, data;
    startTls(control, nullptr);
    ASSERT_TRUE(control.Send("PAIR\r\n", 5000));
    char buffer[64];
    auto got = control.ReceiveUntil(buffer, sizeof buffer, "\n", 5000);
    EXPECT_EQ(std::string(buffer, got ? got.Value() : 0), "250-first\r\n");
    EXPECT_EQ(line(control), "250 second");
    startTls(data, &control);
    EXPECT_TRUE(data.TlsSessionReused());
    ASSERT_TRUE(data.Send("REUSED\r\n", 5000));
    EXPECT_EQ(line(data), "250 reused");
    data.Close();
    ASSERT_TRUE(control.Send("QUIT\r\n", 5000));
    EXPECT_EQ(line(control), "221 bye");

    // Implicit TLS: the handshake comes first.
    ASSERT_TRUE(implicit.StartScript(
        {"lines", "--implicit", "--tls", test::TestCert("good"), test::TestKey("good")}, &error))
        << error;
    SecureSocket direct;
    ASSERT_TRUE(direct.ConnectTo("localhost:" + std::to_string(implicit.Port()), 990, 5000));
    ASSERT_TRUE(direct.StartTls(kNoTimeLimit));
    EXPECT_EQ(line(direct), "220 ready");
}

// What cannot be secured is refused: TLS 1.1 (the minimum is 1.2), a plain
// server, and a server that never answers the handshake (time-out, stop).
TEST_F(TlsTest, OldProtocolsPlainAndSilentServersAreRefused) {
    ServerProcess old;
    StartOpenSsl(old, "good", "127.0.0.1", {"-tls1_1", "-cipher", "DEFAULT@SECLEVEL=0"});
    SecureSocket socket;
    ASSERT_TRUE(socket.ConnectTo("127.0.0.1:" + std::to_string(old.Port()), 443, 5000));
    LStatus tls = socket.StartTls(5000);
    EXPECT_TRUE(!tls && tls.Error().Code() == LErrorCode::kTls);
    EXPECT_NE(tls.Error().Message().find("protocol"), std::string::npos) << tls.Error().Message();

    test::LoopbackListener plain;
    ASSERT_TRUE(socket.Connect(plain.Address(), 5000));
    const int peer = plain.Accept();
    ASSERT_TRUE(test::WriteAll(peer, "220 this is not TLS at all\r\n"));
    tls = socket.StartTls(5000);
    EXPECT_TRUE(!tls && tls.Error().Code() == LErrorCode::kTls);
    close(peer);

    ASSERT_TRUE(socket.Connect(plain.Address(), 5000));
    const int silent = plain.Accept();
    auto start = Clock::now();
    tls = socket.StartTls(400);
    EXPECT_TRUE(!tls && tls.Error().Code() == LErrorCode::kTimedOut);
    EXPECT_GE(test::ElapsedMs(start), 390);

    std::atomic<bool> stop{false};
    socket.SetStopFlag(StopFlag::FromFlag(stop));
    test::StopLater stopper(200, [&] { stop = true; });
    tls = socket.StartTls(kNoTimeLimit);
    EXPECT_TRUE(!tls && tls.Error().IsCancelled());
    EXPECT_LT(stopper.MsSinceStop(), 260);
    close(silent);
}

}  // namespace
}  // namespace vocarta
