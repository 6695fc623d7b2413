// The headless view: the terminal's status line and the answers given when
// nobody can be asked.
#include <gtest/gtest.h>

#include <cstdio>

#include "app/session/headless_view.h"
#include "app/session/view_transmit_ui.h"

using namespace vocarta;

namespace {

// What was written to `out`, which is closed.
std::string Printed(std::FILE* out) {
    std::rewind(out);
    char text[512] = {};
    std::fread(text, 1, sizeof text - 1, out);
    std::fclose(out);
    return text;
}

}  // namespace

TEST(HeadlessView, StatusLineShowsStateTimeLevelsAndFormat) {
    HeadlessView view(stderr, nullptr, false);
    view.SetStatusText("Recording...");
    view.SetTimeText("0:01:02.345");
    view.SetFormatText("128 kbps Joint Stereo");
    view.SetLevels({-12, -127});
    EXPECT_EQ(view.StatusLine(), "Recording...  0:01:02.345  -12 -inf dB  128 kbps Joint Stereo");
    view.SetSessionLook(SessionLook::Paused);
    EXPECT_EQ(view.StatusLine().substr(0, 8), "Paused  ");
    view.SetStatusText("Waiting for voice input...");
    EXPECT_EQ(view.StatusLine().substr(0, 26), "Waiting for voice input...");
    view.SetLevels({});
    view.SetSessionLook(SessionLook::Idle);
    view.SetStatusText("Ready");
    EXPECT_EQ(view.StatusLine(), "Ready  0:01:02.345  128 kbps Joint Stereo");
}

TEST(HeadlessView, QuestionsTakeTheirUnattendedAnswer) {
    std::FILE* out = std::tmpfile();
    HeadlessView view(out, nullptr, false);
    EXPECT_EQ(
        view.MessageBox({.text = "recording",
                         .title = "Close To Tray",
                         .buttons = {"Record in Background", "Stop Recording and Close", "Cancel"},
                         .safeButton = 2,
                         .unattendedButton = 1}),
        1);
    EXPECT_EQ(view.MessageBox({.text = "exists",
                               .title = "File Exists",
                               .buttons = {"Replace", "Cancel"},
                               .safeButton = 1}),
              1);
    // A prompt takes its suggestion: a headless recording with "prompt for a
    // name" on was refused every time when the prompt cancelled.
    std::string answer = "x";
    EXPECT_TRUE(view.PromptText("Enter File Name", "Name", "Untitled 000", answer) &&
                answer == "Untitled 000");
    EXPECT_FALSE(view.PromptText("Enter File Name", "Name", "", answer));
    EXPECT_NE(Printed(out).find("Close To Tray: recording [answered \"Stop Recording and Close\"]"),
              std::string::npos);
}

TEST(HeadlessView, SendingShowsOnTheStatusLineAndItsQuestionsSend) {
    std::FILE* out = std::tmpfile();
    HeadlessView view(out, nullptr, false);
    view.SetStatusText("Ready");
    view.SetTimeText("0:00:00.000");
    view.SetFormatText("WAV");
    view.SetSendStatus("Copying to /media/backup");
    view.SetSendProgress(0.425);
    EXPECT_EQ(view.StatusLine(), "Ready  0:00:00.000  WAV  Copying to /media/backup 42%");
    view.SetSendStatus("");
    view.SetSendProgress(0.0);
    EXPECT_EQ(view.StatusLine(), "Ready  0:00:00.000  WAV");

    ViewTransmitUi ui(view);
    EXPECT_TRUE(ui.AskYesNo("Would you like this recording sent?", "Send to folder?"));
    ui.ShowMessage("But sending failed", "Transmit error");
    EXPECT_EQ(Printed(out),
              "Send to folder?: Would you like this recording sent? [answered \"Yes\"]\n"
              "Transmit error: But sending failed\n");
}
