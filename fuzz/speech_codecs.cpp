// Hostile data for the GSM, MACE, DWVW and Rockwell decoders. The first byte chooses one and its shape, the
// second how the data are cut into pieces. What comes out must not depend on the pieces.
#include <cstdlib>
#include <vector>

#include "formats/core/codecs/dwvw.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/codecs/mace.h"
#include "formats/core/codecs/rockwell.h"

using namespace velor;

namespace {

void require(bool held) {
    if (!held)
        std::abort();
}

using Samples = std::vector<std::int16_t>;

// Decodes all at once and in pieces of `units` units each.
template <typename Core>
void decodeBothWays(std::span<const Byte> data, std::size_t unit, std::size_t room, std::size_t units,
                    Core core) {
    Core inPieces = core;
    Samples whole((data.size() / unit + 1) * room), pieces(whole.size());
    whole.resize(core.decode(data, whole));
    std::size_t done = 0;
    for (std::size_t at = 0; at < data.size();) {
        const std::size_t now = std::min(units * unit, data.size() - at);
        done += inPieces.decode(data.subspan(at, now), std::span(pieces).subspan(done));
        at += now;
    }
    pieces.resize(done);
    require(whole == pieces);
}

void unpackDeltas(std::span<const Byte> data, int bits, std::size_t piece) {
    DwvwDecoder decoder(data, bits);
    std::vector<std::int32_t> to(piece);
    std::size_t count = 0;
    for (std::size_t now = piece; now == piece; count += now)
        now = decoder.decode(to);
    // Every sample takes a bit at least.
    require(count <= data.size() * 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2)
        return -1;
    const unsigned shape = bytes[0] / 8u, units = bytes[1] % 16u + 1u;
    const std::span<const Byte> data(bytes + 2, size - 2);
    const auto ratio = shape & 1 ? MaceRatio::ThreeToOne : MaceRatio::SixToOne;
    const int channels = shape & 2 ? 2 : 1, bits = 2 + static_cast<int>(shape % 3);
    switch (bytes[0] % 8) {
        case 0:
            decodeBothWays(data, gsm610::kFrameBytes, gsm610::kFrameSamples, units, gsm610::FramesDecoder());
            break;
        case 1:
            decodeBothWays(data, gsm610::kPairBytes, gsm610::kPairSamples, units, gsm610::PairsDecoder());
            break;
        case 2: {
            Samples to(data.size() / gsm610::kModemFrameBytes * gsm610::kFrameSamples);
            require(gsm610::ModemDecoder().decode(data, to) == to.size());
            break;
        }
        case 3:
            decodeBothWays(data, MaceDecoder::packetBytes(ratio, channels),
                           MaceDecoder::kPacketFrames * static_cast<std::size_t>(channels), units,
                           MaceDecoder(ratio, channels));
            break;
        case 4:
            decodeBothWays(data, RockwellCodec::unitBytes(bits), RockwellCodec::unitSamples(bits), units,
                           RockwellDecoder(bits));
            break;
        default:
            unpackDeltas(data, 12 + 4 * static_cast<int>(shape % 4), units * 7);
            break;
    }
    return 0;
}
