#include "base/error.h"

#include <cstdarg>
#include <cstdio>

namespace velor {

std::string LastErrorText;

bool fail(std::string_view message) {
    LastErrorText.assign(message);
    return false;
}

std::string formatText(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, arguments);
        text.pop_back();
    }
    va_end(arguments);
    return text;
}

}  // namespace velor
