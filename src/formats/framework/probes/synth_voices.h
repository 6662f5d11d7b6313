// Probes of synthesizer voices: FM voice dumps, Roland patch dumps and ROM images.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// Which voices a row reads, as its variant.
namespace voice_family {
inline constexpr std::uint32_t kFourOperator = 0;       // DX21, DX27, DX100
inline constexpr std::uint32_t kFourOperatorWaves = 1;  // TX81Z, DX11: eight wave shapes, fixed pitch
inline constexpr std::uint32_t kSixOperator = 2;        // DX7
inline constexpr std::uint32_t kSixOperatorExtra = 3;   // DX7II: supplement messages beside the voices
}  // namespace voice_family

// System Exclusive voice dumps, in any number of messages; four-operator rows take raw banks too.
int yamahaVoiceMessages(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Raw DX7 voices without messages: one (packed in 128 or unpacked in 155 bytes), or a bank of packed ones.
int yamahaRawVoice(Head head, std::uint32_t variant, std::uint64_t fileSize);
int yamahaRawBank(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Roland dumps; the variant is the model id in the messages: 0x14 D-50, 0x16 MT-32.
int rolandMessages(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A D-50 bank as the instrument holds it: patches of seven 64-byte blocks.
int rolandD50Bank(Head head, std::uint32_t variant, std::uint64_t fileSize);
int rolandMt32ControlRom(Head head, std::uint32_t variant, std::uint64_t fileSize);
// The sample ROM is scrambled noise to the eye: its size is all there is.
int rolandMt32SampleRom(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
