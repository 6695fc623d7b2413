#pragma once
// The program's icon in the system tray, with the session's menu (record,
// pause, stop, show, quit) and its tooltip. A desktop without a tray (a bare X
// server, some Wayland desktops) gets none: the icon is made only once
// QSystemTrayIcon::isSystemTrayAvailable() says yes, checked again every few
// seconds so that a tray started later is used. The icon blinks with the
// recording indicator.
//
// Threading contract: GUI thread only.

#include <QIcon>
#include <QObject>
#include <QString>

#include "gui/session_actions.h"

class QMenu;
class QSystemTrayIcon;
class QTimer;

namespace vocarta {

class TrayIcon final : public QObject {
    Q_OBJECT

  public:
    TrayIcon(const SessionActions& actions, QObject* parent = nullptr);
    ~TrayIcon() override;

    // An icon sits in a tray now: the window may hide to it.
    bool IsShown() const;
    void SetToolTip(const QString& text);
    const QString& ToolTip() const { return toolTip_; }
    // Recording: lit or dark phase; paused: the pause badge; idle: the plain icon.
    void SetIndicator(SessionLook look, bool lit);

  signals:
    // The user clicked the icon: the window should come to the front.
    void Activated();

  private:
    void CreateWhenAvailable();
    QIcon CurrentIcon() const;

    SessionActions actions_;
    QMenu* menu_ = nullptr;
    QSystemTrayIcon* icon_ = nullptr;
    QTimer* watch_ = nullptr;
    QString toolTip_;
    SessionLook look_ = SessionLook::Idle;
    bool lit_ = false;
};

}  // namespace vocarta
