// The FTP settings as the method reads them (a password set by script through
// vocarta-defaults among them), the resume list, and the method's refusal of
// names that hold a line break.

#include <gtest/gtest.h>

#include <thread>

#include "ftp_test_support.h"
#include "settings/settings.h"
#include "toolkit/process_helpers.h"
#include "transmit/ftp/ftp_send.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// Runs vocarta-defaults with `input` on its standard input; its exit status.
int RunDefaults(std::vector<std::string> args, const std::string& input) {
    args.insert(args.begin(), std::string(VOCARTA_BUILD_DIR) + "/vocarta-defaults");
    return RunProgram(args, input);
}

TEST(FtpSettingsTest, APasswordSetByScriptReachesTheMethodAndNothingStaysInClear) {
    DeleteSettingTree("Ftp");
    SetSettingString("Ftp", "Password", "typed by hand");  // an old clear value
    EXPECT_EQ(ReadFtpSettings().password, "typed by hand");
    ASSERT_EQ(RunDefaults({"write-password", "Ftp/Password"}, "s3cr et&=\n"), 0);
    EXPECT_EQ(ReadFtpSettings().password, "s3cr et&=");
    EXPECT_FALSE(SettingExists("Ftp", "Password"));
    // An empty folder reads as the root; a mode out of range as the default.
    ASSERT_TRUE(WriteFtpSettings({"ftp.example.net:2121", "rec", "p", "", FtpTlsMode::kImplicit}));
    EXPECT_EQ(ReadFtpSettings().directory, "/");
    EXPECT_FALSE(SettingExists("Ftp", "Password"));
    SetSettingString("Ftp", "TlsMode", "9");
    EXPECT_EQ(ReadFtpSettings().tls, FtpTlsMode::kExplicitIfOffered);
}

TEST(FtpResumeStoreTest, RemembersOnlyTheSameUploadOfTheSameFile) {
    TempDir folder("vocarta-ftp-resume");
    const std::string take = folder.File("odd\tname\nwith breaks\\.wav");
    ASSERT_TRUE(WriteFile(take, "0123456789"));
    FtpResumeStore store(folder.File("state/ftp-resume.lst"));
    auto key = MakeFtpResumeKey("host:21", "me", "/in", "x.wav", take);
    ASSERT_TRUE(key);
    EXPECT_FALSE(store.Has(key.Value()));
    ASSERT_TRUE(store.Remember(key.Value()) && store.Remember(key.Value()));  // noted once
    EXPECT_EQ(store.Entries(), std::vector<FtpResumeKey>{key.Value()});
    EXPECT_TRUE(FtpResumeStore(folder.File("state/ftp-resume.lst")).Has(key.Value()));

    FtpResumeKey other = key.Value();
    other.directory = "/elsewhere";
    EXPECT_FALSE(store.Has(other));
    // The recording changed since: its upload starts again.
    ASSERT_TRUE(WriteFile(take, "0123456789abc"));
    EXPECT_FALSE(store.Has(MakeFtpResumeKey("host:21", "me", "/in", "x.wav", take).Value()));

    for (int i = 0; i < 120; ++i) {
        other.remoteName = std::to_string(i);
        ASSERT_TRUE(store.Remember(other));
    }
    EXPECT_EQ(store.Entries().size(), 100u);  // the newest kept
    EXPECT_FALSE(store.Has(key.Value()));
    ASSERT_TRUE(store.Forget(other));
    EXPECT_EQ(store.Entries().size(), 99u);

    ASSERT_TRUE(WriteFile(folder.File("state/ftp-resume.lst"), "garbage\n1\t2\n\t\t\t\t\t\t\t\n"));
    EXPECT_TRUE(store.Entries().empty());
    EXPECT_FALSE(MakeFtpResumeKey("h", "u", "/", "n", folder.File("missing.wav")));
}

TEST(FtpSendTest, ALineBreakInAFileOrFolderNameStopsTheSendBeforeItConnects) {
    ScriptServer server;
    std::string error;
    ASSERT_TRUE(server.Start("{}", &error)) << error;
    TempDir folder("vocarta-ftp-names");
    const std::string bad = folder.File("take\r\nDELE important.wav");
    const std::string good = folder.File("take.wav");
    ASSERT_TRUE(WriteFile(bad, "x") && WriteFile(good, "x"));
    FtpResumeStore resume(folder.File("resume.lst"));
    FtpSettings settings{server.Address(), "u", "p", "/", FtpTlsMode::kNone};
    FtpSendOutcome out = SendFileByFtp(bad, settings, {}, resume);
    EXPECT_TRUE(!out.status.Ok() && out.status.Error().Code() == LErrorCode::kInvalid);
    settings.directory = "/in\nbox";
    out = SendFileByFtp(good, settings, {}, resume);
    EXPECT_TRUE(!out.status.Ok() && out.status.Error().Code() == LErrorCode::kInvalid);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(PrintedLines(server.Process(), "CLOSED").empty()) << "a connection was made";
    EXPECT_EQ(server.Transcript(), "");
}

}  // namespace
