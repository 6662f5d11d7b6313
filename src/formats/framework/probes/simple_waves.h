// Probes of the plain waveform files: one header, one block of samples.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe au;     // Sun, NeXT and DEC
Probe ircam;  // also the BICSF form with an au header in front
Probe caf;
Probe creativeVoice;
Probe hcom;
Probe nistSphere;
Probe esps;
Probe avr;
Probe diamondWare;
Probe sndtool;
Probe sounder;  // no signature: plausible fields only
Probe sppack;
Probe covox;
Probe psion;
Probe nomad;  // .nvf
Probe shorten;
Probe mus10;
Probe matlab;  // levels 4 and 5
Probe textAudio;
Probe rawGsmFrames;  // GSM 06.10 frames of 33 bytes, each with the magic nibble
Probe usrGsmFrames;  // frames of 38 bytes with the modem's marks around the GSM frame

}  // namespace velor::probe
