// Direct delivery for real: this test runs itself again inside a private network
// and mount namespace (unshare -n -m, as root), with its own /etc/resolv.conf
// bound over the system's, dnsmasq answering an MX record for a test domain,
// and aiosmtpd on port 25 of the exchanger's address.

#include <arpa/nameser.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <resolv.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>

#include "mail_test_support.h"
#include "transmit/mail/mail_resolver.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
constexpr const char* kInsideVariable = "VOCARTA_MAIL_NAMESPACE";

bool BringLoopbackUp() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    const bool up = ioctl(fd, SIOCGIFFLAGS, &request) == 0 &&
                    (request.ifr_flags |= IFF_UP, ioctl(fd, SIOCSIFFLAGS, &request) == 0);
    close(fd);
    return up;
}

// dnsmasq in the foreground, ended with the test.
class DnsServer {
  public:
    explicit DnsServer(const std::string& log) {
        pid_ = fork();
        if (pid_ == 0) {
            execlp("dnsmasq", "dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null",
                   "--no-resolv", "--no-hosts", "--listen-address=127.0.0.1", "--bind-interfaces",
                   "--user=root", "--pid-file=", ("--log-facility=" + log).c_str(),
                   "--mx-host=test-domain.example,mx.test-domain.example,10",
                   "--host-record=mx.test-domain.example,127.0.0.2",
                   "--host-record=plain.example,127.0.0.3", nullptr);
            _exit(127);
        }
    }
    ~DnsServer() {
        if (pid_ > 0) kill(pid_, SIGTERM), waitpid(pid_, nullptr, 0);
    }
    // Waits up to 5 s for it to answer.
    bool Answers() const {
        for (int i = 0; i < 100; ++i) {
            unsigned char answer[512];
            res_init();
            if (res_query("plain.example", C_IN, ns_t_a, answer, sizeof answer) > 0) return true;
            usleep(50000);
        }
        return false;
    }

  private:
    pid_t pid_ = -1;
};

MailRequest DirectRequest(const std::string& to) {
    MailRequest r;
    r.recipients = to, r.sender = "me@sender.example", r.subject = "Direct";
    r.body = "Straight to the exchanger.\r\n";
    return r;
}

void RunInside() {
    ASSERT_TRUE(BringLoopbackUp());
    TempDir folder("vocarta-mail-namespace");
    ASSERT_TRUE(
        WriteFile(folder.File("resolv.conf"), "nameserver 127.0.0.1\noptions attempts:1\n"));
    ASSERT_EQ(
        mount(folder.File("resolv.conf").c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr), 0)
        << std::strerror(errno);
    DnsServer dns(folder.File("dns.log"));
    ASSERT_TRUE(dns.Answers()) << "dnsmasq is needed: " << ReadFile(folder.File("dns.log"));
    RealSmtpServer exchanger({"--host", "127.0.0.2", "--port", "25"});
    RealSmtpServer plain({"--host", "127.0.0.3", "--port", "25"});
    ASSERT_TRUE(exchanger.Started() && plain.Started());

    EXPECT_EQ(LookUpMailExchanger("test-domain.example"), "mx.test-domain.example");
    EXPECT_EQ(LookUpMailExchanger("plain.example"), "plain.example");

    // No mail host: the MX record's exchanger, on port 25.
    FakeMailContext context, second, third, fourth;
    LStatus sent = SendBySmtp(DirectRequest("user@test-domain.example"), context);
    ASSERT_TRUE(sent && exchanger.WaitFor(1)) << context.LastLogged();
    EXPECT_EQ(exchanger.Kept(1, "meta"),
              "from=me@sender.example\nto=user@test-domain.example\nsecure=0\nauthenticated=0\n");
    EXPECT_EQ(exchanger.Kept(1, "subject"), "Direct");

    // No MX record: the domain's own address.
    sent = SendBySmtp(DirectRequest("user@plain.example"), second);
    EXPECT_TRUE(sent && plain.WaitFor(1)) << second.LastLogged();

    // A mail host without a port: 587 is refused here, so port 25 takes it; with
    // the port 2525 named, nothing else is tried.
    MailRequest viaHost = DirectRequest("user@test-domain.example");
    viaHost.host = "127.0.0.2";
    viaHost.sendDirect = false;
    sent = SendBySmtp(viaHost, third);
    ASSERT_TRUE(sent && exchanger.WaitFor(2)) << third.LastLogged();
    viaHost.host = "127.0.0.2:2525";
    EXPECT_FALSE(SendBySmtp(viaHost, fourth));
    EXPECT_FALSE(exchanger.Has(3));
}
}  // namespace

TEST(DirectDeliveryTest, ToTheMailExchangerOfAPrivateNetwork) {
    if (getenv(kInsideVariable)) {
        RunInside();
        return;
    }
    ASSERT_EQ(geteuid(), 0u) << "a private network namespace needs root (unshare -n -m)";
    char self[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    setenv(kInsideVariable, "1", 1);
    const bool passed =
        RunProgram({"unshare", "-n", "-m", self,
                    "--gtest_filter=DirectDeliveryTest.ToTheMailExchangerOfAPrivateNetwork"}) == 0;
    unsetenv(kInsideVariable);
    EXPECT_TRUE(passed) << "the run inside the namespace failed (its output is above)";
}
