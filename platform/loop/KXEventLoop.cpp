// SPDX-License-Identifier: Apache-2.0
#include "platform/loop/KXEventLoop.h"

namespace {

thread_local KXEventLoop* currentLoop = nullptr;

}  // namespace

KXEventLoop::KXEventLoop() : previous_(currentLoop), thread_(currentThread()) { currentLoop = this; }

KXEventLoop::~KXEventLoop() { currentLoop = previous_; }

KXEventLoop* KXEventLoop::current() { return currentLoop; }

// Every thread has a variable of its own at an address of its own.
const void* KXEventLoop::currentThread() { return &currentLoop; }

void KXEventLoop::setService(const std::type_info& kind, void* service) {
  for (auto& entry : services_) {
    if (*entry.first == kind) {
      entry.second = service;
      return;
    }
  }
  services_.emplace_back(&kind, service);
}

void* KXEventLoop::findService(const std::type_info& kind) const {
  for (const auto& entry : services_) {
    if (*entry.first == kind) return entry.second;
  }
  return nullptr;
}

// Defined here and not with the clock: the present belongs to the loop. One that asks here for it means the system's.
KX::Clock KX::Clock::NOW() {
  thread_local bool isAskingLoop = false;
  const KXEventLoop* loop = KXEventLoop::current();
  if (loop == nullptr || isAskingLoop) return system();
  isAskingLoop = true;
  const Clock now = loop->now();
  isAskingLoop = false;
  return now;
}
