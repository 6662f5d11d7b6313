// A conversion that needs no file of the user's: an example sound, written, converted, read again and
// compared.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/user_interface.h"
#include "formats/framework/format_table.h"
#include "items/collection.h"

namespace velor {

// A decaying harmonic tone in stereo, 44100 frames at 44100 Hz, with a loop of whole periods, root key, fine
// tune and texts. The same samples on every machine. nullptr when memory is exhausted.
Waveform* createDemoSound(Collection& collection);

// One property of the sound after a trip through a file.
struct DemoProperty {
    std::string name;      // "loop"
    std::string original;  // "forward 21952..43904"
    std::string found;
    bool kept = false;
    bool expected = false;  // the file type can keep it
};

struct DemoFile {
    std::filesystem::path path;
    Identification type;
    std::string encoding;
    std::vector<DemoProperty> properties;
};

struct DemoReport {
    std::vector<DemoFile> files;
    // True when something was lost that its file type can keep.
    bool lost() const;
};

// Writes demo.wav, demo.aif and demo.sw into the folder, which is made when it is missing. A file of these
// names with other content than the demo's own is left alone and makes it fail. False with LastErrorText.
bool runDemo(const std::filesystem::path& folder, UserInterface& ui, DemoReport& report);

}  // namespace velor
