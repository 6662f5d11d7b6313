// What must hold for the rows of the format table, whatever is built.
#include <gtest/gtest.h>

#include <bit>
#include <set>
#include <string>

#include "formats/framework/format_table.h"
#include "items/sample_encoding.h"

namespace velor {
namespace {

constexpr std::uint8_t kWaveforms = 1;
constexpr std::uint8_t kSongs = 0x60;  // songs and their tracks

std::string nameOf(int row) {
    return "row " + std::to_string(row) + " " + std::string(rowExtension(row)) + " \"" +
           std::string(rowDescription(row)) + "\"";
}

TEST(FormatTableRows, ReadersHaveProbesAndReadOnlyRowsHaveNoEncodings) {
    int generic = 0;
    for (int row = 0; row < kFormatRows; ++row) {
        const FormatEntry& entry = *formatRow(row);
        EXPECT_TRUE(entry.read || entry.write) << nameOf(row);
        EXPECT_EQ(entry.read != nullptr, entry.probe != nullptr) << nameOf(row);
        if (!entry.write) {
            EXPECT_EQ(entry.flags, 0u) << nameOf(row);
        }
        generic += usesGenericProbe(row);
    }
    EXPECT_EQ(generic, 62);  // the headerless formats and row 0
}

TEST(FormatTableRows, WaveformWritersSayWhatTheyStore) {
    constexpr std::uint32_t kChannels = format_flags::kMono | format_flags::kStereo;
    constexpr std::uint32_t kKnown = format_flags::kEncodings | kChannels | format_flags::kStereoCapable;
    for (int row = 0; row < kFormatRows; ++row) {
        const FormatEntry& entry = *formatRow(row);
        EXPECT_EQ(entry.flags & ~kKnown, 0u) << nameOf(row);
        if (!entry.write || entry.kinds != kWaveforms)
            continue;
        EXPECT_NE(entry.flags & format_flags::kEncodings, 0u) << nameOf(row);
        EXPECT_NE(entry.flags & kChannels, 0u) << nameOf(row);
        EXPECT_EQ(entry.flags & encodingBit(SampleEncoding::Midi), 0u) << nameOf(row);
    }
}

TEST(FormatTableRows, SongWritersStoreMidi) {
    for (int row = 0; row < kFormatRows; ++row) {
        const FormatEntry& entry = *formatRow(row);
        if (entry.write && (entry.kinds & kSongs) && !(entry.kinds & ~kSongs)) {
            EXPECT_EQ(entry.flags, encodingBit(SampleEncoding::Midi)) << nameOf(row);
        }
    }
}

// One writer serves several rows through the variant, so rows of one extension must not agree in both. Rows
// that merely share an extension have writers of their own, told apart here by the encodings they store.
TEST(FormatTableRows, WritersOfOneExtensionDiffer) {
    for (const char* const extension :
         {"aac",  "emy",    "flac",   "g721", "g721-4", "g722",   "g722-6", "g722-7",
          "g723", "g723-3", "g723-5", "g726", "g726-2", "g726-3", "g726-4", "g726-5",
          "gsm",  "imy",    "mp3",    "opus", "rmi",    "voc",    "wma"}) {
        std::set<std::uint32_t> variants;
        int writers = 0;
        for (int row = 0; row < kFormatRows; ++row) {
            if (formatRow(row)->write && rowExtension(row) == extension) {
                variants.insert(formatRow(row)->variant);
                ++writers;
            }
        }
        EXPECT_GT(writers, 1) << extension;
        EXPECT_EQ(static_cast<int>(variants.size()), writers) << extension;
    }
}

TEST(FormatTableRows, SpeechCodecRowsFixTheirCodeWidth) {
    struct Case {
        const char* extension;
        std::uint32_t width;  // bits of a code in the variant's low byte; 0 asks
        std::uint32_t encodings;
    };
    const auto adpcm = [](int bits) { return 1u << (9 + bits); };  // ADPCM 2-bit is encoding 11
    const Case cases[] = {{"g721", 0, adpcm(4)},
                          {"g721-4", 4, adpcm(4)},
                          {"g723", 0, adpcm(3) | adpcm(5)},
                          {"g723-3", 3, adpcm(3)},
                          {"g723-5", 5, adpcm(5)},
                          {"g726", 0, adpcm(2) | adpcm(3) | adpcm(4) | adpcm(5)},
                          {"g726-2", 2, adpcm(2)},
                          {"g726-3", 3, adpcm(3)},
                          {"g726-4", 4, adpcm(4)},
                          {"g726-5", 5, adpcm(5)}};
    for (const Case& each : cases) {
        const int reader = findReaderByExtension(std::string("x.") + each.extension);
        ASSERT_GE(reader, 0) << each.extension;
        // The G.721 rows know one width only, so their reader has nothing to be told.
        const bool oneWidth = std::string_view(each.extension).starts_with("g721");
        EXPECT_EQ(formatRow(reader)->variant, oneWidth ? 0u : each.width) << each.extension;
        // The first writer packs the codes from the top bit down, the second from the bottom up.
        for (const std::uint32_t packing : {0x100u, 0u}) {
            const int row = reader + (packing ? 1 : 2);
            ASSERT_TRUE(formatRow(row) && formatRow(row)->write) << nameOf(row);
            EXPECT_EQ(rowExtension(row), each.extension);
            EXPECT_EQ(formatRow(row)->variant, packing | each.width) << nameOf(row);
            EXPECT_EQ(formatRow(row)->flags, each.encodings | format_flags::kMono) << nameOf(row);
        }
    }
    // Four code bits to a sample at 16 kHz, in the mode of 64 kbit/s.
    EXPECT_EQ(formatRow(findWriterByExtension("x.g722-8"))->variant, 8u);
}

TEST(FormatTableRows, FlagsOfReadersComeFromTheWriterBehindThem) {
    EXPECT_EQ(rowFlags(242).flags, formatRow(243)->flags);  // mp3
    EXPECT_EQ(rowFlags(341).flags, formatRow(342)->flags);  // rmi
    EXPECT_EQ(rowFlags(458).flags, 0u);                     // vm1: nothing writes it
    EXPECT_EQ(formatRow(458)->variant, 0x104u);
}

}  // namespace
}  // namespace velor
