// What tests share: temporary folders, files, signals, and starting a peer program.
#pragma once

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/user_interface.h"
#include "formats/framework/pipeline.h"
#include "items/collection.h"
#include "platform/file.h"

namespace velor::test {

// A name that no other test process uses, also none under another Wine, where process numbers repeat.
inline std::string uniqueName() {
    std::random_device random;
    return std::to_string(random()) + "-" + std::to_string(random());
}

// A fresh folder, removed with everything in it at the end. The current folder is kept: opening files moves
// it.
class TemporaryFolder {
  public:
    TemporaryFolder() : before_(std::filesystem::current_path()) {
        do
            path_ = std::filesystem::temp_directory_path() / ("velor-test-" + uniqueName());
        while (!std::filesystem::create_directory(path_));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path before_;
    std::filesystem::path path_;
};

// Puts a new file in the place of an old one. Writing into the old one would fail on Windows while a waveform
// that was read from it keeps it open.
inline void writeFile(const std::filesystem::path& path, const std::vector<Byte>& bytes) {
    const auto file = OutputFile::create(path);
    if (!file || !file->write(bytes) || !file->commit())
        throw std::runtime_error("can not write " + utf8FromPath(path));
}
inline std::vector<Byte> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
inline std::size_t filesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

// Remembers what the core said; answers questions with the button given by `answer`.
class RecordingInterface : public UserInterface {
  public:
    std::size_t ask(const Question& question) override {
        questions.push_back(question.text);
        return answer < question.buttons.size() ? answer : question.defaultButton;
    }
    void warn(const Warning& warning) override { warnings.push_back(warning.text); }
    void report(std::string_view text) override { reports.emplace_back(text); }
    bool aborted() override { return abortAfter >= 0 && abortAfter-- == 0; }

    std::size_t answer = 999;
    int abortAfter = -1;  // calls of aborted() until it says yes; -1 never
    std::vector<std::string> questions, warnings, reports;
};

// Samples that need every bit of `bits`: a sine with noise in its last bits, and full scale at both ends.
inline std::vector<float> testSignal(std::size_t samples, int bits) {
    std::mt19937 random(static_cast<unsigned>(samples + static_cast<std::size_t>(bits)));
    const double scale = std::ldexp(1.0, bits - 1);
    std::vector<float> signal(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const double value =
            0.9 * std::sin(0.05 * static_cast<double>(i)) * scale + static_cast<double>(random() % 16) - 8;
        signal[i] = static_cast<float>(std::floor(std::clamp(value, -scale, scale - 1)) / scale);
    }
    if (samples > 1) {
        signal[0] = -1.0f;
        signal[1] = static_cast<float>((scale - 1) / scale);
    }
    return signal;
}

inline Waveform* addWaveform(Collection& collection, const std::string& name,
                             const std::vector<float>& samples, int channels = 1,
                             std::uint32_t rate = 44100) {
    auto* waveform = collection.create<Waveform>(name);
    waveform->channels = static_cast<std::uint8_t>(channels);
    waveform->sampleRate = rate;
    waveform->frames = static_cast<std::uint32_t>(samples.size() / static_cast<std::size_t>(channels));
    waveform->allocateSamples();
    std::copy_n(samples.begin(), waveform->samples().size(), waveform->samples().begin());
    return waveform;
}

// Runs a shell command quietly; true when it succeeded.
inline bool run(const std::string& command) {
#ifdef _WIN32
    return std::system((command + " >NUL 2>NUL").c_str()) == 0;
#else
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
#endif
}
inline bool haveProgram(const std::string& name) {
#ifdef _WIN32
    (void)name;
    return false;  // peers run on the system that builds, not under the Windows suite
#else
    return run("command -v " + name);
#endif
}
inline std::string quoted(const std::filesystem::path& path) {
    return "\"" + utf8FromPath(path) + "\"";
}

}  // namespace velor::test
