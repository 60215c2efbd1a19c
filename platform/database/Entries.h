// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"
#include "platform/database/Fields.h"
#include "platform/net/IpAddress.h"

namespace DB {

class Statement;

template <class E>
using Ptr = KXLWPtr<E>;

// A row's reference to a row of another table. It is loaded when it is asked for, inside the running transaction.
template <class E>
class Reference {
 public:
  Reference() = default;
  explicit Reference(std::optional<std::int64_t> id) : id_(id) {}

  bool isSet() const { return id_.has_value(); }
  // False too for a reference that is set and names no row.
  bool isLoadable() const { return load() != nullptr; }
  // The row, or null where the reference is not loadable or no transaction runs.
  KX_EXPORT Ptr<E> load() const;
  operator Ptr<E>() const { return load(); }

 private:
  std::optional<std::int64_t> id_;
};

// Entries are copies of rows: they stay as they are when the walk goes on and when the transaction has ended. Each is
// made from a row of its own QUERY. Fields whose column holds another type than it should have no value.
namespace Entry {

class KX_EXPORT Row : public KX::RefCounted {
 public:
  explicit Row(const Statement& row);
  std::int64_t id() const { return id_; }

 protected:
  ~Row() override = default;

 private:
  std::int64_t id_;
};

// A routing context of the device.
class KX_EXPORT ContextIp final : public Row {
 public:
  static const char QUERY[];
  explicit ContextIp(const Statement& row);
  FieldString name;

 private:
  ~ContextIp() override = default;
};

// A network device of the kernel, by the name that commands take.
class KX_EXPORT DynIf final : public Row {
 public:
  static const char QUERY[];
  explicit DynIf(const Statement& row);
  FieldString name;

 private:
  ~DynIf() override = default;
};

// An IP interface under its configured name, and the network device that it is bound to, if any.
class KX_EXPORT IpInterface final : public Row {
 public:
  static const char QUERY[];
  explicit IpInterface(const Statement& row);
  FieldString name;
  Reference<DynIf> dynIf;
  FieldEnum<IpIfState_, unsigned char> state;

 private:
  ~IpInterface() override = default;
};

// The subnet of an address: dotted quad, slash, 0 to 32.
class KX_EXPORT IpSubnet {
 public:
  explicit IpSubnet(std::optional<String> stored) : stored_(std::move(stored)) {}
  // An error, and the address untouched, where nothing is stored or what is stored is no subnet.
  [[nodiscard]] XCode get(IpAddress& address) const;

 private:
  std::optional<String> stored_;
};

class KX_EXPORT IpInterfaceAddress final : public Row {
 public:
  static const char QUERY[];
  explicit IpInterfaceAddress(const Statement& row);
  IpSubnet subnet;

 private:
  ~IpInterfaceAddress() override = default;
};

}  // namespace Entry
}  // namespace DB
