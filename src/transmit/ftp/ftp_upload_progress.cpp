#include "transmit/ftp/ftp_upload_progress.h"

#include <algorithm>

#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int64_t kSmallFileBlocks = 100;
}  // namespace

FtpUploadProgress::FtpUploadProgress(int64_t fileSize, int64_t startOffset)
    : size_(std::max<int64_t>(fileSize, 0)),
      blocks_((size_ + kFtpBlockSize - 1) / kFtpBlockSize),
      stepBlocks_(blocks_ / 100) {
    if (size_ > 0 && startOffset > 0) fraction_ = double(startOffset) / double(size_);
}

bool FtpUploadProgress::Block() {
    if (size_ == 0) return false;
    if (blocks_ < kSmallFileBlocks) {
        fraction_ += double(kFtpBlockSize) / double(size_);
        return true;
    }
    if (++sinceStep_ < stepBlocks_) return false;
    sinceStep_ = 0;
    fraction_ += 0.01;
    return true;
}

double FtpUploadProgress::Fraction() const {
    return std::min(fraction_, 1.0);
}

std::string FtpUploadProgress::StatusText(const std::string& remoteName) const {
    return StringPrintf("%s: %2.0f%%", remoteName.c_str(), Fraction() * 100.0);
}

}  // namespace vocarta
