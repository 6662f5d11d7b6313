// The levels that processes find and set.
#pragma once

#include "app/processing/process.h"
#include "dsp/loudness.h"

namespace velor {

// Levels are linear, full scale 1, over all channels; samples that are not finite count as 0.
struct Levels {
    double peak = 0;
    double truePeak = 0;
    double rms = 0;  // of a full-scale sine 0.707
    Loudness loudness;
};

// Which of them to measure.
struct LevelChoice {
    bool truePeak = false;
    bool rms = false;
    bool loudness = false;
};

// The levels of a loaded waveform, without its gain setting. False with LastErrorText when the user aborts or
// loudness is asked for at a rate that is too low for it.
bool measureLevels(const Waveform& waveform, LevelChoice choice, UserInterface& ui, Levels& levels,
                   double progressFrom = 0, double progressTo = 1);

// Adds a level in dB to the report; "silence" instead of minus infinity.
void reportLevel(ProcessJob& job, const char* what, double decibels, const char* unit);

}  // namespace velor
