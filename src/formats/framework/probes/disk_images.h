// Probes of Roland and Ensoniq disk images and of the files that were cut out of Ensoniq disks.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// Variant bits: the series, and whether the row is the one for floppies.
namespace roland_disk {
inline constexpr std::uint32_t kS500 = 5;
inline constexpr std::uint32_t kS700 = 7;
inline constexpr std::uint32_t kSeries = 0xF;
inline constexpr std::uint32_t kFloppy = 0x10;
}  // namespace roland_disk
int rolandDisk(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Instruments of the Ensoniq rows, as the variant names them.
namespace ensoniq {
inline constexpr std::uint32_t kEps = 0;
inline constexpr std::uint32_t kAsr = 1;
inline constexpr std::uint32_t kKt = 2;
inline constexpr std::uint32_t kSq = 3;
inline constexpr std::uint32_t kSq80 = 4;
inline constexpr std::uint32_t kVfx = 5;
inline constexpr std::uint32_t kAny = 6;
}  // namespace ensoniq
// A plain image of an EPS, ASR-10 or related disk (EUI, IMG).
int ensoniqDisk(Head head, std::uint32_t variant, std::uint64_t fileSize);
// The same behind a text header that leaves out unused blocks (EDE, EDA and relatives).
int ensoniqPackedDisk(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A disk image in a tagged container (GKH).
int ensoniqTaggedDisk(Head head, std::uint32_t variant, std::uint64_t fileSize);
int ensoniqMirageDisk(Head head, std::uint32_t variant, std::uint64_t fileSize);
// One file of such a disk behind a 512-byte text header (EFE, EFA and relatives).
int ensoniqFile(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
