#include "app/cli/info_text.h"

#include <cmath>

#include "app/cli/terminal_interface.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/framework/format_table.h"
#include "items/articulation_text.h"
#include "items/midi_timeline.h"
#include "items/region_parameters.h"

namespace velor::cli {

namespace {

constexpr std::size_t kLineWidth = 110;  // of the settings of a level

class TextTree {
  public:
    TextTree(const Collection& collection, const NoteNaming& naming, bool tree, bool settings)
        : collection_(collection), naming_(naming), tree_(tree), settings_(settings) {}

    std::string text() {
        addAll<Instrument>();
        addAll<Waveform>();
        addAll<MidiSong>();
        if (tree_)
            addAll<SynthModel>();
        return std::move(text_);
    }

  private:
    // Numbers are those that "convert --item #N" takes: by kind, from 1.
    template <typename T>
    void addAll() {
        std::size_t number = 0;
        for (const T* item : collection_.all<T>()) {
            if (!item)
                continue;
            addLine(*item, 1, formatText("#%zu ", ++number));
            addDetails(*item);
        }
    }

    void addLine(const Item& item, int depth, const std::string& before = {}) {
        text_.append(static_cast<std::size_t>(depth) * 2, ' ');
        text_ += before + displayText(item.name()) + ": " + displayText(item.summary(naming_)) + '\n';
    }

    void addDetail(const std::string& line, int depth = 3) {
        if (line.empty())
            return;
        text_.append(static_cast<std::size_t>(depth) * 2, ' ');
        text_ += line + '\n';
    }

    // What a level sets, with units, in as few lines as they take.
    void addSettings(const Articulation& articulation, int depth, const Region* region = nullptr) {
        if (!settings_)
            return;
        std::vector<std::string> settings;
        for (const auto& [number, value] : articulation.entries())
            addSetting(settings, number, static_cast<double>(value));
        for (const RegionParameterRow& row : regionParameterRows()) {
            double value = 0;
            if (region && !Articulation::holds(row.number) && regionParameter(*region, row.number, value))
                addSetting(settings, row.number, value);
        }
        std::string line = settings.empty() ? "" : "sets ";
        const std::size_t room = kLineWidth - 2 * static_cast<std::size_t>(depth);
        for (std::size_t i = 0; i < settings.size(); ++i) {
            std::string setting = settings[i] + (i + 1 < settings.size() ? ", " : "");
            if (line.size() + setting.size() > room && line.find_first_not_of(' ') != std::string::npos) {
                addDetail(line.substr(0, line.find_last_not_of(' ') + 1), depth);
                line.assign(5, ' ');  // below what follows "sets "
            }
            line += setting;
        }
        addDetail(line, depth);
    }

    void addSetting(std::vector<std::string>& settings, std::uint16_t number, double value) const {
        settings.push_back(uniqueParameterName(number) + ' ' + parameterText(number, value, naming_));
    }

    void addTexts(std::initializer_list<std::pair<const char*, const std::string*>> texts) {
        for (const auto& [name, value] : texts) {
            if (value->empty())
                continue;
            // One line each, however long a comment is.
            std::string line = displayText(*value);
            for (char& c : line) {
                if (static_cast<unsigned char>(c) < 0x20)
                    c = ' ';
            }
            addDetail(std::string(name) + ": " + line);
        }
    }

    static std::string frameText(double position) {
        return position == std::floor(position) ? formatText("%.0f", position) : formatText("%.4f", position);
    }

    void addDetails(const Waveform& wave) {
        std::string line(encodingName(wave.sourceEncoding()));
        line += ", root key " + noteName(wave.rootKey, naming_);
        if (wave.tuningCents() != 0)
            line += formatText(", tuned %+g cents", static_cast<double>(wave.tuningCents()));
        if (wave.gain != 0)
            line += formatText(", gain %+g dB", static_cast<double>(wave.gain));
        addDetail(line);
        if (wave.looped)
            addDetail(std::string("loop ") + loopModeName(wave.loopMode) + ", frames " +
                      frameText(wave.loopStart) + " to " + frameText(wave.loopEnd) +
                      (wave.loopUntilRelease ? ", until release" : ""));
        addTexts({{"artist", &wave.text(WaveText::Artist)},
                  {"product", &wave.text(WaveText::Product)},
                  {"copyright", &wave.text(WaveText::Copyright)},
                  {"comment", &wave.text(WaveText::Comment)},
                  {"engineer", &wave.text(WaveText::Engineer)}});
    }

    void addDetails(const Instrument& instrument) {
        if (!tree_)
            return;
        addSettings(instrument.articulation, 2);
        for (const ItemId layerId : instrument.links) {
            const Layer* layer = collection_.find<Layer>(layerId);
            if (!layer)
                continue;
            addLine(*layer, 2);
            addSettings(layer->articulation, 3);
            for (const ItemId regionId : layer->links) {
                const Region* region = collection_.find<Region>(regionId);
                if (!region)
                    continue;
                addLine(*region, 3);
                if (const Waveform* wave = region->waveform())
                    addDetail("plays " + displayText(wave->name()), 4);
                addSettings(region->articulation, 4, region);
            }
        }
    }

    void addDetails(const MidiSong& song) {
        addDetail(formatText("format %d, ", song.format) + divisionText(song.division) + ", " +
                  timeText(songSeconds(song)) + ", " + notesText(song));
        addTexts({{"artist", &song.artist},
                  {"product", &song.product},
                  {"copyright", &song.copyright},
                  {"comment", &song.comment},
                  {"engineer", &song.engineer}});
        if (!tree_)
            return;
        for (const ItemId id : song.links) {
            if (const MidiTrack* track = collection_.find<MidiTrack>(id)) {
                addLine(*track, 2);
                addDetail(placeText(*track), 4);
            }
        }
    }

    static std::string divisionText(std::uint16_t division) {
        if (!(division & 0x8000))
            return formatText("%d ticks per quarter note", division);
        return formatText("%d frames per second of %d ticks", 256 - (division >> 8), division & 0xFF);
    }

    std::string notesText(const MidiSong& song) const {
        unsigned long long notes = 0;
        for (const ItemId id : song.links) {
            if (const MidiTrack* track = collection_.find<MidiTrack>(id))
                notes += countMidiEvents(track->events).notes;
        }
        return formatText("%llu note%s", notes, pluralSuffix(notes));
    }

    // What a track says of itself; port and channel as musicians count them.
    static std::string placeText(const MidiTrack& track) {
        std::string text;
        const auto add = [&text](const char* name, std::int32_t number) {
            text += (text.empty() ? "" : ", ") + formatText("%s %d", name, static_cast<int>(number));
        };
        if (track.port >= 0)
            add("port", track.port + 1);
        if (track.channel >= 0)
            add("channel", track.channel + 1);
        if (track.sequenceNumber >= 0)
            add("sequence", track.sequenceNumber);
        return text;
    }

    void addDetails(const SynthModel&) {}

    const Collection& collection_;
    const NoteNaming& naming_;
    bool tree_;
    bool settings_;
    std::string text_;
};

}  // namespace

std::string typeText(const FileReport& report) {
    if (report.type.row < 0)
        return "Unknown file type";
    std::string text(rowDescription(report.type.row));
    if (report.type.confidence > 0)
        text += formatText(" (%d %%)", report.type.confidence);
    return text;
}

std::string infoText(const FileReport& report, const Collection* collection, const NoteNaming& naming,
                     bool tree, bool settings) {
    std::string text = displayText(report.path) + ": " + typeText(report) + '\n';
    if (!collection)
        return text;
    text += TextTree(*collection, naming, tree, settings).text();
    for (const std::string& warning : report.warnings)
        text += "  " + labelledWarning(displayText(warning)) + '\n';
    return text;
}

}  // namespace velor::cli
