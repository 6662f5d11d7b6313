#include "synth/channel.h"

#include <algorithm>
#include <cmath>

namespace velor {

namespace {

// Registered parameter numbers.
constexpr int kRpnBendRange = 0;
constexpr int kRpnFineTuning = 1;
constexpr int kRpnCoarseTuning = 2;
constexpr int kRpnNull = 16383;

// The reverb that a channel has before controller 91 arrives, as General MIDI level 2 sets it.
constexpr float kInitialReverb = 40.0f / 127;

// A number whose fine half was never received names no parameter.
int rpnNumber(const MidiValue& rpn) {
    return rpn.fine + rpn.coarse * 128;
}

}  // namespace

float MidiValue::share() const {
    return hasFine() ? static_cast<float>(fine + coarse * 128) * (1.0f / 16129)
                     : static_cast<float>(coarse) / 127;
}

void Channel::reset(std::uint32_t index) {
    Note* const first = firstNote;
    Note* const last = lastNote;
    *this = {};
    firstNote = first;
    lastNote = last;
    if (index % 16 == 9)
        midi.patch = PatchNumber::kDrumBit;
    gain.jump(gainTarget());
    reverb.jump(kInitialReverb);
}

ChannelSound Channel::sound() const {
    ChannelSound sound;
    sound.gain = gain.current;
    sound.modulation = modulation.current;
    sound.pressure = pressure.current;
    sound.bend = bend.current;
    sound.hasBendRange = bendRange != kBendRangeUnset;
    sound.bendRange = bendRange;
    sound.tuning = coarseTuning + fineTuning;
    sound.pan = pan.current;
    sound.reverb = reverb.current;
    sound.chorus = chorus.current;
    return sound;
}

float Channel::gainTarget() const {
    const float product = midi.volume.share() * midi.expression.share();
    return product * product;
}

float Channel::panTarget() const {
    if (midi.pan.hasFine()) {
        const int sum = midi.pan.whole();
        return static_cast<float>(sum + (sum < 8192 ? 1 : 0) - 8192) * (1.0f / 8191);
    }
    const int coarse = midi.pan.coarse;
    return static_cast<float>(coarse + (coarse < 64 ? 1 : 0) - 64) * (1.0f / 63);
}

void Channel::applyRpn() {
    const int fine = midi.dataEntry.hasFine() ? midi.dataEntry.fine : 0;
    const int coarse = midi.dataEntry.coarse;
    switch (rpnNumber(midi.rpn)) {
        case kRpnBendRange:
            bendRange = static_cast<float>(coarse) + static_cast<float>(fine) * 0.01f;
            break;
        case kRpnFineTuning:
            fineTuning = static_cast<float>(fine + (coarse - 64) * 128) * (1.0f / 8192);
            break;
        case kRpnCoarseTuning:
            coarseTuning = static_cast<float>(coarse - 64);
            break;
        case kRpnNull:
            fineTuning = coarseTuning = 0;
            bendRange = kBendRangeUnset;
            break;
        default:
            break;
    }
}

void Channel::stepData(int direction) {
    const int number = rpnNumber(midi.rpn);
    int coarse = midi.dataEntry.coarse;
    int fine = midi.dataEntry.hasFine() ? midi.dataEntry.fine : 0;
    if (number >= 2 && number <= 4) {
        coarse = std::clamp(coarse + direction, 0, 127);
    } else {
        const int whole = std::clamp(coarse * 128 + fine + direction, 0, 16383);
        coarse = whole / 128;
        fine = whole % 128;
        midi.dataEntry.fine = static_cast<std::uint8_t>(fine);
    }
    midi.dataEntry.coarse = static_cast<std::uint8_t>(coarse);
    applyRpn();
}

float portamentoSeconds(const MidiValue& value) {
    return 0.005f * std::exp2(6.4f * static_cast<float>(value.whole() + 1) / 16384);
}

float bendPosition(unsigned data1, unsigned data2) {
    const int v = static_cast<int>(data1) + (static_cast<int>(data2) - 64) * 128;
    return static_cast<float>(v >= 1 ? v + 1 : v) * (1.0f / 8192);
}

}  // namespace velor
