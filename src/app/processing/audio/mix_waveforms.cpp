#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/other_waveform.h"
#include "base/error.h"
#include "dsp/resampler.h"
#include "dsp/sample_blocks.h"

namespace velor::audio_processes {

namespace {

enum Length : std::size_t { kFirst, kLongest, kShortest };
enum Channels : std::size_t { kMost, kAsFirst };

constexpr ProcessParameter kParameters[] = {
    {.key = "a",
     .label = "a:",
     .kind = ProcessValueKind::Number,
     .least = -1000,
     .most = 1000,
     .standard = 1,
     .help = "What the waveform itself is multiplied by."},
    {.key = "wave",
     .label = "wave2:",
     .kind = ProcessValueKind::Wave,
     .help = "The other waveform. It is resampled when its rate differs, and stays as it is."},
    {.key = "b",
     .label = "b:",
     .kind = ProcessValueKind::Number,
     .least = -1000,
     .most = 1000,
     .standard = 1,
     .help = "What the other waveform is multiplied by; negative numbers turn its polarity."},
    {.key = "c",
     .label = "c:",
     .kind = ProcessValueKind::Number,
     .least = -1,
     .most = 1,
     .help = "A constant that is added to every sample, full scale being 1."},
    {.key = "offset",
     .label = "wave2 begins at:",
     .kind = ProcessValueKind::Whole,
     .unit = "wavesamples",
     .least = -4294967295.0,
     .most = 4294967295.0,
     .help = "Frame of the waveform; a negative one leaves out as much of the other."},
    {.key = "length",
     .label = "Length:",
     .kind = ProcessValueKind::Choice,
     .words = "first|longest|shortest",
     .help = "Of the result: that of the waveform, until both have ended, or until one has."},
    {.key = "channels",
     .label = "Channels:",
     .kind = ProcessValueKind::Choice,
     .words = "most|first",
     .help = "\"most\" makes stereo when either is; \"first\" keeps the waveform's own, a stereo wave2 then "
             "counts with its mean."},
};

// A copy of the other waveform at the rate. It is kept below half of full scale meanwhile, as resampling
// clips; `scale` is what it then has to be multiplied by. nullptr with LastErrorText.
std::unique_ptr<Collection> resampled(ProcessJob& job, const Waveform& other, std::uint32_t rate,
                                      float& scale) {
    auto made = std::make_unique<Collection>();
    Waveform* copy = made->create<Waveform>("wave2");
    copy->copyContentFrom(other);
    constexpr float kHeadroom = 0.5f;
    float peak = 0;
    if (!findPeak(other.samples(), job.ui, peak))
        return nullptr;
    if (peak > kHeadroom && std::isfinite(peak)) {
        scale = peak / kHeadroom;
        SampleBufferRef quiet = editableCopy(other, other.frames, job.ui);
        if (!quiet)
            return nullptr;
        if (!inBlocks(quiet->sampleCount(), job.ui, {0, 0}, [&](std::size_t first, std::size_t count) {
                for (float& sample : quiet->samples().subspan(first, count))
                    sample /= scale;
            }))
            return nullptr;
        installSamples(*copy, std::move(quiet));
    }
    if (!ResampleToRate(*copy, *copy, rate, static_cast<std::uint8_t>(ResampleMethod::FirAuto), nullptr,
                        &job.ui))
        return nullptr;
    return made;
}

// What of two waveforms goes into the result.
struct Mix {
    std::span<const float> first, second;
    std::size_t firstChannels, secondChannels, channels;
    std::int64_t offset;  // of the second in frames of the first
    float a, b, c;

    static float sampleOf(std::span<const float> samples, std::size_t channels, std::int64_t frame,
                          std::size_t channel, std::size_t wanted) {
        if (frame < 0 || static_cast<std::uint64_t>(frame) >= samples.size() / channels)
            return 0;
        const float* at = samples.data() + static_cast<std::size_t>(frame) * channels;
        if (channels == 2 && wanted == 1)
            return 0.5f * (at[0] + at[1]);
        return at[std::min(channel, channels - 1)];
    }
    float at(std::size_t frame, std::size_t channel) const {
        const auto place = static_cast<std::int64_t>(frame);
        return a * sampleOf(first, firstChannels, place, channel, channels) +
               b * sampleOf(second, secondChannels, place - offset, channel, channels) + c;
    }
};

// Loops can not reach beyond what a shorter result has.
void limitLoops(Collection& collection, Waveform& waveform) {
    const double frames = waveform.frames;
    if (waveform.looped && waveform.loopEnd > frames) {
        waveform.loopEnd = frames;
        if (!(waveform.loopStart < frames))
            waveform.clearLoop();
    }
    constexpr std::uint8_t kBoth = RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
    for (Region* region : collection.all<Region>()) {
        RegionOverrides& own = region->overrides;
        if (region->waveform() != &waveform)
            continue;
        own.loopStart = std::min(own.loopStart, waveform.frames);
        own.loopEnd = std::min(own.loopEnd, waveform.frames);
        if ((own.flags & kBoth) == kBoth && own.loopStart >= own.loopEnd)
            own.flags &= static_cast<std::uint8_t>(~kBoth);
    }
}

std::int64_t resultFrames(std::size_t length, std::int64_t first, std::int64_t secondEnd) {
    switch (length) {
        case kLongest:
            return std::max(first, secondEnd);
        case kShortest:
            return std::max<std::int64_t>(0, std::min(first, secondEnd));
        default:
            return first;
    }
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& set = job.settings;
    OtherWaveform other;
    if (!waveform.loadSamples() || !findOtherWaveform(job, set.text("wave"), other))
        return ProcessOutcome::Failed;
    const Waveform* second = other.waveform;
    std::unique_ptr<Collection> converted;
    float scale = 1;
    if (second->sampleRate != waveform.sampleRate && second->sampleRate > 0 && waveform.sampleRate > 0 &&
        second->frames > 0) {
        converted = resampled(job, *second, waveform.sampleRate, scale);
        if (!converted)
            return ProcessOutcome::Failed;
        second = converted->all<Waveform>().front();
    }
    const bool stereo = waveform.channels == 2 || (set.choice("channels") == kMost && second->channels == 2);
    const Mix mix{.first = std::as_const(waveform).samples(),
                  .second = second->samples(),
                  .firstChannels = waveform.channels,
                  .secondChannels = second->channels,
                  .channels = stereo ? 2u : 1u,
                  .offset = set.whole("offset"),
                  .a = static_cast<float>(set.number("a")),
                  .b = static_cast<float>(set.number("b")) * scale,
                  .c = static_cast<float>(set.number("c"))};
    const std::int64_t frames =
        resultFrames(set.choice("length"), waveform.frames, mix.offset + second->frames);
    if (frames > std::numeric_limits<std::uint32_t>::max())
        return processFailed("The mixed waveform would be too long");
    SampleBufferRef made(SampleBuffer::create(static_cast<std::uint32_t>(frames),
                                              static_cast<std::uint8_t>(mix.channels),
                                              static_cast<float>(waveform.sampleRate)));
    if (!made)
        return processFailed(kOutOfMemory);
    if (!inBlocks(static_cast<std::size_t>(frames), job.ui, {}, [&](std::size_t first, std::size_t count) {
            for (std::size_t i = first; i < first + count; ++i) {
                for (std::size_t c = 0; c < mix.channels; ++c)
                    made->data()[i * mix.channels + c] = mix.at(i, c);
            }
        }))
        return ProcessOutcome::Failed;
    float first = 0, added = 0, after = 0;
    if (!findPeak(mix.first, job.ui, first) || !findPeak(mix.second, job.ui, added) ||
        !findPeak(made->samples(), job.ui, after))
        return ProcessOutcome::Failed;
    installSamples(waveform, std::move(made));
    limitLoops(job.collection(), waveform);
    warnAboveFullScale(job, std::max(first, scale * added), after);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition mixWaveforms{
    run, kParameters,
    "Makes a times the waveform plus b times another one plus c. Root key, tuning and loop stay those of the "
    "waveform; a loop that reaches beyond a shorter result ends with it. Sums above full scale are kept and "
    "reported."};

}  // namespace velor::audio_processes
