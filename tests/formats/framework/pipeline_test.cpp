#include "formats/framework/pipeline.h"

#include "formats/framework/collection_fixture.h"
#include "formats/framework/raw_codec.h"

namespace velor {
namespace {

struct Pipeline : test::CollectionFixture {
    ~Pipeline() override {
        resetRawAnswers();
        RawSource = {};
    }
};

TEST_F(Pipeline, FilesThatCannotBeOpenedLeaveTheCollectionAlone) {
    test::addWaveform(collection, "mine", {1, 2, 3});
    test::writeFile(folder / "empty.sw", {});
    const std::vector<Byte> noise{'q', 'w', 'e', 'r', 't', 'y', 0, 1};
    test::writeFile(folder / "noise.nothing", noise);
    const struct {
        std::string name;
        const char* message;
    } cases[] = {{"missing.sw", "Could not open file"},
                 {".", "Could not open file"},
                 {"empty.sw", "File is of zero size"},
                 {"noise.nothing", "Not detected as any supported file type"}};
    for (const auto& each : cases) {
        EXPECT_FALSE(openFile(collection, folder / each.name, false, services));
        EXPECT_EQ(LastErrorText, each.message) << each.name;
        EXPECT_EQ(collection.count(ItemKind::Waveform), 1u);
    }
    EXPECT_FALSE(PipelineBusy);
}

TEST_F(Pipeline, UnrecognisedFilesAskAndRememberTheAnswer) {
    test::writeFile(folder / "noise.nothing", std::vector<Byte>(400, 1));
    const auto open = [&] { return openFile(collection, folder / "noise.nothing", true, services); };
    EXPECT_FALSE(open()) << "the default button is Cancel";
    EXPECT_EQ(collection.name(), "Empty collection");
    ui.answer = 0;
    EXPECT_TRUE(open());
    EXPECT_EQ(collection.all<Waveform>().front()->frames, 200u);
    EXPECT_EQ(ui.questions.size(), 2u);
    ui.answer = 2;
    EXPECT_TRUE(open());
    ui.answer = 1;
    EXPECT_TRUE(open()) << "Allways OK is remembered";
    EXPECT_EQ(ui.questions.size(), 3u);
    resetRawAnswers();
    ui.answer = 3;
    EXPECT_FALSE(open());
    ui.answer = 0;
    EXPECT_FALSE(open()) << "Allways Cancel is remembered";
    EXPECT_EQ(ui.questions.size(), 4u);

    RawSource.active = true;
    RawSource.format = {encodingBit(SampleEncoding::Pcm8) | source_format::kUnsigned, 2, 11025, 100};
    EXPECT_TRUE(open()) << "a format given by the user is an answer";
    const auto* wave = collection.all<Waveform>().front();
    EXPECT_EQ(wave->frames, 150u);
    EXPECT_EQ(wave->sampleRate, 11025u);
}

TEST_F(Pipeline, RawRowsRoundTripEveryEncoding) {
    for (const char* extension : {"sb", "ub", "sw", "uw", "f32", "f64", "ulaw", "alaw"}) {
        const int row = findWriterByExtension(std::string("x.") + extension);
        ASSERT_GE(row, 0) << extension;
        std::string text;
        Collection source;
        auto* wave = test::addWaveform(source, "x", test::testSignal(1001, 8));
        const bool law = std::string_view(extension).ends_with("law");
        const auto path = folder / (std::string("x.") + extension);
        ASSERT_TRUE(saveItem(wave, row, path, services)) << LastErrorText;
        ASSERT_TRUE(openFile(collection, path, false, services)) << LastErrorText;
        auto* back = collection.all<Waveform>().front();
        ASSERT_EQ(back->frames, 1001u) << extension;
        EXPECT_FALSE(back->samplesLoaded()) << "decoded on first use";
        ASSERT_TRUE(back->loadSamples());
        for (std::size_t i = 2; i < 1001; ++i)  // the laws cut full scale
            EXPECT_NEAR(back->samples()[i], wave->samples()[i], law ? 0.03 : 0.0) << extension << " " << i;
    }
}

TEST_F(Pipeline, BigEndianAndPlanarRawDataDecode) {
    // Left 0x0100 0x0200, right 0x0300 0x0400 as two big-endian blocks with a gap between them.
    test::writeFile(folder / "x.bin", {9, 9, 1, 0, 2, 0, 9, 9, 9, 3, 0, 4, 0});
    auto file = File::open(folder / "x.bin");
    auto* wave = collection.create<Waveform>("w");
    wave->frames = 2;
    wave->channels = 2;
    wave->sourceFormat =
        encodingBit(SampleEncoding::Pcm16) | source_format::kPlanar | source_format::kBigEndian;
    wave->sourceOffset = 2;
    wave->secondBlockOffset = 9;
    ASSERT_TRUE(importRawSamples(*wave, *file)) << LastErrorText;
    const std::vector<float> expected{0x100 / 32768.f, 0x300 / 32768.f, 0x200 / 32768.f, 0x400 / 32768.f};
    EXPECT_EQ(std::vector<float>(wave->samples().begin(), wave->samples().end()), expected);
}

TEST_F(Pipeline, RawImportRefusesWhatItCannotDo) {
    test::writeFile(folder / "x.bin", std::vector<Byte>(64));
    const auto file = File::open(folder / "x.bin");
    const struct {
        std::uint32_t frames;
        std::uint8_t channels;
        std::uint32_t format;
        const char* message;
    } cases[] = {{0, 1, 4, "Zero length"},
                 {1, 0, 4, "No channels"},
                 {1, 3, 4, "Too many channels"},
                 {1, 1, encodingBit(SampleEncoding::Gsm), "Invalid format for generic import function!"},
                 {1, 1, 0, "Invalid format for generic import function!"},
                 {33, 1, 4, "Reading from file failed"},
                 {0xFFFFFFFF, 2, 32, "Reading from file failed"}};
    for (const auto& each : cases) {
        auto* wave = collection.create<Waveform>("w");
        wave->frames = each.frames;
        wave->channels = each.channels;
        wave->sourceFormat = each.format;
        EXPECT_FALSE(importRawSamples(*wave, *file));
        EXPECT_EQ(LastErrorText, each.message);
    }
    auto* odd = collection.create<Waveform>("w");
    odd->frames = 41;  // 41 twelve-bit samples need 62 bytes, the last one half used
    odd->sourceFormat = encodingBit(SampleEncoding::Pcm12);
    EXPECT_TRUE(importRawSamples(*odd, *file));
}

TEST_F(Pipeline, AFailedSaveLeavesTheOldFile) {
    auto* wave = test::addWaveform(collection, "x", test::testSignal(300000, 16));
    const int row = findWriterByExtension("x.sw");
    test::writeFile(folder / "x.sw", {1, 2, 3});
    ui.abortAfter = 2;
    EXPECT_FALSE(saveItem(wave, row, folder / "x.sw", services));
    EXPECT_EQ(LastErrorText, "Save aborted!");
    EXPECT_EQ(test::readFile(folder / "x.sw"), (std::vector<Byte>{1, 2, 3}));
    EXPECT_EQ(test::filesIn(folder.path()), 1u);
    EXPECT_TRUE(saveItem(wave, row, folder / "x.sw", services));
    EXPECT_EQ(test::readFile(folder / "x.sw").size(), 600000u);
    EXPECT_EQ(test::filesIn(folder.path()), 1u);
}

TEST_F(Pipeline, SaveSaysWhatItCannotWrite) {
    auto* wave = test::addWaveform(collection, "x", {0.5f, 0.25f}, 2);
    auto* instrument = collection.create<Instrument>("i");
    auto* song = collection.create<MidiSong>("s");
    const int sw = findWriterByExtension("x.sw");
    const auto target = folder / "out";
    const auto expectFailure = [&](Item* item, int row, const SaveOptions& options, const char* message) {
        EXPECT_FALSE(saveItem(item, row, target, services, options));
        EXPECT_EQ(LastErrorText, message);
        EXPECT_EQ(test::filesIn(folder.path()), 0u);
    };
    expectFailure(nullptr, sw, {}, "No item selected");
    expectFailure(wave, 375, {}, "Invalid export format selected");
    expectFailure(wave, 9999, {}, "Invalid export format selected");
    expectFailure(instrument, sw, {}, "Empty item - nothing to save");
    expectFailure(song, sw, {}, "Rendering MIDI songs to waveforms is not supported in this build");
    SaveOptions options;
    options.encoding = SampleEncoding::Pcm24;
    expectFailure(wave, sw, options, "The file format can not store PCM 24-bit");
    EXPECT_FALSE(saveItem(wave, sw, folder / "no such folder" / "x.sw", services));
    EXPECT_EQ(LastErrorText, "Could not create file");
}

TEST_F(Pipeline, ChannelsAreDoubledAndMixed) {
    auto* wave = test::addWaveform(collection, "x", {0.5f, 0.25f, -0.5f, -1.0f}, 2);
    const int row = findWriterByExtension("x.f32");
    SaveOptions options;
    options.channels = 1;
    ASSERT_TRUE(saveItem(wave, row, folder / "x.f32", services, options)) << LastErrorText;
    const auto bytes = test::readFile(folder / "x.f32");
    ASSERT_EQ(bytes.size(), 8u);
    EXPECT_EQ(loadLe<float>(bytes.data()), 0.375f);
    EXPECT_EQ(loadLe<float>(bytes.data() + 4), -0.75f);
}

TEST_F(Pipeline, MergeAddsAndReports) {
    auto* wave = test::addWaveform(collection, "x", {0.5f, 0.25f});
    ASSERT_TRUE(saveItem(wave, findWriterByExtension("x.sw"), folder / "x.sw", services));
    EXPECT_EQ(mergeFiles(collection, {folder / "x.sw", folder / "missing.sw", folder / "x.sw"}, services), 2);
    EXPECT_EQ(collection.count(ItemKind::Waveform), 3u);
    EXPECT_EQ(ui.reports.back(), "Merged 2 files");
    EXPECT_EQ(ui.warnings, std::vector<std::string>{"Could not open file"});
}

TEST_F(Pipeline, LoadOptionsDropRepeatedOverridesAndSort) {
    auto* wave = test::addWaveform(collection, "b", {0, 0, 0, 0});
    test::addWaveform(collection, "a", {0, 0, 0, 1});
    wave->setLoop(LoopMode::Forward, 1, 3);
    auto* region = collection.create<Region>("r");
    region->links.add(wave->id());
    region->overrides = {RegionOverrides::All, 60, true, LoopMode::Forward, 1, 4, 0};
    ASSERT_TRUE(fixUpCollection(collection, kAllKinds, true, services));
    EXPECT_EQ(region->overrides.flags, RegionOverrides::LoopEnd);
    EXPECT_EQ(collection.all<Waveform>().front()->name(), "a");
}

TEST(Identification, ScoresNamesAndContents) {
    std::vector<Byte> noise(100, 'x');
    EXPECT_EQ(identifyBytes("x.sam", noise, 100).row, 363);
    EXPECT_EQ(identifyBytes("x.sam", noise, 100).confidence, 55);
    EXPECT_EQ(identifyBytes("sw", noise, 100).row, 420) << "a name without a dot matches as a whole";
    EXPECT_EQ(identifyBytes("x.whatever", noise, 100).row, 0);
    EXPECT_EQ(identifyBytes("x.whatever", noise, 100).confidence, 0);
    EXPECT_EQ(identifyBytes("x.wav", {}, 0).row, -1);
}

TEST(EncodingChoice, KeepsOrWidensButNeverNarrowsWithoutNeed) {
    constexpr auto kBit = [](SampleEncoding e) { return encodingBit(e); };
    const std::uint32_t wav = 0x327F75, aif = 0x300035;
    EXPECT_EQ(chooseEncoding(wav, SampleEncoding::Pcm24, 24), SampleEncoding::Pcm24);
    EXPECT_EQ(chooseEncoding(wav, SampleEncoding::MuLaw, 8), SampleEncoding::MuLaw);
    EXPECT_EQ(chooseEncoding(aif, SampleEncoding::MuLaw, 8), SampleEncoding::Pcm16);
    EXPECT_EQ(chooseEncoding(aif, SampleEncoding::Float32, 32), SampleEncoding::Pcm24);
    EXPECT_EQ(chooseEncoding(aif, SampleEncoding::Pcm12, 12), SampleEncoding::Pcm16);
    EXPECT_EQ(chooseEncoding(wav, SampleEncoding::Float64, 64), SampleEncoding::Float32);
    EXPECT_EQ(chooseEncoding(wav, SampleEncoding::Adpcm4, 4), SampleEncoding::Pcm16);
    EXPECT_EQ(chooseEncoding(kBit(SampleEncoding::Pcm16), SampleEncoding::Pcm24, 24), SampleEncoding::Pcm16);
    EXPECT_EQ(chooseEncoding(0, SampleEncoding::Pcm24, 24), SampleEncoding::None);
}

}  // namespace
}  // namespace velor
