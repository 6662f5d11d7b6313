// The blocks of Creative Voice files, as reader and writer know them.
#pragma once

#include <cstdint>
#include <string_view>

namespace velor::creative_voice {

inline constexpr std::string_view kSignature = "Creative Voice File\x1A";
inline constexpr std::size_t kHeaderSize = 26;
inline constexpr std::size_t kLongestText = 4096;
inline constexpr std::uint16_t kEndless = 0xFFFF;

// Bytes of a type and a size, and of the fields before the samples of the newer sound block.
inline constexpr std::uint32_t kBlockHead = 4, kNewSoundHeader = 12;

enum BlockType : std::uint8_t {
    kEnd = 0,
    kSound = 1,
    kMoreSound = 2,
    kSilence = 3,
    kText = 5,
    kRepeat = 6,
    kRepeatEnd = 7,
    kExtension = 8,
    kNewSound = 9,
};

// Codec fields.
enum VoiceCodec : std::uint16_t { kUnsigned8 = 0, kSigned16 = 4, kALaw = 6, kMuLaw = 7 };

// The old blocks tell a rate as the length of a frame.
inline double rateOfShortConstant(unsigned constant) {
    return 1e6 / (256 - constant);
}

}  // namespace velor::creative_voice
