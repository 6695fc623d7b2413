// The folder watcher over Linux inotify: a non-blocking descriptor, one watch
// on the listed folder.

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "library/folder_watcher.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr uint32_t kMask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM | IN_ONLYDIR;

class InotifyFolderWatcher final : public LFolderWatcher {
  public:
    ~InotifyFolderWatcher() override { Stop(); }

    LStatus Watch(const std::string& folder) override {
        Stop();
        fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (fd_ < 0) {
            LogSystemFailure("InotifyFolderWatcher::Watch", "inotify_init1");
            return MakeError(LErrorCode::kFailed, "cannot watch %s: %s", folder.c_str(),
                             std::strerror(errno));
        }
        if (inotify_add_watch(fd_, folder.c_str(), kMask) < 0) {
            const int error = errno;
            Stop();
            return MakeError(error == ENOENT ? LErrorCode::kNotFound : LErrorCode::kFailed,
                             "cannot watch %s: %s", folder.c_str(), std::strerror(error));
        }
        folder_ = folder;
        return LStatus::Success();
    }

    void Stop() override {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
        folder_.clear();
    }

    int Descriptor() const override { return fd_; }

    std::vector<FolderChange> TakeChanges() override {
        std::vector<FolderChange> changes;
        if (fd_ < 0) return changes;
        alignas(inotify_event) char buffer[16384];
        for (;;) {
            const ssize_t got = read(fd_, buffer, sizeof buffer);
            if (got <= 0) {
                if (got < 0 && errno == EINTR) continue;
                if (got < 0 && errno != EAGAIN) LogSystemFailure("InotifyFolderWatcher", "read");
                break;
            }
            for (ssize_t at = 0; at + ssize_t(sizeof(inotify_event)) <= got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                at += ssize_t(sizeof(inotify_event)) + event->len;
                if (event->len == 0 || (event->mask & IN_ISDIR)) continue;
                const std::string path = JoinPath(folder_, event->name);
                if (event->mask & (IN_CLOSE_WRITE | IN_MOVED_TO))
                    changes.push_back({FolderChange::Kind::kFinished, path});
                else if (event->mask & (IN_DELETE | IN_MOVED_FROM))
                    changes.push_back({FolderChange::Kind::kGone, path});
            }
        }
        return changes;
    }

  private:
    int fd_ = -1;
    std::string folder_;
};
}  // namespace

std::unique_ptr<LFolderWatcher> MakeFolderWatcher() {
    return std::make_unique<InotifyFolderWatcher>();
}

}  // namespace vocarta
