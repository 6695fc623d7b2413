#include "library/companion_programs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/child_program.h"
#include "transmit/command_template.h"

namespace vocarta {

namespace companion_settings {
std::string BurnProgram() {
    return GetSettingString(kSection, kBurnProgramKey);
}
std::string EditProgram() {
    return GetSettingString(kSection, kEditProgramKey);
}
std::string ConvertProgram() {
    return GetSettingString(kSection, kConvertProgramKey);
}
}  // namespace companion_settings

namespace {

constexpr const char* kBurnLabel = "RECORDINGBACKUP";
constexpr const char* kBurnListName = "temp.txt";

std::string Joined(const std::vector<std::string>& args) {
    std::string text;
    for (const std::string& arg : args) text += (text.empty() ? "" : " ") + arg;
    return text;
}

LError StartError(const LError& error, const std::vector<std::string>& args, const char* what) {
    if (error.Code() == LErrorCode::kNotFound)
        return MakeError(LErrorCode::kNotFound,
                         "The %s \"%s\" was not found. Install it, or "
                         "choose another one in the options.",
                         what, args[0].c_str());
    return MakeError(error.Code(), "The %s \"%s\" could not be started: %s", what, args[0].c_str(),
                     error.Message().c_str());
}

// Starts `args` and leaves it running.
LStatus StartDetached(const std::vector<std::string>& args, const char* what) {
    auto started = LChildProgram::Start(args);
    if (!started) return StartError(started.Error(), args, what);
    LogEvent("Started the %s: %s", what, Joined(args).c_str());
    return LStatus::Success();
}

// Starts `args` from a thread of its own that, once the program has ended,
// removes `folder` (the list file's private folder). The start's result is
// known before this returns.
LStatus StartThenRemove(const std::vector<std::string>& args, const std::string& folder,
                        const char* what) {
    std::promise<LStatus> promise;
    std::future<LStatus> result = promise.get_future();
    // The thread owns the promise, so it never outlives what it sets.
    std::thread([args, folder, what, promise = std::move(promise)]() mutable {
        auto started = LChildProgram::Start(args);
        if (!started) {
            promise.set_value(StartError(started.Error(), args, what));
            return;  // the caller removes the folder
        }
        std::shared_ptr<LChildProgram> program = started.Value();
        promise.set_value(LStatus::Success());
        program->WaitForEnd(-1, nullptr);
        unlink(JoinPath(folder, kBurnListName).c_str());
        rmdir(folder.c_str());
    }).detach();
    LStatus status = result.get();
    if (status) LogEvent("Started the %s: %s", what, Joined(args).c_str());
    return status;
}

std::string PrivateTempFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const char* tmp = std::getenv("TMPDIR");
    std::string base = runtime && *runtime && DirExists(runtime) ? runtime
                       : tmp && *tmp                             ? tmp
                                                                 : "/tmp";
    std::string pattern = JoinPath(base, "vocarta-burn-XXXXXX");
    if (!mkdtemp(pattern.data())) return "";  // mkdtemp makes it 0700
    return pattern;
}

LStatus WriteNewFile(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return MakeError(LErrorCode::kIo, "Cannot create %s: %s", path.c_str(),
                         std::strerror(errno));
    const bool written = write(fd, text.data(), text.size()) == ssize_t(text.size());
    const int error = errno;
    if (close(fd) != 0 || !written)
        return MakeError(LErrorCode::kIo, "Cannot write %s: %s", path.c_str(),
                         std::strerror(written ? errno : error));
    return LStatus::Success();
}

std::vector<std::string> DefaultBurnerArgs(const std::string& burner, DiscType type) {
    const bool audio = type == DiscType::kAudio;
    if (burner == "k3b") return {burner, audio ? "--audiocd" : "--datacd"};
    if (burner == "xfburn") return {burner, audio ? "--audio-composition" : "--data-composition"};
    return {burner, audio ? "--audio" : "--data"};  // brasero
}

LResult<CompanionStart> BurnWithConfigured(const std::string& program,
                                           const std::vector<std::string>& paths, DiscType type) {
    for (const std::string& path : paths)
        if (path.find_first_of("\r\n") != std::string::npos)
            return MakeError(LErrorCode::kInvalid,
                             "\"%s\" cannot be given to the burner: its name holds a line break",
                             path.c_str());
    auto args = BuildCommandArguments(program, "");
    if (!args) return args.Error().Within("The disc burner setting");
    const std::string folder = PrivateTempFolder();
    if (folder.empty())
        return MakeError(LErrorCode::kIo, "No private temporary folder for the burn list: %s",
                         std::strerror(errno));
    CompanionStart start;
    start.listFile = JoinPath(folder, kBurnListName);
    LStatus written = WriteNewFile(start.listFile, BurnListText(paths));
    if (written) {
        std::vector<std::string> command = args.Value();
        for (const char* arg : {"-clear", "-show", "-type"}) command.push_back(arg);
        command.push_back(DiscTypeWord(type));
        for (const char* arg : {"-label", kBurnLabel, "-list"}) command.push_back(arg);
        command.push_back(start.listFile);
        command.push_back("-burn");
        command.push_back("-exit");
        start.commands.push_back(command);
        written = StartThenRemove(command, folder, "disc burner");
    }
    if (!written) {
        unlink(start.listFile.c_str());
        rmdir(folder.c_str());
        return written.Error();
    }
    return start;
}

}  // namespace

const char* DiscTypeWord(DiscType type) {
    return type == DiscType::kAudio ? "audio" : "data";
}

std::string BurnListText(const std::vector<std::string>& paths) {
    std::string text;
    for (const std::string& path : paths) text += path + "\r\n";
    return text;
}

std::string FindProgram(const std::string& program) {
    if (program.empty()) return "";
    if (program.find('/') != std::string::npos)
        return access(program.c_str(), X_OK) == 0 ? program : "";
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/local/bin:/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= dirs.size()) {
        std::size_t end = dirs.find(':', start);
        if (end == std::string::npos) end = dirs.size();
        const std::string dir = dirs.substr(start, end - start);
        const std::string candidate = JoinPath(dir.empty() ? "." : dir, program);
        struct stat info {};
        if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            access(candidate.c_str(), X_OK) == 0)
            return candidate;
        start = end + 1;
    }
    return "";
}

LResult<CompanionStart> BurnRecordings(const std::vector<std::string>& paths, DiscType type) {
    if (paths.empty()) return MakeError(LErrorCode::kInvalid, "No recordings to burn");
    const std::string configured = companion_settings::BurnProgram();
    if (!configured.empty()) return BurnWithConfigured(configured, paths, type);
    for (const char* burner : kDefaultBurners) {
        if (FindProgram(burner).empty()) continue;
        CompanionStart start;
        std::vector<std::string> command = DefaultBurnerArgs(burner, type);
        command.insert(command.end(), paths.begin(), paths.end());
        start.commands.push_back(command);
        LStatus started = StartDetached(command, "disc burner");
        if (!started) return started.Error();
        return start;
    }
    return MakeError(LErrorCode::kNotFound,
                     "No disc burning program was found. Install Brasero, K3b or Xfburn, or "
                     "choose a burning program in the options.");
}

LResult<CompanionStart> OpenWithProgram(const std::string& program,
                                        const std::vector<std::string>& paths, const char* what) {
    if (paths.empty()) return MakeError(LErrorCode::kInvalid, "No recordings to open");
    CompanionStart start;
    if (program.empty()) {
        if (!FindProgram("gio").empty()) {
            std::vector<std::string> command = {"gio", "open"};
            command.insert(command.end(), paths.begin(), paths.end());
            start.commands.push_back(command);
        } else if (!FindProgram("xdg-open").empty()) {
            for (const std::string& path : paths) start.commands.push_back({"xdg-open", path});
        } else {
            return MakeError(LErrorCode::kNotFound,
                             "No %s is chosen in the options, and the desktop's program for "
                             "audio files cannot be asked (neither gio nor xdg-open is "
                             "installed).",
                             what);
        }
    } else if (program.find("%s") != std::string::npos) {
        for (const std::string& path : paths) {
            auto args = BuildCommandArguments(program, path);
            if (!args) return args.Error().Within(std::string("The ") + what + " setting");
            start.commands.push_back(args.Value());
        }
    } else {
        auto args = BuildCommandArguments(program, "");
        if (!args) return args.Error().Within(std::string("The ") + what + " setting");
        std::vector<std::string> command = args.Value();
        command.insert(command.end(), paths.begin(), paths.end());
        start.commands.push_back(command);
    }
    for (const auto& command : start.commands) {
        LStatus started = StartDetached(command, what);
        if (!started) return started.Error();
    }
    return start;
}

LResult<CompanionStart> EditRecordings(const std::vector<std::string>& paths) {
    return OpenWithProgram(companion_settings::EditProgram(), paths, "audio editor");
}

LResult<CompanionStart> ConvertRecordings(const std::vector<std::string>& paths) {
    return OpenWithProgram(companion_settings::ConvertProgram(), paths, "format converter");
}

}  // namespace vocarta
