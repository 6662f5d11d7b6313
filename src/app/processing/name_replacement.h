// Search and replace in the names of items: what the catalogues' processes of that name share.
#pragma once

#include <array>

#include "app/processing/process.h"

namespace velor {

extern const std::array<ProcessParameter, 5> kReplaceParameters;

// Replaces every occurrence in the item's name. Unchanged when there is none; Failed, the name as it was, for
// an empty search text, a regular expression that is wrong or takes too long on this name, a name too long
// for one, and when nothing would be left of the name.
ProcessOutcome replaceInName(Item& item, const ProcessSettings& settings);

}  // namespace velor
