#pragma once
// Shared by the mail tests: a send thread's context that records what it was
// told, the test SMTP servers of smtp_test_server.py, and a real audio file.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "support/net_servers.h"
#include "support/temp_dir.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/process_helpers.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mail_sender.h"

namespace vocarta::test {

class FakeMailContext final : public MailContext {
  public:
    bool ShouldStop() const override { return stop.load() || signal.IsSet(); }
    const LSignalObject* StopSignal() const override { return useSignal ? &signal : nullptr; }
    void SetProgress(double fraction) override { Note(progress, fraction); }
    void SetStatus(const std::string& text) override { Note(statuses, text); }
    void LogError(const std::string& text) override { Note(logged, text); }
    template <typename T>
    void Note(std::vector<T>& list, const T& value) {
        std::lock_guard<std::mutex> lock(mutex);
        list.push_back(value);
    }
    std::string LastLogged() const { return logged.empty() ? std::string() : logged.back(); }

    std::atomic<bool> stop{false};
    LSignalObject signal;
    bool useSignal = false;
    std::mutex mutex;
    std::vector<double> progress;
    std::vector<std::string> statuses, logged;
};

inline std::string SmtpServerScript() {
    return std::string(VOCARTA_SOURCE_DIR) + "/tests/support/smtp_test_server.py";
}

// A scripted server (see smtp_test_server.py) playing `script` to every
// connection; Log() is what it read.
class ScriptedSmtpServer {
  public:
    explicit ScriptedSmtpServer(const std::string& script, bool tls = false) {
        static int count = 0;
        const std::string name = "script" + std::to_string(++count);
        scriptPath_ = NetTestFolder().File(name + ".txt");
        logPath_ = NetTestFolder().File(name + ".log");
        WriteFile(scriptPath_, script);
        WriteFile(logPath_, "");
        std::vector<std::string> argv = {
            "/usr/bin/python3", SmtpServerScript(), "script", scriptPath_, "--log", logPath_};
        if (tls) argv.insert(argv.end(), {"--tls", TestCert("good"), TestKey("good")});
        std::string error;
        EXPECT_TRUE(server_.Start(argv, &error)) << error;
    }
    uint16_t Port() const { return server_.Port(); }
    std::string Host() const { return "127.0.0.1:" + std::to_string(Port()); }
    std::string Log() const { return ReadFile(logPath_); }
    // Waits up to 5 s for `text` to show in the log.
    bool WaitForLog(const std::string& text) const {
        for (int i = 0; i < 100 && Log().find(text) == std::string::npos; ++i) usleep(50000);
        return Log().find(text) != std::string::npos;
    }

  private:
    ServerProcess server_;
    std::string scriptPath_, logPath_;
};

// Options for loopback tests: no waiting between direct attempts, a fixed EHLO
// name, and no DNS (every domain's exchanger is 127.0.0.1, at `exchangerPort`).
inline SmtpOptions LoopbackOptions(uint16_t exchangerPort = 1) {
    SmtpOptions options;
    options.exchangerPort = exchangerPort;
    options.directRetryWaitMs = 0;
    options.connectTimeoutMs = 5000;
    options.timeouts.replyMs = 5000;
    options.timeouts.capabilityReplyMs = 5000;
    options.lookUpExchanger = [](const std::string&) { return std::string("127.0.0.1"); };
    options.localHostName = [] { return std::string("client.test"); };
    return options;
}

// A port on loopback where nothing listens.
inline uint16_t ClosedPort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t length = sizeof a;
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &length);
    close(fd);
    return ntohs(a.sin_port);
}

// A two-second stereo WAV made by sox (a real recording's layout) at `path`.
inline bool MakeTestRecording(const std::string& path) {
    return RunProgram({"sox", "-q", "-n", "-r", "44100", "-c", "2", "-b", "16", path, "synth", "2",
                       "sine", "440", "sine", "660"}) == 0;
}

inline std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

// aiosmtpd as smtp_test_server.py "real" runs it, keeping messages in a folder.
class RealSmtpServer {
  public:
    RealSmtpServer(const std::vector<std::string>& extra = {}) : store_("vocarta-smtp-store") {
        std::vector<std::string> argv = {"/usr/bin/python3", SmtpServerScript(), "real", "--store",
                                         store_.Path()};
        argv.insert(argv.end(), extra.begin(), extra.end());
        std::string error;
        started_ = server_.Start(argv, &error);
        EXPECT_TRUE(started_) << error;
    }
    bool Started() const { return started_; }
    uint16_t Port() const { return server_.Port(); }
    // A file of message `n` ("eml", "subject", "text", "meta", "0.part"...).
    std::string Kept(int n, const std::string& what) const {
        return ReadFile(store_.File(std::to_string(n) + "." + what));
    }
    // Waits up to 10 s for message `n`.
    bool WaitFor(int n) const {
        for (int i = 0; i < 200 && !Has(n); ++i) usleep(50000);
        return Has(n);
    }
    bool Has(int n) const {
        return access(store_.File(std::to_string(n) + ".done").c_str(), F_OK) == 0;
    }
    std::string Output() const { return server_.Output(); }

  private:
    TempDir store_;
    ServerProcess server_;
    bool started_ = false;
};

}  // namespace vocarta::test
