// The "FTP Connection Test Results" window, offscreen, against the scripted FTP
// server: the steps and report as the test runs them, and "Stop" on a server
// that has gone silent.

#include "gui/ftp_test_window.h"

#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

#include "gui/gui_test_support.h"
#include "transmit/ftp/ftp_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

bool WaitUntilFinished(FtpTestWindow& window, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!window.Finished() && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return window.Finished();
}

TEST(FtpTestWindowTest, ShowsEachStepAndTheReport) {
    EnsureApplication();
    ScriptServer server;
    std::string error;
    ASSERT_TRUE(server.Start("{}", &error)) << error;
    FtpSettings settings{server.Address(), "rec", "pw", "/in", FtpTlsMode::kNone};
    FtpTestWindow window(settings);
    ASSERT_TRUE(WaitUntilFinished(window, 20000));
    EXPECT_EQ(window.windowTitle(), "FTP Connection Test Results");
    auto* results = Child<QPlainTextEdit>(window, "ftpTestResults");
    EXPECT_EQ(results->toPlainText().toStdString(),
              "Server \"" + server.Address() +
                  "\" is OK.\nLogon details are OK.\nDirectory changed OK.\n"
                  "Current directory is: /in\nContains:\n [no files]\nFile uploaded OK.\n"
                  "File deleted OK.\n");
    auto* steps = Child<QTreeWidget>(window, "ftpTestSteps");
    ASSERT_EQ(steps->topLevelItemCount(), 7);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(steps->topLevelItem(i)->text(1), "OK") << i;
    EXPECT_FALSE(Child<QPushButton>(window, "ftpTestStop")->isEnabled());
}

TEST(FtpTestWindowTest, StopEndsATestOnASilentServer) {
    EnsureApplication();
    ScriptServer server;
    std::string error;
    ASSERT_TRUE(server.Start(R"({"replies": {"PASS": [{"hang": true}]}})", &error)) << error;
    FtpTestWindow window(FtpSettings{server.Address(), "rec", "pw", "/", FtpTlsMode::kNone});
    QElapsedTimer timer;
    timer.start();
    while (window.Report().State(FtpTestStep::kLogon) != FtpTestState::kRunning &&
           timer.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    Child<QPushButton>(window, "ftpTestStop")->click();
    ASSERT_TRUE(WaitUntilFinished(window, 2000));
    EXPECT_TRUE(window.Report().stopped);
    auto* steps = Child<QTreeWidget>(window, "ftpTestSteps");
    EXPECT_EQ(steps->topLevelItem(int(FtpTestStep::kLogon))->text(1), "Failed");
    EXPECT_EQ(steps->topLevelItem(int(FtpTestStep::kUpload))->text(1), "Not run");
}

}  // namespace
