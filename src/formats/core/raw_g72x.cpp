#include "formats/core/raw_g72x.h"

#include <algorithm>
#include <array>
#include <optional>

#include "formats/core/codec_streams.h"
#include "formats/core/codec_writer.h"
#include "formats/core/raw_speech.h"

namespace velor {

namespace {

constexpr std::uint32_t kG722Rate = 16000;  // Hz

// ---- What the user is asked ----

struct Family {
    // Keys of the three questions, and what the files are called in the last one.
    std::string_view packingKey, widthKey, againKey, name;
    const char* widthText = nullptr;  // without it the family has one width
    // Width of the first button; each further one is `widthStep` bits wider.
    int firstWidth = 4, widthStep = 1;
    std::size_t widths = 1, defaultWidth = 0;
};

constexpr Family kG721{"raw.g721.packing", "", "raw.g721.again", "G.721"};
constexpr Family kG722{"raw.g722.packing",
                       "raw.g722.width",
                       "raw.g722.again",
                       "G.722",
                       "Is it 6, 7 or 8-bit codeword (48, 56 or 64 kbps) ADPCM data?",
                       6,
                       1,
                       3,
                       2};
constexpr Family kG723{"raw.g723.packing",
                       "raw.g723.width",
                       "raw.g723.again",
                       "G.723",
                       "Is it 3-bit (24 kpbs) or 5-bit (40 kpbs) ADPCM data?",
                       3,
                       2,
                       2,
                       0};
constexpr Family kG726{"raw.g726.packing",
                       "raw.g726.width",
                       "raw.g726.again",
                       "G.726",
                       "Is it 2, 3, 4, or 5-bit (16, 24, 32, 40 or 64 kbps) ADPCM data?",
                       2,
                       1,
                       4,
                       2};

struct Answers {
    bool askPacking = true, askWidth = true;
    CodePacking packing = CodePacking::LowBitsFirst;
    std::optional<int> width;  // the family's default until it was asked
};
// Of G.721, G.722, G.723 and G.726.
std::array<Answers, 4> answers;

struct CodeFormat {
    int width = 0;
    CodePacking packing = CodePacking::LowBitsFirst;
};

constexpr CodePacking packingOf(std::uint32_t variant) {
    return variant & g72x_variant::kBigEndian ? CodePacking::HighBitsFirst : CodePacking::LowBitsFirst;
}
constexpr int widthOf(const Family& family, std::size_t button) {
    return family.firstWidth + family.widthStep * static_cast<int>(button);
}

// The format of a file, by the row's variant, by what the user says now, or by what was said before.
CodeFormat askedFormat(const Family& family, Answers& answer, std::uint32_t variant, UserInterface& ui) {
    // A row that names the packing leaves nothing to ask about it.
    const bool packingKnown = variant & g72x_variant::kBigEndian;
    const bool askedPacking = !packingKnown && answer.askPacking;
    if (askedPacking) {
        const std::size_t button =
            ui.ask({family.packingKey,
                    "Is the data stored with 'Big Endian' or 'Little Endian' bit packing?",
                    {"Big endian", "Little endian"},
                    1});
        answer.packing = button == 0 ? CodePacking::HighBitsFirst : CodePacking::LowBitsFirst;
    }
    int width = static_cast<int>(variant & g72x_variant::kWidth);
    const bool askedWidth = width == 0 && family.widthText && answer.askWidth;
    if (askedWidth) {
        Question question{family.widthKey, family.widthText, {}, family.defaultWidth};
        for (std::size_t i = 0; i < family.widths; ++i)
            question.buttons.push_back(std::to_string(widthOf(family, i)) + "-bit");
        answer.width = widthOf(family, std::min(ui.ask(question), family.widths - 1));
    }
    if (width == 0)
        width = answer.width.value_or(widthOf(family, family.defaultWidth));
    if (askedPacking || askedWidth) {
        const bool again =
            ui.ask({family.againKey,
                    "Ask the same again the next time you open a " + std::string(family.name) + " file?",
                    {"Yes", "No"},
                    0}) == 0;
        if (askedPacking)
            answer.askPacking = again;
        if (askedWidth)
            answer.askWidth = again;
    }
    return {width, packingKnown ? CodePacking::HighBitsFirst : answer.packing};
}

// ---- Reading ----

bool readG72x(Collection& collection, OpenFile& file, std::uint32_t variant, const Family& family,
              Answers& answer) {
    const CodeFormat format = askedFormat(family, answer, variant, *file.ui);
    CodecData data;
    data.byteSize = file.size();
    setG72x(data, format.width, format.packing, 1);
    const std::uint64_t frames = codesIn(file.size(), format.width);
    return addSpeechWaveform(collection, file, frames, std::move(data), adpcmEncoding(format.width),
                             format.width);
}

}  // namespace

void resetG72xAnswers() {
    answers = {};
}

bool readRawG721(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return readG72x(collection, file, variant, kG721, answers[0]);
}

bool readRawG722(Collection& collection, OpenFile& file, std::uint32_t variant) {
    const CodeFormat format = askedFormat(kG722, answers[1], variant, *file.ui);
    CodecData data;
    data.byteSize = file.size();
    setG722(data, format.width, format.packing);
    // Unlike the other codecs this one is for wide-band speech: each code word stands for two samples of 16
    // kHz, and played at 8000 Hz it would be an octave too low.
    const std::uint64_t frames = std::uint64_t{codesIn(file.size(), format.width)} * kG722SamplesPerCode;
    return addSpeechWaveform(collection, file, frames, std::move(data), SampleEncoding::Adpcm4, format.width,
                             kG722Rate);
}

bool readRawG723(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return readG72x(collection, file, variant, kG723, answers[2]);
}

bool readRawG726(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return readG72x(collection, file, variant, kG726, answers[3]);
}

bool writeRawG72x(Item& item, OpenFile& file, std::uint32_t variant) {
    WorkingCopy copy;
    Waveform* waveform = speechWaveform(item, file, copy);
    if (!waveform)
        return false;
    const auto named = static_cast<int>(variant & g72x_variant::kWidth);
    const int width = named ? named : adpcmBits(file.save.encoding);  // the pipeline has settled on one
    return writeCodes(*waveform, file, G72xEncoder(width, packingOf(variant)));
}

bool writeRawG722(Item& item, OpenFile& file, std::uint32_t variant) {
    WorkingCopy copy;
    Waveform* waveform = speechWaveform(item, file, copy, kG722Rate);
    if (!waveform)
        return false;
    const auto width = static_cast<int>(variant & g72x_variant::kWidth);
    return writeCodes(*waveform, file, G722Encoder(width, packingOf(variant)));
}

}  // namespace velor
