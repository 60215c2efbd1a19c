// SPDX-License-Identifier: Apache-2.0
// JSON documents of 1k, 10k and 100k nodes with three services each, parsed into values and written from them. The time
// of a node stands in the counter. Beside it, in the same run: RapidJSON's reader with a handler that does nothing, and
// its writer fed by its reader, less what the reader alone takes; neither makes or walks a value.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/property/Value.h"

namespace {

using KX::Property::Value;

constexpr unsigned READER_FLAGS =
    rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;

Value service(unsigned port) {
  Value value = Value::object(1);
  value["port"] = port;
  return value;
}

Value node(unsigned number) {
  Value services = Value::object(3);
  services["sip"] = service(5060);
  services["http"] = service(80);
  services["https"] = service(443);
  Value value = Value::object(9);
  value["ipAddress"] = String::format("10.%u.%u.%u", number >> 16U, number >> 8U & 0xffU, number & 0xffU);
  value["physicalAddress"] =
      String::format("00:1A:2B:%02X:%02X:%02X", number >> 16U, number >> 8U & 0xffU, number & 0xffU);
  value["interface"] = "eth0";
  value["manufacturer"] = "Example Networks Inc.";
  value["hostName"] = String::format("host-%u.example.net", number);
  value["status"] = number % 7 == 0 ? "down" : "up";
  value["statusChangeDate"] = String::format("2026-11-20T22:25:%02u.%03uZ", number % 60, number % 1000);
  value["discovered"] = true;
  value["services"] = services;
  return value;
}

String document(std::int64_t nodes) {
  Value list = Value::array(static_cast<std::size_t>(nodes));
  for (unsigned i = 0; i < static_cast<unsigned>(nodes); ++i) list.add(node(i));
  Value message = Value::object();
  message["nodes"] = list;
  return message.toJson();
}

void setCounters(benchmark::State& state, std::size_t bytes) {
  const auto rate = static_cast<double>(state.iterations() * state.range(0));
  state.counters["perNode"] = benchmark::Counter(rate, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void requireSuccess(bool isSuccess) {
  if (isSuccess) return;
  static_cast<void>(std::fputs("The document is not what it should be\n", stderr));
  std::exit(1);
}

void parse(benchmark::State& state) {
  const String text = document(state.range(0));
  while (state.KeepRunning()) {
    Value value;
    requireSuccess(value.fromJson(text).isSuccess());
    benchmark::DoNotOptimize(value);
  }
  setCounters(state, text.length());
}

void write(benchmark::State& state) {
  const String text = document(state.range(0));
  Value value;
  requireSuccess(value.fromJson(text).isSuccess());
  requireSuccess(value.toJson() == text);
  while (state.KeepRunning()) {
    String json = value.toJson();
    benchmark::DoNotOptimize(json);
  }
  setCounters(state, text.length());
}

void rapidJsonReader(benchmark::State& state) {
  const String text = document(state.range(0));
  while (state.KeepRunning()) {
    rapidjson::StringStream stream(text.c_str());
    rapidjson::BaseReaderHandler<> handler;
    rapidjson::Reader reader;
    requireSuccess(!reader.Parse<READER_FLAGS>(stream, handler).IsError());
  }
  setCounters(state, text.length());
}

void rapidJsonReaderAndWriter(benchmark::State& state) {
  const String text = document(state.range(0));
  while (state.KeepRunning()) {
    rapidjson::StringStream stream(text.c_str());
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, rapidjson::CrtAllocator,
                      rapidjson::kWriteValidateEncodingFlag>
        writer(buffer);
    rapidjson::Reader reader;
    requireSuccess(!reader.Parse<READER_FLAGS>(stream, writer).IsError());
    benchmark::DoNotOptimize(buffer.GetString());
  }
  setCounters(state, text.length());
}

// What a parsed document occupies, as a multiple of its text.
void memory(benchmark::State& state) {
  const String text = document(state.range(0));
  double bytes = 0;
  while (state.KeepRunning()) {
    const auto before = mallinfo2();
    Value value;
    requireSuccess(value.fromJson(text).isSuccess());
    const auto after = mallinfo2();
    bytes = static_cast<double>(after.uordblks + after.hblkhd) - static_cast<double>(before.uordblks + before.hblkhd);
  }
  state.counters["bytesPerNode"] = bytes / static_cast<double>(state.range(0));
  state.counters["timesText"] = bytes / static_cast<double>(text.length());
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(parse)->Apply(sizes);
BENCHMARK(rapidJsonReader)->Apply(sizes);
BENCHMARK(write)->Apply(sizes);
BENCHMARK(rapidJsonReaderAndWriter)->Apply(sizes);
BENCHMARK(memory)->Apply(sizes)->Iterations(1);

}  // namespace
