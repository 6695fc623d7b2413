#include <sys/statvfs.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "app/session/disk_space.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
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
