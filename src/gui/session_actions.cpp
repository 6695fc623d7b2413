#include "gui/session_actions.h"

#include <QAction>
#include <QKeySequence>

#include "gui/icons.h"

namespace vocarta {

namespace {
QAction* Command(QObject* owner, const char* name, const QString& text, const QString& toolTip,
                 const QKeySequence& key) {
    auto* action = new QAction(text, owner);
    action->setObjectName(name);
    action->setToolTip(toolTip);
    action->setStatusTip(toolTip);
    if (!key.isEmpty()) {
        action->setShortcut(key);
        action->setShortcutContext(Qt::WindowShortcut);
    }
    return action;
}
}  // namespace

SessionActions CreateSessionActions(QObject* owner) {
    SessionActions a;
    a.record = Command(owner, "record", QObject::tr("&Start Recording"),
                       QObject::tr("Start Recording (F5)"), QKeySequence(Qt::Key_F5));
    a.record->setIcon(CommandIcon(CommandPicture::Record));
    a.pause = Command(owner, "pause", QObject::tr("&Pause Recording"),
                      QObject::tr("Pause Recording (F6)"), QKeySequence(Qt::Key_F6));
    a.pause->setIcon(CommandIcon(CommandPicture::Pause));
    // Pressed while the recording is paused.
    a.pause->setCheckable(true);
    a.stop = Command(owner, "stop", QObject::tr("S&top and Mark Done"),
                     QObject::tr("Stop and Mark Done (F7)"), QKeySequence(Qt::Key_F7));
    a.stop->setIcon(CommandIcon(CommandPicture::Stop));
    a.retake = Command(owner, "retake", QObject::tr("&Retake Recording/Replay"),
                       QObject::tr("Retake Recording/Replay (Home)"), QKeySequence(Qt::Key_Home));
    a.retake->setIcon(CommandIcon(CommandPicture::Retake));
    a.play = Command(owner, "play", QObject::tr("P&lay Recording"),
                     QObject::tr("Play Recording (Spacebar)"), QKeySequence(Qt::Key_Space));
    a.play->setIcon(CommandIcon(CommandPicture::Play));
    a.showWindow = Command(owner, "showWindow", QObject::tr("Show &Window"),
                           QObject::tr("Show the main window"), QKeySequence());
    a.options = Command(owner, "options", QObject::tr("&Options..."),
                        QObject::tr("Recording, device and trimming options"),
                        QKeySequence(QKeySequence::Preferences));
    a.resetAutoNumber = Command(owner, "resetAutoNumber", QObject::tr("Reset &Auto Number"),
                                QObject::tr("Start the file number again at 0"), QKeySequence());
    a.quit = Command(owner, "quit", QObject::tr("&Quit"), QObject::tr("Quit Vocarta"),
                     QKeySequence(QKeySequence::Quit));
    ApplySessionButtons(a, SessionButtons{});
    return a;
}

void ApplySessionButtons(const SessionActions& a, const SessionButtons& b) {
    a.record->setEnabled(b.record);
    a.pause->setEnabled(b.pause || b.recordingPaused);
    a.pause->setChecked(b.recordingPaused);
    a.stop->setEnabled(b.stop);
    a.retake->setEnabled(b.restart);
    a.play->setEnabled(b.play);
}

}  // namespace vocarta
