// SPDX-License-Identifier: Apache-2.0
#include "agent/ExplainingRunner.h"

#include <algorithm>
#include <memory>
#include <string>

namespace {

// Nobody reads more on one line.
constexpr std::size_t LONGEST = 300;

// The last line of a text that comes in pieces, empty ones left out.
class LastLine {
 public:
  void feed(std::string_view piece) {
    for (const char character : piece) {
      if (character == '\n') {
        isComplete_ = true;
      } else {
        if (isComplete_ && character != '\r') line_.clear();
        isComplete_ = isComplete_ && character == '\r';
        if (character != '\r' && line_.size() < LONGEST) line_.push_back(character);
      }
    }
  }
  const std::string& text() const { return line_; }

 private:
  std::string line_;
  bool isComplete_ = false;
};

XCode explained(const XCode& code, const LastLine& line) {
  if (code.isSuccess() || line.text().empty()) return code;
  return XCode::error(String::format("%s (%s)", code.toString().c_str(), line.text().c_str()));
}

}  // namespace

ExplainingRunner::ExplainingRunner(KXEventLoop& loop, KX::Shell::Runner& runner) : loop_(loop), runner_(runner) {
  loop_.provide<KX::Shell::Runner>(this);
}

ExplainingRunner::~ExplainingRunner() { loop_.provide<KX::Shell::Runner>(&runner_); }

XCode ExplainingRunner::invoke(const KX::Shell::Command& command, KX::Shell::Terminated terminated,
                               KX::Shell::Output output, KX::Shell::Output errorOutput, KX::Future<String>& future) {
  const auto line = std::make_shared<LastLine>();
  return runner_.invoke(
      command, [terminated, line](XCode code, String rest) { terminated(explained(code, *line), rest); }, output,
      [errorOutput, line](String piece) {
        line->feed(piece);
        errorOutput(piece);
      },
      future);
}
