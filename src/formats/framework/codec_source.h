// Sample data that a codec has packed: read from the file and decoded on first use, piece by piece.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "formats/framework/sample_conversion.h"
#include "items/waveform.h"
#include "platform/file.h"

namespace velor {

// The smallest piece of the data that can be decoded by itself: a block, a packet, or as many bytes as hold a
// whole number of codes.
struct CodecUnit {
    std::uint32_t bytes = 0;  // 0: the data are decoded in one piece
    std::uint32_t frames = 0;
};

// A decoder with its state for one pass over the data.
class SampleDecoder {
  public:
    virtual ~SampleDecoder() = default;
    // Decodes `from`, which holds whole units one after the other (the last one of the data may be cut short)
    // or, for a unit of 0 bytes, all data at once. `to` has room for the frames of these units (frames ×
    // channels, interleaved, full scale 1.0), or for all frames of the waveform. Returns the number of floats
    // written; the rest is filled with silence by the caller.
    virtual std::size_t decode(std::span<const Byte> from, std::span<float> to) = 0;
};

// Where codec data lie and who decodes them.
struct CodecData {
    std::uint64_t position = 0;
    std::uint64_t byteSize = 0;  // as far as the file really holds them
    CodecUnit unit;
    std::function<std::unique_ptr<SampleDecoder>()> makeDecoder;
};

// The frames that the data hold when every unit is full; frames of a last, cut unit are counted by its share.
std::uint64_t framesIn(const CodecData& data);

// Makes the waveform decode its samples from `file` when they are first needed. The waveform keeps its frame
// count: frames that the data do not reach are silence. Only counts that are absurdly larger than what the
// data can hold are cut, so that a forged header cannot ask for memory without end. Sets sourceOffset;
// sourceFormat is left to the caller.
void attachCodecSamples(Waveform& waveform, std::shared_ptr<File> file, CodecData data);

// A decoder made of a codec core that writes 16-bit samples: `Core::decode(bytes, samples16)` returns the
// number of samples written.
template <typename Core>
class Decoder16 final : public SampleDecoder {
  public:
    template <typename... Arguments>
    explicit Decoder16(Arguments&&... arguments) : core_(std::forward<Arguments>(arguments)...) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        if (scratch_.size() < to.size())
            scratch_.resize(to.size());
        const std::size_t count = core_.decode(from, std::span<std::int16_t>(scratch_).first(to.size()));
        samplesFrom16(std::span<const std::int16_t>(scratch_).first(count), to.first(count));
        return count;
    }

  private:
    Core core_;
    std::vector<std::int16_t> scratch_;
};

// A factory for CodecData::makeDecoder: every pass starts with Core(arguments...).
template <typename Core, typename... Arguments>
std::function<std::unique_ptr<SampleDecoder>()> decoder16(Arguments... arguments) {
    return [arguments...] { return std::make_unique<Decoder16<Core>>(arguments...); };
}

}  // namespace velor
