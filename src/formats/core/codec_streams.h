// Unit and decoder of the codecs that more than one container carries.
#pragma once

#include "formats/core/codecs/g722.h"
#include "formats/core/codecs/g72x.h"
#include "formats/core/codecs/mace.h"
#include "formats/framework/codec_source.h"

namespace velor {

// Sets unit and decoder for G.726 and its kin: `width` 2 to 5 bits a code, the channels' codes in turn.
void setG72x(CodecData& data, int width, CodePacking packing, int channels);
// For G.722: code words of `width` 6 to 8 bits, each two frames of one channel. Two channels take turns byte
// by byte (width 8 only).
void setG722(CodecData& data, int width, CodePacking packing, int channels = 1);
// For the packets of QuickTime's IMA ADPCM, and for MACE.
void setIma4(CodecData& data, int channels);
void setMace(CodecData& data, MaceRatio ratio, int channels);
// For Rockwell ADPCM with codes of 2, 3 or 4 bits; mono.
void setRockwell(CodecData& data, int bits);

}  // namespace velor
