// How much of a survey is done.
#pragma once

namespace velor::test {

// Surveys over real or random material look at every nth case only under the sanitizers, which are several
// times slower and look for faults that a few cases show as well.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr unsigned kThinning = 4;
#else
inline constexpr unsigned kThinning = 1;
#endif

}  // namespace velor::test
