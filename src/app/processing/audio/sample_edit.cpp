#include "app/processing/audio/sample_edit.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "dsp/sample_blocks.h"

namespace velor {

namespace {

constexpr float kRoundingSlack = 1.0001f;  // a peak that rounding has put above 1 is no news

}  // namespace

FrameSelection chosenFrames(const ProcessJob& job) {
    const auto& selection = job.context.selection;
    return selection && selection->end > selection->first ? job.range()
                                                          : FrameSelection{0, job.waveform().frames};
}

void warnAboveFullScale(ProcessJob& job, float before, float after) {
    if (!(after > kRoundingSlack) || after <= before)
        return;
    job.ui.warn(
        {formatText("\"%s\" now peaks %.2f dB above full scale; files of integer samples will clip it",
                    displayText(job.item.name()).c_str(), decibelsOfFactor(static_cast<double>(after))),
         {},
         0});
}

bool findPeak(std::span<const float> samples, UserInterface& ui, float& peak) {
    peak = 0;
    for (std::size_t at = 0; at < samples.size(); at += kBlockFrames) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        peak = std::max(peak, peakOf(samples.subspan(at, std::min(kBlockFrames, samples.size() - at))));
    }
    return true;
}

ProcessOutcome editSamples(ProcessJob& job, FrameSelection range, const SampleWork& work,
                           double progressFrom) {
    Waveform& waveform = job.waveform();
    if (range.first >= range.end)
        return ProcessOutcome::Unchanged;
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    const std::size_t channels = waveform.channels;
    float before = 0, after = 0;
    if (!inBlocks(range.end - range.first, job.ui, {progressFrom, 1}, [&](std::size_t at, std::size_t count) {
            const std::size_t first = range.first + at;
            const auto piece = copy->samples().subspan(first * channels, count * channels);
            before = std::max(before, peakOf(piece));
            work(piece, static_cast<std::uint32_t>(first));
            after = std::max(after, peakOf(piece));
        }))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(copy));
    warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

float fullScaleOf(const Waveform& waveform) {
    const bool integers = waveform.format == SampleFormat::Pcm8 || waveform.format == SampleFormat::Pcm16 ||
                          waveform.format == SampleFormat::Pcm24;
    return integers && waveform.bits >= 2 && waveform.bits <= 24 ? 1.0f - std::ldexp(1.0f, 1 - waveform.bits)
                                                                 : 1.0f;
}

}  // namespace velor
