#include "dsp/stretch_map.h"

#include <algorithm>
#include <cmath>

#include "base/rounding.h"

namespace velor {

namespace {

// Of the time between two anchors, in the source and in the result, this share may stay unstretched.
constexpr double kMostUnstretched = 0.8;

void shrink(std::int64_t& a, std::int64_t& b, std::int64_t room) {
    const auto most = static_cast<std::int64_t>(kMostUnstretched * static_cast<double>(room));
    if (a + b <= most)
        return;
    const double share = static_cast<double>(most) / static_cast<double>(a + b);
    a = static_cast<std::int64_t>(share * static_cast<double>(a));
    b = static_cast<std::int64_t>(share * static_cast<double>(b));
}

}  // namespace

StretchMap::StretchMap(std::int64_t frames, double ratio, std::span<const StretchAnchor> anchors,
                       Widths widths)
    : frames_(frames) {
    std::vector<StretchAnchor> steady, attacks;
    for (const StretchAnchor& anchor : anchors)
        (anchor.attack ? attacks : steady).push_back(anchor);
    const auto byPlace = [](const StretchAnchor& a, const StretchAnchor& b) {
        return a.first != b.first ? a.first < b.first : a.last > b.last;
    };
    std::ranges::sort(steady, byPlace);
    std::ranges::sort(attacks, byPlace);

    // Kept spans that touch become one; moments within them go.
    std::vector<StretchAnchor> merged;
    for (const StretchAnchor& anchor : steady) {
        if (!merged.empty() && anchor.first <= merged.back().last)
            merged.back().last = std::max(merged.back().last, anchor.last);
        else
            merged.push_back(anchor);
    }
    // The positions without any zone but the kept spans.
    std::int64_t kept = 0;
    for (const StretchAnchor& anchor : merged)
        kept += anchor.last - anchor.first;
    framesOut_ = roundToInteger(static_cast<double>(frames - kept) * ratio) + kept;
    const double exactRatio =
        frames > kept ? static_cast<double>(framesOut_ - kept) / static_cast<double>(frames - kept) : 1;
    const auto base = [&](std::int64_t frame) {
        std::int64_t keptBefore = 0;
        for (const StretchAnchor& anchor : merged) {
            if (anchor.first < frame)
                keptBefore += std::min(anchor.last, frame) - anchor.first;
        }
        return keptBefore + roundToInteger(static_cast<double>(frame - keptBefore) * exactRatio);
    };

    std::vector<StretchZone>& zones = zones_;
    const auto add = [&](const StretchAnchor& anchor) {
        StretchZone zone;
        zone.anchor = anchor;
        zone.firstOut = base(anchor.first);
        zone.after = widths.exact;
        zone.before = anchor.attack ? widths.exact : widths.exact + widths.glide;
        zones.push_back(zone);
    };
    std::size_t next = 0;
    for (const StretchAnchor& attack : attacks) {
        const auto reach = widths.exact + widths.glide;
        while (next < merged.size() && merged[next].last + reach < attack.first)
            add(merged[next++]);
        if (next == merged.size() || attack.first < merged[next].first - reach)
            add(attack);
    }
    while (next < merged.size())
        add(merged[next++]);

    // The ends of the sound are anchors without zones of their own.
    std::int64_t nothing = 0;
    bool openEnd = false;
    for (std::size_t i = 0; i <= zones.size(); ++i) {
        const std::int64_t in = i > 0 ? zones[i - 1].anchor.last : 0;
        const std::int64_t out = i > 0 ? zones[i - 1].lastOut() : 0;
        const std::int64_t nextIn = i < zones.size() ? zones[i].anchor.first : frames;
        const std::int64_t nextOut = i < zones.size() ? zones[i].firstOut : framesOut_;
        std::int64_t& after = i > 0 ? zones[i - 1].after : nothing;
        std::int64_t& before = i < zones.size() ? zones[i].before : nothing;
        const std::int64_t room = std::max<std::int64_t>(std::min(nextIn - in, nextOut - out), 0);
        // What little follows the end of a loop at the end of the sound is not stretched at all: silence
        // takes its place, or it is cut, where neither is heard.
        if (i == zones.size() && i > 0 && !zones[i - 1].anchor.attack && room < after + after / 4) {
            after = std::max(after, nextOut - out);
            openEnd = true;
        } else {
            shrink(after, before, room);
        }
        nothing = 0;
    }

    const auto point = [&](std::int64_t in, std::int64_t out) {
        const Point made{static_cast<double>(in), static_cast<double>(out)};
        if (points_.empty() || (made.in > points_.back().in && made.out > points_.back().out))
            points_.push_back(made);
    };
    point(0, 0);
    for (StretchZone& zone : zones) {
        zone.exactFrom = zone.firstOut - std::min(zone.before, widths.exact);
        zone.exactUntil = zone.lastOut() + zone.after;
        point(zone.anchor.first - zone.before, zone.firstOut - zone.before);
        point(zone.anchor.last + zone.after, zone.lastOut() + zone.after);
    }
    if (!openEnd)
        point(frames, framesOut_);
}

double StretchMap::along(double x, bool forward) const {
    const auto from = [&](const Point& p) { return forward ? p.in : p.out; };
    const auto to = [&](const Point& p) { return forward ? p.out : p.in; };
    if (!(x > from(points_.front())))
        return to(points_.front()) + (x - from(points_.front()));
    if (x >= from(points_.back()))
        return to(points_.back()) + (x - from(points_.back()));
    const auto above = std::upper_bound(points_.begin(), points_.end(), x,
                                        [&](double value, const Point& p) { return value < from(p); });
    const Point &a = *(above - 1), &b = *above;
    return to(a) + (x - from(a)) * (to(b) - to(a)) / (from(b) - from(a));
}

}  // namespace velor
