// Running processes by name, as the tests of all of them do.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/processing/catalogue.h"
#include "app/processing/runner.h"
#include "test_tools.h"

namespace velor::test {

// Runs a process over everything in the collection that its flavour works on. Settings as "key=value".
inline ProcessRun runNamed(const std::string& name, Collection& collection,
                           const std::vector<std::string>& pairs = {},
                           std::optional<FrameSelection> selection = {}, UserInterface* ui = nullptr) {
    const NamedProcess named = findProcess(name);
    if (!named.row || !processBuilt(*named.row)) {
        ADD_FAILURE() << "no process " << name;
        return {};
    }
    const ItemId all[] = {collection.id()};
    ProcessContext context = processContext(named.flavour, collection, all);
    context.selection = selection;
    ProcessSettings settings(named.row->process->parameters);
    for (const std::string& pair : pairs)
        EXPECT_EQ(settings.setPair(pair), "") << pair;
    UserInterface quiet;
    return runProcess(*named.row, context, settings, ui ? *ui : quiet);
}

}  // namespace velor::test
