// The frames of a waveform, front to back and piece by piece: what every encoder is fed with.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "items/waveform.h"

namespace velor {

// Makes sure that the waveform's frame count is certain: data that cannot be streamed from their file are
// decoded now, and may turn out to be fewer than the file's header says. Writers call it before they lay out
// their file. False with LastErrorText.
bool settleFrameCount(Waveform& waveform);

// Hands out frames that are loaded, or decodes them from the file without keeping them.
class FrameReader {
  public:
    // Frames in all pieces but the last one: few enough to stay in the cache, and an even number.
    static constexpr std::uint32_t kPieceFrames = 8192;

    // `channels` 1 or 2: mono is doubled, stereo is mixed to (left + right) / 2.
    FrameReader(Waveform& waveform, int channels) : waveform_(waveform), channels_(channels) {}

    // Goes to the first frame. False with LastErrorText when the samples cannot be had.
    bool open();
    // The next piece, interleaved; empty after the last frame. It stays valid until the next call. False with
    // LastErrorText.
    bool next(std::span<const float>& samples);
    bool failed() const { return failed_; }
    std::uint64_t framesRead() const { return first_; }

  private:
    Waveform& waveform_;
    int channels_;
    std::unique_ptr<FrameStream> stream_;
    std::vector<float> decoded_;
    std::vector<float> mixed_;
    std::uint32_t first_ = 0;
    bool failed_ = false;
};

// Takes a piece of 16-bit samples, interleaved.
using Take16 = std::function<void(std::span<const std::int16_t>)>;
// Frames in a piece: whole units of every codec that is fed, of which GSM has the longest (320 samples), and
// ADPCM packs its codes by 2, 8 or 16.
inline constexpr std::uint32_t kTake16Frames = 8000;

// Feeds all frames, rounded to 16 bits (half away from zero, clipped), to `take` in pieces of kTake16Frames
// frames; the last one may be shorter. False with LastErrorText ("Save aborted!" when the user stopped it).
bool feed16(Waveform& waveform, int channels, UserInterface& ui, const Take16& take);

}  // namespace velor
