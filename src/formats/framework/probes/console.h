// Probes of the audio, bank and song files of game consoles.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe playStationVag;
Probe playStationVab;
Probe playStationSequence;  // single songs are certain, collections of songs likely
Probe playStation2Stream;   // .ads, .ss2
Probe playStation2Bank;     // .hd
Probe playStation2Sequence;
Probe fmodBank;
Probe konamiSong;

}  // namespace velor::probe
