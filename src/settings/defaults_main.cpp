// vocarta-defaults: the command-line view of Vocarta's preferences domain, for
// users and scripts that want to see or change a setting without the program.
// Every change goes through the settings functions, so it takes the same lock,
// reaches the disk at once and is seen by a running copy on its next read.

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "help/vocarta-defaults_help.h"
#include "settings/settings.h"
#include "toolkit/text.h"

namespace vocarta {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // missing key, nothing to delete, or not saved
constexpr int kExitUsage = 2;

constexpr char kProtectedShown[] = "(protected)";
// Longer than any password or token a server takes.
constexpr std::size_t kMaxPasswordBytes = 4096;

// A "Section/Key" argument. `joined` is how the settings functions would store
// section and key; it differs from the text given only when the section ends with
// "/" itself, and then the stored key is addressed as it was given.
struct KeyArg {
    std::string text;
    std::string section;
    std::string key;
    bool ViaSettings() const { return JoinSettingKey(section, key) == text; }
};

bool ParseKeyArg(std::string_view arg, KeyArg& out) {
    std::size_t slash = arg.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == arg.size()) {
        std::fprintf(stderr, "vocarta-defaults: \"%.*s\" is not of the form Section/Key\n",
                     int(arg.size()), arg.data());
        return false;
    }
    if (arg.size() >= 520) {
        std::fprintf(stderr, "vocarta-defaults: a key is at most 519 bytes long\n");
        return false;
    }
    out.text = std::string(arg);
    out.section = std::string(arg.substr(0, slash));
    out.key = std::string(arg.substr(slash + 1));
    return true;
}

std::string ShowInListing(const std::string& value) {
    std::string out;
    for (char c : value) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
    return out;
}

// A key whose value is a secret: a protected twin ("__Token") or any key named
// like a password, even one stored in clear by hand.
bool IsSecretKey(std::string_view joinedKey) {
    const std::size_t slash = joinedKey.rfind('/');
    const std::string_view name =
        slash == std::string_view::npos ? joinedKey : joinedKey.substr(slash + 1);
    return name.substr(0, 2) == "__" || EndsWithNoCase(name, "password");
}

std::string TwinOf(const KeyArg& arg) {
    return arg.text.substr(0, arg.text.size() - arg.key.size()) + "__" + arg.key;
}

int ReadAll() {
    SettingsDomain& domain = AppSettings();
    for (const std::string& key : domain.KeyList()) {
        std::string value;
        if (!domain.GetRaw(key, value)) continue;  // deleted since the listing
        if (IsSecretKey(key) && !value.empty()) value = kProtectedShown;
        std::printf("%s = %s\n", key.c_str(), ShowInListing(value).c_str());
    }
    return kExitOk;
}

int ReadOne(const KeyArg& arg) {
    std::string twinValue;
    if (IsSecretKey(arg.text) || AppSettings().GetRaw(TwinOf(arg), twinValue)) {
        std::string value;
        if (!AppSettings().GetRaw(arg.text, value) && !AppSettings().GetRaw(TwinOf(arg), value)) {
            std::fprintf(stderr, "vocarta-defaults: %s does not exist\n", arg.text.c_str());
            return kExitFailed;
        }
        std::printf("%s\n", value.empty() ? "" : kProtectedShown);
        return kExitOk;
    }
    std::string value;
    bool found = arg.ViaSettings() ? GetSettingStringLong(arg.section, arg.key, "", value)
                                   : AppSettings().GetRaw(arg.text, value);
    if (!found) {
        std::fprintf(stderr, "vocarta-defaults: %s does not exist\n", arg.text.c_str());
        return kExitFailed;
    }
    std::fwrite(value.data(), 1, value.size(), stdout);
    std::fputc('\n', stdout);
    return kExitOk;
}

int Write(const KeyArg& arg, std::string_view value) {
    if (EndsWithNoCase(arg.key, "password")) {
        // On the command line it would be visible to every user of the machine.
        std::fprintf(stderr,
                     "vocarta-defaults: a password is not taken from the command line; use\n"
                     "  vocarta-defaults write-password %s\n"
                     "which reads it from standard input\n",
                     arg.text.c_str());
        return kExitUsage;
    }
    bool saved = arg.ViaSettings() ? SetSettingString(arg.section, arg.key, value)
                                   : AppSettings().SetRaw(arg.text, value);
    if (!saved) {
        std::fprintf(stderr, "vocarta-defaults: %s could not be saved (see the error log)\n",
                     arg.text.c_str());
        return kExitFailed;
    }
    return kExitOk;
}

// One line from standard input: typed without echo at a terminal, else the
// first line of what a script pipes in (its line break dropped).
bool ReadSecret(const KeyArg& arg, std::string& value) {
    const bool terminal = isatty(STDIN_FILENO) == 1;
    termios saved{};
    if (terminal && tcgetattr(STDIN_FILENO, &saved) == 0) {
        std::fprintf(stderr, "Value of %s: ", arg.text.c_str());
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    value.clear();
    bool ended = false;
    int c;
    while ((c = std::getchar()) != EOF && value.size() <= kMaxPasswordBytes) {
        if (c == '\n') {
            ended = true;
            break;
        }
        value += char(c);
    }
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        std::fputc('\n', stderr);
    }
    if (!value.empty() && value.back() == '\r') value.pop_back();
    if (value.size() > kMaxPasswordBytes) {
        std::fprintf(stderr, "vocarta-defaults: the value is longer than %zu bytes\n",
                     kMaxPasswordBytes);
        return false;
    }
    if (value.find_first_of(std::string_view("\r\0", 2)) != std::string::npos) {
        std::fprintf(stderr, "vocarta-defaults: the value holds a control character\n");
        return false;
    }
    // Anything after the first line would be silently lost: refuse it instead.
    for (std::size_t i = 0; ended && !terminal && i <= kMaxPasswordBytes; ++i) {
        c = std::getchar();
        if (c == EOF) break;
        if (c != '\n' && c != '\r') {
            std::fprintf(stderr, "vocarta-defaults: standard input holds more than one line\n");
            return false;
        }
    }
    return true;
}

int WritePassword(const KeyArg& arg) {
    if (arg.key.substr(0, 2) == "__") {
        std::fprintf(stderr, "vocarta-defaults: name the key without its \"__\" (%s)\n",
                     arg.text.c_str());
        return kExitUsage;
    }
    std::string value;
    if (!ReadSecret(arg, value)) return kExitFailed;
    if (!SetProtectedSetting(arg.section, arg.key, value)) {
        std::fprintf(stderr, "vocarta-defaults: %s could not be saved (see the error log)\n",
                     arg.text.c_str());
        return kExitFailed;
    }
    // No clear copy may stay behind.
    std::string clear;
    if (AppSettings().GetRaw(arg.text, clear) && !AppSettings().DeleteRaw(arg.text)) {
        std::fprintf(stderr, "vocarta-defaults: the clear value of %s could not be removed\n",
                     arg.text.c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int Delete(const KeyArg& arg) {
    SettingsDomain& domain = AppSettings();
    std::string twin = TwinOf(arg);
    std::string ignored;
    if (!domain.GetRaw(arg.text, ignored) && !domain.GetRaw(twin, ignored)) {
        std::fprintf(stderr, "vocarta-defaults: %s does not exist\n", arg.text.c_str());
        return kExitFailed;
    }
    bool saved = arg.ViaSettings() ? DeleteSetting(arg.section, arg.key)
                                   : domain.DeleteRaw(arg.text) && domain.DeleteRaw(twin);
    if (!saved) {
        std::fprintf(stderr, "vocarta-defaults: %s could not be deleted (see the error log)\n",
                     arg.text.c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int DeleteTree(const std::string& section) {
    std::string prefix = section.empty() || section.back() != '/' ? section + "/" : section;
    bool any = false;
    for (const std::string& key : AppSettings().KeyList())
        any = any || StartsWithNoCase(key, prefix);
    if (!any) {
        std::fprintf(stderr, "vocarta-defaults: no settings under %s\n", section.c_str());
        return kExitFailed;
    }
    if (!DeleteSettingTree(section)) {
        std::fprintf(stderr, "vocarta-defaults: %s could not be deleted (see the error log)\n",
                     section.c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int Usage(FILE* to, int status) {
    std::fputs(kVocartaDefaultsHelp, to);
    return status;
}

int Run(const std::vector<std::string>& args) {
    if (args.empty()) return Usage(stderr, kExitUsage);
    const std::string& command = args[0];
    std::size_t extra = args.size() - 1;
    if (command == "-h" || command == "--help" || EqualsNoCase(command, "help"))
        return Usage(stdout, kExitOk);
    KeyArg key;
    if (EqualsNoCase(command, "read") && extra == 0) return ReadAll();
    if (EqualsNoCase(command, "read") && extra == 1)
        return ParseKeyArg(args[1], key) ? ReadOne(key) : Usage(stderr, kExitUsage);
    if (EqualsNoCase(command, "write") && extra == 2)
        return ParseKeyArg(args[1], key) ? Write(key, args[2]) : Usage(stderr, kExitUsage);
    if (EqualsNoCase(command, "write-password") && extra >= 2) {
        std::fprintf(stderr,
                     "vocarta-defaults: write-password reads the value from standard input, "
                     "never from the argument list\n");
        return kExitUsage;
    }
    if (EqualsNoCase(command, "write-password") && extra == 1)
        return ParseKeyArg(args[1], key) ? WritePassword(key) : Usage(stderr, kExitUsage);
    if (EqualsNoCase(command, "delete") && extra == 1)
        return ParseKeyArg(args[1], key) ? Delete(key) : Usage(stderr, kExitUsage);
    if (EqualsNoCase(command, "delete-tree") && extra == 1 && !args[1].empty())
        return DeleteTree(args[1]);
    std::fprintf(stderr, "vocarta-defaults: bad arguments\n");
    return Usage(stderr, kExitUsage);
}

}  // namespace
}  // namespace vocarta

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return vocarta::Run(args);
}
