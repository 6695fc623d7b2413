#pragma once
// The recordings window's settings: the view filter (section "ViewFilterDlg")
// and the window's own values (section "FindPlay"). Keys and defaults live here
// only; every value is read at the point of use.
//
// Threading contract: any thread (the settings store serialises access).

#include <string>

#include "library/view_filter.h"

namespace vocarta {

namespace find_play {
inline constexpr const char* kSection = "FindPlay";
inline constexpr const char* kUseRecordFolderKey = "UseRecordFolder";
inline constexpr const char* kRecordFolderKey = "RecordFolder";
inline constexpr const char* kSaveFolderKey = "SaveFolder";
inline constexpr const char* kCurrentSpeedKey = "CurrentSpeed";
inline constexpr const char* kPlayOffsetKey = "PlayOffset";
inline constexpr const char* kSlowSpeedKey = "SlowSpeed";
inline constexpr const char* kFastSpeedKey = "FastSpeed";

inline constexpr bool kUseRecordFolderDefault = true;
inline constexpr int kCurrentSpeedDefault = 100;
inline constexpr int kPlayOffsetDefault = 0;
inline constexpr int kSlowSpeedDefault = 50;
inline constexpr int kFastSpeedDefault = 150;
// The range the options page offers for the preset speeds.
inline constexpr int kSpeedMin = 10;
inline constexpr int kSpeedMax = 400;

bool UseRecordFolder();
void StoreUseRecordFolder(bool use);
// The alternative (or network) folder; empty when none was chosen.
std::string AlternativeFolder();
void StoreAlternativeFolder(const std::string& folder);
std::string SaveFolder();
void StoreSaveFolder(const std::string& folder);
int CurrentSpeed();
void StoreCurrentSpeed(int percent);
// Milliseconds into the file where play starts; 0 and below: the start.
int PlayOffset();
int SlowSpeed();
int FastSpeed();
void StoreSlowSpeed(int percent);
void StoreFastSpeed(int percent);

// The folder the window lists: the recorder's folder (`recordFolder`) unless
// the user chose the alternative one.
std::string ListedFolder(const std::string& recordFolder);
}  // namespace find_play

// The filter as stored in "ViewFilterDlg"; dates as "yyyy-MM-dd". A damaged
// value reads as its default (filter off, whole days of today).
ViewFilter ReadViewFilter();
void StoreViewFilter(const ViewFilter& filter);

}  // namespace vocarta
