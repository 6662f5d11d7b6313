// Changes the sample rate or the length of a waveform. Both are one operation: the number of frames is
// multiplied by a ratio, and every output frame is read between two source frames by one of nine
// interpolations.
#pragma once

#include <array>
#include <cstdint>

#include "base/user_interface.h"
#include "items/collection.h"

namespace velor {

// The interpolations in the order of the list that the user chooses from. The number is stored and passed on.
enum class ResampleMethod : std::uint8_t {
    Nearest = 0,
    Linear = 1,
    Cubic = 2,
    Fir8 = 3,  // windowed sincs, named by the bits of signal to noise that they are designed for
    Fir12 = 4,
    Fir16 = 5,
    Fir20 = 6,
    Fir24 = 7,
    FirAuto = 8,  // Fir20 for waveforms of more than 16 bits, else Fir16
};
inline constexpr std::size_t kResampleMethods = 9;
// How scripts name them, in that order.
inline constexpr const char* kResampleMethodWords = "nearest|linear|cubic|fir8|fir12|fir16|fir20|fir24|auto";
// The texts of the list.
extern const std::array<const char*, kResampleMethods> kResampleMethodTexts;

// The level (bits) of the FIR filter that a method stands for, 0 when it is no FIR filter. Numbers that are
// no method are Linear. `bits` are those of the source.
unsigned firLevelOf(std::uint8_t method, unsigned bits);

// Replaces the samples of `destination` by those of `source` (the same waveform or another) at `ratio` times
// as many frames. newLength is in frames, newRate in Hz; the caller makes them fit the ratio. Samples that
// ring beyond -1 or 1 are clipped; samples that are not finite count as 0, and so does what would lie behind
// the last source frame. The destination's loop is rescaled (in 32-bit floats): one of whole frames keeps a
// length that is rounded once, so that both of its ends move together. A ratio of exactly 1 changes nothing
// in the source itself. `ui` (may be null) is told of the progress and asked at least every 50 ms whether to
// go on. False with LastErrorText, the destination unchanged: "Out of memory", "Resampling aborted", "Invalid
// length or frequency specified" when the ratio is no positive number, or what reading the source failed
// with.
bool Resample(Waveform& destination, Waveform& source, std::uint32_t newLength, std::uint32_t newRate,
              std::uint8_t method, double ratio, UserInterface* ui = nullptr);

// Resamples to a rate in Hz; the length is the source's times newRate / rate, cut to whole frames. When the
// waveform itself is changed, the regions of `collection` (may be null) that play it follow.
bool ResampleToRate(Waveform& destination, Waveform& source, std::uint32_t newRate, std::uint8_t method,
                    Collection* collection, UserInterface* ui = nullptr);

// The same to a length in frames; the rate becomes the source's times newLength / length, cut to whole Hz.
bool ResampleToLength(Waveform& destination, Waveform& source, std::uint32_t newLength, std::uint8_t method,
                      Collection* collection, UserInterface* ui = nullptr);

// Multiplies the loop overrides of all regions that play the waveform by `ratio`. Regions keep them as whole
// frames, so they are rounded as the waveform's own loop is: when a region overrides both ends, the length of
// its loop is rounded once and both ends move together.
void RescaleRegionLoops(Collection& collection, const Waveform& waveform, float ratio);

// What a resampling that the user stopped leaves in LastErrorText.
inline constexpr const char* kResamplingAborted = "Resampling aborted";

}  // namespace velor
