// Root key, tuning and loops in WAVE files: the "smpl", "inst", "wsmp" and cue chunks, both ways. Payloads
// are parsed from memory; nothing here touches a file.
#pragma once

#include <map>
#include <optional>
#include <span>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "items/waveform.h"

namespace velor {

// The marks of a "cue " chunk: sample offsets by cue id. The first cue of an id counts.
class CueTable {
  public:
    bool empty() const { return offsets_.empty(); }
    void clear() { offsets_.clear(); }
    // Takes as many cues as the bytes hold, whatever the count says.
    void parse(std::span<const Byte> chunk);
    std::optional<std::uint32_t> find(std::uint32_t id) const;

  private:
    std::map<std::uint32_t, std::uint32_t> offsets_;
};

// A loop given by cues called "Loop Start" and "Loop End" ("labl") or by a cue with a length ("ltxt"). Both
// do nothing once the waveform loops.
void applyCueLabel(std::span<const Byte> chunk, const CueTable& cues, Waveform& waveform);
void applyCueRegion(std::span<const Byte> chunk, const CueTable& cues, Waveform& waveform);

// "smpl": root key, fine tune and the first loop. False when the chunk is too short to be one. `skipFrames`
// is set when the sampler's own data say that the sound starts later in the data; the waveform's frame count
// is then what is left.
bool applySamplerChunk(std::span<const Byte> chunk, Waveform& waveform, std::uint32_t& skipFrames);
// "inst": gain always, root key and fine tune when nothing has set them.
void applyInstrumentChunk(std::span<const Byte> chunk, Waveform& waveform);
// "wsmp", the wave-sample chunk of DLS: root key, fine tune, gain and loop.
void applyDlsSampleChunk(std::span<const Byte> chunk, Waveform& waveform);

// Writing. The variant is the one of the WAVE writer.
std::uint32_t samplerChunkSize(const Waveform& waveform, std::uint32_t variant);
void writeSamplerChunk(ByteWriter& to, const Waveform& waveform, std::uint32_t variant);

// The "cue " chunk and the "LIST" "adtl" chunk that names its points, headers included.
inline constexpr std::uint32_t kCueChunksSize = 8 + 76 + 8 + 102;
void writeCueChunks(ByteWriter& to, const Waveform& waveform);

}  // namespace velor
