// Articulation and region parameters as texts: what is shown, and what a person may type instead. Numbers are
// written and read with a decimal point on every system and in every language.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "items/item.h"

namespace velor {

// All functions take the numbers of articulation parameters (0 to 188 without the separators) and of region
// parameters (189 to 191, 202 to 207).
bool parameterExists(std::uint16_t number);

// The display name; empty for numbers that do not exist. A few rows share their name.
std::string_view parameterName(std::uint16_t number);
// A name that no other parameter has: the display name, with " #77" and the like behind it when an earlier
// row has it already. Numbers that do not exist are "#195".
std::string uniqueParameterName(std::uint16_t number);
// The parameter of a display name, a unique name or a number ("#77"), without regard to case. Of parameters
// that share a name it is the first.
std::optional<std::uint16_t> findParameter(std::string_view name);

// The unit of the plain number: "dB", "semitones", "factor", "fraction" (1 is 100 %), "amplitude" (levels of
// the volume envelope, 1 is 0 dB), "Hz", "seconds", "cents", "frames", or "code" for choices.
std::string_view parameterUnit(std::uint16_t number);

// A value with its unit: "+3.0 dB", "-0.25 semitones", "8000 Hz", "x 0.71", "-100.0 %", "low-pass 12 dB/oct".
//   dB and percent       one decimal, two where needed; a plus sign where the range has both signs
//   semitones, cents     up to two decimals
//   Hz, seconds, factor  five significant digits; below one second as "15 ms"
//   volume levels        0..1 as dB, 0 as "-inf dB"
//   choices              their names; codes without a name as "shape 7"
std::string parameterText(std::uint16_t number, double value, const NoteNaming& naming = {});

// The inverse, to the precision shown. The unit may be left out and then is the one shown (seconds for
// times); other units of the same quantity are converted ("12 cents", "2.5 kHz", "0.015 s"); choices are also
// taken as their numbers. The value is not limited to the parameter's range, except that a choice must exist.
// False with LastErrorText when the text is not a value of that parameter.
bool parseParameter(std::uint16_t number, std::string_view text, double& value,
                    const NoteNaming& naming = {});

}  // namespace velor
