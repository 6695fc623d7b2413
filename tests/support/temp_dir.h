#pragma once
// A fresh folder under $TMPDIR (or /tmp), removed with everything in it when the
// object goes away.

#include <string>

namespace vocarta::test {

class TempDir {
  public:
    explicit TempDir(const std::string& prefix = "vocarta-test");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// Writes `contents` to `path` (replacing it); false on failure.
bool WriteFile(const std::string& path, const std::string& contents);
std::string ReadFile(const std::string& path);
// Removes a folder tree; used by TempDir and by tests that reset a folder.
void RemoveTree(const std::string& path);

}  // namespace vocarta::test
