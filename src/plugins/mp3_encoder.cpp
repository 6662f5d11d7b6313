#include "plugins/mp3_encoder.h"

#include "base/error.h"

namespace velor {

namespace {

Mp3EncoderFactory factoryInUse = nullptr;

constexpr int kBitRates[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};

}  // namespace

void setMp3EncoderFactory(Mp3EncoderFactory factory) {
    factoryInUse = factory;
}

std::unique_ptr<Mp3Encoder> createMp3Encoder() {
    auto encoder = factoryInUse ? factoryInUse() : nullptr;
    if (!encoder)
        fail("You need to install the free Lame_Enc.dll encoder add-on if you wish to compress MP3-audio.");
    return encoder;
}

std::span<const int> mp3BitRates() {
    return kBitRates;
}

}  // namespace velor
