#include "audio/capture/device_listing.h"

#include "audio/capture/device_choice.h"
#include "audio/capture/device_list.h"

namespace vocarta {

int PrintInputDeviceList(FILE* out) {
    LSoundDeviceList list = LSoundDeviceList::QueryInputs();
    if (!list.Ok()) {
        std::fprintf(out, "Cannot list the input devices: no sound server answered (%s).\n",
                     list.Error().c_str());
        return 1;
    }
    if (list.Count() == 0) {
        std::fprintf(out, "No input devices found.\n");
        return 0;
    }
    LResolvedRecordDevice chosen = ResolveRecordChoice(list, LoadRecordChoice());
    std::fprintf(out, "Input devices (to choose one, store the text in brackets as %s):\n",
                 RecordDeviceKey());
    for (int i = 0; i < list.Count(); ++i) {
        const LDeviceEntry& entry = list.Entry(i);
        bool isChosen = i == chosen.device.index;
        std::fprintf(out, "%c%d: %s [%s]\n", isChosen && chosen.device.channel < 0 ? '*' : ' ', i,
                     entry.displayName.c_str(), entry.raw.name.c_str());
        for (const LChannelEntry& channel : list.Channels(i)) {
            bool channelChosen = isChosen && chosen.device.channel == channel.deviceChannel;
            std::fprintf(out, "%c    %s [%s]\n", channelChosen ? '*' : ' ',
                         channel.displayName.c_str(),
                         FormatRecordChoice(entry.raw.name, channel.deviceChannel).c_str());
        }
    }
    return 0;
}

}  // namespace vocarta
