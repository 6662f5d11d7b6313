// Loudness after ITU-R BS.1770-4 and EBU R 128.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "dsp/biquad_cascade.h"
#include "items/waveform.h"

namespace velor {

// Levels of silence are minus infinity.
struct Loudness {
    static constexpr double kSilence = -std::numeric_limits<double>::infinity();
    double integrated = kSilence;  // LUFS, gated
    double momentary = kSilence;   // the highest over 400 ms
    double shortTerm = kSilence;   // the highest over 3 s
    std::optional<double> range;   // LU (EBU Tech 3342); empty when no 3 s are above its gates
};

// The lowest rate in Hz at which loudness means anything: below it the filters leave nothing.
inline constexpr double kLowestLoudnessRate = 100;

// The two K-weighting filters of BS.1770 at any rate: the analogue prototypes behind the coefficients that
// the recommendation lists for 48 kHz, by the bilinear transform. A shelf above the band is left out.
std::vector<BiquadSection> kWeighting(double rate);

// Takes interleaved frames piece after piece. Energies are kept for steps of 100 ms: momentary and short-term
// windows move by that much, the 75 % overlap of the gating blocks. Samples that are not finite count as 0.
// Both channels weigh the same; one channel counts once, as the recommendation has it, so a mono sound reads
// 3 LU below the same sound on both channels.
class LoudnessMeter {
  public:
    LoudnessMeter(unsigned channels, double rate);

    void add(std::span<const float> samples);
    // Sounds that are shorter than a window are followed by silence until they fill it: what a meter shows
    // when the sound is played once. The rest behind the last whole step counts only there.
    Loudness result() const;

  private:
    double stepEnd(std::size_t step) const;  // in frames

    unsigned channels_;
    double rate_;
    std::vector<BiquadCascade> filters_;
    std::vector<float> scratch_;
    std::vector<double> steps_;  // mean square of each step, over the channels' sum
    double sum_ = 0;             // of the squares in the step that has begun
    std::uint64_t stepBegin_ = 0, frame_ = 0;
};

// The loudness of a waveform whose samples are loaded, without its gain setting. One shorter than 400 ms that
// is looped is played round its loop until it fills them: single periods sound as long as their key is held.
// False with LastErrorText when the user aborts or the rate is below kLowestLoudnessRate.
bool measureLoudness(const Waveform& waveform, UserInterface& ui, Loudness& loudness, double progressFrom = 0,
                     double progressTo = 1);

}  // namespace velor
