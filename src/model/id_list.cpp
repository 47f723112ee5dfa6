#include "model/id_list.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace vaxel {

IdList::IdList(const IdList& other) { assign(other.data_, other.size_); }

IdList& IdList::operator=(const IdList& other) {
    if (this != &other) assign(other.data_, other.size_);
    return *this;
}

IdList::~IdList() {
    if (data_ != inline_) std::free(data_);
}

bool IdList::reserve(uint32_t capacity) {
    if (capacity <= capacity_) return true;
    uint32_t grown = capacity_;
    while (grown < capacity) grown *= 2;
    auto* fresh = static_cast<ItemId*>(std::malloc(size_t(grown) * sizeof(ItemId)));
    if (!fresh) return false;
    std::memcpy(fresh, data_, size_t(size_) * sizeof(ItemId));
    if (data_ != inline_) std::free(data_);
    data_ = fresh;
    capacity_ = grown;
    return true;
}

bool IdList::push_back(ItemId id) {
    if (size_ == capacity_ && !reserve(capacity_ * 2)) return false;
    data_[size_++] = id;
    return true;
}

bool IdList::insert(uint32_t index, ItemId id) {
    if (index > size_) index = size_;
    if (size_ == capacity_ && !reserve(capacity_ * 2)) return false;
    std::memmove(data_ + index + 1, data_ + index, size_t(size_ - index) * sizeof(ItemId));
    data_[index] = id;
    ++size_;
    return true;
}

void IdList::erase(uint32_t index) {
    if (index >= size_) return;
    std::memmove(data_ + index, data_ + index + 1, size_t(size_ - index - 1) * sizeof(ItemId));
    --size_;
}

uint32_t IdList::remove(ItemId id) {
    ItemId* last = std::remove(data_, data_ + size_, id);
    uint32_t removed = uint32_t((data_ + size_) - last);
    size_ -= removed;
    return removed;
}

int IdList::indexOf(ItemId id) const {
    for (uint32_t i = 0; i < size_; ++i)
        if (data_[i] == id) return int(i);
    return -1;
}

bool IdList::assign(const ItemId* ids, uint32_t count) {
    if (!reserve(count)) return false;
    if (count) std::memmove(data_, ids, size_t(count) * sizeof(ItemId));
    size_ = count;
    return true;
}

void IdList::swap(IdList& other) {
    IdList tmp(other);
    other = *this;
    *this = tmp;
}

} // namespace vaxel
