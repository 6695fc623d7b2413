#pragma once
// The "Transmit" page of the options window: e-mailing each finished recording
// (with the "Email Settings" button), uploading it by FTP (with the "FTP
// Connection Test" button, which tries the values on the page, saved or not),
// copying it to a mirror folder and running a program with it, whether to ask
// before each method, and the length under which a recording is not sent.
// Shows the stored values when built. Apply() makes the page's checks with the
// product's messages, shown through the view against the offending field, and
// saves each method's values as soon as its own checks have passed
// (transmit_options.h).
//
// Threading contract: GUI thread only.

#include <QWidget>
#include <functional>
#include <string>

#include "transmit/transmit_options.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSpinBox;

namespace vocarta {

class MainDialogView;

class TransmitOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    // `recordFolder` gives the recordings' folder as the options window would
    // store it (the mirror folder must differ from it); default: as stored.
    TransmitOptionsPage(MainDialogView& view, std::function<std::string()> recordFolder = {},
                        QWidget* parent = nullptr);

    void ShowValues(const TransmitPageValues& values);
    TransmitPageValues ChosenValues() const;
    // False (after telling the user) when the page must not be accepted.
    bool Apply();

  private:
    QWidget* BuildEmailBox();
    QWidget* BuildFtpBox();
    void TestFtpConnection();
    QWidget* BuildFolderBox();
    QWidget* BuildRunBox();
    QWidget* BuildWhenBox();
    void BrowseFolder();
    void BrowseProgram();
    void UpdateEnabled();
    QWidget* FieldOf(TransmitField field) const;

    MainDialogView& view_;
    std::function<std::string()> recordFolder_;
    QCheckBox* sendEmail_;
    QLineEdit* emailTo_;
    QCheckBox* sendFtp_;
    QLineEdit* ftpServer_;
    QLineEdit* ftpUserName_;
    QLineEdit* ftpPassword_;
    QLineEdit* ftpDirectory_;
    QComboBox* ftpTlsMode_;
    QWidget* ftpTest_;
    QCheckBox* sendFolder_;
    QLineEdit* sendFolderDir_;
    QWidget* browseFolder_;
    QCheckBox* sendRun_;
    QLineEdit* sendRunExe_;
    QWidget* browseProgram_;
    QCheckBox* prompt_;
    QSpinBox* lengthLimit_;
};

}  // namespace vocarta
