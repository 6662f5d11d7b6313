// Probes of Casio FZ dumps, Yamaha sampler files and the sample formats of early editors.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// Casio FZ dumps have no signature, only counters: variant 0 full dump, 1 voice, 2 bank (the disk's file
// types).
int casioFzDump(Head head, std::uint32_t variant, std::uint64_t fileSize);

int sampleVision(Head head, std::uint32_t variant, std::uint64_t fileSize);
int soundDesigner1(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Sound Designer II with its resource fork in one file (MacBinary).
int soundDesigner2Flat(Head head, std::uint32_t variant, std::uint64_t fileSize);
int parisAudio(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A ROM image of the OKI MSM6376 speech chip: a plausible word table.
int okiWordRom(Head head, std::uint32_t variant, std::uint64_t fileSize);

int yamahaTx16wWave(Head head, std::uint32_t variant, std::uint64_t fileSize);
int yamahaTyphoonWave(Head head, std::uint32_t variant, std::uint64_t fileSize);
int yamahaTyphoonVoice(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Objects on disks of the A-series samplers.
int yamahaASeries(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Motif files; the variant joins a model with what the file holds.
namespace motif {
inline constexpr std::uint32_t kAll = 0;
inline constexpr std::uint32_t kVoices = 1;
inline constexpr std::uint32_t kWaves = 2;
inline constexpr std::uint32_t kData = 3;
inline constexpr std::uint32_t kContent = 0xF;
inline constexpr std::uint32_t kClassic = 0x10;  // Motif 6/7/8
inline constexpr std::uint32_t kEs = 0x20;
inline constexpr std::uint32_t kXs = 0x30;
inline constexpr std::uint32_t kXf = 0x40;
inline constexpr std::uint32_t kModel = 0xF0;
}  // namespace motif
int yamahaMotif(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
