// SPDX-License-Identifier: Apache-2.0
#include <utility>
#include <vector>

#include "platform/property/Value.h"
#include "platform/property/ValueBlock.h"

namespace KX::Property {

namespace {

// The containers that are still to be compared: kept here and not on the call stack, however deep they are nested.
using Pending = std::vector<std::pair<const ValueBlock*, const ValueBlock*>>;

bool sameInteger(const Value& left, const Value& right) {
  if (left.type() == Value::Type::SIGNED && right.type() == Value::Type::UNSIGNED) return sameInteger(right, left);
  constexpr std::int64_t NEGATIVE = -1;
  return left.type() == Value::Type::UNSIGNED && right.type() == Value::Type::SIGNED &&
         right.toInt64Or(NEGATIVE) >= 0 && left.toUInt64Or(0) == right.toUInt64Or(0);
}

}  // namespace

// Compares all but the items, which are left to the list.
bool Value::sameSurface(const Value& other) const {
  if (type_ != other.type_) return sameInteger(*this, other);
  switch (type_) {
    case Type::UNSET:
    case Type::NONE:
      return true;
    case Type::BOOLEAN:
      return data_.boolean == other.data_.boolean;
    case Type::SIGNED:
    case Type::UNSIGNED:
      return data_.natural == other.data_.natural;
    case Type::DOUBLE:
      return data_.real == other.data_.real;
    case Type::STRING:
      return data_.string == other.data_.string;
    case Type::ARRAY:
    case Type::OBJECT:
      return size() == other.size();
  }
  return false;
}

bool Value::operator==(const Value& other) const {
  if (!sameSurface(other)) return false;
  if (block() == other.block()) return true;
  Pending pending{{block(), other.block()}};
  while (!pending.empty()) {
    const auto [left, right] = pending.back();
    pending.pop_back();
    if (left == nullptr || left == right) continue;
    for (std::uint32_t i = 0; i < left->size; ++i) {
      if (left->isObject && !(left->members()[i].key == right->members()[i].key)) return false;
      const Value& mine = left->isObject ? left->members()[i].value : left->elements()[i];
      const Value& theirs = left->isObject ? right->members()[i].value : right->elements()[i];
      if (!mine.sameSurface(theirs)) return false;
      if (mine.block() != theirs.block()) pending.emplace_back(mine.block(), theirs.block());
    }
  }
  return true;
}

}  // namespace KX::Property
