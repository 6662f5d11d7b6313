// Recursive filters as a chain of second-order sections.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace velor {

// y = b0 x + b1 x[-1] + b2 x[-2] - a1 y[-1] - a2 y[-2]. A section of the first order has b2 = a2 = 0.
struct BiquadSection {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;

    // The response to e^(i w n), w in radians per sample.
    std::complex<double> response(double w) const;
};

// The response of a whole chain.
std::complex<double> responseOf(std::span<const BiquadSection> sections, double w);

// Filters one channel from front to back in double precision, beginning in silence (transposed direct form
// II). Without sections everything passes as it is. Samples that are not finite count as 0.
class BiquadCascade {
  public:
    explicit BiquadCascade(std::vector<BiquadSection> sections);

    // Filters every stride-th sample in place. May be called for piece after piece.
    void process(std::span<float> samples, std::size_t stride = 1);
    // The same without writing anything: only the state moves on.
    void advance(std::span<const float> samples, std::size_t stride = 1);

    const std::vector<BiquadSection>& sections() const { return sections_; }
    // What the filter remembers: two values for each section.
    std::span<double> state() { return state_; }

  private:
    template <bool Write, typename Sample>
    void run(std::span<Sample> samples, std::size_t stride);
    void filterScratch(double* scratch, std::size_t count);

    std::vector<BiquadSection> sections_;
    std::vector<double> state_;
};

}  // namespace velor
