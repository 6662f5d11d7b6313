// The hash table from ItemId to item.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "items/item.h"

namespace velor {

// Owns the items. Buckets are chosen by 64-bit FNV-1a over the id; their number is a power of two, 8 at the
// start and doubled when there would be more than one item per bucket. Colliding entries are chained.
class ItemTable {
  public:
    ItemTable() : buckets_(8) {}
    ~ItemTable() { clear(); }
    ItemTable(const ItemTable&) = delete;
    ItemTable& operator=(const ItemTable&) = delete;

    std::size_t size() const { return size_; }
    std::size_t bucketCount() const { return buckets_.size(); }
    std::size_t bucketOf(ItemId id) const { return fnv1a64(id.value) & (buckets_.size() - 1); }

    // nullptr for ids that are not in the table.
    Item* find(ItemId id) const {
        for (const Node* node = buckets_[bucketOf(id)].get(); node; node = node->next.get()) {
            if (node->id == id)
                return node->item.get();
        }
        return nullptr;
    }
    // The id must not be in the table.
    void insert(std::unique_ptr<Item> item);
    // Takes the item out; nullptr when it is not there.
    std::unique_ptr<Item> take(ItemId id);
    void clear();

  private:
    struct Node {
        ItemId id;
        std::unique_ptr<Item> item;
        std::unique_ptr<Node> next;
    };

    void grow();

    std::vector<std::unique_ptr<Node>> buckets_;
    std::size_t size_ = 0;
};

}  // namespace velor
