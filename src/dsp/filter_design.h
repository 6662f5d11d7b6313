// Coefficients of the filters that a sample editor offers.
#pragma once

#include <vector>

#include "dsp/biquad_cascade.h"

namespace velor {

enum class FilterKind : std::uint8_t {
    LowPass,
    HighPass,
    BandPass,
    Notch,
    Peak,
    LowShelf,
    HighShelf,
    AllPass
};

// Sections of at most this order's Butterworth filters are still well conditioned in double precision.
inline constexpr unsigned kHighestFilterOrder = 16;
// The lowest frequency, as a share of the sample rate, that coefficients can tell from 0.
inline constexpr double kLowestFilterFrequency = 1e-6;

struct FilterDesign {
    FilterKind kind = FilterKind::LowPass;
    double rate = 44100;      // Hz
    double frequency = 1000;  // Hz: the -3 dB point of a pass, the centre of a band, the middle of a shelf
    double q = 0.70710678118654752;
    double bandwidth = 0;  // octaves between a band's -3 dB points, a peak's half-gain points; 0: from q
    double gain = 0;       // dB, of peak and shelves
    // Poles of a Butterworth low- or high-pass, or of each edge of a band; 0 for a section of the second
    // order by q.
    unsigned order = 0;
    // The filter will run twice over the samples (there and back): the design is changed so that -3 dB points
    // of Butterworth filters and the gains of peak and shelves come out right after both passes.
    bool twice = false;
};

// Whether the frequency can be designed for: at least kLowestFilterFrequency and below half the rate.
bool canDesign(double frequency, double rate);

// Butterworth filters: poles and zeros of the analogue prototype, transformed to the band and by the bilinear
// transform with its frequencies prewarped (Oppenheim and Schafer, Discrete-Time Signal Processing, chapter
// 7). Everything else: R. Bristow-Johnson's cookbook formulas. The upper edge of a band stays below half the
// rate. No sections, which is a filter that changes nothing, for frequencies that canDesign() refuses.
std::vector<BiquadSection> designFilter(const FilterDesign& design);

// Butterworth low- or high-pass.
std::vector<BiquadSection> designButterworth(FilterKind kind, unsigned order, double frequency, double rate);

}  // namespace velor
