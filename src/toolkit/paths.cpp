#include "toolkit/paths.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "toolkit/log.h"

namespace vocarta {

static std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return (v && *v) ? std::string(v) : std::string();
}

std::string HomeDir() {
    std::string home = Env("HOME");
    if (!home.empty()) return home;
    if (const passwd* pw = getpwuid(getuid())) return pw->pw_dir;
    return "/tmp";
}

static std::string XdgDir(const char* var, const char* fallback) {
    std::string dir = Env(var);
    // Relative values are invalid per the XDG rules and must be ignored.
    if (!dir.empty() && dir[0] == '/') return dir;
    return JoinPath(HomeDir(), fallback);
}

std::string ConfigHome() {
    return XdgDir("XDG_CONFIG_HOME", ".config");
}
std::string DataHome() {
    return XdgDir("XDG_DATA_HOME", ".local/share");
}
std::string CacheHome() {
    return XdgDir("XDG_CACHE_HOME", ".cache");
}
std::string AppConfigDir() {
    return JoinPath(ConfigHome(), "vocarta");
}
std::string AppDataDir() {
    return JoinPath(DataHome(), "vocarta");
}
std::string HomeTrashFolder() {
    return JoinPath(DataHome(), "Trash");
}

// user-dirs.dirs lines look like: XDG_MUSIC_DIR="$HOME/Music"
static std::string MusicDirFromUserDirs() {
    std::ifstream in(JoinPath(ConfigHome(), "user-dirs.dirs"));
    std::string line;
    while (std::getline(in, line)) {
        const std::string key = "XDG_MUSIC_DIR=";
        if (line.rfind(key, 0) != 0) continue;
        std::string value = line.substr(key.size());
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        if (value.rfind("$HOME", 0) == 0) value = HomeDir() + value.substr(5);
        if (!value.empty() && value[0] == '/') return value;
    }
    return {};
}

std::string MusicDir() {
    std::string dir = MusicDirFromUserDirs();
    return dir.empty() ? JoinPath(HomeDir(), "Music") : dir;
}

std::string SharedDir() {
    std::string dir = Env("VOCARTA_SHARED_DIR");
    if (!dir.empty()) {
        if (!MakeDirs(dir)) LogSystemFailure("SharedDir", "mkdir");
        return dir;
    }
    dir = "/var/tmp/vocarta-shared";
    if (mkdir(dir.c_str(), 01777) == 0) {
        chmod(dir.c_str(), 01777);  // mkdir's mode is filtered by the umask
    } else if (errno != EEXIST) {
        LogSystemFailure("SharedDir", "mkdir");
    }
    return dir;
}

bool DirExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool FileExists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool MakeDirs(const std::string& path) {
    if (path.empty()) return false;
    if (DirExists(path)) return true;
    std::size_t pos = 0;
    while (true) {
        pos = path.find('/', pos + 1);
        std::string part = path.substr(0, pos);
        if (!part.empty() && mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return false;
        if (pos == std::string::npos) break;
    }
    return DirExists(path);
}

std::string JoinPath(const std::string& folder, const std::string& name) {
    if (folder.empty()) return name;
    if (folder.back() == '/') return folder + name;
    return folder + "/" + name;
}

std::string BaseName(const std::string& path) {
    std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirName(const std::string& path) {
    std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string Extension(const std::string& path) {
    std::string base = BaseName(path);
    std::size_t dot = base.find_last_of('.');
    return (dot == std::string::npos || dot == 0) ? std::string() : base.substr(dot);
}

}  // namespace vocarta
