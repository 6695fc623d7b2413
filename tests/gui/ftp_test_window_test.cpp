// The "FTP Connection Test Results" window, offscreen, against the scripted FTP
// server: "Stop" on a server that has gone silent. A whole run through the
// window: transmit_page_test.cpp; the report's texts: ftp_server_test.cpp.

#include "gui/ftp_test_window.h"

#include <QPushButton>
#include <QTreeWidget>

#include "gui/gui_test_support.h"
#include "transmit/ftp/ftp_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

TEST(FtpTestWindowTest, StopEndsATestOnASilentServer) {
    EnsureApplication();
    ScriptServer server;
    std::string error;
    ASSERT_TRUE(server.Start(R"({"replies": {"PASS": [{"hang": true}]}})", &error)) << error;
    FtpTestWindow window(FtpSettings{server.Address(), "rec", "pw", "/", FtpTlsMode::kNone});
    RunUntil([&] { return window.Report().State(FtpTestStep::kLogon) == FtpTestState::kRunning; });
    Child<QPushButton>(window, "ftpTestStop")->click();
    ASSERT_TRUE(RunUntil([&] { return window.Finished(); }, 2000));
    EXPECT_TRUE(window.Report().stopped);
    auto* steps = Child<QTreeWidget>(window, "ftpTestSteps");
    EXPECT_EQ(steps->topLevelItem(int(FtpTestStep::kLogon))->text(1) + "|" +
                  steps->topLevelItem(int(FtpTestStep::kUpload))->text(1),
              "Failed|Not run");
}

}  // namespace
