// SPDX-License-Identifier: Apache-2.0
#include "agent/ServiceAnswers.h"

#include <cerrno>

#include "platform/base/XCode.h"

using KX::Property::Value;

void ServiceAnswers::add(const Value& result) {
  // As servicescan puts it.
  const String refusal = XCode::fromErrno(ECONNREFUSED).toString();
  const Value nodes = result["nodes"];
  for (const Value& node : nodes.elements()) {
    const String ipAddress = node["ipAddress"].toString();
    Answer answer = of(ipAddress) == Answer::REFUSED ? Answer::REFUSED : Answer::SILENT;
    for (const Value& service : node["services"].elements()) {
      if (service["reason"].stringView() == refusal.view()) answer = Answer::REFUSED;
    }
    answers_.set(ipAddress, answer);
  }
}

ServiceAnswers::Answer ServiceAnswers::of(const String& ipAddress) const {
  const Answer* const answer = answers_.find(ipAddress);
  return answer == nullptr ? Answer::NOT_ASKED : *answer;
}
