// Fast Fourier transforms of power-of-two sizes, single precision.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace velor {

// A prepared transform of one size: the constructor allocates, the transforms never do. Stockham's
// self-sorting form in passes of radix 4 (one of radix 2 when the size is an odd power of two), so there is
// no bit reversal (C. Van Loan, Computational Frameworks for the Fast Fourier Transform, 1992, section 1.7).
// Twiddle factors are computed in double precision; the relative error of a transform is about 1e-7. One
// object serves one thread at a time.
class Fft {
  public:
    using Complex = std::complex<float>;

    // size: 1, 2, 4 … 2^28 points; other sizes are raised to the next power of two.
    explicit Fft(std::size_t size);

    std::size_t size() const { return size_; }

    // X[k] = sum of x[n] e^(-2 pi i k n / N), in place; `data` has size() points.
    void forward(std::span<Complex> data);
    // The inverse with the factor 1/N: inverse(forward(x)) == x.
    void inverse(std::span<Complex> data);

  private:
    template <bool Inverse>
    void transform(Complex* data);

    std::size_t size_;
    std::vector<Complex> twiddles_;  // e^(-2 pi i k / N), k < 3 N / 4
    std::vector<Complex> work_;
};

// The transform of real samples through a complex one of half the size.
class RealFft {
  public:
    using Complex = std::complex<float>;

    // size: 2, 4 … 2^29 points; other sizes are raised to the next power of two.
    explicit RealFft(std::size_t size);

    std::size_t size() const { return 2 * half_.size(); }
    // Bins of the spectrum: size() / 2 + 1, from 0 Hz to half the sample rate.
    std::size_t bins() const { return half_.size() + 1; }

    // samples: size() values; spectrum: bins() values, the first and the last of them real.
    void forward(std::span<const float> samples, std::span<Complex> spectrum);
    // The inverse with the factor 1/N. Imaginary parts of the first and the last bin are ignored.
    void inverse(std::span<const Complex> spectrum, std::span<float> samples);

  private:
    Fft half_;
    std::vector<Complex> turns_;  // e^(-2 pi i k / N), k <= N / 4
    std::vector<Complex> packed_;
};

}  // namespace velor
