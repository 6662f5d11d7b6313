// Every process of the catalogues on material that tries its edges: nothing may crash, hang or leave the
// items in a state that can not be, whatever the samples and the loops are.
#include <cmath>
#include <limits>

#include "base/error.h"
#include "formats/framework/pipeline.h"
#include "items/midi_events.h"
#include "process_tools.h"
#include "thinning.h"

namespace velor {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// A collection of one kind of trouble: waveforms, an instrument that plays them, and a song.
struct Trouble {
    const char* name;
    void (*make)(Collection& collection);
};

Waveform* add(Collection& collection, std::vector<float> samples, int channels) {
    return test::addWaveform(collection, "Piano C#3 L", samples, channels);
}

std::vector<float> tone(std::size_t samples) {
    std::vector<float> values(samples);
    for (std::size_t i = 0; i < samples; ++i)
        values[i] = 0.7f * static_cast<float>(std::sin(0.05 * static_cast<double>(i)));
    return values;
}

std::vector<float> withBadValues(std::size_t samples) {
    std::vector<float> values = tone(samples);
    for (std::size_t i = 5; i < samples; i += 97)
        values[i] = i % 3 == 0 ? kNaN : i % 3 == 1 ? kInfinity : -std::numeric_limits<float>::max();
    return values;
}

const Trouble kTroubles[] = {
    {"no frames", [](Collection& c) { add(c, {}, 1), add(c, {}, 2)->setLoop(LoopMode::Forward, 0, 0); }},
    {"one frame",
     [](Collection& c) {
         add(c, {0.5f}, 1), add(c, {0.5f, kNaN}, 2)->setLoop(LoopMode::Forward, 0, 1);
     }},
    {"silence",
     [](Collection& c) { add(c, std::vector<float>(4000), 1)->setLoop(LoopMode::Forward, 10, 3000); }},
    {"bad values",
     [](Collection& c) {
         add(c, withBadValues(6000), 2)->setLoop(LoopMode::Alternating, 500, 2500);
         add(c, std::vector<float>(3000, kNaN), 1)->setLoop(LoopMode::Forward, 500, 2500);
         add(c, std::vector<float>(3000, kInfinity), 1);
     }},
    {"bad loops",
     [](Collection& c) {
         const std::pair<double, double> loops[] = {
             {0, 0},       {2000, 1000},    {500, 1e9},  {1e9, 2e9}, {2999, 3000},     {-5, 100},
             {kNaN, 1000}, {10, kInfinity}, {0.5, 1.25}, {0, 3000},  {100.25, 2999.75}};
         int mode = 0;
         for (const auto& [start, end] : loops) {
             Waveform* waveform = add(c, tone(3000), 1);
             waveform->looped = true;
             waveform->loopMode = static_cast<LoopMode>(1 + mode++ % 3);
             waveform->loopStart = start;
             waveform->loopEnd = end;
         }
     }},
    {"rates",
     [](Collection& c) {
         for (const std::uint32_t rate : {0u, 1u, 7u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
             Waveform* waveform = add(c, tone(300), 2);  // upwards from 1 Hz they become millions
             waveform->sampleRate = rate;
             waveform->setLoop(LoopMode::Forward, 20, 140);
         }
     }},
    {"loud",
     [](Collection& c) {
         std::vector<float> samples = tone(6000);
         for (float& sample : samples)
             sample *= 1e30f;
         add(c, samples, 2)->setLoop(LoopMode::Backward, 100, 1400);
     }},
};

void addInstrumentAndSong(Collection& collection) {
    auto* instrument = collection.create<Instrument>("Kit");
    instrument->patch = PatchNumber(3, 0, 0, true);
    auto* layer = collection.create<Layer>("Layer");
    instrument->links.add(layer->id());
    std::uint8_t key = 0;
    for (Waveform* waveform : collection.all<Waveform>()) {
        auto* region = collection.create<Region>("Region");
        region->links.add(waveform->id());
        region->keys = {key, static_cast<std::uint8_t>(key + 5)};
        region->overrides.flags = RegionOverrides::All;
        region->overrides.looped = true;
        region->overrides.loopMode = LoopMode::Forward;
        region->overrides.loopStart = 4000000000u;
        region->overrides.loopEnd = 7;
        key = static_cast<std::uint8_t>(key + 6);
        layer->links.add(region->id());
    }
    auto* song = collection.create<MidiSong>("Song");
    song->division = 0x8000;  // SMPTE of a frame rate that does not exist
    auto* track = collection.create<MidiTrack>("Track");
    track->events = {0x00, 0x90, 60, 100, 0x90, 0x40, 0xFF, 0x51, 0x02, 1, 2, 0x83, 0x60, 61, 0, 0xF0, 0x7F};
    song->links.add(track->id());
    collection.create<MidiTrack>("Empty")->events.clear();
}

// Defaults, and something for what has none.
ProcessSettings settingsFor(const ProcessRow& row) {
    ProcessSettings settings(row.process->parameters);
    for (const ProcessParameter& parameter : row.process->parameters) {
        if (parameter.kind == ProcessValueKind::Wave)
            settings.set(parameter.key, "#1");
        if (parameter.key == std::string_view("search"))
            settings.set(parameter.key, "a");
    }
    return settings;
}

// What the rest of the program counts on.
void expectSound(const Collection& collection) {
    for (const Waveform* waveform : collection.all<Waveform>()) {
        if (!waveform->samplesLoaded())
            continue;
        EXPECT_EQ(waveform->samples().size(), std::size_t{waveform->frames} * waveform->channels);
        EXPECT_TRUE(waveform->channels == 1 || waveform->channels == 2);
    }
    for (std::size_t kind = 0; kind + 1 < kItemKinds; ++kind) {
        for (const ItemId id : collection.list(static_cast<ItemKind>(kind)))
            EXPECT_NE(collection.find(id), nullptr);
    }
}

class EveryProcessWith : public testing::TestWithParam<Trouble> {};

TEST_P(EveryProcessWith, Survives) {
    for (std::size_t flavour = 0; flavour < kProcessFlavours; ++flavour) {
        for (const ProcessRow& row : processCatalogue(static_cast<ProcessFlavour>(flavour))) {
            if (!processBuilt(row))
                continue;
            SCOPED_TRACE(row.name);
            Collection collection;
            GetParam().make(collection);
            addInstrumentAndSong(collection);
            const ItemId all[] = {collection.id()};
            ProcessContext context = processContext(static_cast<ProcessFlavour>(flavour), collection, all);
            context.selection = FrameSelection{1, 4000000000u};
            const ProcessSettings settings = settingsFor(row);
            UserInterface quiet;
            const ProcessRun run = runProcess(row, context, settings, quiet);
            for (const ProcessItemReport& item : run.items)
                EXPECT_EQ(item.outcome == ProcessOutcome::Failed, !item.error.empty()) << item.error;
            expectSound(collection);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, EveryProcessWith, testing::ValuesIn(kTroubles), [](const auto& each) {
    std::string name = each.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

// Asked to end at once, every process that takes time does so and leaves the waveforms as they were.
TEST(EveryProcess, EndWhenAsked) {
    struct Impatient : UserInterface {
        // The runner asks before the item's turn.
        bool asked = false;
        bool aborted() override { return std::exchange(asked, true); }
    };
    for (const ProcessRow& row : processCatalogue(ProcessFlavour::Audio)) {
        if (!processBuilt(row))
            continue;
        SCOPED_TRACE(row.name);
        Collection collection;
        Waveform* waveform = add(collection, tone(3000000), 2);
        waveform->setLoop(LoopMode::Forward, 100000, 1400000);
        const float* samples = waveform->samples().data();
        const ItemId all[] = {collection.id()};
        ProcessContext context = processContext(ProcessFlavour::Audio, collection, all);
        context.selection = FrameSelection{1000, 1200000};
        const ProcessSettings settings = settingsFor(row);
        Impatient ui;
        const ProcessRun run = runProcess(row, context, settings, ui);
        if (!run.cancelled)
            continue;  // had nothing to do that takes time
        EXPECT_EQ(run.items.at(0).error, "Processing was cancelled");
        EXPECT_EQ(waveform->samples().data(), samples);
        EXPECT_EQ(waveform->loopStart, 100000);
        EXPECT_EQ(collection.count(ItemKind::Waveform), 1u);
    }
}

// Every process with its defaults over a whole bank, as a batch would: the collection can still be checked
// over without a complaint afterwards.
TEST(EveryProcess, RunOverARealBank) {
    const std::filesystem::path bank = "/usr/share/sounds/sf2/TimGM6mb.sf2";
    if (!std::filesystem::exists(bank))
        GTEST_SKIP() << "needs a SoundFont bank";
    for (std::size_t flavour = 0; flavour < kProcessFlavours; ++flavour) {
        for (const ProcessRow& row : processCatalogue(static_cast<ProcessFlavour>(flavour))) {
            // The searches take a minute over a bank and have tests of their own.
            const bool search = std::string_view(row.name) == "Auto loop finder";
            if (!processBuilt(row) || search || flavour == 1)
                continue;
            SCOPED_TRACE(row.name);
            Collection collection;
            UserInterface quiet;
            PipelineServices services;
            services.ui = &quiet;
            ASSERT_TRUE(openFile(collection, bank, false, services)) << LastErrorText;
            const ItemId all[] = {collection.id()};
            ProcessContext context = processContext(static_cast<ProcessFlavour>(flavour), collection, all);
            if (flavour == 0)
                context.items.resize(40 / test::kThinning);
            if (!row.available(context))
                continue;
            const ProcessSettings settings = settingsFor(row);
            const ProcessRun run = runProcess(row, context, settings, quiet);
            for (const ProcessItemReport& item : run.items)
                EXPECT_NE(item.outcome, ProcessOutcome::Failed) << item.name << ": " << item.error;
            FixUpLists lists;
            for (const ItemKind kind : kContainedKinds) {
                for (const ItemId id : std::vector<ItemId>(collection.list(kind)))
                    collection.find(id)->fixUp(lists);
            }
            EXPECT_EQ(lists.danglingLinks + lists.clampedRanges, 0u);
        }
    }
}

}  // namespace
}  // namespace velor
