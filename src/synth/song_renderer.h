// Plays MIDI songs into waveforms.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/user_interface.h"
#include "items/collection.h"
#include "items/midi_song.h"

namespace velor {

struct RenderOptions {
    std::uint32_t sampleRate = 48000;  // Hz
    std::uint32_t polyphony = 128;     // notes
    bool effects = true;               // reverb and chorus
    bool normalisePeak = true;
    bool removeSilence = true;
    bool deleteSource = false;    // interactively: delete the MIDI item afterwards
    bool confirmDeletion = true;  // ask before that
    double tail = 0;              // seconds that notes and effects may ring on behind the song
    std::uint32_t workers = 1;    // threads
    // Opens the default General MIDI bank into an empty collection; false when there is none.
    std::function<bool(Collection&)> openDefaultBank;
};

enum class RenderResult { Done, NothingToRender, Aborted, Failed };

// True while instruments load for a rendering, and while one runs: other commands can refuse to run
// meanwhile.
extern bool RenderLoading;
extern bool RenderRunning;

// Renders a song, or a single track of one, with the instruments of its collection into a new stereo waveform
// of 24 bits there. Patches that the collection does not have come from the default bank. The song itself
// stays untouched (see deleteSource). Outcomes are reported through `ui`: "Done: Rendered %s to waveform
// "%s".", "Done: No notes to render!", "Done: Rendered aborted!", "Failed processing MIDI"; failures are in
// LastErrorText too. `result` is the new waveform or nullptr.
RenderResult renderSong(Collection& collection, Item& item, const RenderOptions& options, bool interactive,
                        UserInterface& ui, Waveform*& result);

}  // namespace velor
