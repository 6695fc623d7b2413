#include "schedule/login_autostart.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "schedule/utf8_text.h"
#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kLabelKey = "X-Vocarta-Label";

// The keys of the [Desktop Entry] group; false when the text is not an entry.
bool ReadDesktopEntry(const std::string& text, std::map<std::string, std::string>& keys) {
    bool inEntry = false, sawEntry = false;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        const std::string line = TrimBlanks(std::string_view(text).substr(pos, end - pos));
        pos = end + 1;
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '[') {
            inEntry = line == "[Desktop Entry]";
            sawEntry = sawEntry || inEntry;
            continue;
        }
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos) return false;
        if (inEntry) keys[TrimBlanks(line.substr(0, eq))] = TrimBlanks(line.substr(eq + 1));
    }
    return sawEntry;
}

bool IsOurs(const std::map<std::string, std::string>& keys) {
    auto label = keys.find(kLabelKey);
    return label != keys.end() && label->second == kAppDomain;
}

}  // namespace

std::string LoginItemPath() {
    return JoinPath(JoinPath(ConfigHome(), "autostart"), std::string(kAppDomain) + ".desktop");
}

LResult<std::string> DesktopExecValue(const std::string& argument) {
    if (!IsValidUtf8(argument))
        return MakeError(LErrorCode::kInvalid, "\"%s\" is not UTF-8 text", argument.c_str());
    // GLib looks for the program before it turns "%%" back into "%": a path
    // with a "%" is handed to env instead (unless env would take it for a
    // variable).
    std::string quoted;
    if (argument.find('%') != std::string::npos) {
        if (argument.find('=') != std::string::npos)
            return MakeError(LErrorCode::kInvalid, "\"%s\" cannot be started from an entry",
                             argument.c_str());
        quoted = "/usr/bin/env ";
    }
    quoted += "\"";
    for (char c : argument) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
        if (c == '%') quoted += '%';
        quoted += c;
    }
    quoted += '"';
    // The value's own escapes, which a reader undoes before the quoting above.
    std::string value;
    for (char c : quoted) {
        switch (c) {
            case '\\':
                value += "\\\\";
                break;
            case '\n':
                value += "\\n";
                break;
            case '\t':
                value += "\\t";
                break;
            case '\r':
                value += "\\r";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
                    return MakeError(LErrorCode::kInvalid, "a control byte in \"%s\"",
                                     argument.c_str());
                value += c;
        }
    }
    return value;
}

LResult<std::string> LoginItemText(const std::string& executablePath) {
    LResult<std::string> exec = DesktopExecValue(executablePath);
    if (!exec) return exec.Error();
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Vocarta Sound Recorder\n"
           "Comment=Starts Vocarta when you log in\n"
           "Exec=" +
           exec.Value() +
           "\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n" +
           kLabelKey + "=" + kAppDomain + "\n";
}

bool RunAtLoginEnabled() {
    std::string text;
    if (!LFile::ReadAll(LoginItemPath(), text)) return false;
    std::map<std::string, std::string> keys;
    if (!ReadDesktopEntry(text, keys) || !IsOurs(keys)) return false;
    auto exec = keys.find("Exec");
    if (exec == keys.end() || exec->second.empty()) return false;
    auto hidden = keys.find("Hidden");
    if (hidden != keys.end() && hidden->second == "true") return false;
    auto enabled = keys.find("X-GNOME-Autostart-enabled");
    return enabled == keys.end() || enabled->second != "false";
}

LStatus EnableRunAtLogin(const std::string& executablePath) {
    const std::string path = LoginItemPath();
    std::string existing;
    std::map<std::string, std::string> keys;
    if (LFile::ReadAll(path, existing) && !(ReadDesktopEntry(existing, keys) && IsOurs(keys))) {
        LogError("EnableRunAtLogin: %s was not written by Vocarta; left as it is", path.c_str());
        return MakeError(LErrorCode::kExists, "%s was not written by Vocarta", path.c_str());
    }
    LResult<std::string> text = LoginItemText(executablePath);
    if (!text) {
        LogError("EnableRunAtLogin: %s", text.Error().Message().c_str());
        return text.Error();
    }
    const std::string folder = DirName(path);
    if (!DirExists(folder) && !MakeDirs(DirName(folder))) {
        LogSystemFailure("EnableRunAtLogin", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", folder.c_str());
    }
    if (!DirExists(folder) && mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        LogSystemFailure("EnableRunAtLogin", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", folder.c_str());
    }
    if (!LFile::WriteAtomically(path, text.Value(), 0644))
        return MakeError(LErrorCode::kIo, "%s cannot be written", path.c_str());
    LogEvent("Run at log-in enabled: %s", path.c_str());
    return LStatus::Success();
}

LStatus DisableRunAtLogin() {
    if (!RunAtLoginEnabled()) return LStatus::Success();
    const std::string path = LoginItemPath();
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        LogSystemFailure("DisableRunAtLogin", "unlink");
        return MakeError(LErrorCode::kIo, "%s cannot be deleted", path.c_str());
    }
    LogEvent("Run at log-in disabled: %s", path.c_str());
    return LStatus::Success();
}

}  // namespace vocarta
