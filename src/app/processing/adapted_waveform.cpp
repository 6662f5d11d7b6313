#include "app/processing/adapted_waveform.h"

#include <algorithm>
#include <cmath>

#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/editable_samples.h"
#include "dsp/frame_edit.h"
#include "dsp/resampler.h"

namespace velor {

namespace {

constexpr std::uint64_t kBlock = 1 << 17;  // frames between two looks at the abort flag

// A difference of playing levels as a factor; 1 where it is none or nonsense.
float levelFactor(float decibels) {
    const auto factor = static_cast<float>(std::pow(10.0, static_cast<double>(decibels) / 20));
    return decibels != 0 && std::isfinite(factor) && factor > 0 ? factor : 1.0f;
}

}  // namespace

SampleBufferRef adaptFrames(Waveform& source, const Waveform& target, std::uint8_t channels,
                            UserInterface& ui) {
    const bool resampled =
        source.sampleRate != target.sampleRate && source.sampleRate > 0 && target.sampleRate > 0;
    Collection keeper;
    Waveform* fitting = &source;
    if (resampled && source.frames > 0) {
        if (source.frames * (static_cast<double>(target.sampleRate) / source.sampleRate) >= 4294967295.0) {
            fail(kTooManyFrames);
            return {};
        }
        fitting = keeper.create<Waveform>(source.name());
        fitting->copyContentFrom(source);
        PartProgress part(ui, 0, 0.8);
        if (!ResampleToRate(*fitting, *fitting, target.sampleRate,
                            static_cast<std::uint8_t>(ResampleMethod::FirAuto), nullptr, &part)) {
            if (LastErrorText == kResamplingAborted)
                fail(kProcessingCancelled);
            return {};
        }
    }
    const std::span<const float> from = std::as_const(*fitting).samples();
    const unsigned had = std::max<unsigned>(fitting->channels, 1);
    const auto frames =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(fitting->frames, from.size() / had));
    SampleBufferRef adapted(SampleBuffer::create(frames, channels, static_cast<float>(target.sampleRate)));
    if (!adapted) {
        fail(kOutOfMemory);
        return {};
    }
    const float factor = levelFactor(source.gain - target.gain);
    PartProgress part(ui, resampled ? 0.8 : 0, 1);
    float* to = adapted->data();
    for (std::uint64_t i = 0; i < frames; ++i) {
        if (i % kBlock == 0) {
            if (ui.aborted()) {
                fail(kProcessingCancelled);
                return {};
            }
            part.progress(static_cast<double>(i) / frames);
        }
        const float* frame = from.data() + i * had;
        for (unsigned channel = 0; channel < channels; ++channel) {
            const float sample =
                channels < had ? 0.5f * (frame[0] + frame[1]) : frame[std::min(channel, had - 1)];
            to[i * channels + channel] = factor * sample;
        }
    }
    return adapted;
}

}  // namespace velor
