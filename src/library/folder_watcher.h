#pragma once
// Tells the recordings window about files that appear in or leave its folder
// while it is open, so a recording the recorder has just finished shows up
// without a rescan. The platform layer lives in its own file behind this
// interface (inotify on Linux).
//
// Threading contract: one thread (the GUI thread) calls every function; the
// caller waits for Descriptor() to become readable (a socket notifier) and then
// calls TakeChanges(), which never blocks.

#include <memory>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

struct FolderChange {
    enum class Kind {
        kFinished,  // written and closed, or moved in: the file is complete
        kGone,      // deleted or moved away
    };
    Kind kind;
    std::string path;
};

class LFolderWatcher {
  public:
    virtual ~LFolderWatcher() = default;
    // Watches `folder` (not its subfolders) instead of any earlier one.
    virtual LStatus Watch(const std::string& folder) = 0;
    virtual void Stop() = 0;
    // Readable when changes wait; -1 while nothing is watched.
    virtual int Descriptor() const = 0;
    virtual std::vector<FolderChange> TakeChanges() = 0;
};

std::unique_ptr<LFolderWatcher> MakeFolderWatcher();

}  // namespace vocarta
