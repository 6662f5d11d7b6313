#include "formats/core/waves/creative_voice.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "base/error.h"
#include "formats/core/codecs/creative_adpcm.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::string_view kSignature = "Creative Voice File\x1A";
constexpr std::size_t kHeaderSize = 26;
constexpr std::uint32_t kCountedShort = 8;  // bytes
constexpr std::size_t kMostBlocks = 1u << 20;
constexpr std::uint32_t kLargestBlock = 0xFFFFFF;
constexpr std::size_t kLongestText = 4096;
constexpr std::uint16_t kEndless = 0xFFFF;
// A block of four bytes can ask for 65536 frames of silence, or for as many repeats. What a file says this
// way is limited, so that a small one cannot fill the memory.
constexpr std::uint64_t kMostExpandedFrames = 1u << 24;

enum BlockType : std::uint8_t {
    kEnd = 0,
    kSound = 1,
    kMoreSound = 2,
    kSilence = 3,
    kText = 5,
    kRepeat = 6,
    kRepeatEnd = 7,
    kExtension = 8,
    kNewSound = 9,
};

// Codec fields.
enum VoiceCodec : std::uint16_t { kUnsigned8 = 0, kSigned16 = 4, kALaw = 6, kMuLaw = 7 };

struct Block {
    std::uint8_t type;
    std::uint64_t position;  // of the payload
    std::uint32_t size;
};

// How the frames of a sound block are stored.
struct SoundFormat {
    double rate = 0;  // Hz
    std::uint32_t channels = 1;
    SampleLayout layout;  // of plain samples
    std::optional<CreativeAdpcmKind> adpcm;
};

// A stretch of the waveform.
struct Segment {
    SoundFormat format;
    std::uint64_t position = 0;
    std::uint64_t bytes = 0;  // 0: silence
    std::uint64_t frames = 0;
    bool startsCodec = false;  // an ADPCM reference byte comes first
};

double rateOfShortConstant(unsigned constant) {
    return 1e6 / (256 - constant);
}

bool setCodec(SoundFormat& format, unsigned codec) {
    format.adpcm.reset();
    format.layout.isUnsigned = false;
    switch (codec) {
        case kUnsigned8:
            format.layout.encoding = SampleEncoding::Pcm8;
            format.layout.isUnsigned = true;
            return true;
        case static_cast<unsigned>(CreativeAdpcmKind::Bits4):
        case static_cast<unsigned>(CreativeAdpcmKind::Bits26):
        case static_cast<unsigned>(CreativeAdpcmKind::Bits2):
            format.layout.encoding = SampleEncoding::Adpcm4;
            format.adpcm = static_cast<CreativeAdpcmKind>(codec);
            return format.channels == 1;
        case kSigned16:
            format.layout.encoding = SampleEncoding::Pcm16;
            return true;
        case kALaw:
            format.layout.encoding = SampleEncoding::ALaw;
            return true;
        case kMuLaw:
            format.layout.encoding = SampleEncoding::MuLaw;
            return true;
        default:
            return false;
    }
}

// Several blocks, decoded one after the other.
class VoiceSource final : public WaveformSource {
  public:
    VoiceSource(std::shared_ptr<File> file, std::vector<Segment> segments)
        : file_(std::move(file)), segments_(std::move(segments)) {}

    bool decode(Waveform& waveform) const override {
        if (!waveform.allocateSamples())
            return fail(kOutOfMemory);
        std::span<float> to = waveform.samples();
        std::optional<CreativeAdpcmDecoder> decoder;
        for (const Segment& segment : segments_) {
            const std::size_t count = std::min<std::size_t>(
                to.size(), static_cast<std::size_t>(segment.frames) * waveform.channels);
            if (!decodeSegment(segment, waveform.channels, to.first(count), decoder))
                return false;
            to = to.subspan(count);
        }
        std::ranges::fill(to, 0.0f);
        return true;
    }

  private:
    bool decodeSegment(const Segment& segment, std::uint32_t channels, std::span<float> to,
                       std::optional<CreativeAdpcmDecoder>& decoder) const {
        if (segment.bytes == 0 || to.empty()) {
            std::ranges::fill(to, 0.0f);
            return true;
        }
        std::vector<Byte> bytes(static_cast<std::size_t>(segment.bytes));
        if (!file_->read(segment.position, bytes))
            return false;
        std::span<const Byte> from(bytes);
        if (segment.format.adpcm) {
            if (segment.startsCodec) {
                decoder.emplace(*segment.format.adpcm, from.front());
                to.front() = static_cast<float>(from.front() - 128) / 128;
                from = from.subspan(1);
                to = to.subspan(1);
            }
            if (!decoder)
                decoder.emplace(*segment.format.adpcm, Byte{0x80});
            std::vector<std::int16_t> samples(to.size());
            const std::size_t count = decoder->decode(from, samples);
            samplesFrom16(std::span<const std::int16_t>(samples).first(count), to.first(count));
            std::ranges::fill(to.subspan(count), 0.0f);
        } else if (segment.format.channels == channels) {
            decodeSamples(segment.format.layout, from, to);
        } else {
            decodeWide(segment, channels, from, to);
        }
        return true;
    }

    // More channels than a waveform has.
    static void decodeWide(const Segment& segment, std::uint32_t channels, std::span<const Byte> from,
                           std::span<float> to) {
        std::vector<float> all(static_cast<std::size_t>(segment.frames) * segment.format.channels);
        decodeSamples(segment.format.layout, from, all);
        for (std::size_t i = 0; i < to.size(); ++i)
            to[i] = all[i / channels * segment.format.channels + i % channels];
    }

    std::shared_ptr<File> file_;
    std::vector<Segment> segments_;
};

class VoiceReader {
  public:
    VoiceReader(OpenFile& file, Waveform& waveform) : file_(file), waveform_(waveform) {}

    bool read() {
        const auto head = bytesAt(file_, 0, kHeaderSize);
        if (head.size() < kHeaderSize || std::memcmp(head.data(), kSignature.data(), kSignature.size()) != 0)
            return fail("Not a Creative Voice file");
        listBlocks(std::max<std::uint64_t>(loadLe<std::uint16_t>(head.data() + 20), kSignature.size()));
        for (const Block& block : blocks_) {
            if (!readBlock(block))
                return false;
        }
        return finish();
    }

  private:
    void listBlocks(std::uint64_t position) {
        while (blocks_.size() < kMostBlocks) {
            const auto head = bytesAt(file_, position, 4);
            if (head.size() < 4 || head[0] == kEnd)
                return;
            std::uint32_t size = loadLe<std::uint32_t>(head.data()) >> 8;
            position += 4;
            if (head[0] == kNewSound && isCountedShort(position + size))
                size += kCountedShort;
            blocks_.push_back(
                {head[0], position, static_cast<std::uint32_t>(availableBytes(file_, position, size))});
            position += size;
        }
    }

    // SoX counts the header of the newer sound block as 4 bytes instead of 12, so that just eight bytes and
    // the end mark are left over.
    bool isCountedShort(std::uint64_t end) const {
        const auto rest = bytesAt(file_, end, kCountedShort + 1);
        if (file_.size() != end + rest.size() || rest.size() != kCountedShort + 1 || rest.back() != kEnd)
            return false;
        const bool isBlock =
            rest[0] <= kNewSound && loadLe<std::uint32_t>(rest.data()) >> 8 <= kCountedShort - 4;
        return !isBlock;
    }

    bool readBlock(const Block& block) {
        const auto head = bytesAt(file_, block.position, std::min<std::size_t>(block.size, 12));
        ByteReader reader(head);
        switch (block.type) {
            case kSound:
                return readSound(block, reader);
            case kMoreSound:
                if (format_)
                    addSound(block.position, block.size, false);
                return true;
            case kSilence:
                readSilence(reader);
                return true;
            case kText:
                readText(block);
                return true;
            case kRepeat:
                repeatFrame_ = frames_;
                repeatSegment_ = segments_.size();
                repeats_ = reader.u16();
                return true;
            case kRepeatEnd:
                endRepeat();
                return true;
            case kExtension:
                readExtension(reader);
                return true;
            case kNewSound:
                return readNewSound(block, reader);
            default:
                return true;  // markers
        }
    }

    bool readSound(const Block& block, ByteReader& reader) {
        SoundFormat format;
        format.rate = rateOfShortConstant(reader.u8());
        unsigned codec = reader.u8();
        if (!reader.ok())
            return true;
        if (extension_) {  // says it better
            format = *extension_;
            codec = extensionCodec_;
            extension_.reset();
        }
        return takeFormat(format, codec) && addSound(block.position + 2, block.size - 2, true);
    }

    void readExtension(ByteReader& reader) {
        SoundFormat format;
        const std::uint16_t constant = reader.u16();
        extensionCodec_ = reader.u8();
        format.channels = reader.u8() == 0 ? 1 : 2;
        format.rate = 256e6 / (format.channels * (65536.0 - constant));
        if (reader.ok())
            extension_ = format;
    }

    bool readNewSound(const Block& block, ByteReader& reader) {
        constexpr std::uint32_t kSoundHeader = 12;
        SoundFormat format;
        format.rate = reader.u32();
        reader.skip(1);  // bits: the codec says them too
        format.channels = reader.u8();
        const std::uint16_t codec = reader.u16();
        if (!reader.ok() || block.size < kSoundHeader)
            return true;
        if (format.channels == 0)
            return fail("No channels");
        return takeFormat(format, codec) &&
               addSound(block.position + kSoundHeader, block.size - kSoundHeader, true);
    }

    // Makes a format the one of the blocks that follow.
    bool takeFormat(SoundFormat format, unsigned codec) {
        if (!setCodec(format, codec))
            return fail(kUnknownSampleFormat);
        if (!first_) {
            first_ = format;
        } else if (format.channels != first_->channels) {
            return fail("The file changes its number of channels");
        } else if (std::abs(format.rate - first_->rate) >= 1 && !rateWarned_) {
            rateWarned_ = true;
            file_.warn("The file changes its sample rate - all of it is taken at the first one");
        }
        format_ = format;
        return true;
    }

    bool addSound(std::uint64_t position, std::uint64_t bytes, bool starts) {
        Segment segment;
        segment.format = *format_;
        segment.position = position;
        segment.startsCodec = starts && format_->adpcm;
        if (format_->adpcm) {
            const std::uint64_t codes = segment.startsCodec && bytes > 0 ? bytes - 1 : bytes;
            segment.frames = codes * samplesPerByte(*format_->adpcm) + (segment.startsCodec ? 1 : 0);
        } else {
            const std::uint32_t frameBytes =
                format_->channels * static_cast<std::uint32_t>(encodingBits(format_->layout.encoding)) / 8;
            segment.frames = bytes / frameBytes;
            bytes = segment.frames * frameBytes;
        }
        segment.bytes = bytes;
        if (bytes > 0)
            add(segment);
        return true;
    }

    void add(const Segment& segment) {
        segments_.push_back(segment);
        frames_ += segment.frames;
    }

    void readSilence(ByteReader& reader) {
        const double length = reader.u16() + 1.0;
        const double rate = rateOfShortConstant(reader.u8());
        if (!reader.ok())
            return;
        Segment segment;
        segment.frames = static_cast<std::uint64_t>(std::llround(length * outputRate() / rate));
        if (allowed(segment.frames))
            add(segment);
    }

    // The waveform's rate: that of the first sound, which may be still to come.
    double outputRate() const {
        if (first_)
            return first_->rate;
        for (const Block& block : blocks_) {
            const auto head = bytesAt(file_, block.position, std::min<std::size_t>(block.size, 12));
            if (head.size() < 4)
                continue;
            if (block.type == kSound)
                return rateOfShortConstant(head[0]);
            if (block.type == kExtension)
                return 256e6 / ((head[3] ? 2 : 1) * (65536.0 - loadLe<std::uint16_t>(head.data())));
            if (block.type == kNewSound)
                return std::max(1.0, static_cast<double>(loadLe<std::uint32_t>(head.data())));
        }
        return 44100;
    }

    bool allowed(std::uint64_t moreFrames) {
        if (expanded_ + moreFrames > kMostExpandedFrames) {
            if (!expandedWarned_)
                file_.warn(formatText("Silence and repeats beyond %llu samples are left out",
                                      static_cast<unsigned long long>(kMostExpandedFrames)));
            expandedWarned_ = true;
            return false;
        }
        expanded_ += moreFrames;
        return true;
    }

    void readText(const Block& block) {
        const auto bytes = bytesAt(file_, block.position, std::min<std::size_t>(block.size, kLongestText));
        ByteReader reader(bytes);
        std::string& comment = waveform_.text(WaveText::Comment);
        if (comment.empty())
            comment = fieldText(reader, bytes.size());
    }

    void endRepeat() {
        if (!repeats_)
            return;
        const std::uint64_t length = frames_ - repeatFrame_;
        if (*repeats_ == kEndless) {
            if (length > 0 && !waveform_.looped)
                waveform_.setLoop(LoopMode::Forward, static_cast<double>(repeatFrame_),
                                  static_cast<double>(frames_));
        } else {
            const std::vector<Segment> again(segments_.begin() + static_cast<std::ptrdiff_t>(repeatSegment_),
                                             segments_.end());
            for (std::uint32_t i = 0; i < *repeats_ && length > 0; ++i) {
                if (segments_.size() + again.size() > kMostBlocks || !allowed(length))
                    break;
                for (const Segment& segment : again)
                    add(segment);
            }
        }
        repeats_.reset();
    }

    bool finish() {
        if (!first_)
            return fail("The file holds no sound");
        if (!setChannels(waveform_, file_, first_->channels))
            return false;
        setRate(waveform_, file_, first_->rate);
        if (segments_.size() == 1 && !first_->adpcm) {
            StoredBlock block;
            block.layout = first_->layout;
            block.position = segments_.front().position;
            block.byteSize = segments_.front().bytes;
            block.storedChannels = first_->channels;
            setEncoding(waveform_, first_->layout.encoding);
            waveform_.frames = clampFrames(file_, frames_);
            attachStoredSamples(waveform_, file_.input, block);
            return true;
        }
        setEncoding(waveform_, first_->layout.encoding);
        if (first_->adpcm)
            waveform_.bits = 8;
        waveform_.frames = clampFrames(file_, frames_);
        waveform_.sourceOffset = segments_.empty() ? 0 : segments_.front().position;
        waveform_.setSource(std::make_shared<VoiceSource>(file_.input, std::move(segments_)));
        return true;
    }

    OpenFile& file_;
    Waveform& waveform_;
    std::vector<Block> blocks_;
    std::vector<Segment> segments_;
    std::uint64_t frames_ = 0;
    std::uint64_t expanded_ = 0;  // frames that no data stand behind
    std::optional<SoundFormat> first_, format_, extension_;
    unsigned extensionCodec_ = 0;
    std::optional<std::uint16_t> repeats_;
    std::uint64_t repeatFrame_ = 0;
    std::size_t repeatSegment_ = 0;
    bool rateWarned_ = false, expandedWarned_ = false;
};

// ---- Writing ----

constexpr std::uint32_t kNewSoundHeader = 12, kSoundHeader = 2, kExtensionSize = 4;
constexpr std::uint32_t kBlockHead = 4;

struct Piece {
    std::uint64_t begin, end;  // bytes of the data
};

// What a file of one waveform consists of: the sound in blocks of limited size, cut at the loop.
class VoiceWriter {
  public:
    VoiceWriter(Waveform& waveform, OpenFile& file, bool oldStyle)
        : waveform_(waveform), file_(file), oldStyle_(oldStyle) {}

    bool write() {
        const std::uint32_t writable = oldStyle_
                                           ? encodingBit(SampleEncoding::Pcm8)
                                           : encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16,
                                                           SampleEncoding::MuLaw, SampleEncoding::ALaw});
        if (!planWave(waveform_, file_.save, writable, ByteOrder::Little, plan_))
            return false;
        plan_.target.layout.isUnsigned = plan_.target.layout.encoding == SampleEncoding::Pcm8;
        if (oldStyle_ && !fitRate())
            return false;
        warnOfLoopMode(waveform_, file_);
        FileImage data, image;
        if (!data.allocate(plan_.dataSize) ||
            !encodeWaveform(waveform_, plan_.target, data.bytes(), *file_.ui))
            return false;
        layOut();
        if (!image.allocate(size_))
            return false;
        ByteWriter to(image.bytes());
        writeHeader(to);
        for (std::size_t i = 0; i < pieces_.size(); ++i)
            writePiece(to, i, data.bytes());
        to.u8(kEnd);
        return to.ok() && to.remaining() == 0 && file_.write(image.bytes());
    }

  private:
    // Old blocks store the length of a frame instead of the rate.
    bool fitRate() {
        constexpr double kLowest = 256e6 / 65536;
        const auto channels = static_cast<unsigned>(plan_.target.channels);
        if (waveform_.sampleRate * channels < kLowest || waveform_.sampleRate > 1000000)
            return fail("An old style voice file can not store this sample rate");
        shortConstant_ = static_cast<unsigned>(256 - std::llround(1e6 / waveform_.sampleRate));
        longConstant_ =
            static_cast<unsigned>(65536 - std::llround(256e6 / (waveform_.sampleRate * channels)));
        extended_ =
            channels == 2 || shortConstant_ > 255 ||
            std::lround(rateOfShortConstant(shortConstant_)) != static_cast<long>(waveform_.sampleRate);
        shortConstant_ = std::min(shortConstant_, 255u);
        return true;
    }

    void layOut() {
        const std::uint64_t frameBytes = plan_.bytesPerFrame();
        const WholeLoop loop = wholeLoop(waveform_);
        looped_ = waveform_.looped && loop.start < loop.end;
        std::vector<std::uint64_t> cuts{0};
        if (looped_) {
            loopBegin_ = loop.start * frameBytes;
            loopEnd_ = loop.end * frameBytes;
            cuts.push_back(loopBegin_);
            cuts.push_back(loopEnd_);
        }
        cuts.push_back(plan_.dataSize);
        const std::uint64_t most = (kLargestBlock - kNewSoundHeader) / frameBytes * frameBytes;
        for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
            for (std::uint64_t at = cuts[i]; at < cuts[i + 1]; at = pieces_.back().end)
                pieces_.push_back({at, std::min(at + most, cuts[i + 1])});
        }
        if (pieces_.empty())
            pieces_.push_back({0, 0});
        comment_ = std::string_view(waveform_.text(WaveText::Comment)).substr(0, kLongestText - 1);
        size_ = kHeaderSize + 1 + plan_.dataSize + pieces_.size() * kBlockHead +
                (oldStyle_ ? kSoundHeader : kNewSoundHeader) + (extended_ ? kBlockHead + kExtensionSize : 0) +
                (looped_ ? kBlockHead + 2 + kBlockHead : 0) +
                (comment_.empty() ? 0 : kBlockHead + comment_.size() + 1);
    }

    static void blockHead(ByteWriter& to, BlockType type, std::uint64_t size) {
        to.u32(static_cast<std::uint32_t>(type | size << 8));
    }

    void writeHeader(ByteWriter& to) const {
        const auto version = static_cast<std::uint16_t>(oldStyle_ ? 0x10A : 0x114);
        to.text(kSignature, kSignature.size());
        to.u16(kHeaderSize);
        to.u16(version);
        to.u16(static_cast<std::uint16_t>(~version + 0x1234));
        if (!comment_.empty()) {
            blockHead(to, kText, comment_.size() + 1);
            to.text(comment_, comment_.size() + 1);
        }
    }

    void writePiece(ByteWriter& to, std::size_t index, std::span<const Byte> data) const {
        const Piece& piece = pieces_[index];
        const auto bytes = data.subspan(static_cast<std::size_t>(piece.begin),
                                        static_cast<std::size_t>(piece.end - piece.begin));
        if (looped_ && piece.begin == loopBegin_) {
            blockHead(to, kRepeat, 2);
            to.u16(kEndless);
        }
        if (index > 0)
            blockHead(to, kMoreSound, bytes.size());
        else if (oldStyle_)
            writeOldHead(to, bytes.size());
        else
            writeNewHead(to, bytes.size());
        to.bytes(bytes);
        if (looped_ && piece.end == loopEnd_)
            blockHead(to, kRepeatEnd, 0);
    }

    void writeOldHead(ByteWriter& to, std::uint64_t bytes) const {
        if (extended_) {
            blockHead(to, kExtension, kExtensionSize);
            to.u16(static_cast<std::uint16_t>(longConstant_));
            to.u8(kUnsigned8);
            to.u8(plan_.target.channels == 2);
        }
        blockHead(to, kSound, kSoundHeader + bytes);
        to.u8(static_cast<std::uint8_t>(shortConstant_));
        to.u8(kUnsigned8);
    }

    void writeNewHead(ByteWriter& to, std::uint64_t bytes) const {
        blockHead(to, kNewSound, kNewSoundHeader + bytes);
        to.u32(waveform_.sampleRate);
        to.u8(static_cast<std::uint8_t>(plan_.bytesPerSample() * 8));
        to.u8(static_cast<std::uint8_t>(plan_.target.channels));
        switch (plan_.target.layout.encoding) {
            case SampleEncoding::Pcm8:
                to.u16(kUnsigned8);
                break;
            case SampleEncoding::Pcm16:
                to.u16(kSigned16);
                break;
            case SampleEncoding::ALaw:
                to.u16(kALaw);
                break;
            default:
                to.u16(kMuLaw);
                break;
        }
        to.u32(0);
    }

    Waveform& waveform_;
    OpenFile& file_;
    bool oldStyle_;
    WavePlan plan_;
    unsigned shortConstant_ = 0, longConstant_ = 0;
    bool extended_ = false;
    bool looped_ = false;
    std::uint64_t loopBegin_ = 0, loopEnd_ = 0;  // bytes of the data
    std::vector<Piece> pieces_;
    std::string_view comment_;
    std::uint64_t size_ = 0;
};

}  // namespace

bool readCreativeVoice(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [](OpenFile& from, Waveform& waveform) {
        return VoiceReader(from, waveform).read();
    });
}

bool writeCreativeVoice(Item& item, OpenFile& file, std::uint32_t variant) {
    Waveform* waveform = waveformToWrite(item);
    return waveform && VoiceWriter(*waveform, file, variant == 1).write();
}

}  // namespace velor
