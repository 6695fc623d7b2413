#include "settings/preferences_store.h"

#include <map>
#include <mutex>

#include "settings/file_preferences_store.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {

class MemoryPreferencesStore final : public LPreferencesStore {
  public:
    std::optional<std::string> CopyValue(const std::string& key) override {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
    }
    bool SetValue(const std::string& key, const std::string& value) override {
        std::lock_guard<std::mutex> lock(mutex_);
        values_[key] = value;
        return true;
    }
    int RemoveValues(const std::function<bool(const std::string&)>& remove) override {
        std::lock_guard<std::mutex> lock(mutex_);
        int removed = 0;
        for (auto it = values_.begin(); it != values_.end();) {
            if (remove(it->first)) {
                it = values_.erase(it);
                ++removed;
            } else {
                ++it;
            }
        }
        return removed;
    }
    std::vector<std::string> CopyKeyList() override {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> keys;
        for (const auto& entry : values_) keys.push_back(entry.first);
        return keys;
    }

  private:
    std::mutex mutex_;
    std::map<std::string, std::string> values_;
};

std::mutex g_factoryMutex;
PreferencesStoreFactory g_factory;
// Stores by domain and by the file they live in, so that a change of
// XDG_CONFIG_HOME (tests) gives a fresh store.
std::map<std::string, std::shared_ptr<LPreferencesStore>> g_stores;

}  // namespace

std::shared_ptr<LPreferencesStore> MakeMemoryPreferencesStore() {
    return std::make_shared<MemoryPreferencesStore>();
}

void SetPreferencesStoreFactory(PreferencesStoreFactory factory) {
    std::lock_guard<std::mutex> lock(g_factoryMutex);
    g_factory = std::move(factory);
    g_stores.clear();
}

std::shared_ptr<LPreferencesStore> PreferencesStoreForDomain(const std::string& domain) {
    std::lock_guard<std::mutex> lock(g_factoryMutex);
    std::string path = JoinPath(AppConfigDir(), domain + ".conf");
    std::string id = g_factory ? domain : path;
    auto it = g_stores.find(id);
    if (it != g_stores.end()) return it->second;
    std::shared_ptr<LPreferencesStore> store =
        g_factory ? g_factory(domain) : std::make_shared<FilePreferencesStore>(path);
    g_stores[id] = store;
    return store;
}

}  // namespace vocarta
