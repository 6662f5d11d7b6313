// Probes of software samplers' instruments and banks.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

int exsInstrument(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Kontakt files; the variant joins a kind with a version: 1, 2 (2 to 4) or 5 (5 to 7). Writers add kMonolith.
namespace kontakt {
inline constexpr std::uint32_t kMulti = 0x000;  // as the file header numbers its kinds
inline constexpr std::uint32_t kInstrument = 0x100;
inline constexpr std::uint32_t kBank = 0x200;
inline constexpr std::uint32_t kKind = 0xF00;
inline constexpr std::uint32_t kVersion = 0xFF;
inline constexpr std::uint32_t kMonolith = 0x1000;
}  // namespace kontakt
int kontaktFile(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A packed wave (NCW).
int kontaktWave(Head head, std::uint32_t variant, std::uint64_t fileSize);
int batteryKit(Head head, std::uint32_t variant, std::uint64_t fileSize);
int reaktorMap(Head head, std::uint32_t variant, std::uint64_t fileSize);

int nnxtPatch(Head head, std::uint32_t variant, std::uint64_t fileSize);
int nordProject(Head head, std::uint32_t variant, std::uint64_t fileSize);
int sfzInstrument(Head head, std::uint32_t variant, std::uint64_t fileSize);

int decentSamplerPreset(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Variant 0 bank, 1 program.
int tx16wxFile(Head head, std::uint32_t variant, std::uint64_t fileSize);
int tenTenPreset(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Packages of the Unreal engines; variant 0 sounds (.uax), 1 music (.umx), 2 assets of the fourth engine.
int unrealPackage(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
