// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace ServiceScan {

// Where osip's allocations come from while this object lives. They end with it all at once, whether osip frees them or
// not: a message becomes a hundred small pieces, and malloc and free of each took a third of the time of reading it.
// osip has one allocator for the process, so there is one such object at a time, and nothing older is given back to
// osip meanwhile.
class SipMemory {
 public:
  SipMemory();
  SipMemory(const SipMemory&) = delete;
  SipMemory& operator=(const SipMemory&) = delete;
  ~SipMemory();

  // Of malloc where the room does not suffice, whose null it may then be.
  void* allocate(std::size_t size);

 private:
  struct Freed {
    void operator()(void* memory) const { std::free(memory); }
  };

  // Room for ordinary responses, which take 3 KiB. Hostile ones take up to 80.
  alignas(std::max_align_t) char area_[8192];
  std::size_t used_ = 0;
  std::vector<std::unique_ptr<void, Freed>> others_;
};

}  // namespace ServiceScan
