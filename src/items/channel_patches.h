// The patch that each channel of a song is set to while the song plays.
#pragma once

#include <vector>

#include "items/instrument.h"
#include "items/midi_events.h"
#include "items/midi_song.h"

namespace velor {

// Banks (controllers 0 and 32) take effect with the next program change. Channels start at program 0, those
// of drums as a drum kit.
class ChannelPatches {
  public:
    // Takes an event of the track in playing order; returns the patch of its channel behind it. For channel
    // messages only.
    PatchNumber follow(const MidiEvent& event, const MidiTrack& track);

  private:
    struct Channel {
        std::uint8_t bankMsb = 0, bankLsb = 0;
        PatchNumber patch;
    };
    std::vector<Channel> channels_;  // 16 for each port
};

}  // namespace velor
