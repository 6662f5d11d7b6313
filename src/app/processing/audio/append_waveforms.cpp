#include "app/processing/adapted_waveform.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/other_waveform.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/frame_edit.h"
#include "dsp/sample_blocks.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velor::audio_processes {

namespace {

enum How : std::size_t { kAppend, kBefore, kRight, kLeft };

constexpr ProcessParameter kParameters[] = {
    {.key = "wave",
     .label = "Other waveform",
     .kind = ProcessValueKind::Wave,
     .help = "A waveform of the collection by its name or #number, or a file, whose first waveform counts."},
    {.key = "how",
     .label = "Put the other waveform",
     .kind = ProcessValueKind::Choice,
     .words = "append|before|right|left",
     .help = "Behind this one, before it, or beside it as the right or left channel of a stereo waveform; of "
             "stereo waveforms the mean of both channels goes into one."},
    {.key = "gap",
     .label = "Gap between both",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .least = -600000,
     .most = 600000,
     .help = "Silence; below 0 both overlap by that much in a cross-fade, at most by all of the shorter one. "
             "Not for "
             "channels."},
    {.key = "curve",
     .label = "Cross-fade curve",
     .kind = ProcessValueKind::Choice,
     .standard = 1,
     .words = "linear|power",
     .help = "power keeps the level of sounds that differ, linear that of two takes of one sound."},
    {.key = "channels",
     .label = "Channels of the result",
     .kind = ProcessValueKind::Choice,
     .words = "widest|keep",
     .help = "widest: stereo when one of both is; keep: those of this waveform."},
};

// Fades `out` away while `in` comes up, over the whole of both.
struct Overlap {
    SampleBufferRef mixed;
    float peak = 0;

    // Sample(frame, channel) gives what fades out or in. False with LastErrorText.
    template <typename Out, typename In>
    bool make(std::uint32_t frames, std::uint8_t channels, bool equalPower, Out out, In in,
              UserInterface& ui) {
        mixed = SampleBufferRef(SampleBuffer::create(frames, channels, 0));
        if (!mixed)
            return fail(kOutOfMemory);
        return inBlocks(frames, ui, {0.6, 0.6}, [&](std::size_t first, std::size_t count) {
            for (std::size_t i = first; i < first + count; ++i) {
                const double share = (static_cast<double>(i) + 0.5) / frames;
                const double rise = equalPower ? std::sin(share * std::numbers::pi / 2) : share;
                const double fall = equalPower ? std::cos(share * std::numbers::pi / 2) : 1 - share;
                for (unsigned channel = 0; channel < channels; ++channel) {
                    const double sum = fall * static_cast<double>(out(i, channel)) +
                                       rise * static_cast<double>(in(i, channel));
                    const float sample = std::isfinite(sum) ? static_cast<float>(sum) : 0.0f;
                    mixed->data()[i * channels + channel] = sample;
                    peak = std::max(peak, std::abs(sample));
                }
            }
        });
    }
};

ProcessOutcome join(ProcessJob& job, Waveform& other, bool before) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& set = job.settings;
    const auto channels = static_cast<std::uint8_t>(
        set.choice("channels") == 0 ? std::max(waveform.channels, other.channels) : waveform.channels);
    PartProgress adapting(job.ui, 0, 0.6);
    const SampleBufferRef frames = adaptFrames(other, waveform, channels, adapting);
    if (!frames)
        return ProcessOutcome::Failed;
    const std::span<const float> others = std::as_const(*frames.get()).samples();
    const double gap = set.number("gap");
    const auto overlap = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        framesOfTime(-gap, waveform.sampleRate), std::min(waveform.frames, frames->frames())));
    const std::uint32_t ownFrom = before ? 0 : waveform.frames - overlap;
    const std::uint32_t otherFrom = before ? frames->frames() - overlap : 0;
    const std::span<const float> own = std::as_const(waveform).samples();
    const auto ownSample = [&](std::size_t i, unsigned channel) {
        return own[(ownFrom + i) * waveform.channels + std::min<unsigned>(channel, waveform.channels - 1u)];
    };
    const auto otherSample = [&](std::size_t i, unsigned channel) {
        return others[(otherFrom + i) * channels + channel];
    };
    Overlap faded;
    const bool power = set.choice("curve") == 1;
    if (overlap > 0 && !(before ? faded.make(overlap, channels, power, otherSample, ownSample, job.ui)
                                : faded.make(overlap, channels, power, ownSample, otherSample, job.ui)))
        return ProcessOutcome::Failed;
    const std::span<const float> mixed =
        overlap > 0 ? std::as_const(*faded.mixed.get()).samples() : std::span<const float>();
    const std::uint64_t silence = framesOfTime(gap, waveform.sampleRate);

    FrameEdit edit(waveform, channels);
    if (before) {
        edit.insert(others.first(std::size_t{otherFrom} * channels));
        edit.silence(silence);
        edit.replace(0, overlap, mixed);
        edit.keep(overlap, waveform.frames);
    } else {
        edit.keep(0, ownFrom);
        edit.replace(ownFrom, waveform.frames, mixed);
        edit.silence(silence);
        edit.insert(others.subspan(std::size_t{overlap} * channels));
    }
    PartProgress building(job.ui, 0.6, 1);
    if (!applyFrameEdit(job.collection(), waveform, edit, building))
        return ProcessOutcome::Failed;
    warnAboveFullScale(job, 0, faded.peak);
    return ProcessOutcome::Changed;
}

ProcessOutcome combineChannels(ProcessJob& job, Waveform& other, bool otherRight) {
    Waveform& waveform = job.waveform();
    PartProgress adapting(job.ui, 0, 0.4);
    PartProgress folding(job.ui, 0.4, 0.5);
    const SampleBufferRef others = adaptFrames(other, waveform, 1, adapting);
    const SampleBufferRef own = others ? adaptFrames(waveform, waveform, 1, folding) : SampleBufferRef();
    if (!own)
        return ProcessOutcome::Failed;
    const std::uint32_t frames = std::max(own->frames(), others->frames());
    const SampleBufferRef both(SampleBuffer::create(frames, 2, 0));
    if (!both)
        return processFailed(kOutOfMemory);
    const SampleBuffer& left = otherRight ? *own.get() : *others.get();
    const SampleBuffer& right = otherRight ? *others.get() : *own.get();
    if (!inBlocks(frames, job.ui, {0.5, 0.5}, [&](std::size_t first, std::size_t count) {
            for (std::size_t i = first; i < first + count; ++i) {
                both->data()[2 * i] = i < left.frames() ? left.data()[i] : 0.0f;
                both->data()[2 * i + 1] = i < right.frames() ? right.data()[i] : 0.0f;
            }
        }))
        return ProcessOutcome::Failed;
    const std::span<const float> samples = std::as_const(*both.get()).samples();
    FrameEdit edit(waveform, 2);
    edit.replace(0, own->frames(), samples);
    edit.insert(samples.subspan(std::size_t{own->frames()} * 2));
    PartProgress building(job.ui, 0.5, 1);
    return applyFrameEdit(job.collection(), waveform, edit, building) ? ProcessOutcome::Changed
                                                                      : ProcessOutcome::Failed;
}

ProcessOutcome run(ProcessJob& job) {
    OtherWaveform other;
    if (!findOtherWaveform(job, job.settings.text("wave"), other) || !job.waveform().loadSamples())
        return ProcessOutcome::Failed;
    if (other.waveform->frames == 0)
        return processFailed("The other waveform is empty");
    const std::size_t how = job.settings.choice("how");
    return how == kRight || how == kLeft ? combineChannels(job, *other.waveform, how == kRight)
                                         : join(job, *other.waveform, how == kBefore);
}

}  // namespace

constinit const ProcessDefinition appendWaveforms{
    run, kParameters,
    "Joins another waveform to this one: behind it, before it, or as its other channel. It is resampled to "
    "this one's rate and made as loud as it plays by itself. Name, root key, tuning and loop stay this "
    "one's; "
    "the loop and the loop points of regions move with their frames. The other waveform stays as it is."};

}  // namespace velor::audio_processes
