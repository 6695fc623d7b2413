#include "app/session/file_naming.h"

#include <algorithm>
#include <cstdio>

#include "app/session/main_dialog_view.h"
#include "app/session/recording_target.h"
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
constexpr const char* kPatternPathText =
    "File name format cannot contain \"/\" or \"..\": recordings are named inside the "
    "record folder. Please try again.";
constexpr const char* kEmptyNameStandIn = "Untitled";
// The longest name one folder entry may have.
constexpr std::size_t kNameMax = 255;
// A folder full of earlier takes ends the search long before this.
constexpr int kMaxNamingPasses = 100000;

constexpr const char* kPromptTitle = "Enter File Name";
constexpr const char* kPromptLabel = "File name:";
constexpr const char* kNameInvalidTitle = "Name Invalid";
constexpr const char* kNameEmptyText = "The name must contain text.";
constexpr const char* kNameSlashText = "A file name cannot contain \"/\" or be \".\" or \"..\".";

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

// The first `max` bytes of `text`, never ending inside a UTF-8 character.
std::string CutUtf8(const std::string& text, std::size_t max) {
    if (text.size() <= max) return text;
    std::size_t end = max;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return text.substr(0, end);
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
    const std::string pattern = GetSettingString(kSettings, kPatternKey, kDefaultPattern);
    // A pattern from elsewhere (vocarta-defaults, a hand-edited file) that would
    // write outside the record folder, or nothing at all, is not used.
    if (pattern.empty() || pattern.find('/') != std::string::npos ||
        pattern.find("..") != std::string::npos) {
        LogError("FileNamePattern: the stored pattern \"%s\" %s; \"%s\" is used instead",
                 pattern.c_str(),
                 pattern.empty() ? "is empty" : "would name a file outside the record folder",
                 kDefaultPattern);
        return kDefaultPattern;
    }
    return pattern;
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
                              const std::function<int()>& nextNumber, bool& usedCounter,
                              std::size_t* numberAt) {
    std::string out;
    usedCounter = false;
    if (numberAt) *numberAt = std::string::npos;
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
        if (name.empty()) {
            out += '%';
        } else if (ExpandToken(name, moment, nextNumber, usedCounter, replacement)) {
            if (name == "autonumber" && numberAt) *numberAt = out.size();
            out += replacement;
        }
        i = close + 1;
    }
    return out;
}

void ExpandFileNamePattern(const std::string& pattern, OutputFormat format, const std::tm& moment,
                           std::string& out) {
    for (int pass = 0; pass < kMaxNamingPasses; ++pass) {
        bool usedCounter = false;
        std::size_t numberAt = std::string::npos;
        out = ExpandPatternOnce(pattern, moment, &TakeAutoNumber, usedCounter, &numberAt);
        // A pattern that names nothing must not make a hidden ".flac".
        if (out.empty()) out = kEmptyNameStandIn;
        out = FitRecordingName(out, numberAt, format);
        if (!usedCounter) return;
        if (!FileExists(MakeRecordingPath(out, format))) return;
    }
    LogError("ExpandFileNamePattern: no free name after %d numbers; \"%s\" is taken",
             kMaxNamingPasses, out.c_str());
}

void ExpandFileNamePattern(const std::string& pattern, std::string& out) {
    ExpandFileNamePattern(pattern, ReadOutputFormat(), LocalNow(), out);
}

std::string FitRecordingName(const std::string& name, std::size_t keepFrom, OutputFormat format) {
    const std::string ext = OutputFormatExtension(format);
    const std::size_t folder = JoinPath(RecordFolder(), "").size();
    std::size_t budget = kNameMax > ext.size() ? kNameMax - ext.size() : 0;
    if (folder + ext.size() < kTextMax)
        budget = std::min(budget, kTextMax - folder - ext.size());
    else
        budget = std::min<std::size_t>(budget, 1);
    if (name.size() <= budget) return name;
    // The number and the extension tell takes apart: the text before them is
    // what gives way.
    const std::string tail = keepFrom < name.size() ? name.substr(keepFrom) : std::string();
    const std::string head = keepFrom < name.size() ? name.substr(0, keepFrom) : name;
    const std::size_t room = budget > tail.size() ? budget - tail.size() : 0;
    return CutUtf8(head, room) + tail;
}

std::string MakeRecordingPath(const std::string& name, OutputFormat format) {
    return JoinPath(RecordFolder(), FitRecordingName(name, std::string::npos, format)) +
           OutputFormatExtension(format);
}

bool ValidateFileNamePattern(const std::string& text, std::string& message) {
    if (text.empty()) {
        message = "File name format is invalid. Please try again.";
        return false;
    }
    if (text.find('/') != std::string::npos || text.find("..") != std::string::npos) {
        message = kPatternPathText;
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

// The prompt offers the name the pattern would give, without taking a number.
static std::string SuggestedName() {
    int next = GetSettingInt(kSettings, kAutoNumberKey, kAutoNumberNamingDefault);
    bool usedCounter = false;
    return ExpandPatternOnce(
        FileNamePattern(), LocalNow(), [&next] { return next++; }, usedCounter, nullptr);
}

static LResult<std::string> PromptForName(MainDialogView& view, OutputFormat format) {
    std::string answer;
    if (!view.PromptText(kPromptTitle, kPromptLabel, SuggestedName(), answer))
        return LError(LErrorCode::kCancelled, "no name given");
    std::string name = TrimBlanks(answer);
    if (name.empty()) {
        ShowMessage(view, kNameEmptyText, kNameInvalidTitle, MessageBoxRequest::Icon::Warning);
        return LError(LErrorCode::kInvalid, kNameEmptyText);
    }
    if (!IsUsableName(name)) {
        ShowMessage(view, kNameSlashText, kNameInvalidTitle, MessageBoxRequest::Icon::Warning);
        return LError(LErrorCode::kInvalid, kNameSlashText);
    }
    return MakeRecordingPath(name, format);
}

LResult<RecordingTarget> ChooseRecordingPath(MainDialogView& view, OutputFormat format) {
    std::string path;
    if (PromptForNameEnabled()) {
        LResult<std::string> named = PromptForName(view, format);
        if (!named) return named.Error();
        path = named.Value();
    } else {
        std::string name;
        ExpandFileNamePattern(FileNamePattern(), format, LocalNow(), name);
        path = MakeRecordingPath(name, format);
    }
    return PrepareRecordingTarget(view, path);
}

}  // namespace vocarta
