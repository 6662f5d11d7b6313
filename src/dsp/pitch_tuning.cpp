#include "dsp/pitch_tuning.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>

#include "base/error.h"
#include "base/rounding.h"

namespace velor {

namespace {

constexpr int kMostFineTune = 100;  // cents
constexpr std::size_t kCancel = 3;

int currentCents(const Waveform& waveform) {
    const double cents = static_cast<double>(waveform.tuningCents());
    return static_cast<int>(std::clamp<std::int64_t>(roundToInteger(cents), -1'000'000, 1'000'000));
}

const char* signOf(int value) {
    return value > 0 ? "+" : value < 0 ? "-" : "\u00b1";
}

bool setFineTune(Waveform& waveform, int cents) {
    const auto fine = static_cast<std::int8_t>(std::clamp(cents, -kMostFineTune, kMostFineTune));
    const bool changed = fine != waveform.fineTune || waveform.tuning != 0;
    waveform.fineTune = fine;
    waveform.tuning = 0;
    return changed;
}

}  // namespace

std::string toneText(std::uint8_t key, int cents, const NoteNaming& naming) {
    return formatText("%s %s %d cents", noteName(key, naming).c_str(), cents < 0 ? "minus" : "plus",
                      std::abs(cents));
}

int tuningDifference(const Waveform& waveform, const DetectedPitch& pitch) {
    return (pitch.key - waveform.rootKey) * 100 - pitch.cents + currentCents(waveform);
}

bool tuneTo(Waveform& waveform, const DetectedPitch& pitch, TuneBy by) {
    switch (by) {
        case TuneBy::RootKeyAndFine: {
            const bool otherKey = waveform.rootKey != pitch.key;
            waveform.rootKey = pitch.key;
            return setFineTune(waveform, pitch.cents) || otherKey;
        }
        case TuneBy::FineOnly:
            return setFineTune(waveform, pitch.cents);
        case TuneBy::SampleRate: {
            const double wanted =
                std::exp2(-tuningDifference(waveform, pitch) / 1200.0) * waveform.sampleRate + 0.5;
            if (!(wanted >= 1) || wanted > std::numeric_limits<std::uint32_t>::max())
                return false;
            const auto rate = static_cast<std::uint32_t>(wanted);
            const bool changed = rate != waveform.sampleRate;
            waveform.sampleRate = rate;
            return changed;
        }
    }
    return false;
}

AutoTuneResult autoTune(Waveform& waveform, const NoteNaming& naming, UserInterface& ui) {
    DetectedPitch pitch;
    if (!detectPitch(waveform, pitch)) {
        ui.report(LastErrorText);
        return AutoTuneResult::Failed;
    }
    const int difference = tuningDifference(waveform, pitch);
    if (difference == 0) {
        ui.report("Already perfectly tuned!");
        return AutoTuneResult::Unchanged;
    }
    const auto line = [&naming](const char* what, std::uint8_t key, int cents, double frequency) {
        return formatText("%s:\t%s %s%d cents (%.1f Hz)\n\n", what, noteName(key, naming).c_str(),
                          signOf(cents), std::abs(cents), frequency);
    };
    const int current = currentCents(waveform);
    Question question;
    question.key = "autotune.adjust";
    question.text =
        line("Detected fundamental pitch", pitch.key, pitch.cents, static_cast<double>(pitch.frequency)) +
        line("Current waveform tuning is", waveform.rootKey, current,
             keyFrequency(waveform.rootKey, current)) +
        formatText("Tuning needs to be adjusted by:\t%d semitones, %d cents\n\n", difference / 100,
                   difference % 100) +
        "Adjust the tuning by changing the...";
    question.buttons = {"Root key+Fine", "Fine tune only", "Sample rate", "Cancel"};
    const std::size_t answer = ui.ask(question);
    if (answer >= kCancel)
        return AutoTuneResult::Cancelled;
    const bool changed = tuneTo(waveform, pitch, static_cast<TuneBy>(answer));
    return changed ? AutoTuneResult::Tuned : AutoTuneResult::Unchanged;
}

bool dominantFrequencyText(Waveform& waveform, const NoteNaming& naming, std::string& text) {
    if (!waveform.loadSamples())
        return fail(kPitchFailed);
    std::vector<SpectralPeak> peaks;
    try {
        const std::vector<float> mono = monoCopy(waveform.samples(), waveform.channels);
        peaks = spectralPeaks(pitchSpectrum(mono, waveform.sampleRate));
    } catch (const std::bad_alloc&) {
        return fail(kPitchFailed);
    }
    if (peaks.empty())
        return fail(kPitchFailed);
    const DetectedPitch pitch = pitchOfFrequency(peaks[0].frequency);
    // The tones are told as they sound, so the cents are the negative of a fine tune.
    text = formatText(
        "Fourier analysis shows the dominant frequency is:\n\n\t%.1f HZ\n\nWhich corresponds to the "
        "tone:\n\n\t%s\n\nThe currently set root key is for the tone:\n\n\t%s\n\nNB: Root key 'fine-tune' is "
        "the "
        "negative of this.",
        peaks[0].frequency, toneText(pitch.key, -pitch.cents, naming).c_str(),
        toneText(waveform.rootKey, -currentCents(waveform), naming).c_str());
    return true;
}

}  // namespace velor
