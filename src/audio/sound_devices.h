#pragma once
// Records that identify a device choice: the index of the device in the
// enumerated list, the input channel (-1: all channels of the device), and the
// kind of list it came from.

#include <cstdint>

namespace vocarta {

struct LSoundRecordDevice {
    int32_t index = 0;
    int32_t channel = -1;
    int32_t kind = 0;
};

struct LSoundPlayDevice {
    int32_t index = 0;
    int32_t channel = -1;
    int32_t kind = 0;
};

}  // namespace vocarta
