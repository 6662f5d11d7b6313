// Probes of FM instruments, captures of FM chips, and the songs of games that played them.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe adLibBank;
Probe adLibInstrument;  // no signature: a few dozen small numbers
Probe adLibSong;        // .rol
Probe creativeMusic;    // .cmf
Probe creativeFmBank;   // .ibk
Probe creativeFmInstrument;
Probe dosBoxCapture;
Probe rdosCapture;
Probe doomMusic;

}  // namespace velor::probe
