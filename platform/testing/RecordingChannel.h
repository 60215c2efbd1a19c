// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/KXVector.h"
#include "platform/service/IChannel.h"

namespace KX::Testing {

// A channel that keeps what is sent, as values and as the text that would go out, or refuses to take it.
class RecordingChannel final : public NMS::IChannel {
 public:
  XCode sendMessage(const Property::Value& message) override;

  // From now on every message is refused with this result and not recorded; success ends that.
  void failWith(const XCode& result) { result_ = result; }

  const KXVector<Property::Value>& messages() const { return messages_; }
  const KXVector<String>& texts() const { return texts_; }
  // The message sent last; unset when there is none.
  Property::Value last() const;
  void clear();

 private:
  KXVector<Property::Value> messages_;
  KXVector<String> texts_;
  XCode result_;
};

}  // namespace KX::Testing
