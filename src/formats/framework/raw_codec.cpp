#include "formats/framework/raw_codec.h"
#include "formats/framework/waveform_io.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "base/error.h"
#include "formats/framework/file_image.h"
#include "formats/framework/format_table.h"
#include "formats/framework/stored_samples.h"

namespace velor {

RawSourceChoice RawSource;

bool importRawSamples(Waveform& waveform, const File& file) {
    if (waveform.frames == 0)
        return fail("Zero length");
    if (waveform.channels == 0)
        return fail("No channels");
    if (waveform.channels > 2)
        return fail("Too many channels");
    const SampleLayout layout = SampleLayout::fromWord(waveform.sourceFormat);
    if (!isPlainEncoding(layout.encoding))
        return fail("Invalid format for generic import function!");

    const std::size_t samples = std::size_t{waveform.frames} * waveform.channels;
    const std::uint64_t byteCount = storedSize(layout.encoding, samples);
    const bool planar = waveform.channels == 2 && (waveform.sourceFormat & source_format::kPlanar);
    const bool apart = planar && waveform.secondBlockOffset != 0;
    const std::uint64_t firstPart = apart ? byteCount / 2 : byteCount;
    // Nothing is allocated for bytes that the file cannot hold.
    const auto holds = [&file](std::uint64_t offset, std::uint64_t count) {
        return offset <= file.size() && count <= file.size() - offset;
    };
    if (!holds(waveform.sourceOffset, firstPart) ||
        (apart && !holds(waveform.secondBlockOffset, byteCount - firstPart)))
        return fail(kReadFailed);
    float* to = waveform.allocateSamples();
    FileImage bytes;
    if (!to || !bytes.allocate(byteCount))
        return fail(kOutOfMemory);
    const std::span<Byte> all = bytes.bytes();
    if (!file.read(waveform.sourceOffset, all.first(static_cast<std::size_t>(firstPart))) ||
        (apart && !file.read(waveform.secondBlockOffset, all.subspan(static_cast<std::size_t>(firstPart))))) {
        std::ranges::fill(waveform.samples(), 0.0f);
        return false;
    }
    decodeSamples(layout, all, waveform.samples());
    if (planar) {
        const std::vector<float> planes(to, to + samples);
        for (std::size_t i = 0; i < waveform.frames; ++i) {
            to[2 * i] = planes[i];
            to[2 * i + 1] = planes[waveform.frames + i];
        }
    }
    return true;
}

// ---- Rows ----

namespace {

// The inverse of rawVariant().
constexpr std::uint32_t kVariantUnsigned = 1u << 5;
constexpr std::uint32_t kVariantBigEndian = 1u << 6;
constexpr std::uint32_t kVariantPlanar = 1u << 7;
constexpr std::uint32_t kVariantStereo = 1u << 8;
constexpr std::uint32_t kRateStep = 5;

RawFormat unpackRawVariant(std::uint32_t variant) {
    RawFormat format;
    format.formatWord = 1u << (variant & 31u);
    if (variant & kVariantUnsigned)
        format.formatWord |= source_format::kUnsigned;
    if (variant & kVariantBigEndian)
        format.formatWord |= source_format::kBigEndian;
    if (variant & kVariantPlanar)
        format.formatWord |= source_format::kPlanar;
    format.channels = variant & kVariantStereo ? 2 : 1;
    format.offset = (variant >> 9 & 127u) * 16;
    format.rate = (variant >> 16) * kRateStep;
    return format;
}

enum class RememberedAnswer : std::uint8_t { Ask, Yes, No };
RememberedAnswer unrecognizedAnswer = RememberedAnswer::Ask;

bool addRawWaveform(Collection& collection, OpenFile& file, RawFormat format) {
    if (RawSource.active)
        format = RawSource.format;
    const SampleLayout layout = SampleLayout::fromWord(format.formatWord);
    if (!isPlainEncoding(layout.encoding))
        return fail("Invalid format for generic import function!");
    StoredBlock block;
    block.layout = layout;
    block.position = format.offset;
    block.byteSize = file.size() > format.offset ? file.size() - format.offset : 0;
    block.storedChannels = format.channels;
    block.planar = format.channels == 2 && (format.formatWord & source_format::kPlanar);
    const std::uint64_t frames = framesIn(block);
    if (frames == 0)
        return fail("Zero length");
    const std::uint32_t kept = clampFrames(file, frames);
    Waveform* waveform = createWaveform(collection, file);
    if (!waveform)
        return false;
    waveform->channels = format.channels;
    waveform->sampleRate = format.rate;
    waveform->frames = kept;
    waveform->bits = static_cast<std::uint8_t>(encodingBits(layout.encoding));
    waveform->format = sampleFormatOf(layout.encoding);
    waveform->sourceFile = utf8FromPath(file.path);
    attachStoredSamples(*waveform, file.input, block);
    return true;
}

}  // namespace

bool readRaw(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return addRawWaveform(collection, file, unpackRawVariant(variant));
}

void resetRawAnswers() {
    unrecognizedAnswer = RememberedAnswer::Ask;
}

bool readUnrecognized(Collection& collection, OpenFile& file, std::uint32_t variant) {
    // Saying what the data are is an answer to the question whether to read them.
    if (!RawSource.active && unrecognizedAnswer != RememberedAnswer::Yes) {
        std::size_t chosen = 1;
        if (unrecognizedAnswer == RememberedAnswer::Ask) {
            chosen = file.ui->ask({"raw.unrecognized",
                                   "The selected file can not be detected as any of the supported import "
                                   "types. Select OK to read "
                                   "it as raw data...\n\nYou'll need to adjust the data format on the "
                                   "'Source' tab of the waveform "
                                   "properties.",
                                   {"OK", "Cancel", "Allways OK", "Allways Cancel"},
                                   1});
            if (chosen == 2)
                unrecognizedAnswer = RememberedAnswer::Yes;
            else if (chosen == 3)
                unrecognizedAnswer = RememberedAnswer::No;
        }
        if (chosen != 0 && chosen != 2)
            return fail("Not detected as any supported file type");
    }
    return addRawWaveform(collection, file, unpackRawVariant(variant));
}

bool writeRaw(Item& item, OpenFile& file, std::uint32_t variant) {
    Waveform* waveform = waveformToWrite(item);
    if (!waveform)
        return false;
    const RawFormat format = unpackRawVariant(variant);
    TargetLayout target;
    target.layout = SampleLayout::fromWord(format.formatWord);
    target.channels = file.save.channels;
    FileImage image;
    return image.allocate(encodedSize(*waveform, target)) &&
           encodeWaveform(*waveform, target, image.bytes(), *file.ui) && file.write(image.bytes());
}

}  // namespace velor
