#include "dsp/pitch_spectrum.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "dsp/fft.h"

namespace velor {

namespace {

constexpr std::size_t kMostPeaks = 64;
constexpr double kHarmonicRange = 18;  // level units below the strongest peak
constexpr int kMostHarmonics = 64;
constexpr std::size_t kCopyBlock = 1 << 18;  // frames: a few milliseconds
constexpr float kPi = 3.1415927f;

// sin(i pi / N) for i <= N/2; its square is the rising half of a Hann window.
const std::vector<float>& windowTable(std::size_t length) {
    static thread_local std::size_t madeFor = 0;
    static thread_local std::vector<float> table;
    if (madeFor != length) {
        table.resize(length / 2 + 1);
        for (std::size_t i = 0; i < table.size(); ++i)
            table[i] = std::sin(static_cast<float>(i) * kPi / static_cast<float>(length));
        madeFor = length;
    }
    return table;
}

// Whether the strongest peak, f0, is a harmonic of f, as sure as bins of width b can tell. A ratio of 3:2
// counts: the peak between was then too weak to show.
bool hasHarmonic(double f, double f0, double b) {
    for (int h = 1; h < kMostHarmonics; ++h) {
        const double m = h == 1 ? 1.5 : h;
        if ((f - b) * m > f0 + b)
            return false;
        if ((f + b) * m >= f0 - b)
            return true;
    }
    return false;
}

}  // namespace

// Grows block by block, since touching fresh memory takes longer than the sums.
std::vector<float> monoCopy(std::span<const float> samples, unsigned channels, UserInterface* ui) {
    const std::size_t frames = channels ? samples.size() / channels : 0;
    const float scale = 1.0f / static_cast<float>(std::max(channels, 1u));
    std::vector<float> mono;
    mono.reserve(frames);
    while (mono.size() < frames) {
        if (ui && ui->aborted())
            return {};
        std::size_t i = mono.size();
        mono.resize(std::min(frames, i + kCopyBlock));
        for (; i < mono.size(); ++i) {
            float sum = 0;
            for (unsigned c = 0; c < channels; ++c)
                sum += samples[i * channels + c];
            mono[i] = std::isfinite(sum) ? sum * scale : 0;
        }
    }
    return mono;
}

PitchSpectrum pitchSpectrum(std::span<const float> mono, std::uint32_t rate) {
    const std::size_t length = mono.size();
    const std::size_t longest = std::min<std::size_t>(length, rate);
    if (longest < 8)
        return {};
    const std::size_t p = std::bit_floor(longest);
    const bool whole = p < rate / 5 && static_cast<double>(length) / static_cast<double>(p) >= 1.75;
    const std::size_t n = whole ? 2 * p : p;
    const auto segment =
        whole ? mono : mono.subspan(static_cast<std::size_t>(std::uint64_t{length - p} * 2 / 3), p);

    const std::vector<float>& table = windowTable(n);
    std::vector<float> windowed(n, 0.0f);
    for (std::size_t i = 0; i < segment.size(); ++i) {
        const float w = i < n / 2 ? table[i] : table[n - i];
        windowed[i] = segment[i] * w * w;
    }
    RealFft fft(n);
    std::vector<RealFft::Complex> bins(fft.bins());
    fft.forward(windowed, bins);

    static const double kFloor = std::pow(std::exp(-16.578613), 2);
    const double scale = 0.09655 / static_cast<double>(n);
    PitchSpectrum spectrum{std::vector<double>(n / 2 + 1), rate * 0.5 / static_cast<double>(n / 2)};
    for (std::size_t i = 0; i <= n / 2; ++i) {
        const double re = bins[i].real();
        const double im = i == 0 || i == n / 2 ? 0.0 : bins[i].imag();
        const double power = i == n / 2 ? 0 : (re * re + im * im) * scale * scale;
        spectrum.levels[i] = 20 * std::log10(std::isfinite(power) ? std::max(power, kFloor) : kFloor);
    }
    return spectrum;
}

std::vector<SpectralPeak> spectralPeaks(const PitchSpectrum& spectrum) {
    const std::vector<double>& level = spectrum.levels;
    std::vector<SpectralPeak> peaks;
    for (std::size_t i = 1; i + 1 < level.size(); ++i) {
        if (!(level[i] > level[i - 1] && level[i] >= level[i + 1]))
            continue;
        const double curve = level[i - 1] - 2 * level[i] + level[i + 1];
        const double offset = 0.5 * (level[i - 1] - level[i + 1]) / curve;
        peaks.push_back({(static_cast<double>(i) + offset) * spectrum.binWidth,
                         level[i] - 0.25 * (level[i - 1] - level[i + 1]) * offset});
    }
    std::ranges::stable_sort(peaks, std::ranges::greater{}, &SpectralPeak::level);
    if (peaks.size() > kMostPeaks)
        peaks.resize(kMostPeaks);
    return peaks;
}

bool spectralEstimate(const PitchSpectrum& spectrum, SpectralEstimate& estimate) {
    const std::vector<SpectralPeak> peaks = spectralPeaks(spectrum);
    if (peaks.empty())
        return false;
    const double b = spectrum.binWidth;
    double f0 = peaks[0].frequency;
    for (const SpectralPeak& peak : peaks) {
        if (peak.level < peaks[0].level - kHarmonicRange)
            break;
        if (peak.frequency <= f0 && hasHarmonic(peak.frequency, f0, b))
            f0 = peak.frequency;
    }
    estimate = {f0, b};
    return true;
}

}  // namespace velor
