#include "dsp/fft.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace velor {

namespace {

using Complex = Fft::Complex;

Complex turn(std::size_t k, std::size_t size) {
    const double angle = -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(size);
    return {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
}

// The library's product looks for NaN and infinity, which costs more than the product itself.
inline Complex times(Complex a, Complex b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}
inline Complex timesI(Complex a) {
    return {-a.imag(), a.real()};
}

// One pass over `from` into `to`: `count` transforms lie interleaved with `stride`; each is split into four
// of a quarter of the length.
template <bool Inverse>
void radix4(const Complex* __restrict from, Complex* __restrict to, const Complex* twiddles,
            std::size_t length, std::size_t stride) {
    const std::size_t quarter = length / 4;
    const std::size_t step = quarter * stride;
    for (std::size_t p = 0; p < quarter; ++p) {
        Complex w1 = twiddles[p * stride];
        Complex w2 = twiddles[2 * p * stride];
        Complex w3 = twiddles[3 * p * stride];
        if constexpr (Inverse) {
            w1 = std::conj(w1);
            w2 = std::conj(w2);
            w3 = std::conj(w3);
        }
        const Complex* in = from + p * stride;
        Complex* out = to + 4 * p * stride;
        for (std::size_t q = 0; q < stride; ++q) {
            const Complex a = in[q];
            const Complex b = in[q + step];
            const Complex c = in[q + 2 * step];
            const Complex d = in[q + 3 * step];
            const Complex sumAC = a + c;
            const Complex differenceAC = a - c;
            const Complex sumBD = b + d;
            const Complex turnedBD = Inverse ? -timesI(b - d) : timesI(b - d);
            out[q] = sumAC + sumBD;
            out[q + stride] = times(w1, differenceAC - turnedBD);
            out[q + 2 * stride] = times(w2, sumAC - sumBD);
            out[q + 3 * stride] = times(w3, differenceAC + turnedBD);
        }
    }
}

// The last pass of an odd power of two: pairs, no twiddles.
void radix2(const Complex* __restrict from, Complex* __restrict to, std::size_t stride) {
    for (std::size_t q = 0; q < stride; ++q) {
        const Complex a = from[q];
        const Complex b = from[q + stride];
        to[q] = a + b;
        to[q + stride] = a - b;
    }
}

}  // namespace

Fft::Fft(std::size_t size) : size_(std::bit_ceil(size)), work_(size_) {
    twiddles_.resize(size_ - size_ / 4);
    for (std::size_t k = 0; k < twiddles_.size(); ++k)
        twiddles_[k] = turn(k, size_);
}

template <bool Inverse>
void Fft::transform(Complex* data) {
    Complex* from = data;
    Complex* to = work_.data();
    std::size_t length = size_;
    std::size_t stride = 1;
    for (; length >= 4; length /= 4, stride *= 4) {
        radix4<Inverse>(from, to, twiddles_.data(), length, stride);
        std::swap(from, to);
    }
    if (length == 2) {
        radix2(from, to, stride);
        std::swap(from, to);
    }
    const float scale = Inverse ? 1.0f / static_cast<float>(size_) : 1.0f;
    if (from != data || Inverse) {
        for (std::size_t i = 0; i < size_; ++i)
            data[i] = from[i] * scale;
    }
}

void Fft::forward(std::span<Complex> data) {
    transform<false>(data.data());
}

void Fft::inverse(std::span<Complex> data) {
    transform<true>(data.data());
}

RealFft::RealFft(std::size_t size) : half_(std::bit_ceil(size < 2 ? 2 : size) / 2), packed_(half_.size()) {
    turns_.resize(half_.size() / 2 + 1);
    for (std::size_t k = 0; k < turns_.size(); ++k)
        turns_[k] = turn(k, this->size());
}

// Even and odd samples travel as real and imaginary parts; symmetry separates their spectra again.
void RealFft::forward(std::span<const float> samples, std::span<Complex> spectrum) {
    const std::size_t n = half_.size();
    for (std::size_t i = 0; i < n; ++i)
        packed_[i] = {samples[2 * i], samples[2 * i + 1]};
    half_.forward(packed_);
    const Complex zero = packed_[0];
    spectrum[0] = {zero.real() + zero.imag(), 0};
    spectrum[n] = {zero.real() - zero.imag(), 0};
    for (std::size_t k = 1; k <= n / 2; ++k) {
        const Complex a = packed_[k];
        const Complex b = std::conj(packed_[n - k]);
        const Complex even = 0.5f * (a + b);
        const Complex odd = times(turns_[k], -0.5f * timesI(a - b));
        spectrum[k] = even + odd;
        spectrum[n - k] = std::conj(even - odd);
    }
}

void RealFft::inverse(std::span<const Complex> spectrum, std::span<float> samples) {
    const std::size_t n = half_.size();
    const float first = spectrum[0].real();
    const float last = spectrum[n].real();
    packed_[0] = {0.5f * (first + last), 0.5f * (first - last)};
    for (std::size_t k = 1; k <= n / 2; ++k) {
        const Complex a = spectrum[k];
        const Complex b = std::conj(spectrum[n - k]);
        const Complex even = 0.5f * (a + b);
        const Complex odd = timesI(times(std::conj(turns_[k]), 0.5f * (a - b)));
        packed_[k] = even + odd;
        packed_[n - k] = std::conj(even - odd);
    }
    half_.inverse(packed_);
    for (std::size_t i = 0; i < n; ++i) {
        samples[2 * i] = packed_[i].real();
        samples[2 * i + 1] = packed_[i].imag();
    }
}

}  // namespace velor
