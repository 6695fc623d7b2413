#pragma once
// Names of new recordings: the user's pattern with date, time and counter
// tokens, the record folder, the extension of the output format, the name
// prompt and the replace question.
//
// Pattern tokens (case-sensitive): %YYYY% %MM% %DD% %HH% %MIN% %SS% and
// %autonumber% (the counter, at least three digits, one new number per use).
// "%%" gives "%", an unknown token disappears, an unclosed "%" stays as it is.
//
// Threading contract: main thread (the counter is read and stored without a lock).

#include <ctime>
#include <functional>
#include <string>

#include "app/session/recording_target.h"
#include "audio/output_format.h"
#include "toolkit/result.h"

namespace vocarta {

class MainDialogView;

// (FindPlay, DefaultRecordFolder), default the Music folder joined with "Vocarta".
std::string RecordFolder();
std::string DefaultRecordFolder();
bool StoreRecordFolder(const std::string& folder);

// (Settings, FileNameFormat), default "Untitled %autonumber%". A stored pattern
// that is empty or holds "/" or ".." is not used (logged): the default is.
std::string FileNamePattern();
bool StoreFileNamePattern(const std::string& pattern);

// (Settings, PromptForName), default false: ask for a name at each recording.
bool PromptForNameEnabled();
bool StorePromptForName(bool prompt);

// One pass over the pattern at `moment`; `nextNumber` is asked once per
// %autonumber%. Sets `usedCounter` when the pattern holds %autonumber%, and
// `numberAt` (when given) to where the last number begins in the result.
std::string ExpandPatternOnce(const std::string& pattern, const std::tm& moment,
                              const std::function<int()>& nextNumber, bool& usedCounter,
                              std::size_t* numberAt = nullptr);

// Expands the pattern into a bare file name (no folder, no extension), taking a
// new counter value from (Settings, AutoNumber) for each %autonumber%. With
// %autonumber% it goes on until the name is not taken in
// the record folder; the date and time are those of the first pass.
void ExpandFileNamePattern(const std::string& pattern, std::string& out);
void ExpandFileNamePattern(const std::string& pattern, OutputFormat format, const std::tm& moment,
                           std::string& out);

// `name` shortened so that the record folder, the name and the extension of
// `format` stay within 259 bytes and the name with its extension within one
// folder entry's 255; the text before `keepFrom` (the number) gives way, never
// the number, never the extension, never half a UTF-8 character.
std::string FitRecordingName(const std::string& name, std::size_t keepFrom, OutputFormat format);
// Record folder, "/" unless it ends with one, name (fitted as above), extension
// of `format`.
std::string MakeRecordingPath(const std::string& name, OutputFormat format);

// The check made when the pattern is edited. False with the message to show
// (under kInvalidPatternTitle) when the pattern is refused.
inline constexpr const char* kInvalidPatternTitle = "Invalid format";
bool ValidateFileNamePattern(const std::string& text, std::string& message);
// The same, showing the message; true when the pattern may be kept.
bool CheckFileNamePattern(MainDialogView& view, const std::string& text);

// Sets the counter to 0 and says so under the title "Reset".
void ResetAutoNumber(MainDialogView& view);
// Gives back the number taken by a recording whose start failed, so that the
// next file takes the same number. Never goes below 0.
void PutBackAutoNumber();

// Chooses the file of a new recording in `format`: asks for a name when
// (Settings, PromptForName) is on, else expands the pattern; asks before
// replacing an existing file (recording_target.h). An error ends the record
// command (kCancelled: the user chose not to go on).
LResult<RecordingTarget> ChooseRecordingPath(MainDialogView& view, OutputFormat format);

}  // namespace vocarta
