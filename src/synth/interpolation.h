// The filters by which voices read their samples at any speed.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "synth/voice_kernels.h"

namespace velor {

// Filters for rising transposition: without one, and for each quarter octave up to three octaves. A sample
// that is transposed up loses what would lie above half the output rate; above three octaves some of it folds
// back.
class InterpolationFilters {
  public:
    static constexpr int kMaximumTaps = 128;
    static constexpr int kLevels = 13;

    // Built on first use (some milliseconds), then shared.
    static const InterpolationFilters& instance();
    // The filter for a ratio of source frames per output frame.
    const InterpolationFilter& forRatio(float ratio) const;

  private:
    InterpolationFilters();

    std::array<InterpolationFilter, kLevels> filters_;
    std::vector<float> memory_;
};

}  // namespace velor
