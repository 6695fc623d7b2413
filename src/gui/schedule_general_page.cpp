#include "gui/schedule_general_page.h"

#include <QCheckBox>
#include <QDialog>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"
#include "schedule/login_autostart.h"
#include "schedule/schedule_job.h"
#include "toolkit/log.h"

namespace vocarta {

GeneralOptionsPage::GeneralOptionsPage(QDialog* dialog) : QWidget(dialog) {
    setObjectName("GeneralOptionsPage");
    runAtLogin_ = NamedCheckBox(this, "runAtLogin", tr("Run Vocarta when computer starts"));
    runAtLogin_->setChecked(RunAtLoginEnabled());
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(runAtLogin_);
    layout->addStretch();
    connect(dialog, &QDialog::accepted, this, &GeneralOptionsPage::Store);
}

void GeneralOptionsPage::Store() const {
    const bool enabled = RunAtLoginEnabled();
    // Failures are logged by the calls and not shown, as with the schedules' jobs.
    if (runAtLogin_->isChecked() && !enabled) (void)EnableRunAtLogin(ScheduleProgramPath());
    if (!runAtLogin_->isChecked() && enabled) (void)DisableRunAtLogin();
}

}  // namespace vocarta
