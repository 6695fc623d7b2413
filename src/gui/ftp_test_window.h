#pragma once
// The "FTP Connection Test Results" window: runs the FTP connection test
// (transmit/ftp/ftp_connection_test.h) for the server the Transmit page names,
// shows each of its seven steps as it runs, the progress and status, and then
// the report with the reason of each failed step. "Stop" ends a running test;
// closing the window stops it too.
//
// Threading contract: the window lives on the GUI thread; the test runs on a
// worker thread of its own, whose reports reach the window as queued calls.
// The destructor asks the worker to stop and waits for it (a stop is seen
// within 200 ms).

#include <QDialog>
#include <atomic>
#include <thread>

#include "transmit/ftp/ftp_connection_test.h"

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace vocarta {

class FtpTestWindow final : public QDialog {
    Q_OBJECT

  public:
    // Starts the test at once with `settings` (the page's values, saved or not).
    explicit FtpTestWindow(const FtpSettings& settings, QWidget* parent = nullptr);
    ~FtpTestWindow() override;

    bool Finished() const { return finished_; }
    const FtpTestReport& Report() const { return report_; }

  signals:
    void testFinished();

  private:
    void BuildSteps();
    void ShowReport(const FtpTestReport& report);
    void Finish(const FtpTestReport& report);
    void Stop();

    QLabel* status_;
    QProgressBar* progress_;
    QTreeWidget* steps_;
    QPlainTextEdit* results_;
    QPushButton* stopButton_;
    FtpTestReport report_;
    bool finished_ = false;
    std::atomic<bool> stopRequested_{false};
    std::thread worker_;
};

// Opens the window for `settings` over `parent`; it deletes itself when closed.
// For the Transmit page's "FTP Connection Test" button.
FtpTestWindow* ShowFtpConnectionTest(const FtpSettings& settings, QWidget* parent);

}  // namespace vocarta
