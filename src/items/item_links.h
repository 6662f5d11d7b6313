// The ordered list of ids that an item links to. What the links mean depends on the item's kind.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "items/item_id.h"

namespace velor {

// Sixteen entries live inside the item itself; the list moves to the heap when a seventeenth is added.
class ItemLinks {
  public:
    static constexpr std::uint32_t kInPlace = 16;

    ItemLinks() = default;
    ItemLinks(const ItemLinks& other) { assign(other.view()); }
    ItemLinks& operator=(const ItemLinks& other);
    ~ItemLinks() = default;

    std::uint32_t count() const { return count_; }
    std::uint32_t capacity() const { return capacity_; }
    bool empty() const { return count_ == 0; }
    bool onHeap() const { return heap_ != nullptr; }

    ItemId operator[](std::uint32_t index) const { return data()[index]; }
    std::span<const ItemId> view() const { return {data(), count_}; }
    const ItemId* begin() const { return data(); }
    const ItemId* end() const { return data() + count_; }

    void add(ItemId id);
    // Inserts before `index`; an index beyond the end appends.
    void insert(std::uint32_t index, ItemId id);
    void set(std::uint32_t index, ItemId id) { data()[index] = id; }
    void removeAt(std::uint32_t index);
    // Removes every occurrence; returns how many there were.
    std::uint32_t remove(ItemId id);
    std::uint32_t replace(ItemId from, ItemId to);
    bool contains(ItemId id) const;
    // The first link of the given kind, or kNoItem.
    ItemId firstOf(ItemKind kind) const;
    void assign(std::span<const ItemId> ids);
    void clear() { count_ = 0; }

  private:
    const ItemId* data() const { return heap_ ? heap_.get() : inPlace_.data(); }
    ItemId* data() { return heap_ ? heap_.get() : inPlace_.data(); }
    void reserve(std::uint32_t capacity);

    std::uint32_t count_ = 0;
    std::uint32_t capacity_ = kInPlace;
    std::array<ItemId, kInPlace> inPlace_{};
    std::unique_ptr<ItemId[]> heap_;
};

}  // namespace velor
