// Level of waveforms: their peak, and the silence around them.
#pragma once

#include <cstdint>
#include <span>

namespace velor {

// The largest absolute sample; 0 for none. What is not a number is left out, infinity is not.
float peakOf(std::span<const float> samples);
// Multiplies all samples so that the peak becomes `target` (linear). Silence stays as it is.
void normalisePeak(std::span<float> samples, float target = 1.0f);

struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};

// The frames from the first to the last one with a sample above `threshold` (linear), of interleaved samples.
FrameRange withoutSilence(std::span<const float> samples, unsigned channels, float threshold);

// A gain in dB as a factor, and back (minus infinity for 0).
double factorOfDecibels(double decibels);
double decibelsOfFactor(double factor);

}  // namespace velor
