// The synthesizer: plays the instruments of a collection from a stream of MIDI channel messages.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "items/collection.h"
#include "items/midi_song.h"
#include "synth/channel.h"
#include "synth/effects.h"
#include "synth/event_ring.h"
#include "synth/note.h"
#include "synth/worker_pool.h"

namespace velor {

// What a synthesizer is called wherever one is listed.
inline constexpr const char* kSynthName = "Velor Synthesizer";

inline constexpr const char* kCouldNotCreateInstrument = "Couldn't create instrument";

struct SynthOptions {
    std::uint32_t workers = 1;  // threads that render, the caller's included; limited to the processors
    bool effects = true;        // reverb, chorus and the other sends
    // Controllers move to their targets over several blocks, which keeps hand movements free of steps.
    // Without, they follow the messages block by block.
    bool smoothing = true;
};

// Threads: messages may be queued by any thread. render(), renderBlock(), processEvents() and shedLoad()
// belong to the one render thread, which takes no lock and, once instruments are loaded, allocates nothing
// (unless more voices sound than eight per note of the polyphony). Everything else belongs to the control
// thread.
class SynthEngine {
  public:
    // 16 channels per port; `polyphony` is the number of notes that may sound; sample rate in Hz. A gain of 0
    // stands for min(1, 2.5 / sqrt(polyphony)). Starts disabled.
    SynthEngine(std::uint32_t channels, std::uint32_t polyphony, std::uint32_t sampleRate, float gain,
                const SynthOptions& options = {});
    ~SynthEngine();
    SynthEngine(const SynthEngine&) = delete;
    SynthEngine& operator=(const SynthEngine&) = delete;

    // --- Instruments (control thread) ---
    // With `add` false the engine is stopped and reset, holds this instrument only and is enabled again; with
    // `add` true it is added to the others. False with "Couldn't create instrument".
    bool loadInstrument(Instrument& instrument, bool add);
    // Adds the collection's instrument of exactly that patch. Only while disabled. False with "Couldn't
    // create instrument" when there is none or nothing of it can be decoded.
    bool loadPatch(Collection& collection, PatchNumber patch);
    // Stops, adds the instruments of the collection that the song uses, in the song's order, and is enabled
    // again. Patches that the collection does not have stay in `missing`. False when an instrument could not
    // be created; the others are loaded all the same.
    bool loadSongInstruments(Collection& collection, const MidiSong& song,
                             std::vector<PatchNumber>* missing = nullptr);
    bool hasInstrument(PatchNumber patch) const;
    // Asks the render thread to let go of an instrument, or to play another in its place from now on. False
    // when the engine does not hold it, or a request of that kind is still waiting.
    bool requestRemove(PatchNumber patch);
    bool requestReplace(PatchNumber patch, Instrument& by);
    // Locked, program changes no longer change the instruments of the channels.
    void lockInstruments(bool locked) { locked_.store(locked); }
    // Bytes of sample data held.
    std::size_t sampleBytes() const;

    void enable();
    // Returns when the render thread has left its block.
    void disable();
    // Ends all notes and restores the defaults of all controllers. Only while disabled, or on the render
    // thread.
    void reset();

    // --- Messages (any thread) ---
    // Time in milliseconds; false when the queue is full and the message lost.
    bool queueEvent(MidiMessage message, std::uint32_t milliseconds) noexcept;
    // Time in seconds.
    bool queueEventSeconds(MidiMessage message, double seconds) noexcept;

    // --- Sound (render thread) ---
    // Handles the queued messages that are due, without rendering.
    void processEvents();
    // One block of 64 interleaved stereo frames; true when a sample left -1..1.
    bool renderBlock(float* out);
    // Any number of frames of `deviceChannels` channels: two get left and right, one gets left only, and more
    // get silence behind left and right. True when any block clipped.
    bool render(float* out, std::uint32_t frames, std::uint32_t deviceChannels);
    // Ends the quietest note: gently (its voices fade out) or at once. False when there is none to end.
    bool shedLoad(bool soft);
    // The same for a measured load, time spent rendering over time rendered; ends nothing up to 0.8.
    void shedLoad(double load);

    // --- State ---
    // "12 regions -CLIPPING-", or empty while silent. Reading clears the mark.
    std::string statusText();
    std::uint32_t soundingRegions() const { return sounding_.load(std::memory_order_relaxed); }
    std::uint32_t soundingNotes() const { return notes_.taken(); }
    const Channel& channel(std::uint32_t index) const { return channels_[index]; }
    std::uint32_t channels() const { return static_cast<std::uint32_t>(channels_.size()); }
    std::uint32_t sampleRate() const { return sampleRate_; }
    float gain() const { return gain_; }

  private:
    enum class Trigger { Attack, Release };
    struct Replacement {
        std::shared_ptr<const SynthInstrument> old, by;
    };

    void addInstrument(std::shared_ptr<const SynthInstrument> built);

    // Messages, in engine_messages.cpp
    void handle(MidiMessage message);
    void controlChange(Channel& channel, std::uint32_t index, unsigned number, unsigned value);
    void programChange(Channel& channel, unsigned program);
    void resetControllers(Channel& channel, std::uint32_t index);
    std::shared_ptr<const SynthInstrument> findInstrument(std::uint32_t patch) const;
    std::shared_ptr<const SynthInstrument> findWithFallbacks(std::uint32_t patch) const;
    void move(SmoothedControl& control, float target, float timeFactor);

    // Notes, in engine_notes.cpp
    void noteOn(Channel& channel, std::uint32_t index, int key, int velocity);
    void noteOff(Channel& channel, std::uint32_t index, int key);
    void trigger(Channel& channel, std::uint32_t index, Trigger mode, int key, int velocity);
    void selectRegions(Channel& channel, Trigger mode, int key, int velocity);
    void startNote(Channel& channel, std::uint32_t index, int key, int velocity, bool released);
    void releaseNote(Channel& channel, std::uint32_t index, Note& note);
    void releaseVoices(Note& note);
    void freeNote(Note& note);
    void freeChannelNotes(Channel& channel);
    void unlink(Note& note);
    void orphan(Voice* voice);
    Note* quietest(bool soft) const;
    void keepPolyphony();

    // Blocks
    void handleRequests();
    void advanceControls();
    void renderVoices(float* out);
    void sweep();
    void addGroups(std::uint32_t first, std::uint32_t count, std::uint32_t step);
    static void runJob(void* context, std::uint32_t job);

    std::uint32_t polyphony_;
    std::uint32_t sampleRate_;
    float gain_;
    SynthOptions options_;
    float blocksPerSecond_;

    std::vector<Channel> channels_;
    std::vector<std::shared_ptr<const SynthInstrument>> instruments_;
    SynthSampleCache samples_;
    Pool<Voice> voices_;
    Pool<Note> notes_;
    Note* firstNote_ = nullptr;
    Note* lastNote_ = nullptr;
    std::vector<Voice*> active_;                // voices that sound, in the order of their start
    std::vector<const SynthRegion*> selected_;  // of the trigger at hand
    std::uint32_t random_ = 0x2545F491;

    EventRing events_;
    std::uint32_t block_ = 0;

    WorkerPool workers_;
    const VoiceKernels* kernels_;
    std::vector<ChannelSound> sounds_;  // of the block at hand, by channel
    std::vector<MixBuffers> mixes_;     // one per group of voices
    std::uint32_t parts_ = 1;           // jobs of the block at hand
    MixBuffers sends_;                  // of the block before, for the effects
    Effects effects_;
    alignas(32) float effectLeft_[kBlockFrames];
    alignas(32) float effectRight_[kBlockFrames];

    std::array<float, 2 * kBlockFrames> carry_{};  // rest of a block that render() has not handed out
    std::uint32_t carried_ = 0;                    // frames left in it

    std::atomic<std::uint8_t> enabled_{0};
    std::atomic<std::uint8_t> rendering_{0};
    std::atomic<std::uint8_t> clipped_{0};
    std::atomic<std::uint8_t> audible_{0};
    std::atomic<std::uint8_t> locked_{0};
    std::atomic<std::uint32_t> sounding_{0};
    std::atomic<const SynthInstrument*> removeRequest_{nullptr};
    std::atomic<Replacement*> replaceRequest_{nullptr};
    // Owned by the control thread, so that the render thread frees nothing.
    std::unique_ptr<Replacement> replacement_;
    std::shared_ptr<const SynthInstrument> removed_;
};

}  // namespace velor
