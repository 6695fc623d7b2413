// Every unit-test process runs with HOME and each XDG folder in a fresh temporary
// folder, so nothing a test writes reaches the real user's files, and tests
// started in parallel do not see each other.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temp_dir.h"

int main(int argc, char** argv) {
    int result = 0;
    {
        vocarta::test::TempDir home("vocarta-home");
        setenv("HOME", home.Path().c_str(), 1);
        const char* const dirs[][2] = {
            {"XDG_CONFIG_HOME", ".config"}, {"XDG_DATA_HOME", ".local/share"},
            {"XDG_CACHE_HOME", ".cache"},   {"XDG_STATE_HOME", ".local/state"},
            {"XDG_RUNTIME_DIR", "runtime"}, {"VOCARTA_SHARED_DIR", "shared"}};
        for (const auto& [var, sub] : dirs) {
            std::filesystem::create_directories(home.File(sub));
            std::filesystem::permissions(home.File(sub), std::filesystem::perms::owner_all);
            setenv(var, home.File(sub).c_str(), 1);
        }
        ::testing::InitGoogleTest(&argc, argv);
        result = RUN_ALL_TESTS();
    }
    return result;
}
