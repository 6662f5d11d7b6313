#include "formats/core/waves/kontakt_wave.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <vector>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 32;  // what is used of it
constexpr std::uint32_t kBlockMagic = 0x3E9A0C16;
constexpr std::size_t kBlockHead = 16;
constexpr std::uint32_t kBlockFrames = 512;
constexpr std::uint16_t kMidSide = 1, kFloat = 2;  // flags of a block

struct Layout {
    std::uint16_t channels = 1, bits = 16;
    std::uint32_t tableOffset = 0, dataOffset = 0, dataSize = 0;
};

using BlockValues = std::array<std::int32_t, kBlockFrames>;

// Signed values of `width` bits, packed from the low bits up.
bool unpack(std::span<const Byte> from, unsigned width, BlockValues& values) {
    if (from.size() < kBlockFrames / 8 * width)
        return false;
    std::uint64_t held = 0;
    unsigned count = 0;
    const Byte* next = from.data();
    for (std::int32_t& value : values) {
        for (; count < width; count += 8)
            held |= std::uint64_t{*next++} << count;
        const std::uint64_t raw = held & ((std::uint64_t{1} << width) - 1);
        held >>= width;
        count -= width;
        value = static_cast<std::int32_t>(static_cast<std::uint32_t>(raw << (32 - width))) >> (32 - width);
    }
    return true;
}

class BlockDecoder final : public SampleDecoder {
  public:
    BlockDecoder(const Layout& layout, std::size_t kept) : layout_(layout), kept_(kept) {}

    // `file` is the whole file.
    std::size_t decode(std::span<const Byte> file, std::span<float> to) override {
        std::size_t written = 0;
        std::vector<BlockValues> values(layout_.channels);
        for (std::size_t entry = layout_.tableOffset; entry + 4 <= file.size() && written < to.size();
             entry += 4) {
            const std::uint64_t at =
                std::uint64_t{layout_.dataOffset} + loadLe<std::uint32_t>(file.data() + entry);
            if (at >= file.size() || !decodeBlock(file.subspan(static_cast<std::size_t>(at)), values))
                break;
            const std::size_t frames = std::min<std::size_t>(kBlockFrames, (to.size() - written) / kept_);
            for (std::size_t i = 0; i < frames; ++i) {
                for (std::size_t channel = 0; channel < kept_; ++channel)
                    to[written++] = levelOf(values[channel][i]);
            }
            if (frames < kBlockFrames)
                break;
        }
        return written;
    }

  private:
    bool decodeBlock(std::span<const Byte> from, std::vector<BlockValues>& values) {
        std::uint16_t flags = 0;
        for (BlockValues& channel : values) {
            ByteReader reader(from);
            const std::uint32_t magic = reader.u32();
            const std::int32_t base = reader.s32();
            const int width = reader.s16();
            flags = reader.u16();
            reader.skip(4);
            if (!reader.ok() || magic != kBlockMagic || width < -32 || width > 32)
                return false;
            const auto bits = static_cast<unsigned>(width == 0 ? layout_.bits : std::abs(width));
            from = from.subspan(kBlockHead);
            if (!unpack(from, bits, channel))
                return false;
            if (width > 0)
                sumUp(base, channel);
            from = from.subspan(kBlockFrames / 8 * bits);
        }
        float_ = flags & kFloat;
        if ((flags & kMidSide) && values.size() == 2)
            splitMidSide(values[0], values[1]);
        return true;
    }

    // Differences to the values that follow: the first value is the base, the last difference unused. Sums
    // wrap, so that forged ones are only wrong.
    static void sumUp(std::int32_t base, BlockValues& values) {
        auto sum = static_cast<std::uint32_t>(base);
        for (std::int32_t& value : values) {
            const auto difference = static_cast<std::uint32_t>(value);
            value = static_cast<std::int32_t>(sum);
            sum += difference;
        }
    }

    static void splitMidSide(BlockValues& first, BlockValues& second) {
        for (std::size_t i = 0; i < kBlockFrames; ++i) {
            const auto mid = static_cast<std::uint32_t>(first[i]),
                       side = static_cast<std::uint32_t>(second[i]);
            first[i] = static_cast<std::int32_t>(mid + side);
            second[i] = static_cast<std::int32_t>(mid - side);
        }
    }

    float levelOf(std::int32_t value) const {
        if (float_)
            return std::bit_cast<float>(value);
        return static_cast<float>(value) / static_cast<float>(std::uint32_t{1} << (layout_.bits - 1));
    }

    Layout layout_;
    std::size_t kept_;
    bool float_ = false;
};

// What the first block says.
bool usesFloat(const OpenFile& file, const Layout& layout) {
    const auto first = bytesAt(file, layout.tableOffset, 4);
    if (first.size() < 4)
        return false;
    const auto head =
        bytesAt(file, std::uint64_t{layout.dataOffset} + loadLe<std::uint32_t>(first.data()), kBlockHead);
    return head.size() == kBlockHead && (loadLe<std::uint16_t>(head.data() + 10) & kFloat);
}

bool fillFromKontaktWave(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    if (reader.u32() != 0xD69EA801)
        return fail("Not a packed sample");
    reader.skip(4);  // version
    Layout layout;
    layout.channels = reader.u16();
    layout.bits = reader.u16();
    const std::uint32_t rate = reader.u32();
    const std::uint32_t frames = reader.u32();
    layout.tableOffset = reader.u32();
    layout.dataOffset = reader.u32();
    layout.dataSize = reader.u32();
    if (!reader.ok() || layout.dataOffset < layout.tableOffset)
        return fail("The packed sample's header is damaged");
    SampleEncoding encoding;
    switch (layout.bits) {
        case 8:
            encoding = SampleEncoding::Pcm8;
            break;
        case 16:
            encoding = SampleEncoding::Pcm16;
            break;
        case 24:
            encoding = SampleEncoding::Pcm24;
            break;
        case 32:
            encoding = usesFloat(file, layout) ? SampleEncoding::Float32 : SampleEncoding::Pcm32;
            break;
        default:
            return fail(kUnknownSampleFormat);
    }
    if (!setChannels(waveform, file, layout.channels))
        return false;
    setRate(waveform, file, rate);
    setEncoding(waveform, encoding);
    availableBytes(file, layout.dataOffset, layout.dataSize);  // warns
    // The table has an entry for each block and one for the end.
    const std::uint64_t blocks = (layout.dataOffset - layout.tableOffset) / 4;
    const std::uint64_t room = file.size() / (kBlockHead * layout.channels);
    waveform.frames =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, std::min(blocks, room) * kBlockFrames));
    CodecData data;
    data.byteSize = file.size();
    data.makeDecoder = [layout, kept = waveform.channels] {
        return std::make_unique<BlockDecoder>(layout, kept);
    };
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

}  // namespace

bool readKontaktWave(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromKontaktWave);
}

}  // namespace velor
