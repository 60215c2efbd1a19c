// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

// A growing array in the order of insertion. Indices are not checked. Changing a vector while it is walked invalidates
// the walk, as with every array.
template <class T>
class KXVector {
 public:
  using value_type = T;
  using const_iterator = typename std::vector<T>::const_iterator;

  std::size_t size() const { return items_.size(); }
  bool isEmpty() const { return items_.empty(); }
  void reserve(std::size_t size) { items_.reserve(size); }

  T& operator[](std::size_t index) { return items_[index]; }
  const T& operator[](std::size_t index) const { return items_[index]; }

  T& add(T item) { return items_.emplace_back(std::move(item)); }
  // The order of the others is kept.
  void removeAt(std::size_t index) { items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index)); }
  void clear() { items_.clear(); }
  void swap(KXVector& other) { items_.swap(other.items_); }

  auto begin() { return items_.begin(); }
  auto end() { return items_.end(); }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

 private:
  std::vector<T> items_;
};
