#include "formats/core/aiff_reader.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "base/byte_reader.h"
#include "base/error.h"
#include "base/ieee_extended.h"
#include "formats/core/aiff_data.h"
#include "formats/core/id3.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

// Limits that no honest file comes near.
constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr std::size_t kMostMarkerBytes = 1u << 21;  // at most 65535 markers
constexpr std::size_t kMostTagBytes = 1u << 20;
constexpr std::size_t kLongestText = 256;
constexpr std::size_t kLongestTypeName = 96;

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
        const AiffCompression* found = findAiffCompression(type);
        if (!found)
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
            return setCompression({0, AiffCoding::UnsignedPcm}, bits, frames);
        if (coding == 0 && bits == 16)
            return setCompression({0, AiffCoding::BigEndianPcm}, bits, frames);
        if (coding == 2)
            return setCompression({0, AiffCoding::ALaw, 8}, bits, frames);
        if (coding == 3)
            return setCompression({0, AiffCoding::MuLaw, 8}, bits, frames);
        return fail(kUnknownSampleFormat);
    }

    bool setCompression(const AiffCompression& compression, std::uint16_t bits, std::uint32_t frames) {
        compression_ = compression;
        return applyAiffCompression(compression, bits, frames, waveform_);
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
        data_.position = position;
        data_.declaredSize = size;
        data_.size = availableBytes(file_, position, size, maud_ ? "MDAT" : "SSND");
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
        attachAiffData(waveform_, *compression_, file_.input, data_);
        return true;
    }

    OpenFile& file_;
    Waveform& waveform_;
    bool aifc_ = false;
    bool maud_ = false;
    std::optional<AiffCompression> compression_;
    bool hasData_ = false;
    AiffData data_;
    std::map<std::uint16_t, std::uint32_t> markers_;
    std::vector<Byte> instrument_;
};

}  // namespace

bool readAiff(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file,
                        [](OpenFile& from, Waveform& waveform) { return IffWalker(from, waveform).read(); });
}

}  // namespace velor
