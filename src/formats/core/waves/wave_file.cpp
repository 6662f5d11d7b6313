#include "formats/core/waves/wave_file.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/error.h"
#include "base/rounding.h"
#include "formats/framework/format_table.h"
#include "formats/framework/frame_reader.h"

namespace velor {

std::string fieldText(ByteReader& reader, std::size_t width) {
    std::string text = reader.text(width);
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ')
        text.pop_back();
    return text;
}

bool setChannels(Waveform& waveform, const OpenFile& file, std::uint32_t channels) {
    constexpr std::uint32_t kMostChannels = 1024;
    if (channels == 0)
        return fail("No channels");
    if (channels > kMostChannels)
        return fail("Too many channels");
    if (channels > 2)
        file.warn(
            formatText("The file has %u channels, of which only the first two are read", unsigned{channels}));
    waveform.channels = static_cast<std::uint8_t>(std::min<std::uint32_t>(channels, 2));
    return true;
}

ByteOrder smootherOrder(const OpenFile& file, std::uint64_t position, ByteOrder customary) {
    constexpr std::size_t kLookAt = 65536;
    const auto bytes = bytesAt(file, position, kLookAt);
    const auto roughness = [&bytes](ByteOrder order) {
        std::int64_t sum = 0;
        for (std::size_t i = 4; i + 2 <= bytes.size();
             i += 2)  // two samples back: the same channel of stereo
            sum += std::abs(loadAs<std::int16_t>(bytes.data() + i, order) -
                            loadAs<std::int16_t>(bytes.data() + i - 4, order));
        return sum;
    };
    const ByteOrder other = customary == ByteOrder::Big ? ByteOrder::Little : ByteOrder::Big;
    return roughness(other) < roughness(customary) / 2 ? other : customary;
}

bool attachStoredWave(Waveform& waveform, OpenFile& file, const StoredWave& stored) {
    if (!setChannels(waveform, file, stored.channels))
        return false;
    if (stored.planar && stored.channels > 2)
        return fail("Too many channels");
    setRate(waveform, file, stored.rate);
    setEncoding(waveform, stored.layout.encoding);
    StoredBlock block;
    block.layout = stored.layout;
    block.position = stored.position;
    block.storedChannels = stored.channels;
    block.planar = stored.planar && stored.channels == 2;
    block.secondBlockOffset = block.planar ? stored.secondBlock : 0;
    std::uint64_t wanted = stored.byteSize;
    if (stored.frames != kToFileEnd && stored.frames <= UINT32_MAX)
        wanted = std::min(wanted, storedSize(stored.layout.encoding, stored.frames * stored.channels));
    block.byteSize = availableBytes(file, stored.position, wanted);
    waveform.frames = clampFrames(file, std::min(stored.frames, framesIn(block)));
    attachStoredSamples(waveform, file.input, block);
    return true;
}

bool attachUnsignedBytes(Waveform& waveform, OpenFile& file, double rate, std::uint64_t position,
                         std::uint64_t frames) {
    StoredWave stored;
    stored.layout = {SampleEncoding::Pcm8, ByteOrder::Little, true};
    stored.rate = rate;
    stored.position = position;
    stored.frames = frames;
    return attachStoredWave(waveform, file, stored);
}

void setPitch(Waveform& waveform, double hertz) {
    constexpr double kConcertPitch = 440, kConcertKey = 69;
    if (!(hertz > 0))
        return;
    const double key = kConcertKey + 12 * std::log2(hertz / kConcertPitch);
    const double whole = std::floor(key + 0.5);
    if (!(whole >= 0 && whole <= 127))
        return;
    waveform.rootKey = static_cast<std::uint8_t>(whole);
    // Frames that sound sharp of their key are played that much lower.
    waveform.fineTune = static_cast<std::int8_t>(std::lround((whole - key) * 100));
}

bool planWave(Waveform& waveform, const SaveOptions& save, std::uint32_t writable, ByteOrder order,
              WavePlan& plan) {
    if (!settleFrameCount(waveform))
        return false;
    SampleEncoding encoding = save.encoding;
    if (encoding == SampleEncoding::None)
        encoding = chooseEncoding(writable, waveform.sourceEncoding(), waveform.bits);
    if (!(writable & encodingBit(encoding)))
        return fail(formatText("Writing %s is not supported in this build",
                               std::string(encodingName(encoding)).c_str()));
    plan.target.layout.encoding = encoding;
    plan.target.layout.order = order;
    plan.target.channels = save.channels ? save.channels
                           : save.flags  ? outputChannels(save.flags, waveform.channels)
                                         : waveform.channels;
    if (plan.target.channels == 0)
        return fail("The file format can not store this number of channels");
    plan.dataSize = encodedSize(waveform, plan.target);
    return true;
}

Waveform* planWave(Item& item, const OpenFile& file, std::uint32_t writable, ByteOrder order,
                   WavePlan& plan) {
    Waveform* waveform = waveformToWrite(item);
    return waveform && planWave(*waveform, file.save, writable, order, plan) ? waveform : nullptr;
}

bool finishWave(Waveform& waveform, const WavePlan& plan, ByteWriter& to, FileImage& image, OpenFile& file) {
    return encodeWaveform(waveform, plan.target, to.block(to.remaining()), *file.ui) &&
           file.write(image.bytes());
}

void warnOfLoopMode(const Waveform& waveform, const OpenFile& file) {
    if (waveform.looped && waveform.loopMode != LoopMode::Forward)
        file.warn(formatText("The format knows forward loops only - the %s loop is stored as one",
                             loopModeName(waveform.loopMode)));
}

WholeLoop wholeLoop(const Waveform& waveform) {
    const auto whole = [&waveform](double frame) {
        return static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(roundToInteger(frame), 0, std::int64_t{waveform.frames}));
    };
    return {whole(waveform.loopStart), whole(waveform.loopEnd)};
}

}  // namespace velor
