// Probes of MIDI songs, sequencer files, phone melodies and MIDI sample dumps.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe standardMidi;
Probe midiSampleDump;
Probe cakewalkWork;
Probe rolandSequencerSt;  // files that begin with "STcf"
Probe rolandSequencerRs;  // files that begin with "RSVQ"
Probe iMelody;
Probe eMelody;
Probe nokring;          // one line of text: name, defaults and notes between colons
Probe mobileMelody;     // .mld
Probe syntheticMobile;  // .mmf

}  // namespace velor::probe
