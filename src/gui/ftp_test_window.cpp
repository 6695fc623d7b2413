#include "gui/ftp_test_window.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace vocarta {

namespace {

constexpr int kProgressSteps = 1000;

QString StateText(FtpTestState state) {
    switch (state) {
        case FtpTestState::kNotRun:
            return {};
        case FtpTestState::kRunning:
            return QObject::tr("Running...");
        case FtpTestState::kPassed:
            return QObject::tr("OK");
        case FtpTestState::kFailed:
            return QObject::tr("Failed");
        case FtpTestState::kSkipped:
            return QObject::tr("Not run");
    }
    return {};
}

}  // namespace

FtpTestWindow::FtpTestWindow(const FtpSettings& settings, QWidget* parent) : QDialog(parent) {
    setObjectName("FtpTestWindow");
    setWindowTitle(kFtpTestResultsTitle);
    status_ = new QLabel(this);
    status_->setObjectName("ftpTestStatus");
    progress_ = new QProgressBar(this);
    progress_->setObjectName("ftpTestProgress");
    progress_->setRange(0, kProgressSteps);
    steps_ = new QTreeWidget(this);
    steps_->setObjectName("ftpTestSteps");
    results_ = new QPlainTextEdit(this);
    results_->setObjectName("ftpTestResults");
    results_->setReadOnly(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    stopButton_ = buttons->addButton(tr("Stop"), QDialogButtonBox::ActionRole);
    stopButton_->setObjectName("ftpTestStop");
    connect(stopButton_, &QPushButton::clicked, this, &FtpTestWindow::Stop);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(status_);
    layout->addWidget(progress_);
    layout->addWidget(steps_);
    layout->addWidget(results_, 1);
    layout->addWidget(buttons);
    BuildSteps();
    resize(560, 520);

    FtpTestObserver observer;
    observer.stop = StopFlag::FromFlag(stopRequested_);
    observer.progress = [this](double f) {
        QMetaObject::invokeMethod(
            this, [this, f] { progress_->setValue(int(f * kProgressSteps)); },
            Qt::QueuedConnection);
    };
    observer.title = [this](const std::string& t) {
        QMetaObject::invokeMethod(
            this, [this, t] { setWindowTitle(QString::fromStdString(t)); }, Qt::QueuedConnection);
    };
    observer.status = [this](const std::string& s) {
        QMetaObject::invokeMethod(
            this, [this, s] { status_->setText(QString::fromStdString(s)); }, Qt::QueuedConnection);
    };
    observer.changed = [this](const FtpTestReport& report) {
        QMetaObject::invokeMethod(
            this, [this, report] { ShowReport(report); }, Qt::QueuedConnection);
    };
    worker_ = std::thread([this, settings, observer] {
        FtpTestReport report = RunFtpConnectionTest(settings, observer);
        QMetaObject::invokeMethod(
            this, [this, report] { Finish(report); }, Qt::QueuedConnection);
    });
}

FtpTestWindow::~FtpTestWindow() {
    stopRequested_ = true;
    if (worker_.joinable()) worker_.join();
}

void FtpTestWindow::BuildSteps() {
    steps_->setColumnCount(3);
    steps_->setHeaderLabels({tr("Step"), tr("Result"), tr("Reason")});
    steps_->setRootIsDecorated(false);
    steps_->header()->setSectionResizeMode(2, QHeaderView::Stretch);
    for (int i = 0; i < kFtpTestStepCount; ++i)
        new QTreeWidgetItem(steps_, {tr(FtpTestStepName(FtpTestStep(i))), QString(), QString()});
    steps_->setMaximumHeight(steps_->sizeHintForRow(0) * (kFtpTestStepCount + 2));
}

void FtpTestWindow::ShowReport(const FtpTestReport& report) {
    report_ = report;
    for (int i = 0; i < kFtpTestStepCount; ++i) {
        QTreeWidgetItem* row = steps_->topLevelItem(i);
        row->setText(1, StateText(report.states[i]));
        const QString reason = QString::fromStdString(report.reasons[i]);
        row->setText(2, reason);
        row->setToolTip(2, reason);
    }
    // The listing may hold names in a server's own code page: shown as well as
    // they can be, never refused.
    results_->setPlainText(QString::fromUtf8(report.Text()));
}

void FtpTestWindow::Finish(const FtpTestReport& report) {
    ShowReport(report);
    finished_ = true;
    stopButton_->setEnabled(false);
    setWindowTitle(kFtpTestResultsTitle);
    status_->setText(report.stopped    ? tr("The test was stopped.")
                     : report.Passed() ? tr("Every step passed.")
                                       : tr("The test found a problem."));
    progress_->setValue(kProgressSteps);
    emit testFinished();
}

void FtpTestWindow::Stop() {
    stopRequested_ = true;
    stopButton_->setEnabled(false);
}

FtpTestWindow* ShowFtpConnectionTest(const FtpSettings& settings, QWidget* parent) {
    auto* window = new FtpTestWindow(settings, parent);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
    return window;
}

}  // namespace vocarta
