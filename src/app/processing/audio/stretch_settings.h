// The settings that time stretching and pitch scaling share.
#pragma once

#include "app/processing/parameters.h"

namespace velor::audio_processes {

inline constexpr ProcessParameter kStretchMode{
    .key = "mode",
    .label = "Kind of sound:",
    .kind = ProcessValueKind::Choice,
    .words = "auto|music|solo",
    .help =
        "music suits everything (a phase vocoder); solo is better for speech, a single voice or "
        "instrument (pieces of the waveform are joined where they are alike). auto takes solo for "
        "waveforms of less than a quarter of a second without loop, else music."};
inline constexpr ProcessParameter kKeepAttacks{
    .key = "keep-attacks",
    .label = "Keep attacks sharp",
    .kind = ProcessValueKind::Switch,
    .standard = 1,
    .help =
        "Drum hits, plucks and consonants are moved to their new times but not stretched themselves. "
        "Switch it off for pads."};

}  // namespace velor::audio_processes
