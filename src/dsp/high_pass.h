// A high-pass filter for whole waveforms.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace velor {

// Butterworth, fourth order (24 dB per octave): two second-order sections by the bilinear transform, after
// R. Bristow-Johnson's cookbook formulas, computed in double precision. An octave above the cutoff it passes
// all but 0.02 dB. One object filters one channel from front to back; it starts in silence.
class HighPass {
  public:
    // cutoff in Hz, above 0 and below half the rate; others let everything pass.
    HighPass(double cutoff, double rate);

    // Filters every stride-th sample in place. May be called for piece after piece.
    void process(std::span<float> samples, std::size_t stride = 1);

  private:
    struct Section {
        double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
        double z1 = 0, z2 = 0;
    };
    std::array<Section, 2> sections_;
};

}  // namespace velor
