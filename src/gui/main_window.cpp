#include "gui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>

#include "app/session/file_naming.h"
#include "app/session/session_dispatcher.h"
#include "audio/codecs/sink_factory.h"
#include "gui/icons.h"
#include "gui/level_meter.h"
#include "gui/options_dialog.h"
#include "gui/recordings_window.h"
#include "gui/schedule_list_window.h"
#include "gui/time_display.h"
#include "gui/tray_icon.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kWindowTitle = "Vocarta Sound Recorder";
constexpr int kFinishedNoticeMs = 10000;
// Tenths of a percent: as fine as the send thread reports.
constexpr int kSendProgressSteps = 1000;

QMessageBox::Icon ToQtIcon(MessageBoxRequest::Icon icon) {
    switch (icon) {
        case MessageBoxRequest::Icon::Question:
            return QMessageBox::Question;
        case MessageBoxRequest::Icon::Warning:
            return QMessageBox::Warning;
        case MessageBoxRequest::Icon::Error:
            return QMessageBox::Critical;
        case MessageBoxRequest::Icon::Information:
            break;
    }
    return QMessageBox::Information;
}

QLabel* NewLabel(QWidget* parent, const char* name) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    return label;
}

// "1:02:03.456" -> "1:02:03": the title changes once a second, not 77 times.
QString WholeSeconds(const QString& time) {
    const int dot = time.indexOf('.');
    return dot < 0 ? time : time.left(dot);
}
}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setObjectName("MainWindow");
    setWindowTitle(kWindowTitle);
    setWindowIcon(ProgramIcon());
    actions_ = CreateSessionActions(this);
    BuildMenus();
    BuildToolBar();
    setCentralWidget(BuildDisplay());
    statusBar()->setSizeGripEnabled(false);
    BuildSendIndicator();
    tray_ = new TrayIcon(actions_, this);
    ConnectCommands();
    SetRecordingIndicator(false);
    resize(460, 280);
}

MainWindow::~MainWindow() = default;

void MainWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(actions_.options);
    file->addAction(actions_.resetAutoNumber);
    file->addSeparator();
    file->addAction(actions_.quit);
    QMenu* record = menuBar()->addMenu(tr("&Recording"));
    for (QAction* a :
         {actions_.record, actions_.pause, actions_.stop, actions_.retake, actions_.play})
        record->addAction(a);
    record->addSeparator();
    QAction* schedules = record->addAction(tr("S&cheduled Recordings..."), this,
                                           [this] { OpenScheduleListWindow(*this, this); });
    schedules->setObjectName("scheduledRecordings");
    QAction* findRecordings = record->addAction(tr("&Find and Play Recordings..."), this,
                                                [this] { OpenRecordingsWindow(*this, this); });
    findRecordings->setObjectName("findRecordings");
}

void MainWindow::BuildToolBar() {
    toolBar_ = addToolBar(tr("Recording"));
    toolBar_->setObjectName("sessionToolBar");
    toolBar_->setMovable(false);
    toolBar_->setIconSize(QSize(32, 32));
    toolBar_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    for (QAction* a :
         {actions_.record, actions_.pause, actions_.stop, actions_.retake, actions_.play}) {
        toolBar_->addAction(a);
        // The keys belong to the window; a focused button must not take Space.
        if (QWidget* button = toolBar_->widgetForAction(a)) button->setFocusPolicy(Qt::NoFocus);
    }
}

QWidget* MainWindow::BuildDisplay() {
    auto* display = new QWidget(this);
    indicator_ = NewLabel(display, "recordingIndicator");
    status_ = NewLabel(display, "status");
    format_ = NewLabel(display, "format");
    format_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    time_ = new TimeDisplay(display);
    time_->setObjectName("time");
    QFont timeFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    timeFont.setPointSizeF(timeFont.pointSizeF() * 2.5);
    time_->setFont(timeFont);

    auto* grid = new QGridLayout(display);
    auto* top = new QHBoxLayout;
    top->addWidget(indicator_);
    top->addWidget(status_, 1);
    top->addWidget(format_, 1);
    grid->addLayout(top, 0, 0, 1, 2);
    grid->addWidget(time_, 1, 0, 1, 2);
    static const char* const kChannelNames[] = {"L", "R"};
    for (int i = 0; i < 2; ++i) {
        meters_[size_t(i)] = new LevelMeter(display);
        meters_[size_t(i)]->setObjectName(i == 0 ? "levelLeft" : "levelRight");
        grid->addWidget(new QLabel(kChannelNames[i], display), 2 + i, 0);
        grid->addWidget(meters_[size_t(i)], 2 + i, 1);
    }
    grid->setColumnStretch(1, 1);
    return display;
}

void MainWindow::ConnectCommands() {
    auto command = [this](QAction* action, SessionCommandKind kind) {
        connect(action, &QAction::triggered, this, [this, kind] { Send(kind); });
    };
    command(actions_.record, SessionCommandKind::kRecord);
    command(actions_.pause, SessionCommandKind::kPause);
    command(actions_.stop, SessionCommandKind::kStop);
    command(actions_.retake, SessionCommandKind::kRestart);
    command(actions_.play, SessionCommandKind::kPlay);
    command(actions_.showWindow, SessionCommandKind::kBringToFront);
    connect(actions_.options, &QAction::triggered, this, &MainWindow::OpenOptions);
    connect(actions_.resetAutoNumber, &QAction::triggered, this,
            [this] { ResetAutoNumber(*this); });
    connect(actions_.quit, &QAction::triggered, this, &MainWindow::RequestClose);
    connect(tray_, &TrayIcon::Activated, this,
            [this] { Send(SessionCommandKind::kBringToFront, CommandSource::kTray); });
}

void MainWindow::Send(SessionCommandKind kind, CommandSource source) {
    if (commands_) commands_->Dispatch(SessionCommand::Of(kind), source);
}

void MainWindow::ShowWindow() {
    show();
}

void MainWindow::HideWindow() {
    if (closeRequested_ && !tray_->IsShown()) {
        LogEvent("No tray to hide to: the window is minimised");
        showMinimized();
        return;
    }
    hide();
}

void MainWindow::BringToFront() {
    show();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    raise();
    activateWindow();
}

bool MainWindow::IsWindowVisible() const {
    return isVisible();
}

void MainWindow::CloseWindow() {
    closing_ = true;
    close();
}

void MainWindow::RequestClose() {
    if (!commands_) {
        CloseWindow();
        return;
    }
    closeRequested_ = true;
    Send(SessionCommandKind::kExit);
    closeRequested_ = false;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (closing_ || !commands_) {
        event->accept();
        return;
    }
    // The session decides (it may ask first); it closes the window itself.
    event->ignore();
    QTimer::singleShot(0, this, &MainWindow::RequestClose);
}

int MainWindow::MessageBox(const MessageBoxRequest& request) {
    QWidget* over = QApplication::activeModalWidget();
    QMessageBox box(over ? over : this);
    box.setWindowTitle(QString::fromStdString(request.title));
    box.setText(QString::fromStdString(request.text));
    box.setIcon(ToQtIcon(request.icon));
    std::vector<std::string> texts = request.buttons;
    if (texts.empty()) texts.push_back("OK");
    std::vector<QPushButton*> buttons;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const bool safe = int(i) == request.SafeChoice();
        buttons.push_back(box.addButton(QString::fromStdString(texts[i]),
                                        safe ? QMessageBox::RejectRole : QMessageBox::AcceptRole));
    }
    if (request.defaultButton >= 0 && request.defaultButton < int(buttons.size()))
        box.setDefaultButton(buttons[size_t(request.defaultButton)]);
    if (request.SafeChoice() >= 0 && request.SafeChoice() < int(buttons.size()))
        box.setEscapeButton(buttons[size_t(request.SafeChoice())]);
    box.exec();
    for (std::size_t i = 0; i < buttons.size(); ++i)
        if (box.clickedButton() == buttons[i]) return int(i);
    return request.SafeChoice();
}

bool MainWindow::PromptText(const std::string& title, const std::string& label,
                            const std::string& initial, std::string& answer) {
    bool ok = false;
    QWidget* over = QApplication::activeModalWidget();
    QString text = QInputDialog::getText(over ? over : this, QString::fromStdString(title),
                                         QString::fromStdString(label), QLineEdit::Normal,
                                         QString::fromStdString(initial), &ok);
    answer = ok ? text.toStdString() : std::string();
    return ok;
}

void MainWindow::SetStatusText(const std::string& text) {
    status_->setText(QString::fromStdString(text));
    UpdateTitle();
}

void MainWindow::SetTimeText(const std::string& text) {
    const QString shown = QString::fromStdString(text);
    if (shown == time_->Text()) return;
    const bool newSecond = WholeSeconds(shown) != WholeSeconds(time_->Text());
    time_->SetText(shown);
    if (newSecond) UpdateTitle();
}

void MainWindow::SetFormatText(const std::string& text) {
    format_->setText(QString::fromStdString(text));
}

void MainWindow::SetSessionLook(SessionLook look) {
    look_ = look;
    if (look != SessionLook::Recording) SetRecordingIndicator(false);
    RefreshTray();
    UpdateTitle();
}

// Only a recording the user paused wears the pause badge; waiting for voice
// input is still a recording under way.
void MainWindow::RefreshTray() {
    const SessionLook shown = pausedLook_                  ? SessionLook::Paused
                              : look_ == SessionLook::Idle ? SessionLook::Idle
                                                           : SessionLook::Recording;
    tray_->SetIndicator(shown, indicatorLit_);
}

void MainWindow::SetTimeDimmed(bool dimmed) {
    if (dimmed == timeDimmed_) return;
    timeDimmed_ = dimmed;
    time_->SetDimmed(dimmed);
}

void MainWindow::SetButtons(const SessionButtons& buttons) {
    ApplySessionButtons(actions_, buttons);
    pausedLook_ = buttons.recordingPaused;
    RefreshTray();
    UpdateTitle();
    SwapPlayAndPause(buttons.playbackPaused);
}

void MainWindow::SetLevels(const std::vector<int>& levelsDb) {
    const int left = levelsDb.empty() ? LevelMeter::kSilenceDb : levelsDb[0];
    // A mono source shows on both bars.
    const int right = levelsDb.size() > 1 ? levelsDb[1] : left;
    meters_[0]->SetLevel(left);
    meters_[1]->SetLevel(right);
}

void MainWindow::SetRecordingIndicator(bool lit) {
    indicatorLit_ = lit;
    indicator_->setPixmap(IndicatorPixmap(lit));
    indicator_->setAccessibleName(lit ? tr("Recording") : QString());
    RefreshTray();
}

void MainWindow::SetTrayToolTip(const std::string& text) {
    tray_->SetToolTip(QString::fromStdString(text));
}

void MainWindow::RecordingFinished(const std::string& path) {
    statusBar()->showMessage(
        tr("Recording saved: %1").arg(QFileInfo(QString::fromStdString(path)).fileName()),
        kFinishedNoticeMs);
}

void MainWindow::BuildSendIndicator() {
    sendStatus_ = NewLabel(this, "sendStatus");
    sendProgress_ = new QProgressBar(this);
    sendProgress_->setObjectName("sendProgress");
    sendProgress_->setRange(0, kSendProgressSteps);
    sendProgress_->setMaximumWidth(120);
    sendProgress_->setTextVisible(false);
    statusBar()->addPermanentWidget(sendStatus_);
    statusBar()->addPermanentWidget(sendProgress_);
    ShowSendIndicator();
}

void MainWindow::SetSendStatus(const std::string& text) {
    sendStatus_->setText(QString::fromStdString(text));
    ShowSendIndicator();
}

void MainWindow::SetSendProgress(double fraction) {
    sendProgress_->setValue(int(std::clamp(fraction, 0.0, 1.0) * kSendProgressSteps));
    ShowSendIndicator();
}

// Shown while the send thread has something to say: a status, or progress.
void MainWindow::ShowSendIndicator() {
    const bool sending = !sendStatus_->text().isEmpty() || sendProgress_->value() > 0;
    sendStatus_->setVisible(sending);
    sendProgress_->setVisible(sending);
}

void MainWindow::SetSendTitle(const std::string& title) {
    sendTitle_ = QString::fromStdString(title);
    UpdateTitle();
}

void MainWindow::SwapPlayAndPause(bool swapped) {
    if (swapped == playPauseSwapped_) return;
    playPauseSwapped_ = swapped;
    // Held playback: Play takes the place of Pause, and goes on from there.
    QAction* beforeStop = swapped ? actions_.play : actions_.pause;
    QAction* last = swapped ? actions_.pause : actions_.play;
    toolBar_->removeAction(actions_.pause);
    toolBar_->removeAction(actions_.play);
    toolBar_->insertAction(actions_.stop, beforeStop);
    toolBar_->addAction(last);
    for (QAction* a : {actions_.play, actions_.pause})
        if (QWidget* button = toolBar_->widgetForAction(a)) button->setFocusPolicy(Qt::NoFocus);
}

void MainWindow::UpdateTitle() {
    if (!sendTitle_.isEmpty()) {
        setWindowTitle(sendTitle_);
        return;
    }
    if (look_ == SessionLook::Idle) {
        setWindowTitle(kWindowTitle);
        return;
    }
    // The status text stays "Recording..." while paused; the title says Paused.
    const QString state = pausedLook_ ? tr("Paused") : status_->text();
    setWindowTitle(
        QStringLiteral("%1 %2 - %3").arg(state, WholeSeconds(time_->Text()), kWindowTitle));
}

int MainWindow::MeterLevel(int channel) const {
    return meters_[size_t(channel == 0 ? 0 : 1)]->Level();
}

bool MainWindow::OpenOptions() {
    OptionsDialog options(*this, this);
    emit OptionsOpened(&options);
    if (options.exec() != QDialog::Accepted) return false;
    // A recording keeps its format; the next one shows the new format when it starts.
    if (look_ == SessionLook::Idle) SetFormatText(CurrentFormatDisplayText());
    return true;
}

QString MainWindow::StatusText() const {
    return status_->text();
}
QString MainWindow::TimeText() const {
    return time_->Text();
}
QString MainWindow::FormatText() const {
    return format_->text();
}

}  // namespace vocarta
