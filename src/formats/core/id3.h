// ID3 tags: version 1 (128 bytes at the end of a file) and versions 2.2 to 2.4 (id3.org, "ID3 tag version
// 2.4.0"), as in MPEG audio and in chunks of WAVE and AIFF files.
#pragma once

#include <span>

#include "items/waveform.h"

namespace velor {

// Takes the texts of a tag that starts at the first byte: title to the name, artist, album (product),
// copyright, comment, and who encoded or engineered it (engineer). UTF-16 becomes UTF-8, Latin-1 stays as it
// is. Later texts of one kind replace earlier ones, empty ones do not. False when there is no tag.
bool applyId3(std::span<const Byte> tag, Waveform& waveform);

}  // namespace velor
