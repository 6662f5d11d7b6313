// What the system calls a kind of file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velor {

// The description that the system has registered for an extension (without its dot): of ".wav", for example,
// "Wave Sound". Windows: the default text of the class that HKEY_CLASSES_ROOT names under the extension, with
// a class name of at most 64 and a text of at most 80 characters. Nothing when there is none, and elsewhere.
std::optional<std::string> registeredFileType(std::string_view extension);

}  // namespace velor
