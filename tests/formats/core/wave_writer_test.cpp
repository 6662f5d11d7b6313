#include "formats/core/wave_writer.h"

#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

constexpr int kWaveRow = 478;

struct WaveWriter : WaveFixture {
    WaveWriter() { resetWaveHeaderTemplate(); }

    std::vector<Byte> build(Waveform& waveform, SampleEncoding encoding, std::uint32_t variant = 0) {
        SaveOptions options;
        options.encoding = encoding;
        options.variant = variant;
        WaveImage image;
        LastErrorText.clear();
        if (!buildWaveImage(waveform, options, ui, image))
            return {};
        return {image.bytes().begin(), image.bytes().end()};
    }
    Waveform* readBack(const std::vector<Byte>& image) { return open(Bytes().add(image), kWaveRow); }
};

const Bytes kSoftware = chunk("ISFT", Bytes().text("Velor Studio v12.6").zeros(2));

Bytes cueChunks(std::uint32_t start, std::uint32_t end) {
    return cue({{1, start}, {2, start}, {3, end}})
        .add(list("adtl", {regionText(1, end - start, "rgn "),
                           chunk("labl", Bytes().u32(1).text("Loop Range").zeros(2)),
                           chunk("labl", Bytes().u32(2).text("Loop Start").zeros(2)),
                           chunk("labl", Bytes().u32(3).text("Loop End").zeros(2))}));
}

TEST_F(WaveWriter, ImagesAreLaidOutByteForByte) {
    Waveform* mono = addWaveform(collection, "Bell", {0, 0.5f, -1});
    mono->text(WaveText::Artist) = "Anna";
    mono->text(WaveText::Comment) = "odd";
    EXPECT_EQ(
        build(*mono, SampleEncoding::Pcm8),
        riff({fmt(1, 1, 44100, 8), chunk("data", Bytes().u8(128).u8(192).u8(0), 0x80),
              list("INFO", {chunk("INAM", Bytes().text("Bell").zeros(2)), kSoftware,
                            chunk("IART", Bytes().text("Anna")), chunk("ICMT", Bytes().text("odd").u8(0))}),
              chunk("smpl", smplPayload(60, 0, {}, 44100))})
            .data)
        << "a name has its zero, a text of even length has none; the pad byte is 8-bit silence";

    const Bytes samples16 = Bytes().u16(0).u16(0x4000).u16(0x8000);
    mono->setLoop(LoopMode::Alternating, 1, 3);
    const Bytes sampler = chunk("smpl", smplPayload(60, 0, {{1, 1, 2, 0}}, 44100));
    mono->texts = {};
    const Bytes info = list("INFO", {chunk("INAM", Bytes().text("Bell").zeros(2)), kSoftware});
    EXPECT_EQ(build(*mono, SampleEncoding::Pcm16),
              riff({fmt(1, 1, 44100, 16), chunk("data", samples16), info, cueChunks(1, 3), sampler}).data);
    EXPECT_EQ(build(*mono, SampleEncoding::Pcm16, wave_variant::kCompact),
              riff({fmt(1, 1, 44100, 16), sampler, chunk("data", samples16)}).data);
    mono->tuning = -0.3f;
    Bytes tuned = smplPayload(60, 0, {{1, 1, 3, 0}}, 44100, 28);
    tuned.text("CWDT").u32(static_cast<std::uint32_t>(-30)).u32(0).zeros(16);
    EXPECT_EQ(build(*mono, SampleEncoding::Pcm16, wave_variant::kTuningBlock),
              riff({fmt(1, 1, 44100, 16), chunk("data", samples16),
                    list("INFO", {chunk("INAM", Bytes().text("Bell").zeros(2))}), chunk("smpl", tuned)})
                  .data);

    Waveform* stereo = addWaveform(collection, "", {0, 0.5f, -1, 0.25f, -0.5f, 0}, 2, 48000);
    const Bytes samples24 =
        Bytes().zeros(5).u8(0x40).zeros(2).u8(0x80).zeros(2).u8(0x20).zeros(2).u8(0xC0).zeros(3);
    const Bytes noName = list("INFO", {chunk("INAM", Bytes().zeros(2)), kSoftware});
    const Bytes noLoop = chunk("smpl", smplPayload(60, 0, {}, 48000));
    const Bytes noFact = chunk("fact", Bytes().u32(0));
    EXPECT_EQ(build(*stereo, SampleEncoding::Pcm24),
              riff({fmt(1, 2, 48000, 24), chunk("data", samples24), noName, noLoop}).data);
    EXPECT_EQ(
        build(*stereo, SampleEncoding::Pcm24, wave_variant::kExtensible),
        riff({extensibleFmt(1, 2, 48000, 24, 24, 3), noFact, chunk("data", samples24), noName, noLoop}).data);
    EXPECT_EQ(
        build(*stereo, SampleEncoding::Float32),
        riff({fmt(3, 2, 48000, 32), noFact,
              chunk("data",
                    Bytes().u32(0).u32(0x3F000000).u32(0xBF800000).u32(0x3E800000).u32(0xBF000000).u32(0)),
              noName, noLoop})
            .data);
    Waveform* silence = addWaveform(collection, "", {0, 0, 0});
    const Bytes silent = chunk("smpl", smplPayload(60, 0, {}, 44100));
    EXPECT_EQ(build(*silence, SampleEncoding::Float32, wave_variant::kExtensible),
              riff({extensibleFmt(3, 1, 44100, 32, 32, 4), noFact, chunk("data", Bytes().zeros(12)), noName,
                    silent})
                  .data);
    for (const unsigned tag : {7u, 6u})
        EXPECT_EQ(build(*silence, tag == 7 ? SampleEncoding::MuLaw : SampleEncoding::ALaw),
                  riff({chunk("fmt ", fmtPayload(tag, 1, 44100, 8).u16(0)), chunk("fact", Bytes().u32(3)),
                        chunk("data", Bytes().fill(3, tag == 7 ? 0xFF : 0xD5), 0x80), noName, silent})
                      .data);
}

// Float and extensible files carry the frame count of the last law-coded one.
TEST_F(WaveWriter, FactCarriesOver) {
    const auto fact = [](const std::vector<Byte>& image) {
        const std::uint32_t size = loadLe<std::uint32_t>(image.data() + 16);
        return loadLe<std::uint32_t>(image.data() + 20 + size + 8);
    };
    Waveform* few = addWaveform(collection, "few", std::vector<float>(10));
    Waveform* many = addWaveform(collection, "many", std::vector<float>(1000));
    EXPECT_EQ(fact(build(*few, SampleEncoding::Float32)), 0u);
    EXPECT_EQ(fact(build(*many, SampleEncoding::MuLaw)), 1000u);
    EXPECT_EQ(fact(build(*few, SampleEncoding::Float32)), 1000u);
    EXPECT_EQ(fact(build(*few, SampleEncoding::ALaw)), 10u);
    EXPECT_EQ(fact(build(*many, SampleEncoding::Pcm16, wave_variant::kExtensible)), 10u);
    const Waveform* back = readBack(build(*many, SampleEncoding::Pcm16, wave_variant::kExtensible));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->frames, 1000u) << "extensible files go by their data";
}

TEST_F(WaveWriter, PitchAndLoopSurviveTheSamplerChunk) {
    const struct {
        int rootKey, fineTune;
        float tuning;
        double start, end;
        LoopMode mode;
        std::uint32_t unity, fraction, storedEnd, loopFraction;
        int readKey, readTune;
    } cases[] = {
        {60, 0, 0, 100.0, 200.5, LoopMode::Forward, 60, 0, 199, 1u << 31, 60, 0},
        {60, -25, 0, 100.25, 200, LoopMode::Forward, 60, 1u << 30, 198, 3u << 30, 60, -25},
        {60, 25, 0, 10, 20, LoopMode::Alternating, 59, 3u << 30, 19, 0, 59, -75},
        {0, 25, 0, 10, 20.25, LoopMode::Backward, 0, 0, 19, 1u << 30, 0, 0},
        {60, -100, 0, 10, 20, LoopMode::Forward, 61, 0, 19, 0, 61, 0},
        {60, 127, 0, 10, 20, LoopMode::Forward, 58, 3135326126u, 19, 0, 58, -73},
        {60, 0, 2.5f, 10, 20, LoopMode::Forward, 57, 1u << 31, 19, 0, 57, -50},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(formatText("key %d tune %d end %g", each.rootKey, each.fineTune, each.end));
        Waveform* waveform = addWaveform(collection, "w", std::vector<float>(300));
        waveform->rootKey = static_cast<std::uint8_t>(each.rootKey);
        waveform->fineTune = static_cast<std::int8_t>(each.fineTune);
        waveform->tuning = each.tuning;
        waveform->setLoop(each.mode, each.start, each.end);
        const auto image = build(*waveform, SampleEncoding::Pcm16);
        ASSERT_GT(image.size(), 60u);
        const Byte* sampler = image.data() + image.size() - 60;
        EXPECT_EQ(loadLe<std::uint32_t>(sampler + 12), each.unity);
        EXPECT_EQ(loadLe<std::uint32_t>(sampler + 16), each.fraction);
        EXPECT_EQ(loadLe<std::uint32_t>(sampler + 48), each.storedEnd);
        EXPECT_EQ(loadLe<std::uint32_t>(sampler + 52), each.loopFraction);
        const Waveform* back = readBack(image);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->rootKey, each.readKey);
        EXPECT_EQ(back->fineTune, each.readTune);
        EXPECT_EQ(back->loopMode, each.mode);
        // The start is whole in this chunk; the length keeps its fraction.
        EXPECT_EQ(back->loopStart, std::floor(each.start + 0.5));
        EXPECT_NEAR(back->loopEnd - back->loopStart, each.end - each.start, 1e-9);
    }
    for (const bool untilRelease : {false, true}) {
        Waveform* waveform = addWaveform(collection, "w", std::vector<float>(300));
        waveform->setLoop(LoopMode::Forward, 7, 100.25);
        waveform->loopUntilRelease = untilRelease;
        waveform->tuning = 0.9f;
        const auto image = build(*waveform, SampleEncoding::Pcm16, wave_variant::kTuningBlock);
        EXPECT_EQ(image[image.size() - 20], untilRelease ? 1 : 0);
        const Waveform* back = readBack(image);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->loopEnd, 100.25);
        EXPECT_EQ(back->tuning, 0.5f) << "the block holds half a semitone at most";
    }
}

TEST_F(WaveWriter, RefusesWhatItCannotWrite) {
    Waveform* waveform = addWaveform(collection, "w", std::vector<float>(8));
    const struct {
        SampleEncoding encoding;
        std::uint32_t variant;
        const char* message;
    } cases[] = {
        {SampleEncoding::Pcm12, 0, "Unsupported subformat"},
        {SampleEncoding::Float64, 0, "Unsupported subformat"},
        {SampleEncoding::MuLaw, wave_variant::kExtensible, "Unsupported subformat"},
        {SampleEncoding::Gsm, wave_variant::kExtensible, "Unsupported subformat"},
        {SampleEncoding::Adpcm4, wave_variant::kExtensible, "Unsupported subformat"},
        {SampleEncoding::Compressed, 0,
         "You need to install the free Lame_Enc.dll encoder add-on if you wish to compress MP3-audio."},
    };
    for (const auto& each : cases) {
        EXPECT_TRUE(build(*waveform, each.encoding, each.variant).empty());
        EXPECT_EQ(LastErrorText, each.message);
    }
    OpenFile file;
    file.ui = &ui;
    EXPECT_FALSE(writeWave(*collection.create<Instrument>("i"), file, 0));
    EXPECT_EQ(LastErrorText, "The file format can not save this item");

    // More than 4 GiB: said before anything is allocated or read.
    struct Endless final : WaveformSource {
        bool decode(Waveform&) const override { return fail("decoded"); }
        bool canStream() const override { return true; }
    };
    waveform->releaseSamples();
    waveform->setSource(std::make_shared<Endless>());
    waveform->frames = 0x7FFFFFFF;
    EXPECT_TRUE(build(*waveform, SampleEncoding::Pcm24).empty());
    EXPECT_EQ(LastErrorText, "The waveform is too long for a WAVE file, which can hold 4 GiB at most");
}

// Without a choice of its own the writer keeps what the file had, bit for bit.
TEST_F(WaveWriter, SavingAgainKeepsEverySampleBit) {
    for (const unsigned bits : {8u, 16u, 24u, 32u}) {
        Bytes noise;
        for (unsigned i = 0; i < 3001 * bits / 8; ++i)
            noise.u8(i * i * 2654435761u >> 24);
        const Bytes file = riff({fmt(1, 1, 11025, bits), chunk("data", noise, 0x80),
                                 list("INFO", {chunk("INAM", Bytes().text("one").u8(0)), kSoftware}),
                                 chunk("smpl", smplPayload(60, 0, {}, 11025))});
        writeFile(folder / "one.wav", file.data);
        ASSERT_TRUE(openFileAs(collection, folder / "one.wav", kWaveRow, services));
        ASSERT_TRUE(saveItem(collection.all<Waveform>().front(), kWaveRow, folder / "two.wav", services))
            << LastErrorText;
        EXPECT_EQ(readFile(folder / "two.wav"), file.data) << bits;
    }
}

}  // namespace
}  // namespace velor
