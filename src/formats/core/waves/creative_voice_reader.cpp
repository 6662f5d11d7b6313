#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "base/error.h"
#include "formats/core/waves/creative_voice.h"
#include "formats/core/waves/creative_voice_blocks.h"
#include "formats/core/waves/creative_voice_source.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

using namespace creative_voice;

constexpr std::uint32_t kCountedShort = 8;  // bytes
constexpr std::size_t kMostBlocks = 1u << 20;
// A block of four bytes can ask for 65536 frames of silence, or for as many repeats. What a file says this
// way is limited, so that a small one cannot fill the memory.
constexpr std::uint64_t kMostExpandedFrames = 1u << 24;

struct Block {
    std::uint8_t type;
    std::uint64_t position;  // of the payload
    std::uint32_t size;
};

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
        SoundFormat format;
        format.rate = reader.u32();
        reader.skip(1);  // bits: the codec says them too
        format.channels = reader.u8();
        const std::uint16_t codec = reader.u16();
        if (!reader.ok() || block.size < kNewSoundHeader)
            return true;
        if (format.channels == 0)
            return fail("No channels");
        return takeFormat(format, codec) &&
               addSound(block.position + kNewSoundHeader, block.size - kNewSoundHeader, true);
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
        waveform_.setSource(voiceSource(file_.input, std::move(segments_)));
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

}  // namespace

bool readCreativeVoice(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [](OpenFile& from, Waveform& waveform) {
        return VoiceReader(from, waveform).read();
    });
}

}  // namespace velor
