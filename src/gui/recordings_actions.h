#pragma once
// The actions of the recordings window's toolbar on the selected recordings:
// one function per button, each showing its questions and messages and
// returning whether the folder's contents changed (so the window rescans).
// The work itself is the Qt-free library's (library/recording_files.h,
// trash.h, companion_programs.h, recordings_send.h).
//
//   connect(saveAs, &QAction::triggered, [=] {
//       if (recordings_actions::SaveAs(this, SelectedPaths())) Rescan();
//   });
//
// Paths are the file system's bytes (not necessarily UTF-8); names are shown
// decoded as the file manager shows them.
//
// Threading contract: GUI thread only. Each function returns once its dialogs
// are closed; Send runs the sending on a thread of its own meanwhile and keeps
// the window responsive behind a modal progress box.

#include <string>
#include <vector>

class QWidget;

namespace vocarta::recordings_actions {

// The folder chosen by the last save, "FindPlay"/"SaveFolder" (default: the
// user's music folder).
std::string SaveFolder();

// "Save As": one recording through a save panel ("Save Recording As.."),
// several into a folder ("Save recordings into folder..."). Existing files are
// replaced only after "Overwrite Files?" (with "Repeat this action for all
// files"); too little free space saves nothing ("Save Failed"); each failed
// copy is reported ("The file could not be copied"). The folder is kept in
// "SaveFolder". True when a file was written into the recordings' own folder.
bool SaveAs(QWidget* parent, const std::vector<std::string>& paths);

// "Delete": asks "Are you sure you want to delete the selected recording(s) to
// the trash?" ("Delete": "Delete" / "No") and moves them to the Trash; the
// ones that cannot go are named in one "Unable to delete: %s" message.
// True when at least one recording went.
bool Delete(QWidget* parent, const std::vector<std::string>& paths);

enum class RenameResult {
    kRenamed,    // done: rescan
    kTypeAgain,  // the name was refused or the user chose to type another
    kUnchanged,  // nothing to do, or the rename failed (reported)
};

// "Rename" of `path` to the name typed in the list (`typedName`, a name in the
// same folder; the recording keeps its extension). An empty name gives "You
// must type a file name." ("Rename"); an existing name asks "File already
// exists"; a failure gives "Unable to rename file. Check if the file name is
// not already in use." ("Warning").
RenameResult Rename(QWidget* parent, const std::string& path, const std::string& typedName);

// "Send": asks for the recipients (prefilled with "Email"/"To"), then sends the
// recordings (several packed into one zip, "Compressing Files...") behind a
// progress box with "Cancel". Never changes the folder: false.
bool Send(QWidget* parent, const std::vector<std::string>& paths);

// "Burn": "Choose CD type" ("Burn as Audio CD", "Burn as Data CD", "Cancel"),
// then the disc burner. A missing burner is explained. False.
bool Burn(QWidget* parent, const std::vector<std::string>& paths);

// "Edit" and "Convert": the chosen editor or converter, else the desktop's
// program for audio files. A missing program is explained. False (the
// program runs on its own; the window notices its changes at its next scan).
bool Edit(QWidget* parent, const std::vector<std::string>& paths);
bool Convert(QWidget* parent, const std::vector<std::string>& paths);

}  // namespace vocarta::recordings_actions
