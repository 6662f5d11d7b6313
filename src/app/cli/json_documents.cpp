// The only file that sees nlohmann-json.
#include "app/cli/json_documents.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

#include "app/cli/convert_types.h"
#include "app/cli/file_report.h"
#include "app/cli/process_manual.h"
#include "app/cli/process_report.h"
#include "base/error.h"
#include "base/text.h"
#include "items/articulation_text.h"
#include "items/collection.h"

namespace velor::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string textOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string hexId(ItemId id) {
    return formatText("%08x", static_cast<unsigned>(id.value));
}

// The decimal number that the float was meant as: 0.1, not 0.10000000149011612.
Json number(float value) {
    if (!std::isfinite(value))
        return nullptr;
    if (value == std::floor(value) && std::abs(value) < 1e9f)
        return static_cast<std::int64_t>(value);
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    double decimal = static_cast<double>(value);
    if (error == std::errc())
        std::from_chars(digits, end, decimal);
    return decimal;
}

// Frame positions are whole numbers unless they carry a fraction.
Json position(double value) {
    if (value >= 0 && value < 9007199254740992.0 && value == std::floor(value))
        return static_cast<std::uint64_t>(value);
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

// What is set, as plain numbers by name, and the units of these numbers by the same names.
void addArticulation(Json& json, const Articulation& articulation) {
    Json values = Json::object();
    Json units = Json::object();
    for (const auto& [parameter, value] : articulation.entries()) {
        const std::string name = uniqueParameterName(parameter);
        values[name] = number(value);
        units[name] = parameterUnit(parameter);
    }
    json["articulation"] = std::move(values);
    json["articulationUnits"] = std::move(units);
}

void addWaveform(Json& json, const Waveform& wave) {
    json["frames"] = wave.frames;
    json["rate"] = wave.sampleRate;
    json["channels"] = wave.channels;
    json["bits"] = wave.bits;
    json["format"] = sampleFormatName(wave.format);
    json["encoding"] = encodingName(wave.sourceEncoding());
    json["rootKey"] = wave.rootKey;
    json["fineTune"] = number(wave.tuningCents());
    json["gain"] = number(wave.gain);
    json["loop"] = {{"mode", loopModeName(wave.looped ? wave.loopMode : LoopMode::None)},
                    {"start", position(wave.loopStart)},
                    {"end", position(wave.loopEnd)},
                    {"untilRelease", wave.loopUntilRelease}};
    Json texts = Json::object();
    for (std::size_t i = 0; i < kWaveTexts; ++i)
        texts[waveTextName(static_cast<WaveText>(i))] = displayText(wave.texts[i]);
    json["texts"] = std::move(texts);
}

void addRegion(Json& json, const Region& region) {
    json["keyLow"] = region.keys.low;
    json["keyHigh"] = region.keys.high;
    json["velocityLow"] = region.velocities.low;
    json["velocityHigh"] = region.velocities.high;
    const RegionOverrides& own = region.overrides;
    Json overrides = Json::object();
    if (own.has(RegionOverrides::RootKey))
        overrides["rootKey"] = own.rootKey;
    if (own.has(RegionOverrides::Looped))
        overrides["looped"] = own.looped;
    if (own.has(RegionOverrides::LoopModeFlag))
        overrides["loopMode"] = loopModeName(own.loopMode);
    if (own.has(RegionOverrides::LoopStart))
        overrides["loopStart"] = own.loopStart;
    if (own.has(RegionOverrides::LoopEnd))
        overrides["loopEnd"] = own.loopEnd;
    if (own.has(RegionOverrides::Tuning))
        overrides["tuning"] = number(own.tuning);
    json["overrides"] = std::move(overrides);
    const ItemId wave = region.links.firstOf(ItemKind::Waveform);
    json["waveform"] = wave ? Json(hexId(wave)) : Json(nullptr);
    addArticulation(json, region.articulation);
}

Json itemObject(const Item& item, const NoteNaming& naming) {
    Json json;
    json["id"] = hexId(item.id());
    json["kind"] = kindName(item.kind());
    json["name"] = displayText(item.name());
    json["summary"] = displayText(item.summary(naming));
    Json links = Json::array();
    for (const ItemId link : item.links)
        links.push_back(hexId(link));
    json["links"] = std::move(links);
    switch (item.kind()) {
        case ItemKind::Waveform:
            addWaveform(json, static_cast<const Waveform&>(item));
            break;
        case ItemKind::Region:
            addRegion(json, static_cast<const Region&>(item));
            break;
        case ItemKind::Layer:
            addArticulation(json, static_cast<const Layer&>(item).articulation);
            break;
        case ItemKind::Instrument: {
            const auto& instrument = static_cast<const Instrument&>(item);
            json["patch"] = {{"program", instrument.patch.program()},
                             {"bankLsb", instrument.patch.bankLsb()},
                             {"bankMsb", instrument.patch.bankMsb()},
                             {"drum", instrument.patch.drum()}};
            addArticulation(json, instrument.articulation);
            break;
        }
        case ItemKind::MidiSong: {
            const auto& song = static_cast<const MidiSong&>(item);
            json["format"] = song.format;
            json["division"] = song.division;
            json["texts"] = {{"artist", displayText(song.artist)},
                             {"product", displayText(song.product)},
                             {"copyright", displayText(song.copyright)},
                             {"comment", displayText(song.comment)},
                             {"engineer", displayText(song.engineer)}};
            break;
        }
        case ItemKind::MidiTrack: {
            const auto& track = static_cast<const MidiTrack&>(item);
            json["port"] = track.port;
            json["channel"] = track.channel;
            json["sequence"] = track.sequenceNumber;
            json["events"] = track.eventCount;
            json["bytes"] = track.events.size();
            break;
        }
        case ItemKind::SynthModel:
            json["model"] = static_cast<const SynthModel&>(item).modelName();
            break;
        case ItemKind::Collection:
            break;
    }
    return json;
}

Json reportHead(const FileReport& report) {
    Json json;
    json["path"] = displayText(report.path);
    json["ok"] = report.ok;
    json["error"] = displayText(report.error);
    json["row"] = report.type.row;
    json["description"] =
        report.type.row < 0 ? std::string("Unknown file type") : std::string(rowDescription(report.type.row));
    json["confidence"] = report.type.confidence;
    return json;
}

Json displayed(const std::vector<std::string>& texts) {
    Json list = Json::array();
    for (const std::string& text : texts)
        list.push_back(displayText(text));
    return list;
}

}  // namespace

void JsonListDocument::addField(std::string_view name, long long value) {
    fields_ += ",\"" + std::string(name) + "\":" + std::to_string(value);
}

void JsonListDocument::addField(std::string_view name, bool value) {
    fields_ += ",\"" + std::string(name) + "\":" + (value ? "true" : "false");
}

void JsonListDocument::add(std::string_view object) {
    objects_ += objects_.empty() ? "\n" : ",\n";
    objects_ += object;
}

std::string JsonListDocument::text() const {
    return "{\"version\":1" + fields_ + ",\"" + name_ + "\":[" + objects_ + (objects_.empty() ? "" : "\n") +
           "]}\n";
}

std::string progressLine(std::string_view event, std::string_view file, std::size_t index, std::size_t count,
                         double share) {
    Json json;
    json["event"] = event;
    json["file"] = displayText(file);
    json["index"] = index + 1;
    json["count"] = count;
    json["share"] = std::round(share * 1000) / 1000;
    return textOf(json) + '\n';
}

std::string formatObject(int row) {
    const FormatEntry& entry = *formatRow(row);
    Json kinds = Json::array();
    for (int kind = 0; kind < kItemKinds; ++kind) {
        if (entry.kinds & kindBit(static_cast<ItemKind>(kind)))
            kinds.push_back(kindName(static_cast<ItemKind>(kind)));
    }
    Json json;
    json["index"] = row;
    json["extension"] = entry.extension;
    json["description"] = entry.description;
    json["reads"] = entry.read != nullptr;
    json["writes"] = entry.write != nullptr;
    json["kinds"] = std::move(kinds);
    json["flags"] = entry.flags;
    json["variant"] = entry.variant;
    json["generic"] = usesGenericProbe(row);
    json["readBuilt"] = readerBuilt(row);
    json["writeBuilt"] = writerBuilt(row);
    return textOf(json);
}

std::string infoObject(const FileReport& report, const Collection* collection, const NoteNaming& naming) {
    Json json = reportHead(report);
    json["warnings"] = displayed(report.warnings);
    Json items = Json::array();
    if (collection) {
        for (const ItemKind kind :
             {ItemKind::Instrument, ItemKind::Layer, ItemKind::Region, ItemKind::SynthModel,
              ItemKind::Waveform, ItemKind::MidiSong, ItemKind::MidiTrack}) {
            for (const ItemId id : collection->list(kind)) {
                if (const Item* item = collection->find(id))
                    items.push_back(itemObject(*item, naming));
            }
        }
    }
    json["items"] = std::move(items);
    return textOf(json);
}

std::string identifyObject(const FileReport& report, bool explained,
                           const std::vector<IdentificationCandidate>& candidates) {
    Json json = reportHead(report);
    if (explained) {
        Json list = Json::array();
        for (const IdentificationCandidate& each : candidates)
            list.push_back({{"row", each.row},
                            {"extension", rowExtension(each.row)},
                            {"description", rowDescription(each.row)},
                            {"score", each.score},
                            {"extensionMatches", each.extensionMatches}});
        json["candidates"] = std::move(list);
    }
    return textOf(json);
}

std::string settingObject(std::string_view key, std::string_view value, std::string_view standard,
                          std::string_view meaning) {
    Json json;
    json["key"] = key;
    json["value"] = displayText(value);
    json["default"] = displayText(standard);
    json["changed"] = value != standard;
    json["meaning"] = meaning;
    return textOf(json);
}

namespace {

const char* const kValueKinds[] = {"switch", "whole", "number", "choice", "key", "text", "waveform"};

Json parameterObject(const ProcessParameter& parameter) {
    Json json;
    json["key"] = parameter.key;
    json["label"] = parameter.label;
    json["kind"] = kValueKinds[static_cast<std::size_t>(parameter.kind)];
    json["unit"] = parameter.unit;
    json["default"] = defaultText(parameter, {});
    if (parameter.kind == ProcessValueKind::Choice) {
        json["choices"] = Json::array();
        for (const std::string_view word : split(parameter.words, '|'))
            json["choices"].push_back(std::string(word));
    } else if (parameter.kind == ProcessValueKind::Number || parameter.kind == ProcessValueKind::Whole ||
               parameter.kind == ProcessValueKind::Key) {
        json["minimum"] = parameter.least;
        json["maximum"] = parameter.most;
    }
    json["help"] = parameter.help;
    return json;
}

constexpr const char* kOutcomes[] = {"unchanged", "changed", "failed"};
constexpr const char* kChanges[] = {"changed", "added", "removed"};

// The place of a word in one of these lists; 0 for any other word.
template <std::size_t N>
std::size_t placeOf(const char* const (&words)[N], const std::string& word) {
    const auto found = std::find(std::begin(words), std::end(words), word);
    return found == std::end(words) ? 0 : static_cast<std::size_t>(found - std::begin(words));
}

ItemId idFromHex(const std::string& text) {
    return ItemId(static_cast<std::uint32_t>(std::stoul(text, nullptr, 16)));
}

Json processedObject(const ProcessResult& result) {
    Json items = Json::array();
    for (const ProcessItemReport& item : result.run.items) {
        Json values = Json::array();
        for (const ProcessMeasure& measure : item.measures) {
            Json value{{"name", displayText(measure.what)}};
            if (!measure.text.empty())
                value["text"] = displayText(measure.text);
            else if (std::isfinite(measure.value))
                value["value"] = measure.value;
            else {
                value["value"] = nullptr;
                if (std::isinf(measure.value))
                    value["text"] = measureText(measure);
            }
            value["unit"] = measure.unit;
            values.push_back(std::move(value));
        }
        items.push_back(
            {{"id", hexId(item.id)},
             {"kind", item.id.kind() == ItemKind::Collection ? "Collection" : kindName(item.id.kind())},
             {"name", displayText(item.name)},
             {"result", kOutcomes[static_cast<std::size_t>(item.outcome)]},
             {"error", displayText(item.error)},
             {"values", std::move(values)}});
    }
    Json changes = Json::array();
    for (const ItemChange& change : result.changes) {
        Json fields = Json::array();
        for (const FieldChange& field : change.fields)
            fields.push_back(
                {{"field", field.what}, {"from", displayText(field.from)}, {"to", displayText(field.to)}});
        changes.push_back({{"id", hexId(change.id)},
                           {"kind", kindName(change.id.kind())},
                           {"name", displayText(change.name)},
                           {"change", kChanges[static_cast<std::size_t>(change.kind)]},
                           {"fields", std::move(fields)}});
    }
    Json json;
    json["name"] = result.name;
    json["measures"] = result.measuresOnly;
    json["message"] = result.run.message;
    json["changed"] = result.run.changed;
    json["failed"] = result.run.failed;
    json["items"] = std::move(items);
    json["changes"] = std::move(changes);
    return json;
}

// The inverse. Throws for anything else.
ProcessResult processedFrom(const Json& json) {
    const auto text = [](const Json& from, const char* key) { return from.at(key).get<std::string>(); };
    ProcessResult result;
    result.ran = true;
    result.name = text(json, "name");
    result.measuresOnly = json.at("measures").get<bool>();
    result.run.message = text(json, "message");
    result.run.changed = json.at("changed").get<std::size_t>();
    result.run.failed = json.at("failed").get<std::size_t>();
    for (const Json& each : json.at("items")) {
        ProcessItemReport& item = result.run.items.emplace_back();
        item.id = idFromHex(text(each, "id"));
        item.name = text(each, "name");
        item.outcome = static_cast<ProcessOutcome>(placeOf(kOutcomes, text(each, "result")));
        item.error = text(each, "error");
        for (const Json& value : each.at("values")) {
            ProcessMeasure& measure = item.measures.emplace_back();
            measure.what = text(value, "name");
            measure.unit = text(value, "unit");
            const std::string shown = value.value("text", std::string());
            if (!value.contains("value"))
                measure.text = shown;
            else if (value.at("value").is_number())
                measure.value = value.at("value").get<double>();
            else
                measure.value = shown.empty()            ? std::nan("")
                                : shown.starts_with('-') ? -std::numeric_limits<double>::infinity()
                                                         : std::numeric_limits<double>::infinity();
        }
    }
    for (const Json& each : json.at("changes")) {
        ItemChange& change = result.changes.emplace_back();
        change.id = idFromHex(text(each, "id"));
        change.name = text(each, "name");
        change.kind = static_cast<ItemChange::Kind>(placeOf(kChanges, text(each, "change")));
        for (const Json& field : each.at("fields"))
            change.fields.push_back({text(field, "field"), text(field, "from"), text(field, "to")});
    }
    return result;
}

}  // namespace

std::string processObject(ProcessFlavour flavour, const ProcessRow& row) {
    Json json;
    json["name"] = row.name;
    json["word"] = processWord(row);
    json["catalogue"] = flavourWord(flavour);
    json["built"] = processBuilt(row);
    json["measures"] = row.process->measures;
    json["worksOnSelection"] = (row.flags & kWorksOnSelection) != 0;
    json["offered"] = std::string(offeredFor(row));
    json["help"] = row.process->help;
    json["settings"] = Json::array();
    for (const ProcessParameter& parameter : row.process->parameters)
        json["settings"].push_back(parameterObject(parameter));
    return textOf(json);
}

std::string convertObject(const ConvertResult& result) {
    Json outputs = Json::array();
    Json targets = Json::array();
    for (const ConvertTarget& target : result.targets) {
        outputs.push_back(displayText(target.path));
        targets.push_back({{"path", displayText(target.path)},
                           {"item", displayText(target.item)},
                           {"row", target.row},
                           {"description", rowDescription(target.row)},
                           {"encoding", target.encoding},
                           {"channels", target.channels}});
    }
    Json json;
    json["input"] = displayText(result.input);
    json["outputs"] = std::move(outputs);
    json["ok"] = result.ok;
    json["skipped"] = result.skipped;
    json["error"] = displayText(result.error);
    json["warnings"] = displayed(result.warnings);
    json["targets"] = std::move(targets);
    json["reason"] = displayText(result.skipReason);
    json["interrupted"] = result.interrupted;
    if (result.process.ran)
        json["process"] = processedObject(result.process);
    return textOf(json);
}

bool convertResultFromText(std::string_view text, ConvertResult& result) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object())
        return false;
    try {
        result = {};
        result.input = json.at("input").get<std::string>();
        result.ok = json.at("ok").get<bool>();
        result.skipped = json.at("skipped").get<bool>();
        result.interrupted = json.at("interrupted").get<bool>();
        result.error = json.at("error").get<std::string>();
        result.skipReason = json.at("reason").get<std::string>();
        result.warnings = json.at("warnings").get<std::vector<std::string>>();
        for (const Json& each : json.at("targets")) {
            ConvertTarget target;
            target.path = each.at("path").get<std::string>();
            target.item = each.at("item").get<std::string>();
            target.row = each.at("row").get<int>();
            target.encoding = each.at("encoding").get<std::string>();
            target.channels = each.at("channels").get<int>();
            result.targets.push_back(std::move(target));
        }
        if (json.contains("process"))
            result.process = processedFrom(json.at("process"));
        return true;
    } catch (const std::exception&) {  // of the JSON library, or for a number that is none
        return false;
    }
}

}  // namespace velor::cli
