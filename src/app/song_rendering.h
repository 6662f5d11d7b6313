// Rendering of songs for the shells: the settings' choices, and banks opened from files.
#pragma once

#include <filesystem>

#include "formats/framework/pipeline.h"
#include "synth/song_renderer.h"

namespace velor {

class SettingsStore;

// What the settings say about rendering; the bank is left to SongRendering.
RenderOptions renderOptions(const SettingsStore& settings);

// The pipeline's port for saving songs to waveform types.
class SongRendering final : public SongRenderer {
  public:
    // `bank` is the General MIDI bank that completes a song's instruments; empty when there is none.
    SongRendering(RenderOptions options, std::filesystem::path bank)
        : options_(std::move(options)), bank_(std::move(bank)) {}

    Result render(MidiSong& song, Collection& into, UserInterface& ui, Waveform*& result) override;

  private:
    RenderOptions options_;
    std::filesystem::path bank_;
};

}  // namespace velor
