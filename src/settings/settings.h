#pragma once
// The settings store: every persistent option is a text value addressed by a
// section and a key, stored under "Section/Key" in the user's preferences domain.
// Typed accessors convert at the edge; every write reaches the disk at once.
//
// Reads cut values to 259 bytes (the program's 260-byte buffers) except
// GetSettingStringLong. A bool is false only when its text begins with "0"; an
// empty or missing value gives the caller's default. Safe from any thread.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

class LPreferencesStore;

// The application's preferences domain and the maker's reverse-DNS prefix.
inline constexpr const char* kMakerPrefix = "com.vocarta";
inline constexpr const char* kAppDomain = "com.vocarta.SoundRecorder";

// "Section" + "/" + "Key", without doubling a "/" the section already ends with,
// cut to 519 bytes.
std::string JoinSettingKey(std::string_view section, std::string_view key);

// The settings of one preferences domain. The free functions below act on the
// application's own domain; a companion program's domain is opened with
// SettingsDomain(OtherDomainName("Product")).
class SettingsDomain {
  public:
    explicit SettingsDomain(std::string domain);

    const std::string& Name() const { return domain_; }

    bool GetString(std::string_view section, std::string_view key, std::string_view def,
                   std::string& out) const;
    bool GetStringLong(std::string_view section, std::string_view key, std::string_view def,
                       std::string& out) const;
    bool SetString(std::string_view section, std::string_view key, std::string_view value);
    bool GetBool(std::string_view section, std::string_view key, bool def) const;
    bool SetBool(std::string_view section, std::string_view key, bool value);
    int32_t GetInt(std::string_view section, std::string_view key, int32_t def) const;
    bool SetInt(std::string_view section, std::string_view key, int32_t value);
    int64_t GetInt64(std::string_view section, std::string_view key, int64_t def) const;
    bool SetInt64(std::string_view section, std::string_view key, int64_t value);
    double GetDouble(std::string_view section, std::string_view key, double def) const;
    bool SetDouble(std::string_view section, std::string_view key, double value);
    bool Exists(std::string_view section, std::string_view key) const;
    bool Delete(std::string_view section, std::string_view key);
    bool DeleteTree(std::string_view path);
    bool GetProtected(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out) const;
    bool SetProtected(std::string_view section, std::string_view key, std::string_view value);
    // Every joined key of the domain, in sorted order.
    std::vector<std::string> KeyList() const;

    // Access by the stored (joined) key itself, for tools that show the domain as
    // it is stored.
    bool GetRaw(const std::string& joinedKey, std::string& out) const;
    bool SetRaw(const std::string& joinedKey, std::string_view value);
    bool DeleteRaw(const std::string& joinedKey);

  private:
    std::string domain_;
    std::shared_ptr<LPreferencesStore> store_;
};

SettingsDomain& AppSettings();

// Forms the preferences domain of a companion program of the same maker.
std::string OtherDomainName(std::string_view product);

bool GetSettingString(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out);
// Convenience form: the value (or the default), cut to 259 bytes.
std::string GetSettingString(std::string_view section, std::string_view key,
                             std::string_view def = {});
bool GetSettingStringLong(std::string_view section, std::string_view key, std::string_view def,
                          std::string& out);
bool SetSettingString(std::string_view section, std::string_view key, std::string_view value);
bool GetSettingBool(std::string_view section, std::string_view key, bool def);
bool SetSettingBool(std::string_view section, std::string_view key, bool value);
int32_t GetSettingInt(std::string_view section, std::string_view key, int32_t def);
bool SetSettingInt(std::string_view section, std::string_view key, int32_t value);
int64_t GetSettingInt64(std::string_view section, std::string_view key, int64_t def);
bool SetSettingInt64(std::string_view section, std::string_view key, int64_t value);
double GetSettingDouble(std::string_view section, std::string_view key, double def);
bool SetSettingDouble(std::string_view section, std::string_view key, double value);
bool SettingExists(std::string_view section, std::string_view key);
bool DeleteSetting(std::string_view section, std::string_view key);
bool DeleteSettingTree(std::string_view path);
bool GetProtectedSetting(std::string_view section, std::string_view key, std::string_view def,
                         std::string& out);
bool SetProtectedSetting(std::string_view section, std::string_view key, std::string_view value);

// Once after the preferences file of the application was found damaged (binary
// data, cut off, empty) and replaced: the text for the window, e.g.
//   "The settings file was damaged; the last good settings were restored from
//   <file>.bak. The damaged file was kept as <file>.damaged-20240501-120000."
// or, without a good .bak, "...; the settings that could still be read from it
// were kept. ...". Reading it first reads the file, so a damaged one is found
// even before any setting was read. "" when there is nothing (more) to say.
std::string TakeSettingsDamageNotice();

// SharedSettings.xml in the machine's shared folder: one element per section,
// one child element per key, the value in its "value" attribute. Sections and
// keys must be valid XML names; others read the default and are not written.
bool GetSharedSetting(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out);
bool SetSharedSetting(std::string_view section, std::string_view key, std::string_view value);
std::string SharedSettingsPath();

// The keyed, reversible scrambling of protected values (text in, text out).
std::string ScrambleProtectedValue(std::string_view clear);
// False when `scrambled` is not something ScrambleProtectedValue produced.
bool UnscrambleProtectedValue(std::string_view scrambled, std::string& clear);

// A key object: a section path that code walking nested sections writes through.
// Every write first leaves a marker value under each ancestor of the path (and
// the path itself) that has none, holding that level's own name, so that a
// section can be tested for existence with SettingExists(parent, name).
class LSettingsKey {
  public:
    explicit LSettingsKey(std::string_view path, SettingsDomain& domain = AppSettings());

    const std::string& Path() const { return path_; }
    bool SetString(std::string_view key, std::string_view value);
    bool SetInt(std::string_view key, int32_t value);
    bool SetBool(std::string_view key, bool value);
    bool GetString(std::string_view key, std::string_view def, std::string& out) const;
    // The markers this key writes, as (joined key, value) pairs; for tests.
    std::vector<std::pair<std::string, std::string>> AncestorMarkers() const;

  private:
    void EnsureAncestors();
    std::string path_;
    SettingsDomain& domain_;
};

}  // namespace vocarta
