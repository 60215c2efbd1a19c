// SPDX-License-Identifier: Apache-2.0
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstdlib>
#include <span>
#include <utility>
#include <vector>

#include "platform/base/Memory.h"
#include "platform/property/BlockCache.h"
#include "platform/property/JsonStream.h"
#include "platform/property/StringCache.h"
#include "platform/property/Value.h"
#include "platform/property/ValueBlock.h"
#include "platform/text/Utf8.h"

template <>
inline void rapidjson::SkipWhitespace(KX::Property::JsonStream& stream) {
  stream.skipWhitespace();
}

namespace KX::Property {

namespace {

// The reader's own stack: two words for each open array or object.
struct ReaderMemory {
  static void* Malloc(std::size_t size) { return size == 0 ? nullptr : allocate(size); }
  static void* Realloc(void* memory, std::size_t, std::size_t size) {
    if (size != 0) return reallocate(memory, size);
    std::free(memory);
    return nullptr;
  }
  static void Free(void* memory) { std::free(memory); }
};

// Takes the reader's events and makes values of them. What belongs to an open array or object waits on a stack, keys
// and values in turn; at its end the whole run moves into a block of just that size.
class ValueHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueHandler> {
 public:
  ValueHandler(JsonStream& stream, const JsonLimits& limits) : stream_(stream), limits_(limits) {}

  bool Null() { return push(Value::null()); }
  bool Bool(bool value) { return push(value); }
  // All that the stream shows of a number.
  bool Uint(unsigned) { return push(std::move(stream_.number())); }
  bool String(const char*, rapidjson::SizeType, bool) { return push(texts_.get(stream_.text())); }
  bool Key(const char*, rapidjson::SizeType, bool) {
    waiting_.emplace_back(keys_.get(stream_.text()));
    return true;
  }
  bool StartArray() { return start(); }
  bool StartObject() { return start(); }
  bool EndArray(rapidjson::SizeType size);
  bool EndObject(rapidjson::SizeType size);

  Value& result() { return waiting_.front(); }

 private:
  bool start();
  template <class T>
  bool push(T&& value) {
    if (++values_ > limits_.values) return fail("Too many values", stream_.Tell());
    waiting_.emplace_back(std::forward<T>(value));
    return true;
  }
  std::span<Value> last(std::size_t parts) { return std::span<Value>(waiting_).last(parts); }
  ValueBlock* makeObject(std::span<Value> parts);
  // Puts the block in the place of the parts that it was made of.
  bool finish(ValueBlock* block, std::size_t parts);
  bool fail(const char* what, std::size_t offset) {
    stream_.fail(what, offset);
    return false;
  }

  JsonStream& stream_;
  const JsonLimits& limits_;
  std::vector<Value> waiting_;
  std::size_t values_ = 0;
  unsigned depth_ = 0;
  StringCache keys_;
  StringCache texts_;
  Slab slab_;
  BlockCache objects_;
};

// The reader has passed the bracket.
bool ValueHandler::start() {
  const std::size_t bracket = stream_.Tell() - 1;
  if (++depth_ > std::min(limits_.depth, JsonLimits::MOST_DEPTH)) return fail("Nested too deeply", bracket);
  return ++values_ <= limits_.values || fail("Too many values", bracket);
}

bool ValueHandler::EndArray(rapidjson::SizeType size) {
  ValueBlock* block = ValueBlock::create(false, size, &slab_);
  for (Value& element : last(size)) block->append(std::move(element));
  return finish(block, size);
}

bool ValueHandler::EndObject(rapidjson::SizeType size) {
  const std::span<Value> parts = last(2 * std::size_t{size});
  ValueBlock** const slot = objects_.slotFor(parts);
  ValueBlock* block = slot == nullptr ? nullptr : BlockCache::get(*slot, parts);
  if (block == nullptr) {
    block = makeObject(parts);
    if (slot != nullptr) BlockCache::put(*slot, block);
  }
  return finish(block, parts.size());
}

// Of equal keys the last one's value stands in the first one's place.
ValueBlock* ValueHandler::makeObject(std::span<Value> parts) {
  ValueBlock* block = ValueBlock::create(true, parts.size() / 2, &slab_);
  for (std::size_t i = 0; i < parts.size(); i += 2) {
    const std::uint32_t known = block->find(parts[i].stringView());
    if (known == ValueBlock::NONE) {
      block->append(std::move(parts[i]), std::move(parts[i + 1]));
    } else {
      block->members()[known].value = std::move(parts[i + 1]);
    }
  }
  return block;
}

bool ValueHandler::finish(ValueBlock* block, std::size_t parts) {
  --depth_;
  waiting_.resize(waiting_.size() - parts);
  waiting_.push_back(ValueBlock::toValue(block));
  return true;
}

XCode errorAt(std::string_view what, std::size_t offset) {
  if (what.ends_with('.')) what.remove_suffix(1);
  XCode error(XCode::GENERIC_ERROR);
  error.setStringF("%.*s at byte %zu", static_cast<int>(what.size()), what.data(), offset);
  return error;
}

}  // namespace

XCode Value::fromJson(std::string_view text, const JsonLimits& limits) {
  // A string holds half of what its length could say.
  const std::size_t largest = std::min<std::size_t>(limits.bytes, std::numeric_limits<std::uint32_t>::max() / 2);
  if (text.size() > largest) return errorAt("Text too long", largest);
  const std::size_t valid = validUtf8Prefix(text);
  if (valid != text.size()) return errorAt("Invalid UTF-8", valid);

  JsonStream stream(text);
  ValueHandler handler(stream, limits);
  ReaderMemory memory;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ReaderMemory> reader(&memory);
  const auto result = reader.Parse<rapidjson::kParseInsituFlag>(stream, handler);
  if (stream.error() != nullptr) return errorAt(stream.error(), stream.errorOffset());
  if (result.IsError()) return errorAt(rapidjson::GetParseError_En(result.Code()), stream.tokenAt(result.Offset()));
  // A NUL is the end of the text to the reader.
  if (!stream.isAtEnd()) return errorAt("Invalid value", stream.Tell());
  *this = std::move(handler.result());
  return XCode();
}

}  // namespace KX::Property
