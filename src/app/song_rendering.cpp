#include "app/song_rendering.h"

#include <algorithm>

#include "app/settings.h"
#include "base/error.h"
#include "platform/file.h"

namespace velor {

namespace {

// The bank is a means here: its warnings and its progress are not the song's.
class BankInterface final : public UserInterface {
  public:
    explicit BankInterface(UserInterface& ui) : ui_(ui) {}
    bool aborted() override { return ui_.aborted(); }

  private:
    UserInterface& ui_;
};

bool openBank(const std::filesystem::path& path, Collection& into, UserInterface& ui) {
    if (path.empty()) {
        ui.warn({"No General MIDI bank was found; --bank or the setting mid2wav.wszGMBank names one", {}, 0});
        return false;
    }
    BankInterface quiet(ui);
    PipelineServices services;
    services.ui = &quiet;
    // Nothing is to be tidied up in a bank that is gone after the song.
    services.load = {};
    services.load.autoMergeStereo = services.load.autoCompactLayers = services.load.autoRemoveDupWaves =
        false;
    services.load.autoSortColl = services.load.autoSortWaves = services.load.ensureUniqueNames = false;
    const std::shared_ptr<File> file = File::open(path);
    if (file && openInput(into, file, path, false, services))
        return true;
    ui.warn({utf8FromPath(path) + ": " + LastErrorText, {}, 0});
    return false;
}

}  // namespace

RenderOptions renderOptions(const SettingsStore& settings) {
    RenderOptions options;
    options.sampleRate = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(settings.getNumber("mid2wav.dwSampleRate"), 8000, 384000));
    options.polyphony = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(settings.getNumber("mid2wav.iMaxPolyphony"), 1, 4096));
    options.effects = settings.getBool("mid2wav.bEffects");
    options.deleteSource = settings.getBool("mid2wav.bDeleteSrc");
    options.normalisePeak = settings.getBool("mid2wav.bNormalizePeak");
    options.removeSilence = settings.getBool("mid2wav.bDeleteSilence");
    return options;
}

SongRenderer::Result SongRendering::render(MidiSong& song, Collection& into, UserInterface& ui,
                                           Waveform*& result) {
    RenderOptions options = options_;
    options.openDefaultBank = [&](Collection& bank) { return openBank(bank_, bank, ui); };
    switch (renderSong(into, song, options, false, ui, result)) {
        case RenderResult::Done:
            return Result::Done;
        case RenderResult::Aborted:
            return Result::Aborted;
        case RenderResult::NothingToRender:
        case RenderResult::Failed:
            return Result::Failed;
    }
    return Result::Failed;
}

}  // namespace velor
