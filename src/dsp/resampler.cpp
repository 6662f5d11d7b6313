#include "dsp/resampler.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/error.h"
#include "dsp/resampler_blocks.h"

namespace velor {

const std::array<const char*, kResampleMethods> kResampleMethodTexts = {
    "Nearest neighbor - '1-tap'",
    "Linear interpolation - '2-tap'",
    "Cubic interpolation - '4-tap'",
    "FIR filter: > 8-bits S/N (fast)",
    "FIR filter: > 12-bits S/N (fast)",
    "FIR filter: > 16-bits S/N (fast)",
    "FIR filter: > 20-bits S/N (slower)",
    "FIR filter: > 24-bits S/N (very slow)",
    "FIR filter: Auto-select >16 or >20-bits S/N",
};

unsigned firLevelOf(std::uint8_t method, unsigned bits) {
    switch (static_cast<ResampleMethod>(method)) {
        case ResampleMethod::Fir8:
            return 8;
        case ResampleMethod::Fir12:
            return 12;
        case ResampleMethod::Fir16:
            return 16;
        case ResampleMethod::Fir20:
            return 20;
        case ResampleMethod::Fir24:
            return 24;
        case ResampleMethod::FirAuto:
            return bits > 16 ? 20 : 16;
        default:
            return 0;
    }
}

namespace {

constexpr const char* kInvalidRatio = "Invalid length or frequency specified";

// x, which is not negative, cut to a whole 32-bit number.
std::uint32_t truncated(double x) {
    return x < 4294967296.0 ? static_cast<std::uint32_t>(x) : std::numeric_limits<std::uint32_t>::max();
}

bool isWhole(float x) {
    return std::trunc(x) == x;
}

struct WholeLoop {
    float start;
    float end;
};

// Start and end in whole frames; the length is rounded apart from the start.
WholeLoop rescaledWhole(float start, float end, float ratio) {
    const float newStart = start * ratio;
    const float length = std::trunc(ratio * end - newStart + 0.5f);
    const float rounded = std::trunc(newStart + 0.5f);
    return {rounded, length + rounded};
}

void rescaleLoop(Waveform& waveform, float ratio) {
    const auto start = static_cast<float>(waveform.loopStart);
    const auto end = static_cast<float>(waveform.loopEnd);
    if (isWhole(start) && isWhole(end)) {
        const WholeLoop loop = rescaledWhole(start, end, ratio);
        waveform.loopStart = loop.start;
        waveform.loopEnd = loop.end;
    } else {
        waveform.loopStart = start * ratio;
        waveform.loopEnd = end * ratio;
    }
}

bool finish(bool resampled, Waveform& destination, const Waveform& source, Collection* collection,
            double ratio) {
    if (resampled && collection && &destination == &source)
        RescaleRegionLoops(*collection, destination, static_cast<float>(ratio));
    return resampled;
}

}  // namespace

bool Resample(Waveform& destination, Waveform& source, std::uint32_t newLength, std::uint32_t newRate,
              std::uint8_t method, double ratio, UserInterface* ui) {
    if (!(ratio > 0) || !std::isfinite(ratio))
        return fail(kInvalidRatio);
    if (!source.loadSamples())
        return false;
    if (ratio == 1.0 && &destination == &source)
        return true;
    const std::span<const float> from = std::as_const(source).samples();
    SampleBufferRef buffer;
    if (ratio != 1.0) {
        buffer = resampledCopy({from, source.channels, method, firLevelOf(method, source.bits), ratio},
                               newLength, newRate, ui);
        if (!buffer)
            return false;
    } else {
        buffer =
            SampleBufferRef(SampleBuffer::create(newLength, source.channels, static_cast<float>(newRate)));
        if (!buffer)
            return fail(kOutOfMemory);
        const std::size_t kept = std::min(from.size(), buffer->sampleCount());
        std::copy_n(from.begin(), kept, buffer->data());
        std::fill_n(buffer->data() + kept, buffer->sampleCount() - kept, 0.0f);
    }
    destination.installBuffer(std::move(buffer));
    rescaleLoop(destination, static_cast<float>(ratio));
    return true;
}

bool ResampleToRate(Waveform& destination, Waveform& source, std::uint32_t newRate, std::uint8_t method,
                    Collection* collection, UserInterface* ui) {
    if (source.sampleRate == 0 || newRate == 0)
        return fail(kInvalidRatio);
    // The frame count is certain only when the samples are there.
    if (!source.loadSamples())
        return false;
    const double ratio = static_cast<double>(newRate) / source.sampleRate;
    const double length = source.frames * ratio;
    if (length >= 4294967296.0)
        return fail(kOutOfMemory);
    return finish(Resample(destination, source, truncated(length), newRate, method, ratio, ui), destination,
                  source, collection, ratio);
}

bool ResampleToLength(Waveform& destination, Waveform& source, std::uint32_t newLength, std::uint8_t method,
                      Collection* collection, UserInterface* ui) {
    if (!source.loadSamples())
        return false;
    if (source.frames == 0 || newLength == 0)
        return fail(kInvalidRatio);
    const double ratio = static_cast<double>(newLength) / source.frames;
    const std::uint32_t newRate = truncated(source.sampleRate * ratio);
    return finish(Resample(destination, source, newLength, newRate, method, ratio, ui), destination, source,
                  collection, ratio);
}

void RescaleRegionLoops(Collection& collection, const Waveform& waveform, float ratio) {
    const auto rounded = [ratio](std::uint32_t frame) {
        return truncated(static_cast<float>(frame) * ratio + 0.5f);
    };
    for (Region* region : collection.all<Region>()) {
        const Waveform* played = region->waveform();
        if (!played || played->id() != waveform.id())
            continue;
        RegionOverrides& own = region->overrides;
        const bool start = own.has(RegionOverrides::LoopStart);
        const bool end = own.has(RegionOverrides::LoopEnd);
        if (start && end && own.loopEnd >= own.loopStart) {
            const WholeLoop loop =
                rescaledWhole(static_cast<float>(own.loopStart), static_cast<float>(own.loopEnd), ratio);
            own.loopStart = truncated(loop.start);
            own.loopEnd = truncated(loop.end);
            continue;
        }
        if (start)
            own.loopStart = rounded(own.loopStart);
        if (end)
            own.loopEnd = rounded(own.loopEnd);
    }
}

}  // namespace velor
