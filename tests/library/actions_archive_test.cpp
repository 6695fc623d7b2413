// Packing recordings into one zip: the archive is checked by Info-ZIP's own
// unzip and read back by Python's zipfile, byte for byte and name for name
// (names with line breaks, quotes and bytes that are not UTF-8); a cancelled or
// failed packing leaves nothing behind.

#include <fcntl.h>
#include <sys/wait.h>

#include "actions_test_support.h"
#include "library/recordings_archive.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// Runs `argv` with standard output and error into `output`; the exit status.
int RunTool(const std::vector<std::string>& argv, const std::string& output) {
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, 1);
        dup2(fd, 2);
        std::vector<char*> args;
        for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

// Each entry as "<name bytes in hex> <data bytes in hex>", one a line.
constexpr const char* kReadBack = R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as z:
    for i in z.infolist():
        raw = i.filename.encode('utf-8' if i.flag_bits & 0x800 else 'cp437')
        print(raw.hex(), z.read(i).hex(), i.compress_type)
)";

std::string Hex(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) out += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return out;
}

}  // namespace

TEST(RecordingsArchive, UnzipAndPythonReadBackEveryRecording) {
    TempDir dir("vocarta-zip");
    MakeDirs(dir.File("a"));
    MakeDirs(dir.File("b"));
    std::vector<std::string> paths, bytes;
    for (const std::string& name : AwkwardNames()) {
        paths.push_back(dir.File("a/" + name));
        bytes.push_back(MakeFile(paths.back(), 70000, name[0]));
    }
    paths.push_back(dir.File("b/" + AwkwardNames()[1]));  // same name, other folder
    bytes.push_back(MakeFile(paths.back(), 5000, 'z'));
    paths.push_back(dir.File("a/music.mp3"));
    bytes.push_back(MakeFile(paths.back(), 3000, 'm'));

    const std::string zip = dir.File("out.zip");
    std::vector<double> progress;
    ArchiveOptions options;
    options.onProgress = [&](double f) {
        progress.push_back(f);
        return true;
    };
    LStatus packed = PackRecordings(paths, zip, options);
    ASSERT_TRUE(packed) << packed.Error().Message();
    EXPECT_EQ(progress.empty() ? 0 : progress.back(), 1.0);

    ASSERT_EQ(RunTool({"/usr/bin/unzip", "-t", zip}, dir.File("unzip.txt")), 0)
        << "unzip -t failed (is unzip installed?): " << ReadFile(dir.File("unzip.txt"));
    ASSERT_EQ(RunTool({"/usr/bin/python3", "-c", kReadBack, zip}, dir.File("py.txt")), 0)
        << ReadFile(dir.File("py.txt"));
    const std::vector<std::string> names = ArchiveEntryNames(paths);
    EXPECT_EQ(names[3], "it's \"loud\" $(x) (2).wav");
    std::string expected;
    for (std::size_t i = 0; i < paths.size(); ++i)
        expected += Hex(names[i]) + " " + Hex(bytes[i]) + (i == 4 ? " 0\n" : " 8\n");
    EXPECT_EQ(ReadFile(dir.File("py.txt")), expected) << "names, contents or methods differ";

    // An archive already there is not replaced.
    EXPECT_EQ(PackRecordings(paths, zip).Error().Code(), LErrorCode::kExists);
}

TEST(RecordingsArchive, CancelledOrFailedPackingLeavesNothing) {
    TempDir dir("vocarta-zip-stop");
    const std::string big = dir.File("big.wav");
    MakeFile(big, 4 << 20, 'b');
    const std::string zip = dir.File("out.zip");
    ArchiveOptions stop;
    stop.onProgress = [](double f) { return f < 0.2; };
    const std::pair<std::vector<std::string>, LErrorCode> cases[] = {
        {{big, big}, LErrorCode::kCancelled}, {{big, dir.File("gone.wav")}, LErrorCode::kNotFound}};
    for (const auto& [paths, code] : cases) {
        LStatus packed =
            PackRecordings(paths, zip, code == LErrorCode::kCancelled ? stop : ArchiveOptions{});
        EXPECT_EQ(packed ? LErrorCode{} : packed.Error().Code(), code);
        EXPECT_EQ(FolderNames(dir.Path()), std::vector<std::string>{"big.wav"});
    }
}
