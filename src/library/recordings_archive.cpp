#include "library/recordings_archive.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

struct ProgressState {
    const ArchiveOptions* options;
    bool cancelled = false;
};

void OnProgress(zip_t*, double fraction, void* state) {
    auto* progress = static_cast<ProgressState*>(state);
    if (progress->options->onProgress && !progress->options->onProgress(fraction))
        progress->cancelled = true;
}

int OnCancel(zip_t*, void* state) {
    return static_cast<ProgressState*>(state)->cancelled ? 1 : 0;
}

LError ZipError(zip_error_t* error, const std::string& what) {
    const int system = zip_error_code_system(error);
    LErrorCode code = LErrorCode::kIo;
    if (zip_error_code_zip(error) == ZIP_ER_EXISTS) code = LErrorCode::kExists;
    if (zip_error_code_zip(error) == ZIP_ER_CANCELLED) code = LErrorCode::kCancelled;
    if (system == ENOSPC || system == EDQUOT) code = LErrorCode::kNoSpace;
    return LError(code, what + ": " + zip_error_strerror(error));
}

// Already squeezed: deflating them again costs time for nothing.
bool StoredAsIs(const std::string& path) {
    const std::string extension = ToLowerAscii(Extension(path));
    return extension == ".mp3" || extension == ".flac" || extension == ".ogg" ||
           extension == ".m4a";
}

}  // namespace

std::vector<std::string> ArchiveEntryNames(const std::vector<std::string>& paths) {
    std::vector<std::string> names;
    std::set<std::string> taken;
    for (const std::string& path : paths) {
        const std::string base = BaseName(path);
        std::string name = base;
        std::string extension = Extension(base);
        if (extension.size() == base.size()) extension.clear();
        const std::string stem = base.substr(0, base.size() - extension.size());
        for (int n = 2; taken.count(name); ++n)
            name = stem + " (" + std::to_string(n) + ")" + extension;
        taken.insert(name);
        names.push_back(name);
    }
    return names;
}

LStatus PackRecordings(const std::vector<std::string>& paths, const std::string& archive,
                       const ArchiveOptions& options) {
    for (const std::string& path : paths) {
        struct stat info {};
        if (stat(path.c_str(), &info) != 0)
            return MakeError(LErrorCode::kNotFound, "Cannot pack %s: %s", path.c_str(),
                             std::strerror(errno));
        if (!S_ISREG(info.st_mode))
            return MakeError(LErrorCode::kNotFound, "Cannot pack %s: not a file", path.c_str());
    }
    int openError = 0;
    zip_t* zip = zip_open(archive.c_str(), ZIP_CREATE | ZIP_EXCL, &openError);
    if (!zip) {
        zip_error_t error;
        zip_error_init_with_code(&error, openError);
        LError failure = ZipError(&error, "Cannot create " + archive);
        zip_error_fini(&error);
        return failure;
    }
    ProgressState state{&options};
    zip_register_progress_callback_with_state(zip, 0.01, OnProgress, nullptr, &state);
    zip_register_cancel_callback_with_state(zip, OnCancel, nullptr, &state);

    const std::vector<std::string> names = ArchiveEntryNames(paths);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        zip_source_t* source = zip_source_file(zip, paths[i].c_str(), 0, -1);
        if (!source) {
            LError failure = ZipError(zip_get_error(zip), "Cannot read " + paths[i]);
            zip_discard(zip);
            return failure;
        }
        const zip_int64_t index = zip_file_add(zip, names[i].c_str(), source, ZIP_FL_ENC_GUESS);
        if (index < 0) {
            zip_source_free(source);
            LError failure = ZipError(zip_get_error(zip), "Cannot add " + paths[i]);
            zip_discard(zip);
            return failure;
        }
        zip_set_file_compression(zip, zip_uint64_t(index),
                                 StoredAsIs(paths[i]) ? ZIP_CM_STORE : ZIP_CM_DEFLATE, 0);
    }
    // libzip writes to a temporary file beside the archive and renames it into
    // place only when everything was written.
    if (zip_close(zip) != 0) {
        LError failure = state.cancelled ? MakeError(LErrorCode::kCancelled, "Packing cancelled")
                                         : ZipError(zip_get_error(zip), "Cannot write " + archive);
        zip_discard(zip);
        return failure;
    }
    if (options.onProgress) options.onProgress(1.0);
    return LStatus::Success();
}

}  // namespace vocarta
