// The spectrum of a waveform, its peaks, and the first estimate of its pitch.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "items/waveform.h"

namespace velor {

// The mean of the channels, one value a frame. What is not a finite number becomes 0: it would spoil every
// sum it enters. `samples` holds frames × channels values. With `ui` the copy ends early, and empty, when the
// user aborts.
std::vector<float> monoCopy(std::span<const float> samples, unsigned channels, UserInterface* ui = nullptr);

struct SpectralPeak {
    double frequency = 0;  // Hz
    double level = 0;      // 20 log10 of the power: two units for one dB of amplitude
};

struct PitchSpectrum {
    std::vector<double> levels;  // N/2 + 1 bins
    double binWidth = 0;         // Hz
};

// Power spectrum of about a second, under a Hann window: the whole of a short waveform, else a part from two
// thirds into it, away from the attack. Empty for fewer than 8 frames or without a sample rate.
PitchSpectrum pitchSpectrum(std::span<const float> mono, std::uint32_t rate);

// Local maxima, at most 64, strongest first. Frequency and level are those of the parabola through the
// maximum and its neighbours, which is close to exact on the logarithm of a Hann window's main lobe.
std::vector<SpectralPeak> spectralPeaks(const PitchSpectrum& spectrum);

struct SpectralEstimate {
    double frequency = 0;  // Hz
    double binWidth = 0;   // Hz; the estimate is good to about one
};

// The lowest peak within 18 level units (9 dB of amplitude) of the strongest that has the strongest among its
// harmonics. False when there is no peak.
bool spectralEstimate(const PitchSpectrum& spectrum, SpectralEstimate& estimate);

}  // namespace velor
