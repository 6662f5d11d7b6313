// Reading input files with the choices that several verbs share: --from, --source, --load, --answer.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app/cli/file_report.h"
#include "app/cli/terminal_interface.h"
#include "app/song_rendering.h"
#include "formats/framework/load_options.h"
#include "formats/framework/pipeline.h"
#include "formats/framework/raw_codec.h"

namespace velor::cli {

class Arguments;

struct ReadChoices {
    std::string from;        // extension
    RawSourceChoice source;  // active: read as raw samples
    LoadOptions load;
    NoteNaming naming;           // how the settings have keys shown
    RenderOptions render;        // of songs to waveforms
    std::filesystem::path bank;  // the General MIDI bank for that
    Answers answers;
};

// Takes the choices from the command line and the settings. Returns a usage message when something is wrong
// with them, else an empty text.
std::string readChoices(const Arguments& arguments, ReadChoices& choices);
// "PCM 16-bit,big,unsigned,planar,channels=2,rate=22050,offset=64"; a message when it is malformed.
std::string parseSource(std::string_view text, RawSourceChoice& source);

// Identifies and reads a file into the collection. `path` is absolute; report.path is left alone.
bool readInput(Collection& collection, const std::filesystem::path& path, const ReadChoices& choices,
               TerminalInterface& ui, FileReport& report);

// The system's word for why a file can not be opened, where it has one: "no such file", "is a folder".
std::string whyNotOpen(const std::filesystem::path& path);

}  // namespace velor::cli
