// The records of a SoundFont 2 file as they lie in it: no meaning, only checked places.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/user_interface.h"
#include "formats/framework/open_file.h"

namespace velor {

struct SoundFontGenerator {
    std::uint16_t number = 0;
    std::uint16_t amount = 0;  // signed, or two bytes low and high, as the number says

    std::int16_t value() const { return static_cast<std::int16_t>(amount); }
    std::uint8_t low() const { return static_cast<std::uint8_t>(amount & 0xFF); }
    std::uint8_t high() const { return static_cast<std::uint8_t>(amount >> 8); }
};

struct SoundFontModulator {
    std::uint16_t source = 0;
    std::uint16_t destination = 0;
    std::int16_t amount = 0;
    std::uint16_t amountSource = 0;
    std::uint16_t transform = 0;

    // Two modulators that are the same but for their amounts.
    bool sameConnection(const SoundFontModulator& other) const {
        return source == other.source && destination == other.destination &&
               amountSource == other.amountSource && transform == other.transform;
    }
};

// A run of records in one of the lists below.
struct SoundFontRange {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

struct SoundFontZone {
    SoundFontRange generators;
    SoundFontRange modulators;
};

// One level of the bank: presets or instruments.
struct SoundFontLevel {
    struct Header {
        std::string name;
        std::uint16_t program = 0;  // of presets
        std::uint16_t bank = 0;     // of presets; 128 is percussion
        SoundFontRange zones;
    };
    std::vector<Header> headers;
    std::vector<SoundFontZone> zones;
    std::vector<SoundFontGenerator> generators;
    std::vector<SoundFontModulator> modulators;
};

struct SoundFontSample {
    static constexpr std::uint16_t kCompressed = 0x10;  // a whole encoded stream, counted in bytes
    static constexpr std::uint16_t kRom = 0x8000;

    std::string name;
    std::uint32_t start = 0;  // points of the sample chunk
    std::uint32_t end = 0;
    std::uint32_t loopStart = 0;
    std::uint32_t loopEnd = 0;  // the first point behind the loop
    std::uint32_t rate = 0;     // Hz
    std::uint8_t rootKey = 60;
    std::int8_t correction = 0;  // cents
    std::uint16_t type = 0;

    bool compressed() const { return type & kCompressed; }
    bool rom() const { return type & kRom; }
};

struct SoundFontRecords {
    std::uint16_t majorVersion = 0;
    std::string name;  // INAM
    SoundFontLevel presets;
    SoundFontLevel instruments;
    std::vector<SoundFontSample> samples;
    // Modulators that the bank puts in the place of the standard's defaults.
    bool hasDefaultModulators = false;
    std::vector<SoundFontModulator> defaultModulators;
    std::uint64_t samplePosition = 0;  // in the file
    std::uint64_t sampleBytes = 0;     // as far as the file holds them
    std::uint64_t lowBytePosition = 0;
    bool has24Bits = false;
};

// Reads everything but the samples. Damage that leaves something to play is warned of. False with
// LastErrorText when the file is no SoundFont or lacks one of its lists.
bool readSoundFontRecords(const OpenFile& file, std::uint64_t begin, std::uint64_t end,
                          SoundFontRecords& records);

}  // namespace velor
