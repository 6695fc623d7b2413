#include "audio/output_format.h"

#include "settings/settings.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kSection = "Settings";
constexpr const char* kKey = "Format";

struct FormatRow {
    const char* extension;
    const char* word;
};
constexpr FormatRow kRows[kOutputFormatCount] = {
    {".wav", "Wav"}, {".mp3", "Mp3"}, {".aiff", "Aiff"}, {".flac", "Flac"}};

const FormatRow& RowOf(OutputFormat format) {
    const int i = int(format);
    return kRows[(i >= 0 && i < kOutputFormatCount) ? i : 0];
}
}  // namespace

std::optional<OutputFormat> OutputFormatFromNumber(int number) {
    if (number < 0 || number >= kOutputFormatCount) return std::nullopt;
    return OutputFormat(number);
}

OutputFormat ReadOutputFormat() {
    return OutputFormatFromNumber(GetSettingInt(kSection, kKey, int(kDefaultOutputFormat)))
        .value_or(OutputFormat::kWav);
}

void StoreOutputFormatNumber(int number) {
    SetSettingInt(kSection, kKey, number >= 5 ? 0 : number);
}

const char* OutputFormatExtension(OutputFormat format) {
    return RowOf(format).extension;
}

const char* OutputFormatWord(OutputFormat format) {
    return RowOf(format).word;
}

std::optional<OutputFormat> OutputFormatFromPath(const std::string& path) {
    const std::string ext = Extension(path);
    if (ext.empty()) return std::nullopt;
    if (EqualsNoCase(ext, ".aif")) return OutputFormat::kAiff;
    return OutputFormatFromWord(std::string_view(ext).substr(1));
}

std::optional<OutputFormat> OutputFormatFromWord(std::string_view word) {
    if (EqualsNoCase(word, "wav")) return OutputFormat::kWav;
    if (EqualsNoCase(word, "mp3")) return OutputFormat::kMp3;
    if (EqualsNoCase(word, "aif") || EqualsNoCase(word, "aiff")) return OutputFormat::kAiff;
    if (EqualsNoCase(word, "flac")) return OutputFormat::kFlac;
    return std::nullopt;
}

}  // namespace vocarta
