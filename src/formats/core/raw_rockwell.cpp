#include "formats/core/raw_rockwell.h"

#include "formats/core/codec_streams.h"
#include "formats/core/codec_writer.h"
#include "formats/core/codecs/rockwell.h"
#include "formats/core/raw_speech.h"
#include "formats/framework/pipeline.h"

namespace velor {

namespace {

struct WidthAnswer {
    bool ask = true;
    int bits = 4;
};
WidthAnswer widthAnswer;

int askedWidth(UserInterface& ui) {
    if (!widthAnswer.ask)
        return widthAnswer.bits;
    widthAnswer.bits = 2 + static_cast<int>(ui.ask({"raw.rockwell.width",
                                                    "Is it 2, 3 or 4-bit Rockwell ADPCM data?",
                                                    {"2-bit", "3-bit", "4-bit"},
                                                    2}));
    widthAnswer.ask = ui.ask({"raw.rockwell.again",
                              "Ask the same again the next time you open a Rockwell ADPCM file?",
                              {"Yes", "No"},
                              0}) == 0;
    return widthAnswer.bits;
}

}  // namespace

void resetRockwellAnswers() {
    widthAnswer = {};
}

bool readRawRockwell(Collection& collection, OpenFile& file, std::uint32_t variant) {
    const int bits = variant ? static_cast<int>(variant) : askedWidth(*file.ui);
    CodecData data;
    data.byteSize = file.size();
    setRockwell(data, bits);
    const std::uint64_t codes = data.byteSize * 8 / static_cast<unsigned>(bits);
    return addSpeechWaveform(collection, file, codes, std::move(data), adpcmEncoding(bits), bits);
}

bool writeRawRockwell(Item& item, OpenFile& file, std::uint32_t variant) {
    WorkingCopy copy;
    Waveform* waveform = speechWaveform(item, file, copy);
    if (!waveform)
        return false;
    const int bits = variant ? static_cast<int>(variant) : adpcmBits(encodingFor(file.save, *waveform));
    return writeCodes(*waveform, file, RockwellEncoder(bits));
}

}  // namespace velor
