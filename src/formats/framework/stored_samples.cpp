#include "formats/framework/stored_samples.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "base/error.h"
#include "formats/framework/frame_reader.h"

namespace velor {

namespace {

// Bytes read from the file at a time; a block of this size lives on the stack.
constexpr std::size_t kReadBytes = 65536;

bool isPacked(SampleEncoding encoding) {
    return encoding == SampleEncoding::Pcm12 || encoding == SampleEncoding::Pcm20;
}

bool isDelta(SampleEncoding encoding) {
    return encoding == SampleEncoding::DeltaPcm8 || encoding == SampleEncoding::DeltaPcm16;
}

std::uint32_t sampleBytes(SampleEncoding encoding) {
    return static_cast<std::uint32_t>(encodingBits(encoding)) / 8;
}

// Moves the wanted bytes of each frame together: the first `channels` channels, and of each sample the most
// significant `width` bytes. Works in place, front to back.
void compactFrames(Byte* data, std::uint32_t frames, const StoredBlock& block, std::uint32_t container,
                   std::uint32_t channels) {
    const std::uint32_t width = sampleBytes(block.layout.encoding);
    const std::uint32_t skip = block.layout.order == ByteOrder::Little ? container - width : 0;
    const std::size_t frameBytes = std::size_t{container} * block.storedChannels;
    Byte* to = data;
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        const Byte* from = data + frame * frameBytes;
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            std::memmove(to, from + std::size_t{channel} * container + skip, width);
            to += width;
        }
    }
}

std::uint32_t containerBytes(const StoredBlock& block) {
    return block.containerBytes ? block.containerBytes : sampleBytes(block.layout.encoding);
}

// Decodes `count` interleaved frames from frame `first` on.
bool decodeFrames(const File& file, const StoredBlock& block, std::uint32_t channels, std::uint64_t first,
                  std::uint32_t count, float* to) {
    const std::uint32_t container = containerBytes(block);
    const std::size_t frameBytes = std::size_t{container} * block.storedChannels;
    const bool compact = frameBytes != std::size_t{sampleBytes(block.layout.encoding)} * channels;
    std::array<Byte, kReadBytes> small;
    std::vector<Byte> large(frameBytes > kReadBytes ? frameBytes : 0);  // thousands of channels
    Byte* const bytes = large.empty() ? small.data() : large.data();
    const auto most = static_cast<std::uint32_t>(std::max<std::size_t>(kReadBytes / frameBytes, 1));
    while (count > 0) {
        const std::uint32_t now = std::min(count, most);
        const std::span<Byte> piece(bytes, now * frameBytes);
        if (!file.read(block.position + first * frameBytes, piece))
            return false;
        if (compact)
            compactFrames(piece.data(), now, block, container, channels);
        const std::size_t samples = std::size_t{now} * channels;
        decodeSamples(block.layout, piece, {to, samples});
        to += samples;
        first += now;
        count -= now;
    }
    return true;
}

class StoredStream final : public FrameStream {
  public:
    StoredStream(std::shared_ptr<File> file, const StoredBlock& block, std::uint32_t channels)
        : file_(std::move(file)), block_(block), channels_(channels) {}

    bool read(std::uint32_t count, float* to) override {
        const bool done = decodeFrames(*file_, block_, channels_, next_, count, to);
        next_ += count;
        return done;
    }

  private:
    std::shared_ptr<File> file_;
    StoredBlock block_;
    std::uint32_t channels_;
    std::uint64_t next_ = 0;
};

class StoredSamples final : public WaveformSource {
  public:
    StoredSamples(std::shared_ptr<File> file, const StoredBlock& block)
        : file_(std::move(file)), block_(block) {}

    bool decode(Waveform& waveform) const override {
        if (!waveform.allocateSamples())
            return fail(kOutOfMemory);
        if (waveform.channels == 2 && block_.planar)
            return decodePlanar(waveform);
        if (canStream())
            return decodeFrames(*file_, block_, waveform.channels, 0, waveform.frames,
                                waveform.samples().data());
        std::vector<Byte> bytes(storedSize(block_.layout.encoding, waveform.samples().size()));
        if (!file_->read(block_.position, bytes))
            return false;
        decodeSamples(block_.layout, bytes, waveform.samples());
        return true;
    }

    bool canStream() const override {
        return !block_.planar && !isPacked(block_.layout.encoding) && !isDelta(block_.layout.encoding);
    }

    std::unique_ptr<FrameStream> openStream(const Waveform& waveform) const override {
        return canStream() ? std::make_unique<StoredStream>(file_, block_, waveform.channels) : nullptr;
    }

    bool storedPcm(const Waveform& waveform, StoredPcm& layout) const override {
        if (!canStream() || block_.storedChannels != waveform.channels ||
            containerBytes(block_) != sampleBytes(block_.layout.encoding))
            return false;
        layout.formatWord = block_.layout.word();
        layout.byteSize =
            storedSize(block_.layout.encoding, std::uint64_t{waveform.frames} * waveform.channels);
        return true;
    }

    bool readStored(std::uint64_t offset, std::span<Byte> to) const override {
        return file_->read(block_.position + offset, to);
    }

  private:
    // Two channels as two blocks: decoded one after the other, then interleaved.
    bool decodePlanar(Waveform& waveform) const {
        const std::size_t samples = waveform.samples().size();
        std::vector<Byte> bytes(storedSize(block_.layout.encoding, samples));
        const std::span<Byte> all(bytes);
        if (block_.secondBlockOffset == 0) {
            if (!file_->read(block_.position, all))
                return false;
        } else if (!file_->read(block_.position, all.first(bytes.size() / 2)) ||
                   !file_->read(block_.secondBlockOffset, all.subspan(bytes.size() / 2))) {
            return false;
        }
        std::vector<float> planes(samples);
        decodeSamples(block_.layout, bytes, planes);
        float* to = waveform.samples().data();
        const float* left = planes.data();
        const float* right = left + waveform.frames;
        for (std::uint32_t i = 0; i < waveform.frames; ++i) {
            to[2 * std::size_t{i}] = left[i];
            to[2 * std::size_t{i} + 1] = right[i];
        }
        return true;
    }

    std::shared_ptr<File> file_;
    StoredBlock block_;
};

}  // namespace

std::uint64_t framesIn(const StoredBlock& block) {
    if (block.storedChannels == 0 || encodingBits(block.layout.encoding) == 0)
        return 0;
    if (block.containerBytes != 0)
        return block.byteSize / (std::uint64_t{block.containerBytes} * block.storedChannels);
    const auto bits = static_cast<std::uint64_t>(encodingBits(block.layout.encoding)) * block.storedChannels;
    return block.byteSize / bits * 8 + block.byteSize % bits * 8 / bits;  // byteSize × 8 / bits, no overflow
}

void attachStoredSamples(Waveform& waveform, std::shared_ptr<File> file, const StoredBlock& block) {
    std::uint64_t available = framesIn(block);
    if (block.planar && block.secondBlockOffset != 0 && file) {
        const std::uint64_t rest =
            file->size() > block.secondBlockOffset ? file->size() - block.secondBlockOffset : 0;
        const auto bits = static_cast<std::uint64_t>(encodingBits(block.layout.encoding));
        available = std::min(available, bits ? rest * 8 / bits : 0);
    }
    waveform.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(waveform.frames, available));
    waveform.sourceFormat = block.layout.word() | (block.planar ? source_format::kPlanar : 0);
    waveform.sourceOffset = block.position;
    waveform.secondBlockOffset = block.secondBlockOffset;
    waveform.setSource(std::make_shared<StoredSamples>(std::move(file), block));
}

std::uint64_t encodedSize(const Waveform& waveform, const TargetLayout& target) {
    return storedSize(target.layout.encoding,
                      std::uint64_t{waveform.frames} * static_cast<unsigned>(target.channels));
}

namespace {

// Stored bytes brought from one layout of the same encoding into another: byte order and sign.
void convertStored(std::span<Byte> data, const SampleLayout& from, const SampleLayout& to) {
    const std::uint32_t width = sampleBytes(to.encoding);
    if (from.order != to.order && width > 1) {
        const auto swapAll = [&data]<typename T>(T) {
            for (std::size_t i = 0; i + sizeof(T) <= data.size(); i += sizeof(T))
                storeLe<T>(data.data() + i, loadBe<T>(data.data() + i));
        };
        switch (width) {
            case 2:
                swapAll(std::uint16_t{});
                break;
            case 3:
                for (std::size_t i = 0; i + 3 <= data.size(); i += 3)
                    std::swap(data[i], data[i + 2]);
                break;
            case 4:
                swapAll(std::uint32_t{});
                break;
            default:
                swapAll(std::uint64_t{});
                break;
        }
    }
    if (from.isUnsigned != to.isUnsigned &&
        static_cast<int>(to.encoding) <= static_cast<int>(SampleEncoding::Pcm32)) {
        const std::size_t top = to.order == ByteOrder::Little ? width - 1 : 0;
        for (std::size_t i = top; i < data.size(); i += width)
            data[i] ^= 0x80;
    }
}

bool stopAsked(UserInterface& ui, std::uint64_t done, std::uint64_t all) {
    ui.progress(static_cast<double>(done) / static_cast<double>(all));
    return ui.aborted();
}

// Same encoding, same channels, still in the file: the bytes are taken over as they are.
bool takeOverStored(const Waveform& waveform, const SampleLayout& from, const SampleLayout& to,
                    std::span<Byte> out, UserInterface& ui) {
    constexpr std::size_t kPiece = 12u << 20;  // a multiple of every sample width
    for (std::size_t done = 0; done < out.size(); done += kPiece) {
        const std::span<Byte> piece = out.subspan(done, std::min(kPiece, out.size() - done));
        if (!waveform.source()->readStored(done, piece))
            return false;
        convertStored(piece, from, to);
        if (stopAsked(ui, done + piece.size(), out.size()))
            return fail("Save aborted!");
    }
    return true;
}

// Integers to wider integers, still in the file: read piece by piece and widened into place.
bool widenStored(const Waveform& waveform, const SampleLayout& from, const SampleLayout& to,
                 std::span<Byte> out, UserInterface& ui) {
    const std::size_t inWidth = sampleBytes(from.encoding), outWidth = sampleBytes(to.encoding);
    const std::size_t samples = out.size() / outWidth;
    std::array<Byte, kReadBytes> buffer;
    const std::size_t most = buffer.size() / inWidth;
    for (std::size_t done = 0; done < samples;) {
        const std::size_t now = std::min(most, samples - done);
        const std::span<Byte> piece(buffer.data(), now * inWidth);
        if (!waveform.source()->readStored(done * inWidth, piece))
            return false;
        widenSamples(from, piece, to, out.subspan(done * outWidth, now * outWidth));
        done += now;
        if (stopAsked(ui, done, samples))
            return fail("Save aborted!");
    }
    return true;
}

}  // namespace

bool encodeWaveform(Waveform& waveform, const TargetLayout& target, std::span<Byte> to, UserInterface& ui) {
    if (to.size() != encodedSize(waveform, target))
        return fail(kCannotSaveItem);
    const auto source = waveform.source();
    StoredPcm stored;
    if (!waveform.samplesLoaded() && source && target.channels == waveform.channels &&
        source->storedPcm(waveform, stored)) {
        const SampleLayout from = SampleLayout::fromWord(stored.formatWord);
        if (from.encoding == target.layout.encoding && stored.byteSize == to.size())
            return takeOverStored(waveform, from, target.layout, to, ui);
        if (canWiden(from, target.layout))
            return widenStored(waveform, from, target.layout, to, ui);
    }
    FrameReader reader(waveform, target.channels);
    if (!reader.open())
        return false;
    if (to.size() != encodedSize(waveform, target)) {
        // Decoding found fewer frames than the header had promised; what is missing stays silent.
        std::ranges::fill(to, Byte{0});
        to = to.first(
            static_cast<std::size_t>(std::min<std::uint64_t>(encodedSize(waveform, target), to.size())));
    }

    // Delta encodings are written as plain samples first and differenced at the end over the whole block.
    SampleLayout layout = target.layout;
    if (isDelta(layout.encoding))
        layout.encoding =
            layout.encoding == SampleEncoding::DeltaPcm8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16;
    std::uint64_t done = 0;  // samples; an even number, so that packed encodings split at whole bytes
    for (std::span<const float> samples; reader.next(samples) && !samples.empty(); done += samples.size()) {
        const std::uint64_t at = storedSize(layout.encoding, done);
        encodeSamples(layout, samples,
                      to.subspan(static_cast<std::size_t>(at),
                                 static_cast<std::size_t>(storedSize(layout.encoding, samples.size()))));
        if (stopAsked(ui, reader.framesRead(), waveform.frames))
            return fail("Save aborted!");
    }
    if (reader.failed())
        return false;
    if (target.layout.encoding == SampleEncoding::DeltaPcm8) {
        for (std::size_t i = to.size(); i-- > 1;)
            to[i] = static_cast<Byte>(to[i] - to[i - 1]);
    } else if (target.layout.encoding == SampleEncoding::DeltaPcm16) {
        for (std::size_t i = to.size() / 2; i-- > 1;)
            storeAs(to.data() + 2 * i,
                    static_cast<std::uint16_t>(loadAs<std::uint16_t>(to.data() + 2 * i, layout.order) -
                                               loadAs<std::uint16_t>(to.data() + 2 * i - 2, layout.order)),
                    layout.order);
    }
    return true;
}

}  // namespace velor
