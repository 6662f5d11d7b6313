#include "synth/song_renderer.h"

#include <gtest/gtest.h>

#include <array>

#include "app/song_rendering.h"
#include "base/error.h"
#include "dsp/level.h"
#include "formats/framework/pipeline.h"
#include "synth/wave_sink.h"
#include "synth_fixture.h"
#include "test_tools.h"

namespace velor {
namespace {

using namespace test;

constexpr const char* kSmallBank = "/usr/share/sounds/sf2/TimGM6mb.sf2";
constexpr const char* kSongs = "/usr/share/games/openttd/baseset/openmsx";

struct SongRendererTest : testing::Test {
    SynthFixture items;
    RecordingInterface ui;
    RenderOptions options;
    Waveform* result = nullptr;

    SongRendererTest() {
        options.openDefaultBank = [](Collection&) { return false; };
        options.normalisePeak = options.removeSilence = options.effects = false;
    }
    // 480 ticks per quarter note, 120 quarters a minute: 960 ticks a second.
    MidiSong& song(const std::vector<Byte>& events) {
        MidiSong& made = *items.collection.create<MidiSong>("Tune");
        made.format = 0;
        made.division = 480;
        MidiTrack& track = *items.collection.create<MidiTrack>("Track");
        track.events = events;
        made.links.add(track.id());
        return made;
    }
    void addSine(PatchNumber patch = {}) { items.region(items.instrument(patch), items.sine()); }
    RenderResult render(Item& item) { return renderSong(items.collection, item, options, false, ui, result); }
};

// A note of a second, three seconds into the song.
const std::vector<Byte> kLateNote{0x96, 0x40, 0x90, 60, 100, 0x87, 0x40, 0x80, 60, 0, 0, 0xFF, 0x2F, 0};

TEST_F(SongRendererTest, BeginsWithTheFirstNoteAndEndsHalfASecondAfterTheLastEvent) {
    addSine();
    ASSERT_EQ(render(song(kLateNote)), RenderResult::Done) << LastErrorText;
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->frames, 72000u);
    EXPECT_EQ(result->channels, 2);
    EXPECT_EQ(result->bits, 24);
    EXPECT_EQ(result->sampleRate, 48000u);
    EXPECT_EQ(ui.reports, std::vector<std::string>{"Done: Rendered MidiSong to waveform \"Tune\"."});
    const auto samples = result->samples();
    EXPECT_GT(std::fabs(samples[2 * 100 + 20]), 0);
    // Behind the end there is silence.
    for (std::size_t i = 2 * 48256; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], 0);
    EXPECT_EQ(items.collection.count(ItemKind::MidiSong), 1u) << "the copy it worked on is gone";
}

TEST_F(SongRendererTest, SaysWhatCouldNotBeRendered) {
    addSine();
    EXPECT_EQ(render(song({0x87, 0x40, 0x80, 60, 0, 0, 0xFF, 0x2F, 0})), RenderResult::NothingToRender);
    EXPECT_EQ(ui.reports.back(), "Done: No notes to render!");
    MidiSong& empty = *items.collection.create<MidiSong>("empty");
    EXPECT_EQ(render(empty), RenderResult::Failed);
    EXPECT_EQ(LastErrorText, "Failed processing MIDI");
    const std::uint32_t waveforms = items.collection.count(ItemKind::Waveform);
    ui.abortAfter = 0;
    EXPECT_EQ(render(song(kLateNote)), RenderResult::Aborted);
    EXPECT_EQ(ui.reports.back(), "Done: Rendered aborted!");
    EXPECT_EQ(items.collection.count(ItemKind::Waveform), waveforms) << "nothing is left behind";
}

TEST_F(SongRendererTest, MissingPatchesComeFromTheDefaultBank) {
    // Program 5 of bank 3 on channel 0, drum kit 7 on channel 9; the bank has program 5 and kit 0.
    MidiSong& tune = song({0, 0xB0, 0,  3,   0,    0xC0, 5,    0,  0xC9, 7, 0,    0x90, 60, 100,
                           0, 0x99, 60, 100, 0x87, 0x40, 0x80, 60, 0,    0, 0xFF, 0x2F, 0});
    ASSERT_EQ(render(tune), RenderResult::Done);
    EXPECT_EQ(ui.warnings,
              std::vector<std::string>{"Could not open the default GM/GS collection!\nInstruments will "
                                       "be missing from the song."});
    EXPECT_EQ(peakOf(result->samples()), 0);
    const auto peakWith = [&](std::vector<PatchNumber> patches) {
        options.openDefaultBank = [patches](Collection& into) {
            SynthFixture bank;
            for (const PatchNumber patch : patches)
                bank.region(bank.instrument(patch), bank.sine());
            into.mergeFrom(bank.collection);
            return true;
        };
        EXPECT_EQ(render(tune), RenderResult::Done);
        return peakOf(result->samples());
    };
    const float melody = peakWith({PatchNumber(5, 0, 0, false)});
    const float drums = peakWith({PatchNumber(0, 0, 0, true)});
    const float both = peakWith({PatchNumber(5, 0, 0, false), PatchNumber(0, 0, 0, true)});
    EXPECT_GT(melody, 0.01f);
    EXPECT_NEAR(melody, drums, 1e-4);
    EXPECT_NEAR(both, 2 * melody, 1e-3);
    addSine(PatchNumber(5, 0, 3, false));
    EXPECT_NEAR(peakWith({}), melody, 1e-4) << "the song's own instrument";
}

TEST_F(SongRendererTest, TracksAreRenderedAlone) {
    addSine();
    MidiSong& tune = song(kLateNote);
    ASSERT_EQ(render(*items.collection.find(tune.links[0])), RenderResult::Done);
    EXPECT_EQ(result->frames, 72000u);
    EXPECT_EQ(ui.reports.back(), "Done: Rendered MidiTrack to waveform \"Track\".");
}

TEST_F(SongRendererTest, SinkTrimsAndNormalises) {
    const auto finish = [&](bool normalise, bool trim) -> Waveform& {
        WaveSink sink(1000, 48000, {normalise, trim, 0, 1}, nullptr);
        EXPECT_TRUE(sink.ready());
        std::array<float, 400> piece{};
        for (std::size_t i = 100; i < 300; ++i)
            piece[i] = i % 2 ? -0.25f : 0.125f;
        sink.write(piece.data(), 200);
        EXPECT_EQ(sink.percent(), 20);
        Waveform& wave = *items.collection.create<Waveform>("w");
        EXPECT_TRUE(sink.finish(wave));
        return wave;
    };
    EXPECT_EQ(finish(false, false).frames, 1000u);
    EXPECT_EQ(finish(false, true).frames, 100u);
    Waveform& loud = finish(true, true);
    EXPECT_FLOAT_EQ(loud.samples()[1], -1);
    EXPECT_FLOAT_EQ(loud.samples()[0], 0.5f);
    WaveSink passes(100, 48000, {false, false, 1, 4}, nullptr);
    EXPECT_EQ(passes.percent(), (100 * 1 + 2) / 4);
    std::vector<float> more(400);
    passes.write(more.data(), 200);
    EXPECT_TRUE(passes.full());
}

// Level of every second of a stereo waveform in dB, and of eight octaves from 60 Hz over all of it (by
// first-order filters, which is enough to tell a wrong instrument from a right one).
struct Sketch {
    std::vector<double> seconds;
    std::array<double, 8> octaves{};
};

Sketch sketch(std::span<const float> samples, std::size_t first, std::size_t seconds, double rate) {
    Sketch sketch;
    std::array<double, 9> low{};
    std::array<double, 8> power{};
    for (std::size_t s = 0; s < seconds; ++s) {
        double sum = 1e-12;
        for (std::size_t i = 0; i < static_cast<std::size_t>(rate); ++i) {
            const std::size_t at = 2 * (first + s * static_cast<std::size_t>(rate) + i);
            const double x = double{samples[at]} + samples[at + 1];
            sum += x * x;
            for (std::size_t band = 0; band < low.size(); ++band) {
                const double cutoff = 60 * std::exp2(static_cast<double>(band));
                low[band] += (1 - std::exp(-2 * std::numbers::pi * cutoff / rate)) * (x - low[band]);
            }
            for (std::size_t band = 0; band < power.size(); ++band) {
                const double y = low[band + 1] - low[band];
                power[band] += y * y;
            }
        }
        sketch.seconds.push_back(10 * std::log10(sum));
    }
    for (std::size_t band = 0; band < power.size(); ++band)
        sketch.octaves[band] = 10 * std::log10(power[band] + 1e-12);
    return sketch;
}

std::size_t firstSound(std::span<const float> samples) {
    const float threshold = peakOf(samples) * 1e-3f;
    std::size_t i = 0;
    while (i < samples.size() && std::fabs(samples[i]) < threshold)
        ++i;
    return i / 2;
}

class RealSongs : public testing::TestWithParam<const char*> {};

// FluidSynth plays the same song with the same bank; after the difference of the whole is taken out, seconds
// and octaves must agree.
TEST_P(RealSongs, SoundLikeFluidSynth) {
    const std::filesystem::path midi = std::filesystem::path(kSongs) / (std::string(GetParam()) + ".mid");
    if (!std::filesystem::exists(midi) || !std::filesystem::exists(kSmallBank) || !haveProgram("fluidsynth"))
        GTEST_SKIP() << "needs FluidSynth, TimGM6mb and the songs of openttd-openmsx";
    TemporaryFolder folder;
    ASSERT_TRUE(
        run("fluidsynth -n -i -q -R 0 -C 0 -r 48000 -g 0.1 -O float -T wav -o synth.polyphony=256 -F " +
            quoted(folder / "peer.wav") + " " + kSmallBank + " " + quoted(midi)));
    RecordingInterface ui;
    PipelineServices services;
    services.ui = &ui;
    Collection collection;
    ASSERT_TRUE(openInput(collection, File::open(midi), midi, false, services)) << LastErrorText;
    RenderOptions options;
    options.effects = options.removeSilence = false;
    options.workers = 2;
    SongRendering rendering(options, kSmallBank);
    Waveform* ours = nullptr;
    ASSERT_EQ(rendering.render(*collection.all<MidiSong>().front(), collection, ui, ours),
              SongRenderer::Result::Done)
        << LastErrorText;
    EXPECT_EQ(ui.warnings, std::vector<std::string>());
    Collection peer;
    ASSERT_TRUE(openInput(peer, File::open(folder / "peer.wav"), "peer.wav", false, services))
        << LastErrorText;
    Waveform& theirs = *peer.all<Waveform>().front();
    ASSERT_TRUE(theirs.loadSamples());
    const auto a = std::as_const(*ours).samples();
    const auto b = std::as_const(theirs).samples();
    const std::size_t seconds = std::min<std::size_t>(
        {(a.size() / 2 - firstSound(a)) / 48000 - 1, (b.size() / 2 - firstSound(b)) / 48000 - 1, 60});
    ASSERT_GT(seconds, 20u);
    const Sketch x = sketch(a, firstSound(a), seconds, 48000);
    const Sketch y = sketch(b, firstSound(b), seconds, 48000);
    std::vector<double> differences;
    for (std::size_t i = 0; i < seconds; ++i)
        differences.push_back(x.seconds[i] - y.seconds[i]);
    std::sort(differences.begin(), differences.end());
    const double middle = differences[seconds / 2];
    EXPECT_LT(differences[seconds * 9 / 10] - middle, 1.0);
    EXPECT_GT(differences[seconds / 10] - middle, -1.0);
    for (std::size_t band = 0; band < 8; ++band)
        EXPECT_NEAR(x.octaves[band] - y.octaves[band], middle, 1.5)
            << 60 * std::exp2(static_cast<double>(band));
}

INSTANTIATE_TEST_SUITE_P(Debian, RealSongs,
                         testing::Values("modern_motion", "be_sharp_bw_redfarn", "run_for_your_life"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
}  // namespace velor
