// What the readers and writers of plain waveform files share.
#pragma once

#include <string>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "formats/framework/file_image.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/waveform_io.h"

namespace velor {

// ---- Reading ----

// The text of a field of fixed width without the zeros and blanks behind it.
std::string fieldText(ByteReader& reader, std::size_t width);

// Sets the channels: more than two are warned of, and the first two are kept. False with "No channels" or
// "Too many channels" (more than 1024).
bool setChannels(Waveform& waveform, const OpenFile& file, std::uint32_t channels);

// The byte order of 16-bit samples for formats that do not say it for sure: the customary one, unless the
// samples run much more smoothly in the other.
ByteOrder smootherOrder(const OpenFile& file, std::uint64_t position, ByteOrder customary);

// Plain samples as a header describes them.
struct StoredWave {
    SampleLayout layout;
    std::uint32_t channels = 1;
    double rate = 44100;  // Hz
    std::uint64_t position = 0;
    std::uint64_t byteSize = kToFileEnd;
    std::uint64_t frames = kToFileEnd;  // as far as the header says so
    bool planar = false;                // two channels as two blocks
    std::uint64_t secondBlock = 0;      // position of the second one; 0: right after the first
};

// Describes the waveform and makes it decode the samples when they are needed. Missing data are warned of.
bool attachStoredWave(Waveform& waveform, OpenFile& file, const StoredWave& stored);

// The same for a file of one channel of unsigned bytes behind a header.
bool attachUnsignedBytes(Waveform& waveform, OpenFile& file, double rate, std::uint64_t position,
                         std::uint64_t frames = kToFileEnd);

// The key and the fine tune (-50..50 cents) of a waveform whose fundamental has this many Hz. Leaves it as it
// is when that is no pitch of a key 0..127.
void setPitch(Waveform& waveform, double hertz);

// ---- Writing ----

// What a file of plain samples will hold.
struct WavePlan {
    TargetLayout target;
    std::uint64_t dataSize = 0;  // bytes

    std::uint32_t bytesPerSample() const {
        return static_cast<std::uint32_t>(encodingBits(target.layout.encoding)) / 8;
    }
    std::uint32_t bytesPerFrame() const {
        return bytesPerSample() * static_cast<std::uint32_t>(target.channels);
    }
};

// Settles encoding and channels of a waveform among the `writable` encodings (bits as in a row's flags), with
// the samples decoded when they cannot be streamed. False with LastErrorText.
bool planWave(Waveform& waveform, const SaveOptions& save, std::uint32_t writable, ByteOrder order,
              WavePlan& plan);

// The same for the item that a writer was given; nullptr with LastErrorText, for items that are no waveform
// too.
Waveform* planWave(Item& item, const OpenFile& file, std::uint32_t writable, ByteOrder order, WavePlan& plan);

// Fills the rest of the image, where `to` stands, with the samples and writes the file.
bool finishWave(Waveform& waveform, const WavePlan& plan, ByteWriter& to, FileImage& image, OpenFile& file);

// A loop's limits as whole frames.
struct WholeLoop {
    std::uint32_t start = 0;
    std::uint32_t end = 0;  // exclusive
};
WholeLoop wholeLoop(const Waveform& waveform);
// For formats that know forward loops only: warns of a loop that will not be played as it was.
void warnOfLoopMode(const Waveform& waveform, const OpenFile& file);

// The bits of several encodings, as in a row's flags.
constexpr std::uint32_t encodingMask(std::initializer_list<SampleEncoding> encodings) {
    std::uint32_t bits = 0;
    for (const SampleEncoding each : encodings)
        bits |= encodingBit(each);
    return bits;
}

}  // namespace velor
