#include "synth/effects.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace velor {

namespace {

constexpr float kTwoPi = 6.28318530718f;

// A hall of medium size.
constexpr float kDecaySeconds = 1.8f;  // to -60 dB
constexpr float kDampingHz = 6500;     // of the low-pass in every line
constexpr float kReverbLevel = 0.42f;
constexpr float kDiffusion = 0.6f;
// Delays of the lines in seconds, mutually prime at the usual rates, and of the diffusers.
constexpr float kLineSeconds[] = {0.02402f, 0.02765f, 0.03098f, 0.03465f,
                                  0.03727f, 0.04065f, 0.04340f, 0.04627f};
constexpr float kDiffuserSeconds[] = {0.0047f, 0.0079f};

constexpr float kChorusLevel = 0.7f;
constexpr float kChorusHz = 0.45f;
constexpr float kChorusDelay = 0.012f;  // seconds, the middle
constexpr float kChorusDepth = 0.0035f;

constexpr float kEchoSeconds = 0.28f;
constexpr float kEchoFeedback = 0.35f;
constexpr float kRingSeconds = 4;  // how long any of them is heard after its input

std::uint32_t frames(float seconds, float sampleRate) {
    return std::max<std::uint32_t>(1, static_cast<std::uint32_t>(seconds * sampleRate));
}

}  // namespace

void DelayLine::prepare(std::uint32_t longest) {
    frames_.assign(std::bit_ceil(longest + 2), 0.0f);
    mask_ = static_cast<std::uint32_t>(frames_.size() - 1);
}

void DelayLine::clear() {
    std::fill(frames_.begin(), frames_.end(), 0.0f);
}

void Reverb::prepare(float sampleRate) {
    for (int i = 0; i < kLines; ++i) {
        const auto line = static_cast<std::size_t>(i);
        delays_[line] = frames(kLineSeconds[i], sampleRate) | 1;
        lines_[line].prepare(delays_[line]);
        const float seconds = static_cast<float>(delays_[line]) / sampleRate;
        feedback_[line] = std::pow(10.0f, -3 * seconds / kDecaySeconds);
    }
    for (std::size_t i = 0; i < diffusers_.size(); ++i) {
        diffusers_[i].delay = frames(kDiffuserSeconds[i], sampleRate);
        diffusers_[i].line.prepare(diffusers_[i].delay);
    }
    damping_ = 1 - std::exp(-kTwoPi * std::min(kDampingHz / sampleRate, 0.45f));
    clear();
}

void Reverb::clear() {
    for (DelayLine& line : lines_)
        line.clear();
    for (AllPass& diffuser : diffusers_)
        diffuser.line.clear();
    damped_ = {};
}

void Reverb::process(const float* in, float* left, float* right) {
    for (std::uint32_t i = 0; i < kBlockFrames; ++i) {
        float x = in[i];
        for (AllPass& diffuser : diffusers_) {
            const float delayed = diffuser.line.read(diffuser.delay);
            const float fed = x + kDiffusion * delayed;
            diffuser.line.write(fed);
            x = delayed - kDiffusion * fed;
        }
        float out[kLines];
        float sum = 0;
        for (std::size_t line = 0; line < kLines; ++line) {
            damped_[line] += damping_ * (lines_[line].read(delays_[line]) - damped_[line]);
            out[line] = damped_[line] * feedback_[line];
            sum += out[line];
        }
        sum *= 2.0f / kLines;
        for (std::size_t line = 0; line < kLines; ++line)
            lines_[line].write(out[line] - sum + (line & 1 ? -x : x));
        left[i] += kReverbLevel * (out[0] + out[2] - out[4] + out[6]);
        right[i] += kReverbLevel * (out[1] - out[3] + out[5] + out[7]);
    }
}

void Chorus::prepare(float sampleRate) {
    sampleRate_ = sampleRate;
    line_.prepare(frames(kChorusDelay + kChorusDepth, sampleRate) + 4);
    clear();
}

void Chorus::clear() {
    line_.clear();
    phase_ = 0;
}

void Chorus::process(const float* in, float* left, float* right) {
    // Delays at both ends of the block; between them they move in straight lines.
    const float next = phase_ + kChorusHz * static_cast<float>(kBlockFrames) / sampleRate_;
    float delay[3];
    float step[3];
    for (int voice = 0; voice < 3; ++voice) {
        const auto at = [&](float phase) {
            const float swing = std::sin(kTwoPi * (phase + static_cast<float>(voice) / 3));
            return (kChorusDelay + kChorusDepth * swing) * sampleRate_;
        };
        delay[voice] = at(phase_);
        step[voice] = (at(next) - delay[voice]) / static_cast<float>(kBlockFrames);
    }
    phase_ = next - std::floor(next);
    for (std::uint32_t i = 0; i < kBlockFrames; ++i) {
        line_.write(in[i]);
        const float a = line_.readBetween(delay[0]);
        const float b = line_.readBetween(delay[1]);
        const float c = line_.readBetween(delay[2]);
        left[i] += kChorusLevel * (a + 0.7f * b);
        right[i] += kChorusLevel * (c + 0.7f * b);
        for (int voice = 0; voice < 3; ++voice)
            delay[voice] += step[voice];
    }
}

void Tremolo::process(const float* in, float* left, float* right) {
    const auto sides = [](float phase) { return 0.5f + 0.5f * std::sin(kTwoPi * phase); };
    float gain = sides(phase_);
    const float step = (sides(phase_ + perBlock_) - gain) / static_cast<float>(kBlockFrames);
    phase_ += perBlock_;
    phase_ -= std::floor(phase_);
    for (std::uint32_t i = 0; i < kBlockFrames; ++i) {
        left[i] += in[i] * gain;
        right[i] += in[i] * (1 - gain);
        gain += step;
    }
}

void Echo::prepare(float sampleRate) {
    delay_ = frames(kEchoSeconds, sampleRate);
    left_.prepare(delay_);
    right_.prepare(delay_);
    clear();
}

void Echo::clear() {
    left_.clear();
    right_.clear();
}

void Echo::process(const float* in, float* left, float* right) {
    for (std::uint32_t i = 0; i < kBlockFrames; ++i) {
        const float l = left_.read(delay_);
        const float r = right_.read(delay_);
        left_.write(in[i] + kEchoFeedback * r);
        right_.write(l);
        left[i] += l;
        right[i] += r;
    }
}

void Effects::prepare(float sampleRate) {
    reverb_.prepare(sampleRate);
    tremolo_.prepare(sampleRate);
    chorus_.prepare(sampleRate);
    echo_.prepare(sampleRate);
    ring_ = static_cast<std::uint32_t>(kRingSeconds * sampleRate) / kBlockFrames + 1;
    clear();
}

void Effects::clear() {
    reverb_.clear();
    tremolo_.clear();
    chorus_.clear();
    echo_.clear();
    awake_ = {};
}

void Effects::process(const MixBuffers& mix, float* left, float* right) {
    std::fill_n(left, kBlockFrames, 0.0f);
    std::fill_n(right, kBlockFrames, 0.0f);
    for (int send = 0; send < kSends; ++send) {
        std::uint32_t& awake = awake_[static_cast<std::size_t>(send)];
        if (mix.used[send])
            awake = ring_;
        else if (awake == 0)
            continue;
        else
            --awake;
        const float* in = mix.sends[send];
        switch (send) {
            case 0:
                reverb_.process(in, left, right);
                break;
            case 1:
                tremolo_.process(in, left, right);
                break;
            case 2:
                chorus_.process(in, left, right);
                break;
            default:
                echo_.process(in, left, right);
                break;
        }
    }
}

}  // namespace velor
