// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <span>
#include <string_view>

#include "platform/base/String.h"

namespace ServiceScan {

// What a step of a connection came to: it is done, or it has to wait, or the connection is over.
enum class Progress : std::uint8_t { DONE, WANTS_READ, WANTS_WRITE, CLOSED, FAILED };

// Bytes to and from a host over a connected, non-blocking socket, which is the caller's.
class Transport {
 public:
  virtual ~Transport() = default;
  // Whatever comes before the first byte of the conversation; called again until it is done.
  virtual Progress open() = 0;
  // Both move text, or area, behind what went through.
  virtual Progress write(std::string_view& text) = 0;
  virtual Progress read(std::span<char> area, std::size_t& count) = 0;
  // Why the last step failed.
  virtual String reason() const = 0;
};

std::unique_ptr<Transport> makePlainTransport(int socket);

// Makes TLS connections that verify nobody: on a LAN, devices present certificates that they have made themselves.
// Old devices with old protocol versions are welcome, too.
class TlsClient {
 public:
  TlsClient();
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;
  ~TlsClient();

  // Null when memory or the library's set-up fails.
  std::unique_ptr<Transport> makeTransport(int socket);

 private:
  SSL_CTX* context_;
};

}  // namespace ServiceScan
