// Generic raw import and export: headerless blocks of PCM, float, law-coded or delta-coded samples.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Reads the samples of a waveform whose frames, channels, sourceFormat, sourceOffset and secondBlockOffset are
// set. False with "Zero length", "No channels", "Too many channels", "Invalid format for generic import
// function!", "Out of memory" or "Reading from file failed"; after the last one the new SampleBuffer stays.
bool importRawSamples(Waveform& waveform, const File& file);

// How a headerless file is taken to be stored. The variant argument of a raw row packs it (see packRawVariant).
struct RawFormat {
    std::uint32_t formatWord = 0;  // source format word
    std::uint8_t channels = 1;
    std::uint32_t rate = 44100;  // Hz
    std::uint64_t offset = 0;    // file position of the first sample
};
std::uint32_t packRawVariant(const RawFormat& format);

// Row operations of the raw rows.
bool readRaw(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeRaw(Item& item, OpenFile& file, std::uint32_t variant);
// Row 0: asks whether to read the file as raw data, remembers "Allways OK" and "Allways Cancel".
bool readUnrecognized(Collection& collection, OpenFile& file, std::uint32_t variant);
// Forgets the remembered answer.
void resetRawAnswers();

// Settings of the "Source" tab: what unrecognised and raw files are read as when the user has said so. Fields
// that are not set leave the row's own choice.
struct RawSourceChoice {
    bool active = false;
    RawFormat format;
};
extern RawSourceChoice RawSource;

}  // namespace velor
