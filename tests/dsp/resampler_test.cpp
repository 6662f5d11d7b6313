#include "dsp/resampler.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <numeric>
#include <thread>

#include "base/error.h"
#include "dsp/resampler_blocks.h"
#include "dsp/resampler_interpolators.h"
#include "dsp/resampler_reference.h"
#include "test_tools.h"

namespace velor {
namespace {

std::vector<float> noise(std::size_t samples, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> range(-0.4f, 0.4f);
    std::vector<float> signal(samples);
    for (float& sample : signal)
        sample = range(random);
    return signal;
}

std::vector<float> sine(std::size_t frames, double cyclesPerFrame) {
    std::vector<float> signal(frames);
    for (std::size_t i = 0; i < frames; ++i)
        signal[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * cyclesPerFrame * static_cast<double>(i)));
    return signal;
}

std::vector<float> resampled(const std::vector<float>& frames, unsigned channels, int method, double ratio,
                             std::size_t outputs, unsigned threads = 0) {
    std::vector<float> out(outputs * channels, 9.0f);
    const auto number = static_cast<std::uint8_t>(method);
    EXPECT_EQ(
        resampleFrames({frames, channels, number, firLevelOf(number, 16), ratio}, out, nullptr, threads),
        ResampleOutcome::Done);
    return out;
}

TEST(Resampler, AgreesWithItsDefinition) {
    struct Case {
        std::size_t frames;
        unsigned channels;
        double ratio;
    };
    const Case cases[] = {
        {3000, 2, 48000.0 / 44100},
        {3000, 1, 44100.0 / 48000},
        {2000, 1, 2.0},
        {3000, 2, 0.5},
        {2500, 2, 0.3173},
        {1500, 1, M_PI},
        {1, 2, 7.3},
        {1, 1, 0.9},
        {2, 1, 1.5},
        {40, 3, 1.01},
        {6000, 1, 0.11},
        {20000, 2, 0.013},
        {300, 1, 1.0 / 1000},
        {5, 1, 200.0},
        {70000, 1, 0.004},
        {4000, 5, 0.81},
    };
    for (const Case& each : cases) {
        const std::vector<float> source = noise(each.frames * each.channels);
        // A little more than the source gives, to see that silence follows; long filters are slow to define.
        const auto whole = static_cast<std::size_t>(static_cast<double>(each.frames) * each.ratio) + 3;
        const std::size_t outputs = std::min<std::size_t>(whole, each.ratio < 0.05  ? 20
                                                                 : each.ratio < 0.5 ? 150
                                                                                    : 1500);
        for (int method = 0; method <= 9; ++method) {
            SCOPED_TRACE(formatText("%zu frames, %u channels, ratio %g, method %d", each.frames,
                                    each.channels, each.ratio, method));
            test::ReferenceResampler reference(source, each.channels, method, 16, each.ratio);
            const std::vector<double> expected = reference.run(outputs);
            const std::vector<float> got = resampled(source, each.channels, method, each.ratio, outputs);
            double worst = 0;
            for (std::size_t i = 0; i < got.size(); ++i)
                worst = std::max(worst, std::abs(got[i] - expected[i]));
            EXPECT_LT(worst, 1.2e-7);  // two units in the last place of a float below 1
        }
    }
}

TEST(Resampler, SingleSamplesAgreeWithWholeWaveforms) {
    const std::vector<float> source = noise(2 * 600);
    for (const double ratio : {1.37, 0.71}) {
        for (std::uint8_t method = 0; method <= 9; ++method) {
            const auto outputs = static_cast<std::size_t>(600 * ratio);
            const std::vector<float> whole = resampled(source, 2, method, ratio, outputs);
            const auto interpolator = makeInterpolator(method, firLevelOf(method, 16), ratio, source, 2);
            ASSERT_TRUE(interpolator);
            double position = 0;
            for (std::size_t k = 0; k < outputs; ++k, position += 1 / ratio) {
                const auto index = static_cast<std::int32_t>(position);
                for (std::uint32_t c = 0; c < 2; ++c)
                    ASSERT_NEAR(interpolator->sample(c, index, static_cast<float>(position - index)),
                                whole[2 * k + c], 1.2e-7)
                        << k << ' ' << int{method};
            }
        }
    }
}

TEST(Resampler, FilterDesigns) {
    const struct {
        unsigned level;
        double ratio, scale, cutoff, beta;
        std::uint32_t taps, stride;
    } cases[] = {
        {16, 0.5, 0.5, 0.905, 9.5, 68, 68},   {8, 0.8, 0.8, 0.77, 6.0, 10, 12},
        {12, 0.25, 0.25, 0.86, 7.5, 68, 68},  {20, 0.5, 0.5, 0.97, 11, 264, 264},
        {24, 0.5, 0.5, 0.985, 14, 998, 1000}, {8, 1.5, 1, 1, 9, 8, 8},
        {24, 1.0, 1, 1, 9, 499, 500},
    };
    const std::vector<float> source = noise(10);
    for (const auto& each : cases) {
        const FirDesign design = firDesign(each.level, each.ratio);
        FirInterpolator fir(ChannelPlanes::create(source, 1, design.taps - 1, design.taps), design);
        EXPECT_EQ(fir.scale(), each.scale);
        EXPECT_EQ(fir.cutoff(), each.cutoff);
        EXPECT_EQ(fir.beta(), each.beta);
        EXPECT_EQ(fir.taps(), each.taps);
        EXPECT_EQ(fir.stride(), each.stride);
        const int method = each.level == 8    ? 3
                           : each.level == 12 ? 4
                           : each.level == 16 ? 5
                           : each.level == 20 ? 6
                                              : 7;
        test::ReferenceResampler reference({0.0f}, 1, method, 16, each.ratio);
        for (const unsigned row : {0u, 1u, 777u, 2047u, 2048u}) {
            const std::span<const double> taps = fir.row(row);
            for (unsigned k = 0; k < each.stride; ++k)
                ASSERT_NEAR(taps[k], k < each.taps ? reference.row(row)[k] : 0.0, 1e-14) << row << ' ' << k;
        }
    }
}

// Two threads ask for the same rows at once; ThreadSanitizer looks on where it is switched on.
TEST(Resampler, TablesFillFromTwoThreads) {
    const FirDesign design = firDesign(20, 0.9);
    const FirTaps taps(design);
    PhaseTable<double> table;
    ASSERT_TRUE(table.allocate(256, 160, 147));
    std::vector<double> sums[2];
    const auto read = [&](std::vector<double>& into) {
        for (std::uint32_t row = 0; row <= 256; ++row) {
            const double* entries = table.row(row, taps, [] { return true; });
            into.push_back(std::accumulate(entries, entries + 160, 0.0));
        }
    };
    std::thread other(read, std::ref(sums[0]));
    read(sums[1]);
    other.join();
    EXPECT_EQ(sums[0], sums[1]);
    EXPECT_TRUE(std::ranges::all_of(sums[0], [](double sum) { return std::isfinite(sum); }));
    EXPECT_EQ(PhaseTable<double>().phases(), 0u);
}

TEST(Resampler, ThreadsDoNotChangeTheResult) {
    const std::vector<float> source = noise(2 * 50000);
    for (const int method : {2, 5, 7}) {
        for (const double ratio : {48000.0 / 44100, 0.37}) {
            const auto outputs = static_cast<std::size_t>(50000 * ratio);
            const std::vector<float> alone = resampled(source, 2, method, ratio, outputs, 1);
            EXPECT_EQ(alone, resampled(source, 2, method, ratio, outputs, 2));
            EXPECT_EQ(alone, resampled(source, 2, method, ratio, outputs, 7));
        }
    }
}

TEST(Resampler, ImpulsesStayInTheirPlaces) {
    std::vector<float> source(2000, 0.0f);
    source[700] = 1;
    for (int method = 1; method <= 8; ++method) {
        for (const double ratio : {2.0, 3.0, 0.5, 0.25}) {
            const auto out = resampled(source, 1, method, ratio, static_cast<std::size_t>(2000 * ratio));
            const auto peak = std::ranges::max_element(out) - out.begin();
            EXPECT_EQ(peak, static_cast<long>(700 * ratio)) << method << ' ' << ratio;
            // Upwards, what was there already stays as it was.
            if (ratio > 1) {
                EXPECT_NEAR(out[static_cast<std::size_t>(peak)], 1.0f, 1e-6) << method << ' ' << ratio;
            }
        }
    }
}

// Amplitude of one frequency (cycles per frame) in the middle of a signal, under a Blackman window.
double amplitudeAt(const std::vector<float>& signal, double frequency) {
    const std::size_t from = signal.size() / 4;
    const std::size_t count = signal.size() / 2;
    std::complex<double> sum = 0;
    double weights = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = 2 * M_PI * static_cast<double>(i) / static_cast<double>(count);
        const double weight = 0.42 - 0.5 * std::cos(x) + 0.08 * std::cos(2 * x);
        weights += weight;
        sum += weight * signal[from + i] * std::polar(1.0, -2 * M_PI * frequency * static_cast<double>(i));
    }
    return 2 * std::abs(sum) / weights;
}

// What passes, and what must be gone: a tone in the pass band, and one above the new Nyquist frequency where
// it folds back to.
TEST(Resampler, GainAndAliases) {
    const struct {
        int method;
        double passes;      // as a share of the new Nyquist frequency
        double stops;       // the same; beyond 1
        double attenuates;  // dB at least
    } cases[] = {
        {3, 0.5, 1.3, 45}, {4, 0.65, 1.2, 70}, {5, 0.8, 1.1, 90}, {6, 0.92, 1.03, 105}, {7, 0.96, 1.02, 130}};
    for (const auto& each : cases) {
        for (const double ratio : {0.5, 0.73}) {
            const std::size_t frames = 30000;
            const auto outputs = static_cast<std::size_t>(frames * ratio);
            const auto pass =
                resampled(sine(frames, each.passes * ratio / 2), 1, each.method, ratio, outputs);
            EXPECT_NEAR(amplitudeAt(pass, each.passes / 2), 0.5, 0.002) << each.method << ' ' << ratio;
            const auto stop = resampled(sine(frames, each.stops * ratio / 2), 1, each.method, ratio, outputs);
            const double left = amplitudeAt(stop, 1 - each.stops / 2);
            EXPECT_LT(20 * std::log10(left / 0.5 + 1e-12), -each.attenuates) << each.method << ' ' << ratio;
        }
    }
}

TEST(Resampler, OddInputsGiveDefinedResults) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    std::vector<float> source = noise(400);
    std::vector<float> mended = source;
    for (const auto& [at, value] : {std::pair{17, nan}, {120, infinity}, {300, -infinity}, {399, nan}}) {
        source[static_cast<std::size_t>(at)] = value;
        mended[static_cast<std::size_t>(at)] = 0;
    }
    for (int method = 0; method <= 8; ++method) {
        EXPECT_EQ(resampled(source, 1, method, 1.3, 520), resampled(mended, 1, method, 1.3, 520));
        EXPECT_EQ(resampled({}, 2, method, 1.3, 4), std::vector<float>(8, 0.0f));
        EXPECT_TRUE(resampled(source, 1, method, 1.3, 0).empty());
        for (const float sample : resampled(std::vector<float>(50, 30.0f), 1, method, 1.9, 90))
            EXPECT_LE(std::abs(sample), 1.0f);
        // A ratio that does not fit the length: silence behind the source.
        const auto beyond = resampled(mended, 1, method, 1e-7, 3);
        EXPECT_EQ(beyond[1], 0.0f);
        EXPECT_EQ(beyond[2], 0.0f);
        EXPECT_TRUE(std::isfinite(beyond[0]));
    }
    // The last frame's second half is beyond the waveform.
    EXPECT_EQ(resampled({0.25f, 0.5f}, 1, 0, 2, 4), (std::vector<float>{0.25f, 0.5f, 0.5f, 0.0f}));
}

struct Instruments {
    Collection collection;
    Waveform* waveform = nullptr;
    Region* region = nullptr;

    explicit Instruments(std::uint32_t frames = 4000, std::uint32_t rate = 44100) {
        waveform = test::addWaveform(collection, "tone", noise(frames), 1, rate);
        waveform->setLoop(LoopMode::Forward, 1000, 2000);
        region = collection.create<Region>("region");
        region->links.add(waveform->id());
        region->overrides.loopStart = 1001;
        region->overrides.loopEnd = 2003;
    }
};

TEST(Resampler, LoopsFollow) {
    const struct {
        double start, end, ratio, newStart, newEnd;
    } cases[] = {
        {1000, 2000, 0.5, 500, 1000}, {1000.5, 2000, 0.5, 500.25, 1000}, {1001, 2001, 0.5, 501, 1001},
        {1001, 2002, 0.5, 501, 1002}, {1000, 2000.5, 2, 2000, 4001},     {0, 3000, 1.0 / 3, 0, 1000},
    };
    for (const auto& each : cases) {
        Instruments own;
        own.waveform->setLoop(LoopMode::Alternating, each.start, each.end);
        const auto length = static_cast<std::uint32_t>(4000 * each.ratio);
        ASSERT_TRUE(Resample(*own.waveform, *own.waveform, length, 22050, 1, each.ratio));
        EXPECT_EQ(own.waveform->frames, length);
        EXPECT_EQ(own.waveform->sampleRate, 22050u);
        EXPECT_EQ(own.waveform->loopStart, each.newStart);
        EXPECT_EQ(own.waveform->loopEnd, each.newEnd);
        EXPECT_EQ(own.waveform->loopMode, LoopMode::Alternating);
    }
}

TEST(Resampler, RegionsFollowWhenTheyOverride) {
    const struct {
        std::uint8_t flags;
        std::uint32_t start, end;
    } cases[] = {
        {0, 1001, 2003},
        {RegionOverrides::LoopStart, 501, 2003},
        {RegionOverrides::LoopEnd, 1001, 1002},
        {RegionOverrides::LoopStart | RegionOverrides::LoopEnd, 501, 1002},
    };
    for (const auto& each : cases) {
        Instruments own;
        own.region->overrides.flags = each.flags;
        // One that plays another waveform stays as it is.
        Region* other = own.collection.create<Region>("other");
        other->overrides = own.region->overrides;
        other->links.add(test::addWaveform(own.collection, "another", noise(10))->id());
        const RegionOverrides before = other->overrides;
        ASSERT_TRUE(ResampleToRate(*own.waveform, *own.waveform, 22050, 8, &own.collection));
        EXPECT_EQ(own.region->overrides.loopStart, each.start);
        EXPECT_EQ(own.region->overrides.loopEnd, each.end);
        EXPECT_EQ(other->overrides, before);
    }
    Instruments own;
    own.region->overrides.flags = RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
    own.region->overrides.loopEnd = 0xFFFFFFFF;
    RescaleRegionLoops(own.collection, *own.waveform, 1e6f);
    EXPECT_EQ(own.region->overrides.loopStart, 1001000000u);
    EXPECT_EQ(own.region->overrides.loopEnd, 0xFFFFFFFFu);
    // Into another waveform: the regions go on playing the old one.
    Waveform* copy = own.collection.create<Waveform>("copy");
    ASSERT_TRUE(ResampleToRate(*copy, *own.waveform, 22050, 8, &own.collection));
    EXPECT_EQ(own.region->overrides.loopStart, 1001000000u);
    EXPECT_EQ(copy->frames, 2000u);
    EXPECT_EQ(own.waveform->frames, 4000u);
}

TEST(Resampler, LengthsAndRates) {
    const struct {
        std::uint32_t frames, from, to, length;
    } rates[] = {{44100, 44100, 48000, 48000}, {48001, 48000, 44100, 44100}, {100, 44100, 8000, 18},
                 {1, 48000, 8000, 0},          {0, 8000, 16000, 0},          {3, 8000, 8001, 3}};
    for (const auto& each : rates) {
        Instruments own(each.frames, each.from);
        ASSERT_TRUE(ResampleToRate(*own.waveform, *own.waveform, each.to, 8, nullptr));
        EXPECT_EQ(own.waveform->frames, each.length);
        EXPECT_EQ(own.waveform->sampleRate, each.to);
        // Interpolators of other parts read beyond the end.
        const float* end = own.waveform->samples().data() + each.length;
        EXPECT_EQ(end[0], 0.0f);
        EXPECT_EQ(end[2], 0.0f);
    }
    Instruments own(1000, 44100);
    ASSERT_TRUE(ResampleToLength(*own.waveform, *own.waveform, 333, 2, nullptr));
    EXPECT_EQ(own.waveform->frames, 333u);
    EXPECT_EQ(own.waveform->sampleRate, 14685u);
}

TEST(Resampler, RefusesAndLeavesTheWaveformAlone) {
    Instruments own;
    const std::vector<float> before(own.waveform->samples().begin(), own.waveform->samples().end());
    Waveform& wave = *own.waveform;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double ratio : {0.0, -1.0, nan, infinity}) {
        EXPECT_FALSE(Resample(wave, wave, 100, 44100, 8, ratio));
        EXPECT_EQ(LastErrorText, "Invalid length or frequency specified");
    }
    EXPECT_FALSE(ResampleToRate(wave, wave, 0, 8, nullptr));
    EXPECT_FALSE(ResampleToLength(wave, wave, 0, 8, nullptr));
    EXPECT_TRUE(Resample(wave, wave, 77, 1, 8, 1.0));  // nothing to do
    EXPECT_EQ(wave.frames, 4000u);
    EXPECT_EQ(wave.loopEnd, 2000);
    EXPECT_EQ(std::vector<float>(wave.samples().begin(), wave.samples().end()), before);
    wave.sampleRate = 1;
    EXPECT_FALSE(ResampleToRate(wave, wave, 0x7FFFFFFF, 8, nullptr));
    EXPECT_EQ(LastErrorText, "Out of memory");
    EXPECT_EQ(wave.frames, 4000u);
}

class ImpatientInterface : public UserInterface {
  public:
    void progress(double share) override {
        EXPECT_GE(share, last);
        EXPECT_LE(share, 1.0);
        last = share;
    }
    bool aborted() override { return ++asked >= 2; }
    int asked = 0;
    double last = 0;
};

// Also where one row of the filter takes longer than the user is to wait.
TEST(Resampler, StopsWhenAskedTo) {
    for (const double ratio : {1.0884, 1e-6}) {
        Instruments own(3000000);
        const SampleBuffer* before = own.waveform->buffer().get();
        ImpatientInterface ui;
        const auto length = static_cast<std::uint32_t>(3000000 * ratio) + 40;
        EXPECT_FALSE(Resample(*own.waveform, *own.waveform, length, 48000, 7, ratio, &ui));
        EXPECT_EQ(LastErrorText, "Resampling aborted");
        EXPECT_EQ(ui.asked, 2);
        EXPECT_EQ(own.waveform->buffer().get(), before);
        EXPECT_EQ(own.waveform->frames, 3000000u);
        EXPECT_EQ(own.waveform->loopEnd, 2000);
    }
}

}  // namespace
}  // namespace velor
