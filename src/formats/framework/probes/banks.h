// Probes of sound banks: SoundFont, DLS and its relatives, Gravis and other card banks.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// SoundFont; the variant is the generation: 1 (sbk), 2 (sf2), 3 (sf3). Told apart by the version chunk; files
// of version 2 may hold compressed samples too, which only their extension shows this early.
int soundFont(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A bank whose samples are one encoded stream.
int soundFontPack(Head head, std::uint32_t variant, std::uint64_t fileSize);
int soundFontArk(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A RIFF bank with an extension of its own (Aureal).
int aurealBank(Head head, std::uint32_t variant, std::uint64_t fileSize);

// Downloadable sounds, and banks that extend them: the instrument list decides which.
int dlsBank(Head head, std::uint32_t variant, std::uint64_t fileSize);
int gigaBank(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Files that hold a DLS form under another extension: design-time collections, the first piece of a split
// bank.
int dlsByExtension(Head head, std::uint32_t variant, std::uint64_t fileSize);
int milesBank(Head head, std::uint32_t variant, std::uint64_t fileSize);
// A RIFF WAVE under an extension of its own (GigaStudio's packed waves).
int gigaWave(Head head, std::uint32_t variant, std::uint64_t fileSize);

int gravisPatch(Head head, std::uint32_t variant, std::uint64_t fileSize);
// The text that lists a set of Gravis patches.
int gravisBankList(Head head, std::uint32_t variant, std::uint64_t fileSize);
int interwaveBank(Head head, std::uint32_t variant, std::uint64_t fileSize);
// WaveFront; variant 0 bank, 1 drum kit, 2 program.
int waveFront(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
