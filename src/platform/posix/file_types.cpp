#include "platform/file_types.h"

namespace velor {

std::optional<std::string> registeredFileType(std::string_view) {
    return std::nullopt;
}

}  // namespace velor
