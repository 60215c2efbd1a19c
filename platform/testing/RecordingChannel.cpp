// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/RecordingChannel.h"

namespace KX::Testing {

XCode RecordingChannel::sendMessage(const Property::Value& message) {
  if (result_.isErr()) return result_;
  messages_.add(message);
  texts_.add(message.toJson());
  return XCode();
}

Property::Value RecordingChannel::last() const {
  return messages_.isEmpty() ? Property::Value() : messages_[messages_.size() - 1];
}

void RecordingChannel::clear() {
  messages_.clear();
  texts_.clear();
}

}  // namespace KX::Testing
