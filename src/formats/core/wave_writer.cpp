#include "formats/core/wave_writer.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "base/byte_writer.h"
#include "formats/core/wave_format.h"
#include "formats/core/wave_sampler.h"
#include "formats/framework/format_table.h"
#include "formats/framework/frame_reader.h"
#include "formats/framework/stored_samples.h"

namespace velor {

namespace {

struct FormatRow {
    SampleEncoding encoding;
    std::uint16_t tag;
    std::uint32_t fmtSize;  // 16, or 18 with an empty codec part
};

constexpr FormatRow kFormats[] = {
    {SampleEncoding::Pcm8, wave_tag::kPcm, 16},      {SampleEncoding::Pcm16, wave_tag::kPcm, 16},
    {SampleEncoding::Pcm24, wave_tag::kPcm, 16},     {SampleEncoding::Pcm32, wave_tag::kPcm, 16},
    {SampleEncoding::Float32, wave_tag::kFloat, 16}, {SampleEncoding::MuLaw, wave_tag::kMuLaw, 18},
    {SampleEncoding::ALaw, wave_tag::kALaw, 18},
};
constexpr std::uint32_t kExtensibleSize = 40;
constexpr std::string_view kSoftware = "Velor Studio v12.6";
constexpr std::uint32_t kSoftwareField = 20;

// The writer fills in one header that lives as long as the program. Law-coded files store their frame count
// in its "fact" field; float and extensible files do not, so they show the count of the last file that did,
// or 0. This is odd but long established: files are expected to come out byte for byte the same.
std::atomic<std::uint32_t> TemplateFact{0};

bool storesFact(SampleEncoding encoding) {
    return encoding == SampleEncoding::MuLaw || encoding == SampleEncoding::ALaw;
}

std::uint32_t writableEncodings(std::uint32_t variant) {
    std::uint32_t mask = 0;
    for (const FormatRow& row : kFormats) {
        if (variant != wave_variant::kExtensible || !storesFact(row.encoding))
            mask |= encodingBit(row.encoding);
    }
    return mask;
}

// The codecs that the format has but this build cannot write.
std::string_view unbuiltCodec(SampleEncoding encoding) {
    switch (encoding) {
        case SampleEncoding::Gsm:
            return "GSM 6.10";
        case SampleEncoding::Adpcm2:
            return "G.726 2-bit ADPCM";
        case SampleEncoding::Adpcm3:
            return "G.723 3-bit ADPCM";
        case SampleEncoding::Adpcm4:
            return "G.721 4-bit ADPCM";
        case SampleEncoding::Adpcm5:
            return "G.723 5-bit ADPCM";
        case SampleEncoding::Compressed:
            return "MPEG layer 3";
        default:
            return {};
    }
}

// One INFO text and the size its chunk has. The name always ends with a zero; the other texts are padded to
// an even size only, so that texts of even length have none. Old files look like that.
struct InfoText {
    std::uint32_t id;
    std::string_view text;
    std::uint64_t size;
};

struct InfoTexts {
    std::array<InfoText, 7> texts;
    std::size_t count = 0;
    std::uint64_t listSize = 4;  // payload of the LIST chunk

    void add(std::uint32_t id, std::string_view text, std::uint64_t size) {
        texts[count++] = {id, text, size};
        listSize += 8 + size;
    }
};

InfoTexts infoTexts(const Waveform& waveform, std::uint32_t variant) {
    InfoTexts info;
    const std::string_view name = waveform.name();
    info.add(fourCc("INAM"), name, (name.size() + 2) & ~std::uint64_t{1});
    if (variant != wave_variant::kTuningBlock)
        info.add(fourCc("ISFT"), kSoftware, kSoftwareField);
    const auto addText = [&](std::uint32_t id, WaveText which) {
        const std::string_view text = waveform.text(which);
        if (!text.empty())
            info.add(id, text, (text.size() + 1) & ~std::uint64_t{1});
    };
    addText(fourCc("IART"), WaveText::Artist);
    addText(fourCc("IPRD"), WaveText::Product);
    addText(fourCc("ICOP"), WaveText::Copyright);
    addText(fourCc("ICMT"), WaveText::Comment);
    addText(fourCc("IENG"), WaveText::Engineer);
    return info;
}

void writeInfo(ByteWriter& to, const InfoTexts& info) {
    to.id(fourCc("LIST"));
    to.u32(static_cast<std::uint32_t>(info.listSize));
    to.id(fourCc("INFO"));
    for (std::size_t i = 0; i < info.count; ++i) {
        to.id(info.texts[i].id);
        to.u32(static_cast<std::uint32_t>(info.texts[i].size));
        to.text(info.texts[i].text, info.texts[i].size);
    }
}

// Everything that is known before the image is laid out.
struct Plan {
    FormatRow format;
    TargetLayout target;
    std::uint32_t variant = 0;
    std::uint32_t fmtSize = 0;
    std::uint64_t dataSize = 0;
    bool compact = false;
    bool hasFact = false;
    bool hasCues = false;
    InfoTexts info;
    std::uint32_t samplerSize = 0;

    std::uint64_t pad() const { return dataSize & 1; }
    std::uint64_t riffSize() const {
        return 4 + (8 + fmtSize) + (hasFact ? 12 : 0) + (8 + dataSize + pad()) +
               (compact ? 0 : 8 + info.listSize) + (hasCues ? kCueChunksSize : 0) + (8 + samplerSize);
    }
};

bool makePlan(const Waveform& waveform, const SaveOptions& options, Plan& plan) {
    plan.variant = options.variant;
    const bool extensible = plan.variant == wave_variant::kExtensible;
    const std::uint32_t writable = writableEncodings(plan.variant);
    SampleEncoding encoding = options.encoding;
    if (encoding == SampleEncoding::None) {
        const std::uint32_t allowed = options.flags & format_flags::kEncodings;
        // A row that allows nothing else than one codec means that codec.
        const std::uint32_t usable = allowed ? allowed & writable : writable;
        encoding = chooseEncoding(usable ? usable : allowed, waveform.sourceEncoding(), waveform.bits);
    }
    const auto* format = std::ranges::find(kFormats, encoding, &FormatRow::encoding);
    if (format == std::end(kFormats) || !(writable & encodingBit(encoding))) {
        const std::string_view codec = extensible ? std::string_view() : unbuiltCodec(encoding);
        return fail(codec.empty() ? "Unsupported subformat"
                                  : "Writing " + std::string(codec) + " is not supported in this build");
    }
    plan.format = *format;
    plan.fmtSize = extensible ? kExtensibleSize : format->fmtSize;
    plan.target.layout.encoding = encoding;
    plan.target.layout.isUnsigned = encoding == SampleEncoding::Pcm8;
    plan.target.channels = options.channels ? options.channels
                           : options.flags  ? outputChannels(options.flags, waveform.channels)
                                            : waveform.channels;
    plan.dataSize = encodedSize(waveform, plan.target);
    plan.compact = plan.variant == wave_variant::kCompact;
    plan.hasFact = extensible || format->tag != wave_tag::kPcm;
    plan.hasCues = waveform.looped && !plan.compact && plan.variant != wave_variant::kTuningBlock;
    plan.info = infoTexts(waveform, plan.variant);
    plan.samplerSize = samplerChunkSize(waveform, plan.variant);
    if (plan.riffSize() > UINT32_MAX)
        return fail("The waveform is too long for a WAVE file, which can hold 4 GiB at most");
    return true;
}

void writeFormatChunk(ByteWriter& to, const Plan& plan, std::uint32_t rate) {
    const bool extensible = plan.variant == wave_variant::kExtensible;
    const auto channels = static_cast<std::uint16_t>(plan.target.channels);
    const auto bits = static_cast<std::uint16_t>(encodingBits(plan.format.encoding));
    const auto blockAlign = static_cast<std::uint16_t>(channels * bits / 8);
    to.id(fourCc("fmt "));
    to.u32(plan.fmtSize);
    to.u16(extensible ? wave_tag::kExtensible : plan.format.tag);
    to.u16(channels);
    to.u32(rate);
    to.u32(blockAlign * rate);
    to.u16(blockAlign);
    to.u16(bits);
    if (extensible) {
        constexpr std::uint32_t kFrontLeftAndRight = 3, kFrontCentre = 4;
        to.u16(22);  // size of the rest
        to.u16(bits);
        to.u32(channels == 1 ? kFrontCentre : kFrontLeftAndRight);
        to.u32(plan.format.tag);
        to.bytes(kTagGuidTail);
    } else if (plan.fmtSize == 18) {
        to.u16(0);
    }
}

}  // namespace

void resetWaveHeaderTemplate() {
    TemplateFact = 0;
}

bool buildWaveImage(Waveform& waveform, const SaveOptions& options, UserInterface& ui, WaveImage& image) {
    image.release();
    if (!settleFrameCount(waveform))
        return false;
    Plan plan;
    if (!makePlan(waveform, options, plan) || !image.allocate(8 + plan.riffSize()))
        return false;
    ByteWriter to(image.bytes());
    to.id(fourCc("RIFF"));
    to.u32(static_cast<std::uint32_t>(plan.riffSize()));
    to.id(fourCc("WAVE"));
    writeFormatChunk(to, plan, waveform.sampleRate);
    if (storesFact(plan.format.encoding))
        TemplateFact = waveform.frames;
    if (plan.hasFact) {
        to.id(fourCc("fact"));
        to.u32(4);
        to.u32(TemplateFact);
    }
    if (plan.compact)
        writeSamplerChunk(to, waveform, plan.variant);
    to.id(fourCc("data"));
    to.u32(static_cast<std::uint32_t>(plan.dataSize));
    const std::span<Byte> data = to.block(static_cast<std::size_t>(plan.dataSize));
    if (plan.pad())
        to.u8(0x80);  // silence of 8-bit PCM, whatever the encoding
    if (!plan.compact) {
        writeInfo(to, plan.info);
        if (plan.hasCues)
            writeCueChunks(to, waveform);
        writeSamplerChunk(to, waveform, plan.variant);
    }
    if (!to.ok() || to.remaining() != 0 || !encodeWaveform(waveform, plan.target, data, ui)) {
        image.release();
        return false;
    }
    return true;
}

bool writeWave(Item& item, OpenFile& file, std::uint32_t variant) {
    if (item.kind() != ItemKind::Waveform)
        return fail(kCannotSaveItem);
    SaveOptions options = file.save;
    options.variant = variant;
    WaveImage image;
    return buildWaveImage(static_cast<Waveform&>(item), options, *file.ui, image) &&
           file.write(image.bytes());
}

}  // namespace velor
