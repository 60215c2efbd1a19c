// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/InputFile.h"

#include <fcntl.h>

#include <algorithm>
#include <string>

namespace KX::NMS::Discovery {
namespace {

constexpr unsigned PERMISSIONS = 0644;

// Blanks and line ends part the words and lines of the file, so a text of others may hold none of them, nor any other
// control character.
String oneWord(const String& text) {
  std::string word(text.view());
  std::replace_if(
      word.begin(), word.end(), [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; }, '?');
  return String(word);
}

}  // namespace

InputFile::InputFile(KXEventLoop& loop, const String& jobId, const Status& status)
    : files_(loop.ownService<InputFiles>()), jobId_(jobId), status_(status), file_(files_.pathFor(jobId), true, true) {}

InputFile::~InputFile() {
  close();
  files_.leave(*this);
}

XCode InputFile::open() {
  close();
  abandoned_ = false;
  files_.makeRoomFor(*this);
  XCode result = file_.open(O_WRONLY | O_CREAT | O_TRUNC, PERMISSIONS);
  if (result.isErr()) result.extendString("Cannot open servicescan input file"_s, ": ");
  return result;
}

XCode InputFile::writeLine(const String& ipAddress, const String& services) {
  XCode result = file_.writeF("%s%s\n", oneWord(ipAddress).c_str(), services.c_str());
  if (result.isErr()) result.extendString("Cannot write to servicescan input file"_s, ": ");
  return result;
}

void InputFile::close() {
  if (!file_.isOpen()) return;
  files_.remember(*this, file_.descriptor());
  static_cast<void>(file_.close());
}

void InputFile::abandon() {
  close();
  abandoned_ = true;
}

XCode InputFile::readBack(String& content) const {
  KXFile file(path(), true, false);
  XCode result = file.open(O_RDONLY, PERMISSIONS);
  bool endOfFile = false;
  if (result.isSuccess()) result = file.read(content, endOfFile);
  return result;
}

String InputFile::serviceText(const String& name, std::int64_t port) {
  return String::format(" %s:%lld", oneWord(name).c_str(), static_cast<long long>(port));
}

Shell::Command InputFile::scanCommand() const {
  return Shell::Command::format("%s -j -t %s", {"/usr/bin/servicescan"_s, path()});
}

}  // namespace KX::NMS::Discovery
