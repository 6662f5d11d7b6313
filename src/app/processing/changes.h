// What a run changed, in words: the difference between two states of a collection.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "items/collection.h"

namespace velor {

struct FieldChange {
    std::string what;      // "frames", "root key", "layers"
    std::string from, to;  // both empty for what no value tells: "audio data", the order of links, events
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

    struct Field {
        const char* what;
        std::string value;      // as it is shown
        std::uint64_t key = 0;  // what else must be the same
    };

  private:
    struct State {
        ItemId id;
        std::string name;
        std::vector<Field> fields;
        // The samples: shared ownership keeps their addresses from being used again.
        SampleBufferRef buffer;
        std::shared_ptr<const WaveformSource> source;
    };
    static State stateOf(const Item& item, const NoteNaming& naming);

    std::vector<State> items_;
    std::unordered_map<ItemId, std::size_t> places_;
};

}  // namespace velor
