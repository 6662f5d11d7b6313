// The processes of the instrument catalogue: one source file for each, its settings and what it does.
#pragma once

#include "app/processing/process.h"

namespace velor::instrument_processes {

extern const ProcessDefinition addDownsampledOctaves;
extern const ProcessDefinition adjustCommonParameters;
extern const ProcessDefinition adjustKeyRanges;
extern const ProcessDefinition extendKeyRanges;
extern const ProcessDefinition formatNames;
extern const ProcessDefinition mergeInstruments;
extern const ProcessDefinition mergeLayers;
extern const ProcessDefinition mergeMonoPairs;
extern const ProcessDefinition moveArticulationLevel;
extern const ProcessDefinition moveBetweenBanks;
extern const ProcessDefinition moveUpArticulation;
extern const ProcessDefinition removeUnusedItems;
extern const ProcessDefinition renumberInstruments;
extern const ProcessDefinition replaceInNames;
extern const ProcessDefinition splitDrumKit;
extern const ProcessDefinition splitVelocityLayers;
extern const ProcessDefinition splitMultiLayered;
extern const ProcessDefinition splitStereoToLayers;
extern const ProcessDefinition trimToRegions;

}  // namespace velor::instrument_processes
