#pragma once
// "Options": the recording page, the device page and the trimming page. Every
// value is read when the window opens and stored when it is accepted; OK is
// refused, with the product's message, while the file name pattern or a changed
// output folder cannot be used. Cancel stores nothing and puts the record
// volume heard back as it was.
//
// Threading contract: GUI thread only.

#include <QDialog>

class QTabWidget;

namespace vocarta {

class DeviceOptionsPage;
class HotkeyOptionsPage;
class LDeviceEnumerator;
class MainDialogView;
class RecordingOptionsPage;
class TrimOptionsPage;

class OptionsDialog final : public QDialog {
    Q_OBJECT

  public:
    // Messages go through `view`. The device page lists the devices of
    // `enumerator`, or of the sound server when null.
    OptionsDialog(MainDialogView& view, QWidget* parent = nullptr,
                  LDeviceEnumerator* enumerator = nullptr);

    RecordingOptionsPage& RecordingPage() { return *recording_; }
    DeviceOptionsPage& DevicePage() { return *device_; }
    TrimOptionsPage& TrimPage() { return *trim_; }
    HotkeyOptionsPage& HotkeyPage() { return *hotkeys_; }

    void accept() override;
    void reject() override;

  private:
    MainDialogView& view_;
    QTabWidget* tabs_;
    RecordingOptionsPage* recording_;
    DeviceOptionsPage* device_;
    TrimOptionsPage* trim_;
    HotkeyOptionsPage* hotkeys_;
};

}  // namespace vocarta
