#include "formats/core/aiff_writer.h"

#include <algorithm>

#include "base/byte_writer.h"
#include "base/error.h"
#include "base/ieee_extended.h"
#include "base/rounding.h"
#include "formats/framework/file_image.h"
#include "formats/framework/format_table.h"
#include "formats/framework/frame_reader.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

constexpr std::uint32_t kCommonSize = 18;
constexpr std::uint32_t kInstrumentSize = 20;
constexpr std::uint32_t kMarkerSize = 34;
constexpr std::uint16_t kBeginMarker = 1, kEndMarker = 2;
constexpr std::uint32_t kEncodings = encodingBit(SampleEncoding::Pcm8) | encodingBit(SampleEncoding::Pcm16) |
                                     encodingBit(SampleEncoding::Pcm24) | encodingBit(SampleEncoding::Pcm32);

// A text chunk's payload: the text with a terminating zero, padded to an even size.
std::uint64_t textSize(std::string_view text) {
    return (text.size() + 2) & ~std::uint64_t{1};
}

std::uint64_t optionalTextChunk(std::string_view text) {
    return text.empty() ? 0 : 8 + textSize(text);
}

void writeText(ByteWriter& to, std::uint32_t id, std::string_view text) {
    to.id(id);
    to.u32(static_cast<std::uint32_t>(textSize(text)));
    to.text(text, textSize(text));
}

std::uint32_t markerPosition(double frame) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(roundToInteger(frame), 0, UINT32_MAX));
}

void writeMarkers(ByteWriter& to, const Waveform& waveform) {
    to.id(fourCc("MARK"));
    to.u32(kMarkerSize);
    to.u16(2);
    const auto marker = [&to](std::uint16_t id, double frame, std::string_view name) {
        to.u16(id);
        to.u32(markerPosition(frame));
        to.u8(static_cast<std::uint8_t>(name.size()));
        to.text(name, name.size() | 1);  // with its length byte an even number of bytes
    };
    marker(kBeginMarker, waveform.loopStart, "beg loop");
    marker(kEndMarker, waveform.loopEnd, "end loop");
}

// The key that files of this writer name. Any fine tune goes into it as whole semitones and the detune stays
// 0: a unit slip of long standing, which files made before share and readers have come to expect.
std::uint8_t baseNote(const Waveform& waveform) {
    return static_cast<std::uint8_t>(std::clamp(waveform.rootKey - waveform.fineTune, 0, 127));
}

void writeLoop(ByteWriter& to, const Waveform& waveform, bool present) {
    if (!present) {
        to.zeros(6);
        return;
    }
    to.u16(waveform.loopMode == LoopMode::Alternating ? 2 : 1);
    to.u16(kBeginMarker);
    to.u16(kEndMarker);
}

void writeInstrument(ByteWriter& to, const Waveform& waveform) {
    constexpr std::int64_t kMostGain = 144;  // dB
    to.id(fourCc("INST"));
    to.u32(kInstrumentSize);
    to.u8(baseNote(waveform));
    to.u8(0);  // detune
    to.u8(0);  // keys
    to.u8(127);
    to.u8(0);  // velocities
    to.u8(127);
    to.write(static_cast<std::int16_t>(
        std::clamp<std::int64_t>(roundToInteger(waveform.gain), -kMostGain, kMostGain)));
    writeLoop(to, waveform, waveform.looped);
    writeLoop(to, waveform, waveform.looped && !waveform.loopUntilRelease);
}

bool buildImage(Waveform& waveform, const SaveOptions& options, UserInterface& ui, FileImage& image) {
    if (!settleFrameCount(waveform))
        return false;
    const std::uint32_t flags =
        options.flags ? options.flags : kEncodings | format_flags::kMono | format_flags::kStereo;
    TargetLayout target;
    target.layout.order = ByteOrder::Big;
    target.layout.encoding =
        options.encoding != SampleEncoding::None
            ? options.encoding
            : chooseEncoding(flags & kEncodings, waveform.sourceEncoding(), waveform.bits);
    if (!(encodingBit(target.layout.encoding) & kEncodings))
        return fail(kCannotSaveItem);
    target.channels = options.channels ? options.channels : outputChannels(flags, waveform.channels);

    const std::uint64_t dataSize = encodedSize(waveform, target);
    const std::uint64_t pad = dataSize & 1;
    const std::string_view name = waveform.name();
    const std::string_view copyright = waveform.text(WaveText::Copyright);
    const std::string_view comment = waveform.text(WaveText::Comment);
    const std::uint64_t formSize = 4 + (8 + kCommonSize) + (8 + kInstrumentSize) + (8 + 8 + dataSize + pad) +
                                   (8 + textSize(name)) + (waveform.looped ? 8 + kMarkerSize : 0) +
                                   optionalTextChunk(copyright) + optionalTextChunk(comment);
    if (formSize > UINT32_MAX)
        return fail("The waveform is too long for an AIFF file, which can hold 4 GiB at most");
    if (!image.allocate(8 + formSize))
        return false;

    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.id(fourCc("FORM"));
    to.u32(static_cast<std::uint32_t>(formSize));
    to.id(fourCc("AIFF"));
    to.id(fourCc("COMM"));
    to.u32(kCommonSize);
    to.u16(static_cast<std::uint16_t>(target.channels));
    to.u32(waveform.frames);
    to.u16(static_cast<std::uint16_t>(encodingBits(target.layout.encoding)));
    Byte rate[kExtendedBytes];
    storeExtended(rate, waveform.sampleRate);
    to.bytes(rate);
    if (waveform.looped)
        writeMarkers(to, waveform);
    writeInstrument(to, waveform);
    to.id(fourCc("SSND"));
    to.u32(static_cast<std::uint32_t>(8 + dataSize));
    to.zeros(8);  // offset and block size
    const std::span<Byte> data = to.block(static_cast<std::size_t>(dataSize));
    to.zeros(pad);
    writeText(to, fourCc("NAME"), name);
    if (!copyright.empty())
        writeText(to, fourCc("(c) "), copyright);
    if (!comment.empty())
        writeText(to, fourCc("ANNO"), comment);
    return to.ok() && to.remaining() == 0 && encodeWaveform(waveform, target, data, ui);
}

}  // namespace

bool writeAiff(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* found = waveformToWrite(item);
    if (!found)
        return false;
    Waveform& waveform = *found;
    if (baseNote(waveform) != waveform.rootKey)
        file.warn(
            formatText(
                "The fine tune of %+d cents changes the base note from %d to %d; without a fine tune the "
                "root key is kept",
                waveform.fineTune, waveform.rootKey, baseNote(waveform)),
            "INST");
    FileImage image;
    return buildImage(waveform, file.save, *file.ui, image) && file.write(image.bytes());
}

}  // namespace velor
