#include "platform/folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace velor {

namespace fs = std::filesystem;

namespace {

// XDG Base Directory rules (freedesktop.org): a relative value is invalid and counts as not set.
fs::path xdgFolder(const char* variable, const char* underHome) {
    const fs::path named = environmentVariable(variable);
    return named.is_absolute() ? named : homeFolder() / underHome;
}

}  // namespace

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

fs::path homeFolder() {
    const fs::path named = environmentVariable("HOME");
    if (named.is_absolute())
        return named;
    std::vector<char> texts(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, texts.data(), texts.size(), &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return "/";
}

fs::path configFolder() {
    return xdgFolder("XDG_CONFIG_HOME", ".config");
}

fs::path dataFolder() {
    return xdgFolder("XDG_DATA_HOME", ".local/share");
}

fs::path stateFolder() {
    return xdgFolder("XDG_STATE_HOME", ".local/state");
}

fs::path systemFolder() {
    return {};
}

fs::path executablePath() {
    std::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::path() : program;
}

}  // namespace velor
