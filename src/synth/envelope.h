// The six-segment envelopes of a voice.
#pragma once

#include <cstdint>

#include "items/articulation_table.h"

namespace velor {

// From its initial level an envelope goes through two attack and two decay segments to its sustain level, and
// after note-off through three release levels. The volume envelope moves up in straight lines and down in
// straight lines on the decibel scale, on which 0 counts as -100 dB; the others move in straight lines
// always.
class Envelope {
  public:
    enum class Scale : std::uint8_t { Linear, Decibel };
    enum class Stage : std::uint8_t {
        Attack1,
        Attack2,
        Decay1,
        Decay2,
        Sustain,
        Release1,
        Release2,
        Release3,
        Done
    };

    // `values` must outlive the envelope; `start` is the first row of one of the four blocks. Velocity 1-127.
    void begin(const ArticulationValues& values, std::uint16_t start, Scale scale, int key, int velocity);
    // Leaves the sustain level or whatever segment runs, unless the envelope ignores note-off.
    void release();
    // Does not stop at the sustain level, for sounds that no key will end.
    void runThrough() { mode_ |= kOneShot; }
    // Moves on by that many seconds and returns the level reached.
    float advance(float seconds);

    float level() const { return level_; }
    bool done() const { return stage_ == Stage::Done; }
    bool releasing() const { return stage_ >= Stage::Release1; }
    Stage stage() const { return stage_; }

  private:
    float row(std::uint16_t number) const { return (*values_)[static_cast<std::size_t>(start_ + number)]; }
    void enter(Stage stage);
    void segment(float target, float seconds);

    const ArticulationValues* values_ = nullptr;
    std::uint16_t start_ = 0;
    Scale scale_ = Scale::Linear;
    Stage stage_ = Stage::Done;
    std::uint8_t mode_ = 0;
    bool inDecibels_ = false;
    float level_ = 0;
    float value_ = 0;      // level, or its logarithm to base 2 on the way down
    float target_ = 0;     // the level at the end of the segment
    float slope_ = 0;      // per second
    float remaining_ = 0;  // seconds; negative: for ever
    float velocityOffset_ = 0;
    float octaves_ = 0;
};

}  // namespace velor
