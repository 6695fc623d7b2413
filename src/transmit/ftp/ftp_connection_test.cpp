#include "transmit/ftp/ftp_connection_test.h"

#include <unistd.h>

#include <cstdlib>

#include "net/socket_address.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr int kMaxListedEntries = 20;
constexpr int kResolveTimeoutMs = 60000;
constexpr const char* kPassiveHelpLine =
    "See \"Setting up FTP\" in the README: the server's passive ports must be reachable from "
    "this computer (a firewall or router often blocks them).\r\n";

class ConnectionTest {
  public:
    ConnectionTest(const FtpSettings& settings, const FtpTestObserver& observer)
        : settings_(settings),
          observer_(observer),
          session_(FtpObserver{observer.stop, {}, {}, {}}) {}

    FtpTestReport Run() {
        Progress(0.01);
        if (observer_.title) observer_.title(kFtpTestTitle);
        Progress(0.1);
        const bool reachable = Server() && Logon() && Directory();
        if (reachable) {
            CurrentDirectory();
            Listing();
            UploadFile();
            DeleteFile();
        }
        for (FtpTestState& state : report_.states)
            if (state == FtpTestState::kNotRun) state = FtpTestState::kSkipped;
        report_.stopped = observer_.stop.Requested();
        session_.Close();
        Progress(1.0);
        Changed();
        return report_;
    }

  private:
    void Progress(double fraction) {
        if (observer_.progress) observer_.progress(fraction);
    }
    void Changed() {
        if (observer_.changed) observer_.changed(report_);
    }
    // True when the step may run.
    bool Begin(FtpTestStep step) {
        if (observer_.stop.Requested()) return false;
        if (observer_.status) observer_.status(FtpTestStepStatus(step));
        report_.states[int(step)] = FtpTestState::kRunning;
        Changed();
        return true;
    }
    void Add(FtpTestStep step, std::string text) {
        if (!text.empty()) report_.lines.push_back({step, std::move(text)});
    }
    bool End(FtpTestStep step, const LStatus& result, std::string okText, std::string failText) {
        const bool ok = result.Ok();
        Add(step, ok ? std::move(okText) : std::move(failText));
        report_.states[int(step)] = ok ? FtpTestState::kPassed : FtpTestState::kFailed;
        if (!ok) report_.reasons[int(step)] = result.Error().Message();
        Progress(0.1 + 0.9 * (int(step) + 1) / kFtpTestStepCount);
        Changed();
        return ok;
    }

    bool Server() {
        if (!Begin(FtpTestStep::kServer)) return false;
        const uint16_t port =
            settings_.tls == FtpTlsMode::kImplicit ? kFtpImplicitTlsPort : kFtpPort;
        LStatus result;
        auto name = ParseServerName(settings_.server, port);
        if (!name) {
            result = name.Error();
        } else {
            auto addresses = ResolveHost(name.Value().host, name.Value().port, kResolveTimeoutMs,
                                         observer_.stop);
            if (!addresses) result = addresses.Error();
        }
        return End(FtpTestStep::kServer, result,
                   StringPrintf("Server \"%s\" is OK.\r\n", settings_.server.c_str()),
                   StringPrintf("Unable to connect to server \"%s\".", settings_.server.c_str()));
    }

    bool Logon() {
        if (!Begin(FtpTestStep::kLogon)) return false;
        return End(FtpTestStep::kLogon, session_.Connect(settings_.Login()),
                   "Logon details are OK.\r\n",
                   StringPrintf("Unable to logon with username \"%s\" or entered password.",
                                settings_.userName.c_str()));
    }

    bool Directory() {
        if (settings_.directory.empty()) return true;
        if (!Begin(FtpTestStep::kDirectory)) return false;
        return End(
            FtpTestStep::kDirectory, session_.ChangeDirectory(settings_.directory),
            "Directory changed OK.\r\n",
            StringPrintf("Unable to change to the directory \"%s\".", settings_.directory.c_str()));
    }

    void CurrentDirectory() {
        if (!Begin(FtpTestStep::kCurrentDirectory)) return;
        auto path = session_.PrintDirectory();
        LStatus result = path ? LStatus() : LStatus(path.Error());
        End(FtpTestStep::kCurrentDirectory, result,
            path ? StringPrintf("Current directory is: %s\r\n", path.Value().c_str()) : "",
            "Unable to get the current directory.\r\n");
    }

    void Listing() {
        if (!Begin(FtpTestStep::kListing)) return;
        auto entries = session_.List();
        if (!entries) {
            if (session_.LastPassiveFailed()) {
                End(FtpTestStep::kListing, entries.Error(), "", "Passive Connection Failed!\r\n");
                Add(FtpTestStep::kListing, kPassiveHelpLine);
            } else {
                End(FtpTestStep::kListing, entries.Error(), "", "Unable to get the listing.\r\n");
            }
            Changed();
            return;
        }
        Add(FtpTestStep::kListing, "Contains:");
        int shown = 0;
        for (const FtpListEntry& entry : entries.Value()) {
            if (shown == kMaxListedEntries) {
                Add(FtpTestStep::kListing, "[More...]");
                break;
            }
            Add(FtpTestStep::kListing, StringPrintf(" %s", entry.name.c_str()));
            ++shown;
        }
        End(FtpTestStep::kListing, {}, entries.Value().empty() ? " [no files]" : "", "");
    }

    void UploadFile() {
        if (!Begin(FtpTestStep::kUpload)) return;
        LStatus result = UploadTestFile();
        End(FtpTestStep::kUpload, result, "File uploaded OK.\r\n",
            " Unable to upload to the server.");
    }

    LStatus UploadTestFile() {
        const char* folder = std::getenv("TMPDIR");
        std::string path =
            std::string(folder && *folder ? folder : "/tmp") + "/vocarta-ftptest-XXXXXX";
        const int fd = mkstemp(path.data());
        if (fd < 0) return MakeError(LErrorCode::kIo, "cannot make the test file %s", path.c_str());
        const std::string content = kFtpTestFileContent;
        const bool written = write(fd, content.data(), content.size()) == ssize_t(content.size());
        close(fd);
        LStatus result;
        if (!written) {
            result = MakeError(LErrorCode::kIo, "cannot write the test file %s", path.c_str());
        } else {
            auto uploaded = session_.Upload(kFtpTestFileName, path, false);
            if (!uploaded) result = uploaded.Error();
        }
        unlink(path.c_str());
        return result;
    }

    void DeleteFile() {
        if (!Begin(FtpTestStep::kDelete)) return;
        End(FtpTestStep::kDelete, session_.Delete(kFtpTestFileName), "File deleted OK.\r\n",
            "Unable to delete from server.");
    }

    const FtpSettings& settings_;
    const FtpTestObserver& observer_;
    FtpSession session_;
    FtpTestReport report_;
};

}  // namespace

bool FtpTestReport::Passed() const {
    if (stopped) return false;
    for (FtpTestState state : states)
        if (state == FtpTestState::kFailed || state == FtpTestState::kRunning) return false;
    return true;
}

std::string FtpTestReport::Text() const {
    std::string text;
    for (const FtpTestLine& line : lines) {
        std::string_view t(line.text);
        while (!t.empty() && (t.back() == '\n' || t.back() == '\r')) t.remove_suffix(1);
        text.append(t);
        text += '\n';
    }
    return text;
}

const char* FtpTestStepStatus(FtpTestStep step) {
    switch (step) {
        case FtpTestStep::kServer:
            return "Testing Server...";
        case FtpTestStep::kLogon:
            return "Logon...";
        case FtpTestStep::kDirectory:
            return "Change directory...";
        case FtpTestStep::kCurrentDirectory:
            return "Get directory...";
        case FtpTestStep::kListing:
            return "Get listing...";
        case FtpTestStep::kUpload:
            return "Upload test...";
        case FtpTestStep::kDelete:
            return "Deleting file...";
    }
    return "";
}

const char* FtpTestStepName(FtpTestStep step) {
    switch (step) {
        case FtpTestStep::kServer:
            return "Server";
        case FtpTestStep::kLogon:
            return "Log on";
        case FtpTestStep::kDirectory:
            return "Change folder";
        case FtpTestStep::kCurrentDirectory:
            return "Current folder";
        case FtpTestStep::kListing:
            return "Listing";
        case FtpTestStep::kUpload:
            return "Upload";
        case FtpTestStep::kDelete:
            return "Delete";
    }
    return "";
}

FtpTestReport RunFtpConnectionTest(const FtpSettings& settings, const FtpTestObserver& observer) {
    ConnectionTest test(settings, observer);
    return test.Run();
}

}  // namespace vocarta
