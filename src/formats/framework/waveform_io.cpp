#include "formats/framework/waveform_io.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"

namespace velor {

std::vector<Byte> bytesAt(const File& file, std::uint64_t position, std::size_t count) {
    const std::uint64_t there = file.size() > position ? file.size() - position : 0;
    std::vector<Byte> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(count, there)));
    bytes.resize(file.readSome(position, bytes));
    return bytes;
}

std::vector<Byte> bytesAt(const OpenFile& file, std::uint64_t position, std::size_t count) {
    return bytesAt(*file.input, position, count);
}

Waveform* createWaveform(Collection& collection, const OpenFile& file) {
    return createWaveform(collection, file, file.stem());
}

Waveform* createWaveform(Collection& collection, const OpenFile& file, std::string_view name) {
    auto* waveform = collection.create<Waveform>(name);
    if (waveform)
        waveform->sourceFile = utf8FromPath(file.path);
    else
        fail(kOutOfMemory);
    return waveform;
}

void setRate(Waveform& waveform, const OpenFile& file, double rate, std::string_view place) {
    constexpr double kHighest = 0x7FFFFFFF;
    if (!(rate >= 0.5)) {
        file.warn(std::string(kNoRate), std::string(place));
        rate = kRateTaken;
    }
    waveform.sampleRate = static_cast<std::uint32_t>(std::lround(std::min(rate, kHighest)));
}

void setEncoding(Waveform& waveform, SampleEncoding encoding) {
    waveform.format = sampleFormatOf(encoding);
    waveform.bits = static_cast<std::uint8_t>(encodingBits(encoding));
    waveform.sourceFormat = encodingBit(encoding);
}

std::uint64_t availableBytes(const OpenFile& file, std::uint64_t position, std::uint64_t count,
                             std::string_view place) {
    const std::uint64_t there = file.size() > position ? file.size() - position : 0;
    if (count != kToFileEnd && count > there)
        file.warn(std::string(kDataTruncated), std::string(place), position);
    return std::min(count, there);
}

std::uint32_t clampFrames(const OpenFile& file, std::uint64_t frames) {
    if (frames > UINT32_MAX)
        file.warn("The file is longer than a waveform can be - only the first 4294967295 samples are used");
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, UINT32_MAX));
}

Waveform* waveformToWrite(Item& item) {
    if (item.kind() == ItemKind::Waveform)
        return static_cast<Waveform*>(&item);
    fail(kCannotSaveItem);
    return nullptr;
}

}  // namespace velor
