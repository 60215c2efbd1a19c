// SPDX-License-Identifier: Apache-2.0
#include "platform/text/KXRegEx.h"

#include <re2/re2.h>

#include <algorithm>
#include <vector>

namespace {

// For the program and the automaton that grows while it matches. An expression that needs more does not compile; an
// automaton that would is given up for a slower way, linear too.
constexpr std::int64_t MEMORY_BUDGET = std::int64_t{128} << 10U;

// Expressions and names arrive as UTF-8, so a character is a character and not a byte. Bytes that are no UTF-8 are
// matched by nothing, not even by a dot.
RE2::Options compileOptions() {
  RE2::Options options(RE2::Quiet);
  options.set_encoding(RE2::Options::EncodingUTF8);
  options.set_max_mem(MEMORY_BUDGET);
  options.set_never_capture(true);
  return options;
}

re2::StringPiece piece(std::string_view text) { return {text.data(), text.size()}; }

}  // namespace

class KXRegEx::Pattern::Compiled {
 public:
  explicit Compiled(const String& source) : expression(piece(source), compileOptions()) {}
  const RE2 expression;
};

KXRegEx::Pattern::Pattern(const String& source) : source_(source) {
  if (source_.length() <= MAX_SOURCE_BYTES) compiled_ = std::make_unique<Compiled>(source_);
}

KXRegEx::Pattern::~Pattern() = default;

bool KXRegEx::Pattern::match(const String& text) const {
  return compiled_ != nullptr && compiled_->expression.ok() && RE2::PartialMatch(piece(text), compiled_->expression);
}

XCode KXRegEx::Pattern::error() const {
  if (compiled_ == nullptr) return XCode::error("too long"_s);
  return compiled_->expression.ok() ? XCode() : XCode::error(String(compiled_->expression.error()));
}

namespace {

using Patterns = std::vector<KXPPtr<KXRegEx::Pattern>>;

// The thread's latest patterns, the latest one last. Compiling takes milliseconds, even where it fails in the end.
Patterns& latestPatterns() {
  static thread_local Patterns patterns;
  return patterns;
}

}  // namespace

KXPPtr<KXRegEx::Pattern> KXRegEx::COMPILE_EXPRESSION(const String& source) {
  if (source.isEmpty()) return KXPPtr<Pattern>();
  Patterns& latest = latestPatterns();
  const auto known =
      std::find_if(latest.begin(), latest.end(), [&](const auto& pattern) { return pattern->source() == source; });
  if (known != latest.end()) {
    std::rotate(known, known + 1, latest.end());
    return latest.back();
  }
  if (latest.size() == KEPT_PATTERNS) latest.erase(latest.begin());
  return latest.emplace_back(new Pattern(source));
}
