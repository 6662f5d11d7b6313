// Instrument processes that make or cut waveforms.
#include "instrument_tools.h"
#include "synth/synth_sample.h"

namespace velor {
namespace {

using namespace test;

constexpr const char* kOctaves = "add-downsampled-waves-at-every-octave";
constexpr const char* kTrim = "trim-waves-to-region-start-end-offsets";

// The frequency and level of a sine by its projections, refined around a guess (cycles per frame).
struct Tone {
    double frequency = 0, level = 0;
};
Tone toneOf(std::span<const float> samples, std::size_t first, std::size_t count, double guess) {
    const auto levelAt = [&](double frequency) {
        double re = 0, im = 0, weights = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) /
                                                       static_cast<double>(count));
            const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i);
            re += weight * static_cast<double>(samples[first + i]) * std::cos(angle);
            im += weight * static_cast<double>(samples[first + i]) * std::sin(angle);
            weights += weight;
        }
        return 2 * std::hypot(re, im) / weights;
    };
    Tone tone{guess, levelAt(guess)};
    for (double step = 0.2 / static_cast<double>(count); step > 1e-9; step /= 2) {
        for (const double frequency : {tone.frequency - step, tone.frequency + step}) {
            if (const double level = levelAt(frequency); level > tone.level)
                tone = {frequency, level};
        }
    }
    return tone;
}

TEST(DownsampledOctaves, EveryKeySoundsAtItsPitch) {
    const struct {
        double period;  // frames
        std::uint32_t rate;
        double loopStart, loopEnd;
        bool overridden;
    } cases[] = {
        {101, 44100, 3000, 3101, false},                              // a single period of an odd length
        {101, 44100, 3000, 3101, true},                               // the same as the region's own loop
        {64, 44101, 2000, 4048, false},                               // a rate without a half
        {100.5, 32000, 1000, 1201, false}, {80, 48000, 0, 0, false},  // no loop
        {100, 44100, 0, 8000, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.loopEnd);
        Collection collection;
        Waveform* waveform = addWaveform(collection, "sine", sine(8000, each.period), 1, each.rate);
        waveform->rootKey = 48;
        waveform->fineTune = 7;
        Instrument* instrument = addInstrument(collection, "i", waveform);
        Region* region = linkedItems<Region>(*linkedItems<Layer>(*instrument)[0])[0];
        if (each.overridden) {
            region->overrides.flags = RegionOverrides::Looped | RegionOverrides::LoopModeFlag |
                                      RegionOverrides::LoopStart | RegionOverrides::LoopEnd |
                                      RegionOverrides::Tuning;
            region->overrides.looped = true;
            region->overrides.loopMode = LoopMode::Forward;
            region->overrides.loopStart = static_cast<std::uint32_t>(each.loopStart);
            region->overrides.loopEnd = static_cast<std::uint32_t>(each.loopEnd);
            region->overrides.tuning = 7;
        } else if (each.loopEnd > 0) {
            waveform->setLoop(LoopMode::Forward, each.loopStart, each.loopEnd);
        }
        ASSERT_EQ(runOn(kOctaves, collection, {collection.id()}).changed, 1u);

        int next = 0;
        for (const Region* part : linkedItems<Region>(*linkedItems<Layer>(*instrument)[0])) {
            EXPECT_EQ(part->keys.low, next) << "the keys are shared out";
            next = part->keys.high + 1;
            Waveform& played = *part->waveform();
            const int octave = std::max(0, (part->keys.low - 48) / 12);
            EXPECT_EQ(part->rootKey(), 48 + 12 * octave);
            if (part->keys.low > 48 && part->keys.high < 127) {
                EXPECT_EQ(part->keys.high - part->keys.low, 11);
            }
            // What sounds at the root key of the copy, in cents above one hertz.
            const double tuning = part->overrides.has(RegionOverrides::Tuning)
                                      ? static_cast<double>(part->overrides.tuning)
                                      : static_cast<double>(played.tuningCents());
            const double wanted = 1200 * std::log2(each.rate / each.period) + 7 + 1200 * octave;
            const double perFrame = std::exp2((wanted - tuning) / 1200) / played.sampleRate;
            // Beyond that not even the fundamental fits below half of the rate.
            if (static_cast<double>(played.frames) * perFrame > 20 && perFrame < 0.4) {
                const std::size_t skip = played.frames / 8;
                const Tone tone = toneOf(played.samples(), skip, played.frames - 2 * skip, perFrame);
                EXPECT_NEAR(1200 * std::log2(tone.frequency / perFrame), 0, 0.1) << octave;
                EXPECT_NEAR(tone.level, 0.5, 0.002) << octave;
            }
            const RegionLoop loop = regionLoop(played, part->overrides);
            ASSERT_EQ(loop.on, each.loopEnd > 0);
            if (!loop.on)
                continue;
            // As many periods as before, at the same pitch, and no step at the wrap beyond that of a sine.
            const double periods = (each.loopEnd - each.loopStart) / each.period;
            EXPECT_EQ(loop.end, std::floor(loop.end));
            const double cents =
                1200 * std::log2(played.sampleRate * periods / (loop.end - loop.start)) + tuning;
            EXPECT_NEAR(cents, wanted, 0.02) << octave;
            const auto at = [&](double frame) {
                return static_cast<double>(played.samples()[static_cast<std::size_t>(frame)]);
            };
            if (loop.start >= 1) {
                EXPECT_NEAR(at(loop.start - 1), at(loop.end - 1), 1e-3) << octave;
            }
        }
        EXPECT_EQ(next, 128);
        EXPECT_GT(collection.count(ItemKind::Waveform), 3u);
        EXPECT_EQ(waveform->frames, 8000u) << "the waveform itself stays";
    }
}

TEST(DownsampledOctaves, TakeAwayWhatWouldAliasAndShareTheCopies) {
    Collection collection;
    // 15 kHz and 1 kHz at 48 kHz: half the rate has no room for the first.
    std::vector<float> samples = sine(20000, 48000 / 15000.0, 0.4);
    const std::vector<float> low = sine(20000, 48.0, 0.4);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] += low[i];
    Waveform* waveform = addWaveform(collection, "two", samples, 1, 48000);
    waveform->bits = 24;
    Instrument* instrument = addInstrument(collection, "i", waveform);
    Layer* layer = linkedItems<Layer>(*instrument)[0];
    linkedItems<Region>(*layer)[0]->velocities = {0, 63};
    addRegion(*layer, waveform, {}, {64, 127});
    Region* fixed = addRegion(*layer, waveform, {});
    fixed->articulation.set(parameter::KeyToPitch, 0);
    addRegion(*layer, waveform, {0, 71});
    ASSERT_EQ(runOn(kOctaves, collection, {collection.id()}, {"octaves=2"}).changed, 1u);
    EXPECT_EQ(collection.count(ItemKind::Waveform), 3u) << "two copies for all regions";
    EXPECT_EQ(collection.count(ItemKind::Region), 8u) << "fixed pitch and no key above: left alone";
    EXPECT_EQ(fixed->keys, MidiRange{});
    const auto all = collection.all<Waveform>();
    EXPECT_EQ(all[1]->name(), "two 1/2");
    EXPECT_EQ(all[1]->frames, 10000u);
    EXPECT_EQ(all[2]->frames, 5000u);
    EXPECT_EQ(all[2]->rootKey, 84);
    for (int octave = 1; octave <= 2; ++octave) {
        const Waveform& copy = *all[static_cast<std::size_t>(octave)];
        const std::size_t count = copy.frames / 2;
        EXPECT_NEAR(toneOf(copy.samples(), count / 2, count, (1 << octave) / 48.0).level, 0.4, 1e-3);
        // 15 kHz would fold to 9 kHz at half the rate, and from there to 3 kHz at a quarter.
        const double alias = octave == 1 ? 9000.0 / 24000 : 3000.0 / 12000;
        EXPECT_LT(toneOf(copy.samples(), count / 2, count, alias).level, 1e-4);
    }
    // Once more there is only what the limit of two octaves left to do.
    EXPECT_EQ(runOn(kOctaves, collection, {collection.id()}).changed, 1u);
    EXPECT_EQ(runOn(kOctaves, collection, {collection.id()}).changed, 0u);
}

TEST(TrimToRegions, CutsWhatNoRegionPlays) {
    enum Change { Plain, NoLoop, UntilRelease, OwnLater, RegionLater, Short, Fraction };
    const struct {
        Change change;
        LoopMode mode;
        std::uint32_t frames;  // afterwards
    } cases[] = {
        {Plain, LoopMode::Forward, 332},     {Plain, LoopMode::Backward, 332},
        {Plain, LoopMode::Alternating, 332}, {Fraction, LoopMode::Forward, 333},
        {NoLoop, LoopMode::Forward, 1000},   {UntilRelease, LoopMode::Forward, 1000},
        {OwnLater, LoopMode::Forward, 932},  {RegionLater, LoopMode::Forward, 532},
        {Short, LoopMode::Forward, 1000},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(static_cast<int>(each.change) * 10 + static_cast<int>(each.mode));
        Collection collection;
        Waveform* waveform = addWaveform(collection, "w", testSignal(2000, 24), 2);
        waveform->format = SampleFormat::Pcm24;
        waveform->bits = 24;
        waveform->setLoop(each.mode, 280, 300);
        Instrument* instrument = addInstrument(collection, "i", waveform);
        Layer* layer = linkedItems<Layer>(*instrument)[0];
        Region* region = linkedItems<Region>(*layer)[0];
        Region* other = addRegion(*layer, waveform, {});
        Waveform* loose = addWaveform(collection, "unplayed", testSignal(1000, 24));
        loose->setLoop(LoopMode::Forward, 10, 20);
        const auto loopAt = [](Region& of, std::uint32_t end) {
            of.overrides.flags |= RegionOverrides::LoopEnd;
            of.overrides.loopEnd = end;
        };
        switch (each.change) {
            case NoLoop:
                other->overrides.flags = RegionOverrides::Looped;
                break;
            case UntilRelease:
                waveform->loopUntilRelease = true;
                break;
            case OwnLater:
                waveform->loopEnd = 900;
                loopAt(*region, 300);
                loopAt(*other, 400);
                break;
            case RegionLater:
                loopAt(*other, 500);
                break;
            case Short:
                waveform->loopEnd = 980;
                break;
            case Fraction:
                waveform->loopEnd = 300.5;
                break;
            case Plain:
                break;
        }
        const auto heard = [&](const Region& of) {
            SynthSampleCache cache;
            const auto sample = cache.sample(*waveform, of.overrides);
            std::vector<float> all;
            for (int channel = 0; channel < sample->channels; ++channel) {
                const float* from = sample->floats(channel);
                all.insert(all.end(), from, from + sample->frames + SynthSample::kMargin);
            }
            return all;
        };
        const auto before = std::pair(heard(*region), heard(*other));
        const std::uint32_t frames = waveform->frames;
        const ProcessRun run = runOn(kTrim, collection, {collection.id()});
        EXPECT_EQ(run.failed, 0u);
        EXPECT_EQ(run.changed, each.frames != frames);
        EXPECT_EQ(waveform->frames, each.frames);
        EXPECT_EQ(loose->frames, 1000u) << "no region says what is played of it";
        EXPECT_TRUE(before == std::pair(heard(*region), heard(*other)));
        EXPECT_EQ(runOn(kTrim, collection, {collection.id()}).changed, 0u);
        // What is left behind the loop goes on as the loop does.
        if (each.change == Plain) {
            for (std::uint32_t i = 0; i < 32; ++i) {
                const std::uint32_t from = each.mode == LoopMode::Forward    ? 280 + i % 20
                                           : each.mode == LoopMode::Backward ? 299 - i % 20
                                           : i < 20                          ? 299 - i
                                                                             : 280 + (i - 20);
                EXPECT_EQ(waveform->samples()[2 * (300 + i)], waveform->samples()[2 * from]) << i;
            }
        }
    }
}

}  // namespace
}  // namespace velor
