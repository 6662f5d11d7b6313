// Generic raw import and export: headerless blocks of PCM, float, law-coded or delta-coded samples.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Reads the samples of a waveform whose frames, channels, sourceFormat, sourceOffset and secondBlockOffset
// are set. False with "Zero length", "No channels", "Too many channels", "Invalid format for generic import
// function!", "Out of memory" or "Reading from file failed"; after the last one the new SampleBuffer stays.
bool importRawSamples(Waveform& waveform, const File& file);

// How a headerless file is taken to be stored. A raw row packs it into its variant
// argument (see rawVariant).
struct RawFormat {
    std::uint32_t formatWord = 0;  // source format word
    std::uint8_t channels = 1;
    std::uint32_t rate = 44100;  // Hz
    std::uint64_t offset = 0;    // file position of the first sample
};

// The variant argument of a raw row: bits 0-4 encoding, 5 unsigned, 6 big-endian, 7 planar, 8 two channels,
// 9-15 header size in units of 16 bytes, 16-31 rate in units of 5 Hz (every customary rate is a multiple).
constexpr std::uint32_t rawVariant(SampleEncoding encoding, std::uint32_t layoutFlags = 0,
                                   std::uint32_t rate = 44100, int channels = 1,
                                   std::uint32_t headerBytes = 0) {
    return static_cast<std::uint32_t>(encoding) | (layoutFlags & source_format::kUnsigned ? 1u << 5 : 0) |
           (layoutFlags & source_format::kBigEndian ? 1u << 6 : 0) |
           (layoutFlags & source_format::kPlanar ? 1u << 7 : 0) | (channels == 2 ? 1u << 8 : 0) |
           (headerBytes / 16) << 9 | (rate / 5) << 16;
}

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
