#include "app/processing/catalogue.h"

#include "app/processing/audio/processes.h"
#include "app/processing/availability.h"
#include "app/processing/instruments/processes.h"
#include "app/processing/midi/processes.h"
#include "base/error.h"
#include "base/text.h"

namespace velor {

namespace {

using namespace availability;

// clang-format off
constexpr ProcessRow kAudio[] = {
    {"Adjust volume", 334, &audio_processes::adjustVolume, always, kWorksOnSelection},
    {"Append/combine waveforms", 323, &audio_processes::appendWaveforms, single},
    {"Auto loop finder", 335, &audio_processes::autoLoopFinder, always},
    {"Auto tune", 326, &audio_processes::autoTuneProcess, always},
    {"Calculate tuning", 325, &audio_processes::calculateTuning, always},
    {"Convert to mono", 306, &audio_processes::convertToMono, anyStereo},
    {"Convert to stereo", 305, &audio_processes::convertToStereo, anyMono},
    {"Cross-fade loop", 309, &audio_processes::crossfadeLoopProcess, looped},
    {"Cut away selection", 311, &audio_processes::cutSelection, selection, kWorksOnSelection},
    {"Enable/disable loops", 332, &audio_processes::enableLoops, always},
    {"Fade in/out selection", 310, &audio_processes::fadeSelection, selection, kWorksOnSelection},
    {"Find volume", 321, &audio_processes::findVolume, always},
    {"Filter waveform", 340, &audio_processes::filterWaveform, always},
    {"Insert silence", 316, &audio_processes::insertSilence, always, kWorksOnSelection},
    {"Insert another waveform", 317, &audio_processes::insertWaveform, always, kWorksOnSelection},
    {"Invert sign throughout selection", 319, &audio_processes::invertSelection, selection, kWorksOnSelection | kNoSettingsNeeded},
    {"Loop sanitizer/converter", 302, &audio_processes::sanitizeLoops, looped},
    {"Maximize amplitude", 307, &audio_processes::maximizeAmplitude, always, kNoSettingsNeeded},
    {"Mix out = a*wave1 + b*wave2 + c", 320, &audio_processes::mixWaveforms, single},
    {"Move loop points to zero-crossing", 339, &audio_processes::loopToZeroCrossing, looped, kNoSettingsNeeded},
    {"Normalize volume", 337, &audio_processes::normalizeVolume, always},
    {"Parse root key from waveform name", 333, &audio_processes::keyFromName, always, kNoSettingsNeeded},
    {"Pitch scale", 336, &audio_processes::pitchScale, always},
    {"Remove DC offset", 331, &audio_processes::removeDc, always, kNoSettingsNeeded},
    {"Remove silent sections", 304, &audio_processes::removeSilence, always},
    {"Resample", 303, &audio_processes::resampleProcess, always},
    {"Reverse audio within selection", 312, &audio_processes::reverseSelection, selection, kWorksOnSelection | kNoSettingsNeeded},
    {"Search and replace text in names", 329, &audio_processes::replaceInWaveNames, always},
    {"Set loop points to selection", 313, &audio_processes::loopSelection, selection, kWorksOnSelection | kNoSettingsNeeded},
    {"Set waveform names from file names", 338, &audio_processes::nameFromFile, always, kNoSettingsNeeded},
    {"Set waveform names from root keys", 328, &audio_processes::nameFromKey, always},
    {"Smooth within the selection", 314, &audio_processes::smoothSelection, selection, kWorksOnSelection},
    {"Split waveform at silent sections", 318, &audio_processes::splitAtSilence, always},
    {"Statistics", 315, &audio_processes::statistics, always},
    {"Swap left and right channels", 301, &audio_processes::swapChannels, anyStereo, kNoSettingsNeeded},
    {"Time stretch", 324, &audio_processes::timeStretch, always},
    {"Trim waveform after loop", 330, &audio_processes::trimAfterLoop, looped},
    {"Trim waveform to selection", 308, &audio_processes::trimToSelection, selection, kWorksOnSelection | kNoSettingsNeeded},
    {"VST plug-in effects", 327, &audio_processes::vstEffects, always, kWorksOnSelection},
};
static_assert(std::size(kAudio) == 39);

constexpr ProcessRow kMidi[] = {
    {"Change tick rate", 380, &midi_processes::changeTickRate, songs},
    {"Compact MIDI file size", 387, &midi_processes::compactMidi, songsOrTracks},
    {"Convert MIDI format", 381, &midi_processes::convertMidiFormat, songs},
    {"Filter MIDI messages", 382, &midi_processes::filterMidi, songsOrTracks},
    {"Fix compatibility issues & improve portability", 385, &midi_processes::fixMidiCompatibility, songsOrTracks},
    {"Replace Note-On with velocity 0 with Note-Off", 386, &midi_processes::replaceZeroVelocity, songsOrTracks, kNoSettingsNeeded},
    {"Transpose notes", 383, &midi_processes::transposeNotes, songsOrTracks},
    {"Trim start and/or length", 384, &midi_processes::trimSong, songsOrTracks},
};
static_assert(std::size(kMidi) == 8);

constexpr ProcessRow kInstrument[] = {
    {"Add downsampled waves at every octave", 364, &instrument_processes::addDownsampledOctaves, playsWaveforms, kNoSettingsNeeded},
    {"Adjust common parameters", 368, &instrument_processes::adjustCommonParameters, always},
    {"Adjust region key ranges", 351, &instrument_processes::adjustKeyRanges, always},
    {"Auto-extend region key ranges", 367, &instrument_processes::extendKeyRanges, layerLevel},
    {"Format text in names", 361, &instrument_processes::formatNames, always},
    {"Merge instruments into a single instrument", 365, &instrument_processes::mergeInstruments, collectionOrInstrument},
    {"Merge layers into a single layer", 355, &instrument_processes::mergeLayers, layerLevel},
    {"Merge mono waveform pairs to stereo", 363, &instrument_processes::mergeMonoPairs, collectionOrInstrument},
    {"Move articulation level", 356, &instrument_processes::moveArticulationLevel, layerLevel},
    {"Move instruments between banks", 357, &instrument_processes::moveBetweenBanks, anyCollection},
    {"Move up articulation level if all equal below", 369, &instrument_processes::moveUpArticulation, layerLevel},
    {"Remove items not used by any song", 354, &instrument_processes::removeUnusedItems, songsAndInstruments},
    {"Renumber instruments", 370, &instrument_processes::renumberInstruments, anyCollection, kNoSettingsNeeded},
    {"Search and replace text in names", 359, &instrument_processes::replaceInNames, always},
    {"Split drum kit into multiple melodic inst.", 366, &instrument_processes::splitDrumKit, drumKits, kNoSettingsNeeded},
    {"Split layers with velocity splits", 350, &instrument_processes::splitVelocityLayers, layerLevel, kNoSettingsNeeded},
    {"Split multi-layered instruments", 358, &instrument_processes::splitMultiLayered, collectionOrInstrument, kNoSettingsNeeded},
    {"Split stereo waveforms to dual layers", 353, &instrument_processes::splitStereoToLayers, playsStereoWaveforms, kNoSettingsNeeded},
    {"Trim waves to region start/end offsets", 371, &instrument_processes::trimToRegions, playsWaveforms, kNoSettingsNeeded},
};
static_assert(std::size(kInstrument) == 19);
// clang-format on

constexpr const char* kFlavourWords[] = {"audio", "midi", "instrument"};

// Letters and digits in lower case, everything else as single dashes.
std::string wordsOf(std::string_view name) {
    std::string words;
    for (const char c : name) {
        const char lower = lowerAscii(c);
        if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9'))
            words += lower;
        else if (!words.empty() && words.back() != '-')
            words += '-';
    }
    while (!words.empty() && words.back() == '-')
        words.pop_back();
    return words;
}

}  // namespace

std::span<const ProcessRow> processCatalogue(ProcessFlavour flavour) {
    switch (flavour) {
        case ProcessFlavour::Midi:
            return kMidi;
        case ProcessFlavour::Instrument:
            return kInstrument;
        case ProcessFlavour::Audio:
            break;
    }
    return kAudio;
}

std::string processWizardTitle(ProcessFlavour flavour) {
    static constexpr const char* kNames[] = {"Audio", "MIDI", "Instrument"};
    return formatText("%s processing wizard -", kNames[static_cast<std::size_t>(flavour)]);
}

const char* flavourWord(ProcessFlavour flavour) {
    return kFlavourWords[static_cast<std::size_t>(flavour)];
}

std::string processWord(const ProcessRow& row) {
    return wordsOf(row.name);
}

bool processBuilt(const ProcessRow& row) {
    return row.process->run != nullptr;
}

NamedProcess findProcess(std::string_view name) {
    std::string_view flavourPart;
    if (const std::size_t colon = name.find(':'); colon != std::string_view::npos) {
        flavourPart = name.substr(0, colon);
        name.remove_prefix(colon + 1);
    }
    const std::string wanted = wordsOf(name);
    for (std::size_t i = 0; i < kProcessFlavours; ++i) {
        if (!flavourPart.empty() && !equalNoCase(flavourPart, kFlavourWords[i]))
            continue;
        const auto flavour = static_cast<ProcessFlavour>(i);
        for (const ProcessRow& row : processCatalogue(flavour)) {
            if (wordsOf(row.name) == wanted)
                return {flavour, &row};
        }
    }
    return {};
}

std::vector<const ProcessRow*> offeredProcesses(ProcessFlavour flavour, const ProcessContext& context) {
    std::vector<const ProcessRow*> offered;
    for (const ProcessRow& row : processCatalogue(flavour)) {
        if (row.available(context))
            offered.push_back(&row);
    }
    return offered;
}

ProcessContext processContext(ProcessFlavour flavour, Collection& collection,
                              std::span<const ItemId> selected) {
    ProcessContext context;
    context.collection = &collection;
    const auto add = [&](ItemId id) {
        for (const ItemId known : context.items) {
            if (known == id)
                return;
        }
        context.items.push_back(id);
    };
    for (const ItemId id : selected) {
        Item* item = id == collection.id() ? &collection : collection.find(id);
        if (!item)
            continue;
        if (flavour == ProcessFlavour::Instrument) {
            add(id);
        } else if (flavour == ProcessFlavour::Audio) {
            for (const Waveform* waveform : collection.waveformsOf(*item))
                add(waveform->id());
        } else if (item->kind() == ItemKind::Collection) {
            for (const ItemId song : collection.list(ItemKind::MidiSong))
                add(song);
        } else if (item->kind() == ItemKind::MidiSong || item->kind() == ItemKind::MidiTrack) {
            add(id);
        }
    }
    return context;
}

}  // namespace velor
