// SPDX-License-Identifier: Apache-2.0
#include "agent/InterfaceChoice.h"

#include <string_view>

#include "discovery/common/Log.h"
#include "discovery/scheduling/Job.h"

using KX::NMS::Discovery::createJobOfType;
using KX::NMS::Discovery::MON;
using KX::NMS::Discovery::Repository;

namespace {

// Takes the part of a line behind its beginning.
bool takes(std::string_view line, std::string_view beginning, std::string_view& rest) {
  if (!line.starts_with(beginning)) return false;
  rest = line.substr(beginning.size());
  return true;
}

// Reads the decisions as they are logged, and passes the lines on.
class DecisionReader final : public RTD::LogSink {
 public:
  DecisionReader(const RTD::Monitor* shown, RTD::LogSink& sink, std::vector<InterfaceChoice>& choices)
      : shown_(shown), sink_(sink), choices_(choices) {}

  void write(const RTD::LogLine& line) override {
    if (shown_ != nullptr && shown_->isEnabled(line.kind)) sink_.write(line);
    read(line.text);
  }
  const String& trouble() const { return trouble_; }

 private:
  void read(std::string_view text) {
    std::string_view rest;
    if (takes(text, "Preparation failed: ", rest)) trouble_ = rest;
    if (takes(text, "  - IP Interface ", rest)) {
      rest.remove_suffix(1);
      choices_.push_back({});
      choices_.back().name = rest;
    }
    if (choices_.empty()) return;
    InterfaceChoice& choice = choices_.back();
    if (text == "    - Connects to a private network") choice.isPrivate = true;
    if (text == "    - Comparing to description where") choice.isAsked = false;
    // The verdict on a rule is its last line; the names are those of the network that it is about.
    if (text == "      v Matches" || text == "      No regular expression") choice.isAsked = true;
    if (takes(text, "    v Is bound to ", rest)) choice.device = rest;
    if (text == "    v Is up") choice.isUp = true;
    if (text == "    V Scan this IP interface") choice.isChosen = true;
  }

  const RTD::Monitor* shown_;
  RTD::LogSink& sink_;
  std::vector<InterfaceChoice>& choices_;
  String trouble_;
};

void add(String& list, const char* word) { list.concatf("%s%s", list.isEmpty() ? "" : ", ", word); }

}  // namespace

String InterfaceChoice::reason() const {
  if (isChosen) return isPrivate ? "private network"_s : "asked for"_s;
  String text;
  if (!isAsked) add(text, "no match");
  if (!isUp) add(text, "down");
  if (device.isEmpty()) add(text, "not bound");
  if (text.isEmpty()) add(text, "public");
  return text;
}

XCode chooseInterfaces(KXEventLoop& loop, RTD::LogSink& log, const KX::Property::Value& nodeScan,
                       std::vector<InterfaceChoice>& choices) {
  choices.clear();
  RTD::Monitor* const shown = MON;
  DecisionReader reader(shown, log, choices);
  RTD::Monitor monitor("discovery"_s, 1, reader);
  MON = &monitor;
  {
    Repository repository;
    bool needed = false;
    createJobOfType("node"_s, loop, repository, "scan"_s, 0, nodeScan)->prepare(needed);
  }
  MON = shown;
  return reader.trouble().isEmpty() ? XCode() : XCode::error(reader.trouble());
}

String describe(const InterfaceChoice& choice) {
  return String::format("%s: %s", choice.name.c_str(), choice.reason().c_str());
}
