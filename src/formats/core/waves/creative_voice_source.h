// The sound of Creative Voice files that lies in several blocks or is packed.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "formats/core/codecs/creative_adpcm.h"
#include "formats/framework/sample_conversion.h"
#include "items/waveform.h"
#include "platform/file.h"

namespace velor::creative_voice {

// How the frames of a sound block are stored.
struct SoundFormat {
    double rate = 0;  // Hz
    std::uint32_t channels = 1;
    SampleLayout layout;  // of plain samples
    std::optional<CreativeAdpcmKind> adpcm;
};

// A stretch of the waveform.
struct Segment {
    SoundFormat format;
    std::uint64_t position = 0;
    std::uint64_t bytes = 0;  // 0: silence
    std::uint64_t frames = 0;
    bool startsCodec = false;  // an ADPCM reference byte comes first
};

// Decodes the segments one after the other.
std::shared_ptr<const WaveformSource> voiceSource(std::shared_ptr<File> file, std::vector<Segment> segments);

}  // namespace velor::creative_voice
