#include "hotkeys/hotkey_bindings.h"

#include <climits>
#include <set>

#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// The ids that have a path stored, read from one listing of the domain.
std::set<int> StoredIds() {
    const std::string details = HotkeyDetailsPath();
    std::set<int> ids;
    for (const std::string& key : AppSettings().KeyList()) {
        if (key.compare(0, details.size(), details) != 0) continue;
        std::string_view rest = std::string_view(key).substr(details.size());
        std::size_t end = rest.find('/');
        std::string_view digits = rest.substr(0, end);
        if (digits.empty() || digits.size() > 9) continue;
        if (digits.size() > 1 && digits[0] == '0') continue;  // written with "%d"
        bool number = true;
        for (char c : digits) number = number && c >= '0' && c <= '9';
        if (number) ids.insert(std::stoi(std::string(digits)));
    }
    return ids;
}

int ScanLimit(int maxId) {
    if (maxId > kHotkeyIdLimit) {
        LogError("Hotkey: MaxID %d is beyond %d; only the first ids are read", maxId,
                 kHotkeyIdLimit);
        return kHotkeyIdLimit;
    }
    return maxId;
}

}  // namespace

bool HotkeysEnabled() {
    return GetSettingBool(kHotkeySection, kHotkeyEnabledKey, kHotkeyEnabledDefault);
}

bool StoreHotkeysEnabled(bool enabled) {
    return SetSettingBool(kHotkeySection, kHotkeyEnabledKey, enabled);
}

std::string HotkeySubPath(std::string_view path, std::string_view sub) {
    std::string joined(path);
    if (joined.empty() || joined.back() != '/') joined += '/';
    joined += sub;
    joined += '/';
    return joined;
}

std::string HotkeyDetailsPath() {
    return HotkeySubPath(kHotkeySection, kHotkeyDetails);
}

std::string HotkeyBindingPath(int id) {
    return HotkeySubPath(HotkeyDetailsPath(), StringPrintf("%d", id));
}

int ReadHotkeyMaxId() {
    int maxId = GetSettingInt(HotkeyDetailsPath(), kHotkeyMaxIdKey, 0);
    return maxId < 0 ? 0 : maxId;
}

bool HotkeyBindingExists(int id) {
    if (id < 0) return false;
    const std::string path = HotkeyBindingPath(id);
    return SettingExists(HotkeyDetailsPath(), StringPrintf("%d", id)) ||
           SettingExists(path, kHotkeyCommandKey) || SettingExists(path, kHotkeyKeyKey);
}

std::vector<HotkeyBinding> ReadHotkeyBindings() {
    const int limit = ScanLimit(ReadHotkeyMaxId());
    std::vector<HotkeyBinding> bindings;
    for (int id : StoredIds()) {
        if (id >= limit) break;
        const std::string path = HotkeyBindingPath(id);
        HotkeyBinding b;
        b.id = id;
        b.command = GetSettingInt(path, kHotkeyCommandKey, 0);
        b.key = HotkeyFromStored(GetSettingInt(path, kHotkeyKeyKey, 0));
        bindings.push_back(b);
    }
    return bindings;
}

LResult<int> NewHotkeyBindingId() {
    const int maxId = ReadHotkeyMaxId();
    const std::set<int> used = StoredIds();
    const int limit = ScanLimit(maxId);
    for (int id = 0; id < limit; ++id)
        if (!used.count(id)) return id;
    if (maxId >= kHotkeyIdLimit)
        return MakeError(LErrorCode::kInvalid, "no free hot-key id below %d", kHotkeyIdLimit);
    if (!SetSettingInt(HotkeyDetailsPath(), kHotkeyMaxIdKey, maxId + 1))
        return MakeError(LErrorCode::kIo, "the hot-key list could not be saved");
    return maxId;
}

LResult<int> StoreHotkeyBinding(const HotkeyBinding& binding) {
    int id = binding.id;
    if (id < 0) {
        auto fresh = NewHotkeyBindingId();
        if (!fresh) return fresh.Error();
        id = fresh.Value();
    }
    LSettingsKey key(HotkeyBindingPath(id));
    bool stored = key.SetInt(kHotkeyCommandKey, binding.command);
    stored = key.SetInt(kHotkeyKeyKey, HotkeyToStored(binding.key)) && stored;
    if (!stored) return MakeError(LErrorCode::kIo, "the hot-key could not be saved");
    return id;
}

LStatus DeleteHotkeyBinding(int id) {
    if (id < 0) return MakeError(LErrorCode::kInvalid, "no hot-key id %d", id);
    bool removed = DeleteSettingTree(HotkeyBindingPath(id));
    removed = DeleteSetting(HotkeyDetailsPath(), StringPrintf("%d", id)) && removed;
    if (!removed) return MakeError(LErrorCode::kIo, "the hot-key could not be deleted");
    return {};
}

}  // namespace vocarta
