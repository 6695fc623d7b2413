#include "gui/options_dialog.h"

#include <QTabWidget>
#include <QVBoxLayout>

#include "app/main_dialog_view.h"
#include "gui/device_options_page.h"
#include "gui/dialog_parts.h"
#include "gui/recording_options_page.h"
#include "gui/schedule_general_page.h"
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
    tabs_->addTab(new GeneralOptionsPage(this), tr("General"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    AddOkCancel(this, layout);
}

void OptionsDialog::accept() {
    if (!recording_->Check()) {
        tabs_->setCurrentWidget(recording_);
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
