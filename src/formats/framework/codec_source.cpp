#include "formats/framework/codec_source.h"

#include <algorithm>

#include "base/error.h"

namespace velor {

namespace {

// Frames decoded at a time, rounded to whole units: few enough to stay in the cache.
constexpr std::uint32_t kPieceFrames = 8192;
// Data decoded in one piece are held in memory; more than this is not decoded.
constexpr std::uint64_t kMostInOnePiece = std::uint64_t{1} << 31;

// Front to back over the units of the data.
class CodecStream final : public FrameStream {
  public:
    CodecStream(std::shared_ptr<File> file, const CodecData& data, std::uint32_t channels)
        : file_(std::move(file)), data_(data), channels_(channels), decoder_(data.makeDecoder()) {
        const std::uint32_t byFrames = std::max(kPieceFrames / data.unit.frames, 1u);
        const std::uint32_t byBytes = std::max(262144 / data.unit.bytes, 1u);
        unitsAtOnce_ = std::min(byFrames, byBytes);
    }

    bool read(std::uint32_t count, float* to) override {
        while (count > 0) {
            if (restAt_ == rest_.size() && count >= data_.unit.frames) {
                const std::uint32_t units = std::min(count / data_.unit.frames, unitsAtOnce_);
                const std::uint32_t frames = units * data_.unit.frames;
                if (!decodeUnits(units, {to, std::size_t{frames} * channels_}))
                    return false;
                to += std::size_t{frames} * channels_;
                count -= frames;
                continue;
            }
            if (restAt_ == rest_.size()) {
                rest_.resize(std::size_t{data_.unit.frames} * channels_);
                restAt_ = 0;
                if (!decodeUnits(1, rest_))
                    return false;
            }
            const std::size_t now =
                std::min<std::size_t>(rest_.size() - restAt_, std::size_t{count} * channels_);
            std::copy_n(rest_.data() + restAt_, now, to);
            restAt_ += now;
            to += now;
            count -= static_cast<std::uint32_t>(now / channels_);
        }
        return true;
    }

  private:
    // Decodes the next units; silence beyond the end of the data.
    bool decodeUnits(std::uint32_t units, std::span<float> to) {
        const std::uint64_t left = data_.byteSize - std::min(next_, data_.byteSize);
        const std::uint64_t bytes = std::min<std::uint64_t>(std::uint64_t{units} * data_.unit.bytes, left);
        std::size_t decoded = 0;
        if (bytes > 0) {
            bytes_.resize(static_cast<std::size_t>(bytes));
            if (!file_->read(data_.position + next_, bytes_))
                return false;
            next_ += bytes;
            decoded = decoder_->decode(bytes_, to);
        }
        std::fill(to.begin() + static_cast<std::ptrdiff_t>(std::min(decoded, to.size())), to.end(), 0.0f);
        return true;
    }

    std::shared_ptr<File> file_;
    CodecData data_;
    std::uint32_t channels_;
    std::unique_ptr<SampleDecoder> decoder_;
    std::uint32_t unitsAtOnce_ = 1;
    std::uint64_t next_ = 0;  // byte of the data
    std::vector<Byte> bytes_;
    std::vector<float> rest_;  // of a unit that was only partly asked for
    std::size_t restAt_ = 0;
};

class CodecSamples final : public WaveformSource {
  public:
    CodecSamples(std::shared_ptr<File> file, CodecData data)
        : file_(std::move(file)), data_(std::move(data)) {}

    bool decode(Waveform& waveform) const override {
        if (!waveform.allocateSamples())
            return fail(kOutOfMemory);
        if (const auto stream = openStream(waveform))
            return stream->read(waveform.frames, waveform.samples().data());
        if (data_.byteSize > kMostInOnePiece)
            return fail(kOutOfMemory);
        std::vector<Byte> bytes(static_cast<std::size_t>(data_.byteSize));
        if (!file_->read(data_.position, bytes))
            return false;
        const std::span<float> to = waveform.samples();
        const std::size_t decoded = std::min(data_.makeDecoder()->decode(bytes, to), to.size());
        std::ranges::fill(to.subspan(decoded), 0.0f);
        return true;
    }

    bool canStream() const override { return data_.unit.bytes != 0 && data_.unit.frames != 0; }

    std::unique_ptr<FrameStream> openStream(const Waveform& waveform) const override {
        return canStream() ? std::make_unique<CodecStream>(file_, data_, waveform.channels) : nullptr;
    }

  private:
    std::shared_ptr<File> file_;
    CodecData data_;
};

}  // namespace

std::uint64_t framesIn(const CodecData& data) {
    if (data.unit.bytes == 0)
        return 0;
    return data.byteSize / data.unit.bytes * data.unit.frames +
           data.byteSize % data.unit.bytes * data.unit.frames / data.unit.bytes;
}

void attachCodecSamples(Waveform& waveform, std::shared_ptr<File> file, CodecData data) {
    // Silence of some length is what a cut file is filled up with; this is beyond any of it.
    constexpr std::uint64_t kSlackFrames = 1u << 20, kSlackFactor = 16, kMostFramesPerByte = 64;
    const std::uint64_t held = data.unit.bytes
                                   ? framesIn(data)
                                   : std::min(data.byteSize, std::uint64_t{UINT32_MAX}) * kMostFramesPerByte;
    if (waveform.frames > held * kSlackFactor + kSlackFrames)
        waveform.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(held, UINT32_MAX));
    waveform.sourceOffset = data.position;
    waveform.setSource(std::make_shared<CodecSamples>(std::move(file), std::move(data)));
}

}  // namespace velor
