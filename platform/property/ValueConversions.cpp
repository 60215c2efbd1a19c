// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>
#include <utility>

#include "platform/property/ScalarText.h"
#include "platform/property/Value.h"

namespace KX::Property {

namespace {

// Whether the double is an integer that the type holds. The upper bound is the first power of two beyond the type,
// which a double holds exactly; the largest integers themselves round up to it.
template <class T>
bool holds(double value) {
  const double bound = std::ldexp(1.0, std::numeric_limits<T>::digits);
  const double least = std::numeric_limits<T>::is_signed ? -bound : 0.0;
  return value >= least && value < bound && std::trunc(value) == value;
}

}  // namespace

String Value::toString() const { return toStringOr(String()); }

String Value::toStringOr(const String& byDefault) const {
  if (isString()) return data_.string;
  return isNumber() || isBool() ? String(ScalarText(*this).view()) : byDefault;
}

String Value::getStringOr(const String& byDefault) const { return isString() ? data_.string : byDefault; }

std::string_view Value::stringView() const { return isString() ? data_.string.view() : std::string_view(); }

bool Value::toBoolOr(bool byDefault) const { return isBool() ? data_.boolean : byDefault; }

template <class T>
T Value::toIntegerOr(T byDefault) const {
  if (type_ == Type::SIGNED && std::in_range<T>(data_.integer)) return static_cast<T>(data_.integer);
  if (type_ == Type::UNSIGNED && std::in_range<T>(data_.natural)) return static_cast<T>(data_.natural);
  if (type_ == Type::DOUBLE && holds<T>(data_.real)) return static_cast<T>(data_.real);
  return byDefault;
}

std::int32_t Value::toIntOr(std::int32_t byDefault) const { return toIntegerOr(byDefault); }
std::uint32_t Value::toUIntOr(std::uint32_t byDefault) const { return toIntegerOr(byDefault); }
std::uint16_t Value::toUInt16Or(std::uint16_t byDefault) const { return toIntegerOr(byDefault); }
std::int64_t Value::toInt64Or(std::int64_t byDefault) const { return toIntegerOr(byDefault); }
std::uint64_t Value::toUInt64Or(std::uint64_t byDefault) const { return toIntegerOr(byDefault); }

double Value::toDoubleOr(double byDefault) const {
  if (type_ == Type::SIGNED) return static_cast<double>(data_.integer);
  if (type_ == Type::UNSIGNED) return static_cast<double>(data_.natural);
  return type_ == Type::DOUBLE ? data_.real : byDefault;
}

}  // namespace KX::Property
