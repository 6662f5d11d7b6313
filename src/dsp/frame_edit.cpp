#include "dsp/frame_edit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/editable_samples.h"

namespace velor {

namespace {

constexpr std::uint64_t kMostFrames = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kBlock = 1 << 17;      // frames copied between two looks at the abort flag
constexpr std::uint64_t kFadeBlock = 1 << 14;  // and faded, at a cosine each

float finite(float sample) {
    return std::isfinite(sample) ? sample : 0.0f;
}

// The share of what fades in at frame i of `length`; symmetric, so that both sides add up to 1.
double fadeIn(std::uint64_t i, std::uint64_t length) {
    return 0.5 -
           0.5 * std::cos(std::numbers::pi * (static_cast<double>(i) + 0.5) / static_cast<double>(length));
}

template <typename Frame>
bool inBlocks(std::uint64_t count, std::uint64_t block, UserInterface& ui, Frame frame) {
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i % block == 0 && ui.aborted())
            return fail(kProcessingCancelled);
        frame(i);
    }
    return true;
}

bool hasPoints(const Waveform& waveform) {
    return waveform.loopEnd > waveform.loopStart;
}

std::uint32_t wholeFrame(double frame) {
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(roundToInteger(frame), 0, static_cast<std::int64_t>(kMostFrames)));
}

struct WaveformLoop {
    explicit WaveformLoop(const Waveform& waveform)
        : points{waveform.loopStart, waveform.loopEnd}, on(waveform.looped), mode(waveform.loopMode) {}
    LoopPoints points;
    bool on;
    LoopMode mode;
};

// A region's loop is made of its own values and, where it has none, of the waveform's old ones.
void mapRegionLoop(RegionOverrides& own, const Waveform& waveform, const WaveformLoop& before,
                   const FrameEdit& edit) {
    const bool start = own.has(RegionOverrides::LoopStart);
    const bool end = own.has(RegionOverrides::LoopEnd);
    const LoopPoints old{start ? own.loopStart : before.points.start, end ? own.loopEnd : before.points.end};
    if (start || end) {
        if (const std::optional<LoopPoints> loop = edit.mapLoop(old)) {
            // A point that was the waveform's becomes the region's own where the waveform's went elsewhere.
            if (start || loop->start != waveform.loopStart) {
                own.loopStart = wholeFrame(loop->start);
                own.flags |= RegionOverrides::LoopStart;
            }
            if (end || loop->end != waveform.loopEnd) {
                own.loopEnd = wholeFrame(loop->end);
                own.flags |= RegionOverrides::LoopEnd;
            }
            // So do the switch and the mode of a loop that the waveform lost and the region did not.
            if (before.on && !waveform.looped && !own.has(RegionOverrides::Looped)) {
                own.looped = true;
                if (!own.has(RegionOverrides::LoopModeFlag))
                    own.loopMode = before.mode;
                own.flags |= RegionOverrides::Looped | RegionOverrides::LoopModeFlag;
            }
            return;
        }
        own.flags &= static_cast<std::uint8_t>(~(RegionOverrides::LoopStart | RegionOverrides::LoopEnd));
    }
    // Nothing is left that the region could loop.
    if (old.end > old.start && !hasPoints(waveform)) {
        if (own.looped)
            own.flags &= static_cast<std::uint8_t>(~RegionOverrides::Looped);
        own.flags &= static_cast<std::uint8_t>(~RegionOverrides::LoopModeFlag);
    }
}

}  // namespace

FrameEdit::FrameEdit(const Waveform& waveform, std::uint8_t channels)
    : own_(waveform.samples()),
      rate_(waveform.sampleRate),
      ownChannels_(std::max<unsigned>(waveform.channels, 1)),
      ownFrames_(std::min<std::uint64_t>(waveform.frames, own_.size() / ownChannels_)),
      channels_(channels ? channels : static_cast<std::uint8_t>(ownChannels_)) {}

void FrameEdit::add(bool own, const float* samples, std::uint64_t first, std::uint64_t count) {
    if (count == 0)
        return;
    pieces_.push_back({own, samples, first, count, total_});
    // Sums of settings and lengths stay far below 2^64; what is above 2^32 only needs to be known as that.
    total_ = std::min(total_ + count, std::uint64_t{1} << 62);
}

void FrameEdit::keep(std::uint32_t first, std::uint32_t end) {
    const std::uint64_t last = std::min<std::uint64_t>(end, ownFrames_);
    if (first >= last)
        return;
    if (!pieces_.empty()) {
        Piece& before = pieces_.back();
        if (before.own && !before.samples && before.first + before.count == first) {
            before.count += last - first;
            total_ += last - first;
            return;
        }
    }
    add(true, nullptr, first, last - first);
}

void FrameEdit::replace(std::uint32_t first, std::uint32_t end, std::span<const float> with) {
    add(true, with.data(), first, std::min<std::uint64_t>(end - first, with.size() / channels_));
}

void FrameEdit::insert(std::span<const float> frames) {
    add(false, frames.data(), 0, frames.size() / channels_);
}

void FrameEdit::silence(std::uint64_t frames) {
    add(false, nullptr, 0, std::min(frames, std::uint64_t{1} << 40));
}

bool FrameEdit::changesNothing() const {
    if (channels_ != ownChannels_ || total_ != ownFrames_)
        return false;
    return pieces_.empty() || (pieces_.size() == 1 && pieces_[0].own && !pieces_[0].samples);
}

float FrameEdit::ownSample(std::uint64_t frame, unsigned channel) const {
    return own_[frame * ownChannels_ + std::min(channel, ownChannels_ - 1)];
}

bool FrameEdit::copy(const Piece& piece, float* result, UserInterface& ui) const {
    float* to = result + piece.at * channels_;
    const bool plain = piece.samples || channels_ == ownChannels_;
    const float* from = piece.samples ? piece.samples : own_.data() + piece.first * ownChannels_;
    for (std::uint64_t done = 0; done < piece.count; done += kBlock) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        ui.progress(static_cast<double>(piece.at + done) / static_cast<double>(total_));
        const std::uint64_t count = std::min(kBlock, piece.count - done);
        float* out = to + done * channels_;
        if (!piece.own && !piece.samples) {
            std::fill_n(out, count * channels_, 0.0f);
        } else if (plain) {
            std::copy_n(from + done * channels_, count * channels_, out);
        } else {
            for (std::uint64_t i = 0; i < count; ++i) {
                for (unsigned channel = 0; channel < channels_; ++channel)
                    out[i * channels_ + channel] = ownSample(piece.first + done + i, channel);
            }
        }
    }
    return true;
}

bool FrameEdit::fadeJoin(const Piece& left, const Piece& right, float* result, UserInterface& ui) const {
    const bool keptLeft = left.own && !left.samples;
    const bool keptRight = right.own && !right.samples;
    const std::uint64_t leftEnd = left.first + left.count;
    if (keptLeft && keptRight) {
        const std::uint64_t half =
            std::min({joinFade_ / 2, left.count / 2, right.count / 2, ownFrames_ - leftEnd, right.first});
        float* to = result + (right.at - half) * channels_;
        return inBlocks(2 * half, kFadeBlock, ui, [&](std::uint64_t i) {
            const double share = fadeIn(i, 2 * half);
            for (unsigned channel = 0; channel < channels_; ++channel)
                to[i * channels_ + channel] = static_cast<float>(
                    (1 - share) * static_cast<double>(finite(ownSample(leftEnd - half + i, channel))) +
                    share * static_cast<double>(finite(ownSample(right.first - half + i, channel))));
        });
    }
    if (keptLeft && !right.own) {
        const std::uint64_t length = std::min({joinFade_, right.count / 2, ownFrames_ - leftEnd});
        float* to = result + right.at * channels_;
        return inBlocks(length, kFadeBlock, ui, [&](std::uint64_t i) {
            const double share = fadeIn(i, length);
            for (unsigned channel = 0; channel < channels_; ++channel) {
                float& sample = to[i * channels_ + channel];
                sample = static_cast<float>((1 - share) *
                                                static_cast<double>(finite(ownSample(leftEnd + i, channel))) +
                                            share * static_cast<double>(finite(sample)));
            }
        });
    }
    if (keptRight && !left.own) {
        const std::uint64_t length = std::min({joinFade_, left.count / 2, right.first});
        float* to = result + (right.at - length) * channels_;
        return inBlocks(length, kFadeBlock, ui, [&](std::uint64_t i) {
            const double share = fadeIn(i, length);
            for (unsigned channel = 0; channel < channels_; ++channel) {
                float& sample = to[i * channels_ + channel];
                sample = static_cast<float>(
                    (1 - share) * static_cast<double>(finite(sample)) +
                    share * static_cast<double>(finite(ownSample(right.first - length + i, channel))));
            }
        });
    }
    return true;
}

bool FrameEdit::fadeResultEnds(float* result, UserInterface& ui) const {
    const Piece& first = pieces_.front();
    const Piece& last = pieces_.back();
    const std::uint64_t length = std::min(endFade_, total_ / 2);
    const auto fade = [&](std::uint64_t i, std::uint64_t frame) {
        for (unsigned channel = 0; channel < channels_; ++channel) {
            float& sample = result[frame * channels_ + channel];
            sample = static_cast<float>(fadeIn(i, length) * static_cast<double>(finite(sample)));
        }
    };
    if (first.own && first.first > 0 &&
        !inBlocks(length, kFadeBlock, ui, [&](std::uint64_t i) { fade(i, i); }))
        return false;
    return !(last.own && last.first + last.count < ownFrames_) ||
           inBlocks(length, kFadeBlock, ui, [&](std::uint64_t i) { fade(i, total_ - 1 - i); });
}

SampleBufferRef FrameEdit::build(UserInterface& ui) const {
    if (total_ == 0) {
        fail(kNothingLeft);
        return {};
    }
    if (total_ > kMostFrames) {
        fail(kTooManyFrames);
        return {};
    }
    SampleBufferRef buffer(
        SampleBuffer::create(static_cast<std::uint32_t>(total_), channels_, static_cast<float>(rate_)));
    if (!buffer) {
        fail(kOutOfMemory);
        return {};
    }
    for (const Piece& piece : pieces_) {
        if (!copy(piece, buffer->data(), ui))
            return {};
    }
    for (std::size_t i = 1; joinFade_ > 0 && i < pieces_.size(); ++i) {
        if (!fadeJoin(pieces_[i - 1], pieces_[i], buffer->data(), ui))
            return {};
    }
    if (endFade_ > 0 && !fadeResultEnds(buffer->data(), ui))
        return {};
    return buffer;
}

std::optional<LoopPoints> FrameEdit::mapLoop(const LoopPoints& loop) const {
    const auto frames = static_cast<double>(ownFrames_);
    const double start = std::clamp(loop.start, 0.0, frames);
    const double end = std::clamp(loop.end, 0.0, frames);
    if (!(end > start))
        return {};
    const auto firstFrame = static_cast<std::uint64_t>(start);
    const auto lastFrame = static_cast<std::uint64_t>(std::ceil(end)) - 1;
    const auto first = std::ranges::find_if(
        pieces_, [&](const Piece& piece) { return piece.own && piece.first + piece.count > firstFrame; });
    if (first == pieces_.end() || first->first > lastFrame)
        return {};
    LoopPoints mapped;
    mapped.start = static_cast<double>(first->at);
    if (first->first <= firstFrame)
        mapped.start += start - static_cast<double>(first->first);
    // One piece at least begins at or before the loop's last frame: the one found above.
    auto last = pieces_.end();
    do
        --last;
    while (!(last->own && last->first <= lastFrame));
    mapped.end = static_cast<double>(last->at);
    if (last->first + last->count > lastFrame)
        mapped.end += end - static_cast<double>(last->first);
    else
        mapped.end += static_cast<double>(last->count);
    return mapped;
}

void moveRegionLoop(Region& region, const Waveform& before, const Waveform& after, const FrameEdit& edit) {
    mapRegionLoop(region.overrides, after, WaveformLoop(before), edit);
}

bool applyFrameEdit(Collection& collection, Waveform& waveform, const FrameEdit& edit, UserInterface& ui) {
    SampleBufferRef buffer = edit.build(ui);
    if (!buffer)
        return false;
    waveform.replaceSamples(std::move(buffer));
    const WaveformLoop before(waveform);
    const std::optional<LoopPoints> loop = edit.mapLoop(before.points);
    waveform.loopStart = loop ? loop->start : 0;
    waveform.loopEnd = loop ? loop->end : 0;
    if (waveform.looped && !loop)
        waveform.clearLoop();
    for (Region* region : collection.all<Region>()) {
        if (region->waveform() == &waveform)
            mapRegionLoop(region->overrides, waveform, before, edit);
    }
    return true;
}

std::uint64_t framesOfTime(double milliseconds, std::uint32_t rate) {
    const double frames = milliseconds * rate / 1000;
    return static_cast<std::uint64_t>(
        std::clamp<std::int64_t>(roundToInteger(frames), 0, std::int64_t{1} << 32));
}

}  // namespace velor
