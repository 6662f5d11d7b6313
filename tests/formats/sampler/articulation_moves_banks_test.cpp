// Moving articulation between the levels of real banks.
#include "formats/framework/collection_fixture.h"
#include "items/articulation_moves.h"
#include "played_tools.h"

namespace velor::test {
namespace {

// How many settings all records hold.
std::size_t settings(const Collection& collection) {
    std::size_t count = 0;
    for (const auto* instrument : collection.all<Instrument>())
        count += instrument->articulation.entries().size();
    for (const auto* layer : collection.all<Layer>())
        count += layer->articulation.entries().size();
    for (const auto* region : collection.all<Region>())
        count += region->articulation.entries().size();
    return count;
}

struct MovesInRealBanks : CollectionFixture, testing::WithParamInterface<const char*> {};

TEST_P(MovesInRealBanks, SoundTheSameWithFewerSettings) {
    const std::string path = "/usr/share/sounds/sf2/" + std::string(GetParam());
    if (!std::filesystem::exists(path))
        GTEST_SKIP() << "needs " << path;
    ASSERT_TRUE(openFile(collection, path, false, services)) << LastErrorText;
    const PlayedByPlace before = listen(collection);
    const std::size_t many = settings(collection);
    moveArticulation(collection);
    expectSame(before, listen(collection), false);
    // The zones of a bank repeat most of what their instrument sets.
    EXPECT_LT(settings(collection), many / 2);
    for (Instrument* instrument : collection.all<Instrument>())
        moveArticulationDown(*instrument);
    expectSame(before, listen(collection), false);
}

INSTANTIATE_TEST_SUITE_P(Debian, MovesInRealBanks, testing::Values("TimGM6mb.sf2", "FluidR3_GM.sf2"));

}  // namespace
}  // namespace velor::test
