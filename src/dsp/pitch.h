// The pitch of a waveform.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "dsp/pitch_spectrum.h"
#include "items/waveform.h"

namespace velor {

inline constexpr double kKeyZeroFrequency = 8.17579891565;  // Hz, MIDI key 0
inline constexpr int kHighestDetectedKey = 108;
inline constexpr std::string_view kPitchFailed = "Auto-Tuning failed!";

// Hz of a key whose fine tune is `cents`: the fine tune is what playing must add, so it lowers the frequency.
double keyFrequency(double key, double cents = 0);

struct DetectedPitch {
    std::uint8_t key = 0;    // 0..108, folded there by octaves
    std::int32_t cents = 0;  // the fine tune that makes `key` sound at its own pitch
    float frequency = 0;     // Hz, not folded
};

// Key and fine tune of a frequency above 0, the key folded into 0..108.
DetectedPitch pitchOfFrequency(double frequency);

// The fundamental of a waveform (1 or 2 channels), with its samples loaded when they are not. False with
// kPitchFailed when they can not be loaded, or for silence, less than 8 frames and the like; with
// kProcessingCancelled when the user of `ui` (may be null) ends it.
bool detectPitch(Waveform& waveform, DetectedPitch& pitch, UserInterface* ui = nullptr);
// The same of one channel of samples.
bool detectPitch(std::span<const float> mono, std::uint32_t rate, DetectedPitch& pitch);

// A short waveform with its loop played on for half a second: the loops of old instruments hold a period or
// two, too few to see any repetition. Empty for other
// waveforms. `mono` is the waveform's mono copy.
std::vector<float> playedOn(const Waveform& waveform, std::span<const float> mono);

// The estimate that the spectrum of `mono` gives, put right where the sound (`played`, with its loop played
// on) clearly repeats at another rate: the lowest strong partial was then not the fundamental. False when the
// spectrum has no peak.
bool estimateFundamental(std::span<const float> mono, std::span<const float> played, std::uint32_t rate,
                         SpectralEstimate& estimate);

// The fundamental near to where a spectrum of bins `binWidth` Hz apart shows it, from up to four periods at
// the end of the samples that are compared with the four before them. False for silence.
bool refinePitch(std::span<const float> mono, std::uint32_t rate, double estimate, double binWidth,
                 double& frequency);

}  // namespace velor
