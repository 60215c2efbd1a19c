// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/TargetFile.h"

#include <fcntl.h>

#include <array>
#include <optional>

#include "platform/base/KXFile.h"
#include "platform/net/IpAddress.h"
#include "platform/text/Decimal.h"
#include "platform/text/Printable.h"
#include "platform/text/Utf8.h"

namespace ServiceScan {
namespace {

using Complain = std::function<void(const String&)>;

constexpr char BLANKS[] = " \t\r\v\f";
constexpr std::array<std::string_view, SERVICES> NAMES = {"ping", "http", "https", "snmp", "sip"};

// A name that many probes share needs no memory of its own.
String nameOf(std::string_view text) {
  static const std::array<String, SERVICES> SHARED = {"ping"_s, "http"_s, "https"_s, "snmp"_s, "sip"_s};
  for (std::size_t index = 0; index < SERVICES; ++index) {
    if (text == NAMES[index]) return SHARED[index];
  }
  return toValidUtf8(text);
}

std::optional<Service> serviceOf(std::string_view name) {
  for (std::size_t index = 0; index < SERVICES; ++index) {
    if (name == NAMES[index]) return static_cast<Service>(index);
  }
  return std::nullopt;
}

// Cuts the text up to the next separator off the front.
std::string_view takeUpTo(std::string_view separators, std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of(separators), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

Probe readProbe(std::string_view pair) {
  Probe probe{};
  const std::size_t colon = pair.rfind(':');
  const std::string_view name = pair.substr(0, colon);
  probe.name = nameOf(name);
  const auto port = KX::readDecimal<std::uint16_t>(colon == std::string_view::npos ? "" : pair.substr(colon + 1));
  probe.port = port.value_or(0);
  const std::optional<Service> service = serviceOf(name);
  if (!service) {
    probe.reason = "Unknown service"_s;
  } else if (!port || (probe.port == 0 && service != Service::PING)) {
    probe.reason = "Invalid port"_s;
  }
  probe.service = service.value_or(Service::PING);
  return probe;
}

class LineReader {
 public:
  LineReader(Targets& targets, const Complain& complain) : targets_(targets), complain_(complain) {}

  void read(std::string_view line) {
    ++number_;
    bool isFirst = true;
    while (!line.empty()) {
      const std::string_view word = takeUpTo(BLANKS, line);
      if (word.empty()) continue;
      isFirst ? addHost(word) : addProbe(word);
      isFirst = false;
    }
  }

 private:
  void addHost(std::string_view word) {
    const auto next = static_cast<ProbeIndex>(targets_.probes.size());
    Host host{toValidUtf8(word), String(), 0, next, next};
    IpAddress address;
    if (address.setIpAddrAsString(String(word)).isErr()) {
      host.reason = "Not an IPv4 address"_s;
      complain(host.reason, word);
    }
    host.address = address.getV4AddrAsBinaryUInt32();
    targets_.hosts.push_back(std::move(host));
  }

  void addProbe(std::string_view word) {
    Probe probe = readProbe(word);
    probe.host = static_cast<std::uint32_t>(targets_.hosts.size() - 1);
    if (!probe.reason.isEmpty()) complain(probe.reason, word);
    if (!targets_.hosts.back().reason.isEmpty()) probe.reason = targets_.hosts.back().reason;
    if (!probe.reason.isEmpty()) probe.state = Probe::State::ENDED;
    targets_.probes.push_back(std::move(probe));
    ++targets_.hosts.back().endProbe;
  }

  void complain(const String& reason, std::string_view word) {
    complain_(String::format("line %zu: %s: %s", number_, reason.c_str(), toPrintable(word).c_str()));
  }

  Targets& targets_;
  const Complain& complain_;
  std::size_t number_ = 0;
};

}  // namespace

XCode readTargets(const String& path, const Complain& complain, Targets& targets) {
  KXFile file(path, true, false);
  XCode result = file.open(O_RDONLY, 0);
  if (result.isErr()) return result;
  LineReader reader(targets, complain);
  String content;
  bool endOfFile = false;
  result = file.read(content, endOfFile);
  if (result.isErr()) return result;
  if (!endOfFile) return XCode::error("File too large");
  for (std::string_view text = content; !text.empty();) reader.read(takeUpTo("\n", text));
  return XCode();
}

}  // namespace ServiceScan
