// Probes of the files whose first chunk is a RIFF form, and of the two 64-bit relatives.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe wave;           // RIFF WAVE of any coding
Probe broadcastWave;  // RIFF WAVE with the EBU Tech 3285 "bext" chunk; weak without one
Probe rockwellWave;   // RIFF WAVE with the Rockwell ADPCM format tag
Probe usrGsmWave;     // RIFF WAVE with the USRobotics GSM format tag
Probe smartSound;     // RIFF WAVE under the outer id "SDSS"
Probe wave64;         // 64-bit sizes, GUIDs for chunk ids
Probe avi;
Probe riffMidi;
Probe cdTrack;  // the 44-byte stub Windows shows for a track of an audio CD

}  // namespace velor::probe
