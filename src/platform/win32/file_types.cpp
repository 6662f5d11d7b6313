#include "platform/file_types.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "platform/win32/windows_header.h"

namespace velor {

namespace {

// The default text of a key under HKEY_CLASSES_ROOT; empty when there is none or it is longer than `longest`.
std::wstring classText(const std::wstring& key, std::size_t longest) {
    std::vector<wchar_t> text(longest + 1);
    auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (::RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text.data(),
                       &bytes) != ERROR_SUCCESS)
        return {};
    return std::wstring(text.data());
}

}  // namespace

std::optional<std::string> registeredFileType(std::string_view extension) {
    const std::u16string wide = utf16FromUtf8(extension);
    if (wide.empty() || wide.find(u'\\') != std::u16string::npos)
        return std::nullopt;
    const std::wstring className = classText(L"." + std::wstring(wide.begin(), wide.end()), 64);
    if (className.empty())
        return std::nullopt;
    const std::wstring text = classText(className, 80);
    if (text.empty())
        return std::nullopt;
    return utf8FromUtf16({reinterpret_cast<const char16_t*>(text.data()), text.size()});
}

}  // namespace velor
