#include "dsp/loop_similarity.h"

#include <cmath>

namespace velor {

// Four sums side by side, so that the additions need not wait for each other.
double dotProduct(const float* a, const float* b, std::size_t count) {
    double sums[4] = {};
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        for (std::size_t lane = 0; lane < 4; ++lane)
            sums[lane] += double{a[i + lane]} * double{b[i + lane]};
    }
    for (; i < count; ++i)
        sums[0] += double{a[i]} * double{b[i]};
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

float loopSimilarity(const float* a, const float* b, std::size_t count) {
    const double scale = std::sqrt(dotProduct(a, a, count) * dotProduct(b, b, count));
    return scale > 0 ? static_cast<float>(dotProduct(a, b, count) / scale) : 0.0f;
}

}  // namespace velor
