// Which moment of a sound is heard when, once it has been stretched.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace velor {

// What a stretched sound shall keep as it was. Frames of the source; `first` == `last` for a single moment.
// Around it, and between the two, time runs at its old speed.
struct StretchAnchor {
    std::int64_t first = 0;
    std::int64_t last = 0;
    // An attack: what precedes it is not to sound after it, nor it before its time. Others are moments within
    // a steady sound (the ends of a loop) that are reached without a break.
    bool attack = false;
};

// A stretch of time that runs at its old speed.
struct StretchZone {
    StretchAnchor anchor;
    std::int64_t firstOut = 0;    // where anchor.first is heard
    std::int64_t before = 0;      // frames in front of anchor.first that belong to it
    std::int64_t after = 0;       // … and behind anchor.last
    std::int64_t exactFrom = 0;   // frame of the result from which on the source is to be heard unchanged
    std::int64_t exactUntil = 0;  // … and to which
    std::int64_t lastOut() const { return firstOut + anchor.last - anchor.first; }
};

// A rising, piecewise linear map between frames of a sound and those of its stretched form. Outside of both
// it continues at speed 1.
class StretchMap {
  public:
    struct Widths {
        std::int64_t exact = 0;  // frames on both sides of an anchor that sound as they were
        std::int64_t glide = 0;  // frames in front of these, for anchors that are no attacks
    };

    // `frames` become about frames × ratio: kept spans (anchors with first < last) do not count. Anchors in
    // any order, within 0..frames; attacks inside of other anchors' zones are dropped. Where anchors are
    // close together their zones shrink, so that four fifths of the time between them at most is left
    // unstretched. Only a loop's end less than a zone from the end of the sound keeps its whole zone.
    StretchMap(std::int64_t frames, double ratio, std::span<const StretchAnchor> anchors, Widths widths);

    std::int64_t frames() const { return frames_; }
    std::int64_t framesOut() const { return framesOut_; }
    double toOutput(double frame) const { return along(frame, true); }
    double toSource(double frame) const { return along(frame, false); }
    // In order.
    const std::vector<StretchZone>& zones() const { return zones_; }

  private:
    struct Point {
        double in, out;
    };
    double along(double x, bool forward) const;

    std::int64_t frames_;
    std::int64_t framesOut_ = 0;
    std::vector<Point> points_;
    std::vector<StretchZone> zones_;
};

}  // namespace velor
