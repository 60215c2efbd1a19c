// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/KXStringHashTable.h"
#include "platform/property/Value.h"

// What hosts without a service have made of the questions for services: a repository keeps only what is there.
class ServiceAnswers {
 public:
  enum class Answer : std::uint8_t { NOT_ASKED, SILENT, REFUSED };

  // Takes the result of a service scan.
  void add(const KX::Property::Value& result);
  Answer of(const String& ipAddress) const;

 private:
  KXStringHashTable<Answer> answers_;
};
