// What tests of whole files share: a collection, what it is opened and saved with, and a folder.
#pragma once

#include <gtest/gtest.h>

#include "base/error.h"
#include "formats/framework/format_table.h"
#include "test_tools.h"

namespace velor::test {

struct CollectionFixture : testing::Test {
    CollectionFixture() { services.ui = &ui; }

    TemporaryFolder folder;
    RecordingInterface ui;
    PipelineServices services;
    Collection collection;
};

}  // namespace velor::test
