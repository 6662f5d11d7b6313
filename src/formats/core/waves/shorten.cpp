#include "formats/core/waves/shorten.h"

#include <algorithm>
#include <vector>

#include "base/error.h"
#include "base/ieee_extended.h"
#include "formats/core/codecs/shorten_stream.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::size_t kHeadBytes = 1u << 17;  // enough for the stream's header and the file head in it
constexpr std::size_t kMostStream = 1u << 30;
// A zero block of a few bits stands for a whole block of silence; more than this, over all channels, is not
// believed.
constexpr std::uint64_t kMostSamplesPerByte = 1024;

class ShortenDecoder final : public SampleDecoder {
  public:
    explicit ShortenDecoder(std::size_t channels) : kept_(channels) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        ShortenStream stream(from);
        ShortenHeader header;
        if (!stream.readHeader(header))
            return 0;
        const float scale = 1.0f / static_cast<float>(1 << (header.bits - 1));
        std::size_t written = 0;
        stream.decode([&](std::span<const std::vector<std::int32_t>> values) {
            std::size_t frames = (to.size() - written) / kept_;
            for (std::size_t channel = 0; channel < kept_; ++channel)
                frames = std::min(frames, values[std::min(channel, values.size() - 1)].size());
            for (std::size_t i = 0; i < frames; ++i) {
                for (std::size_t channel = 0; channel < kept_; ++channel)
                    to[written++] = static_cast<float>(values[channel][i]) * scale;
            }
            return written + kept_ <= to.size();
        });
        return written;
    }

  private:
    std::size_t kept_;
};

std::uint64_t countFrames(std::span<const Byte> data) {
    ShortenStream stream(data);
    ShortenHeader header;
    std::uint64_t frames = 0;
    if (stream.readHeader(header))
        stream.decode([&](std::span<const std::vector<std::int32_t>> values) {
            frames += values.front().size();
            return frames * header.channels < data.size() * kMostSamplesPerByte;
        });
    return frames;
}

// Rate and frames of the file that was packed, from its head.
void applyWaveHead(ByteReader head, Waveform& waveform) {
    head.skip(12);
    std::uint32_t frameBytes = 0;
    while (head.remaining() >= 8) {
        const std::uint32_t id = head.id();
        const std::uint32_t size = head.u32();
        if (id == fourCc("data")) {
            if (frameBytes != 0 && size != 0 && size < 0xFFFFFF00)
                waveform.frames = size / frameBytes;
            return;
        }
        ByteReader chunk = head.sub(std::min<std::size_t>(size + (size & 1), head.remaining()));
        if (id != fourCc("fmt "))
            continue;
        chunk.skip(4);
        waveform.sampleRate = chunk.u32();
        chunk.skip(4);
        frameBytes = chunk.u16();
    }
}

void applyAiffHead(ByteReader head, Waveform& waveform) {
    head.skip(12);
    head.setOrder(ByteOrder::Big);
    while (head.remaining() >= 8) {
        const std::uint32_t id = head.id();
        const std::uint32_t size = head.u32();
        ByteReader chunk = head.sub(std::min<std::size_t>(size + (size & 1), head.remaining()));
        if (id != fourCc("COMM"))
            continue;
        chunk.skip(2);
        const std::uint32_t frames = chunk.u32();
        chunk.skip(2);
        const auto rate = chunk.bytes(kExtendedBytes);
        if (!chunk.ok())
            return;
        waveform.frames = frames;
        waveform.sampleRate = static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(integerFromExtended(rate.first<kExtendedBytes>()), 0, 0x7FFFFFFF));
        return;
    }
}

}  // namespace

bool attachShorten(Waveform& waveform, OpenFile& file, std::uint64_t position) {
    const auto head = bytesAt(file, position, kHeadBytes);
    ShortenStream stream(head);
    ShortenHeader header;
    if (!stream.readHeader(header))
        return fail(kUnknownSampleFormat);
    const std::vector<Byte> original = stream.readVerbatim();
    if (original.size() >= 12) {
        ByteReader reader(original);
        const std::uint32_t id = reader.id();
        if (id == fourCc("RIFF"))
            applyWaveHead(ByteReader(original), waveform);
        else if (id == fourCc("FORM"))
            applyAiffHead(ByteReader(original), waveform);
    }
    if (!setChannels(waveform, file, header.channels))
        return false;
    setRate(waveform, file, waveform.sampleRate);
    setEncoding(waveform, header.bits == 8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16);
    CodecData data;
    data.position = position;
    data.byteSize = std::min<std::uint64_t>(availableBytes(file, position, kToFileEnd), kMostStream);
    if (waveform.frames == 0) {
        const auto all = bytesAt(file, position, static_cast<std::size_t>(data.byteSize));
        waveform.frames = clampFrames(file, countFrames(all));
    }
    waveform.frames = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(waveform.frames, data.byteSize * kMostSamplesPerByte / header.channels));
    data.makeDecoder = [channels = waveform.channels] { return std::make_unique<ShortenDecoder>(channels); };
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

bool readShorten(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [](OpenFile& from, Waveform& waveform) {
        waveform.sampleRate = 0;  // as long as no head names it
        return attachShorten(waveform, from, 0);
    });
}

}  // namespace velor
