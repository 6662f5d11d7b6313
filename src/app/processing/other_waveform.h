// The second waveform of processes that combine two.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "app/processing/process.h"

namespace velor {

struct OtherWaveform {
    Waveform* waveform = nullptr;      // with its samples loaded
    std::unique_ptr<Collection> file;  // holds it when it was read from a file
};

// Finds the waveform that a setting of kind Wave names: "#2" is the second of the collection, a name is that
// of one of its waveforms, anything else a file, whose first waveform counts. False with LastErrorText: "no
// other waveform is chosen" for an empty text, what reading the file failed with, or that nothing of the name
// exists.
bool findOtherWaveform(const ProcessJob& job, std::string_view chosen, OtherWaveform& other);

}  // namespace velor
