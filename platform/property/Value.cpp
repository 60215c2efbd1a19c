// SPDX-License-Identifier: Apache-2.0
#include "platform/property/Value.h"

#include <cassert>

#include "platform/property/ValueBlock.h"

namespace KX::Property {

namespace {

const Value UNSET_VALUE;

}  // namespace

void Value::addReference() {
  if (type_ == Type::STRING) {
    String copy(data_.string);
    new (&data_.string) String(std::move(copy));
  } else if (data_.block != nullptr) {
    data_.block->use.references.increment();
  }
}

void Value::dropReference() {
  if (type_ == Type::STRING) {
    data_.string.~String();
  } else {
    ValueBlock::release(data_.block);
  }
}

Value Value::null() {
  Value value;
  value.type_ = Type::NONE;
  return value;
}

Value Value::array(std::size_t reserved) {
  return {Type::ARRAY, reserved == 0 ? nullptr : ValueBlock::create(false, reserved)};
}

Value Value::object(std::size_t reserved) {
  return {Type::OBJECT, reserved == 0 ? nullptr : ValueBlock::create(true, reserved)};
}

Value Value::object(std::size_t reserved, Slab& slab) {
  return {Type::OBJECT, reserved == 0 ? nullptr : ValueBlock::create(true, reserved, &slab)};
}

void Value::become(Type container) {
  if (type_ != container) *this = Value(container, nullptr);
}

std::size_t Value::size() const { return block() == nullptr ? 0 : block()->size; }

const Value* Value::find(std::string_view key) const {
  if (!isObject() || data_.block == nullptr) return nullptr;
  const std::uint32_t position = data_.block->find(key);
  return position == ValueBlock::NONE ? nullptr : &data_.block->members()[position].value;
}

const Value& Value::operator[](std::string_view key) const& {
  const Value* value = find(key);
  return value == nullptr ? UNSET_VALUE : *value;
}

const Value& Value::operator[](std::size_t index) const& {
  return isArray() && index < size() ? data_.block->elements()[index] : UNSET_VALUE;
}

Value& Value::operator[](const String& key) & {
  become(Type::OBJECT);
  const std::uint32_t position = data_.block == nullptr ? ValueBlock::NONE : data_.block->find(key);
  const bool isNew = position == ValueBlock::NONE;
  data_.block = ValueBlock::writable(data_.block, true, isNew ? 1 : 0);
  return isNew ? data_.block->append(String(key), Value()) : data_.block->members()[position].value;
}

Value& Value::operator[](std::size_t index) & {
  assert(isArray() && index < size());
  data_.block = ValueBlock::writable(data_.block, false, 0);
  return data_.block->elements()[index];
}

void Value::addMember(String key, Value value) {
  become(Type::OBJECT);
  data_.block = ValueBlock::writable(data_.block, true, 1);
  data_.block->append(std::move(key), std::move(value));
}

Value& Value::add(Value element) {
  become(Type::ARRAY);
  data_.block = ValueBlock::writable(data_.block, false, 1);
  return data_.block->append(std::move(element));
}

void Value::merge(const Value& other, bool overwrite) {
  // The other one may be this one, or part of it.
  const Value source(other);
  if (source.isObject()) become(Type::OBJECT);
  for (const Member& member : source.members()) {
    if (overwrite || find(member.key) == nullptr) (*this)[member.key] = member.value;
  }
}

std::span<const Value> Value::elements() const& {
  return isArray() && data_.block != nullptr ? std::span<const Value>(data_.block->elements(), data_.block->size)
                                             : std::span<const Value>();
}

std::span<const Member> Value::members() const& {
  return isObject() && data_.block != nullptr ? std::span<const Member>(data_.block->members(), data_.block->size)
                                              : std::span<const Member>();
}

}  // namespace KX::Property
