// Probes of AKAI files: S900 to S3000 programs, samples and floppy images, the MPC line, S5000 programs.
#pragma once

#include "formats/framework/probes/probe_tools.h"

namespace velor::probe {

// S1000 and S3000 programs: a program block (1), names in the sampler's own 41-character set, keygroups (2)
// behind a header of 150 or 192 bytes.
int akaiS1000Program(Head head, std::uint32_t variant, std::uint64_t fileSize);
int akaiS3000Program(Head head, std::uint32_t variant, std::uint64_t fileSize);

// The test that both sample probes share: `generation` is 1 (S1000, 150-byte header) or 3 (S3000, 192 bytes).
int akaiSampleHeader(Head head, std::uint32_t generation, std::uint64_t fileSize);
int akaiS1000Sample(Head head, std::uint32_t variant, std::uint64_t fileSize);
int akaiS3000Sample(Head head, std::uint32_t variant, std::uint64_t fileSize);

// S900 and S950 files have no signature: a plausible header whose counts give the file size.
int akaiS900Program(Head head, std::uint32_t variant, std::uint64_t fileSize);
int akaiS900Sample(Head head, std::uint32_t variant, std::uint64_t fileSize);

// A floppy image, plain or behind the 24576-byte preamble of the ChkSys tool: the directory's names are
// 7-bit.
int akaiFloppy(Head head, std::uint32_t variant, std::uint64_t fileSize);
int akaiChkSysFloppy(Head head, std::uint32_t variant, std::uint64_t fileSize);

// S5000/S6000/Z-series program; MESA II/PC program (System Exclusive messages behind a text).
int akaiS5000Program(Head head, std::uint32_t variant, std::uint64_t fileSize);
int akaiMesaProgram(Head head, std::uint32_t variant, std::uint64_t fileSize);

// MPC programs; the variant is the machine: 1000, 2000 (and 2001 for the XL, same file), 3000.
int akaiMpcProgram(Head head, std::uint32_t variant, std::uint64_t fileSize);
// MPC sounds of types 0, 1, 2 and 4.
int akaiMpcSound(Head head, std::uint32_t variant, std::uint64_t fileSize);
// Programs of the new MPC line (XML).
int akaiMpcKeygroups(Head head, std::uint32_t variant, std::uint64_t fileSize);

}  // namespace velor::probe
