#include "formats/core/waves/dvd_pcm.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/format_table.h"

namespace velor {

namespace {

// On a disc two frames of stereo are twelve bytes: first the upper 16 bits of all four samples, big-endian,
// then their low bytes.
constexpr std::uint32_t kGroupBytes = 12, kGroupFrames = 2, kGroupSamples = 4;

std::int32_t groupedSample(const Byte* group, std::size_t index) {
    return loadBe<std::int16_t>(group + 2 * index) * 256 + group[2 * kGroupSamples + index];
}

std::int32_t plainSample(const Byte* group, std::size_t index) {
    const Byte* bytes = group + 3 * index;
    return loadBe<std::int16_t>(bytes) * 256 + bytes[2];
}

class GroupDecoder final : public SampleDecoder {
  public:
    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        const std::size_t count = std::min(from.size() / kGroupBytes * kGroupSamples, to.size());
        for (std::size_t i = 0; i < count; ++i) {
            const Byte* group = from.data() + i / kGroupSamples * kGroupBytes;
            to[i] = static_cast<float>(groupedSample(group, i % kGroupSamples)) / (1 << 23);
        }
        return count;
    }
};

// Streams taken apart by other programs may be plain frames; those run smoothly only when read so.
bool isGrouped(const OpenFile& file) {
    constexpr std::size_t kLookAt = 65532;
    const auto bytes = bytesAt(file, 0, kLookAt / kGroupBytes * kGroupBytes);
    const auto roughness = [&bytes](auto sampleAt) {
        double sum = 0;
        for (std::size_t at = 0; at + kGroupBytes <= bytes.size(); at += kGroupBytes) {
            for (std::size_t channel = 0; channel < 2; ++channel)
                sum +=
                    std::abs(sampleAt(bytes.data() + at, channel) - sampleAt(bytes.data() + at, channel + 2));
        }
        return sum;
    };
    return roughness(groupedSample) <= roughness(plainSample);
}

double rateOfRow(int row) {
    const std::string_view extension = rowExtension(row);
    return extension.ends_with("-44")    ? 44100
           : extension.ends_with("-96")  ? 96000
           : extension.ends_with("-192") ? 192000
                                         : 48000;
}

bool fillFromDvd24(OpenFile& file, Waveform& waveform) {
    StoredWave stored;
    stored.layout = {SampleEncoding::Pcm24, ByteOrder::Big, false};
    stored.channels = 2;
    stored.rate = rateOfRow(file.row);
    if (!isGrouped(file))
        return attachStoredWave(waveform, file, stored);
    waveform.channels = 2;
    setRate(waveform, file, stored.rate);
    setEncoding(waveform, SampleEncoding::Pcm24);
    CodecData data;
    data.byteSize = file.size() / kGroupBytes * kGroupBytes;
    data.unit = {kGroupBytes, kGroupFrames};
    data.makeDecoder = [] { return std::make_unique<GroupDecoder>(); };
    waveform.frames = clampFrames(file, framesIn(data));
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

}  // namespace

bool readDvd24(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromDvd24);
}

}  // namespace velor
