// Settings in a text file: the settings back end that every system has.
#include <system_error>

#include "base/error.h"
#include "platform/file.h"
#include "platform/folders.h"
#include "platform/settings_backend.h"
#include "platform/settings_file.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

class FileSettings : public SettingsBackend {
  public:
    FileSettings(const fs::path& path, const SettingTextCodec& codec) : path_(path), codec_(codec) {}

    bool read(SettingValues& values) override {
        values.clear();
        warnings_.clear();
        SettingsFile file;
        if (!readFile(file))
            return false;
        for (const std::string& problem : file.problems())
            warnings_.push_back(place() + ", " + problem);
        for (const SettingsFile::Entry& entry : file.entries()) {
            SettingValue value;
            if (codec_.parse(entry.name, entry.value, value))
                values[entry.name] = std::move(value);
            else if (warnings_.size() < SettingsFile::kMostProblems)
                warnings_.push_back(place() + ", line " + std::to_string(entry.line) + ": " + LastErrorText);
        }
        return true;
    }

    // Reads the file again first, so that what others changed in it meanwhile stays.
    bool write(const SettingChanges& changes) override {
        SettingsFile file;
        if (!readFile(file))
            return false;
        const bool fresh = file.entries().empty() && file.print().empty();
        if (fresh)
            file.addComment("Velor Studio's settings. Edit them here or with \"velor settings\".");
        for (const auto& [name, value] : changes) {
            if (value)
                file.set(name, codec_.print(name, *value));
            else
                file.remove(name);
        }
        const std::string text = file.print();
        if (text.size() > SettingsFile::kMostBytes)
            return fail(SettingsFile::kTooLarge);
        std::error_code ignored;  // a folder that cannot be made shows when the file is
        if (path_.has_parent_path())
            fs::create_directories(path_.parent_path(), ignored);
        const auto output = OutputFile::create(path_);
        if (!output || !output->write({reinterpret_cast<const Byte*>(text.data()), text.size()}) ||
            !output->sync() || !output->commit())
            return fail("Could not write the settings to " + place());
        return true;
    }

    std::string place() const override { return utf8FromPath(path_); }
    std::vector<std::string> warnings() const override { return warnings_; }

  private:
    // No file is an empty one; one that is there but cannot be read is a failure, lest it be replaced.
    bool readFile(SettingsFile& file) const {
        std::error_code error;
        if (!fs::exists(path_, error) && !error)
            return true;
        const auto stored = File::open(path_);
        if (!stored)
            return fail("Could not read the settings in " + place());
        if (stored->size() > SettingsFile::kMostBytes)
            return fail(SettingsFile::kTooLarge);
        std::string text(static_cast<std::size_t>(stored->size()), '\0');
        if (!stored->read(0, {reinterpret_cast<Byte*>(text.data()), text.size()}))
            return fail("Could not read the settings in " + place());
        return file.parse(text);
    }

    fs::path path_;
    SettingTextCodec codec_;
    std::vector<std::string> warnings_;
};

}  // namespace

std::unique_ptr<SettingsBackend> fileSettings(const fs::path& path, const SettingTextCodec& codec) {
    return std::make_unique<FileSettings>(path, codec);
}

std::unique_ptr<SettingsBackend> userSettings(const SettingTextCodec& codec) {
    const std::string named = environmentVariable("VELOR_SETTINGS");
    return named.empty() ? systemSettings(codec) : fileSettings(pathFromUtf8(named), codec);
}

}  // namespace velor
