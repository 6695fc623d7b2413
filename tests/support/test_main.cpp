// Every unit-test process runs with HOME and each XDG folder pointed at a fresh
// temporary folder, so nothing a test writes reaches the real user's files, and
// tests started in parallel do not see each other.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "support/temp_dir.h"

int main(int argc, char** argv) {
    auto home = std::make_unique<vocarta::test::TempDir>("vocarta-home");
    const std::string h = home->Path();
    setenv("HOME", h.c_str(), 1);
    const char* dirs[][2] = {{"XDG_CONFIG_HOME", "/.config"},
                             {"XDG_DATA_HOME", "/.local/share"},
                             {"XDG_CACHE_HOME", "/.cache"},
                             {"XDG_STATE_HOME", "/.local/state"},
                             {"VOCARTA_SHARED_DIR", "/shared"}};
    for (auto& d : dirs) {
        std::string p = h + d[1];
        std::string cmd;
        for (std::size_t i = 1; i <= p.size(); ++i)
            if (i == p.size() || p[i] == '/') mkdir(p.substr(0, i).c_str(), 0700);
        setenv(d[0], p.c_str(), 1);
    }
    std::string runtime = h + "/runtime";
    mkdir(runtime.c_str(), 0700);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);

    ::testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    home.reset();
    return result;
}
