// The Transmit page's checks in their order and texts, the per-method saving
// rule, the "__wt" test, e-mail lists; and the send log's lines.

#include "transmit/transmit_options.h"

#include <sys/mount.h>

#include <algorithm>

#include "settings/settings.h"
#include "toolkit/paths.h"
#include "transmit/send_log.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string Stored(const char* key) {
    return GetSettingString("Settings", key, "<none>");
}

// The text of the first failed check, or "saved".
std::string Apply(const TransmitPageValues& values, const std::string& recordFolder) {
    const auto problem = ApplyTransmitPage(values, recordFolder);
    return problem ? problem->caption + ": " + problem->text : "saved";
}

}  // namespace

TEST(TransmitPage, ChecksRunInTheirOrderAndEachMethodIsSavedOnceItsOwnChecksPass) {
    DeleteSettingTree("Settings");
    TempDir dir;
    const std::string records = dir.File("records"), mirror = dir.File("mirror");
    ASSERT_TRUE(MakeDirs(records) && MakeDirs(mirror));
    TransmitPageValues v;
    v.sendFolder = v.sendRun = true;
    v.prompt = false;
    v.lengthLimitSeconds = 5;

    const std::pair<std::string, std::string> folderChecks[] = {
        {"", "Invalid Folder: Please provide a folder."},
        {dir.File("nowhere"),
         "Invalid Folder: The specified folder does not exist. Please select a valid folder to "
         "transmit recordings to."},
        {records + "//",
         "Invalid Folder: Selected folder is same as the Recording folder. Please select a "
         "different folder."}};
    for (const auto& [folder, text] : folderChecks) {
        v.sendFolderDir = folder;
        EXPECT_EQ(Apply(v, records), text);
        EXPECT_EQ(Stored("SendFolder"), "<none>") << "nothing saved before its checks pass";
    }
    v.sendFolderDir = mirror;
    EXPECT_EQ(Apply(v, records),
              "Invalid Exe File: Please enter the exe or bat file you want to run.");
    EXPECT_EQ(Stored("SendFolder") + Stored("SendFolderDir") + Stored("SendRun") +
                  Stored("bPromptTransmit"),  // saved last
              "1" + mirror + "<none><none>");

    // E-mail and FTP, once on the page, come before the folder.
    v.sendFolderDir = "";
    v.email = TransmitPageValues::Email{true, ""};
    v.ftp = TransmitPageValues::Ftp{true, "ftp.example.org", "", "", "/"};
    EXPECT_EQ(Apply(v, records),
              "Invalid Email: Please enter the email of the person you want to send recordings "
              "to.");
    v.email->to = "ann@example.org, bob@ex..org";
    EXPECT_EQ(Apply(v, records), "Invalid Email: Please enter a valid email address.");
    v.email->to = "ann@example.org,\tbob@test-domain  x@[10.0.0.1]";
    EXPECT_EQ(Apply(v, records), "Invalid FTP Server: FTP Server and user details are required.");
    EXPECT_EQ(GetSettingString("Email", "To"), v.email->to);
    v.ftp->userName = "ann", v.ftp->password = "secret", v.sendFolderDir = mirror;
    v.sendRunExe = "\"/usr/bin/true\" \"%s\"";
    EXPECT_EQ(Apply(v, records), "saved");
    EXPECT_EQ(Stored("SendRunExe") + Stored("bPromptTransmit") + Stored("RecordingLengthLimit"),
              "\"/usr/bin/true\" \"%s\"05");
    std::string password;
    GetProtectedSetting("Ftp", "Password", "", password);
    EXPECT_EQ(password, "secret");
    EXPECT_EQ(GetSettingString("Ftp", "Password", "<none>"), "<none>") << "never in clear";

    // A folder on a read-only file system cannot be written.
    const std::string text = InChild(
        [&]() -> std::string {
            if (mount("tmpfs", mirror.c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0)
                return "mount failed";
            return Apply(v, records);
        },
        /*ownMounts=*/true);
    EXPECT_EQ(text,
              "Invalid Folder: You don't have the permission to write to the specified folder. "
              "Please select a valid folder to transmit recordings to.");
}

TEST(TransmitPage, TheWritabilityTestLeavesNothingAndNeverDeletesAUsersFile) {
    TempDir dir;
    EXPECT_TRUE(FolderIsWritable(dir.Path()));
    EXPECT_FALSE(FileExists(dir.File("__wt")));
    ASSERT_TRUE(WriteFile(dir.File("__wt"), "the user's own"));
    EXPECT_TRUE(FolderIsWritable(dir.Path()));
    EXPECT_EQ(ReadFile(dir.File("__wt")), "the user's own");
    EXPECT_FALSE(FolderIsWritable(dir.File("missing")));
}

TEST(SendLog, EveryRunIsOneLineWhateverTheNamesHoldAndProcessesNeverMixLines) {
    TempDir dir;
    const std::string log = dir.File("state/vocarta/sent.log");
    const SendLogEntry odd{"", "/r/a\tb\nc\\d\r.wav", "folder", "/m/\\t", "Ok", std::nullopt};
    ASSERT_TRUE(AppendSendLog(odd, log));
    auto entries = ReadSendLog(log);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].recording + "|" + entries[0].target + "|" +
                  std::to_string(entries[0].time.size()),  // 2024-05-06T14:03:12+0200
              odd.recording + "|" + odd.target + "|24");
    EXPECT_FALSE(ParseSendLogLine("only\tfour\tfields\there"));
    // The bytes of a method that counts them come sixth; five fields still read.
    SendLogEntry counted = odd;
    counted.time = "2024-05-06T14:03:12+0200";
    counted.bytesSent = 307200;
    EXPECT_EQ(FormatSendLogLine(counted).substr(FormatSendLogLine(counted).rfind('\t')),
              "\t307200");
    EXPECT_EQ(ParseSendLogLine(FormatSendLogLine(counted)), counted);
    const auto old = ParseSendLogLine("t\t/r/a.wav\tfolder\t/m\tOk");
    EXPECT_TRUE(old && !old->bytesSent);
    for (const char* bad : {"t\tr\tftp\ts\tOk\t", "t\tr\tftp\ts\tOk\t-5", "t\tr\tftp\ts\tOk\t12x",
                            "t\tr\tftp\ts\tOk\t1\t2"})
        EXPECT_FALSE(ParseSendLogLine(bad)) << bad;
    EXPECT_EQ(SendLogPath(), JoinPath(getenv("XDG_STATE_HOME"), "vocarta/sent.log"));

    constexpr int kProcesses = 4, kLines = 150;
    std::vector<pid_t> writers;
    for (int p = 0; p < kProcesses; ++p)
        writers.push_back(ForkChild([&, p] {
            for (int i = 0; i < kLines; ++i)
                if (!AppendSendLog({"", "/r/" + std::string(200, char('a' + p)) + ".wav", "run",
                                    std::to_string(i), "Ok", std::nullopt},
                                   log))
                    return 1;
            return 0;
        }));
    for (pid_t w : writers) EXPECT_EQ(WaitChild(w), 0);
    const std::string text = ReadFile(log);
    EXPECT_EQ(ReadSendLog(log).size(), 1u + kProcesses * kLines);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + kProcesses * kLines);
}
