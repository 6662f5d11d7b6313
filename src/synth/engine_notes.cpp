// Notes: which regions a key starts, and how they end.
#include <algorithm>
#include <cmath>

#include "synth/engine.h"

namespace velor {

namespace {

// A note-off without its note may still start release regions, as loud as this.
constexpr int kReleaseVelocity = 64;

float nextRandom(std::uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<float>(static_cast<std::int32_t>(state)) * (1.0f / 2147483648.0f);
}

bool pedalAllows(RegionPedal condition, bool down) {
    return condition == RegionPedal::Always || (condition == RegionPedal::OnlyDown) == down;
}

}  // namespace

void SynthEngine::noteOn(Channel& channel, std::uint32_t index, int key, int velocity) {
    trigger(channel, index, Trigger::Attack, key, velocity);
}

void SynthEngine::noteOff(Channel& channel, std::uint32_t index, int key) {
    for (Note* note = channel.firstNote; note; note = note->channelNext)
        if (!note->released && note->key == key)
            return releaseNote(channel, index, *note);
    trigger(channel, index, Trigger::Release, key, kReleaseVelocity);
}

// What a lifted key does to its note; also what a lifted pedal does later.
void SynthEngine::releaseNote(Channel& channel, std::uint32_t index, Note& note) {
    note.released = true;
    if (channel.sustain || note.heldBySostenuto) {
        note.heldBySustain = !note.heldBySostenuto;
        for (Voice* voice = note.voices; voice; voice = voice->next)
            voice->setHeld(true);
        return;
    }
    releaseVoices(note);
    trigger(channel, index, Trigger::Release, note.key, note.velocity);
}

void SynthEngine::releaseVoices(Note& note) {
    note.heldBySustain = false;
    for (Voice* voice = note.voices; voice; voice = voice->next) {
        voice->setHeld(false);
        voice->release();
    }
}

// Fills selected_ with the regions that a trigger takes, in the instrument's order.
void SynthEngine::selectRegions(Channel& channel, Trigger mode, int key, int velocity) {
    selected_.clear();
    const std::vector<SynthRegion>& regions = channel.instrument->regions;
    const auto answers = [&](const SynthRegion& region) {
        return region.keys.contains(key) && region.velocities.contains(velocity) &&
               pedalAllows(region.pedal, channel.sustain);
    };
    std::uint32_t served = 0;  // round-robin groups
    for (const SynthRegion& region : regions) {
        if (!answers(region))
            continue;
        const int kind = region.trigger;
        if (kind == RegionTrigger::kAttack || kind == RegionTrigger::kRelease) {
            if ((kind == RegionTrigger::kAttack) == (mode == Trigger::Attack))
                selected_.push_back(&region);
            continue;
        }
        const int group = kind - RegionTrigger::kFirstGroup;
        if (mode != Trigger::Attack || kind > RegionTrigger::kLastGroup || served & 1u << group)
            continue;
        served |= 1u << group;
        std::uint32_t members = 0;
        for (const SynthRegion& other : regions)
            members += other.trigger == kind && answers(other);
        std::uint8_t& counter = channel.roundRobin[static_cast<std::size_t>(group)];
        const std::uint32_t turn = counter % members;
        counter = static_cast<std::uint8_t>((turn + 1) % members);
        std::uint32_t number = 0;
        for (const SynthRegion& other : regions) {
            if (other.trigger == kind && answers(other) && number++ == turn) {
                selected_.push_back(&other);
                break;
            }
        }
    }
}

void SynthEngine::trigger(Channel& channel, std::uint32_t index, Trigger mode, int key, int velocity) {
    if (!channel.instrument) {
        channel.instrument = findWithFallbacks(channel.midi.patch & PatchNumber::kDrumBit);
        if (!channel.instrument)
            return;
    }
    const bool attack = mode == Trigger::Attack;
    if (attack && channel.portamento) {
        for (const Note* note = channel.firstNote; note; note = note->channelNext) {
            if (note->released)
                continue;
            const float distance = static_cast<float>(key - note->key);
            const float blocks = std::fabs(distance) * channel.portamentoSeconds *
                                 static_cast<float>(sampleRate_) / static_cast<float>(kBlockFrames);
            channel.glideBlocks = std::max(1, static_cast<int>(blocks));
            channel.glideKey = static_cast<float>(note->key);
            channel.glideStep = distance / static_cast<float>(channel.glideBlocks);
            break;
        }
    }
    selectRegions(channel, mode, key, velocity);
    if (selected_.empty())
        return;
    if (channel.mono) {
        // One note at a time: a new attack ends all others.
        if (attack)
            for (Note* note = channel.firstNote; note; note = note->channelNext)
                for (Voice* voice = note->voices; voice; voice = voice->next)
                    voice->fastRelease();
    } else {
        for (Note* note = channel.firstNote; note; note = note->channelNext) {
            for (Voice* voice = note->voices; voice; voice = voice->next) {
                const std::uint8_t its = voice->region().exclusiveClass;
                // A release region takes the place of the note that it belongs to.
                bool ends = note->key == key;
                for (const SynthRegion* region : selected_)
                    ends = ends || (its != 0 && region->exclusiveClass == its);
                if (ends)
                    voice->fastRelease();
            }
        }
    }
    startNote(channel, index, key, velocity, !attack);
}

void SynthEngine::startNote(Channel& channel, std::uint32_t index, int key, int velocity, bool released) {
    keepPolyphony();
    Note* note = notes_.take();
    *note = {};
    note->channel = index;
    note->key = key;
    note->velocity = velocity;
    note->released = released;
    note->channelPrevious = channel.lastNote;
    (channel.lastNote ? channel.lastNote->channelNext : channel.firstNote) = note;
    channel.lastNote = note;
    note->previous = lastNote_;
    (lastNote_ ? lastNote_->next : firstNote_) = note;
    lastNote_ = note;

    for (const SynthRegion* region : selected_) {
        Voice* voice = voices_.take();
        const float pitch = nextRandom(random_);
        const float pan = nextRandom(random_);
        voice->start(channel.instrument, *region, index, key, velocity, {pitch, pan, random_},
                     static_cast<float>(sampleRate_));
        if (channel.soft)
            voice->setSoft();
        if (channel.glideBlocks > 0)
            voice->setGlide(channel.glideKey - static_cast<float>(key));
        voice->note = note;
        voice->next = note->voices;
        note->voices = voice;
        active_.push_back(voice);
    }
}

void SynthEngine::unlink(Note& note) {
    Channel& channel = channels_[note.channel];
    (note.channelPrevious ? note.channelPrevious->channelNext : channel.firstNote) = note.channelNext;
    (note.channelNext ? note.channelNext->channelPrevious : channel.lastNote) = note.channelPrevious;
    (note.previous ? note.previous->next : firstNote_) = note.next;
    (note.next ? note.next->previous : lastNote_) = note.previous;
}

// The note is gone at once; its voices end within the next block, so that nothing clicks.
void SynthEngine::freeNote(Note& note) {
    for (Voice *voice = note.voices, *next; voice; voice = next) {
        next = voice->next;
        orphan(voice);
    }
    unlink(note);
    notes_.giveBack(&note);
}

void SynthEngine::orphan(Voice* voice) {
    voice->releaseNow();
    voice->note = nullptr;
    voice->next = nullptr;
}

void SynthEngine::freeChannelNotes(Channel& channel) {
    while (channel.firstNote)
        freeNote(*channel.firstNote);
}

// The note with the lowest level; among equals the oldest. Gently, notes that fade already do not count.
Note* SynthEngine::quietest(bool soft) const {
    Note* found = nullptr;
    int lowest = 0;
    for (Note* note = firstNote_; note; note = note->next) {
        if (soft && note->fading())
            continue;
        const int level = static_cast<int>(note->level() * 65536);
        if (!found || level < lowest) {
            found = note;
            lowest = level;
        }
    }
    return found;
}

bool SynthEngine::shedLoad(bool soft) {
    Note* note = quietest(soft);
    if (!note)
        return false;
    if (soft) {
        for (Voice* voice = note->voices; voice; voice = voice->next)
            voice->fastRelease();
    } else {
        freeNote(*note);
    }
    return true;
}

void SynthEngine::shedLoad(double load) {
    if (!(load > 0.8))
        return;
    // A load of 0.9 is two steps of 0.05 above, whatever the rounding of the binary fractions says.
    const auto wanted = static_cast<std::uint32_t>(std::min((load - 0.8) / 0.05 + 1e-6, 1e6)) + 1;
    const std::uint32_t count = std::min(wanted, (notes_.taken() + 2) / 4);
    for (std::uint32_t i = 0; i < count; ++i)
        if (!shedLoad(load < 1.0))
            break;
}

// Makes room for one more note: as long as too many sound, the quietest goes, released ones first. A note
// that has not been heard yet has no level and stays.
void SynthEngine::keepPolyphony() {
    std::uint32_t sounding = 0;
    for (const Note* note = firstNote_; note; note = note->next)
        sounding += !note->fading();
    while (sounding >= polyphony_) {
        Note* found = nullptr;
        float lowest = 0;
        for (Note* note = firstNote_; note; note = note->next) {
            if (note->fading())
                continue;
            const bool fresh = !note->voices->rendered();
            const float level = (fresh ? 4.0f : 0.0f) + (note->released ? 0.0f : 2.0f) + note->level();
            if (!found || level < lowest) {
                found = note;
                lowest = level;
            }
        }
        if (!found)
            return;
        for (Voice* voice = found->voices; voice; voice = voice->next)
            voice->fastRelease();
        --sounding;
    }
}

}  // namespace velor
