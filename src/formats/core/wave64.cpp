#include "formats/core/wave64.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/core/wave_data.h"
#include "formats/core/wave_sampler.h"
#include "formats/framework/file_image.h"
#include "formats/framework/format_table.h"
#include "formats/framework/frame_reader.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

using Guid = std::array<Byte, 16>;

// The ids of the chunks that RIFF WAVE has too: the four characters and a common tail.
constexpr Guid waveGuid(const char* id) {
    return {static_cast<Byte>(id[0]),
            static_cast<Byte>(id[1]),
            static_cast<Byte>(id[2]),
            static_cast<Byte>(id[3]),
            0xF3,
            0xAC,
            0xD3,
            0x11,
            0x8C,
            0xD1,
            0x00,
            0xC0,
            0x4F,
            0x8E,
            0xDB,
            0x8A};
}

constexpr Guid kRiff{0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11,
                     0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr Guid kWave = waveGuid("wave");
constexpr Guid kFormat = waveGuid("fmt ");
constexpr Guid kFact = waveGuid("fact");
constexpr Guid kData = waveGuid("data");
constexpr Guid kSampler = waveGuid("smpl");
// {925F94BC-525A-11D2-86DC-00C04F8EDB8A}
constexpr Guid kSummary{0xBC, 0x94, 0x5F, 0x92, 0x5A, 0x52, 0xD2, 0x11,
                        0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};

constexpr std::uint64_t kHeaderBytes = 24;  // id and size
constexpr std::uint64_t kRiffBytes = kHeaderBytes + 16;

constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr std::uint64_t kMostPayload = 1u << 20;  // of the chunks that are read into memory

constexpr std::uint64_t aligned(std::uint64_t size) {
    return (size + 7) & ~std::uint64_t{7};
}

// ---- Reading ----

class Wave64Walker {
  public:
    Wave64Walker(OpenFile& file, Waveform& waveform) : file_(file), waveform_(waveform) {}

    bool read() {
        const auto head = bytesAt(file_, 0, kRiffBytes);
        if (head.size() < kRiffBytes || !std::equal(kRiff.begin(), kRiff.end(), head.begin()) ||
            !std::equal(kWave.begin(), kWave.end(), head.begin() + kHeaderBytes))
            return fail("Not a Sonic Foundry/Sony Wave64 file");
        std::uint64_t position = kRiffBytes;
        for (std::uint32_t chunks = 0; position + kHeaderBytes <= file_.size(); ++chunks) {
            if (chunks >= kMostChunks)
                return fail("The Wave-64 file has too many chunks");
            const auto header = bytesAt(file_, position, kHeaderBytes);
            const auto size = loadLe<std::uint64_t>(header.data() + 16);
            Guid id;
            std::copy_n(header.begin(), id.size(), id.begin());
            // A writer that was stopped leaves the size of its data at 0.
            const bool open = id == kData && size <= kHeaderBytes && !hasData_;
            if (size < kHeaderBytes && !open)
                break;
            const std::uint64_t payload = position + kHeaderBytes;
            const std::uint64_t payloadSize = open ? file_.size() - payload : size - kHeaderBytes;
            if (!readChunk(id, payload, payloadSize))
                return false;
            if (open || size > file_.size())
                break;
            position += aligned(size);
        }
        return finish();
    }

  private:
    std::vector<Byte> payloadBytes(std::uint64_t payload, std::uint64_t size) const {
        return bytesAt(file_, payload, static_cast<std::size_t>(std::min(size, kMostPayload)));
    }

    bool readChunk(const Guid& id, std::uint64_t payload, std::uint64_t size) {
        if (id == kFormat && !hasFormat_) {
            if (!parseWaveFormat(payloadBytes(payload, size), format_))
                return false;
            hasFormat_ = true;
        } else if (id == kFact) {
            const auto bytes = payloadBytes(payload, size);
            if (bytes.size() >= 8)
                fact_ = loadLe<std::uint64_t>(bytes.data());
            else if (bytes.size() >= 4)
                fact_ = loadLe<std::uint32_t>(bytes.data());
        } else if (id == kData && !hasData_) {
            hasData_ = true;
            dataPosition_ = payload;
            dataSize_ = availableBytes(file_, payload, size, "data");
        } else if (id == kSummary) {
            readSummary(payloadBytes(payload, size));
        } else if (id == kSampler) {
            std::uint32_t skipFrames = 0;
            if (!applySamplerChunk(payloadBytes(payload, size), waveform_, skipFrames))
                file_.warn("Warning: sampler chunk too short - ignored", "smpl", payload);
        }
        return true;
    }

    // Number of entries u32, then id, byte length u32 and UTF-16 text each.
    void readSummary(const std::vector<Byte>& chunk) {
        ByteReader reader(chunk);
        reader.skip(4);
        while (reader.remaining() >= 8) {
            const std::uint32_t id = reader.id();
            const std::uint32_t length = reader.u32();
            ByteReader characters = reader.sub(std::min<std::size_t>(length, reader.remaining()));
            std::u16string text;
            while (characters.remaining() >= 2) {
                const std::uint16_t unit = characters.u16();
                if (unit == 0)
                    break;
                text.push_back(static_cast<char16_t>(unit));
            }
            if (!text.empty())
                waveform_.setInfoText(id, utf8FromUtf16(text));
        }
    }

    bool finish() {
        if (!hasFormat_ || !hasData_)
            return fail("No wave data found!");
        if (format_.rate == 0) {
            file_.warn(std::string(kNoRate), "fmt ");
            format_.rate = kRateTaken;
        }
        std::uint64_t frames = fact_;
        if (frames <= 1 || waveFramesFixedByData(format_))
            frames = waveFramesIn(format_, dataSize_);
        waveform_.frames = clampFrames(file_, frames);
        applyWaveFormat(format_, waveform_);
        attachWaveData(waveform_, format_, file_.input, dataPosition_, dataSize_);
        return true;
    }

    OpenFile& file_;
    Waveform& waveform_;
    WaveFormat format_;
    bool hasFormat_ = false;
    bool hasData_ = false;
    std::uint64_t fact_ = 0;
    std::uint64_t dataPosition_ = 0;
    std::uint64_t dataSize_ = 0;
};

// ---- Writing ----

struct FormatRow {
    SampleEncoding encoding;
    std::uint16_t tag;
};

constexpr FormatRow kFormats[] = {
    {SampleEncoding::Pcm8, wave_tag::kPcm},      {SampleEncoding::Pcm16, wave_tag::kPcm},
    {SampleEncoding::Pcm24, wave_tag::kPcm},     {SampleEncoding::Pcm32, wave_tag::kPcm},
    {SampleEncoding::Float32, wave_tag::kFloat}, {SampleEncoding::MuLaw, wave_tag::kMuLaw},
    {SampleEncoding::ALaw, wave_tag::kALaw},
};

constexpr std::uint32_t writableEncodings() {
    std::uint32_t mask = 0;
    for (const FormatRow& row : kFormats)
        mask |= encodingBit(row.encoding);
    return mask;
}

struct SummaryEntry {
    std::uint32_t id;
    std::u16string text;

    std::uint64_t textBytes() const { return (text.size() + 1) * 2; }
};

std::vector<SummaryEntry> summaryOf(const Waveform& waveform) {
    std::vector<SummaryEntry> entries;
    const auto add = [&entries](std::uint32_t id, std::string_view text) {
        if (!text.empty())
            entries.push_back({id, utf16FromUtf8(displayText(text))});
    };
    add(fourCc("INAM"), waveform.name());
    add(fourCc("IART"), waveform.text(WaveText::Artist));
    add(fourCc("ICMT"), waveform.text(WaveText::Comment));
    add(fourCc("ICOP"), waveform.text(WaveText::Copyright));
    add(fourCc("IENG"), waveform.text(WaveText::Engineer));
    return entries;
}

void writeHeader(ByteWriter& to, const Guid& id, std::uint64_t payloadSize) {
    to.bytes(id);
    to.u64(kHeaderBytes + payloadSize);
}

bool buildImage(Waveform& waveform, const SaveOptions& options, UserInterface& ui, FileImage& image) {
    if (!settleFrameCount(waveform))
        return false;
    constexpr std::uint32_t kEncodings = writableEncodings();
    const std::uint32_t flags =
        options.flags ? options.flags : kEncodings | format_flags::kMono | format_flags::kStereo;
    TargetLayout target;
    SampleEncoding& encoding = target.layout.encoding;
    encoding = options.encoding != SampleEncoding::None
                   ? options.encoding
                   : chooseEncoding(flags & kEncodings, waveform.sourceEncoding(), waveform.bits);
    const auto* row = std::ranges::find(kFormats, encoding, &FormatRow::encoding);
    if (row == std::end(kFormats))
        return fail("Unsupported subformat");
    target.layout.isUnsigned = encoding == SampleEncoding::Pcm8;
    target.channels = options.channels ? options.channels : outputChannels(flags, waveform.channels);

    const std::uint64_t dataSize = encodedSize(waveform, target);
    const auto summary = summaryOf(waveform);
    std::uint64_t summarySize = 4;
    for (const SummaryEntry& entry : summary)
        summarySize += 8 + entry.textBytes();
    const bool hasFact = row->tag != wave_tag::kPcm;
    // What a file without the chunk is read as needs none.
    const bool hasSampler = waveform.looped || waveform.rootKey != 60 || waveform.fineTune != 0;
    const std::uint32_t samplerSize = hasSampler ? samplerChunkSize(waveform, 0) : 0;
    const std::uint64_t total = kRiffBytes + aligned(kHeaderBytes + 16) + (hasFact ? kHeaderBytes + 8 : 0) +
                                aligned(kHeaderBytes + dataSize) + aligned(kHeaderBytes + summarySize) +
                                (hasSampler ? aligned(kHeaderBytes + samplerSize) : 0);
    if (!image.allocate(total))
        return false;

    ByteWriter to(image.bytes());
    const auto pad = [&to](std::uint64_t payloadSize) {
        to.zeros(static_cast<std::size_t>(aligned(payloadSize) - payloadSize));
    };
    to.bytes(kRiff);
    to.u64(total);
    to.bytes(kWave);
    writeHeader(to, kFormat, 16);
    const auto bits = static_cast<std::uint32_t>(encodingBits(encoding));
    const std::uint32_t blockAlign = static_cast<std::uint32_t>(target.channels) * bits / 8;
    to.u16(row->tag);
    to.u16(static_cast<std::uint16_t>(target.channels));
    to.u32(waveform.sampleRate);
    to.u32(blockAlign * waveform.sampleRate);
    to.u16(static_cast<std::uint16_t>(blockAlign));
    to.u16(static_cast<std::uint16_t>(bits));
    if (hasFact) {
        writeHeader(to, kFact, 8);
        to.u64(waveform.frames);
    }
    writeHeader(to, kData, dataSize);
    const std::span<Byte> data = to.block(static_cast<std::size_t>(dataSize));
    pad(dataSize);
    writeHeader(to, kSummary, summarySize);
    to.u32(static_cast<std::uint32_t>(summary.size()));
    for (const SummaryEntry& entry : summary) {
        to.id(entry.id);
        to.u32(static_cast<std::uint32_t>(entry.textBytes()));
        for (const char16_t unit : entry.text)
            to.u16(unit);
        to.u16(0);
    }
    pad(summarySize);
    if (hasSampler) {
        writeHeader(to, kSampler, samplerSize);
        std::vector<Byte> chunk(8 + std::size_t{samplerSize});
        ByteWriter riff(chunk);
        writeSamplerChunk(riff, waveform, 0);
        to.bytes(std::span<const Byte>(chunk).subspan(8));
        pad(samplerSize);
    }
    return to.ok() && to.remaining() == 0 && encodeWaveform(waveform, target, data, ui);
}

}  // namespace

bool readWave64(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, [](OpenFile& from, Waveform& waveform) {
        return Wave64Walker(from, waveform).read();
    });
}

bool writeWave64(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* waveform = waveformToWrite(item);
    FileImage image;
    return waveform && buildImage(*waveform, file.save, *file.ui, image) && file.write(image.bytes());
}

}  // namespace velor
