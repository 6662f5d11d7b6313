// How much two runs of samples are alike.
#pragma once

#include <cstddef>

namespace velor {

// Normalised correlation, sum ab / sqrt(sum aa × sum bb), of `count` samples each: 1 for runs that differ by
// a positive factor at most, -1 for opposite ones, 0 when either is silent. Summed in double precision.
float loopSimilarity(const float* a, const float* b, std::size_t count);

// The sums it consists of.
double dotProduct(const float* a, const float* b, std::size_t count);

}  // namespace velor
