// The FTP method as the dispatcher runs it: its place in the fixed order, its
// texts, and against the scripted FTP server a refused log-in and a stop.

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

// Delivery through the dispatcher with the bytes for the send log:
// tests/app/test_send_mail_ftp.py.
TEST(FtpMethodTest, ARefusedLogInIsLoggedAndAStopCancels) {
    TempDir folder("vocarta-ftp-method");
    const std::string take = folder.File("take.wav");
    ASSERT_TRUE(WriteRandomFile(take, 300 * 1024));
    FtpTransmitMethod ftp;
    for (const char* script : {R"({"replies": {"PASS": ["530 Login incorrect."]}})",
                               R"({"replies": {"USER": [{"hang": true}]}})"}) {
        const bool refuse = std::string(script).find("PASS") != std::string::npos;
        ScriptServer server;
        std::string error;
        ASSERT_TRUE(server.Start(script, &error)) << error;
        StoreFtpSettings(server.Address());
        FakeContext context;
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(refuse ? 0 : 300));
            if (!refuse) context.stop.Set();
        });
        EXPECT_EQ(ftp.Send({take, 0}, context),
                  refuse ? TransmitResult::Failed : TransmitResult::Cancelled);
        stopper.join();
        EXPECT_EQ(context.logged.size(), refuse ? 1u : 0u);
        if (refuse) {
            EXPECT_NE(context.logged[0].find("530 Login incorrect."), std::string::npos);
        }
        EXPECT_NE(server.Transcript().find("USER rec"), std::string::npos);
    }
}

}  // namespace
