// A waveform as a file needs it, without a change to the user's own.
#pragma once

#include <cstdint>
#include <memory>

#include "base/user_interface.h"
#include "items/collection.h"

namespace velor {

// Holds the copy for as long as a writer needs it.
class WorkingCopy {
  public:
    // The waveform itself when it has the rate (Hz), else a copy that was resampled to it: its loop follows,
    // and the encoding that its source has is kept as the one to be chosen again. nullptr with
    // LastErrorText: "Save aborted!", "Out of memory", or what reading the samples failed with.
    Waveform* atRate(Waveform& waveform, std::uint32_t rate, UserInterface& ui);
    // The same for files that can hold one rate only: warns when the waveform has another one.
    Waveform* atFixedRate(Waveform& waveform, std::uint32_t rate, UserInterface& ui);

  private:
    std::unique_ptr<Collection> collection_;
};

}  // namespace velor
