// Editing the structure of a waveform: new sample data made of pieces of the old ones, of other frames and of
// silence, and what becomes of the loops in them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "items/collection.h"

namespace velor {

// Frames, the end exclusive; either may carry a fraction.
struct LoopPoints {
    double start = 0;
    double end = 0;
    friend bool operator==(const LoopPoints&, const LoopPoints&) = default;
};

// A list of pieces that make up the new data. Pieces of the waveform come in the order that they have in it
// and none twice, so that every frame has at most one new place.
class FrameEdit {
  public:
    // The waveform's samples must be loaded; they are read by build(). `channels` of the result, 0 for as
    // many as the waveform has; a mono waveform goes to both sides of a stereo result, never the reverse.
    explicit FrameEdit(const Waveform& waveform, std::uint8_t channels = 0);

    // Frames first to end - 1 of the waveform; bounds beyond its data are cut back.
    void keep(std::uint32_t first, std::uint32_t end);
    // The same frames with other contents: interleaved, in the channels of the result, which must live until
    // build().
    void replace(std::uint32_t first, std::uint32_t end, std::span<const float> with);
    // Frames that were not in the waveform.
    void insert(std::span<const float> frames);
    void silence(std::uint64_t frames);

    // Cross-fades of that many frames where pieces meet that did not follow each other, so that edits do not
    // click: raised cosines, at constant sum, since what meets is mostly one sound. Where two kept pieces
    // meet, half lies on each side and what was cut away goes into it; beside inserted frames all of it lies
    // in them and what is kept stays as it is. Shorter where pieces are. The length does not change.
    void fadeJoins(std::uint64_t frames) { joinFade_ = frames; }
    // Fades the result in or out where it no longer begins or ends as the waveform did.
    void fadeEnds(std::uint64_t frames) { endFade_ = frames; }

    // Of the result.
    std::uint64_t frames() const { return total_; }
    std::uint8_t channels() const { return channels_; }
    // Whether the result is the waveform as it is.
    bool changesNothing() const;

    // Makes the new data and tells the progress from 0 to 1. Empty with LastErrorText when nothing would be
    // left, when the result would have more than 2^32 - 1 frames, or memory is missing, or with
    // kProcessingCancelled.
    SampleBufferRef build(UserInterface& ui) const;

    // The new place of a loop: the frames of it that were kept, and what is now between them. Empty when none
    // was kept, or when there was no loop (end not behind start).
    std::optional<LoopPoints> mapLoop(const LoopPoints& loop) const;

  private:
    struct Piece {
        bool own;              // has a place in the waveform
        const float* samples;  // of pieces that are not taken from there; nullptr for silence
        std::uint64_t first;   // frame of the waveform
        std::uint64_t count;
        std::uint64_t at;  // frame of the result
    };

    void add(bool own, const float* samples, std::uint64_t first, std::uint64_t count);
    float ownSample(std::uint64_t frame, unsigned channel) const;
    bool copy(const Piece& piece, float* to, UserInterface& ui) const;
    bool fadeJoin(const Piece& left, const Piece& right, float* result, UserInterface& ui) const;
    bool fadeResultEnds(float* result, UserInterface& ui) const;

    std::span<const float> own_;
    std::uint32_t rate_;
    unsigned ownChannels_;
    std::uint64_t ownFrames_;
    std::uint8_t channels_;
    std::vector<Piece> pieces_;
    std::uint64_t total_ = 0;
    std::uint64_t joinFade_ = 0;
    std::uint64_t endFade_ = 0;
};

// Builds the new data and gives them to the waveform, whose loop follows, and so do the loops of the regions
// in the collection that play it. A loop that lost all of its frames is removed; a region then falls back to
// the waveform's, and one whose own loop outlives the waveform's keeps looping it. Rate, tuning and texts
// stay. False, with nothing changed, when build() fails.
bool applyFrameEdit(Collection& collection, Waveform& waveform, const FrameEdit& edit, UserInterface& ui);

// The loop overrides of a region that played `before` and will play `after`, which is what the edit made of
// it, its loop already in place.
void moveRegionLoop(Region& region, const Waveform& before, const Waveform& after, const FrameEdit& edit);

// A time in ms in frames, rounded, at least 0 and at most 2^32.
std::uint64_t framesOfTime(double milliseconds, std::uint32_t rate);

inline constexpr const char* kNothingLeft = "Nothing would be left of the waveform";
inline constexpr const char* kTooManyFrames = "The result would be longer than 4294967295 frames";

}  // namespace velor
