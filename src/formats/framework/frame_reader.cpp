#include "formats/framework/frame_reader.h"

#include <algorithm>

#include "base/error.h"
#include "formats/framework/sample_conversion.h"

namespace velor {

namespace {

void changeChannels(std::span<const float> from, int fromChannels, std::span<float> to) {
    if (fromChannels == 1) {
        for (std::size_t i = 0; i < from.size(); ++i)
            to[2 * i] = to[2 * i + 1] = from[i];
    } else {
        for (std::size_t i = 0; i < to.size(); ++i)
            to[i] = (from[2 * i] + from[2 * i + 1]) * 0.5f;
    }
}

}  // namespace

bool settleFrameCount(Waveform& waveform) {
    const auto source = waveform.source();
    return waveform.samplesLoaded() || (source && source->canStream()) || waveform.loadSamples();
}

bool FrameReader::open() {
    first_ = 0;
    failed_ = false;
    const auto source = waveform_.source();
    stream_.reset();
    if (!waveform_.samplesLoaded() && source && source->canStream())
        stream_ = source->openStream(waveform_);
    if (!stream_ && !waveform_.loadSamples()) {
        failed_ = true;
        return false;
    }
    if (stream_)
        decoded_.resize(std::size_t{kPieceFrames} * waveform_.channels);
    if (channels_ != waveform_.channels)
        mixed_.resize(std::size_t{kPieceFrames} * static_cast<unsigned>(channels_));
    return true;
}

bool FrameReader::next(std::span<const float>& samples) {
    const std::uint32_t count = std::min(kPieceFrames, waveform_.frames - first_);
    const std::size_t channels = waveform_.channels;
    if (failed_ || count == 0) {
        samples = {};
        return !failed_;
    }
    if (stream_) {
        if (!stream_->read(count, decoded_.data())) {
            failed_ = true;
            samples = {};
            return false;
        }
        samples = std::span<const float>(decoded_).first(count * channels);
    } else {
        samples = std::as_const(waveform_).samples().subspan(first_ * channels, count * channels);
    }
    first_ += count;
    if (channels_ != waveform_.channels) {
        const std::span<float> changed =
            std::span<float>(mixed_).first(std::size_t{count} * static_cast<unsigned>(channels_));
        changeChannels(samples, waveform_.channels, changed);
        samples = changed;
    }
    return true;
}

bool feed16(Waveform& waveform, int channels, UserInterface& ui, const Take16& take) {
    FrameReader reader(waveform, channels);
    if (!reader.open())
        return false;
    const std::size_t wanted = std::size_t{kTake16Frames} * static_cast<unsigned>(channels);
    std::vector<std::int16_t> piece(wanted);
    std::size_t filled = 0;
    for (std::span<const float> samples; reader.next(samples) && !samples.empty();) {
        while (!samples.empty()) {
            const std::size_t now = std::min(wanted - filled, samples.size());
            samplesTo16(samples.first(now), std::span(piece).subspan(filled, now));
            samples = samples.subspan(now);
            filled += now;
            if (filled < wanted)
                continue;
            take(piece);
            filled = 0;
        }
        ui.progress(static_cast<double>(reader.framesRead()) / static_cast<double>(waveform.frames));
        if (ui.aborted())
            return fail("Save aborted!");
    }
    if (reader.failed())
        return false;
    if (filled > 0)
        take(std::span<const std::int16_t>(piece).first(filled));
    return true;
}

}  // namespace velor
