// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"

// Regular expressions that come from the network: matching takes time linear in the input for every expression.
class KX_EXPORT KXRegEx {
 public:
  static constexpr std::size_t MAX_SOURCE_BYTES = 1024;
  // So many of a thread's latest patterns are kept and shared by equal sources, also when nobody holds them. Each takes
  // at most 128 KiB, most of them about one.
  static constexpr std::size_t KEPT_PATTERNS = 64;

  // A compiled expression. Shared and lockable: hold its lock (KXLockPtr) while reading the source and while matching.
  class KX_EXPORT Pattern : public KX::RefCountedUnlessBeingDestroying {
   public:
    explicit Pattern(const String& source);
    std::recursive_mutex& getLock() const { return lock_; }
    const String& source() const { return source_; }
    // Searches; nothing is anchored by itself. A pattern that did not compile matches nothing.
    bool match(const String& text) const;
    // What the compiler says, or that the source is too long: "too long".
    XCode error() const;

   protected:
    ~Pattern() override;

   private:
    class Compiled;

    mutable std::recursive_mutex lock_;
    String source_;
    std::unique_ptr<Compiled> compiled_;
  };

  // Null for an empty source only. An invalid one, or one that is too long or would take too much memory, compiles to a
  // pattern that keeps its source and matches nothing, so that a refused rule selects nothing.
  static KXPPtr<Pattern> COMPILE_EXPRESSION(const String& source);
};
