#pragma once
// The main window shell: title, status text, time display and format text. It
// only wires widgets to MainDialog, the controller that owns the session; the
// session's buttons and meters join it later.
//
// Threading contract: GUI thread only.

#include <QMainWindow>

#include "app/main_dialog_view.h"

class QLabel;

namespace vocarta {

class MainDialog;

class MainWindow final : public QMainWindow, public MainDialogView {
    Q_OBJECT

  public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // The controller asked when the user closes the window. Must outlive the
    // window's event handling, or be detached with nullptr.
    void AttachDialog(MainDialog* dialog) { dialog_ = dialog; }

    void ShowWindow() override;
    void HideWindow() override;
    void BringToFront() override;
    bool IsWindowVisible() const override;
    bool HasFrame() const override { return !closing_; }
    void CloseWindow() override;

    int MessageBox(const MessageBoxRequest& request) override;
    bool PromptText(const std::string& title, const std::string& label, const std::string& initial,
                    std::string& answer) override;

    void SetStatusText(const std::string& text) override;
    void SetTimeText(const std::string& text) override;
    void SetFormatText(const std::string& text) override;

    QString StatusText() const;
    QString TimeText() const;
    QString FormatText() const;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    MainDialog* dialog_ = nullptr;
    bool closing_ = false;
    QLabel* status_;
    QLabel* time_;
    QLabel* format_;
};

}  // namespace vocarta
