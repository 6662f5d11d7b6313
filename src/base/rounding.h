// The two rounding rules of the system.
#pragma once

#include <cstdint>

namespace velor {

// Rounds half away from zero: x + 0.5 truncated for x >= 0, mirrored below. Used for every integer field of a
// file. Values outside the range of the result saturate, NaN gives 0.
constexpr std::int64_t roundToInteger(double x) {
    if (!(x == x))
        return 0;
    if (x >= 9.2233720368547748e18)
        return INT64_MAX;
    if (x <= -9.2233720368547748e18)
        return INT64_MIN;
    return x >= 0 ? static_cast<std::int64_t>(x + 0.5) : -static_cast<std::int64_t>(0.5 - x);
}

// The dialogs' rule: 0.499 instead of 0.5, so that deriving a number back and forth does not creep upwards.
constexpr std::int64_t roundForDialog(double x) {
    return x >= 0 ? static_cast<std::int64_t>(x + 0.499) : -static_cast<std::int64_t>(0.499 - x);
}

}  // namespace velor
