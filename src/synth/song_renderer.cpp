#include "synth/song_renderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "base/error.h"
#include "items/midi_song_operations.h"
#include "items/midi_timeline.h"
#include "synth/engine.h"
#include "synth/wave_sink.h"

namespace velor {

bool RenderLoading = false;
bool RenderRunning = false;

namespace {

constexpr double kExtraSeconds = 0.5;  // after the last event
// The longest rendering whose frames can be counted.
constexpr double kMostFrames = 4294967295.0;

struct FlagScope {
    explicit FlagScope(bool& flag) : flag_(flag) { flag_ = true; }
    ~FlagScope() { flag_ = false; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;
    bool& flag_;
};

bool startsNote(const TimelineEntry& entry) {
    const MidiMessage message(entry.message);
    return message.type() == 0x90 && message.data2() != 0;
}

// The song begins with its first note: what stands before it happens at once.
void removeLeadingSilence(std::vector<TimelineEntry>& timeline) {
    const auto first = std::find_if(timeline.begin(), timeline.end() - 1, startsNote);
    const bool any = first != timeline.end() - 1;
    const double start = any ? first->seconds : 0;
    for (auto entry = timeline.begin(); entry != timeline.end(); ++entry)
        entry->seconds = any && entry >= first ? entry->seconds - start : 0;
}

bool hasPatch(Collection& collection, PatchNumber patch) {
    const auto instruments = collection.all<Instrument>();
    return std::any_of(instruments.begin(), instruments.end(),
                       [&](const Instrument* instrument) { return instrument->patch == patch; });
}

void loadFrom(SynthEngine& engine, Collection& collection, PatchNumber patch, UserInterface& ui) {
    if (engine.hasInstrument(patch) || engine.loadPatch(collection, patch))
        return;
    ui.warn({formatText("%s (program %u, bank %u:%u%s)", LastErrorText.c_str(), patch.program(),
                        patch.bankMsb(), patch.bankLsb(), patch.drum() ? ", drums" : ""),
             {},
             0});
}

// Instruments for every patch of the song: the collection's own, else those of the default bank.
void loadInstruments(SynthEngine& engine, Collection& collection, const std::vector<PatchNumber>& patches,
                     const RenderOptions& options, UserInterface& ui) {
    const FlagScope loading(RenderLoading);
    std::vector<PatchNumber> missing;
    for (const PatchNumber patch : patches) {
        if (engine.hasInstrument(patch))
            continue;
        if (hasPatch(collection, patch))
            loadFrom(engine, collection, patch, ui);
        else
            missing.push_back(patch);
    }
    if (missing.empty())
        return;
    Collection bank;
    if (!options.openDefaultBank || !options.openDefaultBank(bank)) {
        ui.warn({"Could not open the default GM/GS collection!\nInstruments will be missing from the song.",
                 {},
                 0});
        return;
    }
    for (const PatchNumber patch : missing) {
        for (const PatchNumber tried : PatchFallbacks(patch)) {
            if (!hasPatch(bank, tried))
                continue;
            loadFrom(engine, bank, tried, ui);
            break;
        }
    }
}

// Plays the timeline into the sink. False when aborted.
bool play(SynthEngine& engine, const std::vector<TimelineEntry>& timeline, double end, WaveSink& sink) {
    const FlagScope running(RenderRunning);
    const double step = static_cast<double>(kBlockFrames) / engine.sampleRate();
    std::array<float, 2 * kBlockFrames> block;
    const auto render = [&] {
        engine.renderBlock(block.data());
        sink.write(block.data(), kBlockFrames);
    };
    std::size_t current = 0;
    const std::size_t last = timeline.size() - 1;
    std::uint64_t blocks = 0;
    for (double t = 0; current != last || t < end; t = static_cast<double>(++blocks) * step) {
        if (sink.full())
            return true;
        if (sink.aborted())
            return false;
        for (; current != last && timeline[current].seconds <= t; ++current) {
            const MidiMessage message(timeline[current].message);
            // A full queue is emptied first: no event of the song is lost.
            while (!engine.queueEvent(message, 0))
                engine.processEvents();
        }
        render();
    }
    // What still sounds when the song is over fades within one block instead of breaking off.
    for (std::uint32_t channel = 0; channel < engine.channels(); ++channel) {
        while (!engine.queueEvent(MidiMessage(0xB0 | (channel & 15), 120, 0, channel / 16), 0))
            engine.processEvents();
    }
    if (!sink.full())
        render();
    return !sink.aborted();
}

RenderResult failed(UserInterface& ui) {
    ui.report(LastErrorText);
    return RenderResult::Failed;
}

}  // namespace

RenderResult renderSong(Collection& collection, Item& item, const RenderOptions& options, bool interactive,
                        UserInterface& ui, Waveform*& result) {
    result = nullptr;
    const std::string kind = kindName(item.kind());

    // Works on a copy: the tidying up concerns the rendering only.
    Collection scratch;
    std::vector<TimelineEntry> timeline;
    std::vector<PatchNumber> patches;
    std::uint32_t ports = 1;
    bool built = false;
    if (item.kind() == ItemKind::MidiTrack) {
        const auto& track = static_cast<const MidiTrack&>(item);
        built = buildTimeline(track, timeline);
        patches = usedPatches(track);
        ports = portOf(track) + 1u;
    } else if (item.kind() == ItemKind::MidiSong) {
        MidiSong* song = copySong(static_cast<const MidiSong&>(item), scratch);
        if (song->format == 2)
            convertToSingleSequence(*song);
        normaliseSong(*song);
        built = buildTimeline(*song, timeline);
        patches = usedPatches(*song);
        ports = portCount(*song);
    }
    if (!built || timeline.empty()) {
        fail("Failed processing MIDI");
        return failed(ui);
    }
    removeLeadingSilence(timeline);
    const double length = timeline.back().seconds;
    if (!(length > 0)) {
        fail("Done: No notes to render!");
        ui.report(LastErrorText);
        return RenderResult::NothingToRender;
    }
    const double frames = std::floor(options.sampleRate * (length + kExtraSeconds + options.tail) + 0.5);
    if (frames > kMostFrames) {
        fail("The song is too long to be rendered at this sample rate");
        return failed(ui);
    }

    SynthOptions synth;
    synth.workers = options.workers;
    synth.effects = options.effects;
    synth.smoothing = false;  // the song says itself how fast its controllers move
    SynthEngine engine(16 * ports, options.polyphony, options.sampleRate,
                       1 / std::sqrt(static_cast<float>(std::max(options.polyphony, 1u))), synth);
    loadInstruments(engine, collection, patches, options, ui);
    engine.enable();

    ui.status(formatText("Rendering %s to waveform...", kind.c_str()));
    WaveSink::Options sinkOptions;
    sinkOptions.normalise = options.normalisePeak;
    sinkOptions.removeSilence = options.removeSilence;
    WaveSink sink(static_cast<std::uint32_t>(frames), options.sampleRate, sinkOptions, &ui);
    Waveform* waveform = collection.create<Waveform>(item.name());
    if (!sink.ready() || !waveform) {
        if (waveform)
            collection.remove(waveform->id());
        fail(kOutOfMemory);
        return failed(ui);
    }
    waveform->channels = 2;
    waveform->bits = 24;
    waveform->format = SampleFormat::Pcm24;
    waveform->sampleRate = options.sampleRate;
    waveform->frames = static_cast<std::uint32_t>(frames);

    if (!play(engine, timeline, length + options.tail, sink)) {
        collection.remove(waveform->id());
        fail("Done: Rendered aborted!");
        ui.report(LastErrorText);
        return RenderResult::Aborted;
    }
    if (!sink.finish(*waveform)) {
        collection.remove(waveform->id());
        return failed(ui);
    }
    waveform->bits = 24;
    ui.report(formatText("Done: Rendered %s to waveform \"%s\".", kind.c_str(), waveform->name().c_str()));
    result = waveform;
    if (interactive && options.deleteSource) {
        const Question question{"mid2wav.delete",
                                "Please confirm that you wish to delete the MIDI item that was converted?",
                                {"Yes", "No"},
                                0};
        if (!options.confirmDeletion || ui.ask(question) == 0)
            collection.remove(item.id());
    }
    return RenderResult::Done;
}

}  // namespace velor
