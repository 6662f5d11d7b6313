#include "formats/core/waves/paris.h"

#include <algorithm>
#include <array>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 28, kDataAt = 2048;
constexpr std::uint32_t kFormat16 = 0, kFormat24 = 1, kFormat8 = 2;
constexpr std::uint32_t kAnalogSource = 1;
constexpr std::uint32_t kWritable =
    encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24});

// 24-bit samples come in blocks of 32 bytes, one channel after the other: ten samples of three bytes each,
// the low byte first, and two bytes of nothing. The block is handled as eight words, so that a file for a
// big-endian machine has the bytes of every word turned round.
constexpr std::uint32_t kBlockBytes = 32, kBlockFrames = 10;

using Block = std::array<Byte, kBlockBytes>;

Block turnedWords(std::span<const Byte> from, ByteOrder order) {
    Block block{};
    for (std::size_t word = 0; word < kBlockBytes; word += 4)
        storeLe(block.data() + word, loadAs<std::uint32_t>(from.data() + word, order));
    return block;
}

class BlockDecoder final : public SampleDecoder {
  public:
    BlockDecoder(ByteOrder order, std::uint32_t stored, std::uint32_t channels)
        : order_(order), stored_(stored), channels_(channels) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        const std::size_t unit = std::size_t{kBlockBytes} * stored_;
        const std::size_t frames = std::min(from.size() / unit * kBlockFrames, to.size() / channels_);
        for (std::size_t first = 0; first < frames; first += kBlockFrames) {
            const std::size_t count = std::min<std::size_t>(kBlockFrames, frames - first);
            for (std::size_t channel = 0; channel < channels_; ++channel) {
                const Block block = turnedWords(
                    from.subspan(first / kBlockFrames * unit + channel * kBlockBytes, kBlockBytes), order_);
                std::array<float, kBlockFrames> samples;
                decodeSamples({SampleEncoding::Pcm24, ByteOrder::Little, false},
                              std::span<const Byte>(block).first(kBlockFrames * 3), samples);
                for (std::size_t i = 0; i < count; ++i)
                    to[(first + i) * channels_ + channel] = samples[i];
            }
        }
        return frames * channels_;
    }

  private:
    ByteOrder order_;
    std::uint32_t stored_, channels_;
};

bool fillFromParis(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    const std::uint32_t magic = reader.id();
    if (magic != fourCc(" paf") && magic != fourCc("fap "))
        return fail("Not a PARIS audio file");
    reader.setOrder(magic == fourCc(" paf") ? ByteOrder::Big : ByteOrder::Little);
    const std::uint32_t version = reader.u32();
    const ByteOrder order = reader.u32() == 0 ? ByteOrder::Big : ByteOrder::Little;
    StoredWave stored;
    stored.rate = reader.u32();
    const std::uint32_t format = reader.u32();
    stored.channels = reader.u32();
    if (!reader.ok() || version != 0 || format > kFormat8)
        return fail(kUnknownSampleFormat);
    stored.layout.order = order;
    stored.position = kDataAt;
    if (format != kFormat24) {
        stored.layout.encoding = format == kFormat8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16;
        return attachStoredWave(waveform, file, stored);
    }
    if (!setChannels(waveform, file, stored.channels))
        return false;
    setRate(waveform, file, stored.rate);
    setEncoding(waveform, SampleEncoding::Pcm24);
    CodecData data;
    data.position = kDataAt;
    data.byteSize = availableBytes(file, kDataAt, kToFileEnd);
    data.unit = {kBlockBytes * stored.channels, kBlockFrames};
    data.byteSize -= data.byteSize % data.unit.bytes;
    data.makeDecoder = [order, all = stored.channels, channels = waveform.channels] {
        return std::make_unique<BlockDecoder>(order, all, channels);
    };
    waveform.frames = clampFrames(file, framesIn(data));
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

// Interleaved little-endian 24-bit samples brought into blocks; `to` is as long as the whole blocks are.
void packBlocks(std::span<const Byte> samples, std::uint32_t channels, std::span<Byte> to) {
    const std::size_t frames = samples.size() / 3 / channels;
    std::ranges::fill(to, Byte{0});
    for (std::size_t frame = 0; frame < frames; ++frame) {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const std::size_t block = frame / kBlockFrames * channels + channel;
            std::copy_n(samples.data() + (frame * channels + channel) * 3, 3,
                        to.data() + block * kBlockBytes + frame % kBlockFrames * 3);
        }
    }
    for (std::size_t at = 0; at < to.size(); at += kBlockBytes)
        std::ranges::copy(turnedWords(to.subspan(at, kBlockBytes), ByteOrder::Big), to.data() + at);
}

}  // namespace

bool readParis(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromParis);
}

bool writeParis(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    const SampleEncoding encoding = plan.target.layout.encoding;
    const bool blocks = encoding == SampleEncoding::Pcm24;
    const auto channels = static_cast<std::uint32_t>(plan.target.channels);
    const std::uint64_t dataSize =
        blocks ? (std::uint64_t{waveform->frames} + kBlockFrames - 1) / kBlockFrames * kBlockBytes * channels
               : plan.dataSize;
    FileImage image;
    if (!image.allocate(kDataAt + dataSize))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.id(fourCc(" paf"));
    to.u32(0);  // version
    to.u32(0);  // big-endian data
    to.u32(waveform->sampleRate);
    to.u32(blocks ? kFormat24 : encoding == SampleEncoding::Pcm8 ? kFormat8 : kFormat16);
    to.u32(channels);
    to.u32(kAnalogSource);
    to.zeros(kDataAt - to.position());
    if (!blocks)
        return finishWave(*waveform, plan, to, image, file);
    plan.target.layout.order = ByteOrder::Little;
    FileImage plain;
    if (!plain.allocate(plan.dataSize) || !encodeWaveform(*waveform, plan.target, plain.bytes(), *file.ui))
        return false;
    packBlocks(plain.bytes(), channels, to.block(to.remaining()));
    return file.write(image.bytes());
}

}  // namespace velor
