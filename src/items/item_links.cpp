#include "items/item_links.h"

#include <algorithm>

namespace velor {

ItemLinks& ItemLinks::operator=(const ItemLinks& other) {
    if (this != &other)
        assign(other.view());
    return *this;
}

void ItemLinks::reserve(std::uint32_t capacity) {
    if (capacity <= capacity_)
        return;
    const std::uint32_t grown = std::max(capacity, capacity_ * 2);
    auto block = std::make_unique<ItemId[]>(grown);
    std::copy_n(data(), count_, block.get());
    heap_ = std::move(block);
    capacity_ = grown;
}

void ItemLinks::add(ItemId id) {
    reserve(count_ + 1);
    data()[count_++] = id;
}

void ItemLinks::insert(std::uint32_t index, ItemId id) {
    index = std::min(index, count_);
    reserve(count_ + 1);
    std::copy_backward(data() + index, data() + count_, data() + count_ + 1);
    data()[index] = id;
    ++count_;
}

void ItemLinks::removeAt(std::uint32_t index) {
    if (index >= count_)
        return;
    std::copy(data() + index + 1, data() + count_, data() + index);
    --count_;
}

std::uint32_t ItemLinks::remove(ItemId id) {
    ItemId* end = std::remove(data(), data() + count_, id);
    const auto removed = static_cast<std::uint32_t>(data() + count_ - end);
    count_ -= removed;
    return removed;
}

std::uint32_t ItemLinks::replace(ItemId from, ItemId to) {
    std::uint32_t changed = 0;
    for (std::uint32_t i = 0; i < count_; ++i) {
        if (data()[i] == from) {
            data()[i] = to;
            ++changed;
        }
    }
    return changed;
}

bool ItemLinks::contains(ItemId id) const {
    return std::find(begin(), end(), id) != end();
}

ItemId ItemLinks::firstOf(ItemKind kind) const {
    const auto* found = std::find_if(begin(), end(), [kind](ItemId id) { return id && id.kind() == kind; });
    return found == end() ? kNoItem : *found;
}

void ItemLinks::assign(std::span<const ItemId> ids) {
    reserve(static_cast<std::uint32_t>(ids.size()));
    std::copy(ids.begin(), ids.end(), data());
    count_ = static_cast<std::uint32_t>(ids.size());
}

}  // namespace velor
