#include "app/processing/audio/processes.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "base/rounding.h"
#include "base/text.h"
#include "dsp/editable_samples.h"
#include "dsp/frame_edit.h"
#include "dsp/loop_conversion.h"
#include "dsp/resampler.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velor::audio_processes {

namespace {

enum Rounding : std::size_t { kResampleLoop, kRepeatLoop, kMoveLoop };

constexpr ProcessParameter kParameters[] = {
    {.key = "fix",
     .label = "Repair loops that leave the data",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Points outside are moved to the first or last frame, exchanged points put in order, and loops "
             "without frames removed."},
    {.key = "whole",
     .label = "Round loop points to whole frames",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "The length is rounded once and both points move together."},
    {.key = "alternating",
     .label = "Convert alternating loops to forward ones",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Puts a turned copy of the loop behind it; sounds alike."},
    {.key = "backward",
     .label = "Convert backward loops to forward ones",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Puts a turned copy of the loop behind it and loops that; sounds alike."},
    {.key = "minimum",
     .label = "Repeat loops until they have at least",
     .kind = ProcessValueKind::Whole,
     .unit = "frames",
     .most = 1048576,
     .standard = 32,
     .help = "Some players fail with very short loops. 0 leaves them."},
    {.key = "multiple",
     .label = "Make the loop's length a multiple of",
     .kind = ProcessValueKind::Whole,
     .unit = "frames",
     .most = 4096,
     .help = "Some hardware loops in blocks, of 16 frames for example. 0 or 1 for any length."},
    {.key = "multiple-by",
     .label = "Reach that length by",
     .kind = ProcessValueKind::Choice,
     .words = "resample|repeat|move",
     .help =
         "resample: the whole waveform to a rate at which it fits, the pitch stays; repeat: the loop, as "
         "often as it takes; move: chooses the most alike points nearby, which changes the pitch of short "
         "loops."},
    {.key = "append",
     .label = "Make at least 32 frames follow the loop",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "They continue it, for players that read ahead."},
};

double whole(double frame) {
    return static_cast<double>(roundToInteger(frame));
}

bool isWhole(double frame) {
    return frame == std::floor(frame);
}

// One waveform on its way through the steps. Each gives false with LastErrorText.
class Sanitizer {
  public:
    explicit Sanitizer(ProcessJob& job) : job_(job), waveform_(job.waveform()), settings_(job.settings) {
        for (Region* region : job.collection().all<Region>()) {
            if (region->waveform() == &waveform_)
                regions_.emplace_back(region, region->overrides);
        }
    }

    ProcessOutcome run() {
        if (!steps()) {
            // The runner takes care of the waveform.
            for (const auto& [region, before] : regions_)
                region->overrides = before;
            return ProcessOutcome::Failed;
        }
        for (const auto& [region, before] : regions_)
            changed_ |= region->overrides != before;
        return changed_ ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
    }

  private:
    bool steps() {
        if (settings_.flag("fix") && !repair())
            return false;
        if (!waveform_.looped || !(waveform_.loopEnd > waveform_.loopStart) || !(waveform_.loopStart >= 0) ||
            waveform_.loopEnd > waveform_.frames)
            return true;
        if (settings_.flag("whole") || settings_.whole("multiple") > 1)
            roundPoints();
        return convertModes() && repeatShort() && fitMultiple() && append();
    }

    void setLoop(double start, double end) {
        changed_ |= waveform_.loopStart != start || waveform_.loopEnd != end;
        waveform_.loopStart = start;
        waveform_.loopEnd = end;
    }

    bool repair() {
        if (!waveform_.loadSamples())  // the frame count is certain only then
            return false;
        const double frames = waveform_.frames;
        if (waveform_.looped) {
            const auto inside = [frames](double point) {
                return point >= 0 ? std::min(point, frames) : 0.0;  // also where it is no number
            };
            const double start = inside(waveform_.loopStart), end = inside(waveform_.loopEnd);
            setLoop(std::min(start, end), std::max(start, end));
            if (waveform_.loopMode == LoopMode::None) {
                waveform_.loopMode = LoopMode::Forward;
                changed_ = true;
            }
            if (waveform_.loopStart == waveform_.loopEnd) {
                waveform_.clearLoop();
                changed_ = true;
            }
        }
        for (const auto& [region, before] : regions_) {
            RegionOverrides& own = region->overrides;
            const bool start = own.has(RegionOverrides::LoopStart), end = own.has(RegionOverrides::LoopEnd);
            own.loopStart = start ? std::min(own.loopStart, waveform_.frames) : own.loopStart;
            own.loopEnd = end ? std::min(own.loopEnd, waveform_.frames) : own.loopEnd;
            if (start && end && own.loopEnd < own.loopStart)
                std::swap(own.loopStart, own.loopEnd);
            const double first = start ? own.loopStart : waveform_.loopStart;
            const double last = end ? own.loopEnd : waveform_.loopEnd;
            if ((start || end) && last <= first) {
                own.flags &=
                    static_cast<std::uint8_t>(~(RegionOverrides::LoopStart | RegionOverrides::LoopEnd));
                if (own.looped && !(waveform_.loopEnd > waveform_.loopStart))
                    own.flags &=
                        static_cast<std::uint8_t>(~(RegionOverrides::Looped | RegionOverrides::LoopModeFlag));
            }
        }
        return true;
    }

    void roundPoints() {
        if (isWhole(waveform_.loopStart) && isWhole(waveform_.loopEnd))
            return;
        const double frames = waveform_.frames;
        const double length =
            std::clamp(whole(waveform_.loopEnd - waveform_.loopStart), 1.0, std::max(frames, 1.0));
        const double start = std::clamp(whole(waveform_.loopStart), 0.0, frames - length);
        setLoop(start, start + length);
    }

    bool convertModes() {
        const LoopMode mode = waveform_.loopMode;
        const LoopConversion conversion{.alternatingToForward = settings_.flag("alternating"),
                                        .append32 = false,
                                        .backwardToForward = settings_.flag("backward")};
        const bool convert = (mode == LoopMode::Alternating && conversion.alternatingToForward) ||
                             (mode == LoopMode::Backward && conversion.backwardToForward);
        if (!convert)
            return true;
        if (!waveform_.loadSamples())
            return false;
        if (waveform_.loopEnd + (waveform_.loopEnd - waveform_.loopStart) > 4294967295.0)
            return fail(kTooManyFrames);
        bool pinned = false;
        for (const auto& [region, before] : regions_)
            pinned |= prepareRegion(region->overrides, mode);
        LastErrorText.clear();
        if (!convertLoop(job_.collection(), waveform_, conversion, &job_.ui))
            return LastErrorText.empty();
        changed_ = true;
        if (pinned)
            job_.ui.warn({"Regions that loop \"" + displayText(job_.report.name) +
                              "\" in another way or elsewhere keep their loops",
                          "", 0});
        return true;
    }

    // Regions that play the waveform's own loop follow its new mode. Others get as their own what they had
    // from the waveform, and stay as they are; true for those.
    bool prepareRegion(RegionOverrides& own, LoopMode mode) const {
        const bool start = own.has(RegionOverrides::LoopStart), end = own.has(RegionOverrides::LoopEnd);
        const LoopMode played = own.has(RegionOverrides::LoopModeFlag) ? own.loopMode : mode;
        if (!start && !end && (played == mode || played == LoopMode::None)) {
            if (own.has(RegionOverrides::LoopModeFlag) && played == mode)
                own.loopMode = LoopMode::Forward;
            return false;
        }
        keepPoints(own);
        own.loopMode = played;
        own.flags |= RegionOverrides::LoopModeFlag;
        return true;
    }

    // Gives a region as its own what it has from the waveform.
    void keepPoints(RegionOverrides& own) const {
        if (!own.has(RegionOverrides::LoopStart))
            own.loopStart = static_cast<std::uint32_t>(whole(waveform_.loopStart));
        if (!own.has(RegionOverrides::LoopEnd))
            own.loopEnd = static_cast<std::uint32_t>(whole(waveform_.loopEnd));
        own.flags |= RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
    }

    // For steps that move the waveform's points alone: regions that share just one of them keep it.
    void keepSharedPoints() {
        for (const auto& [region, before] : regions_) {
            if (region->overrides.has(RegionOverrides::LoopStart) !=
                region->overrides.has(RegionOverrides::LoopEnd))
                keepPoints(region->overrides);
        }
    }

    bool wholeLoop(std::uint32_t& start, std::uint32_t& end) const {
        start = static_cast<std::uint32_t>(waveform_.loopStart);
        end = static_cast<std::uint32_t>(waveform_.loopEnd);
        return isWhole(waveform_.loopStart) && isWhole(waveform_.loopEnd) && end > start;
    }

    // Makes the loop `times` as long by copies of itself. Not backward ones, whose frames are played forward
    // once before the loop begins.
    bool repeatLoop(std::uint64_t times, UserInterface& ui) {
        std::uint32_t start = 0, end = 0;
        if (times < 2 || !wholeLoop(start, end) || waveform_.loopMode == LoopMode::Backward)
            return true;
        if (!waveform_.loadSamples())
            return false;
        const std::uint64_t length = end - start;
        // An alternating loop turns at its ends: its copies are turned and straight by turns.
        const bool turns = waveform_.loopMode == LoopMode::Alternating;
        const std::uint64_t added = length * (times - 1);
        if (added + waveform_.frames > 4294967295u)
            return fail(kTooManyFrames);
        SampleBufferRef copies(
            SampleBuffer::create(static_cast<std::uint32_t>(added), waveform_.channels, 0));
        if (!copies)
            return fail(kOutOfMemory);
        const std::size_t channels = waveform_.channels;
        const float* loop = std::as_const(waveform_).samples().data() + start * channels;
        for (std::uint64_t i = 0; i < added; ++i) {
            if (i % (1 << 16) == 0 && job_.ui.aborted())
                return fail(kProcessingCancelled);
            const std::uint64_t step = i % length;
            const std::uint64_t from = turns && i / length % 2 == 0 ? length - 1 - step : step;
            std::copy_n(loop + from * channels, channels, copies->data() + i * channels);
        }
        keepSharedPoints();
        FrameEdit edit(waveform_);
        edit.keep(0, end);
        edit.insert(std::as_const(*copies.get()).samples());
        edit.keep(end, waveform_.frames);
        if (!applyFrameEdit(job_.collection(), waveform_, edit, ui))
            return false;
        setLoop(start, static_cast<double>(start) + static_cast<double>(length * times));
        return true;
    }

    bool repeatShort() {
        const auto minimum = static_cast<double>(settings_.whole("minimum"));
        const double length = waveform_.loopEnd - waveform_.loopStart;
        PartProgress part(job_.ui, 0, 0.3);
        return length >= minimum || length < 1 ||
               repeatLoop(static_cast<std::uint64_t>(std::ceil(minimum / length)), part);
    }

    bool fitMultiple() {
        const auto multiple = static_cast<std::uint32_t>(settings_.whole("multiple"));
        std::uint32_t start = 0, end = 0;
        if (multiple < 2 || !wholeLoop(start, end) || (end - start) % multiple == 0)
            return true;
        if (!waveform_.loadSamples())
            return false;
        const std::uint32_t length = end - start;
        PartProgress part(job_.ui, 0.3, 1);
        switch (settings_.choice("multiple-by")) {
            case kRepeatLoop:
                if (waveform_.loopMode == LoopMode::Backward)
                    return fail("A backward loop can not be repeated; have it converted too");
                return repeatLoop(multiple / std::gcd(length, multiple), part);
            case kMoveLoop:
                return moveLoop(start, end, multiple);
            default:
                return resampleLoop(start, end, multiple, part);
        }
    }

    bool resampleLoop(std::uint32_t start, std::uint32_t end, std::uint32_t multiple, UserInterface& ui) {
        const double length = end - start;
        const double fitting = std::max(whole(length / multiple), 1.0) * multiple;
        const double ratio = fitting / length;
        const double first = whole(start * ratio);
        const double frames = std::max(whole(waveform_.frames * ratio), first + fitting);
        const double rate = std::max(whole(waveform_.sampleRate * ratio), waveform_.sampleRate ? 1.0 : 0.0);
        if (frames > 4294967295.0 || rate > 4294967295.0)
            return fail(kTooManyFrames);
        const auto newRate = static_cast<std::uint32_t>(rate);
        if (!Resample(waveform_, waveform_, static_cast<std::uint32_t>(frames), newRate,
                      static_cast<std::uint8_t>(ResampleMethod::FirAuto), ratio, &ui)) {
            if (LastErrorText == kResamplingAborted)
                return fail(kProcessingCancelled);
            return false;
        }
        waveform_.sampleRate = newRate;
        RescaleRegionLoops(job_.collection(), waveform_, static_cast<float>(ratio));
        setLoop(first, first + fitting);
        changed_ = true;
        return true;
    }

    // How much the surroundings of two frames differ: the mean square over those frames that both have.
    double difference(std::int64_t a, std::int64_t b) const {
        constexpr std::int64_t kCompared = 64;  // frames to each side
        const std::span<const float> samples = std::as_const(waveform_).samples();
        const auto channels = static_cast<std::int64_t>(waveform_.channels);
        double sum = 0;
        std::int64_t count = 0;
        for (std::int64_t i = -std::min(kCompared, a); i < kCompared && b + i < waveform_.frames; ++i) {
            for (std::int64_t channel = 0; channel < channels; ++channel) {
                const double step =
                    static_cast<double>(samples[static_cast<std::size_t>((a + i) * channels + channel)]) -
                    static_cast<double>(samples[static_cast<std::size_t>((b + i) * channels + channel)]);
                sum += std::isfinite(step) ? step * step : 0.0;
            }
            ++count;
        }
        return count > 0 ? sum / static_cast<double>(count) : 0.0;
    }

    bool moveLoop(std::uint32_t start, std::uint32_t end, std::uint32_t multiple) {
        const std::int64_t shorter = (end - start) / multiple * std::int64_t{multiple};
        double best = -1;
        std::int64_t bestStart = 0, bestEnd = 0;
        for (const std::int64_t length : {shorter, shorter + multiple}) {
            for (std::int64_t shift = 0; shift <= 2 * std::int64_t{multiple}; ++shift) {
                if (shift % 256 == 0 && job_.ui.aborted())
                    return fail(kProcessingCancelled);
                // 0, -1, 1, -2 …: the nearest of equals wins.
                const std::int64_t first = start + (shift % 2 ? -(shift + 1) / 2 : shift / 2);
                if (length == 0 || first < 0 || first + length > waveform_.frames)
                    continue;
                const double found = difference(first, first + length);
                if (best < 0 || found < best) {
                    best = found;
                    bestStart = first;
                    bestEnd = first + length;
                }
            }
        }
        if (best < 0)
            return fail("The waveform is too short for a loop of a multiple of so many frames");
        keepSharedPoints();
        setLoop(static_cast<double>(bestStart), static_cast<double>(bestEnd));
        return true;
    }

    bool append() {
        if (!settings_.flag("append"))
            return true;
        if (waveform_.frames > 4294967295u - 32)
            return fail(kTooManyFrames);
        LastErrorText.clear();
        if (convertLoop(job_.collection(), waveform_, {.append32 = true}, &job_.ui))
            changed_ = true;
        return LastErrorText.empty();
    }

    ProcessJob& job_;
    Waveform& waveform_;
    const ProcessSettings& settings_;
    std::vector<std::pair<Region*, RegionOverrides>> regions_;
    bool changed_ = false;
};

ProcessOutcome run(ProcessJob& job) {
    return Sanitizer(job).run();
}

}  // namespace

constinit const ProcessDefinition sanitizeLoops{
    run, kParameters,
    "Repairs loops and converts them into what simple players and hardware can play: whole points within the "
    "data, forward loops of a sensible length, and some frames behind them. What is heard stays the same but "
    "for rounding. Regions follow; those with loops of their own keep them."};

}  // namespace velor::audio_processes
