// The MIDI state of a channel, and the sound that follows from it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "items/instrument.h"
#include "synth/smoothed_control.h"
#include "synth/voice.h"

namespace velor {

// A value of two 7-bit halves; the fine half is 255 until it has been received.
struct MidiValue {
    static constexpr std::uint8_t kNeverReceived = 255;
    std::uint8_t coarse = 0;
    std::uint8_t fine = kNeverReceived;

    bool hasFine() const { return fine != kNeverReceived; }
    // Both halves as one number; a fine half that was never received counts as 0.
    int whole() const { return (hasFine() ? fine : 0) + coarse * 128; }
    // 0..1 by the coarse half alone; with both, full scale is slightly above 1 (divided by 127 squared).
    float share() const;
};

// As the messages have set it.
struct ChannelState {
    std::uint32_t patch = 0;  // PatchNumber
    MidiValue volume{100, MidiValue::kNeverReceived};
    MidiValue expression{127, MidiValue::kNeverReceived};
    MidiValue modulation{0, MidiValue::kNeverReceived};
    MidiValue pan{64, MidiValue::kNeverReceived};
    MidiValue rpn;
    MidiValue dataEntry;
    MidiValue portamentoTime{1, MidiValue::kNeverReceived};
    bool programReceived = false;
};

struct Note;

struct Channel {
    // "Not set": the instrument's own bend range applies. Its bits are F30DCCD9 hex.
    static constexpr float kBendRangeUnset = -1.1234568e31f;

    ChannelState midi;

    // --- Sound ---
    std::shared_ptr<const SynthInstrument> instrument;
    SmoothedControl gain, modulation, pressure, bend, pan, reverb, chorus;
    float bendRange = kBendRangeUnset;   // semitones
    float fineTuning = 0;                // semitones
    float coarseTuning = 0;              // semitones
    float portamentoSeconds = 0.00875f;  // per semitone
    bool sustain = false;
    bool sostenuto = false;
    bool soft = false;
    bool portamento = false;
    bool mono = false;
    // A running glide: the key position it has reached, and where it goes.
    float glideKey = 0;
    float glideStep = 0;  // keys per block
    int glideBlocks = 0;  // remaining
    std::array<std::uint8_t, 16> roundRobin{};
    Note* firstNote = nullptr;  // oldest
    Note* lastNote = nullptr;

    // Everything as at the start; channel index 9 of every port plays drums. Notes are not touched.
    void reset(std::uint32_t index);
    // What its voices take for one block.
    ChannelSound sound() const;
    // Targets of the controls that are made of several values.
    float gainTarget() const;
    float panTarget() const;
    // Takes the data-entry value over into the registered parameter that is selected.
    void applyRpn();
    // Data increment (+1) and decrement (-1).
    void stepData(int direction);
};

// Portamento time of controllers 5 and 37, in seconds per semitone.
float portamentoSeconds(const MidiValue& value);
// -1..1, exactly at both ends, from the two data bytes of a pitch-bend message.
float bendPosition(unsigned data1, unsigned data2);

}  // namespace velor
