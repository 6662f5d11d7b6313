#include "app/processing/adapted_waveform.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/insert_position.h"
#include "app/processing/other_waveform.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/frame_edit.h"
#include "dsp/sample_blocks.h"

#include <algorithm>
#include <cmath>

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "wave",
     .label = "Waveform to insert",
     .kind = ProcessValueKind::Wave,
     .help = "A waveform of the collection by its name or #number, or a file, whose first waveform counts."},
    kInsertPosition,
    kInsertTime,
    {.key = "mix",
     .label = "Mix over what is there instead of moving it",
     .kind = ProcessValueKind::Switch,
     .help = "Adds both; the waveform gets longer only where the other one ends later."},
    {.key = "level",
     .label = "Level of the inserted waveform",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -96,
     .most = 24,
     .help = "0 keeps it as loud as it plays by itself."},
    {.key = "fade",
     .label = "Cross-fade where both meet",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 10000,
     .help = "Keeps the edges from clicking, at the cost of the inserted waveform's own. 0 for none; not for "
             "mixing over."},
};

// Scales the frames and adds those of the waveform from `position` on, as far as both go. False when aborted.
bool mixIn(std::span<float> frames, const Waveform& waveform, std::size_t position, float factor, bool add,
           float& peak, UserInterface& ui) {
    const std::span<const float> own = waveform.samples();
    const std::size_t from = position * waveform.channels;
    const std::size_t both = add && from < own.size() ? std::min(frames.size(), own.size() - from) : 0;
    return inBlocks(frames.size(), ui, {0.6, 0.7}, [&](std::size_t first, std::size_t count) {
        for (std::size_t i = first; i < first + count; ++i) {
            frames[i] *= factor;
            if (i < both) {
                const float sum = frames[i] + own[from + i];
                frames[i] = std::isfinite(sum) ? sum : 0.0f;
            }
            peak = std::max(peak, std::abs(frames[i]));
        }
    });
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    OtherWaveform other;
    if (!findOtherWaveform(job, job.settings.text("wave"), other) || !waveform.loadSamples())
        return ProcessOutcome::Failed;
    if (other.waveform->frames == 0)
        return ProcessOutcome::Unchanged;
    PartProgress adapting(job.ui, 0, 0.6);
    const SampleBufferRef frames = adaptFrames(*other.waveform, waveform, waveform.channels, adapting);
    if (!frames)
        return ProcessOutcome::Failed;
    const bool mix = job.settings.flag("mix");
    const std::uint32_t position = insertPosition(job);
    const auto factor = static_cast<float>(factorOfDecibels(job.settings.number("level")));
    float peak = 0;
    if (!mixIn(frames->samples(), waveform, position, factor, mix, peak, job.ui))
        return ProcessOutcome::Failed;
    const std::span<const float> inserted = std::as_const(*frames.get()).samples();
    FrameEdit edit(waveform);
    edit.keep(0, position);
    if (mix) {
        const std::uint32_t both = std::min(frames->frames(), waveform.frames - position);
        edit.replace(position, position + both, inserted);
        edit.insert(inserted.subspan(std::size_t{both} * waveform.channels));
        edit.keep(position + both, waveform.frames);
    } else {
        edit.insert(inserted);
        edit.keep(position, waveform.frames);
        edit.fadeJoins(framesOfTime(job.settings.number("fade"), waveform.sampleRate));
    }
    PartProgress building(job.ui, 0.7, 1);
    if (!applyFrameEdit(job.collection(), waveform, edit, building))
        return ProcessOutcome::Failed;
    warnAboveFullScale(job, 0, peak);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition insertWaveform{
    run, kParameters,
    "Inserts the frames of another waveform before the selection, at the cursor, or where the settings say, "
    "resampled to this one's rate, in its channels and as loud as they play by themselves. Loops behind them "
    "move with their frames, also where regions have loop points of their own; a loop around them gets "
    "longer. "
    "Root key and tuning stay those of the waveform that is inserted into."};

}  // namespace velor::audio_processes
