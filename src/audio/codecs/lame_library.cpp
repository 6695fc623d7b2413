#include "audio/codecs/lame_library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::mutex g_loadMutex;
// Every table that was resolved, by library path. Tables are never freed or
// changed once published, so callers may keep the pointer. Guarded by g_loadMutex.
std::map<std::string, std::unique_ptr<const LameFunctions>>& LoadedTables() {
    static auto* tables = new std::map<std::string, std::unique_ptr<const LameFunctions>>;
    return *tables;
}

std::string MissingLibraryText(const std::string& path, const std::string& why) {
    return StringPrintf(
        "The MP3 encoder library %s could not be loaded (%s). Install the "
        "package %s (for example: sudo apt-get install %s) to record MP3.",
        path.c_str(), why.c_str(), kLamePackage, kLamePackage);
}

std::string MissingFunctionText(const std::string& path, const char* function) {
    return StringPrintf(
        "The MP3 encoder library %s lacks the function %s; it is not a usable "
        "LAME library. Install the package %s to record MP3.",
        path.c_str(), function, kLamePackage);
}

}  // namespace

bool ResolveLameLibrary(const std::string& path, LameFunctions& table, std::string* error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* reason = dlerror();
        const std::string why = reason ? reason : "unknown error";
        LogError("Mp3Library::Load dlopen FAILED: %s", why.c_str());
        std::string text = MissingLibraryText(path, why);
        if (error) *error = text;
        return false;
    }
    LameFunctions found;
    const char* missing = nullptr;
#define VOCARTA_LAME_RESOLVE(name, type)                           \
    if (!missing) {                                                \
        found.name = reinterpret_cast<type>(dlsym(handle, #name)); \
        if (!found.name) missing = #name;                          \
    }
    VOCARTA_LAME_FUNCTIONS(VOCARTA_LAME_RESOLVE)
#undef VOCARTA_LAME_RESOLVE
    if (missing) {
        std::string text = MissingFunctionText(path, missing);
        LogError("Mp3Library::Load dlsym FAILED: %s has no %s", path.c_str(), missing);
        if (error) *error = text;
        dlclose(handle);
        return false;
    }
    table = found;
    return true;
}

std::string Mp3LibraryPath() {
    const char* chosen = std::getenv("VOCARTA_LAME_LIBRARY");
    return chosen && *chosen ? std::string(chosen) : std::string(kLameLibraryName);
}

const LameFunctions* Mp3Functions(std::string* error) {
    const std::string path = Mp3LibraryPath();
    std::lock_guard<std::mutex> lock(g_loadMutex);
    auto& tables = LoadedTables();
    auto it = tables.find(path);
    if (it != tables.end()) return it->second.get();
    auto table = std::make_unique<LameFunctions>();
    if (!ResolveLameLibrary(path, *table, error)) return nullptr;
    const LameFunctions* published = table.get();
    tables.emplace(path, std::move(table));
    return published;
}

bool LoadMp3Library() {
    return Mp3Functions(nullptr) != nullptr;
}

std::string Mp3LibraryVersion() {
    const LameFunctions* lame = Mp3Functions(nullptr);
    if (!lame) return {};
    const char* version = lame->get_lame_short_version();
    return version ? version : "";
}

}  // namespace vocarta
