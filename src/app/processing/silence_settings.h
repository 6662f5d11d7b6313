// What processes that look for silence let the user set about it.
#pragma once

#include "app/processing/process.h"
#include "dsp/silence.h"

namespace velor {

inline constexpr ProcessParameter kSilenceThreshold{.key = "threshold",
                                                    .label = "Silent is what stays below",
                                                    .kind = ProcessValueKind::Number,
                                                    .unit = "dB",
                                                    .least = -144,
                                                    .most = 0,
                                                    .standard = -60,
                                                    .help = "Of full scale, by the peak of all channels."};
inline constexpr ProcessParameter kSilenceMinimum{
    .key = "minimum",
    .label = "for at least",
    .kind = ProcessValueKind::Number,
    .unit = "ms",
    .most = 600000,
    .standard = 200,
    .help = "Shorter silence between sounds belongs to them; at the ends any length counts."};
inline constexpr ProcessParameter kShortestSound{.key = "ignore",
                                                 .label = "Ignore sounds shorter than",
                                                 .kind = ProcessValueKind::Number,
                                                 .unit = "ms",
                                                 .most = 10000,
                                                 .standard = 2,
                                                 .help = "Clicks within silence count as silence."};
inline constexpr ProcessParameter kSilenceKeep{.key = "keep",
                                               .label = "Keep of the silence beside each sound",
                                               .kind = ProcessValueKind::Number,
                                               .unit = "ms",
                                               .most = 10000,
                                               .standard = 10,
                                               .help = "So that soft attacks and tails stay whole."};

// The sounds of the waveform, whose samples are loaded, each with what is to be kept of the silence around
// it; what is kept of one silence never overlaps. False with LastErrorText.
bool findKeptSounds(const ProcessJob& job, const Waveform& waveform, std::vector<FrameRange>& sounds,
                    UserInterface& ui);

}  // namespace velor
