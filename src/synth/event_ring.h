// The way of timed messages from any thread to the render thread.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "synth/midi_message.h"

namespace velor {

// A ring of 1024 entries without locks: many writers, one reader. An entry is one word: the message in the
// low half, its time in blocks in the high half; 0 means empty, which no message is.
class EventRing {
  public:
    static constexpr std::uint32_t kEntries = 1024;

    struct Entry {
        std::uint32_t time = 0;  // blocks of 64 frames
        MidiMessage message;
    };

    // Any thread. False when the ring is full; the message is then lost.
    bool push(MidiMessage message, std::uint32_t time) noexcept {
        if (message.word == 0)
            return true;
        std::uint32_t at = write_.load(std::memory_order_relaxed);
        std::uint32_t next;
        do {
            next = (at + 1) % kEntries;
            // One entry stays free, so that a writer that has its place but has not stored yet is never
            // overtaken.
            if (next == read_.load(std::memory_order_acquire))
                return false;
        } while (!write_.compare_exchange_weak(at, next, std::memory_order_acq_rel));
        entries_[at].store(std::uint64_t{time} << 32 | message.word, std::memory_order_release);
        return true;
    }

    // Render thread. The entry at the read index; false while it is empty.
    bool peek(Entry& entry) const noexcept {
        const std::uint64_t word =
            entries_[read_.load(std::memory_order_relaxed)].load(std::memory_order_acquire);
        entry = {static_cast<std::uint32_t>(word >> 32), MidiMessage(static_cast<std::uint32_t>(word))};
        return word != 0;
    }
    // Render thread. Clears the entry that peek() showed and goes on.
    void pop() noexcept {
        const std::uint32_t at = read_.load(std::memory_order_relaxed);
        entries_[at].store(0, std::memory_order_relaxed);
        read_.store((at + 1) % kEntries, std::memory_order_release);
    }

  private:
    std::array<std::atomic<std::uint64_t>, kEntries> entries_{};
    std::atomic<std::uint32_t> write_{0};
    std::atomic<std::uint32_t> read_{0};
};

}  // namespace velor
