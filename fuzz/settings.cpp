// Hostile settings files: what is read must print and read back the same, and changing one value must leave
// all others alone.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "app/settings_commands.h"
#include "platform/settings_file.h"

namespace {

using namespace velor;

// A violated promise ends the run with the input that broke it.
void require(bool held) {
    if (!held)
        std::abort();
}

std::map<std::string, std::string, SettingNameLess> valuesOf(const SettingsFile& file) {
    std::map<std::string, std::string, SettingNameLess> values;
    for (const SettingsFile::Entry& entry : file.entries())
        values[entry.name] = entry.value;
    return values;
}

// A back end over the text of a settings file.
class TextSettings : public SettingsBackend {
  public:
    explicit TextSettings(std::string_view text) { valid_ = file_.parse(text); }

    bool read(SettingValues& values) override {
        for (const SettingsFile::Entry& entry : file_.entries()) {
            SettingValue value;
            if (codec_.parse(entry.name, entry.value, value))
                values[entry.name] = value;
        }
        return valid_;
    }
    bool write(const SettingChanges& changes) override {
        for (const auto& [name, value] : changes) {
            if (value)
                file_.set(name, codec_.print(name, *value));
            else
                file_.remove(name);
        }
        return valid_;
    }
    std::string place() const override { return "text"; }
    std::string print() const { return file_.print(); }

  private:
    SettingsFile file_;
    SettingTextCodec codec_ = settingTextCodec();
    bool valid_ = false;
};

void checkFile(std::string_view text) {
    SettingsFile file;
    if (!file.parse(text))
        return;
    const std::string printed = file.print();
    SettingsFile again;
    require(again.parse(printed) && again.print() == printed);
    const auto values = valuesOf(file);
    require(valuesOf(again) == values);

    // Every value survives being written anew, and only the named one changes.
    for (const auto& [name, value] : values) {
        again.set(name, "");
        again.set(name, value);
    }
    SettingsFile rewritten;
    require(rewritten.parse(again.print()) && valuesOf(rewritten) == values);
    rewritten.set("new.name", text);
    require(valuesOf(rewritten)["new.name"] == text);
    rewritten.remove("new.name");
    for (const auto& [name, value] : valuesOf(rewritten))
        require(values.at(name) == value);
}

void checkStore(std::string_view text) {
    TextSettings backend(text);
    SettingsStore store;
    if (!store.load(backend))
        return;
    require(store.save(backend));
    TextSettings saved(backend.print());
    SettingsStore again;
    require(again.load(saved));
    require(listSettings(again, false) == listSettings(store, false));
    // A listing is a settings file.
    TextSettings listed(listSettings(store, false));
    SettingsStore third;
    require(third.load(listed) && listSettings(third, true) == listSettings(store, true));
    for (const SettingRow& row : settingRows())
        if (row.list)
            require(splitList(joinList(store.getList(row.name))) == store.getList(row.name));
    store.secondPaneWidth();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkFile(text);
    checkStore(text);
    return 0;
}
