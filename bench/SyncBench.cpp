// SPDX-License-Identifier: Apache-2.0
// syncNodes from text in to text out: parse, apply, export, serialise. Beside it the least that could be done with the
// same texts: the same reader with an empty handler, and the same writer.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "discovery/client/CClient.h"
#include "platform/service/ServiceSession.h"

namespace {

using KX::NMS::Discovery::CClient;
using KX::NMS::Discovery::Repository;
using KX::Property::Value;

class LastMessage final : public KX::NMS::ITransport {
 public:
  XCode send(const String& message) override {
    text = message;
    return XCode();
  }
  String text;
};

String syncRequest(std::int64_t nodes) {
  String text(R"({"kind":"request","service":"discovery","name":"syncNodes","id":1,"nodes":[)");
  for (std::int64_t i = 0; i < nodes; ++i) {
    const auto n = static_cast<unsigned>(i);
    text.concatf(R"(%s{"ipAddress":"10.%u.%u.%u","physicalAddress":"02:00:5E:%02X:%02X:%02X","interface":"lan0",)"
                 R"("model":"Varnel X%u 1.2","status":"up","statusChangeDate":"2026-11-20T22:25:%02u.123Z",)"
                 R"("services":{"http":{"port":80},"https":{"port":443},"snmp":{"port":161}}})",
                 i == 0 ? "" : ",", n >> 16U & 255U, n >> 8U & 255U, n & 255U, n >> 16U & 255U, n >> 8U & 255U,
                 n & 255U, n % 7, n % 60);
  }
  return text.append("]}");
}

// One agent's half of a link, without a link.
struct Device {
  Repository repository;
  KXPPtr<CClient> client{new CClient("bench"_s, repository, KX::Function<void()>(), KX::Function<void(Value)>())};
  LastMessage transport;
  KX::NMS::ServiceSession session{{client->serviceFactory(), "discovery"_s, 0}, transport};
  Device() {
    if (session.open().isErr()) std::abort();
  }
};

void reportPerNode(benchmark::State& state) {
  state.counters["per_node"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void SyncNodes(benchmark::State& state) {
  const String request = syncRequest(state.range(0));
  for (auto _ : state) {
    Device device;
    device.session.receive(request);
    benchmark::DoNotOptimize(device.transport.text);
  }
  reportPerNode(state);
}

struct EmptyHandler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, EmptyHandler> {};

void ReadAndWriteOnly(benchmark::State& state) {
  const String request = syncRequest(state.range(0));
  Value answer;
  if (answer.fromJson(request).isErr()) std::abort();
  for (auto _ : state) {
    rapidjson::MemoryStream stream(request.c_str(), request.length());
    rapidjson::Reader reader;
    EmptyHandler handler;
    constexpr unsigned FLAGS =
        rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;
    if (reader.Parse<FLAGS>(stream, handler).IsError()) std::abort();
    benchmark::DoNotOptimize(answer.toJson());
  }
  reportPerNode(state);
}

// Bytes that stay allocated for each node once its request and answer are gone.
void NodeMemory(benchmark::State& state) {
  const String request = syncRequest(state.range(0));
  double bytes = 0;
  for (auto _ : state) {
    Device device;
    const auto before = mallinfo2().uordblks + mallinfo2().hblkhd;
    device.session.receive(request);
    device.transport.text = String();
    bytes = static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before);
  }
  state.counters["bytes_per_node"] = bytes / static_cast<double>(state.range(0));
}

}  // namespace

BENCHMARK(SyncNodes)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadAndWriteOnly)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(NodeMemory)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);
