#include "items/sample_encoding.h"

#include <array>
#include <bit>

#include "base/text.h"

namespace velor {

namespace {

struct EncodingRow {
    std::string_view name;
    std::string_view shortName;
    int bits;
};

constexpr std::array<EncodingRow, kSampleEncodings> kEncodings{{
    {"PCM 8-bit", "pcm8", 8},
    {"PCM 12-bit", "pcm12", 12},
    {"PCM 16-bit", "pcm16", 16},
    {"PCM 20-bit", "pcm20", 20},
    {"PCM 24-bit", "pcm24", 24},
    {"PCM 32-bit", "pcm32", 32},
    {"Float 32-bit", "f32", 32},
    {"Float 64-bit", "f64", 64},
    {"Mu-law 8-bit", "ulaw", 8},
    {"A-law 8-bit", "alaw", 8},
    {"GSM 2-bit", "gsm", 0},
    {"ADPCM 2-bit", "adpcm2", 0},
    {"ADPCM 3-bit", "adpcm3", 0},
    {"ADPCM 4-bit", "adpcm4", 0},
    {"ADPCM 5-bit", "adpcm5", 0},
    {"Delta PCM 8-bit", "delta8", 8},
    {"Delta PCM 16-bit", "delta16", 16},
    {"Compressed", "compressed", 0},
    {"Ascii text", "text", 0},
    {"MIDI", "midi", 0},
}};

constexpr std::array<std::string_view, kSampleFormats> kFormats{
    "PCM 8-bit",
    "PCM 16-bit",
    "PCM 24-bit",
    "PCM 32-bit",
    "Float 32-bit",
    "Mu-law 8-bit",
    "A-law 8-bit",
    "ADPCM 4-bit",
    "Compressed 32 kbit/s",
    "Compressed 48 kbit/s",
    "Compressed 64 kbit/s",
    "Compressed 80 kbit/s",
    "Compressed 96 kbit/s",
    "Compressed 112 kbit/s",
    "Compressed 128 kbit/s",
    "Compressed 144 kbit/s",
    "Compressed 160 kbit/s",
    "Compressed 192 kbit/s",
    "Compressed 224 kbit/s",
    "Compressed 256 kbit/s",
    "Compressed 320 kbit/s",
};

// Rates of the bit-rate classes 8..20 and the first rate (kbit/s) that belongs to the next class.
struct RateClass {
    int rate;
    double below;
};
constexpr std::array<RateClass, 13> kRateClasses{{{32, 40},
                                                  {48, 56},
                                                  {64, 72},
                                                  {80, 88},
                                                  {96, 104},
                                                  {112, 120},
                                                  {128, 136},
                                                  {144, 152},
                                                  {160, 176},
                                                  {192, 208},
                                                  {224, 240},
                                                  {256, 288},
                                                  {320, 1e30}}};

}  // namespace

std::string_view encodingName(SampleEncoding encoding) {
    const auto code = static_cast<std::size_t>(encoding);
    return code < kEncodings.size() ? kEncodings[code].name : "Mixed";
}

std::optional<SampleEncoding> encodingFromName(std::string_view name) {
    for (std::size_t code = 0; code < kEncodings.size(); ++code) {
        if (equalNoCase(name, kEncodings[code].name) || equalNoCase(name, kEncodings[code].shortName))
            return static_cast<SampleEncoding>(code);
    }
    return std::nullopt;
}

int encodingBits(SampleEncoding encoding) {
    const auto code = static_cast<std::size_t>(encoding);
    return code < kEncodings.size() ? kEncodings[code].bits : 0;
}

std::string_view sampleFormatName(SampleFormat format) {
    const auto code = static_cast<std::size_t>(format);
    return code < kFormats.size() ? kFormats[code] : "?";
}

SampleFormat sampleFormatOfPcm(int bits) {
    return bits <= 8    ? SampleFormat::Pcm8
           : bits <= 16 ? SampleFormat::Pcm16
           : bits <= 24 ? SampleFormat::Pcm24
                        : SampleFormat::Pcm32;
}

SampleFormat sampleFormatOf(SampleEncoding encoding) {
    switch (encoding) {
        case SampleEncoding::Pcm8:
        case SampleEncoding::DeltaPcm8:
            return SampleFormat::Pcm8;
        case SampleEncoding::Pcm20:
        case SampleEncoding::Pcm24:
            return SampleFormat::Pcm24;
        case SampleEncoding::Pcm32:
            return SampleFormat::Pcm32;
        case SampleEncoding::Float32:
        case SampleEncoding::Float64:
            return SampleFormat::Float32;
        case SampleEncoding::MuLaw:
            return SampleFormat::MuLaw;
        case SampleEncoding::ALaw:
            return SampleFormat::ALaw;
        case SampleEncoding::Gsm:
        case SampleEncoding::Adpcm2:
        case SampleEncoding::Adpcm3:
        case SampleEncoding::Adpcm4:
        case SampleEncoding::Adpcm5:
            return SampleFormat::Adpcm;
        case SampleEncoding::Compressed:
            return bitRateClass(128);
        default:
            return SampleFormat::Pcm16;
    }
}

SampleEncoding encodingOf(SampleFormat format) {
    switch (format) {
        case SampleFormat::Pcm8:
            return SampleEncoding::Pcm8;
        case SampleFormat::Pcm16:
            return SampleEncoding::Pcm16;
        case SampleFormat::Pcm24:
            return SampleEncoding::Pcm24;
        case SampleFormat::Pcm32:
            return SampleEncoding::Pcm32;
        case SampleFormat::Float32:
            return SampleEncoding::Float32;
        case SampleFormat::MuLaw:
            return SampleEncoding::MuLaw;
        case SampleFormat::ALaw:
            return SampleEncoding::ALaw;
        case SampleFormat::Adpcm:
            return SampleEncoding::Adpcm4;
        default:
            return SampleEncoding::Compressed;
    }
}

SampleFormat bitRateClass(double kilobitsPerSecond) {
    for (std::size_t i = 0; i < kRateClasses.size(); ++i) {
        if (kilobitsPerSecond < kRateClasses[i].below)
            return static_cast<SampleFormat>(8 + i);
    }
    return SampleFormat::Compressed320k;
}

int bitRateOf(SampleFormat format) {
    const int index = static_cast<int>(format) - 8;
    return index >= 0 && index < static_cast<int>(kRateClasses.size())
               ? kRateClasses[static_cast<std::size_t>(index)].rate
               : 0;
}

SampleEncoding source_format::encoding(std::uint32_t word) {
    const std::uint32_t bits = word & kEncodingMask;
    return bits == 0 ? SampleEncoding::None : static_cast<SampleEncoding>(std::countr_zero(bits));
}

}  // namespace velor
