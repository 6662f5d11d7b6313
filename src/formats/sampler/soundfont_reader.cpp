#include "formats/sampler/soundfont_reader.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "base/error.h"
#include "formats/sampler/soundfont_samples.h"
#include "formats/sampler/soundfont_zones.h"

namespace velor {

namespace {

namespace gen = generator;

// The largest banks have some ten thousand. A small file can ask for millions: every preset may name every
// instrument.
constexpr std::size_t kMostRegions = 1u << 17;

// What a region wants of its waveform, until all waveforms that are needed are known.
struct Use {
    Region* region = nullptr;
    std::uint32_t sample = 0;
    std::uint64_t start = 0;  // points of the sample chunk
    std::uint64_t end = 0;
    std::int64_t loopStart = 0;
    std::int64_t loopEnd = 0;
    int rootKey = -1;
    bool loops = false;
    bool untilRelease = false;
};

// A part of a sample, and the waveforms that show it. Two when some regions leave its loop at the release and
// others do not: that is no setting of a region.
struct Part {
    Waveform* plain = nullptr;
    Waveform* untilRelease = nullptr;
    const Use* firstLoop = nullptr;
    const Use* firstLoopUntilRelease = nullptr;
};

struct Loop {
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    bool sound = false;
};

// Loop points of the sample chunk as frames of a waveform that starts at `first`. An end behind the last
// frame, which old editors wrote, is the last frame's end.
Loop loopIn(std::int64_t start, std::int64_t end, std::int64_t first, const Waveform& waveform) {
    start -= first;
    end = std::min<std::int64_t>(end - first, waveform.frames);
    if (start < 0 || end <= start)
        return {};
    return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end), true};
}

class BankReader {
  public:
    BankReader(Collection& collection, const OpenFile& file, const SoundFontRecords& records)
        : collection_(collection), file_(file), records_(records), zones_(records) {}

    void read() {
        for (std::size_t i = 0; i < records_.presets.headers.size() && !full(); ++i)
            readPreset(i);
        makeWaveforms();
        for (const Use& use : uses_)
            connect(use);
        warn();
    }

  private:
    bool full() const { return uses_.size() >= kMostRegions; }

    static PatchNumber patchOf(const SoundFontLevel::Header& preset) {
        constexpr unsigned kDrums = 128;
        if (preset.bank == kDrums)
            return {preset.program, 0, 0, true};
        // Banks beyond the standard's 128 hold both halves of the bank number.
        if (preset.bank > kDrums)
            return {preset.program, preset.bank & 127u, preset.bank >> 7 & 127u, false};
        return {preset.program, 0, preset.bank, false};
    }

    void readPreset(std::size_t index) {
        const SoundFontLevel::Header& header = records_.presets.headers[index];
        auto* instrument = collection_.create<Instrument>(header.name);
        instrument->patch = patchOf(header);
        for (const SoundFontPart& zone : zones_.ofPreset(index)) {
            if (zone.target >= records_.instruments.headers.size()) {
                ++wrongTargets_;
                continue;
            }
            Layer* layer = nullptr;
            for (const SoundFontPart& part : zones_.ofInstrument(zone.target)) {
                Region* region = full() ? nullptr : readRegion(zone, part);
                if (!region)
                    continue;
                if (!layer) {
                    layer = collection_.create<Layer>(records_.instruments.headers[zone.target].name);
                    instrument->links.add(layer->id());
                }
                layer->links.add(region->id());
            }
        }
    }

    static bool intersect(MidiRange a, MidiRange b, MidiRange& both) {
        both = {std::max(a.low, b.low), std::min(a.high, b.high)};
        return both.low <= both.high;
    }

    // nullptr when the region would never sound.
    Region* readRegion(const SoundFontPart& zone, const SoundFontPart& part) {
        MidiRange keys, velocities;
        if (!intersect(zone.keys, part.keys, keys) ||
            !intersect(zone.velocities, part.velocities, velocities))
            return nullptr;
        if (part.target >= records_.samples.size()) {
            ++wrongTargets_;
            return nullptr;
        }
        const SoundFontSample& sample = records_.samples[part.target];
        if (sample.rom()) {
            ++romRegions_;
            return nullptr;
        }
        BankVoice voice;
        voice.values = joinedValues(zone, part);
        joinModulators(zone, part, modulations_);
        const double ownRoot = voice.values[gen::RootKey];
        voice.rootKey = ownRoot >= 0 ? static_cast<int>(ownRoot) : sample.rootKey;
        foldTuning(voice);
        // The hardware that the format was made for plays 4 dB for every 10 of this generator, and banks are
        // balanced by ear on it or on players that do the same.
        voice.attenuationShare = 0.4;
        auto* region = collection_.create<Region>(sample.name);
        region->keys = keys;
        region->velocities = velocities;
        setBankArticulation(voice, modulations_, region->articulation, limited_);
        uses_.push_back(useOf(region, part, sample, voice.rootKey));
        return region;
    }

    // A fine offset and one in steps of 32768 points.
    static std::int64_t offset(const SoundFontPart& part, gen::Number fine, gen::Number coarse) {
        return part.values[fine] + std::int64_t{part.values[coarse]} * 32768;
    }

    Use useOf(Region* region, const SoundFontPart& part, const SoundFontSample& sample, int rootKey) const {
        Use use;
        use.region = region;
        use.sample = part.target;
        use.rootKey = rootKey;
        const int mode = part.values[gen::SampleModes] & 3;
        use.loops = mode == 1 || mode == 3;
        use.untilRelease = mode == 3;
        const std::int64_t loopStart = offset(part, gen::LoopStartOffset, gen::LoopStartCoarseOffset);
        const std::int64_t loopEnd = offset(part, gen::LoopEndOffset, gen::LoopEndCoarseOffset);
        use.loopStart = sample.loopStart + loopStart;
        use.loopEnd = sample.loopEnd + loopEnd;
        use.start = sample.start;
        use.end = sample.end;
        if (!sample.compressed()) {
            const auto points = static_cast<std::int64_t>(records_.sampleBytes / 2);
            const auto place = [points](std::int64_t point) {
                return static_cast<std::uint64_t>(std::clamp<std::int64_t>(point, 0, points));
            };
            use.start = place(sample.start + offset(part, gen::StartOffset, gen::StartCoarseOffset));
            use.end = place(sample.end + offset(part, gen::EndOffset, gen::EndCoarseOffset));
        }
        return use;
    }

    using PartKey = std::tuple<std::uint32_t, std::uint64_t, std::uint64_t>;  // sample, start, end

    // Loop points of compressed samples count from the sample's own first frame.
    std::int64_t loopOrigin(const SoundFontSample& sample, std::uint64_t start) const {
        return sample.compressed() ? 0 : static_cast<std::int64_t>(start);
    }

    void makeWaveforms() {
        for (std::uint32_t i = 0; i < records_.samples.size(); ++i) {
            const SoundFontSample& sample = records_.samples[i];
            if (!sample.rom()) {
                const std::uint64_t points = sample.compressed() ? UINT32_MAX : records_.sampleBytes / 2;
                parts_[{i, std::min<std::uint64_t>(sample.start, points),
                        std::min<std::uint64_t>(sample.end, points)}] = {};
            }
            compressed_ = compressed_ || sample.compressed();
        }
        for (const Use& use : uses_) {
            Part& part = parts_[{use.sample, use.start, use.end}];
            if (use.loops) {
                const Use*& first = use.untilRelease ? part.firstLoopUntilRelease : part.firstLoop;
                if (!first)
                    first = &use;
            }
        }
        for (auto& [key, part] : parts_) {
            if (part.firstLoop || !part.firstLoopUntilRelease)
                part.plain = makeWaveform(key, part.firstLoop);
            if (part.firstLoopUntilRelease) {
                part.untilRelease = makeWaveform(key, part.firstLoopUntilRelease);
                part.untilRelease->loopUntilRelease = true;
            }
        }
    }

    Waveform* makeWaveform(const PartKey& key, const Use* looping) {
        const auto [index, start, end] = key;
        const SoundFontSample& sample = records_.samples[index];
        auto* waveform = collection_.create<Waveform>(sample.name);
        waveform->sourceFile = sourceFile_;
        waveform->sampleRate = sample.rate ? sample.rate : 44100;
        waveform->rootKey = sample.rootKey;
        waveform->fineTune = sample.correction;
        attachSoundFontSamples(*waveform, file_.input, records_, sample.compressed(), start, end);
        empty_ += waveform->frames == 0 && !sample.compressed();
        const std::int64_t origin = loopOrigin(sample, start);
        Loop loop = loopIn(sample.loopStart, sample.loopEnd, origin, *waveform);
        if (!loop.sound && looping)
            loop = loopIn(looping->loopStart, looping->loopEnd, origin, *waveform);
        if (looping && loop.sound)
            waveform->setLoop(LoopMode::Forward, loop.start, loop.end);
        return waveform;
    }

    // Gives the region its waveform, and what it does not share with the others that play it.
    void connect(const Use& use) {
        const Part& part = parts_.at({use.sample, use.start, use.end});
        Waveform& waveform = *(use.untilRelease || !part.plain ? part.untilRelease : part.plain);
        use.region->links.add(waveform.id());
        RegionOverrides& own = use.region->overrides;
        const auto take = [&own](RegionOverrides::Flag flag, auto& field, auto value, bool differs) {
            if (differs) {
                own.flags |= flag;
                field = value;
            }
        };
        take(RegionOverrides::RootKey, own.rootKey, static_cast<std::uint8_t>(std::max(use.rootKey, 0)),
             use.rootKey >= 0 && use.rootKey != waveform.rootKey);
        const Loop loop =
            loopIn(use.loopStart, use.loopEnd, loopOrigin(records_.samples[use.sample], use.start), waveform);
        const bool loops = use.loops && loop.sound;
        brokenLoops_ += use.loops && !loop.sound && waveform.frames > 0;
        take(RegionOverrides::Looped, own.looped, loops, loops != waveform.looped);
        take(RegionOverrides::LoopStart, own.loopStart, loop.start,
             loops && loop.start != waveform.loopStart);
        take(RegionOverrides::LoopEnd, own.loopEnd, loop.end, loops && loop.end != waveform.loopEnd);
    }

    void warn() const {
        const auto say = [this](std::size_t count, const char* one, const char* many) {
            if (count == 1)
                file_.warn(one);
            else if (count > 1)
                file_.warn(formatText(many, static_cast<int>(count)));
        };
        if (full())
            file_.warn(formatText("The bank has more than %d regions - the rest is left out",
                                  static_cast<int>(kMostRegions)));
        if (compressed_)
            file_.warn(
                "The samples of this bank are compressed with Ogg Vorbis, which this build cannot "
                "decode - instruments and key maps are read",
                "smpl", records_.samplePosition);
        say(wrongTargets_, "1 zone names an instrument or sample that does not exist and is left out",
            "%d zones name an instrument or sample that does not exist and are left out");
        say(romRegions_, "1 region plays a sample of a sound card's ROM and is left out",
            "%d regions play samples of a sound card's ROM and are left out");
        say(empty_, "1 sample has no data in the file", "%d samples have no data in the file");
        say(brokenLoops_, "1 region has a loop outside of its sample and plays without it",
            "%d regions have a loop outside of their sample and play without it");
        say(zones_.unplayedModulators(), "1 modulator has no counterpart and is not played",
            "%d modulators have no counterpart and are not played");
        say(zones_.straightenedModulators(), "1 modulator with a curve is played as a straight line",
            "%d modulators with a curve are played as straight lines");
        if (const std::string text = limitedValuesText(limited_); !text.empty())
            file_.warn(text);
    }

    Collection& collection_;
    const OpenFile& file_;
    const SoundFontRecords& records_;
    SoundFontZones zones_;
    std::string sourceFile_ = utf8FromPath(file_.path);
    std::vector<Use> uses_;
    std::map<PartKey, Part> parts_;
    std::vector<BankModulation> modulations_;
    std::size_t wrongTargets_ = 0, romRegions_ = 0, empty_ = 0, brokenLoops_ = 0;
    LimitedValues limited_{};
    bool compressed_ = false;
};

}  // namespace

namespace {

bool readForm(Collection& collection, const OpenFile& file, std::uint64_t begin, std::uint64_t end,
              std::string& name) {
    SoundFontRecords records;
    if (!readSoundFontRecords(file, begin, end, records))
        return false;
    if (records.majorVersion == 1)
        return fail("Reading SoundFont version 1 banks is not supported in this build");
    name = records.name;
    BankReader(collection, file, records).read();
    return true;
}

}  // namespace

bool readSoundFont(Collection& collection, OpenFile& file, std::uint32_t) {
    std::string name;
    if (!readForm(collection, file, 0, file.size(), name))
        return false;
    if (!name.empty())
        collection.setName(name);
    return true;
}

bool readSoundFontForm(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t fileSize = file.size();
    offset = std::min(offset, fileSize);
    std::string name;
    return readForm(collection, file, offset, offset + std::min(size, fileSize - offset), name);
}

}  // namespace velor
