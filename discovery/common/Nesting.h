// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KX::NMS::Discovery {

// Counts how deep the getInfo of one class is nested in itself, for its scope. The counter belongs to the class and to
// the process; details of contained objects are shown at the outermost call only. Event loop thread only.
class Nesting {
 public:
  explicit Nesting(unsigned& counter) : counter_(counter) { ++counter_; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  ~Nesting() { --counter_; }

  bool isOutermost() const { return counter_ == 1; }

 private:
  unsigned& counter_;
};

}  // namespace KX::NMS::Discovery
