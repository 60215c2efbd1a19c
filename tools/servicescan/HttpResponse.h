// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <http_parser.h>

#include <string_view>

namespace ServiceScan {

// Reads the head of an HTTP response as it comes in; the body is of no interest.
class HttpResponse {
 public:
  // A head that is longer is none.
  static constexpr std::size_t MAX_BYTES = 16384;
  enum class State { INCOMPLETE, COMPLETE, MALFORMED };

  HttpResponse();

  State feed(std::string_view bytes);

 private:
  http_parser parser_;
  std::size_t bytes_ = 0;
  bool isComplete_ = false;
};

}  // namespace ServiceScan
