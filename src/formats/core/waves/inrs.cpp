#include "formats/core/waves/inrs.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kDateAt = 6, kDateSize = 20, kFramesAt = 26;

// Rates as VAX floating-point numbers.
struct Rate {
    Byte bytes[4];
    double hertz;
};
constexpr Rate kRates[] = {
    {{0xCB, 0x46, 0x00, 0x20}, 6500},  {{0xD0, 0x46, 0x55, 0x55}, 20000.0 / 3},
    {{0xFA, 0x46, 0x00, 0x00}, 8000},  {{0x1C, 0x47, 0x00, 0x40}, 10000},
    {{0x3B, 0x47, 0x00, 0x80}, 12000}, {{0x7A, 0x47, 0x00, 0x00}, 16000},
    {{0x9C, 0x47, 0x00, 0x40}, 20000},
};

bool fillFromInrs(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    const auto* rate = std::ranges::find_if(kRates, [&head](const Rate& each) {
        return head.size() == kHeaderSize &&
               std::equal(std::begin(each.bytes), std::end(each.bytes), head.begin());
    });
    const auto isText = [](Byte byte) { return byte == 0 || (byte >= ' ' && byte < 127); };
    if (rate == std::end(kRates) ||
        !std::all_of(head.begin() + kDateAt, head.begin() + kDateAt + kDateSize, isText))
        return fail("Not an INRS-Telecommunications file");
    const auto frames = loadLe<std::uint32_t>(head.data() + kFramesAt);
    StoredWave stored;
    stored.rate = rate->hertz;
    stored.position = kHeaderSize;
    stored.frames = frames == 0 || frames == UINT32_MAX ? kToFileEnd : frames;  // old files have no count
    return attachStoredWave(waveform, file, stored);
}

}  // namespace

bool readInrs(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromInrs);
}

}  // namespace velor
