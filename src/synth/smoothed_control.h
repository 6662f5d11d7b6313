// A controller that moves to its target in steps of one block.
#pragma once

#include <algorithm>
#include <cmath>

namespace velor {

struct SmoothedControl {
    float current = 0;
    float increment = 0;
    int steps = 0;  // remaining blocks
    float target = 0;

    // Sets the value at once.
    void jump(float value) {
        current = target = value;
        increment = 0;
        steps = 0;
    }
    // Moves to `to` in |distance| × blocks per second × time factor blocks, at least one.
    void moveTo(float to, float timeFactor, float blocksPerSecond, bool smoothing) {
        if (!smoothing)
            return jump(to);
        target = to;
        steps = std::max(1, static_cast<int>(std::fabs(to - current) * blocksPerSecond * timeFactor));
        increment = (to - current) / static_cast<float>(steps);
    }
    // One block further.
    void advance() {
        if (steps == 0)
            return;
        current += increment;
        if (--steps == 0)
            current = target;
    }
};

}  // namespace velor
