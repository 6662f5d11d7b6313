// The filter of a voice: thirteen types, moved once a block.
#pragma once

#include <cstdint>

#include "items/articulation_table.h"
#include "synth/biquad.h"

namespace velor {

class VoiceFilter {
  public:
    void begin(FilterType type) {
        type_ = type;
        cutoff_ = -1;
        state_[0][0] = state_[0][1] = state_[1][0] = state_[1][1] = 0;
    }
    bool active() const { return type_ != FilterType::Off; }
    // Cutoff in Hz, limited to 45 % of the sample rate; resonance is the height of the peak in dB over the
    // pass band, which itself goes down by half of it, as SoundFont 2 asks. Cheap while nothing has changed.
    void set(float cutoff, float resonance, float sampleRate);
    // Filters kBlockFrames frames in place.
    void process(const VoiceKernels& kernels, float* frames);

  private:
    FilterType type_ = FilterType::Off;
    int sections_ = 1;
    float cutoff_ = -1;
    float resonance_ = 0;
    float dry_ = 0;  // share of the input that is mixed with the output of the sections
    BiquadBlock section_[2];
    float state_[2][2] = {};
};

}  // namespace velor
