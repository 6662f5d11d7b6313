#include "app/processing/parameters.h"

#include <cassert>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "items/note_names.h"

namespace velor {

namespace {

// Up to six significant digits, without trailing zeros.
std::string numberText(double value) {
    return formatText("%.10g", value);
}

std::string shown(const ProcessParameter& parameter, double value, const NoteNaming& naming) {
    switch (parameter.kind) {
        case ProcessValueKind::Choice: {
            const std::vector<std::string_view> words = split(parameter.words, '|');
            const auto index = static_cast<std::size_t>(value);
            return index < words.size() ? std::string(words[index]) : std::string();
        }
        case ProcessValueKind::Key:
            return noteName(static_cast<std::uint8_t>(value), naming);
        default:
            return numberText(value);
    }
}

std::string withUnit(std::string text, const ProcessParameter& parameter) {
    return *parameter.unit ? text + ' ' + parameter.unit : text;
}

// The number in front of an optional unit; false when there is anything else.
bool readNumber(std::string_view text, const ProcessParameter& parameter, double& value) {
    text = trim(text);
    const std::string_view unit = parameter.unit;
    if (!unit.empty() && text.size() > unit.size() &&
        equalNoCase(text.substr(text.size() - unit.size()), unit))
        text = trim(text.substr(0, text.size() - unit.size()));
    return parseNumber(text, value) && std::isfinite(value);
}

bool readSwitch(std::string_view text, double& value) {
    for (const char* word : {"0", "no", "off", "false"}) {
        if (equalNoCase(text, word)) {
            value = 0;
            return true;
        }
    }
    for (const char* word : {"1", "yes", "on", "true", ""}) {
        if (equalNoCase(text, word)) {
            value = 1;
            return true;
        }
    }
    return false;
}

std::string nearest(std::string_view what, std::string_view name, const std::vector<std::string>& names) {
    std::string message = "unknown " + std::string(what) + " \"" + std::string(name) + "\"";
    std::string list;
    for (const std::string& each : nearestNames(name, names))
        list += (list.empty() ? "" : ", ") + each;
    return list.empty() ? message : message + "; nearest: " + list;
}

}  // namespace

ProcessSettings::ProcessSettings(std::span<const ProcessParameter> parameters, NoteNaming naming)
    : parameters_(parameters), naming_(naming), given_(parameters.size()) {
    for (const ProcessParameter& parameter : parameters) {
        values_.push_back(parameter.standard);
        texts_.emplace_back(parameter.standardText);
    }
}

std::size_t ProcessSettings::indexOf(std::string_view key) const {
    for (std::size_t i = 0; i < parameters_.size(); ++i) {
        if (parameters_[i].key == key)
            return i;
    }
    assert(!"no such parameter");
    return 0;
}

std::string ProcessSettings::set(std::string_view key, std::string_view text) {
    std::size_t index = 0;
    while (index < parameters_.size() && !equalNoCase(parameters_[index].key, key))
        ++index;
    if (index == parameters_.size()) {
        std::vector<std::string> keys;
        for (const ProcessParameter& parameter : parameters_)
            keys.emplace_back(parameter.key);
        return keys.empty() ? "this process has no settings" : nearest("setting", key, keys);
    }
    const ProcessParameter& parameter = parameters_[index];
    const auto wrong = [&] {
        return std::string(parameter.key) + " takes " + rangeText(parameter, naming_) + ", not \"" +
               std::string(text) + "\"";
    };
    double value = 0;
    switch (parameter.kind) {
        case ProcessValueKind::Switch:
            if (!readSwitch(text, value))
                return wrong();
            break;
        case ProcessValueKind::Whole:
            if (!readNumber(text, parameter, value) || value != std::floor(value) ||
                value < parameter.least || value > parameter.most)
                return wrong();
            break;
        case ProcessValueKind::Number:
            if (!readNumber(text, parameter, value) || value < parameter.least || value > parameter.most)
                return wrong();
            break;
        case ProcessValueKind::Choice: {
            const std::vector<std::string_view> words = split(parameter.words, '|');
            std::size_t choice = 0;
            while (choice < words.size() && !equalNoCase(words[choice], text))
                ++choice;
            if (choice == words.size()) {
                std::vector<std::string> names(words.begin(), words.end());
                return nearest("value of " + std::string(parameter.key), text, names);
            }
            value = static_cast<double>(choice);
            break;
        }
        case ProcessValueKind::Key: {
            const auto midiKey = keyFromText(text, naming_);
            if (!midiKey || *midiKey < parameter.least || *midiKey > parameter.most)
                return wrong();
            value = *midiKey;
            break;
        }
        case ProcessValueKind::Text:
        case ProcessValueKind::Wave:
            texts_[index] = text;
            break;
    }
    values_[index] = value;
    given_[index] = true;
    return {};
}

std::string ProcessSettings::setPair(std::string_view pair) {
    const std::size_t equals = pair.find('=');
    if (equals != std::string_view::npos)
        return set(trim(pair.substr(0, equals)), pair.substr(equals + 1));
    for (const ProcessParameter& parameter : parameters_) {
        if (equalNoCase(parameter.key, trim(pair)) && parameter.kind != ProcessValueKind::Switch)
            return std::string(parameter.key) + " needs a value: " + parameter.key + "=VALUE";
    }
    return set(trim(pair), "");
}

std::string ProcessSettings::textOf(std::string_view key) const {
    const std::size_t index = indexOf(key);
    const ProcessValueKind kind = parameters_[index].kind;
    return kind == ProcessValueKind::Text || kind == ProcessValueKind::Wave
               ? texts_[index]
               : shown(parameters_[index], values_[index], naming_);
}

std::string defaultText(const ProcessParameter& parameter, const NoteNaming& naming) {
    if (parameter.kind == ProcessValueKind::Text || parameter.kind == ProcessValueKind::Wave)
        return parameter.standardText;
    return shown(parameter, parameter.standard, naming);
}

std::string rangeText(const ProcessParameter& parameter, const NoteNaming& naming) {
    switch (parameter.kind) {
        case ProcessValueKind::Switch:
            return "0 or 1";
        case ProcessValueKind::Choice: {
            std::string list;
            for (const std::string_view word : split(parameter.words, '|'))
                list += (list.empty() ? "" : ", ") + std::string(word);
            return list;
        }
        case ProcessValueKind::Text:
            return "text";
        case ProcessValueKind::Wave:
            return "a waveform's name, #number or a file";
        case ProcessValueKind::Whole:
        case ProcessValueKind::Number:
        case ProcessValueKind::Key:
            break;
    }
    return (parameter.kind == ProcessValueKind::Whole ? "a whole number from " : "") +
           withUnit(
               shown(parameter, parameter.least, naming) + " to " + shown(parameter, parameter.most, naming),
               parameter);
}

}  // namespace velor
