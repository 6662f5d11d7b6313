#include "dsp/loop_search.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/error.h"
#include "dsp/loop_crossfade.h"
#include "dsp/loop_similarity.h"

namespace velor {

namespace {

constexpr std::int64_t kCompared = 256;  // samples
// 256 products and 32 sums that depend on each other, each rounded to 2^-24: below 2^-19 even at the worst.
constexpr double kSloppiness = 1e-5;
// Beyond these, floats may lose the products altogether.
constexpr double kLeastScale = 1e-20, kMostScale = 1e20;
constexpr std::uint32_t kTurn =
    1 << 12;  // comparisons between two looks at the abort flag: below a millisecond

struct Crossing {
    std::int64_t place = 0;
    double energy = 0;  // of the samples before it, where enough precede it
};

// Tells the progress and looks at the abort flag now and then.
class Watch {
  public:
    explicit Watch(UserInterface& ui) : ui_(ui) {}
    void completed(double share) { share_ = share; }
    bool aborted() {
        if (++done_ < kTurn)
            return false;
        done_ = 0;
        ui_.progress(share_);
        return ui_.aborted();
    }

  private:
    UserInterface& ui_;
    double share_ = 0;
    std::uint32_t done_ = 0;
};

struct Crossings {
    std::vector<Crossing> rising, falling;
};

// Calls visit(place, rises) where consecutive samples other than zero change their sign, from first to last
// frame. False when aborted.
template <typename Visit>
bool visitCrossings(std::span<const float> mono, std::int64_t first, std::int64_t last, Watch& watch,
                    Visit visit) {
    float before = 0;
    for (std::int64_t i = first - 1; i <= last; ++i) {
        const float sample = mono[static_cast<std::size_t>(i)];
        if (i % kCompared == 0 && watch.aborted())
            return false;
        if (sample == 0)
            continue;
        if (before != 0 && (before < 0) != (sample < 0) && i >= first) {
            visit(i, sample > 0);
            if (watch.aborted())
                return false;
        }
        before = sample;
    }
    return true;
}

// Counted first: lists that grow would be copied, a tenth of a second for the longest.
bool crossingsIn(std::span<const float> mono, std::int64_t first, std::int64_t last, Watch& watch,
                 Crossings& all) {
    std::size_t rising = 0, falling = 0;
    if (!visitCrossings(mono, first, last, watch,
                        [&](std::int64_t, bool rises) { ++(rises ? rising : falling); }))
        return false;
    all.rising.reserve(rising);
    all.falling.reserve(falling);
    return visitCrossings(mono, first, last, watch, [&](std::int64_t place, bool rises) {
        const float* window = mono.data() + place - kCompared;
        const double energy =
            place >= kCompared ? dotProduct(window, window, static_cast<std::size_t>(kCompared)) : 0;
        (rises ? all.rising : all.falling).push_back({place, energy});
    });
}

// A dot product good to kSloppiness of the product of both norms, in a third of the time.
float sloppyProduct(const float* a, const float* b) {
    float sums[16] = {};
    for (std::int64_t i = 0; i < kCompared; i += 16) {
        for (std::int64_t lane = 0; lane < 16; ++lane)
            sums[lane] += a[i + lane] * b[i + lane];
    }
    float sum = 0;
    for (const float each : sums)
        sum += each;
    return sum;
}

// The similarity, or anything lower than `bound` when it is lower than that.
float similarityOf(std::span<const float> mono, const Crossing& start, const Crossing& end, float bound) {
    const float* data = mono.data();
    if (start.place >= kCompared) {
        const float* a = data + start.place - kCompared;
        const float* b = data + end.place - kCompared;
        const double scale = std::sqrt(start.energy * end.energy);
        if (scale > kLeastScale && scale < kMostScale &&
            static_cast<double>(sloppyProduct(a, b)) < (static_cast<double>(bound) - kSloppiness) * scale)
            return -1;
        const double product = dotProduct(a, b, static_cast<std::size_t>(kCompared));
        return scale > 0 ? static_cast<float>(product / scale) : 0.0f;
    }
    const std::int64_t before = start.place;
    const std::int64_t after =
        std::min(kCompared - before, static_cast<std::int64_t>(mono.size()) - end.place);
    return loopSimilarity(data + start.place - before, data + end.place - before,
                          static_cast<std::size_t>(before + after));
}

}  // namespace

bool searchLoop(std::span<const float> mono, const LoopRange& range, UserInterface& ui, LoopCandidate& best) {
    best = {};
    Watch watch(ui);
    Crossings all;
    const std::int64_t last = std::min(range.end, static_cast<std::int64_t>(mono.size()) - 1);
    if (!crossingsIn(mono, std::max<std::int64_t>(range.start, 1), last, watch, all))
        return fail(kProcessingCancelled);
    const double share = 1.0 / static_cast<double>(all.rising.size() + all.falling.size() + 1);
    auto rising = all.rising.size();
    auto falling = all.falling.size();
    while (rising + falling > 0 && best.similarity < 1) {
        // The later one of the two that are left.
        const bool rises =
            falling == 0 || (rising > 0 && all.rising[rising - 1].place > all.falling[falling - 1].place);
        const std::vector<Crossing>& alike = rises ? all.rising : all.falling;
        const Crossing& end = alike[rises ? --rising : --falling];
        const auto tooNear =
            std::ranges::upper_bound(alike, end.place - range.shortest, {}, &Crossing::place);
        for (auto start = tooNear; start != alike.begin();) {
            --start;
            if (end.place - start->place > range.longest)
                break;
            const float similarity = similarityOf(mono, *start, end, best.similarity);
            if (similarity > best.similarity)
                best = {start->place, end.place, similarity};
            if (watch.aborted())
                return fail(kProcessingCancelled);
        }
        if (watch.aborted())
            return fail(kProcessingCancelled);
        watch.completed(1 - static_cast<double>(rising + falling) * share);
    }
    return best.similarity > 0 || fail("No loop was found");
}

}  // namespace velor
