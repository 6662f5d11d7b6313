// Receives rendered frames and makes a waveform of them.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/user_interface.h"
#include "items/waveform.h"

namespace velor {

class WaveSink {
  public:
    static constexpr std::uint32_t kProgressInterval = 32768;  // frames
    // Frames below -96 dB at both ends count as silence.
    static constexpr float kSilence = 1.0f / 65536;

    struct Options {
        bool normalise = false;
        bool removeSilence = false;
        std::uint32_t pass = 0;  // for progress over several renderings
        std::uint32_t passes = 1;
    };

    // A stereo buffer of `capacity` frames at `rate` Hz. Progress and abort go through `ui`; nullptr for
    // silent use.
    WaveSink(std::uint32_t capacity, std::uint32_t rate, const Options& options, UserInterface* ui);

    // False with "Out of memory" when the buffer could not be allocated.
    bool ready() const;
    // Takes min(count, capacity - position) interleaved stereo frames.
    void write(const float* frames, std::uint32_t count);
    bool full() const { return position_ == capacity_; }
    bool aborted() const { return aborted_; }
    std::uint32_t position() const { return position_; }
    // The completed share in percent, over all passes.
    int percent() const;
    // Installs the frames in the waveform, zeros where nothing was written, and removes silence and
    // normalises the peak as the options say. False with "Out of memory".
    bool finish(Waveform& waveform);

  private:
    SampleBufferRef buffer_;
    std::uint32_t position_ = 0;
    std::uint32_t capacity_ = 0;
    Options options_;
    UserInterface* ui_ = nullptr;
    std::int64_t untilProgress_ = kProgressInterval;
    bool aborted_ = false;
};

}  // namespace velor
