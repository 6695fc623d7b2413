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
}  // namespace

int ReadOutputFormat() {
    int format = GetSettingInt(kSection, kKey, kDefaultOutputFormat);
    return (format < 0 || format > 3) ? 0 : format;
}

void StoreOutputFormat(int format) {
    SetSettingInt(kSection, kKey, format >= 5 ? 0 : format);
}

const char* OutputFormatExtension(int format) {
    return (format >= 0 && format < kOutputFormatCount) ? kRows[format].extension : "";
}

const char* OutputFormatWord(int format) {
    return (format >= 0 && format < kOutputFormatCount) ? kRows[format].word : "";
}

int OutputFormatFromPath(const std::string& path) {
    std::string ext = Extension(path);
    if (EqualsNoCase(ext, ".wav")) return kFormatWav;
    if (EqualsNoCase(ext, ".mp3")) return kFormatMp3;
    if (EqualsNoCase(ext, ".aif") || EqualsNoCase(ext, ".aiff")) return kFormatAiff;
    if (EqualsNoCase(ext, ".flac")) return kFormatFlac;
    return -1;
}

}  // namespace vocarta
