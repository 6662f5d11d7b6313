#include "app/demo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <system_error>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/pipeline.h"
#include "formats/framework/raw_codec.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kRate = 44100;    // Hz
constexpr std::uint32_t kFrames = 44100;  // one second
constexpr std::uint32_t kPeriod = 196;    // frames: 225 Hz
constexpr std::uint32_t kLoopStart = kPeriod * 112;
constexpr std::uint32_t kLoopEnd = kPeriod * 224;
constexpr std::uint8_t kRootKey = 57;   // A3 is 220 Hz; 225 Hz lies 39 cents above it, which the
constexpr std::int8_t kFineTune = -39;  // fine tune takes away again

}  // namespace

Waveform* createDemoSound(Collection& collection) {
    auto* wave = collection.create<Waveform>("Demo tone");
    if (!wave)
        return nullptr;
    wave->frames = kFrames;
    wave->channels = 2;
    wave->sampleRate = kRate;
    wave->rootKey = kRootKey;
    wave->fineTune = kFineTune;
    wave->setLoop(LoopMode::Forward, kLoopStart, kLoopEnd);
    wave->text(WaveText::Artist) = "Velor Studio";
    wave->text(WaveText::Product) = "Demo sounds";
    wave->text(WaveText::Copyright) = "Free for any use";
    wave->text(WaveText::Comment) = "A decaying harmonic tone, looped";
    wave->text(WaveText::Engineer) = "velor demo";
    float* to = wave->allocateSamples();
    if (!to)
        return nullptr;
    // The decay ends where the loop begins, so that the loop repeats without a step.
    constexpr std::array<double, 6> kHarmonics{0.5, 0.25, 0.12, 0.08, 0.04, 0.02};
    for (std::uint32_t frame = 0; frame < kFrames; ++frame) {
        const double decay = 0.25 + 0.75 * std::exp(-6.0 * std::min(frame, kLoopStart) / kLoopStart);
        for (std::uint32_t channel = 0; channel < 2; ++channel) {
            double sum = 0;
            for (std::size_t h = 0; h < kHarmonics.size(); ++h) {
                // From the phase within the period: every period is the same down to the last bit.
                const double turn =
                    static_cast<double>(frame % kPeriod) / kPeriod * static_cast<double>(h + 1);
                sum += kHarmonics[h] * std::sin(2 * std::numbers::pi * (turn + 0.25 * channel));
            }
            // On the grid of 16-bit samples, so that every target can hold it exactly.
            *to++ = static_cast<float>(std::round(sum * decay * 0.8 * 32767) / 32768);
        }
    }
    // Says what the samples are worth: they need no more than 16 bits.
    wave->bits = 16;
    wave->format = SampleFormat::Pcm16;
    wave->sourceFormat = encodingBit(SampleEncoding::Pcm16);
    return wave;
}

bool DemoReport::lost() const {
    for (const DemoFile& file : files) {
        for (const DemoProperty& property : file.properties) {
            if (property.expected && !property.kept)
                return true;
        }
    }
    return false;
}

namespace {

// What a file type has room for beside the samples.
struct DemoTarget {
    const char* fileName;
    SampleEncoding encoding;
    bool headerless;  // read again as raw samples
    bool tuning;
    bool loop;
    bool name;
    std::array<bool, kWaveTexts> texts;  // artist, product, copyright, comment, engineer
};

// AIFF has no place for artist, product and engineer. Its key is written in whole semitones with the fine
// tune in it, so a sound with a fine tune keeps neither exactly.
constexpr DemoTarget kTargets[] = {
    {"demo.wav", SampleEncoding::Pcm16, false, true, true, true, {true, true, true, true, true}},
    {"demo.aif", SampleEncoding::Pcm24, false, false, true, true, {false, false, true, true, false}},
    {"demo.sw", SampleEncoding::Pcm16, true, false, false, false, {}},
};

std::string loopText(const Waveform& wave) {
    return wave.looped
               ? formatText("%s %.0f..%.0f", loopModeName(wave.loopMode), wave.loopStart, wave.loopEnd)
               : "none";
}

std::string tuningText(const Waveform& wave) {
    return formatText("%s %+g cents", noteName(wave.rootKey, {}).c_str(),
                      static_cast<double>(wave.tuningCents()));
}

// The pitch at which the samples sound as they are, in cents above MIDI note 0.
float pitchCents(const Waveform& wave) {
    return 100.0f * wave.rootKey - wave.tuningCents();
}

std::string soundText(const Waveform& original, const Waveform& found) {
    const auto a = original.samples();
    const auto b = found.samples();
    if (a.size() != b.size())
        return "of another length";
    float worst = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst == 0 ? "bit for bit"
                      : formatText("off by %.1f dB", 20 * std::log10(static_cast<double>(worst)));
}

void compare(const Waveform& original, const Waveform& found, const DemoTarget& target,
             std::vector<DemoProperty>& properties) {
    const auto add = [&](const char* name, std::string before, std::string after, bool expected) {
        const bool kept = before == after;
        properties.push_back({name, std::move(before), std::move(after), kept, expected});
    };
    const auto number = [](long long value) { return std::to_string(value); };
    add("frames", number(original.frames), number(found.frames), true);
    add("channels", number(original.channels), number(found.channels), true);
    add("rate", number(original.sampleRate) + " Hz", number(found.sampleRate) + " Hz", true);
    add("sound", "bit for bit", soundText(original, found), true);
    add("loop", loopText(original), loopText(found), target.loop);
    // A WAVE writer may take a fine tune of +39 cents as -61 cents from the next key down: the same pitch.
    const bool samePitch = pitchCents(original) == pitchCents(found);
    properties.push_back({"tuning", tuningText(original), tuningText(found), samePitch, target.tuning});
    add("name", original.name(), found.name(), target.name);
    for (std::size_t i = 0; i < kWaveTexts; ++i)
        add(waveTextName(static_cast<WaveText>(i)), original.texts[i], found.texts[i], target.texts[i]);
}

bool sameContent(const fs::path& a, const fs::path& b) {
    const auto first = File::open(a);
    const auto second = File::open(b);
    if (!first || !second || first->size() != second->size())
        return false;
    std::vector<Byte> x(static_cast<std::size_t>(first->size()));
    std::vector<Byte> y(x.size());
    return first->read(0, x) && second->read(0, y) && x == y;
}

// Removes a file that is only a step on the way.
class Scratch {
  public:
    explicit Scratch(fs::path path) : path_(std::move(path)) {}
    ~Scratch() {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

// Saves under the target's name. A file that is there already must be the demo's own from an earlier run.
bool saveDemoFile(Item* item, int row, const fs::path& path, PipelineServices& services,
                  const SaveOptions& save) {
    std::error_code error;
    if (!fs::exists(path, error))
        return saveItem(item, row, path, services, save);
    const fs::path beside = path.parent_path() / ("new-" + path.filename().string());
    if (fs::exists(beside, error))
        return fail(utf8FromPath(beside) + " is in the way");
    const Scratch scratch(beside);
    if (!saveItem(item, row, scratch.path(), services, save))
        return false;
    return sameContent(path, scratch.path()) ||
           fail(utf8FromPath(path) + " exists and is not the demo's own; choose another folder");
}

}  // namespace

bool runDemo(const fs::path& where, UserInterface& ui, DemoReport& report) {
    std::error_code error;
    // Reading and writing change the current folder.
    const fs::path folder = fs::absolute(where, error);
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder, error))
        return fail("Could not create the folder " + utf8FromPath(folder));
    PipelineServices services;
    services.ui = &ui;
    Collection collection;
    Waveform* original = createDemoSound(collection);
    if (!original)
        return fail(kOutOfMemory);

    fs::path from;  // the file before: each is converted from it, as a user would
    for (const DemoTarget& target : kTargets) {
        DemoFile& file = report.files.emplace_back();
        file.path = folder / target.fileName;
        file.encoding = encodingName(target.encoding);
        Collection source;
        Item* item = original;
        if (!from.empty()) {
            if (!openFile(source, from, false, services))
                return false;
            const auto waves = source.all<Waveform>();
            if (waves.size() != 1)
                return fail(utf8FromPath(from) + " does not hold one sound");
            item = waves.front();
        } else {
            from = file.path;
        }
        SaveOptions save;
        save.encoding = target.encoding;
        save.channels = 2;
        if (!saveDemoFile(item, findWriterByExtension(target.fileName), file.path, services, save))
            return false;
        const auto input = File::open(file.path);
        if (!input)
            return false;
        file.type = IdentifyFile(file.path, *input);
        Collection readBack;
        RawSource.active = target.headerless;
        RawSource.format.formatWord = encodingBit(target.encoding);
        RawSource.format.channels = 2;
        RawSource.format.rate = kRate;
        RawSource.format.offset = 0;
        const bool read = openFile(readBack, file.path, false, services);
        RawSource = {};
        const auto waves = read ? readBack.all<Waveform>() : std::vector<Waveform*>{};
        if (!read || waves.size() != 1 || !waves.front()->loadSamples())
            return read ? fail("Reading " + utf8FromPath(file.path) + " again gave no sound") : false;
        compare(*original, *waves.front(), target, file.properties);
    }
    return true;
}

}  // namespace velor
