// What must hold for the rows of the format table, whatever is built, and how it is asked.
#include <gtest/gtest.h>

#include <set>

#include "base/error.h"
#include "formats/framework/format_table.h"
#include "items/sample_encoding.h"

namespace velor {
namespace {

constexpr std::uint8_t kWaveforms = 1;
constexpr std::uint8_t kSongs = 0x60;  // songs and their tracks

TEST(FormatTableRows, FlagsSayWhatWritersStore) {
    constexpr std::uint32_t kChannels = format_flags::kMono | format_flags::kStereo;
    constexpr std::uint32_t kKnown = format_flags::kEncodings | kChannels | format_flags::kStereoCapable;
    for (int row = 0; row < kFormatRows; ++row) {
        SCOPED_TRACE(formatText("row %d %s", row, formatRow(row)->extension));
        const FormatEntry& entry = *formatRow(row);
        EXPECT_TRUE(entry.read || entry.write);
        EXPECT_EQ(entry.read != nullptr, entry.probe != nullptr);
        EXPECT_EQ(entry.flags & ~kKnown, 0u);
        if (!entry.write) {
            EXPECT_EQ(entry.flags, 0u);
        } else if (entry.kinds == kWaveforms) {
            EXPECT_NE(entry.flags & format_flags::kEncodings, 0u);
            EXPECT_NE(entry.flags & kChannels, 0u);
            EXPECT_EQ(entry.flags & encodingBit(SampleEncoding::Midi), 0u);
        } else if ((entry.kinds & kSongs) && !(entry.kinds & ~kSongs)) {
            EXPECT_EQ(entry.flags, encodingBit(SampleEncoding::Midi));
        }
    }
}

// One writer serves several rows through the variant, so rows of one extension must not agree in both. Rows
// that merely share an extension have writers of their own, told apart here by the encodings they store.
TEST(FormatTableRows, WritersOfOneExtensionDiffer) {
    for (const char* const extension :
         {"aac", "emy", "flac", "gsm", "imy", "mp3", "opus", "rmi", "voc", "wma"}) {
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

TEST(FormatTableQueries, FollowTheRules) {
    EXPECT_EQ(findReaderByExtension("SONG.WAV"), 478);
    EXPECT_EQ(findReaderByExtension("wav"), 478) << "a name without a dot is its own extension";
    EXPECT_EQ(findWriterByExtension("x.dls"), 63);
    EXPECT_EQ(findWriterForKinds(".404", 128), 4);
    EXPECT_EQ(findWriterForKinds("404", 16), 5);
    EXPECT_EQ(findWriterForKinds("404", 1), -1);
    EXPECT_EQ(rowFlags(242).flags, formatRow(243)->flags) << "flags of the next writer of the extension";
    EXPECT_EQ(rowFlags(1).flags, 0u);
    EXPECT_EQ(rowFlags(-1).flags, 0u);
    EXPECT_EQ(rowDescription(527), "<none>");
    EXPECT_EQ(rowExtension(-1), "");
    EXPECT_EQ(outputChannels(0x100000, 2), 1);
    EXPECT_EQ(outputChannels(0x200000, 1), 2);
    EXPECT_EQ(outputChannels(0x2100005, 2), 2);
}

TEST(FormatTableQueries, WalkEveryReaderAndWriter) {
    std::set<int> readers, writers;
    for (int row = 0, cursor = 0; (row = nextReader(cursor)) >= 0;)
        readers.insert(row);
    for (int row = 0, cursor = 0; (row = nextWriter(cursor)) >= 0;)
        writers.insert(row);
    for (int row = 0; row < kFormatRows; ++row) {
        EXPECT_EQ(readers.contains(row), formatRow(row)->read != nullptr) << row;
        EXPECT_EQ(writers.contains(row), formatRow(row)->write != nullptr) << row;
    }
}

TEST(FormatTableQueries, ExtensionsMatchLikePatterns) {
    const struct {
        const char *pattern, *extension;
        bool matches;
    } cases[] = {{"wav", "WAV", true}, {"wav", "wave", false}, {"wav", "wa", false}, {"*", "", true},
                 {"s?", "s1", true},   {"s?", "s", true},      {"s?", "s12", false}, {"a*", "abc", true}};
    for (const auto& each : cases)
        EXPECT_EQ(matchExtension(each.pattern, each.extension), each.matches) << each.pattern;
}

}  // namespace
}  // namespace velor
