// What a run changed, in words: the difference between two states of a collection.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "items/collection.h"

namespace velor {

struct FieldChange {
    std::string what;  // "frames", "root key"; "audio data" has no values
    std::string from, to;
};

struct ItemChange {
    enum class Kind : std::uint8_t { Changed, Added, Removed };
    ItemId id;
    Kind kind = Kind::Changed;
    std::string name;  // as it was; of an added item as it is
    std::vector<FieldChange> fields;
};

// The fields of every item as texts. Costs no decoding: sample data are compared by where they are.
class CollectionState {
  public:
    CollectionState(const Collection& collection, const NoteNaming& naming);

    // Changed and removed items in this state's order, then added ones in the later state's.
    std::vector<ItemChange> changesTo(const CollectionState& later) const;

  private:
    struct State {
        ItemId id;
        std::string name;
        std::vector<std::pair<const char*, std::string>> fields;
        // The samples: shared ownership keeps their addresses from being used again.
        SampleBufferRef buffer;
        std::shared_ptr<const WaveformSource> source;
    };
    static State stateOf(const Item& item, const NoteNaming& naming);

    std::vector<State> items_;
    std::unordered_map<ItemId, std::size_t> places_;
};

}  // namespace velor
