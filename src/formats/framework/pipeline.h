// Open, merge and save: the road of a file into a Collection and out of it.
#pragma once

#include <filesystem>
#include <vector>

#include "base/user_interface.h"
#include "formats/framework/load_options.h"
#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Renders a MIDI song to a waveform, for saving songs to waveform rows. Filled in by the application.
class SongRenderer {
  public:
    enum class Result { Done, Aborted, Failed };
    virtual ~SongRenderer() = default;
    // Creates the waveform in `into` and stores it in `result`.
    virtual Result render(MidiSong& song, Collection& into, UserInterface& ui, Waveform*& result) = 0;
};

// Everything the pipeline needs from outside. `ui` is never null.
struct PipelineServices {
    UserInterface* ui = nullptr;
    LoadOptions load;
    SongRenderer* songs = nullptr;
};

// True from the start of a read or write to its end: the status line and auto-play stay idle meanwhile.
extern bool PipelineBusy;

// Reads a file into the collection, replacing what it held; `force` reads even when the identification is not
// sure. Changes the current folder to the file's folder, so relative companion names resolve. A file that
// cannot be opened, is empty ("File is of zero size") or is not recognised leaves the collection untouched; a
// reader that fails leaves it empty and named "Empty collection". False with LastErrorText.
bool openFile(Collection& collection, const std::filesystem::path& path, bool force,
              PipelineServices& services);

// The same for a file that is open already, for example in memory; `path` says what it is called. Leaves the
// current folder alone.
bool openInput(Collection& collection, const std::shared_ptr<File>& input, const std::filesystem::path& path,
               bool force, PipelineServices& services);

// The same with a row given by the caller instead of identification.
bool openFileAs(Collection& collection, const std::filesystem::path& path, int row,
                PipelineServices& services);

// Reads a file into a collection of its own and merges that into the given one. Removes duplicate waveforms
// afterwards when the options say so and the file was more than a single waveform. False with LastErrorText;
// the collection is then unchanged.
bool mergeFile(Collection& collection, const std::filesystem::path& path, PipelineServices& services);
// Merges several files, goes on after failures and reports "Merged %d files". Returns how many were merged.
int mergeFiles(Collection& collection, const std::vector<std::filesystem::path>& paths,
               PipelineServices& services);

// Writes an item through a row: a waveform, an instrument, a song, the collection; a region, layer or
// synthesis model as its instrument, a track as its song. An existing file is replaced only by a complete new
// one. An empty path or "-" writes to the standard output. False with LastErrorText.
bool saveItem(Item* item, int row, const std::filesystem::path& path, PipelineServices& services,
              const SaveOptions& choices = {});

// The item that save() would write for a selected one; nullptr when there is none.
Item* itemToWrite(Item& selected);

// What a writer stores one waveform as under the options in force: the chosen encoding when the row allows
// it, else the row's best choice for the waveform (None when there is none); 1 or 2 channels (0: not
// possible).
SampleEncoding encodingFor(const SaveOptions& save, const Waveform& waveform);
int channelsFor(const SaveOptions& save, int channels);

// Brings freshly read or edited items into order; with `applyLoadOptions` also everything the load options
// ask for. `kinds` has one bit per ItemKind.
bool fixUpCollection(Collection& collection, std::uint8_t kinds, bool applyLoadOptions,
                     PipelineServices& services);

}  // namespace velor
