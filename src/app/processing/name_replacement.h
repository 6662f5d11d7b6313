// Searching and replacing text in the names of items.
#pragma once

#include <array>

#include "app/processing/process.h"

namespace velor {

extern const std::array<ProcessParameter, 5> kReplaceParameters;
ProcessOutcome replaceInName(Item& item, const ProcessSettings& settings);

}  // namespace velor
