#include "formats/core/wave_sampler.h"

#include <algorithm>
#include <cmath>

#include "base/rounding.h"
#include "formats/core/wave_writer.h"

namespace velor {

namespace {

constexpr double kTwo32 = 4294967296.0;
constexpr std::uint8_t kDefaultRootKey = 60;

constexpr std::size_t kSamplerHeader = 36;
constexpr std::size_t kSamplerLoop = 24;
constexpr std::size_t kTuningBlock = 28;  // sampler data that begin with "CWDT"
constexpr std::uint32_t kTuningBlockId = fourCc("CWDT");

std::uint32_t toU32(std::int64_t value) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, UINT32_MAX));
}

LoopMode loopModeOfType(std::uint32_t type) {
    switch (type) {
        case 1:
            return LoopMode::Alternating;
        case 2:
            return LoopMode::Backward;
        case 255:
            return LoopMode::None;
        default:
            return LoopMode::Forward;
    }
}

// The sampler data of one maker's drum machines (manufacturer 0x47, product 0x5E): 18 bytes with the key, the
// way of playing and the part of the data that sounds.
void applyDrumMachineData(std::span<const Byte> data, Waveform& waveform, std::uint32_t& skipFrames) {
    constexpr std::size_t kSize = 18, kLoopRecord = 24;
    if (data.size() < kSize)
        return;
    // Some files keep a loop record in front of it.
    if (data[0] == 'l' && data[1] == 'o' && data[2] == 'o' && data[3] == 'p') {
        if (data.size() < kLoopRecord + kSize)
            return;
        data = data.subspan(kLoopRecord);
    }
    ByteReader reader(data.first(kSize));
    const std::uint8_t version = reader.u8();
    const std::uint8_t zero = reader.u8();
    if (version > 2 || zero != 0)
        return;
    const int note = reader.u8();
    const int transpose = reader.s8();
    waveform.fineTune = reader.s8();
    const std::uint8_t playMode = reader.u8();
    const std::uint32_t start = reader.u32();
    const std::uint32_t end = reader.u32();
    waveform.rootKey = static_cast<std::uint8_t>(std::clamp(note - transpose, 0, 127));
    const bool loops = playMode == 2 || playMode == 3;
    if (playMode <= 1) {
        waveform.clearLoop();
        waveform.playThrough = playMode == 1;
    } else if (loops) {
        waveform.setLoop(waveform.loopMode == LoopMode::None ? LoopMode::Forward : waveform.loopMode,
                         waveform.loopStart, waveform.loopEnd);
        waveform.loopUntilRelease = playMode == 3;
    }
    if (end > start && end - start < waveform.frames) {
        waveform.frames = end - start;
        skipFrames = start;
    }
}

}  // namespace

void CueTable::parse(std::span<const Byte> chunk) {
    ByteReader reader(chunk);
    for (std::uint32_t left = reader.u32(); left > 0 && reader.remaining() >= 24; --left) {
        const std::uint32_t id = reader.u32();
        reader.skip(16);  // play order, chunk id, chunk start, block start
        offsets_.emplace(id, reader.u32());
    }
}

std::optional<std::uint32_t> CueTable::find(std::uint32_t id) const {
    const auto found = offsets_.find(id);
    return found == offsets_.end() ? std::nullopt : std::optional(found->second);
}

void applyCueLabel(std::span<const Byte> chunk, const CueTable& cues, Waveform& waveform) {
    constexpr std::size_t kLongestLabel = 260;
    ByteReader reader(chunk);
    const auto offset = cues.find(reader.u32());
    if (waveform.looped || !reader.ok() || !offset)
        return;
    const std::string label = reader.text(std::min(reader.remaining(), kLongestLabel));
    if (label == "Loop Start")
        waveform.loopStart = *offset;
    else if (label == "Loop End")
        waveform.setLoop(LoopMode::Forward, waveform.loopStart, *offset);
}

void applyCueRegion(std::span<const Byte> chunk, const CueTable& cues, Waveform& waveform) {
    ByteReader reader(chunk);
    const auto offset = cues.find(reader.u32());
    const std::uint32_t length = reader.u32();
    const std::uint32_t purpose = reader.id();
    if (waveform.looped || !reader.ok() || !offset)
        return;
    if (purpose == fourCc("mark") || purpose == fourCc("rgn "))
        waveform.setLoop(LoopMode::Forward, *offset, static_cast<double>(*offset) + length);
}

bool applySamplerChunk(std::span<const Byte> chunk, Waveform& waveform, std::uint32_t& skipFrames) {
    if (chunk.size() < kSamplerHeader)
        return false;
    ByteReader reader(chunk);
    const std::uint32_t manufacturer = reader.u32();
    const std::uint32_t product = reader.u32();
    reader.skip(4);  // sample period
    const std::uint32_t unityNote = reader.u32();
    const std::uint32_t pitchFraction = reader.u32();
    reader.skip(8);  // SMPTE format and offset
    const std::uint32_t loopCount = reader.u32();
    const std::uint32_t dataSize = reader.u32();
    const bool hasLoop = loopCount > 0 && reader.remaining() >= kSamplerLoop;
    ByteReader loop = reader.sub(hasLoop ? kSamplerLoop : 0);
    reader.skip(static_cast<std::size_t>(std::min<std::uint64_t>(
        reader.remaining(), std::uint64_t{loopCount > 0 ? loopCount - 1 : 0} * kSamplerLoop)));
    const auto data = reader.bytes(reader.remaining());

    bool tuningBlock = false;
    if (dataSize == kTuningBlock && data.size() >= kTuningBlock) {
        ByteReader block(data);
        tuningBlock = block.id() == kTuningBlockId;
        if (tuningBlock)
            waveform.tuning = static_cast<float>(block.s32()) / 100.0f;
    }

    // Some writers store the unity note big-endian.
    const std::uint32_t swapped = byteSwap(unityNote);
    if (unityNote < 128)
        waveform.rootKey = static_cast<std::uint8_t>(unityNote);
    else if (swapped >= 1 && swapped < 128)
        waveform.rootKey = static_cast<std::uint8_t>(swapped);
    waveform.fineTune = static_cast<std::int8_t>(-roundToInteger(pitchFraction * 100.0 / kTwo32));

    if (hasLoop) {
        loop.skip(4);  // cue id
        const LoopMode mode = loopModeOfType(loop.u32());
        const double start = loop.u32();
        // The stored end is the last looped frame, but the first one after the loop beside a tuning block.
        const double end = loop.u32() + (tuningBlock ? 0.0 : 1.0);
        const double fraction = loop.u32() / kTwo32;
        waveform.setLoop(mode, start, end + fraction);
    }
    if ((manufacturer & 0xFFFFFF) == 0x47 && product == 0x5E && dataSize == 18)
        applyDrumMachineData(data, waveform, skipFrames);
    return true;
}

void applyInstrumentChunk(std::span<const Byte> chunk, Waveform& waveform) {
    if (chunk.size() < 7)
        return;
    ByteReader reader(chunk);
    const std::uint8_t note = reader.u8();
    const std::int8_t fineTune = reader.s8();
    if (waveform.rootKey == kDefaultRootKey && waveform.fineTune == 0) {
        if (note < 128)
            waveform.rootKey = note;
        waveform.fineTune = fineTune;
    }
    waveform.gain = reader.s8();
}

void applyDlsSampleChunk(std::span<const Byte> chunk, Waveform& waveform) {
    constexpr double kGainUnitsPerDb = 655360;  // 16.16 centibels
    ByteReader reader(chunk);
    const std::uint32_t headerSize = reader.u32();
    const std::uint16_t unityNote = reader.u16();
    const std::int16_t fineTune = reader.s16();
    const std::int32_t gain = reader.s32();
    reader.skip(4);  // options
    const std::uint32_t loopCount = reader.u32();
    if (!reader.ok())
        return;
    if (unityNote < 128)
        waveform.rootKey = static_cast<std::uint8_t>(unityNote);
    waveform.fineTune = static_cast<std::int8_t>(std::clamp<int>(fineTune, -128, 127));
    waveform.tuning = static_cast<float>(fineTune - waveform.fineTune) / 100.0f;
    waveform.gain = static_cast<float>(gain / kGainUnitsPerDb);
    if (loopCount == 0)
        return;
    if (headerSize > reader.position())
        reader.seek(headerSize);
    reader.skip(4);  // size of the loop record
    const std::uint32_t type = reader.u32();
    const double start = reader.u32();
    const double length = reader.u32();
    if (!reader.ok())
        return;
    waveform.setLoop(LoopMode::Forward, start, start + length);
    waveform.loopUntilRelease = type == 1;
}

namespace {

// The note and the fraction of a semitone above it at which the sample plays untransposed.
struct UnityPitch {
    std::uint8_t note;
    std::uint32_t fraction;
};

// A positive fine tune raises the sample, so what sounds at the root key lies below it.
UnityPitch unityPitch(std::uint8_t rootKey, double cents) {
    int note = std::min<int>(rootKey, 127);
    while (cents > 0 && note > 0) {
        --note;
        cents -= 100;
    }
    while (cents <= -100 && note < 127) {
        ++note;
        cents += 100;
    }
    cents = std::min(cents, 0.0);
    const double fraction = std::trunc(0.5 - cents * kTwo32 / 100);
    return {static_cast<std::uint8_t>(note),
            fraction >= kTwo32 ? UINT32_MAX : static_cast<std::uint32_t>(fraction)};
}

struct StoredLoop {
    std::uint32_t start;
    std::uint32_t length;  // whole frames
    double remainder;      // loop length less the whole frames, -0.5 … 0.5
};

StoredLoop storedLoop(const Waveform& waveform) {
    const double length = waveform.loopEnd - waveform.loopStart;
    const std::int64_t whole = roundToInteger(length);
    return {toU32(roundToInteger(waveform.loopStart)), toU32(whole), length - static_cast<double>(whole)};
}

bool hasTuningBlock(std::uint32_t variant) {
    return variant == wave_variant::kTuningBlock;
}

}  // namespace

std::uint32_t samplerChunkSize(const Waveform& waveform, std::uint32_t variant) {
    if (hasTuningBlock(variant))
        return kSamplerHeader + kSamplerLoop + kTuningBlock;
    return kSamplerHeader + (waveform.looped ? kSamplerLoop : 0);
}

void writeSamplerChunk(ByteWriter& to, const Waveform& waveform, std::uint32_t variant) {
    const bool tuningBlock = hasTuningBlock(variant);
    // The block has a field of its own for the tuning; elsewhere all of it goes into the pitch.
    const UnityPitch pitch =
        unityPitch(waveform.rootKey, tuningBlock ? waveform.fineTune : waveform.tuningCents());
    to.id(fourCc("smpl"));
    to.u32(samplerChunkSize(waveform, variant));
    to.zeros(8);  // manufacturer, product
    to.u32(waveform.sampleRate ? toU32(roundToInteger(1e9 / waveform.sampleRate)) : 0);
    to.u32(pitch.note);
    to.u32(pitch.fraction);
    to.zeros(8);  // SMPTE format and offset
    to.u32(waveform.looped || tuningBlock ? 1 : 0);
    to.u32(tuningBlock ? kTuningBlock : 0);
    if (waveform.looped || tuningBlock) {
        const StoredLoop loop = storedLoop(waveform);
        double remainder = loop.remainder;
        std::int64_t end = std::int64_t{loop.start} + loop.length - (tuningBlock ? 0 : 1);
        if (remainder < 0) {
            --end;
            remainder += 1;
        }
        to.u32(0);  // cue id
        to.u32(!waveform.looped                             ? 255
               : waveform.loopMode == LoopMode::Alternating ? 1
               : waveform.loopMode == LoopMode::Backward    ? 2
                                                            : 0);
        to.u32(loop.start);
        to.u32(toU32(end));
        to.u32(static_cast<std::uint32_t>(std::min(remainder * kTwo32, kTwo32 - 1)));
        to.u32(0);  // play count: endless
    }
    if (tuningBlock) {
        const auto cents = std::clamp<std::int64_t>(roundToInteger(waveform.tuning * 100.0), -50, 50);
        to.id(kTuningBlockId);
        to.write(static_cast<std::int32_t>(cents));
        to.u32(!waveform.looped ? 2 : waveform.loopUntilRelease ? 1 : 0);
        to.zeros(kTuningBlock - 12);
    }
}

void writeCueChunks(ByteWriter& to, const Waveform& waveform) {
    const StoredLoop loop = storedLoop(waveform);
    const std::uint32_t end = toU32(std::int64_t{loop.start} + loop.length);
    to.id(fourCc("cue "));
    to.u32(76);
    to.u32(3);
    std::uint32_t id = 0;
    for (const std::uint32_t position : {loop.start, loop.start, end}) {
        to.u32(++id);
        to.u32(position);
        to.id(fourCc("data"));
        to.zeros(8);  // chunk and block start
        to.u32(position);
    }
    to.id(fourCc("LIST"));
    to.u32(102);
    to.id(fourCc("adtl"));
    to.id(fourCc("ltxt"));
    to.u32(20);
    to.u32(1);
    to.u32(loop.length);
    to.id(fourCc("rgn "));
    to.zeros(8);  // country, language, dialect, code page
    const auto label = [&to](std::uint32_t cue, std::string_view text, std::uint32_t width) {
        to.id(fourCc("labl"));
        to.u32(4 + width);
        to.u32(cue);
        to.text(text, width);
    };
    label(1, "Loop Range", 12);
    label(2, "Loop Start", 12);
    label(3, "Loop End", 10);
}

}  // namespace velor
