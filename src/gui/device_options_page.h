#pragma once
// The "Device" page of the options window: the input device, its channel ("All
// Channels" or one), the record volume as a decibel slider, and whether the USB
// phone keeps its own choice. The lists and the stored choice come from the
// capture library's panel model; the volume is heard at once while the slider
// moves, and put back by Revert() when the window is cancelled.
//
// Threading contract: GUI thread only.

#include <QWidget>
#include <memory>

#include "audio/capture/device_panel_model.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QSlider;

namespace vocarta {

class LDeviceEnumerator;

class DeviceOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    // Lists the devices of `enumerator`, or of the sound server when null.
    explicit DeviceOptionsPage(QWidget* parent = nullptr, LDeviceEnumerator* enumerator = nullptr);

    // False when no sound server answered: nothing to store.
    bool HasDevices() const { return loaded_; }
    // Stores the choice (and the USB phone switch first, which picks the keys).
    bool Store();
    // Puts the volume heard back to what was stored when the page opened.
    void Revert();

  private:
    void ShowDevices();
    void ShowChannels();
    void ShowVolume(int db);
    void DeviceChosen(int index);
    void ChannelChosen(int row);
    void VolumeMoved(int db);

    LDevicePanelModel model_;
    bool loaded_ = false;
    bool filling_ = false;  // set while the page itself fills the lists
    int openedDevice_ = -1;
    int openedChannelRow_ = 0;
    int openedVolume_ = 0;
    QComboBox* device_;
    QComboBox* channel_;
    QSlider* volume_;
    QLabel* volumeText_;
    QCheckBox* usbPhone_;
    QLabel* state_;
};

}  // namespace vocarta
