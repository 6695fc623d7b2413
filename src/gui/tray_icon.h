#pragma once
// The program's icon in the system tray, with the session's menu (record,
// pause, stop, show, quit) and its tooltip. A desktop without a tray (a bare X
// server, some Wayland desktops) gets none: the icon is made only once
// QSystemTrayIcon::isSystemTrayAvailable() says yes, checked again every few
// seconds so that a tray started later is used. The icon blinks with the
// recording indicator.
//
// Threading contract: GUI thread only.

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
    // Lit or dark phase while recording; `recording` false shows the plain icon.
    void SetIndicator(bool recording, bool lit);

  signals:
    // The user clicked the icon: the window should come to the front.
    void Activated();

  private:
    void CreateWhenAvailable();

    SessionActions actions_;
    QMenu* menu_ = nullptr;
    QSystemTrayIcon* icon_ = nullptr;
    QTimer* watch_ = nullptr;
    QString toolTip_;
    bool recording_ = false;
    bool lit_ = false;
};

}  // namespace vocarta
