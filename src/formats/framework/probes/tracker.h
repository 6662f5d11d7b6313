// Probes of tracker modules and of the instruments and samples that trackers keep in files of their own.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe amigaModule;  // MOD of 31 samples and any channel count; the older 15-sample form by its fields
Probe screamTracker3Module;
Probe screamTracker3Sample;  // AdLib instruments are weak: they hold no samples
Probe impulseModule;
Probe impulseInstrument;
Probe impulseSample;
Probe multiTracker;
Probe composer669;
Probe farandole;
Probe farandoleLinear;   // .f2r
Probe farandoleBlocked;  // .f3r
Probe farandoleSample;
Probe polyTracker;
Probe ultraTracker;
Probe ultraTrackerWave;
Probe fastTracker2Module;
Probe fastTracker2Instrument;
Probe extremeTracker;
Probe velvetModule;
Probe velvetInstrument;
Probe velvetSample;
Probe xTracker;
Probe xTrackerSample;
Probe digitalSoundModule;
Probe digiTrekker;
Probe funkTracker;
Probe generalDigitalMusic;  // .gdm
Probe digitrakker;
Probe digitrakkerInstrument;
Probe digitrakkerSample;
Probe octaMed;
Probe oktalyzer;
Probe madTracker2;
Probe soundStudio;  // the .pac bank
Probe soundStudioSample;
Probe disorderTracker2;
Probe disorderTracker2Sample;
Probe protrackerStudio;
Probe mikModUnimod;

}  // namespace velor::probe
