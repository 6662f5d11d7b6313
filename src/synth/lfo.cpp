#include "synth/lfo.h"

#include <algorithm>
#include <cmath>

namespace velor {

namespace {

constexpr float kTwoPi = 6.28318530718f;

// A linear congruential step; its upper bits are the random numbers.
float nextRandom(std::uint32_t& state) {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(static_cast<std::int32_t>(state)) * (1.0f / 2147483648.0f);
}

}  // namespace

void Lfo::begin(const ArticulationValues& values, std::uint16_t start, std::uint32_t seed) {
    const float shape = values[start + parameter::lfo::Shape];
    shape_ = static_cast<LfoShape>(shape <= 5 ? static_cast<int>(shape) : 0);
    frequency_ = values[start + parameter::lfo::Frequency];
    delay_ = values[start + parameter::lfo::Delay];
    const float fadeIn = values[start + parameter::lfo::FadeIn];
    fade_ = fadeIn > 0 ? 0.0f : 1.0f;
    fadePerSecond_ = fadeIn > 0 ? 1 / fadeIn : 0;
    phase_ = 0;
    random_ = seed | 1;
    held_ = nextRandom(random_);
}

// All shapes but the square ones start at 0 and rise or fall from there.
float Lfo::wave() {
    const float p = phase_;
    switch (shape_) {
        case LfoShape::Sine:
            return std::sin(kTwoPi * p);
        case LfoShape::Triangle:
            return p < 0.25f ? 4 * p : p < 0.75f ? 2 - 4 * p : 4 * p - 4;
        case LfoShape::Square:
            return p < 0.5f ? 1.0f : -1.0f;
        case LfoShape::SawDown:
            return p < 0.5f ? -2 * p : 2 - 2 * p;
        case LfoShape::SawUp:
            return p < 0.5f ? 2 * p : 2 * p - 2;
        case LfoShape::Random:
            return held_;
    }
    return 0;
}

float Lfo::advance(float seconds) {
    if (delay_ > 0) {
        delay_ -= seconds;
        if (delay_ > 0)
            return 0;
        seconds = -delay_;
    }
    fade_ = std::min(1.0f, fade_ + fadePerSecond_ * seconds);
    phase_ += frequency_ * seconds;
    if (phase_ >= 1) {
        phase_ -= std::floor(phase_);
        held_ = nextRandom(random_);
    }
    return fade_ * wave();
}

}  // namespace velor
