#include "app/processing/adapted_waveform.h"

#include <algorithm>
#include <cmath>

#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/frame_edit.h"
#include "dsp/level.h"
#include "dsp/resampler.h"
#include "dsp/resampler_blocks.h"
#include "dsp/sample_blocks.h"

namespace velor {

namespace {

// A difference of playing levels as a factor; 1 where it is none or nonsense.
float levelFactor(float decibels) {
    const auto factor = static_cast<float>(factorOfDecibels(static_cast<double>(decibels)));
    return decibels != 0 && std::isfinite(factor) && factor > 0 ? factor : 1.0f;
}

}  // namespace

SampleBufferRef adaptFrames(const Waveform& source, const Waveform& target, std::uint8_t channels,
                            UserInterface& ui, AdaptedLevel level) {
    const bool resampled =
        source.sampleRate != target.sampleRate && source.sampleRate > 0 && target.sampleRate > 0;
    std::span<const float> from = source.samples();
    SampleBufferRef fitting;
    if (resampled && source.frames > 0) {
        const double ratio = static_cast<double>(target.sampleRate) / source.sampleRate;
        if (source.frames * ratio >= 4294967295.0) {
            fail(kTooManyFrames);
            return {};
        }
        PartProgress part(ui, 0, 0.8);
        constexpr auto kMethod = static_cast<std::uint8_t>(ResampleMethod::FirAuto);
        fitting = resampledCopy({.frames = from,
                                 .channels = source.channels,
                                 .method = kMethod,
                                 .firLevel = firLevelOf(kMethod, source.bits),
                                 .ratio = ratio,
                                 .limit = false},
                                static_cast<std::uint32_t>(source.frames * ratio), target.sampleRate, &part);
        if (!fitting)
            return {};
        from = std::as_const(*fitting.get()).samples();
    }
    const unsigned had = std::max<unsigned>(source.channels, 1);
    const auto frames = static_cast<std::uint32_t>(from.size() / had);
    SampleBufferRef adapted(SampleBuffer::create(frames, channels, static_cast<float>(target.sampleRate)));
    if (!adapted) {
        fail(kOutOfMemory);
        return {};
    }
    const float factor = level == AdaptedLevel::Played ? levelFactor(source.gain - target.gain) : 1.0f;
    float* to = adapted->data();
    const bool done =
        inBlocks(frames, ui, {resampled ? 0.8 : 0.0, 1}, [&](std::size_t first, std::size_t count) {
            for (std::size_t i = first; i < first + count; ++i) {
                const float* frame = from.data() + i * had;
                for (unsigned channel = 0; channel < channels; ++channel) {
                    const float sample =
                        channels < had ? 0.5f * (frame[0] + frame[1]) : frame[std::min(channel, had - 1)];
                    to[i * channels + channel] = factor * sample;
                }
            }
        });
    return done ? adapted : SampleBufferRef();
}

}  // namespace velor
