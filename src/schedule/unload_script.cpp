#include "schedule/unload_script.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "schedule/process_run.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::string ScriptFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && runtime[0] == '/' && DirExists(runtime)) return runtime;
    return JoinPath(CacheHome(), "vocarta");
}

bool WriteWhole(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += std::size_t(n);
    }
    return true;
}

}  // namespace

std::string UnloadScriptText(const std::string& launcherName, const std::string& stopCommand) {
    return "echo \"Waiting for process $1\"\n"
           "# Wait until the process is not alive any more\n"
           "while kill -0 \"$1\"; do\n"
           "  sleep 0.5\n"
           "done\n"
           "\n"
           "echo \"Process $1 has terminated, unloading it from " +
           launcherName + "\"\n" + stopCommand + " \"$2\"\n" + "rm -f \"$0\"\n";
}

LResult<std::string> StartUnloadAfterExit(const std::string& scriptText, pid_t pid,
                                          const std::string& target) {
    const std::string folder = ScriptFolder();
    if (!MakeDirs(folder)) {
        LogSystemFailure("StartUnloadAfterExit", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", folder.c_str());
    }
    std::string path = JoinPath(folder, "vocarta-unload-XXXXXX");
    const int fd = mkstemp(path.data());
    if (fd < 0) {
        LogSystemFailure("StartUnloadAfterExit", "mkstemp");
        return MakeError(LErrorCode::kIo, "no script file in %s: %s", folder.c_str(),
                         std::strerror(errno));
    }
    const bool written = WriteWhole(fd, scriptText) && fchmod(fd, 0770) == 0;
    if (!written) LogSystemFailure("StartUnloadAfterExit", "write");
    close(fd);
    if (!written) {
        unlink(path.c_str());
        return MakeError(LErrorCode::kIo, "%s cannot be written", path.c_str());
    }
    LStatus started = StartDetachedProcess({"/bin/sh", path, StringPrintf("%d", int(pid)), target});
    if (!started) {
        unlink(path.c_str());
        return started.Error();
    }
    LogEvent("Unloading %s once process %d has ended (%s)", target.c_str(), int(pid), path.c_str());
    return path;
}

}  // namespace vocarta
