// One region of one sounding note.
#pragma once

#include <cstdint>

#include "synth/envelope.h"
#include "synth/lfo.h"
#include "synth/mix_buffers.h"
#include "synth/synth_instrument.h"
#include "synth/voice_filter.h"

namespace velor {

struct Note;

// What a voice takes from its channel, fixed for one block.
struct ChannelSound {
    float gain = 0.62f;    // linear
    float modulation = 0;  // 0..1
    float pressure = 0;    // 0..1
    float bend = 0;        // -1..1
    float bendRange = 0;   // semitones; counts only with hasBendRange
    bool hasBendRange = false;
    float tuning = 0;  // semitones, coarse and fine
    float pan = 0;     // -1..1
    float reverb = 0;  // 0..1
    float chorus = 0;  // 0..1
};

struct VoiceRandom {
    float pitch = 0;  // -1..1
    float pan = 0;    // -1..1
    std::uint32_t lfo = 1;
};

class Voice {
  public:
    // --- Links kept by the engine ---
    Note* note = nullptr;
    Voice* next = nullptr;  // of the same note, or in the free list

    // Control side of a block, on the render thread.
    void start(std::shared_ptr<const SynthInstrument> instrument, const SynthRegion& region,
               std::uint32_t channel, int key, int velocity, const VoiceRandom& random, float outputRate);
    void release();
    // Ends within the region's shutdown time, counted from full volume.
    void fastRelease() { fastRelease_ = true; }
    // Ends within the next block.
    void releaseNow() { releaseNow_ = true; }
    void setHeld(bool held) { held_ = held; }
    void setSoft() { soft_ = true; }
    void setPressure(float pressure) { pressure_ = pressure; }
    // Semitones that a portamento glide adds.
    void setGlide(float semitones) { glide_ = semitones; }
    // Lets go of the instrument's memory; not on the render thread while others may hold the last reference.
    void forget();

    bool inFastRelease() const { return fastRelease_ || releaseNow_; }
    bool held() const { return held_; }
    bool finished() const { return finished_; }
    bool rendered() const { return rendered_; }
    float level() const { return level_; }
    int key() const { return key_; }
    std::uint32_t channel() const { return channel_; }
    const SynthRegion& region() const { return *region_; }
    const SynthInstrument* instrument() const { return instrument_.get(); }

    // Any worker: adds the next block to `mix`.
    void render(const ChannelSound& channel, const VoiceKernels& kernels, MixBuffers& mix);

  private:
    struct Gains {
        float left = 0, right = 0;
        float sends[kSends] = {};
    };

    float value(std::uint16_t number) const { return region_->values[number]; }
    // Depth of an oscillator: its own, by modulation wheel, by pressure, by velocity (four rows from
    // `first`).
    float depth(std::uint16_t first, const ChannelSound& channel, float pressure) const;
    void updatePitch(const ChannelSound& channel, float pressure, float xLfo);
    void updateFilter(const ChannelSound& channel, float pressure);
    Gains updateGains(const ChannelSound& channel, float pressure, float xLfo);
    // Reads one block of a channel from the sample. The read position is moved on by finishBlock().
    void read(int channel, const VoiceKernels& kernels, float* out);
    void setUpEq();

    std::shared_ptr<const SynthInstrument> instrument_;
    const SynthRegion* region_ = nullptr;
    const SynthSample* sample_ = nullptr;
    std::uint32_t channel_ = 0;
    int key_ = 60;
    float outputRate_ = 48000;
    float blockSeconds_ = 0;

    float bipolarVelocity_ = 0;
    float basePitch_ = 0;   // semitones above the sample's own speed
    float baseRatio_ = 1;   // sample rate over output rate
    float baseVolume_ = 0;  // dB
    float baseCutoff_ = 0;  // Hz
    float basePan_ = 0;
    float pitch_ = -1e9f;  // semitones that step_ was computed for
    float volume_ = -1e9f;
    float volumeGain_ = 0;
    float pan_ = -10;
    float panLeft_ = 0;
    float panRight_ = 0;
    float pressure_ = 0;
    float glide_ = 0;
    float level_ = 0;
    float fade_ = 1;  // of the fast release

    std::uint64_t position_ = 0;  // 32.32 fixed point frames
    std::uint64_t step_ = 0;
    const InterpolationFilter* filter_ = nullptr;
    std::uint64_t nextPosition_ = 0;
    bool sampleEnded_ = false;

    bool released_ = false;
    bool held_ = false;
    bool soft_ = false;
    bool fastRelease_ = false;
    bool releaseNow_ = false;
    bool finished_ = false;
    bool rendered_ = false;

    Envelope volumeEnvelope_, pitchEnvelope_, filterEnvelope_, extraEnvelope_;
    Lfo pitchLfo_, volumeLfo_, filterLfo_, extraLfo_;
    VoiceFilter filters_[2];  // one per channel of the sample
    Gains gains_;
    int eqBands_ = 0;
    BiquadBlock eq_[3];
    float eqState_[2][3][2] = {};
};

}  // namespace velor
