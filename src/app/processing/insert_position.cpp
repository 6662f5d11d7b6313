#include "app/processing/insert_position.h"

#include <algorithm>

#include "dsp/frame_edit.h"

namespace velor {

std::uint32_t insertPosition(const ProcessJob& job) {
    const Waveform& waveform = job.waveform();
    if (job.context.selection)
        return job.range().first;
    switch (job.settings.choice("position")) {
        case 1:
            return waveform.frames;
        case 2:
            return static_cast<std::uint32_t>(std::min<std::uint64_t>(
                framesOfTime(job.settings.number("time"), waveform.sampleRate), waveform.frames));
        default:
            return 0;
    }
}

}  // namespace velor
