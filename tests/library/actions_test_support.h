#pragma once
// Shared by the tests of the recordings and their actions (also the window's):
// file names a user may really have (line breaks, quotes, bytes that are not
// UTF-8), files of a given size, real recordings, programs found on PATH, and a
// small tmpfs of our own.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/codecs/recording_spec.h"
#include "audio/codecs/sink_factory.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"

namespace vocarta::test {

// A line feed, both quotes, a "$(...)" and a byte that is not UTF-8.
inline const std::vector<std::string>& AwkwardNames() {
    static const std::vector<std::string> names = {"take\nnight.wav", "it's \"loud\" $(x).wav",
                                                   std::string("caf\xe9 \xff.wav")};
    return names;
}

// A file of `size` bytes that differ from `seed` on; its bytes.
inline std::string MakeFile(const std::string& path, std::size_t size, char seed) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = char(seed + i * 7 + (i >> 9));
    EXPECT_TRUE(WriteFile(path, bytes)) << path;
    return bytes;
}

// Also a link that leads nowhere.
inline bool Exists(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

// The names in `folder`, sorted; none when it cannot be read.
inline std::vector<std::string> FolderNames(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// Mounts a tmpfs of `kib` KiB at `folder` (inside a child's own mount
// namespace); "" or why it failed.
inline std::string MountTmpfs(const std::string& folder, int kib) {
    MakeDirs(folder);
    const std::string options = "size=" + std::to_string(kib) + "k,mode=0755";
    if (mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) != 0)
        return std::string("cannot mount a tmpfs: ") + std::strerror(errno);
    return "";
}

// A folder of scripts put first on PATH for the life of the object.
class FakePrograms {
  public:
    FakePrograms() : dir_("vocarta-fake-bin"), oldPath_(std::getenv("PATH") ?: "") {
        setenv("PATH", (dir_.Path() + ":/usr/bin:/bin").c_str(), 1);
    }
    ~FakePrograms() { setenv("PATH", oldPath_.c_str(), 1); }
    // A shell script `name` whose body is `body`.
    std::string Add(const std::string& name, const std::string& body) {
        const std::string path = dir_.File(name);
        WriteFile(path, "#!/bin/sh\n" + body);
        chmod(path.c_str(), 0755);
        return path;
    }
    // PATH holds only our folder (no gio, no xdg-open, no burner of the system).
    void Only() { setenv("PATH", dir_.Path().c_str(), 1); }

  private:
    TempDir dir_;
    std::string oldPath_;
};

// `ms` of a stereo tone written by the sink of the format the extension names.
inline void WriteTone(const std::string& path, int64_t ms) {
    auto opened = OpenRecordingSink(LoadRecordingSpec(OutputFormatFromPath(path).value()), path);
    ASSERT_TRUE(opened) << opened.Error().Message();
    auto sink = opened.Value();
    ASSERT_TRUE(sink->SetFormat(44100, 2));
    std::vector<float> samples(size_t(44100 * ms / 1000) * 2);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = 0.3f * std::sin(float(i) * 0.02f);
    ASSERT_EQ(sink->Write(samples.data(), samples.size() / 2), int64_t(samples.size() / 2));
    ASSERT_TRUE(sink->Close());
}

// Waits up to 10 s for `path` to exist.
inline bool WaitForFile(const std::string& path) {
    for (int i = 0; i < 200 && !Exists(path); ++i) usleep(50000);
    return Exists(path);
}

}  // namespace vocarta::test
