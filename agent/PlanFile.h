// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/property/Value.h"

// Reads a file of job descriptions: one JSON array. The error says in one line what is wrong with the file.
[[nodiscard]] XCode readPlanFile(const String& path, KX::Property::Value& plan);
