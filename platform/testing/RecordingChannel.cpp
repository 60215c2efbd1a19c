// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/RecordingChannel.h"

#include "platform/testing/Corpus.h"

namespace KX::Testing {

XCode RecordingChannel::sendMessage(const Property::Value& message) {
  if (result_.isErr()) return result_;
  messages_.add(message);
  texts_.add(message.toJson());
  addToCorpus(texts_[texts_.size() - 1]);
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
