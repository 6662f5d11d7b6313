#include "items/item_table.h"

namespace velor {

void ItemTable::insert(std::unique_ptr<Item> item) {
    if (size_ + 1 > buckets_.size())
        grow();
    auto& bucket = buckets_[bucketOf(item->id())];
    auto node = std::make_unique<Node>();
    node->id = item->id();
    node->item = std::move(item);
    node->next = std::move(bucket);
    bucket = std::move(node);
    ++size_;
}

std::unique_ptr<Item> ItemTable::take(ItemId id) {
    for (auto* link = &buckets_[bucketOf(id)]; *link; link = &(*link)->next) {
        if ((*link)->id == id) {
            auto item = std::move((*link)->item);
            auto rest = std::move((*link)->next);
            *link = std::move(rest);
            --size_;
            return item;
        }
    }
    return nullptr;
}

void ItemTable::clear() {
    for (auto& bucket : buckets_) {
        while (bucket) {  // one by one: a long chain must not be freed recursively
            auto next = std::move(bucket->next);
            bucket = std::move(next);
        }
    }
    buckets_.clear();
    buckets_.resize(8);
    size_ = 0;
}

void ItemTable::grow() {
    std::vector<std::unique_ptr<Node>> old(buckets_.size() * 2);
    old.swap(buckets_);
    for (auto& bucket : old) {
        while (bucket) {
            auto next = std::move(bucket->next);
            auto& target = buckets_[bucketOf(bucket->id)];
            bucket->next = std::move(target);
            target = std::move(bucket);
            bucket = std::move(next);
        }
    }
}

}  // namespace velor
