#include <gtest/gtest.h>

#include "items/collection.h"

namespace velor {
namespace {

TEST(Collection, SerialsOnlyRise) {
    Collection collection;
    std::vector<ItemId> ids;
    for (int i = 0; i < 20; ++i)
        ids.push_back(collection.create<Waveform>("w")->id());
    collection.remove(ids[4]);
    EXPECT_EQ(collection.create<Waveform>("w")->id().serial(), ids.back().serial() + 1);
}

}  // namespace
}  // namespace velor
