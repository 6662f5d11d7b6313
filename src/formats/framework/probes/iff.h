// Probes of the big-endian FORM files: AIFF and its relatives, Amiga samples, and the Miles XMIDI songs.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

Probe aiff;
Probe aiffCompressed;  // AIFC
Probe amigaSample;     // 8SVX and its 16-bit brother 16SV
Probe maud;
Probe xmidi;          // XMIDI songs; less sure when instruments follow in the same file
Probe xmidiWithBank;  // XMIDI songs and a DLS bank as a FORM "XDLS"

}  // namespace velor::probe
