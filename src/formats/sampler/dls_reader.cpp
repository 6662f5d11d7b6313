#include "formats/sampler/dls_reader.h"

#include <algorithm>
#include <optional>
#include <set>

#include "base/error.h"
#include "formats/core/wave_reader.h"
#include "formats/sampler/dls_condition.h"
#include "formats/sampler/dls_connections.h"
#include "formats/sampler/dls_wave_sample.h"
#include "formats/sampler/riff_chunks.h"

namespace velor {

namespace {

constexpr std::size_t kMostChunkBytes = 1u << 16;  // of the small chunks that are read whole

// What a region wants of its wave, until the waves are read.
struct Use {
    Region* region = nullptr;
    std::uint32_t cue = 0;  // index into the pool table
    std::optional<DlsWaveSample> own;
};

// One wave of the pool.
struct PoolWave {
    Waveform* waveform = nullptr;
    std::optional<DlsWaveSample> own;
};

class DlsReader {
  public:
    DlsReader(Collection& collection, OpenFile& file) : collection_(collection), file_(file) {}

    bool read(std::uint64_t begin, std::uint64_t end) {
        RiffChunks outer(input(), begin, end);
        RiffChunk riff;
        if (!outer.next(riff) || riff.id != fourCc("RIFF") ||
            (riff.form != fourCc("DLS ") && riff.form != fourCc("MLS ")))
            return fail("Not a DLS bank");
        bool any = false;
        RiffChunks chunks(input(), riff);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.isList(fourCc("lins"))) {
                readInstruments(chunk);
                any = true;
            } else if (chunk.isList(fourCc("wvpl"))) {
                pool_ = chunk;
                any = true;
            } else if (chunk.id == fourCc("ptbl")) {
                readPoolTable(chunk);
            } else if (chunk.isList(fourCc("INFO"))) {
                if (const std::string name = nameIn(chunk); !name.empty())
                    bankName_ = name;
            }
        }
        if (!any)
            return fail("The DLS bank has no instruments and no waves: the file is cut short or damaged");
        if (outer.truncated() || chunks.truncated())
            file_.warn("The bank is cut short - will read what there is", "RIFF", begin);
        readPool();
        settleWaves();
        for (const Use& use : uses_)
            connect(use);
        warn();
        return true;
    }

    const std::string& bankName() const { return bankName_; }

  private:
    const File& input() const { return *file_.input; }

    std::string nameIn(const RiffChunk& info) const {
        RiffChunks chunks(input(), info);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.id == fourCc("INAM"))
                return readChunkText(input(), chunk);
        }
        return {};
    }

    // False when a condition in the list says that it is not for us.
    bool applies(const RiffChunk& list) const {
        RiffChunks chunks(input(), list);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.id == fourCc("cdl ") &&
                !evaluateDlsCondition(readChunk(input(), chunk, kMostChunkBytes)))
                return false;
        }
        return true;
    }

    // "lart" or "lar2"; files of either level have been seen with the other's chunks.
    void readArticulation(const RiffChunk& list, DlsConnections& to) {
        if (!applies(list))
            return;
        RiffChunks chunks(input(), list);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.id != fourCc("art1") && chunk.id != fourCc("art2"))
                continue;
            DlsConnections found;
            addDlsConnections(readChunk(input(), chunk, kMostChunkBytes), chunk.id == fourCc("art1"), found);
            for (const DlsConnection& connection : found) {
                const ModulationFit fit = dlsConnectionFit(connection);
                unplayed_ += fit == ModulationFit::None && connection.scale != 0;
                straightened_ += fit == ModulationFit::Straightened && connection.scale != 0;
            }
            addDlsConnections(found, to);
        }
    }

    static bool isArticulation(const RiffChunk& chunk) {
        return chunk.isList(fourCc("lart")) || chunk.isList(fourCc("lar2"));
    }

    void readInstruments(const RiffChunk& list) {
        RiffChunks chunks(input(), list);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.isList(fourCc("ins ")) && applies(chunk))
                readInstrument(chunk);
        }
    }

    void readInstrument(const RiffChunk& list) {
        constexpr std::uint32_t kDrums = 0x80000000;
        auto* instrument = collection_.create<Instrument>("Instrument");
        DlsConnections connections = defaultDlsConnections();
        std::vector<RiffChunk> regionLists;
        RiffChunks chunks(input(), list);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.id == fourCc("insh")) {
                const auto bytes = readChunk(input(), chunk, 12);
                ByteReader reader(bytes);
                reader.skip(4);  // regions
                const std::uint32_t bank = reader.u32();
                const std::uint32_t program = reader.u32();
                instrument->patch =
                    PatchNumber(program & 127, bank & 127, bank >> 8 & 127, (bank & kDrums) != 0);
            } else if (isArticulation(chunk)) {
                readArticulation(chunk, connections);
            } else if (chunk.isList(fourCc("lrgn"))) {
                regionLists.push_back(chunk);
            } else if (chunk.isList(fourCc("INFO"))) {
                if (const std::string name = nameIn(chunk); !name.empty())
                    instrument->setName(name);
            }
        }
        Layer* layer = nullptr;
        for (const RiffChunk& regions : regionLists) {
            RiffChunks each(input(), regions);
            while (each.next(chunk)) {
                if (!chunk.isList(fourCc("rgn ")) && !chunk.isList(fourCc("rgn2")))
                    continue;
                Region* region = applies(chunk) ? readRegion(chunk, connections) : nullptr;
                if (!region)
                    continue;
                if (!layer) {
                    layer = collection_.create<Layer>(instrument->name());
                    instrument->links.add(layer->id());
                }
                layer->links.add(region->id());
            }
        }
    }

    // nullptr when it has no keys or plays no wave.
    Region* readRegion(const RiffChunk& list, const DlsConnections& instrument) {
        constexpr std::uint16_t kMultiChannel = 2;
        constexpr std::uint32_t kLeft = 1, kRight = 2;
        MidiRange keys, velocities;
        std::uint16_t keyGroup = 0;
        double pan = 0;  // tenths of a percent
        bool sounds = false, linked = false;
        Use use;
        DlsConnections connections = instrument;
        RiffChunks chunks(input(), list);
        RiffChunk chunk;
        while (chunks.next(chunk)) {
            if (chunk.id == fourCc("rgnh")) {
                const auto bytes = readChunk(input(), chunk, 14);
                ByteReader reader(bytes);
                const std::uint16_t lowKey = reader.u16(), highKey = reader.u16();
                const std::uint16_t lowVelocity = reader.u16(), highVelocity = reader.u16();
                reader.skip(2);  // whether a note cuts off its own repetition
                keyGroup = reader.u16();
                keys = rangeOf(lowKey, highKey);
                // Level 1 has no velocity ranges, and some of its writers left the field empty.
                velocities = highVelocity == 0 ? MidiRange{} : rangeOf(lowVelocity, highVelocity);
                sounds = lowKey <= highKey && lowKey <= 127 && velocities.low <= velocities.high;
            } else if (chunk.id == fourCc("wsmp")) {
                DlsWaveSample sample;
                if (parseDlsWaveSample(readChunk(input(), chunk, kMostChunkBytes), sample))
                    use.own = sample;
            } else if (chunk.id == fourCc("wlnk")) {
                const auto bytes = readChunk(input(), chunk, 12);
                ByteReader reader(bytes);
                const std::uint16_t options = reader.u16();
                reader.skip(2);  // phase group
                const std::uint32_t channel = reader.u32();
                use.cue = reader.u32();
                linked = reader.ok();
                if (options & kMultiChannel)
                    pan = channel == kLeft ? -500 : channel == kRight ? 500 : 0;
            } else if (isArticulation(chunk)) {
                readArticulation(chunk, connections);
            }
        }
        missingWaves_ += sounds && !linked;
        if (!sounds || !linked)
            return nullptr;
        use.region = collection_.create<Region>("Region");
        use.region->keys = keys;
        use.region->velocities = velocities;
        BankVoice voice;
        applyDlsConnections(connections, voice, modulations_);
        voice.values[generator::Pan] = std::clamp(voice.values[generator::Pan] + pan, -500.0, 500.0);
        voice.values[generator::ExclusiveClass] = keyGroup;
        setBankArticulation(voice, modulations_, use.region->articulation, limited_);
        uses_.push_back(use);
        return use.region;
    }

    static MidiRange rangeOf(std::uint16_t low, std::uint16_t high) {
        return {static_cast<std::uint8_t>(std::min<int>(low, 127)),
                static_cast<std::uint8_t>(std::min<int>(high, 127))};
    }

    void readPoolTable(const RiffChunk& chunk) {
        const auto bytes = readChunk(input(), chunk, static_cast<std::size_t>(chunk.size()));
        ByteReader reader(bytes);
        const std::uint32_t headerSize = reader.u32();
        const std::uint32_t cues = reader.u32();
        if (headerSize > reader.position() && headerSize <= bytes.size())
            reader.seek(headerSize);
        for (std::uint32_t i = 0; i < cues && reader.remaining() >= 4; ++i)
            cues_.push_back(reader.u32());
    }

    void readPool() {
        RiffChunks chunks(input(), pool_);
        RiffChunk chunk;
        std::size_t damaged = 0;
        while (pool_.size() > 0 && chunks.next(chunk)) {
            if (!chunk.isList(fourCc("wave")))
                continue;
            PoolWave wave;
            wave.own = waveSampleIn(chunk);
            const std::string name = "Wave " + std::to_string(waves_.size() + 1);
            if (!readWaveImage(collection_, file_, chunk.payload, chunk.end, name, wave.waveform))
                ++damaged;
            waves_.push_back(wave);
            offsets_.push_back(chunk.start - pool_.payload);
        }
        if (damaged > 0)
            file_.warn(formatText("%d wave%s of the pool can not be read: %s", static_cast<int>(damaged),
                                  pluralSuffix(damaged), LastErrorText.c_str()),
                       "wvpl", pool_.start);
    }

    std::optional<DlsWaveSample> waveSampleIn(const RiffChunk& wave) const {
        RiffChunks chunks(input(), wave);
        RiffChunk chunk;
        DlsWaveSample sample;
        while (chunks.next(chunk)) {
            if (chunk.id == fourCc("wsmp") &&
                parseDlsWaveSample(readChunk(input(), chunk, kMostChunkBytes), sample))
                return sample;
        }
        return std::nullopt;
    }

    // The wave of an entry of the pool table; without a table they count in order.
    PoolWave* waveOf(std::uint32_t cue) {
        if (cues_.empty())
            return cue < waves_.size() && waves_[cue].waveform ? &waves_[cue] : nullptr;
        if (cue >= cues_.size())
            return nullptr;
        const auto found = std::lower_bound(offsets_.begin(), offsets_.end(), cues_[cue]);
        if (found == offsets_.end() || *found != cues_[cue])
            return nullptr;
        PoolWave& wave = waves_[static_cast<std::size_t>(found - offsets_.begin())];
        return wave.waveform ? &wave : nullptr;
    }

    // Many banks keep keys and loops in the regions only; a wave that says nothing of its own takes those of
    // the first region that plays it.
    void settleWaves() {
        std::set<Waveform*> heldLoops, plainLoops;
        for (const Use& use : uses_) {
            PoolWave* wave = waveOf(use.cue);
            if (!wave)
                continue;
            Waveform& waveform = *wave->waveform;
            if (use.own && !wave->own) {
                wave->own = use.own;
                wave->own->gain = 0;
                wave->own->looped = false;
                waveform.rootKey = use.own->rootKey;
                waveform.fineTune = static_cast<std::int8_t>(std::clamp<int>(use.own->fineTune, -128, 127));
                waveform.tuning = static_cast<float>(use.own->fineTune - waveform.fineTune) / 100.0f;
            }
            const DlsWaveSample& sample = use.own ? *use.own : wave->own.value_or(DlsWaveSample{});
            if (!loops(sample, waveform))
                continue;
            if (!waveform.looped)
                waveform.setLoop(LoopMode::Forward, sample.loopStart, sample.loopEnd);
            (sample.untilRelease ? heldLoops : plainLoops).insert(&waveform);
        }
        for (Waveform* waveform : heldLoops) {
            mixedLoops_ += plainLoops.contains(waveform);
            waveform->loopUntilRelease = !plainLoops.contains(waveform);
        }
    }

    static bool loops(const DlsWaveSample& sample, const Waveform& waveform) {
        return sample.looped && sample.loopStart < std::min(sample.loopEnd, waveform.frames);
    }

    // Gives the region its waveform and what differs from it.
    void connect(const Use& use) {
        const PoolWave* wave = waveOf(use.cue);
        if (!wave) {
            ++missingWaves_;
            return;
        }
        const Waveform& waveform = *wave->waveform;
        Region& region = *use.region;
        region.links.add(waveform.id());
        region.setName(waveform.name());
        const DlsWaveSample sample = use.own ? *use.own : wave->own.value_or(DlsWaveSample{});
        RegionOverrides& own = region.overrides;
        const auto take = [&own](RegionOverrides::Flag flag, auto& field, auto value, bool differs) {
            if (differs) {
                own.flags |= flag;
                field = value;
            }
        };
        if (use.own) {
            take(RegionOverrides::RootKey, own.rootKey, sample.rootKey, sample.rootKey != waveform.rootKey);
            take(RegionOverrides::Tuning, own.tuning, static_cast<float>(sample.fineTune),
                 static_cast<float>(sample.fineTune) != waveform.tuningCents());
            // The region's gain counts instead of the wave's.
            const double gain = sample.gain - static_cast<double>(waveform.gain);
            if (gain != 0) {
                Articulation& articulation = region.articulation;
                articulation.set(parameter::MasterVolume,
                                 static_cast<float>(std::clamp(
                                     static_cast<double>(articulation.get(parameter::MasterVolume, 0)) + gain,
                                     -96.0, 96.0)));
            }
        }
        const bool looped = loops(sample, waveform);
        take(RegionOverrides::Looped, own.looped, looped, looped != waveform.looped);
        const std::uint32_t loopEnd = std::min(sample.loopEnd, waveform.frames);
        take(RegionOverrides::LoopStart, own.loopStart, sample.loopStart,
             looped && sample.loopStart != waveform.loopStart);
        take(RegionOverrides::LoopEnd, own.loopEnd, loopEnd, looped && loopEnd != waveform.loopEnd);
    }

    void warn() const {
        const auto say = [this](std::size_t count, const char* one, const char* many) {
            if (count == 1)
                file_.warn(one);
            else if (count > 1)
                file_.warn(formatText(many, static_cast<int>(count)));
        };
        say(missingWaves_, "1 region plays a wave that is not in the bank",
            "%d regions play waves that are not in the bank");
        say(mixedLoops_, "1 wave is looped until release by some regions only; it is looped without end",
            "%d waves are looped until release by some regions only; they are looped without end");
        say(unplayed_, "1 connection has no counterpart and is not played",
            "%d connections have no counterpart and are not played");
        say(straightened_, "1 connection with a curve is played as a straight line",
            "%d connections with a curve are played as straight lines");
        if (const std::string text = limitedValuesText(limited_); !text.empty())
            file_.warn(text);
    }

    Collection& collection_;
    OpenFile& file_;
    std::string bankName_;
    RiffChunk pool_;
    std::vector<std::uint32_t> cues_;
    std::vector<PoolWave> waves_;
    std::vector<std::uint64_t> offsets_;  // of the waves in the pool, ascending
    std::vector<Use> uses_;
    std::vector<BankModulation> modulations_;
    std::size_t missingWaves_ = 0, mixedLoops_ = 0, unplayed_ = 0, straightened_ = 0;
    LimitedValues limited_{};
};

}  // namespace

bool readDls(Collection& collection, OpenFile& file, std::uint32_t) {
    DlsReader reader(collection, file);
    if (!reader.read(0, file.size()))
        return false;
    if (!reader.bankName().empty())
        collection.setName(reader.bankName());
    return true;
}

bool readDlsForm(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t fileSize = file.size();
    offset = std::min(offset, fileSize);
    return DlsReader(collection, file).read(offset, offset + std::min(size, fileSize - offset));
}

}  // namespace velor
