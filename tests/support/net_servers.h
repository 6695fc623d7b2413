#pragma once
// Servers for the network tests, started by the tests on loopback: the Python
// servers of net_test_server.py, `openssl s_server`, and the TLS material of
// make_test_certs.py, made once per test program and trusted through
// SSL_CERT_FILE (set before the first TLS connection of the program).
//
//   vocarta::test::ServerProcess server;
//   ASSERT_TRUE(server.StartScript({"http", "--root", dir.Path()}, &error)) << error;
//   HttpGet("http://127.0.0.1:" + std::to_string(server.Port()) + "/status/200");
//
// A missing tool (python3, openssl) makes Start fail with a message, never skip.

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.h"

namespace vocarta::test {

inline TempDir& NetTestFolder() {
    static TempDir folder("vocarta-net-test");
    return folder;
}

inline std::string NetServerScript() {
    return std::string(VOCARTA_SOURCE_DIR) + "/tests/support/net_test_server.py";
}

// A server program with its output in a file, ended when the object goes (or
// when the test program ends, however it ends).
class ServerProcess {
  public:
    ServerProcess() = default;
    ~ServerProcess() { Stop(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Runs `argv` (no shell) and waits up to 10 s for it to print the port it
    // listens on: "PORT <n>" (our scripts) or "ACCEPT <address>:<n>" (s_server).
    bool Start(const std::vector<std::string>& argv, std::string* error) {
        static int count = 0;
        output_ = NetTestFolder().File("server" + std::to_string(++count) + ".out");
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        const pid_t parent = getpid();
        pid_ = fork();
        if (pid_ == 0) {
            if (prctl(PR_SET_PDEATHSIG, SIGTERM) != 0 || getppid() != parent) _exit(127);
            int fd = open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (fd >= 0) {
                dup2(fd, 1);
                dup2(fd, 2);
                close(fd);
            }
            execvp(args[0], args.data());
            _exit(127);
        }
        for (int i = 0; i < 200 && pid_ > 0; ++i) {
            port_ = FindPort(ReadFile(output_));
            if (port_ != 0) return true;
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (error)
            *error = argv[0] + " did not start listening (is it installed?); its output:\n" +
                     ReadFile(output_);
        Stop();
        return false;
    }

    // net_test_server.py with these arguments, under Debian's Python.
    bool StartScript(const std::vector<std::string>& arguments, std::string* error) {
        std::vector<std::string> argv = {"/usr/bin/python3", NetServerScript()};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return Start(argv, error);
    }

    void Stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    uint16_t Port() const { return port_; }
    std::string Output() const { return ReadFile(output_); }

  private:
    static uint16_t FindPort(const std::string& text) {
        std::smatch m;
        static const std::regex kPort("(?:PORT |ACCEPT .*:)([0-9]+)\n");
        return std::regex_search(text, m, kPort) ? uint16_t(std::stoi(m[1])) : 0;
    }

    std::string output_;
    pid_t pid_ = -1;
    uint16_t port_ = 0;
};

// The folder of the test TLS material, made at first use; SSL_CERT_FILE then
// names its CA. Empty (with `error` set) when it could not be made.
inline const std::string& TestCertFolder(std::string* error = nullptr) {
    static std::string failure;
    static const std::string folder = [] {
        const std::string path = NetTestFolder().File("certs");
        const std::string command =
            std::string(VOCARTA_SOURCE_DIR) + "/tests/support/make_test_certs.py";
        pid_t pid = fork();
        if (pid == 0) {
            execl("/usr/bin/python3", "python3", command.c_str(), path.c_str(), nullptr);
            _exit(127);
        }
        int status = -1;
        waitpid(pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            failure = "make_test_certs.py failed (are python3 and openssl installed?)";
            return std::string();
        }
        setenv("SSL_CERT_FILE", (path + "/ca.pem").c_str(), 1);
        return path;
    }();
    if (error) *error = failure;
    return folder;
}

inline std::string TestCert(const std::string& name) {
    return TestCertFolder() + "/" + name + ".pem";
}
inline std::string TestKey(const std::string& name) {
    return TestCertFolder() + "/" + name + ".key";
}

}  // namespace vocarta::test
