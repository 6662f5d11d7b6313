// The catalogues, their settings, and the runner.
#include "app/processing/catalogue.h"

#include <set>

#include "app/processing/changes.h"
#include "base/error.h"
#include "dsp/editable_samples.h"
#include "process_tools.h"

namespace velor {
namespace {

constexpr ProcessFlavour kFlavours[] = {ProcessFlavour::Audio, ProcessFlavour::Midi,
                                        ProcessFlavour::Instrument};

TEST(Catalogue, RowsAreFoundByNameAndWordAndHaveSoundSettings) {
    for (const ProcessFlavour flavour : kFlavours) {
        std::set<std::string> words;
        for (const ProcessRow& row : processCatalogue(flavour)) {
            SCOPED_TRACE(row.name);
            EXPECT_TRUE(words.insert(processWord(row)).second);
            EXPECT_EQ(findProcess(std::string(flavourWord(flavour)) + ":" + processWord(row)).row, &row);
            EXPECT_EQ(findProcess(std::string(flavourWord(flavour)) + ":" + row.name).row, &row);
            EXPECT_EQ(processBuilt(row), row.name != std::string_view("VST plug-in effects"));
            EXPECT_NE(std::string(row.process->help), "");
            if (row.flags & kNoSettingsNeeded) {
                EXPECT_FALSE(row.process->measures);
            }
            std::set<std::string> keys;
            ProcessSettings settings(row.process->parameters);
            for (const ProcessParameter& parameter : row.process->parameters) {
                SCOPED_TRACE(parameter.key);
                EXPECT_TRUE(keys.insert(parameter.key).second);
                EXPECT_NE(std::string(parameter.label), "");
                // The default is a value that can be set, and setting it changes nothing.
                const std::string before = settings.textOf(parameter.key);
                EXPECT_EQ(settings.set(parameter.key, before), "");
                EXPECT_EQ(settings.textOf(parameter.key), before);
            }
        }
    }
    EXPECT_EQ(findProcess("no such thing").row, nullptr);
    EXPECT_EQ(findProcess("midi:adjust-volume").row, nullptr);
    EXPECT_EQ(processWizardTitle(ProcessFlavour::Midi), "MIDI processing wizard -");
}

TEST(Catalogue, SettingsTakeUnitsAndRefuseWhatDoesNotFit) {
    static constexpr ProcessParameter kRows[] = {
        {.key = "level",
         .label = "Level",
         .kind = ProcessValueKind::Number,
         .unit = "dB",
         .least = -20,
         .most = 6},
        {.key = "count", .label = "Count", .kind = ProcessValueKind::Whole, .most = 9, .standard = 2},
        {.key = "mode",
         .label = "Mode",
         .kind = ProcessValueKind::Choice,
         .standard = 1,
         .words = "first|second"},
        {.key = "on", .label = "On", .kind = ProcessValueKind::Switch},
        {.key = "root", .label = "Root", .kind = ProcessValueKind::Key, .most = 127, .standard = 60},
    };
    ProcessSettings settings(kRows);
    for (const char* good : {"level=-3dB", "level = -3 db", "LEVEL=-3", "count=9", "mode=FIRST", "on",
                             "on=yes", "root=61", "root=c#4"})
        EXPECT_EQ(settings.setPair(good), "") << good;
    EXPECT_EQ(settings.number("level"), -3);
    EXPECT_EQ(settings.choice("mode"), 0u);
    EXPECT_TRUE(settings.flag("on"));
    EXPECT_EQ(settings.midiKey("root"), 61);
    for (const char* bad : {"level=7", "level=nan", "level=3 Hz", "level", "count=1.5", "count=10",
                            "mode=third", "on=maybe", "root=128", "root=H4", "lvl=1"})
        EXPECT_NE(settings.setPair(bad), "") << bad;
    EXPECT_EQ(settings.setPair("level=7"), "level takes -20 to 6 dB, not \"7\"");
    EXPECT_EQ(settings.number("level"), -3);
}

std::vector<std::string> offered(ProcessFlavour flavour, Collection& collection,
                                 std::optional<FrameSelection> selection = {}) {
    const ItemId all[] = {collection.id()};
    ProcessContext context = processContext(flavour, collection, all);
    context.selection = selection;
    std::vector<std::string> names;
    for (const ProcessRow* row : offeredProcesses(flavour, context))
        names.emplace_back(row->name);
    return names;
}

bool contains(const std::vector<std::string>& names, const char* name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

TEST(Catalogue, OffersWhatTheItemsAllow) {
    Collection collection;
    Waveform* mono = test::addWaveform(collection, "mono", std::vector<float>(100, 0.5f), 1);
    const std::vector<std::string> plain = offered(ProcessFlavour::Audio, collection);
    EXPECT_EQ(plain.size(), 39u - 7 - 4 - 2) << "no selection, no loop, no stereo";
    EXPECT_FALSE(contains(plain, "Convert to mono"));
    EXPECT_TRUE(contains(plain, "Convert to stereo"));
    EXPECT_TRUE(contains(plain, "Append/combine waveforms"));
    mono->setLoop(LoopMode::Forward, 10, 90);
    test::addWaveform(collection, "stereo", std::vector<float>(100, 0.5f), 2);
    const std::vector<std::string> more = offered(ProcessFlavour::Audio, collection, FrameSelection{10, 20});
    EXPECT_EQ(more.size(), 39u - 2) << "two items: nothing for single ones";
    EXPECT_EQ(offered(ProcessFlavour::Audio, collection, FrameSelection{10, 10}).size(), 39u - 2 - 7)
        << "a mere position is no range";
    EXPECT_TRUE(offered(ProcessFlavour::Midi, collection).empty());
    const std::vector<std::string> instruments = offered(ProcessFlavour::Instrument, collection);
    EXPECT_TRUE(contains(instruments, "Merge instruments into a single instrument"));
    EXPECT_FALSE(contains(instruments, "Split stereo waveforms to dual layers")) << "no region plays one";
    EXPECT_FALSE(contains(instruments, "Split drum kit into multiple melodic inst."));
    EXPECT_FALSE(contains(instruments, "Remove items not used by any song"));
}

// A process for the runner's own tests: writes over the samples, then ends as its setting says.
ProcessOutcome scribble(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    copy->data()[0] = -1;
    waveform.installBuffer(std::move(copy));
    waveform.rootKey = 1;
    waveform.setName("scribbled");
    if (job.settings.whole("fail") == static_cast<std::int64_t>(job.index))
        return processFailed("did not work");
    return ProcessOutcome::Changed;
}
constexpr ProcessParameter kScribble[] = {{.key = "fail",
                                           .label = "Fail",
                                           .kind = ProcessValueKind::Whole,
                                           .least = -1,
                                           .most = 9,
                                           .standard = -1}};
constexpr ProcessDefinition kScribbleDefinition{scribble, kScribble, "", false};
constexpr ProcessRow kScribbleRow{"Scribble", 0, &kScribbleDefinition, nullptr, 0};

struct Runner : testing::Test {
    Runner() {
        for (const char* name : {"one", "two", "three"})
            test::addWaveform(collection, name, std::vector<float>(1000, 0.25f), 1);
        const ItemId all[] = {collection.id()};
        context = processContext(ProcessFlavour::Audio, collection, all);
    }
    float firstSample(std::size_t index) { return collection.all<Waveform>()[index]->samples()[0]; }
    Collection collection;
    ProcessContext context;
    ProcessSettings settings{kScribble};
    UserInterface quiet;
};

TEST_F(Runner, CountsAndGoesOnAfterAFailure) {
    EXPECT_EQ(processItemsText(context), "All waveforms");
    settings.set("fail", "1");
    const CollectionState before(collection, {});
    const ProcessRun run = runProcess(kScribbleRow, context, settings, quiet);
    EXPECT_EQ(run.message, "Processed 2 items");
    EXPECT_EQ(run.failed, 1u);
    EXPECT_EQ(run.items.at(1).error, "did not work");
    EXPECT_EQ(firstSample(0), -1);
    EXPECT_EQ(firstSample(1), 0.25f) << "a failed item is as it was";
    EXPECT_EQ(collection.all<Waveform>()[1]->name(), "two");
    const std::vector<ItemChange> changes = before.changesTo({collection, {}});
    ASSERT_EQ(changes.size(), 2u);
    std::set<std::string> fields;
    for (const FieldChange& field : changes[0].fields)
        fields.insert(field.what);
    EXPECT_EQ(fields, (std::set<std::string>{"name", "root key", "audio data"}));

    context.items.clear();
    EXPECT_EQ(runProcess(kScribbleRow, context, settings, quiet).message, "No items were modified");
}

TEST_F(Runner, EndsWhenTheUserWants) {
    struct : UserInterface {
        int left = 2;
        std::vector<std::string> lines;
        double last = 0;
        bool aborted() override { return left <= 0; }
        void status(std::string_view text) override {
            lines.emplace_back(text);
            --left;
        }
        void progress(double share) override {
            EXPECT_GE(share, last);
            EXPECT_LE(share, 1);
            last = share;
        }
    } ui;
    const ProcessRun run = runProcess(kScribbleRow, context, settings, ui);
    EXPECT_TRUE(run.cancelled);
    EXPECT_EQ(run.message, "Processing was cancelled");
    EXPECT_EQ(ui.lines, (std::vector<std::string>{"Working on one...", "Working on two..."}));
    EXPECT_EQ(firstSample(0), -1);
    EXPECT_EQ(firstSample(1), 0.25f) << "cancelled inside its turn";
}

TEST_F(Runner, PreviewsOnACopy) {
    const auto preview = previewProcess(kScribbleRow, *collection.all<Waveform>()[0], {}, settings, quiet);
    ASSERT_TRUE(preview);
    EXPECT_EQ(preview->all<Waveform>().at(0)->samples()[0], -1);
    EXPECT_EQ(firstSample(0), 0.25f);
    settings.set("fail", "0");
    EXPECT_FALSE(previewProcess(kScribbleRow, *collection.all<Waveform>()[0], {}, settings, quiet));
    EXPECT_EQ(LastErrorText, "did not work");
}

}  // namespace
}  // namespace velor
