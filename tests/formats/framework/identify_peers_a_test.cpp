// Identification of files that other programs wrote, and of music that Debian's games carry.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "formats/framework/format_table.h"
#include "test_tools.h"

namespace velor {
namespace {

namespace fs = std::filesystem;
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

// A second of a sine, 16-bit mono: what the peers convert.
fs::path writeSource(const TemporaryFolder& folder) {
    constexpr std::uint32_t kRate = 22050;
    std::vector<Byte> bytes(44 + 2 * kRate);
    const auto text = [&](std::size_t at, std::string_view id) {
        std::copy(id.begin(), id.end(), &bytes[at]);
    };
    text(0, "RIFF");
    storeLe(&bytes[4], static_cast<std::uint32_t>(bytes.size() - 8));
    text(8, "WAVEfmt ");
    storeLe(&bytes[16], 16u);
    storeLe(&bytes[20], std::uint16_t{1});
    storeLe(&bytes[22], std::uint16_t{1});
    storeLe(&bytes[24], kRate);
    storeLe(&bytes[28], 2 * kRate);
    storeLe(&bytes[32], std::uint16_t{2});
    storeLe(&bytes[34], std::uint16_t{16});
    text(36, "data");
    storeLe(&bytes[40], 2 * kRate);
    for (std::size_t i = 0; i < kRate; ++i)
        storeLe(&bytes[44 + 2 * i],
                static_cast<std::int16_t>(std::lround(20000 * std::sin(0.1 * static_cast<double>(i)))));
    const fs::path path = folder / "source.wav";
    test::writeFile(path, bytes);
    return path;
}

struct Made {
    const char* name;       // of the file; its extension matters
    const char* arguments;  // between the input and the output
    int row;
    int foreignRow = -1;  // under a foreign name, where an earlier row has the same signature
    int confidence = kSignatureAndName;
};

void expectIdentified(const fs::path& path, const Made& made) {
    const Identification named = identifyFile(path);
    EXPECT_EQ(named.row, made.row) << made.name << " taken for \"" << rowDescription(named.row) << '"';
    EXPECT_EQ(named.confidence, made.confidence) << made.name;
    fs::path foreign = path;
    foreign += ".zzz";
    fs::rename(path, foreign);
    const Identification unnamed = identifyFile(foreign);
    if (made.confidence == kSignatureAndName) {
        EXPECT_EQ(unnamed.row, made.foreignRow >= 0 ? made.foreignRow : made.row)
            << made.name << " taken for \"" << rowDescription(unnamed.row) << '"';
        EXPECT_EQ(unnamed.confidence, kSignature) << made.name;
    } else {
        EXPECT_EQ(unnamed.row, 0) << made.name << " taken for \"" << rowDescription(unnamed.row) << '"';
    }
}

TEST(IdentifyPeersA, FilesOfSox) {
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
    const TemporaryFolder folder;
    const fs::path source = writeSource(folder);
    for (const Made& made : all) {
        const fs::path path = folder / made.name;
        ASSERT_TRUE(test::run("sox -V1 " + quoted(source) + " " + made.arguments + " " + quoted(path)))
            << made.name;
        expectIdentified(path, made);
    }
}

TEST(IdentifyPeersA, FilesOfFfmpeg) {
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
        {"a.flac", "-c:a flac", 107},
        {"a.ogg", "-c:a libvorbis", 278},
        {"a.opus", "-c:a libopus", 280},
        {"a.wv", "-c:a wavpack", 512},
        {"a.au", "-c:a pcm_alaw", 32},
        {"a.caff", "-c:a pcm_f32le -f caf", 43, 42},
        {"a.w64", "-c:a pcm_s24le", 477},
        {"a.voc", "-c:a pcm_u8", 459},
        {"a.sf", "-c:a pcm_f32le", 378},
        {"a.mmf", "-c:a adpcm_yamaha", 236},
        {"a.bwf", "-f wav -write_bext 1 -metadata description=Sine", 40},
        {"b.wav", "-f wav -write_bext 1 -metadata description=Sine", 478, 40},
    };
    const TemporaryFolder folder;
    const fs::path source = writeSource(folder);
    for (const Made& made : all) {
        const fs::path path = folder / made.name;
        ASSERT_TRUE(
            test::run("ffmpeg -v error -y -i " + quoted(source) + " " + made.arguments + " " + quoted(path)))
            << made.name;
        if (made.row == 30) {
            // Sure only of its name: the same content is surely Windows Media audio.
            EXPECT_EQ(identifyFile(path).row, 30);
            EXPECT_EQ(identifyFile(path).confidence, kLikelyAndName);
            continue;
        }
        expectIdentified(path, made);
    }
    // A picture in front of the frames, larger than what identification sees.
    const fs::path tagged = folder / "picture.mp3";
    ASSERT_TRUE(
        test::run("ffmpeg -v error -y -i " + quoted(source) +
                  " -f lavfi -i testsrc2=s=800x800:d=0.04 -vf noise=alls=80 -map 0 -map 1 -c:a libmp3lame "
                  "-c:v png -frames:v 1 -disposition:v attached_pic -id3v2_version 3 " +
                  quoted(tagged)));
    ASSERT_GT(fs::file_size(tagged), kProbeBytes + 8192);
    expectIdentified(tagged, {"picture.mp3", "", 242, 0, kLikelyAndName});
}

TEST(IdentifyPeersA, FilesOfLibsndfile) {
    if (!haveProgram("sndfile-convert"))
        GTEST_SKIP() << "sndfile-convert is not installed";
    const Made all[] = {
        {"a.wav", "-ima-adpcm", 478},
        {"b.wav", "-gsm610", 478},
        {"a.aif", "-pcm24", 15},
        {"a.aifc", "-endian=little -pcm16", 17, 14},
        {"a.au", "-endian=little -float32", 32},
        {"a.caf", "-alac16", 42},
        {"a.svx", "-pcm16", 419, 175},
        {"a.voc", "-ulaw", 459},
        {"a.w64", "-float64", 477},
        {"a.sf", "-pcm32", 378},
        {"a.nist", "-pcm24", 259},
        {"a.mat", "-float64", 227},
        {"a.sds", "-pcm24", 373},
    };
    const TemporaryFolder folder;
    const fs::path source = writeSource(folder);
    for (const Made& made : all) {
        const fs::path path = folder / made.name;
        // It names its formats by extension and does not know all of ours.
        const std::string extension(extensionOf(made.name));
        fs::path theirs = path;
        theirs += extension == "nist" ? ".sph" : "";
        ASSERT_TRUE(test::run("sndfile-convert " + std::string(made.arguments) + " " + quoted(source) + " " +
                              quoted(theirs)))
            << made.name;
        if (theirs != path)
            fs::rename(theirs, path);
        expectIdentified(path, made);
    }
}

// Modules and songs as their authors saved them, from several trackers and sequencers.
TEST(IdentifyPeersA, MusicOfGames) {
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
