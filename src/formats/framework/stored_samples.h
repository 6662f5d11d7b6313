// Plain samples (PCM, float, law-coded) that lie uncompressed in a file: read on first use, and written.
#pragma once

#include <memory>

#include "base/user_interface.h"
#include "formats/framework/sample_conversion.h"
#include "items/waveform.h"
#include "platform/file.h"

namespace velor {

// Where and how a file keeps a waveform's samples.
struct StoredBlock {
    SampleLayout layout;
    std::uint64_t position = 0;        // of the first sample byte in the file
    std::uint64_t byteSize = 0;        // of the data as far as the file really holds them
    std::uint32_t storedChannels = 1;  // channels beyond the waveform's are skipped on decoding
    // Bytes from sample to sample; 0: the encoding's own width. When larger, the most significant bytes count
    // (integer PCM kept in wider containers).
    std::uint32_t containerBytes = 0;
    bool planar = false;                  // two channels as two blocks
    std::uint64_t secondBlockOffset = 0;  // file position of the second block; 0: right after the first
};

// Frames that the block can hold.
std::uint64_t framesIn(const StoredBlock& block);

// Makes the waveform decode its samples from `file` when they are first needed. Sets sourceFormat,
// sourceOffset and secondBlockOffset; frames beyond what the block holds are cut off at once.
void attachStoredSamples(Waveform& waveform, std::shared_ptr<File> file, const StoredBlock& block);

// How a writer stores a waveform.
struct TargetLayout {
    SampleLayout layout;
    int channels = 1;  // 1 or 2: mono is doubled, stereo is mixed to (left + right) / 2
};

// The bytes that encodeWaveform() needs.
std::uint64_t encodedSize(const Waveform& waveform, const TargetLayout& target);

// Encodes all frames of the waveform into `to` (encodedSize() bytes). Samples that are still in their file
// are streamed, and taken over bit by bit when they are stored in the same encoding. False with LastErrorText
// ("Reading from file failed", "Out of memory", "Aborted").
bool encodeWaveform(Waveform& waveform, const TargetLayout& target, std::span<Byte> to, UserInterface& ui);

}  // namespace velor
