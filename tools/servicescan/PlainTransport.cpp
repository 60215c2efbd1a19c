// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>

#include <cerrno>

#include "platform/base/XCode.h"
#include "tools/servicescan/Transport.h"

namespace ServiceScan {
namespace {

class PlainTransport final : public Transport {
 public:
  explicit PlainTransport(int socket) : socket_(socket) {}

  Progress open() override { return Progress::DONE; }

  Progress write(std::string_view& text) override {
    while (!text.empty()) {
      const ssize_t count = send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
      if (count < 0) return fail(Progress::WANTS_WRITE);
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return Progress::DONE;
  }

  Progress read(std::span<char> area, std::size_t& count) override {
    const ssize_t received = recv(socket_, area.data(), area.size(), 0);
    if (received < 0) return fail(Progress::WANTS_READ);
    count = static_cast<std::size_t>(received);
    return received == 0 ? Progress::CLOSED : Progress::DONE;
  }

  String reason() const override { return XCode::fromErrno(error_).toString(); }

 private:
  Progress fail(Progress wanted) {
    if (errno == EAGAIN || errno == EINTR) return wanted;
    error_ = errno;
    return Progress::FAILED;
  }

  int socket_;
  int error_ = 0;
};

}  // namespace

std::unique_ptr<Transport> makePlainTransport(int socket) { return std::make_unique<PlainTransport>(socket); }

}  // namespace ServiceScan
