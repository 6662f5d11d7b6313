#include "formats/core/waves/hcom.h"

#include <algorithm>
#include <vector>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::size_t kMacBinaryHeader = 128;
constexpr std::size_t kHeaderSize = 22;  // of the data fork, up to the dictionary
constexpr std::size_t kEntrySize = 4;
constexpr std::size_t kMostEntries = 511;  // a tree of 256 leaves
constexpr double kTopRate = 22050;         // Hz, divided by 1 to 4

struct Entry {
    std::int16_t left;  // negative: a leaf, whose value is `right`
    std::int16_t right;
};

// Dictionary, a pad byte, the first sample, then big-endian words of codes.
class HuffmanDecoder final : public SampleDecoder {
  public:
    HuffmanDecoder(std::size_t entries, bool deltas) : entries_(entries), deltas_(deltas) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        ByteReader reader(from, ByteOrder::Big);
        std::vector<Entry> tree(entries_);
        for (Entry& each : tree) {
            each.left = reader.s16();
            each.right = reader.s16();
        }
        reader.skip(1);
        Byte sample = reader.u8();
        if (!reader.ok() || to.empty())
            return 0;
        std::size_t count = 0;
        to[count++] = valueOf(sample);
        std::size_t entry = 0;
        for (const Byte byte : reader.bytes(reader.remaining())) {
            for (int bit = 7; bit >= 0; --bit) {
                const std::int16_t next = byte >> bit & 1 ? tree[entry].right : tree[entry].left;
                entry = static_cast<std::size_t>(next);
                if (next < 0 || entry >= tree.size())
                    return count;
                if (tree[entry].left >= 0)
                    continue;
                const auto value = static_cast<Byte>(tree[entry].right);
                sample = deltas_ ? static_cast<Byte>(sample + value) : value;
                to[count++] = valueOf(sample);
                if (count == to.size())
                    return count;
                entry = 0;
            }
        }
        return count;
    }

  private:
    static float valueOf(Byte sample) { return static_cast<float>(sample - 128) / 128; }

    std::size_t entries_;
    bool deltas_;
};

bool fillFromHcom(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kMacBinaryHeader + kHeaderSize);
    std::uint64_t fork = 0;
    std::uint64_t forkSize = file.size();
    ByteReader binary(head, ByteOrder::Big);
    if (binary.id() != fourCc("HCOM")) {
        binary.seek(1);
        const std::uint8_t nameSize = binary.u8();
        const std::string name = binary.text(std::min<std::size_t>(nameSize, 63));
        binary.seek(83);
        forkSize = binary.u32();
        if (head.size() < kMacBinaryHeader)
            return fail("Not an HCOM file");
        if (!name.empty())
            waveform.setName(name);
        fork = kMacBinaryHeader;
    }
    const auto fields = bytesAt(file, fork, kHeaderSize);
    ByteReader reader(fields, ByteOrder::Big);
    if (reader.id() != fourCc("HCOM"))
        return fail("Not an HCOM file");
    const std::uint32_t frames = reader.u32();
    reader.skip(4);  // checksum of the code words
    const std::uint32_t mode = reader.u32();
    const std::uint32_t divider = reader.u32();
    const std::uint16_t entries = reader.u16();
    if (!reader.ok() || mode > 1 || divider < 1 || divider > 4 || entries == 0 || entries > kMostEntries)
        return fail(kUnknownSampleFormat);
    setRate(waveform, file, kTopRate / divider);
    setEncoding(waveform, SampleEncoding::Pcm8);
    waveform.frames = frames;
    CodecData data;
    data.position = fork + kHeaderSize;
    data.byteSize = availableBytes(file, data.position,
                                   forkSize > kHeaderSize && fork != 0 ? forkSize - kHeaderSize : kToFileEnd);
    const std::uint64_t overhead = std::uint64_t{entries} * kEntrySize + 2;
    if (data.byteSize < overhead)
        return fail("The HCOM file has no data");
    // The first sample is plain, and no other one takes less than a bit.
    const std::uint64_t most = 1 + (data.byteSize - overhead) * 8;
    if (frames > most) {
        file.warn(std::string(kDataTruncated));
        waveform.frames = static_cast<std::uint32_t>(most);
    }
    data.makeDecoder = [entries, mode] { return std::make_unique<HuffmanDecoder>(entries, mode == 1); };
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

}  // namespace

bool readHcom(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromHcom);
}

}  // namespace velor
