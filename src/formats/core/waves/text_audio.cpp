#include "formats/core/waves/text_audio.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/text.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/frame_reader.h"

namespace velor {

namespace {

constexpr std::uint64_t kLargestText = 1u << 30;
constexpr std::string_view kRateLine = "; Sample Rate ", kChannelsLine = "; Channels ";
constexpr std::string_view kFrame = "%//";  // lines around the other form's header

// Two forms are common: lines of a time and one value for each channel, with comments behind semicolons; and
// a header of "name: value" lines followed by the values alone.
struct TextForm {
    bool timed = false;
    double rate = 0;
    std::uint32_t channels = 1;
    double fullScale = 1;
    std::size_t start = 0;  // of the values
};

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

// The number at the start of a text, which it is taken away from.
bool takeNumber(std::string_view& text, double& value) {
    std::size_t blanks = 0;
    while (blanks < text.size() && static_cast<unsigned char>(text[blanks]) <= ' ')
        ++blanks;
    text.remove_prefix(blanks);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return true;
}

double numberIn(std::string_view text, double fallback) {
    double value = 0;
    return takeNumber(text, value) && std::isfinite(value) ? value : fallback;
}

bool parseForm(std::string_view text, TextForm& form) {
    const std::string_view all = text;
    double channels = 1;
    if (text.starts_with(kRateLine)) {
        form.timed = true;
        while (text.starts_with(';')) {
            const std::string_view line = takeLine(text);
            if (line.starts_with(kRateLine))
                form.rate = numberIn(line.substr(kRateLine.size()), 0);
            else if (line.starts_with(kChannelsLine))
                channels = numberIn(line.substr(kChannelsLine.size()), 1);
        }
    } else if (text.starts_with(kFrame)) {
        takeLine(text);
        while (text.starts_with('%')) {
            std::string_view line = takeLine(text);
            if (line.starts_with(kFrame))
                break;
            line = trim(line.substr(1));
            const std::size_t colon = line.find(':');
            const std::string_view name = trim(line.substr(0, colon));
            const double value = numberIn(colon == std::string_view::npos ? "" : line.substr(colon + 1), 0);
            if (name == "sample_rate")
                form.rate = value;
            else if (name == "channels")
                channels = value;
            else if (name == "full_scale" && value > 0)
                form.fullScale = value;
        }
    } else {
        return fail("Not a text file of samples");
    }
    if (!(channels >= 1 && channels <= 1024))
        return fail("Too many channels");
    form.channels = static_cast<std::uint32_t>(channels);
    form.start = all.size() - text.size();
    return true;
}

// Hands out frame after frame: the values of `kept` channels.
class FrameParser {
  public:
    FrameParser(const TextForm& form, std::string_view text) : form_(form), text_(text) {
        text_.remove_prefix(std::min(form.start, text_.size()));
    }

    bool next(float* values, std::uint32_t kept) {
        return form_.timed ? nextTimed(values, kept) : nextPlain(text_, values, kept);
    }

  private:
    bool nextTimed(float* values, std::uint32_t kept) {
        while (!text_.empty()) {
            std::string_view line = takeLine(text_);
            double time = 0;
            if (!line.starts_with(';') && takeNumber(line, time) && nextPlain(line, values, kept))
                return true;
        }
        return false;
    }

    bool nextPlain(std::string_view& text, float* values, std::uint32_t kept) const {
        for (std::uint32_t channel = 0; channel < form_.channels; ++channel) {
            double value = 0;
            if (!takeNumber(text, value))
                return false;
            if (channel < kept)
                values[channel] = static_cast<float>(value / form_.fullScale);
        }
        return true;
    }

    TextForm form_;
    std::string_view text_;
};

std::string_view textOf(std::span<const Byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class TextDecoder final : public SampleDecoder {
  public:
    TextDecoder(const TextForm& form, std::uint32_t kept) : form_(form), kept_(kept) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        FrameParser parser(form_, textOf(from));
        std::size_t written = 0;
        while (written + kept_ <= to.size() && parser.next(to.data() + written, kept_))
            written += kept_;
        return written;
    }

  private:
    TextForm form_;
    std::uint32_t kept_;
};

bool fillFromText(OpenFile& file, Waveform& waveform) {
    if (file.size() > kLargestText)
        return fail("The text is too long");
    const auto bytes = bytesAt(file, 0, static_cast<std::size_t>(file.size()));
    TextForm form;
    if (!parseForm(textOf(bytes), form) || !setChannels(waveform, file, form.channels))
        return false;
    setRate(waveform, file, form.rate);
    setEncoding(waveform, SampleEncoding::Float32);
    FrameParser parser(form, textOf(bytes));
    float values[2];
    std::uint64_t frames = 0;
    while (parser.next(values, waveform.channels))
        ++frames;
    waveform.frames = clampFrames(file, frames);
    CodecData data;
    data.byteSize = file.size();
    data.makeDecoder = [form, kept = waveform.channels] { return std::make_unique<TextDecoder>(form, kept); };
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

// The shortest digits that lead back to the same number.
template <typename Number>
void appendNumber(std::string& text, Number value) {
    char digits[64];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), value);
    text.append(digits, result.ptr);
}

}  // namespace

bool readTextAudio(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromText);
}

bool writeTextAudio(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* waveform = waveformToWrite(item);
    if (!waveform || !settleFrameCount(*waveform))
        return false;
    const int channels = file.save.channels ? file.save.channels : waveform->channels;
    std::string text(kRateLine);
    appendNumber(text, waveform->sampleRate);
    text.append("\n").append(kChannelsLine);
    appendNumber(text, channels);
    text += '\n';
    FrameReader frames(*waveform, channels);
    std::span<const float> samples;
    std::uint64_t frame = 0;
    const auto put = [&] {
        const bool written = file.write({reinterpret_cast<const Byte*>(text.data()), text.size()});
        text.clear();
        return written;
    };
    if (!frames.open())
        return false;
    while (frames.next(samples) && !samples.empty()) {
        for (std::size_t i = 0; i < samples.size(); i += static_cast<std::size_t>(channels), ++frame) {
            appendNumber(text, static_cast<double>(frame) / waveform->sampleRate);
            for (int channel = 0; channel < channels; ++channel) {
                text += ' ';
                appendNumber(text, samples[i + static_cast<std::size_t>(channel)]);
            }
            text += '\n';
        }
        if (!put())
            return false;
        file.ui->progress(static_cast<double>(frame) / waveform->frames);
        if (file.ui->aborted())
            return fail("Save aborted!");
    }
    return !frames.failed() && put();
}

}  // namespace velor
