// Moving recordings to the Trash: the home Trash for files on its own file
// system, and for a file on another file system (a real tmpfs) the trash at
// the top of that file system, never a copy into the home Trash. Records hold
// the path percent-encoded and the deletion date; names never collide.

#include <regex>

#include "actions_test_support.h"
#include "library/trash.h"
#include "transmit/transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

dev_t DeviceOf(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_dev : dev_t(-1);
}

std::string RecordPath(const std::string& infoFile) {
    std::smatch match;
    const std::string text = ReadFile(infoFile);
    static const std::regex record(
        "^\\[Trash "
        "Info\\]\nPath=([^\n]*)\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n$");
    return std::regex_match(text, match, record) ? match[1].str() : "<bad record: " + text + ">";
}

}  // namespace

TEST(Trash, PathsAreEncodedByteForByte) {
    EXPECT_EQ(TrashEncodePath("/home/a b/take 1.wav") + "|" + TrashEncodePath(AwkwardNames()[0]) +
                  "|" + TrashEncodePath(AwkwardNames()[2]) + "|" + TrashEncodePath("100%"),
              "/home/a%20b/take%201.wav|take%0Anight.wav|caf%E9%20%FF.wav|100%25");
}

TEST(Trash, TheHomeTrashTakesFilesOfItsFileSystemUnderUniqueNames) {
    TempDir dir("vocarta-trash-home");
    ASSERT_TRUE(MakeDirs(DataHome()));
    ASSERT_EQ(DeviceOf(dir.Path()), DeviceOf(DataHome()))
        << "the test's HOME and its temporary folder must share a file system";
    const std::string trash = HomeTrashFolder();
    std::vector<std::string> trashedNames;
    for (const std::string& name : {AwkwardNames()[0], AwkwardNames()[2], AwkwardNames()[0]}) {
        const std::string path = dir.File(name);
        const std::string bytes = MakeFile(path, 300, 'h');
        LResult<TrashedItem> trashed = MoveToTrash(path);
        ASSERT_TRUE(trashed) << trashed.Error().Message();
        const TrashedItem& t = trashed.Value();
        EXPECT_TRUE(t.trash == trash && !Exists(path) && ReadFile(t.file) == bytes) << t.file;
        EXPECT_EQ(RecordPath(t.infoFile), TrashEncodePath(path));
        EXPECT_EQ(t.infoFile, JoinPath(trash, "info/" + BaseName(t.file) + ".trashinfo"));
        trashedNames.push_back(BaseName(t.file));
    }
    EXPECT_EQ(trashedNames, (std::vector<std::string>{AwkwardNames()[0], AwkwardNames()[2],
                                                      "take\nnight.2.wav"}));

    // A name already taken in "files" without a record is skipped too.
    const std::string path = dir.File("orphan.wav");
    MakeFile(path, 10, 'o');
    MakeFile(JoinPath(trash, "files/orphan.wav"), 5, 'p');
    EXPECT_EQ(BaseName(MoveToTrash(path).ValueOr({}).file), "orphan.2.wav");
    EXPECT_FALSE(Exists(JoinPath(trash, "info/orphan.wav.trashinfo")));

    EXPECT_EQ(MoveToTrash(dir.File("gone.wav")).Error().Code(), LErrorCode::kNotFound);
}

TEST(Trash, AFileOnAnotherFileSystemGoesToThatFileSystemsTrash) {
    TempDir dir("vocarta-trash-volume");
    const std::string mnt = dir.File("volume");
    const std::string uid = std::to_string(getuid());
    const std::string said = InChild(
        [&]() -> std::string {
            std::string failure = MountTmpfs(mnt, 1024);
            if (!failure.empty()) return failure;
            if (DeviceOf(mnt) == DeviceOf(DataHome()))
                return "the tmpfs is not another file system";
            std::string found;
            const auto expect = [&](bool ok, const std::string& what) {
                if (!ok) found += what + "; ";
            };
            const auto homeFiles = [] { return FolderNames(JoinPath(HomeTrashFolder(), "files")); };
            const auto before = homeFiles();

            // 1. No ".Trash" there: "$topdir/.Trash-$uid", created 0700, relative record.
            MakeDirs(JoinPath(mnt, "rec"));
            const std::string take = JoinPath(mnt, "rec/" + AwkwardNames()[1]);
            const std::string bytes = MakeFile(take, 4000, 'v');
            LResult<TrashedItem> trashed = MoveToTrash(take);
            if (!trashed) return "not trashed: " + trashed.Error().Message();
            const std::string own = JoinPath(mnt, ".Trash-" + uid);
            expect(trashed.Value().trash == own, "not in .Trash-uid: " + trashed.Value().trash);
            expect(ReadFile(trashed.Value().file) == bytes && !Exists(take), "file not moved");
            expect(
                RecordPath(trashed.Value().infoFile) == TrashEncodePath("rec/" + AwkwardNames()[1]),
                "record path not relative to the top folder");
            struct stat info {};
            stat(own.c_str(), &info);
            expect((info.st_mode & 0777) == 0700, "the trash is not 0700");

            // 2. A ".Trash" without the sticky bit, or a link, is not used.
            MakeDirs(JoinPath(mnt, ".Trash"));
            chmod(JoinPath(mnt, ".Trash").c_str(), 0777);
            MakeFile(take, 10, 'w');
            trashed = MoveToTrash(take);
            expect(trashed && trashed.Value().trash == own, "a .Trash without sticky bit was used");
            rmdir(JoinPath(mnt, ".Trash").c_str());
            MakeDirs(JoinPath(mnt, "elsewhere"));
            symlink("elsewhere", JoinPath(mnt, ".Trash").c_str());
            MakeFile(take, 10, 'x');
            trashed = MoveToTrash(take);
            expect(trashed && trashed.Value().trash == own, "a .Trash link was followed");
            expect(FolderNames(JoinPath(mnt, "elsewhere")).empty(),
                   "something went through the link");
            unlink(JoinPath(mnt, ".Trash").c_str());

            // 3. The administrator's sticky ".Trash": "$topdir/.Trash/$uid".
            MakeDirs(JoinPath(mnt, ".Trash"));
            chmod(JoinPath(mnt, ".Trash").c_str(), 01777);
            MakeFile(take, 10, 'y');
            trashed = MoveToTrash(take);
            expect(trashed && trashed.Value().trash == JoinPath(mnt, ".Trash/" + uid),
                   "the shared .Trash was not used");

            expect(homeFiles() == before, "the home Trash got a file of another file system");
            umount(mnt.c_str());
            return found;
        },
        true);
    EXPECT_EQ(said, "") << "a second file system is needed for this test: a tmpfs in a mount "
                           "namespace of the test's own";
}
