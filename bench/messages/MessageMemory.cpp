// SPDX-License-Identifier: Apache-2.0
// What the worst legal messages cost in memory at their peak, and how much of it stays: message-memory
//   a line "bytes-of-the-message kind peak kept" for each
#include <cstdio>
#include <string>
#include <string_view>

#include "agent/Agent.h"
#include "bench/sync/Allocations.h"
#include "discovery/client/CClient.h"
#include "discovery/scheduling/Scheduler.h"
#include "links/LineReader.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/service/ServiceSession.h"

using namespace KX::NMS;
using namespace KX::NMS::Discovery;
using KX::Property::Value;

namespace {

// An agent's parts and bounds, which get their messages in the pieces in which a link reads them.
class Device {
 public:
  explicit Device(std::size_t limit)
      : reader_(limit), session_({client_->serviceFactory(), "discovery"_s, limit}, transport_) {
    static_cast<void>(session_.open());
  }

  void receive(std::string_view bytes) {
    constexpr std::size_t PIECE = 16384;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), PIECE))) {
      reader_.feed(bytes.substr(0, PIECE));
      std::string_view line;
      while (reader_.next(line) == LineReader::Result::LINE) session_.receive(line);
    }
  }
  const String& answer() const { return transport_.text; }

 private:
  // Keeps the answer, as a link does until its peer has read it.
  struct Transport final : ITransport {
    XCode send(const String& message) override {
      text = message;
      return XCode();
    }
    String text;
  };

  void updateJobDescriptions(const Value& plan) {
    if (plan.size() <= Agent::MOST_DESCRIPTIONS) scheduler_->updateJobDescriptions(plan);
  }

  KX::UvEventLoop loop_;
  Repository repository_;
  KXPtr<Scheduler> scheduler_{new Scheduler(loop_, repository_)};
  KXPPtr<CClient> client_{
      new CClient("agent"_s, repository_, KX::Function<void()>(), [this](Value plan) { updateJobDescriptions(plan); })};
  Transport transport_;
  LineReader reader_;
  ServiceSession session_;
};

// The item with the number in the places of its number signs.
std::string itemOf(std::string_view item, unsigned number) {
  std::string text;
  for (const char character : item) {
    if (character == '#') {
      text += std::to_string(number);
    } else {
      text += character;
    }
  }
  return text;
}

// A message of at most so many bytes, with as many items as fit into the array of that name.
std::string messageOf(std::size_t bytes, const char* request, const char* array, std::string_view item) {
  std::string text =
      std::string(R"({"kind":"request","service":"discovery","id":1,"name":")") + request + "\",\"" + array + "\":[";
  for (unsigned number = 0;; ++number) {
    const std::string next = itemOf(item, number);
    if (text.size() + next.size() + 3 > bytes) return text + "]}\n";
    if (number != 0) text += ',';
    text += next;
  }
}

struct Kind {
  const char* name;
  const char* request;
  const char* array;
  const char* item;
};

constexpr Kind KINDS[] = {
    {"numbers", "syncNodes", "x", "0"},
    {"arrays", "syncNodes", "x", "[]"},
    {"objects", "syncNodes", "x", "{\"#\":0}"},
    {"texts", "syncNodes", "x", "\"#\""},
    {"nodes", "syncNodes", "nodes", R"({"ipAddress":"#"})"},
    {"found nodes", "syncNodes", "nodes", R"({"ipAddress":"#","physicalAddress":"#"})"},
    {"nodes with services", "syncNodes", "nodes", R"({"ipAddress":"#","services":{"#":{}}})"},
    {"plan", "updateJobDescriptions", "jobDescriptions", "{}"},
    {"plan with ids", "updateJobDescriptions", "jobDescriptions", R"({"id":"#"})"},
};

void measure(std::size_t bytes, const Kind& kind) {
  const std::string message = messageOf(bytes, kind.request, kind.array, kind.item);
  Device device(bytes);
  Allocations::begin();
  device.receive(message);
  Allocations::end();
  const bool isAck = device.answer().view().find("\"ack\"") != std::string_view::npos;
  std::printf("%zu %s%s %td %td\n", message.size() - 1, kind.name, isAck ? "" : " (refused)", Allocations::peak(),
              Allocations::now());
  std::fflush(stdout);
}

}  // namespace

int main() {
  for (const std::size_t mebibytes : {1U, 4U, 16U}) {
    for (const Kind& kind : KINDS) measure(mebibytes << 20U, kind);
  }
  return 0;
}
