// Waveforms as voices read them: planes of frames with margins, loops laid out for endless reading.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "items/instrument.h"
#include "items/waveform.h"

namespace velor {

// Read-only once built; shared by the regions that play the same part of a waveform in the same way.
struct SynthSample {
    // Frames that exist before the first and behind the last, so that no interpolation filter reads outside.
    static constexpr int kMargin = 128;
    // How far behind the loop end the read position goes before it returns by the loop's length.
    static constexpr int kWrapDelay = 64;

    int channels = 1;
    float sampleRate = 44100;  // Hz
    std::uint32_t frames = 0;  // readable from 0; with a loop: up to its end
    bool looped = false;
    std::uint64_t loopStart = 0;   // 32.32 fixed point frames
    std::uint64_t loopEnd = 0;     // exclusive
    std::uint64_t loopLength = 0;  // at least one frame when looped
    // The same waveform without loop, for the time after note-off; set for loops that end there.
    std::shared_ptr<const SynthSample> afterRelease;

    const std::int16_t* words(int channel) const {
        return words16.empty() ? nullptr : words16.data() + start(channel);
    }
    const float* floats(int channel) const {
        return words32.empty() ? nullptr : words32.data() + start(channel);
    }

    // One of both: 16-bit samples stay what they are, everything else is float.
    std::vector<std::int16_t> words16;
    std::vector<float> words32;
    std::size_t plane = 0;  // frames from the start of one channel to the next, margins included

    std::size_t byteSize() const { return words16.size() * 2 + words32.size() * 4; }

  private:
    std::size_t start(int channel) const { return static_cast<std::size_t>(channel) * plane + kMargin; }
};

// Builds samples and keeps what several regions share, for the time of loading.
class SynthSampleCache {
  public:
    // The sample of a region's waveform with the region's loop; nullptr with LastErrorText when the waveform
    // cannot be decoded or memory is exhausted. A waveform without frames gives nullptr without an error
    // text.
    std::shared_ptr<const SynthSample> sample(Waveform& waveform, const RegionOverrides& overrides);

    std::size_t byteSize() const;

  private:
    struct Loop {
        bool on = false;
        LoopMode mode = LoopMode::None;
        double start = 0, end = 0;
        bool untilRelease = false;
        auto operator<=>(const Loop&) const = default;
    };
    std::shared_ptr<const SynthSample> build(Waveform& waveform, const Loop& loop);

    std::map<std::pair<const Waveform*, Loop>, std::shared_ptr<const SynthSample>> samples_;
};

}  // namespace velor
