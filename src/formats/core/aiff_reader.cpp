#include "formats/core/aiff_reader.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <vector>

#include "base/byte_reader.h"
#include "base/error.h"
#include "base/ieee_extended.h"
#include "formats/core/codec_streams.h"
#include "formats/core/codecs/dwvw.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/id3.h"
#include "formats/core/undecoded_source.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

// Limits that no honest file comes near.
constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr std::size_t kMostMarkerBytes = 1u << 21;  // at most 65535 markers
constexpr std::size_t kMostTagBytes = 1u << 20;
constexpr std::size_t kLongestText = 256;
constexpr std::size_t kLongestTypeName = 96;

enum class Coding : std::uint8_t {
    BigEndianPcm,
    LittleEndianPcm,
    UnsignedPcm,  // 8-bit MAUD
    Float,
    ALaw,
    MuLaw,
    Codec,  // nothing that this build decodes
};

struct Compression {
    std::uint32_t type;
    Coding coding;
    int bits = 0;                     // 0: as COMM says
    std::string_view codec{};         // Coding::Codec: the name for messages
    std::uint32_t framesPerUnit = 1;  // frames that one "frame" of COMM stands for
};

constexpr Compression kCompressions[] = {
    {fourCc("NONE"), Coding::BigEndianPcm},
    {fourCc("none"), Coding::BigEndianPcm},
    {fourCc("twos"), Coding::BigEndianPcm},
    {fourCc("lpcm"), Coding::BigEndianPcm},
    {fourCc("sowt"), Coding::LittleEndianPcm},
    {fourCc("in24"), Coding::BigEndianPcm, 24},
    {fourCc("in32"), Coding::BigEndianPcm, 32},
    {fourCc("fl32"), Coding::Float, 32},
    {fourCc("fl64"), Coding::Float, 64},
    {fourCc("FL32"), Coding::Float, 32},  // older writers
    {fourCc("FL64"), Coding::Float, 64},
    {fourCc("alaw"), Coding::ALaw, 8},
    {fourCc("ALAW"), Coding::ALaw, 8},
    {fourCc("ulaw"), Coding::MuLaw, 8},
    {fourCc("ULAW"), Coding::MuLaw, 8},
    {fourCc("ima4"), Coding::Codec, 4, "IMA ADPCM", 64},
    {fourCc("IMA4"), Coding::Codec, 4, "IMA ADPCM", 64},
    {fourCc("MAC3"), Coding::Codec, 3, "MACE 3:1", 6},
    {fourCc("MAC6"), Coding::Codec, 1, "MACE 6:1", 6},
    {fourCc("G721"), Coding::Codec, 4, "G.721 ADPCM"},
    {fourCc("G722"), Coding::Codec, 4, "G.722"},
    {fourCc("G723"), Coding::Codec, 0, "G.723 ADPCM"},
    {fourCc("G726"), Coding::Codec, 0, "G.726 ADPCM"},
    {fourCc("GSM "), Coding::Codec, 2, "GSM 6.10"},
    {fourCc("DWVW"), Coding::Codec, 0, "DWVW"},
};

// One bit stream through all the data; two channels take turns in it.
class DwvwSamples final : public SampleDecoder {
  public:
    explicit DwvwSamples(int bits) : bits_(bits) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        constexpr float kScale = 1.0f / 2147483648.0f;
        DwvwDecoder decoder(from, bits_);
        std::array<std::int32_t, 4096> piece;
        std::size_t written = 0;
        while (written < to.size()) {
            const std::size_t count =
                decoder.decode(std::span(piece).first(std::min(piece.size(), to.size() - written)));
            if (count == 0)
                break;
            for (std::size_t i = 0; i < count; ++i)
                to[written + i] = static_cast<float>(piece[i]) * kScale;
            written += count;
        }
        return written;
    }

  private:
    int bits_;
};

class IffWalker {
  public:
    IffWalker(OpenFile& file, Waveform& waveform) : file_(file), waveform_(waveform) {}

    bool read() {
        const auto head = bytesAt(file_, 0, 12);
        ByteReader reader(head, ByteOrder::Big);
        if (reader.id() != fourCc("FORM"))
            return fail("No FORM starting IFF file");
        const std::uint32_t size = reader.u32();
        const std::uint32_t form = reader.id();
        if (form != fourCc("AIFF") && form != fourCc("AIFC") && form != fourCc("MAUD"))
            return fail("Not an AIFF, AIFC, MAUD type IFF-FORM");
        aifc_ = form == fourCc("AIFC");
        maud_ = form == fourCc("MAUD");
        // Writers that cannot seek leave the size at 0.
        const std::uint64_t end = size == 0 ? file_.size() : std::min(file_.size(), std::uint64_t{8} + size);
        return walk(12, end) && finish();
    }

  private:
    bool walk(std::uint64_t position, std::uint64_t end) {
        for (std::uint32_t chunks = 0; position <= end && end - position >= 8; ++chunks) {
            if (chunks >= kMostChunks)
                return fail("The IFF file has too many chunks");
            const auto header = bytesAt(file_, position, 8);
            ByteReader reader(header, ByteOrder::Big);
            const std::uint32_t id = reader.id();
            const std::uint32_t size = reader.u32();
            if (!reader.ok() || id == 0)
                break;  // zeros behind the last chunk
            if (!readChunk(id, position + 8, size))
                return false;
            position += 8 + std::uint64_t{size} + (size & 1);
        }
        return true;
    }

    bool readChunk(std::uint32_t id, std::uint64_t payload, std::uint32_t size) {
        switch (id) {
            case fourCc("COMM"):
                return maud_ || compression_ ||
                       readCommon(bytesAt(file_, payload, std::min<std::size_t>(size, 512)));
            case fourCc("MHDR"):
                return !maud_ || compression_ || readMaudHeader(bytesAt(file_, payload, std::min(size, 32u)));
            case fourCc("SSND"):
                if (!maud_ && !hasData_)
                    readSoundData(payload, size);
                return true;
            case fourCc("MDAT"):
                if (maud_ && !hasData_)
                    setData(payload, size);
                return true;
            case fourCc("MARK"):
                readMarkers(bytesAt(file_, payload, std::min<std::size_t>(size, kMostMarkerBytes)));
                return true;
            case fourCc("INST"):
                instrument_ = bytesAt(file_, payload, std::min(size, 20u));
                return true;
            case fourCc("NAME"):
                if (const std::string name = text(payload, size); !name.empty())
                    waveform_.setName(name);
                return true;
            case fourCc("ANNO"):
                waveform_.text(WaveText::Comment) = text(payload, size);
                return true;
            case fourCc("(c) "):
                waveform_.text(WaveText::Copyright) = text(payload, size);
                return true;
            case fourCc("ID3 "):
                applyId3(bytesAt(file_, payload, std::min<std::size_t>(size, kMostTagBytes)), waveform_);
                return true;
            default:
                return true;
        }
    }

    std::string text(std::uint64_t payload, std::uint32_t size) const {
        const auto bytes = bytesAt(file_, payload, std::min<std::size_t>(size, kLongestText));
        return ByteReader(bytes).text(bytes.size());
    }

    bool readCommon(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        const std::uint16_t channels = reader.u16();
        const std::uint32_t frames = reader.u32();
        const std::uint16_t bits = reader.u16();
        const auto rate = reader.bytes(kExtendedBytes);
        if (!reader.ok())
            return fail("The AIFF common chunk is too short");
        if (channels > 2)
            return fail("Can't handle > 2 channel files");
        if (channels == 0)
            return fail("No channels");
        waveform_.channels = static_cast<std::uint8_t>(channels);
        setRate(waveform_, file_, static_cast<double>(integerFromExtended(rate.first<kExtendedBytes>())),
                "COMM");
        std::uint32_t type = fourCc("NONE");
        std::string typeName;
        if (aifc_ && reader.remaining() >= 4) {
            const auto characters = reader.bytes(4);
            type = loadLe<std::uint32_t>(characters.data());
            const std::size_t length = reader.remaining() ? reader.u8() : 0;
            typeName = reader.text(std::min({length, reader.remaining(), kLongestTypeName}));
            if (typeName.empty())
                typeName.assign(characters.begin(), characters.end());
        }
        const auto* found = std::ranges::find(kCompressions, type, &Compression::type);
        if (found == std::end(kCompressions))
            return fail("Unsupported compression type: " + typeName);
        return setCompression(*found, bits, frames);
    }

    // Amiga MAUD: frames × channels u32, bits stored u16, bits decoded u16, clock u32, divisor u16, layout
    // u16, channels u16, coding u16.
    bool readMaudHeader(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        const std::uint32_t frames = reader.u32();  // in stereo twice as many; the data set the limit
        const std::uint16_t bits = reader.u16();
        reader.skip(2);
        const std::uint32_t clock = reader.u32();
        const std::uint16_t divisor = reader.u16();
        waveform_.channels = reader.u16() == 1 ? 2 : 1;
        reader.skip(2);
        const std::uint16_t coding = reader.u16();
        if (!reader.ok())
            return fail("The MAUD header is too short");
        setRate(waveform_, file_, divisor ? clock / divisor : 0, "MHDR");
        if (coding == 0 && bits == 8)
            return setCompression({0, Coding::UnsignedPcm}, bits, frames);
        if (coding == 0 && bits == 16)
            return setCompression({0, Coding::BigEndianPcm}, bits, frames);
        if (coding == 2)
            return setCompression({0, Coding::ALaw, 8}, bits, frames);
        if (coding == 3)
            return setCompression({0, Coding::MuLaw, 8}, bits, frames);
        return fail(kUnknownSampleFormat);
    }

    bool setCompression(const Compression& compression, std::uint16_t commonBits, std::uint32_t frames) {
        compression_ = compression;
        const int bits = compression.bits ? compression.bits : commonBits;
        const bool pcm = compression.coding <= Coding::UnsignedPcm;
        if (pcm && (bits < 1 || bits > 32))
            return fail(kUnknownSampleFormat);
        waveform_.bits = static_cast<std::uint8_t>(std::clamp(bits, 1, 64));
        std::uint64_t count = std::uint64_t{frames} * compression.framesPerUnit;
        switch (compression.coding) {
            case Coding::Float:
                waveform_.format = SampleFormat::Float32;
                break;
            case Coding::ALaw:
                waveform_.format = SampleFormat::ALaw;
                break;
            case Coding::MuLaw:
                waveform_.format = SampleFormat::MuLaw;
                break;
            case Coding::Codec:
                waveform_.format = SampleFormat::Adpcm;
                if (compression.type == fourCc("GSM ") && waveform_.channels != 1)
                    return fail("Can only handle (the standard!) mono GSM");
                if (compression.type == fourCc("DWVW"))
                    waveform_.format = SampleFormat::Pcm16;
                else if (compression.type == fourCc("GSM "))
                    count = (count + 159) / 160 * 160;
                break;
            default:
                waveform_.format = sampleFormatOfPcm(bits);
                break;
        }
        waveform_.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX));
        return true;
    }

    void readSoundData(std::uint64_t payload, std::uint32_t size) {
        const auto head = bytesAt(file_, payload, std::min(size, 8u));
        ByteReader reader(head, ByteOrder::Big);
        const std::uint64_t start = std::uint64_t{8} + reader.u32();
        reader.skip(4);  // block size: alignment only
        if (reader.ok())
            setData(payload + start, size > start ? size - start : 0);
    }

    void setData(std::uint64_t position, std::uint64_t size) {
        hasData_ = true;
        dataPosition_ = position;
        declaredSize_ = size;
        dataSize_ = availableBytes(file_, position, size, maud_ ? "MDAT" : "SSND");
    }

    void readMarkers(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        for (std::uint16_t left = reader.u16(); left > 0; --left) {
            const std::uint16_t id = reader.u16();
            const std::uint32_t position = reader.u32();
            if (!reader.ok())
                return;
            markers_.emplace(id, position);
            const std::size_t length = reader.u8();
            reader.skip(std::min(length | 1, reader.remaining()));  // length byte and text: an even number
        }
    }

    void applyInstrument() {
        constexpr int kLowestGain = -96, kHighestGain = 47;  // dB
        ByteReader reader(instrument_, ByteOrder::Big);
        const std::int8_t baseNote = reader.s8();
        const std::int8_t detune = reader.s8();
        reader.skip(4);  // key and velocity ranges
        const std::int16_t gain = reader.s16();
        if (!reader.ok())
            return;
        waveform_.rootKey = static_cast<std::uint8_t>(std::max<int>(baseNote, 0));
        waveform_.fineTune = detune;
        if (gain >= kLowestGain && gain <= kHighestGain)
            waveform_.gain = gain;
        applyLoop(reader);
        ByteReader release = reader;
        if (!waveform_.looped)
            applyLoop(reader);
        else
            waveform_.loopUntilRelease = release.s16() == 0 && release.ok();
    }

    // One of the two loops of an instrument chunk.
    void applyLoop(ByteReader& reader) {
        const std::int16_t playMode = reader.s16();
        const auto begin = markers_.find(reader.u16());
        const auto end = markers_.find(reader.u16());
        if (!reader.ok() || (playMode != 1 && playMode != 2) || begin == markers_.end() ||
            end == markers_.end())
            return;
        waveform_.setLoop(playMode == 1 ? LoopMode::Forward : LoopMode::Alternating, begin->second,
                          end->second);
    }

    bool finish() {
        if (!hasData_)
            return fail("No SSND data");
        if (!compression_)
            return fail(kUnknownSampleFormat);
        applyInstrument();
        if (compression_->coding == Coding::Codec) {
            waveform_.sourceOffset = dataPosition_;
            waveform_.sourceFormat = encodingBit(
                compression_->type == fourCc("GSM ") ? SampleEncoding::Gsm : SampleEncoding::Adpcm4);
            attachCodec();
            return true;
        }
        StoredBlock block;
        block.position = dataPosition_;
        block.byteSize = dataSize_;
        block.storedChannels = waveform_.channels;
        block.layout = layout();
        attachStoredSamples(waveform_, file_.input, block);
        return true;
    }

    // Bits of a code. Writers may give the width of decoded samples instead; then the data size tells.
    int codeWidth() const {
        const std::uint64_t samples = std::uint64_t{waveform_.frames} * waveform_.channels;
        if ((waveform_.bits >= 2 && waveform_.bits <= 5) || samples == 0)
            return std::clamp<int>(waveform_.bits, 2, 5);
        return static_cast<int>(std::clamp<std::uint64_t>((declaredSize_ * 8 + samples / 2) / samples, 2, 5));
    }

    // The common chunk counts packets. Some writers count the frames instead, or share the packets out among
    // the channels; the size that the data chunk declares tells.
    void correctPacketCount(const CodecUnit& unit) {
        const std::uint64_t held = declaredSize_ / unit.bytes * unit.frames;
        const std::uint64_t counted = waveform_.frames;
        const bool framesCounted =
            counted > held && counted / unit.frames > held - unit.frames && counted / unit.frames <= held;
        if (framesCounted)
            waveform_.frames /= unit.frames;
        else if (waveform_.channels == 2 && counted / unit.frames == held / unit.frames / 2)
            waveform_.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(held, UINT32_MAX));
    }

    void attachCodec() {
        const int channels = waveform_.channels;
        CodecData data;
        switch (compression_->type) {
            case fourCc("ima4"):
            case fourCc("IMA4"):
                setIma4(data, channels);
                correctPacketCount(data.unit);
                break;
            case fourCc("GSM "):
                data.unit = {gsm610::kFrameBytes, gsm610::kFrameSamples};
                data.makeDecoder = decoder16<gsm610::FramesDecoder>();
                break;
            case fourCc("MAC3"):
                setMace(data, MaceRatio::ThreeToOne, channels);
                break;
            case fourCc("MAC6"):
                setMace(data, MaceRatio::SixToOne, channels);
                break;
            case fourCc("DWVW"):
                if (DwvwDecoder::supportsWidth(waveform_.bits)) {
                    data.makeDecoder = [bits = int{waveform_.bits}] {
                        return std::make_unique<DwvwSamples>(bits);
                    };
                }
                break;
            case fourCc("G722"):
                setG722(data, 8, CodePacking::HighBitsFirst, channels);
                break;
            case fourCc("G721"):
            case fourCc("G723"):
            case fourCc("G726"):
                setG72x(data, codeWidth(), CodePacking::HighBitsFirst, channels);
                break;
            default:
                break;
        }
        if (!data.makeDecoder) {
            waveform_.setSource(undecodedSource(compression_->codec));
            return;
        }
        data.position = dataPosition_;
        data.byteSize = dataSize_;
        attachCodecSamples(waveform_, file_.input, std::move(data));
    }

    SampleLayout layout() const {
        // Samples fill their bytes from the top, so narrower ones need no scaling of their own.
        SampleLayout layout;
        layout.order = compression_->coding == Coding::LittleEndianPcm ? ByteOrder::Little : ByteOrder::Big;
        layout.isUnsigned = compression_->coding == Coding::UnsignedPcm;
        switch (compression_->coding) {
            case Coding::Float:
                layout.encoding = waveform_.bits == 64 ? SampleEncoding::Float64 : SampleEncoding::Float32;
                break;
            case Coding::ALaw:
                layout.encoding = SampleEncoding::ALaw;
                break;
            case Coding::MuLaw:
                layout.encoding = SampleEncoding::MuLaw;
                break;
            default:
                layout.encoding = pcmEncoding((waveform_.bits + 7u) / 8);
                break;
        }
        return layout;
    }

    OpenFile& file_;
    Waveform& waveform_;
    bool aifc_ = false;
    bool maud_ = false;
    std::optional<Compression> compression_;
    bool hasData_ = false;
    std::uint64_t dataPosition_ = 0;
    std::uint64_t dataSize_ = 0;      // as far as the file holds them
    std::uint64_t declaredSize_ = 0;  // as the chunk says
    std::map<std::uint16_t, std::uint32_t> markers_;
    std::vector<Byte> instrument_;
};

}  // namespace

bool readAiff(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file,
                        [](OpenFile& from, Waveform& waveform) { return IffWalker(from, waveform).read(); });
}

}  // namespace velor
