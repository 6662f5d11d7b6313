// Identification of sampler, bank, disk and voice files: made headers, hostile bytes, and real files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "formats/framework/format_table.h"
#include "formats/framework/probe_cases_b.h"

namespace velor::test {
namespace {

namespace fs = std::filesystem;

constexpr int kExtensionBonus = 3;

std::span<const Byte> headOf(const ProbeCase& file) {
    const std::span<const Byte> bytes{file.file.bytes()};
    return bytes.first(std::min(bytes.size(), kProbeBytes));
}

std::uint64_t sizeOf(const ProbeCase& file) {
    return file.fileSize != 0 ? file.fileSize : file.file.bytes().size();
}

int scoreOf(int row, const ProbeCase& file) {
    const FormatEntry& entry = *formatRow(row);
    return entry.probe(headOf(file), entry.variant, sizeOf(file));
}

std::string fileName(std::string_view extension) {
    std::string name{"x."};
    name += extension;
    return name;
}

std::string label(const ProbeCase& file) {
    std::string text = fileName(file.extension);
    text.append(" of row ").append(std::to_string(file.row)).append(" (");
    text.append(rowDescription(file.row)).append("), score ").append(std::to_string(file.score));
    return text;
}

TEST(ProbesB, KnowsEveryFormatUnderItsExtension) {
    for (const ProbeCase& file : allProbeCases()) {
        const std::string name = fileName(file.extension);
        const Identification found = identifyBytes(name, headOf(file), sizeOf(file));
        EXPECT_EQ(found.row, file.row) << label(file) << " was taken for " << rowDescription(found.row);
        const bool ownExtension = matchExtension(rowExtension(file.row), file.extension);
        EXPECT_EQ(found.confidence, (file.score + (ownExtension ? kExtensionBonus : 0)) * 100 / 9)
            << label(file);
    }
}

TEST(ProbesB, KnowsSignaturesUnderAnyExtension) {
    for (const ProbeCase& file : allProbeCases()) {
        if (file.score < 6)
            continue;
        const Identification found = identifyBytes("x.zzz", headOf(file), sizeOf(file));
        EXPECT_EQ(found.row, file.bareRow >= 0 ? file.bareRow : file.row)
            << label(file) << " was taken for " << rowDescription(found.row);
        EXPECT_EQ(found.confidence, 66) << label(file);
    }
}

// A signature is claimed by rows of its own format only: those that share the right row's probe.
TEST(ProbesB, NoOtherFormatClaimsASignature) {
    for (const ProbeCase& file : allProbeCases()) {
        EXPECT_EQ(scoreOf(file.row, file), file.score) << label(file);
        if (file.score < 6)
            continue;
        for (const IdentificationCandidate& other :
             explainIdentification("x.zzz", headOf(file), sizeOf(file))) {
            const bool sameFormat = formatRow(other.row)->probe == formatRow(file.row)->probe;
            EXPECT_TRUE(other.score < 6 || sameFormat)
                << label(file) << " claimed by " << rowDescription(other.row);
        }
    }
}

void expectBounded(std::span<const Byte> bytes, std::uint64_t fileSize) {
    // An exact copy, so that the address sanitizer sees the first byte too many.
    const std::vector<Byte> exact(bytes.begin(), bytes.end());
    for (const FormatEntry& row : FormatTable()) {
        if (!row.probe)
            continue;
        const int score = row.probe(exact, row.variant, fileSize);
        ASSERT_TRUE(score == 0 || score == 2 || score == 4 || score == 6) << row.description;
    }
}

TEST(ProbesB, TakeTruncatedHeads) {
    expectBounded({}, 0);
    std::mt19937 random(7);
    for (const ProbeCase& file : allProbeCases()) {
        const auto head = headOf(file);
        for (std::size_t length = 1; length <= std::min<std::size_t>(head.size(), 40); ++length)
            expectBounded(head.first(length), sizeOf(file));
        for (int i = 0; i < 12; ++i)
            expectBounded(head.first(random() % (head.size() + 1)),
                          random() % 2 != 0 ? sizeOf(file) : head.size());
    }
}

TEST(ProbesB, TakeDamagedHeads) {
    std::mt19937 random(11);
    for (const ProbeCase& file : allProbeCases()) {
        const auto head = headOf(file);
        std::vector<Byte> damaged(head.begin(), head.end());
        for (int round = 0; round < 8; ++round) {
            for (int i = 0; i < 6; ++i)
                damaged[random() % std::min<std::size_t>(damaged.size(), 600)] = static_cast<Byte>(random());
            expectBounded(damaged, random() % 3 == 0 ? ~std::uint64_t{0} : sizeOf(file));
        }
    }
}

TEST(ProbesB, NoiseIsNoSignature) {
    std::mt19937 random(23);
    std::vector<Byte> noise(4096);
    for (int round = 0; round < 300; ++round) {
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<Byte>(random()); });
        expectBounded(noise, noise.size());
        for (const ProbeCase& file : {ProbeCase{"zzz", 0, 0, FileBytes()}}) {
            const Identification found = identifyBytes(fileName(file.extension), noise, noise.size());
            EXPECT_EQ(found.confidence, 0) << "noise was taken for " << rowDescription(found.row);
        }
    }
}

TEST(ProbesB, NeighbouringTextsAreNotClaimed) {
    struct {
        const char* extension;
        std::string_view content;
    } const texts[] = {
        {"sfz", "int main() { return 0; }\n"},
        {"sfz", "// header\n#include <vector>\nnamespace a {}\n"},
        {"sfz", "<html><body>region</body></html>"},
        {"xml", "<?xml version=\"1.0\"?><document><title>letter</title></document>"},
        {"xml", "<?xml version=\"1.0\"?><!-- never closed"},
        {"ini", "[Settings]\r\nbank=Melodic Bank 0\r\n"},
        {"kit", "<?xml version=\"1.0\"?><DrumKit/>"},
        {"txprog", "<program xmlns=\"http://example.org\"/>"},
        {"xpm", "/* XPM */\nstatic char *x[] = {\"8 8 2 1\"};"},
        {"nsmpproj", "Project {\n}\n"},
    };
    for (const auto& text : texts) {
        const std::span<const Byte> bytes{reinterpret_cast<const Byte*>(text.content.data()),
                                          text.content.size()};
        const Identification found = identifyBytes(fileName(text.extension), bytes, bytes.size());
        EXPECT_EQ(found.confidence, 0) << text.content << " was taken for " << rowDescription(found.row);
    }
}

// The flag word: nothing outside the encodings and layouts, nothing on read-only rows; the rows of sound
// banks as other programs' settings name them.
TEST(ProbesB, FlagsOfWritersAreWellFormed) {
    const std::uint32_t known =
        format_flags::kEncodings | format_flags::kMono | format_flags::kStereo | format_flags::kStereoCapable;
    int generic = 0;
    for (int index = 0; index < kFormatRows; ++index) {
        const FormatEntry& row = *formatRow(index);
        EXPECT_EQ(row.flags & ~known, 0u) << row.description;
        EXPECT_TRUE(row.write || row.flags == 0) << row.description;
        generic += usesGenericProbe(index);
    }
    EXPECT_EQ(generic, 62);
    EXPECT_EQ(formatRow(64)->flags, 0x2100005u);
    EXPECT_EQ(formatRow(65)->flags, 0x2122375u);
    EXPECT_EQ(outputChannels(formatRow(287)->flags, 2), 2);  // AKAI programs: a pair of mono samples
    EXPECT_EQ(outputChannels(formatRow(350)->flags, 2), 1);  // an AKAI sample: mono only
    EXPECT_EQ(outputChannels(formatRow(206)->flags, 2), 2);  // a Korg keymap
}

// --- Real files
// ---------------------------------------------------------------------------------------------

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
        EXPECT_EQ(identify(path, "x.zzz").row, GetParam().row) << path;
    }
    if (seen == 0)
        GTEST_SKIP() << "package " << GetParam().package << " is not installed";
}

INSTANTIATE_TEST_SUITE_P(ProbesB, RealFiles,
                         testing::Values(RealSet{"/usr/share/sounds/sf2", ".sf2", 379, "timgm6mb-soundfont"},
                                         RealSet{"/usr/share/fluidr3mono-gm-soundfont", ".sf3", 381,
                                                 "fluidr3mono-gm-soundfont"},
                                         RealSet{"/usr/share/midi/freepats", ".pat", 297, "freepats"},
                                         RealSet{"/usr/share/hexter", ".dx7", 79, "hexter"}),
                         [](const auto& set) { return std::string(set.param.extension + 1); });

// Programs, libraries, headers and documents of the machine are none of these formats.
TEST(ProbesB, OrdinaryFilesAreNotClaimed) {
    std::set<int> rows;
    for (const ProbeCase& file : allProbeCases())
        rows.insert(file.row);
    for (const char* folder : {"/usr/include", "/usr/bin", "/usr/share/doc", "/usr/share/perl5"}) {
        for (const fs::path& path : filesUnder(folder, 800)) {
            std::error_code error;
            if (fs::file_size(path, error) == 0 || error)
                continue;
            const Identification found = identify(path, "x.zzz");
            EXPECT_FALSE(rows.contains(found.row)) << path << " was taken for " << rowDescription(found.row);
        }
    }
}

}  // namespace
}  // namespace velor::test
