// Builds small SoundFont and DLS banks byte by byte, apart from the code under test.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "formats/core/chunk_builder.h"
#include "formats/framework/collection_fixture.h"

namespace velor::test {

using Generators = std::vector<std::pair<int, int>>;  // number, amount

struct Modulator {
    unsigned source;
    unsigned destination;
    int amount;
    unsigned amountSource = 0;
    unsigned transform = 0;
};

struct BankZone {
    Generators generators;
    std::vector<Modulator> modulators;
};

inline Bytes padded(const std::string& name, std::size_t width) {
    return Bytes().text(name).resize(width);
}

// A SoundFont 2 bank.
struct SoundFontBuilder {
    struct Preset {
        std::string name;
        unsigned program = 0, bank = 0;
        std::vector<BankZone> zones;
    };
    struct Instrument {
        std::string name;
        std::vector<BankZone> zones;
    };
    struct Sample {
        std::string name;
        unsigned start = 0, end = 100, loopStart = 10, loopEnd = 90, rate = 22050, key = 60;
        int correction = 0;
        unsigned type = 1;
    };

    unsigned major = 2;
    std::vector<Preset> presets;
    std::vector<Instrument> instruments;
    std::vector<Sample> samples{{"sample"}};
    std::vector<int> points = std::vector<int>(200, 0);
    std::vector<unsigned> lowBytes;            // sm24
    std::vector<Modulator> defaultModulators;  // DMOD

    // One preset that plays one instrument that plays sample 0.
    static SoundFontBuilder simple(BankZone preset, BankZone instrument) {
        SoundFontBuilder bank;
        preset.generators.emplace_back(41, 0);
        instrument.generators.emplace_back(53, 0);
        bank.presets = {{"preset", 0, 0, {preset}}};
        bank.instruments = {{"instrument", {instrument}}};
        return bank;
    }

    Bytes build() const {
        Bytes phdr, inst, shdr;
        Level presetLevel, instrumentLevel;
        for (const Preset& preset : presets) {
            phdr.add(padded(preset.name, 20)).u16(preset.program).u16(preset.bank);
            phdr.u16(presetLevel.bags).zeros(12);
            presetLevel.add(preset.zones);
        }
        phdr.add(padded("EOP", 20)).u32(0).u16(presetLevel.bags).zeros(12);
        presetLevel.finish();
        for (const Instrument& instrument : instruments) {
            inst.add(padded(instrument.name, 20)).u16(instrumentLevel.bags);
            instrumentLevel.add(instrument.zones);
        }
        inst.add(padded("EOI", 20)).u16(instrumentLevel.bags);
        instrumentLevel.finish();
        for (const Sample& sample : samples) {
            shdr.add(padded(sample.name, 20)).u32(sample.start).u32(sample.end).u32(sample.loopStart);
            shdr.u32(sample.loopEnd).u32(sample.rate).u8(sample.key);
            shdr.u8(static_cast<unsigned>(sample.correction) & 0xFF).u16(0).u16(sample.type);
        }
        shdr.add(padded("EOS", 20)).zeros(26);

        Bytes smpl, sm24;
        for (const int point : points)
            smpl.u16(static_cast<unsigned>(point) & 0xFFFF);
        for (const unsigned low : lowBytes)
            sm24.u8(low);
        Bytes data = chunk("smpl", smpl);
        if (!lowBytes.empty())
            data.add(chunk("sm24", sm24));
        Bytes info = chunk("ifil", Bytes().u16(major).u16(4)).add(chunk("INAM", Bytes().text("Bank").u16(0)));
        if (!defaultModulators.empty()) {
            Bytes defaults;
            for (const Modulator& each : defaultModulators)
                append(defaults, each);
            info.add(chunk("DMOD", defaults.zeros(10)));
        }
        return riff("sfbk", {list("INFO", {info}), list("sdta", {data}),
                             list("pdta", {chunk("phdr", phdr), chunk("pbag", presetLevel.bag),
                                           chunk("pmod", presetLevel.mod), chunk("pgen", presetLevel.gen),
                                           chunk("inst", inst), chunk("ibag", instrumentLevel.bag),
                                           chunk("imod", instrumentLevel.mod),
                                           chunk("igen", instrumentLevel.gen), chunk("shdr", shdr)})});
    }

  private:
    static void append(Bytes& to, const Modulator& each) {
        to.u16(each.source).u16(each.destination).u16(static_cast<unsigned>(each.amount) & 0xFFFF);
        to.u16(each.amountSource).u16(each.transform);
    }

    struct Level {
        Bytes bag, mod, gen;
        unsigned bags = 0, mods = 0, gens = 0;

        void add(const std::vector<BankZone>& zones) {
            for (const BankZone& zone : zones) {
                bag.u16(gens).u16(mods);
                ++bags;
                for (const auto& [number, amount] : zone.generators) {
                    gen.u16(static_cast<unsigned>(number)).u16(static_cast<unsigned>(amount) & 0xFFFF);
                    ++gens;
                }
                for (const Modulator& each : zone.modulators) {
                    append(mod, each);
                    ++mods;
                }
            }
        }
        void finish() {
            bag.u16(gens).u16(mods);
            mod.zeros(10);
            gen.zeros(4);
        }
    };
};

// A DLS connection: source, control, destination, transform, scale.
struct Connection {
    unsigned source, control, destination, transform;
    double scale;
};

inline Bytes articulationChunk(const std::string& id, const std::vector<Connection>& connections) {
    Bytes bytes;
    bytes.u32(8).u32(connections.size());
    for (const Connection& each : connections) {
        bytes.u16(each.source).u16(each.control).u16(each.destination).u16(each.transform);
        bytes.u32(static_cast<std::uint32_t>(static_cast<std::int64_t>(each.scale * 65536)));
    }
    return list(id == "art1" ? "lart" : "lar2", {chunk(id, bytes)});
}

inline Bytes dlsRegion(unsigned lowKey, unsigned highKey, unsigned keyGroup, unsigned wave,
                       const Bytes& more = {}, unsigned channel = 1, unsigned linkOptions = 0) {
    return list("rgn ", {chunk("rgnh", Bytes().u16(lowKey).u16(highKey).u16(0).u16(127).u16(0).u16(keyGroup)),
                         chunk("wlnk", Bytes().u16(linkOptions).u16(0).u32(channel).u32(wave)), more});
}

inline Bytes dlsInstrument(const std::string& name, std::uint32_t bank, unsigned program,
                           const Bytes& regions, const Bytes& more = {}) {
    return list("ins ", {chunk("insh", Bytes().u32(1).u32(bank).u32(program)), list("lrgn", {regions}), more,
                         list("INFO", {chunk("INAM", Bytes().text(name).u8(0))})});
}

// A mono 16-bit wave of the pool.
inline Bytes dlsWave(const std::string& name, const std::vector<int>& points, const Bytes& more = {}) {
    Bytes data;
    for (const int point : points)
        data.u16(static_cast<unsigned>(point) & 0xFFFF);
    return list("wave", {fmt(1, 1, 22050, 16), chunk("data", data), more,
                         list("INFO", {chunk("INAM", Bytes().text(name).u8(0))})});
}

inline Bytes dlsBank(const std::vector<Bytes>& instruments, const std::vector<Bytes>& waves) {
    Bytes lins, table, pool;
    for (const Bytes& each : instruments)
        lins.add(each);
    table.u32(8).u32(waves.size());
    for (const Bytes& each : waves) {
        table.u32(pool.size());
        pool.add(each);
    }
    return riff("DLS ", {chunk("colh", Bytes().u32(instruments.size())), list("lins", {lins}),
                         chunk("ptbl", table), list("wvpl", {pool})});
}

// Reads banks as they are, without what loading does to them by default.
struct BankFixture : CollectionFixture {
    explicit BankFixture(const char* name) : fileName(name) {
        LoadOptions& load = services.load;
        load.autoMergeStereo = load.autoCompactLayers = load.autoSortColl = load.autoSortWaves = false;
    }

    bool open(const Bytes& bytes) {
        ui.warnings.clear();
        LastErrorText.clear();
        collection.clear();
        return openInput(collection, File::fromBytes(bytes.data, fileName), fileName, true, services);
    }
    // What the only region plays with; nothing when there is not just one.
    double value(int number) const {
        const auto regions = collection.all<Region>();
        return regions.size() != 1
                   ? NAN
                   : resolveArticulation(nullptr, nullptr,
                                         &regions[0]->articulation)[static_cast<std::size_t>(number)];
    }

    // A bank of one wave that stands inside another file, read from there and from the byte before.
    template <typename Read>
    void expectReadInside(const Bytes& bank, Read read, std::size_t point, float value, const char* refusal) {
        OpenFile file;
        file.input = File::fromBytes(Bytes().text("a song").add(bank).text("and more").data, "song.rmi");
        file.path = "song.rmi";
        file.ui = &ui;
        ASSERT_TRUE(read(collection, file, 6, bank.size())) << LastErrorText;
        ASSERT_EQ(collection.count(ItemKind::Waveform), 1u);
        Waveform& waveform = *collection.all<Waveform>().front();
        ASSERT_TRUE(waveform.loadSamples());
        EXPECT_EQ(waveform.samples()[point] * 32768, value);
        EXPECT_EQ(collection.all<Region>().front()->waveform(), &waveform);
        EXPECT_FALSE(read(collection, file, 5, bank.size()));
        EXPECT_EQ(LastErrorText, refusal);
    }

    // Cut anywhere, and every two bytes the largest.
    void expectDamageSurvived(const Bytes& whole) {
        for (std::size_t size = 0; size < whole.size(); size += 3)
            EXPECT_TRUE(open(Bytes(whole).resize(size)) || !LastErrorText.empty()) << size;
        for (std::size_t at = 0; at + 1 < whole.size(); ++at) {
            if (!open(Bytes(whole).u16(at, 0xFFFF)))
                continue;
            for (Waveform* waveform : collection.all<Waveform>())
                waveform->loadSamples();
        }
    }

    std::string fileName;
};

}  // namespace velor::test
