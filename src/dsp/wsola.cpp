#include "dsp/wsola.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "base/rounding.h"
#include "dsp/fft.h"
#include "dsp/stretch_frames.h"

namespace velor {

namespace {

constexpr double kPieceSeconds = 0.025;
// Both ways: any period of 50 Hz and more has a place that fits.
constexpr double kSearchSeconds = 0.010;

std::int64_t hopOf(const StretchSource& source) {
    return std::clamp<std::int64_t>(
        static_cast<std::int64_t>(kPieceSeconds / 2 * std::min(source.hertz(), 1e6)), 32, 16384);
}

class Wsola {
  public:
    Wsola(const StretchSource& source, const StretchMap& map, std::span<float> output)
        : source_(source),
          map_(map),
          output_(output),
          hop_(hopOf(source)),
          reach_(static_cast<std::int64_t>(2 * kSearchSeconds / kPieceSeconds * static_cast<double>(hop_))),
          fft_(std::bit_ceil(static_cast<std::size_t>(2 * hop_ + 2 * reach_))),
          window_(static_cast<std::size_t>(2 * hop_)),
          piece_(window_.size()),
          wanted_(fft_.size()),
          places_(fft_.size()),
          wantedSpectrum_(fft_.bins()),
          placesSpectrum_(fft_.bins()),
          products_(fft_.bins()),
          energy_(static_cast<std::size_t>(2 * hop_ + 2 * reach_) + 1) {
        for (std::size_t i = 0; i < window_.size(); ++i)
            window_[i] =
                static_cast<float>(0.5 - 0.5 * std::cos(3.14159265358979324 * static_cast<double>(i) /
                                                        static_cast<double>(hop_)));
    }

    bool run(UserInterface& ui) {
        const std::int64_t end = map_.framesOut();
        std::int64_t before = -hop_;
        std::int64_t count = 0;
        for (std::int64_t centre = 0; centre < end + hop_; centre += hop_, ++count) {
            if (count % 16 == 0) {
                if (ui.aborted())
                    return false;
                ui.progress(static_cast<double>(std::min(centre, end)) /
                            static_cast<double>(std::max<std::int64_t>(end, 1)));
            }
            std::int64_t at = roundToInteger(map_.toSource(static_cast<double>(centre)));
            if (count > 0 && !exact(centre) && centre < end)
                at = search(at, before, centre);
            lay(centre, at);
            before = at;
        }
        return true;
    }

  private:
    bool exact(std::int64_t centre) {
        const auto& zones = map_.zones();
        while (zone_ < zones.size() && centre > zones[zone_].exactUntil)
            ++zone_;
        return zone_ < zones.size() && centre >= zones[zone_].exactFrom;
    }

    // Whether a piece's successor is fixed by a zone.
    bool nextExact(std::int64_t centre) const {
        const auto& zones = map_.zones();
        std::size_t zone = zone_;
        while (zone < zones.size() && centre > zones[zone].exactUntil)
            ++zone;
        return zone < zones.size() && centre >= zones[zone].exactFrom;
    }

    // Adds a piece (around a centre in the source), at equal loudness, to what is looked for.
    void want(unsigned channel, std::int64_t centre, float scale) {
        readChannel(source_.frames, source_.channels, channel, centre - hop_, piece_);
        for (std::size_t i = 0; i < piece_.size(); ++i)
            wanted_[i] += scale * piece_[i];
    }
    float scaleOf(std::int64_t centre) {
        double energy = 0;
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            readChannel(source_.frames, source_.channels, channel, centre - hop_, piece_);
            for (const float sample : piece_)
                energy += double{sample} * double{sample};
        }
        return energy > 0 ? static_cast<float>(1 / std::sqrt(energy)) : 0.0f;
    }

    std::int64_t search(std::int64_t ideal, std::int64_t before, std::int64_t centre) {
        const std::int64_t natural = before + hop_;
        const float scale = scaleOf(natural);
        std::int64_t following = 0;
        float followingScale = 0;
        if (nextExact(centre + hop_)) {
            following = roundToInteger(map_.toSource(static_cast<double>(centre + hop_))) - hop_;
            followingScale = scaleOf(following);
        }
        const std::int64_t first = ideal - reach_ - hop_;
        const auto length = static_cast<std::size_t>(2 * hop_ + 2 * reach_);
        std::ranges::fill(products_, RealFft::Complex(0));
        std::ranges::fill(energy_, 0.0);
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            std::ranges::fill(wanted_, 0.0f);
            want(channel, natural, scale);
            if (followingScale > 0)
                want(channel, following, followingScale);
            readChannel(source_.frames, source_.channels, channel, first, std::span(places_).first(length));
            std::fill(places_.begin() + static_cast<std::ptrdiff_t>(length), places_.end(), 0.0f);
            for (std::size_t i = 0; i < length; ++i)
                energy_[i + 1] += double{places_[i]} * double{places_[i]};
            fft_.forward(wanted_, wantedSpectrum_);
            fft_.forward(places_, placesSpectrum_);
            for (std::size_t bin = 0; bin < products_.size(); ++bin)
                products_[bin] += placesSpectrum_[bin] * std::conj(wantedSpectrum_[bin]);
        }
        for (std::size_t i = 0; i < length; ++i)
            energy_[i + 1] += energy_[i];
        fft_.inverse(products_, places_);  // the correlation at each offset
        std::int64_t best = reach_;        // without any likeness, where the map says
        double bestLikeness = 1e-9;
        // No piece may hold an attack that is not its own: it would be heard twice.
        const auto& zones = map_.zones();
        std::int64_t earliest = ideal - reach_, latest = ideal + reach_;
        if (zone_ > 0 && zones[zone_ - 1].anchor.attack)
            earliest = zones[zone_ - 1].anchor.last + zones[zone_ - 1].after;
        if (zone_ < zones.size() && zones[zone_].anchor.attack)
            latest = zones[zone_].anchor.first - zones[zone_].before;
        for (std::int64_t step = 0; step <= 2 * reach_; ++step) {
            // From the middle outwards: of equal places the nearest one wins.
            const std::int64_t offset = reach_ + (step % 2 == 1 ? (step + 1) / 2 : -(step / 2));
            if (ideal - reach_ + offset < earliest || ideal - reach_ + offset > latest)
                continue;
            const auto from = static_cast<std::size_t>(offset);
            const double energy = energy_[from + piece_.size()] - energy_[from];
            if (!(energy > 1e-12))
                continue;
            const double likeness = static_cast<double>(places_[from]) / std::sqrt(energy);
            if (likeness > bestLikeness + 1e-6) {
                bestLikeness = likeness;
                best = offset;
            }
        }
        return ideal - reach_ + best;
    }

    void lay(std::int64_t centre, std::int64_t at) {
        const auto frames = static_cast<std::int64_t>(output_.size() / source_.channels);
        const std::int64_t from = centre - hop_;
        const std::int64_t first = std::clamp<std::int64_t>(-from, 0, 2 * hop_);
        const std::int64_t until = std::clamp<std::int64_t>(frames - from, first, 2 * hop_);
        const auto end = static_cast<std::size_t>(from + until) * source_.channels;
        if (end > cleared_) {
            std::fill(output_.begin() + static_cast<std::ptrdiff_t>(cleared_),
                      output_.begin() + static_cast<std::ptrdiff_t>(end), 0.0f);
            cleared_ = end;
        }
        for (unsigned channel = 0; channel < source_.channels; ++channel) {
            readChannel(source_.frames, source_.channels, channel, at - hop_, piece_);
            float* to =
                output_.data() + (from + first) * static_cast<std::int64_t>(source_.channels) + channel;
            for (std::int64_t i = first; i < until; ++i, to += source_.channels)
                *to += window_[static_cast<std::size_t>(i)] * piece_[static_cast<std::size_t>(i)];
        }
    }

    const StretchSource& source_;
    const StretchMap& map_;
    std::span<float> output_;
    std::int64_t hop_;    // half a piece
    std::int64_t reach_;  // of the search, both ways
    RealFft fft_;
    std::vector<float> window_, piece_, wanted_, places_;
    std::vector<RealFft::Complex> wantedSpectrum_, placesSpectrum_, products_;
    std::vector<double> energy_;  // of the places up to each sample
    std::size_t zone_ = 0;
    std::size_t cleared_ = 0;  // samples of the result
};

}  // namespace

StretchMap::Widths wsolaWidths(const StretchSource& source) {
    return {hopOf(source), 0};
}

bool stretchByWsola(const StretchSource& source, const StretchMap& map, std::span<float> output,
                    UserInterface& ui) {
    Wsola wsola(source, map, output);
    return wsola.run(ui);
}

}  // namespace velor
