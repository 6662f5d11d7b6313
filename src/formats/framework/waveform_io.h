// What the readers and writers of waveforms share, whatever stores the samples.
#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

inline constexpr std::string_view kUnknownSampleFormat = "Unknown sample format or compression";
inline constexpr std::string_view kDataTruncated =
    "Warning: data chunk truncated - will read what data there is";
inline constexpr std::string_view kNoRate = "Warning: no sample rate - taken as 44100 Hz";
inline constexpr std::uint32_t kRateTaken = 44100;  // Hz
inline constexpr std::uint64_t kToFileEnd = std::numeric_limits<std::uint64_t>::max();

// The bytes at a position, fewer where the file ends.
std::vector<Byte> bytesAt(const File& file, std::uint64_t position, std::size_t count);
std::vector<Byte> bytesAt(const OpenFile& file, std::uint64_t position, std::size_t count);

// Creates a waveform, or gives nullptr with "Out of memory"; without a name it is called like the file.
Waveform* createWaveform(Collection& collection, const OpenFile& file);
Waveform* createWaveform(Collection& collection, const OpenFile& file, std::string_view name);

// Creates a waveform, has `fill(file, waveform)` describe it, and takes it away again when that fails.
template <typename Fill>
bool readWaveform(Collection& collection, OpenFile& file, Fill fill) {
    Waveform* waveform = createWaveform(collection, file);
    if (!waveform)
        return false;
    if (fill(file, *waveform))
        return true;
    collection.remove(waveform->id());
    return false;
}

// Sets the rate in Hz, rounded; a missing one (0, negative, not a number) becomes 44100 Hz with a warning
// that names the place.
void setRate(Waveform& waveform, const OpenFile& file, double rate, std::string_view place = {});

// Sets format, bits and source format word for samples that are stored as `encoding`.
void setEncoding(Waveform& waveform, SampleEncoding encoding);

// The bytes of a stretch that the file really holds; warns when that is fewer than `count` (which may be
// kToFileEnd).
std::uint64_t availableBytes(const OpenFile& file, std::uint64_t position, std::uint64_t count,
                             std::string_view place = {});

// A frame count as a waveform can hold it; warns when frames have to be left out.
std::uint32_t clampFrames(const OpenFile& file, std::uint64_t frames);

// The waveform that a writer was given; nullptr with kCannotSaveItem for other items.
Waveform* waveformToWrite(Item& item);

}  // namespace velor
