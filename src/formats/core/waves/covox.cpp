#include "formats/core/waves/covox.h"

#include <algorithm>
#include <iterator>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 16;  // eight bytes of signature, the bits, zeros
// The header names no rate; the hardware's programs recorded at this one.
constexpr double kRate = 8000;

bool fillFromCovox(OpenFile& file, Waveform& waveform) {
    static constexpr Byte kSignature[] = {0xFF, 0x55, 0xFF, 0xAA, 0xFF, 0x55, 0xFF, 0xAA};
    const auto head = bytesAt(file, 0, kHeaderSize);
    if (head.size() < kHeaderSize || !std::equal(std::begin(kSignature), std::end(kSignature), head.begin()))
        return fail("Not a Covox file");
    const unsigned bits = head[std::size(kSignature)];
    if (bits != 8)
        return fail(formatText("Decoding Covox %u-bit samples is not supported in this build", bits));
    return attachUnsignedBytes(waveform, file, kRate, kHeaderSize);
}

}  // namespace

bool readCovox(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromCovox);
}

}  // namespace velor
