#include "formats/sampler/soundfont_samples.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/error.h"
#include "formats/core/undecoded_source.h"
#include "formats/framework/stored_samples.h"

namespace velor {

namespace {

// The upper 16 bits of each point lie in one chunk, the lower 8 in another.
struct SplitPoints {
    std::shared_ptr<File> file;
    std::uint64_t words = 0;
    std::uint64_t lowBytes = 0;

    bool decode(std::uint64_t first, std::uint32_t count, float* to) const {
        constexpr std::uint32_t kPiece = 8192;
        std::array<Byte, 2 * kPiece> high;
        std::array<Byte, kPiece> low;
        while (count > 0) {
            const std::uint32_t now = std::min(count, kPiece);
            if (!file->read(words + 2 * first, std::span(high).first(2 * std::size_t{now})) ||
                !file->read(lowBytes + first, std::span(low).first(now)))
                return false;
            for (std::uint32_t i = 0; i < now; ++i) {
                const int word = loadLe<std::int16_t>(high.data() + 2 * std::size_t{i});
                to[i] = static_cast<float>(word * 256 + low[i]) / 8388608.0f;
            }
            to += now;
            first += now;
            count -= now;
        }
        return true;
    }
};

class SplitStream final : public FrameStream {
  public:
    explicit SplitStream(SplitPoints points) : points_(std::move(points)) {}
    bool read(std::uint32_t count, float* to) override {
        return points_.decode(std::exchange(next_, next_ + count), count, to);
    }

  private:
    SplitPoints points_;
    std::uint64_t next_ = 0;
};

class SplitSamples final : public WaveformSource {
  public:
    explicit SplitSamples(SplitPoints points) : points_(std::move(points)) {}
    bool decode(Waveform& waveform) const override {
        if (!waveform.allocateSamples())
            return fail(kOutOfMemory);
        return points_.decode(0, waveform.frames, waveform.samples().data());
    }
    bool canStream() const override { return true; }
    std::unique_ptr<FrameStream> openStream(const Waveform&) const override {
        return std::make_unique<SplitStream>(points_);
    }

  private:
    SplitPoints points_;
};

// The length of an Ogg stream in frames: the granule position of its last page (RFC 3533, section 6). 0 when
// there is none.
std::uint32_t oggFrames(const File& file, std::uint64_t start, std::uint64_t end) {
    constexpr std::size_t kGranuleAt = 6, kHeader = 14;
    for (const std::uint64_t look : {std::uint64_t{8192}, std::uint64_t{65536}}) {
        std::vector<Byte> tail(static_cast<std::size_t>(std::min(look, end - start)));
        tail.resize(file.readSome(end - tail.size(), tail));
        for (std::size_t at = tail.size(); at-- > 0;) {
            if (tail.size() - at < kHeader || std::memcmp(tail.data() + at, "OggS", 4) != 0)
                continue;
            const auto granule = loadLe<std::uint64_t>(tail.data() + at + kGranuleAt);
            return granule <= INT32_MAX ? static_cast<std::uint32_t>(granule) : 0;
        }
    }
    return 0;
}

void attachStream(Waveform& waveform, const File& file, const SoundFontRecords& records, std::uint64_t start,
                  std::uint64_t end) {
    start = std::min(start, records.sampleBytes);
    end = std::clamp(end, start, records.sampleBytes);
    std::array<Byte, 4> magic{};
    file.readSome(records.samplePosition + start, magic);
    const bool flac = std::memcmp(magic.data(), "fLaC", 4) == 0;
    waveform.frames =
        flac ? 0 : oggFrames(file, records.samplePosition + start, records.samplePosition + end);
    waveform.format = flac ? SampleFormat::Pcm16 : bitRateClass(96);
    waveform.sourceFormat = encodingBit(SampleEncoding::Compressed);
    waveform.sourceOffset = records.samplePosition + start;
    waveform.setSource(undecodedSource(flac ? "FLAC" : "Ogg Vorbis"));
}

}  // namespace

void attachSoundFontSamples(Waveform& waveform, const std::shared_ptr<File>& file,
                            const SoundFontRecords& records, bool compressed, std::uint64_t start,
                            std::uint64_t end) {
    if (compressed) {
        attachStream(waveform, *file, records, start, end);
        return;
    }
    const std::uint64_t points = records.sampleBytes / 2;
    start = std::min(start, points);
    end = std::clamp(end, start, points);
    waveform.frames = static_cast<std::uint32_t>(end - start);
    waveform.bits = records.has24Bits ? 24 : 16;
    waveform.format = sampleFormatOfPcm(waveform.bits);
    const std::uint64_t position = records.samplePosition + 2 * start;
    if (records.has24Bits) {
        waveform.sourceFormat = encodingBit(SampleEncoding::Pcm24);
        waveform.sourceOffset = position;
        waveform.setSource(
            std::make_shared<SplitSamples>(SplitPoints{file, position, records.lowBytePosition + start}));
        return;
    }
    StoredBlock block;
    block.position = position;
    block.byteSize = 2 * (end - start);
    attachStoredSamples(waveform, file, block);
}

}  // namespace velor
