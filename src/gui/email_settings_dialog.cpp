#include "gui/email_settings_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"

namespace vocarta {

namespace {
QRadioButton* NamedRadio(QWidget* parent, const char* name, const QString& text) {
    auto* radio = new QRadioButton(text, parent);
    radio->setObjectName(name);
    return radio;
}

QLineEdit* NamedLine(QWidget* parent, const char* name) {
    auto* line = new QLineEdit(parent);
    line->setObjectName(name);
    return line;
}
}  // namespace

EmailSettingsDialog::EmailSettingsDialog(MainDialogView& view, QWidget* parent)
    : QDialog(parent), view_(view) {
    setObjectName("EmailSettingsDialog");
    setWindowTitle(tr("Email Settings"));
    auto* page = new QWidget(this);
    desktop_ =
        NamedRadio(page, "emailDesktopMail", tr("Use the desktop mail program to send email"));
    sendmail_ = NamedRadio(page, "emailSendmail", tr("Use sendmail unix default script"));
    direct_ = NamedRadio(page, "emailDirect",
                         tr("Send directly to other side (work as own SMTP server)"));
    smtp_ = NamedRadio(page, "emailSmtp", tr("Use SMTP to send email directly to the mail server"));
    auto* choices = new QButtonGroup(this);
    for (QRadioButton* radio : {desktop_, sendmail_, direct_, smtp_}) choices->addButton(radio);

    host_ = NamedCombo(page, "emailHost");
    host_->setEditable(true);
    host_->setInsertPolicy(QComboBox::NoInsert);
    for (const std::string& choice : MailHostChoices())
        host_->addItem(QString::fromStdString(choice));
    userName_ = NamedLine(page, "emailUserName");
    password_ = NamedLine(page, "emailPassword");
    password_->setEchoMode(QLineEdit::Password);
    useTls_ =
        NamedCheckBox(page, "emailUseTls", tr("Use secure connection (SSL/TLS) if available"));
    sendDirectWhenDown_ = NamedCheckBox(page, "emailSendDirectWhenDown",
                                        tr("If server is down, attempt to send directly"));
    replyTo_ = NamedLine(page, "emailReplyTo");

    auto* smtpForm = new QFormLayout;
    smtpForm->addRow(tr("SMTP Mail Host:"), host_);
    smtpForm->addRow(tr("User Name:"), userName_);
    smtpForm->addRow(tr("Password:"), password_);
    smtpForm->addRow(QString(), useTls_);
    smtpForm->addRow(QString(), sendDirectWhenDown_);
    auto* reply = new QGroupBox(tr("Default Reply Email"), page);
    auto* replyForm = new QFormLayout(reply);
    replyForm->addRow(tr("Default reply email:"), replyTo_);
    auto* layout = new QVBoxLayout(page);
    for (QRadioButton* radio : {desktop_, sendmail_, direct_, smtp_}) layout->addWidget(radio);
    layout->addLayout(smtpForm);
    layout->addWidget(reply);
    layout->addStretch();

    auto* tabs = new QTabWidget(this);
    tabs->addTab(page, tr("Send Method"));
    auto* outer = new QVBoxLayout(this);
    outer->addWidget(tabs);
    AddOkCancel(this, outer);

    ShowValues(ReadEmailSettingsValues());
    connect(choices, &QButtonGroup::buttonToggled, this, [this] { UpdateEnabled(); });
    // Picking the heading of the list changes nothing.
    connect(host_, &QComboBox::activated, this, [this](int index) {
        if (index == 0) host_->setEditText(QString());
    });
}

void EmailSettingsDialog::ShowValues(const EmailSettingsValues& v) {
    switch (v.choice) {
        case EmailSendChoice::kDesktopMail:
            desktop_->setChecked(true);
            break;
        case EmailSendChoice::kSendmail:
            sendmail_->setChecked(true);
            break;
        case EmailSendChoice::kDirect:
            direct_->setChecked(true);
            break;
        case EmailSendChoice::kSmtp:
            smtp_->setChecked(true);
            break;
    }
    host_->setEditText(QString::fromStdString(v.host));
    userName_->setText(QString::fromStdString(v.userName));
    password_->setText(QString::fromStdString(v.password));
    useTls_->setChecked(v.useTls);
    sendDirectWhenDown_->setChecked(v.sendDirectWhenDown);
    replyTo_->setText(QString::fromStdString(v.replyTo));
    UpdateEnabled();
}

void EmailSettingsDialog::UpdateEnabled() {
    const bool smtp = smtp_->isChecked();
    for (QWidget* w :
         std::initializer_list<QWidget*>{host_, userName_, password_, useTls_, sendDirectWhenDown_})
        w->setEnabled(smtp);
}

EmailSettingsValues EmailSettingsDialog::Values() const {
    EmailSettingsValues v;
    v.choice = desktop_->isChecked()    ? EmailSendChoice::kDesktopMail
               : sendmail_->isChecked() ? EmailSendChoice::kSendmail
               : smtp_->isChecked()     ? EmailSendChoice::kSmtp
                                        : EmailSendChoice::kDirect;
    v.host = host_->currentText().toStdString();
    if (v.host == MailHostChoices().front()) v.host.clear();
    v.userName = userName_->text().toStdString();
    v.password = password_->text().toStdString();
    v.replyTo = replyTo_->text().toStdString();
    v.useTls = useTls_->isChecked();
    v.sendDirectWhenDown = sendDirectWhenDown_->isChecked();
    return v;
}

QWidget* EmailSettingsDialog::FieldOf(EmailSettingsField field) const {
    switch (field) {
        case EmailSettingsField::kReplyTo:
            return replyTo_;
        case EmailSettingsField::kHost:
            return host_;
        case EmailSettingsField::kUserName:
            return userName_;
        case EmailSettingsField::kPassword:
            return password_;
    }
    return replyTo_;
}

void EmailSettingsDialog::accept() {
    if (auto problem = ApplyEmailSettings(Values())) {
        ShowMessage(view_, problem->text, problem->caption, MessageBoxRequest::Icon::Warning);
        FieldOf(problem->field)->setFocus();
        return;
    }
    QDialog::accept();
}

bool OpenEmailSettings(MainDialogView& view, QWidget* parent) {
    EmailSettingsDialog dialog(view, parent);
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace vocarta
