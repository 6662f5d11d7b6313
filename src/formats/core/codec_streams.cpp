#include "formats/core/codec_streams.h"

#include <algorithm>

namespace velor {

namespace {

// Units are decoded many at a time; this many bytes make reading worth while.
constexpr std::uint32_t kUnits = 512;

// `Core` made to stop where the data end. `perCode` samples come of one code.
template <typename Core, std::size_t perCode>
class CodeStream {
  public:
    template <typename... Arguments>
    explicit CodeStream(int width, Arguments... arguments) : width_(width), core_(width, arguments...) {}

    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to) {
        const std::size_t codes =
            std::min(from.size() * 8 / static_cast<unsigned>(width_), to.size() / perCode);
        const auto bytes = static_cast<std::size_t>(packedSize(codes, width_));
        core_.decode(from.first(bytes), to.first(codes * perCode));
        return codes * perCode;
    }

  private:
    int width_;
    Core core_;
};

class G722Stereo {
  public:
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to) {
        const std::size_t words = std::min(from.size() / 2, to.size() / 4);  // of each channel
        bytes_.resize(words);
        samples_.resize(words * kG722SamplesPerCode);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            for (std::size_t i = 0; i < words; ++i)
                bytes_[i] = from[2 * i + channel];
            decoders_[channel].decode(bytes_, samples_);
            for (std::size_t i = 0; i < samples_.size(); ++i)
                to[2 * i + channel] = samples_[i];
        }
        return words * kG722SamplesPerCode * 2;
    }

  private:
    std::array<G722Decoder, 2> decoders_{G722Decoder(8, CodePacking::HighBitsFirst),
                                         G722Decoder(8, CodePacking::HighBitsFirst)};
    std::vector<Byte> bytes_;
    std::vector<std::int16_t> samples_;
};

}  // namespace

void setG72x(CodecData& data, int width, CodePacking packing, int channels) {
    const auto count = static_cast<std::uint32_t>(channels);
    data.unit = {kUnits * static_cast<std::uint32_t>(width) * count, kUnits * kCodesPerUnit};
    data.makeDecoder = decoder16<CodeStream<G72xDecoder, 1>>(width, packing, channels);
}

void setG722(CodecData& data, int width, CodePacking packing, int channels) {
    const auto count = static_cast<std::uint32_t>(channels);
    data.unit = {kUnits * static_cast<std::uint32_t>(width) * count,
                 kUnits * kCodesPerUnit * kG722SamplesPerCode};
    data.makeDecoder = channels == 2
                           ? decoder16<G722Stereo>()
                           : decoder16<CodeStream<G722Decoder, kG722SamplesPerCode>>(width, packing);
}

}  // namespace velor
