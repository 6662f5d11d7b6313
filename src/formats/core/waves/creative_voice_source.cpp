#include "formats/core/waves/creative_voice_source.h"

#include <algorithm>

#include "base/error.h"

namespace velor::creative_voice {

namespace {

class VoiceSource final : public WaveformSource {
  public:
    VoiceSource(std::shared_ptr<File> file, std::vector<Segment> segments)
        : file_(std::move(file)), segments_(std::move(segments)) {}

    bool decode(Waveform& waveform) const override {
        if (!waveform.allocateSamples())
            return fail(kOutOfMemory);
        std::span<float> to = waveform.samples();
        std::optional<CreativeAdpcmDecoder> decoder;
        for (const Segment& segment : segments_) {
            const std::size_t count = std::min<std::size_t>(
                to.size(), static_cast<std::size_t>(segment.frames) * waveform.channels);
            if (!decodeSegment(segment, waveform.channels, to.first(count), decoder))
                return false;
            to = to.subspan(count);
        }
        std::ranges::fill(to, 0.0f);
        return true;
    }

  private:
    bool decodeSegment(const Segment& segment, std::uint32_t channels, std::span<float> to,
                       std::optional<CreativeAdpcmDecoder>& decoder) const {
        if (segment.bytes == 0 || to.empty()) {
            std::ranges::fill(to, 0.0f);
            return true;
        }
        std::vector<Byte> bytes(static_cast<std::size_t>(segment.bytes));
        if (!file_->read(segment.position, bytes))
            return false;
        std::span<const Byte> from(bytes);
        if (segment.format.adpcm) {
            if (segment.startsCodec) {
                decoder.emplace(*segment.format.adpcm, from.front());
                to.front() = static_cast<float>(from.front() - 128) / 128;
                from = from.subspan(1);
                to = to.subspan(1);
            }
            if (!decoder)
                decoder.emplace(*segment.format.adpcm, Byte{0x80});
            std::vector<std::int16_t> samples(to.size());
            const std::size_t count = decoder->decode(from, samples);
            samplesFrom16(std::span<const std::int16_t>(samples).first(count), to.first(count));
            std::ranges::fill(to.subspan(count), 0.0f);
        } else if (segment.format.channels == channels) {
            decodeSamples(segment.format.layout, from, to);
        } else {
            decodeWide(segment, channels, from, to);
        }
        return true;
    }

    // More channels than a waveform has.
    static void decodeWide(const Segment& segment, std::uint32_t channels, std::span<const Byte> from,
                           std::span<float> to) {
        std::vector<float> all(static_cast<std::size_t>(segment.frames) * segment.format.channels);
        decodeSamples(segment.format.layout, from, all);
        for (std::size_t i = 0; i < to.size(); ++i)
            to[i] = all[i / channels * segment.format.channels + i % channels];
    }

    std::shared_ptr<File> file_;
    std::vector<Segment> segments_;
};

}  // namespace

std::shared_ptr<const WaveformSource> voiceSource(std::shared_ptr<File> file, std::vector<Segment> segments) {
    return std::make_shared<VoiceSource>(std::move(file), std::move(segments));
}

}  // namespace velor::creative_voice
