// The effects behind the four sends: reverb, tremolo, chorus and echo.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "synth/mix_buffers.h"

namespace velor {

// A delay line whose length in frames is a power of two at least as long as asked for.
class DelayLine {
  public:
    void prepare(std::uint32_t longest);
    void clear();
    void write(float frame) { frames_[at_++ & mask_] = frame; }
    // The frame written `delay` frames ago, 1 being the last.
    float read(std::uint32_t delay) const { return frames_[(at_ - delay) & mask_]; }
    // Between two frames, in a straight line.
    float readBetween(float delay) const {
        const auto whole = static_cast<std::uint32_t>(delay);
        const float f = delay - static_cast<float>(whole);
        return read(whole) + f * (read(whole + 1) - read(whole));
    }

  private:
    std::vector<float> frames_;
    std::uint32_t mask_ = 0;
    std::uint32_t at_ = 0;
};

// A feedback delay network of eight lines behind two all-pass diffusers (J.-M. Jot and A. Chaigne, 1991). The
// lines meet in a Householder reflection, which keeps their energy; damping makes the high end die sooner.
class Reverb {
  public:
    void prepare(float sampleRate);
    void clear();
    // Adds the answer to one block of input to left and right.
    void process(const float* in, float* left, float* right);

  private:
    static constexpr int kLines = 8;
    struct AllPass {
        DelayLine line;
        std::uint32_t delay = 0;
    };
    std::array<DelayLine, kLines> lines_;
    std::array<std::uint32_t, kLines> delays_{};
    std::array<float, kLines> feedback_{};  // for the decay time
    std::array<float, kLines> damped_{};    // state of the damping filters
    std::array<AllPass, 2> diffusers_;
    float damping_ = 0;
};

// Three voices whose delays move slowly, spread over left and right.
class Chorus {
  public:
    void prepare(float sampleRate);
    void clear();
    void process(const float* in, float* left, float* right);

  private:
    DelayLine line_;
    float sampleRate_ = 48000;
    float phase_ = 0;  // 0..1
};

// Swings the input between left and right.
class Tremolo {
  public:
    void prepare(float sampleRate) { perBlock_ = 5.5f * static_cast<float>(kBlockFrames) / sampleRate; }
    void clear() { phase_ = 0; }
    void process(const float* in, float* left, float* right);

  private:
    float perBlock_ = 0;
    float phase_ = 0;
};

// Repeats that go from side to side.
class Echo {
  public:
    void prepare(float sampleRate);
    void clear();
    void process(const float* in, float* left, float* right);

  private:
    DelayLine left_, right_;
    std::uint32_t delay_ = 0;
};

// All four. Each sleeps once its input has been silent for longer than it rings.
class Effects {
  public:
    // Allocates everything for a sample rate in Hz.
    void prepare(float sampleRate);
    void clear();
    // One block of the sends; the result replaces `left` and `right`.
    void process(const MixBuffers& sends, float* left, float* right);

  private:
    Reverb reverb_;
    Tremolo tremolo_;
    Chorus chorus_;
    Echo echo_;
    std::array<std::uint32_t, kSends> awake_{};  // blocks that the effect still rings
    std::uint32_t ring_ = 0;                     // blocks
};

}  // namespace velor
