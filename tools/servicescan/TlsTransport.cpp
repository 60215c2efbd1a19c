// SPDX-License-Identifier: Apache-2.0
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "platform/base/XCode.h"
#include "tools/servicescan/Transport.h"

namespace ServiceScan {
namespace {

// More than any certificate chain and the head of any response.
constexpr std::uint64_t MAX_BYTES = 256 * 1024;

// Without an end, the library would go on for as long as a host keeps sending what it skips, such as hello requests.
long limitReading(BIO* socket, int operation, const char*, std::size_t, int, long, int result, std::size_t*) {
  const bool isTooMuch = operation == BIO_CB_READ && BIO_number_read(socket) > MAX_BYTES;
  return isTooMuch ? 0 : result;
}

class TlsTransport final : public Transport {
 public:
  explicit TlsTransport(SSL* connection) : connection_(connection) {}
  TlsTransport(const TlsTransport&) = delete;
  TlsTransport& operator=(const TlsTransport&) = delete;
  ~TlsTransport() override { SSL_free(connection_); }

  Progress open() override { return judge(SSL_connect(connection_)); }

  Progress write(std::string_view& text) override {
    while (!text.empty()) {
      std::size_t count = 0;
      const int result = SSL_write_ex(connection_, text.data(), text.size(), &count);
      if (result != 1) return judge(result);
      text.remove_prefix(count);
    }
    return Progress::DONE;
  }

  Progress read(std::span<char> area, std::size_t& count) override {
    return judge(SSL_read_ex(connection_, area.data(), area.size(), &count));
  }

  String reason() const override {
    if (const char* const text = ERR_reason_error_string(error_)) return String::format("TLS: %s", text);
    return systemError_ == 0 ? "Connection closed"_s : XCode::fromErrno(systemError_).toString();
  }

 private:
  Progress judge(int result) {
    if (result == 1) return Progress::DONE;
    const int systemError = errno;
    const int kind = SSL_get_error(connection_, result);
    if (kind == SSL_ERROR_WANT_READ) return Progress::WANTS_READ;
    if (kind == SSL_ERROR_WANT_WRITE) return Progress::WANTS_WRITE;
    if (kind == SSL_ERROR_ZERO_RETURN) return Progress::CLOSED;
    // The library's queue of errors is the thread's, not the connection's.
    error_ = ERR_peek_error();
    systemError_ = kind == SSL_ERROR_SYSCALL && error_ == 0 ? systemError : 0;
    ERR_clear_error();
    return Progress::FAILED;
  }

  SSL* connection_;
  unsigned long error_ = 0;
  int systemError_ = 0;
};

}  // namespace

TlsClient::TlsClient() : context_(SSL_CTX_new(TLS_client_method())) {
  if (context_ == nullptr) return;
  SSL_CTX_set_verify(context_, SSL_VERIFY_NONE, nullptr);
  // Level 0 takes the short keys and old digests of old devices.
  SSL_CTX_set_security_level(context_, 0);
  SSL_CTX_set_min_proto_version(context_, TLS1_VERSION);
  SSL_CTX_set_options(context_, SSL_OP_LEGACY_SERVER_CONNECT | SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_session_cache_mode(context_, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_mode(context_, SSL_MODE_RELEASE_BUFFERS);
  SSL_CTX_set_quiet_shutdown(context_, 1);
}

TlsClient::~TlsClient() { SSL_CTX_free(context_); }

std::unique_ptr<Transport> TlsClient::makeTransport(int socket) {
  SSL* const connection = context_ == nullptr ? nullptr : SSL_new(context_);
  if (connection == nullptr || SSL_set_fd(connection, socket) != 1) {
    SSL_free(connection);
    return nullptr;
  }
  BIO_set_callback_ex(SSL_get_rbio(connection), limitReading);
  return std::make_unique<TlsTransport>(connection);
}

}  // namespace ServiceScan
