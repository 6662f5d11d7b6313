// Hostile codes through the G.726 and G.722 decoders, whole and in pieces, which must come to the same
// samples.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "formats/core/codecs/g722.h"
#include "formats/core/codecs/g72x.h"

using namespace velor;

namespace {

// Decodes all bytes at once and with one cut behind `units` units of eight codes.
template <typename Decoder>
void compare(Decoder decoder, std::span<const Byte> bytes, int width, std::size_t perCode,
             std::size_t units) {
    Decoder inPieces = decoder;
    std::vector<std::int16_t> whole(codesIn(bytes.size(), width) * perCode), pieces(whole.size());
    if (decoder.decode(bytes, whole) != whole.size())
        std::abort();
    const std::size_t cut = std::min(units * static_cast<std::size_t>(width), bytes.size());
    const std::size_t first = inPieces.decode(bytes.first(cut), pieces);
    if (cut % static_cast<std::size_t>(width) != 0)
        return;  // the end, within a unit
    inPieces.decode(bytes.subspan(cut), std::span(pieces).subspan(first));
    if (whole != pieces)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return -1;
    const auto packing = data[0] & 1 ? CodePacking::HighBitsFirst : CodePacking::LowBitsFirst;
    const int channels = data[0] & 2 ? 2 : 1;
    const std::span<const Byte> bytes(data + 2, size - 2);
    for (int width = 2; width <= 5; ++width)
        compare(G72xDecoder(width, packing, channels), bytes, width, 1, data[1]);
    for (int width = 6; width <= 8; ++width)
        compare(G722Decoder(width, packing), bytes, width, kG722SamplesPerCode, data[1]);
    // Bytes as samples: no signal can harm the encoders either.
    std::vector<std::int16_t> samples(bytes.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    std::vector<Byte> codes(samples.size());
    for (int width = 2; width <= 5; ++width)
        G72xEncoder(width, packing, channels).encode(samples, codes);
    G722Encoder(8, packing).encode(samples, codes);
    return 0;
}
