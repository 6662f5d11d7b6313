// Where processes that insert something do so.
#pragma once

#include "app/processing/process.h"

namespace velor {

inline constexpr ProcessParameter kInsertPosition{
    .key = "position",
    .label = "Without a selection, insert at the",
    .kind = ProcessValueKind::Choice,
    .words = "start|end|time",
    .help = "With a selection or a cursor position, its first frame is the place."};
inline constexpr ProcessParameter kInsertTime{
    .key = "time",
    .label = "Time from the start",
    .kind = ProcessValueKind::Number,
    .unit = "ms",
    .most = 86400000,
    .help = "Only for position=time; a time behind the end is the end."};

// The frame before which to insert, for settings with both rows: 0 to the waveform's frames.
std::uint32_t insertPosition(const ProcessJob& job);

}  // namespace velor
