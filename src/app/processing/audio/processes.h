// The processes of the audio catalogue: one source file for each, its settings and what it does.
#pragma once

#include "app/processing/process.h"

namespace velor::audio_processes {

extern const ProcessDefinition adjustVolume;
extern const ProcessDefinition appendWaveforms;
extern const ProcessDefinition autoLoopFinder;
extern const ProcessDefinition autoTuneProcess;
extern const ProcessDefinition calculateTuning;
extern const ProcessDefinition convertToMono;
extern const ProcessDefinition convertToStereo;
extern const ProcessDefinition crossfadeLoopProcess;
extern const ProcessDefinition cutSelection;
extern const ProcessDefinition enableLoops;
extern const ProcessDefinition fadeSelection;
extern const ProcessDefinition findVolume;
extern const ProcessDefinition filterWaveform;
extern const ProcessDefinition insertSilence;
extern const ProcessDefinition insertWaveform;
extern const ProcessDefinition invertSelection;
extern const ProcessDefinition sanitizeLoops;
extern const ProcessDefinition maximizeAmplitude;
extern const ProcessDefinition mixWaveforms;
extern const ProcessDefinition loopToZeroCrossing;
extern const ProcessDefinition normalizeVolume;
extern const ProcessDefinition keyFromName;
extern const ProcessDefinition pitchScale;
extern const ProcessDefinition removeDc;
extern const ProcessDefinition removeSilence;
extern const ProcessDefinition resampleProcess;
extern const ProcessDefinition reverseSelection;
extern const ProcessDefinition replaceInWaveNames;
extern const ProcessDefinition loopSelection;
extern const ProcessDefinition nameFromFile;
extern const ProcessDefinition nameFromKey;
extern const ProcessDefinition smoothSelection;
extern const ProcessDefinition splitAtSilence;
extern const ProcessDefinition statistics;
extern const ProcessDefinition swapChannels;
extern const ProcessDefinition timeStretch;
extern const ProcessDefinition trimAfterLoop;
extern const ProcessDefinition trimToSelection;
extern const ProcessDefinition vstEffects;

}  // namespace velor::audio_processes
