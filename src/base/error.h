// The application-wide message buffer and the helpers that fill it.
#pragma once

#include <string>
#include <string_view>

#include "base/printf_format.h"

namespace velor {

// The last failure's message. Every fallible operation stores its message here and returns false (or a
// negative index); the caller shows it. Written by the thread that opens, processes and saves; worker threads
// report through their owner instead.
extern std::string LastErrorText;

// Stores `message` in LastErrorText and returns false, so that a failure reads `return fail("Out of
// memory");`.
bool fail(std::string_view message);

// printf-style formatting into a std::string of any length.
VELOR_PRINTF_FORMAT(1, 2)
std::string formatText(const char* format, ...);

// The plural suffix of English messages: empty for one, "s" otherwise.
inline const char* pluralSuffix(unsigned long long count) {
    return count == 1 ? "" : "s";
}

// Messages that many operations share.
inline constexpr std::string_view kOutOfMemory = "Out of memory";
inline constexpr std::string_view kReadFailed = "Reading from file failed";
inline constexpr std::string_view kWriteFailed = "Writing to file failed";
inline constexpr std::string_view kCannotSaveItem = "The file format can not save this item";

}  // namespace velor
