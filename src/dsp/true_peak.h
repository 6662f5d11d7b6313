// The peak of the continuous signal that samples stand for.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "base/user_interface.h"

namespace velor {

// True peak after ITU-R BS.1770-4 Annex 2: the largest absolute value among the samples and three points
// between each two of them. The points are interpolated by Kaiser-windowed sincs of 32 samples, flat within
// 0.05 dB up to 0.45 times the rate. Takes interleaved frames piece after piece; samples that are not finite
// count as 0.
class TruePeakMeter {
  public:
    explicit TruePeakMeter(unsigned channels);

    void add(std::span<const float> samples);
    // Linear, full scale 1. Ends the signal: silence follows.
    float finish();

  private:
    void measure(std::span<const float> samples);

    unsigned channels_;
    std::vector<std::vector<float>> waiting_;  // of each channel, those already measured in front
    float peak_ = 0;
};

// The true peak of interleaved frames. False when the user aborts.
bool measureTruePeak(std::span<const float> samples, unsigned channels, UserInterface& ui, float& peak,
                     double progressFrom = 0, double progressTo = 1);

}  // namespace velor
