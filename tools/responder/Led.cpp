// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Led.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "tools/responder/Log.h"

namespace DeviceDiscovery::Responder {
namespace {

using KX::Shell::Descriptor;

constexpr std::uint64_t TICK_MS = 250;
constexpr char ON[] = "255";  // the kernel cuts it down to the LED's greatest
constexpr char OFF[] = "0";

XCode openFile(const String& folder, const char* name, Descriptor& file) {
  const String path = String::format("%s/%s", folder.c_str(), name);
  file = Descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (file) return XCode();
  XCode result = XCode::fromErrno(errno);
  result.extendString(path, ": ");
  return result;
}

// Each write to such a file is a value by itself.
XCode put(const Descriptor& file, const String& value) {
  const String line = String::format("%s\n", value.c_str());
  return pwrite(file.get(), line.c_str(), line.length(), 0) < 0 ? XCode::fromErrno(errno) : XCode();
}

XCode get(const Descriptor& file, String& content) {
  std::array<char, 4096> buffer{};
  const ssize_t length = pread(file.get(), buffer.data(), buffer.size(), 0);
  if (length < 0) return XCode::fromErrno(errno);
  const std::string_view text(buffer.data(), static_cast<std::size_t>(length));
  content = text.substr(0, text.find('\n'));
  return XCode();
}

// Of the triggers that there are, the one in brackets is at work.
String currentOf(const String& triggers) {
  const std::string_view text = triggers;
  const std::size_t from = text.find('[');
  const std::size_t to = text.find(']');
  if (from == std::string_view::npos || to == std::string_view::npos || to < from) return "none"_s;
  return text.substr(from + 1, to - from - 1);
}

}  // namespace

Led::Led(KXEventLoop& loop, std::uint32_t seconds)
    : ticks_(static_cast<unsigned>(seconds * 1000 / TICK_MS)),
      timer_(loop.createTimeoutEvent(0, [this] { onTick(); })) {}

XCode Led::open(const String& folder) {
  XCode result = openFile(folder, "trigger", trigger_);
  return result.isErr() ? result : openFile(folder, "brightness", brightness_);
}

XCode Led::blink() {
  const bool isBlinking = ticksLeft_ != 0;
  if (!isBlinking) {
    String triggers;
    XCode result = get(trigger_, triggers);
    if (result.isSuccess()) result = get(brightness_, brightnessBefore_);
    if (result.isSuccess()) result = put(trigger_, "none"_s);
    if (result.isSuccess()) result = put(brightness_, ON);
    if (result.isErr()) return result;
    triggerBefore_ = currentOf(triggers);
    timer_->start(TICK_MS, true, false);
  }
  ticksLeft_ = ticks_;
  return XCode();
}

void Led::onTick() {
  if (--ticksLeft_ == 0) {
    timer_->stop();
    restore();
    return;
  }
  static_cast<void>(put(brightness_, ticksLeft_ % 2 == 0 ? ON : OFF));
}

void Led::restore() {
  XCode result = put(brightness_, brightnessBefore_);
  if (result.isSuccess() && triggerBefore_ != "none") result = put(trigger_, triggerBefore_);
  if (result.isErr()) log("the LED cannot be restored: %s", result.toString().c_str());
}

}  // namespace DeviceDiscovery::Responder
