#include "formats/core/codec_streams.h"

#include <algorithm>

#include "formats/core/codecs/ima_adpcm.h"
#include "formats/core/codecs/rockwell.h"

namespace velor {

namespace {

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
    data.unit = {static_cast<std::uint32_t>(width) * count, kCodesPerUnit};
    data.makeDecoder = decoder16<G72xDecoder>(width, packing, channels);
}

void setG722(CodecData& data, int width, CodePacking packing, int channels) {
    const auto count = static_cast<std::uint32_t>(channels);
    data.unit = {static_cast<std::uint32_t>(width) * count, kCodesPerUnit * kG722SamplesPerCode};
    data.makeDecoder = channels == 2 ? decoder16<G722Stereo>() : decoder16<G722Decoder>(width, packing);
}

void setIma4(CodecData& data, int channels) {
    data.unit = {Ima4Decoder::kPacketBytes * static_cast<std::uint32_t>(channels),
                 Ima4Decoder::kPacketFrames};
    data.makeDecoder = decoder16<Ima4Decoder>(channels);
}

void setMace(CodecData& data, MaceRatio ratio, int channels) {
    data.unit = {static_cast<std::uint32_t>(MaceDecoder::packetBytes(ratio, channels)),
                 MaceDecoder::kPacketFrames};
    data.makeDecoder = decoder16<MaceDecoder>(ratio, channels);
}

void setRockwell(CodecData& data, int bits) {
    data.unit = {static_cast<std::uint32_t>(RockwellCodec::unitBytes(bits)),
                 static_cast<std::uint32_t>(RockwellCodec::unitSamples(bits))};
    data.makeDecoder = decoder16<RockwellDecoder>(bits);
}

}  // namespace velor
