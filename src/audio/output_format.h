#pragma once
// The four output formats of a recording and where the chosen one is kept:
// (Settings, Format), default 1 (MP3).

#include <string>

namespace vocarta {

enum OutputFormat : int { kFormatWav = 0, kFormatMp3 = 1, kFormatAiff = 2, kFormatFlac = 3 };
inline constexpr int kOutputFormatCount = 4;
inline constexpr int kDefaultOutputFormat = kFormatMp3;

// The stored format, clamped: anything above 3 or below 0 reads as 0.
int ReadOutputFormat();
// Stores a format; a value of 5 or more is stored as 0. (So 4 may be stored but
// reads back as 0: the two bounds differ, and are kept that way.)
void StoreOutputFormat(int format);

// ".wav", ".mp3", ".aiff", ".flac" for 0..3; empty for anything else.
const char* OutputFormatExtension(int format);
// "Wav", "Mp3", "Aiff", "Flac" for 0..3; empty for anything else.
const char* OutputFormatWord(int format);
// The format a file name's extension names (".wav" 0, ".mp3" 1, ".aif"/".aiff"
// 2, ".flac" 3, compared without case), or -1.
int OutputFormatFromPath(const std::string& path);

}  // namespace vocarta
