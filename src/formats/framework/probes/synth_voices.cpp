#include "formats/framework/probes/synth_voices.h"

#include <algorithm>

#include "formats/framework/probes/text_probe.h"

namespace velor::probe {

namespace {

constexpr std::size_t kPackedVoice = 128;
constexpr std::size_t kBankVoices = 32;

bool allAtMost(Head part, unsigned limit) {
    return std::all_of(part.begin(), part.end(), [limit](Byte value) { return value <= limit; });
}

// Names hold what the panel could show: ASCII, and a few characters above tilde.
bool voiceName(Head name) {
    return std::all_of(name.begin(), name.end(), [](Byte c) { return c >= 0x20 && c <= 0x7F; });
}

// One packed DX7 voice (32 to a bank): every field within its range.
bool packedSixOperator(Head voice) {
    for (std::size_t i = 0; i < 6; ++i) {
        const Head op = voice.subspan(i * 17, 17);
        if (!allAtMost(op.first(11), 99) || op[11] > 15 || (op[12] >> 3) > 14 || op[13] > 31 || op[14] > 99 ||
            op[15] > 63 || op[16] > 99)
            return false;
    }
    return allAtMost(voice.subspan(102, 8), 99) && voice[110] <= 31 && voice[111] <= 15 &&
           allAtMost(voice.subspan(112, 4), 99) && voice[116] <= 127 && ((voice[116] >> 1) & 7) <= 5 &&
           voice[117] <= 48 && voiceName(voice.subspan(118, 10));
}

// One unpacked DX7 voice (155 bytes), the edit buffer.
bool unpackedSixOperator(Head voice) {
    for (std::size_t i = 0; i < 6; ++i) {
        const Head op = voice.subspan(i * 21, 21);
        if (!allAtMost(op.first(11), 99) || op[11] > 3 || op[12] > 3 || op[13] > 7 || op[14] > 3 ||
            op[15] > 7 || op[16] > 99 || op[17] > 1 || op[18] > 31 || op[19] > 99 || op[20] > 14)
            return false;
    }
    return allAtMost(voice.subspan(126, 8), 99) && voice[134] <= 31 && voice[135] <= 7 && voice[136] <= 1 &&
           allAtMost(voice.subspan(137, 4), 99) && voice[141] <= 1 && voice[142] <= 5 && voice[143] <= 7 &&
           voice[144] <= 48 && voiceName(voice.subspan(145, 10));
}

bool packedFourOperator(Head voice) {
    for (std::size_t i = 0; i < 4; ++i) {
        const Head op = voice.subspan(i * 10, 10);
        if (!allAtMost(op.first(3), 31) || op[3] > 15 || op[4] > 15 || op[5] > 99 || op[6] > 127 ||
            op[7] > 99 || op[8] > 63 || op[9] > 31)
            return false;
    }
    return voice[40] <= 127 && allAtMost(voice.subspan(41, 4), 99) && voice[45] <= 127 && voice[46] <= 48 &&
           voice[47] <= 12 && voice[48] <= 31 && voiceName(voice.subspan(57, 10)) &&
           allAtMost(voice.subspan(67), 127) && isZero(voice, 84, 44);
}

// The wave-shape models use bytes that the older four-operator ones leave at zero.
bool usesWaveShapes(Head voice) {
    return !isZero(voice, 73, 11);
}

// What voice messages a dump holds.
struct Messages {
    bool fourOperator = false;
    bool fourOperatorWaves = false;
    bool sixOperator = false;
    bool sixOperatorExtra = false;
};

void noteFourOperatorBank(Head bank, Messages& found) {
    found.fourOperator = true;
    const std::size_t voices = std::min(bank.size() / kPackedVoice, kBankVoices);
    for (std::size_t i = 0; i < voices && !found.fourOperatorWaves; ++i)
        found.fourOperatorWaves = usesWaveShapes(bank.subspan(i * kPackedVoice, kPackedVoice));
}

// A message from its F0 on: F0 43 0n, format, two bytes of size.
void noteMessage(Head message, Messages& found) {
    if (message.size() < 6 || message[1] != 0x43 || message[2] > 0x0F)
        return;
    const Head data = message.subspan(6);
    const unsigned size = message[4] << 8 | message[5];
    switch (message[3]) {
        case 0x00:
            found.sixOperator |= size == 0x011B;
            break;
        case 0x09:
            found.sixOperator |= size == 0x2000;
            break;
        case 0x05:
            found.sixOperatorExtra |= size == 0x0031;
            break;
        case 0x06:
            found.sixOperatorExtra |= size == 0x0860;
            break;
        case 0x03:
            found.fourOperator |= size == 0x005D;
            break;
        case 0x04:
            if (size == 0x2000 || size == 0x1000)
                noteFourOperatorBank(data, found);
            break;
        case 0x7E:
            found.fourOperatorWaves |= has(data, 0, "LM  8976") || has(data, 0, "LM  8023");
            found.sixOperatorExtra |= has(data, 0, "LM  8973");
            break;
        case 0x62:  // the DX200's own group
            found.sixOperatorExtra = true;
            break;
        default:
            break;
    }
}

constexpr Byte kSysex = 0xF0;
constexpr std::size_t kMaximumPadding = 64;

// Offset of the first message: some dumps begin with zero bytes. npos when the file is no dump.
std::size_t firstMessage(Head head) {
    std::size_t start = 0;
    while (start < head.size() && start < kMaximumPadding && head[start] == 0)
        ++start;
    return start < head.size() && head[start] == kSysex ? start : std::string_view::npos;
}

Messages voiceMessages(Head head, std::size_t start) {
    Messages found;
    const std::string_view text = asText(head);
    // A bank is longer than 4 KiB; a dump of many small messages is settled long before this many.
    constexpr int kMaximumMessages = 256;
    for (int i = 0; i < kMaximumMessages && start != std::string_view::npos; ++i) {
        noteMessage(head.subspan(start), found);
        start = text.find(static_cast<char>(kSysex), start + 1);
    }
    return found;
}

int familyScore(bool plain, bool extended, bool wantExtended) {
    if (!plain && !extended)
        return kNo;
    return extended == wantExtended ? kCertain : kWeak;
}

int rawFourOperatorBank(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    constexpr std::size_t kBank = kPackedVoice * kBankVoices;
    if (fileSize != kBank || head.size() < kBank)
        return kNo;
    bool waves = false;
    for (std::size_t i = 0; i < kBankVoices; ++i) {
        const Head voice = head.subspan(i * kPackedVoice, kPackedVoice);
        if (!packedFourOperator(voice))
            return kNo;
        waves = waves || usesWaveShapes(voice);
    }
    return waves == (variant == voice_family::kFourOperatorWaves) ? kLikely : kWeak;
}

}  // namespace

int yamahaVoiceMessages(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    const bool four = variant <= voice_family::kFourOperatorWaves;
    if (const std::size_t start = firstMessage(head); start != std::string_view::npos) {
        if (u8(head, start + 1) != 0x43)
            return kNo;
        const Messages found = voiceMessages(head, start);
        return four ? familyScore(found.fourOperator, found.fourOperatorWaves,
                                  variant == voice_family::kFourOperatorWaves)
                    : familyScore(found.sixOperator, found.sixOperatorExtra,
                                  variant == voice_family::kSixOperatorExtra);
    }
    return four ? rawFourOperatorBank(head, variant, fileSize) : kNo;
}

int yamahaRawVoice(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (fileSize == 128 && head.size() >= 128)
        return packedSixOperator(head.first(128)) ? kLikely : kNo;
    if (fileSize == 155 && head.size() >= 155)
        return unpackedSixOperator(head.first(155)) ? kLikely : kNo;
    return kNo;
}

int yamahaRawBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    // Usually 32 voices; collections of several banks follow one another without a gap.
    if (fileSize % kPackedVoice != 0 || fileSize <= kPackedVoice || head.size() < 2 * kPackedVoice)
        return kNo;
    const std::size_t voices = head.size() / kPackedVoice;
    for (std::size_t i = 0; i < voices; ++i) {
        if (!packedSixOperator(head.subspan(i * kPackedVoice, kPackedVoice)))
            return kNo;
    }
    return voices >= kBankVoices ? kCertain : kLikely;
}

int rolandMessages(Head head, std::uint32_t variant, std::uint64_t) {
    const std::size_t start = firstMessage(head);
    if (start == std::string_view::npos || u8(head, start + 1) != 0x41)
        return kNo;
    // F0 41, device, model, command: 11 and 12 one-way request and data, 40 to 4F with handshakes.
    const unsigned command = u8(head, start + 4);
    const bool known = command == 0x11 || command == 0x12 || (command >= 0x40 && command <= 0x4F);
    return certainIf(known && u8(head, start + 2) <= 0x1F && u8(head, start + 3) == variant);
}

int rolandD50Bank(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kBlock = 64;
    constexpr std::size_t kPatch = 7 * kBlock;
    constexpr std::size_t kPatches = 64;
    if (fileSize < kPatches * kPatch || fileSize > 2 * kPatches * kPatch || head.size() < kPatches * kPatch)
        return kNo;
    // The two tones' common blocks and the patch block begin with names of 6-bit codes; key mode and output
    // mode have few values, and all data is 7-bit.
    if (isZero(head, 6 * kBlock, 18))
        return kNo;
    for (std::size_t i = 0; i < kPatches; ++i) {
        const Head patch = head.subspan(i * kPatch, kPatch);
        const Head settings = patch.subspan(6 * kBlock);
        if (settings[18] > 8 || settings[29] > 3 || !allAtMost(settings.first(18), 63) ||
            !allAtMost(patch.subspan(2 * kBlock, 10), 63) || !allAtMost(patch.subspan(5 * kBlock, 10), 63))
            return kNo;
    }
    return allAtMost(head.first(kPatches * kPatch), 127) ? kLikely : kNo;
}

int rolandMt32ControlRom(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (fileSize != 65536 && fileSize != 131072)
        return kNo;
    // The version text ("ver1.07 10 Oct, 87") stands at a place of its own in each generation.
    return certainIf(has(head, 0x4015, " ver") || has(head, 0x4011, " ver") || has(head, 0x4011, "ver") ||
                     has(head, 0x2206, " ver") || has(head, 0x2206, "CM32/LAPC"));
}

int rolandMt32SampleRom(Head head, std::uint32_t, std::uint64_t fileSize) {
    const bool size = fileSize == 262144 || fileSize == 524288 || fileSize == 1048576;
    return size && head.size() >= 4096 && !isZero(head, 0, 64) ? kWeak : kNo;
}

}  // namespace velor::probe
