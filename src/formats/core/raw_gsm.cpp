#include "formats/core/raw_gsm.h"

#include <algorithm>
#include <array>

#include "base/byte_writer.h"
#include "base/error.h"
#include "formats/core/codec_writer.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/raw_speech.h"
#include "formats/framework/probes/simple_waves.h"

namespace velor {

namespace {

constexpr int kBits = 2;  // rounded up from 1.625 a sample

// Files are either frames of 33 bytes, which is what everyone exchanges; the frames of voice modems, with
// marks around each; or what WAVE files hold, two frames in 65 bytes, without the header. No document says
// which of them the names of the rows mean, so but for 'byte aligned', which can only be the first, the data
// decide.
struct GsmData {
    CodecData data;
    std::uint64_t samples = 0;
};

GsmData layOut(const OpenFile& file, std::span<const Byte> head, std::uint32_t variant) {
    GsmData gsm;
    CodecData& data = gsm.data;
    const bool anyLayout = variant != gsm_variant::kByteAligned;
    if (anyLayout && probe::usrGsmFrames(head, 0, file.size()) > 0) {
        // Decoded in one piece, for a frame without marks moves all that follow it.
        data.makeDecoder = decoder16<gsm610::ModemDecoder>();
        gsm.samples = file.size() / gsm610::kModemFrameBytes * gsm610::kFrameSamples;
    } else if (anyLayout && file.size() % gsm610::kPairBytes == 0 && !gsm610::hasSignature(head[0])) {
        data.unit = {gsm610::kPairBytes, gsm610::kPairSamples};
        data.makeDecoder = decoder16<gsm610::PairsDecoder>();
        gsm.samples = file.size() / gsm610::kPairBytes * gsm610::kPairSamples;
    } else {
        data.unit = {gsm610::kFrameBytes, gsm610::kFrameSamples};
        data.makeDecoder = decoder16<gsm610::FramesDecoder>();
        gsm.samples = file.size() / gsm610::kFrameBytes * gsm610::kFrameSamples;
    }
    data.byteSize = file.size();
    return gsm;
}

// The header of the WAVE file: tag, channels, rate, bytes per second, block, bits, and the samples in a
// block.
constexpr std::uint16_t kModemTag = 0x0303;
constexpr std::uint64_t kWaveHeader = 12 + (8 + 20) + (8 + 4) + 8;

void writeWaveHeader(ByteWriter& to, std::uint32_t frames, std::uint64_t dataSize) {
    to.id(fourCc("RIFF"));
    to.u32(static_cast<std::uint32_t>(kWaveHeader - 8 + dataSize));
    to.id(fourCc("WAVE"));
    to.id(fourCc("fmt "));
    to.u32(20);
    to.u16(kModemTag);
    to.u16(1);
    to.u32(kTelephoneRate);
    to.u32(kTelephoneRate / gsm610::kFrameSamples * gsm610::kModemFrameBytes);
    to.u16(gsm610::kModemFrameBytes);
    to.u16(0);
    to.u16(2);  // size of the rest
    to.u16(gsm610::kFrameSamples);
    to.id(fourCc("fact"));
    to.u32(4);
    to.u32(frames);
    to.id(fourCc("data"));
    to.u32(static_cast<std::uint32_t>(dataSize));
}

}  // namespace

bool readRawGsm(Collection& collection, OpenFile& file, std::uint32_t variant) {
    if (file.size() == 0)
        return fail("Zero length");
    std::array<Byte, 8 * gsm610::kModemFrameBytes> head;
    const std::span<Byte> there =
        std::span(head).first(static_cast<std::size_t>(std::min<std::uint64_t>(head.size(), file.size())));
    if (!file.read(0, there))
        return false;
    GsmData gsm = layOut(file, there, variant);
    return addSpeechWaveform(collection, file, gsm.samples, std::move(gsm.data), SampleEncoding::Gsm, kBits);
}

bool writeRawGsm(Item& item, OpenFile& file, std::uint32_t variant) {
    WorkingCopy copy;
    Waveform* waveform = speechWaveform(item, file, copy);
    if (!waveform)
        return false;
    const bool wave = variant == gsm_variant::kModemWave;
    // Newer modems deliver the frames alone: that is taken for the alternative.
    gsm610::StoredEncoder encoder(wave || variant == gsm_variant::kModem ? gsm610::Layout::Modem
                                                                         : gsm610::Layout::Frames);
    if (!wave)
        return writeCodes(*waveform, file, encoder);
    if (!settleFrameCount(*waveform))
        return false;
    const std::uint64_t dataSize = encoder.encodedSize(waveform->frames);
    if (kWaveHeader + dataSize > UINT32_MAX)
        return fail("The waveform is too long for a WAVE file, which can hold 4 GiB at most");
    FileImage image;
    if (!image.allocate(kWaveHeader + dataSize))
        return false;
    ByteWriter to(image.bytes());
    writeWaveHeader(to, waveform->frames, dataSize);
    return encodeCodes(*waveform, 1, to.block(to.remaining()), *file.ui, encoder) &&
           file.write(image.bytes());
}

}  // namespace velor
