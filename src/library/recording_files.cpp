#include "library/recording_files.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/mirror_copy.h"

namespace vocarta {

namespace {

std::optional<struct stat> StatOf(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return std::nullopt;
    return info;
}

uint64_t SizeOf(const std::string& path) {
    const auto info = StatOf(path);
    return info && S_ISREG(info->st_mode) ? uint64_t(info->st_size) : 0;
}

LError SystemError(const char* what, const std::string& path, int error) {
    LErrorCode code = LErrorCode::kIo;
    if (error == ENOENT) code = LErrorCode::kNotFound;
    if (error == EEXIST || error == ENOTEMPTY) code = LErrorCode::kExists;
    if (error == ENOSPC || error == EDQUOT) code = LErrorCode::kNoSpace;
    if (error == EISDIR || error == ENOTDIR) code = LErrorCode::kInvalid;
    return MakeError(code, "%s %s: %s", what, path.c_str(), std::strerror(error));
}

// A file to copy, and whether the user agreed to replace what is there.
struct Copy {
    SaveItem item;
    bool replace = false;
};

// Asks about every existing target; the files to copy, in order.
std::vector<Copy> ResolveOverwrites(const std::vector<SaveItem>& items, const OverwriteAsker& ask,
                                    SaveOutcome& outcome) {
    std::vector<Copy> toCopy;
    std::optional<bool> forAll;
    for (const SaveItem& item : items) {
        if (SameFile(item.source, item.target)) {
            outcome.saved.push_back(item);  // already where it is to be
            continue;
        }
        struct stat info {};
        if (lstat(item.target.c_str(), &info) != 0) {
            toCopy.push_back({item, false});
            continue;
        }
        bool overwrite = false;
        if (forAll) {
            overwrite = *forAll;
        } else if (ask) {
            const OverwriteChoice choice = ask(item);
            overwrite = choice.overwrite;
            if (choice.forAll) forAll = choice.overwrite;
        }
        if (overwrite)
            toCopy.push_back({item, true});
        else
            outcome.kept.push_back(item);
    }
    return toCopy;
}

}  // namespace

std::optional<uint64_t> FolderFreeBytes(const std::string& folder) {
    struct statvfs info {};
    if (statvfs(folder.c_str(), &info) != 0) {
        LogSystemFailure("FolderFreeBytes", "statvfs");
        return std::nullopt;
    }
    return uint64_t(info.f_bavail) * uint64_t(info.f_frsize);
}

std::vector<SaveItem> SaveItemsInto(const std::vector<std::string>& sources,
                                    const std::string& folder) {
    std::vector<SaveItem> items;
    for (const std::string& source : sources)
        items.push_back({source, JoinPath(folder, BaseName(source))});
    return items;
}

uint64_t SaveNeededBytes(const std::vector<SaveItem>& items) {
    int64_t settled = 0;  // growth of the files already replaced
    int64_t peak = 0;
    for (const SaveItem& item : items) {
        const int64_t size = int64_t(SizeOf(item.source));
        peak = std::max(peak, settled + size);
        settled += size - int64_t(SizeOf(item.target));
        peak = std::max(peak, settled);
    }
    return uint64_t(std::max<int64_t>(peak, 0));
}

SaveOutcome SaveRecordings(const std::vector<SaveItem>& items, const OverwriteAsker& ask,
                           const FreeSpaceQuery& freeSpace) {
    SaveOutcome outcome;
    const std::vector<Copy> toCopy = ResolveOverwrites(items, ask, outcome);

    // Each target folder (usually one) must hold what goes into it.
    std::map<std::string, std::vector<SaveItem>> byFolder;
    for (const Copy& copy : toCopy) byFolder[DirName(copy.item.target)].push_back(copy.item);
    for (const auto& [folder, folderItems] : byFolder) {
        const uint64_t needed = SaveNeededBytes(folderItems);
        const auto free = freeSpace ? freeSpace(folder) : FolderFreeBytes(folder);
        if (!free || *free >= needed) continue;  // unknown: the copy itself will tell
        outcome.noSpace = true;
        outcome.neededBytes = needed;
        outcome.freeBytes = *free;
        for (const Copy& copy : toCopy) outcome.shortage.push_back(BaseName(copy.item.target));
        LogError("SaveRecordings: %s needs %llu bytes, %llu free", folder.c_str(),
                 static_cast<unsigned long long>(needed), static_cast<unsigned long long>(*free));
        return outcome;
    }

    for (const auto& [item, replace] : toCopy) {
        // Only what the user agreed to is replaced: a file that appeared since
        // the question was never shown to them.
        LStatus copied = CopyRecording(item, replace);
        if (copied) {
            outcome.saved.push_back(item);
            LogEvent("Saved %s as %s", item.source.c_str(), item.target.c_str());
        } else {
            LogError("SaveRecordings: %s", copied.Error().Message().c_str());
            outcome.failed.emplace_back(item, copied.Error());
        }
    }
    return outcome;
}

LStatus CopyRecording(const SaveItem& item, bool replace) {
    struct stat info {};
    if (!replace && lstat(item.target.c_str(), &info) == 0)
        return MakeError(LErrorCode::kExists, "%s already exists", item.target.c_str());
    LStatus copied = CopyIntoFolder(item.source, DirName(item.target), BaseName(item.target));
    if (!copied) return copied.Error().Within("Cannot copy " + item.source);
    return LStatus::Success();
}

LResult<std::string> RenameTarget(const std::string& path, const std::string& typedName) {
    std::string name = TrimBlanks(typedName);
    if (name.empty()) return MakeError(LErrorCode::kInvalid, "You must type a file name.");
    if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos)
        return MakeError(LErrorCode::kInvalid, "A file name cannot hold \"/\": %s", name.c_str());
    if (name == "." || name == "..")
        return MakeError(LErrorCode::kInvalid, "\"%s\" is not a file name", name.c_str());
    const std::string extension = Extension(path);
    if (!EndsWithNoCase(name, extension) || name.size() == extension.size()) name += extension;
    return JoinPath(DirName(path), name);
}

LStatus RenameRecording(const std::string& path, const std::string& newPath, bool replace) {
    if (path == newPath) return LStatus::Success();
    if (replace) {
        struct stat info {};
        if (lstat(newPath.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode))
            return MakeError(LErrorCode::kInvalid, "%s is not a file that can be replaced",
                             newPath.c_str());
        if (rename(path.c_str(), newPath.c_str()) != 0)
            return SystemError("Cannot rename to", newPath, errno);
        return LStatus::Success();
    }
    // The same file under another spelling (a case change on a case-folding
    // file system) is not "another file already there".
    if (SameFile(path, newPath)) {
        if (rename(path.c_str(), newPath.c_str()) != 0)
            return SystemError("Cannot rename to", newPath, errno);
        return LStatus::Success();
    }
    if (renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, newPath.c_str(), RENAME_NOREPLACE) == 0)
        return LStatus::Success();
    int error = errno;
    if (error == EINVAL || error == ENOSYS) {
        // A file system without the no-replace flag: a hard link cannot replace
        // either, and the old name goes only once the new one exists.
        if (link(path.c_str(), newPath.c_str()) == 0) {
            if (unlink(path.c_str()) != 0) LogSystemFailure("RenameRecording", "unlink");
            return LStatus::Success();
        }
        error = errno;
    }
    return SystemError("Cannot rename to", newPath, error);
}

bool SameFile(const std::string& a, const std::string& b) {
    const auto x = StatOf(a);
    const auto y = StatOf(b);
    return x && y && x->st_dev == y->st_dev && x->st_ino == y->st_ino;
}

}  // namespace vocarta
