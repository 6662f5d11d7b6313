#include "app/processing/other_waveform.h"

#include <system_error>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/pipeline.h"
#include "platform/file.h"

namespace velor {

namespace {

// Reading the file is part of the process: its questions and its end go to the process's user, its progress
// does not.
class ReadingInterface final : public UserInterface {
  public:
    explicit ReadingInterface(UserInterface& ui) : ui_(ui) {}
    std::size_t ask(const Question& question) override { return ui_.ask(question); }
    bool aborted() override { return ui_.aborted(); }
    void warn(const Warning& warning) override { ui_.warn(warning); }

  private:
    UserInterface& ui_;
};

Waveform* findInCollection(const Collection& collection, std::string_view chosen) {
    const std::vector<Waveform*> waveforms = collection.all<Waveform>();
    long long number = 0;
    if (chosen.front() == '#' && parseInteger(chosen.substr(1), number))
        return number >= 1 && static_cast<std::size_t>(number) <= waveforms.size()
                   ? waveforms[static_cast<std::size_t>(number) - 1]
                   : nullptr;
    for (Waveform* waveform : waveforms) {
        if (displayText(waveform->name()) == chosen)
            return waveform;
    }
    return nullptr;
}

}  // namespace

bool findOtherWaveform(const ProcessJob& job, std::string_view chosen, OtherWaveform& other) {
    if (chosen.empty())
        return fail("no other waveform is chosen");
    other.waveform = findInCollection(job.collection(), chosen);
    if (!other.waveform) {
        const std::filesystem::path path = pathFromUtf8(std::string(chosen));
        const auto file = File::open(path);
        if (!file)
            return fail("there is neither a waveform nor a file \"" + std::string(chosen) + "\"");
        other.file = std::make_unique<Collection>();
        ReadingInterface ui(job.ui);
        PipelineServices services;
        services.ui = &ui;
        if (!openInput(*other.file, file, path, false, services))
            return false;
        if (other.file->count(ItemKind::Waveform) == 0)
            return fail("\"" + std::string(chosen) + "\" holds no waveform");
        other.waveform = other.file->all<Waveform>().front();
    }
    return other.waveform->loadSamples();
}

}  // namespace velor
