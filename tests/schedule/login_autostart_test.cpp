// "Run Vocarta when computer starts" as an XDG autostart entry: the query, a
// desktop's own way of switching it off, a file Vocarta did not write left
// alone, and an Exec line that GLib's launcher turns back into the exact path.

#include "schedule/login_autostart.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "schedule_test_support.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(LoginAutostart, EnableQueryDisable) {
    const std::string path = LoginItemPath();
    EXPECT_EQ(path, ConfigHome() + "/autostart/com.vocarta.SoundRecorder.desktop");
    unlink(path.c_str());
    EXPECT_FALSE(RunAtLoginEnabled());
    ASSERT_TRUE(EnableRunAtLogin("/opt/vocarta/vocarta"));
    EXPECT_TRUE(RunAtLoginEnabled());
    EXPECT_NE(ReadFile(path).find("\nExec=\"/opt/vocarta/vocarta\"\n"), std::string::npos);
    // The desktop's settings switch it off in the file: not enabled any more,
    // and disabling leaves that file to the desktop.
    WriteFile(path, ReadFile(path) + "Hidden=true\n");
    EXPECT_FALSE(RunAtLoginEnabled());
    ASSERT_TRUE(DisableRunAtLogin());
    EXPECT_TRUE(FileExists(path));
    ASSERT_TRUE(EnableRunAtLogin("/opt/vocarta/vocarta"));  // ours: rewritten
    EXPECT_TRUE(RunAtLoginEnabled());
    ASSERT_TRUE(DisableRunAtLogin());
    EXPECT_FALSE(FileExists(path));
    // A file Vocarta did not write is never replaced or deleted.
    const std::string foreign = "[Desktop Entry]\nType=Application\nExec=/usr/bin/other\n";
    WriteFile(path, foreign);
    EXPECT_FALSE(RunAtLoginEnabled());
    EXPECT_FALSE(EnableRunAtLogin("/opt/vocarta/vocarta"));
    EXPECT_TRUE(DisableRunAtLogin());
    EXPECT_EQ(ReadFile(path), foreign);
    unlink(path.c_str());
}

TEST(LoginAutostart, ExecLineStartsTheExactPath) {
    TempDir dir("vocarta auto \"q\" 'a' $HOME %f `b` \\x");
    const std::string out = dir.File("started");
    const std::string program = dir.File("vocarta $(touch ~pwned) \xc3\xa9");
    WriteFile(program, "#!/bin/sh\nprintf '%s|%s' \"$0\" \"$#\" > \"$VOCARTA_TEST_OUT\"\n");
    chmod(program.c_str(), 0755);
    unlink(LoginItemPath().c_str());
    ASSERT_TRUE(EnableRunAtLogin(program));
    setenv("VOCARTA_TEST_OUT", out.c_str(), 1);
    // GLib's launcher reads the entry as a desktop session does.
    const ProcessOutput launched = RunTool({"gio", "launch", LoginItemPath()});
    EXPECT_EQ(launched.exitCode, 0) << launched.err;
    for (int i = 0; i < 50 && !FileExists(out); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(ReadFile(out), program + "|0");
    unsetenv("VOCARTA_TEST_OUT");
    ASSERT_TRUE(DisableRunAtLogin());
    EXPECT_FALSE(EnableRunAtLogin("/opt/\xff/vocarta"));  // no entry can carry it
}
