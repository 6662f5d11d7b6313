// How a waveform becomes the data of a WAVE file: what its "fmt " and "fact" chunks say, and the data
// themselves.
#pragma once

#include <vector>

#include "base/byte_writer.h"
#include "base/user_interface.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/working_copy.h"
#include "items/waveform.h"

namespace velor {

struct WaveCoding {
    TargetLayout target;  // encoding and channels; codecs use no more of it
    std::uint16_t tag = 0;
    std::uint32_t fmtSize = 16;
    std::uint32_t rate = 0;  // Hz
    std::uint32_t bytesPerSecond = 0;
    std::uint16_t blockAlign = 0;
    std::uint16_t bits = 0;
    std::vector<Byte> extra;  // what follows cbSize
    bool storesFact = false;  // the encoding sets the "fact" value
    std::uint32_t fact = 0;   // frames
    std::uint64_t dataSize = 0;
    std::vector<Byte> stream;  // MPEG layer III: the data, as their size is known no sooner
};

// The encodings that planWaveCoding() takes, one bit each.
std::uint32_t waveEncodings();
// Those that a WAVE_FORMAT_EXTENSIBLE file can have: PCM and float.
std::uint32_t extensibleWaveEncodings();

// Works out the chunks. GSM and ADPCM are mono: stereo is mixed down, with a warning. MPEG layer III data are
// encoded here; `quality` is their bit rate in kbit/s, negative: that of the waveform or 128. When the
// encoder does not take the waveform's rate, `waveform` becomes a resampled `copy`, with a warning. False
// with "Unsupported subformat" for an encoding that WAVE files do not have, or with the encoder's message.
bool planWaveCoding(Waveform*& waveform, SampleEncoding encoding, int channels, double quality,
                    UserInterface& ui, WaveCoding& coding, WorkingCopy& copy);

// The "fmt " chunk: its payload's size, and the whole of it.
std::uint32_t waveFormatSize(const WaveCoding& coding, bool extensible);
void writeWaveFormat(ByteWriter& to, const WaveCoding& coding, bool extensible);

// Fills the data (coding.dataSize bytes). False with LastErrorText.
bool encodeWaveData(Waveform& waveform, const WaveCoding& coding, std::span<Byte> to, UserInterface& ui);

}  // namespace velor
