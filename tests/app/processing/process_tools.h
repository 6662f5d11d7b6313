// Running processes by name, as the tests of all of them do.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/processing/catalogue.h"
#include "app/processing/runner.h"
#include "wave_tools.h"

namespace velor::test {

// Runs a process on items of a collection, as when they are selected. Settings as "key=value".
inline ProcessRun runItems(const std::string& name, Collection& collection,
                           const std::vector<ItemId>& selected, const std::vector<std::string>& pairs = {},
                           std::optional<FrameSelection> selection = {}, UserInterface* ui = nullptr) {
    const NamedProcess named = findProcess(name);
    if (!named.row || !processBuilt(*named.row)) {
        ADD_FAILURE() << "no process " << name;
        return {};
    }
    ProcessContext context = processContext(named.flavour, collection, selected);
    context.selection = selection;
    ProcessSettings settings(named.row->process->parameters);
    for (const std::string& pair : pairs)
        EXPECT_EQ(settings.setPair(pair), "") << pair;
    UserInterface quiet;
    return runProcess(*named.row, context, settings, ui ? *ui : quiet);
}

// The same on everything in the collection that its flavour works on.
inline ProcessRun runNamed(const std::string& name, Collection& collection,
                           const std::vector<std::string>& pairs = {},
                           std::optional<FrameSelection> selection = {}, UserInterface* ui = nullptr) {
    return runItems(name, collection, {collection.id()}, pairs, selection, ui);
}

}  // namespace velor::test
