#pragma once
// The storage under the settings functions: a flat map from joined keys
// ("Section/Key") to text values for one preferences domain. A platform provides
// one implementation (a preferences file on Linux); tests may use the in-memory
// one. Implementations are safe to call from any thread.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vocarta {

class LPreferencesStore {
  public:
    virtual ~LPreferencesStore() = default;

    virtual std::optional<std::string> CopyValue(const std::string& key) = 0;
    // Stores and makes it durable at once; false when it could not be saved.
    virtual bool SetValue(const std::string& key, const std::string& value) = 0;
    // Removes the keys for which `remove` answers true, in one durable step.
    // Returns how many were removed (-1 when the change could not be saved).
    virtual int RemoveValues(const std::function<bool(const std::string& key)>& remove) = 0;
    virtual std::vector<std::string> CopyKeyList() = 0;
    // Once after the store found its file damaged and replaced it: what the user
    // should be told. "" otherwise, and for stores without a file.
    virtual std::string TakeDamageNotice() { return {}; }
};

// The store of a preferences domain, created on first use and kept for the life
// of the process. On Linux: $XDG_CONFIG_HOME/vocarta/<domain>.conf.
std::shared_ptr<LPreferencesStore> PreferencesStoreForDomain(const std::string& domain);

// Replaces the store factory (tests); pass nullptr to restore the platform's.
using PreferencesStoreFactory =
    std::function<std::shared_ptr<LPreferencesStore>(const std::string& domain)>;
void SetPreferencesStoreFactory(PreferencesStoreFactory factory);

// An in-memory store (tests, and a fallback when no folder can be written).
std::shared_ptr<LPreferencesStore> MakeMemoryPreferencesStore();

}  // namespace vocarta
