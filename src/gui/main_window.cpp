#include "gui/main_window.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "app/main_dialog.h"

namespace vocarta {

namespace {
constexpr const char* kWindowTitle = "Vocarta Sound Recorder";

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

QLabel* AddLabel(QVBoxLayout* layout, const char* name) {
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setAlignment(Qt::AlignCenter);
    layout->addWidget(label);
    return label;
}
}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(kWindowTitle);
    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    status_ = AddLabel(layout, "status");
    time_ = AddLabel(layout, "time");
    format_ = AddLabel(layout, "format");

    QFont timeFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    timeFont.setPointSizeF(timeFont.pointSizeF() * 2.5);
    time_->setFont(timeFont);
    setCentralWidget(central);
    resize(360, 180);
}

MainWindow::~MainWindow() = default;

void MainWindow::ShowWindow() {
    show();
}

void MainWindow::HideWindow() {
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

void MainWindow::closeEvent(QCloseEvent* event) {
    if (closing_ || !dialog_) {
        event->accept();
        return;
    }
    // The controller decides (it may ask first); it closes the window itself.
    event->ignore();
    QTimer::singleShot(0, this, [this] {
        if (dialog_) dialog_->Close();
    });
}

int MainWindow::MessageBox(const MessageBoxRequest& request) {
    QMessageBox box(this);
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
    QString text =
        QInputDialog::getText(this, QString::fromStdString(title), QString::fromStdString(label),
                              QLineEdit::Normal, QString::fromStdString(initial), &ok);
    answer = ok ? text.toStdString() : std::string();
    return ok;
}

void MainWindow::SetStatusText(const std::string& text) {
    status_->setText(QString::fromStdString(text));
}

void MainWindow::SetTimeText(const std::string& text) {
    time_->setText(QString::fromStdString(text));
}

void MainWindow::SetFormatText(const std::string& text) {
    format_->setText(QString::fromStdString(text));
}

QString MainWindow::StatusText() const {
    return status_->text();
}
QString MainWindow::TimeText() const {
    return time_->text();
}
QString MainWindow::FormatText() const {
    return format_->text();
}

}  // namespace vocarta
