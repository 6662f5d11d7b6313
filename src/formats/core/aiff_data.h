// The sample data of AIFF, AIFC and MAUD files: how they are coded, and who decodes them.
#pragma once

#include <memory>
#include <string_view>

#include "items/waveform.h"
#include "platform/file.h"

namespace velor {

enum class AiffCoding : std::uint8_t {
    BigEndianPcm,
    LittleEndianPcm,
    UnsignedPcm,  // 8-bit MAUD
    Float,
    ALaw,
    MuLaw,
    Codec,  // nothing that this build decodes
};

struct AiffCompression {
    std::uint32_t type;
    AiffCoding coding;
    int bits = 0;                     // 0: as COMM says
    std::string_view codec{};         // AiffCoding::Codec: the name for messages
    std::uint32_t framesPerUnit = 1;  // frames that one "frame" of COMM stands for
};

// The row of a compression type of AIFC ("NONE" for AIFF); nullptr when it is not known.
const AiffCompression* findAiffCompression(std::uint32_t type);

// Sets format, bits and frame count of a waveform, whose channels are known, to what the header says. False
// with LastErrorText.
bool applyAiffCompression(const AiffCompression& compression, std::uint16_t bits, std::uint32_t frames,
                          Waveform& waveform);

struct AiffData {
    std::uint64_t position = 0;
    std::uint64_t size = 0;          // as far as the file holds them
    std::uint64_t declaredSize = 0;  // as the chunk says
};

// Gives the waveform its sample source. Plain data cut the frame count to what they hold; codec data are
// filled up with silence.
void attachAiffData(Waveform& waveform, const AiffCompression& compression, std::shared_ptr<File> file,
                    const AiffData& data);

}  // namespace velor
