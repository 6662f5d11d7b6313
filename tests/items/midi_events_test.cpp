// The event stream: what stands in it, what damaged streams give, and that writing inverts reading.
#include <gtest/gtest.h>

#include <random>

#include "items/midi_tools.h"

namespace velor {
namespace {

using namespace test;

TEST(MidiEvents, ReadsStreams) {
    struct Case {
        const char* name;
        Stream stream;
        const char* events;
    };
    const Case cases[] = {
        {"plain", {0, 0x90, 60, 64, 96, 0x80, 60, 0, 0, 0xFF, 0x2F, 0}, "0: 90 3c 40|96: 80 3c 00|96: ff 2f"},
        {"lengths of messages",
         {0, 0xA1, 1, 2, 0, 0xB2, 3, 4, 0, 0xC3, 5, 0, 0xD4, 6, 0, 0xE5, 7, 8},
         "0: a1 01 02|0: b2 03 04|0: c3 05|0: d4 06|0: e5 07 08"},
        {"four-byte delta", {0xFF, 0xFF, 0xFF, 0x7F, 0xC0, 1}, "268435455: c0 01"},
        {"a fifth delta byte is none", {0x81, 0x80, 0x80, 0x80, 0xC0, 1}, "2097152: c0 01"},
        {"running status",
         {0, 0x90, 1, 2, 3, 4, 5, 6, 0xC0, 7, 8, 9},
         "0: 90 01 02|3: 90 04 05|9: c0 07|17: c0 09"},
        {"kept after meta, exclusive and system messages",
         {0, 0x91, 1,    2, 0, 0xFF, 1, 1,    65, 0, 3,    4, 0, 0xF0,
          2, 1,    0xF7, 0, 5, 6,    0, 0xF3, 9,  0, 0xF8, 0, 7, 8},
         "0: 91 01 02|0: ff 01 41|0: 91 03 04|0: f0 01 f7|0: 91 05 06|0: f3|0: f8|0: 91 07 08"},
        {"data before any status", {5, 1, 2, 3, 0x90, 60, 64}, "5: 90 3c 40"},
        {"data before any status, after a meta event",
         {0, 0xFF, 1, 0, 0, 60, 64, 0xC0, 3},
         "0: ff 01|0: c0 03"},
        {"data bytes out of range", {0, 0x90, 0xC8, 0xFF, 0, 0xE0, 0, 0x80}, "0: 90 7f 7f|0: e0 00 7f"},
        {"ends at the end of the track", {0, 0xFF, 0x2F, 0, 0, 0x90, 1, 2}, "0: ff 2f"},
        {"escape", {1, 0xF7, 2, 0xF3, 1}, "1: f7 f3 01"},
        {"meta longer than the stream", {0, 0xC0, 1, 0, 0xFF, 3, 9, 'a', 'b'}, "0: c0 01"},
        {"largest length", {0, 0xF0, 0xFF, 0xFF, 0xFF, 0x7F, 1}, ""},
        {"lone delta", {0x81}, ""},
        {"nothing", {}, ""},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(textOf(each.stream), each.events);
    }
}

TEST(MidiEvents, CutStreamsGiveTheFirstEvents) {
    const Stream whole = joined({meta(0, 3, "Lead"),
                                 tempo(0, 400000),
                                 {10, 0xC1, 7, 0x81, 0x48, 0x91, 60, 100},
                                 {20, 60, 0, 3, 0xF0, 3, 0x7E, 9, 0xF7, 1, 0xB1, 7, 99, 2, 0xE1, 0, 64},
                                 endOfTrack(96)});
    const std::string all = textOf(whole);
    std::size_t longest = 0;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const auto cut = std::span(whole).first(size);
        const std::string part = textOf(cut);
        EXPECT_EQ(part, all.substr(0, part.size())) << size;
        EXPECT_TRUE(part.empty() || part.size() == all.size() || all[part.size()] == '|') << size;
        EXPECT_GE(part.size(), longest) << size;
        longest = part.size();
        const MidiCounts counts = countMidiEvents(cut);
        EXPECT_LE(counts.bytes, size);
        EXPECT_EQ(counts.endOfTrack, size == whole.size());
    }
    EXPECT_EQ(longest, all.size());
    EXPECT_EQ(countMidiEvents(whole).events, 9u);
    EXPECT_EQ(countMidiEvents(whole).channelEvents, 5u);
    EXPECT_EQ(countMidiEvents(whole).notes, 1u);
    EXPECT_EQ(countMidiEvents(whole).ticks, 10u + 200 + 20 + 3 + 1 + 2 + 96);
}

TEST(MidiEvents, WrittenEventsReadTheSame) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        // Bytes that look like a stream often enough to get far.
        Stream stream(random() % 200);
        for (Byte& byte : stream)
            byte = static_cast<Byte>(random() % 4 ? random() % 128 : 0x80 + random() % 128);
        Stream written;
        MidiEventWriter writer(written);
        MidiEventReader reader(stream);
        std::string before;
        std::uint32_t count = 0;
        for (MidiEvent event; reader.next(event); ++count) {
            if (!event.isChannel() && event.status != 0xF0 && event.status != 0xF7 && event.status != 0xFF)
                continue;  // becomes an escape
            writer.add(event);
        }
        EXPECT_EQ(countMidiEvents(stream).events, count);
        ASSERT_EQ(countMidiEvents(written).events, writer.count());
        // A stream that was written once is written the same again.
        Stream again;
        MidiEventWriter rewriter(again);
        MidiEventReader rereader(written);
        for (MidiEvent event; rereader.next(event);)
            rewriter.add(event);
        ASSERT_EQ(again, written);
    }
}

TEST(MidiEvents, WritesCompactlyAndLegally) {
    Stream written;
    MidiEventWriter writer(written);
    const auto channel = [&](std::uint64_t tick, int status, int data1, int data2) {
        MidiEvent event;
        event.tick = tick;
        event.status = static_cast<std::uint8_t>(status);
        event.data1 = static_cast<std::uint8_t>(data1);
        event.data2 = static_cast<std::uint8_t>(data2);
        writer.add(event);
    };
    channel(200, 0x90, 60, 64);
    channel(200, 0x90, 64, 64);
    writer.addMeta(201, 6, {});
    channel(201, 0x90, 60, 0);
    channel(100, 0xC0, 5, 0);  // too late for its tick
    channel(201, 0xF2, 1, 2);
    channel(201, 0xC0, 6, 0);
    EXPECT_EQ(written, (Stream{0x81, 0x48, 0x90, 60,   64, 0, 64,   64, 1,    0xFF, 6, 0, 0,    0x90,
                               60,   0,    0,    0xC0, 5,  0, 0xF7, 3,  0xF2, 1,    2, 0, 0xC0, 6}));
    // A pause longer than a delta time can say.
    written.clear();
    MidiEventWriter far(written);
    const std::uint64_t late = 3ull * midi::kMostDelta + 5;
    far.addEndOfTrack(late);
    EXPECT_EQ(countMidiEvents(written).ticks, late);
    EXPECT_EQ(far.count(), 4u);
}

}  // namespace
}  // namespace velor
