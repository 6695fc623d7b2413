#pragma once
// The process-wide record-volume table: a software gain in whole decibels for a
// device (by its stable name) and input channel (-1: all channels). A device and
// channel with no row record at 0 dB. The device panel writes it; the recorder's
// worker reads it for every buffer, so a change is heard at once.
//
// Threading: any thread; one lock guards the rows.

#include <string>
#include <string_view>
#include <vector>

#include "audio/level.h"
#include "toolkit/llock_object.h"

namespace vocarta {

class LRecordVolumeTable {
  public:
    static LRecordVolumeTable& Instance();

    void Set(std::string_view deviceName, int channel, LdBLevel level);
    // 0 dB when no row exists.
    LdBLevel Get(std::string_view deviceName, int channel) const;
    // The linear factor of Get().
    float Gain(std::string_view deviceName, int channel) const;
    void Remove(std::string_view deviceName, int channel);
    void Clear();

  private:
    struct Row {
        std::string device;
        int channel;
        LdBLevel level;
    };
    mutable LLockObject lock_;
    std::vector<Row> rows_;  // guarded by lock_
};

}  // namespace vocarta
