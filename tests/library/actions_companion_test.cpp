// Burning, editing and converting through other programs: fake programs on
// PATH note the argument vector they got (one argument per line, each line
// ended by NUL) and, for the burner, the list file's bytes; names with line
// breaks and quotes reach them unchanged, never through a shell.

#include "actions_test_support.h"
#include "library/companion_programs.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;
namespace cs = vocarta::companion_settings;

namespace {

// A script that writes its arguments, NUL-ended, to `out`; with `copyList`,
// also the file after "-list" to `out`.list (the folder goes once it ends).
std::string Recorder(const std::string& out, bool copyList = false) {
    // `out` may end in "$$" (the script's process number).
    const std::string o = "\"" + out;
    std::string body = "for a in \"$@\"; do printf '%s\\0' \"$a\"; done > " + o + ".tmp\"\n";
    if (copyList)
        body += "while [ $# -gt 0 ]; do [ \"$1\" = -list ] && /bin/cp \"$2\" " + o +
                ".list\" && /bin/ls -ld \"$(/usr/bin/dirname \"$2\")\" > " + o +
                ".mode\"; shift; done\n";
    body += "/bin/mv " + o + ".tmp\" " + o + "\"\n";
    return body;
}

std::vector<std::string> ArgsIn(const std::string& file) {
    std::vector<std::string> args;
    const std::string text = ReadFile(file);
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\0', start)) != std::string::npos; start = end + 1)
        args.push_back(text.substr(start, end - start));
    return args;
}

// The argument vectors of the finished runs named `prefix`..., once there are `count`.
std::vector<std::vector<std::string>> Runs(const TempDir& dir, const std::string& prefix,
                                           std::size_t count) {
    std::vector<std::vector<std::string>> runs;
    for (int i = 0; i < 200 && runs.size() < count; ++i) {
        if (i) usleep(50000);
        runs.clear();
        for (const std::string& name : FolderNames(dir.Path()))
            if (name.rfind(prefix, 0) == 0 && name.find(".tmp") == std::string::npos)
                runs.push_back(ArgsIn(dir.File(name)));
    }
    std::sort(runs.begin(), runs.end());
    return runs;
}

// The error's code, or 0 when it went.
template <typename R>
LErrorCode Code(const R& result) {
    return result ? LErrorCode{} : result.Error().Code();
}

std::vector<std::string> Files(const TempDir& dir) {
    std::vector<std::string> paths;
    for (const std::string& name : {AwkwardNames()[0], AwkwardNames()[1]}) {
        paths.push_back(dir.File(name));
        MakeFile(paths.back(), 100, 'c');
    }
    return paths;
}

}  // namespace

TEST(CompanionPrograms, AConfiguredBurnerGetsTheArgumentsAndTheListFile) {
    DeleteSettingTree(cs::kSection);
    TempDir dir("vocarta-burn");
    FakePrograms programs;
    const std::string out = dir.File("argv");
    const std::string burner = programs.Add("my burner", Recorder(out, true));
    const std::vector<std::string> paths = {dir.File(AwkwardNames()[1]), dir.File("b.wav")};
    for (const auto& path : paths) MakeFile(path, 10, 'b');
    SetSettingString(cs::kSection, cs::kBurnProgramKey, "'" + burner + "' --quiet");
    auto started = BurnRecordings(paths, DiscType::kData);
    ASSERT_TRUE(started && WaitForFile(out));
    const std::string list = started.Value().listFile;
    EXPECT_EQ(BaseName(list), "temp.txt");
    EXPECT_EQ(ArgsIn(out),
              (std::vector<std::string>{"--quiet", "-clear", "-show", "-type", "data", "-label",
                                        "RECORDINGBACKUP", "-list", list, "-burn", "-exit"}));
    EXPECT_EQ(ReadFile(out + ".list"), paths[0] + "\r\n" + paths[1] + "\r\n");
    EXPECT_EQ(ReadFile(out + ".mode").substr(0, 10), "drwx------");
    // The private folder goes once the burner has ended.
    for (int i = 0; i < 200 && Exists(DirName(list)); ++i) usleep(50000);
    EXPECT_FALSE(Exists(DirName(list)));

    // A name with a line break cannot be put in the list; nothing is started.
    unlink(out.c_str());
    EXPECT_EQ(Code(BurnRecordings({dir.File(AwkwardNames()[0])}, DiscType::kAudio)),
              LErrorCode::kInvalid);
    EXPECT_FALSE(Exists(out));

    // A configured burner that is not there says so.
    SetSettingString(cs::kSection, cs::kBurnProgramKey, dir.File("no-such-burner"));
    auto missing = BurnRecordings(paths, DiscType::kAudio);
    ASSERT_EQ(Code(missing), LErrorCode::kNotFound);
    EXPECT_NE(missing.Error().Message().find("no-such-burner"), std::string::npos);
}

TEST(CompanionPrograms, WithoutASettingTheFirstBurnerOnThePathGetsTheFiles) {
    DeleteSettingTree(cs::kSection);
    TempDir dir("vocarta-burn-default");
    FakePrograms programs;
    programs.Only();
    const auto paths = Files(dir);
    auto none = BurnRecordings(paths, DiscType::kAudio);
    ASSERT_EQ(Code(none), LErrorCode::kNotFound);
    EXPECT_EQ(none.Error().Message(),
              "No disc burning program was found. Install Brasero, K3b or Xfburn, or choose a "
              "burning program in the options.");

    programs.Add("xfburn", Recorder(dir.File("xfburn")));
    programs.Add("k3b", Recorder(dir.File("k3b")));
    ASSERT_TRUE(BurnRecordings(paths, DiscType::kAudio) && WaitForFile(dir.File("k3b")));
    EXPECT_EQ(ArgsIn(dir.File("k3b")), (std::vector<std::string>{"--audiocd", paths[0], paths[1]}));
    EXPECT_FALSE(Exists(dir.File("xfburn")));
}

TEST(CompanionPrograms, EditAndConvertUseTheChosenProgramOrTheDesktopDefault) {
    DeleteSettingTree(cs::kSection);
    TempDir dir("vocarta-edit");
    FakePrograms programs;
    programs.Only();
    const auto paths = Files(dir);

    EXPECT_EQ(Code(EditRecordings(paths)), LErrorCode::kNotFound);

    // The desktop's default: xdg-open once per file, gio open with all of them.
    programs.Add("xdg-open", Recorder(dir.File("xdg") + "-$$"));
    ASSERT_TRUE(EditRecordings(paths));
    EXPECT_EQ(Runs(dir, "xdg-", 2),
              (std::vector<std::vector<std::string>>{{paths[1]}, {paths[0]}}));

    programs.Add("gio", Recorder(dir.File("gio")));
    ASSERT_TRUE(ConvertRecordings(paths) && WaitForFile(dir.File("gio")));
    EXPECT_EQ(ArgsIn(dir.File("gio")), (std::vector<std::string>{"open", paths[0], paths[1]}));

    // The chosen editor: with "%s" once per file, else all files after its words.
    const std::string editor = programs.Add("editor", Recorder(dir.File("ed") + "-$$"));
    SetSettingString(cs::kSection, cs::kConvertProgramKey, editor + " --to flac");
    ASSERT_TRUE(ConvertRecordings(paths));
    SetSettingString(cs::kSection, cs::kEditProgramKey, editor + " --open=%s");
    auto edited = EditRecordings(paths);
    EXPECT_EQ(edited.ValueOr({}).commands.size(), 2u);
    EXPECT_EQ(
        Runs(dir, "ed-", 3),
        (std::vector<std::vector<std::string>>{
            {"--open=" + paths[1]}, {"--open=" + paths[0]}, {"--to", "flac", paths[0], paths[1]}}));

    SetSettingString(cs::kSection, cs::kEditProgramKey, "\"unclosed");
    EXPECT_EQ(Code(EditRecordings(paths)), LErrorCode::kInvalid);
}
