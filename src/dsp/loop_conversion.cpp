#include "dsp/loop_conversion.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/editable_samples.h"

namespace velor {

namespace {

constexpr std::uint64_t kFramesAfterLoop = 32;
constexpr std::size_t kBlock = 1 << 18;  // samples or frames between two looks at the abort flag

// Inserts frames at `at`, taken from the waveform itself by source(i) (a frame index) for i < count.
template <typename Source>
bool insertFrames(Waveform& waveform, std::uint32_t at, std::uint64_t count, Source source,
                  UserInterface* ui) {
    if (count > std::numeric_limits<std::uint32_t>::max() - waveform.frames)
        return fail(kOutOfMemory);
    const std::size_t channels = waveform.channels;
    SampleBufferRef longer(SampleBuffer::create(waveform.frames + static_cast<std::uint32_t>(count),
                                                waveform.channels, static_cast<float>(waveform.sampleRate)));
    if (!longer)
        return fail(kOutOfMemory);
    const float* from = waveform.samples().data();
    float* to = longer->data();
    const std::size_t head = at * channels;
    const auto copy = [ui](const float* frames, std::size_t samples, float* target) {
        for (std::size_t done = 0; done < samples; done += kBlock) {
            if (ui && ui->aborted())
                return fail(kProcessingCancelled);
            std::copy_n(frames + done, std::min(kBlock, samples - done), target + done);
        }
        return true;
    };
    if (!copy(from, head, to))
        return false;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i % kBlock == 0 && ui && ui->aborted())
            return fail(kProcessingCancelled);
        std::copy_n(from + source(i) * channels, channels, to + head + i * channels);
    }
    if (!copy(from + head, (waveform.frames - at) * channels, to + head + count * channels))
        return false;
    waveform.replaceSamples(std::move(longer));
    return true;
}

// Loop points of regions behind the insertion move with their frames.
void shiftOverrides(Collection& collection, const Waveform& waveform, std::uint32_t at, std::uint64_t count) {
    for (Region* region : collection.all<Region>()) {
        if (region->waveform() != &waveform)
            continue;
        RegionOverrides& own = region->overrides;
        for (auto* point : {&own.loopStart, &own.loopEnd}) {
            if (*point > at)
                *point = static_cast<std::uint32_t>(std::min<std::uint64_t>(*point + count, 0xFFFFFFFFu));
        }
    }
}

}  // namespace

bool convertLoop(Collection& collection, Waveform& waveform, const LoopConversion& options,
                 UserInterface* ui) {
    if (!waveform.looped || waveform.loopEnd <= waveform.loopStart || waveform.loopEnd > waveform.frames)
        return false;
    const bool alternating = waveform.loopMode == LoopMode::Alternating;
    const bool unroll = alternating ? options.alternatingToForward
                                    : options.backwardToForward && waveform.loopMode == LoopMode::Backward;
    const auto endFrame =
        static_cast<std::uint32_t>(std::min<double>(waveform.loopEnd + 0.999999, waveform.frames));
    const std::uint64_t after = waveform.frames - endFrame;
    if (!unroll && !(options.append32 && after < kFramesAfterLoop))
        return false;
    if (!waveform.loadSamples())
        return false;
    bool changed = false;
    if (unroll) {
        const auto start = static_cast<std::uint32_t>(roundToInteger(waveform.loopStart));
        const auto end = static_cast<std::uint32_t>(roundToInteger(waveform.loopEnd));
        const std::uint32_t length = end - std::min(start, end);
        if (length == 0)
            return false;
        if (!insertFrames(
                waveform, end, length, [end](std::uint64_t i) { return end - 1 - i; }, ui))
            return false;
        shiftOverrides(collection, waveform, end, length);
        waveform.setLoop(LoopMode::Forward, alternating ? start : end, static_cast<double>(end) + length);
        changed = true;
    }
    if (options.append32) {
        const auto start = static_cast<std::uint64_t>(waveform.loopStart);
        const auto end =
            static_cast<std::uint32_t>(std::min<double>(waveform.loopEnd + 0.999999, waveform.frames));
        const std::uint64_t length = std::max<std::uint64_t>(end - start, 1);
        const std::uint64_t missing =
            kFramesAfterLoop - std::min<std::uint64_t>(waveform.frames - end, kFramesAfterLoop);
        if (missing > 0) {
            const std::uint64_t present = waveform.frames - end;
            const bool turns = waveform.loopMode == LoopMode::Alternating;
            const bool backward = waveform.loopMode == LoopMode::Backward;
            const auto continued = [=](std::uint64_t i) {
                const std::uint64_t step = present + i;
                if (backward || (turns && step / length % 2 == 0))
                    return end - 1 - step % length;
                return start + step % length;
            };
            if (!insertFrames(waveform, waveform.frames, missing, continued, ui))
                return changed;
            changed = true;
        }
    }
    return changed;
}

}  // namespace velor
