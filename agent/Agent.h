// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "agent/Options.h"
#include "discovery/client/CClient.h"
#include "discovery/scheduling/Scheduler.h"
#include "links/Link.h"
#include "platform/loop/KXEventLoop.h"

// The composition root: makes the repository, the scheduler, the client and the server link on one loop, and the two
// wires between them. Client and scheduler know nothing of each other: the server's plans go from the client to the
// scheduler, and every job status goes from the scheduler to the client.
class Agent {
 public:
  // A longer plan is refused with a line in the log; the one before goes on.
  static constexpr std::size_t MOST_DESCRIPTIONS = 32768;

  Agent(KXEventLoop& loop, RTD::Monitor& monitor, const Options& options);
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Takes the plan file, if there is one, and opens the link. onEnded is called when the link has come to its end.
  [[nodiscard]] XCode start(std::function<void()> onEnded);
  // Cancels what runs, reports that to the server, and closes the link.
  void stop();

  // Hands the last plan to the scheduler once more, as if it had just come: for when the times that were computed from
  // it are wrong.
  void takePlanAnew();

  // Everything that the parts show of themselves, as text.
  String describe() const;

 private:
  void updateJobDescriptions(const KX::Property::Value& descriptions);
  std::unique_ptr<KX::NMS::Link> makeLink(KXEventLoop& loop, RTD::Monitor& monitor);

  const Options& options_;
  KX::NMS::Discovery::Repository repository_;
  KXPtr<KX::NMS::Discovery::Scheduler> scheduler_;
  KXPPtr<KX::NMS::Discovery::CClient> client_;
  std::unique_ptr<KX::NMS::Link> link_;
  KX::Property::Value plan_;
};
