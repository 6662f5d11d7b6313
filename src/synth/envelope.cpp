#include "synth/envelope.h"

#include <algorithm>
#include <cmath>

#include "synth/synth_math.h"

namespace velor {

namespace {

namespace row = parameter::envelope;

constexpr float kFloor = 1e-5f;               // -100 dB
constexpr float kFloorLog2 = -16.609640474f;  // its logarithm
constexpr float kLog2ToHundredDb = 1.0f / -kFloorLog2;

float logOf(float level) {
    return std::log2(std::max(level, kFloor));
}

}  // namespace

void Envelope::begin(const ArticulationValues& values, std::uint16_t start, Scale scale, int key,
                     int velocity) {
    values_ = &values;
    start_ = start;
    scale_ = scale;
    mode_ = static_cast<std::uint8_t>(std::clamp(row(row::ReleaseMode), 0.0f, 3.0f));
    velocityOffset_ = static_cast<float>(velocity - 64) / 126.0f;
    octaves_ = static_cast<float>(key - 60) / 12.0f;
    level_ = row(row::InitialLevel);
    enter(Stage::Attack1);
}

void Envelope::release() {
    if (!releasing() && !(mode_ & (kIgnoreNoteOff | kOneShot)))
        enter(Stage::Release1);
}

// A straight line from the current level.
void Envelope::segment(float target, float seconds) {
    target_ = target;
    inDecibels_ = scale_ == Scale::Decibel && target < level_;
    value_ = inDecibels_ ? logOf(level_) : level_;
    const float end = inDecibels_ ? logOf(target) : target;
    remaining_ = seconds > 0 ? seconds : 0;
    slope_ = remaining_ > 0 ? (end - value_) / remaining_ : 0;
}

void Envelope::enter(Stage stage) {
    stage_ = stage;
    const auto attackTime = [&](std::uint16_t time) {
        float seconds = row(time);
        if (seconds <= 0)
            return 0.0f;
        const float byVelocity = row(static_cast<std::uint16_t>(time + 1));
        const float byKey = row(static_cast<std::uint16_t>(time + 2));
        if (byVelocity != 1)
            seconds *= std::pow(byVelocity, velocityOffset_);
        if (byKey != 1)
            seconds *= std::pow(byKey, octaves_);
        return seconds;
    };
    const auto releaseFactor = [&] {
        return std::pow(row(row::VelocityToRelease), velocityOffset_) *
               std::pow(row(row::KeyToRelease), octaves_);
    };
    switch (stage) {
        case Stage::Attack1:
            return segment(row(row::Attack1Level), attackTime(row::Attack1Time));
        case Stage::Attack2:
            return segment(row(row::Attack2Level), attackTime(row::Attack2Time));
        case Stage::Decay1:
            return segment(row(row::Decay1Level), attackTime(row::Decay1Time));
        case Stage::Decay2:
            return segment(row(row::SustainLevel), attackTime(row::Decay2Time));
        case Stage::Sustain:
            if (mode_ & kOneShot)
                return enter(Stage::Release1);
            segment(level_, 0);
            remaining_ = -1;
            return;
        case Stage::Release1: {
            // The time is the rate times the distance.
            const float target = row(row::Release1Level);
            const bool down = scale_ == Scale::Decibel && target < level_;
            const float distance =
                down ? (logOf(level_) - logOf(target)) * kLog2ToHundredDb : std::fabs(level_ - target);
            return segment(target, row(row::Release1Rate) * distance * releaseFactor());
        }
        case Stage::Release2:
            return segment(row(row::Release2Level), row(row::Release2Time) * releaseFactor());
        case Stage::Release3:
            return segment(row(row::Release3Level), row(row::Release3Time) * releaseFactor());
        case Stage::Done:
            remaining_ = -1;
            return;
    }
}

float Envelope::advance(float seconds) {
    while (remaining_ >= 0) {
        if (remaining_ > seconds) {
            remaining_ -= seconds;
            value_ += slope_ * seconds;
            level_ = inDecibels_ ? (value_ <= kFloorLog2 ? 0.0f : fastExp2(value_)) : value_;
            return level_;
        }
        seconds -= remaining_;
        level_ = target_;
        enter(static_cast<Stage>(static_cast<int>(stage_) + 1));
    }
    return level_;
}

}  // namespace velor
