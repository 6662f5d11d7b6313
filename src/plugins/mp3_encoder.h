// The port to an MPEG layer III encoder. Such encoders are add-on libraries that are loaded at run time; the
// writers see this interface only.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace velor {

// One encoding run. Every call returns false with LastErrorText.
class Mp3Encoder {
  public:
    virtual ~Mp3Encoder() = default;

    // Starts a stream of constant bit rate (kbit/s) for 1 or 2 channels. `rate` (Hz) is what the samples
    // have; it comes back as what the encoder takes, and the samples must then have that rate.
    virtual bool start(std::uint32_t& rate, int kilobits, int channels) = 0;
    // Appends to `out` what comes of the next samples (interleaved, full scale 1.0).
    virtual bool encode(std::span<const float> samples, std::vector<Byte>& out) = 0;
    // Appends what is still held back.
    virtual bool finish(std::vector<Byte>& out) = 0;
};

using Mp3EncoderFactory = std::unique_ptr<Mp3Encoder> (*)();

// Sets who makes encoders; nullptr: nobody.
void setMp3EncoderFactory(Mp3EncoderFactory factory);
// A new encoder. nullptr with "You need to install the free Lame_Enc.dll encoder add-on if you wish to
// compress MP3-audio." when there is none.
std::unique_ptr<Mp3Encoder> createMp3Encoder();

// The bit rates (kbit/s) of MPEG layer III with constant rate, ascending.
std::span<const int> mp3BitRates();

}  // namespace velor
