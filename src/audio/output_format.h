#pragma once
// The four output formats of a recording and where the chosen one is kept:
// (Settings, Format), default 1 (MP3).

#include <optional>
#include <string>
#include <string_view>

namespace vocarta {

enum class OutputFormat : int { kWav = 0, kMp3 = 1, kAiff = 2, kFlac = 3 };
inline constexpr int kOutputFormatCount = 4;
inline constexpr OutputFormat kDefaultOutputFormat = OutputFormat::kMp3;
inline constexpr OutputFormat kAllOutputFormats[] = {OutputFormat::kWav, OutputFormat::kMp3,
                                                     OutputFormat::kAiff, OutputFormat::kFlac};

// The format of a stored number 0..3; nullopt for anything else.
std::optional<OutputFormat> OutputFormatFromNumber(int number);

// The stored format, clamped: anything above 3 or below 0 reads as 0.
OutputFormat ReadOutputFormat();
// Stores a format number; a value of 5 or more is stored as 0. (So 4 may be
// stored but reads back as 0: the two bounds differ, and are kept that way.)
void StoreOutputFormatNumber(int number);
inline void StoreOutputFormat(OutputFormat format) {
    StoreOutputFormatNumber(int(format));
}

// ".wav", ".mp3", ".aiff", ".flac".
const char* OutputFormatExtension(OutputFormat format);
// "Wav", "Mp3", "Aiff", "Flac".
const char* OutputFormatWord(OutputFormat format);
// The format a file name's extension names (".wav", ".mp3", ".aif"/".aiff",
// ".flac", compared without case).
std::optional<OutputFormat> OutputFormatFromPath(const std::string& path);
// The format a -record word names ("wav", "mp3", "aif", "aiff", "flac", any case).
std::optional<OutputFormat> OutputFormatFromWord(std::string_view word);

}  // namespace vocarta
