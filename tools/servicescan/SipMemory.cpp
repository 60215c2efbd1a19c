// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SipMemory.h"

#include <osipparser2/osip_port.h>

namespace ServiceScan {
namespace {

constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);

SipMemory* current = nullptr;

}  // namespace

// Only what writes messages reallocates, which happens to none in here.
SipMemory::SipMemory() {
  current = this;
  osip_set_allocators([](std::size_t size) { return current->allocate(size); },
                      [](void*, std::size_t) -> void* { return nullptr; }, [](void*) {});
}

SipMemory::~SipMemory() { osip_set_allocators(nullptr, nullptr, nullptr); }

void* SipMemory::allocate(std::size_t size) {
  if (size <= sizeof(area_) - used_) {
    void* const result = area_ + used_;
    used_ += (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    return result;
  }
  others_.emplace_back(std::malloc(size));
  return others_.back().get();
}

}  // namespace ServiceScan
