// The low-pass of the resampler's FIR methods: a sinc under a Kaiser window (J. F. Kaiser, "Nonrecursive
// digital filter design using the I0-sinh window function", 1974), and tables of it for a number of phases.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <thread>
#include <vector>

namespace velor {

struct FirDesign {
    std::uint32_t taps = 0;  // on each side of the wanted position
    double scale = 1;        // what the taps are stretched by: 1 upwards, the ratio downwards
    double cutoff = 1;       // as a share of the lower of the two Nyquist frequencies
    double beta = 0;         // Kaiser's window parameter
};

// The design for a level in bits of signal to noise and a ratio (new rate / old rate). Upwards the whole band
// of the source is kept, whatever the level.
FirDesign firDesign(unsigned level, double ratio);

// Computes filter taps: tap k of a phase (0 to 1 frame) weighs the frame that lies k + phase away.
class FirTaps {
  public:
    explicit FirTaps(const FirDesign& design);
    // Taps first, first + 1 ... of a phase; 0 behind the last one of the design.
    void compute(double phase, std::uint32_t first, std::span<double> taps) const;
    void compute(double phase, std::uint32_t first, std::span<float> taps) const;

  private:
    template <typename Sample>
    void fill(double phase, std::uint32_t first, std::span<Sample> taps) const;

    FirDesign design_;
    // The window is a polynomial in 1 - (distance / reach)²: Bessel's I0 by its series, divided by I0(beta).
    std::vector<double> window_;
};

// Rows of taps for the phases 0, 1/phases ... 1, each computed when it is first asked for, by whichever
// thread asks. The first entry of a row is NaN until then.
template <typename Sample>
class PhaseTable {
  public:
    static constexpr std::uint32_t kComputedAtOnce = 4096;

    // Rows of `stride` entries, of which the first `used` are computed. False when memory is exhausted.
    bool allocate(std::uint32_t phases, std::uint64_t stride, std::uint64_t used) {
        const std::uint64_t size = (std::uint64_t{phases} + 1) * stride;
        if (size > std::numeric_limits<std::size_t>::max() / 2 / sizeof(Sample))
            return false;
        rows_.reset(static_cast<Sample*>(
            ::operator new(static_cast<std::size_t>(size) * sizeof(Sample), kAlignment, std::nothrow)));
        if (!rows_)
            return false;
        phases_ = phases;
        stride_ = stride;
        used_ = used;
        for (std::uint32_t row = 0; row <= phases; ++row)
            rows_[row * stride] = std::numeric_limits<Sample>::quiet_NaN();
        return true;
    }

    std::uint32_t phases() const { return phases_; }
    std::uint64_t stride() const { return stride_; }

    // A computed row. `goOn` is asked now and then; once it says no, the row stays as it was and nullptr
    // comes back.
    template <typename GoOn>
    const Sample* row(std::uint32_t number, const FirTaps& taps, GoOn&& goOn) const {
        Sample* const entries = rows_.get() + number * stride_;
        const std::atomic_ref<Sample> mark(entries[0]);
        if (!std::isnan(mark.load(std::memory_order_acquire)))
            return entries;
        const auto lock = lockFor(number, goOn);
        if (!lock)
            return nullptr;
        if (!std::isnan(mark.load(std::memory_order_relaxed)))
            return entries;
        const double phase = static_cast<double>(number) / phases_;
        Sample first = 0;
        taps.compute(phase, 0, std::span(&first, 1));
        for (std::uint64_t done = 1; done < stride_;) {
            if (!goOn())
                return nullptr;
            const std::uint64_t now = std::min<std::uint64_t>(kComputedAtOnce, stride_ - done);
            const std::uint64_t real = done < used_ ? std::min(now, used_ - done) : 0;
            taps.compute(phase, static_cast<std::uint32_t>(done), std::span(entries + done, real));
            std::fill_n(entries + done + real, now - real, Sample{0});
            done += now;
        }
        mark.store(first, std::memory_order_release);
        return entries;
    }

  private:
    static constexpr std::align_val_t kAlignment{64};
    struct Release {
        void operator()(Sample* rows) const { ::operator delete(rows, kAlignment); }
    };

    template <typename GoOn>
    std::unique_lock<std::mutex> lockFor(std::uint32_t number, GoOn& goOn) const {
        std::unique_lock lock(locks_[number % locks_.size()], std::try_to_lock);
        while (!lock && goOn()) {
            std::this_thread::yield();
            lock.try_lock();
        }
        return lock;
    }

    std::unique_ptr<Sample[], Release> rows_;
    std::uint64_t stride_ = 0;
    std::uint64_t used_ = 0;
    std::uint32_t phases_ = 0;
    mutable std::array<std::mutex, 16> locks_;
};

}  // namespace velor
