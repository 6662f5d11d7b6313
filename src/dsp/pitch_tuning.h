// Tuning waveforms by the pitch they are found to have.
#pragma once

#include <array>
#include <string>

#include "base/user_interface.h"
#include "dsp/pitch.h"
#include "items/item.h"

namespace velor {

enum class TuneBy : std::uint8_t { RootKeyAndFine, FineOnly, SampleRate };

// The texts of the page that tunes several waveforms, its choices in the order of TuneBy.
inline constexpr const char* kTunePageText =
    "This will calculate the dominant frequency of the waveform(s). It will then 'tune it' by:";
inline constexpr std::array<const char*, 3> kTunePageChoices = {
    "Changing the root key and fine tune parameters to values calculated from to the dominant frequency.",
    "Changing only the fine tune parameter so that the tuning offset will become an integer number of "
    "semi-tones.",
    "Setting the sample rate so that the playback speed becomes correct for the already set root key and "
    "fine "
    "tune values."};
// The captions of the boxes that tuneInteractively() shows.
inline constexpr const char* kAutoTuneCaption = "Auto tune - Velor Studio";
inline constexpr const char* kAlreadyTunedCaption = "Auto tune";
inline constexpr const char* kAutoTuneErrorCaption = "Error!";

// How far the detected pitch lies above the one that root key and tuning stand for, in cents. A waveform's
// further tuning counts with its fine tune: both are heard.
int tuningDifference(const Waveform& waveform, const DetectedPitch& pitch);

// Tunes by a pitch that is known. RootKeyAndFine and FineOnly set the fine tune, and with it the whole
// tuning: the further tuning becomes 0. FineOnly leaves a whole number of semitones. SampleRate changes the
// rate alone. True when anything changed.
bool tuneTo(Waveform& waveform, const DetectedPitch& pitch, TuneBy by);

// A tone as "A4 plus 12 cents".
std::string toneText(std::uint8_t key, int cents, const NoteNaming& naming);

enum class AutoTuneResult : std::uint8_t { Tuned, Unchanged, Cancelled, Failed };

// The dialog for one waveform: tells the pitch found and the pitch set, asks how to adjust (question
// "autotune.adjust": the choices of TuneBy and Cancel), or reports that there is nothing to adjust. Failed
// leaves the waveform as it is and reports kPitchFailed, which is in LastErrorText too.
AutoTuneResult autoTune(Waveform& waveform, const NoteNaming& naming, UserInterface& ui);

// The text of the dominant-frequency command: the strongest peak of the spectrum as a tone, and the tone that
// is set. False with kPitchFailed.
bool dominantFrequencyText(Waveform& waveform, const NoteNaming& naming, std::string& text);

}  // namespace velor
