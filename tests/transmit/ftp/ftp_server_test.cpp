// The FTP method and the connection test against pyftpdlib in clear, with
// explicit TLS and with implicit TLS. (vsftpd with TLS session reuse required:
// tests/app/test_send_mail_ftp.py.)

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <atomic>
#include <filesystem>

#include "ftp_test_support.h"
#include "toolkit/lfile.h"
#include "toolkit/text.h"
#include "transmit/ftp/ftp_connection_test.h"
#include "transmit/ftp/ftp_send.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// 2021-03-04 05:06:07 UTC: the time the server's copy must take (MFMT).
constexpr time_t kRecordingTime = 1614834367;

class PyFtpServer {
  public:
    // `mode`: "", "explicit" (TLS required) or "implicit"; `extra` more options.
    bool Start(const std::string& mode, std::string* error,
               const std::vector<std::string>& extra = {}) {
        std::vector<std::string> argv = {"/usr/bin/python3", SupportScript("ftp_test_server.py"),
                                         "--root", root_.Path()};
        if (!mode.empty()) {
            if (TestCertFolder(error).empty()) return false;
            argv.insert(argv.end(),
                        {"--tls", mode, "--cert", TestCert("good"), "--key", TestKey("good")});
            if (mode == "explicit") argv.push_back("--tls-required");
        }
        argv.insert(argv.end(), extra.begin(), extra.end());
        return server_.Start(argv, error);
    }
    FtpSettings Settings(FtpTlsMode tls, const std::string& dir = "/") const {
        return {"localhost:" + std::to_string(server_.Port()), "vocarta", "secret", dir, tls};
    }
    const TempDir& Root() const { return root_; }
    const ServerProcess& Process() const { return server_; }

  private:
    TempDir root_{"vocarta-pyftpd"};
    ServerProcess server_;
};

class FtpServerTest : public ::testing::Test {
  protected:
    // A real recording of `seconds`, stamped with kRecordingTime.
    std::string Recording(const std::string& name, double seconds) {
        const std::string path = folder_.File(name);
        EXPECT_TRUE(MakeWavFile(path, seconds)) << "sox is needed (Debian: sox)";
        const timeval times[2] = {{kRecordingTime, 0}, {kRecordingTime, 0}};
        utimes(path.c_str(), times);
        return path;
    }
    TempDir folder_{"vocarta-ftp-server"};
    FtpResumeStore resume_{folder_.File("resume.lst")};
};

void ExpectSameFile(const std::string& got, const std::string& want) {
    const std::string a = ReadFile(got), b = ReadFile(want);
    EXPECT_TRUE(!b.empty() && a == b)
        << got << ": " << a.size() << " bytes, " << want << ": " << b.size() << " bytes";
}

TEST_F(FtpServerTest, RecordingArrivesByteExactInClearAndOverBothTlsForms) {
    const std::string take = Recording("take one.wav", 6.0);  // about 1 MB, 1034 blocks
    for (const auto& [mode, tls] : {std::pair{"", FtpTlsMode::kExplicitIfOffered},
                                    std::pair{"explicit", FtpTlsMode::kExplicitRequired},
                                    std::pair{"implicit", FtpTlsMode::kImplicit}}) {
        SCOPED_TRACE(std::string("TLS: ") + mode);
        PyFtpServer server;
        std::string error;
        ASSERT_TRUE(server.Start(mode, &error)) << error;
        std::vector<double> fractions;
        std::vector<std::string> statuses;
        FtpObserver observer{{},
                             [&](double f) { fractions.push_back(f); },
                             [&](const std::string& s) { statuses.push_back(s); },
                             {}};
        const FtpSendOutcome out = SendFileByFtp(take, server.Settings(tls), observer, resume_);
        ASSERT_TRUE(out.status.Ok()) << out.status.Error().Message() << "\n"
                                     << server.Process().Output();
        ExpectSameFile(server.Root().File("take one.wav"), take);
        EXPECT_EQ(out.bytesSent, out.fileSize);
        EXPECT_FALSE(out.resumed);
        // MFMT gave the server's copy the recording's time.
        struct stat info {};
        ASSERT_EQ(stat(server.Root().File("take one.wav").c_str(), &info), 0);
        EXPECT_EQ(info.st_mtime, kRecordingTime);
        EXPECT_TRUE(out.keptTime);
        // A file of 100 blocks or more advances in steps of 1%.
        ASSERT_GE(statuses.size(), 3u);
        EXPECT_EQ(statuses[0], "Uploading file...");
        EXPECT_EQ(statuses[1], "take one.wav");
        EXPECT_EQ(statuses.back(), "take one.wav: 100%");
        const int64_t blocks = (out.fileSize + 1023) / 1024;
        EXPECT_EQ(int64_t(fractions.size()), blocks / (blocks / 100));
        EXPECT_DOUBLE_EQ(fractions.back(), 1.0);
    }
}

TEST_F(FtpServerTest, UploadCutByAStopRequestIsResumedByTheNextSend) {
    const std::string take = Recording("long take.wav", 100.0);  // about 17 MB
    const int64_t size = LFile::GetFileSizeBytes64(take);
    PyFtpServer py;
    std::string error;
    ASSERT_TRUE(py.Start("explicit", &error)) << error;
    const FtpSettings settings = py.Settings(FtpTlsMode::kExplicitRequired);
    std::atomic<bool> stop{false};
    FtpObserver cutting{StopFlag::FromFlag(stop),
                        [&](double f) {
                            if (f >= 0.25) stop = true;
                        },
                        {},
                        {}};
    const FtpSendOutcome cut = SendFileByFtp(take, settings, cutting, resume_);
    ASSERT_TRUE(!cut.status.Ok() && cut.status.Error().IsCancelled());
    EXPECT_GT(cut.bytesSent, 0);
    ASSERT_EQ(resume_.Entries().size(), 1u);

    const FtpSendOutcome resumed = SendFileByFtp(take, settings, FtpObserver{}, resume_);
    ASSERT_TRUE(resumed.status.Ok()) << resumed.status.Error().Message();
    EXPECT_TRUE(resumed.resumed);
    EXPECT_GT(resumed.resumedFrom, 0);
    EXPECT_EQ(resumed.bytesSent, size - resumed.resumedFrom);
    ExpectSameFile(py.Root().File("long take.wav"), take);
    EXPECT_TRUE(resume_.Entries().empty());
    // Sent again, whole: a finished upload is never appended to.
    const FtpSendOutcome again = SendFileByFtp(take, settings, FtpObserver{}, resume_);
    EXPECT_TRUE(again.status.Ok() && !again.resumed && again.bytesSent == size);
    ExpectSameFile(py.Root().File("long take.wav"), take);
}

TEST_F(FtpServerTest, ConnectionTestReportsEachStep) {
    PyFtpServer server, closedPassive;
    std::string error;
    ASSERT_TRUE(server.Start("", &error)) << error;
    ASSERT_TRUE(closedPassive.Start("", &error, {"--closed-passive"})) << error;
    for (int i = 0; i < 22; ++i)
        WriteFile(server.Root().File(StringPrintf("take%02d.wav", i)), "x");
    const std::string port = std::to_string(server.Process().Port());

    std::vector<double> progress;
    std::vector<std::string> titles, statuses;
    FtpTestObserver observer{{},
                             [&](double f) { progress.push_back(f); },
                             [&](const std::string& t) { titles.push_back(t); },
                             [&](const std::string& s) { statuses.push_back(s); },
                             {}};
    const FtpTestReport good = RunFtpConnectionTest(server.Settings(FtpTlsMode::kNone), observer);
    std::string listed;
    for (int i = 0; i < 20; ++i) listed += StringPrintf(" take%02d.wav\n", i);
    EXPECT_EQ(good.Text(), "Server \"localhost:" + port +
                               "\" is OK.\nLogon details are OK.\n"
                               "Directory changed OK.\nCurrent directory is: /\nContains:\n" +
                               listed + "[More...]\nFile uploaded OK.\nFile deleted OK.\n");
    EXPECT_TRUE(good.Passed());
    EXPECT_EQ(titles, std::vector<std::string>{"Testing FTP..."});
    EXPECT_EQ(statuses,
              (std::vector<std::string>{"Testing Server...", "Logon...", "Change directory...",
                                        "Get directory...", "Get listing...", "Upload test...",
                                        "Deleting file..."}));
    ASSERT_GE(progress.size(), 2u);
    EXPECT_EQ(progress[0], 0.01);
    EXPECT_EQ(progress[1], 0.1);
    EXPECT_FALSE(std::filesystem::exists(server.Root().File("_ftptest")));

    // Each failing step as the report words it.
    const std::string ok = "Server \"localhost:" + port + "\" is OK.\n";
    FtpSettings wrong = server.Settings(FtpTlsMode::kNone), nowhere = wrong;
    wrong.password = "not the password";
    nowhere.server = "no-such-host.invalid";
    const FtpTestReport refused = RunFtpConnectionTest(wrong, {});
    EXPECT_EQ(refused.Text(),
              ok + "Unable to logon with username \"vocarta\" or entered password.\n");
    EXPECT_NE(refused.reasons[int(FtpTestStep::kLogon)].find("530"), std::string::npos);
    EXPECT_EQ(refused.State(FtpTestStep::kUpload), FtpTestState::kSkipped);
    EXPECT_EQ(RunFtpConnectionTest(server.Settings(FtpTlsMode::kNone, "/missing"), {}).Text(),
              ok + "Logon details are OK.\nUnable to change to the directory \"/missing\".\n");
    const FtpTestReport passive =
        RunFtpConnectionTest(closedPassive.Settings(FtpTlsMode::kNone), {});
    EXPECT_NE(passive.Text().find("Current directory is: /\nPassive Connection Failed!\nSee "
                                  "\"Setting up FTP\""),
              std::string::npos)
        << passive.Text();
    EXPECT_NE(passive.Text().find("\n Unable to upload to the server.\nUnable to delete from "
                                  "server.\n"),
              std::string::npos);
    EXPECT_FALSE(passive.Passed());
    EXPECT_EQ(RunFtpConnectionTest(nowhere, {}).Text(),
              "Unable to connect to server \"no-such-host.invalid\".\n");
}

}  // namespace
