#include "app/session/file_naming.h"

#include <cstdio>

#include "app/session/main_dialog_view.h"
#include "audio/output_format.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kSettings = "Settings";
constexpr const char* kFolderSection = "FindPlay";
constexpr const char* kFolderKey = "DefaultRecordFolder";
constexpr const char* kPatternKey = "FileNameFormat";
constexpr const char* kDefaultPattern = "Untitled %autonumber%";
constexpr const char* kPromptKey = "PromptForName";
constexpr bool kPromptDefault = false;
constexpr const char* kAutoNumberKey = "AutoNumber";
// Naming reads the counter with 0 as default, the undo after a failed start
// with 1: the two defaults differ on purpose and are kept.
constexpr int kAutoNumberNamingDefault = 0;
constexpr int kAutoNumberUndoDefault = 1;
constexpr const char* kAutoNumberToken = "%autonumber%";
// A folder full of earlier takes ends the search long before this.
constexpr int kMaxNamingPasses = 100000;

constexpr const char* kPromptTitle = "Enter File Name";
constexpr const char* kPromptLabel = "File name:";
constexpr const char* kNameInvalidTitle = "Name Invalid";
constexpr const char* kNameEmptyText = "The name must contain text.";
constexpr const char* kNameSlashText = "A file name cannot contain \"/\" or be \".\" or \"..\".";
constexpr const char* kExistsTitle = "File Exists";
// The trailing blank belongs to the text.
constexpr const char* kExistsText =
    "Another file with the same name and format already exists. Do you want to replace it? ";

std::tm LocalNow() {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    return tm;
}

// The token's replacement; false for a name that is not a token.
bool ExpandToken(const std::string& name, const std::tm& t, const std::function<int()>& nextNumber,
                 bool& usedCounter, std::string& out) {
    if (name == "YYYY")
        out = StringPrintf("%.4d", t.tm_year + 1900);
    else if (name == "MM")
        out = StringPrintf("%.2d", t.tm_mon + 1);
    else if (name == "DD")
        out = StringPrintf("%.2d", t.tm_mday);
    else if (name == "HH")
        out = StringPrintf("%.2d", t.tm_hour);
    else if (name == "MIN")
        out = StringPrintf("%.2d", t.tm_min);
    else if (name == "SS")
        out = StringPrintf("%.2d", t.tm_sec);
    else if (name == "autonumber") {
        usedCounter = true;
        out = StringPrintf("%03d", nextNumber());
    } else {
        return false;
    }
    return true;
}

int TakeAutoNumber() {
    int value = GetSettingInt(kSettings, kAutoNumberKey, kAutoNumberNamingDefault);
    SetSettingInt(kSettings, kAutoNumberKey, value + 1);
    return value;
}

bool IsUsableName(const std::string& name) {
    return name.find('/') == std::string::npos && name != "." && name != "..";
}
}  // namespace

std::string DefaultRecordFolder() {
    return JoinPath(MusicDir(), "Vocarta");
}

std::string RecordFolder() {
    return GetSettingString(kFolderSection, kFolderKey, DefaultRecordFolder());
}

bool StoreRecordFolder(const std::string& folder) {
    return SetSettingString(kFolderSection, kFolderKey, folder);
}

std::string FileNamePattern() {
    return GetSettingString(kSettings, kPatternKey, kDefaultPattern);
}

bool StoreFileNamePattern(const std::string& pattern) {
    return SetSettingString(kSettings, kPatternKey, pattern);
}

bool PromptForNameEnabled() {
    return GetSettingBool(kSettings, kPromptKey, kPromptDefault);
}

bool StorePromptForName(bool prompt) {
    return SetSettingBool(kSettings, kPromptKey, prompt);
}

std::string ExpandPatternOnce(const std::string& pattern, const std::tm& moment,
                              const std::function<int()>& nextNumber, bool& usedCounter) {
    std::string out;
    usedCounter = false;
    std::size_t i = 0;
    while (i < pattern.size()) {
        if (pattern[i] != '%') {
            out += pattern[i++];
            continue;
        }
        std::size_t close = pattern.find('%', i + 1);
        if (close == std::string::npos) {
            out += '%';
            ++i;
            continue;
        }
        std::string name = CutText(pattern.substr(i + 1, close - i - 1));
        std::string replacement;
        if (name.empty())
            out += '%';
        else if (ExpandToken(name, moment, nextNumber, usedCounter, replacement))
            out += replacement;
        i = close + 1;
    }
    return CutText(out);
}

void ExpandFileNamePattern(const std::string& pattern, OutputFormat format, const std::tm& moment,
                           std::string& out) {
    for (int pass = 0; pass < kMaxNamingPasses; ++pass) {
        bool usedCounter = false;
        out = ExpandPatternOnce(pattern, moment, &TakeAutoNumber, usedCounter);
        if (!usedCounter) return;
        if (!FileExists(MakeRecordingPath(out, format))) return;
    }
    LogError("ExpandFileNamePattern: no free name after %d numbers; \"%s\" is taken",
             kMaxNamingPasses, out.c_str());
}

void ExpandFileNamePattern(const std::string& pattern, std::string& out) {
    ExpandFileNamePattern(pattern, ReadOutputFormat(), LocalNow(), out);
}

std::string MakeRecordingPath(const std::string& name, OutputFormat format) {
    return CutText(JoinPath(RecordFolder(), name) + OutputFormatExtension(format));
}

bool ValidateFileNamePattern(const std::string& text, std::string& message) {
    if (text.empty()) {
        message = "File name format is invalid. Please try again.";
        return false;
    }
    const std::string token = kAutoNumberToken;
    std::size_t at = text.find(token);
    if (at != std::string::npos && at + token.size() < text.size()) {
        // The grammar of this message is the product's own and is kept.
        message =
            "File name format contains \"%autonumber%\" are not allowed to have post "
            "string. Please try again.";
        return false;
    }
    if (at == std::string::npos && text.find("%SS%") == std::string::npos) {
        message =
            "File name format must contain either \"%autonumber%\" or \"%SS%\". Please "
            "try again.";
        return false;
    }
    return true;
}

bool CheckFileNamePattern(MainDialogView& view, const std::string& text) {
    std::string message;
    if (ValidateFileNamePattern(text, message)) return true;
    ShowMessage(view, message, kInvalidPatternTitle, MessageBoxRequest::Icon::Warning);
    return false;
}

void ResetAutoNumber(MainDialogView& view) {
    SetSettingInt(kSettings, kAutoNumberKey, 0);
    ShowMessage(view, "Auto number has been reset to 0.", "Reset");
}

void PutBackAutoNumber() {
    int value = GetSettingInt(kSettings, kAutoNumberKey, kAutoNumberUndoDefault);
    SetSettingInt(kSettings, kAutoNumberKey, value > 0 ? value - 1 : 0);
}

static bool AskReplace(MainDialogView& view) {
    return AskConfirm(view, kExistsText, kExistsTitle, "Replace", "Cancel");
}

// The prompt offers the name the pattern would give, without taking a number.
static std::string SuggestedName() {
    int next = GetSettingInt(kSettings, kAutoNumberKey, kAutoNumberNamingDefault);
    bool usedCounter = false;
    return ExpandPatternOnce(
        FileNamePattern(), LocalNow(), [&next] { return next++; }, usedCounter);
}

static bool PromptForName(MainDialogView& view, OutputFormat format, std::string& path) {
    std::string answer;
    if (!view.PromptText(kPromptTitle, kPromptLabel, SuggestedName(), answer)) return false;
    std::string name = TrimBlanks(answer);
    if (name.empty()) {
        ShowMessage(view, kNameEmptyText, kNameInvalidTitle, MessageBoxRequest::Icon::Warning);
        return false;
    }
    if (!IsUsableName(name)) {
        ShowMessage(view, kNameSlashText, kNameInvalidTitle, MessageBoxRequest::Icon::Warning);
        return false;
    }
    path = MakeRecordingPath(name, format);
    return !FileExists(path) || AskReplace(view);
}

bool ChooseRecordingPath(MainDialogView& view, OutputFormat format, std::string& path) {
    if (PromptForNameEnabled()) return PromptForName(view, format, path);
    std::string name;
    ExpandFileNamePattern(FileNamePattern(), format, LocalNow(), name);
    path = MakeRecordingPath(name, format);
    return !FileExists(path) || AskReplace(view);
}

}  // namespace vocarta
