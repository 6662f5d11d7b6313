// Identification of files that other programs wrote, and of music that Debian's games carry.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "formats/core/chunk_builder.h"
#include "formats/framework/format_table.h"

namespace velor {
namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::haveProgram;
using test::quoted;
using test::TemporaryFolder;

constexpr int kSignature = 66;          // percent for a full signature alone
constexpr int kSignatureAndName = 100;  // with the matching extension
constexpr int kLikelyAndName = 7 * 100 / 9;

Identification identifyFile(const fs::path& path) {
    const auto file = File::open(path);
    return file ? IdentifyFile(path, *file) : Identification{};
}

struct Made {
    const char* name;       // of the file; its extension matters
    const char* arguments;  // between the input and the output
    int row;
    int foreignRow = -1;  // under a foreign name, where an earlier row has the same signature
    int confidence = kSignatureAndName;
};

struct IdentifyPeers : testing::Test {
    // A second, 16-bit mono: what the peers convert.
    IdentifyPeers() {
        Bytes samples;
        for (const float sample : test::testSignal(22050, 16))
            samples.u16(static_cast<std::uint16_t>(static_cast<std::int16_t>(sample * 32768)));
        test::writeFile(folder / "source.wav",
                        test::riff({test::fmt(1, 1, 22050, 16), test::chunk("data", samples)}).data);
    }
    std::string source() const { return quoted(folder / "source.wav"); }

    // Runs the peer's command and identifies the file that it makes, under its own and a foreign name.
    void expectIdentified(const std::string& command, const fs::path& path, const Made& made) {
        SCOPED_TRACE(made.name);
        ASSERT_TRUE(test::run(command)) << command;
        const Identification named = identifyFile(path);
        EXPECT_EQ(named.row, made.row) << "taken for " << rowDescription(named.row);
        EXPECT_EQ(named.confidence, made.confidence);
        fs::path foreign = path;
        foreign += ".zzz";
        fs::rename(path, foreign);
        const Identification unnamed = identifyFile(foreign);
        const int sure = made.confidence == kSignatureAndName ? made.row : 0;
        EXPECT_EQ(unnamed.row, made.foreignRow >= 0 ? made.foreignRow : sure)
            << "taken for " << rowDescription(unnamed.row);
        EXPECT_EQ(unnamed.confidence, unnamed.row > 0 ? kSignature : 0);
    }

    TemporaryFolder folder;
};

TEST_F(IdentifyPeers, FilesOfSox) {
    if (!haveProgram("sox"))
        GTEST_SKIP() << "sox is not installed";
    const Made all[] = {
        {"a.wav", "-t wavpcm", 478},
        {"a.aif", "-t aiff", 15},
        {"a.aiff", "-t aiff -b 8", 16, 15},
        {"a.aifc", "-t aifc", 17, 14},
        {"a.au", "-t au -e mu-law", 32},
        {"b.au", "-t au -L", 32},
        {"a.voc", "-t voc", 459},
        {"a.caf", "-t caf", 42},
        {"a.w64", "-t w64", 477},
        {"a.sf", "-t sf", 378},
        {"b.sf", "-t sf -L", 378},
        {"a.nist", "-t nist", 259},
        {"b.nist", "-t nist -e a-law", 259},
        {"a.avr", "-t avr", 34},
        {"a.hcom", "-t hcom", 172},
        {"a.iff", "-t 8svx", 175},
        {"a.svx", "-t 8svx", 419, 175},
        {"a.maud", "-t maud", 228},
        {"a.sds", "-t sds", 373},
        {"a.xi", "-t xi", 523},
        {"b.mat", "-t mat4", 227},
        {"c.mat", "-t mat5", 227},
        {"a.flac", "-t flac", 107},
        {"a.ogg", "-t ogg", 278},
        {"a.wv", "-t wv", 512},
        {"a.sndt", "-t sndt", 403},
        {"a.sndr", "-t sndr", 402, 0, kLikelyAndName},
        {"a.psion", "-t wve -r 8000", 331},
        {"b.psion", "-t prc -r 8000", 331},
        {"a.amr", "-t amr-nb -r 8000", 23},
        {"a.gsm", "-t gsm -r 8000", 168, 0, kLikelyAndName},
        {"a.txt", "-t dat", 436},
    };
    for (const Made& made : all) {
        const fs::path path = folder / made.name;
        expectIdentified("sox -V1 " + source() + " " + made.arguments + " " + quoted(path), path, made);
    }
}

TEST_F(IdentifyPeers, FilesOfFfmpeg) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    const Made all[] = {
        {"a.mp2", "-c:a mp2", 240},
        {"a.mpa", "-c:a mp2 -f mp2", 247, 240},
        {"a.mp3", "-c:a libmp3lame", 242},
        {"b.mp3", "-c:a libmp3lame -write_xing 0 -id3v2_version 0 -b:a 8k", 242},
        {"c.mp3", "-c:a libmp3lame -q:a 4 -ar 44100 -ac 2 -metadata title=Sine", 242},
        {"a.mpg", "-c:a mp2 -f mp2", 248, 240},
        {"a.mpeg", "-c:a mp2 -f mpeg", 249},
        {"b.mpg", "-c:a mp2 -f vob", 250, 249},
        {"a.aac", "-c:a aac", 8},
        {"a.m4a", "-c:a aac", 222},
        {"b.m4a", "-c:a alac -movflags faststart", 222},
        {"a.m4r", "-c:a aac -f ipod", 223, 222},
        {"a.mp4", "-c:a aac", 246},
        {"a.3gp", "-c:a aac", 3},
        {"a.3g2", "-c:a aac", 2},
        {"a.mov", "-c:a pcm_s16be", 238},
        {"a.mka", "-c:a libvorbis", 232},
        {"b.mka", "-c:a libopus -f webm", 232},
        {"a.mkv", "-f lavfi -i testsrc=d=0.2 -c:a libvorbis -c:v mpeg4 -shortest", 233},
        {"a.wma", "-c:a wmav2", 485},
        {"a.asf", "-c:a wmav2", 30, 485, kLikelyAndName},
        {"a.wmv", "-f lavfi -i testsrc=d=0.2 -c:a wmav2 -c:v wmv2 -f asf -shortest", 495},
        {"a.avi", "-f lavfi -i testsrc=d=0.2 -c:a mp2 -c:v mpeg4 -shortest", 33},
        {"a.opus", "-c:a libopus", 280},
        {"a.caff", "-c:a pcm_f32le -f caf", 43, 42},
        {"a.mmf", "-c:a adpcm_yamaha", 236},
        {"a.bwf", "-f wav -write_bext 1 -metadata description=Sine", 40},
        {"b.wav", "-f wav -write_bext 1 -metadata description=Sine", 478, 40},
    };
    for (const Made& made : all) {
        const fs::path path = folder / made.name;
        expectIdentified("ffmpeg -v error -y -i " + source() + " " + made.arguments + " " + quoted(path),
                         path, made);
    }
    // A picture in front of the frames, larger than what identification sees.
    const fs::path tagged = folder / "picture.mp3";
    expectIdentified("ffmpeg -v error -y -i " + source() +
                         " -f lavfi -i testsrc2=s=800x800:d=0.04 -vf noise=alls=80 -map 0 -map 1 -c:a "
                         "libmp3lame -c:v png -frames:v 1 -disposition:v attached_pic -id3v2_version 3 " +
                         quoted(tagged),
                     tagged, {"picture.mp3", "", 242, 0, kLikelyAndName});
    EXPECT_GT(fs::file_size(folder / "picture.mp3.zzz"), kProbeBytes + 8192);
}

// Modules and songs as their authors saved them, from several trackers and sequencers.
TEST(IdentifyMusic, OfGames) {
    struct Folder {
        const char* path;
        const char* extension;
        int row;
    };
    const Folder folders[] = {
        {"/usr/share/games/heroes/mod", "xm", 524},
        {"/usr/share/games/ironseed/sound", "mod", 237},
        {"/usr/share/games/tecnoballz/musics", "mod", 237},
        {"/usr/share/games/pingus/data/music", "it", 191},
        {"/usr/share/games/pingus/data/music", "s3m", 361},
        {"/usr/share/games/openttd/baseset/openmsx", "mid", 231},
    };
    int seen = 0;
    for (const Folder& folder : folders) {
        std::error_code absent;
        for (const auto& entry : fs::directory_iterator(folder.path, absent)) {
            const std::string name = utf8FromPath(entry.path().filename());
            if (!equalNoCase(extensionOf(name), folder.extension))
                continue;
            // One game carries an XM module under the name of a MOD: content rules.
            const bool misnamed = name == "area1-game2.mod";
            const Identification found = identifyFile(entry.path());
            EXPECT_EQ(found.row, misnamed ? 524 : folder.row)
                << name << " taken for \"" << rowDescription(found.row) << '"';
            EXPECT_EQ(found.confidence, misnamed ? kSignature : kSignatureAndName) << name;
            ++seen;
        }
    }
    if (seen == 0)
        GTEST_SKIP() << "none of the game music packages is installed";
}

}  // namespace
}  // namespace velor
