// The run-program method: a hostile file name reaches the program as one
// argument and runs nothing; the template's quoting; a missing program, a
// failing one, a stop and the time limit each give their result and log line.

#include "transmit/run_method.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "settings/settings.h"
#include "toolkit/paths.h"
#include "transmit/command_template.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Result = TransmitResult;
using Args = std::vector<std::string>;

// A script that writes its arguments, one "[...]" each, to `out`, then runs `then`.
std::string ArgumentsScript(const TempDir& dir, const std::string& out,
                            const std::string& then = "") {
    const std::string script = dir.File("program.sh");
    EXPECT_TRUE(WriteFile(script, "#!/bin/sh\nfor a in \"$@\"; do printf '[%s]' \"$a\"; done > '" +
                                      out + "'\n" + then + "\n"));
    EXPECT_EQ(chmod(script.c_str(), 0755), 0);
    return script;
}

Result RunCommand(const std::string& command, const std::string& path, FakeContext& context,
                  int waitMs = kRunExternalWaitMs) {
    SetSettingString("Settings", "SendRunExe", command);
    return RunExternal({path, 0}, context, waitMs);
}

}  // namespace

TEST(RunExternal, AHostileFileNameReachesTheProgramAsOneArgumentAndRunsNothing) {
    TempDir dir;
    const std::string out = dir.File("args"), script = ArgumentsScript(dir, out);
    const std::string recording =
        dir.File("it's $(touch one) `touch two`; touch three \"q\"\n$HOME | x.wav");
    WriteWav(recording, 8000, 8000);
    char cwd[4096];
    ASSERT_TRUE(getcwd(cwd, sizeof cwd));
    ASSERT_EQ(chdir(dir.Path().c_str()), 0);  // where an injected "touch" would write
    FakeContext context;
    EXPECT_EQ(RunCommand("\"" + script + "\" \"%s\"", recording, context), Result::Ok);
    EXPECT_EQ(ReadFile(out), "[" + recording + "]");
    ASSERT_EQ(chdir(cwd), 0);
    for (const char* injected : {"one", "two", "three"})
        EXPECT_FALSE(FileExists(dir.File(injected))) << injected;
}

TEST(RunExternal, TheRecordingIsTheArgumentWhereTheTemplateSaysAndTheStatusNamesTheProgram) {
    TempDir dir;
    const std::string out = dir.File("args"), recording = Recording(dir, "it's \"q\" $HOME.wav");
    const std::string script = ArgumentsScript(dir, out);
    FakeContext context;
    EXPECT_EQ(RunCommand("'" + script + "' --in %s 'two words' 100%%", recording, context),
              Result::Ok);
    EXPECT_EQ(ReadFile(out), "[--in][" + recording + "][two words][100%]");
    EXPECT_TRUE(context.logged.empty());
    EXPECT_EQ(context.status, "Running program.sh");
}

TEST(RunExternal, TemplatesSplitAsAShellUserExpects) {
    const std::pair<const char*, Args> cases[] = {
        {"\"/opt/my app/run\" \"%s\"", {"/opt/my app/run", "/r/a b.wav"}},
        {"  run   %s  ", {"run", "/r/a b.wav"}},
        {"run --file=%s.done", {"run", "--file=/r/a b.wav.done"}},
        {"run \"say \\\"hi\\\" \\\\ %d\"", {"run", "say \"hi\" \\ %d"}},
        {"run 'a\\b \"c\"' x\\ y", {"run", "a\\b \"c\"", "x y"}},
        {"run \"\" %s%s", {"run", "", "/r/a b.wav/r/a b.wav"}},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(BuildCommandArguments(text, "/r/a b.wav").Value(), expected) << text;
    for (const char* bad : {"", "   ", "\"run %s", "run '%s", "\"\" %s"})
        EXPECT_EQ(BuildCommandArguments(bad, "x").Error().Code(), LErrorCode::kInvalid) << bad;
    // What the program chooser stores reads back as exactly that program.
    const std::string program = "/opt/My \"App\" \\ 100%s/run";
    EXPECT_EQ(BuildCommandArguments(RunTemplateForProgram(program), "/r/x.wav").Value(),
              (Args{program, "/r/x.wav"}));
    EXPECT_EQ(RunTemplateForProgram("/usr/bin/player"), "\"/usr/bin/player\" \"%s\"");
}

TEST(RunExternal, AMissingOrFailingProgramFailsWithALineSayingWhich) {
    TempDir dir;
    const std::string recording = Recording(dir, "take.wav");
    FakeContext context;
    EXPECT_EQ(RunCommand("\"/nonexistent/program\" \"%s\"", recording, context), Result::Failed);
    EXPECT_EQ(RunCommand("\"" + ArgumentsScript(dir, dir.File("o"), "exit 3") + "\" %s", recording,
                         context),
              Result::Failed);
    EXPECT_EQ(RunCommand("\"" + ArgumentsScript(dir, dir.File("o"), "kill -9 $$") + "\" %s",
                         recording, context),
              Result::Failed);
    EXPECT_EQ(RunCommand("\"unclosed %s", recording, context), Result::Failed);
    const std::string program = "RunExternal: the program \"" + dir.File("program.sh") + "\" ";
    EXPECT_EQ(context.logged,
              (std::vector<std::string>{
                  "RunExternal: the program \"/nonexistent/program\" cannot be started (it is "
                  "missing): No such file or directory",
                  program + "exited with status 3", program + "was ended by signal 9 (Killed)",
                  "RunExternal: the command \"\"unclosed %s\" cannot be run: the command has an "
                  "unclosed \" quote"}));
}

TEST(RunExternal, AStopOrTheTimeLimitEndsTheWaitAndLeavesTheProgramRunning) {
    TempDir dir;
    const std::string recording = Recording(dir, "take.wav");
    const std::string pidFile = dir.File("pid");
    const std::string command =
        "\"" + ArgumentsScript(dir, dir.File("o"), "echo $$ > '" + pidFile + "'; exec sleep 30") +
        "\" %s";
    auto stillRunning = [&] {
        const pid_t pid = pid_t(std::stoi("0" + ReadFile(pidFile)));
        const bool alive = pid > 0 && kill(pid, 0) == 0;
        if (pid > 0) kill(pid, SIGKILL);
        unlink(pidFile.c_str());
        return alive;
    };
    FakeContext stopped, waiting;
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stopped.stop.Set();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunCommand(command, recording, stopped), Result::Cancelled);
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_TRUE(stillRunning());

    EXPECT_EQ(RunCommand(command, recording, waiting, 300), Result::Failed);
    EXPECT_TRUE(stillRunning());
    EXPECT_EQ(waiting.logged,
              std::vector<std::string>{"RunExternal: the program \"" + dir.File("program.sh") +
                                       "\" was still running after 0.3 s; left running"});
}
