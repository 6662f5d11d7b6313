// A key that was struck, and the pools that notes and voices come from.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "synth/voice.h"

namespace velor {

struct Note {
    std::uint32_t channel = 0;
    int key = 0;
    int velocity = 0;
    bool released = false;
    bool heldBySustain = false;
    bool heldBySostenuto = false;
    Voice* voices = nullptr;
    // In the channel's list and in the engine's, oldest first.
    Note* channelNext = nullptr;
    Note* channelPrevious = nullptr;
    Note* next = nullptr;
    Note* previous = nullptr;

    // Sounding voices that are not about to end.
    bool fading() const {
        for (const Voice* voice = voices; voice; voice = voice->next)
            if (!voice->inFastRelease())
                return false;
        return true;
    }
    // The level of its loudest voice.
    float level() const {
        float loudest = 0;
        for (const Voice* voice = voices; voice; voice = voice->next)
            loudest = std::max(loudest, voice->level());
        return loudest;
    }
};

// Objects that are taken and given back without allocation, as long as the pool is large enough; it grows by
// doubling and never shrinks. T has a member `next`.
template <class T>
class Pool {
  public:
    explicit Pool(std::uint32_t first) { grow(first); }

    T* take() {
        if (!free_)
            grow(capacity_);
        T* object = free_;
        free_ = object->next;
        object->next = nullptr;
        ++taken_;
        return object;
    }
    void giveBack(T* object) {
        object->next = free_;
        free_ = object;
        --taken_;
    }
    std::uint32_t taken() const { return taken_; }
    std::uint32_t capacity() const { return capacity_; }

  private:
    void grow(std::uint32_t count) {
        chunks_.push_back(std::make_unique<T[]>(count));
        T* objects = chunks_.back().get();
        for (std::uint32_t i = count; i-- > 0;) {
            objects[i].next = free_;
            free_ = &objects[i];
        }
        capacity_ += count;
    }

    std::vector<std::unique_ptr<T[]>> chunks_;
    T* free_ = nullptr;
    std::uint32_t capacity_ = 0;
    std::uint32_t taken_ = 0;
};

}  // namespace velor
