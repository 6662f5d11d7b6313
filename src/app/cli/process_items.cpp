#include "app/cli/process_items.h"

#include <algorithm>
#include <cmath>

#include "app/cli/arguments.h"
#include "base/error.h"
#include "base/text.h"
#include "dsp/editable_samples.h"

namespace velor::cli {

namespace {

bool parsePlace(std::string_view text, FramePlace& place) {
    static constexpr struct {
        std::string_view ending;
        FramePlace::Unit unit;
    } kUnits[] = {{"ms", FramePlace::Unit::Milliseconds},
                  {"s", FramePlace::Unit::Seconds},
                  {"%", FramePlace::Unit::Percent},
                  {"", FramePlace::Unit::Frames}};
    text = trim(text);
    for (const auto& unit : kUnits) {
        if (!text.ends_with(unit.ending))
            continue;
        place.unit = unit.unit;
        return parseNumber(trim(text.substr(0, text.size() - unit.ending.size())), place.value) &&
               std::isfinite(place.value) && place.value >= 0;
    }
    return false;
}

std::uint32_t frameOf(const FramePlace& place, const Waveform& waveform) {
    double frame = place.value;
    if (place.unit == FramePlace::Unit::Seconds)
        frame *= waveform.sampleRate;
    else if (place.unit == FramePlace::Unit::Milliseconds)
        frame *= waveform.sampleRate / 1000.0;
    else if (place.unit == FramePlace::Unit::Percent)
        frame *= waveform.frames / 100.0;
    return static_cast<std::uint32_t>(
        std::clamp(std::round(frame), 0.0, static_cast<double>(waveform.frames)));
}

// The items that --only can name.
std::vector<Item*> nameable(Collection& collection, ProcessFlavour flavour) {
    static constexpr ItemKind kKinds[] = {ItemKind::Waveform, ItemKind::MidiSong, ItemKind::Instrument};
    std::vector<Item*> items;
    for (const ItemId id : collection.list(kKinds[static_cast<std::size_t>(flavour)]))
        items.push_back(collection.find(id));
    return items;
}

bool chooseNamed(const std::vector<Item*>& items, const std::string& wanted, std::vector<ItemId>& chosen) {
    long long number = 0;
    if (wanted.starts_with('#') && parseInteger(std::string_view(wanted).substr(1), number)) {
        if (number < 1 || static_cast<std::size_t>(number) > items.size())
            return fail(formatText("there is no item %s; there are %zu", wanted.c_str(), items.size()));
        chosen.push_back(items[static_cast<std::size_t>(number) - 1]->id());
        return true;
    }
    const std::size_t before = chosen.size();
    std::vector<std::string> names;
    for (const Item* item : items) {
        names.push_back(displayText(item->name()));
        if (equalNoCase(names.back(), wanted))
            chosen.push_back(item->id());
    }
    return chosen.size() > before || fail(unknownName("item", wanted, names));
}

const char* workedOn(ProcessFlavour flavour) {
    switch (flavour) {
        case ProcessFlavour::Midi:
            return "MIDI song";
        case ProcessFlavour::Instrument:
            return "instrument";
        case ProcessFlavour::Audio:
            break;
    }
    return "waveform";
}

// Why a process whose availability test failed is not offered.
bool failNotOffered(const ProcessRow& row, const ProcessContext& context) {
    const std::string name = "\"" + std::string(row.name) + "\"";
    if ((row.flags & kWorksOnSelection) && !context.selection)
        return fail(name + " works on a range of a waveform; say which with --select FROM:TO");
    return fail(name + " finds nothing here that it works on");
}

}  // namespace

std::string parseRange(std::string_view text, RangeChoice& range) {
    const std::size_t colon = text.find(':');
    const std::string_view first = text.substr(0, colon);
    const std::string_view end = colon == std::string_view::npos ? first : text.substr(colon + 1);
    const bool good =
        (trim(first).empty() ? colon != std::string_view::npos : parsePlace(first, range.first)) &&
        (trim(end).empty() || parsePlace(end, range.end));
    return good ? std::string()
                : "--select takes FROM:TO in frames, or with s, ms or % behind the numbers, not \"" +
                      std::string(text) + "\"";
}

bool processItems(Collection& collection, const ProcessRequest& request, UserInterface& ui,
                  ProcessResult& result) {
    const ProcessRow& row = *request.process.row;
    result.name = row.name;
    result.measuresOnly = row.process->measures;
    std::vector<ItemId> selected;
    if (request.only.empty()) {
        selected.push_back(collection.id());
    } else {
        const std::vector<Item*> items = nameable(collection, request.process.flavour);
        for (const std::string& wanted : request.only) {
            if (!chooseNamed(items, wanted, selected))
                return false;
        }
    }
    ProcessContext context = processContext(request.process.flavour, collection, selected);
    context.naming = request.naming;
    if (context.items.empty() ||
        (request.process.flavour == ProcessFlavour::Instrument && collection.empty()))
        return fail(std::string("holds no ") + workedOn(request.process.flavour) + " to process");
    if (request.selection) {
        const std::vector<Waveform*> waveforms = context.waveforms();
        if (waveforms.size() != 1)
            return fail(
                formatText("--select works on a single waveform and there are %zu; choose one with --only",
                           waveforms.size()));
        const std::uint32_t first = frameOf(request.selection->first, *waveforms[0]);
        const std::uint32_t end = frameOf(request.selection->end, *waveforms[0]);
        if (end < first)
            return fail("the end of --select lies before its beginning");
        context.selection = FrameSelection{first, end};
    }
    if (!row.available(context))
        return failNotOffered(row, context);
    result.ran = true;
    const CollectionState before(collection, request.naming);
    result.run = runProcess(row, context, request.settings, ui);
    result.changes = before.changesTo(CollectionState(collection, request.naming));
    if (result.run.cancelled)
        return fail(kProcessingCancelled);
    if (result.run.failed > 0 && result.run.failed == result.run.items.size())
        return fail(result.run.items.size() == 1 ? result.run.items[0].error
                                                 : formatText("all %zu items failed: ", result.run.failed) +
                                                       result.run.items[0].error);
    return true;
}

}  // namespace velor::cli
