// SPDX-License-Identifier: Apache-2.0
// What a node scan costs over the arp-scan that it runs: from the job's invoke to its end, with all nodes entered into
// an empty repository, beside the same command with nothing but a pipe. Prints for each number of nodes, or for the
// real arp-scan: nodes, milliseconds of the scan, of the command alone, and their difference, all medians of the
// rounds.
//   nodescan-bench stand-in FOLDER [ROUNDS]        with the arp-scan in FOLDER, that prints as many nodes as it is told
//   nodescan-bench real DEVICE SUBNET [ROUNDS]     with /usr/sbin/arp-scan on a network device
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/limit/RawCommand.h"
#include "discovery/nodescan/JobNodeScan.h"
#include "platform/database/Connection.h"
#include "platform/database/Database.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/process/ProcessRunner.h"

namespace {

using namespace KX::NMS::Discovery;
using KX::Property::Value;
using Figures = std::vector<double>;

constexpr std::size_t SIZES[] = {10, 4000, 60000};

void require(bool isRight, const char* what) {
  if (isRight) return;
  static_cast<void>(std::fprintf(stderr, "nodescan-bench: %s\n", what));
  std::exit(1);
}

// A configuration database with one interface in a private network.
class Configuration final : private DB::Database::Source {
 public:
  Configuration(const std::string& device, const std::string& subnet) {
    statements_ = {"INSERT INTO context_ip VALUES (1, 2, 10, 'main')",
                   "INSERT INTO dyn_if VALUES (1, '" + device + "')",
                   "INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN', 1, 3)",
                   "INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '" + subnet + "')"};
    require(database_.openInMemory(this).isSuccess(), "no database");
  }
  DB::Database& database() { return database_; }

 private:
  XCode update(DB::Connection& connection) override {
    for (const std::string& statement : statements_) connection.execute(statement.c_str());
    statements_.clear();
    return XCode();
  }

  DB::Database database_;
  std::vector<std::string> statements_;
};

class Host {
 public:
  Host(const std::string& device, const std::string& subnet) : configuration_(device, subnet) {
    loop_.provide<DB::Database>(&configuration_.database());
  }

  // Seconds that a job takes from its invoke to its end; `nodes` is set to how many it found.
  double scan(std::size_t& nodes) {
    Repository repository;
    const KXPtr<JobNodeScan> job(new JobNodeScan(loop_, repository, "bench"_s, 0, Value::object()));
    job->statusUpdated.connect([&](Value) {
      if (job->status().isFinished()) loop_.stop();
    });
    bool needed = false;
    job->prepare(needed);
    require(needed, "no interface to scan");
    const auto start = std::chrono::steady_clock::now();
    job->invoke();
    if (!job->status().isFinished()) loop_.run();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    require(job->status().state() == State::SUCCESSFUL, "the scan failed");
    nodes = repository.getNodes().size();
    return elapsed.count();
  }

 private:
  KX::UvEventLoop loop_;
  KX::Shell::ProcessRunner runner_{loop_};
  Configuration configuration_;
};

double median(Figures figures) {
  const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
  std::nth_element(figures.begin(), middle, figures.end());
  return *middle;
}

double seconds(const std::function<void()>& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void compare(Host& host, const char* program, const std::string& device, unsigned long rounds) {
  const std::string interface = "--interface=" + device;
  const char* const arguments[] = {program,          interface.c_str(), "--localnet", "--quiet",
                                   "--timeout=5000", "--retry=3",       nullptr};
  Figures scans;
  Figures commands;
  Figures differences;
  std::size_t nodes = 0;
  for (unsigned long i = 0; i < rounds; ++i) {
    scans.push_back(host.scan(nodes));
    commands.push_back(seconds([&] { Limit::runRawCommand(arguments); }));
    differences.push_back(scans.back() - commands.back());
  }
  std::printf("%zu %.4f %.4f %.4f\n", nodes, median(scans) * 1e3, median(commands) * 1e3, median(differences) * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (words.size() >= 3 && words[1] == "stand-in") {
    // Only there, so that no discovery-client joins in.
    setenv("PATH", words[2].c_str(), 1);
    const std::string program = words[2] + "/arp-scan";
    Host host("lan0", "10.0.0.0/8");
    for (const std::size_t size : SIZES) {
      std::ofstream(words[2] + "/nodes") << size;
      compare(host, program.c_str(), "lan0", words.size() > 3 ? std::stoul(words[3]) : 15);
    }
  } else if (words.size() >= 4 && words[1] == "real") {
    setenv("PATH", "/usr/sbin", 1);
    Host host(words[2], words[3]);
    compare(host, "/usr/sbin/arp-scan", words[2], words.size() > 4 ? std::stoul(words[4]) : 1);
  } else {
    static_cast<void>(
        std::fputs("usage: nodescan-bench stand-in FOLDER [ROUNDS] | real DEVICE SUBNET [ROUNDS]\n", stderr));
    return 2;
  }
}
