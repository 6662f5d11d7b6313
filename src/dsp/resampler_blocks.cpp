#include "dsp/resampler_blocks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "base/error.h"
#include "dsp/resampler.h"
#include "dsp/resampler_filter.h"
#include "dsp/resampler_interpolators.h"
#include "dsp/resampler_kernels.h"

namespace velor {

namespace {

constexpr std::uint32_t kBlockOutputs = 2048;
constexpr double kBlockFrames = 16384;      // source frames that the outputs of a block spread over
constexpr double kBlockProducts = 1 << 22;  // taps of all outputs of a block: some milliseconds
constexpr std::uint32_t kSectionTaps =
    32768;                                 // taps worked on at once; bounds what a block holds of the source
constexpr double kWorthThreads = 1 << 24;  // products that take much longer than starting a thread
constexpr unsigned kMostThreads = 16;
constexpr std::chrono::milliseconds kAskEvery{20};

// How finely the phases of a filter must be tabulated so that blending between two rows is as good as
// blending between two of 2048. A blend misses a sinc of the width 1 / scale by up to (pi × scale / phases)²
// / 8; that may be 1.5e-8, half of what a 32-bit float resolves.
std::uint32_t phasesFor(double scale) {
    std::uint32_t phases = FirInterpolator::kPhases;
    while (phases > 1 && scale * 18138 < phases)
        phases /= 2;
    return phases;
}

// A run of outputs and where they lie in the source.
struct Block {
    std::uint64_t first = 0;
    std::vector<std::uint32_t> frames;  // only of those that lie inside the source
    std::vector<float> fractions;
    std::size_t outputs = 0;  // all, also those behind the source
};

class Job {
  public:
    Job(const ResampleInput& input, std::span<float> output, UserInterface* ui)
        : input_(input),
          output_(output),
          ui_(ui),
          length_(input.frames.size() / input.channels),
          outputs_(output.size() / input.channels),
          step_(1.0 / input.ratio) {}

    ResampleOutcome run(unsigned threads) {
        std::vector<std::thread> helpers;
        try {
            if (!prepare())
                return ResampleOutcome::OutOfMemory;
            helpers.reserve(kMostThreads);
        } catch (const std::bad_alloc&) {
            return ResampleOutcome::OutOfMemory;
        }
        asked_ = std::chrono::steady_clock::now();
        const unsigned wanted = std::min(threads ? threads : usefulThreads(), kMostThreads);
        while (helpers.size() + 1 < wanted) {
            try {
                helpers.emplace_back([this] { help(); });
            } catch (const std::system_error&) {
                break;  // fewer will do
            }
        }
        work(true);
        {
            std::unique_lock lock(turn_);
            while (helped_ < helpers.size()) {
                ended_.wait_for(lock, kAskEvery);
                lock.unlock();
                goOn(true);
                lock.lock();
            }
        }
        for (std::thread& helper : helpers)
            helper.join();
        return aborted_       ? ResampleOutcome::Aborted
               : outOfMemory_ ? ResampleOutcome::OutOfMemory
                              : ResampleOutcome::Done;
    }

  private:
    // Buffers that one thread uses over and over.
    struct Scratch {
        Block block;
        std::vector<FirOutput> taps;
        std::vector<double> sums;
        std::uint32_t period = 0;  // of the rows, in outputs
        std::vector<float> planes[4];
    };

    bool prepare() {
        if (input_.firLevel == 0) {
            blockOutputs_ =
                static_cast<std::uint32_t>(std::clamp(kBlockFrames / step_, 1.0, double{kBlockOutputs}));
            return true;
        }
        const FirDesign design = firDesign(input_.firLevel, input_.ratio);
        scale_ = design.scale;
        compute_.emplace_back(design);
        // Taps that reach beyond both ends of the source whatever the position are of no use.
        taps_ = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(design.taps, std::max<std::uint64_t>(length_, 1)));
        const std::uint64_t stride =
            (std::uint64_t{taps_} + FirSection::kGranule - 1) / FirSection::kGranule * FirSection::kGranule;
        const double most = std::min(kBlockFrames / step_, kBlockProducts / (1.0 * input_.channels * taps_));
        blockOutputs_ = static_cast<std::uint32_t>(std::clamp(most, 1.0, double{kBlockOutputs}));
        // Outputs of the same rows are worked out four at a time: none should be left over in a block.
        const std::uint32_t fours = 4 * expectedPeriod();
        if (fours > 0 && fours <= std::min(2.0 * blockOutputs_, most))
            blockOutputs_ = std::max(blockOutputs_ / fours, 1u) * fours;
        return table_.allocate(phasesFor(design.scale), stride, taps_);
    }

    // After how many outputs positions lie at the same fractions again; 0 when that takes too long.
    std::uint32_t expectedPeriod() const {
        for (std::uint32_t period = 1; period <= kBlockOutputs; ++period) {
            const double frames = period * step_;
            if (std::abs(frames - std::round(frames)) < 1e-9)
                return period;
        }
        return 0;
    }

    unsigned usefulThreads() const {
        const double products = static_cast<double>(output_.size()) * (input_.firLevel ? 2.0 * taps_ : 8.0);
        return products < kWorthThreads ? 1 : std::max(std::thread::hardware_concurrency(), 1u);
    }

    void help() {
        work(false);
        const std::lock_guard lock(turn_);
        ++helped_;
        ended_.notify_one();
    }

    void work(bool caller) {
        try {
            Scratch scratch;
            while (goOn(caller) && take(scratch.block)) {
                if (input_.firLevel == 0)
                    interpolate(scratch);
                else if (!filter(scratch, caller))
                    break;
            }
        } catch (const std::bad_alloc&) {
            outOfMemory_ = true;
            stop_ = true;
        }
    }

    // False once the work is to end. The calling thread asks the user interface now and then.
    bool goOn(bool caller) {
        if (caller && ui_) {
            const auto now = std::chrono::steady_clock::now();
            if (now - asked_ > kAskEvery) {
                asked_ = now;
                ui_->progress(static_cast<double>(taken_.load()) / static_cast<double>(outputs_));
                if (ui_->aborted()) {
                    aborted_ = true;
                    stop_ = true;
                }
            }
        }
        return !stop_.load(std::memory_order_relaxed);
    }

    // The next block. Positions follow from one another, so this is done by one thread at a time.
    bool take(Block& block) {
        const std::lock_guard lock(turn_);
        block.first = taken_.load(std::memory_order_relaxed);
        block.outputs =
            static_cast<std::size_t>(std::min<std::uint64_t>(blockOutputs_, outputs_ - block.first));
        block.frames.resize(block.outputs);
        block.fractions.resize(block.outputs);
        const auto end = static_cast<double>(length_);
        double position = position_;
        std::size_t inside = 0;
        for (std::size_t i = 0; i < block.outputs; ++i) {
            if (position < end) {
                const auto frame = static_cast<std::uint32_t>(position);
                block.frames[inside] = frame;
                block.fractions[inside] = static_cast<float>(position - frame);
                ++inside;
            }
            position += step_;
        }
        position_ = position;
        block.frames.resize(inside);
        block.fractions.resize(inside);
        taken_.store(block.first + block.outputs, std::memory_order_relaxed);
        return block.outputs > 0;
    }

    std::span<float> outputOf(const Block& block) const {
        return output_.subspan(static_cast<std::size_t>(block.first) * input_.channels,
                               block.outputs * input_.channels);
    }

    void interpolate(Scratch& scratch) const {
        const Block& block = scratch.block;
        const std::span<float> out = outputOf(block);
        std::ranges::fill(out.subspan(block.frames.size() * input_.channels), 0.0f);
        if (block.frames.empty())
            return;
        const std::uint32_t first = block.frames.front();
        std::vector<float>& plane = scratch.planes[0];
        plane.resize(block.frames.back() - first + CubicInterpolator::kPre + 1 + CubicInterpolator::kPost);
        for (unsigned channel = 0; channel < input_.channels; ++channel) {
            copyChannel(input_.frames, input_.channels, channel,
                        std::int64_t{first} - static_cast<std::int64_t>(CubicInterpolator::kPre),
                        plane.size(), false, plane.data());
            const auto each = [&](auto value) {
                const float* from = plane.data() + CubicInterpolator::kPre;
                for (std::size_t i = 0; i < block.frames.size(); ++i)
                    out[i * input_.channels + channel] =
                        clipped(value(from + (block.frames[i] - first), block.fractions[i]));
            };
            switch (static_cast<ResampleMethod>(input_.method)) {
                case ResampleMethod::Nearest:
                    each([](const float* x, double t) { return interpolation::nearest(x, t); });
                    break;
                case ResampleMethod::Cubic:
                    each([](const float* x, double t) { return interpolation::cubic(x, t); });
                    break;
                default:
                    each([](const float* x, double t) { return interpolation::linear(x, t); });
                    break;
            }
        }
    }

    // NaN, which sums beyond the range of floats could give, becomes silence.
    float clipped(float sample) const {
        if (!input_.limit)
            return std::isfinite(sample) ? sample : 0.0f;
        return sample >= -1.0f ? std::min(sample, 1.0f) : sample < -1.0f ? -1.0f : 0.0f;
    }

    bool filter(Scratch& scratch, bool caller) {
        const Block& block = scratch.block;
        const std::span<float> out = outputOf(block);
        std::ranges::fill(out.subspan(block.frames.size() * input_.channels), 0.0f);
        if (block.frames.empty())
            return true;
        if (!chooseRows(scratch, caller))
            return false;
        for (unsigned channel = 0; channel < input_.channels; channel += 2) {
            const unsigned together = std::min(input_.channels - channel, 2u);
            scratch.sums.assign(block.frames.size() * together, 0.0);
            for (std::uint32_t section = (taps_ - 1) / kSectionTaps + 1; section-- > 0;) {
                if (!goOn(caller))
                    return false;
                addSection(scratch, channel, together, section * kSectionTaps);
            }
            for (std::size_t i = 0; i < block.frames.size(); ++i) {
                for (unsigned c = 0; c < together; ++c)
                    out[i * input_.channels + channel + c] =
                        clipped(static_cast<float>(scale_ * scratch.sums[i * together + c]));
            }
        }
        return true;
    }

    bool chooseRows(Scratch& scratch, bool caller) {
        const Block& block = scratch.block;
        const auto ask = [=, this] { return goOn(caller); };
        const std::uint32_t phases = table_.phases();
        // The two rows around a phase (0 to 1) and where it lies between them.
        const auto rows = [&](double phase, const float*& row, const float*& next, float& blend) {
            const double place = phase * phases;
            const auto number = static_cast<std::uint32_t>(place);
            blend = static_cast<float>(place - number);
            row = table_.row(number, compute_.front(), ask);
            next = blend != 0 ? table_.row(number + 1, compute_.front(), ask) : row;
            return row && next;
        };
        scratch.taps.resize(block.frames.size());
        for (std::size_t i = 0; i < block.frames.size(); ++i) {
            FirOutput& output = scratch.taps[i];
            const double fraction = block.fractions[i];
            output.frame = block.frames[i] - block.frames.front();
            if (!rows(fraction, output.left, output.leftNext, output.leftBlend) ||
                !rows(1 - fraction, output.right, output.rightNext, output.rightBlend))
                return false;
        }
        scratch.period = periodOf(scratch.taps);
        return true;
    }

    // Between rates with a common divisor the same phases come again and again: from 44100 to 48000 Hz after
    // 160 outputs. The accumulated position drifts a little, so that a pair of rows may come later by one.
    static std::uint32_t periodOf(const std::vector<FirOutput>& taps) {
        if (taps.size() < 16)
            return 0;  // not worth a look, and too few to look ahead in
        const std::size_t probe = taps.size() / 2;
        for (std::size_t period = 1; period <= taps.size() / 4; ++period) {
            const auto same = [&](std::size_t i) {
                return taps[i].left == taps[i + period].left && taps[i].right == taps[i + period].right;
            };
            if (same(probe) && same(probe + 1) && same(probe / 2))
                return static_cast<std::uint32_t>(period);
        }
        return 0;
    }

    void addSection(Scratch& scratch, unsigned channel, unsigned together, std::uint32_t firstTap) const {
        const Block& block = scratch.block;
        FirSection section;
        section.firstTap = firstTap;
        section.taps = std::min(taps_ - firstTap, kSectionTaps);
        section.outermost = firstTap + section.taps == taps_;
        section.lastFrame = block.frames.back() - block.frames.front();
        const std::size_t size = std::size_t{section.lastFrame} + section.taps + FirSection::kGranule;
        for (unsigned c = 0; c < together; ++c) {
            std::vector<float>& backwards = scratch.planes[c];
            std::vector<float>& forwards = scratch.planes[2 + c];
            backwards.resize(size);
            forwards.resize(size);
            const std::int64_t last = std::int64_t{block.frames.back()} - firstTap;
            copyChannel(input_.frames, input_.channels, channel + c,
                        last - static_cast<std::int64_t>(size) + 1, size, true, backwards.data());
            copyChannel(input_.frames, input_.channels, channel + c,
                        std::int64_t{block.frames.front()} + 1 + firstTap, size, false, forwards.data());
            section.backwards[c] = backwards.data();
            section.forwards[c] = forwards.data();
        }
        (together == 2 ? kernels_.stereo : kernels_.mono)(section, scratch.taps.data(),
                                                          static_cast<std::uint32_t>(block.frames.size()),
                                                          scratch.period, scratch.sums.data());
    }

    const ResampleInput input_;
    const std::span<float> output_;
    UserInterface* const ui_;
    const std::uint64_t length_;   // frames
    const std::uint64_t outputs_;  // frames
    const double step_;
    const FirKernels& kernels_ = firKernels();
    std::uint32_t blockOutputs_ = kBlockOutputs;

    std::vector<FirTaps> compute_;  // one, for FIR methods
    PhaseTable<float> table_;
    std::uint32_t taps_ = 0;  // on each side
    double scale_ = 1;

    std::mutex turn_;  // guards what follows up to helped_
    double position_ = 0;
    std::size_t helped_ = 0;
    std::condition_variable ended_;
    std::atomic<std::uint64_t> taken_{0};
    std::atomic<bool> stop_{false};
    std::atomic<bool> outOfMemory_{false};
    bool aborted_ = false;
    std::chrono::steady_clock::time_point asked_;
};

}  // namespace

SampleBufferRef resampledCopy(const ResampleInput& input, std::uint32_t newLength, std::uint32_t newRate,
                              UserInterface* ui) {
    SampleBufferRef buffer(SampleBuffer::create(newLength, static_cast<std::uint8_t>(input.channels),
                                                static_cast<float>(newRate)));
    switch (buffer ? resampleFrames(input, buffer->samples(), ui) : ResampleOutcome::OutOfMemory) {
        case ResampleOutcome::Done:
            return buffer;
        case ResampleOutcome::Aborted:
            fail(kResamplingAborted);
            return {};
        case ResampleOutcome::OutOfMemory:
            break;
    }
    fail(kOutOfMemory);
    return {};
}

ResampleOutcome resampleFrames(const ResampleInput& input, std::span<float> output, UserInterface* ui,
                               unsigned threads) {
    return Job(input, output, ui).run(threads);
}

}  // namespace velor
