#include "app/processing/audio/stretch_tools.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"

namespace velor::audio_processes {

namespace {

constexpr std::size_t kBlock = 1 << 20;  // samples between two looks at the abort flag

// Whether any sample is beyond full scale. Tells of an abort.
bool beyondFullScale(std::span<const float> samples, UserInterface& ui, bool& aborted) {
    for (std::size_t at = 0; at < samples.size(); at += kBlock) {
        if (ui.aborted()) {
            aborted = true;
            return false;
        }
        for (const float sample : samples.subspan(at, std::min(kBlock, samples.size() - at))) {
            if (std::abs(sample) > 1.0f)
                return true;
        }
    }
    return false;
}

}  // namespace

bool warnOfOverload(ProcessJob& job, std::span<const float> before, const SampleBuffer& after) {
    bool aborted = false;
    if (beyondFullScale(after.samples(), job.ui, aborted) && !beyondFullScale(before, job.ui, aborted) &&
        !aborted)
        job.ui.warn(
            {"The result goes beyond full scale; lower its volume before saving it with whole-number "
             "samples",
             job.item.name()});
    return !aborted;
}

void installStretched(ProcessJob& job, const SampleBufferRef& buffer) {
    Waveform& waveform = job.waveform();
    const std::uint32_t rate = waveform.sampleRate;
    waveform.installBuffer(buffer);
    waveform.sampleRate = rate;
}

}  // namespace velor::audio_processes
