#include "gui/transmit_options_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/session/file_naming.h"
#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"
#include "gui/email_settings_dialog.h"
#include "gui/ftp_test_window.h"
#include "settings/settings.h"
#include "toolkit/paths.h"
#include "transmit/command_template.h"
#include "transmit/send_log.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {

// A day: longer recordings are sent whatever the limit.
constexpr int kLengthLimitMaxSeconds = 86400;

QString Text(const std::string& s) {
    return QString::fromStdString(s);
}

QLineEdit* NamedLine(QWidget* parent, const char* name) {
    auto* line = new QLineEdit(parent);
    line->setObjectName(name);
    return line;
}

QPushButton* NamedButton(QWidget* parent, const char* name, const QString& text) {
    auto* button = new QPushButton(text, parent);
    button->setObjectName(name);
    return button;
}

}  // namespace

TransmitOptionsPage::TransmitOptionsPage(MainDialogView& view,
                                         std::function<std::string()> recordFolder, QWidget* parent)
    : QWidget(parent), view_(view), recordFolder_(std::move(recordFolder)) {
    setObjectName("TransmitOptionsPage");
    if (!recordFolder_) recordFolder_ = [] { return RecordFolder(); };
    auto* where = new QLabel(
        tr("Every send is written to %1").arg(Text(SendLogPath()).toHtmlEscaped()), this);
    where->setObjectName("sendLogPath");
    where->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(BuildEmailBox());
    layout->addWidget(BuildFtpBox());
    layout->addWidget(BuildFolderBox());
    layout->addWidget(BuildRunBox());
    layout->addWidget(BuildWhenBox());
    layout->addWidget(where);
    layout->addStretch();
    for (QCheckBox* box : {sendEmail_, sendFtp_, sendFolder_, sendRun_})
        connect(box, &QCheckBox::toggled, this, &TransmitOptionsPage::UpdateEnabled);
    ShowValues(ReadTransmitPageValues());
}

QWidget* TransmitOptionsPage::BuildEmailBox() {
    auto* box = new QGroupBox(tr("Send via email"), this);
    sendEmail_ = NamedCheckBox(box, "sendEmail", tr("Email each recording to:"));
    emailTo_ = NamedLine(box, "emailTo");
    emailTo_->setToolTip(tr("One or more addresses, separated by commas"));
    auto* settings = NamedButton(box, "emailSettings", tr("Email Settings"));
    auto* row = new QHBoxLayout;
    row->addWidget(emailTo_);
    row->addWidget(settings);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(sendEmail_);
    layout->addLayout(row);
    connect(settings, &QPushButton::clicked, this, [this] { OpenEmailSettings(view_, this); });
    return box;
}

QWidget* TransmitOptionsPage::BuildFtpBox() {
    auto* box = new QGroupBox(tr("Send via FTP"), this);
    sendFtp_ = NamedCheckBox(box, "sendFtp", tr("Upload each recording to this FTP server"));
    ftpServer_ = NamedLine(box, "ftpServer");
    ftpServer_->setToolTip(tr("host or host:port"));
    ftpUserName_ = NamedLine(box, "ftpUserName");
    ftpPassword_ = NamedLine(box, "ftpPassword");
    ftpPassword_->setEchoMode(QLineEdit::Password);
    ftpDirectory_ = NamedLine(box, "ftpDirectory");
    ftpTlsMode_ = NamedCombo(box, "ftpTlsMode");
    // Items in the order of the stored numbers.
    ftpTlsMode_->addItems({tr("No encryption (plain FTP)"), tr("TLS when the server offers it"),
                           tr("TLS required"), tr("Implicit TLS (FTPS, port 990)")});
    auto* test = NamedButton(box, "ftpConnectionTest", tr("FTP Connection Test"));
    ftpTest_ = test;
    auto* form = new QFormLayout;
    form->addRow(tr("Server:"), ftpServer_);
    form->addRow(tr("User name:"), ftpUserName_);
    form->addRow(tr("Password:"), ftpPassword_);
    form->addRow(tr("Directory:"), ftpDirectory_);
    form->addRow(tr("Encryption:"), ftpTlsMode_);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(sendFtp_);
    layout->addLayout(form);
    layout->addWidget(test, 0, Qt::AlignRight);
    connect(test, &QPushButton::clicked, this, &TransmitOptionsPage::TestFtpConnection);
    return box;
}

void TransmitOptionsPage::TestFtpConnection() {
    const TransmitPageValues::Ftp ftp = *ChosenValues().ftp;
    if (ftp.server.empty() || ftp.userName.empty()) {
        // The same words as on OK: nothing can be tested without them.
        ShowMessage(view_, "FTP Server and user details are required.", "Invalid FTP Server",
                    MessageBoxRequest::Icon::Warning);
        (ftp.server.empty() ? ftpServer_ : ftpUserName_)->setFocus();
        return;
    }
    ShowFtpConnectionTest(ftp.Settings(), this);
}

QWidget* TransmitOptionsPage::BuildFolderBox() {
    auto* box = new QGroupBox(tr("Send to folder"), this);
    sendFolder_ = NamedCheckBox(box, "sendFolder", tr("Copy each recording to this folder"));
    sendFolderDir_ = NamedLine(box, "sendFolderDir");
    auto* browse = NamedButton(box, "browseSendFolder", tr("Browse for folder"));
    browseFolder_ = browse;
    auto* row = new QHBoxLayout;
    row->addWidget(sendFolderDir_);
    row->addWidget(browse);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(sendFolder_);
    layout->addLayout(row);
    connect(browse, &QPushButton::clicked, this, &TransmitOptionsPage::BrowseFolder);
    return box;
}

QWidget* TransmitOptionsPage::BuildRunBox() {
    auto* box = new QGroupBox(tr("Run executable"), this);
    sendRun_ = NamedCheckBox(box, "sendRun", tr("Run a program with each recording"));
    sendRunExe_ = NamedLine(box, "sendRunExe");
    sendRunExe_->setToolTip(
        tr("The program and its arguments; %s stands for the recording's path"));
    auto* browse = NamedButton(box, "browseSendRunExe", tr("Browse for app"));
    browseProgram_ = browse;
    auto* row = new QHBoxLayout;
    row->addWidget(sendRunExe_);
    row->addWidget(browse);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(sendRun_);
    layout->addLayout(row);
    connect(browse, &QPushButton::clicked, this, &TransmitOptionsPage::BrowseProgram);
    return box;
}

QWidget* TransmitOptionsPage::BuildWhenBox() {
    auto* box = new QGroupBox(tr("Before sending"), this);
    prompt_ = NamedCheckBox(box, "promptTransmit", tr("Ask before each transmit method"));
    lengthLimit_ = NumberBox(box, "recordingLengthLimit", 0, kLengthLimitMaxSeconds);
    auto* form = new QFormLayout(box);
    form->addRow(prompt_);
    form->addRow(tr("Do not send when length is equal to or less than (seconds):"), lengthLimit_);
    return box;
}

void TransmitOptionsPage::ShowValues(const TransmitPageValues& v) {
    if (v.email) {
        sendEmail_->setChecked(v.email->enabled);
        emailTo_->setText(Text(v.email->to));
    }
    if (v.ftp) {
        sendFtp_->setChecked(v.ftp->enabled);
        ftpServer_->setText(Text(v.ftp->server));
        ftpUserName_->setText(Text(v.ftp->userName));
        ftpPassword_->setText(Text(v.ftp->password));
        ftpDirectory_->setText(Text(v.ftp->directory));
        ftpTlsMode_->setCurrentIndex(FtpTlsModeNumber(v.ftp->tls));
    }
    sendFolder_->setChecked(v.sendFolder);
    sendFolderDir_->setText(Text(v.sendFolderDir));
    sendRun_->setChecked(v.sendRun);
    sendRunExe_->setText(Text(v.sendRunExe));
    prompt_->setChecked(v.prompt);
    lengthLimit_->setValue(v.lengthLimitSeconds);
    UpdateEnabled();
}

TransmitPageValues TransmitOptionsPage::ChosenValues() const {
    TransmitPageValues v;
    v.email = TransmitPageValues::Email{sendEmail_->isChecked(),
                                        emailTo_->text().trimmed().toStdString()};
    // A password may begin or end with a blank; it is taken as typed.
    v.ftp = TransmitPageValues::Ftp{sendFtp_->isChecked(),
                                    ftpServer_->text().trimmed().toStdString(),
                                    ftpUserName_->text().trimmed().toStdString(),
                                    ftpPassword_->text().toStdString(),
                                    ftpDirectory_->text().trimmed().toStdString(),
                                    FtpTlsModeFromNumber(ftpTlsMode_->currentIndex())};
    v.sendFolder = sendFolder_->isChecked();
    v.sendFolderDir = sendFolderDir_->text().trimmed().toStdString();
    v.sendRun = sendRun_->isChecked();
    v.sendRunExe = sendRunExe_->text().trimmed().toStdString();
    v.prompt = prompt_->isChecked();
    v.lengthLimitSeconds = lengthLimit_->value();
    return v;
}

bool TransmitOptionsPage::Apply() {
    const auto problem = ApplyTransmitPage(ChosenValues(), recordFolder_());
    if (!problem) return true;
    ShowMessage(view_, problem->text, problem->caption, MessageBoxRequest::Icon::Warning);
    if (QWidget* field = FieldOf(problem->field)) field->setFocus();
    return false;
}

QWidget* TransmitOptionsPage::FieldOf(TransmitField field) const {
    switch (field) {
        case TransmitField::EmailTo:
            return emailTo_;
        case TransmitField::FtpServer:
            return ftpServer_;
        case TransmitField::FtpUserName:
            return ftpUserName_;
        case TransmitField::SendFolderDir:
            return sendFolderDir_;
        case TransmitField::SendRunExe:
            return sendRunExe_;
    }
    return nullptr;
}

void TransmitOptionsPage::BrowseFolder() {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, tr("Browse for folder"), sendFolderDir_->text());
    if (!chosen.isEmpty()) sendFolderDir_->setText(chosen);
}

void TransmitOptionsPage::BrowseProgram() {
    const QString chosen = QFileDialog::getOpenFileName(this, tr("Browse for app"),
                                                        Text(transmit_settings::OpenExeDir()));
    if (chosen.isEmpty()) return;
    const std::string program = chosen.toStdString();
    SetSettingString(transmit_settings::kSection, transmit_settings::kOpenExeDirKey,
                     DirName(program));
    sendRunExe_->setText(Text(RunTemplateForProgram(program)));
}

void TransmitOptionsPage::UpdateEnabled() {
    emailTo_->setEnabled(sendEmail_->isChecked());
    for (QWidget* w : {static_cast<QWidget*>(ftpServer_), static_cast<QWidget*>(ftpUserName_),
                       static_cast<QWidget*>(ftpPassword_), static_cast<QWidget*>(ftpDirectory_),
                       static_cast<QWidget*>(ftpTlsMode_), ftpTest_})
        w->setEnabled(sendFtp_->isChecked());
    sendFolderDir_->setEnabled(sendFolder_->isChecked());
    browseFolder_->setEnabled(sendFolder_->isChecked());
    sendRunExe_->setEnabled(sendRun_->isChecked());
    browseProgram_->setEnabled(sendRun_->isChecked());
}

}  // namespace vocarta
