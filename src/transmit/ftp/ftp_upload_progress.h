#pragma once
// The progress of an upload, counted in 1024-byte blocks: with n the file's size
// in blocks (rounded up), a file of fewer than 100 blocks advances by 1024 / size
// per block, a larger one by 0.01 every n / 100 blocks. An upload that appends
// starts at the part the server already has. The fraction shown is capped at 1.
//
// Threading: a plain value used by the uploading thread.

#include <cstdint>
#include <string>

namespace vocarta {

inline constexpr int64_t kFtpBlockSize = 1024;

class FtpUploadProgress {
  public:
    FtpUploadProgress(int64_t fileSize, int64_t startOffset);

    // Counts one block; true when the fraction changed.
    bool Block();
    // 0.0 to 1.0.
    double Fraction() const;
    // "name: 42%".
    std::string StatusText(const std::string& remoteName) const;

  private:
    int64_t size_;
    int64_t blocks_;      // n
    int64_t stepBlocks_;  // n / 100 for a large file
    int64_t sinceStep_ = 0;
    double fraction_ = 0;
};

}  // namespace vocarta
