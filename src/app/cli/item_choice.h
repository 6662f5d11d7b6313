// Which items of a file are written, and to which row of the format table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/cli/convert_types.h"
#include "items/collection.h"

namespace velor::cli {

struct ItemChoice {
    int row = -1;
    std::vector<Item*> items;  // each becomes a file of its own
};

// Chooses by the request's row, item and extension. False with LastErrorText.
bool chooseItems(Collection& collection, const ConvertRequest& request, std::string_view extension,
                 ItemChoice& choice);

// The row for --type: the first that writes this description, of the extension when one is given. -1 when
// there is none.
int findWriterByDescription(std::string_view description, std::string_view extension);

// `Could not …; it holds …`: what a row can store, for messages.
std::string encodingList(std::uint32_t flags);

}  // namespace velor::cli
