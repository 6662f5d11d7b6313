#include "formats/core/waves/core_audio.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "formats/core/codec_streams.h"
#include "formats/core/undecoded_source.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::uint16_t kVersion = 1;
constexpr std::size_t kFileHeader = 8, kChunkHeader = 12;
constexpr std::size_t kDescriptionSize = 32, kMarkerSize = 28, kRegionHeader = 12, kInstrumentSize = 28;
constexpr std::size_t kMostBytes = 1u << 20;  // of a chunk that is not the data
constexpr std::uint32_t kEditCount = 4;       // a number before the audio data
constexpr int kMostChunks = 1 << 16;
constexpr std::uint32_t kIsFloat = 1, kIsLittle = 2;                        // flags of "lpcm"
constexpr std::uint32_t kLoops = 1, kPlaysForward = 2, kPlaysBackward = 4;  // flags of a region

// Formats of packets. "ima4" and MACE are decoded here.
struct Codec {
    std::uint32_t format;
    std::string_view name;
    SampleEncoding encoding;
};
constexpr Codec kCodecs[] = {
    {fourCc("ima4"), "IMA ADPCM", SampleEncoding::Adpcm4},
    {fourCc("MAC3"), "MACE 3:1", SampleEncoding::Adpcm3},
    {fourCc("MAC6"), "MACE 6:1", SampleEncoding::Adpcm2},
    {fourCc("alac"), "Apple Lossless", SampleEncoding::Compressed},
    {fourCc("aac "), "AAC", SampleEncoding::Compressed},
    {fourCc(".mp1"), "MPEG layer 1", SampleEncoding::Compressed},
    {fourCc(".mp2"), "MPEG layer 2", SampleEncoding::Compressed},
    {fourCc(".mp3"), "MPEG layer 3", SampleEncoding::Compressed},
    {fourCc("opus"), "Opus", SampleEncoding::Compressed},
    {fourCc("flac"), "FLAC", SampleEncoding::Compressed},
};

// Where the texts of an "info" chunk go.
constexpr struct {
    std::string_view key;
    WaveText text;
} kInfoTexts[] = {
    {"artist", WaveText::Artist},
    {"album", WaveText::Product},
    {"copyright", WaveText::Copyright},
    {"comments", WaveText::Comment},
    {"recording engineer", WaveText::Engineer},
};

struct Marker {
    std::uint32_t type;
    double frame;
};

struct CafRegion {
    std::uint32_t id = 0, flags = 0;
    std::vector<Marker> markers;
};

Marker readMarker(ByteReader& reader) {
    Marker marker;
    marker.type = reader.id();
    marker.frame = reader.f64();
    reader.skip(std::min<std::size_t>(kMarkerSize - 12, reader.remaining()));  // name, time code, channel
    return marker;
}

std::optional<double> frameOf(const std::vector<Marker>& markers,
                              std::initializer_list<std::uint32_t> types) {
    for (const std::uint32_t type : types) {
        const auto found = std::ranges::find(markers, type, &Marker::type);
        if (found != markers.end() && found->frame >= 0)
            return found->frame;
    }
    return std::nullopt;
}

class CoreAudioReader {
  public:
    CoreAudioReader(OpenFile& file, Waveform& waveform) : file_(file), waveform_(waveform) {}

    bool read() {
        const auto head = bytesAt(file_, 0, kFileHeader);
        ByteReader reader(head, ByteOrder::Big);
        if (reader.id() != fourCc("caff") || reader.u16() != kVersion)
            return fail("Not a Core Audio file");
        std::uint64_t position = kFileHeader;
        for (int chunks = 0; chunks < kMostChunks; ++chunks) {
            const auto header = bytesAt(file_, position, kChunkHeader);
            if (header.size() < kChunkHeader)
                break;
            ByteReader fields(header, ByteOrder::Big);
            const std::uint32_t id = fields.id();
            const std::uint64_t size = fields.u64();
            position += kChunkHeader;
            if (!readChunk(id, position, size))
                return false;
            if (size > file_.size() - position)
                break;  // cut off, or "data" that go on to the end
            position += size;
        }
        return finish();
    }

  private:
    bool readChunk(std::uint32_t id, std::uint64_t position, std::uint64_t size) {
        const auto payload = [&] {
            return bytesAt(file_, position,
                           static_cast<std::size_t>(std::min<std::uint64_t>(size, kMostBytes)));
        };
        switch (id) {
            case fourCc("desc"):
                return readDescription(bytesAt(file_, position, kDescriptionSize));
            case fourCc("data"):
                if (data_ == 0) {
                    data_ = position + kEditCount;
                    const bool toEnd = size == kToFileEnd || size < kEditCount;  // -1
                    dataSize_ = availableBytes(file_, data_, toEnd ? kToFileEnd : size - kEditCount);
                }
                return true;
            case fourCc("info"):
                readInfo(payload());
                return true;
            case fourCc("mark"):
                readMarkers(payload());
                return true;
            case fourCc("regn"):
                readRegions(payload());
                return true;
            case fourCc("inst"):
                instrument_ = bytesAt(file_, position, kInstrumentSize);
                return true;
            case fourCc("pakt"): {
                const auto packets = bytesAt(file_, position, 16);
                if (packets.size() == 16)
                    validFrames_ = loadBe<std::uint64_t>(packets.data() + 8);
                return true;
            }
            default:
                return true;
        }
    }

    bool readDescription(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        rate_ = reader.f64();
        format_ = reader.id();
        flags_ = reader.u32();
        bytesPerPacket_ = reader.u32();
        framesPerPacket_ = reader.u32();
        channels_ = reader.u32();
        bits_ = reader.u32();
        described_ = reader.ok();
        return described_ || fail("The Core Audio description is too short");
    }

    void readInfo(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        const std::uint32_t count = reader.u32();
        std::size_t at = reader.position();
        for (std::uint32_t i = 0; i < count && at < chunk.size(); ++i) {
            std::string entry[2];
            for (std::string& text : entry) {
                ByteReader from(std::span<const Byte>(chunk).subspan(std::min(at, chunk.size())));
                text = from.text(from.remaining());
                at += text.size() + 1;
            }
            if (entry[0] == "title" && !entry[1].empty())
                waveform_.setName(entry[1]);
            for (const auto& [key, which] : kInfoTexts) {
                if (entry[0] == key)
                    waveform_.text(which) = entry[1];
            }
        }
    }

    void readMarkers(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        reader.skip(4);
        for (std::uint32_t left = reader.u32(); left > 0 && reader.remaining() >= kMarkerSize; --left)
            markers_.push_back(readMarker(reader));
    }

    void readRegions(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        reader.skip(4);
        for (std::uint32_t left = reader.u32(); left > 0 && reader.remaining() >= kRegionHeader; --left) {
            CafRegion region;
            region.id = reader.u32();
            region.flags = reader.u32();
            for (std::uint32_t count = reader.u32(); count > 0 && reader.remaining() >= kMarkerSize; --count)
                region.markers.push_back(readMarker(reader));
            regions_.push_back(std::move(region));
        }
    }

    bool setLoopOf(const std::vector<Marker>& markers, std::uint32_t flags) {
        const auto start = frameOf(markers, {fourCc("slbg"), fourCc("rlbg"), fourCc("rbeg")});
        const auto end = frameOf(markers, {fourCc("slen"), fourCc("rlen"), fourCc("rend")});
        if (!start || !end)
            return false;
        const bool both = (flags & kPlaysForward) && (flags & kPlaysBackward);
        waveform_.setLoop(both                     ? LoopMode::Alternating
                          : flags & kPlaysBackward ? LoopMode::Backward
                                                   : LoopMode::Forward,
                          *start, *end);
        return true;
    }

    bool setLoopOfRegion(std::uint32_t id) {
        return std::ranges::any_of(regions_, [&](const CafRegion& region) {
            return region.id == id && (region.flags & kLoops) && setLoopOf(region.markers, region.flags);
        });
    }

    void applyInstrument() {
        ByteReader reader(instrument_, ByteOrder::Big);
        const float note = reader.f32();
        reader.skip(4);  // keys and velocities
        const float gain = reader.f32();
        reader.skip(4);  // start region
        const std::uint32_t sustain = reader.u32();
        const std::uint32_t release = reader.u32();
        if (reader.ok()) {
            if (note >= 0 && note < 127.5f) {
                waveform_.rootKey = static_cast<std::uint8_t>(std::lround(note));
                waveform_.fineTune = static_cast<std::int8_t>(
                    std::lround((static_cast<float>(waveform_.rootKey) - note) * 100));
            }
            if (gain >= -144 && gain <= 144)
                waveform_.gain = gain;
            if (setLoopOfRegion(sustain)) {
                waveform_.loopUntilRelease = release != sustain;
                return;
            }
            if (setLoopOfRegion(release))
                return;
        }
        // Files without an instrument, or one that names no loop.
        for (const CafRegion& region : regions_) {
            if ((region.flags & kLoops) && setLoopOf(region.markers, region.flags))
                return;
        }
        std::vector<Marker> loopMarkers = markers_;
        std::erase_if(loopMarkers, [](const Marker& each) {
            return each.type != fourCc("slbg") && each.type != fourCc("slen");
        });
        setLoopOf(loopMarkers, kPlaysForward);
    }

    bool finish() {
        if (!described_)
            return fail("The Core Audio file has no description");
        if (data_ == 0)
            return fail("The Core Audio file has no data");
        applyInstrument();
        const auto* codec = std::ranges::find(kCodecs, format_, &Codec::format);
        return codec == std::end(kCodecs) ? finishPlain() : finishCodec(*codec);
    }

    bool finishPlain() {
        StoredWave stored;
        stored.channels = channels_;
        stored.rate = rate_;
        stored.position = data_;
        stored.byteSize = dataSize_;
        stored.layout.order = ByteOrder::Big;
        if (format_ == fourCc("ulaw")) {
            stored.layout.encoding = SampleEncoding::MuLaw;
        } else if (format_ == fourCc("alaw")) {
            stored.layout.encoding = SampleEncoding::ALaw;
        } else if (format_ == fourCc("lpcm")) {
            if (flags_ & kIsLittle)
                stored.layout.order = ByteOrder::Little;
            // Narrow samples lie in the top bits of whole bytes.
            const std::uint32_t width = channels_ ? bytesPerPacket_ / channels_ : 0;
            if (!plainEncoding(width, stored.layout.encoding))
                return fail(kUnknownSampleFormat);
        } else {
            return fail(kUnknownSampleFormat);
        }
        return attachStoredWave(waveform_, file_, stored);
    }

    bool plainEncoding(std::uint32_t width, SampleEncoding& encoding) const {
        if (flags_ & kIsFloat) {
            encoding = width == 8 ? SampleEncoding::Float64 : SampleEncoding::Float32;
            return width == 4 || width == 8;
        }
        if (width < 1 || width > 4 || bits_ > width * 8)
            return false;
        encoding = pcmEncoding(width);
        return true;
    }

    bool finishCodec(const Codec& codec) {
        if (!setChannels(waveform_, file_, channels_))
            return false;
        setRate(waveform_, file_, rate_);
        setEncoding(waveform_, codec.encoding);
        waveform_.bits = 16;
        std::uint64_t frames = validFrames_;
        if (frames == 0 && bytesPerPacket_ != 0)
            frames = dataSize_ / bytesPerPacket_ * framesPerPacket_;
        waveform_.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, UINT32_MAX));
        CodecData data;
        data.position = data_;
        data.byteSize = dataSize_;
        setDecoder(data);
        if (data.makeDecoder && channels_ <= 2) {
            if (validFrames_ == 0)
                waveform_.frames = clampFrames(file_, framesIn(data));
            attachCodecSamples(waveform_, file_.input, std::move(data));
            return true;
        }
        waveform_.sourceOffset = data_;
        waveform_.setSource(undecodedSource(codec.name));
        return true;
    }

    void setDecoder(CodecData& data) const {
        const int channels = waveform_.channels;
        if (format_ == fourCc("ima4"))
            setIma4(data, channels);
        else if (format_ == fourCc("MAC3"))
            setMace(data, MaceRatio::ThreeToOne, channels);
        else if (format_ == fourCc("MAC6"))
            setMace(data, MaceRatio::SixToOne, channels);
    }

    OpenFile& file_;
    Waveform& waveform_;
    bool described_ = false;
    double rate_ = 0;
    std::uint32_t format_ = 0, flags_ = 0, bytesPerPacket_ = 0, framesPerPacket_ = 0, channels_ = 0,
                  bits_ = 0;
    std::uint64_t data_ = 0, dataSize_ = 0;
    std::uint64_t validFrames_ = 0;
    std::vector<Marker> markers_;
    std::vector<CafRegion> regions_;
    std::vector<Byte> instrument_;
};

// ---- Writing ----

constexpr std::uint32_t kWritable = encodingMask(
    {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24, SampleEncoding::Pcm32,
     SampleEncoding::Float32, SampleEncoding::Float64, SampleEncoding::MuLaw, SampleEncoding::ALaw});
constexpr std::uint32_t kLoopRegion = 1;

void chunkHead(ByteWriter& to, std::uint32_t id, std::uint64_t size) {
    to.id(id);
    to.u64(size);
}

using InfoEntry = std::pair<std::string_view, std::string_view>;

std::vector<InfoEntry> infoEntries(const Waveform& waveform) {
    std::vector<InfoEntry> entries;
    if (!waveform.name().empty())
        entries.emplace_back("title", waveform.name());
    for (const auto& [key, which] : kInfoTexts) {
        if (!waveform.text(which).empty())
            entries.emplace_back(key, waveform.text(which));
    }
    return entries;
}

std::uint64_t infoSize(const std::vector<InfoEntry>& entries) {
    std::uint64_t size = 4;
    for (const auto& [key, text] : entries)
        size += key.size() + 1 + text.size() + 1;
    return size;
}

void writeDescription(ByteWriter& to, const Waveform& waveform, const WavePlan& plan) {
    const SampleEncoding encoding = plan.target.layout.encoding;
    chunkHead(to, fourCc("desc"), kDescriptionSize);
    to.write(static_cast<double>(waveform.sampleRate));
    to.id(encoding == SampleEncoding::MuLaw  ? fourCc("ulaw")
          : encoding == SampleEncoding::ALaw ? fourCc("alaw")
                                             : fourCc("lpcm"));
    to.u32(encoding == SampleEncoding::Float32 || encoding == SampleEncoding::Float64 ? kIsFloat : 0);
    to.u32(plan.bytesPerFrame());
    to.u32(1);  // frames per packet
    to.u32(static_cast<std::uint32_t>(plan.target.channels));
    to.u32(plan.bytesPerSample() * 8);
}

void writeMarker(ByteWriter& to, std::uint32_t type, double frame) {
    to.id(type);
    to.write(frame);
    to.zeros(kMarkerSize - 12);
}

void writeRegion(ByteWriter& to, const Waveform& waveform) {
    chunkHead(to, fourCc("regn"), 8 + kRegionHeader + 2 * kMarkerSize);
    to.u32(0);  // no time codes
    to.u32(1);
    to.u32(kLoopRegion);
    to.u32(kLoops | (waveform.loopMode != LoopMode::Backward ? kPlaysForward : 0) |
           (waveform.loopMode != LoopMode::Forward ? kPlaysBackward : 0));
    to.u32(2);
    writeMarker(to, fourCc("slbg"), waveform.loopStart);
    writeMarker(to, fourCc("slen"), waveform.loopEnd);
}

void writeInstrument(ByteWriter& to, const Waveform& waveform) {
    chunkHead(to, fourCc("inst"), kInstrumentSize);
    to.f32(static_cast<float>(waveform.rootKey) - static_cast<float>(waveform.fineTune) / 100.0f);
    to.u8(0);  // keys
    to.u8(127);
    to.u8(0);  // velocities
    to.u8(127);
    to.f32(waveform.gain);
    to.u32(0);  // start region
    to.u32(waveform.looped ? kLoopRegion : 0);
    to.u32(waveform.looped && !waveform.loopUntilRelease ? kLoopRegion : 0);
    to.u32(0);  // name
}

}  // namespace

bool readCoreAudio(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [](OpenFile& from, Waveform& waveform) {
        return CoreAudioReader(from, waveform).read();
    });
}

bool writeCoreAudio(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    const auto entries = infoEntries(*waveform);
    const std::uint64_t region = waveform->looped ? kChunkHeader + 8 + kRegionHeader + 2 * kMarkerSize : 0;
    const std::uint64_t size = kFileHeader + kChunkHeader + kDescriptionSize + kChunkHeader +
                               infoSize(entries) + region + kChunkHeader + kInstrumentSize + kChunkHeader +
                               4 + plan.dataSize;
    FileImage image;
    if (!image.allocate(size))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.id(fourCc("caff"));
    to.u16(kVersion);
    to.u16(0);
    writeDescription(to, *waveform, plan);
    chunkHead(to, fourCc("info"), infoSize(entries));
    to.u32(static_cast<std::uint32_t>(entries.size()));
    for (const auto& [key, text] : entries) {
        to.text(key, key.size() + 1);
        to.text(text, text.size() + 1);
    }
    if (waveform->looped)
        writeRegion(to, *waveform);
    writeInstrument(to, *waveform);
    chunkHead(to, fourCc("data"), 4 + plan.dataSize);
    to.u32(0);  // edit count
    return encodeWaveform(*waveform, plan.target, to.block(to.remaining()), *file.ui) &&
           file.write(image.bytes());
}

}  // namespace velor
