#include "platform/settings_backend.h"

#include "base/error.h"
#include "platform/folders.h"

namespace velor {

std::unique_ptr<SettingsBackend> systemSettings(const SettingTextCodec& codec) {
    return fileSettings(configFolder() / "velor-studio" / "settings.conf", codec);
}

std::unique_ptr<SettingsBackend> registrySettings(std::string_view) {
    fail("This system has no registry");
    return nullptr;
}

}  // namespace velor
