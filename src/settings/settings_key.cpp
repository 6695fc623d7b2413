#include "settings/settings.h"
#include "toolkit/text.h"

namespace vocarta {

LSettingsKey::LSettingsKey(std::string_view path, SettingsDomain& domain)
    : path_(CutText(path)), domain_(domain) {}

std::vector<std::pair<std::string, std::string>> LSettingsKey::AncestorMarkers() const {
    // Leading "/" are skipped and runs of "/" count as one.
    std::vector<std::pair<std::string, std::string>> markers;
    std::string sofar;
    std::size_t i = 0;
    while (i < path_.size()) {
        while (i < path_.size() && path_[i] == '/') ++i;
        std::size_t end = path_.find('/', i);
        if (end == std::string::npos) end = path_.size();
        if (end > i) {
            std::string name = path_.substr(i, end - i);
            sofar = sofar.empty() ? name : sofar + "/" + name;
            markers.emplace_back(sofar, name);
        }
        i = end;
    }
    return markers;
}

void LSettingsKey::EnsureAncestors() {
    for (const auto& [key, name] : AncestorMarkers()) {
        std::string existing;
        if (!domain_.GetRaw(key, existing)) domain_.SetRaw(key, name);
    }
}

bool LSettingsKey::SetString(std::string_view key, std::string_view value) {
    EnsureAncestors();
    return domain_.SetString(path_, key, value);
}

bool LSettingsKey::SetInt(std::string_view key, int32_t value) {
    return SetString(key, StringPrintf("%d", value));
}

bool LSettingsKey::SetBool(std::string_view key, bool value) {
    return SetString(key, value ? "1" : "0");
}

bool LSettingsKey::GetString(std::string_view key, std::string_view def, std::string& out) const {
    return domain_.GetString(path_, key, def, out);
}

}  // namespace vocarta
