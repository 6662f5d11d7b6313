#include <array>
#include <deque>

#include "app/processing/midi/midi_tools.h"

namespace velor::midi_processes {

namespace {

constexpr std::uint8_t kKeyPressure = 0xA0;

enum OutOfRange : std::size_t { Drop, Fold, Clamp };

constexpr ProcessParameter kParameters[] = {
    {.key = "semitones",
     .label = "Transpose notes by:",
     .kind = ProcessValueKind::Whole,
     .unit = "semitones",
     .least = -127,
     .most = 127,
     .help = "Upwards or, when negative, downwards; 12 are an octave."},
    {.key = "out-of-range",
     .label = "Notes that leave the keys 0 to 127:",
     .kind = ProcessValueKind::Choice,
     .standard = Fold,
     .words = "drop|fold|clamp",
     .help = "drop leaves them out, fold moves them back by octaves, clamp puts them on the last key."},
    {.key = "drums",
     .label = "Also transpose channel 10",
     .kind = ProcessValueKind::Switch,
     .help = "Its keys are drums, which transposing would exchange."},
    {.key = "key-signatures",
     .label = "Adjust key signatures",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "So that scores show the new key."},
};

// The key a note moves to; -1 to leave it out.
int movedKey(int key, int semitones, std::size_t outOfRange) {
    int moved = key + semitones;
    if (moved >= 0 && moved <= 127)
        return moved;
    if (outOfRange == Drop)
        return -1;
    if (outOfRange == Clamp)
        return moved < 0 ? 0 : 127;
    while (moved < 0)
        moved += 12;
    while (moved > 127)
        moved -= 12;
    return moved;
}

// Sharps (or, below 0, flats) after moving by semitones, each of which is seven steps on the circle of
// fifths; of enharmonic keys the one with fewer accidentals.
int movedSharps(int sharps, int semitones) {
    const int turned = ((sharps + 7 * semitones) % 12 + 12) % 12;
    return turned > 6 ? turned - 12 : turned;
}

ProcessOutcome run(ProcessJob& job) {
    const auto semitones = static_cast<int>(job.settings.whole("semitones"));
    if (semitones == 0)
        return ProcessOutcome::Unchanged;
    const std::size_t outOfRange = job.settings.choice("out-of-range");
    const bool drums = job.settings.flag("drums");
    const bool signatures = job.settings.flag("key-signatures");
    MidiEdit edit(job.item);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    std::deque<std::array<Byte, 2>> signatureData;  // stays where it is as it grows
    bool any = false;
    for (MidiTrackEdit& track : edit.tracks) {
        std::erase_if(track.events, [&](MidiEvent& event) {
            if (signatures && event.isMeta(kMetaKeySignature) && event.data.size() >= 2) {
                const int sharps = static_cast<std::int8_t>(event.data[0]);
                if (sharps < -7 || sharps > 7)
                    return false;
                signatureData.push_back({static_cast<Byte>(movedSharps(sharps, semitones)), event.data[1]});
                event.data = signatureData.back();
                any = true;
                return false;
            }
            const bool note =
                event.isChannel() && (event.isNoteOn() || event.isNoteOff() || event.type() == kKeyPressure);
            if (!note || (event.channel() == midi::kDrumChannel && !drums))
                return false;
            any = true;
            const int key = movedKey(event.data1, semitones, outOfRange);
            if (key >= 0)
                event.data1 = static_cast<std::uint8_t>(key);
            return key < 0;
        });
    }
    return any ? finish(job, edit) : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition transposeNotes{run, kParameters,
                                                 "Moves notes, with their aftertouch, up or down by "
                                                 "semitones. Channel 10 with its drums stays unless it is "
                                                 "asked for."};

}  // namespace velor::midi_processes
