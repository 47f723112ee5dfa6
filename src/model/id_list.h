#pragma once
// The list of child ids that every item carries. Sixteen ids live inside the
// item so that the common case (a region with its wave, a layer with a few
// regions) never touches the heap; beyond that the storage doubles.
#include <cstddef>
#include <cstdint>

#include "model/ids.h"

namespace vaxel {

class IdList {
public:
    static constexpr uint32_t kInline = 16;

    IdList() = default;
    IdList(const IdList& other);
    IdList& operator=(const IdList& other);
    ~IdList();

    uint32_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    ItemId operator[](uint32_t i) const { return data_[i]; }
    ItemId& operator[](uint32_t i) { return data_[i]; }
    const ItemId* begin() const { return data_; }
    const ItemId* end() const { return data_ + size_; }
    ItemId* begin() { return data_; }
    ItemId* end() { return data_ + size_; }

    // False when the storage could not grow; the list is then unchanged and
    // the id is lost, as the model allows.
    bool push_back(ItemId id);
    bool insert(uint32_t index, ItemId id);
    void erase(uint32_t index);
    // Removes every entry equal to id; returns how many went.
    uint32_t remove(ItemId id);
    int indexOf(ItemId id) const;
    bool contains(ItemId id) const { return indexOf(id) >= 0; }
    void clear() { size_ = 0; }
    bool assign(const ItemId* ids, uint32_t count);
    void swap(IdList& other);

private:
    bool reserve(uint32_t capacity);

    ItemId* data_ = inline_;
    uint32_t size_ = 0;
    uint32_t capacity_ = kInline;
    ItemId inline_[kInline];
};

} // namespace vaxel
