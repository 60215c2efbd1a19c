// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "platform/loop/Function.h"

namespace KX::Sig {

template <class Signature>
class Signal;

// Tells its slots, in the order of their connection, that something happened. One thread. A slot may connect and
// disconnect slots, itself among them, emit again, and release the emitter: who is disconnected is not called any more,
// who is connected during an emission hears from the next one on, and an emission ends with its emitter. The list of
// connections is made by the first connect; a signal without one costs a pointer.
template <class... Args>
class Signal<void(Args...)> {
 public:
  using Slot = Function<void(Args...)>;

  Signal() = default;
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;
  ~Signal() {
    if (list_ != nullptr) list_->ended = true;
  }

  // A handle for disconnect.
  std::size_t connect(Slot slot) {
    if (list_ == nullptr) list_ = std::make_shared<List>();
    list_->slots.push_back(std::make_shared<Connection>(++list_->lastHandle, std::move(slot)));
    return list_->lastHandle;
  }

  void disconnect(std::size_t handle) {
    if (list_ == nullptr) return;
    auto& slots = list_->slots;
    const auto found =
        std::find_if(slots.begin(), slots.end(), [handle](const auto& c) { return c->handle == handle; });
    if (found == slots.end()) return;
    (*found)->connected = false;
    slots.erase(found);
  }

  // True once anyone has connected.
  bool hasBeenConnected() const { return list_ != nullptr; }

  void emit(Args... args) const {
    if (list_ == nullptr) return;
    const std::shared_ptr<List> list = list_;
    const auto slots = list->slots;
    for (const auto& connection : slots) {
      if (list->ended) return;
      if (connection->connected) connection->slot(args...);
    }
  }

 private:
  struct Connection {
    Connection(std::size_t number, Slot target) : handle(number), slot(std::move(target)) {}
    std::size_t handle;
    Slot slot;
    bool connected = true;
  };
  struct List {
    std::vector<std::shared_ptr<Connection>> slots;
    std::size_t lastHandle = 0;
    bool ended = false;
  };

  std::shared_ptr<List> list_;
};

}  // namespace KX::Sig
