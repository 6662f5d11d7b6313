// Second-order filter sections: their coefficients and their form for the kernels.
#pragma once

#include "synth/voice_kernels.h"

namespace velor {

// y = b0 x + b1 x[-1] + b2 x[-2] - a1 y[-1] - a2 y[-2].
struct Biquad {
    float b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;

    // After R. Bristow-Johnson's cookbook formulas; `frequency` as a share of the sample rate (0..0.5), q the
    // quality factor, gains in dB. The low-, high- and band-pass have their usual pass-band gain of 1.
    static Biquad lowPass(float frequency, float q);
    static Biquad highPass(float frequency, float q);
    static Biquad bandPass(float frequency, float q);
    static Biquad notch(float frequency, float q);
    static Biquad allPass(float frequency, float q);
    static Biquad peak(float frequency, float q, float gain);
    static Biquad lowShelf(float frequency, float q, float gain);
    static Biquad highShelf(float frequency, float q, float gain);
    // One pole, 6 dB per octave.
    static Biquad lowPass6(float frequency);
    static Biquad highPass6(float frequency);

    void scale(float gain) { b0 *= gain, b1 *= gain, b2 *= gain; }
    // The section for four frames at a time (transposed direct form II).
    void block(BiquadBlock& to) const;
};

}  // namespace velor
