// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/Descriptor.h"
#include "tools/servicescan/Prober.h"

namespace ServiceScan {

// Asks with one datagram and waits for one, over one socket for all hosts; packets leave and are read in batches. A
// subclass writes the question and reads the answer, in which it finds its question again. The network's refusals (a
// closed port) come over the socket's error queue.
class DatagramProber : public Prober {
 public:
  ~DatagramProber() override;

  bool start(ProbeIndex probe) override;
  void flush() override;
  bool isToRepeat() const override { return true; }
  String giveUp(ProbeIndex probe) override;

 protected:
  static constexpr std::size_t MAX_QUESTION_BYTES = 768;
  static constexpr std::size_t MAX_ANSWER_BYTES = 2048;  // more is cut off

  struct Answer {
    std::string_view datagram;
    std::uint32_t address;  // of its sender, in host byte order
  };

  DatagramProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, Service service);

  // Takes a socket that is ready to send; the error is that of making it, with which every probe then fails.
  void use(int socket);

  // Writes the question and returns its length.
  virtual std::size_t compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) = 0;
  // Reports to the outcome what the datagram answers; anything else that comes is no answer and is not mentioned.
  virtual void read(const Answer& answer) = 0;

  // Whether a probe with this number waits for an answer from this host.
  bool isExpected(std::uint64_t number, std::uint32_t address) const;
  // The probes of this service at a host.
  std::span<const ProbeIndex> probesAt(std::uint32_t address);

  Outcome& outcome_;
  const Targets& targets_;

 private:
  struct Batch;
  void onReadable();
  bool readBatch();
  bool readError();
  void refuse(std::uint32_t address, std::uint16_t port, int error);
  // Moves sent behind what has left; false when the system has no room for more.
  bool sendBatch(std::size_t& sent);

  KXEventLoop& loop_;
  const Service service_;
  KX::Shell::Descriptor socket_;
  XCode openError_;
  std::unique_ptr<KX::WatchEvent> readable_;
  std::unique_ptr<Batch> batch_;
  std::vector<ProbeIndex> outgoing_;
  std::vector<ProbeIndex> byAddress_;  // the probes of this service, made when they are looked for
};

}  // namespace ServiceScan
