#pragma once
// "Email Settings": how e-mail leaves (the desktop mail program, sendmail,
// straight to the recipient's server, or an SMTP mail host with its login), and
// the default reply address. OK runs the checks of email_settings_form.h in
// order and shows the first refusal with its caption against its field; values
// that pass are saved in their fixed order. The Transmit page opens it.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "transmit/mail/email_settings_form.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QRadioButton;

namespace vocarta {

class MainDialogView;

class EmailSettingsDialog final : public QDialog {
    Q_OBJECT

  public:
    // Messages go through `view`.
    explicit EmailSettingsDialog(MainDialogView& view, QWidget* parent = nullptr);

    // What the controls hold now.
    EmailSettingsValues Values() const;

    void accept() override;

  private:
    void ShowValues(const EmailSettingsValues& values);
    // The host, login and box fields only mean something for SMTP.
    void UpdateEnabled();
    QWidget* FieldOf(EmailSettingsField field) const;

    MainDialogView& view_;
    QRadioButton* desktop_;
    QRadioButton* sendmail_;
    QRadioButton* direct_;
    QRadioButton* smtp_;
    QComboBox* host_;
    QLineEdit* userName_;
    QLineEdit* password_;
    QCheckBox* useTls_;
    QCheckBox* sendDirectWhenDown_;
    QLineEdit* replyTo_;
};

// Opens the window modally over `parent`; true when it was accepted (and saved).
bool OpenEmailSettings(MainDialogView& view, QWidget* parent = nullptr);

}  // namespace vocarta
