// The mirror copy: byte-identical with the recording's time, an existing file
// replaced only by the finished copy, and no part of a copy left anywhere when
// the folder vanishes, fills up or stops being writable half-way.

#include "transmit/folder_method.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <set>

#include "settings/settings.h"
#include "toolkit/paths.h"
#include "transmit/mirror_copy.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr std::size_t kMiB = std::size_t(1) << 20;

std::string RandomBytes(std::size_t size) {
    std::mt19937 random(42);
    std::string out(size, '\0');
    for (char& c : out) c = char(random());
    return out;
}

std::set<std::string> Listing(const std::string& folder) {
    std::set<std::string> names;
    std::error_code error;
    for (const auto& e : std::filesystem::directory_iterator(folder, error))
        names.insert(e.path().filename());
    return names;
}

// Copies `source` into `folder` as "take.wav" with 1 MiB blocks, running
// `sabotage` at the first progress report; "" when the copy failed with `code`
// and the folder holds just what it held before, else what went wrong.
std::string FailsCleanly(const std::string& source, const std::string& folder, bool unnamed,
                         LErrorCode code, const std::function<void()>& sabotage = {}) {
    const auto before = Listing(folder);
    const std::string old = ReadFile(JoinPath(folder, "take.wav"));
    MirrorCopyOptions options;
    options.blockBytes = kMiB;
    options.unnamedTemporary = unnamed;
    bool first = true;
    options.onProgress = [&](double) {
        if (first && sabotage) sabotage();
        first = false;
        return true;
    };
    const LStatus copied = CopyIntoFolder(source, folder, "take.wav", options);
    if (copied) return "the copy succeeded";
    if (copied.Error().Code() != code) return "error " + copied.Error().Message();
    chmod(folder.c_str(), 0755);
    if (const auto after = Listing(folder); after != before)
        return "the folder holds " + std::to_string(after.size()) + " names";
    if (ReadFile(JoinPath(folder, "take.wav")) != old) return "the old file changed";
    return "";
}

}  // namespace

TEST(MirrorCopy, CopiesByteIdenticalAndReplacesAFileOnlyWithTheFinishedCopy) {
    TempDir dir;
    const std::string source = dir.File("take.wav"), folder = dir.File("mirror");
    const std::string audio = RandomBytes(3 * kMiB + 123);
    ASSERT_TRUE(WriteFile(source, audio));
    const struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
    ASSERT_TRUE(MakeDirs(folder));
    for (bool unnamed : {true, false}) {
        const std::string dest = JoinPath(folder, "take.wav");
        ASSERT_TRUE(WriteFile(dest, "older take"));
        MirrorCopyOptions options;
        options.blockBytes = kMiB;
        options.unnamedTemporary = unnamed;
        std::vector<std::string> during;
        options.onProgress = [&](double) {
            during.push_back(ReadFile(dest));
            return true;
        };
        ASSERT_TRUE(CopyIntoFolder(source, folder, "take.wav", options)) << unnamed;
        EXPECT_EQ(during, std::vector<std::string>(4, "older take"));
        EXPECT_EQ(ReadFile(dest), audio);
        struct stat st {};
        stat(dest.c_str(), &st);
        EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
        EXPECT_EQ(Listing(folder), std::set<std::string>{"take.wav"});
    }
    // The recording itself, seen through its own folder, is left as it is.
    EXPECT_TRUE(CopyIntoFolder(source, dir.Path(), "take.wav"));
    EXPECT_EQ(ReadFile(source), audio);
    // A folder in the way is not replaced.
    ASSERT_TRUE(MakeDirs(dir.File("other/take.wav")));
    EXPECT_EQ(CopyIntoFolder(source, dir.File("other"), "take.wav").Error().Code(),
              LErrorCode::kInvalid);
}

TEST(MirrorCopy, AFolderThatVanishesOrLosesItsWritePermissionKeepsNoPartOfTheCopy) {
    TempDir dir;
    const std::string source = dir.File("source.wav");
    ASSERT_TRUE(WriteFile(source, RandomBytes(3 * kMiB)));
    for (bool unnamed : {true, false}) {
        const std::string folder = dir.File("vanishing");
        ASSERT_TRUE(MakeDirs(folder));
        const std::string failure = FailsCleanly(source, folder, unnamed, LErrorCode::kNotFound,
                                                 [&] { RemoveTree(folder); });
        EXPECT_EQ(failure, "") << "unnamed=" << unnamed;
        EXPECT_FALSE(DirExists(folder));
    }
    // Root may write anywhere: the copy then runs as another user, as a user's
    // program would. A named temporary could not be removed from a folder that
    // cannot be written, so only the unnamed copy can keep this promise.
    const std::string folder = dir.File("locked");
    ASSERT_TRUE(MakeDirs(folder));
    ASSERT_TRUE(WriteFile(JoinPath(folder, "take.wav"), "older take"));
    ASSERT_EQ(chmod(dir.Path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(source.c_str(), 0644), 0);
    EXPECT_EQ(InChild([&]() -> std::string {
                  if (geteuid() == 0 && (chown(folder.c_str(), 65534, 65534) != 0 ||
                                         setgid(65534) != 0 || setuid(65534) != 0))
                      return "cannot become nobody";
                  return FailsCleanly(source, folder, true, LErrorCode::kIo,
                                      [&] { chmod(folder.c_str(), 0555); });
              }),
              "");
}

TEST(MirrorCopy, AFullDiskKeepsNoPartOfTheCopyAndTheMethodSaysWhy) {
    TempDir dir;
    const std::string source = dir.File("take.wav"), small = dir.File("small");
    ASSERT_TRUE(WriteFile(source, RandomBytes(3 * kMiB)));
    ASSERT_TRUE(MakeDirs(small));
    SetSettingBool("Settings", "SendFolder", true);
    SetSettingString("Settings", "SendFolderDir", small);
    const std::string failure = InChild(
        [&]() -> std::string {
            if (mount("tmpfs", small.c_str(), "tmpfs", 0, "size=1m") != 0)
                return std::string("mount: ") + std::strerror(errno);
            if (!WriteFile(JoinPath(small, "take.wav"), "older take")) return "no old file";
            for (bool unnamed : {true, false})
                if (auto f = FailsCleanly(source, small, unnamed, LErrorCode::kNoSpace); !f.empty())
                    return f + (unnamed ? " (unnamed)" : " (named)");
            FakeContext context;
            if (SendToFolder({source, 0}, context) != TransmitResult::Failed) return "not Failed";
            if (context.logged.size() != 1 ||
                context.logged[0].find("No space left on device") == std::string::npos)
                return "logged: " + (context.logged.empty() ? "" : context.logged[0]);
            return "";
        },
        /*ownMounts=*/true);
    EXPECT_EQ(failure, "");
}

TEST(MirrorCopy, AStopRequestEndsTheCopyWithNothingLeft) {
    TempDir dir;
    const std::string source = dir.File("take.wav"), folder = dir.File("mirror");
    ASSERT_TRUE(WriteFile(source, RandomBytes(2 * kMiB)));
    ASSERT_TRUE(MakeDirs(folder));
    SetSettingString("Settings", "SendFolderDir", folder);
    FakeContext context;
    context.onProgress = [&](double) { context.stop.Set(); };
    EXPECT_EQ(SendToFolder({source, 0}, context), TransmitResult::Cancelled);
    EXPECT_TRUE(Listing(folder).empty());
    EXPECT_EQ(context.status, "Copying to " + folder);
}
