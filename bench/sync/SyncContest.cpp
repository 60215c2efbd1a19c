// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/SyncContest.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "bench/sync/Device.h"
#include "bench/sync/Rounds.h"
#include "bench/sync/SyncRequest.h"

namespace {

constexpr std::size_t TURNS = 7;
constexpr double NANOSECONDS_A_TURN = 6e7;

struct Request {
  explicit Request(std::size_t nodes) : text(syncRequest(nodes)), padded(text.view()) {
    padded.append(SyncProgram::PADDING, '\0');
  }
  std::string_view view() const { return {padded.data(), text.length()}; }

  String text;
  std::string padded;
};

struct Contender {
  std::string name;
  std::function<double(const Request&)> sync;  // the time of one
  std::vector<double> nanoseconds;             // a node, for each size
  std::vector<double> timesLimit;
};

double timeOfLibrary(const Request& request) {
  Device device;
  return timed([&] { device.receive(request.text); });
}

Contender library() { return {"sync", timeOfLibrary, {}, {}}; }

Contender program(const std::string& name, std::unique_ptr<SyncProgram> (*make)()) {
  const auto time = [make](const Request& request) {
    const std::unique_ptr<SyncProgram> program = make();
    std::string answer;
    return timed([&] { answer = program->sync(request.view()); });
  };
  return {name, time, {}, {}};
}

void requireSameAnswer(const Request& request, const std::vector<SyncPeer>& programs) {
  Device device;
  device.receive(request.text);
  for (const SyncPeer& peer : programs) {
    require(device.sent() == peer.make()->sync(request.view()),
            "a program to compare with answers otherwise than the library");
  }
}

// The first contender is who the others are compared with.
void compete(std::vector<Contender>& contenders, std::size_t nodes) {
  const Request request(nodes);
  std::vector<std::vector<double>> times(contenders.size());
  std::vector<std::vector<double>> ratios(contenders.size());
  for (std::size_t turn = 0; turn < TURNS; ++turn) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      const auto once = [&] { return contenders[i].sync(request); };
      times[i].push_back(nanoseconds(once, 1, NANOSECONDS_A_TURN) / static_cast<double>(nodes));
      ratios[i].push_back(times[i].back() / times.front().back());
    }
  }
  for (std::size_t i = 0; i < contenders.size(); ++i) {
    contenders[i].nanoseconds.push_back(median(times[i]));
    contenders[i].timesLimit.push_back(median(ratios[i]));
  }
}

void print(const Contender& contender, bool hasLimit) {
  printRow(contender.name.c_str(), contender.nanoseconds);
  if (!hasLimit) return;
  const std::vector<double>& times = contender.timesLimit;
  std::printf("%-44s %7.2f x %7.2f x %7.2f x\n", "  times the limit", times[0], times[1], times[2]);
}

// Beside the limit, if there is one, which is printed if wanted. The answers are compared afterwards, so that the heap
// is as large as the syncs themselves make it.
void contest(Contender contender, const std::vector<SyncPeer>& programs, bool printsLimit) {
  const bool hasLimit = makeSyncLimit() != nullptr;
  std::vector<Contender> contenders;
  if (hasLimit) contenders.push_back(program("sync, the limit", makeSyncLimit));
  contenders.push_back(std::move(contender));
  for (const std::size_t size : SIZES) compete(contenders, size);
  for (const std::size_t size : SIZES) requireSameAnswer(Request(size), programs);
  if (hasLimit && printsLimit) print(contenders.front(), false);
  print(contenders.back(), hasLimit);
}

// By itself the C library's heap learns from the large blocks that it sees how much to keep, and a figure would depend
// on what was measured before it. So it stays as a process begins with it, or keeps everything.
void fixHeap(bool keepsAll) {
  const int bytes = keepsAll ? 1 << 30U : 128 << 10U;
  mallopt(M_MMAP_THRESHOLD, bytes);
  mallopt(M_TRIM_THRESHOLD, bytes);
}

// In a process of its own, whose heap nobody else has left in pieces.
template <class Call>
void alone(bool onWarmHeap, const Call& call) {
  static_cast<void>(std::fflush(stdout));
  const pid_t child = fork();
  if (child == 0) {
    fixHeap(onWarmHeap);
    call();
    static_cast<void>(std::fflush(stdout));
    _exit(0);
  }
  int status = 0;
  require(child > 0 && waitpid(child, &status, 0) == child && status == 0, "a contest did not end");
}

}  // namespace

void printSync(const std::vector<SyncPeer>& peers, bool onWarmHeap) {
  const std::vector<SyncPeer> limit = {{"the limit", makeSyncLimit}};
  alone(onWarmHeap, [&] { contest(library(), makeSyncLimit() == nullptr ? std::vector<SyncPeer>() : limit, true); });
  for (const SyncPeer& peer : peers) {
    alone(onWarmHeap,
          [&] { contest(program(std::string("sync by hand with ") + peer.name, peer.make), {peer}, false); });
  }
}
