// The FTP method as the dispatcher runs it, against the scripted FTP server:
// its place in the fixed order, its texts, and its results (a delivered
// recording, a refused log-in that is logged, a stop request).

#include "transmit/ftp_method.h"

#include <chrono>
#include <thread>

#include "settings/settings.h"
#include "transmit/ftp/ftp_settings.h"
#include "transmit/ftp/ftp_test_support.h"
#include "transmit/transmit_dispatcher.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void StoreFtpSettings(const std::string& server) {
    SetSettingBool("Settings", "SendFtp", true);
    WriteFtpSettings({server, "rec", "pw", "/in", FtpTlsMode::kNone});
}

TEST(FtpMethodTest, TakesItsPlaceBetweenEmailAndFolderWithItsOwnTexts) {
    const TransmitDispatcher dispatcher = TransmitDispatcher::Default();
    std::vector<TransmitMethodKind> kinds;
    for (const auto& m : dispatcher.Methods()) kinds.push_back(m->Kind());
    EXPECT_EQ(kinds, (std::vector<TransmitMethodKind>{
                         TransmitMethodKind::Email, TransmitMethodKind::Ftp,
                         TransmitMethodKind::Folder, TransmitMethodKind::Run}));
    FtpTransmitMethod ftp;
    StoreFtpSettings("ftp.example.net");
    EXPECT_TRUE(ftp.Enabled());
    EXPECT_EQ(FormatTransmitText(ftp.Texts().shown, ftp.Target()),
              "You have the send via FTP transmit option enabled. \n But attempt to upload this "
              "recording to \n \"ftp.example.net\" \n failed.");
    EXPECT_STREQ(ftp.Texts().questionCaption, "Send via FTP?");
}

TEST(FtpMethodTest, DeliversReportsAndStops) {
    TempDir folder("vocarta-ftp-method");
    const std::string take = folder.File("take.wav");
    ASSERT_TRUE(WriteRandomFile(take, 300 * 1024));
    FtpTransmitMethod ftp;
    {
        ScriptServer server;
        std::string error;
        ASSERT_TRUE(server.Start("{}", &error)) << error;
        StoreFtpSettings(server.Address());
        FakeContext context;
        EXPECT_EQ(ftp.Send({take, 0}, context), TransmitResult::Ok);
        EXPECT_TRUE(server.Stored("take.wav") == ReadFile(take));
        EXPECT_NE(server.Transcript().find("CWD /in|"), std::string::npos);
        ASSERT_FALSE(context.progress.empty());
        EXPECT_DOUBLE_EQ(context.progress.back(), 1.0);
        EXPECT_EQ(context.status, "take.wav: 100%");
        EXPECT_EQ(context.bytesSent, 300 * 1024) << "for the send log";
    }
    {
        ScriptServer server;
        std::string error;
        ASSERT_TRUE(server.Start(R"({"replies": {"PASS": ["530 Login incorrect."]}})", &error));
        StoreFtpSettings(server.Address());
        FakeContext context;
        EXPECT_EQ(ftp.Send({take, 0}, context), TransmitResult::Failed);
        ASSERT_EQ(context.logged.size(), 1u);
        EXPECT_NE(context.logged[0].find("530 Login incorrect."), std::string::npos);
    }
    {
        ScriptServer server;
        std::string error;
        ASSERT_TRUE(server.Start(R"({"replies": {"USER": [{"hang": true}]}})", &error));
        StoreFtpSettings(server.Address());
        FakeContext context;
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            context.stop.Set();
        });
        EXPECT_EQ(ftp.Send({take, 0}, context), TransmitResult::Cancelled);
        stopper.join();
        EXPECT_NE(server.Transcript().find("USER rec"), std::string::npos);
        EXPECT_TRUE(context.logged.empty());
    }
}

}  // namespace
