#include "formats/core/waves/exponential_law.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/frame_reader.h"

namespace velor {

namespace {

constexpr double kRate = 8000;
constexpr double kMu = 255;
constexpr unsigned kSign = 0x80, kMagnitude = 0x7F;
constexpr CodecUnit kUnit{1, 1};

// The continuous mu-law that G.711 approaches by segments.
std::array<float, 256> makeCurve() {
    std::array<float, 256> curve;
    for (unsigned code = 0; code < curve.size(); ++code) {
        const double level = static_cast<double>(code & kMagnitude) / kMagnitude;
        const double value = (std::pow(1 + kMu, level) - 1) / kMu;
        curve[code] = static_cast<float>(code & kSign ? -value : value);
    }
    return curve;
}

class LawDecoder final : public SampleDecoder {
  public:
    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        const std::size_t count = std::min(from.size(), to.size());
        for (std::size_t i = 0; i < count; ++i)
            to[i] = curve_[from[i]];
        return count;
    }

  private:
    std::array<float, 256> curve_ = makeCurve();
};

Byte codeOf(float sample) {
    const double magnitude = std::min(std::abs(static_cast<double>(sample)), 1.0);
    const double level = std::log1p(kMu * (magnitude >= 0 ? magnitude : 0)) / std::log1p(kMu);
    return static_cast<Byte>(std::lround(level * kMagnitude) | (sample < 0 ? kSign : 0));
}

bool fillFromExponentialLaw(OpenFile& file, Waveform& waveform) {
    setRate(waveform, file, kRate);
    setEncoding(waveform, SampleEncoding::MuLaw);
    CodecData data;
    data.byteSize = file.size();
    data.unit = kUnit;
    data.makeDecoder = [] { return std::make_unique<LawDecoder>(); };
    waveform.frames = clampFrames(file, framesIn(data));
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

}  // namespace

bool readExponentialLaw(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromExponentialLaw);
}

bool writeExponentialLaw(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* waveform = waveformToWrite(item);
    if (!waveform || !settleFrameCount(*waveform))
        return false;
    FrameReader frames(*waveform, 1);
    FileImage image;
    if (!frames.open() || !image.allocate(waveform->frames))
        return false;
    std::span<Byte> to = image.bytes();
    std::span<const float> samples;
    while (frames.next(samples) && !samples.empty()) {
        const std::size_t count = std::min(samples.size(), to.size());
        std::transform(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count), to.begin(),
                       codeOf);
        to = to.subspan(count);
        file.ui->progress(static_cast<double>(frames.framesRead()) / waveform->frames);
        if (file.ui->aborted())
            return fail("Save aborted!");
    }
    return !frames.failed() && file.write(image.bytes());
}

}  // namespace velor
