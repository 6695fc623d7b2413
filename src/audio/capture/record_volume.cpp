#include "audio/capture/record_volume.h"

#include <algorithm>

namespace vocarta {

LRecordVolumeTable& LRecordVolumeTable::Instance() {
    static LRecordVolumeTable table;
    return table;
}

void LRecordVolumeTable::Set(std::string_view deviceName, int channel, LdBLevel level) {
    LAutoLock hold(lock_);
    for (Row& row : rows_) {
        if (row.device == deviceName && row.channel == channel) {
            row.level = level;
            return;
        }
    }
    rows_.push_back(Row{std::string(deviceName), channel, level});
}

LdBLevel LRecordVolumeTable::Get(std::string_view deviceName, int channel) const {
    LAutoLock hold(lock_);
    for (const Row& row : rows_)
        if (row.device == deviceName && row.channel == channel) return row.level;
    return LdBLevel(0);
}

float LRecordVolumeTable::Gain(std::string_view deviceName, int channel) const {
    return DbToGain(Get(deviceName, channel).Value());
}

void LRecordVolumeTable::Remove(std::string_view deviceName, int channel) {
    LAutoLock hold(lock_);
    std::erase_if(rows_,
                  [&](const Row& r) { return r.device == deviceName && r.channel == channel; });
}

void LRecordVolumeTable::Clear() {
    LAutoLock hold(lock_);
    rows_.clear();
}

}  // namespace vocarta
