#include "synth/voice_filter.h"

#include <algorithm>
#include <cmath>

#include "synth/synth_math.h"

namespace velor {

void VoiceFilter::set(float cutoff, float resonance, float sampleRate) {
    const float limited = std::clamp(cutoff, 8.0f, 0.45f * sampleRate);
    // A thousandth of an octave and a hundredth of a dB make no difference to the ear.
    if (std::fabs(limited - cutoff_) <= 0.0007f * cutoff_ && std::fabs(resonance - resonance_) < 0.01f)
        return;
    cutoff_ = limited;
    resonance_ = resonance;
    const float f = limited / sampleRate;
    // A peak of 0 dB is the flattest curve, q = 1 / sqrt 2.
    const float q = 0.70710678f * decibelsToGain(std::clamp(resonance, -6.0f, 60.0f));
    // Relative to that, for each of two sections.
    const float qShare = std::sqrt(q * 1.41421356f);
    const float passBand = decibelsToGain(-0.5f * std::max(resonance, 0.0f));
    Biquad first;
    Biquad second;
    sections_ = 1;
    dry_ = 0;
    switch (type_) {
        case FilterType::Off:
            return;
        case FilterType::LowPass6:
            first = Biquad::lowPass6(f);
            break;
        case FilterType::LowPass12:
            first = Biquad::lowPass(f, q);
            first.scale(passBand);
            break;
        case FilterType::LowPass24:
            // The two sections of a Butterworth filter of fourth order share the peak.
            first = Biquad::lowPass(f, 0.5411961f * qShare);
            second = Biquad::lowPass(f, 1.3065630f * qShare);
            first.scale(passBand);
            sections_ = 2;
            break;
        case FilterType::HighPass6:
            first = Biquad::highPass6(f);
            break;
        case FilterType::HighPass12:
            first = Biquad::highPass(f, q);
            first.scale(passBand);
            break;
        case FilterType::HighPass24:
            first = Biquad::highPass(f, 0.5411961f * qShare);
            second = Biquad::highPass(f, 1.3065630f * qShare);
            first.scale(passBand);
            sections_ = 2;
            break;
        case FilterType::BandPass6:
            first = Biquad::bandPass(f, q);
            break;
        case FilterType::BandPass12:
            first = second = Biquad::bandPass(f, q);
            sections_ = 2;
            break;
        case FilterType::Notch:
            first = Biquad::notch(f, q);
            break;
        case FilterType::DoubleNotch:
            first = Biquad::notch(std::max(f * 0.70710678f, 1e-4f), q);
            second = Biquad::notch(std::min(f * 1.41421356f, 0.49f), q);
            sections_ = 2;
            break;
        case FilterType::Peak:
            first = Biquad::peak(f, 1.0f, resonance);
            break;
        case FilterType::Phaser:
            first = second = Biquad::allPass(f, q);
            sections_ = 2;
            dry_ = 0.5f;
            break;
    }
    first.block(section_[0]);
    if (sections_ == 2)
        second.block(section_[1]);
}

void VoiceFilter::process(const VoiceKernels& kernels, float* frames) {
    if (dry_ == 0) {
        for (int i = 0; i < sections_; ++i)
            kernels.biquad(section_[i], state_[i], frames, kBlockFrames);
        return;
    }
    float dry[kBlockFrames];
    std::copy_n(frames, kBlockFrames, dry);
    for (int i = 0; i < sections_; ++i)
        kernels.biquad(section_[i], state_[i], frames, kBlockFrames);
    for (std::uint32_t i = 0; i < kBlockFrames; ++i)
        frames[i] = (1 - dry_) * frames[i] + dry_ * dry[i];
}

}  // namespace velor
