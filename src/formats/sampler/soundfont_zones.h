// The zones of a SoundFont 2 bank with all that a zone inherits: defaults, global zones, modulators.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "formats/sampler/bank_articulation.h"
#include "formats/sampler/soundfont_records.h"
#include "items/instrument.h"

namespace velor {

// Values of one level in the units of the standard: absolute in instruments, amounts to add in presets.
using SoundFontValues = std::array<std::int16_t, generator::kCount>;

struct SoundFontPart {
    std::uint32_t target = 0;  // sample of an instrument zone, instrument of a preset zone
    MidiRange keys;
    MidiRange velocities;
    SoundFontValues values{};
    std::vector<SoundFontModulator> modulators;
};

class SoundFontZones {
  public:
    // The records must outlive the object.
    explicit SoundFontZones(const SoundFontRecords& records);

    // The zones that sound; zones that name nothing, or cover no key or velocity, are not there.
    std::span<const SoundFontPart> ofInstrument(std::size_t index) const { return instruments_.of(index); }
    std::span<const SoundFontPart> ofPreset(std::size_t index) const { return presets_.of(index); }

    // Modulators of the bank that no parameter stands for, and those whose curve is played as a straight
    // line.
    std::uint32_t unplayedModulators() const { return unplayed_; }
    std::uint32_t straightenedModulators() const { return straightened_; }

  private:
    struct Level {
        std::vector<SoundFontPart> parts;
        std::vector<SoundFontRange> owners;  // parts of each preset or instrument

        std::span<const SoundFontPart> of(std::size_t index) const {
            return std::span(parts).subspan(owners[index].begin, owners[index].end - owners[index].begin);
        }
    };

    void readLevel(const SoundFontLevel& from, std::uint8_t targetGenerator, const SoundFontPart& start,
                   Level& to);
    void addModulators(const SoundFontLevel& from, const SoundFontZone& zone,
                       std::vector<SoundFontModulator>& to);

    const SoundFontLevel* presetLevel_;
    Level instruments_;
    Level presets_;
    std::uint32_t unplayed_ = 0;
    std::uint32_t straightened_ = 0;
};

// What an instrument zone sounds like under a preset zone: values added and limited to the generators'
// ranges, modulators joined.
GeneratorValues joinedValues(const SoundFontPart& preset, const SoundFontPart& instrument);
void joinModulators(const SoundFontPart& preset, const SoundFontPart& instrument,
                    std::vector<BankModulation>& joined);

}  // namespace velor
