#pragma once
// The program's pictures, drawn at run time so that they look the same under
// every style and icon theme: the command buttons, the recording indicator in
// its lit and dark phases, and the program's own icon (also the tray's).
//
// Threading contract: GUI thread only (QPixmap).

#include <QIcon>
#include <QPixmap>

namespace vocarta {

enum class CommandPicture { Record, Pause, Stop, Retake, Play };

QIcon CommandIcon(CommandPicture picture);
// The recording indicator: a red lamp when lit, a dark one otherwise.
QPixmap IndicatorPixmap(bool lit, int size = 18);
// The program's icon; `recordingLit` draws the lit lamp over the microphone for
// the tray while recording.
// The badge in the program icon's corner: the lit recording dot, or two pause
// bars while a recording is paused.
enum class ProgramBadge { None, RecordingLit, Paused };
QIcon ProgramIcon(ProgramBadge badge = ProgramBadge::None);

}  // namespace vocarta
