// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/HttpResponse.h"

namespace ServiceScan {
namespace {

const http_parser_settings& settings() {
  static const http_parser_settings SETTINGS = [] {
    http_parser_settings made;
    http_parser_settings_init(&made);
    made.on_headers_complete = [](http_parser* parser) {
      *static_cast<bool*>(parser->data) = true;
      http_parser_pause(parser, 1);
      return 0;
    };
    return made;
  }();
  return SETTINGS;
}

}  // namespace

HttpResponse::HttpResponse() { http_parser_init(&parser_, HTTP_RESPONSE); }

HttpResponse::State HttpResponse::feed(std::string_view bytes) {
  bytes_ += bytes.size();
  parser_.data = &isComplete_;
  http_parser_execute(&parser_, &settings(), bytes.data(), bytes.size());
  if (isComplete_) return State::COMPLETE;
  const bool isMalformed = HTTP_PARSER_ERRNO(&parser_) != HPE_OK || bytes_ > MAX_BYTES;
  return isMalformed ? State::MALFORMED : State::INCOMPLETE;
}

}  // namespace ServiceScan
