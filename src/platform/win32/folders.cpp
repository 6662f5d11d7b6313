#include "platform/folders.h"

#include "platform/win32/windows_header.h"
// After windows.h, which they need.
#include <knownfolders.h>
#include <shlobj.h>

#include <vector>

#include "base/text.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

fs::path environmentPath(const char* name) {
    return fs::path(utf16FromUtf8(environmentVariable(name)));
}

// The known folder; when the shell does not know it, the folder that a variable names.
fs::path knownFolder(const KNOWNFOLDERID& id, const char* variable) {
    PWSTR text = nullptr;
    fs::path folder;
    if (::SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, nullptr, &text) == S_OK)
        folder = text;
    ::CoTaskMemFree(text);
    return folder.empty() ? environmentPath(variable) : folder;
}

}  // namespace

std::string environmentVariable(const char* name) {
    const fs::path wideName(utf16FromUtf8(name));
    std::vector<wchar_t> text(256);
    for (;;) {
        const DWORD length =
            ::GetEnvironmentVariableW(wideName.c_str(), text.data(), static_cast<DWORD>(text.size()));
        if (length < text.size())
            return utf8FromUtf16({reinterpret_cast<const char16_t*>(text.data()), length});
        text.resize(length);
    }
}

fs::path homeFolder() {
    return knownFolder(FOLDERID_Profile, "USERPROFILE");
}

fs::path configFolder() {
    return knownFolder(FOLDERID_RoamingAppData, "APPDATA");
}

fs::path dataFolder() {
    return knownFolder(FOLDERID_RoamingAppData, "APPDATA");
}

fs::path stateFolder() {
    return knownFolder(FOLDERID_LocalAppData, "LOCALAPPDATA");
}

fs::path systemFolder() {
    std::vector<wchar_t> text(MAX_PATH + 1);
    UINT length = ::GetSystemDirectoryW(text.data(), static_cast<UINT>(text.size()));
    if (length >= text.size()) {
        text.resize(length + 1);
        length = ::GetSystemDirectoryW(text.data(), static_cast<UINT>(text.size()));
    }
    return fs::path(text.data(), text.data() + length);
}

fs::path executablePath() {
    std::vector<wchar_t> text(MAX_PATH + 1);
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(nullptr, text.data(), static_cast<DWORD>(text.size()));
        if (length < text.size())
            return fs::path(text.data(), text.data() + length);
        text.resize(text.size() * 2);  // truncated
    }
}

}  // namespace velor
