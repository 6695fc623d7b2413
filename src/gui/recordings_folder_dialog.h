#pragma once
// "Folder" of the recordings window: list the folder the recorder saves into,
// or another (for example a network) folder. A folder that does not exist is
// refused with the product's message and the dialog stays open.
//
// Threading contract: GUI thread only.

#include <QDialog>
#include <string>

class QLineEdit;
class QRadioButton;

namespace vocarta {

class MainDialogView;

inline constexpr const char* kInvalidFolderText =
    "This folder does not exist, please select a valid folder";
inline constexpr const char* kInvalidFolderTitle = "Invalid folder";

class RecordingsFolderDialog final : public QDialog {
    Q_OBJECT

  public:
    // `recordFolder` is the recorder's folder, shown as the first choice.
    RecordingsFolderDialog(MainDialogView& view, const std::string& recordFolder,
                           QWidget* parent = nullptr);
    void accept() override;

  private:
    void Browse();

    MainDialogView& view_;
    QRadioButton* useRecordFolder_;
    QRadioButton* useOther_;
    QLineEdit* other_;
};

}  // namespace vocarta
