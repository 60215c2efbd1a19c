// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KX::NMS::Discovery {

// Takes one step after another for a job whose steps ask for the next one when they end. One that ends inside its own
// call is followed up by the loop that took it, so that a long run of such steps does not grow the stack. The caller
// keeps the object that this belongs to.
class NextStep {
 public:
  // Without a wait, which only a running job may ask for, a step inside a step is taken at once.
  template <class Step>
  void take(bool mayWait, Step step) {
    again_ = taking_ && mayWait;
    if (again_) return;
    const bool outer = taking_;
    do {
      again_ = false;
      taking_ = true;
      step();
      taking_ = outer;
    } while (again_ && !outer);
  }

 private:
  bool taking_ = false;
  bool again_ = false;
};

}  // namespace KX::NMS::Discovery
