// The trash of the record folder's file system on a real small tmpfs: its
// per-volume trashes are emptied and counted, the home Trash on another file
// system is never touched, and trashes that fail the ownership and sticky-bit
// checks are left alone. Also the mount point and the free-space figures.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>

#include "../toolkit/process_helpers.h"
#include "app/session/disk_space.h"
#include "support/temp_dir.h"
#include "toolkit/lfile.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

bool WriteProcFile(const char* path, const std::string& text) {
    LFile file;
    return file.Open(path, LFile::Mode::ReadWrite) &&
           file.Write(text.data(), int64_t(text.size())) == int64_t(text.size());
}

std::string IdMap(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

// Runs `body` in a child with a mount namespace of its own (and, when not root,
// a user namespace in which we keep our own uid), so its mounts vanish with it.
// "" when the body passed, else what went wrong.
std::string WithOwnMounts(const std::function<std::string()>& body) {
    TestPipe report;
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    const pid_t pid = ForkChild([&] {
        report.CloseRead();
        std::string failure;
        if (uid != 0 &&
            (unshare(CLONE_NEWUSER) != 0 || !WriteProcFile("/proc/self/setgroups", "deny") ||
             !WriteProcFile("/proc/self/uid_map", IdMap(uid)) ||
             !WriteProcFile("/proc/self/gid_map", IdMap(gid))))
            failure = std::string("no user namespace: ") + std::strerror(errno);
        else if (unshare(CLONE_NEWNS) != 0 ||
                 mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            failure = std::string("no mount namespace: ") + std::strerror(errno);
        else
            failure = body();
        report.Send(failure);
        return 0;
    });
    report.CloseWrite();
    std::string said;
    for (int c; (c = report.ReceiveByte()) >= 0;) said += char(c);
    const int status = WaitChild(pid);
    if (status != 0) said += " (child ended with " + std::to_string(status) + ")";
    return said;
}

// A trash with one file of `bytes` bytes and its record.
void FillTrash(const std::string& trash, const std::string& name, std::size_t bytes) {
    MakeDirs(trash + "/files");
    MakeDirs(trash + "/info");
    WriteFile(trash + "/files/" + name, std::string(bytes, 'x'));
    WriteFile(trash + "/info/" + name + ".trashinfo", "[Trash Info]\nPath=/v/" + name + "\n");
}

std::string Expect(bool condition, const std::string& what) {
    return condition ? "" : what + "; ";
}

TEST(TrashOfTheRecordFolder, OnlyTheTrashOfItsOwnFileSystemIsEmptied) {
    TempDir dir("vocarta-volume");
    const std::string volume = dir.File("my volume");  // a mount point with a space
    ASSERT_TRUE(MakeDirs(volume));
    const std::string homeTrash = HomeTrashFolder();
    FillTrash(homeTrash, "home.wav", 5000);

    const std::string failure = WithOwnMounts([&]() -> std::string {
        if (mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=4m,mode=0755") != 0)
            return std::string("mount: ") + std::strerror(errno);
        const std::string uid = std::to_string(getuid());
        const std::string own = volume + "/.Trash-" + uid, shared = volume + "/.Trash";
        FillTrash(own, "a.wav", 3000);
        MakeDirs(own + "/files/folder/inner");
        WriteFile(own + "/files/folder/inner/b.txt", "0123456789");
        WriteFile(own + "/directorysizes", "4096 1 folder\n");
        MakeDirs(shared);
        chmod(shared.c_str(), 01777);
        FillTrash(shared + "/" + uid, "c.wav", 2000);
        const std::string record = volume + "/rec/sub";
        MakeDirs(record);

        std::string why;
        auto emptied = EmptyTrashFor(record);
        if (!emptied) return emptied.Error().Message();
        const TrashEmptied& e = emptied.Value();
        why += Expect(e.trashes == std::vector<std::string>{shared + "/" + uid, own},
                      "trashes: " + (e.trashes.empty() ? "none" : e.trashes[0]));
        why += Expect(
            e.items == 3 && e.bytes == 5010 && e.complete,
            "counted " + std::to_string(e.items) + " items, " + std::to_string(e.bytes) + " bytes");
        for (const char* gone :
             {"/files/a.wav", "/files/folder", "/info/a.wav.trashinfo", "/directorysizes"})
            why += Expect(!FileExists(own + gone), std::string(gone) + " is left");
        why += Expect(!FileExists(shared + "/" + uid + "/files/c.wav"), "c.wav is left");

        // Without the sticky bit anyone could have put our folder there; a
        // .Trash-$uid that is a link leads elsewhere: neither is touched.
        chmod(shared.c_str(), 0777);
        FillTrash(shared + "/" + uid, "c.wav", 2000);
        RemoveTree(own);
        const std::string elsewhere = volume + "/elsewhere";
        FillTrash(elsewhere, "d.wav", 100);
        symlink(elsewhere.c_str(), own.c_str());
        emptied = EmptyTrashFor(record);
        why += Expect(emptied && emptied.Value().trashes.empty(), "a doubtful trash was used");
        why += Expect(FileExists(shared + "/" + uid + "/files/c.wav") &&
                          FileExists(elsewhere + "/files/d.wav"),
                      "a doubtful trash was emptied");

        why += Expect(MountPointOf(record) == volume, "mount point " + MountPointOf(record));
        for (const auto& [free, text] : {std::pair<uint64_t, std::string>{1000000, "35 MB, 1 MB"},
                                         {35100000, "35.3 MB, 35.1 MB"}}) {
            const std::string said = FreeSpaceShortText(record, 35280000, free);
            why += Expect(said == "needs " + text + " free on " + volume, said);
        }
        return why;
    });
    EXPECT_EQ(failure, "");
    EXPECT_TRUE(FileExists(homeTrash + "/files/home.wav")) << "the home Trash was emptied";
    RemoveTree(homeTrash);
}

}  // namespace
