#include "app/settings.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>

#include "base/error.h"
#include "platform/file.h"
#include "platform/folders.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kPaneWidth = "app.iPaneSplitL";
constexpr std::int64_t kLeastSecondPane = 520;

// The row of a name that stands in the code.
const SettingRow& known(std::string_view name) {
    const SettingRow* row = lookUpSetting(name);
    assert(row && "a setting that is not in the table");
    return row ? *row : settingRows().front();
}

std::size_t indexOf(const SettingRow& row) {
    return static_cast<std::size_t>(&row - settingRows().data());
}

bool isBank(const fs::path& path) {
    const std::string extension = lowerAscii(utf8FromPath(path.extension()));
    return extension == ".sf2" || extension == ".sf3" || extension == ".dls";
}

}  // namespace

SettingsStore::SettingsStore() : stored_(settingRows().size()) {
    resetAll();
}

bool SettingsStore::load(SettingsBackend& backend) {
    resetAll();
    stored_.assign(settingRows().size(), std::nullopt);
    upgraded_ = false;
    SettingValues found;
    const bool readable = backend.read(found);
    warnings_ = backend.warnings();
    if (!readable)
        return false;
    for (const SettingRow& row : settingRows()) {
        const auto value = found.find(row.name);
        if (value == found.end())
            continue;
        stored_[indexOf(row)] = value->second;
        if (fitsSetting(row, value->second))
            slot(row) = value->second;
        else
            warnings_.push_back(backend.place() + ": " + std::string(row.name) + " is not " +
                                expectedText(row) + "; its default is taken");
    }
    if (getNumber(kPaneWidth) <= kNoPaneWidth)
        reset(kPaneWidth);
    // Versions compare as text, as they always have here.
    const std::string version = getText("VersionNumber");
    if (version < kVersion) {
        upgraded_ = version != known("VersionNumber").defaultValue;
        setText("VersionNumber", kVersion);
    }
    return true;
}

bool SettingsStore::save(SettingsBackend& backend) {
    SettingChanges changes;
    for (const SettingRow& row : settingRows()) {
        const std::optional<SettingValue>& before = stored_[indexOf(row)];
        if (isDefault(row)) {
            if (before && *before != value(row))
                changes.emplace(row.name, std::nullopt);
        } else if (!before || *before != value(row)) {
            changes.emplace(row.name, value(row));
        }
    }
    if (!changes.empty() && !backend.write(changes))
        return false;
    for (const auto& [name, change] : changes)
        stored_[indexOf(known(name))] = change;
    return true;
}

const SettingValue& SettingsStore::value(const SettingRow& row) const {
    return values_[indexOf(row)];
}

SettingValue& SettingsStore::slot(const SettingRow& row) {
    return values_[indexOf(row)];
}

bool SettingsStore::isDefault(const SettingRow& row) const {
    return printSetting(row, value(row)) == printSetting(row, defaultSetting(row));
}

void SettingsStore::resetAll() {
    values_.clear();
    for (const SettingRow& row : settingRows())
        values_.push_back(defaultSetting(row));
}

bool SettingsStore::reset(std::string_view name) {
    const SettingRow* row = findSetting(name);
    if (!row)
        return false;
    slot(*row) = defaultSetting(*row);
    return true;
}

std::optional<std::string> SettingsStore::print(std::string_view name) const {
    const SettingRow* row = findSetting(name);
    if (!row)
        return std::nullopt;
    return printSetting(*row, value(*row));
}

bool SettingsStore::parse(std::string_view name, std::string_view text) {
    const SettingRow* row = findSetting(name);
    return row && parseSetting(*row, text, slot(*row));
}

bool SettingsStore::put(std::string_view name, SettingValue newValue) {
    const SettingRow* row = lookUpSetting(name);
    assert(row && "a setting that is not in the table");
    if (!row)
        return false;
    if (!fitsSetting(*row, newValue))
        return fail(std::string(row->name) + " expects " + expectedText(*row));
    slot(*row) = std::move(newValue);
    return true;
}

bool SettingsStore::getBool(std::string_view name) const {
    return getNumber(name) != 0;
}

std::int64_t SettingsStore::getNumber(std::string_view name) const {
    const SettingRow& row = known(name);
    if (const auto* number = std::get_if<std::uint32_t>(&value(row))) {
        assert(row.type != SettingType::Float);
        return row.type == SettingType::Signed ? std::int64_t{static_cast<std::int32_t>(*number)} : *number;
    }
    const auto* bytes = std::get_if<std::vector<Byte>>(&value(row));
    assert(bytes && bytes->size() == 1 && "not one number");
    return bytes && bytes->size() == 1 ? bytes->front() : 0;
}

float SettingsStore::getFloat(std::string_view name) const {
    const SettingRow& row = known(name);
    const auto* bits = std::get_if<std::uint32_t>(&value(row));
    assert(bits && row.type == SettingType::Float);
    return bits && row.type == SettingType::Float ? std::bit_cast<float>(*bits) : 0.0F;
}

std::string SettingsStore::getText(std::string_view name) const {
    const SettingRow& row = known(name);
    assert(row.type == SettingType::Chars || row.type == SettingType::Text ||
           row.type == SettingType::WideText);
    return printSetting(row, value(row));
}

std::vector<Byte> SettingsStore::getBytes(std::string_view name) const {
    const auto* bytes = std::get_if<std::vector<Byte>>(&value(known(name)));
    assert(bytes && "not a binary setting");
    return bytes ? *bytes : std::vector<Byte>();
}

std::vector<std::int64_t> SettingsStore::getNumbers(std::string_view name) const {
    const SettingRow& row = known(name);
    const std::vector<Byte> bytes = getBytes(name);
    std::vector<std::int64_t> numbers;
    if (row.type == SettingType::Words)
        for (std::size_t at = 0; at + 2 <= bytes.size(); at += 2)
            numbers.push_back(loadLe<std::uint16_t>(&bytes[at]));
    else
        for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4)
            numbers.push_back(loadLe<std::int32_t>(&bytes[at]));
    return numbers;
}

std::vector<std::string> SettingsStore::getList(std::string_view name) const {
    assert(known(name).list);
    return splitList(getText(name));
}

bool SettingsStore::setBool(std::string_view name, bool newValue) {
    return put(name, std::vector<Byte>{static_cast<Byte>(newValue)});
}

bool SettingsStore::setNumber(std::string_view name, std::int64_t newValue) {
    return parse(name, std::to_string(newValue));
}

bool SettingsStore::setFloat(std::string_view name, float newValue) {
    assert(known(name).type == SettingType::Float);
    return std::isfinite(newValue) ? put(name, std::bit_cast<std::uint32_t>(newValue))
                                   : fail(std::string(name) + " expects a finite number");
}

bool SettingsStore::setText(std::string_view name, std::string_view newValue) {
    return parse(name, newValue);
}

bool SettingsStore::setBytes(std::string_view name, std::span<const Byte> newValue) {
    return put(name, std::vector<Byte>(newValue.begin(), newValue.end()));
}

bool SettingsStore::setNumbers(std::string_view name, std::span<const std::int64_t> newValues) {
    std::string text;
    for (const std::int64_t number : newValues)
        (text += text.empty() ? "" : ",") += std::to_string(number);
    return parse(name, text);
}

bool SettingsStore::setList(std::string_view name, const std::vector<std::string>& entries) {
    const SettingRow& row = known(name);
    std::vector<std::string> fitting = entries;
    while (row.size != 0 && !fitting.empty() && joinList(fitting).size() > row.size)
        fitting.pop_back();
    return setText(name, joinList(fitting));
}

bool SettingsStore::addRecent(std::string_view name, const std::string& entry, std::size_t most) {
    std::vector<std::string> entries = getList(name);
    std::erase(entries, entry);
    entries.insert(entries.begin(), entry);
    entries.resize(std::min(entries.size(), most));
    return setList(name, entries);
}

LoadOptions SettingsStore::loadOptions() const {
    LoadOptions options;
    options.confirm = getBool("load.bConfirm");
    options.autoSplitStereo = getBool("load.bAutoSplitStereo");
    options.autoMergeStereo = getBool("load.bAutoMergeStereo");
    options.autoCompactLayers = getBool("load.bAutoCompactLayers");
    options.autoRemoveDupWaves = getBool("load.bAutoRemoveDupWaves");
    options.autoMoveArticulation = getBool("load.bAutoMoveArticulation");
    options.autoMoveTriggerParams = getBool("load.bAutoMoveTriggerParams");
    options.autoAppend32 = getBool("load.bAutoAppend32");
    options.autoBid2Fwd = getBool("load.bAutoBid2Fwd");
    options.autoSortColl = getBool("load.bAutoSortColl");
    options.autoSortWaves = getBool("load.bAutoSortWaves");
    options.ensureUniqueNames = getBool("load.bEnsureUniqueNames");
    return options;
}

NoteNaming SettingsStore::noteNaming() const {
    return {getBool("app.bShowNoteNames"), static_cast<int>(getNumber("app.cOctMidC"))};
}

std::string SettingsStore::gmBank() const {
    const std::string named = getText("mid2wav.wszGMBank");
    return named.empty() ? defaultGmBank() : named;
}

int SettingsStore::secondPaneWidth() const {
    const std::int64_t width = getNumber(kPaneWidth) + kNoPaneWidth;
    return static_cast<int>(
        std::clamp<std::int64_t>(width, kLeastSecondPane, std::numeric_limits<int>::max()));
}

fs::path findGmBank(std::span<const fs::path> folders) {
    for (const fs::path& folder : folders) {
        std::vector<fs::path> banks;
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code ignored;
            if (isBank(entry->path()) && entry->is_regular_file(ignored))
                banks.push_back(entry->path());
        }
        const auto rank = [](const fs::path& bank) {
            const std::string name = utf8FromPath(bank.stem());
            return containsNoCase(name, "default") ? 0 : containsNoCase(name, "gm") ? 1 : 2;
        };
        const auto best = std::ranges::min_element(banks, [&](const fs::path& a, const fs::path& b) {
            return rank(a) != rank(b) ? rank(a) < rank(b) : a.filename() < b.filename();
        });
        if (best != banks.end())
            return *best;
    }
    return {};
}

std::string defaultGmBank() {
    const fs::path system = systemFolder();
    if (!system.empty())
        return utf8FromPath(system / "drivers" / "gm.dls");
    std::vector<fs::path> folders;
    for (const fs::path& base : {dataFolder(), fs::path("/usr/local/share"), fs::path("/usr/share")})
        for (const char* name : {"sounds/sf2", "soundfonts", "sounds/sf3"})
            folders.push_back(base / name);
    return utf8FromPath(findGmBank(folders));
}

std::unique_ptr<SettingsBackend> openSettings() {
    return userSettings(settingTextCodec());
}

}  // namespace velor
