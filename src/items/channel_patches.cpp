#include "items/channel_patches.h"

#include "items/midi_timeline.h"

namespace velor {

PatchNumber ChannelPatches::follow(const MidiEvent& event, const MidiTrack& track) {
    const std::size_t index = portOf(track) * std::size_t{16} + event.channel();
    for (std::size_t next = channels_.size(); next <= index; ++next)
        channels_.push_back({0, 0, PatchNumber(0, 0, 0, next % 16 == midi::kDrumChannel)});
    Channel& channel = channels_[index];
    if (event.type() == midi::kController && event.data1 == 0)
        channel.bankMsb = event.data2;
    else if (event.type() == midi::kController && event.data1 == 32)
        channel.bankLsb = event.data2;
    else if (event.type() == midi::kProgram)
        channel.patch =
            PatchNumber(event.data1, channel.bankLsb, channel.bankMsb, event.channel() == midi::kDrumChannel);
    return channel.patch;
}

}  // namespace velor
