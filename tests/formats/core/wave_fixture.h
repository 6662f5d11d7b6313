// What the tests of waveform files share: opening and saving by row, and asking peer programs.
#pragma once

#include <bit>

#include "formats/core/chunk_builder.h"
#include "formats/framework/collection_fixture.h"

namespace velor::test {

// Answers each question with the next of `script`, then with the default; remembers keys beside texts.
class ScriptedInterface : public UserInterface {
  public:
    std::size_t ask(const Question& question) override {
        questions.push_back(question);
        keys.emplace_back(question.key);
        if (script.empty())
            return question.defaultButton;
        const std::size_t answer = script.front();
        script.erase(script.begin());
        return answer;
    }
    std::vector<std::size_t> script;
    std::vector<Question> questions;
    std::vector<std::string> keys;
};

struct WaveFixture : CollectionFixture {
    std::string file(const std::string& name) { return quoted(folder / name); }

    // The first waveform of a file, nullptr when it cannot be read.
    Waveform* open(const std::string& name, int row) {
        LastErrorText.clear();
        ui.warnings.clear();
        if (!openFileAs(collection, folder / name, row, services))
            return nullptr;
        return opened();
    }
    Waveform* opened() { return collection.all<Waveform>().front(); }
    Waveform* open(const Bytes& bytes, int row, const std::string& name = "take.bin") {
        rewriteFile(folder / name, bytes);
        return open(name, row);
    }
    static std::vector<float> samplesOf(Waveform* waveform) {
        if (!waveform || !waveform->loadSamples())
            return {};
        return {waveform->samples().begin(), waveform->samples().end()};
    }
    std::vector<float> openSamples(const std::string& name, int row) { return samplesOf(open(name, row)); }

    // What a waveform says beside its samples; what it leaves at its default is left out.
    static std::string told(const Waveform* waveform) {
        if (!waveform)
            return LastErrorText;
        std::string all = waveform->name();
        for (std::size_t i = 0; i < kWaveTexts; ++i) {
            if (!waveform->texts[i].empty())
                all += std::string("; ") + waveTextName(static_cast<WaveText>(i)) + " " + waveform->texts[i];
        }
        all += formatText("; %u Hz x %d", waveform->sampleRate, static_cast<int>(waveform->channels));
        if (waveform->rootKey != 60 || waveform->fineTune != 0)
            all += formatText("; key %d%+d", waveform->rootKey, waveform->fineTune);
        if (waveform->gain != 0)
            all += formatText("; gain %g", static_cast<double>(waveform->gain));
        if (waveform->looped != (waveform->loopMode != LoopMode::None))
            all += "; a mode without a loop, or a loop without a mode";
        if (waveform->looped)
            all += formatText("; %s %.10g to %.10g%s", loopModeName(waveform->loopMode), waveform->loopStart,
                              waveform->loopEnd, waveform->loopUntilRelease ? " until release" : "");
        return all;
    }

    bool save(Item& item, int row, const std::string& name, SampleEncoding encoding = SampleEncoding::None) {
        SaveOptions options;
        options.encoding = encoding;
        return saveItem(&item, row, folder / name, services, options);
    }

    // Raw 32-bit little-endian integers, and the same as 32-bit WAVE and float .au files for peers.
    void writeSource(const std::vector<float>& samples, unsigned channels, std::uint32_t rate) {
        Bytes raw;
        Bytes floats =
            Bytes().text(".snd").be32(24).be32(samples.size() * 4).be32(6).be32(rate).be32(channels);
        for (const float sample : samples) {
            raw.u32(static_cast<std::uint32_t>(
                static_cast<std::int32_t>(std::min(sample * 2147483648.0, 2147483647.0))));
            floats.be32(std::bit_cast<std::uint32_t>(sample));
        }
        writeFile(folder / "in.raw", raw.data);
        writeFile(folder / "in.au", floats.data);
        writeFile(folder / "in.wav", riff({fmt(1, channels, rate, 32), chunk("data", raw)}).data);
    }

    // What a peer decodes a file to; empty when it refuses. Between integers and floats libsndfile rescales,
    // so it is asked for floats where the file holds such.
    // `options` say to SoX what a file without a header holds.
    std::vector<float> decodedBy(const std::string& peer, const std::string& name, bool isFloat = false,
                                 const std::string& options = {}) {
        std::vector<float> samples;
        std::filesystem::remove(folder / "peer.raw");
        std::filesystem::remove(folder / "peer.au");
        if (peer == "sndfile-convert") {
            run("sndfile-convert " + std::string(isFloat ? "-float32 " : "-pcm32 ") + file(name) + " " +
                file("peer.au"));
            const auto bytes = readFile(folder / "peer.au");
            if (bytes.size() < 24)
                return samples;
            for (std::size_t i = loadBe<std::uint32_t>(bytes.data() + 4); i + 4 <= bytes.size(); i += 4)
                samples.push_back(
                    isFloat ? loadBe<float>(bytes.data() + i)
                            : static_cast<float>(loadBe<std::int32_t>(bytes.data() + i) / 2147483648.0));
            return samples;
        }
        if (peer == "sox")
            run("sox -D " + options + " " + file(name) + " -t raw -e signed -b 32 -L " + file("peer.raw"));
        else
            run("ffmpeg -v error -y -i " + file(name) + " -f s32le " + file("peer.raw"));
        const auto bytes = readFile(folder / "peer.raw");
        for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
            samples.push_back(static_cast<float>(loadLe<std::int32_t>(bytes.data() + i) / 2147483648.0));
        return samples;
    }

    // Tries every prefix of a file, and the file with each of its fields in turn holding what it should not.
    template <typename Try>
    static void damage(const Bytes& whole, ByteOrder order, Try survive) {
        for (std::size_t size = 1; size < whole.size(); ++size) {
            SCOPED_TRACE(size);
            Bytes cut = whole;
            cut.data.resize(size);
            survive(cut);
        }
        Bytes file = whole;
        for (std::size_t at = 4; at + 4 <= file.size(); at += 2) {
            const auto kept = loadAs<std::uint32_t>(file.data.data() + at, order);
            for (const std::uint32_t lie : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
                SCOPED_TRACE(formatText("0x%x at %zu", lie, at));
                storeAs(file.data.data() + at, lie, order);
                survive(file);
            }
            storeAs(file.data.data() + at, kept, order);
        }
    }
};

}  // namespace velor::test
