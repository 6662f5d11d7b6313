// How the synthesizer answers to messages.
#include "synth/engine.h"

namespace velor {

namespace {

// Time factors of the controls, as shares of the full way per second; 1/96 makes a volume jump last ten
// milliseconds.
constexpr float kGainTime = 1.0f / 96;
constexpr float kSlowTime = 1.0f;
constexpr float kFastTime = 0.5f;

// Controllers without a home of their own in the switch below.
constexpr unsigned kDrumFlag = 128;  // internal: a value of 64 and more makes the channel a drum channel

}  // namespace

void SynthEngine::move(SmoothedControl& control, float target, float timeFactor) {
    control.moveTo(target, timeFactor, blocksPerSecond_, options_.smoothing);
}

void SynthEngine::handle(MidiMessage message) {
    const std::uint32_t index = message.channel();
    if (index >= channels_.size())
        return;
    Channel& channel = channels_[index];
    const unsigned data1 = message.data1();
    const unsigned data2 = message.data2() & 127;
    const int key = static_cast<int>(data1 & 127);
    switch (message.type()) {
        case 0x80:
            return noteOff(channel, index, key);
        case 0x90:
            return data2 == 0 ? noteOff(channel, index, key)
                              : noteOn(channel, index, key, static_cast<int>(data2));
        case 0xA0:
            for (Note* note = channel.firstNote; note; note = note->channelNext)
                if (note->key == key)
                    for (Voice* voice = note->voices; voice; voice = voice->next)
                        voice->setPressure(static_cast<float>(data2) * (1.0f / 127));
            return;
        case 0xB0:
            return controlChange(channel, index, data1, data2);
        case 0xC0:
            return programChange(channel, data1 & 127);
        case 0xD0:
            return move(channel.pressure, static_cast<float>(data1 & 127) / 127, kSlowTime);
        case 0xE0:
            return move(channel.bend, bendPosition(data1 & 127, data2), kFastTime);
        default:
            return;
    }
}

std::shared_ptr<const SynthInstrument> SynthEngine::findInstrument(std::uint32_t patch) const {
    for (const auto& instrument : instruments_)
        if (instrument->patch.value == patch)
            return instrument;
    return nullptr;
}

std::shared_ptr<const SynthInstrument> SynthEngine::findWithFallbacks(std::uint32_t patch) const {
    for (const PatchNumber tried : PatchFallbacks(PatchNumber(patch)))
        if (auto found = findInstrument(tried.value))
            return found;
    return nullptr;
}

void SynthEngine::programChange(Channel& channel, unsigned program) {
    channel.midi.patch = (channel.midi.patch & ~127u) | program;
    channel.midi.programReceived = true;
    std::shared_ptr<const SynthInstrument> found = findWithFallbacks(channel.midi.patch);
    if (found != channel.instrument && !locked_.load(std::memory_order_relaxed))
        channel.instrument = std::move(found);
}

void SynthEngine::controlChange(Channel& channel, std::uint32_t index, unsigned number, unsigned value) {
    ChannelState& midi = channel.midi;
    const auto byte = static_cast<std::uint8_t>(value);
    const float share = static_cast<float>(value) / 127;
    const bool on = value >= 64;
    switch (number) {
        case 0:
            midi.patch = (midi.patch & ~(127u << 14)) | value << 14;
            return;
        case 32:
            midi.patch = (midi.patch & ~(127u << 7)) | value << 7;
            return;
        case 1:
            midi.modulation.coarse = byte;
            return move(channel.modulation, midi.modulation.share(), kSlowTime);
        case 33:
            midi.modulation.fine = byte;
            return move(channel.modulation, midi.modulation.share(), kSlowTime);
        case 5:
            midi.portamentoTime.coarse = byte;
            break;
        case 37:
            midi.portamentoTime.fine = byte;
            break;
        case 6:
            midi.dataEntry.coarse = byte;
            return channel.applyRpn();
        case 38:
            midi.dataEntry.fine = byte;
            return channel.applyRpn();
        case 7:
            midi.volume.coarse = byte;
            return move(channel.gain, channel.gainTarget(), kGainTime);
        case 39:
            midi.volume.fine = byte;
            return move(channel.gain, channel.gainTarget(), kGainTime);
        case 11:
            midi.expression.coarse = byte;
            return move(channel.gain, channel.gainTarget(), kGainTime);
        case 43:
            midi.expression.fine = byte;
            return move(channel.gain, channel.gainTarget(), kGainTime);
        case 10:
            midi.pan.coarse = byte;
            return move(channel.pan, channel.panTarget(), kFastTime);
        case 42:
            midi.pan.fine = byte;
            return move(channel.pan, channel.panTarget(), kFastTime);
        case 64:
            channel.sustain = on;
            if (!on) {
                for (Note *note = channel.firstNote, *next; note; note = next) {
                    next = note->channelNext;
                    if (!note->heldBySustain)
                        continue;
                    note->heldBySustain = false;
                    releaseNote(channel, index, *note);
                }
            }
            return;
        case 65:
            channel.portamento = on;
            return;
        case 66:
            if (on == channel.sostenuto)
                return;
            channel.sostenuto = on;
            for (Note *note = channel.firstNote, *next; note; note = next) {
                next = note->channelNext;
                if (on) {
                    note->heldBySostenuto = !note->fading();
                } else if (note->heldBySostenuto) {
                    note->heldBySostenuto = false;
                    if (note->released)
                        releaseNote(channel, index, *note);
                }
            }
            return;
        case 67:
            channel.soft = on;
            if (on)
                for (Note* note = channel.firstNote; note; note = note->channelNext)
                    for (Voice* voice = note->voices; voice; voice = voice->next)
                        voice->setSoft();
            return;
        case 91:
            return move(channel.reverb, share, kSlowTime);
        case 93:
            return move(channel.chorus, share, kSlowTime);
        case 96:
            return channel.stepData(1);
        case 97:
            return channel.stepData(-1);
        case 100:
            midi.rpn.fine = byte;
            return;
        case 101:
            midi.rpn.coarse = byte;
            return;
        case 120:
            return freeChannelNotes(channel);
        case 121:
            return resetControllers(channel, index);
        case 123:
            for (Note *note = channel.firstNote, *next; note; note = next) {
                next = note->channelNext;
                if (!note->released)
                    releaseNote(channel, index, *note);
            }
            return;
        case 126:
        case 127:
            channel.mono = number == 126;
            return freeChannelNotes(channel);
        case kDrumFlag:
            midi.patch = on ? midi.patch | PatchNumber::kDrumBit : midi.patch & ~PatchNumber::kDrumBit;
            return;
        default:
            return;
    }
    channel.portamentoSeconds = portamentoSeconds(midi.portamentoTime);
}

void SynthEngine::resetControllers(Channel& channel, std::uint32_t index) {
    channel.midi.volume.fine = channel.midi.expression.fine = channel.midi.modulation.fine =
        MidiValue::kNeverReceived;
    static constexpr std::uint8_t kDefaults[][2] = {{7, 100}, {11, 127}, {1, 0},  {64, 0},
                                                    {69, 0},  {65, 0},   {66, 0}, {68, 0}};
    for (const auto& [number, value] : kDefaults)
        controlChange(channel, index, number, value);
    handle(MidiMessage(0xE0 | (index & 15), 0, 64, index / 16));
    handle(MidiMessage(0xD0 | (index & 15), 0, 0, index / 16));
}

}  // namespace velor
