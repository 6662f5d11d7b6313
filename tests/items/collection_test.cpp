#include "items/collection.h"

#include <gtest/gtest.h>

#include "test_tools.h"

namespace velor {
namespace {

TEST(Collection, SerialsOnlyRise) {
    Collection collection;
    std::vector<ItemId> ids;
    for (int i = 0; i < 20; ++i)
        ids.push_back(collection.create<Waveform>("w")->id());
    collection.remove(ids[4]);
    EXPECT_EQ(collection.create<Waveform>("w")->id().serial(), ids.back().serial() + 1);
    EXPECT_EQ(collection.count(ItemKind::Waveform), 20u);
    EXPECT_EQ(collection.find(ids[4]), nullptr);

    // The counter is the application's: a second collection goes on counting.
    Collection second;
    EXPECT_EQ(second.create<Waveform>("w")->id().serial(), ids.back().serial() + 2);
}

TEST(Collection, ExplicitSerialsAreUsedAndRemembered) {
    Collection collection;
    auto* item = collection.create<Layer>("a", 5000000);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->id().value, 3u << 29 | 5000000u);
    EXPECT_EQ(collection.create<Layer>("b", 5000000), nullptr);
    EXPECT_EQ(collection.create<Layer>("c")->id().serial(), 5000001u);
    EXPECT_EQ(collection.id().value, 0xE0000000u);
    EXPECT_EQ(collection.name(), "New collection");
    EXPECT_EQ(collection.find(ItemId(0xFFFFFFFF)), nullptr);
    EXPECT_EQ(collection.find<Region>(item->id()), nullptr) << "an id of another kind is not that item";
}

TEST(Collection, TableFindsEverythingThroughGrowthAndRemoval) {
    Collection collection;
    EXPECT_EQ(collection.table().bucketCount(), 8u);
    std::vector<ItemId> ids;
    for (int i = 0; i < 5000; ++i)
        ids.push_back(
            collection.create(kContainedKinds[static_cast<std::size_t>(i) % 7], kFreshSerial, "x")->id());
    EXPECT_GE(collection.table().bucketCount(), 5000u) << "load factor at most 1";
    for (std::size_t i = 0; i < ids.size(); i += 2)
        EXPECT_TRUE(collection.remove(ids[i]));
    for (std::size_t i = 0; i < ids.size(); ++i)
        EXPECT_EQ(collection.find(ids[i]) != nullptr, i % 2 == 1);
    collection.clear();
    EXPECT_TRUE(collection.empty());
    for (const ItemKind kind : kContainedKinds)
        EXPECT_EQ(collection.count(kind), 0u);
}

TEST(ItemLinks, SeventeenthLinkMovesToTheHeapInOrder) {
    ItemLinks links;
    for (std::uint32_t i = 0; i < 16; ++i)
        links.add(ItemId(ItemKind::Region, i));
    EXPECT_FALSE(links.onHeap());
    links.add(ItemId(ItemKind::Waveform, 16));
    EXPECT_TRUE(links.onHeap());
    for (std::uint32_t i = 0; i < 17; ++i)
        EXPECT_EQ(links[i].serial(), i);
    EXPECT_EQ(links.firstOf(ItemKind::Waveform).serial(), 16u);
    links.insert(0, ItemId(ItemKind::Layer, 99));
    links.removeAt(1);
    EXPECT_EQ(links[0].serial(), 99u);
    EXPECT_EQ(links[1].serial(), 1u);
    EXPECT_EQ(links.remove(ItemId(ItemKind::Region, 3)), 1u);
    EXPECT_EQ(links.count(), 16u);
}

TEST(SampleBuffer, GuardFramesAreZeroAndFrameZeroIsAligned) {
    for (const int channels : {1, 2}) {
        for (const std::uint32_t frames : {0u, 1u, 5u, 1000u}) {
            SampleBufferRef buffer(SampleBuffer::create(frames, static_cast<std::uint8_t>(channels), 44100));
            ASSERT_TRUE(buffer);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->data()) % 16, 0u);
            std::ranges::fill(buffer->samples(), 1.0f);
            for (int i = 1; i <= channels; ++i)
                EXPECT_EQ(buffer->data()[-i], 0.0f);
            for (std::size_t i = 0; i < 3u * static_cast<unsigned>(channels); ++i)
                EXPECT_EQ(buffer->data()[buffer->sampleCount() + i], 0.0f);
            const SampleBufferRef second = buffer;
            EXPECT_EQ(buffer->references(), 2u);
        }
    }
}

struct Summaries : testing::Test {
    Collection collection;
    NoteNaming naming;
};

TEST_F(Summaries, OfEveryKind) {
    auto* kit = collection.create<Instrument>("kit");
    kit->patch = PatchNumber(0x00200000);
    EXPECT_EQ(kit->summary(naming), "Drum kit 0:0:0 with 0 layers and 0 regions");
    auto* piano = collection.create<Instrument>("piano");
    piano->patch = PatchNumber(5, 2, 121, false);
    auto* layer = collection.create<Layer>("l");
    auto* low = collection.create<Region>("low");
    auto* high = collection.create<Region>("high");
    low->keys = {24, 59};
    high->keys = {60, 96};
    high->velocities = {64, 127};
    layer->links.add(low->id());
    layer->links.add(high->id());
    piano->links.add(layer->id());
    piano->links.add(ItemId(ItemKind::Layer, 77777));  // a stale link counts as a layer without regions
    EXPECT_EQ(piano->summary(naming), "Instrument 121:2:5 with 2 layers and 2 regions");
    EXPECT_EQ(layer->summary(naming), "Layer with 2 regions, key range: C1..C7, velocity range: 0..127");
    EXPECT_EQ(high->summary(naming), "Region with key range: C4..C7, velocity range: 64..127, root key: C4");
    auto* wave = collection.create<Waveform>("w");
    wave->rootKey = 48;
    high->links.add(wave->id());
    EXPECT_EQ(high->summary(naming), "Region with key range: C4..C7, velocity range: 64..127, root key: C3");
    high->links.remove(wave->id());

    low->overrides.flags = RegionOverrides::RootKey;
    low->overrides.rootKey = 42;
    EXPECT_EQ(low->summary(naming),
              "Region with key range: C1..B3, velocity range: 0..127, root key: F#2 (override)");
    EXPECT_EQ(low->summary({false, 4}),
              "Region with key range: 24..59, velocity range: 0..127, root key: 42 (override)");
    EXPECT_EQ(noteName(60, {true, 3}), "C3");
    EXPECT_EQ(noteName(0, {true, 4}), "C-1");

    auto* model = collection.create<SynthModel>("m");
    EXPECT_EQ(model->summary(naming), "FM-synthesis model");
    model->modelType = 1;
    EXPECT_EQ(model->summary(naming), "LA-synthesis model");
    model->modelType = 2;
    EXPECT_EQ(model->summary(naming), "?-synthesis model");
    high->links.add(model->id());
    EXPECT_EQ(high->summary(naming), "Region with key range: C4..C7, velocity range: 64..127");

    wave->frames = 66150;
    EXPECT_EQ(wave->summary(naming), "Waveform with 66150 samples at 44100 Hz - 0:01.500");
    wave->channels = 2;
    wave->setLoop(LoopMode::Forward, 1, 2);
    EXPECT_EQ(wave->summary(naming), "Stereo waveform with 66150 samples at 44100 Hz - 0:01.500, looped");

    auto* song = collection.create<MidiSong>("s");
    auto* track = collection.create<MidiTrack>("t");
    track->eventCount = 12;
    song->links.add(track->id());
    EXPECT_EQ(track->summary(naming), "Midi track with 12 events");
    EXPECT_EQ(song->summary(naming), "MIDI song with 1 track  and 12 events");
    EXPECT_EQ(collection.summary(naming), "Collection with 2 instruments and 1 waveform");
    EXPECT_EQ(selectionSummary({wave, song}, naming), "Selected 2 items");
    EXPECT_EQ(collection.instrumentHolding(*low), piano);
    EXPECT_EQ(collection.songHolding(*track), song);
}

TEST_F(Summaries, SelectionSizesChangeUnitAtTenThousandK) {
    EXPECT_EQ(waveformSelectionSummary(2, 10485247), "Selected 2 waveforms ~ 10239K samples");
    EXPECT_EQ(waveformSelectionSummary(2, 10485248), "Selected 2 waveforms ~ 10M samples");
    EXPECT_EQ(timeText(3600.0 * 25 + 61.0015), "25:01:01.002");
    EXPECT_EQ(timeText(-1), "0:00.000");
}

// Fills every field of one item of each kind, so that a field forgotten in a serialiser shows.
void fill(Collection& collection) {
    auto* wave = test::addWaveform(collection, "wave \xE9", {0.5f, -0.25f, 1.0f, -1.0f}, 2, 48000);
    wave->rootKey = 33;
    wave->fineTune = -12;
    wave->tuning = 0.25f;
    wave->gain = -6.5f;
    wave->bits = 24;
    wave->format = SampleFormat::Pcm24;
    wave->sourceFormat = 0x1000010;
    wave->sourceOffset = 1ull << 40;
    wave->secondBlockOffset = 77;
    wave->sourceFile = "a/b.wav";
    wave->setLoop(LoopMode::Alternating, 0.5, 1.75);
    wave->loopUntilRelease = wave->playThrough = true;
    for (std::size_t i = 0; i < kWaveTexts; ++i)
        wave->texts[i] = "text " + std::to_string(i);
    auto* region = collection.create<Region>("r");
    region->links.add(wave->id());
    region->keys = {10, 20};
    region->velocities = {30, 40};
    region->overrides = {63, 61, true, LoopMode::Backward, 5, 6, 7.5f};
    region->articulation.set(24, 8000);
    auto* layer = collection.create<Layer>("l");
    layer->links.add(region->id());
    layer->articulation.set(14, -3);
    auto* instrument = collection.create<Instrument>("i");
    instrument->links.add(layer->id());
    instrument->patch = PatchNumber(1, 2, 3, true);
    instrument->articulation.set(0, 12);
    auto* model = collection.create<SynthModel>("m");
    model->modelType = 1;
    model->parameters = {1, 2, 3};
    auto* track = collection.create<MidiTrack>("t");
    track->events = {0, 0x90, 60, 64, 0, 0xFF, 0x2F, 0};
    track->eventCount = 2;
    track->port = 1;
    track->channel = -2;
    track->sequenceNumber = 9;
    auto* song = collection.create<MidiSong>("s");
    song->links.add(track->id());
    song->format = 2;
    song->division = 96;
    song->artist = "a";
    song->product = "p";
    song->copyright = "c";
    song->comment = "o";
    song->engineer = "e";
}

std::vector<Byte> serialised(const Item& item) {
    std::vector<Byte> bytes(item.serializedSize());
    ByteWriter writer(bytes);
    item.serialize(writer);
    EXPECT_TRUE(writer.ok());
    EXPECT_EQ(writer.remaining(), 0u) << kindName(item.kind());
    return bytes;
}

TEST(Serialisation, EveryKindComesBackAndTruncationIsRefused) {
    Collection collection;
    fill(collection);
    for (const ItemKind kind : kContainedKinds) {
        const Item* item = collection.find(collection.list(kind).front());
        const std::vector<Byte> bytes = serialised(*item);
        EXPECT_EQ(loadLe<std::uint32_t>(bytes.data()), item->id().value);
        Collection copy;
        Item* restored = copy.create(kind, item->id().serial(), "");
        ByteReader reader(std::span<const Byte>(bytes).subspan(4));
        ASSERT_TRUE(restored->deserialize(reader)) << kindName(kind);
        EXPECT_EQ(reader.remaining(), 0u);
        EXPECT_EQ(serialised(*restored), bytes) << kindName(kind);
        for (std::size_t length = 4; length < bytes.size(); ++length) {
            Collection other;
            ByteReader cut(std::span<const Byte>(bytes).subspan(4, length - 4));
            EXPECT_FALSE(other.create(kind, 1, "")->deserialize(cut)) << kindName(kind) << " at " << length;
        }
    }
}

TEST(Collection, MergeRenumbersClashingItemsAndTheirLinks) {
    Collection first, second;
    auto* wave = first.create<Waveform>("first", 1);
    auto* region = first.create<Region>("r", 1);
    region->links.add(wave->id());
    auto* otherWave = second.create<Waveform>("second", 1);
    auto* otherRegion = second.create<Region>("r2", 2);
    otherRegion->links.add(otherWave->id());
    first.mergeFrom(second);
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(first.count(ItemKind::Waveform), 2u);
    EXPECT_EQ(region->waveform()->name(), "first");
    EXPECT_EQ(otherRegion->waveform()->name(), "second");
    EXPECT_EQ(&otherRegion->owner(), &first);
    EXPECT_EQ(otherRegion->id().serial(), 2u) << "an id that is free is kept";
}

TEST(FixUp, BringsHostileItemsIntoOrder) {
    Collection collection;
    auto* region = collection.create<Region>("r");
    region->keys = {200, 3};
    region->links.add(ItemId(ItemKind::Waveform, 4711));
    region->links.add(collection.id());
    region->articulation.set(1, std::nanf(""));
    auto* wave = test::addWaveform(collection, "w", {0, 0, 0});
    wave->rootKey = 255;
    wave->tuning = std::nanf("");
    wave->setLoop(LoopMode::Forward, 2, 100);
    auto* empty = test::addWaveform(collection, "e", {0, 0, 0});
    empty->setLoop(LoopMode::Forward, 2, std::nan(""));
    FixUpLists lists;
    for (Item* item : std::initializer_list<Item*>{region, wave, empty})
        item->fixUp(lists);
    EXPECT_EQ(region->keys, (MidiRange{3, 127}));
    EXPECT_TRUE(region->links.empty());
    EXPECT_TRUE(region->articulation.empty());
    EXPECT_EQ(wave->rootKey, 127);
    EXPECT_EQ(wave->tuning, 0);
    EXPECT_EQ(wave->loopEnd, 3);
    EXPECT_FALSE(empty->looped);
}

}  // namespace
}  // namespace velor
