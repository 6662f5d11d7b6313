// What a player makes of small banks, against what their parameters say here: pitch and level of a sine.
#include <gtest/gtest.h>

#include <numbers>

#include "base/error.h"
#include "formats/sampler/bank_builder.h"

namespace velor {
namespace {

using namespace test;

constexpr int kPeriod = 100;  // frames of the sine
constexpr double kRate = 22050;

std::vector<int> sine() {
    std::vector<int> points(10 * kPeriod + 46);
    for (std::size_t i = 0; i < points.size(); ++i)
        points[i] = static_cast<int>(
            std::lround(12000 * std::sin(2 * std::numbers::pi * static_cast<double>(i) / kPeriod)));
    return points;
}

// A song of one note, two seconds long.
Bytes song(unsigned key, unsigned velocity) {
    Bytes track;
    track.u8(0).u8(0xC0).u8(0).u8(0).u8(0x90).u8(key).u8(velocity);
    track.u8(0x8F).u8(0x00).u8(0x80).u8(key).u8(0);  // 1920 ticks
    track.u8(0).u8(0xFF).u8(0x2F).u8(0);
    Bytes file;
    file.text("MThd").be32(6).be16(0).be16(1).be16(480).text("MTrk").be32(track.size()).add(track);
    return file;
}

struct Heard {
    double hertz = 0;
    double level = 0;  // root of the mean square, both channels
};

struct BankPeers : BankFixture {
    BankPeers() : BankFixture("") {}

    // Has the player render the note and listens to the second from 0.5 s on.
    bool play(const Bytes& bank, const std::string& name, unsigned key, unsigned velocity, Heard& heard) {
        writeFile(folder / name, bank.data);
        writeFile(folder / "song.mid", song(key, velocity).data);
        if (!run("(fluidsynth -n -i -q -R 0 -C 0 -g 0.5 -r 44100 -T wav -O s16 -F " +
                 quoted(folder / "out.wav") + " " + quoted(folder / name) + " " +
                 quoted(folder / "song.mid") + ")"))
            return false;
        Collection rendered;
        if (!openFile(rendered, folder / "out.wav", true, services))
            return false;
        Waveform& wave = *rendered.all<Waveform>().front();
        if (!wave.loadSamples() || wave.channels != 2 || wave.frames < 70000)
            return false;
        const auto samples = wave.samples();
        double firstCrossing = -1, lastCrossing = -1, power = 0;
        int crossings = 0;
        for (std::size_t i = 22050; i < 66150; ++i) {
            const double l = static_cast<double>(samples[2 * i]), r = static_cast<double>(samples[2 * i + 1]);
            const double now = l + r;
            const double before =
                static_cast<double>(samples[2 * i - 2]) + static_cast<double>(samples[2 * i - 1]);
            power += l * l + r * r;
            if (before < 0 && now >= 0) {
                lastCrossing = static_cast<double>(i) - now / (now - before);
                if (firstCrossing < 0)
                    firstCrossing = lastCrossing;
                else
                    ++crossings;
            }
        }
        heard.hertz = crossings * 44100.0 / (lastCrossing - firstCrossing);
        heard.level = std::sqrt(power / 44100);
        return true;
    }

    // The region that answers to the key, as it was read.
    const Region* read(const Bytes& bank, const std::string& name, unsigned key) {
        fileName = name;
        if (!open(bank))
            return nullptr;
        for (const Region* region : collection.all<Region>()) {
            if (region->keys.contains(static_cast<int>(key)))
                return region;
        }
        return nullptr;
    }

    static double hertzOf(const Region& region, unsigned key) {
        const auto values = resolveArticulation(nullptr, nullptr, &region.articulation);
        const auto& own = region.overrides;
        const double cents = static_cast<double>(
            own.has(RegionOverrides::Tuning) ? own.tuning : region.waveform()->tuningCents());
        const double semitones =
            (static_cast<double>(key) - region.rootKey()) * static_cast<double>(values[1]) +
            static_cast<double>(values[0]) + cents / 100;
        return kRate / kPeriod * std::exp2(semitones / 12);
    }

    static double gainOf(const Region& region, unsigned velocity) {
        const auto values = resolveArticulation(nullptr, nullptr, &region.articulation);
        return static_cast<double>(values[parameter::MasterVolume] + region.waveform()->gain) -
               static_cast<double>(values[parameter::VelocityToVolume]) / 96 * 40 *
                   std::log10(127.0 / velocity);
    }

    // Pitch of each bank, and the levels of all of them relative to the first.
    void compare(const std::vector<Bytes>& banks, const std::string& name, unsigned key,
                 const std::vector<unsigned>& velocities) {
        double peerReference = 0, ownReference = 0;
        for (std::size_t i = 0; i < banks.size(); ++i) {
            Heard heard;
            ASSERT_TRUE(play(banks[i], name, key, velocities[i], heard)) << i;
            const Region* region = read(banks[i], name, key);
            ASSERT_NE(region, nullptr) << i << LastErrorText;
            EXPECT_NEAR(1200 * std::log2(heard.hertz / hertzOf(*region, key)), 0, 2) << i;
            const double peer = 20 * std::log10(heard.level), own = gainOf(*region, velocities[i]);
            if (i == 0) {
                peerReference = peer;
                ownReference = own;
            }
            EXPECT_NEAR(peer - peerReference, own - ownReference, 0.3) << i;
        }
    }
};

TEST_F(BankPeers, SoundFontsSoundAsAPlayerPlaysThem) {
    if (!haveProgram("fluidsynth"))
        GTEST_SKIP() << "needs fluidsynth";
    const auto bank = [](Generators preset, Generators instrument, std::vector<Modulator> modulators = {},
                         int correction = 0) {
        instrument.emplace_back(54, 1);
        auto made =
            SoundFontBuilder::simple({std::move(preset), {}}, {std::move(instrument), std::move(modulators)});
        made.points = sine();
        made.samples = {{"sine", 0, 10 * kPeriod, kPeriod, 9 * kPeriod, 22050, 69, correction}};
        return made.build();
    };
    compare(
        {bank({}, {}), bank({}, {}), bank({{48, 60}}, {{48, 140}}), bank({{51, 2}}, {{51, -14}, {52, 37}}),
         bank({}, {{58, 57}, {56, 50}}), bank({}, {}, {}, 45), bank({}, {}, {}, -45), bank({}, {{46, 60}}),
         bank({}, {{47, 50}}), bank({}, {}, {{0x0502, 48, 480}}), bank({}, {{51, -60}, {58, 20}})},
        "bank.sf2", 76, {127, 64, 127, 127, 127, 127, 127, 127, 127, 40, 127});
}

TEST_F(BankPeers, DlsBanksSoundAsAPlayerPlaysThem) {
    if (!haveProgram("fluidsynth"))
        GTEST_SKIP() << "needs fluidsynth";
    const auto bank = [](const Bytes& region, const Bytes& wave) {
        return dlsBank({dlsInstrument("i", 0, 0, dlsRegion(0, 127, 0, 0, region))},
                       {dlsWave("sine", sine(), wave)});
    };
    const auto loop = [](unsigned key, int fineTune) {
        return waveSampleChunk(key, fineTune, 0, 0, kPeriod, 8 * kPeriod);
    };
    // This player takes neither gains nor connections from DLS, so it is asked for keys and fine tunes only.
    compare({bank({}, loop(69, 0)), bank(loop(69, 0), {}), bank(loop(60, 40), loop(69, 0)),
             bank(loop(69, -40), {})},
            "bank.dls", 76, {127, 127, 127, 127});
}

}  // namespace
}  // namespace velor
