#include <algorithm>

#include "app/processing/midi/midi_tools.h"

namespace velor::midi_processes {

namespace {

enum Mode : std::size_t { Remove, Keep };

constexpr ProcessParameter kParameters[] = {
    {.key = "mode",
     .label = "What is selected below:",
     .kind = ProcessValueKind::Choice,
     .words = "remove|keep",
     .help = "keep removes everything else but tempos, signatures and what says where tracks and ports are."},
    {.key = "notes", .label = "Notes", .kind = ProcessValueKind::Switch},
    {.key = "key-aftertouch", .label = "Aftertouch of keys", .kind = ProcessValueKind::Switch},
    {.key = "channel-aftertouch", .label = "Aftertouch of channels", .kind = ProcessValueKind::Switch},
    {.key = "controllers", .label = "Controllers", .kind = ProcessValueKind::Switch},
    {.key = "controller-list",
     .label = "Only these controllers:",
     .kind = ProcessValueKind::Text,
     .help = "Numbers and ranges, for example 1, 7, 64-69; empty for all."},
    {.key = "programs", .label = "Program changes", .kind = ProcessValueKind::Switch},
    {.key = "bender", .label = "Pitch bend", .kind = ProcessValueKind::Switch},
    {.key = "channels",
     .label = "Only on these channels:",
     .kind = ProcessValueKind::Text,
     .help = "Numbers and ranges of 1 to 16; empty for all. With none of the messages above selected, all of "
             "these channels' messages count as selected."},
    {.key = "sysex", .label = "System exclusive messages", .kind = ProcessValueKind::Switch},
    {.key = "texts",
     .label = "Texts, names and markers",
     .kind = ProcessValueKind::Switch,
     .help = "Also copyright, instrument names and cue points, but no lyrics."},
    {.key = "lyrics", .label = "Lyrics", .kind = ProcessValueKind::Switch},
    {.key = "tempo", .label = "Tempos", .kind = ProcessValueKind::Switch},
    {.key = "signatures", .label = "Time and key signatures", .kind = ProcessValueKind::Switch},
    {.key = "other", .label = "Other meta events", .kind = ProcessValueKind::Switch},
};

struct Selection {
    bool channelKinds[8] = {};  // by the second highest bits of the status
    std::vector<bool> controllers = std::vector<bool>(128);
    std::vector<bool> channels = std::vector<bool>(16);
    bool sysex = false, texts = false, lyrics = false, tempo = false, signatures = false, other = false;
    bool keep = false;

    bool stays(const MidiEvent& event) const {
        if (event.isChannel()) {
            const bool selected = channelKinds[event.type() >> 4 & 7] && channels[event.channel()] &&
                                  (event.type() != midi::kController || controllers[event.data1]);
            return selected == keep;
        }
        if (event.status != midi::kMeta)
            return sysex == keep;
        switch (event.metaType) {
            case midi::kMetaEndOfTrack:
            case midi::kMetaPort:
            case midi::kMetaSequence:
                return true;
            case kMetaLyrics:
                return lyrics == keep;
            case midi::kMetaTempo:
                return keep || !tempo;
            case kMetaTimeSignature:
            case kMetaKeySignature:
                return keep || !signatures;
            default:
                return (event.metaType < 0x10 ? texts : other) == keep;
        }
    }
};

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    Selection selection;
    selection.keep = set.choice("mode") == Keep;
    if (!parseNumberList(set.text("controller-list"), 0, selection.controllers))
        return processFailed("The controllers must be numbers and ranges of 0 to 127");
    if (!parseNumberList(set.text("channels"), 1, selection.channels))
        return processFailed("The channels must be numbers and ranges of 1 to 16");
    bool* kinds = selection.channelKinds;
    kinds[0] = kinds[1] = set.flag("notes");
    kinds[2] = set.flag("key-aftertouch");
    kinds[3] = set.flag("controllers") || !set.text("controller-list").empty();
    kinds[4] = set.flag("programs");
    kinds[5] = set.flag("channel-aftertouch");
    kinds[6] = set.flag("bender");
    if (!set.text("channels").empty() && std::none_of(kinds, kinds + 7, [](bool kind) { return kind; }))
        std::fill(kinds, kinds + 7, true);
    selection.sysex = set.flag("sysex");
    selection.texts = set.flag("texts");
    selection.lyrics = set.flag("lyrics");
    selection.tempo = set.flag("tempo");
    selection.signatures = set.flag("signatures");
    selection.other = set.flag("other");
    const bool anything = std::any_of(kinds, kinds + 7, [](bool kind) { return kind; }) || selection.sysex ||
                          selection.texts || selection.lyrics || selection.tempo || selection.signatures ||
                          selection.other;
    if (!anything)
        return selection.keep ? processFailed("Nothing is selected to be kept") : ProcessOutcome::Unchanged;
    MidiEdit edit(job.item);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    std::size_t removed = 0;
    for (MidiTrackEdit& track : edit.tracks) {
        // The time of the end stays.
        if (!track.events.empty() && !track.events.back().isEndOfTrack()) {
            MidiEvent end;
            end.tick = track.events.back().tick;
            end.status = midi::kMeta;
            end.metaType = midi::kMetaEndOfTrack;
            track.events.push_back(end);
        }
        removed +=
            std::erase_if(track.events, [&](const MidiEvent& event) { return !selection.stays(event); });
    }
    if (removed == 0)
        return ProcessOutcome::Unchanged;
    job.measure("removed events", static_cast<double>(removed), "");
    return finish(job, edit);
}

}  // namespace

constinit const ProcessDefinition filterMidi{run, kParameters,
                                             "Removes messages of the selected kinds, or all others. What "
                                             "stays keeps its time, and tracks their length. "
                                             "Removing tempos changes how fast a song plays."};

}  // namespace velor::midi_processes
