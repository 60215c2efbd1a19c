// SPDX-License-Identifier: Apache-2.0
#include "agent/Agent.h"

#include <limits>

#include "agent/PlanFile.h"
#include "discovery/common/Log.h"
#include "discovery/common/ServiceConstants.h"
#include "links/StdioLink.h"
#include "links/UnixLink.h"

using KX::NMS::Discovery::CClient;
using KX::NMS::Discovery::Scheduler;
using KX::Property::Value;

Agent::Agent(KXEventLoop& loop, RTD::Monitor& monitor, const Options& options)
    : options_(options),
      repository_(options.nodeLimit),
      scheduler_(new Scheduler(loop, repository_)),
      client_(new CClient("agent"_s, repository_, KX::Function<void()>(),
                          [this](Value descriptions) { updateJobDescriptions(descriptions); })) {
  scheduler_->statusUpdated.connect([this](Value job) {
    // Nobody to tell while no server is connected: the next full sync makes up for it.
    static_cast<void>(client_->sendJobStatusEvent(job));
  });
  link_ = makeLink(loop, monitor);
}

std::unique_ptr<KX::NMS::Link> Agent::makeLink(KXEventLoop& loop, RTD::Monitor& monitor) {
  const KX::NMS::SessionOptions session{client_->serviceFactory(), KX::NMS::Discovery::SERVICE_NAME_DISCOVERY,
                                        options_.messageLimit, &monitor};
  if (options_.link == Options::LinkKind::UNIX) {
    return std::make_unique<KX::NMS::UnixLink>(loop, session, options_.socketPath);
  }
  return std::make_unique<KX::NMS::StdioLink>(loop, session);
}

XCode Agent::start(std::function<void()> onEnded) {
  Value plan;
  if (!options_.plan.isEmpty()) {
    XCode result = readPlanFile(options_.plan, plan);
    if (result.isErr()) return result;
  }
  link_->onEnded(std::move(onEnded));
  XCode result = link_->start();
  if (result.isErr()) {
    result.extendString("cannot open the server link"_s, ": ");
    return result;
  }
  if (plan.isValid()) updateJobDescriptions(plan);
  return XCode();
}

void Agent::stop() {
  scheduler_->clear();
  link_->stop();
}

void Agent::takePlanAnew() {
  const Value plan = plan_;
  if (plan.isValid()) updateJobDescriptions(plan);
}

// What a description becomes takes a hundred times the memory of the shortest one's text, so a message within its limit
// could take gigabytes.
void Agent::updateJobDescriptions(const Value& descriptions) {
  if (descriptions.isArray() && descriptions.size() > MOST_DESCRIPTIONS) {
    DISCOVERY_NOTE(REFUSAL, "[agent] "_s, "Plan refused: more than %zu job descriptions", MOST_DESCRIPTIONS);
    return;
  }
  plan_ = descriptions;
  if (options_.clearBeforeUpdate) scheduler_->clear();
  scheduler_->updateJobDescriptions(descriptions);
}

String Agent::describe() const {
  constexpr unsigned ALL = std::numeric_limits<unsigned>::max() - 1;
  InfoContainer container;
  repository_.getInfo(container, ALL, 0, ALL, 0, String());
  scheduler_->getInfo(container, ALL, 0, ALL, 0, String());
  client_->getInfo(container, ALL, 0, ALL, 0, String());
  return container.toText();
}
