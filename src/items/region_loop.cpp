#include "items/region_loop.h"

#include <algorithm>

namespace velor {

RegionLoop regionLoop(const Waveform& waveform, const RegionOverrides& overrides) {
    RegionLoop loop;
    loop.on = overrides.has(RegionOverrides::Looped) ? overrides.looped : waveform.looped;
    loop.mode = overrides.has(RegionOverrides::LoopModeFlag) ? overrides.loopMode : waveform.loopMode;
    loop.start = overrides.has(RegionOverrides::LoopStart) ? overrides.loopStart : waveform.loopStart;
    loop.end = overrides.has(RegionOverrides::LoopEnd) ? overrides.loopEnd : waveform.loopEnd;
    loop.untilRelease = waveform.loopUntilRelease || waveform.playThrough;
    // A region that switches the loop on need not name a mode.
    if (loop.on && loop.mode == LoopMode::None)
        loop.mode = LoopMode::Forward;
    loop.end = std::min(loop.end, static_cast<double>(waveform.frames));
    if (!loop.on || !(loop.start >= 0) || !(loop.end - loop.start >= 1))
        loop = {};
    return loop;
}

}  // namespace velor
