#include "dsp/editable_samples.h"

#include <algorithm>

#include "base/error.h"

namespace velor {

namespace {

constexpr std::size_t kBlock = 1 << 18;  // samples between two looks at the abort flag: some milliseconds

}  // namespace

SampleBufferRef editableCopy(const Waveform& waveform, std::uint32_t frames, UserInterface& ui) {
    SampleBufferRef copy(
        SampleBuffer::create(frames, waveform.channels, static_cast<float>(waveform.sampleRate)));
    if (!copy) {
        fail(kOutOfMemory);
        return {};
    }
    const std::span<const float> from = waveform.samples();
    const std::size_t kept = std::min(from.size(), copy->sampleCount());
    for (std::size_t at = 0; at < kept; at += kBlock) {
        if (ui.aborted()) {
            fail(kProcessingCancelled);
            return {};
        }
        std::copy_n(from.data() + at, std::min(kBlock, kept - at), copy->data() + at);
    }
    std::fill(copy->data() + kept, copy->data() + copy->sampleCount(), 0.0f);
    return copy;
}

}  // namespace velor
