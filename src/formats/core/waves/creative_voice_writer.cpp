#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "formats/core/waves/creative_voice.h"
#include "formats/core/waves/creative_voice_blocks.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

using namespace creative_voice;

constexpr std::uint32_t kSoundHeader = 2, kExtensionSize = 4;
constexpr std::uint32_t kLargestBlock = 0xFFFFFF;

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

bool writeCreativeVoice(Item& item, OpenFile& file, std::uint32_t variant) {
    Waveform* waveform = waveformToWrite(item);
    return waveform && VoiceWriter(*waveform, file, variant == 1).write();
}

}  // namespace velor
