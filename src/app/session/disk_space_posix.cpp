#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "app/session/disk_space.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kFreeBytesFileVariable = "VOCARTA_FREE_BYTES_FILE";

std::optional<uint64_t> FreeBytesFromTestFile() {
    const char* path = std::getenv(kFreeBytesFileVariable);
    if (!path || !*path) return std::nullopt;
    std::string contents;
    if (!LFile::ReadAll(path, contents)) return std::nullopt;
    const std::string text = TrimBlanks(contents);
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || *end != '\0' || errno == ERANGE) {
        LogError("FreeDiskBytes: %s=%s holds no number of bytes (\"%s\"); ignored",
                 kFreeBytesFileVariable, path, text.c_str());
        return std::nullopt;
    }
    return uint64_t(value);
}

// A mount point as /proc/self/mountinfo writes it: space, tab, newline and
// backslash as three octal digits after a backslash.
std::string UnescapeMountField(const std::string& field) {
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            const std::string digits = field.substr(i + 1, 3);
            if (digits.find_first_not_of("01234567") == std::string::npos) {
                out += char(std::strtol(digits.c_str(), nullptr, 8));
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return out;
}

bool IsWithin(const std::string& path, const std::string& folder) {
    if (folder == "/") return true;
    return path == folder ||
           (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
            path[folder.size()] == '/');
}

// The deepest mount of device `dev` that holds `path`; "" when none is listed.
std::string MountPointFromMountInfo(const std::string& path, dev_t dev) {
    std::string table;
    if (!LFile::ReadAll("/proc/self/mountinfo", table)) return "";
    std::istringstream lines(table);
    std::string best;
    for (std::string line; std::getline(lines, line);) {
        // id parent major:minor root mount-point options ...
        std::istringstream fields(line);
        std::string id, parent, numbers, root, mountPoint;
        if (!(fields >> id >> parent >> numbers >> root >> mountPoint)) continue;
        unsigned major = 0, minor = 0;
        if (std::sscanf(numbers.c_str(), "%u:%u", &major, &minor) != 2) continue;
        if (makedev(major, minor) != dev) continue;
        mountPoint = UnescapeMountField(mountPoint);
        if (IsWithin(path, mountPoint) && mountPoint.size() >= best.size()) best = mountPoint;
    }
    return best;
}
}  // namespace

std::optional<uint64_t> FreeDiskBytes(const std::string& folder) {
    if (auto injected = FreeBytesFromTestFile()) return injected;
    struct statvfs info {};
    if (statvfs(folder.c_str(), &info) != 0) {
        LogSystemFailure("FreeDiskBytes", "statvfs");
        return std::nullopt;
    }
    return uint64_t(info.f_bavail) * uint64_t(info.f_frsize);
}

}  // namespace vocarta

namespace vocarta {

std::string MountPointOf(const std::string& folder) {
    char* resolved = realpath(folder.c_str(), nullptr);
    if (!resolved) return "";
    std::string path = resolved;
    free(resolved);
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return "";
    std::string mountPoint = MountPointFromMountInfo(path, info.st_dev);
    if (!mountPoint.empty()) return mountPoint;
    // No mount table (a restricted container): climb while the device stays.
    while (path != "/") {
        const std::string parent = DirName(path);
        struct stat above {};
        if (stat(parent.c_str(), &above) != 0 || above.st_dev != info.st_dev) break;
        path = parent;
    }
    return path;
}

std::string FreeSpaceShortText(const std::string& folder, uint64_t neededBytes,
                               uint64_t freeBytes) {
    const auto megabytes = [](uint64_t bytes, int decimals) {
        return StringPrintf("%.*f MB", decimals, double(bytes) / 1e6);
    };
    int decimals = 0;
    if (freeBytes < neededBytes && megabytes(neededBytes, 0) == megabytes(freeBytes, 0))
        decimals = 1;
    std::string where = MountPointOf(folder);
    if (where.empty()) where = folder;
    return "needs " + megabytes(neededBytes, decimals) + ", " + megabytes(freeBytes, decimals) +
           " free on " + where;
}

}  // namespace vocarta
