#include "gui/tray_icon.h"

#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include "gui/icons.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr int kTrayWatchMs = 3000;
constexpr const char* kProductName = "Vocarta Sound Recorder";
}  // namespace

TrayIcon::TrayIcon(const SessionActions& actions, QObject* parent)
    : QObject(parent), actions_(actions), toolTip_(kProductName) {
    menu_ = new QMenu;
    menu_->setObjectName("trayMenu");
    menu_->addAction(actions_.record);
    menu_->addAction(actions_.pause);
    menu_->addAction(actions_.stop);
    menu_->addSeparator();
    menu_->addAction(actions_.showWindow);
    menu_->addAction(actions_.quit);
    watch_ = new QTimer(this);
    connect(watch_, &QTimer::timeout, this, &TrayIcon::CreateWhenAvailable);
    CreateWhenAvailable();
    if (!icon_) {
        LogEvent("No system tray: the window minimises instead of hiding to the tray");
        watch_->start(kTrayWatchMs);
    }
}

TrayIcon::~TrayIcon() {
    delete icon_;
    delete menu_;  // a QMenu cannot have a QObject parent that is not a widget
}

void TrayIcon::CreateWhenAvailable() {
    if (icon_ || !QSystemTrayIcon::isSystemTrayAvailable()) return;
    watch_->stop();
    icon_ = new QSystemTrayIcon(CurrentIcon());
    icon_->setContextMenu(menu_);
    icon_->setToolTip(toolTip_);
    connect(icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason r) {
        if (r == QSystemTrayIcon::Trigger || r == QSystemTrayIcon::DoubleClick) emit Activated();
    });
    icon_->show();
    LogEvent("Tray icon shown");
}

bool TrayIcon::IsShown() const {
    return icon_ && icon_->isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
}

void TrayIcon::SetToolTip(const QString& text) {
    toolTip_ = text;
    if (icon_) icon_->setToolTip(text);
}

void TrayIcon::SetIndicator(SessionLook look, bool lit) {
    if (look == look_ && lit == lit_) return;
    look_ = look;
    lit_ = lit;
    if (icon_) icon_->setIcon(CurrentIcon());
}

QIcon TrayIcon::CurrentIcon() const {
    if (look_ == SessionLook::Paused) return ProgramIcon(ProgramBadge::Paused);
    return ProgramIcon(look_ == SessionLook::Recording && lit_ ? ProgramBadge::RecordingLit
                                                               : ProgramBadge::None);
}

}  // namespace vocarta
