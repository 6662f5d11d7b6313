#include "formats/framework/pipeline.h"

#include <algorithm>

#include "base/error.h"
#include "dsp/loop_conversion.h"
#include "formats/framework/fix_ups.h"
#include "formats/framework/format_table.h"
#include "formats/framework/working_copy.h"

namespace velor {

namespace fs = std::filesystem;

bool PipelineBusy = false;

namespace {

// Sets the busy flag for the length of a read or write, also when they nest.
class BusyScope {
  public:
    BusyScope() : before_(PipelineBusy) { PipelineBusy = true; }
    ~BusyScope() { PipelineBusy = before_; }
    BusyScope(const BusyScope&) = delete;
    BusyScope& operator=(const BusyScope&) = delete;

  private:
    bool before_;
};

// The file's folder becomes the current one, so that readers find companion files by relative name. A folder
// that may be read but not entered is no reason not to read the file.
void enterFolderOf(const fs::path& path) {
    std::error_code ignored;
    if (path.has_parent_path())
        fs::current_path(path.parent_path(), ignored);
}

void emptyCollection(Collection& collection) {
    collection.clear();
    collection.setName("Empty collection");
    collection.formatRow = -1;
    collection.fileName.clear();
}

bool readWith(Collection& collection, const std::shared_ptr<File>& input, const fs::path& path, int row,
              PipelineServices& services) {
    const FormatEntry* entry = formatRow(row);
    if (!entry || !entry->read)
        return fail("Not a supported import file type");
    const BusyScope busy;
    collection.clear();
    collection.fileName = utf8FromPath(path);
    collection.formatRow = row;
    collection.setName(utf8FromPath(path.stem()));
    OpenFile file;
    file.input = input;
    file.path = path;
    file.row = row;
    file.ui = services.ui;
    services.ui->status("Reading - " + utf8FromPath(path.filename()));
    if (!entry->read(collection, file, entry->variant)) {
        const std::string message = LastErrorText;  // fixing up may fail too; the reader's word stands
        emptyCollection(collection);
        return fail(message);
    }
    return fixUpCollection(collection, kAllKinds, true, services);
}

std::shared_ptr<File> openInFolder(const fs::path& path) {
    enterFolderOf(path);
    return File::open(path);
}

fs::path absolutePath(const fs::path& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    return error ? path : absolute;
}

}  // namespace

bool openInput(Collection& collection, const std::shared_ptr<File>& input, const fs::path& path, bool force,
               PipelineServices& services) {
    if (input->size() == 0)
        return fail("File is of zero size");
    const Identification found = IdentifyFile(path, *input);
    if (found.row < 0)
        return fail("Not a supported import file type");
    if (found.confidence == 0 && !force)
        return fail("Not detected as any supported file type");
    return readWith(collection, input, path, found.row, services);
}

bool openFile(Collection& collection, const fs::path& name, bool force, PipelineServices& services) {
    const fs::path path = absolutePath(name);
    const auto input = openInFolder(path);
    return input && openInput(collection, input, path, force, services);
}

bool openFileAs(Collection& collection, const fs::path& name, int row, PipelineServices& services) {
    const fs::path path = absolutePath(name);
    const auto input = openInFolder(path);
    if (!input)
        return false;
    if (input->size() == 0)
        return fail("File is of zero size");
    return readWith(collection, input, path, row, services);
}

bool mergeFile(Collection& collection, const fs::path& path, PipelineServices& services) {
    Collection added;
    if (!openFile(added, path, true, services))
        return false;
    const bool singleWaveform =
        added.count(ItemKind::Waveform) == 1 && added.count(ItemKind::Instrument) == 0;
    collection.mergeFrom(added);
    if (services.load.autoRemoveDupWaves && !singleWaveform)
        services.ui->report(removeDuplicateWaveforms(collection, *services.ui));
    return true;
}

int mergeFiles(Collection& collection, const std::vector<fs::path>& paths, PipelineServices& services) {
    std::vector<fs::path> absolute;  // each merge changes the current folder
    for (const fs::path& path : paths)
        absolute.push_back(absolutePath(path));
    int merged = 0;
    for (const fs::path& path : absolute) {
        if (services.ui->aborted())
            break;
        if (mergeFile(collection, path, services))
            ++merged;
        else
            services.ui->warn({LastErrorText, utf8FromPath(path), 0});
    }
    services.ui->report(formatText("Merged %d files", merged));
    return merged;
}

bool fixUpCollection(Collection& collection, std::uint8_t kinds, bool applyLoadOptions,
                     PipelineServices& services) {
    UserInterface& ui = *services.ui;
    ui.status("Fixing up items...");
    FixUpLists lists;
    for (const ItemKind kind : kContainedKinds) {
        if (!(kinds & kindBit(kind)))
            continue;
        for (const ItemId id : collection.list(kind)) {
            collection.find(id)->fixUp(lists);
            if (applyLoadOptions && kind == ItemKind::Region)
                collection.find<Region>(id)->dropRepeatedOverrides();
        }
    }
    if (applyLoadOptions) {
        const LoadOptions& load = services.load;
        const auto reportIf = [&ui](const std::string& text) {
            if (!text.empty())
                ui.report(text);
        };
        if (load.ensureUniqueNames) {
            makeNamesUnique(collection, ItemKind::Instrument);
            makeNamesUnique(collection, ItemKind::Waveform);
        }
        if (load.autoMoveArticulation)
            moveArticulation(collection);
        if (load.autoMoveTriggerParams)
            moveTriggerParameters(collection);
        if (load.autoSplitStereo)
            reportIf(splitStereoWaveforms(collection, ui));
        if (load.autoMergeStereo && !(rowFlags(collection.formatRow).flags & format_flags::kStereo))
            reportIf(mergeStereoWaveforms(collection, ui));
        if (load.autoCompactLayers)
            reportIf(compactAllLayers(collection));
        if (load.autoBid2Fwd || load.autoAppend32) {
            for (Waveform* waveform : collection.all<Waveform>()) {
                if (waveform->looped)
                    convertLoop(collection, *waveform, {load.autoBid2Fwd, load.autoAppend32});
            }
        }
        collection.sortWaveforms = load.autoSortWaves;
        collection.sortTree = load.autoSortColl;
    }
    if (kinds & kindBit(ItemKind::Collection))
        collection.fixUp(lists);
    return true;
}

Item* itemToWrite(Item& selected) {
    Collection& owner = selected.owner();
    switch (selected.kind()) {
        case ItemKind::Region:
        case ItemKind::Layer:
        case ItemKind::SynthModel:
            return owner.instrumentHolding(selected);
        case ItemKind::MidiTrack:
            return owner.songHolding(static_cast<MidiTrack&>(selected));
        default:
            return &selected;
    }
}

namespace {

// Renders a song into a waveform when the row cannot take MIDI.
bool renderIfNeeded(Item*& item, std::uint32_t flags, PipelineServices& services) {
    if (item->kind() != ItemKind::MidiSong || (flags & encodingBit(SampleEncoding::Midi)))
        return true;
    if (!services.songs)
        return fail("Rendering MIDI songs to waveforms is not supported in this build");
    Waveform* rendered = nullptr;
    switch (services.songs->render(static_cast<MidiSong&>(*item), item->owner(), *services.ui, rendered)) {
        case SongRenderer::Result::Done:
            break;
        case SongRenderer::Result::Aborted:
            return fail("Save aborted!");
        case SongRenderer::Result::Failed:
            return fail("Failed to render synth to wave");
    }
    item = rendered;
    return item || fail("Failed to render synth to wave");
}

// Whether writing the item at a rate (0: any) leaves its waveforms as they are.
bool keepsRates(const Item& item, std::uint32_t rate) {
    return rate == 0 || std::ranges::all_of(item.owner().waveformsOf(item), [rate](const Waveform* waveform) {
               return waveform->sampleRate == rate;
           });
}

// Settles channels and encoding of a waveform that is about to be written.
bool settleSaveOptions(const Waveform& waveform, SaveOptions& save) {
    save.channels = channelsFor(save, waveform.channels);
    if (save.channels == 0)
        return fail("The file format can not store this number of channels");
    const SampleEncoding wanted = save.encoding;
    save.encoding = encodingFor(save, waveform);
    if (wanted != SampleEncoding::None && save.encoding != wanted)
        return fail(
            formatText("The file format can not store %s", std::string(encodingName(wanted)).c_str()));
    return true;
}

}  // namespace

SampleEncoding encodingFor(const SaveOptions& save, const Waveform& waveform) {
    const std::uint32_t allowed = save.flags & format_flags::kEncodings;
    if (save.encoding != SampleEncoding::None)
        return allowed & encodingBit(save.encoding) ? save.encoding : SampleEncoding::None;
    return chooseEncoding(allowed, waveform.sourceEncoding(), waveform.bits);
}

int channelsFor(const SaveOptions& save, int channels) {
    if (save.channels == 0)
        return outputChannels(save.flags, channels);
    return outputChannels(save.flags, save.channels) == save.channels ? save.channels : 0;
}

bool saveItem(Item* selected, int row, const fs::path& name, PipelineServices& services,
              const SaveOptions& choices) {
    Item* item = selected ? itemToWrite(*selected) : nullptr;
    if (!item)
        return fail("No item selected");
    const FormatEntry* entry = formatRow(row);
    if (!entry || !entry->write)
        return fail("Invalid export format selected");
    Collection& owner = item->owner();
    const auto kindsBelow = static_cast<std::uint8_t>(kindBit(item->kind()) - 1);
    if (!fixUpCollection(owner, kindsBelow, false, services))
        return false;
    const BusyScope busy;
    if (!renderIfNeeded(item, entry->flags, services))
        return false;
    const bool takesSongs = entry->kinds & kindBit(ItemKind::MidiSong);
    if (owner.waveformsOf(*item).empty() && (!takesSongs || owner.count(ItemKind::MidiSong) == 0))
        return fail("Empty item - nothing to save");

    OpenFile file;
    file.row = row;
    file.ui = services.ui;
    file.save = choices;
    file.save.flags = entry->flags;
    file.save.variant = entry->variant;
    WorkingCopy copy;
    if (item->kind() == ItemKind::Waveform && writerBuilt(row)) {
        if (choices.rate != 0)
            item = copy.atRate(static_cast<Waveform&>(*item), choices.rate, *services.ui);
        if (!item || !settleSaveOptions(static_cast<const Waveform&>(*item), file.save))
            return false;
    } else if (item->kind() != ItemKind::MidiSong && !keepsRates(*item, choices.rate)) {
        return fail("Changing the sample rate of instruments and collections is not supported in this build");
    }

    const bool toStandardOutput = name.empty() || name == "-";
    file.path = toStandardOutput ? fs::path(pathFromUtf8(item->name())) : absolutePath(name);
    services.ui->status("Writing - " + utf8FromPath(file.path.filename()));
    if (!writerBuilt(row))
        return entry->write(*item, file, entry->variant);
    const auto output = toStandardOutput ? OutputFile::standardOutput() : OutputFile::create(file.path);
    if (!output)
        return false;
    file.output = output.get();
    // Until commit() the output is a temporary file, which goes away with `output` when the writer fails.
    return entry->write(*item, file, entry->variant) && output->commit();
}

}  // namespace velor
