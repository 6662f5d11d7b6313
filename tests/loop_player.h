// What a sampler plays of a waveform with its loop, sample by sample: the reference that edits of loops are
// compared with. Whole loop points only.
#pragma once

#include <algorithm>
#include <vector>

#include "items/collection.h"

namespace velor::test {

// The frames that are heard, first channel, while the key is held: `count` of them, silence behind the end.
inline std::vector<float> playHeld(const Waveform& waveform, std::size_t count,
                                   const RegionOverrides& own = {}) {
    const bool looped = own.has(RegionOverrides::Looped) ? own.looped : waveform.looped;
    const LoopMode mode = own.has(RegionOverrides::LoopModeFlag) ? own.loopMode : waveform.loopMode;
    const auto start =
        static_cast<std::int64_t>(own.has(RegionOverrides::LoopStart) ? own.loopStart : waveform.loopStart);
    const auto end =
        static_cast<std::int64_t>(own.has(RegionOverrides::LoopEnd) ? own.loopEnd : waveform.loopEnd);
    std::vector<float> played;
    std::int64_t place = 0, step = 1;
    while (played.size() < count) {
        if (looped && end > start) {
            if (step > 0 && place == end) {
                switch (mode) {
                    case LoopMode::Alternating:
                    case LoopMode::Backward:
                        step = -1;
                        place = end - 1;
                        break;
                    default:
                        place = start;
                }
            } else if (step < 0 && place < start) {
                if (mode == LoopMode::Alternating) {
                    step = 1;
                    place = start;
                } else {
                    place = end - 1;
                }
            }
        }
        const bool inside = place >= 0 && place < static_cast<std::int64_t>(waveform.frames);
        played.push_back(inside ? waveform.samples()[static_cast<std::size_t>(place) * waveform.channels]
                                : 0.0f);
        place += step;
    }
    return played;
}

// A ramp: every frame has a value of its own, exact in a float.
inline std::vector<float> numberedFrames(std::size_t frames, std::size_t channels = 1) {
    std::vector<float> samples(frames * channels);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(i / channels + 1) / 1048576 * (i % channels ? -1.0f : 1.0f);
    return samples;
}

inline Region* addRegion(Collection& collection, const Waveform& waveform) {
    auto* region = collection.create<Region>("region");
    region->links.add(waveform.id());
    return region;
}

inline void setRegionLoop(Region& region, std::uint32_t start, std::uint32_t end) {
    region.overrides.loopStart = start;
    region.overrides.loopEnd = end;
    region.overrides.flags |= RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
}

}  // namespace velor::test
