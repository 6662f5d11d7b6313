// Probes of Korg and Kurzweil sampler files.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// Model numbers of the Korg rows: the product byte of their bank files, with flags above it.
namespace korg_model {
inline constexpr std::uint32_t kTrinity = 0x3B;
inline constexpr std::uint32_t kTriton = 0x50;
inline constexpr std::uint32_t kTritonLe = 0x63;
inline constexpr std::uint32_t kKronos = 0x68;
inline constexpr std::uint32_t kOasys = 0x70;
inline constexpr std::uint32_t kM3 = 0x75;
inline constexpr std::uint32_t kM50 = 0x85;
inline constexpr std::uint32_t kProduct = 0xFF;
inline constexpr std::uint32_t kFirstBankC = 0x200;  // bank writers: the first bank that is written (A is 0)
inline constexpr std::uint32_t kFirstBankD = 0x300;
inline constexpr std::uint32_t kXpanded = 0x10000;  // M3 with the Xpanded system
}  // namespace korg_model

// Keymap (.kmp), sample (.ksf) and script (.ksc) of the Trinity to Kronos line.
int korgKeymap(Head head, std::uint32_t variant, std::uint64_t fileSize);
int korgSample(Head head, std::uint32_t variant, std::uint64_t fileSize);
int korgScript(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Program banks; the variant's product byte must be the file's.
int korgBank(Head head, std::uint32_t variant, std::uint64_t fileSize);
// PA-series resources; variant 0x11 multisamples (.kmp), 0x12 sample data (.pcm): the chunk types.
int korgPaResource(Head head, std::uint32_t variant, std::uint64_t fileSize);

// All Kurzweil files are one object container; which instrument wrote it only the extension tells.
namespace kurzweil_family {
inline constexpr std::uint32_t kK2000 = 0;
inline constexpr std::uint32_t kK2500 = 1;
inline constexpr std::uint32_t kK2600 = 2;
inline constexpr std::uint32_t kSplit = 3;  // first piece of a file cut over floppies
inline constexpr std::uint32_t kPc3k = 4;
inline constexpr std::uint32_t kForte = 5;
inline constexpr std::uint32_t kForteSe = 6;
}  // namespace kurzweil_family
int kurzweilObjects(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
