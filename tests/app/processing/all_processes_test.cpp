// Every process of the catalogues on material that tries its edges: nothing may crash, hang or leave the
// items in a state that can not be, whatever the samples and the loops are.
#include <cmath>
#include <limits>
#include <sstream>

#include "base/error.h"
#include "instrument_tools.h"
#include "items/midi_events.h"
#include "items/midi_tools.h"
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
    return test::sine(samples, 125.7, 0.7);
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
         Waveform* waveform = add(c, withBadValues(6000), 2);
         waveform->setLoop(LoopMode::Alternating, 500, 2500);
         waveform->tuning = kNaN;
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
             Waveform* waveform = add(c, tone(100), 2);  // upwards from 1 Hz they become millions
             waveform->sampleRate = rate;
             waveform->setLoop(LoopMode::Forward, 10, 40);
         }
     }},
    {"loud",
     [](Collection& c) {
         std::vector<float> samples = tone(6000);
         for (float& sample : samples)
             sample *= 1e30f;
         Waveform* waveform = add(c, samples, 2);
         waveform->setLoop(LoopMode::Backward, 100, 1400);
         waveform->tuning = 1e30f;
     }},
};

// Every other region plays its waveform as it is, on keys the wrong way round.
void addInstrumentAndSong(Collection& collection) {
    auto* instrument = collection.create<Instrument>("Kit");
    instrument->patch = PatchNumber(3, 0, 0, true);
    Layer* layer = test::addLayer(*instrument);
    std::uint8_t key = 0;
    for (Waveform* waveform : collection.all<Waveform>()) {
        for (const bool overrides : {true, false}) {
            const auto end = static_cast<std::uint8_t>(key + 5);
            Region* region =
                test::addRegion(*layer, waveform, overrides ? MidiRange{key, end} : MidiRange{end, key});
            key = static_cast<std::uint8_t>(key + 6);
            region->overrides.flags = overrides ? RegionOverrides::All : 0;
            region->overrides.looped = true;
            region->overrides.loopMode = LoopMode::Forward;
            region->overrides.loopStart = 4000000000u;
            region->overrides.loopEnd = 7;
        }
    }
    auto* song = collection.create<MidiSong>("Song");
    song->division = 0x8000;  // SMPTE of a frame rate that does not exist
    auto* track = collection.create<MidiTrack>("Track");
    track->events = {0x00, 0x90, 60, 100, 0x90, 0x40, 0xFF, 0x51, 0x02, 1, 2, 0x83, 0x60, 61, 0, 0xF0, 0x7F};
    song->links.add(track->id());
    collection.create<MidiTrack>("Empty")->events.clear();
}

// Defaults, and something to do where they do nothing.
ProcessSettings settingsFor(const ProcessRow& row) {
    ProcessSettings settings(row.process->parameters);
    for (const ProcessParameter& parameter : row.process->parameters) {
        if (parameter.kind == ProcessValueKind::Wave)
            settings.set(parameter.key, "#1");
        for (const auto& [key, text] : {std::pair("search", "a"),
                                        {"ratio", "130"},
                                        {"semitones", "-3"},
                                        {"gain", "3"},
                                        {"rate", "22050"}}) {
            if (parameter.key == std::string_view(key))
                settings.set(key, text);
        }
    }
    return settings;
}

// Those, and each choice and switch of its own in all its ways, each number at its least.
std::vector<ProcessSettings> settingsToTry(const ProcessRow& row) {
    std::vector<ProcessSettings> all{settingsFor(row)};
    for (const ProcessParameter& parameter : row.process->parameters) {
        const auto vary = [&](const std::string& text) {
            ProcessSettings& settings = all.emplace_back(all.front());
            EXPECT_EQ(settings.set(parameter.key, text), "") << parameter.key;
        };
        std::stringstream words(parameter.words);
        for (std::string word; std::getline(words, word, '|');)
            vary(word);
        if (parameter.kind == ProcessValueKind::Switch)
            vary(all.front().flag(parameter.key) ? "off" : "on");
        if (parameter.kind == ProcessValueKind::Whole || parameter.kind == ProcessValueKind::Number)
            vary(std::to_string(parameter.least));
    }
    return all;
}

template <typename Visit>
void forEachProcess(Visit visit) {
    for (const ProcessFlavour flavour :
         {ProcessFlavour::Audio, ProcessFlavour::Midi, ProcessFlavour::Instrument}) {
        for (const ProcessRow& row : processCatalogue(flavour)) {
            SCOPED_TRACE(row.name);
            if (processBuilt(row))
                visit(flavour, row);
        }
    }
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
    forEachProcess([](ProcessFlavour flavour, const ProcessRow& row) {
        for (const ProcessSettings& settings : settingsToTry(row)) {
            Collection collection;
            GetParam().make(collection);
            addInstrumentAndSong(collection);
            const ItemId all[] = {collection.id()};
            ProcessContext context = processContext(flavour, collection, all);
            context.selection = FrameSelection{1, 4000000000u};
            UserInterface quiet;
            const ProcessRun run = runProcess(row, context, settings, quiet);
            for (const ProcessItemReport& item : run.items)
                EXPECT_EQ(item.outcome == ProcessOutcome::Failed, !item.error.empty()) << item.error;
            expectSound(collection);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(, EveryProcessWith, testing::ValuesIn(kTroubles), [](const auto& each) {
    std::string name = each.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

// Sounds, an instrument and a song that every process finds something to do with.
struct Material {
    Material() {
        std::vector<float> samples = tone(120000);
        samples[70001] += 0.25f;
        Layer& layer = *test::addLayer(*collection.create<Instrument>("Piano"));
        for (const auto& [name, channels, pan] :
             {std::tuple("Piano C#3 L", 1, -1.0f), {"Piano C#3 R", 1, 1.0f}, {"Stereo C4", 2, 0.0f}}) {
            Waveform* waveform = test::addWaveform(collection, name, samples, channels, 48000);
            waveform->setLoop(LoopMode::Alternating, 10000, 30000.5);
            test::addRegion(layer, waveform, {})->articulation.set(parameter::PanPosition, pan);
        }
        test::addRegion(layer, collection.all<Waveform>()[0], {50, 60}, {0, 63});
        test::Stream notes;
        for (int i = 0; i < 3000; ++i)
            notes.insert(notes.end(), {0x10, 0x90, static_cast<Byte>(40 + i % 7), 9});
        test::addSong(collection, 1, 96, {notes, test::joined({notes, test::endOfTrack()})});
    }
    ProcessContext contextOf(ProcessFlavour flavour, const ProcessRow& row) {
        const Item* item = flavour == ProcessFlavour::Audio ? collection.all<Waveform>()[2]
                           : flavour == ProcessFlavour::Midi
                               ? static_cast<Item*>(collection.all<MidiSong>()[0])
                               : &collection;
        const ItemId chosen[] = {item->id()};
        ProcessContext context = processContext(flavour, collection, chosen);
        context.selection = FrameSelection{1000, 50000};
        if (row.available && !row.available(context))
            context.items = {collection.list(ItemKind::Waveform)[0]};  // not for stereo
        return context;
    }
    // Every item, byte by byte.
    std::vector<std::vector<Byte>> state() const {
        std::vector<std::vector<Byte>> all;
        for (const ItemKind kind : kContainedKinds) {
            for (const ItemId id : collection.list(kind)) {
                const Item& item = *collection.find(id);
                ByteWriter writer(all.emplace_back(item.serializedSize()));
                item.serialize(writer);
            }
        }
        return all;
    }
    Collection collection;
};

// Told to end, wherever that comes, a process says so and leaves all items as they were.
TEST(EveryProcess, LeavesNoTraceWhenCancelled) {
    struct Impatient : UserInterface {
        explicit Impatient(int questions) : left(questions) {}
        bool aborted() override { return told = told || left-- == 0; }
        int left;
        bool told = false;
    };
    int told = 0;
    forEachProcess([&](ProcessFlavour flavour, const ProcessRow& row) {
        const std::vector<ProcessSettings> all = settingsToTry(row);
        for (std::size_t i = 0; i < all.size(); i += test::kThinning) {
            // At many questions with the defaults, at few else. The runner asks first, before the item's
            // turn.
            for (int questions = 1;; questions += 1 + questions * (i == 0 ? 1 : 8) / 4) {
                Material material;
                const auto before = material.state();
                Impatient ui(questions);
                const ProcessRun run = runProcess(row, material.contextOf(flavour, row), all[i], ui);
                if (!ui.told)
                    break;
                ++told;
                ASSERT_TRUE(run.cancelled) << questions;
                EXPECT_EQ(run.items.at(0).error, "Processing was cancelled") << questions;
                ASSERT_TRUE(material.state() == before) << questions;
            }
        }
    });
    EXPECT_GT(told, 500 / static_cast<int>(test::kThinning));
}

TEST(EveryProcess, LeavesWhatCanNotBeReadAsItWas) {
    struct BadSource : WaveformSource {
        bool decode(Waveform&) const override { return fail("Reading from file failed"); }
    };
    int failures = 0;
    forEachProcess([&](ProcessFlavour flavour, const ProcessRow& row) {
        Material material;
        for (Waveform* waveform : material.collection.all<Waveform>()) {
            waveform->releaseSamples();
            waveform->setSource(std::make_shared<BadSource>());
        }
        const auto before = material.state();
        UserInterface quiet;
        const ProcessRun run = runProcess(row, material.contextOf(flavour, row), settingsFor(row), quiet);
        if (run.failed == 0)
            return;  // needs no samples
        const std::string& error = run.items.at(0).error;
        failures += error == "Reading from file failed";
        EXPECT_TRUE(error == "Reading from file failed" || error == "Auto-Tuning failed!") << error;
        EXPECT_TRUE(material.state() == before);
    });
    EXPECT_GT(failures, 30);
}

// Every process with its defaults over a whole bank, as a batch would: the collection can still be checked
// over without a complaint afterwards.
TEST(EveryProcess, RunOverARealBank) {
    if (Collection probe; !test::openBank(probe, "TimGM6mb.sf2"))
        GTEST_SKIP() << "needs a SoundFont bank";
    forEachProcess([](ProcessFlavour flavour, const ProcessRow& row) {
        // The searches take a minute over a bank and have tests of their own.
        if (std::string_view(row.name) == "Auto loop finder" || flavour == ProcessFlavour::Midi)
            return;
        Collection collection;
        ASSERT_TRUE(test::openBank(collection, "TimGM6mb.sf2")) << LastErrorText;
        const ItemId all[] = {collection.id()};
        ProcessContext context = processContext(flavour, collection, all);
        if (flavour == ProcessFlavour::Audio)
            context.items.resize(40 / test::kThinning);
        if (!row.available(context))
            return;
        UserInterface quiet;
        const ProcessRun run = runProcess(row, context, settingsFor(row), quiet);
        for (const ProcessItemReport& item : run.items)
            EXPECT_NE(item.outcome, ProcessOutcome::Failed) << item.name << ": " << item.error;
        FixUpLists lists;
        for (const ItemKind kind : kContainedKinds) {
            for (const ItemId id : std::vector<ItemId>(collection.list(kind)))
                collection.find(id)->fixUp(lists);
        }
        EXPECT_EQ(lists.danglingLinks + lists.clampedRanges, 0u);
    });
}

}  // namespace
}  // namespace velor
