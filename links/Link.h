// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "platform/base/XCode.h"

namespace KX::NMS {

// One way for the server to reach the services of an agent. The host owns the link, on its loop's thread, and destroys
// it before the factory that it opens services of; never from inside a request.
class Link {
 public:
  using EndHandler = std::function<void()>;

  virtual ~Link() = default;

  virtual XCode start() = 0;
  // Stops the service, sends what has not been sent yet for up to five seconds, and closes the link. May be called from
  // anywhere, more than once; afterwards the link calls nothing.
  virtual void stop() = 0;

  // Called once, from the loop, when the link has come to its own end: nothing more will be received. What the service
  // sends is still taken until stop is called, from inside the handler or later.
  void onEnded(EndHandler handler) { ended_ = std::move(handler); }

 protected:
  // The handler may destroy the link: this call comes last.
  void reportEnd() const {
    const EndHandler handler = ended_;
    if (handler) handler();
  }

 private:
  EndHandler ended_;
};

}  // namespace KX::NMS
