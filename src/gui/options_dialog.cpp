#include "gui/options_dialog.h"

#include <QTabWidget>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/device_options_page.h"
#include "gui/dialog_parts.h"
#include "gui/find_play_options_page.h"
#include "gui/hotkey_options_page.h"
#include "gui/recording_options_page.h"
#include "gui/schedule_general_page.h"
#include "gui/transmit_options_page.h"
#include "gui/trim_options_page.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kStoreFailedText =
    "The options could not be saved. Check that the settings folder can be written to.";
constexpr const char* kTitle = "Options";
}  // namespace

OptionsDialog::OptionsDialog(MainDialogView& view, QWidget* parent, LDeviceEnumerator* enumerator)
    : QDialog(parent), view_(view) {
    setObjectName("OptionsDialog");
    setWindowTitle(kTitle);
    tabs_ = new QTabWidget(this);
    recording_ = new RecordingOptionsPage(view, tabs_);
    device_ = new DeviceOptionsPage(tabs_, enumerator);
    trim_ = new TrimOptionsPage(tabs_);
    tabs_->addTab(recording_, tr("Recording"));
    tabs_->addTab(device_, tr("Device"));
    tabs_->addTab(trim_, tr("Trimming"));
    hotkeys_ = new HotkeyOptionsPage(view, tabs_);
    tabs_->addTab(hotkeys_, tr("Hot-Keys"));
    connect(this, &QDialog::accepted, hotkeys_, &HotkeyOptionsPage::Store);
    tabs_->addTab(new TransmitOptionsPage(
                      view, [this] { return recording_->ChosenOptions().folder; }, tabs_),
                  tr("Transmit"));
    tabs_->addTab(new GeneralOptionsPage(this), tr("General"));
    auto* findPlay = new FindPlayOptionsPage(tabs_);
    tabs_->addTab(findPlay, tr("Find and Play"));
    connect(this, &QDialog::accepted, findPlay, &FindPlayOptionsPage::Store);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    AddOkCancel(this, layout);
}

void OptionsDialog::accept() {
    if (!recording_->Check()) {
        tabs_->setCurrentWidget(recording_);
        return;
    }
    // The Transmit page saves each method as soon as it passes its checks.
    if (auto* transmit = tabs_->findChild<TransmitOptionsPage*>(); !transmit->Apply()) {
        tabs_->setCurrentWidget(transmit);
        return;
    }
    bool stored = recording_->Store();
    stored = device_->Store() && stored;
    trim_->Store();
    if (!stored) {
        LogError("OptionsDialog::accept: the options could not be stored");
        ShowMessage(view_, kStoreFailedText, kTitle, MessageBoxRequest::Icon::Error);
        return;
    }
    LogEvent("Options stored");
    QDialog::accept();
}

void OptionsDialog::reject() {
    device_->Revert();
    QDialog::reject();
}

}  // namespace vocarta
