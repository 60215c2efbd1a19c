// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/property/JsonLimits.h"

namespace KX::Property {

class BlockCache;
class Slab;
struct Member;
struct ValueBlock;

// A value like those of JSON: null, boolean, number, string, array or object, or unset, which is none of them. Integers
// of 64 bits, signed and unsigned, are kept exactly. Objects keep their members in the order of insertion. Copies share
// their contents until one of them is written, and copies may be held by several threads. Sixteen bytes wide.
class KX_EXPORT Value {
 public:
  enum class Type : std::uint8_t { UNSET, NONE, BOOLEAN, SIGNED, UNSIGNED, DOUBLE, STRING, ARRAY, OBJECT };

  Value() = default;  // unset
  // Booleans only: a pointer would convert to one.
  template <std::same_as<bool> T>
  Value(T value) : type_(Type::BOOLEAN) {
    data_.boolean = value;
  }
  template <std::signed_integral T>
  Value(T value) : type_(Type::SIGNED) {
    data_.integer = value;
  }
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) Value(T value) : type_(Type::UNSIGNED) { data_.natural = value; }
  Value(double value) : type_(Type::DOUBLE) { data_.real = value; }
  Value(const char* text) : Value(String(text)) {}
  Value(String text) : type_(Type::STRING) { new (&data_.string) String(std::move(text)); }
  Value(const Value& other) noexcept : data_(other.data_), type_(other.type_) {
    if (holdsReference()) addReference();
  }
  Value(Value&& other) noexcept : data_(other.data_), type_(std::exchange(other.type_, Type::UNSET)) {}
  Value& operator=(Value other) noexcept {
    std::swap(data_, other.data_);
    std::swap(type_, other.type_);
    return *this;
  }
  ~Value() {
    if (holdsReference()) dropReference();
  }

  static Value null();
  static Value array(std::size_t reserved = 0);
  static Value object(std::size_t reserved = 0);
  // For whoever makes many that go together.
  static Value object(std::size_t reserved, Slab& slab);

  Type type() const { return type_; }
  bool isValid() const { return type_ != Type::UNSET; }
  bool isNull() const { return type_ == Type::NONE; }
  bool isBool() const { return type_ == Type::BOOLEAN; }
  bool isNumber() const { return type_ == Type::SIGNED || type_ == Type::UNSIGNED || type_ == Type::DOUBLE; }
  bool isString() const { return type_ == Type::STRING; }
  bool isArray() const { return type_ == Type::ARRAY; }
  bool isObject() const { return type_ == Type::OBJECT; }

  // Elements or members; 0 for everything else.
  std::size_t size() const;
  bool isEmpty() const { return !isContainer() || size() == 0; }

  // Reading what is not there gives an unset value. Writing to a member or an element makes an object of a value that
  // is none, and an array element must exist. What is read of a temporary is a value of its own.
  const Value& operator[](std::string_view key) const&;
  const Value& operator[](const char* key) const& { return (*this)[std::string_view(key)]; }
  const Value& operator[](const String& key) const& { return (*this)[key.view()]; }
  const Value& operator[](std::size_t index) const&;
  template <std::integral T>
  const Value& operator[](T index) const& {
    return (*this)[static_cast<std::size_t>(index)];
  }
  template <class Key>
  Value operator[](const Key& key) && {
    return static_cast<const Value&>(*this)[key];
  }
  Value& operator[](const String& key) &;
  Value& operator[](const char* key) & { return (*this)[String(key)]; }
  Value& operator[](std::size_t index) &;
  template <std::integral T>
  Value& operator[](T index) & {
    return (*this)[static_cast<std::size_t>(index)];
  }
  // Null when there is no such member; a member may be there with an unset value.
  const Value* find(std::string_view key) const;

  // Adds a member that the object does not have yet, which is not checked: for whoever makes many objects of one shape.
  void addMember(String key, Value value);
  // Appends to an array; anything else becomes an empty array first.
  Value& add(Value element);
  // Every member of the other object, in its order: one that is there already keeps its place and is overwritten or
  // kept.
  void merge(const Value& other, bool overwrite);

  // For walking; empty for everything else. They stay good while the value is there and not changed.
  std::span<const Value> elements() const&;
  std::span<const Value> elements() && = delete;
  std::span<const Member> members() const&;
  std::span<const Member> members() && = delete;

  // Strings as they are, numbers and booleans as their JSON text, everything else "".
  String toString() const;
  // The same, but the default for everything else.
  String toStringOr(const String& byDefault) const;
  // Strings only, else the default.
  String getStringOr(const String& byDefault) const;
  // The text of a string without a copy, which stays good while the value is not changed; "" for everything else.
  std::string_view stringView() const;
  // Booleans only, else the default.
  bool toBoolOr(bool byDefault) const;
  // Numbers of integral value that fit the type, else the default: no number ever turns into another one.
  std::int32_t toIntOr(std::int32_t byDefault) const;
  std::uint32_t toUIntOr(std::uint32_t byDefault) const;
  std::uint16_t toUInt16Or(std::uint16_t byDefault) const;
  std::int64_t toInt64Or(std::int64_t byDefault) const;
  std::uint64_t toUInt64Or(std::uint64_t byDefault) const;
  // Any number, a large integer as the nearest double.
  double toDoubleOr(double byDefault) const;

  // Same type, same contents; the order of members counts. An integer equals the same integer of the other signedness.
  bool operator==(const Value& other) const;

  // Replaces this value by the one that the text holds. On an error, which says what and at which byte, it is left
  // untouched. The text is one JSON value in valid UTF-8; of equal keys the last one's value stands in the first one's
  // place.
  [[nodiscard]] XCode fromJson(std::string_view text, const JsonLimits& limits = {});
  // Compact JSON in valid UTF-8 whatever the strings hold: an invalid byte becomes U+FFFD. Unset values are written as
  // null.
  String toJson() const;
  // YAML for logs, every scalar quoted. Lines after the first are indented by indentation; each level adds step.
  String toYaml(unsigned indentation, unsigned step) const;

 private:
  friend class BlockCache;
  friend struct ValueBlock;

  // A string and a block are one pointer each and move by their bits. The value's type says which member is in use.
  union Data {
    Data() : natural(0) {}
    Data(const Data& bits) : natural(bits.natural) {}
    Data& operator=(const Data& bits) {
      natural = bits.natural;
      return *this;
    }
    ~Data() {}

    bool boolean;
    std::int64_t integer;
    std::uint64_t natural;
    double real;
    String string;
    ValueBlock* block;  // null when empty
  };

  Value(Type type, ValueBlock* block) : type_(type) { data_.block = block; }
  bool holdsReference() const { return type_ >= Type::STRING; }
  void addReference();
  void dropReference();
  bool isContainer() const { return type_ >= Type::ARRAY; }
  const ValueBlock* block() const { return isContainer() ? data_.block : nullptr; }
  // Makes an empty one of a value that is of another type.
  void become(Type container);
  bool sameSurface(const Value& other) const;
  template <class T>
  T toIntegerOr(T byDefault) const;

  Data data_;
  Type type_ = Type::UNSET;
};

// A member of an object.
struct Member {
  String key;
  Value value;
};

}  // namespace KX::Property
