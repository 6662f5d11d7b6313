// Channel messages packed into one word, as songs, keyboards and the synthesizer exchange them.
#pragma once

#include <cstdint>

namespace velor {

// Byte 0 status, byte 1 first data byte, byte 2 second data byte, byte 3 port.
struct MidiMessage {
    std::uint32_t word = 0;

    constexpr MidiMessage() = default;
    constexpr explicit MidiMessage(std::uint32_t packed) : word(packed) {}
    constexpr MidiMessage(unsigned status, unsigned data1, unsigned data2, unsigned port = 0)
        : word((status & 0xFF) | (data1 & 0xFF) << 8 | (data2 & 0xFF) << 16 | (port & 0xFF) << 24) {}

    constexpr unsigned status() const { return word & 0xFF; }
    constexpr unsigned type() const { return word & 0xF0; }
    constexpr unsigned data1() const { return word >> 8 & 0xFF; }
    constexpr unsigned data2() const { return word >> 16 & 0xFF; }
    constexpr unsigned port() const { return word >> 24; }
    // Sixteen channels per port.
    constexpr unsigned channel() const { return port() * 16 + (word & 0x0F); }
};

}  // namespace velor
