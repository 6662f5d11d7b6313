#include "dsp/waveform_filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "dsp/sample_blocks.h"

namespace velor {

namespace {

// The longest ringing that zero-phase filtering waits for, in frames.
constexpr std::size_t kLongestTail = std::size_t{1} << 20;
constexpr double kTailEnd = 1e-7;  // of full scale

using Matrix = std::vector<double>;  // square, row after row

Matrix product(const Matrix& a, const Matrix& b, std::size_t n) {
    Matrix c(n * n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = 0; k < n; ++k) {
            for (std::size_t j = 0; j < n; ++j)
                c[i * n + j] += a[i * n + k] * b[k * n + j];
        }
    }
    return c;
}

// How the state moves on in one frame of silence: column j is where unit state j goes.
Matrix transition(const std::vector<BiquadSection>& sections) {
    const std::size_t n = 2 * sections.size();
    Matrix a(n * n);
    for (std::size_t j = 0; j < n; ++j) {
        BiquadCascade cascade(sections);
        cascade.state()[j] = 1;
        const float silence = 0;
        cascade.advance({&silence, 1});
        for (std::size_t i = 0; i < n; ++i)
            a[i * n + j] = cascade.state()[i];
    }
    return a;
}

// Solves (1 - a) x = b by elimination with row exchanges. False when that has no finite solution.
bool solveFixedPoint(Matrix a, std::vector<double>& b) {
    const std::size_t n = b.size();
    for (std::size_t i = 0; i < n * n; ++i)
        a[i] = (i % (n + 1) == 0 ? 1 : 0) - a[i];
    for (std::size_t column = 0; column < n; ++column) {
        std::size_t pivot = column;
        for (std::size_t row = column + 1; row < n; ++row) {
            if (std::fabs(a[row * n + column]) > std::fabs(a[pivot * n + column]))
                pivot = row;
        }
        for (std::size_t k = 0; k < n; ++k)
            std::swap(a[column * n + k], a[pivot * n + k]);
        std::swap(b[column], b[pivot]);
        for (std::size_t row = column + 1; row < n; ++row) {
            const double factor = a[row * n + column] / a[column * n + column];
            for (std::size_t k = column; k < n; ++k)
                a[row * n + k] -= factor * a[column * n + k];
            b[row] -= factor * b[column];
        }
    }
    for (std::size_t row = n; row-- > 0;) {
        for (std::size_t k = row + 1; k < n; ++k)
            b[row] -= a[row * n + k] * b[k];
        b[row] /= a[row * n + row];
    }
    return std::all_of(b.begin(), b.end(), [](double x) { return std::isfinite(x); });
}

// The state whose return after `frames` of the loop it is itself: z = A^frames z + what the loop leaves of
// silence.
bool periodicState(const std::vector<BiquadSection>& sections, std::size_t frames, std::vector<double>& z) {
    const std::size_t n = z.size();
    Matrix step = transition(sections);
    Matrix power(n * n);
    for (std::size_t i = 0; i < n; ++i)
        power[i * n + i] = 1;
    for (; frames > 0; frames >>= 1) {
        if (frames & 1)
            power = product(power, step, n);
        step = product(step, step, n);
    }
    return solveFixedPoint(std::move(power), z);
}

// One channel of the frames, in one direction.
class Pass {
  public:
    Pass(std::span<float> samples, unsigned channels, unsigned channel, const WaveformFilter& filter,
         UserInterface& ui, ProgressPart part)
        : samples_(samples.subspan(std::min<std::size_t>(channel, samples.size()))),
          channels_(channels),
          frames_(samples.size() / channels),
          filter_(filter),
          cascade_(filter.sections),
          ui_(ui),
          part_(part) {}

    BiquadCascade& cascade() { return cascade_; }

    bool run() {
        if (!filter_.loop)
            return process(0, frames_);
        const auto [start, end] = *filter_.loop;
        if (!process(0, start))
            return false;
        const std::vector<double> arrived(cascade_.state().begin(), cascade_.state().end());
        std::vector<double> periodic(arrived.size());
        std::fill(cascade_.state().begin(), cascade_.state().end(), 0.0);
        if (!advance(start, end))
            return false;
        std::copy(cascade_.state().begin(), cascade_.state().end(), periodic.begin());
        if (periodicState(filter_.sections, end - start, periodic))
            blendInto(start, arrived, periodic);
        else
            periodic = arrived;
        std::copy(periodic.begin(), periodic.end(), cascade_.state().begin());
        return process(start, end) && process(end, frames_);
    }

  private:
    std::span<float> piece(std::size_t first, std::size_t count) {
        const std::size_t at = first * channels_;
        return samples_.subspan(at, std::min(count * channels_, samples_.size() - at));
    }
    ProgressPart partOf(std::size_t first, std::size_t end) const {
        const double all = static_cast<double>(frames_), length = part_.to - part_.from;
        return {part_.from + length * static_cast<double>(first) / all,
                part_.from + length * static_cast<double>(end) / all};
    }
    bool process(std::size_t first, std::size_t end) {
        return inBlocks(end - first, ui_, partOf(first, end), [&](std::size_t at, std::size_t count) {
            cascade_.process(piece(first + at, count), channels_);
        });
    }
    bool advance(std::size_t first, std::size_t end) {
        return inBlocks(end - first, ui_, partOf(first, first), [&](std::size_t at, std::size_t count) {
            cascade_.advance(piece(first + at, count), channels_);
        });
    }

    // d(m) is what the filter would still ring from the attack at frame start + m and the loop lacks. 2 d(0)
    // - d(m) mirrored before the start meets it there in value and slope.
    void blendInto(std::size_t start, std::span<const double> arrived, std::span<const double> periodic) {
        const std::size_t length = std::min(filter_.blend, start);
        if (length == 0)
            return;
        std::vector<float> ringing(length + 1);
        for (std::size_t i = 0; i < arrived.size(); ++i)
            cascade_.state()[i] = arrived[i] - periodic[i];
        cascade_.process(ringing);
        for (std::size_t m = 1; m <= length; ++m) {
            const double share = 0.5 + 0.5 * std::cos(std::numbers::pi * static_cast<double>(m) /
                                                      static_cast<double>(length + 1));
            float& sample = samples_[(start - m) * channels_];
            sample -= static_cast<float>(
                share * (2 * static_cast<double>(ringing[0]) - static_cast<double>(ringing[m])));
        }
    }

    std::span<float> samples_;
    std::size_t channels_;
    std::size_t frames_;
    const WaveformFilter& filter_;
    BiquadCascade cascade_;
    UserInterface& ui_;
    ProgressPart part_;
};

// What still rings behind the last frame, last frame first.
std::vector<float> ringOut(BiquadCascade& cascade) {
    std::vector<float> tail;
    constexpr std::size_t kPiece = 4096;
    for (double loudest = 1; loudest > kTailEnd && tail.size() < kLongestTail;) {
        tail.resize(tail.size() + kPiece);
        const std::span<float> last = std::span(tail).last(kPiece);
        cascade.process(last);
        loudest = 0;
        for (const float sample : last)
            loudest = std::max(loudest, std::fabs(static_cast<double>(sample)));
    }
    std::reverse(tail.begin(), tail.end());
    return tail;
}

bool reverseFrames(std::span<float> samples, unsigned channels, UserInterface& ui, double progress) {
    const std::size_t frames = samples.size() / channels;
    return inBlocks(frames / 2, ui, {progress, progress}, [&](std::size_t first, std::size_t count) {
        for (std::size_t i = first; i < first + count; ++i) {
            for (std::size_t c = 0; c < channels; ++c)
                std::swap(samples[i * channels + c], samples[(frames - 1 - i) * channels + c]);
        }
    });
}

}  // namespace

std::optional<WholeLoop> periodicLoop(const Waveform& waveform) {
    const double start = std::round(waveform.loopStart), end = std::round(waveform.loopEnd);
    if (!waveform.looped || waveform.loopMode == LoopMode::Alternating || !(start >= 0 && start < end) ||
        !(end <= waveform.frames))
        return {};
    return WholeLoop{static_cast<std::size_t>(start), static_cast<std::size_t>(end)};
}

bool filterFrames(std::span<float> samples, unsigned channels, const WaveformFilter& filter,
                  UserInterface& ui, double progressFrom) {
    const std::size_t frames = samples.size() / channels;
    if (frames == 0 || filter.sections.empty())
        return true;
    const double passes = channels * (filter.zeroPhase ? 2.0 : 1.0);
    unsigned done = 0;
    const auto nextPart = [&] {
        const double share = (1 - progressFrom) / passes;
        const double from = progressFrom + share * done++;
        return ProgressPart{from, from + share};
    };
    std::vector<std::vector<float>> tails(channels);
    for (unsigned c = 0; c < channels; ++c) {
        Pass pass(samples, channels, c, filter, ui, nextPart());
        if (!pass.run())
            return false;
        if (filter.zeroPhase)
            tails[c] = ringOut(pass.cascade());
    }
    if (!filter.zeroPhase)
        return true;
    WaveformFilter back = filter;
    if (filter.loop)
        back.loop = WholeLoop{frames - filter.loop->end, frames - filter.loop->start};
    const double half = progressFrom + (1 - progressFrom) / 2;
    if (!reverseFrames(samples, channels, ui, half))
        return false;
    for (unsigned c = 0; c < channels; ++c) {
        Pass pass(samples, channels, c, back, ui, nextPart());
        pass.cascade().advance(tails[c]);
        if (!pass.run())
            return false;
    }
    return reverseFrames(samples, channels, ui, 1);
}

}  // namespace velor
