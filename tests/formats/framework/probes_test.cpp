// Identification by content: made headers, hostile bytes, and real files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "base/error.h"
#include "formats/framework/probe_cases.h"

namespace velor::test {
namespace {

namespace fs = std::filesystem;

constexpr int kExtensionBonus = 3;
constexpr int kWaveRow = 478, kSunRow = 32;
constexpr std::string_view kForeignName = "x.zzz";

const std::vector<ProbeCase>& allCases() {
    static const std::vector<ProbeCase> all = [] {
        std::vector<ProbeCase> joined = mediaCases();
        for (const auto& part : {samplerCases(), bankCases(), softwareCases(), diskCases(), voiceCases()})
            joined.insert(joined.end(), part.begin(), part.end());
        return joined;
    }();
    return all;
}

std::span<const Byte> headOf(const ProbeCase& file) {
    const std::span<const Byte> bytes{file.file.data};
    return bytes.first(std::min(bytes.size(), kProbeBytes));
}

std::uint64_t sizeOf(const ProbeCase& file) {
    return file.fileSize != 0 ? file.fileSize : file.file.size();
}

std::string fileName(std::string_view extension) {
    return "x." + std::string(extension);
}

std::string label(const ProbeCase& file) {
    std::string text = fileName(file.extension) + " of row " + std::to_string(file.row) + " (" +
                       std::string(rowDescription(file.row)) + "), head";
    for (const Byte byte : headOf(file).first(std::min<std::size_t>(headOf(file).size(), 16)))
        text += formatText(" %02X", byte);
    return text;
}

TEST(Probes, KnowEveryFormatUnderItsExtension) {
    for (const ProbeCase& file : allCases()) {
        const FormatEntry& entry = *formatRow(file.row);
        EXPECT_EQ(entry.probe(headOf(file), entry.variant, sizeOf(file)), file.score) << label(file);
        const Identification found = identifyBytes(fileName(file.extension), headOf(file), sizeOf(file));
        EXPECT_EQ(found.row, file.row) << label(file) << " was taken for " << rowDescription(found.row);
        const bool ownExtension = matchExtension(rowExtension(file.row), file.extension);
        EXPECT_EQ(found.confidence, (file.score + (ownExtension ? kExtensionBonus : 0)) * 100 / 9)
            << label(file);
    }
}

// A score of 6 names the file whatever it is called; anything less loses against "Unrecognized", row 0.
TEST(Probes, KnowSignaturesUnderAnyExtension) {
    for (const ProbeCase& file : allCases()) {
        if (file.score < 6 && file.bareRow < 0)
            continue;
        const Identification found = identifyBytes(kForeignName, headOf(file), sizeOf(file));
        EXPECT_EQ(found.row, file.bareRow >= 0 ? file.bareRow : file.row)
            << label(file) << " was taken for " << rowDescription(found.row);
        EXPECT_EQ(found.confidence, file.bareRow == 0 ? 0 : 66) << label(file);
    }
}

// A signature is claimed by rows of its own format only: those that share the right row's probe. Special
// waves are waves too, and an IRCAM header may stand behind one of Sun.
TEST(Probes, NoOtherFormatClaimsASignature) {
    for (const ProbeCase& file : allCases()) {
        if (file.score < 6)
            continue;
        for (const IdentificationCandidate& other :
             explainIdentification(kForeignName, headOf(file), sizeOf(file))) {
            const bool sameFormat = formatRow(other.row)->probe == formatRow(file.row)->probe;
            const bool holdsOthers = other.row == kWaveRow || other.row == kSunRow;
            EXPECT_TRUE(other.score < 6 || sameFormat || holdsOthers)
                << label(file) << " claimed by " << rowDescription(other.row);
        }
    }
}

TEST(Probes, BroadcastWaveWalksFourChunks) {
    const auto score = [](const Bytes& head) {
        return formatRow(40)->probe(head.data, formatRow(40)->variant, head.size());
    };
    const Bytes start = Bytes(160).text(0, "RIFF").text(8, "WAVE");
    Bytes junk = start;
    for (const std::size_t at : {12, 20, 28})
        junk.text(at, "JUNK");
    EXPECT_EQ(score(Bytes(junk).text(36, "bext")), 6);
    EXPECT_EQ(score(junk.text(36, "JUNK").text(44, "bext")), 2);
    EXPECT_EQ(score(Bytes(start).text(12, "JUNK").u32(16, 3).text(24, "bext")), 6);  // odd size, padded
    EXPECT_EQ(score(Bytes(start).text(12, "data").text(20, "bext")), 2);
    EXPECT_EQ(score(Bytes(start).text(12, "LIST").u32(16, 0xFFFFFFFF)), 2);
    EXPECT_EQ(score(Bytes(start).text(8, "AVI ")), 0);
}

// Asks every row. The copy is exact, so that the address sanitizer sees a read behind the head's end.
void expectBounded(std::span<const Byte> bytes, std::uint64_t fileSize) {
    const std::vector<Byte> exact(bytes.begin(), bytes.end());
    for (const FormatEntry& row : FormatTable()) {
        if (!row.probe)
            continue;
        const int score = row.probe(exact, row.variant, fileSize);
        ASSERT_TRUE(score == 0 || score == 2 || score == 4 || score == 6) << row.description;
    }
}

// Heads that end anywhere and fields that say anything.
TEST(Probes, TakeHostileHeads) {
    std::mt19937 random(20240229);
    expectBounded({}, 0);
    expectBounded({}, 1'000'000);
    for (int value = 0; value < 256; ++value)
        expectBounded(std::vector<Byte>{static_cast<Byte>(value)}, 1);
    for (const ProbeCase& file : allCases()) {
        const auto head = headOf(file);
        for (std::size_t length = 1; length < std::min<std::size_t>(head.size(), 64); ++length)
            expectBounded(head.first(length), length % 2 ? sizeOf(file) : length);
        for (int i = 0; i < 12; ++i)
            expectBounded(head.first(random() % (head.size() + 1)),
                          random() % 2 != 0 ? sizeOf(file) : head.size());
        for (int round = 0; round < 20; ++round) {
            std::vector<Byte> damaged(head.begin(), head.end());
            for (int i = 0; i < 5; ++i)
                damaged[random() % std::min<std::size_t>(damaged.size(), round % 2 ? 160 : 600)] =
                    static_cast<Byte>(random() % 4 ? random() : 0xFF);
            expectBounded(damaged, random() % 3 == 0 ? ~std::uint64_t{0} : sizeOf(file));
        }
    }
}

TEST(Probes, NoiseAndSignalsAreNothing) {
    std::mt19937 random(7);
    std::vector<Byte> head(kProbeBytes);
    for (int kind = 0; kind < 300; ++kind) {
        for (std::size_t i = 0; i < head.size(); ++i) {
            const double wave = std::sin(0.001 * (kind + 1) * static_cast<double>(i));
            head[i] = static_cast<Byte>(kind % 3 == 0   ? random()
                                        : kind % 3 == 1 ? static_cast<unsigned>(128 + std::lround(100 * wave))
                                                        : static_cast<unsigned>(std::lround(3 * wave)));
        }
        const Identification found = identifyBytes("recording", head, 5'000'000);
        EXPECT_EQ(found.row, 0) << "kind " << kind << " taken for " << rowDescription(found.row);
    }
}

TEST(Probes, LookAlikesAreNotClaimed) {
    std::string prose = "if you read this in an editor, it is a text: ";
    while (prose.size() < 4096)
        prose += "words and more words, with numbers 12345 and lines\n";
    const struct {
        const char* name;
        Bytes content;
    } alikes[] = {
        {"tutor.it", Bytes().text(prose)},
        {"readme.669", Bytes().text(prose)},
        {"notes.txt", Bytes().text(prose)},
        {"table.txt", Bytes().text("name: d=deep : not a note at all\n")},
        {"go.mod", Bytes().text("module example\n\ngo 1.20\n").resize(2048)},
        {"fortran.mod", Bytes(4096).text(0, {"\x1F\x8B\x08\0\0\0\0\0\0\x03", 10})},
        {"picture.mp4", Bytes(64).be32(0, 24).text(4, "ftypheic")},
        {"noise.mp3", Bytes(2000).text(0, "\xFF\xFF\xFF\xFF")},
        {"image.aac", Bytes(2000).text(0, "\xFF\xD8\xFF\xE0")},
        {"stream.mpg", Bytes(64).be32(0, 0x1BA)},
        {"late tag.mp3", Bytes(20).text(0, {"ID3\x04\0\0\0\0\0\x0A", 10})},
        {"words.ins", Bytes(80, 0x20)},
        {"x.sfz", Bytes().text("int main() { return 0; }\n")},
        {"x.sfz", Bytes().text("// header\n#include <vector>\nnamespace a {}\n")},
        {"x.sfz", Bytes().text("<html><body>region</body></html>")},
        {"x.xml", Bytes().text("<?xml version=\"1.0\"?><document><title>letter</title></document>")},
        {"x.xml", Bytes().text("<?xml version=\"1.0\"?><!-- never closed")},
        {"x.ini", Bytes().text("[Settings]\r\nbank=Melodic Bank 0\r\n")},
        {"x.kit", Bytes().text("<?xml version=\"1.0\"?><DrumKit/>")},
        {"x.txprog", Bytes().text("<program xmlns=\"http://example.org\"/>")},
        {"x.xpm", Bytes().text("/* XPM */\nstatic char *x[] = {\"8 8 2 1\"};")},
        {"x.nsmpproj", Bytes().text("Project {\n}\n")},
    };
    for (const auto& each : alikes) {
        const Identification found = identifyBytes(each.name, each.content.data, each.content.size());
        EXPECT_EQ(found.confidence, 0) << each.name << " was taken for " << rowDescription(found.row);
    }
}

// --- Real files ---

std::vector<fs::path> filesUnder(const fs::path& folder, std::size_t atMost) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator i(folder, fs::directory_options::skip_permission_denied, error),
         end;
         !error && i != end && files.size() < atMost; i.increment(error)) {
        std::error_code ignored;
        if (i->is_regular_file(ignored) && !i->is_symlink(ignored))
            files.push_back(i->path());
    }
    return files;
}

Identification identify(const fs::path& path, const std::string& asName) {
    std::ifstream stream(path, std::ios::binary);
    std::vector<char> head(kProbeBytes);
    stream.read(head.data(), static_cast<std::streamsize>(head.size()));
    const std::span<const Byte> bytes{reinterpret_cast<const Byte*>(head.data()),
                                      static_cast<std::size_t>(stream.gcount())};
    return identifyBytes(asName, bytes, fs::file_size(path));
}

struct RealSet {
    const char* folder;
    const char* extension;
    int row;
    const char* package;
};

class RealFiles : public testing::TestWithParam<RealSet> {};

TEST_P(RealFiles, AreIdentifiedByContent) {
    int seen = 0;
    for (const fs::path& path : filesUnder(GetParam().folder, 500)) {
        if (path.extension() != GetParam().extension)
            continue;
        ++seen;
        const Identification named = identify(path, path.filename().string());
        EXPECT_EQ(named.row, GetParam().row) << path;
        EXPECT_EQ(named.confidence, 100) << path;
        EXPECT_EQ(identify(path, std::string(kForeignName)).row, GetParam().row) << path;
    }
    if (seen == 0)
        GTEST_SKIP() << "package " << GetParam().package << " is not installed";
}

INSTANTIATE_TEST_SUITE_P(Probes, RealFiles,
                         testing::Values(RealSet{"/usr/share/sounds/sf2", ".sf2", 379, "timgm6mb-soundfont"},
                                         RealSet{"/usr/share/fluidr3mono-gm-soundfont", ".sf3", 381,
                                                 "fluidr3mono-gm-soundfont"},
                                         RealSet{"/usr/share/midi/freepats", ".pat", 297, "freepats"},
                                         RealSet{"/usr/share/hexter", ".dx7", 79, "hexter"}),
                         [](const auto& set) { return std::string(set.param.extension + 1); });

// Programs, libraries, headers and documents of the machine are none of these formats.
TEST(Probes, OrdinaryFilesAreNotClaimed) {
    std::set<int> rows;
    for (const ProbeCase& file : allCases())
        rows.insert(file.row);
    for (const char* folder : {"/usr/include", "/usr/bin", "/usr/share/doc", "/usr/share/perl5"}) {
        for (const fs::path& path : filesUnder(folder, 800)) {
            std::error_code error;
            if (fs::file_size(path, error) == 0 || error)
                continue;
            const Identification found = identify(path, std::string(kForeignName));
            EXPECT_FALSE(rows.contains(found.row)) << path << " was taken for " << rowDescription(found.row);
        }
    }
}

}  // namespace
}  // namespace velor::test
