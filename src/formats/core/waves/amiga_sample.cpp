#include "formats/core/waves/amiga_sample.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/error.h"
#include "formats/core/codecs/nibble_delta.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"

namespace velor {

namespace {

constexpr std::uint32_t kVoiceHeaderSize = 20;
constexpr std::uint32_t kFullVolume = 0x10000;
constexpr std::uint32_t kStereo = 6;  // in CHAN; 2 is left, 4 right
constexpr int kMostChunks = 1 << 16;
constexpr std::size_t kLongestText = 4096;
constexpr unsigned kMostOctaves = 16;

struct VoiceHeader {
    std::uint32_t oneShot = 0;  // frames of the highest octave before the loop
    std::uint32_t repeat = 0;   // frames of the loop
    std::uint32_t cycle = 0;    // frames of one wave; 0: unknown
    std::uint16_t rate = 0;
    std::uint8_t octaves = 1;
    std::uint8_t compression = 0;
    std::uint32_t volume = kFullVolume;
};

double hertzOfKey(int key) {
    return 440 * std::exp2((key - 69) / 12.0);
}

// The key of a wave of that many frames. What rounding to whole frames does to the pitch is no fine tune.
void setPitchOfCycle(Waveform& waveform, std::uint32_t rate, double cycle) {
    if (cycle < 1)
        return;
    setPitch(waveform, rate / cycle);
    if (std::abs(rate / hertzOfKey(waveform.rootKey) - cycle) <= 0.5)
        waveform.fineTune = 0;
}

// Packed channels, one behind the other, from frame `skip` on.
class DeltaDecoder final : public SampleDecoder {
  public:
    DeltaDecoder(NibbleDelta kind, std::size_t channels, std::size_t skip)
        : kind_(kind), channels_(channels), skip_(skip) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        const std::size_t bytes = from.size() / channels_;
        const std::size_t frames = to.size() / channels_;
        std::vector<std::int8_t> samples(
            std::min<std::size_t>(skip_ + frames, static_cast<std::size_t>(nibbleDeltaSamples(bytes))));
        std::ranges::fill(to, 0.0f);
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            const std::size_t count = decodeNibbleDelta(kind_, from.subspan(channel * bytes, bytes), samples);
            for (std::size_t i = skip_; i < count; ++i)
                to[(i - skip_) * channels_ + channel] = static_cast<float>(samples[i]) / 128;
        }
        return to.size();
    }

  private:
    NibbleDelta kind_;
    std::size_t channels_;
    std::size_t skip_;
};

class AmigaReader {
  public:
    AmigaReader(Collection& collection, OpenFile& file, Waveform& waveform)
        : collection_(collection), file_(file), waveform_(waveform) {}

    bool read() {
        const auto head = bytesAt(file_, 0, 12);
        ByteReader reader(head, ByteOrder::Big);
        const bool isForm = reader.id() == fourCc("FORM");
        reader.skip(4);  // its size is wrong in too many files
        const std::uint32_t type = reader.id();
        if (!isForm || (type != fourCc("8SVX") && type != fourCc("16SV")))
            return fail("Not an Amiga sample");
        sampleBytes_ = type == fourCc("16SV") ? 2 : 1;
        std::uint64_t position = 12;
        for (int chunks = 0; chunks < kMostChunks; ++chunks) {
            const auto chunk = bytesAt(file_, position, 8);
            if (chunk.size() < 8)
                break;
            ByteReader fields(chunk, ByteOrder::Big);
            const std::uint32_t id = fields.id();
            const std::uint32_t size = fields.u32();
            readChunk(id, position + 8, size);
            if (id == fourCc("BODY") && size == 0)
                break;  // it goes on to the end of the file
            position += 8 + std::uint64_t{size} + (size & 1);
        }
        return finish();
    }

  private:
    void readChunk(std::uint32_t id, std::uint64_t payload, std::uint32_t size) {
        switch (id) {
            case fourCc("VHDR"):
                readVoiceHeader(bytesAt(file_, payload, std::min(size, kVoiceHeaderSize)));
                break;
            case fourCc("CHAN"): {
                const auto bytes = bytesAt(file_, payload, 4);
                if (bytes.size() == 4 && loadBe<std::uint32_t>(bytes.data()) == kStereo)
                    channels_ = 2;
                break;
            }
            case fourCc("NAME"):
                if (const std::string name = text(payload, size); !name.empty())
                    waveform_.setName(name);
                break;
            case fourCc("AUTH"):
                waveform_.text(WaveText::Artist) = text(payload, size);
                break;
            case fourCc("(c) "):
                waveform_.text(WaveText::Copyright) = text(payload, size);
                break;
            case fourCc("ANNO"):
                if (std::string& comment = waveform_.text(WaveText::Comment); comment.empty())
                    comment = text(payload, size);
                else
                    comment += "\n" + text(payload, size);
                break;
            case fourCc("BODY"):
                if (body_ == 0) {
                    body_ = payload;
                    bodySize_ = availableBytes(file_, payload, size ? size : kToFileEnd);
                    declaredSize_ = size ? size : bodySize_;
                }
                break;
            default:
                break;
        }
    }

    std::string text(std::uint64_t payload, std::uint32_t size) const {
        const auto bytes = bytesAt(file_, payload, std::min<std::size_t>(size, kLongestText));
        ByteReader reader(bytes);
        return fieldText(reader, bytes.size());
    }

    void readVoiceHeader(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk, ByteOrder::Big);
        header_.oneShot = reader.u32();
        header_.repeat = reader.u32();
        header_.cycle = reader.u32();
        header_.rate = reader.u16();
        header_.octaves = std::max<std::uint8_t>(reader.u8(), 1);
        header_.compression = reader.u8();
        header_.volume = reader.u32();
        hasHeader_ = reader.ok();
    }

    bool finish() {
        if (!hasHeader_)
            return fail("The Amiga sample has no voice header");
        if (body_ == 0)
            return fail("The Amiga sample has no data");
        if (header_.compression > 2 || (header_.compression != 0 && sampleBytes_ != 1))
            return fail(kUnknownSampleFormat);
        const std::uint64_t frames = framesInBody();
        // Some programs count bytes where frames are meant.
        const std::uint32_t frameBytes = sampleBytes_ * channels_;
        if (frameBytes > 1 && std::uint64_t{header_.oneShot} + header_.repeat > frames) {
            header_.oneShot /= frameBytes;
            header_.repeat /= frameBytes;
        }
        if (header_.octaves > 1 && channels_ == 1)
            return addOctaves(frames);
        return describe(waveform_, 0, frames, 0);
    }

    std::uint64_t framesInBody() const {
        const std::uint64_t bytes = bodySize_ / channels_;
        return header_.compression ? nibbleDeltaSamples(bytes) : bytes / sampleBytes_;
    }

    // The highest octave comes first, and each one after it is twice as long and an octave lower.
    bool addOctaves(std::uint64_t frames) {
        const std::uint64_t first = std::uint64_t{header_.oneShot} + header_.repeat;
        if (first == 0)
            return describe(waveform_, 0, frames, 0);
        std::uint64_t begin = 0;
        Waveform* octave = &waveform_;
        for (unsigned k = 0; k < std::min<unsigned>(header_.octaves, kMostOctaves) && begin < frames; ++k) {
            if (k > 0) {
                octave = createWaveform(collection_, file_);
                if (!octave)
                    return false;
                octave->texts = waveform_.texts;
                octave->setName(formatText("%s octave %u", waveform_.name().c_str(), k + 1));
            }
            if (!describe(*octave, begin, std::min(first << k, frames - begin), k))
                return false;
            begin += first << k;
        }
        return true;
    }

    bool describe(Waveform& waveform, std::uint64_t begin, std::uint64_t frames, unsigned octave) {
        StoredWave stored;
        stored.layout.encoding = sampleBytes_ == 2 ? SampleEncoding::Pcm16 : SampleEncoding::Pcm8;
        stored.layout.order =
            sampleBytes_ == 2 ? smootherOrder(file_, body_, ByteOrder::Big) : ByteOrder::Big;
        stored.channels = channels_;
        stored.rate = header_.rate;
        stored.planar = channels_ == 2;
        stored.position = body_ + begin * sampleBytes_;
        stored.byteSize = frames * sampleBytes_ * channels_;
        stored.secondBlock = channels_ == 2 ? body_ + declaredSize_ / 2 : 0;
        if (header_.compression != 0) {
            describePacked(waveform, begin, frames);
        } else if (!attachStoredWave(waveform, file_, stored)) {
            return false;
        }
        setPitchOfCycle(waveform, waveform.sampleRate, header_.cycle * std::exp2(octave));
        if (header_.volume != 0 && header_.volume != kFullVolume)
            waveform.gain =
                static_cast<float>(20 * std::log10(static_cast<double>(header_.volume) / kFullVolume));
        if (header_.repeat != 0) {
            const double scale = std::exp2(octave);
            waveform.setLoop(LoopMode::Forward, header_.oneShot * scale,
                             (static_cast<double>(header_.oneShot) + header_.repeat) * scale);
        }
        return true;
    }

    void describePacked(Waveform& waveform, std::uint64_t begin, std::uint64_t frames) {
        waveform.channels = static_cast<std::uint8_t>(channels_);
        setRate(waveform, file_, header_.rate);
        setEncoding(waveform, SampleEncoding::Adpcm4);
        waveform.bits = 8;
        waveform.frames = clampFrames(file_, frames);
        CodecData data;
        data.position = body_;
        data.byteSize = bodySize_;
        data.makeDecoder = [kind = static_cast<NibbleDelta>(header_.compression), channels = channels_,
                            begin] {
            return std::make_unique<DeltaDecoder>(kind, channels, static_cast<std::size_t>(begin));
        };
        attachCodecSamples(waveform, file_.input, std::move(data));
    }

    Collection& collection_;
    OpenFile& file_;
    Waveform& waveform_;
    VoiceHeader header_;
    bool hasHeader_ = false;
    std::uint32_t sampleBytes_ = 1;
    std::uint32_t channels_ = 1;
    std::uint64_t body_ = 0;
    std::uint64_t bodySize_ = 0;      // bytes that are there
    std::uint64_t declaredSize_ = 0;  // bytes that ought to be there
};

// ---- Writing ----

// 0 where the frames of one wave would not lead back to the key, or where the key is what readers assume
// without them.
std::uint32_t cycleOf(const Waveform& waveform) {
    if (waveform.rootKey == 60 && waveform.fineTune == 0)
        return 0;
    const double cycle =
        waveform.sampleRate / (hertzOfKey(waveform.rootKey) * std::exp2(-waveform.fineTune / 1200.0));
    const double whole = std::round(cycle);
    if (whole < 1 || std::abs(1200 * std::log2(whole / cycle)) > 45)
        return 0;
    return static_cast<std::uint32_t>(whole);
}

std::uint64_t textChunkSize(std::string_view text) {
    return text.empty() ? 0 : 8 + (text.size() + 1) / 2 * 2;
}

void writeTextChunk(ByteWriter& to, std::uint32_t id, std::string_view text) {
    if (text.empty())
        return;
    to.id(id);
    to.u32(static_cast<std::uint32_t>(text.size()));
    to.text(text, (text.size() + 1) / 2 * 2);
}

void writeVoiceHeader(ByteWriter& to, const Waveform& waveform) {
    const WholeLoop loop = wholeLoop(waveform);
    const bool looped = waveform.looped && loop.start < loop.end;
    to.id(fourCc("VHDR"));
    to.u32(kVoiceHeaderSize);
    to.u32(looped ? loop.start : waveform.frames);
    to.u32(looped ? loop.end - loop.start : 0);
    to.u32(cycleOf(waveform));
    to.u16(static_cast<std::uint16_t>(waveform.sampleRate));
    to.u8(1);  // octaves
    to.u8(0);  // not packed
    const double volume = kFullVolume * std::pow(10.0, std::min(waveform.gain, 0.0f) / 20.0);
    to.u32(std::max<std::uint32_t>(static_cast<std::uint32_t>(std::lround(volume)), 1));
}

}  // namespace

bool readAmigaSample(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [&collection](OpenFile& from, Waveform& waveform) {
        return AmigaReader(collection, from, waveform).read();
    });
}

bool writeAmigaSample(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, encodingBit(SampleEncoding::Pcm8), ByteOrder::Big, plan);
    if (!waveform)
        return false;
    if (waveform->sampleRate > UINT16_MAX)
        return fail("An Amiga sample can not store rates above 65535 Hz");
    warnOfLoopMode(*waveform, file);
    const bool stereo = plan.target.channels == 2;
    const std::string_view name = waveform->name();
    const std::string_view artist = waveform->text(WaveText::Artist);
    const std::string_view copyright = waveform->text(WaveText::Copyright);
    const std::string_view comment = waveform->text(WaveText::Comment);
    const std::uint64_t formSize = 4 + (8 + kVoiceHeaderSize) + textChunkSize(name) + textChunkSize(artist) +
                                   textChunkSize(copyright) + textChunkSize(comment) + (stereo ? 12 : 0) + 8 +
                                   (plan.dataSize + 1) / 2 * 2;
    if (formSize > UINT32_MAX)
        return fail("The waveform is too long for an IFF file, which can hold 4 GiB at most");
    FileImage image, interleaved;
    if (!image.allocate(8 + formSize))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.id(fourCc("FORM"));
    to.u32(static_cast<std::uint32_t>(formSize));
    to.id(fourCc("8SVX"));
    writeVoiceHeader(to, *waveform);
    writeTextChunk(to, fourCc("NAME"), name);
    writeTextChunk(to, fourCc("AUTH"), artist);
    writeTextChunk(to, fourCc("(c) "), copyright);
    writeTextChunk(to, fourCc("ANNO"), comment);
    if (stereo) {
        to.id(fourCc("CHAN"));
        to.u32(4);
        to.u32(kStereo);
    }
    to.id(fourCc("BODY"));
    to.u32(static_cast<std::uint32_t>(plan.dataSize));
    const std::span<Byte> body = to.block(static_cast<std::size_t>(plan.dataSize));
    to.zeros(to.remaining());
    if (!stereo)
        return encodeWaveform(*waveform, plan.target, body, *file.ui) && file.write(image.bytes());
    if (!interleaved.allocate(plan.dataSize) ||
        !encodeWaveform(*waveform, plan.target, interleaved.bytes(), *file.ui))
        return false;
    for (std::size_t i = 0; i < body.size() / 2; ++i) {
        body[i] = interleaved.bytes()[2 * i];
        body[body.size() / 2 + i] = interleaved.bytes()[2 * i + 1];
    }
    return file.write(image.bytes());
}

}  // namespace velor
