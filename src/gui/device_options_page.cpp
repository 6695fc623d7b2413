#include "gui/device_options_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

#include "audio/capture/device_choice.h"
#include "gui/dialog_parts.h"
#include "settings/settings.h"

namespace vocarta {

namespace {
QString VolumeText(int db) {
    return db > 0 ? QString("+%1 dB").arg(db) : QString("%1 dB").arg(db);
}
}  // namespace

DeviceOptionsPage::DeviceOptionsPage(QWidget* parent, LDeviceEnumerator* enumerator)
    : QWidget(parent) {
    setObjectName("DeviceOptionsPage");
    device_ = NamedCombo(this, "inputDevice");
    channel_ = NamedCombo(this, "inputChannel");
    volume_ = new QSlider(Qt::Horizontal, this);
    volume_->setObjectName("recordVolume");
    volume_->setRange(kRecordVolumeMin, kRecordVolumeMax);
    volume_->setTickPosition(QSlider::TicksBelow);
    volume_->setTickInterval(10);
    volumeText_ = new QLabel(this);
    volumeText_->setObjectName("recordVolumeText");
    volumeText_->setMinimumWidth(volumeText_->fontMetrics().horizontalAdvance("+30 dB  "));
    usbPhone_ =
        NamedCheckBox(this, "useUsbPhone", tr("Use the USB phone (its own device and volume)"));
    state_ = new QLabel(this);
    state_->setObjectName("deviceState");
    state_->setWordWrap(true);

    auto* volumeRow = new QHBoxLayout;
    volumeRow->addWidget(volume_);
    volumeRow->addWidget(volumeText_);
    auto* form = new QFormLayout;
    form->addRow(tr("Input device:"), device_);
    form->addRow(tr("Channel:"), channel_);
    form->addRow(tr("Record volume:"), volumeRow);
    form->addRow(QString(), usbPhone_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(state_);
    layout->addStretch();

    connect(device_, &QComboBox::currentIndexChanged, this, &DeviceOptionsPage::DeviceChosen);
    connect(channel_, &QComboBox::currentIndexChanged, this, &DeviceOptionsPage::ChannelChosen);
    connect(volume_, &QSlider::valueChanged, this, &DeviceOptionsPage::VolumeMoved);

    usbPhone_->setChecked(GetSettingBool(kDeviceSection, kUseUsbPhoneKey, kUseUsbPhoneDefault));
    loaded_ = enumerator ? model_.Load(*enumerator) : model_.Load();
    openedDevice_ = model_.SelectedDevice();
    openedChannelRow_ = model_.SelectedChannelRow();
    openedVolume_ = model_.Volume();
    ShowDevices();
}

void DeviceOptionsPage::ShowDevices() {
    filling_ = true;
    device_->clear();
    for (const std::string& name : model_.DeviceNames())
        device_->addItem(QString::fromStdString(name));
    device_->setCurrentIndex(model_.SelectedDevice());
    filling_ = false;
    ShowChannels();
    ShowVolume(model_.Volume());
    const bool usable = loaded_ && model_.SelectedDevice() >= 0;
    for (QWidget* w : {static_cast<QWidget*>(device_), static_cast<QWidget*>(channel_),
                       static_cast<QWidget*>(volume_)})
        w->setEnabled(usable);
    if (!loaded_)
        state_->setText(
            tr("The sound server did not answer: %1").arg(QString::fromStdString(model_.Error())));
    else if (model_.DeviceNames().empty())
        state_->setText(tr("No input device was found."));
    else if (model_.FellBack())
        state_->setText(tr("The device chosen before is not there; the first device is shown."));
    else
        state_->clear();
}

void DeviceOptionsPage::ShowChannels() {
    filling_ = true;
    channel_->clear();
    for (const std::string& name : model_.ChannelNames())
        channel_->addItem(QString::fromStdString(name));
    channel_->setCurrentIndex(model_.SelectedChannelRow());
    filling_ = false;
}

void DeviceOptionsPage::ShowVolume(int db) {
    filling_ = true;
    volume_->setValue(db);
    filling_ = false;
    volumeText_->setText(VolumeText(db));
}

void DeviceOptionsPage::DeviceChosen(int index) {
    if (filling_ || index < 0) return;
    model_.SelectDevice(index);
    ShowChannels();
}

void DeviceOptionsPage::ChannelChosen(int row) {
    if (filling_ || row < 0) return;
    model_.SelectChannelRow(row);
}

void DeviceOptionsPage::VolumeMoved(int db) {
    volumeText_->setText(VolumeText(db));
    if (filling_) return;
    model_.SetVolume(db);
}

bool DeviceOptionsPage::Store() {
    SetSettingBool(kDeviceSection, kUseUsbPhoneKey, usbPhone_->isChecked());
    if (!loaded_ || model_.SelectedDevice() < 0) return true;  // nothing was shown to choose
    return model_.Save();
}

void DeviceOptionsPage::Revert() {
    if (openedDevice_ < 0) return;
    model_.SelectDevice(openedDevice_);
    model_.SelectChannelRow(openedChannelRow_);
    model_.SetVolume(openedVolume_);
}

}  // namespace vocarta
