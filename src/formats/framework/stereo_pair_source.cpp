#include "formats/framework/stereo_pair_source.h"

#include <algorithm>
#include <vector>

#include "base/error.h"
#include "items/collection.h"

namespace velor {

namespace {

constexpr std::uint32_t kPieceFrames = 8192;

class PairStream final : public FrameStream {
  public:
    PairStream(std::unique_ptr<FrameStream> left, std::unique_ptr<FrameStream> right)
        : left_(std::move(left)), right_(std::move(right)), mono_(2 * std::size_t{kPieceFrames}) {}

    bool read(std::uint32_t count, float* to) override {
        while (count > 0) {
            const std::uint32_t now = std::min(count, kPieceFrames);
            float* const left = mono_.data();
            float* const right = left + kPieceFrames;
            if (!left_->read(now, left) || !right_->read(now, right))
                return false;
            for (std::uint32_t i = 0; i < now; ++i) {
                *to++ = left[i];
                *to++ = right[i];
            }
            count -= now;
        }
        return true;
    }

  private:
    std::unique_ptr<FrameStream> left_;
    std::unique_ptr<FrameStream> right_;
    std::vector<float> mono_;
};

class PairSource final : public WaveformSource {
  public:
    PairSource(const Waveform& left, const Waveform& right) {
        // Sources ask their waveform for its shape, so the halves stay waveforms, out of sight.
        left_ = halves_.create<Waveform>(left.name());
        left_->copyContentFrom(left);
        right_ = halves_.create<Waveform>(right.name());
        right_->copyContentFrom(right);
    }

    bool canStream() const override { return true; }

    std::unique_ptr<FrameStream> openStream(const Waveform&) const override {
        auto left = left_->source()->openStream(*left_);
        auto right = right_->source()->openStream(*right_);
        if (!left || !right)
            return nullptr;
        return std::make_unique<PairStream>(std::move(left), std::move(right));
    }

    bool decode(Waveform& waveform) const override {
        const auto stream = openStream(waveform);
        if (!stream)
            return fail(kReadFailed);
        float* const to = waveform.allocateSamples();
        return to ? stream->read(waveform.frames, to) : fail(kOutOfMemory);
    }

  private:
    Collection halves_;
    Waveform* left_ = nullptr;
    Waveform* right_ = nullptr;
};

bool streams(const Waveform& waveform) {
    return !waveform.samplesLoaded() && waveform.source() && waveform.source()->canStream();
}

}  // namespace

std::shared_ptr<const WaveformSource> stereoPairSource(const Waveform& left, const Waveform& right) {
    if (!streams(left) || !streams(right))
        return nullptr;
    return std::make_shared<PairSource>(left, right);
}

}  // namespace velor
