#include "items/stereo_sides.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velor {

using parameter::MasterVolume;
using parameter::PanPosition;

namespace {

// How much softer than its loudest, in dB, one side of a stereo waveform plays at a pan position: the nearer
// side as it is, the farther one along the constant-power curve.
float balanceLevel(float pan, bool right) {
    const double angle = (static_cast<double>(pan) + 1) * std::numbers::pi / 4;
    const double gain = std::numbers::sqrt2 * (right ? std::sin(angle) : std::cos(angle));
    if (gain > 1 - 1e-6)
        return 0;
    const float silent = articulationParameter(MasterVolume)->minimum;
    return gain > 1e-6 ? std::max(static_cast<float>(20 * std::log10(gain)), silent) : silent;
}

}  // namespace

LevelsAbove levelsAbove(const InstrumentLevels& levels, const Region& region) {
    const auto& layers = levels.holders(region);
    if (layers.empty())
        return {};
    const auto& instruments = levels.holders(*layers.front());
    return {instruments.empty() ? nullptr : &instruments.front()->articulation,
            &layers.front()->articulation};
}

ArticulationValues playedBelow(const LevelsAbove& above, const Region& region) {
    return resolveArticulation(above.instrument, above.layer, &region.articulation);
}

float panAbove(const LevelsAbove& above) {
    float added = 0;
    for (const Articulation* level : {above.instrument, above.layer}) {
        float value = 0;
        if (level && level->setting(PanPosition, value))
            added += value;
    }
    return added;
}

void panTo(const LevelsAbove& above, Region& region, float position) {
    const float added = panAbove(above);
    if (position == added)
        region.articulation.unset(PanPosition);
    else
        region.articulation.set(PanPosition, position - added);
}

void takeStereoSide(const LevelsAbove& above, Region& region, float pan, bool right) {
    panTo(above, region, right ? kPanRight : kPanLeft);
    if (const float level = balanceLevel(pan, right); level != 0) {
        float own = 0;
        region.articulation.setting(MasterVolume, own);
        region.articulation.set(MasterVolume, own + level);
    }
}

}  // namespace velor
