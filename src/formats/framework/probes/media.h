// Probes of compressed streams: MPEG audio and AAC frames, Ogg, and the one-codec files.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// MPEG-1, -2 and -2.5 audio. The variant is the layer asked for, 0 for any. Three frame headers that agree,
// or two up to the end of the file, are certain; an ID3v2 tag in front is skipped.
Probe mpegAudio;
Probe musifile;  // layer II frames with other data attached
Probe aac;       // ADTS frames (as for MPEG audio) and ADIF
Probe amr;       // all storage forms of RFC 4867
Probe flac;
Probe oggVorbis;
Probe opus;
Probe monkeyAudio;
Probe wavPack;

// Where the data begins behind an ID3v2 tag at the start; 0 without a tag. May lie beyond the head.
std::uint64_t afterId3v2(Head head);

}  // namespace velor::probe
