#include "synth/wave_sink.h"

#include <algorithm>

#include "base/error.h"
#include "dsp/level.h"

namespace velor {

WaveSink::WaveSink(std::uint32_t capacity, std::uint32_t rate, const Options& options, UserInterface* ui)
    : buffer_(SampleBuffer::create(capacity, 2, static_cast<float>(rate))),
      capacity_(capacity),
      options_(options),
      ui_(ui) {}

bool WaveSink::ready() const {
    return buffer_ || fail(kOutOfMemory);
}

int WaveSink::percent() const {
    if (capacity_ == 0)
        return 100;
    std::uint64_t percent = (std::uint64_t{position_} * 100 + capacity_ / 2) / capacity_;
    if (options_.passes > 1)
        percent = (std::uint64_t{100} * options_.pass + options_.passes / 2 + percent) / options_.passes;
    return static_cast<int>(percent);
}

void WaveSink::write(const float* frames, std::uint32_t count) {
    count = std::min(count, capacity_ - position_);
    std::copy_n(frames, std::size_t{count} * 2, buffer_->data() + std::size_t{position_} * 2);
    position_ += count;
    untilProgress_ -= count;
    if (untilProgress_ > 0)
        return;
    untilProgress_ += kProgressInterval;
    if (ui_) {
        ui_->progress(percent() / 100.0);
        aborted_ = aborted_ || ui_->aborted();
    }
}

bool WaveSink::finish(Waveform& waveform) {
    std::fill(buffer_->data() + std::size_t{position_} * 2, buffer_->data() + std::size_t{capacity_} * 2,
              0.0f);
    if (options_.removeSilence) {
        const FrameRange heard = withoutSilence(buffer_->samples(), 2, kSilence);
        // A rendering without any sound stays as long as it is.
        if (heard.count > 0 && heard.count < capacity_) {
            SampleBufferRef shorter(SampleBuffer::create(heard.count, 2, buffer_->rate()));
            if (!shorter)
                return fail(kOutOfMemory);
            std::copy_n(buffer_->data() + std::size_t{heard.first} * 2, std::size_t{heard.count} * 2,
                        shorter->data());
            buffer_ = std::move(shorter);
        }
    }
    if (options_.normalise) {
        if (ui_)
            ui_->status("Normalizing Peak-value...");
        normalisePeak(buffer_->samples());
    }
    waveform.installBuffer(std::move(buffer_));
    buffer_ = {};
    return true;
}

}  // namespace velor
