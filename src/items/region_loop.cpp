#include "items/region_loop.h"

#include <algorithm>

#include "items/collection.h"

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

void limitLoopOverrides(const Waveform& waveform) {
    constexpr std::uint8_t kBoth = RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
    for (Region* region : waveform.owner().all<Region>()) {
        if (region->waveform() != &waveform)
            continue;
        RegionOverrides& own = region->overrides;
        own.loopStart = std::min(own.loopStart, waveform.frames);
        own.loopEnd = std::min(own.loopEnd, waveform.frames);
        if ((own.flags & kBoth) == kBoth && own.loopStart >= own.loopEnd)
            own.flags &= static_cast<std::uint8_t>(~kBoth);
    }
}

}  // namespace velor
