#include "platform/settings_backend.h"

#include <algorithm>
#include <span>

#include "base/error.h"
#include "platform/win32/windows_header.h"

namespace velor {

namespace {

constexpr std::string_view kKey = "Software\\Qen-Software\\Velor Studio";
// The registry's own limit for a name; values are limited here, as they may be anything.
constexpr DWORD kMostNameUnits = 16383;
constexpr DWORD kMostValueBytes = DWORD{4} << 20;

std::wstring wide(std::string_view text) {
    const std::u16string units = utf16FromUtf8(text);
    return std::wstring(units.begin(), units.end());
}

std::string narrow(std::wstring_view text) {
    return utf8FromUtf16({reinterpret_cast<const char16_t*>(text.data()), text.size()});
}

class OpenKey {
  public:
    OpenKey() = default;
    ~OpenKey() {
        if (key_)
            ::RegCloseKey(key_);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    HKEY get() const { return key_; }
    HKEY* receive() { return &key_; }

  private:
    HKEY key_ = nullptr;
};

class RegistrySettings : public SettingsBackend {
  public:
    explicit RegistrySettings(std::string_view key) : key_(key) {}

    bool read(SettingValues& values) override {
        values.clear();
        warnings_.clear();
        OpenKey key;
        const LSTATUS opened =
            ::RegOpenKeyExW(HKEY_CURRENT_USER, wide(key_).c_str(), 0, KEY_QUERY_VALUE, key.receive());
        if (opened == ERROR_FILE_NOT_FOUND)
            return true;
        DWORD longestName = 0, longestValue = 0;
        if (opened != ERROR_SUCCESS ||
            ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &longestName, &longestValue, nullptr, nullptr) != ERROR_SUCCESS)
            return fail("Could not read the settings in " + place());
        std::vector<wchar_t> name(std::min(longestName, kMostNameUnits) + 1);
        std::vector<Byte> bytes(std::min(longestValue, kMostValueBytes));
        for (DWORD index = 0;; ++index) {
            auto nameUnits = static_cast<DWORD>(name.size());
            auto size = static_cast<DWORD>(bytes.size());
            DWORD type = REG_NONE;
            const LSTATUS got = ::RegEnumValueW(key.get(), index, name.data(), &nameUnits, nullptr, &type,
                                                bytes.data(), &size);
            if (got == ERROR_NO_MORE_ITEMS)
                return true;
            if (got == ERROR_SUCCESS)
                take(narrow({name.data(), nameUnits}), type, {bytes.data(), size}, values);
            else if (got == ERROR_MORE_DATA)
                warnings_.push_back(place() + ": a value is too large");
            else
                return fail("Could not read the settings in " + place());
        }
    }

    bool write(const SettingChanges& changes) override {
        OpenKey key;
        bool done = ::RegCreateKeyExW(HKEY_CURRENT_USER, wide(key_).c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                                      nullptr, key.receive(), nullptr) == ERROR_SUCCESS;
        for (auto change = changes.begin(); done && change != changes.end(); ++change) {
            const std::wstring name = wide(change->first);
            if (!change->second) {
                const LSTATUS removed = ::RegDeleteValueW(key.get(), name.c_str());
                done = removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND;
            } else {
                done = store(key.get(), name, *change->second);
            }
        }
        return done || fail("Could not write the settings to " + place());
    }

    std::string place() const override { return "HKEY_CURRENT_USER\\" + key_; }
    std::vector<std::string> warnings() const override { return warnings_; }

  private:
    void take(const std::string& name, DWORD type, std::span<const Byte> bytes, SettingValues& values) {
        if (type == REG_SZ) {
            std::u16string text;
            for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
                text += loadLe<char16_t>(&bytes[i]);
                if (text.back() == 0) {
                    text.pop_back();
                    break;
                }
            }
            values[name] = utf8FromUtf16(text);
        } else if (type == REG_BINARY) {
            values[name] = std::vector<Byte>(bytes.begin(), bytes.end());
        } else if (type == REG_DWORD && bytes.size() == 4) {
            values[name] = loadLe<std::uint32_t>(bytes.data());
        } else {
            warnings_.push_back(place() + ": " + name + " is of a kind that no setting has");
        }
    }

    static bool store(HKEY key, const std::wstring& name, const SettingValue& value) {
        const auto put = [&](DWORD type, const void* data, std::size_t size) {
            return ::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                                    static_cast<DWORD>(size)) == ERROR_SUCCESS;
        };
        if (const auto* text = std::get_if<std::string>(&value)) {
            const std::wstring units = wide(*text);
            return put(REG_SZ, units.c_str(), (units.size() + 1) * sizeof(wchar_t));
        }
        if (const auto* bytes = std::get_if<std::vector<Byte>>(&value))
            return put(REG_BINARY, bytes->data(), bytes->size());
        return put(REG_DWORD, std::get_if<std::uint32_t>(&value), sizeof(std::uint32_t));
    }

    std::string key_;
    std::vector<std::string> warnings_;
};

}  // namespace

std::unique_ptr<SettingsBackend> systemSettings(const SettingTextCodec&) {
    return registrySettings(kKey);
}

std::unique_ptr<SettingsBackend> registrySettings(std::string_view key) {
    return std::make_unique<RegistrySettings>(key);
}

}  // namespace velor
