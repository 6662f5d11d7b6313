#include "dsp/phase_vocoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <vector>

#include "base/rounding.h"
#include "dsp/fft.h"
#include "dsp/stretch_frames.h"

namespace velor {

namespace {

using Complex = RealFft::Complex;

constexpr double kPi = 3.14159265358979324;
// Long enough to tell the partials of a bass note apart, short enough for what is no clear attack.
constexpr double kWindowSeconds = 0.14;
constexpr std::size_t kLeastWindow = 256;
constexpr std::size_t kMostWindow = 32768;
// The phases need some time to come back to those of the source, else the pitch is heard to bend.
constexpr double kGlideSeconds = 0.15;
// Noise is levelled in bands of so many bins.
constexpr std::size_t kBand = 16;
// Two pieces share so much of the source in front of an attack.
constexpr double kFadeSeconds = 0.001;

std::size_t windowSize(const StretchSource& source) {
    const auto wished = static_cast<std::size_t>(std::min(kWindowSeconds * source.hertz(), 1e6));
    return std::clamp(std::bit_floor(wished), kLeastWindow, kMostWindow);
}

// A stretch of the sound between two attacks.
struct Piece {
    std::int64_t from = 0, until = 0;        // source
    std::int64_t fromOut = 0, untilOut = 0;  // result
    bool fadesIn = false, fadesOut = false;
    std::size_t zone = 0;  // of the attack it begins with
};

class Vocoder {
  public:
    Vocoder(const StretchSource& source, const StretchMap& map, const VocoderOptions& options,
            std::span<float> output)
        : source_(source),
          map_(map),
          options_(options),
          output_(output),
          size_(windowSize(source)),
          fft_(size_),
          window_(size_),
          samples_(size_),
          power_(fft_.bins()),
          turn_(fft_.bins()),
          shaped_(fft_.bins()),
          gains_(fft_.bins()) {
        for (std::size_t i = 0; i < size_; ++i)
            window_[i] = static_cast<float>(
                0.5 - 0.5 * std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(size_)));
        for (auto* spectra : {&now_, &hopAgo_, &result_})
            spectra->assign(source.channels, std::vector<Complex>(fft_.bins()));
        // Closer windows would add up noise, whose phases do not fit each other, to less than it was.
        hop_ = static_cast<std::int64_t>(size_ / 4);
        fade_ = std::max<std::int64_t>(2, static_cast<std::int64_t>(kFadeSeconds * source.hertz()));
        // Products of windows that lie 0, 1, 2 and 3 hops apart, as shares of all: of the power of the sum.
        double all = 0;
        for (std::size_t apart = 0; apart < 4; ++apart) {
            double sum = 0;
            for (std::size_t i = 0; i + apart * size_ / 4 < size_; ++i) {
                const float both = window_[i] * window_[i + apart * size_ / 4];
                sum += double{both} * double{both};
            }
            sum *= apart > 0 ? 2 : 1;
            overlaps_[apart] = static_cast<float>(sum);
            all += sum;
        }
        for (float& overlap : overlaps_)
            overlap /= static_cast<float>(all);
        likeness_.assign(fft_.bins() / kBand + 1, 1.0f);
        // The squares of the windows add up to 3/8 of their number.
        gain_ = 8.0f / 3.0f * static_cast<float>(hop_) / static_cast<float>(size_);
    }

    bool run(UserInterface& ui) {
        for (const Piece& piece : pieces()) {
            if (!stretch(piece, ui))
                return false;
        }
        return true;
    }

  private:
    std::vector<Piece> pieces() const {
        std::vector<Piece> pieces(1);
        for (std::size_t i = 0; i < map_.zones().size(); ++i) {
            const StretchZone& zone = map_.zones()[i];
            if (!zone.anchor.attack || zone.anchor.first <= pieces.back().from)
                continue;
            pieces.back().until = zone.anchor.first;
            pieces.back().untilOut = zone.firstOut;
            pieces.back().fadesOut = true;
            pieces.push_back({zone.anchor.first, 0, zone.firstOut, 0, true, false, i});
        }
        pieces.back().until = map_.frames();
        pieces.back().untilOut = map_.framesOut();
        return pieces;
    }

    // The centre of the window in the source for one in the result.
    std::int64_t sourceOf(const Piece& piece, std::int64_t centre) const {
        if (piece.fadesIn && centre <= piece.fromOut)
            return piece.from + (centre - piece.fromOut);
        if (piece.fadesOut && centre >= piece.untilOut)
            return piece.until + (centre - piece.untilOut);
        return roundToInteger(map_.toSource(static_cast<double>(centre)));
    }

    bool stretch(const Piece& piece, UserInterface& ui) {
        const auto half = static_cast<std::int64_t>(size_ / 2);
        std::int64_t before = 0;
        bool first = true;
        std::int64_t count = 0;
        zone_ = piece.zone;
        for (std::int64_t centre = piece.fromOut - half - (piece.fadesIn ? fade_ : 0);
             centre < piece.untilOut + half; centre += hop_, ++count) {
            if (count % 16 == 0) {
                if (ui.aborted())
                    return false;
                ui.progress(static_cast<double>(std::max<std::int64_t>(centre, 0)) /
                            static_cast<double>(std::max<std::int64_t>(map_.framesOut(), 1)));
            }
            const std::int64_t at = sourceOf(piece, centre);
            if (!first && before == at - hop_)
                hopAgo_.swap(now_);
            else if (!first)
                analyse(piece, at - hop_ - half, hopAgo_);
            analyse(piece, at - half, now_);
            sumPower();
            if (first) {
                std::ranges::fill(turn_, Complex(1, 0));
                std::ranges::fill(likeness_, 1.0f);
            } else {
                chooseTurns(centre);
            }
            chooseGains(first);
            resynthesise(centre - half);
            before = at;
            first = false;
        }
        return true;
    }

    void analyse(const Piece& piece, std::int64_t from, std::vector<std::vector<Complex>>& to) {
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            readChannel(source_.frames, source_.channels, channel, from, samples_);
            mask(piece, from);
            for (std::size_t i = 0; i < size_; ++i)
                samples_[i] *= window_[i];
            fft_.forward(samples_, to[channel]);
        }
    }

    // Leaves of the samples what belongs to the piece: neighbours add up to all.
    void mask(const Piece& piece, std::int64_t from) {
        const auto size = static_cast<std::int64_t>(size_);
        const auto share = [&](std::int64_t frame, std::int64_t end) {
            const double x = static_cast<double>(frame - (end - fade_)) / static_cast<double>(fade_);
            return static_cast<float>(0.5 - 0.5 * std::cos(kPi * std::clamp(x, 0.0, 1.0)));
        };
        if (piece.fadesIn) {
            const std::int64_t until = std::clamp<std::int64_t>(piece.from - from, 0, size);
            for (std::int64_t i = 0; i < until; ++i)
                samples_[static_cast<std::size_t>(i)] *= share(from + i, piece.from);
        }
        if (piece.fadesOut) {
            const std::int64_t begin = std::clamp<std::int64_t>(piece.until - fade_ - from, 0, size);
            for (std::int64_t i = begin; i < size; ++i)
                samples_[static_cast<std::size_t>(i)] *= 1 - share(from + i, piece.until);
        }
    }

    void sumPower() {
        std::ranges::fill(power_, 0.0f);
        for (const auto& spectrum : now_) {
            for (std::size_t bin = 0; bin < power_.size(); ++bin)
                power_[bin] += std::norm(spectrum[bin]);
        }
    }

    // The factor of length 1 that turns the spectrum around a peak so that its phase continues that of the
    // result so far: what the result was a hop ago, against what the source was.
    Complex turnAt(std::size_t peak) const {
        Complex sum = 0;
        const std::size_t from = peak > 0 ? peak - 1 : 0;
        const std::size_t until = std::min(peak + 2, power_.size());
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            for (std::size_t bin = from; bin < until; ++bin)
                sum += times(result_[channel][bin], std::conj(hopAgo_[channel][bin]));
        }
        const float length = std::sqrt(std::norm(sum));
        return length > 1e-30f ? sum / length : Complex(1, 0);
    }

    // Without the checks for infinities of the operator.
    static Complex times(Complex a, Complex b) {
        return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
    }

    void chooseTurns(std::int64_t centre) {
        // The share of each turn that is left where the phases go back to those of the source.
        float left = 1;
        for (; zone_ < map_.zones().size() && centre > map_.zones()[zone_].exactUntil; ++zone_) {
        }
        if (zone_ < map_.zones().size() && !map_.zones()[zone_].anchor.attack) {
            const StretchZone& zone = map_.zones()[zone_];
            const std::int64_t steps = (zone.exactFrom - centre) / hop_;
            if (centre >= zone.exactFrom)
                left = 0;
            else if (centre > zone.firstOut - zone.before)
                left = static_cast<float>(steps) / static_cast<float>(steps + 1);
        }
        if (left == 0) {
            std::ranges::fill(turn_, Complex(1, 0));
            return;
        }
        const std::size_t bins = power_.size();
        const auto isPeak = [&](std::size_t bin) {
            const float p = power_[bin];
            return (bin < 1 || p > power_[bin - 1]) && (bin < 2 || p > power_[bin - 2]) &&
                   (bin + 1 >= bins || p >= power_[bin + 1]) && (bin + 2 >= bins || p >= power_[bin + 2]);
        };
        std::size_t begin = 0;  // of the region that the next peak turns
        std::size_t peak = bins;
        const auto turnRegion = [&](std::size_t until) {
            Complex turn = peak < bins ? turnAt(peak) : Complex(1, 0);
            if (left < 1)
                turn = std::polar(1.0f, left * std::arg(turn));
            std::fill(turn_.begin() + static_cast<std::ptrdiff_t>(begin),
                      turn_.begin() + static_cast<std::ptrdiff_t>(until), turn);
        };
        for (std::size_t bin = 0; bin < bins; ++bin) {
            if (!isPeak(bin))
                continue;
            if (peak < bins) {
                // Regions meet where the spectrum is lowest.
                const auto lowest = std::min_element(power_.begin() + static_cast<std::ptrdiff_t>(peak),
                                                     power_.begin() + static_cast<std::ptrdiff_t>(bin));
                const auto border = static_cast<std::size_t>(lowest - power_.begin());
                turnRegion(border);
                begin = border;
            }
            peak = bin;
        }
        turnRegion(bins);
    }

    void resynthesise(std::int64_t from) {
        const auto frames = static_cast<std::int64_t>(output_.size() / source_.channels);
        const std::int64_t first = std::clamp<std::int64_t>(-from, 0, static_cast<std::int64_t>(size_));
        const std::int64_t until =
            std::clamp<std::int64_t>(frames - from, first, static_cast<std::int64_t>(size_));
        clearUntil(static_cast<std::size_t>(std::clamp<std::int64_t>(from + until, 0, frames)) *
                   source_.channels);
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            std::vector<Complex>& result = result_[channel];
            for (std::size_t bin = 0; bin < result.size(); ++bin)
                result[bin] = times(now_[channel][bin], turn_[bin]);
            if (first == until)
                continue;
            for (std::size_t bin = 0; bin < result.size(); ++bin)
                shaped_[bin] = gains_[bin] * result[bin];
            fft_.inverse(shaped_, samples_);
            float* to =
                output_.data() + (from + first) * static_cast<std::int64_t>(source_.channels) + channel;
            for (std::int64_t i = first; i < until; ++i, to += source_.channels)
                *to += gain_ * window_[static_cast<std::size_t>(i)] * samples_[static_cast<std::size_t>(i)];
        }
    }

    // The result is cleared as it is reached: at once would keep the user waiting.
    void clearUntil(std::size_t sample) {
        if (sample <= cleared_)
            return;
        std::fill(output_.begin() + static_cast<std::ptrdiff_t>(cleared_),
                  output_.begin() + static_cast<std::ptrdiff_t>(sample), 0.0f);
        cleared_ = sample;
    }

    // What each bin is to be multiplied by. Windows of noise that do not continue each other add up to less
    // than it was, by up to 3 dB; how far they do is seen from the result a hop ago and what the source was
    // then, as it has been turned.
    void chooseGains(bool first) {
        std::ranges::fill(gains_, 1.0f);
        const std::size_t bins = power_.size();
        for (std::size_t band = 0; !first && band < likeness_.size(); ++band) {
            const std::size_t from = band * kBand, until = std::min(from + kBand, bins);
            float product = 0, was = 0, is = 0;
            for (unsigned channel = 0; channel < source_.channels; ++channel) {
                for (std::size_t bin = from; bin < until; ++bin) {
                    const Complex turned = times(hopAgo_[channel][bin], turn_[bin]);
                    const Complex last = result_[channel][bin];
                    product += last.real() * turned.real() + last.imag() * turned.imag();
                    was += std::norm(last);
                    is += std::norm(turned);
                }
            }
            const float size = std::sqrt(was) * std::sqrt(is);
            const float now = size > 1e-20f ? std::clamp(product / size, 0.0f, 1.0f) : 1.0f;
            // Where nothing was turned, the sound comes out as it went in.
            const bool exact = now > 0.9999f;
            float& likeness = likeness_[band];
            likeness = exact ? 1.0f : 0.75f * likeness + 0.25f * now;
            const float power =
                overlaps_[0] +
                likeness * (overlaps_[1] + likeness * (overlaps_[2] + likeness * overlaps_[3]));
            std::fill(gains_.begin() + static_cast<std::ptrdiff_t>(from),
                      gains_.begin() + static_cast<std::ptrdiff_t>(until),
                      exact ? 1.0f : 1 / std::sqrt(power));
        }
        if (options_.formantScale != 1)
            moveFormants();
    }

    // The envelope of the spectrum from its cepstrum (A. Röbel and X. Rodet, Efficient spectral envelope
    // estimation, DAFx 2005, without the iteration), and what must be added to move it.
    void moveFormants() {
        const std::size_t bins = power_.size();
        // Below 2 ms there are the resonances, above the periods of what is pitched below 500 Hz.
        const auto order =
            std::min<std::size_t>(static_cast<std::size_t>(0.002 * source_.hertz()), size_ / 4);
        for (std::size_t bin = 0; bin < bins; ++bin)
            shaped_[bin] = 0.5f * std::log(power_[bin] + 1e-12f);
        fft_.inverse(shaped_, samples_);
        std::fill(samples_.begin() + static_cast<std::ptrdiff_t>(order + 1),
                  samples_.end() - static_cast<std::ptrdiff_t>(order), 0.0f);
        fft_.forward(samples_, shaped_);
        for (std::size_t bin = 0; bin < bins; ++bin) {
            const auto moved = std::min(
                bins - 1, static_cast<std::size_t>(static_cast<double>(bin) * options_.formantScale + 0.5));
            // No more than 30 dB: beyond, only noise would be raised.
            gains_[bin] *= std::exp(std::clamp(shaped_[moved].real() - shaped_[bin].real(), -3.45f, 3.45f));
        }
    }

    const StretchSource& source_;
    const StretchMap& map_;
    VocoderOptions options_;
    std::span<float> output_;
    std::size_t size_;
    std::int64_t hop_ = 0;
    std::int64_t fade_ = 0;
    float gain_ = 1;
    RealFft fft_;
    std::vector<float> window_, samples_;
    // Spectra for each channel: of the source now and a hop earlier, and of the result.
    std::vector<std::vector<Complex>> now_, hopAgo_, result_;
    std::vector<float> power_;   // of all channels
    std::vector<Complex> turn_;  // of length 1 each
    std::vector<Complex> shaped_;
    std::vector<float> gains_;
    std::vector<float> likeness_;  // how well windows continue each other, for each band
    std::array<float, 4> overlaps_{};
    std::size_t cleared_ = 0;  // samples of the result
    std::size_t zone_ = 0;     // the first that does not lie behind
};

}  // namespace

StretchMap::Widths vocoderWidths(const StretchSource& source) {
    return {static_cast<std::int64_t>(windowSize(source) / 2),
            static_cast<std::int64_t>(kGlideSeconds * source.hertz())};
}

bool stretchByVocoder(const StretchSource& source, const StretchMap& map, const VocoderOptions& options,
                      std::span<float> output, UserInterface& ui) {
    Vocoder vocoder(source, map, options, output);
    return vocoder.run(ui);
}

}  // namespace velor
