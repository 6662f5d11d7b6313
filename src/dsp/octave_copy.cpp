#include "dsp/octave_copy.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "dsp/resampler.h"
#include "dsp/resampler_blocks.h"
#include "dsp/sample_blocks.h"

namespace velor {

namespace {

constexpr double kLeastFrames = 16;    // of a copy
constexpr double kLeastLoop = 4;       // frames of its loop: a period of what is left needs more than two
constexpr std::uint32_t kReach = 256;  // output frames that the filter reads on each side, with room to spare
constexpr auto kMethod = static_cast<std::uint8_t>(ResampleMethod::Fir20);

double lengthRatio(const RegionLoop& loop, int octaves) {
    const double half = std::ldexp(1.0, -octaves);
    if (!loop.on)
        return half;
    const double length = loop.end - loop.start;
    return std::max(1.0, std::floor(length * half + 0.5)) / length;
}

// The frames up to the loop's end and `further` frames of the loop going on. Empty with LastErrorText.
SampleBufferRef unroll(const Waveform& from, const RegionLoop& loop, std::uint32_t further,
                       UserInterface& ui) {
    const auto start = static_cast<std::size_t>(loop.start), end = static_cast<std::size_t>(loop.end);
    const std::size_t channels = from.channels, length = end - start;
    const std::span<const float> samples = from.samples();
    if (end + further > 0xFFFFFFFFu) {
        fail("The waveform is too long");
        return {};
    }
    if (samples.size() < end * channels) {
        fail(kReadFailed);
        return {};
    }
    SampleBufferRef frames(SampleBuffer::create(static_cast<std::uint32_t>(end + further), from.channels,
                                                static_cast<float>(from.sampleRate)));
    if (!frames) {
        fail(kOutOfMemory);
        return {};
    }
    const auto copy = [&](std::size_t first, std::size_t count) {
        for (std::size_t i = first; i < first + count; ++i) {
            const std::size_t at = i < end ? i : start + (i - end) % length;
            std::copy_n(samples.data() + at * channels, channels, frames->data() + i * channels);
        }
    };
    return inBlocks(end + further, ui, {0, 0}, copy) ? frames : SampleBufferRef();
}

}  // namespace

bool canTakeOctaves(const Waveform& waveform, const RegionLoop& loop, int octaves) {
    const double ratio = std::ldexp(1.0, -octaves);
    return waveform.channels > 0 && waveform.frames * ratio >= kLeastFrames &&
           (!loop.on || std::floor((loop.end - loop.start) * ratio + 0.5) >= kLeastLoop);
}

bool makeOctaveCopy(Waveform& copy, Waveform& source, const RegionLoop& loop, int octaves, float& addedCents,
                    UserInterface& ui) {
    if (!source.loadSamples())
        return false;
    const double ratio = lengthRatio(loop, octaves);
    const bool whole = loop.start == std::floor(loop.start) && loop.end == std::floor(loop.end);
    const bool endless = loop.on && whole && loop.mode == LoopMode::Forward && !loop.untilRelease;
    // The loop begins so much later that the filter sees the same on both of its ends.
    const auto margin = endless ? static_cast<std::uint32_t>(kReach / ratio) : 0;
    SampleBufferRef unrolled;
    if (endless) {
        unrolled = unroll(source, loop, 2 * margin, ui);
        if (!unrolled)
            return false;
    }
    const std::span<const float> from =
        endless ? std::as_const(*unrolled.get()).samples() : std::as_const(source).samples();
    const double framesIn = static_cast<double>(from.size() / std::max<std::size_t>(source.channels, 1));
    SampleBufferRef resampled = resampledCopy(
        {.frames = from,
         .channels = source.channels,
         .method = kMethod,
         .firLevel = firLevelOf(kMethod, source.bits),
         .ratio = ratio,
         .limit = false},
        static_cast<std::uint32_t>(std::max(1.0, std::floor(framesIn * ratio))), source.sampleRate, &ui);
    if (!resampled)
        return false;
    copy.copyContentFrom(source);
    copy.clearLoop();
    copy.replaceSamples(std::move(resampled));
    addedCents = static_cast<float>(1200 * (std::log2(ratio) + octaves));
    copy.tuning += addedCents / 100;
    if (source.rootKey + 12 * octaves <= 127)
        copy.rootKey = static_cast<std::uint8_t>(source.rootKey + 12 * octaves);
    else
        copy.tuning -= static_cast<float>(12 * octaves);
    if (loop.on) {
        const double start = std::floor((loop.start + margin) * ratio + 0.5);
        const double length = std::floor((loop.end - loop.start) * ratio + 0.5);
        const double end = std::min(start + length, static_cast<double>(copy.frames));
        copy.setLoop(loop.mode, std::max(0.0, end - length), end);
        copy.loopUntilRelease = source.loopUntilRelease;
        copy.playThrough = source.playThrough;
    }
    return true;
}

}  // namespace velor
