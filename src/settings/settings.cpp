#include "settings/settings.h"

#include <cinttypes>
#include <cstdlib>

#include "settings/preferences_store.h"
#include "toolkit/text.h"

namespace vocarta {

// The joined key lives in a 520-byte buffer; longer ones are cut like any text.
constexpr std::size_t kJoinedKeyBufferSize = 520;

std::string JoinSettingKey(std::string_view section, std::string_view key) {
    std::string joined(section);
    if (joined.empty() || joined.back() != '/') joined += '/';
    joined += key;
    if (joined.size() > kJoinedKeyBufferSize - 1) joined.resize(kJoinedKeyBufferSize - 1);
    return joined;
}

SettingsDomain::SettingsDomain(std::string domain) : domain_(std::move(domain)) {}

SettingsDomain& AppSettings() {
    static SettingsDomain domain(kAppDomain);
    return domain;
}

std::string TakeSettingsDamageNotice() {
    return PreferencesStoreForDomain(kAppDomain)->TakeDamageNotice();
}

std::string OtherDomainName(std::string_view product) {
    return std::string(kMakerPrefix) + "." + std::string(product);
}

// The store is looked up at each call so that a test that points the XDG folders
// elsewhere (or swaps the factory) is honoured.
static std::shared_ptr<LPreferencesStore> StoreOf(const std::string& domain) {
    return PreferencesStoreForDomain(domain);
}

bool SettingsDomain::GetStringLong(std::string_view section, std::string_view key,
                                   std::string_view def, std::string& out) const {
    auto value = StoreOf(domain_)->CopyValue(JoinSettingKey(section, key));
    if (value) {
        out = std::move(*value);
        return true;
    }
    out = std::string(def);
    return false;
}

bool SettingsDomain::GetString(std::string_view section, std::string_view key, std::string_view def,
                               std::string& out) const {
    bool found = GetStringLong(section, key, def, out);
    if (out.size() > kTextMax) out.resize(kTextMax);
    return found;
}

bool SettingsDomain::SetString(std::string_view section, std::string_view key,
                               std::string_view value) {
    return StoreOf(domain_)->SetValue(JoinSettingKey(section, key), std::string(value));
}

bool SettingsDomain::GetBool(std::string_view section, std::string_view key, bool def) const {
    std::string text;
    GetString(section, key, "", text);
    if (text.empty()) return def;
    return text[0] != '0';  // deliberately only the first character
}

bool SettingsDomain::SetBool(std::string_view section, std::string_view key, bool value) {
    return SetString(section, key, value ? "1" : "0");
}

int32_t SettingsDomain::GetInt(std::string_view section, std::string_view key, int32_t def) const {
    std::string text;
    GetString(section, key, "", text);
    if (text.empty()) return def;
    return int32_t(std::strtol(text.c_str(), nullptr, 10));
}

bool SettingsDomain::SetInt(std::string_view section, std::string_view key, int32_t value) {
    return SetString(section, key, StringPrintf("%d", value));
}

int64_t SettingsDomain::GetInt64(std::string_view section, std::string_view key,
                                 int64_t def) const {
    std::string text;
    GetString(section, key, "", text);
    if (text.empty()) return def;
    return int64_t(std::strtoll(text.c_str(), nullptr, 10));
}

bool SettingsDomain::SetInt64(std::string_view section, std::string_view key, int64_t value) {
    return SetString(section, key, StringPrintf("%lld", (long long)value));
}

double SettingsDomain::GetDouble(std::string_view section, std::string_view key, double def) const {
    std::string text;
    GetString(section, key, "", text);
    if (text.empty()) return def;
    return std::strtod(text.c_str(), nullptr);
}

bool SettingsDomain::SetDouble(std::string_view section, std::string_view key, double value) {
    return SetString(section, key, StringPrintf("%.16f", value));
}

bool SettingsDomain::Exists(std::string_view section, std::string_view key) const {
    return StoreOf(domain_)->CopyValue(JoinSettingKey(section, key)).has_value();
}

bool SettingsDomain::Delete(std::string_view section, std::string_view key) {
    auto store = StoreOf(domain_);
    std::string plain = JoinSettingKey(section, key);
    std::string twin = JoinSettingKey(section, "__" + std::string(key));
    bool a = store->RemoveValues([&](const std::string& k) { return k == plain; }) >= 0;
    bool b = store->RemoveValues([&](const std::string& k) { return k == twin; }) >= 0;
    return a && b;
}

bool SettingsDomain::DeleteTree(std::string_view path) {
    std::string prefix(path);
    if (prefix.empty() || prefix.back() != '/') prefix += '/';
    return StoreOf(domain_)->RemoveValues(
               [&](const std::string& key) { return StartsWithNoCase(key, prefix); }) >= 0;
}

bool SettingsDomain::GetProtected(std::string_view section, std::string_view key,
                                  std::string_view def, std::string& out) const {
    std::string scrambled;
    if (!GetStringLong(section, "__" + std::string(key), "", scrambled)) {
        out = CutText(def);
        return false;
    }
    if (scrambled.empty()) {
        out.clear();
        return true;
    }
    if (!UnscrambleProtectedValue(scrambled, out)) {
        out = CutText(def);
        return false;
    }
    out = CutText(out);
    return true;
}

bool SettingsDomain::SetProtected(std::string_view section, std::string_view key,
                                  std::string_view value) {
    std::string text = value.empty() ? std::string() : ScrambleProtectedValue(value);
    return SetString(section, "__" + std::string(key), text);
}

std::vector<std::string> SettingsDomain::KeyList() const {
    return StoreOf(domain_)->CopyKeyList();
}

bool SettingsDomain::GetRaw(const std::string& joinedKey, std::string& out) const {
    auto value = StoreOf(domain_)->CopyValue(joinedKey);
    if (!value) return false;
    out = std::move(*value);
    return true;
}

bool SettingsDomain::SetRaw(const std::string& joinedKey, std::string_view value) {
    return StoreOf(domain_)->SetValue(joinedKey, std::string(value));
}

bool SettingsDomain::DeleteRaw(const std::string& joinedKey) {
    return StoreOf(domain_)->RemoveValues([&](const std::string& k) { return k == joinedKey; }) >=
           0;
}

bool GetSettingString(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out) {
    return AppSettings().GetString(section, key, def, out);
}
std::string GetSettingString(std::string_view section, std::string_view key, std::string_view def) {
    std::string out;
    AppSettings().GetString(section, key, def, out);
    return out;
}
bool GetSettingStringLong(std::string_view section, std::string_view key, std::string_view def,
                          std::string& out) {
    return AppSettings().GetStringLong(section, key, def, out);
}
bool SetSettingString(std::string_view section, std::string_view key, std::string_view value) {
    return AppSettings().SetString(section, key, value);
}
bool GetSettingBool(std::string_view section, std::string_view key, bool def) {
    return AppSettings().GetBool(section, key, def);
}
bool SetSettingBool(std::string_view section, std::string_view key, bool value) {
    return AppSettings().SetBool(section, key, value);
}
int32_t GetSettingInt(std::string_view section, std::string_view key, int32_t def) {
    return AppSettings().GetInt(section, key, def);
}
bool SetSettingInt(std::string_view section, std::string_view key, int32_t value) {
    return AppSettings().SetInt(section, key, value);
}
int64_t GetSettingInt64(std::string_view section, std::string_view key, int64_t def) {
    return AppSettings().GetInt64(section, key, def);
}
bool SetSettingInt64(std::string_view section, std::string_view key, int64_t value) {
    return AppSettings().SetInt64(section, key, value);
}
double GetSettingDouble(std::string_view section, std::string_view key, double def) {
    return AppSettings().GetDouble(section, key, def);
}
bool SetSettingDouble(std::string_view section, std::string_view key, double value) {
    return AppSettings().SetDouble(section, key, value);
}
bool SettingExists(std::string_view section, std::string_view key) {
    return AppSettings().Exists(section, key);
}
bool DeleteSetting(std::string_view section, std::string_view key) {
    return AppSettings().Delete(section, key);
}
bool DeleteSettingTree(std::string_view path) {
    return AppSettings().DeleteTree(path);
}
bool GetProtectedSetting(std::string_view section, std::string_view key, std::string_view def,
                         std::string& out) {
    return AppSettings().GetProtected(section, key, def, out);
}
bool SetProtectedSetting(std::string_view section, std::string_view key, std::string_view value) {
    return AppSettings().SetProtected(section, key, value);
}

}  // namespace vocarta
