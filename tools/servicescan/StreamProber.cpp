// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/StreamProber.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/base/XCode.h"
#include "platform/process/Descriptor.h"
#include "tools/servicescan/HttpResponse.h"

namespace ServiceScan {
namespace {

// A session takes 55 KiB while hands are shaken. Those beyond wait before they are connected, when no time runs yet.
constexpr std::size_t MAX_SESSIONS = 192;

}  // namespace

// One conversation, step by step as the socket allows.
class StreamProber::Connection {
 public:
  Connection(StreamProber& prober, ProbeIndex probe, int socket)
      : prober_(prober),
        socket_(socket),
        probe_(probe),
        request_(String::format("GET / HTTP/1.1\r\nHost: %s:%u\r\nUser-Agent: servicescan\r\nAccept: */*\r\n"
                                "Connection: close\r\n\r\n",
                                prober.targets_.hosts[target().host].text.c_str(), target().port)),
        unsent_(request_) {}
  ~Connection() {
    if (isSession()) --prober_.sessions_;
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Errors that are known at once; otherwise the socket says when it is connected.
  XCode connect() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(prober_.targets_.addressOf(target()));
    address.sin_port = htons(target().port);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 &&
        errno != EINPROGRESS) {
      return XCode::fromErrno(errno);
    }
    await(KXEventLoop::WRITABLE);
    return ready_ == nullptr ? XCode::error("Out of resources"_s) : XCode();
  }

  // How far it has come, as a reason for the time being over.
  String describeStage() const {
    switch (stage_) {
      case Stage::CONNECT:
        return "No answer"_s;
      case Stage::OPEN:
        return "No answer to TLS"_s;
      default:
        return "No answer to the request"_s;
    }
  }

 private:
  enum class Stage : std::uint8_t { CONNECT, OPEN, WRITE, READ };

  bool isSession() const { return transport_ != nullptr && prober_.tls_ != nullptr; }
  const Probe& target() const { return prober_.targets_.probes[probe_]; }

  void await(unsigned readiness) {
    if (readiness == awaited_) return;
    awaited_ = readiness;
    ready_.reset();
    ready_ = prober_.loop_.createDescriptorEvent(socket_.get(), readiness, [this](unsigned) { onReady(); });
  }

  void onReady() {
    StreamProber& prober = prober_;
    Outcome& outcome = prober.outcome_;
    run();
    outcome.batchEnded();
  }

  // The last thing that it does may be to end the connection, and with it this object.
  void run() {
    while (true) {
      const Progress progress = takeStep();
      if (progress == Progress::WANTS_READ) return await(KXEventLoop::READABLE);
      if (progress == Progress::WANTS_WRITE) return await(KXEventLoop::WRITABLE);
      if (progress == Progress::CLOSED) return prober_.end(probe_, "Connection closed"_s);
      if (progress == Progress::FAILED) return prober_.end(probe_, String(failure_));
      if (stage_ == Stage::READ) return prober_.end(probe_, String());
      stage_ = static_cast<Stage>(static_cast<int>(stage_) + 1);
    }
  }

  Progress takeStep() {
    Progress progress = Progress::FAILED;
    switch (stage_) {
      case Stage::CONNECT:
        return finishConnect();
      case Stage::OPEN:
        progress = transport_->open();
        break;
      case Stage::WRITE:
        progress = transport_->write(unsent_);
        break;
      case Stage::READ:
        return readResponse();
    }
    if (progress == Progress::FAILED) failure_ = transport_->reason();
    return progress;
  }

  Progress finishConnect() {
    int error = 0;
    socklen_t length = sizeof(error);
    static_cast<void>(getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &length));
    failure_ = XCode::fromErrno(error).toString();
    if (error != 0) return Progress::FAILED;
    prober_.outcome_.noticed(probe_);
    transport_ =
        prober_.tls_ == nullptr ? makePlainTransport(socket_.get()) : prober_.tls_->makeTransport(socket_.get());
    failure_ = "Out of resources"_s;
    if (isSession()) ++prober_.sessions_;
    return transport_ == nullptr ? Progress::FAILED : Progress::DONE;
  }

  Progress readResponse() {
    char area[4096];
    std::size_t count = 0;
    Progress progress = transport_->read(area, count);
    while (progress == Progress::DONE) {
      const HttpResponse::State state = response_.feed({area, count});
      if (state == HttpResponse::State::COMPLETE) return Progress::DONE;
      if (state == HttpResponse::State::MALFORMED) {
        failure_ = "Not an HTTP response"_s;
        return Progress::FAILED;
      }
      progress = transport_->read(area, count);
    }
    if (progress == Progress::FAILED) failure_ = transport_->reason();
    return progress;
  }

  StreamProber& prober_;
  KX::Shell::Descriptor socket_;
  const ProbeIndex probe_;
  const String request_;
  std::string_view unsent_;
  std::unique_ptr<Transport> transport_;
  HttpResponse response_;
  String failure_;
  Stage stage_ = Stage::CONNECT;
  unsigned awaited_ = 0;
  std::unique_ptr<KX::WatchEvent> ready_;
};

StreamProber::StreamProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, Service service)
    : loop_(loop),
      outcome_(outcome),
      targets_(targets),
      tls_(service == Service::HTTPS ? std::make_unique<TlsClient>() : nullptr) {}

StreamProber::~StreamProber() = default;

bool StreamProber::start(ProbeIndex probe) {
  if (sessions_ >= MAX_SESSIONS) return false;
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0) return false;
  auto connection = std::make_unique<Connection>(*this, probe, socket);
  const XCode result = connection->connect();
  if (result.isErr()) {
    outcome_.failed(probe, result.toString());
  } else {
    connections_.emplace(probe, std::move(connection));
  }
  return true;
}

// Without a reason, the probe got its answer.
void StreamProber::end(ProbeIndex probe, const String& reason) {
  connections_.erase(probe);
  if (reason.isEmpty()) {
    outcome_.answered(probe, String(), String());
  } else {
    outcome_.failed(probe, reason);
  }
}

String StreamProber::giveUp(ProbeIndex probe) {
  const auto found = connections_.find(probe);
  const String reason = found == connections_.end() ? "No answer"_s : found->second->describeStage();
  connections_.erase(probe);
  return reason;
}

}  // namespace ServiceScan
