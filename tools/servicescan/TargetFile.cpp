// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/TargetFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <span>

#include "platform/base/KXFile.h"
#include "platform/net/IpAddress.h"
#include "platform/text/Printable.h"
#include "platform/text/Utf8.h"
#include "tools/servicescan/ServiceWord.h"

namespace ServiceScan {
namespace {

using Complain = std::function<void(const String&)>;

constexpr char BLANKS[] = " \t\r\v\f";
// Cuts the text up to the next separator off the front.
std::string_view takeUpTo(std::string_view separators, std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of(separators), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
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
      if (isFirst && word.front() == '#') return;
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
    Probe probe = readService(word);
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
  const bool isStdin = path == "-";
  KXFile file(path, !isStdin, false);
  XCode result;
  if (isStdin) {
    file.use(STDIN_FILENO);
  } else {
    result = file.open(O_RDONLY, 0);
  }
  String content;
  bool endOfFile = false;
  if (result.isSuccess()) result = file.read(content, endOfFile);
  if (result.isErr()) return result;
  if (!endOfFile) return XCode::error("File too large");
  LineReader reader(targets, complain);
  for (std::string_view text = content; !text.empty();) reader.read(takeUpTo("\n", text));
  return XCode();
}

bool isAllWrong(const Targets& targets) {
  const auto isWrong = [&](const Host& host) {
    const auto probes = std::span(targets.probes).subspan(host.firstProbe, host.endProbe - host.firstProbe);
    const bool isRefused =
        std::all_of(probes.begin(), probes.end(), [](const Probe& probe) { return !probe.reason.isEmpty(); });
    return !host.reason.isEmpty() || (!probes.empty() && isRefused);
  };
  return !targets.hosts.empty() && std::all_of(targets.hosts.begin(), targets.hosts.end(), isWrong);
}

}  // namespace ServiceScan
