#include "formats/core/wave_writer.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "base/byte_writer.h"
#include "formats/core/wave_coding.h"
#include "formats/core/wave_format.h"
#include "formats/core/wave_sampler.h"
#include "formats/framework/format_table.h"
#include "formats/framework/frame_reader.h"
#include "formats/framework/waveform_io.h"
#include "plugins/mp3_encoder.h"

namespace velor {

namespace {

constexpr std::string_view kSoftware = "Velor Studio v12.6";
constexpr std::uint32_t kSoftwareField = 20;

// The writer fills in one header that lives as long as the program. Law-coded and packed files store their
// frame count in its "fact" field; float and extensible files do not, so they show the count of the last file
// that did, or 0. This is odd but long established: files are expected to come out byte for byte the same.
std::atomic<std::uint32_t> TemplateFact{0};

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
    WaveCoding coding;
    std::uint32_t variant = 0;
    bool extensible = false;
    bool compact = false;
    bool hasFact = false;
    bool hasCues = false;
    InfoTexts info;
    std::uint32_t samplerSize = 0;

    std::uint32_t fmtSize() const { return waveFormatSize(coding, extensible); }
    std::uint64_t pad() const { return coding.dataSize & 1; }
    std::uint64_t riffSize() const {
        return 4 + (8 + fmtSize()) + (hasFact ? 12 : 0) + (8 + coding.dataSize + pad()) +
               (compact ? 0 : 8 + info.listSize) + (hasCues ? kCueChunksSize : 0) + (8 + samplerSize);
    }
};

// The waveform becomes a resampled copy when the encoding does not know its rate.
bool makePlan(Waveform*& chosen, const SaveOptions& options, UserInterface& ui, Plan& plan,
              WorkingCopy& copy) {
    if (!settleFrameCount(*chosen))
        return false;
    plan.variant = options.variant;
    plan.extensible = plan.variant == wave_variant::kExtensible;
    const std::uint32_t writable = plan.extensible ? extensibleWaveEncodings() : waveEncodings();
    SampleEncoding encoding = options.encoding;
    if (encoding == SampleEncoding::None) {
        const std::uint32_t allowed = options.flags & format_flags::kEncodings;
        encoding = chooseEncoding(allowed ? allowed : writable, chosen->sourceEncoding(), chosen->bits);
    }
    if (!(writable & encodingBit(encoding)))
        return fail("Unsupported subformat");
    const int channels = options.channels ? options.channels
                         : options.flags  ? outputChannels(options.flags, chosen->channels)
                                          : chosen->channels;
    if (!planWaveCoding(chosen, encoding, channels, options.quality, ui, plan.coding, copy))
        return false;
    const Waveform& waveform = *chosen;
    plan.compact = plan.variant == wave_variant::kCompact;
    plan.hasFact = plan.extensible || plan.coding.tag != wave_tag::kPcm;
    plan.hasCues = waveform.looped && !plan.compact && plan.variant != wave_variant::kTuningBlock;
    plan.info = infoTexts(waveform, plan.variant);
    plan.samplerSize = samplerChunkSize(waveform, plan.variant);
    if (plan.riffSize() > UINT32_MAX)
        return fail("The waveform is too long for a WAVE file, which can hold 4 GiB at most");
    return true;
}

}  // namespace

void resetWaveHeaderTemplate() {
    TemplateFact = 0;
}

bool buildWaveImage(Waveform& original, const SaveOptions& options, UserInterface& ui, WaveImage& image) {
    image.release();
    Plan plan;
    WorkingCopy copy;
    Waveform* chosen = &original;
    if (!makePlan(chosen, options, ui, plan, copy) || !image.allocate(8 + plan.riffSize()))
        return false;
    Waveform& waveform = *chosen;
    ByteWriter to(image.bytes());
    to.id(fourCc("RIFF"));
    to.u32(static_cast<std::uint32_t>(plan.riffSize()));
    to.id(fourCc("WAVE"));
    writeWaveFormat(to, plan.coding, plan.extensible);
    if (plan.coding.storesFact)
        TemplateFact = plan.coding.fact;
    if (plan.hasFact) {
        to.id(fourCc("fact"));
        to.u32(4);
        to.u32(TemplateFact);
    }
    if (plan.compact)
        writeSamplerChunk(to, waveform, plan.variant);
    to.id(fourCc("data"));
    to.u32(static_cast<std::uint32_t>(plan.coding.dataSize));
    const std::span<Byte> data = to.block(static_cast<std::size_t>(plan.coding.dataSize));
    if (plan.pad())
        to.u8(0x80);  // silence of 8-bit PCM, whatever the encoding
    if (!plan.compact) {
        writeInfo(to, plan.info);
        if (plan.hasCues)
            writeCueChunks(to, waveform);
        writeSamplerChunk(to, waveform, plan.variant);
    }
    if (!to.ok() || to.remaining() != 0 || !encodeWaveData(waveform, plan.coding, data, ui)) {
        image.release();
        return false;
    }
    return true;
}

float waveOptions(std::uint32_t index, std::uint32_t, std::string& text) {
    const auto rates = mp3BitRates();
    if (index >= rates.size())
        return -1;
    text = formatText("MP3 CBR %d kbit/s", rates[index]);
    return static_cast<float>(rates[index]);
}

bool writeWave(Item& item, OpenFile& file, std::uint32_t variant) {
    Waveform* waveform = waveformToWrite(item);
    if (!waveform)
        return false;
    SaveOptions options = file.save;
    options.variant = variant;
    WaveImage image;
    return buildWaveImage(*waveform, options, *file.ui, image) && file.write(image.bytes());
}

}  // namespace velor
