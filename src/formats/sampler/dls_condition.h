// Conditional chunks of DLS: a small program that says whether the list it lies in is meant for this player.
#pragma once

#include <span>

#include "base/byte_order.h"

namespace velor {

// Runs the payload of a "cdl " chunk. True when its list is to be used, also when the program is damaged.
bool evaluateDlsCondition(std::span<const Byte> chunk);

}  // namespace velor
