// Saving copies and renaming recordings on real files: an existing file is
// replaced only after a yes, a refused or failed copy keeps the old bytes and
// leaves no part file, too little free space (a real small tmpfs) copies
// nothing, and awkward names go through unchanged.

#include <tuple>

#include "actions_test_support.h"
#include "library/recording_files.h"
#include "transmit/transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

struct Folders {
    TempDir from{"vocarta-save-from"};
    TempDir to{"vocarta-save-to"};
    // The bytes of each of AwkwardNames() in `to`.
    std::vector<std::string> Saved() const {
        std::vector<std::string> bytes;
        for (const auto& name : AwkwardNames()) bytes.push_back(ReadFile(to.File(name)));
        return bytes;
    }
};

}  // namespace

TEST(SaveRecordings, OverwriteOnlyWhenTheUserSaysSoAndForAllWhenAsked) {
    Folders f;
    std::vector<std::string> sources, bytes;
    for (std::size_t i = 0; i < AwkwardNames().size(); ++i) {
        sources.push_back(f.from.File(AwkwardNames()[i]));
        bytes.push_back(MakeFile(sources.back(), 5000 + i, char('a' + i)));
    }
    // Two of the three are already there, with other contents.
    const std::string old0 = MakeFile(f.to.File(AwkwardNames()[0]), 10, 'x');
    const std::string old2 = MakeFile(f.to.File(AwkwardNames()[2]), 10, 'y');
    int asked = 0;
    SaveOutcome kept = SaveRecordings(SaveItemsInto(sources, f.to.Path()), [&](const SaveItem&) {
        ++asked;
        return OverwriteChoice{false, false};
    });
    EXPECT_EQ(std::tuple(asked, kept.kept.size(), kept.saved.size()), std::tuple(2, 2u, 1u));
    EXPECT_EQ(f.Saved(), (std::vector<std::string>{old0, bytes[1], old2}));
    // Without anyone to ask, nothing is replaced.
    EXPECT_EQ(SaveRecordings(SaveItemsInto(sources, f.to.Path()), nullptr).kept.size(), 3u);
    EXPECT_EQ(f.Saved()[0], old0);

    // "Overwrite" with "Repeat this action for all files": asked once.
    asked = 0;
    SaveOutcome replaced =
        SaveRecordings(SaveItemsInto(sources, f.to.Path()), [&](const SaveItem& item) {
            EXPECT_EQ(item.source, sources[asked++]);
            return OverwriteChoice{true, true};
        });
    EXPECT_EQ(std::tuple(asked, replaced.saved.size()), std::tuple(1, 3u));
    EXPECT_EQ(f.Saved(), bytes);
    EXPECT_EQ(FolderNames(f.to.Path()).size(), 3u) << "a temporary file was left behind";

    // A recording saved onto itself is left as it is, without a question.
    SaveOutcome itself = SaveRecordings({{sources[1], sources[1]}}, [&](const SaveItem&) {
        ADD_FAILURE() << "asked about the file itself";
        return OverwriteChoice{true, false};
    });
    EXPECT_EQ(itself.saved.size(), 1u);
    EXPECT_EQ(ReadFile(sources[1]), bytes[1]);
}

TEST(SaveRecordings, TooLittleSpaceCopiesNothingAndAFailedCopyKeepsTheOldFile) {
    Folders f;
    const std::string big = f.from.File("big.wav");
    const std::string small = f.from.File("small.wav");
    MakeFile(big, 700 * 1024, 'b');
    const std::string smallBytes = MakeFile(small, 100 * 1024, 's');

    // The need counts the file in flight whole and earlier replacements by their growth.
    MakeFile(f.to.File("big.wav"), 600 * 1024, 'o');
    EXPECT_EQ(SaveNeededBytes(SaveItemsInto({big, small}, f.to.Path())), 700u * 1024);
    EXPECT_EQ(SaveNeededBytes(SaveItemsInto({small, big}, f.to.Path())), 800u * 1024);

    // The figure the system gives is what is checked (seam): one file, the one-file text.
    SaveOutcome refused =
        SaveRecordings(SaveItemsInto({small}, f.to.Path()), nullptr,
                       [](const std::string&) { return std::optional<uint64_t>(1024); });
    EXPECT_TRUE(refused.noSpace);
    EXPECT_EQ(refused.shortage, std::vector<std::string>{"small.wav"});
    EXPECT_FALSE(Exists(f.to.File("small.wav")));

    // A real 512 KiB file system: the check refuses two files before writing any;
    // a copy that runs out of space anyway (the check told a lie) leaves the file
    // it was to replace as it was, and no part file.
    const std::string mnt = f.to.File("mnt");
    const std::string said = InChild(
        [&]() -> std::string {
            std::string failure = MountTmpfs(mnt, 512);
            if (!failure.empty()) return failure;
            const std::string old = MakeFile(JoinPath(mnt, "big.wav"), 300 * 1024, 'o');
            SaveOutcome out = SaveRecordings(SaveItemsInto({big, small}, mnt), [](const SaveItem&) {
                return OverwriteChoice{true, true};
            });
            if (!out.noSpace || out.shortage.size() != 2 || !out.saved.empty())
                failure += "the real free space was not checked; ";
            if (ReadFile(JoinPath(mnt, "big.wav")) != old)
                failure += "refused save changed a file; ";
            out = SaveRecordings(
                SaveItemsInto({big}, mnt),
                [](const SaveItem&) {
                    return OverwriteChoice{true, false};
                },
                [](const std::string&) { return std::optional<uint64_t>(1u << 30); });
            if (out.failed.size() != 1 || out.failed[0].second.Code() != LErrorCode::kNoSpace)
                failure += "a copy into a full disk did not fail with no space; ";
            if (ReadFile(JoinPath(mnt, "big.wav")) != old) failure += "the old file was damaged; ";
            if (FolderNames(mnt) != std::vector<std::string>{"big.wav"})
                failure += "a part file was left behind; ";
            out = SaveRecordings(SaveItemsInto({small}, mnt), nullptr);
            if (out.saved.size() != 1 || ReadFile(JoinPath(mnt, "small.wav")) != smallBytes)
                failure += "a file that fits was not saved; ";
            umount(mnt.c_str());
            return failure;
        },
        true);
    EXPECT_EQ(said, "");
}

TEST(RenameRecordings, NamesStayInTheFolderKeepTheExtensionAndNeverReplaceUnasked) {
    TempDir dir("vocarta-rename");
    const std::string take = dir.File("take.wav");
    const std::string takeBytes = MakeFile(take, 1000, 't');
    EXPECT_EQ(RenameTarget(take, "  ").Error().Message(), "You must type a file name.");
    for (const char* outside : {"../up", ".."})
        EXPECT_EQ(RenameTarget(take, outside).Error().Code(), LErrorCode::kInvalid) << outside;
    const std::pair<std::string, std::string> targets[] = {
        {"morning", "morning.wav"},
        {"Morning.WAV", "Morning.WAV"},
        {"song.mp3", "song.mp3.wav"},
        {" " + AwkwardNames()[0] + " ", AwkwardNames()[0]}};
    for (const auto& [typed, name] : targets)
        EXPECT_EQ(RenameTarget(take, typed).ValueOr(""), dir.File(name)) << typed;

    // An existing name: kept unless replacing was agreed.
    const std::string other = dir.File("other.wav");
    const std::string otherBytes = MakeFile(other, 10, 'o');
    LStatus refused = RenameRecording(take, other, false);
    EXPECT_EQ(refused ? LErrorCode::kFailed : refused.Error().Code(), LErrorCode::kExists);
    EXPECT_EQ(ReadFile(other) + ReadFile(take), otherBytes + takeBytes);

    // Awkward names both ways.
    for (const std::string& name : AwkwardNames()) {
        const std::string target = RenameTarget(take, name).Value();
        ASSERT_TRUE(RenameRecording(take, target, false) && RenameRecording(target, take, false))
            << name;
    }
    // A folder in the way is never replaced; a file is, when agreed.
    MakeDirs(dir.File("folder.wav"));
    EXPECT_FALSE(RenameRecording(take, dir.File("folder.wav"), true));
    ASSERT_TRUE(RenameRecording(take, other, true));
    EXPECT_EQ(ReadFile(other), takeBytes);
    EXPECT_FALSE(Exists(take));
}
