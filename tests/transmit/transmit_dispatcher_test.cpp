// The dispatcher: the length limit, the fixed order, the questions and the
// texts of a failure exactly as the user sees them, the title, stops between
// methods, the send log; and the UI bridge the send thread talks through.

#include "transmit/transmit_dispatcher.h"

#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/folder_method.h"
#include "transmit/run_method.h"
#include "transmit/send_log.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Result = TransmitResult;
using Kind = TransmitMethodKind;

class DispatcherTest : public ::testing::Test {
  protected:
    DispatcherTest() { DeleteSettingTree("Settings"); }

    // Fake e-mail and FTP methods (with `send` for e-mail), the real folder and
    // run methods.
    TransmitDispatcher AllFour(FakeMethod::Send_ send = {}) {
        std::vector<std::unique_ptr<TransmitMethod>> methods;
        methods.push_back(std::make_unique<RunTransmitMethod>());
        methods.push_back(std::make_unique<FolderTransmitMethod>());
        methods.push_back(std::make_unique<FakeMethod>(Kind::Ftp, journal));
        methods.push_back(std::make_unique<FakeMethod>(Kind::Email, journal, send));
        return TransmitDispatcher(std::move(methods));
    }

    TempDir dir;
    FakeTransmitUi ui;
    FakeContext context;
    std::vector<std::string> journal;
};

}  // namespace

TEST_F(DispatcherTest, RecordingsNotLongerThanTheLimitAreNotSent) {
    std::vector<std::unique_ptr<TransmitMethod>> methods;
    methods.push_back(std::make_unique<FakeMethod>(Kind::Folder, journal));
    const TransmitDispatcher dispatcher(std::move(methods));
    SetSettingBool("Settings", "bPromptTransmit", false);
    // Limit 0 and a recording of 0 s; 10.0 s and 10.001 s with the limit 10.
    const std::pair<int, uint32_t> cases[] = {{0, 0}, {10, 80000}, {10, 80008}};
    for (const auto& [limit, frames] : cases) {
        SetSettingInt("Settings", "RecordingLengthLimit", limit);
        const std::string path = dir.File(std::to_string(frames) + ".wav");
        WriteWav(path, 8000, frames);
        EXPECT_EQ(dispatcher.TransmitFile({path, 0}, context, ui), Result::Ok);
    }
    EXPECT_EQ(journal, std::vector<std::string>{"folder " + dir.File("80008.wav")});
}

TEST_F(DispatcherTest, EachEnabledMethodIsAskedInTheFixedOrderWithItsOwnQuestion) {
    const std::string mirror = dir.File("mirror"), script = dir.File("ok.sh");
    const std::string recording = Recording(dir, "take.wav");
    ASSERT_TRUE(MakeDirs(mirror));
    ASSERT_TRUE(WriteFile(script, "#!/bin/sh\nexit 0\n"));
    ASSERT_EQ(chmod(script.c_str(), 0755), 0);
    const std::string command = "\"" + script + "\" \"%s\"";
    SetSettingBool("Settings", "SendFolder", true);
    SetSettingString("Settings", "SendFolderDir", mirror);
    SetSettingBool("Settings", "SendRun", true);
    SetSettingString("Settings", "SendRunExe", command);
    const TransmitDispatcher dispatcher = AllFour();

    ui.answers = {false, false, false, false};
    EXPECT_EQ(dispatcher.TransmitFile({recording, 7}, context, ui), Result::Ok);
    const std::vector<Said> asked = {
        {"Q email target-email", "C email"},
        {"Q ftp target-ftp", "C ftp"},
        {"You have the send to folder transmit option enabled. Would you like this recording "
         "sent to \"" +
             mirror + "\"?",
         "Send to folder?"},
        {"You have the run executable transmit option enabled. Would you like to run \"" + command +
             "\" with this recording as a command-line argument?",
         "Run Executable?"}};
    EXPECT_EQ(ui.questions, asked) << "a No to one method still asks the next";
    EXPECT_TRUE(journal.empty());
    EXPECT_TRUE(ui.titles.empty());
    EXPECT_FALSE(FileExists(JoinPath(mirror, "take.wav")));

    // A question is cut to 259 characters.
    const std::string deep = mirror + "/" + std::string(250, 'd');
    SetSettingString("Settings", "SendRunExe", "");
    SetSettingString("Settings", "SendFolderDir", deep);
    ui.questions.clear();
    ui.answers = {false, false, false, false};
    dispatcher.TransmitFile({recording, 7}, context, ui);
    ASSERT_EQ(ui.questions.size(), 4u);
    EXPECT_EQ(ui.questions[2].first.size(), 259u);
}

TEST_F(DispatcherTest, AFailedMethodIsLoggedAndShownWithItsOwnTextsAndTheNextStillRuns) {
    const std::string recording = Recording(dir, "take.wav");
    const std::string missing = dir.File("no such folder");
    SetSettingBool("Settings", "bPromptTransmit", false);
    SetSettingBool("Settings", "SendFolder", true);
    SetSettingString("Settings", "SendFolderDir", missing);
    SetSettingBool("Settings", "SendRun", true);
    SetSettingString("Settings", "SendRunExe", "/bin/true");
    const TransmitDispatcher dispatcher = AllFour([](const TransmitRecord&, TransmitContext& c) {
        c.SetBytesSent(4321);  // counted even though the send failed
        return Result::Failed;
    });
    const auto logBefore = ReadSendLog().size();

    EXPECT_EQ(dispatcher.TransmitFile({recording, 7}, context, ui), Result::Ok) << "run ran last";
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(journal, (std::vector<std::string>{"email " + recording, "ftp " + recording}));
    const std::vector<Said> shown = {
        {"S email target-email", "Transmit error"},
        {"You have the send to folder transmit option enabled. \n But sending this recording to "
         "\n \"" +
             missing + "\" \n failed",
         "Transmit error"}};
    EXPECT_EQ(ui.messages, shown);
    ASSERT_EQ(context.logged.size(), 3u);
    context.logged[1].resize(std::min(context.logged[1].size(), missing.size() + 40));
    EXPECT_EQ(context.logged,
              (std::vector<std::string>{"L email " + recording,
                                        "SendToFolder: the folder " + missing + " does not exist",
                                        "Cannot copy the file \"" + recording +
                                            "\" to the backup folder. Please check the backup "
                                            "folder path in Options->Transmit again."}));
    ASSERT_EQ(ui.titles.size(), 8u);
    EXPECT_EQ(ui.titles[6] + "|" + ui.titles[7], "Vocarta Sound Recorder v 9.00|<usual>");
    EXPECT_EQ(context.progress.back(), 1.0);

    const auto log = ReadSendLog();
    ASSERT_EQ(log.size(), logBefore + 4);
    EXPECT_EQ(FormatSendLogLine(log[logBefore + 2]).substr(25),
              recording + "\tfolder\t" + missing + "\tFailed");
    EXPECT_EQ(log[logBefore + 3].method + " " + log[logBefore + 3].result, "run Ok");
    EXPECT_EQ(log[logBefore].bytesSent, 4321);
    EXPECT_FALSE(log[logBefore + 2].bytesSent) << "the folder method counts no bytes";

    // Without an owner the window keeps its title.
    ui.titles.clear();
    dispatcher.TransmitFile({recording, 0}, context, ui);
    EXPECT_TRUE(ui.titles.empty());
}

TEST_F(DispatcherTest, AStopEndsTheDispatchBeforeTheNextMethod) {
    const std::string recording = Recording(dir, "take.wav");
    SetSettingBool("Settings", "SendRun", true);
    SetSettingString("Settings", "SendRunExe", "/bin/true");
    const TransmitDispatcher stopping = AllFour([this](const TransmitRecord&, TransmitContext&) {
        context.stop.Set();
        return Result::Ok;
    });
    EXPECT_EQ(stopping.TransmitFile({recording, 0}, context, ui), Result::Cancelled);
    // A stop while a question is open (the program ending) sends nothing.
    EXPECT_EQ(AllFour().TransmitFile({recording, 0}, context, ui), Result::Cancelled);
    EXPECT_EQ(journal, std::vector<std::string>{"email " + recording});
}

TEST(PostedTransmitUi, QuestionsWaitForTheMainThreadAndStopWaitingReleasesThem) {
    FakeTransmitUi main;
    main.answers = {false, true};
    std::mutex mutex;
    std::vector<std::function<void()>> posted;
    PostedTransmitUi posting(main, [&](std::function<void()> call) {
        std::lock_guard<std::mutex> lock(mutex);
        posted.push_back(std::move(call));
    });
    auto runPosted = [&] {
        std::unique_lock<std::mutex> lock(mutex);
        auto calls = std::move(posted);
        posted.clear();
        lock.unlock();
        for (auto& call : calls) call();
    };
    bool first = true, second = false;
    std::thread sender([&] {
        posting.SetStatus("Copying");
        first = posting.AskYesNo("Send?", "Send to folder?");
        second = posting.AskYesNo("Run?", "Run Executable?");
        posting.AskYesNo("Never shown", "x");
    });
    // The main thread answers what arrives, until the third question waits.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    auto waiting = [&] {
        std::lock_guard<std::mutex> lock(mutex);
        return !posted.empty();
    };
    while (main.questions.size() < 2 || !waiting()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        if (main.questions.size() < 2) runPosted();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    posting.StopWaiting();
    sender.join();
    runPosted();  // arrives after the stop: the main UI is not touched
    EXPECT_TRUE(!first && second);
    EXPECT_EQ(main.questions,
              (std::vector<Said>{{"Send?", "Send to folder?"}, {"Run?", "Run Executable?"}}));
    EXPECT_EQ(main.statuses, std::vector<std::string>{"Copying"});
}

TEST(HeadlessTransmitUi, QuestionsAreAnsweredSendAndMessagesGoToTheStreamAndTheLog) {
    std::FILE* stream = std::tmpfile();
    HeadlessTransmitUi ui(stream);
    EXPECT_TRUE(ui.AskYesNo("Would you like this recording sent to \"/m\"?", "Send to folder?"));
    ui.ShowMessage("But sending \n failed", "Transmit error");
    std::rewind(stream);
    char text[100] = {};
    EXPECT_EQ(std::string(text, std::fread(text, 1, sizeof text, stream)),
              "Transmit error: But sending \n failed\n");
    std::fclose(stream);
    const std::string log = ReadFile(EventLogPath());
    EXPECT_NE(log.find("Question \"Send to folder?\": Would you like this recording sent to "
                       "\"/m\"? [answered \"Yes\": no window to ask in]"),
              std::string::npos);
    EXPECT_NE(log.find("Message \"Transmit error\": But sending \n failed"), std::string::npos);
}
