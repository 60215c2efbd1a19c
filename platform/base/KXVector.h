// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <utility>
#include <vector>

// A growing array in the order of insertion. Indices are not checked. Changing a vector while it is walked invalidates
// the walk, as with every array.
//
// An item may also be taken out of its slot, which moves no other item at first: the gaps close, all at once, when the
// vector is next looked at or added to. So taking out many, in any order, takes linear time, and nobody ever sees a
// gap. Until then each item keeps its slot, which is its index as of the last look. A look that finds no gap changes
// nothing; several threads may read such a vector.
template <class T>
class KXVector {
 public:
  using value_type = T;
  using const_iterator = typename std::vector<T>::const_iterator;

  std::size_t size() const { return items().size(); }
  bool isEmpty() const { return items().empty(); }
  void reserve(std::size_t size) { items().reserve(size); }

  T& operator[](std::size_t index) { return items()[index]; }
  const T& operator[](std::size_t index) const { return items()[index]; }

  T& add(T item) { return items().emplace_back(std::move(item)); }
  // The order of the others is kept.
  void removeAt(std::size_t index) { items().erase(items().begin() + static_cast<std::ptrdiff_t>(index)); }
  void clear() { items().clear(); }
  void swap(KXVector& other) { items().swap(other.items()); }

  auto begin() { return items().begin(); }
  auto end() { return items().end(); }
  auto begin() const { return std::as_const(items()).begin(); }
  auto end() const { return std::as_const(items()).end(); }

  // The slots are for vectors of pointers and the like: a default value is no item.
  bool hasGaps() const { return gaps_ != 0; }
  bool isInSlot(std::size_t slot, const T& item) const { return slot < items_.size() && items_[slot] == item; }
  void takeOut(std::size_t slot) {
    items_[slot] = T();
    ++gaps_;
  }

 private:
  std::vector<T>& items() const {
    if constexpr (std::equality_comparable<T> && std::default_initializable<T>) {
      if (gaps_ != 0) closeGaps();
    }
    return items_;
  }
  void closeGaps() const {
    std::erase(items_, T());
    gaps_ = 0;
  }

  mutable std::vector<T> items_;
  mutable std::size_t gaps_ = 0;
};
