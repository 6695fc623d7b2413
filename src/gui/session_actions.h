#pragma once
// The commands of the main window as actions, shared by its tool bar, its menu
// bar and the tray menu, so that one SetButtons() enables all three alike. Each
// session command carries its key (F5, F6, F7, Home, Space) and the tool-tip
// that names it, e.g. "Start Recording (F5)".
//
// Threading contract: GUI thread only.

#include "app/session/main_dialog_view.h"

class QAction;
class QObject;

namespace vocarta {

struct SessionActions {
    QAction* record = nullptr;  // "Start Recording (F5)"
    QAction* pause = nullptr;   // "Pause Recording (F6)"
    QAction* stop = nullptr;    // "Stop and Mark Done (F7)"
    QAction* retake = nullptr;  // "Retake Recording/Replay (Home)"
    QAction* play = nullptr;    // "Play Recording (Spacebar)"
    QAction* showWindow = nullptr;
    QAction* options = nullptr;  // "Options..."
    QAction* resetAutoNumber = nullptr;
    QAction* quit = nullptr;
};

// Creates the actions, owned by `owner`. The keys act in `owner`'s window.
SessionActions CreateSessionActions(QObject* owner);

// Enables the session commands as the controller says.
void ApplySessionButtons(const SessionActions& actions, const SessionButtons& buttons);

}  // namespace vocarta
