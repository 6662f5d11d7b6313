// Sample data with its loop, tuning and texts.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "items/item.h"
#include "items/sample_buffer.h"
#include "items/sample_encoding.h"

namespace velor {

class Waveform;

enum class LoopMode : std::uint8_t { None = 0, Forward = 1, Backward = 2, Alternating = 3 };

const char* loopModeName(LoopMode mode);  // "none", "forward", "backward", "alternating"

// The texts a waveform keeps beside its name.
enum class WaveText : std::uint8_t { Artist, Product, Copyright, Comment, Engineer };
inline constexpr std::size_t kWaveTexts = 5;
const char* waveTextName(WaveText text);  // "artist" …

// How undecoded integer or float samples lie in their file, for writers that can take them over bit by bit.
struct StoredPcm {
    std::uint32_t formatWord = 0;  // encoding bit and layout flags, see source_format
    std::uint64_t byteSize = 0;    // of all frames
};

// One pass over the frames of a source, front to back.
class FrameStream {
  public:
    virtual ~FrameStream() = default;
    // Decodes the next `count` frames into `to` (count × channels floats). The caller asks for no more frames
    // than the waveform has. False with LastErrorText ("Reading from file failed").
    virtual bool read(std::uint32_t count, float* to) = 0;
};

// Sample data that is still in its file and is decoded on first use. Shared by clones of a waveform.
class WaveformSource {
  public:
    virtual ~WaveformSource() = default;

    // Fills the waveform's samples: allocates its SampleBuffer and may lower its frame count. False with
    // LastErrorText ("Reading from file failed", "Out of memory") when that fails.
    virtual bool decode(Waveform& waveform) const = 0;

    // For sources that can be decoded piece by piece, whose frame count is then certain.
    virtual bool canStream() const { return false; }
    // A pass from the first frame on; nullptr when canStream() is false.
    virtual std::unique_ptr<FrameStream> openStream(const Waveform& waveform) const;

    // Set when the stored data are plain interleaved samples of exactly the waveform's frames and channels.
    virtual bool storedPcm(const Waveform& waveform, StoredPcm& layout) const;
    // Reads stored bytes as they are; false with "Reading from file failed".
    virtual bool readStored(std::uint64_t offset, std::span<Byte> to) const;
};

class Waveform final : public Item {
  public:
    // --- Sample data ---
    std::uint32_t frames = 0;
    std::uint32_t sampleRate = 44100;  // Hz
    std::uint8_t channels = 1;         // 1 or 2
    std::uint8_t bits = 16;            // as stored in the file
    SampleFormat format = SampleFormat::Pcm16;
    std::uint32_t sourceFormat = 0;       // source format word, see source_format
    std::uint64_t sourceOffset = 0;       // file position of the first sample byte
    std::uint64_t secondBlockOffset = 0;  // planar stereo: where the second channel starts; 0 = right after
    std::string sourceFile;               // UTF-8, for display

    // --- Tuning and level ---
    std::uint8_t rootKey = 60;
    std::int8_t fineTune = 0;  // cents added when it is played; the frames themselves sound that much lower
    float tuning = 0;          // semitones, beside the fine tune
    float gain = 0;            // dB

    // --- Loop ---
    bool looped = false;
    LoopMode loopMode = LoopMode::None;
    double loopStart = 0;  // frames
    double loopEnd = 0;    // frames, exclusive; may carry a fraction
    bool loopUntilRelease = false;
    bool playThrough = false;

    // --- Texts ---
    std::array<std::string, kWaveTexts> texts;
    const std::string& text(WaveText which) const { return texts[static_cast<std::size_t>(which)]; }
    std::string& text(WaveText which) { return texts[static_cast<std::size_t>(which)]; }
    // Sets the text of a RIFF INFO id (INAM, IART, IPRD, ICOP, ICMT, IENG) given as fourCc(); other ids are
    // dropped and give false. Text ends at its first NUL.
    bool setInfoText(std::uint32_t id, std::string_view text);

    void setLoop(LoopMode mode, double start, double end);
    void clearLoop();
    // The fine tune and the further tuning together, in cents.
    float tuningCents() const { return static_cast<float>(fineTune) + 100.0f * tuning; }
    double durationSeconds() const { return sampleRate ? static_cast<double>(frames) / sampleRate : 0; }
    SampleEncoding sourceEncoding() const;

    // Releases the current SampleBuffer, creates one from frames, channels and sampleRate (frames not
    // initialised) and returns frame 0; nullptr when memory is exhausted, and then there is no buffer.
    float* allocateSamples();
    // Makes the frames available as floats, decoding them from the file when that has not been done. False
    // with LastErrorText.
    bool loadSamples();
    bool samplesLoaded() const { return static_cast<bool>(buffer_); }
    // Interleaved frames; empty while not loaded.
    std::span<float> samples() { return buffer_ ? buffer_->samples() : std::span<float>(); }
    std::span<const float> samples() const {
        return buffer_ ? std::as_const(*buffer_.get()).samples() : std::span<const float>();
    }
    const SampleBufferRef& buffer() const { return buffer_; }
    // Takes over a buffer and sets frames, channels and rate from it; the file source is dropped.
    void installBuffer(SampleBufferRef buffer);
    // The same for edited samples of the waveform's own rate: that one stays exact, which a buffer's float
    // may not be.
    void replaceSamples(SampleBufferRef buffer) {
        const std::uint32_t rate = sampleRate;
        installBuffer(std::move(buffer));
        sampleRate = rate;
    }
    void releaseSamples() { buffer_ = {}; }

    const std::shared_ptr<const WaveformSource>& source() const { return source_; }
    void setSource(std::shared_ptr<const WaveformSource> source) { source_ = std::move(source); }

    // Copies everything but id, owner and name; sample data are shared.
    void copyContentFrom(const Waveform& other);

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    Waveform(Collection& owner, ItemId id) : Item(owner, id) {}

    SampleBufferRef buffer_;
    std::shared_ptr<const WaveformSource> source_;
};

}  // namespace velor
