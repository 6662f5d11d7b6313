// Transforms against the sums that define them.
#include "dsp/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace velor {
namespace {

using Complex = Fft::Complex;

std::vector<Complex> noise(std::size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    std::uniform_real_distribution<float> value(-1, 1);
    std::vector<Complex> data(size);
    for (Complex& each : data)
        each = {value(random), value(random)};
    return data;
}

double distance(std::span<const Complex> a, std::span<const Complex> b) {
    double sum = 0, scale = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += static_cast<double>(std::norm(a[i] - b[i]));
        scale += static_cast<double>(std::norm(b[i]));
    }
    return std::sqrt(sum / scale);
}

std::vector<Complex> directSum(const std::vector<Complex>& data) {
    const std::size_t n = data.size();
    std::vector<Complex> result(n);
    for (std::size_t k = 0; k < n; ++k) {
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < n; ++i)
            sum += std::complex<double>(data[i]) *
                   std::polar(
                       1.0, -2 * std::numbers::pi * static_cast<double>(i * k % n) / static_cast<double>(n));
        result[k] = Complex(sum);
    }
    return result;
}

class Transform : public testing::TestWithParam<std::size_t> {};

TEST_P(Transform, IsTheSum) {
    const auto data = noise(GetParam());
    const auto wanted = directSum(data);
    auto found = data;
    Fft fft(GetParam());
    fft.forward(found);
    EXPECT_LT(distance(found, wanted), 5e-7);
    fft.inverse(found);
    EXPECT_LT(distance(found, data), 5e-7);
}

TEST_P(Transform, OfRealSamplesIsTheSum) {
    std::vector<Complex> data = noise(2 * GetParam());
    std::vector<float> samples;
    for (Complex& each : data) {
        each = each.real();
        samples.push_back(each.real());
    }
    const auto wanted = directSum(data);
    RealFft fft(samples.size());
    ASSERT_EQ(fft.size(), samples.size());
    std::vector<Complex> found(fft.bins());
    fft.forward(samples, found);
    EXPECT_LT(distance(found, {wanted.data(), found.size()}), 5e-7);
    std::vector<float> back(samples.size());
    fft.inverse(found, back);
    for (std::size_t i = 0; i < back.size(); ++i)
        ASSERT_NEAR(back[i], samples[i], 2e-6f);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Transform, testing::Values(1, 2, 4, 8, 16, 32, 256, 512, 2048));

TEST(Fft, KeepsTheEnergyOfLongSignals) {  // Parseval
    auto data = noise(std::size_t{1} << 19);
    double before = 0, after = 0;
    for (const Complex& each : data)
        before += static_cast<double>(std::norm(each));
    Fft(data.size()).forward(data);
    for (const Complex& each : data)
        after += static_cast<double>(std::norm(each));
    EXPECT_NEAR(after / static_cast<double>(data.size()) / before, 1, 1e-6);
}

TEST(Fft, RaisesSizesToPowersOfTwo) {
    EXPECT_EQ(Fft(0).size(), 1u);
    EXPECT_EQ(Fft(1000).size(), 1024u);
    EXPECT_EQ(RealFft(0).size(), 2u);
    EXPECT_EQ(RealFft(1000).bins(), 513u);
}

}  // namespace
}  // namespace velor
