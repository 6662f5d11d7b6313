#include "items/waveform.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"

namespace velor {

const char* loopModeName(LoopMode mode) {
    static constexpr const char* kNames[] = {"none", "forward", "backward", "alternating"};
    return kNames[static_cast<std::size_t>(mode) & 3];
}

const char* waveTextName(WaveText text) {
    static constexpr const char* kNames[kWaveTexts] = {"artist", "product", "copyright", "comment",
                                                       "engineer"};
    return kNames[static_cast<std::size_t>(text)];
}

std::unique_ptr<FrameStream> WaveformSource::openStream(const Waveform&) const {
    return nullptr;
}

bool WaveformSource::storedPcm(const Waveform&, StoredPcm&) const {
    return false;
}

bool WaveformSource::readStored(std::uint64_t, std::span<Byte>) const {
    return fail(kReadFailed);
}

bool Waveform::setInfoText(std::uint32_t id, std::string_view value) {
    value = value.substr(0, value.find('\0'));
    switch (id) {
        case fourCc("INAM"):
            setName(value);
            return true;
        case fourCc("IART"):
            text(WaveText::Artist) = value;
            return true;
        case fourCc("IPRD"):
            text(WaveText::Product) = value;
            return true;
        case fourCc("ICOP"):
            text(WaveText::Copyright) = value;
            return true;
        case fourCc("ICMT"):
            text(WaveText::Comment) = value;
            return true;
        case fourCc("IENG"):
            text(WaveText::Engineer) = value;
            return true;
        default:
            return false;
    }
}

void Waveform::setLoop(LoopMode mode, double start, double end) {
    loopMode = mode;
    looped = mode != LoopMode::None;
    loopStart = start;
    loopEnd = end;
}

void Waveform::clearLoop() {
    setLoop(LoopMode::None, 0, 0);
    loopUntilRelease = false;
}

SampleEncoding Waveform::sourceEncoding() const {
    const SampleEncoding stored = source_format::encoding(sourceFormat);
    return stored == SampleEncoding::None ? encodingOf(format) : stored;
}

float* Waveform::allocateSamples() {
    buffer_ = {};
    buffer_ = SampleBufferRef(SampleBuffer::create(frames, channels, static_cast<float>(sampleRate)));
    return buffer_ ? buffer_->data() : nullptr;
}

bool Waveform::loadSamples() {
    if (buffer_)
        return true;
    if (!source_) {
        if (!allocateSamples())
            return fail(kOutOfMemory);
        std::ranges::fill(samples(), 0.0f);
        return true;
    }
    const auto source = source_;  // decoding may end with the source being replaced
    if (!source->decode(*this)) {
        releaseSamples();
        return false;
    }
    return true;
}

void Waveform::installBuffer(SampleBufferRef buffer) {
    buffer_ = std::move(buffer);
    source_.reset();
    frames = buffer_->frames();
    channels = buffer_->channels();
    const float rate = buffer_->rate() + 0.5f;
    sampleRate = rate < 4294967296.0f ? static_cast<std::uint32_t>(rate) : 0xFFFFFFFFu;
}

void Waveform::copyContentFrom(const Waveform& other) {
    frames = other.frames;
    sampleRate = other.sampleRate;
    channels = other.channels;
    bits = other.bits;
    format = other.format;
    sourceFormat = other.sourceFormat;
    sourceOffset = other.sourceOffset;
    secondBlockOffset = other.secondBlockOffset;
    sourceFile = other.sourceFile;
    rootKey = other.rootKey;
    fineTune = other.fineTune;
    tuning = other.tuning;
    gain = other.gain;
    looped = other.looped;
    loopMode = other.loopMode;
    loopStart = other.loopStart;
    loopEnd = other.loopEnd;
    loopUntilRelease = other.loopUntilRelease;
    playThrough = other.playThrough;
    texts = other.texts;
    links = other.links;
    buffer_ = other.buffer_;
    source_ = other.source_;
}

namespace {
constexpr std::size_t kFixedPayload =
    4 + 4 + 1 + 1 + 1 + 4 + 8 + 8 + 1 + 1 + 4 + 4 + 1 + 1 + 8 + 8 + 1 + 1 + 1;
}

std::size_t Waveform::serializedSize() const {
    std::size_t size = Item::serializedSize() + kFixedPayload + textSize(sourceFile);
    for (const auto& each : texts)
        size += textSize(each);
    return size + samples().size_bytes();
}

// Undecoded waveforms are written without samples; whoever saves a state loads them first.
void Waveform::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u32(frames);
    to.u32(sampleRate);
    to.u8(channels);
    to.u8(bits);
    to.u8(static_cast<std::uint8_t>(format));
    to.u32(sourceFormat);
    to.u64(sourceOffset);
    to.u64(secondBlockOffset);
    to.u8(rootKey);
    to.write(fineTune);
    to.f32(tuning);
    to.f32(gain);
    to.u8(looped);
    to.u8(static_cast<std::uint8_t>(loopMode));
    to.write(loopStart);
    to.write(loopEnd);
    to.u8(loopUntilRelease);
    to.u8(playThrough);
    writeText(to, sourceFile);
    for (const auto& each : texts)
        writeText(to, each);
    to.u8(samplesLoaded());
    for (const float sample : samples())
        to.f32(sample);
}

bool Waveform::deserialize(ByteReader& from) {
    releaseSamples();
    source_.reset();
    if (!Item::deserialize(from))
        return false;
    frames = from.u32();
    sampleRate = from.u32();
    channels = from.u8();
    bits = from.u8();
    format = static_cast<SampleFormat>(from.u8());
    sourceFormat = from.u32();
    sourceOffset = from.u64();
    secondBlockOffset = from.u64();
    rootKey = from.u8();
    fineTune = from.s8();
    tuning = from.f32();
    gain = from.f32();
    looped = from.u8() != 0;
    loopMode = static_cast<LoopMode>(from.u8() & 3);
    loopStart = from.f64();
    loopEnd = from.f64();
    loopUntilRelease = from.u8() != 0;
    playThrough = from.u8() != 0;
    bool complete = readText(from, sourceFile);
    for (auto& each : texts)
        complete = readText(from, each) && complete;
    const bool hasSamples = from.u8() != 0;
    if (!complete || !from.ok() || channels < 1 || channels > 2 || static_cast<int>(format) >= kSampleFormats)
        return false;
    if (!hasSamples)
        return true;
    const std::uint64_t count = std::uint64_t{frames} * channels;
    if (count > from.remaining() / 4)
        return false;
    float* to = allocateSamples();
    if (!to)
        return fail(kOutOfMemory);
    for (std::uint64_t i = 0; i < count; ++i)
        to[i] = from.f32();
    return from.ok();
}

void Waveform::fixUp(FixUpLists& lists) {
    bool changed = false;
    const auto clamp = [&changed](auto& value, auto low, auto high) {
        if (!(value >= low))
            value = low, changed = true;
        else if (!(value <= high))
            value = high, changed = true;
    };
    clamp(rootKey, std::uint8_t{0}, std::uint8_t{127});
    clamp(gain, -1000.0f, 1000.0f);
    if (!std::isfinite(tuning))
        tuning = 0, changed = true;
    if (looped) {
        if (loopMode == LoopMode::None)
            loopMode = LoopMode::Forward;
        clamp(loopStart, 0.0, static_cast<double>(frames));
        clamp(loopEnd, 0.0, static_cast<double>(frames));
        if (loopEnd <= loopStart) {  // an empty loop would sound as silence or a click
            clearLoop();
            changed = true;
        }
    }
    lists.clampedRanges += changed;
}

std::string Waveform::summary(const NoteNaming&) const {
    std::string text = formatText("%saveform with %d samples at %d Hz - %s", channels > 1 ? "Stereo w" : "W",
                                  static_cast<int>(frames), static_cast<int>(sampleRate),
                                  timeText(durationSeconds()).c_str());
    if (looped)
        text += ", looped";
    return text;
}

}  // namespace velor
