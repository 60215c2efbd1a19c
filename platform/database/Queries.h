// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "platform/base/Export.h"
#include "platform/database/Connection.h"
#include "platform/database/Entries.h"
#include "platform/database/Statement.h"

namespace DB {

// A prepared query, walked row by row in ascending id:
//
//   for (query.begin(); query.iterate(); query.moveNext()) use(*query);
//
// It reads within the transaction that runs on the database of the calling thread's loop at begin, and yields nothing
// more once that transaction has ended; without one it yields nothing at all. Trouble ends the walk and shows in the
// transaction's commit. Walks may be nested.
class KX_EXPORT Cursor {
 public:
  // What the query's parameters stand for; one without a value matches no row.
  using Keys = std::array<std::optional<std::int64_t>, 3>;

  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  void begin();
  // Whether there is a row.
  bool iterate() const;
  void moveNext();

 protected:
  Cursor(const char* sql, const Keys& keys) : sql_(sql), keys_(keys) {}
  ~Cursor() = default;
  const Statement& row() const { return statement_; }

 private:
  const char* sql_;
  Keys keys_;
  KXLWPtr<Connection> connection_;
  Statement statement_;
  std::uint32_t transaction_ = 0;
  bool hasRow_ = false;
};

template <class E>
class Query : public Cursor {
 public:
  explicit Query(const Keys& keys) : Cursor(E::QUERY, keys) {}
  // The row as an entry, or null where there is none.
  Ptr<E> operator*() const { return iterate() ? Ptr<E>(new E(row())) : Ptr<E>(); }
};

template <class E>
Ptr<E> firstRow(const Cursor::Keys& keys) {
  Query<E> query(keys);
  query.begin();
  return *query;
}

// The rows that belong to a parent, have a type and have a status.
template <class Parent, class E>
class ChildQuery final : public Query<E> {
 public:
  class Key {
   public:
    // Without a parent there are no rows.
    Key(const Ptr<Parent>& parent, ObjectType_ type, ObjectStatus_ status)
        : keys_{parent != nullptr ? std::optional(parent->id()) : std::nullopt, static_cast<std::int64_t>(type),
                static_cast<std::int64_t>(status)} {}
    const Cursor::Keys& keys() const { return keys_; }

   private:
    Cursor::Keys keys_;
  };

  explicit ChildQuery(const Key& key) : Query<E>(key.keys()) {}
};

namespace Table {

// The key that queries of whole tables share.
struct Cfg {
  struct QueryAllByKey {
    class Key {
     public:
      Key(ObjectType_ type, ObjectStatus_ status)
          : keys_{static_cast<std::int64_t>(type), static_cast<std::int64_t>(status), std::nullopt} {}
      const Cursor::Keys& keys() const { return keys_; }

     private:
      Cursor::Keys keys_;
    };
  };
};

struct ContextIp {
  class QueryAllByKey final : public Query<Entry::ContextIp> {
   public:
    explicit QueryAllByKey(const Cfg::QueryAllByKey::Key& key) : Query(key.keys()) {}
  };
};

struct IpInterface {
  using QueryByParentTypeStatusByKey = ChildQuery<Entry::ContextIp, Entry::IpInterface>;
};

struct IpInterfaceAddress {
  using QueryByParentTypeStatusByKey = ChildQuery<Entry::IpInterface, Entry::IpInterfaceAddress>;
};

}  // namespace Table
}  // namespace DB
