#include "synth/voice.h"

#include <algorithm>
#include <cmath>

#include "synth/interpolation.h"

namespace velor {

namespace {

namespace p = parameter;

constexpr int kMiddleC = 60;
constexpr float kHalfPi = 1.57079632679f;
constexpr float kSilence = 1e-5f;  // -100 dB: below it a falling voice is over
// The soft pedal takes a little level and, where there is a filter, brightness.
constexpr float kSoftVolume = -3;  // dB
constexpr float kSoftCutoff = -4;  // semitones
// Six octaves up; faster reading than that is a damaged tuning.
constexpr float kHighestRatio = 64;

// Attenuation in dB by velocity: 40 log10(127 / velocity) at the default of 96, the curve of the General MIDI
// guidelines. A negative amount turns the velocity round.
float velocityAttenuation(float amount, int velocity) {
    if (amount == 0)
        return 0;
    const int turned = amount < 0 ? 128 - velocity : velocity;
    const float decibels = 40 * std::log10(127.0f / static_cast<float>(std::clamp(turned, 1, 127)));
    return std::fabs(amount) / 96 * decibels;
}

}  // namespace

void Voice::start(std::shared_ptr<const SynthInstrument> instrument, const SynthRegion& region,
                  std::uint32_t channel, int key, int velocity, const VoiceRandom& random, float outputRate) {
    instrument_ = std::move(instrument);
    region_ = &region;
    sample_ = region.sample.get();
    channel_ = channel;
    key_ = key;
    outputRate_ = outputRate;
    blockSeconds_ = static_cast<float>(kBlockFrames) / outputRate;
    bipolarVelocity_ = std::clamp(static_cast<float>(velocity - 64) / 63.0f, -1.0f, 1.0f);
    const float octaves = static_cast<float>(key - kMiddleC) / 12;

    basePitch_ = (static_cast<float>(key) - region.rootKey) * value(p::KeyToPitch) + value(p::MasterTuning) +
                 region.tuning + random.pitch * value(p::RandomToPitch);
    baseRatio_ = sample_->sampleRate / outputRate;
    baseVolume_ = value(p::MasterVolume) + region.gain -
                  velocityAttenuation(value(p::VelocityToVolume), velocity) + value(p::KeyToVolume) * octaves;
    // The key's amount is spread over the whole keyboard: 128 moves the cutoff with the key, a semitone each.
    baseCutoff_ =
        value(p::Cutoff) * semitonesToRatio(value(p::VelocityToCutoff) * bipolarVelocity_ +
                                            value(p::KeyToCutoff) * static_cast<float>(key - kMiddleC) / 128);
    basePan_ = value(p::PanPosition) + value(p::KeyToPan) * octaves + random.pan * value(p::RandomToPan);
    pitch_ = volume_ = -1e9f;
    pan_ = -10;
    pressure_ = glide_ = 0;
    fade_ = 1;
    position_ = nextPosition_ = 0;
    filter_ = nullptr;
    sampleEnded_ = released_ = held_ = soft_ = fastRelease_ = releaseNow_ = finished_ = rendered_ = false;
    gains_ = {};

    const ArticulationValues& values = region.values;
    volumeEnvelope_.begin(values, p::VEnvelope, Envelope::Scale::Decibel, key, velocity);
    // The key of a release region is up already: nothing else would end a loop.
    if (region.trigger == RegionTrigger::kRelease && sample_->looped)
        volumeEnvelope_.runThrough();
    level_ = volumeEnvelope_.level();
    const auto begin = [&](RegionUse use, Envelope& envelope, std::uint16_t start) {
        if (region.use & use)
            envelope.begin(values, start, Envelope::Scale::Linear, key, velocity);
    };
    begin(kUsePEnvelope, pitchEnvelope_, p::PEnvelope);
    begin(kUseFEnvelope, filterEnvelope_, p::FEnvelope);
    begin(kUseXEnvelope, extraEnvelope_, p::XEnvelope);
    const auto beginLfo = [&](RegionUse use, Lfo& lfo, std::uint16_t start) {
        if (region.use & use)
            lfo.begin(values, start, random.lfo + start);
    };
    beginLfo(kUsePLfo, pitchLfo_, p::PLfo);
    beginLfo(kUseVLfo, volumeLfo_, p::VLfo);
    beginLfo(kUseFLfo, filterLfo_, p::FLfo);
    beginLfo(kUseXLfo, extraLfo_, p::XLfo);
    const auto type = static_cast<int>(value(p::FilterTypeCode));
    for (VoiceFilter& filter : filters_)
        filter.begin(static_cast<FilterType>(std::clamp(type, 0, static_cast<int>(FilterType::Phaser))));
    eqBands_ = 0;
    if (region.use & kUseEq)
        setUpEq();
}

void Voice::setUpEq() {
    for (int band = 0; band < 3; ++band) {
        const auto first = static_cast<std::uint16_t>(p::Eq1Mode + band * p::eq::Rows);
        const float gain = value(first + p::eq::Gain);
        if (gain == 0)
            continue;
        const float frequency = std::min(value(first + p::eq::Frequency) / outputRate_, 0.45f);
        const float q = value(first + p::eq::Q);
        Biquad section;
        switch (static_cast<EqMode>(static_cast<int>(value(first)))) {
            case EqMode::Peak:
                section = Biquad::peak(frequency, q, gain);
                break;
            case EqMode::LowShelf:
                section = Biquad::lowShelf(frequency, q, gain);
                break;
            case EqMode::HighShelf:
                section = Biquad::highShelf(frequency, q, gain);
                break;
        }
        section.block(eq_[eqBands_]);
        for (auto& state : eqState_)
            state[eqBands_][0] = state[eqBands_][1] = 0;
        ++eqBands_;
    }
}

void Voice::release() {
    if (released_)
        return;
    released_ = true;
    volumeEnvelope_.release();
    if (region_->use & kUsePEnvelope)
        pitchEnvelope_.release();
    if (region_->use & kUseFEnvelope)
        filterEnvelope_.release();
    if (region_->use & kUseXEnvelope)
        extraEnvelope_.release();
    if (sample_->afterRelease && volumeEnvelope_.releasing()) {
        // Behind the loop end the looped data repeat; the rest of the waveform goes on from inside the loop.
        while (position_ >= sample_->loopEnd)
            position_ -= sample_->loopLength;
        sample_ = sample_->afterRelease.get();
    }
}

void Voice::forget() {
    instrument_.reset();
    region_ = nullptr;
    sample_ = nullptr;
}

float Voice::depth(std::uint16_t first, const ChannelSound& channel, float pressure) const {
    return value(first) + value(first + 1) * channel.modulation + value(first + 2) * pressure +
           value(first + 3) * bipolarVelocity_;
}

void Voice::updatePitch(const ChannelSound& channel, float pressure, float xLfo) {
    const float range = channel.hasBendRange ? channel.bendRange : value(p::BendToPitch);
    float pitch = basePitch_ + glide_ + channel.tuning + channel.bend * range;
    if (region_->use & kUsePLfo)
        pitch += pitchLfo_.advance(blockSeconds_) * depth(p::PLfoToPitch, channel, pressure);
    if (region_->use & kUseXLfo)
        pitch += xLfo * depth(p::XLfoToPitch, channel, pressure);
    if (region_->use & kUsePEnvelope)
        pitch += pitchEnvelope_.advance(blockSeconds_) *
                 (value(p::PEnvToPitch) + value(p::VelocityToPEnvToPitch) * bipolarVelocity_);
    if (pitch == pitch_)
        return;
    pitch_ = pitch;
    const float ratio = std::min(baseRatio_ * semitonesToRatio(pitch), kHighestRatio);
    step_ = std::max<std::uint64_t>(static_cast<std::uint64_t>(static_cast<double>(ratio) * 4294967296.0), 1);
    filter_ = &InterpolationFilters::instance().forRatio(ratio);
}

void Voice::updateFilter(const ChannelSound& channel, float pressure) {
    float offset = value(p::WheelToCutoff) * channel.modulation + value(p::PressureToCutoff) * pressure;
    if (region_->use & kUseFLfo)
        offset += filterLfo_.advance(blockSeconds_) * depth(p::FLfoToCutoff, channel, pressure);
    if (region_->use & kUseFEnvelope)
        offset += filterEnvelope_.advance(blockSeconds_) *
                  (value(p::FEnvToCutoff) + value(p::VelocityToFEnvToCutoff) * bipolarVelocity_);
    if (soft_)
        offset += kSoftCutoff;
    const float cutoff = offset == 0 ? baseCutoff_ : baseCutoff_ * semitonesToRatio(offset);
    const float resonance = value(p::Resonance) + value(p::VelocityToResonance) * (bipolarVelocity_ + 1) / 2 +
                            value(p::WheelToResonance) * channel.modulation +
                            value(p::PressureToResonance) * pressure;
    for (int i = 0; i < sample_->channels; ++i)
        filters_[i].set(cutoff, resonance, outputRate_);
}

Voice::Gains Voice::updateGains(const ChannelSound& channel, float pressure, float xLfo) {
    float volume =
        baseVolume_ + value(p::WheelToVolume) * channel.modulation + value(p::PressureToVolume) * pressure;
    if (region_->use & kUseVLfo)
        volume += volumeLfo_.advance(blockSeconds_) * depth(p::VLfoToVolume, channel, pressure);
    if (soft_)
        volume += kSoftVolume;
    if (volume != volume_) {
        volume_ = volume;
        volumeGain_ = decibelsToGain(volume);
    }
    level_ = volumeEnvelope_.advance(blockSeconds_);
    if (fastRelease_) {
        const float time = value(p::VEnvelope + p::envelope::ShutdownRate);
        fade_ = time > 0 ? std::max(0.0f, fade_ - blockSeconds_ / time) : 0;
    }
    if (releaseNow_)
        fade_ = 0;
    const float gain = volumeGain_ * level_ * fade_ * channel.gain;

    float pan = basePan_ + value(p::Cc10ToPan) * channel.pan;
    if (region_->use & kUseXLfo)
        pan += xLfo * value(p::XLfoToPan);
    if (region_->use & kUseXEnvelope)
        pan += extraEnvelope_.advance(blockSeconds_) * value(p::XEnvToPan);
    pan = std::clamp(pan, -1.0f, 1.0f);
    if (pan != pan_) {
        pan_ = pan;
        panLeft_ = std::cos((pan + 1) * kHalfPi / 2);
        panRight_ = std::sin((pan + 1) * kHalfPi / 2);
        // A stereo sample is balanced: the middle leaves both sides as they are.
        if (sample_->channels == 2) {
            panLeft_ = std::min(1.0f, panLeft_ * 1.41421356f);
            panRight_ = std::min(1.0f, panRight_ * 1.41421356f);
        }
    }
    Gains gains;
    gains.left = gain * panLeft_;
    gains.right = gain * panRight_;
    const float controllers[kSends] = {channel.reverb, 0, channel.chorus, 0};
    for (int i = 0; i < kSends; ++i) {
        const auto send = static_cast<std::uint16_t>(p::Send1 + 2 * i);
        gains.sends[i] = gain * std::min(1.0f, value(send) + value(send + 1) * controllers[i]);
    }
    return gains;
}

void Voice::read(int channel, const VoiceKernels& kernels, float* out) {
    const std::int16_t* words = sample_->words(channel);
    const float* floats = sample_->floats(channel);
    std::uint64_t position = position_;
    std::uint32_t done = 0;
    while (done < kBlockFrames) {
        const std::uint64_t end = sample_->looped
                                      ? sample_->loopEnd + (std::uint64_t{SynthSample::kWrapDelay} << 32)
                                      : (std::uint64_t{sample_->frames} + SynthSample::kWrapDelay) << 32;
        if (position >= end) {
            if (!sample_->looped) {
                std::fill(out + done, out + kBlockFrames, 0.0f);
                sampleEnded_ = true;
                break;
            }
            position -= (position - end) / sample_->loopLength * sample_->loopLength + sample_->loopLength;
        }
        const std::uint64_t ahead = (end - position + step_ - 1) / step_;
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(ahead, kBlockFrames - done));
        if (words)
            kernels.interpolate16(words, position, step_, *filter_, out + done, static_cast<int>(count));
        else
            kernels.interpolateFloat(floats, position, step_, *filter_, out + done, static_cast<int>(count));
        position += step_ * count;
        done += count;
    }
    nextPosition_ = position;
}

void Voice::render(const ChannelSound& channel, const VoiceKernels& kernels, MixBuffers& mix) {
    const float pressure = std::min(1.0f, channel.pressure + pressure_);
    const float xLfo = region_->use & kUseXLfo ? extraLfo_.advance(blockSeconds_) : 0;
    updatePitch(channel, pressure, xLfo);
    if (region_->use & kUseFilter)
        updateFilter(channel, pressure);
    const Gains gains = updateGains(channel, pressure, xLfo);
    const bool first = !rendered_;
    rendered_ = true;

    alignas(32) float frames[kBlockFrames];
    for (int side = 0; side < sample_->channels; ++side) {
        read(side, kernels, frames);
        if (region_->use & kUseFilter)
            filters_[side].process(kernels, frames);
        for (int band = 0; band < eqBands_; ++band)
            kernels.biquad(eq_[band], eqState_[side][band], frames, kBlockFrames);
        const bool mono = sample_->channels == 1;
        if (mono || side == 0)
            kernels.addRamped(frames, gains_.left, gains.left, mix.left);
        if (mono || side == 1)
            kernels.addRamped(frames, gains_.right, gains.right, mix.right);
        const float share = mono ? 1.0f : 0.5f;
        for (int i = 0; i < kSends; ++i) {
            if (gains_.sends[i] == 0 && gains.sends[i] == 0)
                continue;
            kernels.addRamped(frames, share * gains_.sends[i], share * gains.sends[i], mix.send(i));
        }
    }
    position_ = nextPosition_;
    gains_ = gains;
    const bool falling = volumeEnvelope_.stage() >= Envelope::Stage::Sustain;
    finished_ = sampleEnded_ || fade_ <= 0 || volumeEnvelope_.done() ||
                (!first && falling && volumeGain_ * level_ < kSilence && level_ < kSilence);
}

}  // namespace velor
