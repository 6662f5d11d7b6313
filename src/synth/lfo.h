// The low-frequency oscillators of a voice.
#pragma once

#include <cstdint>

#include "items/articulation_table.h"

namespace velor {

class Lfo {
  public:
    // `start` is the first row of one of the four oscillators; `seed` sets the course of the random shape.
    void begin(const ArticulationValues& values, std::uint16_t start, std::uint32_t seed);
    // Moves on by that many seconds; -1..1 times the fade-in.
    float advance(float seconds);

  private:
    float wave();

    LfoShape shape_ = LfoShape::Sine;
    float frequency_ = 0;  // Hz
    float delay_ = 0;      // remaining seconds
    float fade_ = 1;       // share of the depth reached
    float fadePerSecond_ = 0;
    float phase_ = 0;  // 0..1
    float held_ = 0;   // of the random shape
    std::uint32_t random_ = 1;
};

}  // namespace velor
